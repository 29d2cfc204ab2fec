#include "zeva/platform/Text.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <locale.h>

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include "zeva/platform/Collections.hpp"

namespace zeva {

namespace {
bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    });
}

size_t find(std::string_view hay, std::string_view needle, size_t from, bool caseInsensitive) {
    if (!caseInsensitive) return hay.find(needle, from);
    if (needle.size() > hay.size()) return std::string::npos;
    for (size_t i = from; i + needle.size() <= hay.size(); ++i)
        if (equalsIgnoringCase(hay.substr(i, needle.size()), needle)) return i;
    return std::string::npos;
}
}  // namespace

const Class& String::staticClass() {
    static const Class cls("NSString", &Object::staticClass(), [] { return ObjectRef(std::make_shared<String>()); });
    return cls;
}

const Class& MutableString::staticClass() {
    static const Class cls("NSMutableString", &String::staticClass(),
                           [] { return ObjectRef(std::make_shared<MutableString>()); });
    return cls;
}

Ref<String> String::stringWithString(std::string_view text) { return std::make_shared<String>(std::string(text)); }

Ref<MutableString> MutableString::stringWithString(std::string_view text) {
    return std::make_shared<MutableString>(std::string(text));
}

Ref<String> String::copy() const {
    return std::static_pointer_cast<String>(std::const_pointer_cast<Object>(shared_from_this()));
}

Ref<String> MutableString::copy() const { return std::make_shared<String>(text_); }

Ref<MutableString> String::mutableCopy() const { return std::make_shared<MutableString>(text_); }

bool String::hasPrefix(std::string_view prefix) const { return std::string_view(text_).starts_with(prefix); }

int32_t String::intValue() const {
    // Like the platform's intValue: leading blanks, optional sign, digits;
    // values beyond the range of int clamp to its limits.
    errno = 0;
    long long v = std::strtoll(text_.c_str(), nullptr, 10);
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(v);
}

double String::doubleValue() const {
    // Leading blanks, an optional sign, digits with an optional decimal point
    // and an optional exponent; 0 when no number is there. "nan", "inf" and
    // hexadecimal forms are not numbers here, and the decimal point is "."
    // whatever the locale.
    const char* p = text_.c_str();
    while (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r' || *p == '\v' || *p == '\f') ++p;
    const char* start = p;
    if (*p == '+' || *p == '-') ++p;
    const char* digits = p;
    while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
    bool any = p > digits;
    if (*p == '.') {
        ++p;
        const char* fraction = p;
        while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
        any = any || p > fraction;
    }
    if (!any) return 0.0;
    if (*p == 'e' || *p == 'E') {
        const char* e = p + 1;
        if (*e == '+' || *e == '-') ++e;
        if (std::isdigit(static_cast<unsigned char>(*e))) {
            p = e;
            while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
        }
    }
    const char* first = *start == '+' ? start + 1 : start;
    double value = 0.0;
    auto [end, ec] = std::from_chars(first, p, value);
    if (ec == std::errc::result_out_of_range) {
        // from_chars leaves the value alone on overflow and underflow.
        bool negative = *start == '-';
        // strtod in the C locale tells which (the process's locale may read
        // "1.5e-400" as 1 and stop at the point).
        static const locale_t c = newlocale(LC_ALL_MASK, "C", locale_t{});
        bool tiny = ::strtod_l(std::string(first, p).c_str(), nullptr, c) == 0.0;
        return tiny ? (negative ? -0.0 : 0.0) : (negative ? -HUGE_VAL : HUGE_VAL);
    }
    (void)end;
    return value;
}

Ref<String> String::uppercaseString() const {
    // Full Unicode case mapping in the root locale: one character may become
    // several ("ß" becomes "SS"). Bytes that are not UTF-8 read as U+FFFD.
    // ICU counts in int32_t; longer texts are mapped piece by piece, cut at
    // the start of a UTF-8 sequence.
    std::string up;
    std::string_view rest(text_);
    while (!rest.empty()) {
        const size_t most = std::min<size_t>(rest.size(), size_t{1} << 30);
        size_t n = most;
        while (n > 0 && n < rest.size() && (static_cast<unsigned char>(rest[n]) & 0xC0) == 0x80) --n;
        if (n == 0) n = most;
        icu::UnicodeString::fromUTF8(icu::StringPiece(rest.data(), static_cast<int32_t>(n)))
            .toUpper(icu::Locale::getRoot())
            .toUTF8String(up);
        rest.remove_prefix(n);
    }
    return std::make_shared<String>(std::move(up));
}

Ref<String> String::substringFromIndex(size_t from) const {
    return std::make_shared<String>(from < text_.size() ? text_.substr(from) : std::string());
}

Ref<String> String::substringToIndex(size_t to) const {
    return std::make_shared<String>(text_.substr(0, std::min(to, text_.size())));
}

Ref<String> String::substringWithRange(size_t location, size_t length) const {
    if (location >= text_.size()) return std::make_shared<String>();
    return std::make_shared<String>(text_.substr(location, length));
}

size_t String::rangeOfString(std::string_view needle, bool caseInsensitive) const {
    if (needle.empty()) return std::string::npos;
    return find(text_, needle, 0, caseInsensitive);
}

Ref<Array> String::componentsSeparatedByString(std::string_view separator) const {
    auto parts = MutableArray::array();
    if (separator.empty()) {
        parts->addObject(zeva::str(text_));
        return parts;
    }
    size_t start = 0;
    for (;;) {
        size_t at = text_.find(separator, start);
        if (at == std::string::npos) break;
        parts->addObject(zeva::str(std::string_view(text_).substr(start, at - start)));
        start = at + separator.size();
    }
    parts->addObject(zeva::str(std::string_view(text_).substr(start)));
    return parts;
}

Ref<String> String::stringByReplacingOccurrencesOfString_withString(std::string_view target,
                                                                    std::string_view replacement) const {
    auto m = mutableCopy();
    m->replaceOccurrencesOfString_withString(target, replacement);
    return m->copy();
}

size_t MutableString::replaceOccurrencesOfString_withString(std::string_view target, std::string_view replacement,
                                                            bool caseInsensitive) {
    if (target.empty()) return 0;
    std::string out;
    size_t count = 0, start = 0;
    for (;;) {
        size_t at = find(text_, target, start, caseInsensitive);
        if (at == std::string::npos) break;
        out.append(text_, start, at - start);
        out.append(replacement);
        start = at + target.size();
        ++count;
    }
    if (count == 0) return 0;
    out.append(text_, start, std::string::npos);
    text_ = std::move(out);
    return count;
}

void appendUtf8(std::string& out, uint32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

}  // namespace zeva
