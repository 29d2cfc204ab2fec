#include "zeva/platform/Number.hpp"

#include <array>
#include <cmath>

#include <fmt/format.h>

namespace zeva {

const Class& Number::staticClass() {
    static const Class cls("NSNumber", &Object::staticClass(), [] { return ObjectRef(std::make_shared<Number>()); });
    return cls;
}

Ref<Number> Number::integer(Kind kind, int64_t value) {
    constexpr int64_t kLowest = -1, kHighest = 255;
    constexpr size_t kKinds = static_cast<size_t>(Kind::LongLong) + 1;
    if (value < kLowest || value > kHighest) return std::make_shared<Number>(kind, value);
    static const auto shared = [] {
        std::array<std::array<Ref<Number>, kHighest - kLowest + 1>, kKinds> table;
        for (size_t k = 0; k < kKinds; ++k)
            for (int64_t v = kLowest; v <= kHighest; ++v)
                table[k][static_cast<size_t>(v - kLowest)] = std::make_shared<Number>(static_cast<Kind>(k), v);
        return table;
    }();
    return shared[static_cast<size_t>(kind)][static_cast<size_t>(value - kLowest)];
}

int64_t Number::toInteger(double v) {
    if (std::isnan(v)) return 0;
    if (v >= 9223372036854775807.0) return INT64_MAX;
    if (v <= -9223372036854775808.0) return INT64_MIN;
    return static_cast<int64_t>(v);
}

bool Number::fitsInBits(int bits) const {
    if (bits >= 64) return !isReal() || (std::isfinite(real_) && std::trunc(real_) >= -9223372036854775808.0 &&
                                         std::trunc(real_) < 9223372036854775808.0);
    const int64_t high = (int64_t{1} << (bits - 1)) - 1, low = -high - 1;
    if (!isReal()) return integer_ >= low && integer_ <= high;
    const double whole = std::trunc(real_);
    return std::isfinite(real_) && whole >= static_cast<double>(low) && whole <= static_cast<double>(high);
}

bool Number::isEqualToNumber(const Number& other) const {
    if (isReal() || other.isReal()) return real_ == other.real_;
    return integer_ == other.integer_;
}

std::string Number::description() const {
    switch (kind_) {
        case Kind::Float: return fmt::format("{}", static_cast<float>(real_));
        case Kind::Double: return fmt::format("{}", real_);
        default: return fmt::format("{}", integer_);
    }
}

}  // namespace zeva
