// ZEVAQuantity, ZEVALength, ZEVASampling, ZEVASamplingRange: texts, the value
// setters and the unit they share, seconds per sample, archiving.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "zeva/platform/Foundation.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace {

using zeva::Ref;

constexpr const char* kNewSampling = "ZEVASampling: Time Interval = 1.000000  / Npts = 20";

zeva::ObjectRef restore(const zeva::ObjectRef& object) {
    std::string error;
    auto bytes = zeva::archivedDataWithRootObject(object, &error);
    EXPECT_TRUE(bytes) << error;
    if (!bytes) return nullptr;
    auto restored = zeva::unarchiveObjectWithData(bytes->data(), bytes->size(), &error);
    EXPECT_TRUE(restored) << error;
    return restored;
}

template <class T>
Ref<T> roundTrip(const Ref<T>& object) {
    auto restored = restore(object);
    auto typed = std::dynamic_pointer_cast<T>(restored);
    EXPECT_TRUE(typed) << (restored ? restored->className() : "null");
    return typed;
}

// Archives the object, then renames the given keys in the archive's bytes
// (same length, so the layout holds) and restores it: an archive that lacks
// those keys.
zeva::ObjectRef restoreWithoutKeys(const zeva::ObjectRef& object, const std::vector<std::string>& keys) {
    auto bytes = zeva::archivedDataWithRootObject(object);
    EXPECT_TRUE(bytes);
    if (!bytes) return nullptr;
    std::string text(bytes->begin(), bytes->end());
    for (const auto& key : keys) {
        std::string renamed = key;
        renamed[1] = '#';
        size_t found = 0;
        for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1), ++found)
            text.replace(at, key.size(), renamed);
        EXPECT_GT(found, 0u) << key;
    }
    std::string error;
    auto restored =
        zeva::unarchiveObjectWithData(reinterpret_cast<const uint8_t*>(text.data()), text.size(), &error);
    EXPECT_TRUE(restored) << error;
    return restored;
}

TEST(ZEVAQuantity, Descriptions) {
    struct Case {
        const char* what;
        std::function<Ref<ZEVAQuantity>()> make;
        const char* text;
    };
    auto with = [](std::function<void(ZEVAQuantity&)> change) {
        return [change] {
            auto q = ZEVAQuantity::create();
            change(*q);
            return q;
        };
    };
    const std::vector<Case> cases = {
        {"new", [] { return ZEVAQuantity::create(); }, "1.000000 [METER (x10^0)]^0"},
        {"new length", [] { return ZEVALength::create(); }, "1.000000 [METER (x10^0)]^0"},
        {"metres", with([](ZEVAQuantity& q) { q.setMKSLength(2.5); }), "2.500000 METER"},
        {"seconds", with([](ZEVAQuantity& q) { q.setTimeValue(0.01); }), "0.010000 SECONDS"},
        {"degrees", with([](ZEVAQuantity& q) { q.setDegreeValue(45); }), "45.000000 Degrees"},
        {"radians", with([](ZEVAQuantity& q) { q.setRadianValue(1); }), "1.000000 Radians"},
        {"negative, rounded", with([](ZEVAQuantity& q) { q.set_value(-12.3456789); }),
         "-12.345679 [METER (x10^0)]^0"},
        {"metres after degrees",
         with([](ZEVAQuantity& q) {
             q.setDegreeValue(10);
             q.setMKSLength(3);
         }),
         "3.000000 METER"},
        {"plain unit: the number and a blank",
         with([](ZEVAQuantity& q) {
             q.set_value(3);
             q.set_the_units(ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kSecond));
         }),
         "3.000000 "},
        {"no unit",
         with([](ZEVAQuantity& q) {
             q.set_the_units(nullptr);
             q.setTimeValue(7);
         }),
         "7.000000 (null)"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.make()->description(), c.text) << c.what;
}

TEST(ZEVAQuantity, SettersReshapeTheHeldUnitInPlace) {
    auto q = ZEVAQuantity::create();
    auto unit = q->_the_units();
    ASSERT_TRUE(unit);

    q->setTimeValue(0.01);
    EXPECT_EQ(q->_the_units(), unit);
    EXPECT_EQ(q->value(), 0.01);
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kSecond);
    EXPECT_EQ(unit->name()->str(), "SECONDS");

    q->setDegreeValue(45);
    EXPECT_EQ(q->_the_units(), unit);
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kComposite);
    EXPECT_EQ(unit->multi_factor(), 57.29577951308232);

    // A length after degrees changes name and code only: the degree factor
    // and the composite's elements stay in the unit.
    q->setMKSLength(2.5);
    EXPECT_EQ(q->_the_units(), unit);
    EXPECT_EQ(q->_value(), 2.5);
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kMeter);
    EXPECT_EQ(unit->name()->str(), "METER");
    EXPECT_EQ(unit->multi_factor(), 57.29577951308232);
    ASSERT_TRUE(unit->_elements());
    EXPECT_EQ(unit->_elements()->count(), 2u);
}

TEST(ZEVAQuantity, SharedUnitSeesEveryHoldersChange) {
    auto depth = ZEVAQuantity::create();
    auto delay = ZEVAQuantity::create();
    delay->set_the_units(depth->_the_units());

    delay->setTimeValue(0.5);
    EXPECT_EQ(depth->description(), "1.000000 SECONDS");
    EXPECT_EQ(depth->value(), 1.0);

    depth->setRadianValue(2);
    EXPECT_EQ(delay->description(), "0.500000 Radians");
}

TEST(ZEVAQuantity, SettersWithoutAUnitSetOnlyTheNumber) {
    const std::vector<std::function<void(ZEVAQuantity&, double)>> setters = {
        [](ZEVAQuantity& q, double v) { q.setMKSLength(v); },
        [](ZEVAQuantity& q, double v) { q.setTimeValue(v); },
        [](ZEVAQuantity& q, double v) { q.setDegreeValue(v); },
        [](ZEVAQuantity& q, double v) { q.setRadianValue(v); },
    };
    for (const auto& set : setters) {
        auto q = ZEVAQuantity::create();
        q->set_the_units(nullptr);
        set(*q, 8.25);
        EXPECT_EQ(q->value(), 8.25);
        EXPECT_EQ(q->_the_units(), nullptr);
    }
}

TEST(ZEVAQuantity, HasNoDictionaryForm) {
    auto q = ZEVAQuantity::create();
    EXPECT_EQ(q->dMarshal(), nullptr);
    q->setDegreeValue(12);
    EXPECT_EQ(q->dMarshal(), nullptr);
    EXPECT_EQ(ZEVALength::create()->dMarshal(), nullptr);
    EXPECT_EQ(ZEVAQuantity::alloc()->dMarshal(), nullptr);
}

TEST(ZEVAQuantity, ArchiveRoundTrip) {
    auto q = ZEVAQuantity::create();
    q->setDegreeValue(0.1 + 0.2);  // a value that prints short but is not
    auto back = roundTrip(q);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->value(), 0.1 + 0.2);
    EXPECT_EQ(back->description(), "0.300000 Degrees");
    ASSERT_TRUE(back->_the_units());
    EXPECT_EQ(back->_the_units()->multi_factor(), 57.29577951308232);

    auto length = ZEVALength::create();
    length->setMKSLength(-4.5);
    zeva::ObjectRef restored = restore(length);
    ASSERT_TRUE(restored);
    EXPECT_STREQ(restored->className(), "ZEVALength");
    auto backLength = std::dynamic_pointer_cast<ZEVALength>(restored);
    ASSERT_TRUE(backLength);
    EXPECT_EQ(backLength->description(), "-4.500000 METER");
    EXPECT_EQ(backLength->_the_units()->the_unit_base(), ZEVAUnit::kMeter);

    // A quantity without a unit comes back without one: no init default.
    auto bare = ZEVAQuantity::create();
    bare->set_the_units(nullptr);
    auto backBare = roundTrip(bare);
    ASSERT_TRUE(backBare);
    EXPECT_EQ(backBare->_the_units(), nullptr);
    EXPECT_EQ(backBare->value(), 1.0);
}

TEST(ZEVASampling, NewSampling) {
    auto s = ZEVASampling::create();
    EXPECT_EQ(s->description(), kNewSampling);
    EXPECT_EQ(s->_numPoints(), 20);
    EXPECT_EQ(s->sampleRateInSeconds(), 0.05f);

    auto interval = s->_interval();
    ASSERT_TRUE(interval);
    EXPECT_EQ(interval->value(), 1.0);
    auto unit = interval->_the_units();
    ASSERT_TRUE(unit);
    // The plain interval unit is a second.
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kSecond);
    EXPECT_EQ(unit->multi_factor(), 1.0);
    EXPECT_EQ(unit->power(), 0);
    EXPECT_EQ(unit->exponent(), 0);
    ASSERT_TRUE(unit->name());
    EXPECT_EQ(unit->name()->str(), "");
    ASSERT_TRUE(unit->_elements());
    EXPECT_EQ(unit->_elements()->count(), 0u);

    // Two samplings do not share their defaults.
    auto other = ZEVASampling::create();
    EXPECT_NE(other->_interval(), interval);
    EXPECT_NE(other->_interval()->_the_units(), unit);
}

TEST(ZEVASampling, SecondsPerSample) {
    const double inf = std::numeric_limits<double>::infinity();
    struct Case {
        double interval;
        int32_t points;
        double expected;  // NaN for not-a-number
    };
    const std::vector<Case> cases = {
        {1.0, 20, 0.05f},
        {10.0, 1000, 0.01f},
        {1.0, 3, 1.0f / 3.0f},
        {-2.0, 4, -0.5},
        {5.0, -10, -0.5},
        {1.0, 0, inf},
        {-1.0, 0, -inf},
        {0.0, 0, std::nan("")},
    };
    for (const auto& c : cases) {
        auto s = ZEVASampling::create();
        s->_interval()->set_value(c.interval);
        s->set_numPoints(c.points);
        float rate = s->sampleRateInSeconds();
        if (std::isnan(c.expected))
            EXPECT_TRUE(std::isnan(rate)) << c.interval << " / " << c.points;
        else
            EXPECT_EQ(rate, static_cast<float>(c.expected)) << c.interval << " / " << c.points;
    }

    // The unit's power of ten is not applied.
    auto milli = ZEVASampling::create();
    milli->_interval()->_the_units()->setPower(-3);
    EXPECT_EQ(milli->sampleRateInSeconds(), 0.05f);

    auto none = ZEVASampling::create();
    none->set_interval(nullptr);
    EXPECT_EQ(none->sampleRateInSeconds(), 0.0f);
    EXPECT_EQ(none->description(), "ZEVASampling: Time Interval = (null) / Npts = 20");
}

TEST(ZEVASampling, DescriptionFollowsTheInterval) {
    auto s = ZEVASampling::create();
    s->set_numPoints(100);
    s->_interval()->setTimeValue(0.01);
    EXPECT_EQ(s->description(), "ZEVASampling: Time Interval = 0.010000 SECONDS / Npts = 100");
}

TEST(ZEVASamplingRange, Descriptions) {
    auto range = ZEVASamplingRange::create();
    EXPECT_EQ(range->_min(), nullptr);
    EXPECT_EQ(range->_max(), nullptr);
    EXPECT_EQ(range->description(), "ZEVASamplingRange:(null) To (null)");

    auto fast = ZEVASampling::create();
    fast->set_numPoints(200);
    range->set_min(ZEVASampling::create());
    range->set_max(fast);
    EXPECT_EQ(range->description(), std::string("ZEVASamplingRange:") + kNewSampling +
                                        " To ZEVASampling: Time Interval = 1.000000  / Npts = 200");
}

TEST(ZEVASamplingRange, ArchiveKeepsSharedObjectsShared) {
    // Two samplings whose intervals share one unit, and a second reference to
    // one interval: each shared object must come back as one object.
    auto slow = ZEVASampling::create();
    auto fast = ZEVASampling::create();
    fast->set_numPoints(400);
    fast->_interval()->set_the_units(slow->_interval()->_the_units());
    slow->_interval()->setTimeValue(2.0);
    auto range = ZEVASamplingRange::create();
    range->set_min(slow);
    range->set_max(fast);

    auto back = roundTrip(range);
    ASSERT_TRUE(back && back->_min() && back->_max());
    EXPECT_EQ(back->description(), range->description());
    EXPECT_EQ(back->description(),
              "ZEVASamplingRange:ZEVASampling: Time Interval = 2.000000 SECONDS / Npts = 20 To "
              "ZEVASampling: Time Interval = 1.000000 SECONDS / Npts = 400");
    auto slowUnit = back->_min()->_interval()->_the_units();
    ASSERT_TRUE(slowUnit);
    EXPECT_EQ(back->_max()->_interval()->_the_units(), slowUnit);
    back->_max()->_interval()->setRadianValue(1.0);
    EXPECT_EQ(back->_min()->_interval()->description(), "2.000000 Radians");
    EXPECT_FLOAT_EQ(back->_max()->sampleRateInSeconds(), 1.0f / 400.0f);

    auto same = ZEVASamplingRange::create();
    same->set_min(fast);
    same->set_max(fast);
    auto backSame = roundTrip(same);
    ASSERT_TRUE(backSame && backSame->_min());
    EXPECT_EQ(backSame->_min(), backSame->_max());
}

TEST(ZEVASampling, ArchiveRoundTrip) {
    auto s = ZEVASampling::create();
    s->set_numPoints(-7);
    s->_interval()->set_value(3.5);
    auto back = roundTrip(s);
    ASSERT_TRUE(back && back->_interval());
    EXPECT_EQ(back->_numPoints(), -7);
    EXPECT_EQ(back->description(), "ZEVASampling: Time Interval = 3.500000  / Npts = -7");
    EXPECT_EQ(back->_interval()->_the_units()->the_unit_base(), ZEVAUnit::kSecond);

    auto empty = ZEVASampling::create();
    empty->set_interval(nullptr);
    auto backEmpty = roundTrip(empty);
    ASSERT_TRUE(backEmpty);
    EXPECT_EQ(backEmpty->_interval(), nullptr);
    EXPECT_EQ(backEmpty->_numPoints(), 20);
}

TEST(UnitAndQuantityClasses, RestoringRunsNoInit) {
    // Keys that an archive lacks read as zero and null, not as the defaults
    // of create().
    auto sampling = std::dynamic_pointer_cast<ZEVASampling>(
        restoreWithoutKeys(ZEVASampling::create(), {"_numPoints", "_interval"}));
    ASSERT_TRUE(sampling);
    EXPECT_EQ(sampling->_numPoints(), 0);
    EXPECT_EQ(sampling->_interval(), nullptr);
    EXPECT_EQ(sampling->description(), "ZEVASampling: Time Interval = (null) / Npts = 0");

    for (const zeva::Ref<ZEVAQuantity>& original : {ZEVAQuantity::create(), zeva::Ref<ZEVAQuantity>(ZEVALength::create())}) {
        auto q = std::dynamic_pointer_cast<ZEVAQuantity>(restoreWithoutKeys(original, {"_value", "_the_units"}));
        ASSERT_TRUE(q) << original->className();
        EXPECT_STREQ(q->className(), original->className());
        EXPECT_EQ(q->value(), 0.0);
        EXPECT_EQ(q->_the_units(), nullptr);
        EXPECT_EQ(q->description(), "0.000000 (null)");
    }

    // A plain unit has factor 1 and an empty name; without its keys it is
    // the all-zero unit.
    auto plain = ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount);
    auto unit = std::dynamic_pointer_cast<ZEVAUnit>(restoreWithoutKeys(
        plain, {"_the_unit_base", "_elements", "_power", "_name", "_multi_factor", "_exponent"}));
    ASSERT_TRUE(unit);
    EXPECT_EQ(unit->name(), nullptr);
    EXPECT_EQ(unit->_elements(), nullptr);
    EXPECT_EQ(unit->multi_factor(), 0.0);
    EXPECT_EQ(unit->the_unit_base(), ZEVAUnit::kMeter);
    EXPECT_EQ(unit->description(), "[METER (x10^0)]^0");

    auto full = ZEVASamplingRange::create();
    full->set_min(ZEVASampling::create());
    full->set_max(ZEVASampling::create());
    auto range = std::dynamic_pointer_cast<ZEVASamplingRange>(restoreWithoutKeys(full, {"_min", "_max"}));
    ASSERT_TRUE(range);
    EXPECT_EQ(range->description(), "ZEVASamplingRange:(null) To (null)");
}

}  // namespace
