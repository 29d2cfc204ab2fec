// Boxed numbers. A number remembers which kind it was made as, so that a
// short stays a short on its way through a dictionary or an archive.
#pragma once

#include <cstdint>

#include "zeva/platform/FloatRange.hpp"
#include "zeva/platform/Object.hpp"

namespace zeva {

class Number : public Object {
public:
    enum class Kind { Bool, Short, Int, Long, LongLong, Float, Double };

    Number() = default;
    Number(Kind kind, int64_t value) : kind_(kind), integer_(value), real_(static_cast<double>(value)) {}
    Number(Kind kind, double value) : kind_(kind), integer_(toInteger(value)), real_(value) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    // Integers from -1 to 255 are shared instances, made once per kind (a
    // number never changes): an origin list holds thousands of zeros.
    static Ref<Number> numberWithBool(bool v) { return integer(Kind::Bool, int64_t{v}); }
    static Ref<Number> numberWithShort(int16_t v) { return integer(Kind::Short, v); }
    static Ref<Number> numberWithInt(int32_t v) { return integer(Kind::Int, v); }
    // "long" in this model is 32 bits wide, as in the data formats it reads.
    static Ref<Number> numberWithLong(int32_t v) { return integer(Kind::Long, v); }
    static Ref<Number> numberWithLongLong(int64_t v) { return integer(Kind::LongLong, v); }
    static Ref<Number> numberWithFloat(float v) { return std::make_shared<Number>(Kind::Float, double{v}); }
    static Ref<Number> numberWithDouble(double v) { return std::make_shared<Number>(Kind::Double, v); }

    Kind kind() const { return kind_; }
    bool isReal() const { return kind_ == Kind::Float || kind_ == Kind::Double; }

    bool boolValue() const { return isReal() ? real_ != 0.0 : integer_ != 0; }
    int16_t shortValue() const { return static_cast<int16_t>(static_cast<uint64_t>(integer_)); }
    int32_t intValue() const { return static_cast<int32_t>(static_cast<uint64_t>(integer_)); }
    int32_t longValue() const { return intValue(); }
    int64_t longLongValue() const { return integer_; }
    float floatValue() const { return floatFromDouble(real_); }
    double doubleValue() const { return real_; }

    // Whether the value, its whole part for a real, fits in a signed integer
    // of `bits` bits (1 to 64): false for a real that is not a number or
    // beyond that range, where the integer getters above would wrap.
    bool fitsInBits(int bits) const;

    bool isEqualToNumber(const Number& other) const;
    std::string description() const override;

private:
    static Ref<Number> integer(Kind kind, int64_t value);
    // Truncates toward zero like a C conversion, without its undefined cases.
    static int64_t toInteger(double v);

    Kind kind_ = Kind::Long;
    int64_t integer_ = 0;
    double real_ = 0.0;
};

}  // namespace zeva
