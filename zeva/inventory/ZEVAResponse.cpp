#include "zeva/inventory/ZEVAResponse.hpp"

ZEVA_DEFINE_CLASS(ZEVAGain, KWOObject, ZEVA_PROP(ZEVAGain, gain_factor), ZEVA_PROP(ZEVAGain, frequency))

ZEVA_DEFINE_CLASS(ZEVANormalization, KWOObject, ZEVA_PROP(ZEVANormalization, ao_normalization_factor),
                  ZEVA_PROP(ZEVANormalization, normalization_freq))

ZEVA_DEFINE_CLASS(ZEVASensitivity, KWOObject, ZEVA_PROP(ZEVASensitivity, sensitivity_factor),
                  ZEVA_PROP(ZEVASensitivity, frequency))

ZEVA_DEFINE_CLASS(ZEVADecimation, KWOObject, ZEVA_PROP(ZEVADecimation, input_rate), ZEVA_PROP(ZEVADecimation, factor),
                  ZEVA_PROP(ZEVADecimation, offset), ZEVA_PROP(ZEVADecimation, estimated_delay),
                  ZEVA_PROP(ZEVADecimation, correction_applied))

ZEVA_DEFINE_CLASS(ZEVAStage, KWOObject, zeva::notArchived(ZEVA_PROP(ZEVAStage, type)),
                  ZEVA_PROP(ZEVAStage, input_units), ZEVA_PROP(ZEVAStage, output_units),
                  ZEVA_PROP(ZEVAStage, the_normalization), ZEVA_PROP(ZEVAStage, the_gain),
                  ZEVA_PROP(ZEVAStage, the_decimation), ZEVA_PROP(ZEVAStage, filters))

ZEVA_DEFINE_CLASS(ZEVAResponse, KWOObject, ZEVA_PROP(ZEVAResponse, the_sensitivity), ZEVA_PROP(ZEVAResponse, stages))

ZEVA_DEFINE_CLASS(ZEVACalibration, KWOObject, ZEVA_PROP(ZEVACalibration, frequency),
                  ZEVA_PROP(ZEVACalibration, sensitivity), ZEVA_PROP(ZEVACalibration, when))

std::string ZEVAGain::description() const {
    return zeva::format("ZEVAGain: %f Frequency: %f", double{gain_factor_}, double{frequency_});
}

std::string ZEVANormalization::description() const {
    return zeva::format("ZEVANormalization: %f Frequency: %f", double{ao_normalization_factor_},
                        double{normalization_freq_});
}

std::string ZEVADecimation::description() const {
    return "\n-----------------\nZEVADecimation\n-----------------" +
           zeva::localizedFormat("\nInput Rate: %@", input_rate_) + zeva::localizedFormat("\nFactor: %d", factor_) +
           zeva::localizedFormat("\nOffset: %d", offset_) +
           zeva::localizedFormat("\nEstimated Delay: %@", estimated_delay_) +
           zeva::localizedFormat("\nCorrection Applied: %@", correction_applied_);
}

namespace {
// Nothing for an absent or empty list; otherwise the count line and each
// element after a line break of its own.
std::string listWithCount(const char* countFormat, const zeva::Ref<zeva::Array>& list) {
    if (!list || list->count() == 0) return {};
    std::string text = zeva::localizedFormat(countFormat, list->count());
    for (const auto& element : *list) text += zeva::localizedFormat("\n%@", element);
    return text;
}
}  // namespace

std::string ZEVAStage::description() const {
    return "\n-------------\nZEVAStage\n-------------" + zeva::localizedFormat("\nTransfer Type: %d", type_) +
           zeva::localizedFormat("\nInput Units: %@", input_units_) +
           zeva::localizedFormat("\nOutput Units: %@", output_units_) + zeva::localizedFormat("\n%@", the_gain_) +
           listWithCount("\nNumber of Normalizers: %d\n", the_normalization_) +
           listWithCount("\nNumber of Decimators: %d\n", the_decimation_) +
           listWithCount("\nNumber of Filters: %d\n", filters_);
}
