// Helpers shared by the inventory tests.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVATime.hpp"

namespace zeva::test {

inline Ref<ZEVATime> timeAt(const char* text) {
    auto t = ZEVATime::alloc();
    t->set_date_time(str(text));
    return t;
}

// Sets every object field of the object's class and superclasses by its key
// and checks how the setter holds it: the texts named in `copied` as
// snapshots, every other text and every other object shared. `samples` must
// offer an object that fits each non-text field.
inline void expectOwnership(const Ref<KWOObject>& object, const std::set<std::string>& copied,
                            const std::vector<ObjectRef>& samples) {
    std::set<std::string> texts;
    for (const Class* c = &object->objectClass(); c; c = c->superclass()) {
        for (const auto& p : c->properties()) {
            if (p.kind != CoderKind::Object) continue;
            std::string where = std::string(object->className()) + "." + p.key;
            auto text = mstr("before");
            if (p.set(*object, text)) {
                texts.insert(p.key);
                text->setString("after");
                auto held = std::dynamic_pointer_cast<String>(p.get(*object));
                ASSERT_TRUE(held) << where;
                EXPECT_EQ(held->str(), copied.count(p.key) ? "before" : "after") << where;
            } else {
                bool fitted = false;
                for (const auto& sample : samples) {
                    if (!p.set(*object, sample)) continue;
                    EXPECT_EQ(p.get(*object), sample) << where;
                    fitted = true;
                    break;
                }
                EXPECT_TRUE(fitted) << "no sample fits " << where;
            }
            p.set(*object, nullptr);
            EXPECT_EQ(p.get(*object), nullptr) << where;
        }
    }
    for (const auto& key : copied) EXPECT_TRUE(texts.count(key)) << object->className() << " has no text " << key;
}

}  // namespace zeva::test
