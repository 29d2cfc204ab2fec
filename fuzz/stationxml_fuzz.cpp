// StationXML import of arbitrary bytes: it either fails with a reason or
// gives one instrumentation record per channel, and every channel, its
// station and its responses can describe themselves.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "zeva/core/ModelClasses.hpp"
#include "zeva/inventory/StationXML.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool registered = (zeva::registerModelClasses(), true);
    (void)registered;
    zeva::StationXMLInventory inventory;
    zeva::stationxml::Failure failure;
    bool ok = zeva::importStationXMLMemory(reinterpret_cast<const char*>(data), size, &inventory, &failure);
    size_t channels = inventory.channels->count();
    if (inventory.instrumentation->count() != channels || inventory.sensitivityInputUnits.size() != channels)
        std::abort();
    if (!ok && (channels != 0 || failure.message.empty())) std::abort();
    size_t text = 0;
    for (size_t i = 0; i < channels; ++i) {
        text += inventory.channels->objectAtIndex(i)->description().size();
        text += inventory.instrumentation->objectAtIndex(i)->description().size();
    }
    return text == SIZE_MAX;
}
