// The inventory and response classes, registered by name for archives.
#include "zeva/core/ModelClasses.hpp"

#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAChannelID.hpp"
#include "zeva/inventory/ZEVAFilter.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"

namespace zeva {

void registerInventoryClasses() {
    (void)ZEVANetworkID::staticClass();
    (void)ZEVAStationID::staticClass();
    (void)ZEVASiteID::staticClass();
    (void)ZEVAChannelID::staticClass();
    (void)ZEVANetworkAttr::staticClass();
    (void)ZEVAStation::staticClass();
    (void)ZEVASite::staticClass();
    (void)ZEVAChannel::staticClass();
    (void)ZEVAResponse::staticClass();
    (void)ZEVAStage::staticClass();
    (void)ZEVAGain::staticClass();
    (void)ZEVANormalization::staticClass();
    (void)ZEVASensitivity::staticClass();
    (void)ZEVADecimation::staticClass();
    (void)ZEVACalibration::staticClass();
    (void)ZEVAPoleZeroFilter::staticClass();
    (void)ZEVACoefficientFilter::staticClass();
    (void)ZEVAListFilter::staticClass();
    (void)ZEVAComplexNumber::staticClass();
    (void)ZEVAComplexNumberErrored::staticClass();
    (void)ZEVACoefficientErrored::staticClass();
    (void)ZEVAInstrumentation::staticClass();
    (void)ZEVASeismicHardware::staticClass();
    (void)ZEVAClock::staticClass();
    (void)ZEVASensor::staticClass();
    (void)ZEVADataAcqSys::staticClass();
}

}  // namespace zeva
