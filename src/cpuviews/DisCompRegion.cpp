#include "cpuviews/DisCompRegion.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define IDE_REGION_HEAP_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define IDE_REGION_HEAP_BLOCKS 1
#endif
#endif

namespace ide {

namespace {

[[maybe_unused]] constexpr size_t kFirstChunk = size_t(1) << 20;  // plain pages, for small memos
[[maybe_unused]] constexpr size_t kHuge = size_t(2) << 20;        // the huge page size of x86-64
[[maybe_unused]] constexpr size_t kLargestChunk = size_t(32) << 20;
[[maybe_unused]] constexpr size_t kAlign = 64;

[[maybe_unused]] size_t RoundUp(size_t N, size_t To) { return (N + To - 1) / To * To; }

}  // namespace

#if defined(IDE_REGION_HEAP_BLOCKS)

void* TZeroedRegion::Take(size_t Bytes) {
    void* p = std::calloc(std::max<size_t>(Bytes, 1), 1);
    if (!p) throw std::bad_alloc();
    FChunks.push_back({p, Bytes});
    FReserved += Bytes;
    return p;
}

void TZeroedRegion::NewChunk(size_t) {}

void TZeroedRegion::Clear() {
    for (const TChunk& c : FChunks) std::free(c.Base);
    std::vector<TChunk>().swap(FChunks);
    FReserved = 0;
}

#else

void* TZeroedRegion::Take(size_t Bytes) {
    Bytes = RoundUp(std::max<size_t>(Bytes, 1), kAlign);
    if (static_cast<size_t>(FEnd - FNext) < Bytes) NewChunk(Bytes);
    void* p = FNext;
    FNext += Bytes;
    return p;
}

void TZeroedRegion::NewChunk(size_t AtLeast) {
    const bool first = FChunks.empty();
    // Later chunks grow with the region, in whole huge pages: a part of one
    // would be plain pages again.
    size_t size = first ? kFirstChunk : RoundUp(std::clamp(FReserved, kHuge, kLargestChunk), kHuge);
    size = std::max(size, RoundUp(AtLeast, first ? size_t(4096) : kHuge));
    // Huge pages need 2 MiB alignment: map a little more and give back the
    // ends that stick out.
    const size_t slack = first ? 0 : kHuge;
    void* raw = mmap(nullptr, size + slack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (raw == MAP_FAILED) throw std::bad_alloc();
    uint8_t* base = static_cast<uint8_t*>(raw);
    if (slack) {
        uint8_t* aligned = reinterpret_cast<uint8_t*>(RoundUp(reinterpret_cast<uintptr_t>(base), kHuge));
        if (aligned > base) munmap(base, static_cast<size_t>(aligned - base));
        const size_t tail = static_cast<size_t>(base + size + slack - (aligned + size));
        if (tail) munmap(aligned + size, tail);
        base = aligned;
#if defined(MADV_HUGEPAGE)
        madvise(base, size, MADV_HUGEPAGE);  // advice only: plain pages if refused
#endif
    }
    FChunks.push_back({base, size});
    FReserved += size;
    FNext = base;
    FEnd = base + size;
}

void TZeroedRegion::Clear() {
    for (const TChunk& c : FChunks) munmap(c.Base, c.Size);
    std::vector<TChunk>().swap(FChunks);
    FNext = FEnd = nullptr;
    FReserved = 0;
}

#endif

}  // namespace ide
