// Every allocation of this test program goes through these counting
// operators: the heap it holds through operator new, and the peak since the
// last reset.
#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
std::atomic<int64_t> inUse{0}, peak{0};

void* counted(size_t n) {
    void* p = std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    int64_t now = inUse += static_cast<int64_t>(malloc_usable_size(p));
    for (int64_t seen = peak.load(); now > seen && !peak.compare_exchange_weak(seen, now);) {
    }
    return p;
}
void uncounted(void* p) noexcept {
    if (p) inUse -= static_cast<int64_t>(malloc_usable_size(p));
    std::free(p);
}
}  // namespace

void* operator new(size_t n) { return counted(n); }
void* operator new[](size_t n) { return counted(n); }
void operator delete(void* p) noexcept { uncounted(p); }
void operator delete[](void* p) noexcept { uncounted(p); }
void operator delete(void* p, size_t) noexcept { uncounted(p); }
void operator delete[](void* p, size_t) noexcept { uncounted(p); }

namespace zeva::test {
int64_t heapInUse() { return inUse.load(); }
void resetHeapPeak() { peak = inUse.load(); }
int64_t heapPeak() { return peak.load(); }
}  // namespace zeva::test
