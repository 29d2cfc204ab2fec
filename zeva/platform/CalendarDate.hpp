// Parsing of dates written in a strftime-style calendar format, such as
// "Saturday, May 21, 2011 09:06:50 UTC" read with
// "%A, %B %d, %Y %H:%M:%S %Z". Names are English; a weekday that does not
// fit the date is a mismatch.
#pragma once

#include <optional>
#include <string_view>

#include "zeva/platform/Date.hpp"

namespace zeva {

// The format used by the quoted-date layout of the event feed.
inline constexpr std::string_view kQuotedDateCalendarFormat = "%A, %B %d, %Y %H:%M:%S %Z";

// The instant the text names, or null when it does not match the format,
// names an impossible date, or carries a zone abbreviation (%Z) that
// zoneAbbreviationOffset does not know. Without %Z (or %z) the text is read
// as UTC. Blanks after the matched text are allowed, anything else is not.
Ref<Date> dateFromCalendarString(std::string_view text, std::string_view calendarFormat);

// Seconds east of UTC for a zone abbreviation, case-insensitive: UTC, GMT,
// UT and Z are 0; the North American ones (EST, EDT, CST, CDT, MST, MDT, PST,
// PDT, AKST, AKDT, HST) have their fixed offsets. Nothing for others, which
// are ambiguous or unknown.
std::optional<int> zoneAbbreviationOffset(std::string_view abbreviation);

}  // namespace zeva
