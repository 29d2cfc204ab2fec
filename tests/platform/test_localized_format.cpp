// format() and localizedFormat() under the C locale and under a German one
// (comma as decimal separator, a point between groups of three digits).
#include <gtest/gtest.h>

#include <functional>

#include "support/locale_helpers.hpp"
#include "support/run_cli.hpp"
#include "zeva/platform/Format.hpp"
#include "zeva/platform/Text.hpp"

using namespace zeva;

namespace {

#define BOTH(...) [](bool loc) { return loc ? zeva::localizedFormat(__VA_ARGS__) : zeva::format(__VA_ARGS__); }

// The format's text in C (both calls) and from format() anywhere; then
// localizedFormat()'s in German.
const std::tuple<std::function<std::string(bool)>, std::string, std::string> kCases[] = {
    {BOTH("%d items", 1234567), "1234567 items", "1.234.567 items"},
    {BOTH("%5d|%-5d|%05d|%i", 42, -7, 12, 999), "   42|-7   |00012|999", "   42|-7   |00012|999"},
    {BOTH("%u %ld %hd", 4000000000u, -123456L, 70000), "4000000000 -123456 4464", "4.000.000.000 -123.456 4.464"},
    {BOTH("%x %X %o %c %%", 255, 255, 8, 'A'), "ff FF 10 A %", "ff FF 10 A %"},
    {BOTH("%f|%7.3f|%-8.2f|", 2.5, -1234.5678, 3.14159), "2.500000|-1234.568|3.14    |", "2,500000|-1234,568|3,14    |"},
    {BOTH("%e %g %G", 12345.678, 0.0001, 1e20), "1.234568e+04 0.0001 1E+20", "1,234568e+04 0,0001 1E+20"},
    {BOTH("%*d|%.*f", 5, 42, 2, 1.5), "   42|1.50", "   42|1,50"},
    {BOTH("%@ and %@, %s %.3s|%6s", str("x"), Ref<String>(), "c", "abcdef", "xy"), "x and (null), c abc|    xy",
     "x and (null), c abc|    xy"},
    {BOTH("%d.", 1, 2, "three"), "1.", "1."},  // arguments beyond the format
    {BOTH("%%@ %s", std::string("x")), "%@ x", "%@ x"},
};

void expectCases(bool german) {
    for (const auto& [print, inC, localized] : kCases) {
        EXPECT_EQ(print(false), inC);
        EXPECT_EQ(print(true), german ? localized : inC);
    }
}

}  // namespace

TEST(LocalizedFormat, EqualsPlainFormatInTheCLocale) {
    test::ScopedLocale c("C");
    expectCases(false);
}

TEST(LocalizedFormat, FollowsTheCurrentLocaleWherePlainFormatAndNumberReadingDoNot) {
    test::ScopedLocale german("de_DE.UTF-8");
    if (!german.active()) GTEST_SKIP() << "de_DE.UTF-8 is not available and could not be generated";
    expectCases(true);
    EXPECT_DOUBLE_EQ(str("35.75 km")->doubleValue(), 35.75);
    EXPECT_EQ(str("1.5e-400")->doubleValue(), 0.0);  // underflow, not "1" read up to the point
    // The command line takes the user's locale but reads and prints its numbers alike.
    for (const char* args : {"region 35.7 139.7", "origin --time 2011-03-11T05:46:24.12Z --lat 38.297 --lon 142.373 "
                                                  "--depth 29 --mag 9.1 --type mww"}) {
        auto inC = test::runCli(args, "LC_ALL=C ");
        EXPECT_EQ(inC.status, 0) << args;
        EXPECT_EQ(test::runCli(args, "LC_ALL=de_DE.UTF-8 ").out, inC.out) << args;
    }
}

TEST(LocalizedFormat, BadFormatsThrowAsPlainFormatDoes) {
    EXPECT_THROW(localizedFormat("%d"), fmt::format_error);  // no argument
    EXPECT_THROW(format("%d %d", 1), fmt::format_error);
    // A text for a number, a number for a text, no such conversion, cut off.
    for (auto [format, argument] : {std::pair{"%d", "text"}, {"%s", nullptr}, {"%y", nullptr}, {"50%", nullptr}})
        EXPECT_THROW(argument ? localizedFormat(format, argument) : localizedFormat(format, 5), fmt::format_error)
            << format;
}
