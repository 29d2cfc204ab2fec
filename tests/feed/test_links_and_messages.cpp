// Pages about the selected event (through a recording browser) and the
// bulletin texts (from a loopback server).
#include <cstdlib>
#include <ctime>

#include "feed/feed_support.hpp"

using namespace feedtest;
using Service = NEIC_QueryController::MessageService;

namespace {

// Runs the test body in the given TZ and restores the old one.
class ScopedTZ {
public:
    explicit ScopedTZ(const char* zone) {
        if (const char* old = std::getenv("TZ")) saved_ = old;
        had_ = std::getenv("TZ") != nullptr;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~ScopedTZ() {
        if (had_)
            ::setenv("TZ", saved_.c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

private:
    std::string saved_;
    bool had_ = false;
};

class Links : public ::testing::Test {
protected:
    void SetUp() override {
        controller_ = NEIC_QueryController::create();
        table_ = std::make_unique<EventTable>(*controller_);
        opener_ = std::make_shared<RecordingOpener>();
        controller_->setURLOpener(opener_);
    }

    // Puts one origin in the list and selects it.
    zeva::Ref<ZEVAOrigin> select(float lat, float lon, const char* region = nullptr, const char* id = "us1",
                                 double time = 1330990200 /* 2012-03-05T23:30:00Z */) {
        auto o = ZEVAOrigin::create();
        o->set_id(zeva::str(id));
        o->setLatitude(lat);
        o->setLongitude(lon);
        o->setOriginTime(zeva::Date::dateWithTimeIntervalSince1970(time));
        if (region) o->setFlinnEngdahlString(zeva::str(region));
        controller_->getSeismicOriginsPointer()->removeAllObjects();
        controller_->getSeismicOriginsPointer()->addObject(o);
        EXPECT_TRUE(table_->table.selectRow(0));
        return o;
    }

    std::string openedOnly() const {
        EXPECT_EQ(opener_->opened.size(), 1u);
        return opener_->opened.empty() ? "" : opener_->opened.back();
    }

    zeva::Ref<NEIC_QueryController> controller_;
    std::unique_ptr<EventTable> table_;
    std::shared_ptr<RecordingOpener> opener_;
};

using LinkOp = bool (NEIC_QueryController::*)();
const LinkOp kLinks[] = {&NEIC_QueryController::loadNeicEventPage, &NEIC_QueryController::openGoogleMaps,
                         &NEIC_QueryController::googleNewsSearch, &NEIC_QueryController::cmtSearch};

}  // namespace

TEST_F(Links, NothingWithoutASelection) {
    select(10, 20, "Fiji Islands region ");
    ASSERT_TRUE(table_->table.selectRow(-1));
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    // A selection left behind by a list that became shorter.
    controller_->getSeismicOriginsPointer()->addObject(ZEVAOrigin::create());
    ASSERT_TRUE(table_->table.selectRow(1));
    controller_->getSeismicOriginsPointer()->removeObjectAtIndex(1);
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    // No table at all.
    controller_->setEventTableView(nullptr);
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    EXPECT_TRUE(opener_->opened.empty());
}

TEST_F(Links, AnswersWhatTheBrowserAnswers) {
    select(10, 20, "Fiji Islands region ");
    auto refusing = std::make_shared<RecordingOpener>(false);
    controller_->setURLOpener(refusing);
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    EXPECT_EQ(refusing->opened.size(), 4u);
}

TEST_F(Links, EventPage) {
    select(28.2f, 84.7f, nullptr, "us20002926");
    EXPECT_TRUE(controller_->loadNeicEventPage());
    EXPECT_EQ(openedOnly(), "http://earthquake.usgs.gov/earthquakes/eventpage/us20002926#summary");

    // The selected row, not the first one.
    auto other = ZEVAOrigin::create();
    other->set_id(zeva::str("ci38457511"));
    controller_->getSeismicOriginsPointer()->addObject(other);
    ASSERT_TRUE(table_->table.selectRow(1));
    EXPECT_TRUE(controller_->loadNeicEventPage());
    EXPECT_EQ(opener_->opened.back(), "http://earthquake.usgs.gov/earthquakes/eventpage/ci38457511#summary");

    // What a URL does not take is escaped; a text that still makes no URL
    // (a second "#") opens nothing.
    opener_->opened.clear();
    select(0, 0, nullptr, "us 1\"x\"");
    EXPECT_TRUE(controller_->loadNeicEventPage());
    EXPECT_EQ(openedOnly(), "http://earthquake.usgs.gov/earthquakes/eventpage/us%201%22x%22#summary");
    opener_->opened.clear();
    select(0, 0, nullptr, "us#1");
    EXPECT_FALSE(controller_->loadNeicEventPage());
    EXPECT_TRUE(opener_->opened.empty());
}

TEST_F(Links, GoogleMaps) {
    select(-33.45678f, -70.6f);
    EXPECT_TRUE(controller_->openGoogleMaps());
    EXPECT_EQ(openedOnly(), "http://maps.google.com/maps?ll=-33.457,-70.600&q=-33.457,-70.600&spn=15,15&t=k&hl=en");
}

TEST_F(Links, NewsSearchWords) {
    const std::pair<const char*, const char*> cases[] = {
        {"Central Alaska, United States (Alaska-Aleutian Arc)", "+Central+Alaska+++"},
        {"Near coast of northern Chile (Andean South America)", "+++Chile+"},
        {"Fiji Islands region (Fiji Islands)", "+Fiji+Islands+region+"},
        {"Southeastern Alaska (Alaska)", "++Alaska+"},
        {"NORTHWESTERN Kashmir", "++Kashmir"},
        {"Tonga Islands", "+Tonga+Islands"},
    };
    for (const auto& [region, words] : cases) {
        opener_->opened.clear();
        select(0, 0, region);
        EXPECT_TRUE(controller_->googleNewsSearch()) << region;
        EXPECT_EQ(openedOnly(), std::string("http://news.google.com/news?hl=en&ned=us&q=earthquake") + words +
                                    "&btnG=Search+News")
            << region;
    }
    // Bytes a URL does not take are escaped, not dropped.
    opener_->opened.clear();
    select(0, 0, "Ciudad de M\xC3\xA9xico (Mexico)");
    EXPECT_TRUE(controller_->googleNewsSearch());
    EXPECT_EQ(openedOnly(), "http://news.google.com/news?hl=en&ned=us&q=earthquake+Ciudad+de+M%C3%A9xico+&btnG=Search+News");
}

TEST_F(Links, CMTSearchBox) {
    ScopedTZ utc("UTC");
    const std::string fixedA = "&oyr=1976&omo=1&oday=1&jyr=1976&jday=1&ojyr=1976"
                               "&ojday=1&otype=nd&nday=1&lmw=0&umw=10&lms=0&ums=10&lmb=0";
    const std::string fixedB = "&lhd=0&uhd=1000&lts=-9999&uts=9999&lpe1=0&upe1=90&lpe2=0&upe2=90&list=0";
    const std::string start = "http://www.globalcmt.org/cgi-bin/CMT2/form?itype=ymd&yr=";
    struct Case {
        float lat, lon;
        double time;
        const char* date;
        const char* box;
    };
    const Case cases[] = {
        // No clamping at the pole and no wrapping at the date line.
        {88.5f, 178.0f, 1330990200, "2012&mo=03&day=05", "&umb=10&llat=84.50&ulat=92.50&llon=174.00&ulon=182.00"},
        {-33.45678f, -70.6f, 1267252451, "2010&mo=02&day=27", "&umb=10&llat=-37.46&ulat=-29.46&llon=-74.60&ulon=-66.60"},
        {0, -180.0f, 1293839999, "2010&mo=12&day=31", "&umb=10&llat=-4.00&ulat=4.00&llon=-184.00&ulon=-176.00"},
    };
    for (const auto& k : cases) {
        opener_->opened.clear();
        select(k.lat, k.lon, nullptr, "us1", k.time);
        EXPECT_TRUE(controller_->cmtSearch());
        EXPECT_EQ(openedOnly(), start + k.date + fixedA + k.box + fixedB);
    }
}

// ------------------------------------------------------------------ bulletins

namespace {

constexpr const char* kWarning = "TSUNAMI INFORMATION STATEMENT NUMBER 1\nNWS WEST COAST/ALASKA TSUNAMI WARNING CENTER\r\n\n"
                                 "THIS STATEMENT IS FOR INFORMATION ONLY.\n";
constexpr const char* kPacific = "TSUNAMI MESSAGE NUMBER 2\nNWS PACIFIC TSUNAMI WARNING CENTER EWA BEACH HI\n";
constexpr const char* kTensor = "  Date    Time   Lat   Lon  Depth  Mw\n2012/03/05 23:30 -33.46 -70.60 35 5.5\n";
constexpr const char* kBulletin =
    "<!DOCTYPE html><html><head><title>Big Quake</title><style>p { color: red }</style>"
    "<script>var hidden = 1;</script></head><body><h1>M 7.8 - Nepal</h1>"
    "<p>Origin time <b>2015-04-25</b> 06:11 UTC &amp; depth 8 km</p><!-- not shown --></body></html>";

class Messages : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server_.running());
        server_.serve("/message.txt", kWarning);
        server_.serve("/ptwc/wmsg", kPacific);
        server_.serve("/neis/data_services/bigquake.html", kBulletin);
        server_.serve("/neis/data_services/mtall.last", kTensor);
    }
    void pointAll(NEIC_QueryController& c, const std::string& base) {
        for (Service s : {Service::WCATWC, Service::PTWC, Service::BigQuake, Service::MTensor}) c.setMessageHost(s, base);
    }
    LoopbackServer server_;
};

}  // namespace

TEST_F(Messages, FetchedFromTheirHosts) {
    auto c = NEIC_QueryController::create();
    pointAll(*c, server_.base());
    EXPECT_EQ(text(c->WCATWCMessage()), kWarning);
    EXPECT_EQ(text(c->PTWCMessage()), kPacific);
    EXPECT_EQ(text(c->USGSMTensorMessage()), kTensor);

    auto plain = text(c->BigQuakeMessage());
    for (const char* visible : {"Big Quake", "M 7.8 - Nepal", "Origin time 2015-04-25 06:11 UTC & depth 8 km"})
        EXPECT_NE(plain.find(visible), std::string::npos) << visible << " in: " << plain;
    for (const char* hidden : {"<", ">", "color", "hidden", "not shown", "&amp;"})
        EXPECT_EQ(plain.find(hidden), std::string::npos) << hidden << " in: " << plain;
    // The heading and the paragraph are blocks of their own.
    EXPECT_NE(plain.find("M 7.8 - Nepal\nOrigin time"), std::string::npos) << plain;
}

TEST_F(Messages, OneHostPerService) {
    auto c = NEIC_QueryController::create();
    const std::string ptwcDefault = c->messageHost(Service::PTWC);
    EXPECT_TRUE(ptwcDefault.starts_with("http://"));
    c->setMessageHost(Service::WCATWC, server_.base());
    EXPECT_EQ(c->messageHost(Service::PTWC), ptwcDefault);
    EXPECT_EQ(text(c->WCATWCMessage()), kWarning);
}

TEST_F(Messages, FailedFetchesAnswerNull) {
    const std::string refused = "http://127.0.0.1:" + std::to_string(refusedPort());
    for (const std::string& base : {server_.base() + "/elsewhere", refused, std::string("not a host")}) {
        auto c = NEIC_QueryController::create();
        pointAll(*c, base);
        EXPECT_EQ(c->WCATWCMessage(), nullptr) << base;
        EXPECT_EQ(c->PTWCMessage(), nullptr) << base;
        EXPECT_EQ(c->BigQuakeMessage(), nullptr) << base;
        EXPECT_EQ(c->USGSMTensorMessage(), nullptr) << base;
    }
}
