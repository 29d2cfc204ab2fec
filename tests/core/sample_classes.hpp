// Model classes used only by the tests: one field of every coder kind, and a
// subclass, so the generic archiving walk is exercised across two levels.
#pragma once

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Foundation.hpp"

// A stored member `name_` with its getter `_name()` and setter `set_name(v)`.
#define TEST_FIELD(Type, name)                          \
public:                                                 \
    Type _##name() const { return name##_; }            \
    void set_##name(Type v) { name##_ = std::move(v); } \
                                                        \
private:                                                \
    Type name##_{};

class TestThing : public KWOObject {
    ZEVA_OBJECT(TestThing, KWOObject)
public:
    void init() override {
        super::init();
        weight_ = 1.5f;
        label_ = zeva::str("new");
    }
    zeva::Ref<zeva::String> _label() const { return label_; }
    void set_label(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(label_, v); }

private:
    zeva::Ref<zeva::String> label_;
    TEST_FIELD(float, weight)
    TEST_FIELD(double, ratio)
    TEST_FIELD(bool, flag)
    TEST_FIELD(int32_t, count)
    TEST_FIELD(int16_t, small)
    TEST_FIELD(int32_t, coded)
    TEST_FIELD(zeva::Ref<zeva::String>, shared_label)
    TEST_FIELD(zeva::Ref<KWOObject>, other)
    TEST_FIELD(zeva::Ref<zeva::MutableArray>, items)
};

class TestChild : public TestThing {
    ZEVA_OBJECT(TestChild, TestThing)
public:
    std::string description() const override { return zeva::format("TestChild %@ / %@", _label(), _other()); }
    TEST_FIELD(zeva::Ref<zeva::Date>, when)
    TEST_FIELD(zeva::Ref<zeva::Dictionary>, extras)
    TEST_FIELD(zeva::Ref<zeva::Data>, blob)
};
