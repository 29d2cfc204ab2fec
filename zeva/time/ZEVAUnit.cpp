#include "zeva/time/ZEVAUnit.hpp"

#include <cmath>

ZEVA_DEFINE_CLASS(ZEVAUnit, KWOObject,
                  zeva::prop("_the_unit_base", &ZEVAUnit::_the_unit_base, &ZEVAUnit::set_the_unit_base),
                  zeva::prop("_elements", &ZEVAUnit::_elements, &ZEVAUnit::set_elements),
                  zeva::prop("_power", &ZEVAUnit::_power, &ZEVAUnit::set_power),
                  zeva::prop("_name", &ZEVAUnit::_name, &ZEVAUnit::set_name),
                  zeva::prop("_multi_factor", &ZEVAUnit::_multi_factor, &ZEVAUnit::set_multi_factor),
                  zeva::prop("_exponent", &ZEVAUnit::_exponent, &ZEVAUnit::set_exponent))

void ZEVAUnit::init() {
    super::init();
    set_name(nullptr);
    set_elements(nullptr);
    the_unit_base_ = kMeter;
    power_ = 0;
    multi_factor_ = 0.0;
    exponent_ = 0;
}

void ZEVAUnit::initWithZEVAUnitBase(int32_t base) {
    // An initialiser of its own rather than init() plus changes: the plain
    // unit's defaults (empty name, factor 1) are not init's.
    super::init();
    set_elements(zeva::MutableArray::array());
    set_name(zeva::str(""));
    the_unit_base_ = base;
    power_ = 0;
    multi_factor_ = 1.0;
    exponent_ = 0;
}

zeva::Ref<ZEVAUnit> ZEVAUnit::createWithZEVAUnitBase(int32_t base) {
    auto unit = alloc();
    unit->initWithZEVAUnitBase(base);
    return unit;
}

void ZEVAUnit::set_elements(const zeva::Ref<zeva::Array>& v) {
    if (v == elements_) return;
    elements_ = v;
}

void ZEVAUnit::set_name(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(name_, v); }

void ZEVAUnit::setName(const zeva::Ref<zeva::String>& v) { set_name(v ? v->uppercaseString() : nullptr); }

std::string ZEVAUnit::description() const {
    if (name_) return name_->str();
    const char* pattern = nullptr;
    switch (the_unit_base_) {
        case kMeter: pattern = "[METER (x10^%d)]^%d"; break;
        case kSecond: pattern = "[SECOND (x10^%d)]^%d"; break;
        case kCount: pattern = "[COUNT (x10^%d)]^%d"; break;
        case kComposite: pattern = "[COMPOSITE (x10^%d)]^%d"; break;
        default: return "None";
    }
    return zeva::format(pattern, power_, exponent_);
}

void ZEVAUnit::makeRadians() {
    setTheUnitBase(kComposite);
    auto numerator = ZEVAUnit::create();
    numerator->setTheUnitBase(kMeter);
    auto denominator = ZEVAUnit::create();
    denominator->setTheUnitBase(kMeter);
    denominator->setExponent(-1);
    set_elements(zeva::Array::arrayWithObjects({numerator, denominator}));
    set_name(zeva::str("Radians"));
}

void ZEVAUnit::makeDegrees() {
    makeRadians();
    setMultiFactor(180.0 / std::acos(-1.0));
    set_name(zeva::str("Degrees"));
}
