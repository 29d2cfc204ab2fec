#include "zeva/platform/Date.hpp"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cmath>
#include <ctime>

#include <fmt/format.h>

namespace zeva {

const Class& Date::staticClass() {
    static const Class cls("NSDate", &Object::staticClass(), [] { return ObjectRef(std::make_shared<Date>()); });
    return cls;
}

Ref<Date> Date::date() {
    using namespace std::chrono;
    auto us = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    return std::make_shared<Date>(static_cast<double>(us) / 1e6);
}

int Date::compare(const Date& other) const {
    if (seconds_ < other.seconds_) return -1;
    if (seconds_ > other.seconds_) return 1;
    return 0;
}

std::string Date::description() const {
    if (!std::isfinite(seconds_) || std::fabs(seconds_) > 1e15) return fmt::format("{} seconds since 1970", seconds_);
    std::time_t t = static_cast<std::time_t>(std::floor(seconds_));
    std::tm tm{};
    if (!gmtime_r(&t, &tm)) return fmt::format("{} seconds since 1970", seconds_);
    return fmt::format("{:04d}-{:02d}-{:02d} {:02d}:{:02d}:{:02d} +0000", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                       tm.tm_hour, tm.tm_min, tm.tm_sec);
}

std::string Date::isoText(double seconds, int digits) {
    if (!std::isfinite(seconds) || std::fabs(seconds) > 1e15) return fmt::format("{} seconds since 1970", seconds);
    // Whole microseconds first, so that a fraction that rounds up carries
    // into the second.
    const auto micro = static_cast<int64_t>(std::llround(seconds * 1e6));
    int64_t whole = micro / 1000000, fraction = micro % 1000000;
    if (fraction < 0) fraction += 1000000, whole -= 1;
    std::time_t t = static_cast<std::time_t>(whole);
    std::tm tm{};
    if (!gmtime_r(&t, &tm)) return fmt::format("{} seconds since 1970", seconds);
    std::string text = fmt::format("{:04d}-{:02d}-{:02d}T{:02d}:{:02d}:{:02d}", tm.tm_year + 1900, tm.tm_mon + 1,
                                   tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    digits = std::clamp(digits, 0, 6);
    if (digits > 0) text += fmt::format(".{:06d}", fraction).substr(0, static_cast<size_t>(digits) + 1);
    return text + "Z";
}

}  // namespace zeva
