// Storage for large buffers that are written once, start to end, right after
// they are made: decoded samples, a file read whole.
#pragma once

#include <cstddef>
#include <memory>

namespace zeva {

// `bytes` bytes of storage, not zero-filled (callers write every byte). From
// 4 MiB on, on Linux, the storage starts on a 2 MiB boundary, is asked to be
// backed by huge pages and is faulted in at once: the first touch of a fresh
// 40 MB buffer, page fault by page fault, was most of the time a large read
// took on a virtual machine. Throws std::bad_alloc when there is no memory.
std::shared_ptr<unsigned char[]> largeBuffer(size_t bytes);

}  // namespace zeva
