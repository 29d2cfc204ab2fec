#include "zeva/platform/Data.hpp"

#include <fmt/format.h>

#include "zeva/platform/Files.hpp"

namespace zeva {

const Class& Data::staticClass() {
    static const Class cls("NSData", &Object::staticClass(), [] { return ObjectRef(std::make_shared<Data>()); });
    return cls;
}

Ref<Data> Data::dataWithBytes(const void* bytes, size_t length) {
    auto p = static_cast<const uint8_t*>(bytes);
    return std::make_shared<Data>(length && p ? std::vector<uint8_t>(p, p + length) : std::vector<uint8_t>());
}

bool Data::writeToFile_atomically(const std::string& path) const {
    return writeFileAtomically(path, bytes_.data(), bytes_.size());
}

std::string Data::description() const {
    std::string out = "<";
    for (size_t i = 0; i < bytes_.size(); ++i) {
        if (i && i % 4 == 0) out += ' ';
        out += fmt::format("{:02x}", bytes_[i]);
    }
    return out + ">";
}

}  // namespace zeva
