#include <gtest/gtest.h>

#include "zeva/events/ZEVAArea.hpp"
#include "zeva/events/ZEVALocation.hpp"

using namespace zeva;

TEST(ZEVALocation, DescriptionsDepthAndArchive) {
    const std::string unit = "1.000000 [METER (x10^0)]^0";
    auto l = ZEVALocation::create();
    EXPECT_EQ(l->description(), "  0.000    0.000 " + unit + " " + unit);
    l->set_latitude(-33.5f);
    l->set_longitude(-70.25f);
    l->set_type(3);
    auto unitBefore = l->_depth()->_the_units();
    l->setDepthValue(10.0);
    EXPECT_EQ(l->_depth()->_the_units(), unitBefore);
    EXPECT_EQ(l->description(), "-33.500  -70.250 " + unit + " 10.000000 [METER (x10^0)]^0");

    auto bare = ZEVALocation::alloc();
    EXPECT_EQ(std::make_pair(bare->depth(), bare->elevation()), std::make_pair(0.0, 0.0));
    bare->setDepthValue(5);  // no quantity to write into: nothing happens
    EXPECT_FALSE(bare->_depth());
}

TEST(ZEVAOrientation, Description) {
    auto o = ZEVAOrientation::create();
    o->set_azimuth(90);
    o->set_dip(-90);
    EXPECT_EQ(o->description(), "ZEVAOrientation: Azimuth:90.000000 Dip:-90.000000");
}

TEST(ZEVABoxArea, EdgesTextAndDictionary) {
    auto box = ZEVABoxArea::create();
    EXPECT_EQ(box->description(), "WESN: -180.000 180.000 -90.000 90.000");
    box->setW_E_S_N(-10, 20, -30, 40);
    EXPECT_EQ(box->description(), "WESN: -10.000 20.000 -30.000 40.000");
    auto d = box->dMarshal();
    ASSERT_EQ(d->count(), 4u);
    for (const auto& [key, want] : {std::pair{"min_latitude", -30.0f}, {"max_latitude", 40.0f},
                                    {"min_longitude", -10.0f}, {"max_longitude", 20.0f}}) {
        auto n = d->objectForKeyAs<Number>(key);
        EXPECT_TRUE(n && n->floatValue() == want && n->kind() == Number::Kind::Float) << key;
    }
    box->setW_E_S_N(170, -170, 0, 0);  // across the date line: kept as given
    EXPECT_EQ(box->description(), "WESN: 170.000 -170.000 0.000 0.000");
}

TEST(ZEVAArea, NewAreasAndRegions) {
    auto a = ZEVAPointDistanceArea::create();
    ASSERT_TRUE(a->_min_distance() && a->_max_distance() && a->_min_distance() != a->_max_distance());
    EXPECT_EQ(a->_min_distance()->value() + a->_max_distance()->value(), 2.0);
    EXPECT_EQ(ZEVAFlinnEngdahlRegion::create()->_type(), 1);
}
