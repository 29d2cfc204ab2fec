// Storage for large buffers that are written once, start to end, right after
// they are made: decoded samples, a file read whole.
#pragma once

#include <cstddef>
#include <memory>

namespace zeva {

// `bytes` bytes of storage, not zero-filled. From 4 MiB on, on Linux, the
// storage starts on a 2 MiB boundary and is asked to be backed by huge pages:
// the first touch of a fresh 40 MB buffer then takes some twenty page faults
// rather than ten thousand, which on a virtual machine is most of the time a
// read takes. Throws std::bad_alloc when there is no memory.
std::shared_ptr<unsigned char[]> largeBuffer(size_t bytes);

}  // namespace zeva
