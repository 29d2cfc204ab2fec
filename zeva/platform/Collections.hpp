// Arrays and dictionaries of objects. Dictionaries have text keys and keep
// them sorted, so their text and archive forms are stable.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "zeva/platform/Object.hpp"

namespace zeva {

// Fills a container after it was made, for readers that must hand out a
// container before its elements exist (a container inside a reference cycle).
struct ContainerFiller;

class Array : public Object {
public:
    Array() = default;
    explicit Array(std::vector<ObjectRef> items) : items_(std::move(items)) {}
    ~Array() override;

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<Array> arrayWithObjects(std::vector<ObjectRef> items) { return std::make_shared<Array>(std::move(items)); }

    size_t count() const { return items_.size(); }
    // Null for an index outside the array.
    ObjectRef objectAtIndex(size_t index) const { return index < items_.size() ? items_[index] : nullptr; }
    template <class T>
    Ref<T> objectAtIndexAs(size_t index) const { return std::dynamic_pointer_cast<T>(objectAtIndex(index)); }
    const std::vector<ObjectRef>& objects() const { return items_; }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }

    // "(\n    a,\n    b\n)", each element by its own description.
    std::string description() const override;

protected:
    friend struct ContainerFiller;
    std::vector<ObjectRef> items_;
};

class MutableArray : public Array {
public:
    using Array::Array;

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<MutableArray> array() { return std::make_shared<MutableArray>(); }

    void addObject(ObjectRef object) { items_.push_back(std::move(object)); }
    void insertObject_atIndex(ObjectRef object, size_t index);
    void removeObjectAtIndex(size_t index);
    void removeAllObjects() { items_.clear(); }
    // Stable sort by a comparison answering -1, 0 or 1.
    void sortUsingComparator(const std::function<int(const ObjectRef&, const ObjectRef&)>& compare);
};

class Dictionary : public Object {
public:
    using Storage = std::map<std::string, ObjectRef, std::less<>>;

    Dictionary() = default;
    explicit Dictionary(Storage entries) : entries_(std::move(entries)) {}
    ~Dictionary() override;

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    size_t count() const { return entries_.size(); }
    ObjectRef objectForKey(std::string_view key) const;
    template <class T>
    Ref<T> objectForKeyAs(std::string_view key) const { return std::dynamic_pointer_cast<T>(objectForKey(key)); }
    const Storage& entries() const { return entries_; }

    // "{\n    key = value;\n}".
    std::string description() const override;

protected:
    friend struct ContainerFiller;
    Storage entries_;
};

class MutableDictionary : public Dictionary {
public:
    using Dictionary::Dictionary;

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<MutableDictionary> dictionary() { return std::make_shared<MutableDictionary>(); }

    // A null object removes the key.
    void setObject_forKey(ObjectRef object, std::string_view key);
    void removeObjectForKey(std::string_view key);
};

}  // namespace zeva
