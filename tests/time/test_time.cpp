// ZEVATime and the platform services under it: the ICU date formatter and
// the host-zone calendar; and `zeva time`.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "zeva/platform/DateFormatter.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/time/ZEVATime.hpp"

using zeva::Date;
using zeva::Ref;
using zeva::str;

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

// Exit status and standard output of a shell command.
std::pair<int, std::string> run(const std::string& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return {-1, out};
    char buffer[512];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

Ref<ZEVATime> roundTrip(const Ref<ZEVATime>& t) {
    std::string error;
    auto data = zeva::archivedDataWithRootObject(t, &error);
    EXPECT_TRUE(data) << error;
    if (!data) return nullptr;
    auto restored = zeva::unarchiveObjectWithData(data->data(), data->size(), &error);
    EXPECT_TRUE(restored) << error;
    return std::dynamic_pointer_cast<ZEVATime>(restored);
}

}  // namespace

TEST(DateFormatter, WritesAndReadsTheISOPattern) {
    auto f = zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern);
    ASSERT_TRUE(f);
    const std::pair<double, const char*> cases[] = {
        {kT140312 + 0.25, "2009-06-01T14:03:12.2500Z"},
        {kT140312 + 0.2567, "2009-06-01T14:03:12.2560Z"},  // whole milliseconds, then a 0
        {-0.25, "1969-12-31T23:59:59.7500Z"},
        {-14831769600.0, "1500-01-01T00:00:00.0000Z"},  // Gregorian rules before 1582 too
    };
    for (const auto& [seconds, text] : cases) {
        auto written = f->stringFromDate(Date::dateWithTimeIntervalSince1970(seconds));
        ASSERT_TRUE(written) << text;
        EXPECT_EQ(written->str(), text);
        auto back = f->dateFromString(written);
        ASSERT_TRUE(back) << text;
        EXPECT_NEAR(back->timeIntervalSince1970(), std::floor(seconds * 1000.0) / 1000.0, 1e-6) << text;
    }
    for (double bad : {double(NAN), double(INFINITY), 1e300})
        EXPECT_FALSE(f->stringFromDate(Date::dateWithTimeIntervalSince1970(bad))) << bad;
    EXPECT_FALSE(f->stringFromDate(Ref<Date>()));
}

TEST(DateFormatter, ReadsTheSummaryFeedTimes) {
    auto f = zeva::DateFormatter::formatterWithPattern("yyyy'-'MM'-'dd'T'HH':'mm':'ss.SSS", "UTC", "en_US_POSIX");
    auto d = f->dateFromString(str("2012-10-10T12:34:56.789"));
    ASSERT_TRUE(d);
    EXPECT_NEAR(d->timeIntervalSince1970(), 1349872496.789, 1e-6);

    // The whole text must match; its start may be read on its own.
    const std::string current = "2016-01-07T14:31:57.430Z";
    EXPECT_FALSE(f->dateFromString(current));
    size_t consumed = 0;
    d = f->dateFromPrefixOfString(current, &consumed);
    ASSERT_TRUE(d);
    EXPECT_EQ(consumed, current.size() - 1);
    EXPECT_NEAR(d->timeIntervalSince1970(), 1452177117.430, 1e-6);

    for (const char* bad : {"", "not a date", "2012-13-10T12:34:56.789", "2012-02-30T12:34:56.789",
                            "2012-10-10 12:34:56.789", "x2012-10-10T12:34:56.789"})
        EXPECT_FALSE(f->dateFromString(str(bad))) << bad;
    EXPECT_FALSE(f->dateFromString(Ref<zeva::String>()));
}

TEST(DateFormatter, TimeZones) {
    auto f = zeva::DateFormatter::formatterWithPattern("yyyy-MM-dd HH:mm zzz");
    auto at = Date::dateWithTimeIntervalSince1970(kT020000);
    const std::pair<const char*, const char*> abbreviations[] = {
        {"utc", "2009-06-01 02:00 UTC"},
        {"EST", "2009-05-31 22:00 EDT"},  // the region's zone, with its summer time
        {"America/Bogota", "2009-05-31 21:00 GMT-5"},  // not in the table: taken as a name
    };
    for (const auto& [zone, text] : abbreviations) {
        ASSERT_TRUE(f->setTimeZoneAbbreviation(zone)) << zone;
        EXPECT_EQ(f->stringFromDate(at)->str(), text) << zone;
    }
    ASSERT_TRUE(f->setTimeZoneName("Europe/Paris"));
    EXPECT_FALSE(f->setTimeZoneName("Mars/Olympus_Mons"));
    EXPECT_FALSE(f->setTimeZoneAbbreviation("XYZT"));
    EXPECT_EQ(f->timeZoneName(), "Europe/Paris");
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

    t = timeAt(kT140312);
    t->setNsDate(nullptr);  // keeps the text
    EXPECT_FALSE(t->nsDate());
    EXPECT_EQ(t->description(), "2009-06-01T14:03:12.0000Z");
    EXPECT_EQ(t->epochTime(), 0.0);
}

TEST(ZEVATime, ReDerivingFromTheText) {
    struct Case {
        const char* text;
        std::optional<double> date;
        double epoch;
    } cases[] = {
        {"2009-06-01 14:03:12.2500Z", kT140312, kT140312 + 0.25},
        {"2009-06-01 14:03:12.123Z", kT140312, kT140312 + static_cast<double>(0.123f)},
        {"2009-06-01 14:03:12.25", kT140312, kT140312},        // under four characters: no fraction
        {"2009-06-01 14:03:12.12.3456", kT140312, kT140312},   // the fraction ends at a second point
        {"2009-06-01 14:03:12", kT140312, kT140312},
        {"2009-06-01 14:03:12Z", kT140312, kT140312},
        {"2009-06-01 09:03:12 -0500", kT140312, kT140312},
        {"2008-02-29 00:00:00.0000Z", 1204243200.0, 1204243200.0},
        {"2008-12-31 23:59:60", 1230768000.0, 1230768000.0},  // a leap second reads as the next second
        {"2009-06-01T14:03:12.2500Z", std::nullopt, 0.25},  // ISO form: no date, the fraction alone
        {"2009-02-29 00:00:00.5000Z", std::nullopt, 0.5},
        {"2009-06-01 24:00:00", std::nullopt, 0.0},
        {"2009-06-01 14:03:12 UTC", std::nullopt, 0.0},
        {"", std::nullopt, 0.0},
    };
    for (const auto& c : cases) {
        auto t = timeWithText(c.text);
        EXPECT_EQ(t->description(), c.text);
        ASSERT_EQ(t->nsDate() != nullptr, c.date.has_value()) << c.text;
        if (c.date) {
            EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), *c.date) << c.text;
        }
        EXPECT_DOUBLE_EQ(t->epochTime(), c.epoch) << c.text;
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
    t->setDateTimeString(nullptr);
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.2500Z");
    t->setDateTimeString(str("2009-06-01t14:03:12"));
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12");

    t = timeAt(kT140312 + 0.2567);
    t->cleanDateTimeString();
    EXPECT_EQ(t->description(), "2009-06-01 14:03:12.2560Z");
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), kT140312);
    EXPECT_NEAR(t->epochTime(), kT140312 + 0.256, 1e-6);

    auto held = t->_date_time();
    t->setEpochTime(3.0);
    t->set_date_time(held);  // the text already held: no re-derivation
    EXPECT_DOUBLE_EQ(t->epochTime(), 3.0);
    t->set_date_time(nullptr);
    t->cleanDateTimeString();  // no text: nothing to rewrite
    EXPECT_EQ(t->description(), "(null)");
    EXPECT_DOUBLE_EQ(t->epochTime(), 3.0);
    EXPECT_TRUE(t->nsDate());
}

TEST(ZEVATime, NewTime) {
    double before = Date::date()->timeIntervalSince1970();
    auto t = ZEVATime::create();
    EXPECT_GE(t->epochTime(), before);
    EXPECT_LE(t->epochTime(), Date::date()->timeIntervalSince1970());
    EXPECT_EQ(t->_leap_seconds_version(), 0);
    EXPECT_TRUE(std::regex_match(t->description(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \+0000)")));
    // Its text reads back as the current second in UTC, with fraction 0.
    double now = t->epochTime();
    t->cleanDateTimeString();
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
        {"2003000T000000", "2003000T000000"},  // day 0: unchanged
        {"2009152T1403", "2009152T1403"},      // too short: unchanged
        {"2009-06-01T14:03:12.0000Z", "2009-06-01T14:03:12.0000Z"},
    };
    for (const auto& [text, converted] : cases) {
        auto t = timeWithText(text);
        t->convert_YDOY_to_YMDate();
        EXPECT_EQ(t->description(), converted) << text;
    }
    auto t = timeWithText("2009152T140312");
    t->convert_YDOY_to_YMDate();
    EXPECT_FALSE(t->nsDate());  // the ISO text gives no date until cleaned
    t->cleanDateTimeString();
    EXPECT_DOUBLE_EQ(t->nsDate()->timeIntervalSince1970(), kT140312);
}

TEST(ZEVATime, YearMonthDateInTheHostZoneAndAfterRestoring) {
    auto t = timeAt(kT020000);
    t->set_leap_seconds_version(3);
    {
        ScopedTZ tz("UTC");
        EXPECT_EQ(std::vector<int>({t->year(), t->month(), t->date()}), std::vector<int>({2009, 6, 1}));
    }
    for (const char* zone : {"EST5", "America/Bogota"}) {
        ScopedTZ tz(zone);
        EXPECT_EQ(std::vector<int>({t->year(), t->month(), t->date()}), std::vector<int>({2009, 5, 31})) << zone;
        auto r = roundTrip(t);
        ASSERT_TRUE(r);
        EXPECT_EQ(std::vector<int>({r->year(), r->month(), r->date()}), std::vector<int>({2009, 5, 31})) << zone;
        EXPECT_EQ(r->description(), t->description());
        EXPECT_EQ(r->_leap_seconds_version(), 3);
        EXPECT_EQ(r->compare(t), 0);
    }
    auto none = timeWithText("no date");
    EXPECT_EQ(std::vector<int>({none->year(), none->month(), none->date()}), std::vector<int>({0, 0, 0}));
}

TEST(ZEVATime, CompareWithMissingDatesFirst) {
    auto early = timeAt(kT140312), late = timeAt(kT140312 + 0.25), same = timeAt(kT140312);
    auto missing = timeWithText("no date"), alsoMissing = timeWithText("none");
    const std::tuple<Ref<ZEVATime>, Ref<ZEVATime>, int> cases[] = {
        {early, late, -1},    {late, early, 1},     {early, same, 0},           {early, early, 0},
        {missing, early, -1}, {early, missing, 1},  {missing, alsoMissing, 0},  {early, nullptr, 1},
    };
    for (const auto& [a, b, expected] : cases)
        EXPECT_EQ(a->compare(b), expected) << a->description() << " vs " << (b ? b->description() : "null");
}

TEST(ZEVATime, RestoreAppliesTextThenDateThenSeconds) {
    auto t = timeAt(kT140312);
    t->setEpochTime(42.5);
    auto r = roundTrip(t);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->description(), "2009-06-01T14:03:12.0000Z");
    EXPECT_DOUBLE_EQ(r->epochTime(), 42.5);  // the stored seconds win

    auto fresh = ZEVATime::create();  // its spaced text is rewritten from its date
    r = roundTrip(fresh);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->description(), zeva::DateFormatter::formatterWithPattern(ZEVATime::kISOPattern)
                                    ->stringFromDate(fresh->nsDate())->str());

    r = roundTrip(timeWithText("2009-06-01T14:03:12.2500Z"));  // no date: the text is re-derived
    ASSERT_TRUE(r);
    EXPECT_EQ(r->description(), "2009-06-01T14:03:12.2500Z");
    EXPECT_FALSE(r->nsDate());
    EXPECT_DOUBLE_EQ(r->epochTime(), 0.25);
}

TEST(ZEVATime, PythonReadsTheSavedFile) {
    const std::string python = ZEVA_PYTHON;
    if (python.empty()) GTEST_SKIP() << "no Python interpreter was found at configuration";
    auto dir = std::filesystem::temp_directory_path() / ("zeva_time_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto t = timeAt(kT140312 + 0.25);
    t->set_leap_seconds_version(2);
    ASSERT_TRUE(t->saveAchivedToPath((dir / "time.plist").string()));
    std::ofstream(dir / "read.py") << R"(import plistlib, sys
archive = plistlib.load(open(sys.argv[1], 'rb'))
objects = archive['$objects']
root = objects[archive['$top']['root'].data]
print(objects[root['$class'].data]['$classname'])
print(','.join(k for k in root if k != '$class'))
print(objects[root['_date_time'].data], objects[root['_leap_seconds_version'].data])
print(objects[root['nsDate'].data]['NS.time'] + 978307200, root['epochTime'])
)";
    auto [status, out] = run(python + " " + (dir / "read.py").string() + " " + (dir / "time.plist").string());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out,
              "ZEVATime\n_date_time,_leap_seconds_version,nsDate,epochTime\n"
              "2009-06-01T14:03:12.2500Z 2\n1243864992.25 1243864992.25\n");
    std::filesystem::remove_all(dir);
}

TEST(ZevaTimeCommand, PrintsTextSecondsAndLocalDate) {
    const std::tuple<const char*, const char*, int, const char*> cases[] = {
        {"UTC", "2009152T140312", 0, "2009-06-01 14:03:12.0000Z\n1243864992.0000\n2009\n6\n1\n"},
        {"EST5", "2009-06-01T02:00:00.2500Z", 0, "2009-06-01 02:00:00.2500Z\n1243821600.2500\n2009\n5\n31\n"},
        {"UTC", "2003366T000000", 1, ""},
        {"UTC", "yesterday", 1, ""},
    };
    for (const auto& [zone, text, status, out] : cases) {
        auto result = run(std::string("TZ=") + zone + " '" + ZEVA_CLI_PATH + "' time '" + text + "' 2>/dev/null");
        EXPECT_EQ(result.first, status) << text;
        EXPECT_EQ(result.second, out) << text;
    }
    EXPECT_EQ(run(std::string("'") + ZEVA_CLI_PATH + "' time 2>/dev/null").first, 2);
}
