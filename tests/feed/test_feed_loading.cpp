// The two loaders against a real HTTP server on loopback: the shared USGS
// files, hand-written feeds of the older and current layouts, the magnitude
// filter, times, and the failure path.
#include <cmath>
#include <limits>

#include "feed/feed_support.hpp"

using namespace feedtest;

namespace {

constexpr const char* kFailureLine = "Problem downloading USGS event list.";
constexpr const char* kSummaryHeader =
    "DateTime,Latitude,Longitude,Depth,Magnitude,MagType,NbStations,Gap,Distance,RMS,Source,EventID,Version\n";
constexpr const char* kQuotedHeader = "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region\n";

// One row of the older summary layout: exactly 13 fields, a "+00:00" time.
std::string summaryRow(const std::string& id, const std::string& mag,
                       const std::string& time = "2012-10-10T12:34:56.500+00:00", const std::string& lat = "10.5",
                       const std::string& lon = "20.25", const std::string& depth = "33.0") {
    return time + "," + lat + "," + lon + "," + depth + "," + mag + ",Mw,120,30,0.5,1.1,us," + id + ",7\n";
}

std::string quotedRow(const std::string& src, const std::string& id, const std::string& mag,
                      const std::string& date = "Monday, March 05, 2012 23:30:00 UTC") {
    return src + "," + id + ",7,\"" + date + "\",-33.4568,-70.6000," + mag + ",35.20, 44,\"Central Chile\"\n";
}

enum class Layout { Summary, Quoted };

bool load(NEIC_QueryController& c, Layout layout) {
    return layout == Layout::Summary ? c.loadNEIC_TextList() : c.loadNEIC_CSVvalues();
}

std::vector<std::string> ids(const NEIC_QueryController& c) {
    std::vector<std::string> out;
    for (const auto& o : *c.getSeismicOriginsPointer()) out.push_back(text(std::dynamic_pointer_cast<ZEVAOrigin>(o)->_id()));
    return out;
}

class FeedLoading : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server_.running()); }

    // A controller whose fetches give up quickly: the slow reply and the
    // size cap are tested through it.
    zeva::Ref<NEIC_QueryController> controller(const std::vector<std::string>& paths) {
        auto c = NEIC_QueryController::create();
        zeva::FetchLimits limits;
        limits.connectTimeoutMs = 2000;
        limits.totalTimeoutMs = 400;
        limits.maxBytes = 4096;
        c->setURLFetcher(std::make_shared<zeva::CurlURLFetcher>(limits));
        std::vector<std::string> urls;
        for (const auto& p : paths) urls.push_back(p.find("://") == std::string::npos ? server_.url(p) : p);
        setURLs(*c, urls);
        return c;
    }

    LoopbackServer server_;
};

}  // namespace

TEST(FeedController, Defaults) {
    auto c = NEIC_QueryController::create();
    EXPECT_EQ(c->minMagnitude(), 5.0f);
    EXPECT_EQ(c->maxMagnitude(), 19.0f);
    ASSERT_TRUE(c->seismicOrigins());
    EXPECT_EQ(c->seismicOrigins()->count(), 0u);
    EXPECT_EQ(c->getSeismicOriginsPointer(), c->seismicOrigins().get());
    ASSERT_EQ(c->gsURLs()->count(), 1u);
    auto url = c->gsURLs()->objectAtIndexAs<zeva::URL>(0);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), "http");
    EXPECT_EQ(url->path(), "/earthquakes/feed/v0.1/summary/1.0_week.csv");
    EXPECT_EQ(c->eventTableView(), nullptr);
}

// Every shared file, served over HTTP, through the loader of its layout:
// all rows with the widest limits, and the README's counts with the defaults.
TEST_F(FeedLoading, SharedFeedFiles) {
    const std::string dir = sharedFeedDir();
    if (!std::filesystem::exists(dir)) GTEST_SKIP() << "shared USGS feed samples not found at " << dir;
    struct Case {
        const char* file;
        Layout layout;
        size_t rows;       // rows the loader reads (the noheader file loses its first)
        size_t kept;       // with the default limits 5.0 to 19.0
        size_t exactlyFive;
    };
    const Case cases[] = {
        {"4.5_week.2015-05-01.csv", Layout::Summary, 104, 38, 9},
        {"1.0_week.2016-01-07.csv", Layout::Summary, 1088, 22, 6},
        {"significant_month.2024-05-23.csv", Layout::Summary, 7, 4, 0},
        {"eqs7day-M1.2011-05-21.txt", Layout::Quoted, 911, 30, 6},
        {"eqs7day-M1.2013-03-26.noheader.txt", Layout::Quoted, 978, 20, 3},
    };
    for (const auto& k : cases) {
        const std::string path = dir + "/" + k.file;
        if (!std::filesystem::exists(path)) GTEST_SKIP() << "missing shared feed sample " << path;
        server_.serve(std::string("/") + k.file, readFile(path));
    }
    for (const auto& k : cases) {
        SCOPED_TRACE(k.file);
        auto c = controller({std::string("/") + k.file});
        c->setURLFetcher(nullptr);  // the shared files are larger than the test cap
        c->setMinMagnitude(-std::numeric_limits<float>::infinity());
        c->setMaxMagnitude(std::numeric_limits<float>::infinity());
        ASSERT_TRUE(load(*c, k.layout)) << c->lastLoadError();
        EXPECT_EQ(c->seismicOrigins()->count(), k.rows);

        c->setMinMagnitude(5.0f);
        c->setMaxMagnitude(19.0f);
        ASSERT_TRUE(load(*c, k.layout));
        ASSERT_EQ(c->seismicOrigins()->count(), k.kept);
        size_t five = 0;
        for (size_t i = 0; i < k.kept; ++i) {
            auto o = originAt(*c, i);
            five += o->magnitude() == 5.0f;
            EXPECT_GE(o->magnitude(), 5.0f);
            EXPECT_FALSE(text(o->_id()).empty());
            // Every feed time was read: the ISO text of an instant, not the
            // load time that an unread date would leave behind.
            EXPECT_TRUE(text(o->timeString()).ends_with("Z")) << text(o->timeString());
            EXPECT_LT(o->originTime()->epochTime(), 1.8e9);
            ASSERT_EQ(o->_magnitudes()->count(), 1u);
            EXPECT_TRUE(o->shortFERegion());
        }
        EXPECT_EQ(five, k.exactlyFive);
    }
}

// The older layout: 13 fields with a "+00:00" time is read, 12 is skipped,
// more than 13 is read like 13; the current "Z" layout with a quoted place
// holding commas after field 12 is read the same way.
TEST_F(FeedLoading, SummaryRowsByFieldCount) {
    std::string feed = kSummaryHeader;
    feed += summaryRow("thirteen", "5.8", "2012-10-10T12:34:56.500+00:00", "-33.4568", "-70.6", "35.2");
    feed += "2012-10-10T11:00:00.000+00:00,10.0,20.0,10.0,6.0,Mb,1,2,3,4,us,twelve\n";  // 12 fields
    feed += "2012-10-10T10:00:00.000+00:00,1,2,3,6.5,Mb,1,2,3,4,us,fourteen,7,extra\n";
    feed += "2015-05-01T20:00:07.120Z,28.2305,84.7314,8.22,7.8,mww,,16,0.17,1.12,us,us20002926,"
            "2015-05-02T04:36:55.000Z,\"36km E of Khudi, Nepal\",earthquake\n";
    feed += "short,line\n\n";
    server_.serve("/older.csv", feed);

    auto c = controller({"/older.csv"});
    ASSERT_TRUE(c->loadNEIC_TextList()) << c->lastLoadError();
    ASSERT_EQ(ids(*c), (std::vector<std::string>{"thirteen", "fourteen", "us20002926"}));

    auto o = originAt(*c, 0);
    EXPECT_EQ(text(o->_catalog()), "PDE");
    EXPECT_EQ(text(o->_contributor()), "USGS");
    EXPECT_FLOAT_EQ(o->latitude(), -33.4568f);
    EXPECT_FLOAT_EQ(o->longitude(), -70.6f);
    EXPECT_DOUBLE_EQ(o->depthValue(), double{35.2f});
    ASSERT_EQ(o->_magnitudes()->count(), 1u);
    auto m = o->_magnitudes()->objectAtIndexAs<ZEVAMagnitude>(0);
    EXPECT_FLOAT_EQ(m->magnitude(), 5.8f);
    EXPECT_EQ(text(m->type()), "Mw");
    EXPECT_EQ(text(m->contributor()), "USGS");
    EXPECT_EQ(text(o->_origin_time()->_date_time()), "2012-10-10T12:34:56.5000Z");
    EXPECT_DOUBLE_EQ(o->originTime()->epochTime(), 1349872496.5);
    // The region is looked up once the epicentre is known.
    auto same = ZEVAOrigin::create(), nowhere = ZEVAOrigin::create();
    same->setLatitude(-33.4568f);
    same->setLongitude(-70.6f);
    same->setFERegion();
    nowhere->setFERegion();
    EXPECT_EQ(text(o->FERegion()), text(same->FERegion()));
    EXPECT_NE(text(o->FERegion()), text(nowhere->FERegion()));

    auto nepal = originAt(*c, 2);
    EXPECT_EQ(text(nepal->_origin_time()->_date_time()), "2015-05-01T20:00:07.1200Z");
    EXPECT_EQ(text(nepal->_magnitudes()->objectAtIndexAs<ZEVAMagnitude>(0)->type()), "mww");
}

TEST_F(FeedLoading, TimesAreReadAsUTC) {
    struct Case {
        const char* field;
        const char* iso;
        double seconds;
    };
    const Case cases[] = {
        {"2012-10-10T12:34:56.500+00:00", "2012-10-10T12:34:56.5000Z", 1349872496.5},
        {"2012-12-31T23:59:59.250+00:00", "2012-12-31T23:59:59.2500Z", 1356998399.25},
        {"2015-05-01T20:00:07.125Z", "2015-05-01T20:00:07.1250Z", 1430510407.125},
        {"2016-02-29T00:00:00.000Z", "2016-02-29T00:00:00.0000Z", 1456704000.0},
    };
    std::string feed = kSummaryHeader;
    for (const auto& k : cases) feed += summaryRow(k.field, "6.0", k.field);
    server_.serve("/times.csv", feed);
    // The host's zone must not matter.
    const char* oldTZ = std::getenv("TZ");
    std::string saved = oldTZ ? oldTZ : "";
    ::setenv("TZ", "America/Los_Angeles", 1);
    ::tzset();
    auto c = controller({"/times.csv"});
    bool ok = c->loadNEIC_TextList();
    if (oldTZ) ::setenv("TZ", saved.c_str(), 1); else ::unsetenv("TZ");
    ::tzset();
    ASSERT_TRUE(ok) << c->lastLoadError();
    ASSERT_EQ(c->seismicOrigins()->count(), std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) {
        auto o = originAt(*c, i);
        EXPECT_EQ(text(o->_origin_time()->_date_time()), cases[i].iso) << cases[i].field;
        EXPECT_DOUBLE_EQ(o->originTime()->epochTime(), cases[i].seconds) << cases[i].field;
        EXPECT_EQ(text(o->_id()), cases[i].field);
    }
}

// Both limits are inclusive; a magnitude that is not a number never enters.
TEST_F(FeedLoading, MagnitudeFilterEdges) {
    const float inf = std::numeric_limits<float>::infinity();
    struct Case {
        float min, max;
        std::vector<std::string> mags;
        std::vector<std::string> kept;
        bool summaryOnly;  // the quoted layout's scanner reads no "nan"
    };
    const Case cases[] = {
        {5.0f, 19.0f, {"5.0", "4.99", "19.0", "19.01", "nan", "7.25"}, {"5.0", "19.0", "7.25"}, false},
        {5.0f, 6.0f, {"6.0", "6.01", "5.99", "5"}, {"6.0", "5.99", "5"}, false},
        // "nan" is no number to a feed field: it reads as 0.0, like any text.
        {-inf, inf, {"nan", "-1.5", "0", "NaN", "9.9"}, {"nan", "-1.5", "0", "NaN", "9.9"}, true},
        {0.5f, inf, {"nan", "inf", "1"}, {"1"}, true},
        {std::nanf(""), 19.0f, {"5.0", "7.0"}, {}, false},
    };
    int n = 0;
    for (const auto& k : cases) {
        std::string feed = kSummaryHeader, quoted = kQuotedHeader;
        for (const auto& m : k.mags) {
            feed += summaryRow(m, m);
            quoted += quotedRow("us", m, m);
        }
        std::string path = "/mags" + std::to_string(n++);
        server_.serve(path + ".csv", feed);
        server_.serve(path + ".txt", quoted);
        for (Layout layout : {Layout::Summary, Layout::Quoted}) {
            if (layout == Layout::Quoted && k.summaryOnly) continue;
            auto c = controller({path + (layout == Layout::Summary ? ".csv" : ".txt")});
            c->setMinMagnitude(k.min);
            c->setMaxMagnitude(k.max);
            ASSERT_TRUE(load(*c, layout)) << c->lastLoadError();
            EXPECT_EQ(ids(*c), k.kept) << path << (layout == Layout::Summary ? " summary" : " quoted");
        }
    }
}

TEST_F(FeedLoading, QuotedDateRow) {
    // CRLF line ends as in the real files; the region column holds a comma.
    std::string feed = "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region\r\n";
    feed += "us,c0003abc,7,\"Monday, March 05, 2012 23:30:00 UTC\",-33.4568,-70.6000,5.5,35.20, 44,"
            "\"Central Chile, Chile\"\r\n";
    feed += "ak,10237914,B,\"Saturday, May 21, 2011 08:33:21 GMT\",65.3689,-166.8913,5.2,19.20,22,\"northern Alaska\"\r\n";
    server_.serve("/quoted.txt", feed);
    auto c = controller({"/quoted.txt"});
    ASSERT_TRUE(c->loadNEIC_CSVvalues()) << c->lastLoadError();
    ASSERT_EQ(c->seismicOrigins()->count(), 2u);

    auto o = originAt(*c, 0);
    EXPECT_EQ(text(o->_catalog()), "NEIC_CSV");
    EXPECT_EQ(text(o->_contributor()), "us");
    EXPECT_EQ(text(o->_id()), "c0003abc");
    EXPECT_EQ(text(o->_origin_time()->_date_time()), "2012-03-05T23:30:00.0000Z");
    EXPECT_FLOAT_EQ(o->latitude(), -33.4568f);
    EXPECT_FLOAT_EQ(o->longitude(), -70.6f);
    EXPECT_DOUBLE_EQ(o->depthValue(), double{35.2f});
    ASSERT_EQ(o->_magnitudes()->count(), 1u);
    auto m = o->_magnitudes()->objectAtIndexAs<ZEVAMagnitude>(0);
    EXPECT_FLOAT_EQ(m->magnitude(), 5.5f);
    EXPECT_EQ(text(m->type()), "M");
    EXPECT_EQ(text(m->contributor()), "us");

    auto ak = originAt(*c, 1);
    EXPECT_EQ(text(ak->_contributor()), "ak");
    EXPECT_EQ(text(ak->_origin_time()->_date_time()), "2011-05-21T08:33:21.0000Z");
    EXPECT_EQ(text(ak->shortFERegion()), "Northern Alaska ");
}

// Each URL's kept rows follow the previous URL's, in both layouts.
TEST_F(FeedLoading, TwoURLsInOrder) {
    server_.serve("/a.csv", std::string(kSummaryHeader) + summaryRow("a1", "6") + summaryRow("a-small", "3") +
                                summaryRow("a2", "5"));
    server_.serve("/b.csv", std::string(kSummaryHeader) + summaryRow("b1", "7"));
    server_.serve("/a.txt", std::string(kQuotedHeader) + quotedRow("us", "a1", "6") + quotedRow("us", "a-small", "3") +
                                quotedRow("us", "a2", "5"));
    server_.serve("/b.txt", std::string(kQuotedHeader) + quotedRow("us", "b1", "7"));
    for (Layout layout : {Layout::Summary, Layout::Quoted}) {
        const char* ext = layout == Layout::Summary ? ".csv" : ".txt";
        auto c = controller({std::string("/a") + ext, std::string("/b") + ext});
        ASSERT_TRUE(load(*c, layout)) << c->lastLoadError();
        EXPECT_EQ(ids(*c), (std::vector<std::string>{"a1", "a2", "b1"})) << ext;
        setURLs(*c, {server_.url(std::string("/b") + ext), server_.url(std::string("/a") + ext)});
        ASSERT_TRUE(load(*c, layout));
        EXPECT_EQ(ids(*c), (std::vector<std::string>{"b1", "a1", "a2"})) << ext;
    }
}

// Bytes outside 7-bit ASCII are kept as they are and cost no rows.
TEST_F(FeedLoading, BytesOutsideAscii) {
    server_.serve("/bytes.csv", std::string(kSummaryHeader) + summaryRow("caf\xE9", "6") +
                                    "2015-05-01T20:00:07.120Z,19.4,-99.1,10,6.1,mww,,16,0.17,1.12,us,mx\xC3\xA9,"
                                    "2015-05-02T04:36:55.000Z,\"Ciudad de M\xC3\xA9xico, M\xC3\xA9xico\",earthquake\n");
    server_.serve("/bytes.txt", std::string(kQuotedHeader) + quotedRow("us", "\x80\xFF", "6") +
                                    "us,plain,7,\"Monday, March 05, 2012 23:30:00 UTC\",1,2,6.5,3,4,\"Regi\xF3n\"\n");
    auto c = controller({"/bytes.csv"});
    ASSERT_TRUE(c->loadNEIC_TextList()) << c->lastLoadError();
    EXPECT_EQ(ids(*c), (std::vector<std::string>{"caf\xE9", "mx\xC3\xA9"}));
    c = controller({"/bytes.txt"});
    ASSERT_TRUE(c->loadNEIC_CSVvalues()) << c->lastLoadError();
    EXPECT_EQ(ids(*c), (std::vector<std::string>{"\x80\xFF", "plain"}));
}

// Texts without a data row load as an empty list and answer YES.
TEST_F(FeedLoading, NoDataRows) {
    server_.serve("/header.csv", kSummaryHeader);
    server_.serve("/header.txt", "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region\r\n\r\n");
    server_.serve("/empty", "");
    struct Case {
        const char* path;
        Layout layout;
    };
    for (const auto& k : {Case{"/header.csv", Layout::Summary}, Case{"/header.txt", Layout::Quoted},
                          Case{"/empty", Layout::Summary}, Case{"/empty", Layout::Quoted}}) {
        LogCapture log;
        auto c = controller({k.path});
        EXPECT_TRUE(load(*c, k.layout)) << k.path << ": " << c->lastLoadError();
        EXPECT_EQ(c->seismicOrigins()->count(), 0u) << k.path;
        EXPECT_TRUE(log.lines.empty()) << k.path;
    }
}

// A failed fetch anywhere in the list: the log line once, an empty list
// (rows of earlier URLs and of the previous load dropped), NO.
TEST_F(FeedLoading, FailurePath) {
    server_.serve("/good.csv", std::string(kSummaryHeader) + summaryRow("g1", "6") + summaryRow("g2", "7"));
    server_.serve("/good.txt", std::string(kQuotedHeader) + quotedRow("us", "g1", "6") + quotedRow("us", "g2", "7"));
    std::string big = kSummaryHeader;
    while (big.size() <= 4096) big += summaryRow("big", "6");
    server_.serve("/big.csv", big);
    server_.serve("/big.txt", big);
    const std::string refused = "http://127.0.0.1:" + std::to_string(refusedPort()) + "/feed.csv";
    struct Case {
        const char* name;
        std::string bad;
    };
    const Case cases[] = {
        {"404", "/missing.csv"},
        {"refused", refused},
        {"slow", "/slow"},
        {"over the size cap", "/big"},
    };
    for (Layout layout : {Layout::Summary, Layout::Quoted}) {
        const std::string ext = layout == Layout::Summary ? ".csv" : ".txt";
        for (const auto& k : cases) {
            SCOPED_TRACE(std::string(k.name) + (layout == Layout::Summary ? " summary" : " quoted"));
            std::string bad = k.bad == "/big" ? "/big" + ext : k.bad;
            auto c = controller({"/good" + ext});
            ASSERT_TRUE(load(*c, layout)) << c->lastLoadError();
            ASSERT_EQ(c->seismicOrigins()->count(), 2u);

            setURLs(*c, {server_.url("/good" + ext), bad.find("://") == std::string::npos ? server_.url(bad) : bad});
            LogCapture log;
            EXPECT_FALSE(load(*c, layout));
            EXPECT_EQ(log.lines, std::vector<std::string>{kFailureLine});
            EXPECT_EQ(c->seismicOrigins()->count(), 0u);
            EXPECT_FALSE(c->lastLoadError().empty());

            // The same failure as the only URL.
            setURLs(*c, {bad.find("://") == std::string::npos ? server_.url(bad) : bad});
            LogCapture again;
            EXPECT_FALSE(load(*c, layout));
            EXPECT_EQ(again.lines.size(), 1u);
        }
    }
}

// A quoted-date text cut off inside its last row cannot be read to the end:
// the load fails as a whole rather than keeping a half-read row.
TEST_F(FeedLoading, TruncatedQuotedRowFails) {
    server_.serve("/cut.txt", std::string(kQuotedHeader) + quotedRow("us", "whole", "6") + "us,cut,7");
    auto c = controller({"/cut.txt"});
    LogCapture log;
    EXPECT_FALSE(c->loadNEIC_CSVvalues());
    EXPECT_EQ(log.lines, std::vector<std::string>{kFailureLine});
    EXPECT_EQ(c->seismicOrigins()->count(), 0u);
}
