// The heap this test program holds through operator new, and its peak since
// the last reset: every allocation of the program goes through the counting
// operators of heap_counter.cpp.
#pragma once

#include <cstdint>

namespace zeva::test {

int64_t heapInUse();
// Starts a new peak at what is in use now.
void resetHeapPeak();
int64_t heapPeak();

}  // namespace zeva::test
