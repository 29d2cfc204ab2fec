// Accessor declarations for model classes. Each macro declares, inside a
// class body, the getter named after the field (`_name()`), the setter
// (`set_name(v)`) and the stored member (`name_`), by the kind of field:
//
//     ZEVA_SCALAR(float, latitude)          plain value
//     ZEVA_SHARED(ZEVATime, begin_time)     model object or collection, held by sharing
//     ZEVA_COPIED_TEXT(station_code)        text, the setter keeps an immutable copy
//     ZEVA_SHARED_TEXT(manufacturer)        text, held by sharing (caller's changes show)
//
// The member is private; the macros leave the class body public after them.
// The archived field list stays in ZEVA_DEFINE_CLASS; ZEVA_PROP(Class, name)
// names one field's key ("_name"), getter and setter there.
#pragma once

#include "zeva/core/Properties.hpp"
#include "zeva/platform/Text.hpp"

#define ZEVA_SCALAR(Type, name)                \
public:                                        \
    Type _##name() const { return name##_; }   \
    void set_##name(Type v) { name##_ = v; }   \
                                               \
private:                                       \
    Type name##_{};                            \
                                               \
public:

#define ZEVA_SHARED(Type, name)                                      \
public:                                                              \
    ::zeva::Ref<Type> _##name() const { return name##_; }            \
    void set_##name(const ::zeva::Ref<Type>& v) { name##_ = v; }     \
                                                                     \
private:                                                             \
    ::zeva::Ref<Type> name##_;                                       \
                                                                     \
public:

#define ZEVA_COPIED_TEXT(name)                                                                      \
public:                                                                                             \
    ::zeva::Ref<::zeva::String> _##name() const { return name##_; }                                 \
    void set_##name(const ::zeva::Ref<::zeva::String>& v) { ::zeva::setCopiedText(name##_, v); }    \
                                                                                                    \
private:                                                                                            \
    ::zeva::Ref<::zeva::String> name##_;                                                            \
                                                                                                    \
public:

#define ZEVA_SHARED_TEXT(name) ZEVA_SHARED(::zeva::String, name)

#define ZEVA_PROP(Class, name) ::zeva::prop("_" #name, &Class::_##name, &Class::set_##name)
