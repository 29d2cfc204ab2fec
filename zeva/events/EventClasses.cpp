// The event and geography classes, registered by name for archives.
#include "zeva/core/ModelClasses.hpp"

#include "zeva/events/ZEVAArea.hpp"
#include "zeva/events/ZEVALocation.hpp"
#include "zeva/events/ZEVAOrigin.hpp"

namespace zeva {

void registerEventClasses() {
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
}

}  // namespace zeva
