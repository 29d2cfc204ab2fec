// ZEVASampling: how densely a signal is sampled, as a number of points within
// a time interval (a quantity with its unit).
#pragma once

#include <cstdint>
#include <string>

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVAQuantity.hpp"

class ZEVASampling : public KWOObject {
    ZEVA_OBJECT(ZEVASampling, KWOObject)

public:
    // 20 points in an interval of 1.0 whose unit is a plain second
    // (ZEVAUnit::initWithZEVAUnitBase(2): empty name, factor 1).
    void init() override;

    // "ZEVASampling: Time Interval = %@ / Npts = %d". With the default
    // interval the unit's text is empty, which leaves two blanks before the
    // slash.
    std::string description() const override;

    int32_t _numPoints() const { return numPoints_; }
    void set_numPoints(int32_t v) { numPoints_ = v; }
    zeva::Ref<ZEVAQuantity> _interval() const { return interval_; }
    void set_interval(const zeva::Ref<ZEVAQuantity>& v);  // shared

    // The interval's value divided by the number of points, as a float: the
    // time between two samples in the interval's own unit, its power of ten
    // not applied. 0 points gives infinity (or NaN for a zero interval); no
    // interval counts as a value of 0.
    float sampleRateInSeconds() const;

private:
    int32_t numPoints_ = 0;
    zeva::Ref<ZEVAQuantity> interval_;
};
