// An instrument response: its overall sensitivity and its stages, each with
// units, gain, normalisations, decimations and filters; and a calibration
// record. The library stores, archives and prints them.
#pragma once

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/inventory/ZEVAFilter.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVATime.hpp"
#include "zeva/time/ZEVAUnit.hpp"

class ZEVAGain : public KWOObject {
    ZEVA_OBJECT(ZEVAGain, KWOObject)
    ZEVA_SCALAR(float, gain_factor)
    ZEVA_SCALAR(float, frequency)

    // "ZEVAGain: %f Frequency: %f".
    std::string description() const override;
};

class ZEVANormalization : public KWOObject {
    ZEVA_OBJECT(ZEVANormalization, KWOObject)
    ZEVA_SCALAR(float, ao_normalization_factor)
    ZEVA_SCALAR(float, normalization_freq)

    // "ZEVANormalization: %f Frequency: %f".
    std::string description() const override;
};

class ZEVASensitivity : public KWOObject {
    ZEVA_OBJECT(ZEVASensitivity, KWOObject)
    ZEVA_SCALAR(float, sensitivity_factor)
    ZEVA_SCALAR(float, frequency)
};

class ZEVADecimation : public KWOObject {
    ZEVA_OBJECT(ZEVADecimation, KWOObject)
    ZEVA_SHARED(ZEVASampling, input_rate)
    ZEVA_SCALAR(int32_t, factor)
    ZEVA_SCALAR(int32_t, offset)
    ZEVA_SHARED(ZEVAQuantity, estimated_delay)
    ZEVA_SHARED(ZEVAQuantity, correction_applied)

    // A banner, then input rate, factor, offset, estimated delay and
    // correction applied, one labelled line each.
    std::string description() const override;
};

class ZEVAStage : public KWOObject {
    ZEVA_OBJECT(ZEVAStage, KWOObject)
    ZEVA_SCALAR(int32_t, type)  // transfer type code; not archived
    ZEVA_SHARED(ZEVAUnit, input_units)
    ZEVA_SHARED(ZEVAUnit, output_units)
    ZEVA_SHARED(zeva::Array, the_normalization)
    ZEVA_SHARED(ZEVAGain, the_gain)
    ZEVA_SHARED(zeva::Array, the_decimation)
    ZEVA_SHARED(zeva::Array, filters)

    // A banner, type, units and gain; then, for each of the normalisations,
    // decimations and filters that has elements, a count line and each
    // element's text after a line break.
    std::string description() const override;
};

class ZEVAResponse : public KWOObject {
    ZEVA_OBJECT(ZEVAResponse, KWOObject)
    ZEVA_SHARED(ZEVASensitivity, the_sensitivity)
    ZEVA_SHARED(zeva::Array, stages)
};

class ZEVACalibration : public KWOObject {
    ZEVA_OBJECT(ZEVACalibration, KWOObject)
    ZEVA_SCALAR(float, frequency)
    ZEVA_SCALAR(float, sensitivity)
    ZEVA_SHARED(ZEVATime, when)
};
