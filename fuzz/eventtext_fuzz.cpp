// The event service's text table from arbitrary bytes: it fails with a line
// and reason or gives origins that describe themselves.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "zeva/core/ModelClasses.hpp"
#include "zeva/fdsn/FDSNText.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool registered = (zeva::registerModelClasses(), true);
    (void)registered;
    auto origins = zeva::MutableArray::array();
    zeva::fdsntext::Failure failure;
    bool ok = zeva::fdsntext::readEventTable(std::string_view(reinterpret_cast<const char*>(data), size), *origins,
                                             &failure);
    if (!ok && (failure.message.empty() || failure.line <= 0)) std::abort();
    size_t described = 0;
    for (const auto& origin : *origins) described += origin->description().size();
    return described == SIZE_MAX;
}
