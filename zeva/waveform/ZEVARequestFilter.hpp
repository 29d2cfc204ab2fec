// Requests for waveform data: one channel over a span of time
// (ZEVARequestFilter) or a group of channels over one span
// (ZEVAGroupRequest). Hosts fill, print and archive them; nothing checks
// that the start comes before the end.
#pragma once

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/inventory/ZEVAChannelID.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/time/ZEVATime.hpp"

class ZEVARequestFilter : public KWOObject {
    ZEVA_OBJECT(ZEVARequestFilter, KWOObject)
    ZEVA_SHARED(ZEVAChannelID, channel_id)
    ZEVA_SHARED(ZEVATime, start_time)
    ZEVA_SHARED(ZEVATime, end_time)

    // A banner, the channel identifier's text, "RF Start Time: %@" and
    // "RF End Time: %@", ending with a line break.
    std::string description() const override;
};

class ZEVAGroupRequest : public KWOObject {
    ZEVA_OBJECT(ZEVAGroupRequest, KWOObject)
    ZEVA_SHARED(zeva::Array, channels)
    ZEVA_SHARED(ZEVATime, start_time)
    ZEVA_SHARED(ZEVATime, end_time)
};
