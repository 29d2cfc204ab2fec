// Helpers shared by the inventory tests.
#pragma once

#include <gtest/gtest.h>

#include <set>

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/time/ZEVATime.hpp"

namespace zeva::test {

inline ObjectRef num(double v) { return Number::numberWithDouble(v); }
inline ObjectRef txt(const char* s) { return s ? str(s) : nullptr; }

// A new T (no init) with the fields given by key, set through its setters.
template <class T>
Ref<T> with(std::initializer_list<std::pair<const char*, ObjectRef>> fields) {
    auto object = T::alloc();
    for (const auto& [key, value] : fields) object->setValue_forKey(value, key);
    return object;
}

inline Ref<ZEVATime> timeAt(const char* text) { return with<ZEVATime>({{"_date_time", str(text)}}); }

// Sets every object field of the object's class and superclasses by key and
// checks how it is held: the texts named in `copied` as snapshots, all other
// members shared. `samples` must offer an object that fits each non-text field.
inline void expectOwnership(const Ref<KWOObject>& object, const std::set<std::string>& copied,
                            const std::vector<ObjectRef>& samples) {
    size_t copiedTexts = 0;
    for (const Class* c = &object->objectClass(); c; c = c->superclass()) {
        for (const auto& p : c->properties()) {
            if (p.kind != CoderKind::Object) continue;
            std::string where = std::string(object->className()) + "." + p.key;
            auto text = mstr("before");
            if (p.set(*object, text)) {  // a text field: a copy keeps "before"
                text->setString("after");
                copiedTexts += copied.count(p.key);
                EXPECT_EQ(p.get(*object)->description(), copied.count(p.key) ? "before" : "after") << where;
                continue;
            }
            ObjectRef given;
            for (const auto& sample : samples)
                if (!given && p.set(*object, sample)) given = sample;
            EXPECT_TRUE(given) << "no sample fits " << where;
            EXPECT_EQ(p.get(*object), given) << where;
        }
    }
    EXPECT_EQ(copiedTexts, copied.size()) << object->className();
}

// Every field of the two objects, through their classes, prints alike.
inline void expectSameFields(const Ref<KWOObject>& a, const Ref<KWOObject>& b) {
    ASSERT_TRUE(a && b && &a->objectClass() == &b->objectClass());
    for (const Class* c = &a->objectClass(); c; c = c->superclass())
        for (const auto& p : c->properties())
            EXPECT_EQ(format("%@", p.get(*a)), format("%@", p.get(*b))) << a->className() << "." << p.key;
}

}  // namespace zeva::test
