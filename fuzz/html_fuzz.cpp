// Feeds arbitrary bytes to the HTML-to-text conversion of the bulletin pages.
// The input is handed over in a buffer of exactly its size, so that any read
// past its end is caught.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "zeva/platform/HTMLText.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto copy = std::make_unique<char[]>(size ? size : 1);
    if (size) std::memcpy(copy.get(), data, size);
    auto text = zeva::plainTextFromHTML(std::string_view(copy.get(), size));
    (void)text->length();
    return 0;
}
