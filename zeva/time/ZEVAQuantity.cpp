#include "zeva/time/ZEVAQuantity.hpp"

ZEVA_DEFINE_CLASS(ZEVAQuantity, KWOObject,
                  zeva::prop("_value", &ZEVAQuantity::_value, &ZEVAQuantity::set_value),
                  zeva::prop("_the_units", &ZEVAQuantity::_the_units, &ZEVAQuantity::set_the_units))

void ZEVAQuantity::init() {
    super::init();
    value_ = 1.0;
    set_the_units(ZEVAUnit::create());
}

std::string ZEVAQuantity::description() const { return zeva::format("%f %@", value_, the_units_); }

void ZEVAQuantity::set_the_units(const zeva::Ref<ZEVAUnit>& v) {
    if (v == the_units_) return;
    the_units_ = v;
}

void ZEVAQuantity::setMKSLength(double v) {
    value_ = v;
    if (!the_units_) return;
    the_units_->setName(zeva::str("METER"));
    the_units_->setTheUnitBase(ZEVAUnit::kMeter);
}

void ZEVAQuantity::setTimeValue(double v) {
    value_ = v;
    if (!the_units_) return;
    the_units_->setName(zeva::str("Seconds"));
    the_units_->setTheUnitBase(ZEVAUnit::kSecond);
}

void ZEVAQuantity::setDegreeValue(double v) {
    value_ = v;
    if (the_units_) the_units_->makeDegrees();
}

void ZEVAQuantity::setRadianValue(double v) {
    value_ = v;
    if (the_units_) the_units_->makeRadians();
}
