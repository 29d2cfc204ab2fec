// ZEVATime and the platform services under it: the ICU date formatter and
// the host-zone calendar; and `zeva time`.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <optional>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "support/run_cli.hpp"
#include "support/archive_helpers.hpp"
#include "zeva/platform/DateFormatter.hpp"
#include "zeva/time/ZEVATime.hpp"

using zeva::Date;
using zeva::Ref;
using zeva::str;
using zeva::test::roundTrip;

namespace {

constexpr double kT140312 = 1243864992.0;  // 2009-06-01 14:03:12 UTC
constexpr double kT020000 = 1243821600.0;  // 2009-06-01 02:00:00 UTC

// Sets TZ for one scope. It does not call tzset: the calendar must notice
// the change on its own.
class ScopedTZ {
public:
    explicit ScopedTZ(const char* zone) {
        if (const char* old = std::getenv("TZ")) old_ = old;
        setenv("TZ", zone, 1);
    }
    ~ScopedTZ() { old_ ? setenv("TZ", old_->c_str(), 1) : unsetenv("TZ"); }

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

std::vector<int> ymd(const ZEVATime& t) { return {t.year(), t.month(), t.date()}; }

}  // namespace

TEST(DateFormatter, ISOPatternStrictParsingAndZones) {
    auto f = zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern);
    ASSERT_TRUE(f);
    auto written = f->stringFromDate(Date::dateWithTimeIntervalSince1970(-0.25));
    ASSERT_TRUE(written);
    EXPECT_EQ(written->str(), "1969-12-31T23:59:59.7500Z");
    EXPECT_NEAR(f->dateFromString(written)->timeIntervalSince1970(), -0.25, 1e-6);
    EXPECT_FALSE(f->stringFromDate(Ref<Date>()));

    // The whole text must match, and out-of-range fields do not roll over.
    auto feed = zeva::DateFormatter::formatterWithPattern("yyyy'-'MM'-'dd'T'HH':'mm':'ss.SSS");
    // Nine digits of a fraction are read, more are refused (ICU misreads them, and from 35 on divides by 0).
    // ICU stops at milliseconds; the digits after them count too.
    const std::pair<const char*, double> fractions[] = {{"2012-10-10T12:34:56.789000000", 1349872496.789},
                                                         {"2012-10-10T12:34:56.789123", 1349872496.789123},
                                                         {"1969-12-31T23:59:59.750001", -0.249999},
                                                         {"2012-10-10T12:34:56.5", 1349872496.5}};
    for (const auto& [text, seconds] : fractions)
        EXPECT_NEAR(feed->dateFromString(str(text))->timeIntervalSince1970(), seconds, 1e-7) << text;
    for (const char* bad : {"", "2012-13-10T12:34:56.789", "2012-02-30T12:34:56.789", "2012-10-10 12:34:56.789",
                            "2016-01-07T14:31:57.430Z", "2012-10-10T12:34:56.1234567890",
                            "2012-10-10T12:34:56.99999999999999999999999999999999999999"})
        EXPECT_FALSE(feed->dateFromString(str(bad))) << bad;
    EXPECT_FALSE(feed->dateFromString(Ref<zeva::String>()));

    auto zoned = zeva::DateFormatter::formatterWithPattern("yyyy-MM-dd HH:mm zzz");
    const std::pair<const char*, const char*> zones[] = {
        {"utc", "2009-06-01 02:00 UTC"},
        {"EST", "2009-05-31 22:00 EDT"},               // the region's zone, with its summer time
        {"America/Bogota", "2009-05-31 21:00 GMT-5"},  // not in the table: taken as a name
    };
    for (const auto& [zone, text] : zones) {
        ASSERT_TRUE(zoned->setTimeZoneAbbreviation(zone)) << zone;
        EXPECT_EQ(zoned->stringFromDate(Date::dateWithTimeIntervalSince1970(kT020000))->str(), text) << zone;
    }
    EXPECT_FALSE(zoned->setTimeZoneAbbreviation("XYZT"));
    EXPECT_FALSE(zeva::DateFormatter::formatterWithPattern("yyyy", "Mars/Olympus_Mons"));
}

TEST(ZEVATime, SetNsDate) {
    auto t = timeAt(kT140312 + 0.25);
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.2500Z");
    EXPECT_DOUBLE_EQ(t->epochTime(), 1243864992.25);

    auto date = t->nsDate();
    t->set_date_time(nullptr);  // drops the text, keeps the date
    t->setEpochTime(7.0);
    t->setNsDate(date);  // the date already held: nothing at all
    EXPECT_FALSE(t->_date_time());
    EXPECT_DOUBLE_EQ(t->epochTime(), 7.0);

    // A date the formatter cannot write is refused as a whole.
    t = timeAt(kT140312 + 0.25);
    for (double refused : {1e300, HUGE_VAL, std::nan("")}) {
        t->setNsDate(Date::dateWithTimeIntervalSince1970(refused));
        EXPECT_EQ(t->description(), "2009-06-01T14:03:12.2500Z") << refused;
        EXPECT_DOUBLE_EQ(t->epochTime(), kT140312 + 0.25) << refused;
    }

    t = timeAt(kT140312);
    t->setNsDate(nullptr);  // keeps the text
    EXPECT_FALSE(t->nsDate());
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.0000Z");
    EXPECT_EQ(t->epochTime(), 0.0);
}

TEST(ZEVATime, ReDerivingFromTheText) {
    const std::tuple<const char*, std::optional<double>, double> cases[] = {
        {"2009-06-01 14:03:12.2500Z", kT140312, kT140312 + 0.25},
        {"2009-06-01 14:03:12.123Z", kT140312, kT140312 + static_cast<double>(0.123f)},
        // One to four digits are read as their value, more are cut off.
        {"2009-06-01 14:03:12.25", kT140312, kT140312 + 0.25},
        {"2009-06-01 14:03:12.123456", kT140312, kT140312 + static_cast<double>(0.1234f)},
        {"2009-06-01 14:03:12.", kT140312, kT140312},
        {"2009-06-01 14:03:12.12.3456", kT140312, kT140312 + static_cast<double>(0.12f)},  // ends at a second point
        {"2009-06-01 14:03:12", kT140312, kT140312},
        {"2009-06-01 09:03:12 -0500", kT140312, kT140312},
        // With a point, the part before it is read in UTC and nothing may follow the seconds.
        {"2009-06-01 14:03:12 +0100.2500", std::nullopt, 0.25},
        {"2008-02-29 00:00:00.0000Z", 1204243200.0, 1204243200.0},
        {"2008-12-31 23:59:60", 1230768000.0, 1230768000.0},  // a leap second reads as the next second
        {"2009-06-01T14:03:12.2500Z", std::nullopt, 0.25},    // ISO form: no date, the fraction alone
        {"2009-02-29 00:00:00.5000Z", std::nullopt, 0.5},
        {"", std::nullopt, 0.0},
    };
    for (const auto& [text, date, epoch] : cases) {
        auto t = timeWithText(text);
        EXPECT_EQ(t->description(), text);
        ASSERT_EQ(t->nsDate() != nullptr, date.has_value()) << text;
        if (date) {
            EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), *date) << text;
        }
        EXPECT_DOUBLE_EQ(t->epochTime(), epoch) << text;
    }
}

TEST(ZEVATime, SpacedFormAndTextSetters) {
    auto t = ZEVATime::create();
    auto text = zeva::mstr("2009-06-01T14:03:12.2500Z");
    t->setDateTimeString(text);
    text->setString("changed");  // the time holds a snapshot
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.2500Z");
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), kT140312);
    EXPECT_DOUBLE_EQ(t->epochTime(), 1243864992.25);
    t->setDateTimeString(nullptr);  // nothing changes
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.2500Z");
    t->setDateTimeString(str("2009-06-01t14:03:12"));
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12");

    t = timeAt(kT140312 + 0.2567);
    t->cleanDateTimeString();
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.2560Z");
    EXPECT_NEAR(t->epochTime(), kT140312 + 0.256, 1e-6);  // whole milliseconds, then a 0
    auto held = t->_date_time();
    t->setEpochTime(3.0);
    t->set_date_time(held);  // the text already held: no re-derivation
    EXPECT_DOUBLE_EQ(t->epochTime(), 3.0);
    t->set_date_time(nullptr);
    t->cleanDateTimeString();  // no text: nothing to rewrite
    EXPECT_EQ(t->description(), "(null)");
    EXPECT_TRUE(t->nsDate());
}

TEST(ZEVATime, NewTime) {
    double before = Date::date()->timeIntervalSince1970();
    auto t = ZEVATime::create();
    const double now = t->epochTime();
    EXPECT_TRUE(before <= now && now <= Date::date()->timeIntervalSince1970());
    EXPECT_TRUE(std::regex_match(t->description(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \+0000)")));
    t->cleanDateTimeString();  // reads back as the current second in UTC, with fraction 0
    ASSERT_TRUE(t->nsDate());
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), std::floor(now));
    EXPECT_DOUBLE_EQ(t->epochTime(), std::floor(now));
}

TEST(ZEVATime, ConvertYearAndDayOfYear) {
    const std::pair<const char*, const char*> cases[] = {
        {"2004060T000000", "2004-02-29T00:00:00.0000Z"},
        {"2003060T000000", "2003-03-01T00:00:00.0000Z"},
        {"2009152T140312.5Z", "2009-06-01T14:03:12.0000Z"},  // anything after the seconds is ignored
        {"2003366T000000", "2003366T000000"},  // beyond the year: unchanged
        // Day 0 and below give January with that day, a text without a date.
        {"2003000T000000", "2003-01-00T00:00:00.0000Z"},
        {"2003-05T000000", "2003-01--5T00:00:00.0000Z"},
        {"2009152T1403", "2009152T1403"},      // too short: unchanged
    };
    for (const auto& [text, converted] : cases) {
        auto t = timeWithText(text);
        t->convert_YDOY_to_YMDate();
        EXPECT_EQ(t->description(), converted) << text;
    }
}

TEST(ZEVATime, YearMonthDateInTheHostZone) {
    auto t = timeAt(kT020000);
    for (const auto& [zone, date] : {std::pair{"UTC", std::vector<int>{2009, 6, 1}}, {"EST5", {2009, 5, 31}},
                                     {"America/Bogota", {2009, 5, 31}}}) {
        ScopedTZ tz(zone);
        EXPECT_EQ(ymd(*t), date) << zone;
    }
    EXPECT_EQ(ymd(*timeWithText("no date")), std::vector<int>({0, 0, 0}));
}

TEST(ZEVATime, CompareWithMissingDatesFirst) {
    auto early = timeAt(kT140312), late = timeAt(kT140312 + 0.25), same = timeAt(kT140312);
    auto missing = timeWithText("no date"), alsoMissing = timeWithText("none");
    const std::tuple<Ref<ZEVATime>, Ref<ZEVATime>, int> cases[] = {
        {early, late, -1},    {late, early, 1},    {early, same, 0},          {early, early, 0},
        {missing, early, -1}, {early, missing, 1}, {missing, alsoMissing, 0}, {early, nullptr, 1},
    };
    for (const auto& [a, b, expected] : cases)
        EXPECT_EQ(a->compare(b), expected) << a->description() << " vs " << (b ? b->description() : "null");
}

TEST(ZEVATime, RestoreAppliesTextThenDateThenSeconds) {
    auto t = timeAt(kT140312);
    t->setEpochTime(42.5);
    t->set_leap_seconds_version(3);
    auto r = roundTrip<ZEVATime>(t);
    ASSERT_TRUE(r && r->nsDate());
    EXPECT_EQ(r->description(), "2009-06-01T14:03:12.0000Z");
    EXPECT_DOUBLE_EQ(r->nsDate()->timeIntervalSince1970(), kT140312);
    EXPECT_DOUBLE_EQ(r->epochTime(), 42.5);  // the stored seconds win
    EXPECT_EQ(r->_leap_seconds_version(), 3);

    auto fresh = ZEVATime::create();  // its spaced text is rewritten from its date
    auto iso = zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern)->stringFromDate(fresh->nsDate())->str();
    for (const auto& [time, text, hasDate, seconds] :
         {std::tuple{fresh, iso, true, 0.0},
          // No date: the text is re-derived.
          {timeWithText("2009-06-01T14:03:12.2500Z"), std::string("2009-06-01T14:03:12.2500Z"), false, 0.25}}) {
        r = roundTrip<ZEVATime>(time);
        ASSERT_TRUE(r);
        EXPECT_EQ(r->description(), text);
        EXPECT_EQ(r->nsDate() != nullptr, hasDate);
        if (!hasDate) {
            EXPECT_DOUBLE_EQ(r->epochTime(), seconds);
        }
    }

}

TEST(ZevaTimeCommand, PrintsTextSecondsAndLocalDate) {
    const std::tuple<const char*, int, const char*> cases[] = {
        {"2009-06-01T02:00:00.2500Z", 0,
         "UTC:           2009-06-01 02:00:00.2500Z\nepoch seconds: 1243821600.2500\nlocal year:    2009\n"
         "local month:   5\nlocal day:     31\n"},
        {"2003366T000000", 2, ""},
    };
    for (const auto& [text, status, out] : cases) {
        const auto r = zeva::test::runCli(std::string("time '") + text + "' 2>/dev/null", "TZ=EST5 ");
        EXPECT_EQ(std::make_pair(r.status, r.out), std::make_pair(status, std::string(out))) << text;
    }
}
