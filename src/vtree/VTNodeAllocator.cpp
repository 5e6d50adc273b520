#include "vtree/VTNodeAllocator.h"

#include <sys/mman.h>

#include <cstring>
#include <new>

namespace ide {

namespace {

constexpr size_t kPage = 4096;
// Chunks of this size or more are mapped pre-faulted.
constexpr size_t kPopulateFrom = size_t(1) << 20;
constexpr size_t kMaxGrowthRecords = size_t(1) << 20;

}  // namespace

TNodeAllocator::~TNodeAllocator() { ReleaseAll(); }

void TNodeAllocator::SetRecordSize(size_t Size) {
    Size = (Size + 7) & ~size_t(7);
    if (Size == FRecordSize) return;
    ReleaseAll();
    FRecordSize = Size;
}

void TNodeAllocator::NewChunk(size_t MinRecords) {
    size_t records = MinRecords > FNextChunkRecords ? MinRecords : FNextChunkRecords;
    size_t bytes = (records * FRecordSize + kPage - 1) & ~(kPage - 1);
    int flags = MAP_PRIVATE | MAP_ANONYMOUS;
    if (bytes >= kPopulateFrom) flags |= MAP_POPULATE;
    void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    FChunks.push_back({static_cast<uint8_t*>(p), bytes});
    FReservedBytes += bytes;
    FCursor = static_cast<uint8_t*>(p);
    FEnd = FCursor + (bytes / FRecordSize) * FRecordSize;
    if (FNextChunkRecords < kMaxGrowthRecords) FNextChunkRecords *= 2;
}

void TNodeAllocator::Reserve(size_t Count) {
    if (static_cast<size_t>(FEnd - FCursor) < Count * FRecordSize) NewChunk(Count);
}

void* TNodeAllocator::AllocateFresh() {
    if (FCursor == FEnd) NewChunk(1);
    void* p = FCursor;
    FCursor += FRecordSize;
    ++FLive;
    return p;  // fresh mapped memory is zero
}

void* TNodeAllocator::Allocate() {
    if (FFreeList) {
        void* p = FFreeList;
        FFreeList = *static_cast<void**>(p);
        std::memset(p, 0, FRecordSize);
        ++FLive;
        return p;
    }
    return AllocateFresh();
}

void TNodeAllocator::Free(void* P) noexcept {
    if (!P) return;
    *static_cast<void**>(P) = FFreeList;
    FFreeList = P;
    if (--FLive == 0) ReleaseAll();
}

void TNodeAllocator::ReleaseAll() noexcept {
    for (const TChunk& c : FChunks) munmap(c.Base, c.Bytes);
    FChunks.clear();
    FCursor = FEnd = nullptr;
    FFreeList = nullptr;
    FLive = 0;
    FReservedBytes = 0;
    FNextChunkRecords = 256;
}

}  // namespace ide
