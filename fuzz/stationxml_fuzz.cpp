// StationXML import of arbitrary bytes: it either fails with a reason or
// gives one instrumentation record per channel, and every channel, its
// station and its responses can describe themselves; every response
// evaluates (or refuses with a reason) and checks without failing. The
// channel-level import agrees: the same outcome, reason, channels, stage
// counts and notes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "zeva/core/ModelClasses.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/response/ResponseEvaluation.hpp"

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
    zeva::StationXMLInventory light;
    zeva::stationxml::Failure lightFailure;
    bool lightOk = zeva::importStationXMLMemory(reinterpret_cast<const char*>(data), size, &light, &lightFailure,
                                                zeva::StationXMLLevel::Channel);
    if (lightOk != ok || lightFailure.message != failure.message || lightFailure.line != failure.line ||
        light.channels->count() != channels || light.stageCounts != inventory.stageCounts ||
        light.notKept != inventory.notKept || light.sensitivityInputUnits != inventory.sensitivityInputUnits)
        std::abort();
    size_t text = 0;
    for (size_t i = 0; i < channels; ++i) {
        text += inventory.channels->objectAtIndex(i)->description().size();
        text += inventory.instrumentation->objectAtIndex(i)->description().size();
        auto instrumentation = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i);
        if (auto response = instrumentation ? instrumentation->_the_response() : nullptr) {
            static const double frequencies[] = {0.0, 1e-3, 0.5, 20.0, 1e9};
            zeva::response::Evaluation e;
            std::string error;
            bool evaluated = zeva::response::evaluate(*response, frequencies, {.motion = zeva::response::Motion::Default}, &e, &error);
            if (evaluated ? e.values.size() != 5 : error.empty()) std::abort();
            text += zeva::response::check(*response, 20.0).size();
        }
    }
    return text == SIZE_MAX;
}
