// Where something is (ZEVALocation) and which way it points (ZEVAOrientation,
// ZEVAOrientationRange).
#pragma once

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVAQuantity.hpp"

class ZEVALocation : public KWOObject {
    ZEVA_OBJECT(ZEVALocation, KWOObject)
public:
    // Fresh depth and elevation quantities (value 1.0, plain unit).
    void init() override;

    float _latitude() const { return latitude_; }
    void set_latitude(float v) { latitude_ = v; }
    float _longitude() const { return longitude_; }
    void set_longitude(float v) { longitude_ = v; }
    zeva::Ref<ZEVAQuantity> _elevation() const { return elevation_; }
    void set_elevation(const zeva::Ref<ZEVAQuantity>& v) { elevation_ = v; }
    zeva::Ref<ZEVAQuantity> _depth() const { return depth_; }
    void set_depth(const zeva::Ref<ZEVAQuantity>& v) { depth_ = v; }
    int32_t _type() const { return type_; }
    void set_type(int32_t v) { type_ = v; }

    float latitude() const { return latitude_; }
    float longitude() const { return longitude_; }
    // The quantities' numbers in whatever unit they carry; 0 without one.
    double depth() const { return depth_ ? depth_->value() : 0.0; }
    double elevation() const { return elevation_ ? elevation_->value() : 0.0; }
    // Sets the number of the depth quantity held, keeping its unit.
    void setDepthValue(double v) {
        if (depth_) depth_->set_value(v);
    }

    std::string description() const override;

private:
    float latitude_ = 0;
    float longitude_ = 0;
    zeva::Ref<ZEVAQuantity> elevation_;
    zeva::Ref<ZEVAQuantity> depth_;
    int32_t type_ = 0;
};

class ZEVAOrientation : public KWOObject {
    ZEVA_OBJECT(ZEVAOrientation, KWOObject)
public:
    float _azimuth() const { return azimuth_; }
    void set_azimuth(float v) { azimuth_ = v; }
    float _dip() const { return dip_; }
    void set_dip(float v) { dip_ = v; }

    std::string description() const override;

private:
    float azimuth_ = 0;
    float dip_ = 0;
};

class ZEVAOrientationRange : public KWOObject {
    ZEVA_OBJECT(ZEVAOrientationRange, KWOObject)
public:
    zeva::Ref<ZEVAOrientation> _center() const { return center_; }
    void set_center(const zeva::Ref<ZEVAOrientation>& v) { center_ = v; }
    zeva::Ref<ZEVAQuantity> _angular_distance() const { return angular_distance_; }
    void set_angular_distance(const zeva::Ref<ZEVAQuantity>& v) { angular_distance_ = v; }

private:
    zeva::Ref<ZEVAOrientation> center_;
    zeva::Ref<ZEVAQuantity> angular_distance_;
};
