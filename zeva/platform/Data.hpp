// A byte buffer.
#pragma once

#include <cstdint>
#include <vector>

#include "zeva/platform/Object.hpp"

namespace zeva {

class Data : public Object {
public:
    Data() = default;
    explicit Data(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<Data> dataWithBytes(const void* bytes, size_t length);

    const uint8_t* bytes() const { return bytes_.data(); }
    size_t length() const { return bytes_.size(); }
    const std::vector<uint8_t>& vector() const { return bytes_; }
    bool isEqualToData(const Data& other) const { return bytes_ == other.bytes_; }
    // Writes the bytes to a file through a temporary file and a rename.
    bool writeToFile_atomically(const std::string& path) const;

    // "<01020304 05060708>".
    std::string description() const override;

private:
    std::vector<uint8_t> bytes_;
};

}  // namespace zeva
