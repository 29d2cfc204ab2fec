#include "zeva/platform/Data.hpp"

#include <cstring>

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

Ref<Data> Data::dataWithBytesNoCopy(const void* bytes, size_t length, std::shared_ptr<const void> owner) {
    if (!owner) return dataWithBytes(bytes, length);
    return std::make_shared<Data>(std::move(owner), length ? bytes : nullptr, length);
}

bool Data::isEqualToData(const Data& other) const {
    return length() == other.length() && (length() == 0 || std::memcmp(bytes(), other.bytes(), length()) == 0);
}

bool Data::writeToFile_atomically(const std::string& path) const {
    return writeFileAtomically(path, bytes(), length());
}

std::string Data::description() const {
    std::string out = "<";
    const uint8_t* p = bytes();
    for (size_t i = 0; i < length(); ++i) {
        if (i && i % 4 == 0) out += ' ';
        out += fmt::format("{:02x}", p[i]);
    }
    return out + ">";
}

}  // namespace zeva
