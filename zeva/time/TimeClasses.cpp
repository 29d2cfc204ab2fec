// The time and unit classes, registered by name for archives.
#include "zeva/core/ModelClasses.hpp"

#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVATime.hpp"
#include "zeva/time/ZEVATimeRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace zeva {

void registerTimeClasses() {
    (void)ZEVATime::staticClass();
    (void)ZEVATimeRange::staticClass();
    (void)ZEVATimeCorrection::staticClass();
    (void)ZEVAUnit::staticClass();
    (void)ZEVAQuantity::staticClass();
    (void)ZEVALength::staticClass();
    (void)ZEVASampling::staticClass();
    (void)ZEVASamplingRange::staticClass();
}

}  // namespace zeva
