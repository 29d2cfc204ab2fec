// The station service's text tables from arbitrary bytes, through the
// inventory builder: they fail with a reason and leave no channel behind, or
// give channels that describe themselves, one instrumentation record each.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "zeva/core/ModelClasses.hpp"
#include "zeva/fdsn/FDSNText.hpp"
#include "zeva/inventory/StationXML.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool registered = (zeva::registerModelClasses(), true);
    (void)registered;
    std::string_view text(reinterpret_cast<const char*>(data), size);
    zeva::StationXMLInventory inventory;
    zeva::stationxml::Failure failure;
    bool ok = zeva::importStationRecords(
        [&](zeva::stationxml::Builder& builder, zeva::stationxml::Failure* why) {
            return zeva::fdsntext::readStationTable(text, builder, why);
        },
        &inventory, &failure);
    size_t channels = inventory.channels->count();
    if (inventory.instrumentation->count() != channels) std::abort();
    if (!ok && (channels != 0 || failure.message.empty())) std::abort();
    size_t described = 0;
    for (size_t i = 0; i < channels; ++i) described += inventory.channels->objectAtIndex(i)->description().size();
    return described == SIZE_MAX;
}
