#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

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
