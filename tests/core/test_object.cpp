#include <cmath>
#include <functional>
#include <regex>

#include <gtest/gtest.h>

#include "sample_classes.hpp"

using namespace zeva;

TEST(KWOObject, DefaultDescriptionIsClassAndIdentity) {
    auto o = KWOObject::create();
    EXPECT_TRUE(std::regex_match(o->description(), std::regex("<KWOObject: 0x[0-9a-f]+>"))) << o->description();
}

// An immutable text is its own copy, so a copying setter keeps that very
// object; what a getter answered outlives the replacement. (How each model
// class holds what its setters are given is checked in the field tables.)
TEST(KWOObject, CopyingSetterKeepsAnImmutableTextItself) {
    auto t = TestThing::create();
    auto held = t->_label();
    auto fixed = str("fixed");
    t->set_label(fixed);
    EXPECT_EQ(textOf(held), "new");
    EXPECT_EQ(t->_label(), fixed);
    t->set_label(nullptr);
    EXPECT_FALSE(t->_label());
}

TEST(KWOObject, KeyValueCodingByArchiveKey) {
    std::vector<std::string> log;
    auto previous = setLogSink([&](std::string_view m) { log.emplace_back(m); });
    auto t = TestChild::create();
    t->setValue_forKey(Number::numberWithDouble(3.5), "_weight");
    t->setValue_forKey(Number::numberWithLong(-9), "_count");
    t->setValue_forKey(str("by name"), "_label");
    t->setValue_forKey(Date::dateWithTimeIntervalSince1970(5), "_when");
    EXPECT_EQ(t->_weight(), 3.5f);
    EXPECT_EQ(t->_count(), -9);
    EXPECT_EQ(textOf(t->_label()), "by name");
    EXPECT_EQ(t->_when()->timeIntervalSince1970(), 5.0);
    EXPECT_EQ(std::dynamic_pointer_cast<Number>(t->valueForKey("_count"))->longValue(), -9);
    EXPECT_FALSE(t->valueForKey("nothing"));

    // A value of the wrong type, or a number beyond an integer field's
    // width, is refused without touching the field.
    t->setValue_forKey(str("heavy"), "_weight");
    t->setValue_forKey(Number::numberWithLong(1), "_label");
    t->setValue_forKey(Number::numberWithLongLong((int64_t{1} << 40) + 5), "_count");
    t->setValue_forKey(Number::numberWithDouble(std::nan("")), "_count");
    t->setValue_forKey(Number::numberWithLong(40000), "_small");
    EXPECT_EQ(t->_weight(), 3.5f);
    EXPECT_EQ(textOf(t->_label()), "by name");
    EXPECT_EQ(t->_count(), -9);
    EXPECT_EQ(t->_small(), 0);

    // An unknown key logs one line and changes nothing.
    EXPECT_TRUE(log.empty());
    EXPECT_NO_THROW(t->setValue_forKey(str("secret value"), "bogus"));
    setLogSink(previous);
    EXPECT_EQ(log, std::vector<std::string>{"TestChild is trying to set value for undefined key: bogus"});
}

// Destruction releases each class's object fields in declared order, the
// subclass's before its superclass's (C++ alone would release them backwards).
TEST(KWOObject, DestructionReleasesFieldsInDeclaredOrder) {
    std::vector<std::string> log;
    struct Tracer : KWOObject {
        std::function<void()> onRelease;
        ~Tracer() override { onRelease(); }
    };
    auto tracer = [&](std::string name) {
        auto t = std::make_shared<Tracer>();
        t->onRelease = [&log, name] { log.push_back(name); };
        return t;
    };
    auto c = TestChild::create();
    c->set_other(tracer("_other"));
    c->set_items(std::make_shared<MutableArray>(std::vector<ObjectRef>{tracer("_items")}));
    c->set_extras(std::make_shared<Dictionary>(Dictionary::Storage{{"k", tracer("_extras")}}));
    c = nullptr;
    EXPECT_EQ(log, (std::vector<std::string>{"_extras", "_other", "_items"}));
}

TEST(Platform, TextOperations) {
    auto s = mstr("2009-06-01T14:03:12.2500Z");
    EXPECT_EQ(s->replaceOccurrencesOfString_withString("t", " ", true), 1u);
    EXPECT_EQ(s->str(), "2009-06-01 14:03:12.2500Z");
    auto parts = str("a,,b,")->componentsSeparatedByString(",");
    ASSERT_EQ(parts->count(), 4u);
    EXPECT_EQ(parts->objectAtIndexAs<String>(2)->str(), "b");
    EXPECT_EQ(parts->objectAtIndexAs<String>(3)->str(), "");
    EXPECT_EQ(str("  42abc")->intValue(), 42);
    EXPECT_EQ(str("x")->intValue(), 0);
    EXPECT_EQ(str("99999999999")->intValue(), INT32_MAX);
    struct { const char* text; double want; } numbers[] = {
        {"-1.5e1", -15.0}, {"  +2.5xyz", 2.5}, {".5", 0.5}, {"7.", 7.0}, {"1e", 1.0}, {"nan", 0.0}, {"inf", 0.0},
        {"0x10", 0.0}, {"-", 0.0}, {"", 0.0}, {"1e999", HUGE_VAL}, {"-1e999", -HUGE_VAL}, {"1e-999", 0.0}};
    for (auto n : numbers) EXPECT_EQ(str(n.text)->doubleValue(), n.want) << n.text;
    EXPECT_EQ(str("abc")->substringWithRange(5, 2)->str(), "");
    EXPECT_EQ(str("Tonga (Fiji)")->rangeOfString("("), 6u);
    struct { const char* text; float want; } floats[] = {
        {"1e40", HUGE_VALF}, {"-1e40", -HUGE_VALF}, {"3.4e38", 3.4e38f}, {"1e999", HUGE_VALF}};
    for (auto f : floats) EXPECT_EQ(str(f.text)->floatValue(), f.want) << f.text;
    const std::pair<const char*, const char*> upper[] = {
        {"mb", "MB"}, {"stra\u00dfe", "STRASSE"}, {"m\u00e8tre", "M\u00c8TRE"}, {"\u00b5m", "\u039cM"}, {"", ""}};
    for (auto [text, want] : upper) EXPECT_EQ(str(text)->uppercaseString()->str(), want) << text;
}

TEST(Platform, NumbersKeepTheirKind) {
    EXPECT_EQ(Number::numberWithShort(-2)->kind(), Number::Kind::Short);
    EXPECT_EQ(Number::numberWithLongLong(int64_t{1} << 40)->intValue(), 0);
    EXPECT_EQ(Number::numberWithDouble(-2.9)->longValue(), -2);
    EXPECT_EQ(Number::numberWithDouble(1e300)->longLongValue(), INT64_MAX);
    EXPECT_EQ(Number::numberWithDouble(-1e300)->floatValue(), -HUGE_VALF);
    EXPECT_EQ(Number::numberWithDouble(std::nan(""))->longValue(), 0);
    EXPECT_EQ(Date::dateWithTimeIntervalSince1970(1243864992.25)->description(), "2009-06-01 14:03:12 +0000");
    EXPECT_EQ(Date::dateWithTimeIntervalSince1970(1)->compare(*Date::dateWithTimeIntervalSince1970(2)), -1);
}
