#include "zeva/core/ModelClasses.hpp"

#include "zeva/core/KWOObject.hpp"
#include "zeva/events/ZEVAArea.hpp"
#include "zeva/events/ZEVALocation.hpp"
#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVATime.hpp"
#include "zeva/time/ZEVATimeRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace zeva {

void registerModelClasses() {
    static const bool registered = [] {
        // One line per model class.
        (void)KWOObject::staticClass();
        // time and units
        (void)ZEVATime::staticClass();
        (void)ZEVATimeRange::staticClass();
        (void)ZEVATimeCorrection::staticClass();
        (void)ZEVAUnit::staticClass();
        (void)ZEVAQuantity::staticClass();
        (void)ZEVALength::staticClass();
        (void)ZEVASampling::staticClass();
        (void)ZEVASamplingRange::staticClass();
        // events and geography
        (void)ZEVALocation::staticClass();
        (void)ZEVAOrientation::staticClass();
        (void)ZEVAOrientationRange::staticClass();
        (void)ZEVAMagnitude::staticClass();
        (void)ZEVAOrigin::staticClass();
        (void)ZEVAArea::staticClass();
        (void)ZEVAFlinnEngdahlRegion::staticClass();
        (void)ZEVABoxArea::staticClass();
        (void)ZEVAPointDistanceArea::staticClass();
        (void)ZEVAEventAttribute::staticClass();
        return true;
    }();
    (void)registered;
}

}  // namespace zeva
