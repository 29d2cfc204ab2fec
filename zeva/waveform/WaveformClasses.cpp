// The waveform classes, registered by name for archives.
#include "zeva/core/ModelClasses.hpp"

#include "zeva/waveform/ZEVALocalSeismogram.hpp"
#include "zeva/waveform/ZEVARequestFilter.hpp"
#include "zeva/waveform/ZEVASeismogramAttr.hpp"

namespace zeva {

void registerWaveformClasses() {
    (void)ZEVAProperty::staticClass();
    (void)ZEVASeismogramAttr::staticClass();
    (void)ZEVAMotionVectorAttr::staticClass();
    (void)ZEVALocalMotionVector::staticClass();
    (void)ZEVAVectorComponent::staticClass();
    (void)ZEVAEncodedData::staticClass();
    (void)ZEVALocalSeismogram::staticClass();
    (void)ZEVARequestFilter::staticClass();
    (void)ZEVAGroupRequest::staticClass();
}

}  // namespace zeva
