// QuakeML import of arbitrary bytes: it fails with a reason or gives origins
// whose times, positions and magnitudes describe themselves; never more
// origins than events.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "zeva/core/ModelClasses.hpp"
#include "zeva/fdsn/QuakeML.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool registered = (zeva::registerModelClasses(), true);
    (void)registered;
    zeva::quakeml::Catalogue catalogue;
    zeva::quakeml::Failure failure;
    bool ok = zeva::quakeml::readMemory(reinterpret_cast<const char*>(data), size, &catalogue, &failure);
    if (!ok && failure.message.empty()) std::abort();
    if (catalogue.origins->count() + catalogue.eventsWithoutOrigin > catalogue.events) std::abort();
    size_t text = 0;
    for (const auto& origin : *catalogue.origins) text += origin->description().size();
    return text == SIZE_MAX;
}
