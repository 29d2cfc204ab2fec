// The two loaders against a real HTTP server on loopback: the shared USGS
// files, hand-written feeds of the older and current layouts, the magnitude
// filter, times, and the failure path.
#include <cmath>
#include <limits>

#include "feed/feed_support.hpp"

using namespace feedtest;

namespace {

constexpr const char* kSummaryHeader =
    "DateTime,Latitude,Longitude,Depth,Magnitude,MagType,NbStations,Gap,Distance,RMS,Source,EventID,Version\n";
constexpr const char* kQuotedHeader = "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region\n";
constexpr float kInf = std::numeric_limits<float>::infinity();

// The same rows in both layouts, by identifier and magnitude: the older
// summary layout has exactly 13 fields and a "+00:00" time.
std::string feed(bool quoted, const std::vector<std::pair<std::string, std::string>>& rows) {
    std::string out = quoted ? kQuotedHeader : kSummaryHeader;
    for (const auto& [id, mag] : rows)
        out += quoted ? "us," + id + ",7,\"Monday, March 05, 2012 23:30:00 UTC\",-33.4568,-70.6000," + mag +
                            ",35.20, 44,\"Central Chile\"\n"
                      : "2012-10-10T12:34:56.500+00:00,-33.4568,-70.6,35.2," + mag + ",Mw,120,30,0.5,1.1,us," + id +
                            ",7\n";
    return out;
}

bool load(NEIC_QueryController& c, bool quoted) { return quoted ? c.loadNEIC_CSVvalues() : c.loadNEIC_TextList(); }
const char* ext(bool quoted) { return quoted ? ".txt" : ".csv"; }

std::vector<std::string> ids(const NEIC_QueryController& c) {
    std::vector<std::string> out;
    for (const auto& o : *c.getSeismicOriginsPointer()) out.push_back(text(std::dynamic_pointer_cast<ZEVAOrigin>(o)->_id()));
    return out;
}

class FeedLoading : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server_.running()); }

    zeva::Ref<NEIC_QueryController> controller(const std::vector<std::string>& paths) {
        auto c = NEIC_QueryController::create();
        auto urls = zeva::MutableArray::array();
        for (const auto& p : paths) urls->addObject(zeva::URL::URLWithString(server_.url(p)));
        c->setGsURLs(urls);
        return c;
    }

    LoopbackServer server_;
};

}  // namespace

// Every shared file, served over HTTP, through the loader of its layout: the
// rows the README counts with the default limits 5.0 to 19.0, then all rows
// with the widest limits, each with its time read.
TEST_F(FeedLoading, SharedFeedFiles) {
    const struct {
        const char* file;
        bool quoted;
        size_t kept, rows;
    } feeds[] = {
        {"4.5_week.2015-05-01.csv", false, 38, 104},  {"1.0_week.2016-01-07.csv", false, 22, 1088},
        {"significant_month.2024-05-23.csv", false, 4, 7}, {"eqs7day-M1.2011-05-21.txt", true, 30, 911},
        {"eqs7day-M1.2013-03-26.noheader.txt", true, 20, 978},  // loses its first row
    };
    for (const auto& f : feeds) {
        const std::string path = std::string(ZEVA_SHARED_DATA_DIR) + "/usgs-feed/" + f.file;
        if (!std::filesystem::exists(path)) GTEST_SKIP() << "missing shared feed sample " << path;
        server_.serve(std::string("/") + f.file, readFile(path));
    }
    for (const auto& f : feeds) {
        SCOPED_TRACE(f.file);
        auto c = controller({std::string("/") + f.file});
        ASSERT_TRUE(load(*c, f.quoted)) << c->lastLoadError();
        EXPECT_EQ(c->seismicOrigins()->count(), f.kept);
        c->setMinMagnitude(-kInf);
        c->setMaxMagnitude(kInf);
        ASSERT_TRUE(load(*c, f.quoted)) << c->lastLoadError();
        ASSERT_EQ(c->seismicOrigins()->count(), f.rows);
        // Every row's time was read: an unread one would leave the load time.
        for (size_t i = 0; i < f.rows; ++i) {
            auto time = originAt(*c, i)->originTime();
            EXPECT_TRUE(time && time->epochTime() < 1.72e9 && text(originAt(*c, i)->timeString()).ends_with("Z")) << i;
        }
    }
}

// Per layout, each kept origin's fields and magnitudes, its time in epoch
// seconds, and the region of the last one, looked up from the epicentre.
// Summary rows: 13 fields with a "+00:00" time are read, 12 are skipped;
// the current "Z" layout, with a quoted place holding commas after field 12,
// is read like 13. Quoted rows: CRLF line ends as in the real files, a region
// holding a comma. Times are UTC whatever the host's zone.
TEST_F(FeedLoading, RowsOfBothLayouts) {
    const struct {
        bool quoted;
        std::string body;
        std::vector<std::pair<std::string, double>> origins;
        const char* region;
    } cases[] = {
        {false,
         feed(false, {{"thirteen", "5.8"}}) + "2012-10-10T11:00:00.000+00:00,10.0,20.0,10.0,6.0,Mb,1,2,3,4,us,twelve\n"
             "2016-02-29T20:00:07.125Z,28.2305,84.7314,8.22,7.8,mww,,16,0.17,1.12,us,us20002926,"
             "2015-05-02T04:36:55.000Z,\"36km E of Khudi, Nepal\",earthquake\nshort,line\n\n",
         {{"PDE USGS thirteen 2012-10-10T12:34:56.5000Z -33.4568 -70.6 35.2 | 5.8 Mw USGS", 1349872496.5},
          {"PDE USGS us20002926 2016-02-29T20:00:07.1250Z 28.2305 84.7314 8.22 | 7.8 mww USGS", 1456776007.125}},
         "Nepal "},
        {true,
         "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region\r\n"
         "ak,10237914,B,\"Saturday, May 21, 2011 08:33:21 GMT\",65.3689,-166.8913,5.2,19.20,22,"
         "\"northern Alaska, USA\"\r\n",
         {{"NEIC_CSV ak 10237914 2011-05-21T08:33:21.0000Z 65.3689 -166.891 19.2 | 5.2 M ak", 1305966801}},
         "Northern Alaska "},
    };
    ScopedTZ zone("America/Los_Angeles");
    for (const auto& k : cases) {
        server_.serve(std::string("/rows") + ext(k.quoted), k.body);
        auto c = controller({std::string("/rows") + ext(k.quoted)});
        ASSERT_TRUE(load(*c, k.quoted)) << c->lastLoadError();
        ASSERT_EQ(c->seismicOrigins()->count(), k.origins.size());
        for (size_t i = 0; i < k.origins.size(); ++i) {
            auto o = originAt(*c, i);
            std::string got = zeva::format("%s %s %s %s %g %g %g |", text(o->_catalog()), text(o->_contributor()),
                                           text(o->_id()), text(o->_origin_time()->_date_time()),
                                           double{o->latitude()}, double{o->longitude()}, o->depthValue());
            for (const auto& m : *o->_magnitudes()) {
                auto mag = std::dynamic_pointer_cast<ZEVAMagnitude>(m);
                got += zeva::format(" %g %s %s", double{mag->magnitude()}, text(mag->type()), text(mag->contributor()));
            }
            EXPECT_EQ(got, k.origins[i].first);
            EXPECT_DOUBLE_EQ(o->originTime()->epochTime(), k.origins[i].second) << got;
        }
        EXPECT_EQ(text(originAt(*c, k.origins.size() - 1)->shortFERegion()), k.region);
    }
}

// Both limits are inclusive; a magnitude that is not a number never enters.
TEST_F(FeedLoading, MagnitudeFilterEdges) {
    const struct {
        float min, max;
        std::vector<std::string> mags, kept;
        bool summaryOnly;  // the quoted layout's scanner reads no "nan"
    } cases[] = {
        {5.0f, 19.0f, {"5.0", "4.99", "19.0", "19.01", "nan", "7.25"}, {"5.0", "19.0", "7.25"}, false},
        // "nan" and "inf" are no numbers to a feed field: they read as 0.0.
        {-1.0f, 0.5f, {"nan", "-1.5", "NaN", "inf", "0.25"}, {"nan", "NaN", "inf", "0.25"}, true},
        {std::nanf(""), 19.0f, {"5.0", "7.0"}, {}, false},
    };
    for (size_t n = 0; n < std::size(cases); ++n) {
        const auto& k = cases[n];
        for (bool quoted : {false, true}) {
            if (quoted && k.summaryOnly) continue;
            std::vector<std::pair<std::string, std::string>> rows;
            for (const auto& m : k.mags) rows.emplace_back(m, m);
            const std::string path = "/mags" + std::to_string(n) + ext(quoted);
            server_.serve(path, feed(quoted, rows));
            auto c = controller({path});
            c->setMinMagnitude(k.min);
            c->setMaxMagnitude(k.max);
            ASSERT_TRUE(load(*c, quoted)) << c->lastLoadError();
            EXPECT_EQ(ids(*c), k.kept) << path;
        }
    }
}

// Each URL's kept rows follow the previous URL's; bytes outside 7-bit ASCII
// are kept as they are and cost no rows, also in a current-layout place and
// in a quoted region.
TEST_F(FeedLoading, TwoURLsInOrderAndBytesOutsideAscii) {
    const std::string last[] = {"2015-05-01T20:00:07.120Z,19.4,-99.1,10,6.1,mww,,16,0.17,1.12,us,mx\xC3\xA9,"
                                "2015-05-02T04:36:55.000Z,\"Ciudad de M\xC3\xA9xico, M\xC3\xA9xico\",earthquake\n",
                                "us,plain,7,\"Monday, March 05, 2012 23:30:00 UTC\",1,2,6.5,3,4,\"Regi\xF3n\"\n"};
    for (bool quoted : {false, true}) {
        server_.serve(std::string("/a") + ext(quoted), feed(quoted, {{"z1", "6"}, {"z-small", "3"}, {"caf\xE9", "5"}}));
        server_.serve(std::string("/b") + ext(quoted), feed(quoted, {{"\x80\xFF", "7"}}) + last[quoted]);
        auto c = controller({std::string("/a") + ext(quoted), std::string("/b") + ext(quoted)});
        ASSERT_TRUE(load(*c, quoted)) << c->lastLoadError();
        EXPECT_EQ(ids(*c), (std::vector<std::string>{"z1", "caf\xE9", "\x80\xFF", quoted ? "plain" : "mx\xC3\xA9"}));
    }
}

// Texts without a data row load as an empty list, silently, and answer YES.
// A failed fetch after a good one (the fetcher's tests hold the kinds of
// failure): the log line once, an empty list (rows of earlier URLs and of
// the previous load dropped), NO. A quoted text cut off inside its last row
// fails the same way rather than keeping a half-read row.
TEST_F(FeedLoading, EmptyTextsAndFailures) {
    server_.serve("/header.csv", kSummaryHeader);
    server_.serve("/header.txt", "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region\r\n\r\n");
    server_.serve("/empty", "");
    server_.serve("/cut.txt", feed(true, {{"whole", "6"}}) + "us,cut,7");
    for (bool quoted : {false, true}) {
        const std::string good = std::string("/good") + ext(quoted);
        server_.serve(good, feed(quoted, {{"g1", "6"}, {"g2", "7"}}));
        for (const std::string& path : {std::string("/header") + ext(quoted), std::string("/empty")}) {
            LogCapture log;
            auto c = controller({path});
            EXPECT_TRUE(load(*c, quoted)) << path << ": " << c->lastLoadError();
            EXPECT_EQ(c->seismicOrigins()->count(), 0u) << path;
            EXPECT_TRUE(log.lines.empty()) << path;
        }
        for (const std::string& bad : quoted ? std::vector<std::string>{"/missing.csv", "/cut.txt"}
                                             : std::vector<std::string>{"/missing.csv"}) {
            SCOPED_TRACE(bad + (quoted ? " quoted" : " summary"));
            auto c = controller({good});
            ASSERT_TRUE(load(*c, quoted)) << c->lastLoadError();
            ASSERT_EQ(c->seismicOrigins()->count(), 2u);
            c->setGsURLs(controller({good, bad})->gsURLs());
            LogCapture log;
            EXPECT_FALSE(load(*c, quoted));
            EXPECT_EQ(log.lines, std::vector<std::string>{"Problem downloading USGS event list."});
            EXPECT_EQ(c->seismicOrigins()->count(), 0u);
            EXPECT_FALSE(c->lastLoadError().empty());
        }
    }
}
