#include <gtest/gtest.h>

#include "zeva/platform/CalendarDate.hpp"

using namespace zeva;

TEST(CalendarDate, QuotedDateLayout) {
    struct Case {
        const char* text;
        double seconds;  // < 0: no date
    };
    const Case cases[] = {
        {"Saturday, May 21, 2011 09:06:50 UTC", 1305968810.0},
        {"Saturday, May 21, 2011 09:06:50 GMT", 1305968810.0},
        {"Saturday, May 21, 2011 09:06:50 gmt", 1305968810.0},
        {"Saturday, May 21, 2011 09:06:50 UTC  ", 1305968810.0},
        {"Saturday, May 21, 2011 02:06:50 PDT", 1305968810.0},
        {"Tuesday, March 26, 2013 23:21:33 UTC", 1364340093.0},
        {"Thursday, January 1, 1970 00:00:00 UTC", 0.0},
        {"Wednesday, December 31, 1969 23:59:59 UTC", -1.0 - 0.0},
        {"Wednesday, February 29, 2012 12:00:00 UTC", 1330516800.0},
        {"Friday, May 21, 2011 09:06:50 UTC", -2},     // weekday does not fit
        {"Saturday, May 21, 2011 09:06:50 XYZ", -2},   // unknown zone
        {"Saturday, May 21, 2011 09:06:50", -2},       // zone missing
        {"Saturday, May 21, 2011 09:06:50 UTC x", -2}, // trailing text
        {"Saturday, Mai 21, 2011 09:06:50 UTC", -2},
        {"Tuesday, February 29, 2011 12:00:00 UTC", -2},
        {"Saturday, May 21, 2011 25:06:50 UTC", -2},
        {"2011-05-21T09:06:50Z", -2},
        {"", -2},
    };
    for (const auto& c : cases) {
        auto d = dateFromCalendarString(c.text, kQuotedDateCalendarFormat);
        if (c.seconds == -2) {
            EXPECT_EQ(d, nullptr) << c.text;
        } else {
            ASSERT_TRUE(d) << c.text;
            EXPECT_DOUBLE_EQ(d->timeIntervalSince1970(), c.seconds) << c.text;
        }
    }
}

TEST(CalendarDate, OtherFormats) {
    auto plain = dateFromCalendarString("2012-10-10 12:34:56", "%Y-%m-%d %H:%M:%S");
    ASSERT_TRUE(plain);  // no zone: UTC
    EXPECT_DOUBLE_EQ(plain->timeIntervalSince1970(), 1349872496.0);
    auto offset = dateFromCalendarString("2012-10-10 14:34:56 +0200", "%Y-%m-%d %H:%M:%S %z");
    ASSERT_TRUE(offset);
    EXPECT_DOUBLE_EQ(offset->timeIntervalSince1970(), 1349872496.0);
    auto fraction = dateFromCalendarString("2012-10-10 12:34:56.789", "%Y-%m-%d %H:%M:%S");
    ASSERT_TRUE(fraction);
    EXPECT_NEAR(fraction->timeIntervalSince1970(), 1349872496.789, 1e-6);
}

TEST(CalendarDate, ZoneAbbreviations) {
    EXPECT_EQ(zoneAbbreviationOffset("UTC"), 0);
    EXPECT_EQ(zoneAbbreviationOffset("gmt"), 0);
    EXPECT_EQ(zoneAbbreviationOffset("Z"), 0);
    EXPECT_EQ(zoneAbbreviationOffset("EST"), -5 * 3600);
    EXPECT_EQ(zoneAbbreviationOffset("AKDT"), -8 * 3600);
    EXPECT_EQ(zoneAbbreviationOffset("IST"), std::nullopt);  // India, Ireland or Israel
    EXPECT_EQ(zoneAbbreviationOffset(""), std::nullopt);
}
