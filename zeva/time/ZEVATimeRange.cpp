#include "zeva/time/ZEVATimeRange.hpp"

ZEVA_DEFINE_CLASS(ZEVATimeRange, KWOObject,
                  zeva::prop("_start_time", &ZEVATimeRange::_start_time, &ZEVATimeRange::set_start_time),
                  zeva::prop("_end_time", &ZEVATimeRange::_end_time, &ZEVATimeRange::set_end_time))

ZEVA_DEFINE_CLASS(ZEVATimeCorrection, KWOObject,
                  zeva::prop("_effective_time", &ZEVATimeCorrection::_effective_time,
                             &ZEVATimeCorrection::set_effective_time),
                  zeva::prop("_begin_offset", &ZEVATimeCorrection::_begin_offset,
                             &ZEVATimeCorrection::set_begin_offset),
                  zeva::prop("_end_offset", &ZEVATimeCorrection::_end_offset, &ZEVATimeCorrection::set_end_offset),
                  zeva::prop("_who", &ZEVATimeCorrection::_who, &ZEVATimeCorrection::set_who))

void ZEVATimeRange::init() {
    super::init();
    set_start_time(ZEVATime::create());
    set_end_time(ZEVATime::create());
}

std::string ZEVATimeRange::description() const {
    return zeva::format("Start:%@ End:%@", start_time_, end_time_);
}
