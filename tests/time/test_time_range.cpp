#include <gtest/gtest.h>

#include "zeva/time/ZEVATimeRange.hpp"

using namespace zeva;

TEST(ZEVATimeRange, NewRangeHasTwoTimesOfItsOwn) {
    auto r = ZEVATimeRange::create();
    ASSERT_TRUE(r->_start_time() && r->_end_time());
    EXPECT_NE(r->_start_time(), r->_end_time());
    EXPECT_EQ(r->description(),
              "Start:" + r->_start_time()->description() + " End:" + r->_end_time()->description());

    auto start = ZEVATime::create();
    start->setNsDate(Date::dateWithTimeIntervalSince1970(1243864992));
    r->setStartTime(start);
    EXPECT_EQ(r->description().rfind("Start:2009-06-01T14:03:12.0000Z End:", 0), 0u) << r->description();
}
