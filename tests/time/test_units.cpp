// ZEVAUnit: text forms, factories, radians and degrees; the archive layout
// (keys, order, coder calls) of every unit and quantity class.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "zeva/platform/Foundation.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace {

using zeva::Ref;

Ref<ZEVAUnit> unnamed(int32_t base, int32_t power, int32_t exponent) {
    auto u = ZEVAUnit::create();
    u->setTheUnitBase(base);
    u->setPower(power);
    u->setExponent(exponent);
    return u;
}

Ref<ZEVAUnit> named(Ref<ZEVAUnit> u, void (ZEVAUnit::*setter)(const Ref<zeva::String>&), const char* name) {
    (u.get()->*setter)(name ? zeva::str(name) : nullptr);
    return u;
}

TEST(ZEVAUnit, Descriptions) {
    const std::vector<std::pair<Ref<ZEVAUnit>, const char*>> cases = {
        {ZEVAUnit::create(), "[METER (x10^0)]^0"},
        {unnamed(0, -3, 1), "[METER (x10^-3)]^1"},
        {unnamed(2, -3, 1), "[SECOND (x10^-3)]^1"},
        {unnamed(7, 2, -2), "[COUNT (x10^2)]^-2"},
        {unnamed(8, 0, 1), "[COMPOSITE (x10^0)]^1"},
        {unnamed(1, 0, 1), "None"},
        {unnamed(3, 0, 1), "None"},
        {unnamed(4, 0, 1), "None"},
        {unnamed(5, 0, 1), "None"},
        {unnamed(6, 0, 1), "None"},
        {unnamed(9, 0, 1), "None"},
        {unnamed(-1, 0, 1), "None"},
        // A plain unit's name is the empty text, not null: that is its text.
        {ZEVAUnit::createWithZEVAUnitBase(0), ""},
        {ZEVAUnit::createWithZEVAUnitBase(42), ""},
        {named(ZEVAUnit::create(), &ZEVAUnit::setName, "Seconds"), "SECONDS"},
        {named(ZEVAUnit::create(), &ZEVAUnit::set_name, "Seconds"), "Seconds"},
        {named(unnamed(-5, 3, 2), &ZEVAUnit::set_name, "m/s"), "m/s"},
        {named(named(unnamed(2, 1, 2), &ZEVAUnit::setName, "x"), &ZEVAUnit::setName, nullptr), "[SECOND (x10^1)]^2"},
    };
    for (const auto& [unit, text] : cases) EXPECT_EQ(unit->description(), text);
}

TEST(ZEVAUnit, FactoriesSetTheirOwnDefaults) {
    auto u = ZEVAUnit::create();
    EXPECT_EQ(u->the_unit_base(), ZEVAUnit::kMeter);
    EXPECT_EQ(u->multi_factor(), 0.0);
    EXPECT_EQ(u->name(), nullptr);
    EXPECT_EQ(u->_elements(), nullptr);

    auto plain = ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount);
    EXPECT_EQ(plain->the_unit_base(), ZEVAUnit::kCount);
    EXPECT_EQ(plain->power(), 0);
    EXPECT_EQ(plain->exponent(), 0);
    EXPECT_EQ(plain->multi_factor(), 1.0);
    ASSERT_TRUE(plain->name() && plain->_elements());
    EXPECT_EQ(plain->_elements()->count(), 0u);
}

TEST(ZEVAUnit, NameIsCopiedElementsAreShared) {
    auto u = ZEVAUnit::create();
    auto text = zeva::mstr("Volts");
    u->set_name(text);
    text->setString("Amperes");
    EXPECT_EQ(u->description(), "Volts");

    auto elements = zeva::MutableArray::array();
    u->set_elements(elements);
    elements->addObject(ZEVAUnit::create());
    EXPECT_EQ(u->_elements()->count(), 1u);
}

TEST(ZEVAUnit, RadiansAndDegrees) {
    auto u = ZEVAUnit::create();
    u->setPower(-2);
    u->setExponent(3);
    u->makeRadians();
    EXPECT_EQ(u->description(), "Radians");
    EXPECT_EQ(u->the_unit_base(), ZEVAUnit::kComposite);
    // Power, exponent and factor are left alone.
    EXPECT_EQ(u->power(), -2);
    EXPECT_EQ(u->exponent(), 3);
    EXPECT_EQ(u->multi_factor(), 0.0);
    auto elements = u->_elements();
    ASSERT_TRUE(elements);
    ASSERT_EQ(elements->count(), 2u);
    EXPECT_EQ(elements->objectAtIndex(0)->description(), "[METER (x10^0)]^0");
    EXPECT_EQ(elements->objectAtIndex(1)->description(), "[METER (x10^0)]^-1");

    u->makeDegrees();
    EXPECT_EQ(u->description(), "Degrees");
    EXPECT_EQ(u->multi_factor(), 57.29577951308232);
    EXPECT_NEAR(90.0 / u->multi_factor(), M_PI / 2, 1e-15);
    // Fresh elements each time, never a growing list.
    EXPECT_NE(u->_elements(), elements);
    EXPECT_EQ(u->_elements()->count(), 2u);

    u->makeRadians();
    EXPECT_EQ(u->description(), "Radians");
    EXPECT_EQ(u->multi_factor(), 57.29577951308232);
}

// Records the keys a class writes, in order, with the coder call used.
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
    const std::vector<std::pair<Ref<KWOObject>, Calls>> cases = {
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
    for (const auto& [object, calls] : cases) {
        RecordingCoder coder;
        object->encodeWithCoder(coder);
        EXPECT_EQ(coder.calls, calls) << object->className();
    }
}

}  // namespace
