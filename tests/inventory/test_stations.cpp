// Identifiers and the channel -> site -> station -> network chain.
#include <gtest/gtest.h>

#include "inventory_support.hpp"
#include "support/archive_helpers.hpp"
#include "support/model_fields.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"

using namespace zeva;
using test::num, test::txt, test::with, test::timeAt;

namespace {

constexpr const char* kT1 = "2009-06-01T14:03:12.2500Z";
constexpr const char* kT2 = "2011-01-01T00:00:00.0000Z";

Ref<ZEVATimeRange> span() { return with<ZEVATimeRange>({{"_start_time", timeAt(kT1)}, {"_end_time", timeAt(kT2)}}); }
Ref<ZEVALocation> place(double lat, double lon) {
    return with<ZEVALocation>({{"_latitude", num(lat)}, {"_longitude", num(lon)}});
}
Ref<ZEVANetworkID> networkID(const char* code) {
    return with<ZEVANetworkID>({{"_network_code", txt(code)}, {"_begin_time", timeAt(kT1)}});
}
Ref<ZEVAChannelID> channelID(const ObjectRef& net, const char* sta, const char* site, const char* cha, const char* t) {
    return with<ZEVAChannelID>({{"_network_id", net}, {"_station_code", txt(sta)}, {"_site_code", txt(site)},
                                {"_channel_code", txt(cha)}, {"_begin_time", timeAt(t)}});
}

// Network XX, station ABC at 35.7/139.7, site 00 at 35/139, channel BHZ,
// every level sharing one network identifier.
struct Chain {
    Ref<ZEVANetworkID> netID = networkID("XX");
    Ref<ZEVANetworkAttr> network = with<ZEVANetworkAttr>({{"_id", netID}, {"_name", str("Example Net")},
        {"_description", str("test network")}, {"_owner", str("Owner Inst")}, {"_effective_time", span()}});
    Ref<ZEVAStation> station = with<ZEVAStation>({
        {"_id", with<ZEVAStationID>({{"_network_id", netID}, {"_station_code", str("ABC")}, {"_begin_time", timeAt(kT1)}})},
        {"_name", str("not printed")}, {"_my_location", place(35.7, 139.7)}, {"_effective_time", span()},
        {"_operator", str("Op")}, {"_description", str("Desc")}, {"_comment", str("Note")}, {"_my_network", network}});
    Ref<ZEVASite> site = with<ZEVASite>({{"_id", with<ZEVASiteID>({{"_network_id", netID}, {"_station_code", str("ABC")},
                                                                  {"_site_code", str("00")}, {"_begin_time", timeAt(kT2)}})},
        {"_my_location", place(35, 139)}, {"_effective_time", span()}, {"_my_station", station},
        {"_comment", str("not printed")}});
    Ref<ZEVAChannel> channel = with<ZEVAChannel>({{"_id", channelID(netID, "ABC", "00", "BHZ", kT2)},
        {"_name", str("BHZ broadband")}, {"_an_orientation", with<ZEVAOrientation>({{"_dip", num(-90)}})},
        {"_sampling_info", ZEVASampling::create()}, {"_effective_time", span()}, {"_my_site", site}});
};

}  // namespace

// The site's text holds those of its identifier, station, the station's
// identifier and network, and the network identifier.
TEST(Inventory, DescriptionsWithAndWithoutMembers) {
    const Chain c;
    const std::string net = std::string("\nZEVA Network ID\n  Network Code:XX\n  Network Begin Time: ") + kT1 + "\n";
    const std::string times = std::string("Start:") + kT1 + " End:" + kT2;
    const std::string netAttr = "ZEVANetworkAttr:\n" + net + "\nExample Net\ntest network\nOwner Inst\n" + times;
    const std::string location = " 35.700  139.700 (null) (null)";
    const std::string station = "\n-------------\nZEVAStation\n-------------\nID: ZEVA Station:\n" + net + "\nABC\n" +
                                kT1 + "\nLocation: " + location + "\nEffective Time: " + times +
                                "\nOperator: Op\nDescription: Desc\nComment: Note\nNetwork: " + netAttr + "\n";
    const std::string siteID = "ZEVA SiteID:" + net + "\nABC\n00\n" + kT2;
    const std::string channelBanner = "\n-------------\nZEVAChannelID\n-------------\n";
    const std::pair<std::string, std::string> cases[] = {
        {ZEVANetworkID::create()->description(), "\nZEVA Network ID\n  Network Code:(null)\n  Network Begin Time: (null)\n"},
        {c.channel->_id()->description(), channelBanner + net +
             "\nStation Code: ABC\nSite Code: 00\nChannel Code: BHZ\nChannel Begin Time: " + kT2},
        {ZEVAChannelID::create()->description(), channelBanner + "(null)\nStation Code: (null)\nSite Code: (null)\n"
                                                 "Channel Code: (null)\nChannel Begin Time: (null)"},
        {ZEVAStation::create()->description(),
         "\n-------------\nZEVAStation\n-------------\nID: (null)\nLocation: (null)\nEffective Time: (null)\n"
         "Operator: (null)\nDescription: (null)\nComment: (null)\nNetwork: (null)\n"},
        {c.station->shortDescription(), "XX ABC " + location + "\n"},
        {ZEVAStation::create()->shortDescription(), "(null) (null) (null)\n"},
        {c.site->description(), "ZEVA Site:\n" + siteID + "\n 35.000  139.000 (null) (null)\n" + times + "\n" + station},
        {c.channel->description(), "ZEVAChannel:\nBHZ broadband\nZEVAOrientation: Azimuth:0.000000 Dip:-90.000000\n"
                                   "ZEVASampling: Time Interval = 1.000000  / Npts = 20"},
        {ZEVAChannel::create()->description(), "ZEVAChannel:\n(null)\n(null)\n(null)"},
    };
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << "row " << i;
}

TEST(Inventory, ChannelQueriesAnswerNullOrZeroForMissingLinks) {
    const Ref<ZEVASite> sites[] = {nullptr, ZEVASite::create(), with<ZEVASite>({{"_my_station", ZEVAStation::create()}})};
    for (const auto& site : sites) {
        auto bare = with<ZEVAChannel>({{"_id", ZEVAChannelID::create()}, {"_my_site", site}});
        EXPECT_EQ(bare->latitude() + bare->longitude(), 0.0f);
        EXPECT_TRUE(!bare->network_code() && !bare->getCode() && !bare->channel_code());
        EXPECT_EQ(bare->getStation() != nullptr, site && site->_my_station());
    }
    EXPECT_TRUE(!ZEVAChannel::create()->station_code() && !ZEVAChannel::create()->getCode());
    EXPECT_FALSE(ZEVASite::create()->getCode());
}

TEST(Inventory, ChannelIdentifierEquality) {
    const auto base = channelID(networkID("XX"), "ABC", "00", "BHZ", kT1);
    const std::pair<Ref<ZEVAChannelID>, bool> cases[] = {
        {channelID(networkID("XX"), "ABC", "00", "BHZ", kT2), true},  // another epoch of the same channel
        {channelID(networkID("XX"), "ABC", "10", "BHZ", kT1), false},
        {channelID(networkID("XX"), "ABC", "00", "bhz", kT1), false},
        {channelID(networkID("XY"), "ABC", "00", "BHZ", kT1), false},
        {channelID(networkID(nullptr), "ABC", "00", "BHZ", kT1), false},
        {channelID(nullptr, "ABC", "00", "BHZ", kT1), false},
        {channelID(networkID("XX"), "ABC", nullptr, "BHZ", kT1), false},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(base->isEqualTo(cases[i].first), cases[i].second) << "row " << i;
        EXPECT_EQ(cases[i].first->isEqualTo(base), cases[i].second) << "row " << i;
    }
    EXPECT_FALSE(base->isEqualTo(nullptr));
    EXPECT_FALSE(ZEVAChannelID::create()->isEqualTo(ZEVAChannelID::create()));  // the same missing codes
}

TEST(Inventory, ChannelSortComparisons) {
    // Station and network codes alike; "" stands for a missing code, "-" for
    // a missing argument.
    auto channel = [](const char* code) -> Ref<ZEVAChannel> {
        if (std::string(code) == "-") return nullptr;
        const char* c = *code ? code : nullptr;
        return with<ZEVAChannel>({{"_id", channelID(networkID(c), c, "00", "BHZ", kT1)}});
    };
    const std::tuple<const char*, const char*, int> cases[] = {
        {"ABC", "ABCD", -1}, {"ABCD", "ABC", 1}, {"ABCD", "abc", -1}, {"abc", "ABC", 1}, {"ABC", "ABC", 0},
        {"", "ABC", 0},      {"", "", 0},        {"ABC", "", 1},      {"ABC", "-", 1},   {"", "-", 0},
    };
    for (const auto& [mine, theirs, expected] : cases) {
        EXPECT_EQ(channel(mine)->compareStationCodes(channel(theirs)), expected) << mine << " : " << theirs;
        EXPECT_EQ(channel(mine)->compareNetworkCodes(channel(theirs)), expected) << mine << " : " << theirs;
    }
}

// Texts are copied where listed, every other member (the hardware's texts
// included) is shared; and every field, set through its class's declaration,
// comes back from the archive (the restored object saves to the same bytes).
TEST(Inventory, SettersHoldAsDeclaredAndEveryFieldComesBack) {
    const Chain c;
    const std::vector<ObjectRef> samples = {timeAt(kT1), c.netID, c.station->_id(), c.site->_id(), c.channel->_id(),
        c.network, c.station, c.site, place(1, 2), ZEVAOrientation::create(), ZEVASampling::create(), span(),
        MutableArray::array(), ZEVAUnit::create(), ZEVAGain::create(), ZEVAQuantity::create(), ZEVASensitivity::create(),
        ZEVAResponse::create(), ZEVAClock::create(), ZEVASensor::create(), ZEVADataAcqSys::create(),
        ZEVACoefficientErrored::create()};
    const std::pair<Ref<KWOObject>, std::set<std::string>> cases[] = {
        {ZEVANetworkID::create(), {"_network_code"}},
        {ZEVAStationID::create(), {"_station_code"}},
        {ZEVASiteID::create(), {"_station_code", "_site_code"}},
        {ZEVAChannelID::create(), {"_station_code", "_site_code", "_channel_code"}},
        {ZEVANetworkAttr::create(), {"_name", "_description", "_owner"}},
        {ZEVAStation::create(), {"_name", "_operator", "_description", "_comment"}},
        {ZEVASite::create(), {"_comment"}},
        {ZEVAChannel::create(), {"_name"}},
        {ZEVAClock::create(), {}}, {ZEVASensor::create(), {}}, {ZEVADataAcqSys::create(), {}},
        {ZEVAInstrumentation::create(), {}}, {ZEVAResponse::create(), {}}, {ZEVAStage::create(), {}},
        {ZEVADecimation::create(), {}}, {ZEVACalibration::create(), {}}, {ZEVAPoleZeroFilter::create(), {}},
        {ZEVACoefficientFilter::create(), {}}, {ZEVAListFilter::create(), {}}, {ZEVAGain::create(), {}},
        {ZEVANormalization::create(), {}}, {ZEVASensitivity::create(), {}}, {ZEVAComplexNumberErrored::create(), {}},
        {ZEVAComplexNumber::create(), {}}, {ZEVACoefficientErrored::create(), {}}, {ZEVASeismicHardware::create(), {}},
    };
    for (const auto& [object, copied] : cases) test::expectHeldAndRestored(object, copied, samples);
}

TEST(Inventory, ChainArchiveRestoresOneSharedNetwork) {
    const Chain c;
    auto back = test::roundTrip<ZEVAChannel>(c.channel);
    ASSERT_TRUE(back && back->_my_site() && back->getStation() && back->getStation()->_my_network());
    // The queries reach through the restored chain.
    EXPECT_EQ(textOf(back->getCode()) + textOf(back->network_code()), "00XX");  // getCode answers the site code
    const auto netID = back->_id()->_network_id();
    for (const auto& id : {back->_my_site()->_id()->_network_id(), back->getStation()->_id()->_network_id(),
                           back->getStation()->_my_network()->_id()})
        EXPECT_EQ(id, netID);
}
