#include "vtree/VTNodeAllocator.h"

#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>

namespace ide {

namespace {

constexpr size_t kPage = 4096;
// Chunks of this size or more are mapped pre-faulted.
constexpr size_t kPopulateFrom = size_t(1) << 20;
constexpr size_t kHugePage = size_t(2) << 20;
constexpr size_t kMaxGrowthRecords = size_t(1) << 20;
// A huge page that takes longer than this to fault in was taken back by the
// host; ordinary pages cost about half of it.
constexpr std::chrono::microseconds kSlowHugePage{1500};

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
    uint8_t* base;
    if (bytes >= kHugePage) {
        // Large chunks start on a huge-page boundary and ask for huge pages:
        // faulting a gigabyte in 4 KiB pages costs more than writing it.
        bytes = (bytes + kHugePage - 1) & ~(kHugePage - 1);
        void* p = mmap(nullptr, bytes + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED) throw std::bad_alloc();
        auto* raw = static_cast<uint8_t*>(p);
        base = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(raw) + kHugePage - 1) & ~(kHugePage - 1));
        if (base > raw) munmap(raw, size_t(base - raw));
        if (uint8_t* tail = base + bytes; tail < raw + bytes + kHugePage) munmap(tail, size_t(raw + bytes + kHugePage - tail));
        FHugePages = madvise(base, bytes, MADV_HUGEPAGE) == 0;
        FFaulted = base;
    } else {
        int flags = MAP_PRIVATE | MAP_ANONYMOUS;
        if (bytes >= kPopulateFrom) flags |= MAP_POPULATE;
        void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, -1, 0);
        if (p == MAP_FAILED) throw std::bad_alloc();
        base = static_cast<uint8_t*>(p);
        FHugePages = false;
        FFaulted = base + bytes;
    }
    FChunks.push_back({base, bytes});
    FChunkEnd = base + bytes;
    FReservedBytes += bytes;
    FCursor = base;
    FEnd = FCursor + (bytes / FRecordSize) * FRecordSize;
    if (FNextChunkRecords < kMaxGrowthRecords) FNextChunkRecords *= 2;
}

void TNodeAllocator::FaultInSlow(const uint8_t* Upto) {
    using Clock = std::chrono::steady_clock;
    const uint8_t* target = Upto < FChunkEnd ? Upto : FChunkEnd;
    while (FFaulted < target) {
        const size_t piece = std::min<size_t>(kHugePage, size_t(FChunkEnd - FFaulted));
        const Clock::time_point start = FHugePages ? Clock::now() : Clock::time_point();
        if (madvise(FFaulted, piece, MADV_POPULATE_WRITE) != 0) {
            // Not offered by this system: the pages fault as they are written.
            FFaulted = FChunkEnd;
            return;
        }
        FFaulted += piece;
        if (FHugePages && Clock::now() - start > kSlowHugePage && FFaulted < FChunkEnd) {
            madvise(FFaulted, size_t(FChunkEnd - FFaulted), MADV_NOHUGEPAGE);
            FHugePages = false;
        }
    }
}

void TNodeAllocator::Reserve(size_t Count) {
    if (static_cast<size_t>(FEnd - FCursor) < Count * FRecordSize) NewChunk(Count);
}

void* TNodeAllocator::AllocateFresh() {
    if (FCursor == FEnd) NewChunk(1);
    void* p = FCursor;
    FCursor += FRecordSize;
    FaultIn(FCursor);
    ++FLive;
    return p;  // fresh mapped memory is zero
}

uint8_t* TNodeAllocator::AllocateRun(size_t Count) {
    Reserve(Count);
    uint8_t* run = FCursor;
    FCursor += Count * FRecordSize;
    FLive += Count;
    return run;  // fresh mapped memory is zero
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
    FCursor = FEnd = FChunkEnd = FFaulted = nullptr;
    FHugePages = false;
    FFreeList = nullptr;
    FLive = 0;
    FReservedBytes = 0;
    FNextChunkRecords = 256;
}

}  // namespace ide
