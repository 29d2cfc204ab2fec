#include "zeva/platform/Date.hpp"

#include <chrono>
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

}  // namespace zeva
