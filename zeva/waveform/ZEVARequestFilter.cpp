#include "zeva/waveform/ZEVARequestFilter.hpp"

ZEVA_DEFINE_CLASS(ZEVARequestFilter, KWOObject, ZEVA_PROP(ZEVARequestFilter, channel_id),
                  ZEVA_PROP(ZEVARequestFilter, start_time), ZEVA_PROP(ZEVARequestFilter, end_time))

ZEVA_DEFINE_CLASS(ZEVAGroupRequest, KWOObject, ZEVA_PROP(ZEVAGroupRequest, channels),
                  ZEVA_PROP(ZEVAGroupRequest, start_time), ZEVA_PROP(ZEVAGroupRequest, end_time))

std::string ZEVARequestFilter::description() const {
    return "\n************ZEVA REQUEST FILTER **************" + zeva::localizedFormat("\n%@", channel_id_) +
           zeva::localizedFormat("\nRF Start Time: %@\n", start_time_) +
           zeva::localizedFormat("RF End Time: %@\n", end_time_);
}
