#include "zeva/platform/Collections.hpp"

#include <algorithm>

#include "zeva/platform/Description.hpp"

namespace zeva {

namespace {
// An element's text, one level further in: every line it breaks onto starts
// four blanks deeper (the description writer adds them as it writes).
std::string indented(const ObjectRef& o) { return o ? detail::placedDescription(o, true) : "(null)"; }
}  // namespace

Array::~Array() { releaseLater(std::move(items_)); }

Dictionary::~Dictionary() {
    std::vector<ObjectRef> values;
    values.reserve(entries_.size());
    for (auto& entry : entries_) values.push_back(std::move(entry.second));
    releaseLater(std::move(values));
}

const Class& Array::staticClass() {
    static const Class cls("NSArray", &Object::staticClass(), [] { return ObjectRef(std::make_shared<Array>()); });
    return cls;
}

const Class& MutableArray::staticClass() {
    static const Class cls("NSMutableArray", &Array::staticClass(),
                           [] { return ObjectRef(std::make_shared<MutableArray>()); });
    return cls;
}

const Class& Dictionary::staticClass() {
    static const Class cls("NSDictionary", &Object::staticClass(),
                           [] { return ObjectRef(std::make_shared<Dictionary>()); });
    return cls;
}

const Class& MutableDictionary::staticClass() {
    static const Class cls("NSMutableDictionary", &Dictionary::staticClass(),
                           [] { return ObjectRef(std::make_shared<MutableDictionary>()); });
    return cls;
}

std::string Array::description() const {
    if (!detail::writingDescription()) return detail::describeOrCut(*this);
    if (items_.empty()) return "(\n)";
    std::string out = "(\n";
    for (size_t i = 0; i < items_.size(); ++i) {
        out += "    " + indented(items_[i]);
        out += i + 1 < items_.size() ? ",\n" : "\n";
    }
    return out + ")";
}

void MutableArray::insertObject_atIndex(ObjectRef object, size_t index) {
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(std::min(index, items_.size())), std::move(object));
}

void MutableArray::removeObjectAtIndex(size_t index) {
    if (index < items_.size()) items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
}

void MutableArray::sortUsingComparator(const std::function<int(const ObjectRef&, const ObjectRef&)>& compare) {
    std::stable_sort(items_.begin(), items_.end(),
                     [&](const ObjectRef& a, const ObjectRef& b) { return compare(a, b) < 0; });
}

ObjectRef Dictionary::objectForKey(std::string_view key) const {
    auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : it->second;
}

std::string Dictionary::description() const {
    if (!detail::writingDescription()) return detail::describeOrCut(*this);
    std::string out = "{\n";
    for (const auto& [key, value] : entries_) out += "    " + key + " = " + indented(value) + ";\n";
    return out + "}";
}

void MutableDictionary::setObject_forKey(ObjectRef object, std::string_view key) {
    if (!object) {
        removeObjectForKey(key);
        return;
    }
    entries_.insert_or_assign(std::string(key), std::move(object));
}

void MutableDictionary::removeObjectForKey(std::string_view key) {
    auto it = entries_.find(key);
    if (it != entries_.end()) entries_.erase(it);
}

}  // namespace zeva
