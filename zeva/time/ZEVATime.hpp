// ZEVATime: an instant kept in three forms at once.
//
//   _date_time  text, normally ISO-8601 UTC with four decimals:
//               "2009-06-01T14:03:12.2500Z"
//   nsDate      a Date
//   epochTime   seconds since 1970-01-01T00:00:00 UTC, with fraction
//
// Setting the date (setNsDate) rewrites the text and the seconds from it.
// Setting the text (set_date_time, setDateTimeString, cleanDateTimeString)
// re-derives the date and the seconds from the text (updateNSDate): the part
// before the first "." must be "YYYY-MM-DD HH:MM:SS", read as UTC, and the
// date then carries whole seconds only, while the fraction, the one to four
// digits after the point (more are cut off), goes into epochTime alone. A
// text without a point has fraction 0, and only such a text may end with an
// offset " +HHMM" or a "Z" after the seconds. A date part in any other form
// (an ISO "T" in place of the space included) leaves the time without a
// date. setEpochTime stores the seconds alone.
//
// year, month and date answer the calendar components in the host's time
// zone (TZ), not in UTC; 0 when there is no date.
#pragma once

#include <cstdint>

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Calendar.hpp"
#include "zeva/platform/Date.hpp"
#include "zeva/platform/Text.hpp"

class ZEVATime : public KWOObject {
    ZEVA_OBJECT(ZEVATime, KWOObject)

public:
    // The ISO form setNsDate writes, in UTC.
    static constexpr const char* kISOPattern = "yyyy'-'MM'-'dd'T'HH':'mm':'ss'.'SSSS'Z'";

    // The current instant; the text is the current date as
    // "2009-06-01 14:03:12 +0000" (UTC), the seconds keep their fraction.
    void init() override;

    zeva::Ref<zeva::String> _date_time() const { return date_time_; }
    // Holds a copy and re-derives the date and seconds from it; the object
    // already held changes nothing, and null releases the text without
    // re-deriving.
    void set_date_time(const zeva::Ref<zeva::String>& text);

    // Every "T" or "t" becomes a space, then re-derivation: the ISO text
    // "2009-06-01T14:03:12.2500Z" becomes "2009-06-01 14:03:12.2500Z" with a
    // date. Null changes nothing.
    void setDateTimeString(const zeva::Ref<zeva::String>& text);
    // setDateTimeString applied to the current text; nothing without a text.
    void cleanDateTimeString();
    // Re-derives the date and the seconds from the text.
    void updateNSDate();

    zeva::Ref<zeva::Date> nsDate() const { return nsDate_; }
    // Holds the date (shared) and rewrites the seconds and, in ISO form, the
    // text. The date already held changes nothing; a null date sets the
    // seconds to 0 and keeps the text; a date that cannot be written in ISO
    // form (not finite, or ages away) changes nothing either.
    void setNsDate(const zeva::Ref<zeva::Date>& date);

    double epochTime() const { return epochTime_; }
    void setEpochTime(double seconds) { epochTime_ = seconds; }

    int32_t _leap_seconds_version() const { return leap_seconds_version_; }
    void set_leap_seconds_version(int32_t version) { leap_seconds_version_ = version; }

    // "2009152T140312" (year, day of the year, "T", hours, minutes, seconds,
    // anything after ignored) becomes "2009-06-01T14:03:12.0000Z" through
    // set_date_time. Unchanged unless the first "T" stands at position 7 and
    // the text has the 14 characters; unchanged too when the day of the year
    // lies beyond the year. A day of 0 or below gives month 1 with that day
    // ("2009000T000000" becomes "2009-01-00T00:00:00.0000Z", which reads as
    // no date).
    void convert_YDOY_to_YMDate();

    // Calendar components of the date in the host's time zone; 0 without a date.
    int year() const;
    int month() const;
    int date() const;

    // -1, 0 or 1 as this date is earlier than, equal to or later than the
    // other's. A missing date (or a missing time) sorts before every date;
    // two missing dates are equal.
    int compare(const zeva::Ref<ZEVATime>& other) const;

    // The text, "(null)" without one.
    std::string description() const override;

private:
    int component(zeva::CalendarUnit unit) const;

    zeva::Ref<zeva::String> date_time_;
    int32_t leap_seconds_version_ = 0;
    zeva::Ref<zeva::Date> nsDate_;
    double epochTime_ = 0.0;
    zeva::Ref<zeva::Calendar> gregorian_;
};
