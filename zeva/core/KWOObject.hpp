// KWOObject: root of every model class.
//
// Creation has two steps: a new object starts with every field zero or null,
// and init() sets the class's defaults. create() does both; restoring from an
// archive allocates and runs initWithCoder without init.
//
// A model class declares itself with ZEVA_OBJECT(Name, Super) in its body and
// ZEVA_DEFINE_CLASS(Name, Super, fields...) in its source file. The field list
// drives archiving (superclass first, then the fields in declared order,
// setters applied on reading) and setting or reading fields by key. A class
// whose archive deviates from that walk uses ZEVA_DEFINE_CLASS_CUSTOM_CODING
// and writes its own encodeWithCoder/initWithCoder.
//
// Destruction follows the same list: each class sets its object fields to
// null through their setters, in declared order, before its superclass's
// destructor runs (the members C++ destroys afterwards are then empty), and
// hands what it held to zeva::releaseLater, so a deep graph is freed
// without recursion.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "zeva/core/Properties.hpp"
#include "zeva/platform/Coder.hpp"
#include "zeva/platform/Format.hpp"
#include "zeva/platform/Object.hpp"
#include "zeva/platform/Text.hpp"

class KWOObject : public zeva::Object, public zeva::Coding {
public:
    using super = zeva::Object;

    static const zeva::Class& staticClass();
    const zeva::Class& objectClass() const override { return staticClass(); }

    // alloc then init.
    template <class T>
    static zeva::Ref<T> make() {
        auto object = std::make_shared<T>();
        object->init();
        return object;
    }
    static zeva::Ref<KWOObject> create() { return make<KWOObject>(); }

    // Sets the class's defaults; overrides run their superclass's first.
    virtual void init() {}

    // Key-value coding by archive key. A key that names no field of the class
    // goes to setValue_forUndefinedKey. A value of the wrong type for the field
    // changes nothing (answered false by the field).
    void setValue_forKey(const zeva::ObjectRef& value, std::string_view key);
    // The field's value (scalars boxed), or null for an unknown key.
    zeva::ObjectRef valueForKey(std::string_view key) const;
    // Logs "%@ is trying to set value for undefined key: %@" and ignores the request.
    virtual void setValue_forUndefinedKey(const zeva::ObjectRef& value, std::string_view key);

    void encodeWithCoder(zeva::Coder& coder) const override;
    void initWithCoder(zeva::Coder& coder) override;

    // Saves this object and everything it refers to as a keyed archive,
    // atomically replacing any file at the path. False when it could not be
    // written.
    bool saveAchivedToPath(const std::string& path) const;
};

#define ZEVA_OBJECT(Name, Super)                                                          \
public:                                                                                   \
    using super = Super;                                                                  \
    static const ::zeva::Class& staticClass();                                            \
    const ::zeva::Class& objectClass() const override { return staticClass(); }           \
    void encodeWithCoder(::zeva::Coder& coder) const override;                            \
    void initWithCoder(::zeva::Coder& coder) override;                                    \
    static ::zeva::Ref<Name> create() { return ::KWOObject::make<Name>(); }               \
    static ::zeva::Ref<Name> alloc() { return std::make_shared<Name>(); }                 \
    ~Name() override;

#define ZEVA_DEFINE_CLASS_CUSTOM_CODING(Name, Super, ...)                                         \
    const ::zeva::Class& Name::staticClass() {                                                    \
        static const ::zeva::Class cls(#Name, &Super::staticClass(),                              \
                                       [] { return ::zeva::ObjectRef(std::make_shared<Name>()); }, \
                                       std::vector<::zeva::Property>{__VA_ARGS__});               \
        return cls;                                                                               \
    }                                                                                             \
    Name::~Name() { ::zeva::releaseFields(*this, staticClass()); }

#define ZEVA_DEFINE_CLASS(Name, Super, ...)                               \
    ZEVA_DEFINE_CLASS_CUSTOM_CODING(Name, Super __VA_OPT__(, ) __VA_ARGS__) \
    void Name::encodeWithCoder(::zeva::Coder& coder) const {              \
        Super::encodeWithCoder(coder);                                    \
        ::zeva::encodeProperties(*this, coder, staticClass());            \
    }                                                                     \
    void Name::initWithCoder(::zeva::Coder& coder) {                      \
        Super::initWithCoder(coder);                                      \
        ::zeva::decodeProperties(*this, coder, staticClass());            \
    }
