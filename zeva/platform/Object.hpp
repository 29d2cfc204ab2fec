// Root of everything that can stand in an archive, an array or a dictionary.
// Objects live in std::shared_ptr (zeva::Ref); each knows its Class, which
// names it, links to its superclass and lists its archived properties.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zeva {

template <class T>
using Ref = std::shared_ptr<T>;

class Object;
class Class;
class Coder;
using ObjectRef = Ref<Object>;

class Object : public std::enable_shared_from_this<Object> {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    // The class of the object; every subclass overrides it (ZEVA_OBJECT does).
    virtual const Class& objectClass() const;
    static const Class& staticClass();
    const char* className() const;
    bool isKindOfClass(const Class& cls) const;

    // Text form. The default is the class name and the object's identity,
    // "<KWOObject: 0x55d0c0a1b2c0>".
    virtual std::string description() const;
};

// Lets go of references without nesting destructors. An object that holds
// members hands them here from its destructor; the outermost release on the
// thread drops them one after another, so freeing a chain a hundred thousand
// deep never recurses on the machine stack (a member that others still hold
// is simply let go).
void releaseLater(ObjectRef member);
void releaseLater(std::vector<ObjectRef> members);

// Archiving interface of model objects: a class writes its fields to a coder
// and reads them back from one.
class Coding {
public:
    virtual ~Coding() = default;
    virtual void encodeWithCoder(Coder& coder) const = 0;
    virtual void initWithCoder(Coder& coder) = 0;
};

// How a property goes through a keyed coder.
enum class CoderKind {
    Float,   // encodeFloat / decodeFloat
    Double,  // encodeDouble / decodeDouble
    Bool,    // encodeBool / decodeBool
    Long,    // boxed number (numberWithLong / longValue)
    Short,   // boxed number (numberWithShort / shortValue)
    Int,     // the coder's own integer (encodeInt / decodeInt)
    Object,  // encodeObject / decodeObject
};

// One declared field: its archive key, how it is coded, and the accessors
// that archiving and key-value coding go through.
struct Property {
    std::string key;
    CoderKind kind = CoderKind::Object;
    bool archived = true;
    std::function<void(const Object&, Coder&)> encode;   // getter -> coder
    std::function<void(Object&, Coder&)> decode;         // coder -> setter
    std::function<ObjectRef(const Object&)> get;         // getter, boxed
    std::function<bool(Object&, const ObjectRef&)> set;  // setter from a boxed value; false when the value does not fit
};

class Class {
public:
    using Factory = ObjectRef (*)();

    // Registers the class under its name. Classes are created once, as
    // function-local statics of their staticClass().
    Class(const char* name, const Class* superclass, Factory factory, std::vector<Property> properties = {});
    Class(const Class&) = delete;
    Class& operator=(const Class&) = delete;

    const char* name() const { return name_; }
    const Class* superclass() const { return superclass_; }
    // A new, uninitialised instance (all fields zero and null); null for
    // classes that cannot be instantiated this way.
    ObjectRef alloc() const { return alloc_ ? alloc_() : nullptr; }
    // The properties this class declares itself, in declared order.
    const std::vector<Property>& properties() const { return properties_; }
    // A property of this class or of one of its superclasses.
    const Property* propertyForKey(std::string_view key) const;
    bool isSubclassOfClass(const Class& other) const;
    // This class's name followed by its superclasses' names, root last.
    std::vector<std::string> classChain() const;

    // The registered class with that name, or null.
    static const Class* named(std::string_view name);

private:
    const char* name_;
    const Class* superclass_;
    Factory alloc_;
    std::vector<Property> properties_;
};

}  // namespace zeva
