#include "zeva/platform/DateFormatter.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <utility>

#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "zeva/platform/Format.hpp"

namespace zeva {

namespace {

// Beyond this many seconds from 1970 (about 317,000 years) ICU's calendar
// arithmetic loses its footing; such dates are refused instead of written as
// garbage.
constexpr double kLargestSeconds = 1e13;

// ICU (72) reads the digits of a fractional second into a 32-bit number and
// scales it by a power of ten also computed in 32 bits: past nine digits the
// value is wrong, and from about 35 digits on it divides by zero and the
// process dies. No date text has a longer run of digits than nine, so such a
// text is refused before ICU reads it.
constexpr size_t kLongestDigitRun = 9;

bool hasLongDigitRun(std::string_view text) {
    size_t run = 0;
    for (char c : text) {
        run = c >= '0' && c <= '9' ? run + 1 : 0;
        if (run > kLongestDigitRun) return true;
    }
    return false;
}

// Whether the pattern has a fraction-of-second field (an S outside quotes).
bool hasFractionField(std::string_view pattern) {
    bool quoted = false;
    for (char c : pattern) {
        if (c == '\'') quoted = !quoted;
        else if (c == 'S' && !quoted) return true;
    }
    return false;
}

// ICU reads a fraction of a second to the millisecond and drops the digits
// after the third. Those digits, in milliseconds, from the last point (or
// comma) followed by digits in the text read: 0.123 for "56.789123".
double digitsBeyondMilliseconds(std::string_view text) {
    for (size_t at = text.size(); at-- > 0;) {
        if (text[at] != '.' && text[at] != ',') continue;
        size_t end = at + 1;
        while (end < text.size() && text[end] >= '0' && text[end] <= '9') end++;
        if (end == at + 1) continue;
        double value = 0, scale = 1;
        for (size_t i = at + 4; i < end; i++) value = value * 10 + (text[i] - '0'), scale *= 10;
        return value / scale;
    }
    return 0;
}

icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string utf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

// ICU answers a name it does not know with its "Etc/Unknown" zone rather
// than an error.
bool isUnknown(const icu::TimeZone& zone) {
    icu::UnicodeString id;
    return zone.getID(id) == icu::UnicodeString(u"Etc/Unknown");
}

// A zone ICU knows by this identifier, or null.
std::unique_ptr<icu::TimeZone> knownZone(std::string_view name) {
    if (name.empty()) return nullptr;
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(unicode(name)));
    if (!zone || isUnknown(*zone)) return nullptr;
    return zone;
}

// Common abbreviations and the region each usually stands for.
struct Abbreviation {
    const char* abbreviation;
    const char* zone;
};
constexpr Abbreviation kAbbreviations[] = {
    {"UTC", "UTC"},
    {"UT", "UTC"},
    {"Z", "UTC"},
    {"GMT", "GMT"},
    {"EST", "America/New_York"},
    {"EDT", "America/New_York"},
    {"CST", "America/Chicago"},
    {"CDT", "America/Chicago"},
    {"MST", "America/Denver"},
    {"MDT", "America/Denver"},
    {"PST", "America/Los_Angeles"},
    {"PDT", "America/Los_Angeles"},
    {"AKST", "America/Anchorage"},
    {"AKDT", "America/Anchorage"},
    {"HST", "Pacific/Honolulu"},
    {"AST", "America/Halifax"},
    {"ADT", "America/Halifax"},
    {"NST", "America/St_Johns"},
    {"NDT", "America/St_Johns"},
    {"BST", "Europe/London"},
    {"WET", "Europe/Lisbon"},
    {"WEST", "Europe/Lisbon"},
    {"CET", "Europe/Paris"},
    {"CEST", "Europe/Paris"},
    {"EET", "Europe/Athens"},
    {"EEST", "Europe/Athens"},
    {"MSK", "Europe/Moscow"},
    {"IST", "Asia/Kolkata"},
    {"PKT", "Asia/Karachi"},
    {"WIB", "Asia/Jakarta"},
    {"SGT", "Asia/Singapore"},
    {"HKT", "Asia/Hong_Kong"},
    {"PHT", "Asia/Manila"},
    {"KST", "Asia/Seoul"},
    {"JST", "Asia/Tokyo"},
    {"AWST", "Australia/Perth"},
    {"ACST", "Australia/Adelaide"},
    {"ACDT", "Australia/Adelaide"},
    {"AEST", "Australia/Sydney"},
    {"AEDT", "Australia/Sydney"},
    {"NZST", "Pacific/Auckland"},
    {"NZDT", "Pacific/Auckland"},
    {"WAT", "Africa/Lagos"},
    {"CAT", "Africa/Maputo"},
    {"EAT", "Africa/Nairobi"},
    {"SAST", "Africa/Johannesburg"},
    {"ART", "America/Argentina/Buenos_Aires"},
    {"BRT", "America/Sao_Paulo"},
    {"CLT", "America/Santiago"},
    {"PET", "America/Lima"},
    {"COT", "America/Bogota"},
};

}  // namespace

struct DateFormatter::Impl {
    std::unique_ptr<icu::TimeZone> zone;
    std::unique_ptr<icu::SimpleDateFormat> formatter;  // null until needed after a change
    bool unusable = false;                             // the pattern or locale was refused

    void invalidate() {
        formatter.reset();
        unusable = false;
    }

    // The ICU formatter for the current settings, or null when ICU refuses them.
    icu::SimpleDateFormat* get(const std::string& localeId, const std::string& pattern, bool lenient) {
        if (formatter) return formatter.get();
        if (unusable) return nullptr;
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale locale = localeId.empty() ? icu::Locale::getDefault() : icu::Locale(localeId.c_str());
        auto made = std::make_unique<icu::SimpleDateFormat>(unicode(pattern), locale, status);
        auto calendar = std::make_unique<icu::GregorianCalendar>(*zone, locale, status);
        // Pure Gregorian rules for every date, so texts before 1582 read back
        // as the dates they were written from.
        if (U_SUCCESS(status)) calendar->setGregorianChange(U_DATE_MIN, status);
        if (U_FAILURE(status)) {
            unusable = true;
            return nullptr;
        }
        calendar->setLenient(lenient);
        made->adoptCalendar(calendar.release());
        made->setLenient(lenient);
        formatter = std::move(made);
        return formatter.get();
    }
};

const Class& DateFormatter::staticClass() {
    static const Class cls("NSDateFormatter", &Object::staticClass(), nullptr);
    return cls;
}

DateFormatter::DateFormatter() : impl_(std::make_unique<Impl>()) {
    impl_->zone.reset(icu::TimeZone::detectHostTimeZone());
    // An empty TZ means UTC to the C library; ICU makes it an unknown zone.
    if (!impl_->zone || isUnknown(*impl_->zone)) impl_->zone.reset(icu::TimeZone::createTimeZone("UTC"));
}

DateFormatter::~DateFormatter() = default;

Ref<DateFormatter> DateFormatter::formatterWithPattern(std::string_view pattern, std::string_view timeZone,
                                                       std::string_view locale) {
    auto f = std::make_shared<DateFormatter>();
    if (!f->setTimeZoneAbbreviation(timeZone)) return nullptr;
    f->setLocale(locale);
    f->setDateFormat(pattern);
    return f;
}

void DateFormatter::setLocale(std::string_view localeIdentifier) {
    locale_ = localeIdentifier;
    impl_->invalidate();
}

std::string DateFormatter::locale() const {
    return locale_.empty() ? std::string(icu::Locale::getDefault().getName()) : locale_;
}

bool DateFormatter::setTimeZoneName(std::string_view name) {
    auto zone = knownZone(name);
    if (!zone) return false;
    impl_->zone = std::move(zone);
    impl_->invalidate();
    return true;
}

bool DateFormatter::setTimeZoneAbbreviation(std::string_view abbreviation) {
    std::string upper(abbreviation);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (const auto& a : kAbbreviations)
        if (upper == a.abbreviation) return setTimeZoneName(a.zone);
    return setTimeZoneName(abbreviation);
}

std::string DateFormatter::timeZoneName() const {
    icu::UnicodeString id;
    impl_->zone->getID(id);
    return utf8(id);
}

void DateFormatter::setDateFormat(std::string_view pattern) {
    pattern_ = pattern;
    impl_->invalidate();
}

std::string DateFormatter::dateFormat() const { return pattern_; }

void DateFormatter::setLenient(bool lenient) {
    lenient_ = lenient;
    impl_->invalidate();
}

Ref<Date> DateFormatter::dateFromString(const Ref<String>& text) const {
    return text ? dateFromString(std::string_view(text->str())) : nullptr;
}

Ref<Date> DateFormatter::dateFromString(std::string_view text) const {
    size_t consumed = 0;
    Ref<Date> date = dateFromPrefixOfString(text, &consumed);
    return date && consumed == text.size() ? date : nullptr;
}

Ref<Date> DateFormatter::dateFromPrefixOfString(std::string_view text, size_t* consumed) const {
    if (consumed) *consumed = 0;
    icu::SimpleDateFormat* f = impl_->get(locale_, pattern_, lenient_);
    if (!f || pattern_.empty() || hasLongDigitRun(text)) return nullptr;
    icu::UnicodeString u = unicode(text);
    icu::ParsePosition position(0);
    UDate millis = f->parse(u, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() <= 0) return nullptr;
    if (!std::isfinite(millis)) return nullptr;
    // ICU counts UTF-16 units; the caller counts bytes of its UTF-8 text.
    const std::string read = utf8(u.tempSubString(0, position.getIndex()));
    if (consumed) *consumed = read.size();
    // The instant to the microsecond (and beyond) where the text has it:
    // the digits ICU dropped are added to the milliseconds it counted.
    if (hasFractionField(pattern_)) millis += digitsBeyondMilliseconds(read);
    return Date::dateWithTimeIntervalSince1970(millis / 1000.0);
}

std::string DateFormatter::stringFromDate(const Date& date, bool* ok) const {
    if (ok) *ok = false;
    double seconds = date.timeIntervalSince1970();
    if (!std::isfinite(seconds) || std::fabs(seconds) > kLargestSeconds) return {};
    icu::SimpleDateFormat* f = impl_->get(locale_, pattern_, lenient_);
    if (!f) return {};
    icu::UnicodeString out;
    UErrorCode status = U_ZERO_ERROR;
    f->format(seconds * 1000.0, out, nullptr, status);
    if (U_FAILURE(status)) return {};
    if (ok) *ok = true;
    return utf8(out);
}

Ref<String> DateFormatter::stringFromDate(const Ref<Date>& date) const {
    if (!date) return nullptr;
    bool ok = false;
    std::string text = stringFromDate(*date, &ok);
    return ok ? str(text) : nullptr;
}

std::string DateFormatter::description() const {
    return format("<NSDateFormatter: pattern \"%s\", time zone %s, locale %s>", pattern_, timeZoneName(), locale());
}

}  // namespace zeva
