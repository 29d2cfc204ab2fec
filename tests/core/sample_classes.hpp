// Model classes used only by the tests: one field of every coder kind, and a
// subclass, so the generic archiving walk is exercised across two levels.
#pragma once

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Foundation.hpp"

class TestThing : public KWOObject {
    ZEVA_OBJECT(TestThing, KWOObject)
public:
    void init() override {
        super::init();
        weight_ = 1.5f;
        label_ = zeva::str("new");
    }
    float _weight() const { return weight_; }
    void set_weight(float v) { weight_ = v; }
    double _ratio() const { return ratio_; }
    void set_ratio(double v) { ratio_ = v; }
    bool _flag() const { return flag_; }
    void set_flag(bool v) { flag_ = v; }
    int32_t _count() const { return count_; }
    void set_count(int32_t v) { count_ = v; }
    int16_t _small() const { return small_; }
    void set_small(int16_t v) { small_ = v; }
    int32_t _coded() const { return coded_; }
    void set_coded(int32_t v) { coded_ = v; }
    zeva::Ref<zeva::String> _label() const { return label_; }
    void set_label(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(label_, v); }
    zeva::Ref<zeva::String> _shared_label() const { return shared_label_; }
    void set_shared_label(const zeva::Ref<zeva::String>& v) { shared_label_ = v; }
    zeva::Ref<KWOObject> _other() const { return other_; }
    void set_other(const zeva::Ref<KWOObject>& v) { other_ = v; }
    zeva::Ref<zeva::MutableArray> _items() const { return items_; }
    void set_items(const zeva::Ref<zeva::MutableArray>& v) { items_ = v; }

private:
    float weight_ = 0;
    double ratio_ = 0;
    bool flag_ = false;
    int32_t count_ = 0;
    int16_t small_ = 0;
    int32_t coded_ = 0;
    zeva::Ref<zeva::String> label_;
    zeva::Ref<zeva::String> shared_label_;
    zeva::Ref<KWOObject> other_;
    zeva::Ref<zeva::MutableArray> items_;
};

class TestChild : public TestThing {
    ZEVA_OBJECT(TestChild, TestThing)
public:
    zeva::Ref<zeva::Date> _when() const { return when_; }
    void set_when(const zeva::Ref<zeva::Date>& v) { when_ = v; }
    zeva::Ref<zeva::Dictionary> _extras() const { return extras_; }
    void set_extras(const zeva::Ref<zeva::Dictionary>& v) { extras_ = v; }
    zeva::Ref<zeva::Data> _blob() const { return blob_; }
    void set_blob(const zeva::Ref<zeva::Data>& v) { blob_ = v; }
    std::string description() const override { return zeva::format("TestChild %@ / %@", _label(), _other()); }

private:
    zeva::Ref<zeva::Date> when_;
    zeva::Ref<zeva::Dictionary> extras_;
    zeva::Ref<zeva::Data> blob_;
};
