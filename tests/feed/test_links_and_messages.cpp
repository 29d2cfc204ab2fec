// Pages about the selected event (through a recording browser) and the
// bulletin texts (from a loopback server).
#include "feed/feed_support.hpp"

using namespace feedtest;
using Service = NEIC_QueryController::MessageService;

namespace {

class Links : public ::testing::Test {
protected:
    void SetUp() override { controller_->setURLOpener(opener_); }

    void select(float lat, float lon, const char* region = nullptr, const char* id = "us1",
                double time = 1330990200 /* 2012-03-05T23:30:00Z */) {
        controller_->getSeismicOriginsPointer()->removeAllObjects();
        controller_->getSeismicOriginsPointer()->addObject(origin({id, time, lat, lon, 10, 6, region}));
        EXPECT_TRUE(table_.table.selectRow(0));
        opener_->opened.clear();
    }

    // What the link opened, when it answered YES and opened one page.
    std::string open(bool (NEIC_QueryController::*link)()) {
        opener_->opened.clear();
        EXPECT_TRUE(((*controller_).*link)());
        EXPECT_EQ(opener_->opened.size(), 1u);
        return opener_->opened.empty() ? "" : opener_->opened.back();
    }

    zeva::Ref<NEIC_QueryController> controller_ = NEIC_QueryController::create();
    EventTable table_{*controller_};
    std::shared_ptr<RecordingOpener> opener_ = std::make_shared<RecordingOpener>();
};

using LinkOp = bool (NEIC_QueryController::*)();
const LinkOp kLinks[] = {&NEIC_QueryController::loadNeicEventPage, &NEIC_QueryController::openGoogleMaps,
                         &NEIC_QueryController::googleNewsSearch, &NEIC_QueryController::cmtSearch};

}  // namespace

// No selection, a selection beyond a list that became shorter, no table: NO
// and nothing opened. With a selection, each link answers what the browser does.
TEST_F(Links, AnswerNoWithoutASelectionOrABrowser) {
    select(10, 20, "Fiji Islands region ");
    ASSERT_TRUE(table_.table.selectRow(-1));
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    controller_->getSeismicOriginsPointer()->addObject(ZEVAOrigin::create());
    ASSERT_TRUE(table_.table.selectRow(1));
    controller_->getSeismicOriginsPointer()->removeObjectAtIndex(1);
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    controller_->setEventTableView(nullptr);
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    EXPECT_TRUE(opener_->opened.empty());

    controller_->setEventTableView(&table_.table);
    ASSERT_TRUE(table_.table.selectRow(0));
    opener_->answer = false;
    for (auto op : kLinks) EXPECT_FALSE(((*controller_).*op)());
    EXPECT_EQ(opener_->opened.size(), 4u);
}

// Each link's page for the selected origin: URL escapes where a URL does not
// take the text; news words from the region (bytes escaped, not dropped);
// the CMT box without clamping at the pole or wrapping at the date line.
TEST_F(Links, PagesOfTheSelectedOrigin) {
    ScopedTZ utc("UTC");
    const std::string event = "http://earthquake.usgs.gov/earthquakes/eventpage/";
    const std::string news = "http://news.google.com/news?hl=en&ned=us&q=earthquake";
    const std::string cmt = "http://www.globalcmt.org/cgi-bin/CMT2/form?itype=ymd&yr=";
    const std::string fixedA = "&oyr=1976&omo=1&oday=1&jyr=1976&jday=1&ojyr=1976"
                               "&ojday=1&otype=nd&nday=1&lmw=0&umw=10&lms=0&ums=10&lmb=0&umb=10";
    const std::string fixedB = "&lhd=0&uhd=1000&lts=-9999&uts=9999&lpe1=0&upe1=90&lpe2=0&upe2=90&list=0";
    const struct {
        float lat, lon;
        const char* region;
        const char* id;
        double time;
        LinkOp link;
        std::string url;
    } cases[] = {
        {0, 0, nullptr, "us 1\"x\"", 0, kLinks[0], event + "us%201%22x%22#summary"},
        {-33.45678f, -70.6f, nullptr, "us1", 0, kLinks[1],
         "http://maps.google.com/maps?ll=-33.457,-70.600&q=-33.457,-70.600&spn=15,15&t=k&hl=en"},
        // Every word the query drops, in any case; a comma becomes a blank.
        {0, 0, "Near coast of NORTHWESTERN Ciudad de M\xC3\xA9xico, United States (Mexico)", "us1", 0, kLinks[2],
         news + "+++Ciudad+de+M%C3%A9xico+++&btnG=Search+News"},
        {88.5f, 178.0f, nullptr, "us1", 1330990200, kLinks[3],
         cmt + "2012&mo=03&day=05" + fixedA + "&llat=84.50&ulat=92.50&llon=174.00&ulon=182.00" + fixedB},
    };
    for (const auto& k : cases) {
        select(k.lat, k.lon, k.region, k.id, k.time);
        EXPECT_EQ(open(k.link), k.url);
    }

    // A text that still makes no URL (a second "#") opens nothing.
    select(0, 0, nullptr, "us#1");
    EXPECT_FALSE(controller_->loadNeicEventPage());
    EXPECT_TRUE(opener_->opened.empty());
}

// ------------------------------------------------------------------ bulletins

TEST(Messages, FetchedFromTheirHostsOrNull) {
    const char* warning = "TSUNAMI INFORMATION STATEMENT NUMBER 1\nNWS WEST COAST/ALASKA TSUNAMI WARNING CENTER\r\n\n"
                          "THIS STATEMENT IS FOR INFORMATION ONLY.\n";
    const char* pacific = "TSUNAMI MESSAGE NUMBER 2\nNWS PACIFIC TSUNAMI WARNING CENTER EWA BEACH HI\n";
    const char* tensor = "  Date    Time   Lat   Lon  Depth  Mw\n2012/03/05 23:30 -33.46 -70.60 35 5.5\n";
    LoopbackServer server;
    ASSERT_TRUE(server.running());
    server.serve("/message.txt", warning);
    server.serve("/ptwc/wmsg", pacific);
    server.serve("/neis/data_services/mtall.last", tensor);
    // The HTML reader's own tests hold its rules; here, that the page goes through it.
    server.serve("/neis/data_services/bigquake.html",
                 "<html><head><title>Big Quake</title><script>var hidden = 1;</script></head><body><h1>M 7.8</h1>"
                 "<p>depth &amp; time</p></body></html>");
    // Each service has its own host: pointing one elsewhere leaves the others.
    auto c = NEIC_QueryController::create();
    const std::string ptwcDefault = c->messageHost(Service::PTWC);
    EXPECT_TRUE(ptwcDefault.starts_with("http://"));
    c->setMessageHost(Service::WCATWC, server.base());
    EXPECT_EQ(c->messageHost(Service::PTWC), ptwcDefault);
    EXPECT_EQ(text(c->WCATWCMessage()), warning);
    for (Service s : {Service::PTWC, Service::BigQuake, Service::MTensor}) c->setMessageHost(s, server.base());
    EXPECT_EQ(text(c->PTWCMessage()), pacific);
    EXPECT_EQ(text(c->USGSMTensorMessage()), tensor);
    EXPECT_EQ(text(c->BigQuakeMessage()), "Big Quake\nM 7.8\ndepth & time");

    // A failed fetch (the fetcher's tests hold the kinds) answers null.
    c->setMessageHost(Service::BigQuake, server.base() + "/elsewhere");
    EXPECT_EQ(c->BigQuakeMessage(), nullptr);
}
