#include "zeva/events/ZEVAArea.hpp"

#include "zeva/platform/Number.hpp"

ZEVA_DEFINE_CLASS(ZEVAArea, KWOObject)

ZEVA_DEFINE_CLASS(ZEVAFlinnEngdahlRegion, ZEVAArea,
                  zeva::prop("_type", &ZEVAFlinnEngdahlRegion::_type, &ZEVAFlinnEngdahlRegion::set_type),
                  zeva::prop("_number", &ZEVAFlinnEngdahlRegion::_number, &ZEVAFlinnEngdahlRegion::set_number))

ZEVA_DEFINE_CLASS(ZEVABoxArea, ZEVAArea,
                  zeva::prop("_min_latitude", &ZEVABoxArea::_min_latitude, &ZEVABoxArea::set_min_latitude),
                  zeva::prop("_max_latitude", &ZEVABoxArea::_max_latitude, &ZEVABoxArea::set_max_latitude),
                  zeva::prop("_min_longitude", &ZEVABoxArea::_min_longitude, &ZEVABoxArea::set_min_longitude),
                  zeva::prop("_max_longitude", &ZEVABoxArea::_max_longitude, &ZEVABoxArea::set_max_longitude))

ZEVA_DEFINE_CLASS(ZEVAPointDistanceArea, ZEVAArea,
                  zeva::prop("_latitude", &ZEVAPointDistanceArea::_latitude, &ZEVAPointDistanceArea::set_latitude),
                  zeva::prop("_longitude", &ZEVAPointDistanceArea::_longitude, &ZEVAPointDistanceArea::set_longitude),
                  zeva::prop("_min_distance", &ZEVAPointDistanceArea::_min_distance,
                             &ZEVAPointDistanceArea::set_min_distance),
                  zeva::prop("_max_distance", &ZEVAPointDistanceArea::_max_distance,
                             &ZEVAPointDistanceArea::set_max_distance))

ZEVA_DEFINE_CLASS(ZEVAEventAttribute, KWOObject,
                  zeva::prop("_name", &ZEVAEventAttribute::_name, &ZEVAEventAttribute::set_name),
                  zeva::prop("_region", &ZEVAEventAttribute::_region, &ZEVAEventAttribute::set_region),
                  zeva::prop("_parm_ids", &ZEVAEventAttribute::_parm_ids, &ZEVAEventAttribute::set_parm_ids))

void ZEVABoxArea::init() {
    super::init();
    min_latitude_ = -90;
    max_latitude_ = 90;
    min_longitude_ = -180;
    max_longitude_ = 180;
}

void ZEVABoxArea::setW_E_S_N(float west, float east, float south, float north) {
    min_longitude_ = west;
    max_longitude_ = east;
    min_latitude_ = south;
    max_latitude_ = north;
}

zeva::Ref<zeva::Dictionary> ZEVABoxArea::dMarshal() const {
    auto d = zeva::MutableDictionary::dictionary();
    d->setObject_forKey(zeva::Number::numberWithFloat(min_latitude_), "min_latitude");
    d->setObject_forKey(zeva::Number::numberWithFloat(max_latitude_), "max_latitude");
    d->setObject_forKey(zeva::Number::numberWithFloat(min_longitude_), "min_longitude");
    d->setObject_forKey(zeva::Number::numberWithFloat(max_longitude_), "max_longitude");
    return d;
}

std::string ZEVABoxArea::description() const {
    return zeva::format("WESN: %.3f %.3f %.3f %.3f", double{min_longitude_}, double{max_longitude_},
                        double{min_latitude_}, double{max_latitude_});
}

void ZEVAPointDistanceArea::init() {
    super::init();
    latitude_ = 0;
    longitude_ = 0;
    set_min_distance(ZEVAQuantity::create());
    set_max_distance(ZEVAQuantity::create());
}
