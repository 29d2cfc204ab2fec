// Whole-file reading and atomic writing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zeva {

// Writes the bytes to a temporary file beside the path and renames it over
// the path. Answers false, leaving any file there as it was, on failure.
bool writeFileAtomically(const std::string& path, const void* bytes, size_t length);

// The whole file, or nullopt with a reason (strerror text) in *error.
std::optional<std::vector<uint8_t>> readFile(const std::string& path, std::string* error = nullptr);

}  // namespace zeva
