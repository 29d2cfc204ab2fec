#include "zeva/platform/Number.hpp"

#include <cmath>

#include <fmt/format.h>

namespace zeva {

const Class& Number::staticClass() {
    static const Class cls("NSNumber", &Object::staticClass(), [] { return ObjectRef(std::make_shared<Number>()); });
    return cls;
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
