#include "zeva/time/ZEVASampling.hpp"

ZEVA_DEFINE_CLASS(ZEVASampling, KWOObject,
                  zeva::prop("_numPoints", &ZEVASampling::_numPoints, &ZEVASampling::set_numPoints),
                  zeva::prop("_interval", &ZEVASampling::_interval, &ZEVASampling::set_interval))

void ZEVASampling::init() {
    super::init();
    numPoints_ = 20;
    auto interval = ZEVAQuantity::create();
    interval->set_value(1.0);
    // The interval is read as a time everywhere, so its plain unit is a
    // second. Its name is empty, so the text form does not show the code.
    interval->set_the_units(ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kSecond));
    set_interval(interval);
}

std::string ZEVASampling::description() const {
    return zeva::format("ZEVASampling: Time Interval = %@ / Npts = %d", interval_, numPoints_);
}

void ZEVASampling::set_interval(const zeva::Ref<ZEVAQuantity>& v) {
    if (v == interval_) return;
    interval_ = v;
}

float ZEVASampling::sampleRateInSeconds() const {
    double value = interval_ ? interval_->_value() : 0.0;
    return static_cast<float>(value / static_cast<double>(numPoints_));
}
