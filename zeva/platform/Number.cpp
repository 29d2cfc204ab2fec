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
