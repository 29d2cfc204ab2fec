// The equipment a channel was recorded with during one epoch: response,
// clock, sensor and data acquisition system. The three pieces of hardware
// share one base with make, model, serial number and an identification
// number; its texts (and a clock's type) are held by sharing, not copied.
#pragma once

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/time/ZEVATimeRange.hpp"

class ZEVASeismicHardware : public KWOObject {
    ZEVA_OBJECT(ZEVASeismicHardware, KWOObject)
    ZEVA_SCALAR(int32_t, id_number)
    ZEVA_SHARED_TEXT(manufacturer)
    ZEVA_SHARED_TEXT(serial_number)
    ZEVA_SHARED_TEXT(model)
};

class ZEVAClock : public ZEVASeismicHardware {
    ZEVA_OBJECT(ZEVAClock, ZEVASeismicHardware)
    ZEVA_SHARED_TEXT(type)
};

class ZEVASensor : public ZEVASeismicHardware {
    ZEVA_OBJECT(ZEVASensor, ZEVASeismicHardware)
    ZEVA_SCALAR(float, nominal_high_freq)
    ZEVA_SCALAR(float, nominal_low_freq)
};

class ZEVADataAcqSys : public ZEVASeismicHardware {
    ZEVA_OBJECT(ZEVADataAcqSys, ZEVASeismicHardware)
    ZEVA_SCALAR(int32_t, style)
};

class ZEVAInstrumentation : public KWOObject {
    ZEVA_OBJECT(ZEVAInstrumentation, KWOObject)
    ZEVA_SHARED(ZEVAResponse, the_response)
    ZEVA_SHARED(ZEVATimeRange, effective_time)
    ZEVA_SHARED(ZEVAClock, the_clock)
    ZEVA_SHARED(ZEVASensor, the_sensor)
    ZEVA_SHARED(ZEVADataAcqSys, das)
};
