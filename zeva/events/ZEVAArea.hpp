// Geographic areas that select events or stations by place, and event
// attributes.
#pragma once

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/time/ZEVAQuantity.hpp"

// Common base of all areas; no fields of its own.
class ZEVAArea : public KWOObject {
    ZEVA_OBJECT(ZEVAArea, KWOObject)
};

// A Flinn-Engdahl region as a value: kind (1 after init) and number.
class ZEVAFlinnEngdahlRegion : public ZEVAArea {
    ZEVA_OBJECT(ZEVAFlinnEngdahlRegion, ZEVAArea)
public:
    void init() override {
        super::init();
        type_ = 1;
        number_ = 0;
    }
    int32_t _type() const { return type_; }
    void set_type(int32_t v) { type_ = v; }
    int32_t _number() const { return number_; }
    void set_number(int32_t v) { number_ = v; }

private:
    int32_t type_ = 0;
    int32_t number_ = 0;
};

// A latitude-longitude box; a new one covers the whole globe. Edges are not
// checked against each other or against the globe.
class ZEVABoxArea : public ZEVAArea {
    ZEVA_OBJECT(ZEVABoxArea, ZEVAArea)
public:
    void init() override;

    float _min_latitude() const { return min_latitude_; }
    void set_min_latitude(float v) { min_latitude_ = v; }
    float _max_latitude() const { return max_latitude_; }
    void set_max_latitude(float v) { max_latitude_ = v; }
    float _min_longitude() const { return min_longitude_; }
    void set_min_longitude(float v) { min_longitude_ = v; }
    float _max_longitude() const { return max_longitude_; }
    void set_max_longitude(float v) { max_longitude_ = v; }

    // West, east, south, north.
    void setW_E_S_N(float west, float east, float south, float north);
    // The four edges as boxed floats under keys without the underscore.
    zeva::Ref<zeva::Dictionary> dMarshal() const;
    // "WESN: %.3f %.3f %.3f %.3f".
    std::string description() const override;

private:
    float min_latitude_ = 0;
    float max_latitude_ = 0;
    float min_longitude_ = 0;
    float max_longitude_ = 0;
};

// A ring of distances around a point.
class ZEVAPointDistanceArea : public ZEVAArea {
    ZEVA_OBJECT(ZEVAPointDistanceArea, ZEVAArea)
public:
    void init() override;

    float _latitude() const { return latitude_; }
    void set_latitude(float v) { latitude_ = v; }
    float _longitude() const { return longitude_; }
    void set_longitude(float v) { longitude_ = v; }
    zeva::Ref<ZEVAQuantity> _min_distance() const { return min_distance_; }
    void set_min_distance(const zeva::Ref<ZEVAQuantity>& v) { min_distance_ = v; }
    zeva::Ref<ZEVAQuantity> _max_distance() const { return max_distance_; }
    void set_max_distance(const zeva::Ref<ZEVAQuantity>& v) { max_distance_ = v; }

private:
    float latitude_ = 0;
    float longitude_ = 0;
    zeva::Ref<ZEVAQuantity> min_distance_;
    zeva::Ref<ZEVAQuantity> max_distance_;
};

class ZEVAEventAttribute : public KWOObject {
    ZEVA_OBJECT(ZEVAEventAttribute, KWOObject)
public:
    zeva::Ref<zeva::String> _name() const { return name_; }
    void set_name(const zeva::Ref<zeva::String>& v) { zeva::setCopiedText(name_, v); }
    zeva::Ref<ZEVAFlinnEngdahlRegion> _region() const { return region_; }
    void set_region(const zeva::Ref<ZEVAFlinnEngdahlRegion>& v) { region_ = v; }
    zeva::Ref<zeva::Array> _parm_ids() const { return parm_ids_; }
    void set_parm_ids(const zeva::Ref<zeva::Array>& v) { parm_ids_ = v; }

private:
    zeva::Ref<zeva::String> name_;
    zeva::Ref<ZEVAFlinnEngdahlRegion> region_;
    zeva::Ref<zeva::Array> parm_ids_;
};
