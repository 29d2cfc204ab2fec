/* Gregorian calendar arithmetic on whole numbers. Months count from 1,
 * days of the month and of the year from 1. */
#ifndef ZEVA_TIME_CALENDAR_H
#define ZEVA_TIME_CALENDAR_H

#ifdef __cplusplus
extern "C" {
#endif

/* 1 for a Gregorian leap year (negative years and year 0 included), else 0. */
int is_leap_year(int year);

/* 366 for a leap year, else 365. */
int ndaysinyear(int year);

/* Day of the year of a date. Month and day are not checked: a month of 1 or
 * below gives the day itself, a month of 13 or above adds the whole year.
 * Defined for every argument: a result beyond INT_MAX is INT_MAX. */
int doy(int year, int month, int day);

/* Month and day of the month of a day of the year: 1 with both written, or
 * -1 with neither written when the day lies beyond the year's last day.
 * A day of 0 or below gives month 1 with that day. Defined for every
 * argument. */
int monthdate(int year, int day_of_year, int* month, int* day);

#ifdef __cplusplus
}
#endif

#endif
