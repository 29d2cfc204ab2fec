// Dates to texts and back through a date pattern in the Unicode notation
// (UTS #35: "yyyy'-'MM'-'dd'T'HH':'mm':'ss'.'SSSS'Z'"), with a locale and a
// time zone. ICU does the work; it stays out of this header.
//
// The calendar is the proleptic Gregorian one: dates before 1582-10-15 are
// written and read with Gregorian rules too, so that every text the library
// writes reads back as the same instant.
//
// A new formatter has the host's default locale and time zone, an empty
// pattern (it writes "" and reads nothing) and strict parsing.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "zeva/platform/Date.hpp"
#include "zeva/platform/Text.hpp"

namespace zeva {

class DateFormatter : public Object {
public:
    DateFormatter();
    ~DateFormatter() override;

    // A formatter with the pattern, a time zone given by name or abbreviation
    // ("UTC", "America/Bogota", "EST") and a locale ("en_US_POSIX"). Null when
    // the time zone is unknown.
    static Ref<DateFormatter> formatterWithPattern(std::string_view pattern, std::string_view timeZone = "UTC",
                                                   std::string_view locale = "en_US_POSIX");

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    // Locale identifier such as "en_US_POSIX" or "fr_FR".
    void setLocale(std::string_view localeIdentifier);
    std::string locale() const;

    // Time zone by identifier ("UTC", "GMT", "Europe/Paris", "Etc/GMT+5") or
    // by fixed offset ("GMT+05:30"). False, and the zone unchanged, when ICU
    // does not know the name.
    bool setTimeZoneName(std::string_view name);
    // Time zone by a common abbreviation ("UTC", "GMT", "EST", "PDT", "CET",
    // "JST", ...); an abbreviation stands for the region's zone, so "EST"
    // follows New York's daylight-saving rules. Names that are not in the
    // table are tried as identifiers. False, and the zone unchanged, when
    // neither works.
    bool setTimeZoneAbbreviation(std::string_view abbreviation);
    // The zone's identifier ("UTC", "America/New_York").
    std::string timeZoneName() const;

    void setDateFormat(std::string_view pattern);
    std::string dateFormat() const;

    // Strict parsing (the default) refuses out-of-range fields such as month
    // 13 and requires literals to match; lenient parsing rolls them over.
    void setLenient(bool lenient);
    bool isLenient() const { return lenient_; }

    // The date the whole text stands for, or null when the text (or a part of
    // it) does not match the pattern. Null text gives null, and so does a text
    // with a run of more than nine digits (see DateFormatter.cpp).
    Ref<Date> dateFromString(const Ref<String>& text) const;
    Ref<Date> dateFromString(std::string_view text) const;
    // The date at the start of the text; *consumed receives the number of
    // bytes read (trailing text such as a "Z" after the pattern is left
    // alone). Null when the start of the text does not match.
    Ref<Date> dateFromPrefixOfString(std::string_view text, size_t* consumed = nullptr) const;

    // The date as text; null for a null date or one the calendar cannot
    // hold (not finite, or hundreds of thousands of years away).
    Ref<String> stringFromDate(const Ref<Date>& date) const;
    std::string stringFromDate(const Date& date, bool* ok = nullptr) const;

    std::string description() const override;

private:
    struct Impl;  // the ICU zone and formatter; the formatter is rebuilt after a change

    std::string locale_;  // "" for the host's default
    std::string pattern_;
    bool lenient_ = false;
    std::unique_ptr<Impl> impl_;
};

}  // namespace zeva
