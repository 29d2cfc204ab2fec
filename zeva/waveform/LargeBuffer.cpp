#include "zeva/waveform/LargeBuffer.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace zeva {

std::shared_ptr<unsigned char[]> largeBuffer(size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr size_t kHugePage = size_t{2} << 20;
    constexpr size_t kPage = 4096;
    if (bytes >= 2 * kHugePage) {
        void* p = nullptr;
        if (::posix_memalign(&p, kHugePage, bytes) != 0) throw std::bad_alloc();
        // Only the pages wholly inside the buffer; a refusal (huge pages
        // switched off) leaves ordinary pages. The pages are then faulted in
        // by one call rather than one fault at a time while the buffer is
        // written; a kernel without that call has them written once instead.
        const size_t whole = bytes / kPage * kPage;
        (void)::madvise(p, whole, MADV_HUGEPAGE);
#ifdef MADV_POPULATE_WRITE
        if (::madvise(p, whole, MADV_POPULATE_WRITE) != 0)
#endif
            std::memset(p, 0, whole);
        return {static_cast<unsigned char*>(p), [](unsigned char* q) { std::free(q); }};
    }
#endif
    return std::make_shared_for_overwrite<unsigned char[]>(bytes);
}

}  // namespace zeva
