#include "zeva/time/ZEVATime.hpp"

#include <cctype>
#include <optional>
#include <string_view>

#include "zeva/platform/DateFormatter.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/time/calendar.h"

// Archived in the order the fields are declared, but restored in an order of
// its own (the seconds last, so that they win), hence the custom coding.
ZEVA_DEFINE_CLASS_CUSTOM_CODING(ZEVATime, KWOObject,
                                zeva::prop("_date_time", &ZEVATime::_date_time, &ZEVATime::set_date_time),
                                zeva::prop("_leap_seconds_version", &ZEVATime::_leap_seconds_version,
                                           &ZEVATime::set_leap_seconds_version),
                                zeva::prop("nsDate", &ZEVATime::nsDate, &ZEVATime::setNsDate),
                                zeva::prop("epochTime", &ZEVATime::epochTime, &ZEVATime::setEpochTime))

namespace {

// Days from 1970-01-01 to the given proleptic Gregorian date.
int64_t daysFromCivil(int64_t year, int month, int day) {
    year -= month <= 2;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

// The number written in text[at, at + width) when all of it is digits.
std::optional<int> digitsAt(std::string_view text, size_t at, size_t width) {
    if (at + width > text.size()) return std::nullopt;
    int value = 0;
    for (size_t i = at; i < at + width; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i]))) return std::nullopt;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

int daysInMonth(int year, int month) {
    static constexpr int kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap_year(year) ? 29 : kLengths[month - 1];
}

// Seconds since 1970 of "YYYY-MM-DD HH:MM:SS" in UTC. When zoned, a "Z" or
// an offset " +HHMM" / " -HHMM" may follow; otherwise nothing may. A second
// of 60 (a leap second) counts as the first second of the next minute.
std::optional<double> readSpacedForm(std::string_view text, bool zoned) {
    if (text.size() < 19 || text[4] != '-' || text[7] != '-' || text[10] != ' ' || text[13] != ':' ||
        text[16] != ':')
        return std::nullopt;
    auto year = digitsAt(text, 0, 4), month = digitsAt(text, 5, 2), day = digitsAt(text, 8, 2);
    auto hour = digitsAt(text, 11, 2), minute = digitsAt(text, 14, 2), second = digitsAt(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !second) return std::nullopt;
    if (*month < 1 || *month > 12 || *day < 1 || *day > daysInMonth(*year, *month) || *hour > 23 || *minute > 59 ||
        *second > 60)
        return std::nullopt;

    int offsetSeconds = 0;
    std::string_view rest = text.substr(19);
    if (!zoned) {
        // the text must end with the seconds
    } else if (rest == "Z") {
        rest = {};
    } else if (rest.size() == 6 && rest[0] == ' ' && (rest[1] == '+' || rest[1] == '-')) {
        auto hh = digitsAt(rest, 2, 2), mm = digitsAt(rest, 4, 2);
        if (!hh || !mm || *hh > 23 || *mm > 59) return std::nullopt;
        offsetSeconds = (*hh * 3600 + *mm * 60) * (rest[1] == '-' ? -1 : 1);
        rest = {};
    }
    if (!rest.empty()) return std::nullopt;

    int64_t days = daysFromCivil(*year, *month, *day);
    int64_t seconds = days * 86400 + *hour * 3600 + *minute * 60 + *second - offsetSeconds;
    return static_cast<double>(seconds);
}

// The fraction of a second that the text after the first point gives: the
// run of digits at the start of its first four characters, up to the end or
// a second point ("25" is .25, "123456" is .1234). 0 when there is no point.
float readFraction(std::string_view text) {
    size_t point = text.find('.');
    if (point == std::string_view::npos) return 0.0f;
    std::string_view part = text.substr(point + 1);
    part = part.substr(0, part.find('.'));
    double value = 0.0, scale = 1.0;
    for (size_t i = 0; i < 4 && i < part.size() && std::isdigit(static_cast<unsigned char>(part[i])); ++i) {
        scale /= 10.0;
        value += (part[i] - '0') * scale;
    }
    return static_cast<float>(value);
}

const zeva::DateFormatter& isoFormatter() {
    thread_local const zeva::Ref<zeva::DateFormatter> formatter =
        zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern, "UTC", "en_US_POSIX");
    return *formatter;
}

}  // namespace

void ZEVATime::init() {
    super::init();
    nsDate_ = zeva::Date::date();
    // The date's own text: "2009-06-01 14:03:12 +0000", in UTC.
    date_time_ = zeva::str(nsDate_->description());
    epochTime_ = nsDate_->timeIntervalSince1970();
    leap_seconds_version_ = 0;
    gregorian_ = zeva::Calendar::gregorianCalendar();
}

void ZEVATime::encodeWithCoder(zeva::Coder& coder) const {
    KWOObject::encodeWithCoder(coder);
    coder.encodeObject_forKey(_date_time(), "_date_time");
    coder.encodeObject_forKey(zeva::Number::numberWithLong(_leap_seconds_version()), "_leap_seconds_version");
    coder.encodeObject_forKey(nsDate(), "nsDate");
    coder.encodeDouble_forKey(epochTime(), "epochTime");
}

void ZEVATime::initWithCoder(zeva::Coder& coder) {
    KWOObject::initWithCoder(coder);
    // Each value goes through its setter, so the text re-derives the date,
    // a stored date then rewrites the text in ISO form, and the stored
    // seconds, set last, win over both.
    set_date_time(coder.decodeObjectOfClass<zeva::String>("_date_time"));
    set_leap_seconds_version(static_cast<int32_t>(coder.decodeBoxedIntegerForKey("_leap_seconds_version", 32)));
    setNsDate(coder.decodeObjectOfClass<zeva::Date>("nsDate"));
    setEpochTime(coder.decodeDoubleForKey("epochTime"));
    gregorian_ = zeva::Calendar::gregorianCalendar();
}

void ZEVATime::set_date_time(const zeva::Ref<zeva::String>& text) {
    if (text == date_time_) return;
    zeva::setCopiedText(date_time_, text);
    if (date_time_) updateNSDate();
}

void ZEVATime::setDateTimeString(const zeva::Ref<zeva::String>& text) {
    if (!text) return;
    auto spaced = text->mutableCopy();
    spaced->replaceOccurrencesOfString_withString("T", " ", /*caseInsensitive=*/true);
    date_time_ = spaced->copy();
    updateNSDate();
}

void ZEVATime::cleanDateTimeString() {
    if (!date_time_) return;
    setDateTimeString(zeva::str(description()));
}

void ZEVATime::updateNSDate() {
    std::string_view text = zeva::textOf(date_time_);
    float fraction = readFraction(text);
    // A text with a fraction is read strictly: the part before the point is
    // the spaced form in UTC and nothing else. A text without one (a new
    // time's own text "2009-06-01 14:03:12 +0000" among them) may end with a
    // "Z" or a zone offset.
    const size_t point = text.find('.');
    std::optional<double> seconds = readSpacedForm(text.substr(0, point), point == std::string_view::npos);
    nsDate_ = seconds ? zeva::Date::dateWithTimeIntervalSince1970(*seconds) : nullptr;
    epochTime_ = (seconds ? *seconds : 0.0) + static_cast<double>(fraction);
}

void ZEVATime::setNsDate(const zeva::Ref<zeva::Date>& date) {
    if (date == nsDate_) return;
    zeva::Ref<zeva::String> text;
    if (date) {
        // A date the calendar cannot write (not finite, or ages away) is
        // refused as a whole: the text, the date and the seconds stay as
        // they were, so they keep agreeing with each other.
        text = isoFormatter().stringFromDate(date);
        if (!text) return;
    }
    nsDate_ = date;
    epochTime_ = date ? date->timeIntervalSince1970() : 0.0;
    if (text) date_time_ = text;
}

void ZEVATime::convert_YDOY_to_YMDate() {
    if (!date_time_) return;
    const zeva::String& text = *date_time_;
    if (text.rangeOfString("T") != 7 || text.length() < 14) return;
    auto number = [&](size_t at, size_t width) { return text.substringWithRange(at, width)->intValue(); };
    int year = number(0, 4), dayOfYear = number(4, 3);
    int hour = number(8, 2), minute = number(10, 2), second = number(12, 2);
    int month = 0, day = 0;
    // A day of 0 or below gives January with that day ("2009-01-00T..."), a
    // text that then reads as no date; a day beyond the year leaves the text.
    if (monthdate(year, dayOfYear, &month, &day) != 1) return;
    set_date_time(zeva::str(zeva::format("%04d-%02d-%02dT%02d:%02d:%07.4fZ", year, month, day, hour, minute,
                                         static_cast<double>(second))));
}

int ZEVATime::component(zeva::CalendarUnit unit) const {
    if (!nsDate_) return 0;
    if (gregorian_) return gregorian_->component(unit, *nsDate_);
    return zeva::Calendar::gregorianCalendar()->component(unit, *nsDate_);
}

int ZEVATime::year() const { return component(zeva::CalendarUnit::Year); }
int ZEVATime::month() const { return component(zeva::CalendarUnit::Month); }
int ZEVATime::date() const { return component(zeva::CalendarUnit::Day); }

int ZEVATime::compare(const zeva::Ref<ZEVATime>& other) const {
    const zeva::Date* mine = nsDate_.get();
    const zeva::Date* theirs = other ? other->nsDate_.get() : nullptr;
    if (!mine || !theirs) return (mine ? 1 : 0) - (theirs ? 1 : 0);
    return mine->compare(*theirs);
}

std::string ZEVATime::description() const { return date_time_ ? date_time_->str() : "(null)"; }
