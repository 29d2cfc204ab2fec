// A byte buffer: bytes of its own, or a view of bytes another object owns.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "zeva/platform/Object.hpp"

namespace zeva {

class Data : public Object {
public:
    Data() = default;
    explicit Data(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
    // A view of `length` bytes at `bytes`, not copied: `owner` keeps them
    // alive for as long as this Data (and any copy of it) lives, and nobody
    // may change them meanwhile. Archived and compared like any other Data.
    Data(std::shared_ptr<const void> owner, const void* bytes, size_t length)
        : owner_(std::move(owner)), view_(static_cast<const uint8_t*>(bytes)), viewLength_(length) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<Data> dataWithBytes(const void* bytes, size_t length);
    // The view above.
    static Ref<Data> dataWithBytesNoCopy(const void* bytes, size_t length, std::shared_ptr<const void> owner);

    const uint8_t* bytes() const { return owner_ ? view_ : bytes_.data(); }
    size_t length() const { return owner_ ? viewLength_ : bytes_.size(); }
    std::vector<uint8_t> vector() const { return {bytes(), bytes() + length()}; }
    bool isEqualToData(const Data& other) const;
    // Writes the bytes to a file through a temporary file and a rename.
    bool writeToFile_atomically(const std::string& path) const;

    // "<01020304 05060708>".
    std::string description() const override;

private:
    std::vector<uint8_t> bytes_;
    std::shared_ptr<const void> owner_;  // set for a view
    const uint8_t* view_ = nullptr;
    size_t viewLength_ = 0;
};

}  // namespace zeva
