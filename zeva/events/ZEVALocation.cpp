#include "zeva/events/ZEVALocation.hpp"

// The kind goes first in the archive, ahead of the position and quantities,
// so the field list is declared in archive order.
ZEVA_DEFINE_CLASS(ZEVALocation, KWOObject,
                  zeva::prop("_type", &ZEVALocation::_type, &ZEVALocation::set_type),
                  zeva::prop("_latitude", &ZEVALocation::_latitude, &ZEVALocation::set_latitude),
                  zeva::prop("_longitude", &ZEVALocation::_longitude, &ZEVALocation::set_longitude),
                  zeva::prop("_elevation", &ZEVALocation::_elevation, &ZEVALocation::set_elevation),
                  zeva::prop("_depth", &ZEVALocation::_depth, &ZEVALocation::set_depth))

ZEVA_DEFINE_CLASS(ZEVAOrientation, KWOObject,
                  zeva::prop("_azimuth", &ZEVAOrientation::_azimuth, &ZEVAOrientation::set_azimuth),
                  zeva::prop("_dip", &ZEVAOrientation::_dip, &ZEVAOrientation::set_dip))

ZEVA_DEFINE_CLASS(ZEVAOrientationRange, KWOObject,
                  zeva::prop("_center", &ZEVAOrientationRange::_center, &ZEVAOrientationRange::set_center),
                  zeva::prop("_angular_distance", &ZEVAOrientationRange::_angular_distance,
                             &ZEVAOrientationRange::set_angular_distance))

void ZEVALocation::init() {
    super::init();
    set_depth(ZEVAQuantity::create());
    set_elevation(ZEVAQuantity::create());
}

std::string ZEVALocation::description() const {
    return zeva::format("%7.3f %8.3f %@ %@", double{latitude_}, double{longitude_}, elevation_, depth_);
}

std::string ZEVAOrientation::description() const {
    return zeva::format("ZEVAOrientation: Azimuth:%f Dip:%f", double{azimuth_}, double{dip_});
}
