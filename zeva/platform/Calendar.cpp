#include "zeva/platform/Calendar.hpp"

#include <cmath>
#include <ctime>
#include <limits>

namespace zeva {

const Class& Calendar::staticClass() {
    static const Class cls("NSCalendar", &Object::staticClass(), nullptr);
    return cls;
}

std::optional<DateComponents> Calendar::components(const Date& date) const {
    double seconds = std::floor(date.timeIntervalSince1970());
    // Within what time_t and the year field of struct tm both hold.
    constexpr double kLimit = 6.7e16;
    if (!std::isfinite(seconds) || std::fabs(seconds) > kLimit) return std::nullopt;
    auto t = static_cast<std::time_t>(seconds);
    // localtime_r is not required to look at TZ again; tzset is.
    tzset();
    std::tm tm{};
    if (!localtime_r(&t, &tm)) return std::nullopt;
    if (tm.tm_year > std::numeric_limits<int32_t>::max() - 1900) return std::nullopt;
    DateComponents c;
    c.year = tm.tm_year + 1900;
    c.month = tm.tm_mon + 1;
    c.day = tm.tm_mday;
    c.hour = tm.tm_hour;
    c.minute = tm.tm_min;
    c.second = tm.tm_sec;
    c.weekday = tm.tm_wday + 1;
    return c;
}

int32_t Calendar::component(CalendarUnit unit, const Date& date) const {
    auto c = components(date);
    if (!c) return 0;
    switch (unit) {
        case CalendarUnit::Year: return c->year;
        case CalendarUnit::Month: return c->month;
        case CalendarUnit::Day: return c->day;
        case CalendarUnit::Hour: return c->hour;
        case CalendarUnit::Minute: return c->minute;
        case CalendarUnit::Second: return c->second;
        case CalendarUnit::Weekday: return c->weekday;
    }
    return 0;
}

}  // namespace zeva
