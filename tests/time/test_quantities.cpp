// ZEVAQuantity, ZEVALength, ZEVASampling, ZEVASamplingRange: texts, the value
// setters and the unit they share, seconds per sample; archiving of every
// unit and quantity class.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "zeva/platform/Foundation.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"

namespace {

using zeva::Ref;

constexpr const char* kNewSampling = "ZEVASampling: Time Interval = 1.000000  / Npts = 20";

// Archives the object and restores it. Each key listed is first renamed in
// the archive's bytes (same length, so the layout holds): the restored
// object meets an archive that lacks those keys.
template <class T>
Ref<T> restored(const zeva::ObjectRef& object, const std::vector<std::string>& dropKeys = {}) {
    auto bytes = zeva::archivedDataWithRootObject(object);
    EXPECT_TRUE(bytes);
    if (!bytes) return nullptr;
    std::string text(bytes->begin(), bytes->end());
    for (const auto& key : dropKeys) {
        size_t at = text.find(key);
        EXPECT_NE(at, std::string::npos) << key;
        for (; at != std::string::npos; at = text.find(key, at + 1)) text[at + 1] = '#';
    }
    std::string error;
    auto back = zeva::unarchiveObjectWithData(reinterpret_cast<const uint8_t*>(text.data()), text.size(), &error);
    EXPECT_TRUE(back) << error;
    if (back) {
        EXPECT_STREQ(back->className(), object->className());
    }
    return std::dynamic_pointer_cast<T>(back);
}

Ref<ZEVAQuantity> quantity(const std::function<void(ZEVAQuantity&)>& change) {
    auto q = ZEVAQuantity::create();
    change(*q);
    return q;
}

Ref<ZEVASampling> sampling(double interval, int32_t points) {
    auto s = ZEVASampling::create();
    s->_interval()->set_value(interval);
    s->set_numPoints(points);
    return s;
}

TEST(ZEVAQuantity, Descriptions) {
    const std::vector<std::pair<Ref<ZEVAQuantity>, const char*>> cases = {
        {ZEVAQuantity::create(), "1.000000 [METER (x10^0)]^0"},
        {ZEVALength::create(), "1.000000 [METER (x10^0)]^0"},
        {quantity([](ZEVAQuantity& q) { q.setMKSLength(2.5); }), "2.500000 METER"},
        {quantity([](ZEVAQuantity& q) { q.setTimeValue(0.01); }), "0.010000 SECONDS"},
        {quantity([](ZEVAQuantity& q) { q.setDegreeValue(45); }), "45.000000 Degrees"},
        {quantity([](ZEVAQuantity& q) { q.setRadianValue(1); }), "1.000000 Radians"},
        {quantity([](ZEVAQuantity& q) { q.set_value(-12.3456789); }), "-12.345679 [METER (x10^0)]^0"},
        {quantity([](ZEVAQuantity& q) { q.set_the_units(ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kSecond)); }),
         "1.000000 "},
        // Without a unit a setter sets the number alone.
        {quantity([](ZEVAQuantity& q) { q.set_the_units(nullptr); q.setDegreeValue(7); }), "7.000000 (null)"},
    };
    for (const auto& [q, text] : cases) EXPECT_EQ(q->description(), text);
}

TEST(ZEVAQuantity, SettersReshapeTheSharedUnitInPlace) {
    auto depth = ZEVAQuantity::create();
    auto delay = ZEVAQuantity::create();
    auto unit = depth->_the_units();
    delay->set_the_units(unit);
    delay->setTimeValue(0.5);
    EXPECT_EQ(delay->_the_units(), unit);
    EXPECT_EQ(depth->description(), "1.000000 SECONDS");
    depth->setDegreeValue(45);
    EXPECT_EQ(delay->description(), "0.500000 Degrees");

    // A length after degrees changes name and code only: the degree factor
    // and the composite's elements stay in the unit.
    depth->setMKSLength(2.5);
    EXPECT_EQ(depth->_the_units(), unit);
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kMeter);
    EXPECT_EQ(unit->description(), "METER");
    EXPECT_EQ(unit->multi_factor(), 57.29577951308232);
    EXPECT_EQ(unit->_elements()->count(), 2u);
}

TEST(ZEVASampling, TextsAndTheIntervalsUnit) {
    auto s = ZEVASampling::create();
    EXPECT_EQ(s->description(), kNewSampling);
    ASSERT_TRUE(s->_interval() && s->_interval()->_the_units());
    auto unit = s->_interval()->_the_units();  // a plain second, its own
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kSecond);
    EXPECT_EQ(unit->multi_factor(), 1.0);
    EXPECT_NE(ZEVASampling::create()->_interval()->_the_units(), unit);

    s->set_numPoints(100);
    s->_interval()->setTimeValue(0.01);
    EXPECT_EQ(s->description(), "ZEVASampling: Time Interval = 0.010000 SECONDS / Npts = 100");
    s->set_interval(nullptr);
    EXPECT_EQ(s->description(), "ZEVASampling: Time Interval = (null) / Npts = 100");

    auto range = ZEVASamplingRange::create();
    EXPECT_EQ(range->description(), "ZEVASamplingRange:(null) To (null)");
    range->set_min(ZEVASampling::create());
    range->set_max(sampling(1.0, 200));
    EXPECT_EQ(range->description(), std::string("ZEVASamplingRange:") + kNewSampling +
                                        " To ZEVASampling: Time Interval = 1.000000  / Npts = 200");
}

TEST(ZEVASampling, SecondsPerSample) {
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
    s->_interval()->_the_units()->setPower(-3);  // not applied
    EXPECT_EQ(s->sampleRateInSeconds(), 0.05f);
    s->set_interval(nullptr);
    EXPECT_EQ(s->sampleRateInSeconds(), 0.0f);
}

TEST(UnitAndQuantityClasses, ArchiveRoundTrips) {
    auto degrees = ZEVAUnit::create();
    degrees->setPower(4);
    degrees->setExponent(-2);
    degrees->makeDegrees();
    auto unit = restored<ZEVAUnit>(degrees);
    ASSERT_TRUE(unit && unit->_elements() && unit->_elements()->count() == 2u);
    EXPECT_EQ(unit->description(), "Degrees");  // set_name on reading: case kept
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kComposite);
    EXPECT_EQ(std::make_pair(unit->power(), unit->exponent()), std::make_pair(4, -2));
    EXPECT_EQ(unit->multi_factor(), 57.29577951308232);
    EXPECT_EQ(unit->_elements()->objectAtIndex(1)->description(), "[METER (x10^0)]^-1");
    auto plain = restored<ZEVAUnit>(ZEVAUnit::createWithZEVAUnitBase(3));
    ASSERT_TRUE(plain && plain->name());  // empty, not null
    EXPECT_EQ(plain->the_unit_base(), 3);

    auto length = ZEVALength::create();
    length->setMKSLength(0.1 + 0.2);  // prints short, is not
    auto backLength = restored<ZEVALength>(length);
    ASSERT_TRUE(backLength);
    EXPECT_EQ(backLength->value(), 0.1 + 0.2);
    EXPECT_EQ(backLength->description(), "0.300000 METER");

}

// Restoring goes through the sharing setters, and never through init: keys
// an archive lacks read as zero and null, not as create()'s defaults.
TEST(UnitAndQuantityClasses, RestoredObjectsShareAndRunNoInit) {
    auto slow = ZEVASampling::create(), fast = sampling(1.0, 400);
    fast->_interval()->set_the_units(slow->_interval()->_the_units());
    auto range = ZEVASamplingRange::create();
    range->set_min(slow);
    range->set_max(fast);
    auto back = restored<ZEVASamplingRange>(range);
    ASSERT_TRUE(back && back->_min() && back->_max());
    back->_max()->_interval()->setRadianValue(1.0);
    EXPECT_EQ(back->_min()->_interval()->description(), "1.000000 Radians");

    const std::vector<std::pair<Ref<KWOObject>, std::string>> cases = {
        {restored<ZEVAQuantity>(quantity([](ZEVAQuantity& bare) { bare.set_the_units(nullptr); })), "1.000000 (null)"},
        {restored<ZEVASampling>(ZEVASampling::create(), {"_numPoints", "_interval"}),
         "ZEVASampling: Time Interval = (null) / Npts = 0"},
        {restored<ZEVAUnit>(ZEVAUnit::createWithZEVAUnitBase(7),
                            {"_the_unit_base", "_elements", "_power", "_name", "_multi_factor", "_exponent"}),
         "[METER (x10^0)]^0"},
    };
    for (const auto& [object, text] : cases) {
        ASSERT_TRUE(object) << text;
        EXPECT_EQ(object->description(), text);
    }
}

}  // namespace
