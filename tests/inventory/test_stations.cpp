// Identifiers and the channel -> site -> station -> network chain.
#include <gtest/gtest.h>

#include <functional>

#include "inventory_support.hpp"
#include "support/archive_helpers.hpp"
#include "support/run_cli.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/platform/Collections.hpp"

using namespace zeva;

namespace {

constexpr const char* kT1 = "2009-06-01T14:03:12.2500Z";
constexpr const char* kT2 = "2011-01-01T00:00:00.0000Z";

struct Chain {
    Ref<ZEVANetworkID> networkID;
    Ref<ZEVANetworkAttr> network;
    Ref<ZEVAStation> station;
    Ref<ZEVASite> site;
    Ref<ZEVAChannel> channel;
};

Ref<ZEVATimeRange> range() {
    auto r = ZEVATimeRange::alloc();
    r->set_start_time(test::timeAt(kT1));
    r->set_end_time(test::timeAt(kT2));
    return r;
}

Ref<ZEVALocation> place(float latitude, float longitude) {
    auto l = ZEVALocation::alloc();
    l->set_latitude(latitude);
    l->set_longitude(longitude);
    return l;
}

// Network XX, station ABC at 35.7/139.7, site 00 at 35/139, channel BHZ; the
// network identifier object is shared by every level.
Chain chain() {
    Chain c{ZEVANetworkID::create(), ZEVANetworkAttr::create(), ZEVAStation::create(), ZEVASite::create(),
            ZEVAChannel::create()};
    c.networkID->set_network_code(str("XX"));
    c.networkID->set_begin_time(test::timeAt(kT1));
    c.network->set_id(c.networkID);
    c.network->set_name(str("Example Net"));
    c.network->set_description(str("test network"));
    c.network->set_owner(str("Owner Inst"));
    c.network->set_effective_time(range());

    auto stationID = ZEVAStationID::create();
    stationID->set_network_id(c.networkID);
    stationID->set_station_code(str("ABC"));
    stationID->set_begin_time(test::timeAt(kT1));
    c.station->set_id(stationID);
    c.station->set_name(str("not printed"));
    c.station->set_my_location(place(35.7f, 139.7f));
    c.station->set_effective_time(range());
    c.station->set_operator(str("Op"));
    c.station->set_description(str("Desc"));
    c.station->set_comment(str("Note"));
    c.station->set_my_network(c.network);

    auto siteID = ZEVASiteID::create();
    siteID->set_network_id(c.networkID);
    siteID->set_station_code(str("ABC"));
    siteID->set_site_code(str("00"));
    siteID->set_begin_time(test::timeAt(kT2));
    c.site->set_id(siteID);
    c.site->set_my_location(place(35.0f, 139.0f));
    c.site->set_effective_time(range());
    c.site->set_my_station(c.station);
    c.site->set_comment(str("not printed"));

    auto channelID = ZEVAChannelID::create();
    channelID->set_network_id(c.networkID);
    channelID->set_station_code(str("ABC"));
    channelID->set_site_code(str("00"));
    channelID->set_channel_code(str("BHZ"));
    channelID->set_begin_time(test::timeAt(kT2));
    c.channel->set_id(channelID);
    c.channel->set_name(str("BHZ broadband"));
    auto orientation = ZEVAOrientation::create();
    orientation->set_dip(-90);
    c.channel->set_an_orientation(orientation);
    c.channel->set_sampling_info(ZEVASampling::create());
    c.channel->set_effective_time(range());
    c.channel->set_my_site(c.site);
    return c;
}

}  // namespace

TEST(Inventory, DescriptionsWithAndWithoutMembers) {
    const Chain c = chain();
    const std::string net = std::string("\nZEVA Network ID\n  Network Code:XX\n  Network Begin Time: ") + kT1 + "\n";
    const std::string span = std::string("Start:") + kT1 + " End:" + kT2;
    const std::string netAttr = "ZEVANetworkAttr:\n" + net + "\nExample Net\ntest network\nOwner Inst\n" + span;
    const std::string stationLoc = " 35.700  139.700 (null) (null)";
    const std::string station = "\n-------------\nZEVAStation\n-------------\nID: ZEVA Station:\n" + net + "\nABC\n" +
                                kT1 + "\nLocation: " + stationLoc + "\nEffective Time: " + span +
                                "\nOperator: Op\nDescription: Desc\nComment: Note\nNetwork: " + netAttr + "\n";
    const std::pair<std::function<std::string()>, std::string> cases[] = {
        {[] { return ZEVANetworkID::create()->description(); },
         "\nZEVA Network ID\n  Network Code:(null)\n  Network Begin Time: (null)\n"},
        {[&] { return c.networkID->description(); }, net},
        {[&] { return c.station->_id()->description(); }, "ZEVA Station:\n" + net + "\nABC\n" + kT1},
        {[] { return ZEVAStationID::create()->description(); }, "ZEVA Station:\n(null)\n(null)\n(null)"},
        {[&] { return c.site->_id()->description(); }, "ZEVA SiteID:" + net + "\nABC\n00\n" + kT2},
        {[] { return ZEVASiteID::create()->description(); }, "ZEVA SiteID:(null)\n(null)\n(null)\n(null)"},
        {[&] { return c.channel->_id()->description(); },
         "\n-------------\nZEVAChannelID\n-------------\n" + net +
             "\nStation Code: ABC\nSite Code: 00\nChannel Code: BHZ\nChannel Begin Time: " + kT2},
        {[] { return ZEVAChannelID::create()->description(); },
         "\n-------------\nZEVAChannelID\n-------------\n(null)\nStation Code: (null)\nSite Code: (null)\n"
         "Channel Code: (null)\nChannel Begin Time: (null)"},
        {[&] { return c.network->description(); }, netAttr},
        {[] { return ZEVANetworkAttr::create()->description(); }, "ZEVANetworkAttr:\n(null)\n(null)\n(null)\n(null)\n(null)"},
        {[&] { return c.station->description(); }, station},
        {[] { return ZEVAStation::create()->description(); },
         "\n-------------\nZEVAStation\n-------------\nID: (null)\nLocation: (null)\nEffective Time: (null)\n"
         "Operator: (null)\nDescription: (null)\nComment: (null)\nNetwork: (null)\n"},
        {[&] { return c.station->shortDescription(); }, "XX ABC " + stationLoc + "\n"},
        {[] { return ZEVAStation::create()->shortDescription(); }, "(null) (null) (null)\n"},
        {[&] { return c.site->description(); }, "ZEVA Site:\nZEVA SiteID:" + net + "\nABC\n00\n" + kT2 +
                                                    "\n 35.000  139.000 (null) (null)\n" + span + "\n" + station},
        {[] { return ZEVASite::create()->description(); }, "ZEVA Site:\n(null)\n(null)\n(null)\n(null)"},
        {[&] { return c.channel->description(); },
         "ZEVAChannel:\nBHZ broadband\nZEVAOrientation: Azimuth:0.000000 Dip:-90.000000\n"
         "ZEVASampling: Time Interval = 1.000000  / Npts = 20"},
        {[] { return ZEVAChannel::create()->description(); }, "ZEVAChannel:\n(null)\n(null)\n(null)"},
    };
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first(), cases[i].second) << "row " << i;
}

TEST(Inventory, ChannelQueriesReachThroughTheChain) {
    const Chain c = chain();
    const auto& ch = c.channel;
    EXPECT_EQ(ch->getID(), ch->_id());
    EXPECT_EQ(textOf(ch->getCode()), "00");  // the site code
    EXPECT_EQ(textOf(ch->site_code()), "00");
    EXPECT_EQ(textOf(ch->channel_code()), "BHZ");
    EXPECT_EQ(textOf(ch->station_code()), "ABC");
    EXPECT_EQ(textOf(ch->network_code()), "XX");
    EXPECT_EQ(ch->getStation(), c.station);
    EXPECT_FLOAT_EQ(ch->latitude(), 35.7f);  // the station's, not the site's
    EXPECT_FLOAT_EQ(ch->longitude(), 139.7f);
    EXPECT_EQ(textOf(c.site->getCode()), "00");
    EXPECT_EQ(c.site->getId(), c.site->_id());

    // Every missing link answers null or 0.
    auto bare = ZEVAChannel::create();
    bare->set_id(ZEVAChannelID::create());
    auto siteWithoutStation = ZEVASite::create();
    for (auto site : {Ref<ZEVASite>(), siteWithoutStation}) {
        bare->set_my_site(site);
        EXPECT_EQ(bare->getStation(), nullptr);
        EXPECT_EQ(bare->latitude(), 0.0f);
        EXPECT_EQ(bare->longitude(), 0.0f);
    }
    siteWithoutStation->set_my_station(ZEVAStation::create());  // a station without a location
    EXPECT_EQ(bare->latitude(), 0.0f);
    EXPECT_EQ(bare->network_code(), nullptr);
    bare->set_id(nullptr);
    EXPECT_EQ(bare->getCode(), nullptr);
    EXPECT_EQ(bare->station_code(), nullptr);
    EXPECT_EQ(bare->channel_code(), nullptr);
    EXPECT_EQ(ZEVASite::create()->getCode(), nullptr);
}

namespace {
Ref<ZEVAChannelID> channelID(const char* net, const char* sta, const char* site, const char* cha, const char* t) {
    auto id = ZEVAChannelID::create();
    if (net) {
        id->set_network_id(ZEVANetworkID::create());
        id->_network_id()->set_network_code(str(net));
    }
    if (sta) id->set_station_code(str(sta));
    if (site) id->set_site_code(str(site));
    if (cha) id->set_channel_code(str(cha));
    id->set_begin_time(test::timeAt(t));
    return id;
}
}  // namespace

TEST(Inventory, ChannelIdentifierEquality) {
    const auto base = channelID("XX", "ABC", "00", "BHZ", kT1);
    const struct {
        Ref<ZEVAChannelID> other;
        bool equal;
    } cases[] = {
        {channelID("XX", "ABC", "00", "BHZ", kT2), true},  // another epoch of the same channel
        {channelID("XX", "ABC", "10", "BHZ", kT1), false},
        {channelID("XX", "ABC", "00", "bhz", kT1), false},
        {channelID("XX", "ABC", "00", "BHZ ", kT1), false},
        {channelID("XX", "ABD", "00", "BHZ", kT1), false},
        {channelID("XY", "ABC", "00", "BHZ", kT1), false},
        {channelID(nullptr, "ABC", "00", "BHZ", kT1), false},
        {channelID("XX", "ABC", nullptr, "BHZ", kT1), false},
        {nullptr, false},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(base->isEqualTo(cases[i].other), cases[i].equal) << "row " << i;
        if (cases[i].other) {
            EXPECT_EQ(cases[i].other->isEqualTo(base), cases[i].equal) << "row " << i;
        }
    }
    // The same missing codes on both sides are not equal either.
    EXPECT_FALSE(ZEVAChannelID::create()->isEqualTo(ZEVAChannelID::create()));
    const auto noNetwork = channelID(nullptr, "ABC", "00", "BHZ", kT1);
    EXPECT_FALSE(noNetwork->isEqualTo(channelID(nullptr, "ABC", "00", "BHZ", kT1)));
}

TEST(Inventory, ChannelSortComparisons) {
    // Station and network codes set alike; null leaves the code (or, for the
    // argument, the whole channel) missing.
    auto channel = [](const char* code) {
        auto ch = ZEVAChannel::create();
        ch->set_id(channelID(code, code, "00", "BHZ", kT1));
        return ch;
    };
    const struct {
        const char* mine;
        const char* theirs;
        bool argumentMissing;
        int expected;
    } cases[] = {
        {"ABC", "ABCD", false, -1}, {"ABCD", "ABC", false, 1}, {"ABCD", "abc", false, -1},
        {"abc", "ABC", false, 1},   {"ABC", "ABC", false, 0},  {nullptr, "ABC", false, 0},
        {nullptr, nullptr, false, 0}, {"ABC", nullptr, false, 1}, {"ABC", nullptr, true, 1},
        {nullptr, nullptr, true, 0},
    };
    for (const auto& c : cases) {
        auto other = c.argumentMissing ? nullptr : channel(c.theirs);
        const char* row = c.mine ? c.mine : "-";
        EXPECT_EQ(channel(c.mine)->compareStationCodes(other), c.expected) << row;
        EXPECT_EQ(channel(c.mine)->compareNetworkCodes(other), c.expected) << row;
    }
    auto list = MutableArray::array();
    for (const char* code : {"abc", "ABCD", "ABC"}) list->addObject(channel(code));
    list->sortUsingComparator([](const ObjectRef& a, const ObjectRef& b) {
        return std::static_pointer_cast<ZEVAChannel>(a)->compareStationCodes(std::static_pointer_cast<ZEVAChannel>(b));
    });
    std::string order;
    for (const auto& o : *list) order += textOf(std::static_pointer_cast<ZEVAChannel>(o)->station_code()) + " ";
    EXPECT_EQ(order, "ABC ABCD abc ");
}

TEST(Inventory, TextSettersCopyAndObjectSettersShare) {
    const std::vector<ObjectRef> samples = {
        test::timeAt(kT1), ZEVANetworkID::create(), ZEVAStationID::create(), ZEVASiteID::create(),
        ZEVAChannelID::create(), ZEVANetworkAttr::create(), ZEVAStation::create(), ZEVASite::create(),
        ZEVALocation::create(), ZEVAOrientation::create(), ZEVASampling::create(), ZEVATimeRange::create()};
    const std::pair<Ref<KWOObject>, std::set<std::string>> cases[] = {
        {ZEVANetworkID::create(), {"_network_code"}},
        {ZEVAStationID::create(), {"_station_code"}},
        {ZEVASiteID::create(), {"_station_code", "_site_code"}},
        {ZEVAChannelID::create(), {"_station_code", "_site_code", "_channel_code"}},
        {ZEVANetworkAttr::create(), {"_name", "_description", "_owner"}},
        {ZEVAStation::create(), {"_name", "_operator", "_description", "_comment"}},
        {ZEVASite::create(), {"_comment"}},
        {ZEVAChannel::create(), {"_name"}},
    };
    for (const auto& [object, copied] : cases) test::expectOwnership(object, copied, samples);
}

TEST(Inventory, ChainArchiveRestoresOneSharedNetwork) {
    const Chain c = chain();
    auto back = test::roundTrip<ZEVAChannel>(c.channel);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->description(), c.channel->description());
    EXPECT_EQ(back->_id()->description(), c.channel->_id()->description());
    ASSERT_TRUE(back->_my_site() && back->getStation() && back->getStation()->_my_network());
    EXPECT_EQ(back->_my_site()->description(), c.site->description());  // site, station, network inside
    EXPECT_EQ(back->_effective_time()->description(), c.channel->_effective_time()->description());
    EXPECT_FLOAT_EQ(back->latitude(), 35.7f);
    EXPECT_EQ(textOf(back->getStation()->_name()), "not printed");
    EXPECT_EQ(textOf(back->_my_site()->_comment()), "not printed");
    const auto networkID = back->_id()->_network_id();
    EXPECT_EQ(back->_my_site()->_id()->_network_id(), networkID);
    EXPECT_EQ(back->getStation()->_id()->_network_id(), networkID);
    EXPECT_EQ(back->getStation()->_my_network()->_id(), networkID);

    // The command line restores and prints inventory archives too.
    const std::string path = ::testing::TempDir() + "zeva-channel.archive";
    ASSERT_TRUE(c.channel->saveAchivedToPath(path));
    auto run = test::runCli("describe '" + path + "'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, c.channel->description() + "\n");
    std::remove(path.c_str());

    EXPECT_EQ(test::plistlibCheck(c.channel, R"PY(
keys = {}
mine = ('ZEVAChannel', 'ZEVAChannelID', 'ZEVANetworkAttr', 'ZEVANetworkID', 'ZEVASite', 'ZEVASiteID',
        'ZEVAStation', 'ZEVAStationID')
for o in objs:
    if isinstance(o, dict) and '$class' in o and classname(o) in mine:
        keys.setdefault(classname(o), set()).add(','.join(k for k in o if k != '$class'))
for name in sorted(keys): print(name, *sorted(keys[name]))
print(sum(1 for o in objs if isinstance(o, dict) and '$class' in o and classname(o) == 'ZEVANetworkID'))
)PY"),
              "ZEVAChannel _id,_name,_an_orientation,_sampling_info,_effective_time,_my_site\n"
              "ZEVAChannelID _network_id,_station_code,_site_code,_channel_code,_begin_time\n"
              "ZEVANetworkAttr _id,_name,_description,_owner,_effective_time\n"
              "ZEVANetworkID _network_code,_begin_time\n"
              "ZEVASite _id,_my_location,_effective_time,_my_station,_comment\n"
              "ZEVASiteID _network_id,_station_code,_site_code,_begin_time\n"
              "ZEVAStation _id,_name,_my_location,_effective_time,_operator,_description,_comment,_my_network\n"
              "ZEVAStationID _network_id,_station_code,_begin_time\n"
              "1\n");
}
