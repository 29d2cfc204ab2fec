// ZEVAUnit: text forms, factories, radians and degrees; the archive layout
// (keys, order, coder calls) of every unit and quantity class.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/archive_helpers.hpp"
#include "zeva/platform/Foundation.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace {

using zeva::Ref;

Ref<ZEVAUnit> unit(int32_t base, int32_t power, int32_t exponent, const char* name = nullptr, bool upper = false) {
    auto u = ZEVAUnit::create();
    u->setTheUnitBase(base);
    u->setPower(power);
    u->setExponent(exponent);
    if (name) upper ? u->setName(zeva::str(name)) : u->set_name(zeva::str(name));
    return u;
}

TEST(ZEVAUnit, Descriptions) {
    auto renamed = unit(2, 1, 2, "x", true);
    renamed->setName(nullptr);
    const std::vector<std::pair<Ref<ZEVAUnit>, const char*>> cases = {
        {ZEVAUnit::create(), "[METER (x10^0)]^0"},
        {unit(0, -3, 1), "[METER (x10^-3)]^1"},
        {unit(2, -3, 1), "[SECOND (x10^-3)]^1"},
        {unit(7, 2, -2), "[COUNT (x10^2)]^-2"},
        {unit(8, 0, 1), "[COMPOSITE (x10^0)]^1"},
        // A plain unit's name is the empty text, not null: that is its text.
        {ZEVAUnit::createWithZEVAUnitBase(0), ""},
        {ZEVAUnit::createWithZEVAUnitBase(42), ""},
        {unit(0, 0, 0, "Seconds", true), "SECONDS"},
        {unit(0, 0, 0, "Seconds"), "Seconds"},
        // Upper-casing is Unicode-wide, not byte by byte.
        {unit(0, 0, 0, "m\u00e8tre", true), "M\u00c8TRE"},
        {unit(0, 0, 0, "\u00b5m", true), "\u039cM"},
        {unit(-5, 3, 2, "m/s"), "m/s"},
        {renamed, "[SECOND (x10^1)]^2"},
    };
    for (const auto& [u, text] : cases) EXPECT_EQ(u->description(), text);
    for (int32_t base : {1, 3, 4, 5, 6, 9, -1}) EXPECT_EQ(unit(base, 0, 1)->description(), "None") << base;
}

TEST(ZEVAUnit, FactoriesNameCopyAndSharedElements) {
    auto plain = ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount);
    EXPECT_EQ(plain->the_unit_base(), ZEVAUnit::kCount);
    EXPECT_EQ(plain->multi_factor(), 1.0);
    ASSERT_TRUE(plain->_elements());
    EXPECT_EQ(plain->_elements()->count(), 0u);

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
    auto u = unit(0, -2, 3);
    u->makeRadians();
    EXPECT_EQ(u->description(), "Radians");
    EXPECT_EQ(u->the_unit_base(), ZEVAUnit::kComposite);
    // Power, exponent and factor are left alone.
    EXPECT_EQ(std::make_pair(u->power(), u->exponent()), std::make_pair(-2, 3));
    EXPECT_EQ(u->multi_factor(), 0.0);
    auto elements = u->_elements();
    ASSERT_TRUE(elements && elements->count() == 2u);
    EXPECT_EQ(elements->objectAtIndex(0)->description(), "[METER (x10^0)]^0");
    EXPECT_EQ(elements->objectAtIndex(1)->description(), "[METER (x10^0)]^-1");

    u->makeDegrees();
    EXPECT_EQ(u->description(), "Degrees");
    EXPECT_EQ(u->multi_factor(), 57.29577951308232);
    EXPECT_NE(u->_elements(), elements);  // fresh elements each time, never a growing list
    EXPECT_EQ(u->_elements()->count(), 2u);
    u->makeRadians();
    EXPECT_EQ(u->description(), "Radians");
    EXPECT_EQ(u->multi_factor(), 57.29577951308232);
}

// Keys in the order written, each with what Python's plistlib finds there:
// "@int" a boxed number (numberWithLong), "int"/"float" a coder scalar,
// "@str" the null object, "@dict" an object.
TEST(UnitAndQuantityClasses, ArchiveKeysInDeclaredOrder) {
    auto all = zeva::MutableArray::array();
    for (zeva::ObjectRef o : std::initializer_list<zeva::ObjectRef>{
             ZEVAUnit::create(), ZEVAQuantity::create(), ZEVALength::create(), ZEVASampling::create(),
             ZEVASamplingRange::create()})
        all->addObject(o);
    EXPECT_EQ(zeva::test::plistlibCheck(
                  all, "def kind(v): return '@' + type(deref(v)).__name__ if isinstance(v, plistlib.UID) "
                       "else type(v).__name__\n"
                       "for u in root['NS.objects']:\n"
                       "    o = deref(u)\n"
                       "    print(classname(o), *(k + ':' + kind(v) for k, v in o.items() if k != '$class'))"),
              "ZEVAUnit _the_unit_base:@int _elements:@str _power:@int _name:@str _multi_factor:float "
              "_exponent:@int\n"
              "ZEVAQuantity _value:float _the_units:@dict\n"
              "ZEVALength _value:float _the_units:@dict\n"
              "ZEVASampling _numPoints:@int _interval:@dict\n"
              "ZEVASamplingRange _min:@str _max:@str\n");
}

}  // namespace
