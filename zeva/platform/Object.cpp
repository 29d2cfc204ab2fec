#include "zeva/platform/Object.hpp"

#include <map>
#include <mutex>

#include <fmt/format.h>

namespace zeva {

namespace {
std::map<std::string, const Class*, std::less<>>& registry() {
    static std::map<std::string, const Class*, std::less<>> classes;
    return classes;
}
std::mutex& registryMutex() {
    static std::mutex m;
    return m;
}
}  // namespace

const Class& Object::staticClass() {
    static const Class cls("NSObject", nullptr, nullptr);
    return cls;
}

const Class& Object::objectClass() const { return staticClass(); }

const char* Object::className() const { return objectClass().name(); }

bool Object::isKindOfClass(const Class& cls) const { return objectClass().isSubclassOfClass(cls); }

std::string Object::description() const {
    return fmt::format("<{}: {}>", className(), static_cast<const void*>(this));
}

namespace {
struct ReleaseQueue {
    std::vector<ObjectRef> pending;
    bool draining = false;
};
thread_local ReleaseQueue releaseQueue;

void drainReleases(ReleaseQueue& q) {
    if (q.draining) return;
    q.draining = true;
    while (!q.pending.empty()) {
        ObjectRef last = std::move(q.pending.back());
        q.pending.pop_back();
        last.reset();  // its destructor queues its own members
    }
    q.draining = false;
}
}  // namespace

void releaseLater(ObjectRef member) {
    if (!member) return;
    if (member.use_count() > 1) return;  // not the last reference: nothing is freed
    ReleaseQueue& q = releaseQueue;
    q.pending.push_back(std::move(member));
    drainReleases(q);
}

void releaseLater(std::vector<ObjectRef> members) {
    ReleaseQueue& q = releaseQueue;
    for (ObjectRef& m : members)
        if (m && m.use_count() == 1) q.pending.push_back(std::move(m));
    members.clear();
    drainReleases(q);
}

Class::Class(const char* name, const Class* superclass, Factory factory, std::vector<Property> properties)
    : name_(name), superclass_(superclass), alloc_(factory), properties_(std::move(properties)) {
    std::lock_guard lock(registryMutex());
    registry().emplace(name_, this);
}

const Property* Class::propertyForKey(std::string_view key) const {
    for (const Class* c = this; c; c = c->superclass_)
        for (const auto& p : c->properties_)
            if (p.key == key) return &p;
    return nullptr;
}

bool Class::isSubclassOfClass(const Class& other) const {
    for (const Class* c = this; c; c = c->superclass_)
        if (c == &other) return true;
    return false;
}

std::vector<std::string> Class::classChain() const {
    std::vector<std::string> chain;
    for (const Class* c = this; c; c = c->superclass_) chain.emplace_back(c->name_);
    return chain;
}

const Class* Class::named(std::string_view name) {
    std::lock_guard lock(registryMutex());
    auto it = registry().find(name);
    return it == registry().end() ? nullptr : it->second;
}

}  // namespace zeva
