#include "zeva/core/KWOObject.hpp"

#include "zeva/core/ModelClasses.hpp"

#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/Log.hpp"

namespace zeva {

void encodeProperties(const Object& object, Coder& coder, const Class& cls) {
    for (const auto& p : cls.properties())
        if (p.archived) p.encode(object, coder);
}

void decodeProperties(Object& object, Coder& coder, const Class& cls) {
    for (const auto& p : cls.properties())
        if (p.archived) p.decode(object, coder);
}

void releaseFields(Object& object, const Class& cls) {
    for (const auto& p : cls.properties()) {
        if (p.kind != CoderKind::Object) continue;
        ObjectRef held = p.get(object);
        if (!held) continue;
        p.set(object, nullptr);
        releaseLater(std::move(held));
    }
}

}  // namespace zeva

namespace {
// Every program that holds a model object links this file, so the model's
// classes are known by name before any archive is read.
const bool modelClassesRegistered = (zeva::registerModelClasses(), true);
}  // namespace

const zeva::Class& KWOObject::staticClass() {
    static const zeva::Class cls("KWOObject", &zeva::Object::staticClass(),
                                 [] { return zeva::ObjectRef(std::make_shared<KWOObject>()); });
    return cls;
}

void KWOObject::setValue_forKey(const zeva::ObjectRef& value, std::string_view key) {
    const zeva::Property* p = objectClass().propertyForKey(key);
    if (!p) {
        setValue_forUndefinedKey(value, key);
        return;
    }
    p->set(*this, value);
}

zeva::ObjectRef KWOObject::valueForKey(std::string_view key) const {
    const zeva::Property* p = objectClass().propertyForKey(key);
    return p ? p->get(*this) : nullptr;
}

void KWOObject::setValue_forUndefinedKey(const zeva::ObjectRef&, std::string_view key) {
    zeva::logFormat("%@ is trying to set value for undefined key: %@", std::string(className()), std::string(key));
}

void KWOObject::encodeWithCoder(zeva::Coder&) const {}

void KWOObject::initWithCoder(zeva::Coder&) {}

bool KWOObject::saveAchivedToPath(const std::string& path) const {
    auto self = std::const_pointer_cast<zeva::Object>(shared_from_this());
    return zeva::archiveRootObjectToFile(self, path);
}
