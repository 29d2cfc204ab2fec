// Metadata of waveform data: a seismogram of one channel
// (ZEVASeismogramAttr), a motion vector of a group of channels
// (ZEVAMotionVectorAttr, ZEVALocalMotionVector with its data), one channel
// of a vector with its data (ZEVAVectorComponent), and a named text value
// (ZEVAProperty). The two attribute classes share their _id text; a
// property copies its texts.
#pragma once

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/inventory/ZEVAChannelID.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVATime.hpp"
#include "zeva/time/ZEVAUnit.hpp"

class ZEVAProperty : public KWOObject {
    ZEVA_OBJECT(ZEVAProperty, KWOObject)
    ZEVA_COPIED_TEXT(name)
    ZEVA_COPIED_TEXT(value)

    // "Name:%@ Value: %@".
    std::string description() const override;
};

class ZEVASeismogramAttr : public KWOObject {
    ZEVA_OBJECT(ZEVASeismogramAttr, KWOObject)
    ZEVA_SHARED_TEXT(id)
    ZEVA_SHARED(zeva::Array, properties)  // of ZEVAProperty
    ZEVA_SHARED(ZEVATime, begin_time)
    ZEVA_SCALAR(int32_t, num_points)
    ZEVA_SHARED(ZEVASampling, sampling_info)
    ZEVA_SHARED(ZEVAUnit, y_unit)
    ZEVA_SHARED(ZEVAChannelID, channel_id)
    ZEVA_SHARED(zeva::Array, parm_ids)
    ZEVA_SHARED(zeva::Array, time_corrections)
    ZEVA_SHARED(zeva::Array, sample_rate_history)

    // A banner, then the identifier, begin time and count on lines of their
    // own, the channel identifier's text run on, the amplitude unit, the
    // sampling and the properties' list (locale-aware numbers; "(null)"
    // for a missing list).
    std::string description() const override;
    // "STA-SITE CHA  -  Begin Time: T" from the channel identifier's codes.
    std::string shortDescription() const;
};

class ZEVAMotionVectorAttr : public KWOObject {
    ZEVA_OBJECT(ZEVAMotionVectorAttr, KWOObject)
    ZEVA_SHARED_TEXT(id)
    ZEVA_SHARED(zeva::Array, properties)
    ZEVA_SHARED(ZEVATime, begin_time)
    ZEVA_SCALAR(int32_t, num_points)
    ZEVA_SHARED(ZEVASampling, sampling_info)
    ZEVA_SHARED(ZEVAUnit, y_unit)
    ZEVA_SHARED(zeva::Array, channel_group)
    ZEVA_SHARED(zeva::Array, parm_ids)
    ZEVA_SHARED(zeva::Array, time_corrections)
    ZEVA_SHARED(zeva::Array, sample_rate_history)
};

class ZEVALocalMotionVector : public ZEVAMotionVectorAttr {
    ZEVA_OBJECT(ZEVALocalMotionVector, ZEVAMotionVectorAttr)
    ZEVA_SHARED(zeva::Array, data)
};

class ZEVAVectorComponent : public KWOObject {
    ZEVA_OBJECT(ZEVAVectorComponent, KWOObject)
    ZEVA_SHARED(ZEVAChannelID, channel)
    ZEVA_SHARED(zeva::Dictionary, data)
};
