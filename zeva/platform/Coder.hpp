// A keyed coder: typed values under text keys, one object's keys at a time.
// The archiver writes with the encode calls, the unarchiver reads with the
// decode calls. A key that is missing reads as null, zero or false.
#pragma once

#include <string>
#include <string_view>

#include "zeva/platform/Number.hpp"
#include "zeva/platform/Object.hpp"

namespace zeva {

class Coder {
public:
    virtual ~Coder() = default;

    virtual void encodeFloat_forKey(float value, std::string_view key) = 0;
    virtual void encodeDouble_forKey(double value, std::string_view key) = 0;
    virtual void encodeBool_forKey(bool value, std::string_view key) = 0;
    virtual void encodeInt_forKey(int32_t value, std::string_view key) = 0;
    virtual void encodeObject_forKey(const ObjectRef& value, std::string_view key) = 0;

    virtual float decodeFloatForKey(std::string_view key) = 0;
    virtual double decodeDoubleForKey(std::string_view key) = 0;
    virtual bool decodeBoolForKey(std::string_view key) = 0;
    virtual int32_t decodeIntForKey(std::string_view key) = 0;
    virtual ObjectRef decodeObjectForKey(std::string_view key) = 0;
    virtual bool containsValueForKey(std::string_view key) = 0;

    // Records that the archive does not hold what a class expects; the
    // unarchiver then fails with this message. Decoding goes on with null and
    // zero values, so a class need not check.
    virtual void failWithError(std::string message) = 0;

    // The boxed integer under the key (a number object, as "long" and
    // "short" fields travel), as a signed integer of `bits` bits. A number
    // beyond that (2^40 for 32 bits, 1e300, NaN) fails the decoding with the
    // key named and reads as 0, as a missing key does.
    int64_t decodeBoxedIntegerForKey(std::string_view key, int bits) {
        auto n = decodeObjectOfClass<Number>(key);
        if (!n) return 0;
        if (!n->fitsInBits(bits)) {
            failWithError("the number under key \"" + std::string(key) + "\" (" + n->description() +
                          ") does not fit in " + std::to_string(bits) + " bits");
            return 0;
        }
        return n->longLongValue();
    }

    // The object under the key when it is of class T; a value of another
    // class fails the decoding and reads as null.
    template <class T>
    Ref<T> decodeObjectOfClass(std::string_view key) {
        ObjectRef o = decodeObjectForKey(key);
        if (!o) return nullptr;
        auto typed = std::dynamic_pointer_cast<T>(o);
        if (!typed)
            failWithError("the value under key \"" + std::string(key) + "\" is " + o->className() + ", expected " +
                          T::staticClass().name());
        return typed;
    }
};

}  // namespace zeva
