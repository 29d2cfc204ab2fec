// ZEVAQuantity: a number with a unit. Depths, elevations, distances, delays,
// clock offsets and sampling intervals are quantities.
//
// The unit is shared, not copied: the four value setters below change the
// unit object the quantity holds in place, so every other holder of that
// unit sees the change.
#pragma once

#include <string>

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/time/ZEVAUnit.hpp"

class ZEVAQuantity : public KWOObject {
    ZEVA_OBJECT(ZEVAQuantity, KWOObject)

public:
    // Value 1.0 with a new unnamed metre (ZEVAUnit's init).
    void init() override;

    // "%f %@": the value with six decimals, a blank, the unit's text.
    std::string description() const override;

    double _value() const { return value_; }
    void set_value(double v) { value_ = v; }
    zeva::Ref<ZEVAUnit> _the_units() const { return the_units_; }
    void set_the_units(const zeva::Ref<ZEVAUnit>& v);  // shared

    double value() const { return value_; }

    // Each sets the value and reshapes the held unit (nothing more when the
    // quantity has no unit). Only what a setter names changes: after
    // setDegreeValue, setMKSLength leaves the degree factor and elements in
    // the unit and changes its name and base code.
    // Unit named "METER", base code 0.
    void setMKSLength(double v);
    // Unit named "SECONDS", base code 2.
    void setTimeValue(double v);
    // Unit turned into degrees (ZEVAUnit::makeDegrees).
    void setDegreeValue(double v);
    // Unit turned into radians (ZEVAUnit::makeRadians).
    void setRadianValue(double v);

    // A quantity has no dictionary form: always null.
    zeva::Ref<zeva::Dictionary> dMarshal() const { return nullptr; }

private:
    double value_ = 0.0;
    zeva::Ref<ZEVAUnit> the_units_;
};
