// Checks how a model object holds what its setters are given.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "zeva/core/KWOObject.hpp"

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

}  // namespace zeva::test
