#include <gtest/gtest.h>

#include <array>
#include <climits>

#include "zeva/time/calendar.h"

TEST(Calendar, DayOfYearEdges) {
    struct { int year, month, day, want; } cases[] = {
        {2003, 0, 5, 5},    {2003, -7, 5, 5},     {2003, 2, 0, 31},
        {2003, 2, 40, 71},  {2003, 13, 1, 366},   {2004, 13, 1, 367},
        // Beyond month 13 nothing more is added: there are only twelve months to sum.
        {2003, 14, 1, 366}, {2004, 1000, 2, 368}, {2003, INT32_MAX, 0, 365},
        // Every int argument is defined (the sanitizer build runs these): a
        // sum beyond the int range stays at INT_MAX.
        {2004, INT_MIN, 7, 7}, {2004, 2, INT_MAX, INT_MAX}, {2004, 12, INT_MAX - 300, INT_MAX},
        {2003, 12, INT_MAX - 334, INT_MAX}, {2003, 12, INT_MIN, INT_MIN + 334}, {INT_MIN, 3, 1, 61},
        {INT_MAX, INT_MAX, INT_MAX, INT_MAX}, {INT_MIN, 1, INT_MIN, INT_MIN},
    };
    for (auto c : cases) EXPECT_EQ(doy(c.year, c.month, c.day), c.want) << c.year << "-" << c.month << "-" << c.day;
}

TEST(Calendar, MonthDateEdges) {
    struct { int year, day_of_year, result, month, day; } cases[] = {
        {2003, 0, 1, 1, 0},   {2004, -5, 1, 1, -5}, {2003, 366, -1, 77, 88}, {2004, 367, -1, 77, 88},
        {2004, INT_MIN, 1, 1, INT_MIN}, {2004, INT_MAX, -1, 77, 88}, {INT_MIN, 60, 1, 2, 29}, {INT_MAX, 60, 1, 3, 1},
    };
    for (auto c : cases) {
        int month = 77, day = 88;
        const int result = monthdate(c.year, c.day_of_year, &month, &day);
        EXPECT_EQ((std::array{result, month, day}), (std::array{c.result, c.month, c.day})) << c.year << "/" << c.day_of_year;
    }
}

// Every day of the Gregorian calendar, run back to before year 1.
TEST(Calendar, DayOfYearAndMonthDateAreInverses) {
    for (int year = -401; year <= 2100; ++year) {
        const int leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        ASSERT_EQ(is_leap_year(year), leap) << year;
        int expected = 0;
        for (int month = 1; month <= 12; ++month) {
            static const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
            int length = lengths[month - 1] + (month == 2 && leap);
            for (int day = 1; day <= length; ++day) {
                ++expected;
                ASSERT_EQ(doy(year, month, day), expected) << year << "-" << month << "-" << day;
                int m = 0, d = 0;
                ASSERT_EQ(monthdate(year, expected, &m, &d), 1);
                ASSERT_EQ(m, month);
                ASSERT_EQ(d, day);
            }
        }
        ASSERT_EQ(expected, ndaysinyear(year));
    }
}
