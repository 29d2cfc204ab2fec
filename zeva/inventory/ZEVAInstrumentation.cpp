#include "zeva/inventory/ZEVAInstrumentation.hpp"

ZEVA_DEFINE_CLASS(ZEVASeismicHardware, KWOObject, ZEVA_PROP(ZEVASeismicHardware, id_number),
                  ZEVA_PROP(ZEVASeismicHardware, manufacturer), ZEVA_PROP(ZEVASeismicHardware, serial_number),
                  ZEVA_PROP(ZEVASeismicHardware, model))

ZEVA_DEFINE_CLASS(ZEVAClock, ZEVASeismicHardware, ZEVA_PROP(ZEVAClock, type))

ZEVA_DEFINE_CLASS(ZEVASensor, ZEVASeismicHardware, ZEVA_PROP(ZEVASensor, nominal_high_freq),
                  ZEVA_PROP(ZEVASensor, nominal_low_freq))

ZEVA_DEFINE_CLASS(ZEVADataAcqSys, ZEVASeismicHardware, ZEVA_PROP(ZEVADataAcqSys, style))

ZEVA_DEFINE_CLASS(ZEVAInstrumentation, KWOObject, ZEVA_PROP(ZEVAInstrumentation, the_response),
                  ZEVA_PROP(ZEVAInstrumentation, effective_time), ZEVA_PROP(ZEVAInstrumentation, the_clock),
                  ZEVA_PROP(ZEVAInstrumentation, the_sensor), ZEVA_PROP(ZEVAInstrumentation, das))
