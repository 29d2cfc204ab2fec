#include "zeva/platform/CalendarDate.hpp"

#include <date/date.h>

#include <cctype>
#include <chrono>
#include <locale>
#include <sstream>
#include <string>

namespace zeva {

std::optional<int> zoneAbbreviationOffset(std::string_view abbreviation) {
    struct Zone {
        std::string_view name;
        int hours;
    };
    static constexpr Zone zones[] = {
        {"UTC", 0},  {"GMT", 0},  {"UT", 0},   {"Z", 0},     {"EST", -5},  {"EDT", -4},
        {"CST", -6}, {"CDT", -5}, {"MST", -7}, {"MDT", -6},  {"PST", -8},  {"PDT", -7},
        {"HST", -10}, {"AKST", -9}, {"AKDT", -8},
    };
    std::string upper(abbreviation);
    for (auto& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (const auto& z : zones)
        if (z.name == upper) return z.hours * 3600;
    return std::nullopt;
}

Ref<Date> dateFromCalendarString(std::string_view text, std::string_view calendarFormat) {
    std::istringstream in{std::string(text)};
    in.imbue(std::locale::classic());
    std::string fmt(calendarFormat);
    // Ticks of floating type: this release of the date library rounds the
    // seconds it read before it checks that the read succeeded, and with
    // integer ticks an unread field would be converted to an integer (which
    // is undefined). With floating ticks the unused value stays a number and
    // is dropped, as the failed read already stopped the parse.
    date::sys_time<std::chrono::duration<double, std::micro>> tp;
    std::string abbreviation;
    std::chrono::minutes offset{0};
    in >> date::parse(fmt, tp, abbreviation, offset);
    if (in.fail()) return nullptr;
    // Only blanks may follow.
    for (int c = in.get(); c != std::char_traits<char>::eof(); c = in.get())
        if (!std::isspace(c)) return nullptr;

    double seconds = std::chrono::duration<double>(tp.time_since_epoch()).count();
    // With %z the library has already applied the offset; a %Z abbreviation
    // is only read, so its offset is applied here.
    if (!abbreviation.empty()) {
        auto zone = zoneAbbreviationOffset(abbreviation);
        if (!zone) return nullptr;
        seconds -= *zone;
    }
    return Date::dateWithTimeIntervalSince1970(seconds);
}

}  // namespace zeva
