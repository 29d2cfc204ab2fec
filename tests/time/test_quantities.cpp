// ZEVAUnit, ZEVAQuantity, ZEVALength, ZEVASampling, ZEVASamplingRange: texts,
// radians and degrees, the value setters and the unit they share, seconds
// per sample; units shared before a save are shared after it.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/archive_helpers.hpp"
#include "zeva/platform/Foundation.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace {

using zeva::Ref;
using zeva::test::roundTrip;

constexpr const char* kNewSampling = "ZEVASampling: Time Interval = 1.000000  / Npts = 20";

Ref<ZEVAUnit> unit(int32_t base, int32_t power, int32_t exponent, const char* name = nullptr, bool upper = false) {
    auto u = ZEVAUnit::create();
    u->setTheUnitBase(base);
    u->setPower(power);
    u->setExponent(exponent);
    if (name) upper ? u->setName(zeva::str(name)) : u->set_name(zeva::str(name));
    return u;
}

template <class T>
Ref<T> made(const std::function<void(T&)>& change) {
    auto object = T::create();
    change(*object);
    return object;
}

Ref<ZEVASampling> sampling(double interval, int32_t points) {
    return made<ZEVASampling>([=](ZEVASampling& s) { s._interval()->set_value(interval), s.set_numPoints(points); });
}

TEST(UnitAndQuantityClasses, Descriptions) {
    auto renamed = unit(2, 1, 2, "x", true);
    renamed->setName(nullptr);
    auto range = made<ZEVASamplingRange>([](ZEVASamplingRange& r) { r.set_min(ZEVASampling::create()); });
    range->set_max(sampling(1, 200));
    const std::vector<std::pair<Ref<KWOObject>, std::string>> cases = {
        {ZEVAUnit::create(), "[METER (x10^0)]^0"},
        {unit(2, -3, 1), "[SECOND (x10^-3)]^1"},
        {unit(8, 0, 1), "[COMPOSITE (x10^0)]^1"},
        // A plain unit's name is the empty text, not null: that is its text.
        {ZEVAUnit::createWithZEVAUnitBase(0), ""},
        {unit(0, 0, 0, "Seconds", true), "SECONDS"},
        {unit(0, 0, 0, "Seconds"), "Seconds"},
        {unit(0, 0, 0, "\u00b5m", true), "\u039cM"},  // upper-casing is Unicode-wide, not byte by byte
        {renamed, "[SECOND (x10^1)]^2"},
        {ZEVAQuantity::create(), "1.000000 [METER (x10^0)]^0"},
        {made<ZEVAQuantity>([](ZEVAQuantity& q) { q.setMKSLength(2.5); }), "2.500000 METER"},
        {made<ZEVAQuantity>([](ZEVAQuantity& q) { q.setRadianValue(1); }), "1.000000 Radians"},
        {made<ZEVAQuantity>([](ZEVAQuantity& q) { q.set_value(-12.3456789); }), "-12.345679 [METER (x10^0)]^0"},
        // Without a unit a setter sets the number alone.
        {made<ZEVAQuantity>([](ZEVAQuantity& q) { q.set_the_units(nullptr), q.setDegreeValue(7); }), "7.000000 (null)"},
        {ZEVASampling::create(), kNewSampling},
        {made<ZEVASampling>([](ZEVASampling& s) { s.set_numPoints(100), s._interval()->setTimeValue(0.01); }),
         "ZEVASampling: Time Interval = 0.010000 SECONDS / Npts = 100"},
        {made<ZEVASampling>([](ZEVASampling& s) { s.set_interval(nullptr); }),
         "ZEVASampling: Time Interval = (null) / Npts = 20"},
        {ZEVASamplingRange::create(), "ZEVASamplingRange:(null) To (null)"},
        {range,
         std::string("ZEVASamplingRange:") + kNewSampling + " To ZEVASampling: Time Interval = 1.000000  / Npts = 200"},
    };
    for (size_t i = 0; i < cases.size(); ++i) EXPECT_EQ(cases[i].first->description(), cases[i].second) << "row " << i;
    for (int32_t base : {1, 3, 4, 5, 6, 9, -1}) EXPECT_EQ(unit(base, 0, 1)->description(), "None") << base;
}

TEST(ZEVAUnit, RadiansAndDegrees) {
    auto u = unit(0, -2, 3);
    auto shape = [&] {
        return zeva::format("%s %d %d %d %g %zu %@ %@", u->description(), u->the_unit_base(), u->power(), u->exponent(),
                            u->multi_factor(), u->_elements()->count(), u->_elements()->objectAtIndex(0),
                            u->_elements()->objectAtIndex(1));
    };
    const std::string elements = " 2 [METER (x10^0)]^0 [METER (x10^0)]^-1";
    u->makeRadians();  // power, exponent and factor are left alone
    EXPECT_EQ(shape(), zeva::format("Radians %d -2 3 0", ZEVAUnit::kComposite) + elements);
    auto first = u->_elements();
    u->makeDegrees();
    EXPECT_EQ(shape(), zeva::format("Degrees %d -2 3 57.2958", ZEVAUnit::kComposite) + elements);
    EXPECT_EQ(u->multi_factor(), 57.29577951308232);
    EXPECT_NE(u->_elements(), first);  // fresh elements each time, never a growing list
    u->makeRadians();
    EXPECT_EQ(u->description() + " " + std::to_string(u->multi_factor()), "Radians 57.295780");
}

TEST(ZEVAQuantity, SettersReshapeTheSharedUnitInPlace) {
    auto depth = ZEVAQuantity::create(), delay = ZEVAQuantity::create();
    auto unit = depth->_the_units();
    delay->set_the_units(unit);
    delay->setTimeValue(0.5);
    EXPECT_EQ(depth->description(), "1.000000 SECONDS");
    depth->setDegreeValue(45);
    EXPECT_EQ(delay->description(), "0.500000 Degrees");
    // A length after degrees changes name and code only: the degree factor
    // and the composite's elements stay in the unit.
    depth->setMKSLength(2.5);
    EXPECT_EQ(delay->_the_units(), unit);
    EXPECT_EQ(depth->_the_units(), unit);
    EXPECT_EQ(zeva::format("%@ %d %zu", unit, unit->the_unit_base(), unit->_elements()->count()),
              zeva::format("METER %d 2", ZEVAUnit::kMeter));
    EXPECT_EQ(unit->multi_factor(), 57.29577951308232);
}

TEST(ZEVASampling, SecondsPerSampleAndTheIntervalsOwnUnit) {
    const double inf = std::numeric_limits<double>::infinity();
    const std::tuple<double, int32_t, float> cases[] = {  // interval, points, seconds per sample (NaN: not a number)
        {1.0, 20, 0.05f}, {10.0, 1000, 0.01f}, {1.0, 3, 1.0f / 3.0f}, {5.0, -10, -0.5f},
        {1.0, 0, inf},    {-1.0, 0, -inf},     {0.0, 0, NAN},
    };
    for (const auto& [interval, points, expected] : cases) {
        const float rate = sampling(interval, points)->sampleRateInSeconds();
        EXPECT_TRUE(rate == expected || (std::isnan(rate) && std::isnan(expected))) << interval << " / " << points;
    }
    auto s = ZEVASampling::create();
    auto unit = s->_interval()->_the_units();  // a plain second, its own
    EXPECT_EQ(std::make_pair(unit->the_unit_base(), unit->multi_factor()), std::make_pair(ZEVAUnit::kSecond, 1.0));
    EXPECT_NE(ZEVASampling::create()->_interval()->_the_units(), unit);
    unit->setPower(-3);  // not applied
    EXPECT_EQ(s->sampleRateInSeconds(), 0.05f);
    s->set_interval(nullptr);
    EXPECT_EQ(s->sampleRateInSeconds(), 0.0f);
}

// Restoring goes through the sharing setters: a unit shared before is
// shared after, and a reshaping setter reaches both holders.
TEST(UnitAndQuantityClasses, RestoredObjectsShareTheirUnits) {
    auto degrees = unit(0, 4, -2);
    degrees->makeDegrees();
    auto length = made<ZEVALength>([](ZEVALength& l) { l.setMKSLength(0.1 + 0.2); });  // prints short, is not
    auto slow = ZEVASampling::create(), fast = sampling(1.0, 400);
    fast->_interval()->set_the_units(slow->_interval()->_the_units());
    auto range = made<ZEVASamplingRange>([&](ZEVASamplingRange& r) { r.set_min(slow), r.set_max(fast); });
    auto back = roundTrip<ZEVASamplingRange>(range);
    ASSERT_TRUE(back && back->_min() && back->_max());
    back->_max()->_interval()->setRadianValue(1.0);
    EXPECT_EQ(back->_min()->_interval()->description(), "1.000000 Radians");
    auto unitBack = roundTrip<ZEVAUnit>(degrees);
    ASSERT_TRUE(unitBack && unitBack->_elements());
    EXPECT_EQ(roundTrip<ZEVALength>(length)->value(), 0.1 + 0.2);  // prints as 0.300000 METER

    auto unitText = [](const Ref<ZEVAUnit>& u) {
        auto e = u ? u->_elements() : nullptr;
        return u ? zeva::format("%@ %d %d %d %zu %@", u, u->the_unit_base(), u->power(), u->exponent(), e->count(),
                                e->count() ? e->objectAtIndex(1) : zeva::str("")) : "(none)";
    };
    auto text = [](const Ref<KWOObject>& o) { return o ? o->description() : "(none)"; };
    const std::pair<std::string, std::string> cases[] = {
        {unitText(unitBack), zeva::format("Degrees %d 4 -2 2 [METER (x10^0)]^-1", ZEVAUnit::kComposite)},  // case kept
        {unitText(roundTrip<ZEVAUnit>(ZEVAUnit::createWithZEVAUnitBase(3))), " 3 0 0 0 "},  // an empty name, not null
        {text(roundTrip<ZEVAQuantity>(made<ZEVAQuantity>([](ZEVAQuantity& q) { q.set_the_units(nullptr); }))),
         "1.000000 (null)"},
    };
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want);
}

}  // namespace
