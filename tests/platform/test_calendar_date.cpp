#include <gtest/gtest.h>

#include "zeva/platform/CalendarDate.hpp"

using namespace zeva;

TEST(CalendarDate, QuotedDateLayout) {
    constexpr double kNone = -99.0;
    const std::pair<const char*, double> cases[] = {
        {"Saturday, May 21, 2011 09:06:50 UTC", 1305968810.0},
        {"Saturday, May 21, 2011 09:06:50 gmt  ", 1305968810.0},
        {"Saturday, May 21, 2011 02:06:50 PDT", 1305968810.0},
        {"Thursday, January 1, 1970 00:00:00 UTC", 0.0},
        {"Wednesday, December 31, 1969 23:59:59 UTC", -1.0},
        {"Wednesday, February 29, 2012 12:00:00 UTC", 1330516800.0},
        {"Friday, May 21, 2011 09:06:50 UTC", kNone},     // weekday does not fit
        {"Saturday, May 21, 2011 09:06:50 IST", kNone},   // ambiguous zone
        {"Saturday, May 21, 2011 09:06:50", kNone},       // zone missing
        {"Saturday, May 21, 2011 09:06:50 UTC x", kNone}, // trailing text
        {"Tuesday, February 29, 2011 12:00:00 UTC", kNone},
        {"Saturday, May 21, 2011 25:06:50 UTC", kNone},
        {"Saturday, May 21, 2011 09:06:x UTC", kNone},    // no seconds
        {"2011-05-21T09:06:50Z", kNone},
        {"", kNone},
    };
    for (const auto& [text, seconds] : cases) {
        auto d = dateFromCalendarString(text, kQuotedDateCalendarFormat);
        EXPECT_EQ(d ? d->timeIntervalSince1970() : kNone, seconds) << text;
    }
    // Other formats: no zone reads as UTC, %z offsets apply, seconds keep their fraction.
    EXPECT_EQ(dateFromCalendarString("2012-10-10 12:34:56", "%Y-%m-%d %H:%M:%S")->timeIntervalSince1970(),
              1349872496.0);
    EXPECT_EQ(dateFromCalendarString("2012-10-10 14:34:56 +0200", "%Y-%m-%d %H:%M:%S %z")->timeIntervalSince1970(),
              1349872496.0);
    EXPECT_NEAR(dateFromCalendarString("2012-10-10 12:34:56.789", "%Y-%m-%d %H:%M:%S")->timeIntervalSince1970(),
                1349872496.789, 1e-6);
}
