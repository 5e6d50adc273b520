// The global operator new of the test program, counting. In a file of its
// own, so that no caller sees the replacement inline.
#include "AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> gAllocations{0};
}  // namespace

long distest::AllocationCount() { return gAllocations.load(std::memory_order_relaxed); }

void* operator new(std::size_t Size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(Size ? Size : 1)) return p;
    throw std::bad_alloc();
}

void operator delete(void* P) noexcept { std::free(P); }
void operator delete(void* P, std::size_t) noexcept { std::free(P); }
