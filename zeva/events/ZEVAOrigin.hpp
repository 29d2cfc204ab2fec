// An earthquake origin (time, hypocentre, magnitudes, Flinn-Engdahl region)
// and one magnitude of it.
#pragma once

#include "zeva/core/KWOObject.hpp"
#include "zeva/events/ZEVALocation.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Date.hpp"
#include "zeva/time/ZEVATime.hpp"

class ZEVAMagnitude : public KWOObject {
    ZEVA_OBJECT(ZEVAMagnitude, KWOObject)
public:
    zeva::Ref<zeva::String> _type() const { return type_; }
    void set_type(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(type_, v); }
    float _value() const { return value_; }
    void set_value(float v) { value_ = v; }
    zeva::Ref<zeva::String> _contributor() const { return contributor_; }
    void set_contributor(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(contributor_, v); }

    float magnitude() const { return value_; }
    zeva::Ref<zeva::String> type() const { return type_; }
    zeva::Ref<zeva::String> contributor() const { return contributor_; }

    // "%5.2f %@ %@": value, type, contributor.
    std::string description() const override;

private:
    zeva::Ref<zeva::String> type_;
    float value_ = 0;
    zeva::Ref<zeva::String> contributor_;
};

class ZEVAOrigin : public KWOObject {
    ZEVA_OBJECT(ZEVAOrigin, KWOObject)
public:
    // The no-magnitude mark of magnitudeOfType and magnitude.
    static constexpr float kNoMagnitude = -12345.0f;

    // A time of its own (the current instant) and a location of its own.
    void init() override;

    zeva::Ref<zeva::String> _id() const { return id_; }
    void set_id(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(id_, v); }
    zeva::Ref<zeva::String> _catalog() const { return catalog_; }
    void set_catalog(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(catalog_, v); }
    zeva::Ref<zeva::String> _contributor() const { return contributor_; }
    void set_contributor(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(contributor_, v); }
    zeva::Ref<ZEVATime> _origin_time() const { return origin_time_; }
    void set_origin_time(const zeva::Ref<ZEVATime>& v) { origin_time_ = v; }
    zeva::Ref<ZEVALocation> _my_location() const { return my_location_; }
    void set_my_location(const zeva::Ref<ZEVALocation>& v) { my_location_ = v; }
    zeva::Ref<zeva::Array> _magnitudes() const { return magnitudes_; }
    void set_magnitudes(const zeva::Ref<zeva::Array>& v) { magnitudes_ = v; }
    zeva::Ref<zeva::Array> _parm_ids() const { return parm_ids_; }
    void set_parm_ids(const zeva::Ref<zeva::Array>& v) { parm_ids_ = v; }
    zeva::Ref<zeva::String> flinnEngdahlString() const { return flinnEngdahlString_; }
    void setFlinnEngdahlString(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(flinnEngdahlString_, v); }
    int32_t myGreg() const { return myGreg_; }
    void setMyGreg(int32_t v) { myGreg_ = v; }
    int32_t mySreg() const { return mySreg_; }
    void setMySreg(int32_t v) { mySreg_ = v; }

    zeva::Ref<zeva::String> kwo_id() const { return id_; }
    // The origin time's text; null without a time.
    zeva::Ref<zeva::String> timeString() const;
    const zeva::Ref<ZEVATime>& originTime() const { return origin_time_; }
    void setOriginTime(const zeva::Ref<zeva::Date>& date);
    void formatOriginTime();

    // Position through the location; 0 without one.
    float latitude() const { return my_location_ ? my_location_->latitude() : 0.0f; }
    float longitude() const { return my_location_ ? my_location_->longitude() : 0.0f; }
    double depthValue() const { return my_location_ ? my_location_->depth() : 0.0; }
    void setLatitude(float v);
    void setLongitude(float v);
    void setDepth(float v);

    // The first magnitude's value: 0.0 without a list, the no-magnitude
    // mark for an empty one.
    float magnitude() const;
    // The first magnitude of exactly that type, or the no-magnitude mark.
    float magnitudeOfType(const zeva::Ref<zeva::String>& type) const;
    void addMagnitude_Type_Contrib(float value, const zeva::Ref<zeva::String>& type,
                                   const zeva::Ref<zeva::String>& contributor);

    // Looks the epicentre up in the Flinn-Engdahl tables and stores the two
    // region numbers and the text "geographic name (seismic name)".
    void setFERegion();
    // A new text equal to the region text; null when never set.
    zeva::Ref<zeva::String> FERegion() const;
    // The region text up to its first "(", the blank before it included;
    // the whole text without "("; null when never set.
    zeva::Ref<zeva::String> shortFERegion() const;

    // The event table's orderings: -1, 0 or 1. The numeric ones answer 0
    // for equal values and whenever a value is not a number.
    int compareMagnitudes(const ZEVAOrigin& other) const;
    int compareOriginTimes(const ZEVAOrigin& other) const;
    int compareFERegions(const ZEVAOrigin& other) const;
    int compareDepths(const ZEVAOrigin& other) const;
    int compareLatitudes(const ZEVAOrigin& other) const;
    int compareLongitudes(const ZEVAOrigin& other) const;
    int compareContributor(const ZEVAOrigin& other) const;

    std::string description() const override;

private:
    zeva::Ref<zeva::String> id_;
    zeva::Ref<zeva::String> catalog_;
    zeva::Ref<zeva::String> contributor_;
    zeva::Ref<ZEVATime> origin_time_;
    zeva::Ref<ZEVALocation> my_location_;
    zeva::Ref<zeva::Array> magnitudes_;
    zeva::Ref<zeva::Array> parm_ids_;
    zeva::Ref<zeva::String> flinnEngdahlString_;
    int32_t myGreg_ = 0;
    int32_t mySreg_ = 0;
};
