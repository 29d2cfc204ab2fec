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

constexpr const char* kGerman = "de_DE.UTF-8";

struct FormatCase {
    const char* what;
    std::function<std::string(bool localized)> print;
    std::string inC;        // both calls in C, and format() everywhere
    std::string localized;  // localizedFormat() in German
};

#define BOTH(...) \
    [](bool localized) { return localized ? zeva::localizedFormat(__VA_ARGS__) : zeva::format(__VA_ARGS__); }

const FormatCase kCases[] = {
    {"grouped integer", BOTH("%d items", 1234567), "1234567 items", "1.234.567 items"},
    {"small integers, widths", BOTH("%5d|%-5d|%05d|%i", 42, -7, 12, 999), "   42|-7   |00012|999",
     "   42|-7   |00012|999"},
    {"unsigned, long, short", BOTH("%u %ld %hd", 4000000000u, -123456L, 70000), "4000000000 -123456 4464",
     "4.000.000.000 -123.456 4.464"},
    {"hex, octal, char, percent", BOTH("%x %X %o %c %%", 255, 255, 8, 'A'), "ff FF 10 A %", "ff FF 10 A %"},
    {"fixed point", BOTH("%f|%7.3f|%-8.2f|", 2.5, -1234.5678, 3.14159), "2.500000|-1234.568|3.14    |",
     "2,500000|-1234,568|3,14    |"},
    {"exponent and general", BOTH("%e %g %G", 12345.678, 0.0001, 1e20), "1.234568e+04 0.0001 1E+20",
     "1,234568e+04 0,0001 1E+20"},
    {"star width and precision", BOTH("%*d|%.*f", 5, 42, 2, 1.5), "   42|1.50", "   42|1,50"},
    {"objects and texts", BOTH("%@ and %@, %s %.3s|%6s", str("x"), Ref<String>(), "c", "abcdef", "xy"),
     "x and (null), c abc|    xy", "x and (null), c abc|    xy"},
    {"arguments beyond the format", BOTH("%d.", 1, 2, "three"), "1.", "1."},
};

void expectCases(bool german) {
    for (const auto& c : kCases) {
        EXPECT_EQ(c.print(false), c.inC) << c.what;
        EXPECT_EQ(c.print(true), german ? c.localized : c.inC) << c.what;
    }
}

}  // namespace

TEST(LocalizedFormat, EqualsPlainFormatInTheCLocale) {
    test::ScopedLocale c("C");
    ASSERT_TRUE(c.active());
    expectCases(false);
}

TEST(LocalizedFormat, FollowsTheCurrentLocaleWherePlainFormatDoesNot) {
    test::ScopedLocale german(kGerman);
    if (!german.active()) GTEST_SKIP() << kGerman << " is not available and could not be generated";
    expectCases(true);
    // Reading numbers keeps the point too.
    EXPECT_DOUBLE_EQ(str("35.75 km")->doubleValue(), 35.75);
}

TEST(LocalizedFormat, BadFormatsThrowAsPlainFormatDoes) {
    const std::function<std::string()> bad[] = {
        [] { return localizedFormat("%d"); },           // no argument
        [] { return localizedFormat("%d", "text"); },   // a text for a number
        [] { return localizedFormat("%s", 5); },        // a number for a text
        [] { return localizedFormat("%y", 5); },        // no such conversion
        [] { return localizedFormat("50%", 5); },       // cut off
    };
    for (const auto& f : bad) EXPECT_THROW(f(), fmt::format_error);
    EXPECT_THROW(zeva::format("%d"), fmt::format_error);
}

TEST(LocalizedFormat, CommandLineNumbersKeepThePointUnderTheUsersLocale) {
    test::ScopedLocale german(kGerman);  // makes sure the locale exists
    if (!german.active()) GTEST_SKIP() << kGerman << " is not available and could not be generated";
    const char* commands[] = {
        "region 35.7 139.7",
        "origin --time 2011-03-11T05:46:24.12Z --lat 38.297 --lon 142.373 --depth 29 --mag 9.1 --type mww",
    };
    for (const char* args : commands) {
        auto inC = test::runCli(args, "LC_ALL=C ");
        auto inGerman = test::runCli(args, std::string("LC_ALL=") + kGerman + " ");
        EXPECT_EQ(inC.status, 0) << args;
        EXPECT_FALSE(inC.out.empty()) << args;
        EXPECT_EQ(inGerman.out, inC.out) << args;
    }
}
