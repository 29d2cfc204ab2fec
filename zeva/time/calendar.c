#include "zeva/time/calendar.h"

#include <limits.h>

static const int month_lengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

static void month_table(int year, int table[12]) {
    for (int i = 0; i < 12; ++i) table[i] = month_lengths[i];
    if (is_leap_year(year)) table[1] = 29;
}

int is_leap_year(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int ndaysinyear(int year) { return is_leap_year(year) ? 366 : 365; }

int doy(int year, int month, int day) {
    if (month == 1) return day;
    int table[12];
    month_table(year, table);
    /* Months before the given one; beyond December there is nothing more to
     * add. Counted without forming month - 1, which overflows for INT_MIN,
     * and summed wide: a day near INT_MAX stays at INT_MAX. */
    long long sum = day;
    for (int i = 0; i < 12 && i + 1 < month; ++i) sum += table[i];
    return sum > INT_MAX ? INT_MAX : (int)sum;
}

int monthdate(int year, int day_of_year, int* month, int* day) {
    if (day_of_year > ndaysinyear(year)) return -1;
    int table[12];
    month_table(year, table);
    int m = 1, rest = day_of_year;
    for (int i = 0; i < 12; ++i) {
        if (rest <= table[i]) {
            if (month) *month = m;
            if (day) *day = rest;
            return 1;
        }
        ++m;
        rest -= table[i];
    }
    return -1; /* not reached: the year's length bounds the day */
}
