#include "zeva/platform/Scanner.hpp"

#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "zeva/platform/Format.hpp"

namespace zeva {

namespace {

constexpr std::string_view kSkipSet = " \t\n\v\f\r";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

const Class& Scanner::staticClass() {
    static const Class cls("NSScanner", &Object::staticClass(), nullptr);
    return cls;
}

void Scanner::setScanLocation(size_t location) {
    if (location > text_->length())
        throw std::out_of_range(format("scan location %d is past the end of a text of %d characters",
                                       static_cast<long long>(location), static_cast<long long>(text_->length())));
    location_ = location;
}

size_t Scanner::skipped() const {
    const std::string& s = text_->str();
    size_t i = location_;
    while (i < s.size() && kSkipSet.find(s[i]) != std::string_view::npos) ++i;
    return i;
}

bool Scanner::isAtEnd() const { return skipped() >= text_->length(); }

bool Scanner::scanUpToCharactersFromSet_intoString(std::string_view set, Ref<String>* into) {
    const std::string& s = text_->str();
    size_t start = skipped();
    size_t end = start;
    while (end < s.size() && set.find(s[end]) == std::string_view::npos) ++end;
    if (end == start) return false;
    if (into) *into = std::make_shared<String>(s.substr(start, end - start));
    location_ = end;
    return true;
}

bool Scanner::scanUpToString_intoString(std::string_view stop, Ref<String>* into) {
    const std::string& s = text_->str();
    size_t start = skipped();
    size_t end = stop.empty() ? std::string::npos : s.find(stop, start);
    if (end == std::string::npos) end = s.size();
    if (end == start) return false;
    if (into) *into = std::make_shared<String>(s.substr(start, end - start));
    location_ = end;
    return true;
}

bool Scanner::scanDouble(double* value) {
    const std::string& s = text_->str();
    size_t i = skipped();
    bool negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
    size_t numberStart = i;
    size_t digits = 0;
    while (i < s.size() && isDigit(s[i])) ++i, ++digits;
    if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && isDigit(s[i])) ++i, ++digits;
    }
    if (digits == 0) return false;
    // An exponent counts only when digits follow it.
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        size_t j = i + 1;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) ++j;
        if (j < s.size() && isDigit(s[j])) {
            while (j < s.size() && isDigit(s[j])) ++j;
            i = j;
        }
    }
    double v = 0.0;
    auto [ptr, ec] = std::from_chars(s.data() + numberStart, s.data() + i, v, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
        // from_chars leaves v alone here: tell overflow from underflow by the exponent.
        size_t e = s.find_first_of("eE", numberStart);
        bool tiny = e < i && s[e + 1] == '-';
        v = tiny ? 0.0 : std::numeric_limits<double>::infinity();
    } else if (ec != std::errc() || ptr != s.data() + i) {
        return false;
    }
    if (value) *value = negative ? -v : v;
    location_ = i;
    return true;
}

bool Scanner::scanFloat(float* value) {
    double v = 0.0;
    if (!scanDouble(&v)) return false;
    float f;
    if (std::isfinite(v) && std::fabs(v) > static_cast<double>(std::numeric_limits<float>::max()))
        f = v < 0 ? -std::numeric_limits<float>::infinity() : std::numeric_limits<float>::infinity();
    else
        f = static_cast<float>(v);
    if (value) *value = f;
    return true;
}

std::string Scanner::description() const {
    return format("<Scanner: location %d of %d>", static_cast<long long>(location_),
                  static_cast<long long>(text_->length()));
}

}  // namespace zeva
