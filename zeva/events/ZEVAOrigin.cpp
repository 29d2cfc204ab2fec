#include "zeva/events/ZEVAOrigin.hpp"

#include "zeva/events/flinn_engdahl.h"
#include "zeva/events/flinn_engdahl_text.hpp"

using zeva::Ref;
using zeva::String;

ZEVA_DEFINE_CLASS(ZEVAMagnitude, KWOObject,
                  zeva::prop("_type", &ZEVAMagnitude::_type, &ZEVAMagnitude::set_type),
                  zeva::prop("_value", &ZEVAMagnitude::_value, &ZEVAMagnitude::set_value),
                  zeva::prop("_contributor", &ZEVAMagnitude::_contributor, &ZEVAMagnitude::set_contributor))

// The two region numbers go through the coder's own integer calls.
ZEVA_DEFINE_CLASS(ZEVAOrigin, KWOObject,
                  zeva::prop("_id", &ZEVAOrigin::_id, &ZEVAOrigin::set_id),
                  zeva::prop("_catalog", &ZEVAOrigin::_catalog, &ZEVAOrigin::set_catalog),
                  zeva::prop("_contributor", &ZEVAOrigin::_contributor, &ZEVAOrigin::set_contributor),
                  zeva::prop("_origin_time", &ZEVAOrigin::_origin_time, &ZEVAOrigin::set_origin_time),
                  zeva::prop("_my_location", &ZEVAOrigin::_my_location, &ZEVAOrigin::set_my_location),
                  zeva::prop("_magnitudes", &ZEVAOrigin::_magnitudes, &ZEVAOrigin::set_magnitudes),
                  zeva::prop("_parm_ids", &ZEVAOrigin::_parm_ids, &ZEVAOrigin::set_parm_ids),
                  zeva::prop("flinnEngdahlString", &ZEVAOrigin::flinnEngdahlString,
                             &ZEVAOrigin::setFlinnEngdahlString),
                  zeva::propInt("myGreg", &ZEVAOrigin::myGreg, &ZEVAOrigin::setMyGreg),
                  zeva::propInt("mySreg", &ZEVAOrigin::mySreg, &ZEVAOrigin::setMySreg))

std::string ZEVAMagnitude::description() const {
    return zeva::format("%5.2f %@ %@", double{value_}, type_, contributor_);
}

void ZEVAOrigin::init() {
    super::init();
    set_origin_time(ZEVATime::create());
    set_my_location(ZEVALocation::create());
}

Ref<String> ZEVAOrigin::timeString() const {
    return origin_time_ ? zeva::str(origin_time_->description()) : nullptr;
}

void ZEVAOrigin::setOriginTime(const Ref<zeva::Date>& date) {
    if (origin_time_) origin_time_->setNsDate(date);
}

void ZEVAOrigin::formatOriginTime() {
    if (origin_time_) origin_time_->cleanDateTimeString();
}

void ZEVAOrigin::setLatitude(float v) {
    if (my_location_) my_location_->set_latitude(v);
}

void ZEVAOrigin::setLongitude(float v) {
    if (my_location_) my_location_->set_longitude(v);
}

void ZEVAOrigin::setDepth(float v) {
    if (my_location_) my_location_->setDepthValue(double{v});
}

float ZEVAOrigin::magnitude() const {
    if (!magnitudes_) return 0.0f;
    auto first = magnitudes_->objectAtIndexAs<ZEVAMagnitude>(0);
    return first ? first->magnitude() : kNoMagnitude;
}

float ZEVAOrigin::magnitudeOfType(const Ref<String>& type) const {
    if (!magnitudes_) return kNoMagnitude;
    for (const auto& entry : *magnitudes_) {
        auto m = std::dynamic_pointer_cast<ZEVAMagnitude>(entry);
        if (!m) continue;
        auto t = m->type();
        // Only a type equal to the argument matches: a null type matches nothing.
        if (t && type && t->isEqualToString(*type)) return m->magnitude();
    }
    return kNoMagnitude;
}

void ZEVAOrigin::addMagnitude_Type_Contrib(float value, const Ref<String>& type, const Ref<String>& contributor) {
    auto m = ZEVAMagnitude::create();
    m->set_value(value);
    m->set_type(type);
    m->set_contributor(contributor);
    auto list = std::make_shared<zeva::MutableArray>(magnitudes_ ? magnitudes_->objects()
                                                                 : std::vector<zeva::ObjectRef>{});
    list->addObject(m);
    set_magnitudes(list);
}

void ZEVAOrigin::setFERegion() {
    // Blank hemisphere letters: the signs of the position choose the quadrant.
    fe_lookup(latitude(), ' ', longitude(), ' ', &myGreg_, &mySreg_);
    setFlinnEngdahlString(zeva::str(zeva::feRegionText(myGreg_, mySreg_)));
}

Ref<String> ZEVAOrigin::FERegion() const {
    return flinnEngdahlString_ ? zeva::str(flinnEngdahlString_->str()) : nullptr;
}

Ref<String> ZEVAOrigin::shortFERegion() const {
    if (!flinnEngdahlString_) return nullptr;
    size_t at = flinnEngdahlString_->str().find('(');
    if (at == std::string::npos) return zeva::str(flinnEngdahlString_->str());
    return flinnEngdahlString_->substringToIndex(at);
}

namespace {
template <class T>
int compareNumbers(T left, T right) {
    if (right > left) return -1;
    if (left > right) return 1;
    return 0;
}

// The platform's text comparison: byte order, a null text first.
int compareTexts(const Ref<String>& left, const Ref<String>& right) {
    if (!left || !right) return left ? 1 : (right ? -1 : 0);
    int c = left->str().compare(right->str());
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}
}  // namespace

int ZEVAOrigin::compareMagnitudes(const ZEVAOrigin& other) const {
    return compareNumbers(magnitude(), other.magnitude());
}

int ZEVAOrigin::compareOriginTimes(const ZEVAOrigin& other) const {
    return compareTexts(origin_time_ ? origin_time_->_date_time() : nullptr,
                        other.origin_time_ ? other.origin_time_->_date_time() : nullptr);
}

int ZEVAOrigin::compareFERegions(const ZEVAOrigin& other) const { return compareTexts(FERegion(), other.FERegion()); }

int ZEVAOrigin::compareDepths(const ZEVAOrigin& other) const {
    return compareNumbers(depthValue(), other.depthValue());
}

int ZEVAOrigin::compareLatitudes(const ZEVAOrigin& other) const {
    return compareNumbers(latitude(), other.latitude());
}

int ZEVAOrigin::compareLongitudes(const ZEVAOrigin& other) const {
    return compareNumbers(longitude(), other.longitude());
}

int ZEVAOrigin::compareContributor(const ZEVAOrigin& other) const {
    return compareTexts(contributor_, other.contributor_);
}

std::string ZEVAOrigin::description() const {
    std::string text = "\nZEVA Origin\n";
    text += zeva::format("%@ %@ %@ %@\n", catalog_, contributor_, origin_time_, my_location_);
    if (magnitudes_)
        for (const auto& m : *magnitudes_) text += zeva::format("%@\n", m);
    return text;
}
