#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "zeva/platform/CalendarDate.hpp"
#include "zeva/platform/Scanner.hpp"

using namespace zeva;

namespace {

Ref<Scanner> scanner(std::string_view text) { return Scanner::scannerWithString(str(text)); }

}  // namespace

TEST(Scanner, ScanUpToCharactersSkipsBlanksFirstAndStopsOnTheSet) {
    auto s = scanner("  \r\n ci,14988836, 0,");
    Ref<String> out;
    ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString(",", &out));
    EXPECT_EQ(out->str(), "ci");
    EXPECT_EQ(s->scanLocation(), 7u);  // on the comma
    // On a stop character nothing is taken: failure, output and location kept.
    EXPECT_FALSE(s->scanUpToCharactersFromSet_intoString(",", &out));
    EXPECT_EQ(out->str(), "ci");
    EXPECT_EQ(s->scanLocation(), 7u);

    s->setScanLocation(8);
    ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString(",", &out));
    EXPECT_EQ(out->str(), "14988836");
    s->setScanLocation(s->scanLocation() + 1);
    // Blanks after the delimiter are skipped; blanks inside are kept.
    ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString("\r\n", &out));
    EXPECT_EQ(out->str(), "0,");
    EXPECT_TRUE(s->isAtEnd());
}

TEST(Scanner, ScanUpToCharactersTakesTheRestWhenNoStopFollows) {
    auto s = scanner("last row without line end  ");
    Ref<String> out;
    ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString("\r\n", &out));
    EXPECT_EQ(out->str(), "last row without line end  ");
    EXPECT_EQ(s->scanLocation(), s->string()->length());
    EXPECT_TRUE(s->isAtEnd());
    EXPECT_FALSE(s->scanUpToCharactersFromSet_intoString("\r\n", &out));
    // A null output is allowed.
    auto t = scanner("abc,def");
    EXPECT_TRUE(t->scanUpToCharactersFromSet_intoString(",", nullptr));
    EXPECT_EQ(t->scanLocation(), 3u);
}

TEST(Scanner, ScanUpToString) {
    auto s = scanner("Saturday, May 21, 2011 09:06:50 UTC\",33.9665");
    Ref<String> out;
    ASSERT_TRUE(s->scanUpToString_intoString("\"", &out));
    EXPECT_EQ(out->str(), "Saturday, May 21, 2011 09:06:50 UTC");
    EXPECT_EQ(s->scanLocation(), 35u);
    EXPECT_FALSE(s->scanUpToString_intoString("\"", &out));

    auto multi = scanner("  a , b ,, c");
    ASSERT_TRUE(multi->scanUpToString_intoString(",,", &out));
    EXPECT_EQ(out->str(), "a , b ");
    EXPECT_EQ(multi->scanLocation(), 8u);
    ASSERT_TRUE(multi->scanUpToString_intoString("zz", &out));  // no stop: the rest
    EXPECT_EQ(out->str(), ",, c");
}

TEST(Scanner, ScanFloat) {
    struct Case {
        const char* text;
        bool ok;
        double value;
        size_t location;  // after the scan
    };
    const Case cases[] = {
        {"33.9665,", true, 33.9665, 7},
        {"  -116.5598,", true, -116.5598, 11},
        {"\r\n+5.2x", true, 5.2, 6},
        {"19.", true, 19.0, 3},
        {".5", true, 0.5, 2},
        {"1.5e2,", true, 150.0, 5},
        {"2e", true, 2.0, 1},      // an exponent needs digits
        {"3E-x", true, 3.0, 1},
        {"7e-1 ", true, 0.7, 4},
        {"\" 8\"", false, 0, 0},  // quoted number: no number here
        {"-", false, 0, 0},
        {"-.", false, 0, 0},
        {"", false, 0, 0},
        {"   ", false, 0, 0},
        {"abc", false, 0, 0},
        {"nan", false, 0, 0},
        {"inf", false, 0, 0},
        {"0x10", true, 0.0, 1},
    };
    for (const auto& c : cases) {
        auto s = scanner(c.text);
        float value = -12345.0f;
        EXPECT_EQ(s->scanFloat(&value), c.ok) << c.text;
        if (c.ok)
            EXPECT_FLOAT_EQ(value, static_cast<float>(c.value)) << c.text;
        else
            EXPECT_EQ(value, -12345.0f) << c.text;
        EXPECT_EQ(s->scanLocation(), c.location) << c.text;
    }
}

TEST(Scanner, ScanFloatOutOfRange) {
    float f = 0;
    ASSERT_TRUE(scanner("1e39")->scanFloat(&f));
    EXPECT_TRUE(std::isinf(f) && f > 0);
    ASSERT_TRUE(scanner("-1e400")->scanFloat(&f));
    EXPECT_TRUE(std::isinf(f) && f < 0);
    ASSERT_TRUE(scanner("1e-400")->scanFloat(&f));
    EXPECT_EQ(f, 0.0f);
    double d = 0;
    ASSERT_TRUE(scanner(std::string(400, '9'))->scanDouble(&d));
    EXPECT_TRUE(std::isinf(d));
}

TEST(Scanner, LocationAndEnd) {
    auto s = scanner("ab \r\n\t ");
    EXPECT_FALSE(s->isAtEnd());
    s->setScanLocation(2);
    EXPECT_TRUE(s->isAtEnd());  // only blanks and line ends left
    EXPECT_EQ(s->scanLocation(), 2u);  // the test skips nothing
    s->setScanLocation(s->string()->length());
    EXPECT_TRUE(s->isAtEnd());
    EXPECT_THROW(s->setScanLocation(s->string()->length() + 1), std::out_of_range);
    EXPECT_EQ(s->scanLocation(), s->string()->length());

    EXPECT_TRUE(scanner("")->isAtEnd());
    EXPECT_TRUE(Scanner::scannerWithString(nullptr)->isAtEnd());

    // The scanner reads a snapshot: later changes of a mutable text do not show.
    auto text = mstr("12.5");
    auto snap = Scanner::scannerWithString(text);
    text->setString("");
    float f = 0;
    EXPECT_TRUE(snap->scanFloat(&f));
    EXPECT_FLOAT_EQ(f, 12.5f);
}

// The quoted-date rows are read with fixed steps over delimiters and
// quotation marks; walking a real file that way checks the scanner's
// skipping and stopping rules on CRLF line ends.
TEST(Scanner, WalksTheQuotedDateFeed) {
    const auto path = std::filesystem::path(ZEVA_SHARED_DATA_DIR) / "usgs-feed" / "eqs7day-M1.2011-05-21.txt";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no shared feed data at " << path;
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buf;
    buf << in.rdbuf();
    auto s = Scanner::scannerWithString(str(buf.str()));

    Ref<String> text, source, id, date;
    ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString("\r\n", &text));
    EXPECT_EQ(text->str(), "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region");
    int rows = 0, dated = 0, m5 = 0;
    float lat = 0, lon = 0, mag = 0, depth = 0, nst = 0;
    auto step = [&](size_t n) { s->setScanLocation(s->scanLocation() + n); };
    while (!s->isAtEnd()) {
        ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString(",", &source));
        step(1);
        ASSERT_TRUE(s->scanUpToCharactersFromSet_intoString(",", &id));
        step(1);
        ASSERT_TRUE(s->scanUpToString_intoString(",", &text));
        step(2);
        ASSERT_TRUE(s->scanUpToString_intoString("\"", &date));
        if (dateFromCalendarString(date->str(), kQuotedDateCalendarFormat)) ++dated;
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
        if (rows == 0) {
            EXPECT_EQ(source->str(), "ci");
            EXPECT_EQ(id->str(), "14988836");
            EXPECT_EQ(date->str(), "Saturday, May 21, 2011 09:06:50 UTC");
            EXPECT_FLOAT_EQ(lat, 33.9665f);
            EXPECT_FLOAT_EQ(lon, -116.5598f);
            EXPECT_FLOAT_EQ(mag, 1.4f);
            EXPECT_FLOAT_EQ(depth, 9.30f);
            EXPECT_EQ(text->str(), ",\"Southern California\"");
        }
        if (mag >= 5.0f && mag <= 19.0f) ++m5;
        ++rows;
    }
    EXPECT_EQ(rows, 911);
    EXPECT_EQ(dated, 911);
    EXPECT_EQ(m5, 30);
    EXPECT_EQ(source->str(), "ak");
    EXPECT_EQ(id->str(), "10236031");
}
