// The inventory and response classes, registered by name for archives.
#include "zeva/core/ModelClasses.hpp"

#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAChannelID.hpp"

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
}

}  // namespace zeva
