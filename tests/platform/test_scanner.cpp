#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "zeva/platform/CalendarDate.hpp"
#include "zeva/platform/Scanner.hpp"

using namespace zeva;

TEST(Scanner, ScanUpToSkipsBlanksFirstAndFailsWithoutTakingAnything) {
    auto s = Scanner::scannerWithString(str("  \r\n ci,ab c\"x"));
    Ref<String> out;
    ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString(",", &out));
    EXPECT_EQ(out->str(), "ci");
    EXPECT_EQ(s->scanLocation(), 7u);  // on the comma
    EXPECT_FALSE(s->scanUpToCharactersFromSet_intoString(",", &out));
    EXPECT_EQ(out->str(), "ci");  // output and location kept
    EXPECT_EQ(s->scanLocation(), 7u);
    s->setScanLocation(8);
    ASSERT_TRUE(s->scanUpToString_intoString("\"", &out));
    EXPECT_EQ(out->str(), "ab c");
    s->setScanLocation(s->scanLocation() + 1);
    ASSERT_TRUE(s->scanUpToString_intoString("\r\n", &out));  // no stop mark: the rest
    EXPECT_EQ(out->str(), "x");
    EXPECT_TRUE(s->isAtEnd());
    EXPECT_THROW(s->setScanLocation(s->string()->length() + 1), std::out_of_range);

    auto blanks = Scanner::scannerWithString(str("ab \r\n\t "));
    blanks->setScanLocation(2);
    EXPECT_TRUE(blanks->isAtEnd());  // only blanks and line ends left
    EXPECT_EQ(blanks->scanLocation(), 2u);
}

TEST(Scanner, ScanFloat) {
    struct Case {
        const char* text;
        bool ok;
        float value;
        size_t location;  // after the scan
    };
    const Case cases[] = {
        {"33.9665,", true, 33.9665f, 7},  {"  -116.5598,", true, -116.5598f, 11},
        {"\r\n+5.2x", true, 5.2f, 6},     {"19.", true, 19.0f, 3},
        {".5", true, 0.5f, 2},            {"1.5e2,", true, 150.0f, 5},
        {"2e", true, 2.0f, 1},            {"0x10", true, 0.0f, 1},
        {"1e39", true, INFINITY, 4},      {"\" 8\"", false, 0, 0},
        {"-.", false, 0, 0},              {"   ", false, 0, 0},
        {"nan", false, 0, 0},             {"inf", false, 0, 0},
    };
    for (const auto& c : cases) {
        auto s = Scanner::scannerWithString(str(c.text));
        float value = -12345.0f;
        EXPECT_EQ(s->scanFloat(&value), c.ok) << c.text;
        EXPECT_EQ(value, c.ok ? c.value : -12345.0f) << c.text;
        EXPECT_EQ(s->scanLocation(), c.location) << c.text;
    }
}

// The quoted-date rows are read with fixed steps over delimiters and
// quotation marks; walking a real file that way checks the skipping and
// stopping rules on CRLF line ends, and the calendar dates of every row.
TEST(Scanner, WalksTheQuotedDateFeed) {
    const auto path = std::filesystem::path(ZEVA_SHARED_DATA_DIR) / "usgs-feed" / "eqs7day-M1.2011-05-21.txt";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no shared feed data at " << path;
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buf;
    buf << in.rdbuf();
    auto s = Scanner::scannerWithString(str(buf.str()));
    auto step = [&](size_t n) { s->setScanLocation(s->scanLocation() + n); };

    Ref<String> text, source, id, date;
    ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString("\r\n", &text));
    EXPECT_EQ(text->str(), "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region");
    int rows = 0, dated = 0, kept = 0;
    float lat = 0, lon = 0, mag = 0, depth = 0, nst = 0;
    while (!s->isAtEnd()) {
        ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString(",", &source));
        step(1);
        ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString(",", &id));
        step(1);
        ASSERT_TRUE(s->scanUpToString_intoString(",", &text));
        step(2);
        ASSERT_TRUE(s->scanUpToString_intoString("\"", &date));
        if (auto d = dateFromCalendarString(date->str(), kQuotedDateCalendarFormat)) ++dated;
        step(2);
        ASSERT_TRUE(s->scanFloat(&lat));
        step(1);
        ASSERT_TRUE(s->scanFloat(&lon));
        step(1);
        ASSERT_TRUE(s->scanFloat(&mag));
        step(1);
        ASSERT_TRUE(s->scanFloat(&depth));
        step(1);
        ASSERT_TRUE(s->scanFloat(&nst));  // " 8": the blank is skipped
        ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString("\r\n", &text));
        if (rows++ == 0) {
            EXPECT_EQ(source->str() + " " + id->str() + " " + date->str(),
                      "ci 14988836 Saturday, May 21, 2011 09:06:50 UTC");
            EXPECT_EQ(std::vector<float>({lat, lon, mag, depth, nst}),
                      std::vector<float>({33.9665f, -116.5598f, 1.4f, 9.30f, 54.0f}));
            EXPECT_EQ(text->str(), ",\"Southern California\"");
        }
        if (mag >= 5.0f && mag <= 19.0f) ++kept;
    }
    EXPECT_EQ(rows, 911);
    EXPECT_EQ(dated, 911);
    EXPECT_EQ(kept, 30);
    EXPECT_EQ(source->str() + " " + id->str(), "ak 10236031");
}
