// Checks of a model object's declared fields: how its setters hold what they
// are given, and filling every field for a round trip.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/Number.hpp"

namespace zeva::test {

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

// Sets every field the object's classes declare to a value that differs from
// field to field: numbers and texts from a running count, objects to a copy
// of the first of `samples` that fits, filled the same way (two levels deep).
inline void fillFields(KWOObject& object, const std::vector<ObjectRef>& samples, int depth = 2, int* count = nullptr) {
    int own = 0;
    int& n = count ? *count : own;
    for (const Class* c = &object.objectClass(); c; c = c->superclass()) {
        for (const auto& p : c->properties()) {
            if (p.kind != CoderKind::Object) {
                p.set(object, Number::numberWithDouble(++n + 0.25));
                continue;
            }
            if (p.set(object, str("text " + std::to_string(++n)))) continue;
            for (const auto& sample : samples) {
                if (!p.set(object, sample)) continue;
                auto bytes = archivedDataWithRootObject(sample);
                auto copy = unarchiveObjectWithData(bytes->data(), bytes->size());
                if (auto model = std::dynamic_pointer_cast<KWOObject>(copy); model && depth > 0)
                    fillFields(*model, samples, depth - 1, &n);
                p.set(object, copy);
                break;
            }
        }
    }
}

// The setters hold as `copied` says (see expectOwnership); then, every field
// filled, the restored object saves to the very same bytes.
inline void expectHeldAndRestored(const Ref<KWOObject>& object, const std::set<std::string>& copied,
                                  const std::vector<ObjectRef>& samples) {
    expectOwnership(object, copied, samples);
    fillFields(*object, samples);
    auto bytes = archivedDataWithRootObject(object);
    ASSERT_TRUE(bytes) << object->className();
    auto back = unarchiveObjectWithData(bytes->data(), bytes->size());
    ASSERT_TRUE(back) << object->className();
    EXPECT_EQ(archivedDataWithRootObject(back), bytes) << object->className();
}

}  // namespace zeva::test
