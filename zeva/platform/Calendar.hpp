// The Gregorian calendar of the host: breaks an instant into year, month,
// day and time of day as a clock in the host's default time zone shows it.
//
// The zone is the one the C library derives from the TZ environment variable
// (or the system zone when TZ is unset), read again on every question, so a
// program that changes TZ while it runs gets answers in the new zone.
#pragma once

#include <cstdint>
#include <optional>

#include "zeva/platform/Date.hpp"

namespace zeva {

enum class CalendarUnit { Year, Month, Day, Hour, Minute, Second, Weekday };

struct DateComponents {
    int32_t year = 0;
    int32_t month = 0;    // 1-12
    int32_t day = 0;      // day of the month, 1-31
    int32_t hour = 0;     // 0-23
    int32_t minute = 0;   // 0-59
    int32_t second = 0;   // 0-60
    int32_t weekday = 0;  // 1 (Sunday) to 7 (Saturday)
};

class Calendar : public Object {
public:
    // A Gregorian calendar in the host's default time zone.
    static Ref<Calendar> gregorianCalendar() { return std::make_shared<Calendar>(); }

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    // The date's components; nullopt for a date the host cannot break down
    // (not finite, or beyond the range of its time type).
    std::optional<DateComponents> components(const Date& date) const;
    // One component; 0 when the date cannot be broken down.
    int32_t component(CalendarUnit unit, const Date& date) const;
};

}  // namespace zeva
