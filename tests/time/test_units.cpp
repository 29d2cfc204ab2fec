// ZEVAUnit: text forms, factories, radians and degrees, archiving. Also the
// archive layout (keys, order, coder calls) of every unit and quantity class.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "zeva/platform/Foundation.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace {

using zeva::Ref;

constexpr double kDegreesPerRadian = 57.29577951308232;

Ref<ZEVAUnit> unnamed(int32_t base, int32_t power, int32_t exponent) {
    auto u = ZEVAUnit::create();
    u->setTheUnitBase(base);
    u->setPower(power);
    u->setExponent(exponent);
    return u;
}

template <class T>
Ref<T> roundTrip(const Ref<T>& object) {
    std::string error;
    auto bytes = zeva::archivedDataWithRootObject(object, &error);
    EXPECT_TRUE(bytes) << error;
    if (!bytes) return nullptr;
    auto restored = zeva::unarchiveObjectWithData(bytes->data(), bytes->size(), &error);
    EXPECT_TRUE(restored) << error;
    auto typed = std::dynamic_pointer_cast<T>(restored);
    EXPECT_TRUE(typed) << (restored ? restored->className() : "null");
    return typed;
}

TEST(ZEVAUnit, Descriptions) {
    struct Case {
        const char* what;
        std::function<Ref<ZEVAUnit>()> make;
        const char* text;
    };
    const std::vector<Case> cases = {
        {"init", [] { return ZEVAUnit::create(); }, "[METER (x10^0)]^0"},
        {"millimetre", [] { return unnamed(0, -3, 1); }, "[METER (x10^-3)]^1"},
        {"millisecond", [] { return unnamed(2, -3, 1); }, "[SECOND (x10^-3)]^1"},
        {"counts", [] { return unnamed(7, 2, -2); }, "[COUNT (x10^2)]^-2"},
        {"composite", [] { return unnamed(8, 0, 1); }, "[COMPOSITE (x10^0)]^1"},
        {"code 1", [] { return unnamed(1, 0, 1); }, "None"},
        {"code 3", [] { return unnamed(3, 0, 1); }, "None"},
        {"code 4", [] { return unnamed(4, 0, 1); }, "None"},
        {"code 5", [] { return unnamed(5, 0, 1); }, "None"},
        {"code 6", [] { return unnamed(6, 0, 1); }, "None"},
        {"code 9", [] { return unnamed(9, 0, 1); }, "None"},
        {"code -1", [] { return unnamed(-1, 0, 1); }, "None"},
        // A plain unit's name is the empty text, not null: that is its text.
        {"plain metre", [] { return ZEVAUnit::createWithZEVAUnitBase(0); }, ""},
        {"plain second", [] { return ZEVAUnit::createWithZEVAUnitBase(2); }, ""},
        {"plain code 42", [] { return ZEVAUnit::createWithZEVAUnitBase(42); }, ""},
        {"setName upper-cases",
         [] {
             auto u = ZEVAUnit::create();
             u->setName(zeva::str("Seconds"));
             return u;
         },
         "SECONDS"},
        {"set_name keeps case",
         [] {
             auto u = ZEVAUnit::create();
             u->set_name(zeva::str("Seconds"));
             return u;
         },
         "Seconds"},
        {"name wins over an unnamed code",
         [] {
             auto u = unnamed(-5, 3, 2);
             u->set_name(zeva::str("m/s"));
             return u;
         },
         "m/s"},
        {"name removed again",
         [] {
             auto u = unnamed(2, 1, 2);
             u->setName(zeva::str("x"));
             u->setName(nullptr);
             return u;
         },
         "[SECOND (x10^1)]^2"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.make()->description(), c.text) << c.what;
}

TEST(ZEVAUnit, FactoriesSetTheirOwnDefaults) {
    auto u = ZEVAUnit::create();
    EXPECT_EQ(u->the_unit_base(), ZEVAUnit::kMeter);
    EXPECT_EQ(u->power(), 0);
    EXPECT_EQ(u->exponent(), 0);
    EXPECT_EQ(u->multi_factor(), 0.0);
    EXPECT_EQ(u->name(), nullptr);
    EXPECT_EQ(u->_elements(), nullptr);

    auto plain = ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount);
    EXPECT_EQ(plain->the_unit_base(), ZEVAUnit::kCount);
    EXPECT_EQ(plain->power(), 0);
    EXPECT_EQ(plain->exponent(), 0);
    EXPECT_EQ(plain->multi_factor(), 1.0);
    ASSERT_TRUE(plain->name());
    EXPECT_EQ(plain->name()->str(), "");
    ASSERT_TRUE(plain->_elements());
    EXPECT_EQ(plain->_elements()->count(), 0u);
}

TEST(ZEVAUnit, NameIsCopiedElementsAreShared) {
    auto u = ZEVAUnit::create();
    auto text = zeva::mstr("Volts");
    u->set_name(text);
    text->setString("Amperes");
    EXPECT_EQ(u->description(), "Volts");

    u->setName(text);
    text->setString("Ohms");
    EXPECT_EQ(u->description(), "AMPERES");

    auto elements = zeva::MutableArray::array();
    u->set_elements(elements);
    elements->addObject(ZEVAUnit::create());
    EXPECT_EQ(u->_elements(), elements);
    EXPECT_EQ(u->_elements()->count(), 1u);
}

TEST(ZEVAUnit, MakeRadians) {
    auto u = ZEVAUnit::create();
    u->setPower(-2);
    u->setExponent(3);
    u->makeRadians();
    EXPECT_EQ(u->description(), "Radians");
    EXPECT_EQ(u->the_unit_base(), ZEVAUnit::kComposite);
    // Power, exponent and factor are not the radians' business.
    EXPECT_EQ(u->power(), -2);
    EXPECT_EQ(u->exponent(), 3);
    EXPECT_EQ(u->multi_factor(), 0.0);

    auto elements = u->_elements();
    ASSERT_TRUE(elements);
    ASSERT_EQ(elements->count(), 2u);
    auto over = elements->objectAtIndexAs<ZEVAUnit>(0);
    auto under = elements->objectAtIndexAs<ZEVAUnit>(1);
    ASSERT_TRUE(over && under);
    EXPECT_EQ(over->description(), "[METER (x10^0)]^0");
    EXPECT_EQ(under->description(), "[METER (x10^0)]^-1");

    // Each call builds fresh elements rather than growing the old ones.
    u->makeRadians();
    EXPECT_NE(u->_elements(), elements);
    EXPECT_EQ(u->_elements()->count(), 2u);
}

TEST(ZEVAUnit, MakeDegreesThenRadiansKeepsTheFactor) {
    auto u = ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kSecond);
    u->makeDegrees();
    EXPECT_EQ(u->description(), "Degrees");
    EXPECT_EQ(u->the_unit_base(), ZEVAUnit::kComposite);
    EXPECT_EQ(u->multi_factor(), kDegreesPerRadian);
    EXPECT_EQ(u->multi_factor(), 180.0 / M_PI);
    ASSERT_TRUE(u->_elements());
    EXPECT_EQ(u->_elements()->count(), 2u);

    // A degree value times the factor's inverse is its radian value.
    EXPECT_NEAR(90.0 / u->multi_factor(), M_PI / 2, 1e-15);

    u->makeRadians();
    EXPECT_EQ(u->description(), "Radians");
    EXPECT_EQ(u->multi_factor(), kDegreesPerRadian);
}

TEST(ZEVAUnit, ArchiveRoundTrip) {
    auto degrees = ZEVAUnit::create();
    degrees->setPower(4);
    degrees->setExponent(-2);
    degrees->makeDegrees();
    auto back = roundTrip(degrees);
    ASSERT_TRUE(back);
    // Restoring goes through set_name: the stored case stays.
    EXPECT_EQ(back->description(), "Degrees");
    EXPECT_EQ(back->the_unit_base(), ZEVAUnit::kComposite);
    EXPECT_EQ(back->power(), 4);
    EXPECT_EQ(back->exponent(), -2);
    EXPECT_EQ(back->multi_factor(), kDegreesPerRadian);
    ASSERT_TRUE(back->_elements());
    ASSERT_EQ(back->_elements()->count(), 2u);
    auto under = back->_elements()->objectAtIndexAs<ZEVAUnit>(1);
    ASSERT_TRUE(under);
    EXPECT_EQ(under->description(), "[METER (x10^0)]^-1");

    // Null name and null elements stay null; a name does not appear.
    auto bare = roundTrip(unnamed(7, -9, 2));
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->name(), nullptr);
    EXPECT_EQ(bare->_elements(), nullptr);
    EXPECT_EQ(bare->description(), "[COUNT (x10^-9)]^2");

    // The empty name survives as empty, not as null.
    auto plain = roundTrip(ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kSecond));
    ASSERT_TRUE(plain && plain->name());
    EXPECT_EQ(plain->description(), "");
    EXPECT_EQ(plain->the_unit_base(), ZEVAUnit::kSecond);
    EXPECT_EQ(plain->multi_factor(), 1.0);
}

// Records what a class writes, in order, and with which coder call.
class RecordingCoder : public zeva::Coder {
public:
    std::vector<std::pair<std::string, std::string>> calls;

    void encodeFloat_forKey(float, std::string_view key) override { add("float", key); }
    void encodeDouble_forKey(double, std::string_view key) override { add("double", key); }
    void encodeBool_forKey(bool, std::string_view key) override { add("bool", key); }
    void encodeInt_forKey(int32_t, std::string_view key) override { add("int", key); }
    void encodeObject_forKey(const zeva::ObjectRef& value, std::string_view key) override {
        auto n = std::dynamic_pointer_cast<zeva::Number>(value);
        add(n && n->kind() == zeva::Number::Kind::Long ? "long" : "object", key);
    }
    float decodeFloatForKey(std::string_view) override { return 0; }
    double decodeDoubleForKey(std::string_view) override { return 0; }
    bool decodeBoolForKey(std::string_view) override { return false; }
    int32_t decodeIntForKey(std::string_view) override { return 0; }
    zeva::ObjectRef decodeObjectForKey(std::string_view) override { return nullptr; }
    bool containsValueForKey(std::string_view) override { return false; }
    void failWithError(std::string) override {}

private:
    void add(const char* how, std::string_view key) { calls.emplace_back(std::string(key), how); }
};

TEST(UnitAndQuantityClasses, ArchiveKeysInDeclaredOrder) {
    using Calls = std::vector<std::pair<std::string, std::string>>;
    const Calls quantity = {{"_value", "double"}, {"_the_units", "object"}};
    struct Case {
        zeva::Ref<KWOObject> object;
        Calls calls;
    };
    const std::vector<Case> cases = {
        {ZEVAUnit::create(),
         {{"_the_unit_base", "long"},
          {"_elements", "object"},
          {"_power", "long"},
          {"_name", "object"},
          {"_multi_factor", "double"},
          {"_exponent", "long"}}},
        {ZEVAQuantity::create(), quantity},
        {ZEVALength::create(), quantity},
        {ZEVASampling::create(), {{"_numPoints", "long"}, {"_interval", "object"}}},
        {ZEVASamplingRange::create(), {{"_min", "object"}, {"_max", "object"}}},
    };
    for (const auto& c : cases) {
        RecordingCoder coder;
        c.object->encodeWithCoder(coder);
        EXPECT_EQ(coder.calls, c.calls) << c.object->className();
    }
}

}  // namespace
