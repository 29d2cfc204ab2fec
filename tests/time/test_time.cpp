// ZEVATime and the platform services under it: the ICU date formatter and
// the host-zone calendar.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <string>

#include "zeva/platform/Calendar.hpp"
#include "zeva/platform/DateFormatter.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/time/ZEVATime.hpp"

using zeva::Date;
using zeva::Ref;
using zeva::str;

namespace {

// 2009-06-01 14:03:12 UTC and 2009-06-01 02:00:00 UTC.
constexpr double k20090601T140312 = 1243864992.0;
constexpr double k20090601T020000 = 1243821600.0;

// Sets TZ for the scope of one test and puts the old value back. It does not
// call tzset: the calendar must notice the change on its own.
class ScopedTZ {
public:
    explicit ScopedTZ(const char* zone) {
        if (const char* old = std::getenv("TZ")) old_ = old;
        setenv("TZ", zone, 1);
    }
    ~ScopedTZ() {
        if (old_) setenv("TZ", old_->c_str(), 1);
        else unsetenv("TZ");
    }

private:
    std::optional<std::string> old_;
};

Ref<ZEVATime> timeAt(double seconds) {
    auto t = ZEVATime::create();
    t->setNsDate(Date::dateWithTimeIntervalSince1970(seconds));
    return t;
}

Ref<ZEVATime> timeWithText(const char* text) {
    auto t = ZEVATime::create();
    t->set_date_time(str(text));
    return t;
}

struct ProcessResult {
    int status = -1;
    std::string out;
};

ProcessResult run(const std::string& command) {
    ProcessResult r;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return r;
    std::array<char, 512> buffer{};
    size_t n = 0;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) r.out.append(buffer.data(), n);
    int status = pclose(pipe);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::filesystem::path scratchDir() {
    auto dir = std::filesystem::temp_directory_path() /
               ("zeva_time_" + std::to_string(getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir);
    return dir;
}

}  // namespace

// ---------------------------------------------------------------- formatter

TEST(DateFormatter, WritesTheISOPatternInUTC) {
    auto f = zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern);
    ASSERT_TRUE(f);
    struct Case {
        double seconds;
        const char* text;
    } cases[] = {
        {k20090601T140312 + 0.25, "2009-06-01T14:03:12.2500Z"},
        {k20090601T140312 + 0.2567, "2009-06-01T14:03:12.2560Z"},  // whole milliseconds, then a 0
        {k20090601T140312 + 0.9999, "2009-06-01T14:03:12.9990Z"},  // truncated, not rounded up
        {0.0, "1970-01-01T00:00:00.0000Z"},
        {-0.25, "1969-12-31T23:59:59.7500Z"},
        {-14831769600.0, "1500-01-01T00:00:00.0000Z"},  // Gregorian rules before 1582 too
        {253402300799.0, "9999-12-31T23:59:59.0000Z"},
    };
    for (const auto& c : cases) {
        auto text = f->stringFromDate(Date::dateWithTimeIntervalSince1970(c.seconds));
        ASSERT_TRUE(text) << c.text;
        EXPECT_EQ(text->str(), c.text);
        // And back again, to the millisecond.
        auto back = f->dateFromString(text);
        ASSERT_TRUE(back) << c.text;
        EXPECT_NEAR(back->timeIntervalSince1970(), std::floor(c.seconds * 1000.0) / 1000.0, 1e-6) << c.text;
    }
}

TEST(DateFormatter, RefusesDatesItCannotWrite) {
    auto f = zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern);
    EXPECT_FALSE(f->stringFromDate(Ref<Date>()));
    EXPECT_FALSE(f->stringFromDate(Date::dateWithTimeIntervalSince1970(NAN)));
    EXPECT_FALSE(f->stringFromDate(Date::dateWithTimeIntervalSince1970(INFINITY)));
    EXPECT_FALSE(f->stringFromDate(Date::dateWithTimeIntervalSince1970(1e300)));
}

TEST(DateFormatter, ReadsTheSummaryFeedTimes) {
    auto f = zeva::DateFormatter::formatterWithPattern("yyyy'-'MM'-'dd'T'HH':'mm':'ss.SSS", "UTC", "en_US_POSIX");
    ASSERT_TRUE(f);
    auto d = f->dateFromString(str("2012-10-10T12:34:56.789"));
    ASSERT_TRUE(d);
    EXPECT_NEAR(d->timeIntervalSince1970(), 1349872496.789, 1e-6);

    // The whole text must match; the start of it may be read on its own.
    const std::string current = "2016-01-07T14:31:57.430Z";
    EXPECT_FALSE(f->dateFromString(current));
    size_t consumed = 0;
    d = f->dateFromPrefixOfString(current, &consumed);
    ASSERT_TRUE(d);
    EXPECT_EQ(consumed, current.size() - 1);
    EXPECT_NEAR(d->timeIntervalSince1970(), 1452177117.430, 1e-6);

    for (const char* bad : {"", "not a date", "2012-13-10T12:34:56.789", "2012-02-30T12:34:56.789",
                            "2012-10-10 12:34:56.789", "2012-10-10T25:34:56.789"})
        EXPECT_FALSE(f->dateFromString(str(bad))) << bad;
    EXPECT_FALSE(f->dateFromString(Ref<zeva::String>()));
    EXPECT_FALSE(f->dateFromPrefixOfString("x2012-10-10T12:34:56.789", &consumed));
    EXPECT_EQ(consumed, 0u);

    // Lenient parsing rolls an out-of-range month over.
    f->setLenient(true);
    d = f->dateFromString(str("2012-13-10T00:00:00.000"));
    ASSERT_TRUE(d);
    EXPECT_DOUBLE_EQ(d->timeIntervalSince1970(), 1357776000.0);  // 2013-01-10
}

TEST(DateFormatter, TimeZonesByNameAndAbbreviation) {
    auto f = std::make_shared<zeva::DateFormatter>();
    f->setLocale("en_US_POSIX");
    f->setDateFormat("yyyy-MM-dd HH:mm zzz");
    auto at = Date::dateWithTimeIntervalSince1970(k20090601T020000);
    struct Case {
        const char* zone;
        bool byAbbreviation;
        const char* text;
    } cases[] = {
        {"UTC", true, "2009-06-01 02:00 UTC"},
        {"utc", true, "2009-06-01 02:00 UTC"},
        {"EST", true, "2009-05-31 22:00 EDT"},  // the region's zone, with its summer time
        {"JST", true, "2009-06-01 11:00 GMT+9"},
        {"America/Bogota", false, "2009-05-31 21:00 GMT-5"},
        {"America/Bogota", true, "2009-05-31 21:00 GMT-5"},  // not an abbreviation: taken as a name
        {"GMT+05:30", false, "2009-06-01 07:30 GMT+5:30"},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(c.byAbbreviation ? f->setTimeZoneAbbreviation(c.zone) : f->setTimeZoneName(c.zone)) << c.zone;
        EXPECT_EQ(f->stringFromDate(at)->str(), c.text) << c.zone;
    }

    f->setTimeZoneName("Europe/Paris");
    EXPECT_FALSE(f->setTimeZoneName("Mars/Olympus_Mons"));
    EXPECT_FALSE(f->setTimeZoneAbbreviation("XYZT"));
    EXPECT_FALSE(f->setTimeZoneName(""));
    EXPECT_EQ(f->timeZoneName(), "Europe/Paris");
    EXPECT_FALSE(zeva::DateFormatter::formatterWithPattern("yyyy", "Mars/Olympus_Mons"));

    // Parsing follows the zone too.
    f->setDateFormat("yyyy-MM-dd HH:mm");
    auto d = f->dateFromString(str("2009-06-01 04:00"));
    ASSERT_TRUE(d);
    EXPECT_DOUBLE_EQ(d->timeIntervalSince1970(), k20090601T020000);
}

TEST(DateFormatter, LocaleChangesNamesAndAnEmptyPatternReadsNothing) {
    auto f = zeva::DateFormatter::formatterWithPattern("EEEE d MMMM yyyy", "UTC", "fr_FR");
    EXPECT_EQ(f->stringFromDate(Date::dateWithTimeIntervalSince1970(k20090601T020000))->str(), "lundi 1 juin 2009");
    f->setLocale("en_US_POSIX");
    EXPECT_EQ(f->stringFromDate(Date::dateWithTimeIntervalSince1970(k20090601T020000))->str(), "Monday 1 June 2009");

    zeva::DateFormatter empty;
    EXPECT_EQ(empty.stringFromDate(Date::dateWithTimeIntervalSince1970(0))->str(), "");
    EXPECT_FALSE(empty.dateFromString(str("")));
}

// ----------------------------------------------------------------- calendar

TEST(Calendar, ComponentsFollowTZSetWhileRunning) {
    auto cal = zeva::Calendar::gregorianCalendar();
    Date at(k20090601T020000);
    {
        ScopedTZ tz("UTC");
        auto c = cal->components(at);
        ASSERT_TRUE(c);
        EXPECT_EQ(c->year, 2009);
        EXPECT_EQ(c->month, 6);
        EXPECT_EQ(c->day, 1);
        EXPECT_EQ(c->hour, 2);
        EXPECT_EQ(c->weekday, 2);  // Monday
    }
    for (const char* zone : {"EST5", "America/Bogota"}) {
        ScopedTZ tz(zone);
        auto c = cal->components(at);
        ASSERT_TRUE(c) << zone;
        EXPECT_EQ(c->month, 5) << zone;
        EXPECT_EQ(c->day, 31) << zone;
        EXPECT_EQ(c->hour, 21) << zone;
        EXPECT_EQ(cal->component(zeva::CalendarUnit::Weekday, at), 1) << zone;  // Sunday
    }
    EXPECT_FALSE(cal->components(Date(NAN)));
    EXPECT_FALSE(cal->components(Date(1e300)));
    EXPECT_EQ(cal->component(zeva::CalendarUnit::Year, Date(-INFINITY)), 0);
}

// ---------------------------------------------------------------- ZEVATime

TEST(ZEVATime, SetNsDateWritesTheISOTextAndSeconds) {
    auto t = timeAt(k20090601T140312 + 0.25);
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.2500Z");
    EXPECT_EQ(t->_date_time()->str(), "2009-06-01T14:03:12.2500Z");
    EXPECT_DOUBLE_EQ(t->epochTime(), 1243864992.25);
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), 1243864992.25);

    t = timeAt(k20090601T140312 + 0.2567);
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.2560Z");
    EXPECT_DOUBLE_EQ(t->epochTime(), k20090601T140312 + 0.2567);
}

TEST(ZEVATime, SetNsDateWithTheHeldDateOrNull) {
    auto date = Date::dateWithTimeIntervalSince1970(k20090601T140312);
    auto t = ZEVATime::create();
    t->setNsDate(date);
    t->set_date_time(nullptr);  // drops the text, keeps the date
    t->setEpochTime(7.0);
    t->setNsDate(date);  // the date already held: nothing at all
    EXPECT_FALSE(t->_date_time());
    EXPECT_DOUBLE_EQ(t->epochTime(), 7.0);
    EXPECT_EQ(t->nsDate(), date);  // shared, not copied

    t = timeAt(k20090601T140312);
    t->setNsDate(nullptr);
    EXPECT_FALSE(t->nsDate());
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.0000Z");
    EXPECT_EQ(t->epochTime(), 0.0);

    // A date that cannot be written keeps the old text.
    t->setNsDate(Date::dateWithTimeIntervalSince1970(NAN));
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.0000Z");
}

TEST(ZEVATime, ReDerivingFromTheText) {
    const double kFloat123 = static_cast<double>(0.123f);
    struct Case {
        const char* text;
        std::optional<double> date;  // seconds of the date, none when no date
        double epoch;
    } cases[] = {
        {"2009-06-01 14:03:12.2500Z", k20090601T140312, k20090601T140312 + 0.25},
        {"2009-06-01 14:03:12.123Z", k20090601T140312, k20090601T140312 + kFloat123},
        {"2009-06-01 14:03:12.9Z99", k20090601T140312, k20090601T140312 + static_cast<double>(0.9f)},
        {"2009-06-01 14:03:12.0000Z", k20090601T140312, k20090601T140312},
        {"2009-06-01 14:03:12.25", k20090601T140312, k20090601T140312},  // under four characters: no fraction
        {"2009-06-01 14:03:12.12.3456", k20090601T140312, k20090601T140312},  // fraction ends at the second point
        {"2009-06-01 14:03:12", k20090601T140312, k20090601T140312},
        {"2009-06-01 14:03:12Z", k20090601T140312, k20090601T140312},
        {"2009-06-01 09:03:12 -0500", k20090601T140312, k20090601T140312},
        {"2009-06-01 14:03:12 +0000", k20090601T140312, k20090601T140312},
        {"2008-02-29 00:00:00.0000Z", 1204243200.0, 1204243200.0},
        {"2008-12-31 23:59:60", 1230768000.0, 1230768000.0},  // a leap second reads as the next second
        {"1900-01-01 00:00:00", -2208988800.0, -2208988800.0},
        {"2009-06-01T14:03:12.2500Z", std::nullopt, 0.25},  // ISO form: no date, the fraction alone
        {"2009-02-29 00:00:00.5000Z", std::nullopt, 0.5},
        {"2009-06-01 24:00:00", std::nullopt, 0.0},
        {"2009-6-01 14:03:12", std::nullopt, 0.0},
        {"2009-06-01 14:03:12 +05", std::nullopt, 0.0},
        {"2009-06-01 14:03:12 UTC", std::nullopt, 0.0},
        {".5000", std::nullopt, 0.5},
        {"", std::nullopt, 0.0},
    };
    for (const auto& c : cases) {
        auto t = timeAt(1.0);
        t->set_date_time(str(c.text));
        EXPECT_EQ(t->description(), c.text);
        if (c.date) {
            ASSERT_TRUE(t->nsDate()) << c.text;
            EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), *c.date) << c.text;
        } else {
            EXPECT_FALSE(t->nsDate()) << c.text;
        }
        EXPECT_DOUBLE_EQ(t->epochTime(), c.epoch) << c.text;
    }
}

TEST(ZEVATime, SetDateTimeStringSpacesTheISOForm) {
    auto t = ZEVATime::create();
    t->setDateTimeString(str("2009-06-01T14:03:12.2500Z"));
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.2500Z");
    ASSERT_TRUE(t->nsDate());
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), k20090601T140312);
    EXPECT_DOUBLE_EQ(t->epochTime(), 1243864992.25);

    t->setDateTimeString(str("2009-06-01t14:03:12"));  // lower case too, no fraction
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12");
    EXPECT_DOUBLE_EQ(t->epochTime(), k20090601T140312);

    t->setDateTimeString(nullptr);  // nothing changes
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12");
    EXPECT_DOUBLE_EQ(t->epochTime(), k20090601T140312);

    // The text is a snapshot of the caller's.
    auto mutableText = zeva::mstr("2009-06-01T14:03:12.0000Z");
    t->setDateTimeString(mutableText);
    mutableText->setString("changed");
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.0000Z");
}

TEST(ZEVATime, CleanDateTimeString) {
    auto t = timeAt(k20090601T140312 + 0.2567);
    t->cleanDateTimeString();
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.2560Z");
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), k20090601T140312);  // the date drops the fraction
    EXPECT_NEAR(t->epochTime(), k20090601T140312 + 0.256, 1e-6);

    // A new time's text has no fraction: the date is the current second.
    auto fresh = ZEVATime::create();
    double now = fresh->epochTime();
    fresh->cleanDateTimeString();
    ASSERT_TRUE(fresh->nsDate());
    EXPECT_DOUBLE_EQ(fresh->nsDate()->timeIntervalSince1970(), std::floor(now));
    EXPECT_DOUBLE_EQ(fresh->epochTime(), std::floor(now));

    auto none = ZEVATime::create();
    none->set_date_time(nullptr);
    none->cleanDateTimeString();  // no text: nothing to rewrite
    EXPECT_FALSE(none->_date_time());
    EXPECT_TRUE(none->nsDate());
}

TEST(ZEVATime, SetDateTimeWithTheHeldTextOrNull) {
    auto t = timeWithText("2009-06-01 14:03:12.2500Z");
    auto held = t->_date_time();
    t->setEpochTime(3.0);
    t->set_date_time(held);  // no re-derivation either
    EXPECT_DOUBLE_EQ(t->epochTime(), 3.0);
    EXPECT_EQ(t->_date_time(), held);

    t->set_date_time(nullptr);  // releases the text and leaves the rest
    EXPECT_FALSE(t->_date_time());
    EXPECT_EQ(t->description(), "(null)");
    EXPECT_DOUBLE_EQ(t->epochTime(), 3.0);
    ASSERT_TRUE(t->nsDate());

    auto mutableText = zeva::mstr("2009-06-01 14:03:12");
    t->set_date_time(mutableText);
    mutableText->setString("changed");
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12");
}

TEST(ZEVATime, NewTime) {
    double before = Date::date()->timeIntervalSince1970();
    auto t = ZEVATime::create();
    double after = Date::date()->timeIntervalSince1970();
    EXPECT_TRUE(std::regex_match(t->description(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \+0000)")))
        << t->description();
    ASSERT_TRUE(t->nsDate());
    EXPECT_GE(t->epochTime(), before);
    EXPECT_LE(t->epochTime(), after);
    EXPECT_DOUBLE_EQ(t->epochTime(), t->nsDate()->timeIntervalSince1970());
    EXPECT_EQ(t->_leap_seconds_version(), 0);
    // The text is the date's second in UTC.
    std::time_t second = static_cast<std::time_t>(std::floor(t->epochTime()));
    std::tm tm{};
    gmtime_r(&second, &tm);
    char expected[32];
    std::strftime(expected, sizeof expected, "%Y-%m-%d %H:%M:%S +0000", &tm);
    EXPECT_EQ(t->description(), expected);
}

TEST(ZEVATime, ConvertYearAndDayOfYear) {
    struct Case {
        const char* text;
        const char* converted;  // the text afterwards
    } cases[] = {
        {"2004060T000000", "2004-02-29T00:00:00.0000Z"},
        {"2003060T000000", "2003-03-01T00:00:00.0000Z"},
        {"2009152T140312", "2009-06-01T14:03:12.0000Z"},
        {"2009152T140312.5Z", "2009-06-01T14:03:12.0000Z"},  // anything after the seconds is ignored
        {"2004366T235959", "2004-12-31T23:59:59.0000Z"},
        {"2003366T000000", "2003366T000000"},  // beyond the year: unchanged
        {"2003000T000000", "2003000T000000"},  // day 0: unchanged
        {"2009152T1403", "2009152T1403"},      // too short: unchanged
        {"2009-06-01T14:03:12.0000Z", "2009-06-01T14:03:12.0000Z"},
        {"2009152 140312", "2009152 140312"},
        {"", ""},
    };
    for (const auto& c : cases) {
        auto t = timeWithText(c.text);
        t->convert_YDOY_to_YMDate();
        EXPECT_EQ(t->description(), c.converted) << c.text;
    }

    // The ISO text re-derives no date; cleanDateTimeString then gives it.
    auto t = timeWithText("2009152T140312");
    t->convert_YDOY_to_YMDate();
    EXPECT_FALSE(t->nsDate());
    t->cleanDateTimeString();
    ASSERT_TRUE(t->nsDate());
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), k20090601T140312);

    auto none = ZEVATime::create();
    none->set_date_time(nullptr);
    none->convert_YDOY_to_YMDate();
    EXPECT_FALSE(none->_date_time());
}

TEST(ZEVATime, YearMonthDateInTheHostZone) {
    auto t = timeAt(k20090601T020000);
    {
        ScopedTZ tz("UTC");
        EXPECT_EQ(t->year(), 2009);
        EXPECT_EQ(t->month(), 6);
        EXPECT_EQ(t->date(), 1);
    }
    for (const char* zone : {"EST5", "America/Bogota"}) {
        ScopedTZ tz(zone);
        EXPECT_EQ(t->year(), 2009) << zone;
        EXPECT_EQ(t->month(), 5) << zone;
        EXPECT_EQ(t->date(), 31) << zone;
    }
    {
        ScopedTZ tz("EST5");
        auto newYear = timeAt(1230768000.0);  // 2009-01-01 00:00 UTC
        EXPECT_EQ(newYear->year(), 2008);
        EXPECT_EQ(newYear->month(), 12);
        EXPECT_EQ(newYear->date(), 31);
    }
    auto none = timeWithText("no date");
    EXPECT_EQ(none->year(), 0);
    EXPECT_EQ(none->month(), 0);
    EXPECT_EQ(none->date(), 0);
}

TEST(ZEVATime, Compare) {
    auto early = timeAt(k20090601T140312);
    auto late = timeAt(k20090601T140312 + 0.25);
    auto same = timeAt(k20090601T140312);
    auto missing = timeWithText("no date");
    auto alsoMissing = timeWithText("none either");
    struct Case {
        Ref<ZEVATime> a, b;
        int expected;
    } cases[] = {
        {early, late, -1},   {late, early, 1},          {early, same, 0},  {early, early, 0},
        {missing, early, -1}, {early, missing, 1},      {missing, alsoMissing, 0},
        {missing, missing, 0}, {early, nullptr, 1},     {missing, nullptr, 0},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].a->compare(cases[i].b), cases[i].expected) << "case " << i;
}

TEST(ZEVATime, KeyValueCodingReachesTheFields) {
    auto t = ZEVATime::create();
    t->setValue_forKey(Date::dateWithTimeIntervalSince1970(k20090601T140312 + 0.5), "nsDate");
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.5000Z");
    t->setValue_forKey(zeva::Number::numberWithLong(4), "_leap_seconds_version");
    EXPECT_EQ(t->_leap_seconds_version(), 4);
    auto seconds = std::dynamic_pointer_cast<zeva::Number>(t->valueForKey("epochTime"));
    ASSERT_TRUE(seconds);
    EXPECT_DOUBLE_EQ(seconds->doubleValue(), k20090601T140312 + 0.5);
}

// ------------------------------------------------------------------ archive

namespace {
Ref<ZEVATime> roundTrip(const Ref<ZEVATime>& t) {
    std::string error;
    auto data = zeva::archivedDataWithRootObject(t, &error);
    EXPECT_TRUE(data) << error;
    if (!data) return nullptr;
    auto restored = std::dynamic_pointer_cast<ZEVATime>(zeva::unarchiveObjectWithData(data->data(), data->size(), &error));
    EXPECT_TRUE(restored) << error;
    return restored;
}
}  // namespace

TEST(ZEVATimeArchive, RoundTrip) {
    ScopedTZ tz("EST5");
    auto t = timeAt(k20090601T020000 + 0.25);
    t->set_leap_seconds_version(3);
    auto r = roundTrip(t);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->description(), "2009-06-01T02:00:00.2500Z");
    EXPECT_EQ(r->_leap_seconds_version(), 3);
    ASSERT_TRUE(r->nsDate());
    EXPECT_DOUBLE_EQ(r->nsDate()->timeIntervalSince1970(), k20090601T020000 + 0.25);
    EXPECT_DOUBLE_EQ(r->epochTime(), t->epochTime());
    EXPECT_EQ(r->year(), t->year());
    EXPECT_EQ(r->month(), 5);
    EXPECT_EQ(r->date(), 31);
    EXPECT_EQ(r->compare(t), 0);
}

TEST(ZEVATimeArchive, RestoreOrder) {
    // The stored seconds are set last and win over the date.
    auto t = timeAt(k20090601T140312);
    t->setEpochTime(42.5);
    auto r = roundTrip(t);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->description(), "2009-06-01T14:03:12.0000Z");
    EXPECT_DOUBLE_EQ(r->epochTime(), 42.5);

    // A new time's spaced text is rewritten in ISO form from its stored date.
    auto fresh = ZEVATime::create();
    r = roundTrip(fresh);
    ASSERT_TRUE(r);
    auto iso = zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern)->stringFromDate(fresh->nsDate());
    EXPECT_EQ(r->description(), iso->str());
    EXPECT_DOUBLE_EQ(r->epochTime(), fresh->epochTime());

    // Without a date the text stays as it was, and is re-derived on reading.
    auto undated = timeWithText("2009-06-01T14:03:12.2500Z");
    r = roundTrip(undated);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->description(), "2009-06-01T14:03:12.2500Z");
    EXPECT_FALSE(r->nsDate());
    EXPECT_DOUBLE_EQ(r->epochTime(), 0.25);
    EXPECT_EQ(r->year(), 0);

    auto textless = timeAt(k20090601T140312);
    textless->set_date_time(nullptr);
    r = roundTrip(textless);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->description(), "2009-06-01T14:03:12.0000Z");  // written again from the date
}

TEST(ZEVATimeArchive, PythonReadsTheSavedFile) {
    std::string python = ZEVA_PYTHON;
    if (python.empty()) GTEST_SKIP() << "no Python interpreter was found at configuration";
    auto dir = scratchDir();
    auto file = dir / "time.plist";
    auto t = timeAt(k20090601T140312 + 0.25);
    t->set_leap_seconds_version(2);
    ASSERT_TRUE(t->saveAchivedToPath(file.string()));

    auto script = dir / "read.py";
    std::ofstream(script) << R"(import plistlib, sys
with open(sys.argv[1], 'rb') as f:
    archive = plistlib.load(f)
objects = archive['$objects']
root = objects[archive['$top']['root'].data]
cls = objects[root['$class'].data]
print(cls['$classname'])
print(','.join(k for k in root if k != '$class'))
print(objects[root['_date_time'].data])
print(objects[root['_leap_seconds_version'].data])
print(objects[root['nsDate'].data]['NS.time'] + 978307200)
print(root['epochTime'])
)";
    ProcessResult r = run(python + " " + script.string() + " " + file.string());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "ZEVATime\n"
              "_date_time,_leap_seconds_version,nsDate,epochTime\n"
              "2009-06-01T14:03:12.2500Z\n"
              "2\n"
              "1243864992.25\n"
              "1243864992.25\n");
    std::filesystem::remove_all(dir);
}

// ------------------------------------------------------------- command line

TEST(ZevaTimeCommand, PrintsTextSecondsAndLocalDate) {
    struct Case {
        const char* tz;
        const char* text;
        const char* out;
    } cases[] = {
        {"UTC", "2009152T140312", "2009-06-01 14:03:12.0000Z\n1243864992.0000\n2009\n6\n1\n"},
        {"UTC", "2004060T000000", "2004-02-29 00:00:00.0000Z\n1078012800.0000\n2004\n2\n29\n"},
        {"UTC", "2009-06-01T14:03:12.2500Z", "2009-06-01 14:03:12.2500Z\n1243864992.2500\n2009\n6\n1\n"},
        {"EST5", "2009-06-01T02:00:00.0000Z", "2009-06-01 02:00:00.0000Z\n1243821600.0000\n2009\n5\n31\n"},
    };
    for (const auto& c : cases) {
        ProcessResult r = run(std::string("TZ=") + c.tz + " '" + ZEVA_CLI_PATH + "' time '" + c.text + "'");
        EXPECT_EQ(r.status, 0) << c.text;
        EXPECT_EQ(r.out, c.out) << c.text;
    }
}

TEST(ZevaTimeCommand, FailsWithoutADate) {
    for (const char* text : {"2003366T000000", "yesterday", "2009-06-01T25:00:00"}) {
        ProcessResult r = run(std::string("'") + ZEVA_CLI_PATH + "' time '" + text + "' 2>&1");
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
        EXPECT_NE(r.out.find(text), std::string::npos) << r.out;
    }
    ProcessResult usage = run(std::string("'") + ZEVA_CLI_PATH + "' time 2>&1");
    EXPECT_EQ(usage.status, 2);
}
