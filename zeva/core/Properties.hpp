// Field declarations. A model class lists its archived fields once, in
// declared order, each with its key, getter and setter:
//
//     ZEVA_DEFINE_CLASS(ZEVAOrigin, KWOObject,
//         zeva::prop("_origin_time", &ZEVAOrigin::_origin_time, &ZEVAOrigin::set_origin_time),
//         ...)
//
// The coder kind follows the getter's type: float, double and bool are coded
// inline; int32_t ("long" and "int" fields) and int16_t ("short") as boxed
// numbers; Ref<T> as an object reference of class T. propInt codes an int32_t
// with the coder's own integer call; notArchived keeps a field out of the
// archive while leaving it reachable by key.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "zeva/platform/Coder.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/platform/Object.hpp"

namespace zeva {

namespace detail {
template <class T>
struct is_ref : std::false_type {};
template <class T>
struct is_ref<std::shared_ptr<T>> : std::true_type {};
template <class>
inline constexpr bool unsupported_field_type = false;
}  // namespace detail

template <class C, class G, class S>
Property prop(const char* keyText, G (C::*getter)() const, void (C::*setter)(S)) {
    using V = std::decay_t<G>;
    static_assert(std::is_same_v<std::decay_t<S>, V>, "getter and setter must agree on the field's type");
    std::string key = keyText;
    Property p;
    p.key = key;
    auto self = [](const Object& o) -> const C& { return static_cast<const C&>(o); };
    auto mut = [](Object& o) -> C& { return static_cast<C&>(o); };

    if constexpr (std::is_same_v<V, float> || std::is_same_v<V, double> || std::is_same_v<V, bool> ||
                  std::is_same_v<V, int32_t> || std::is_same_v<V, int16_t>) {
        if constexpr (std::is_same_v<V, float>) {
            p.kind = CoderKind::Float;
            p.encode = [=](const Object& o, Coder& c) { c.encodeFloat_forKey((self(o).*getter)(), key); };
            p.decode = [=](Object& o, Coder& c) { (mut(o).*setter)(c.decodeFloatForKey(key)); };
            p.get = [=](const Object& o) -> ObjectRef { return Number::numberWithFloat((self(o).*getter)()); };
        } else if constexpr (std::is_same_v<V, double>) {
            p.kind = CoderKind::Double;
            p.encode = [=](const Object& o, Coder& c) { c.encodeDouble_forKey((self(o).*getter)(), key); };
            p.decode = [=](Object& o, Coder& c) { (mut(o).*setter)(c.decodeDoubleForKey(key)); };
            p.get = [=](const Object& o) -> ObjectRef { return Number::numberWithDouble((self(o).*getter)()); };
        } else if constexpr (std::is_same_v<V, bool>) {
            p.kind = CoderKind::Bool;
            p.encode = [=](const Object& o, Coder& c) { c.encodeBool_forKey((self(o).*getter)(), key); };
            p.decode = [=](Object& o, Coder& c) { (mut(o).*setter)(c.decodeBoolForKey(key)); };
            p.get = [=](const Object& o) -> ObjectRef { return Number::numberWithBool((self(o).*getter)()); };
        } else if constexpr (std::is_same_v<V, int32_t>) {
            p.kind = CoderKind::Long;
            p.encode = [=](const Object& o, Coder& c) {
                c.encodeObject_forKey(Number::numberWithLong((self(o).*getter)()), key);
            };
            p.decode = [=](Object& o, Coder& c) {
                (mut(o).*setter)(static_cast<int32_t>(c.decodeBoxedIntegerForKey(key, 32)));
            };
            p.get = [=](const Object& o) -> ObjectRef { return Number::numberWithLong((self(o).*getter)()); };
        } else {
            p.kind = CoderKind::Short;
            p.encode = [=](const Object& o, Coder& c) {
                c.encodeObject_forKey(Number::numberWithShort((self(o).*getter)()), key);
            };
            p.decode = [=](Object& o, Coder& c) {
                (mut(o).*setter)(static_cast<int16_t>(c.decodeBoxedIntegerForKey(key, 16)));
            };
            p.get = [=](const Object& o) -> ObjectRef { return Number::numberWithShort((self(o).*getter)()); };
        }
        // By name, a scalar takes a boxed number; null sets zero. An integer
        // field refuses a number beyond its width.
        p.set = [=](Object& o, const ObjectRef& value) {
            auto n = std::dynamic_pointer_cast<Number>(value);
            if (value && !n) return false;
            if constexpr (std::is_same_v<V, int32_t> || std::is_same_v<V, int16_t>)
                if (n && !n->fitsInBits(8 * sizeof(V))) return false;
            V v{};
            if (n) {
                if constexpr (std::is_same_v<V, float>) v = n->floatValue();
                else if constexpr (std::is_same_v<V, double>) v = n->doubleValue();
                else if constexpr (std::is_same_v<V, bool>) v = n->boolValue();
                else if constexpr (std::is_same_v<V, int32_t>) v = n->intValue();
                else v = n->shortValue();
            }
            (mut(o).*setter)(v);
            return true;
        };
    } else if constexpr (detail::is_ref<V>::value) {
        using T = typename V::element_type;
        p.kind = CoderKind::Object;
        p.encode = [=](const Object& o, Coder& c) { c.encodeObject_forKey((self(o).*getter)(), key); };
        p.decode = [=](Object& o, Coder& c) { (mut(o).*setter)(c.decodeObjectOfClass<T>(key)); };
        p.get = [=](const Object& o) -> ObjectRef { return (self(o).*getter)(); };
        p.set = [=](Object& o, const ObjectRef& value) {
            auto typed = std::dynamic_pointer_cast<T>(value);
            if (value && !typed) return false;
            (mut(o).*setter)(typed);
            return true;
        };
    } else {
        static_assert(detail::unsupported_field_type<V>, "field type has no coder");
    }
    return p;
}

// An int32_t field coded with encodeInt/decodeInt instead of a boxed number.
template <class C>
Property propInt(const char* keyText, int32_t (C::*getter)() const, void (C::*setter)(int32_t)) {
    Property p = prop(keyText, getter, setter);
    std::string key = keyText;
    p.kind = CoderKind::Int;
    p.encode = [=](const Object& o, Coder& c) { c.encodeInt_forKey((static_cast<const C&>(o).*getter)(), key); };
    p.decode = [=](Object& o, Coder& c) { (static_cast<C&>(o).*setter)(c.decodeIntForKey(key)); };
    return p;
}

inline Property notArchived(Property p) {
    p.archived = false;
    return p;
}

// Sets the object fields one class declares itself to null through their
// setters, in declared order, and lets go of what they held without
// recursion (zeva::releaseLater). Run by each class's destructor.
void releaseFields(Object& object, const Class& cls);

// The generic archiving walk over the fields one class declares itself.
void encodeProperties(const Object& object, Coder& coder, const Class& cls);
void decodeProperties(Object& object, Coder& coder, const Class& cls);

}  // namespace zeva
