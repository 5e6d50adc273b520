// The node memory of one tree: a slab allocator for records of one size.
//
// Nodes come from large zero-filled chunks, carved front to back, so that
// children made together by one SetChildCount lie next to each other in
// memory; every later walk over them (validation passes, paints, saves) runs
// at memory speed instead of chasing scattered pointers. A freed node goes to
// a free list and is zeroed again when it is reused. Chunks go back to the
// system all at once when the last node of the tree is freed (Clear), which
// is when trees release the bulk of their memory; a tree that shrinks
// partially keeps its chunks for reuse.
//
// Chunks of 2 MiB or more are aligned to and ask for huge pages, which cuts
// the faulting of a gigabyte of nodes to a few hundred faults. Their pages
// are faulted in ahead of the writes, 2 MiB at a time (FaultIn): the system
// zeroes each piece just before the nodes are written into it, while it is
// still in the cache. On a virtual machine a huge page the host has taken
// back costs several times its ordinary pages to fault in again (about 4 ms
// against 0.7 ms per 2 MiB here, and 0.25 ms for one still held), and which
// kind of page comes next can't be known in advance; so each huge page is
// timed, and from the first slow one on, the rest of the chunk takes
// ordinary pages, faulted in by range. Smaller chunks of 1 MiB or more are
// mapped pre-faulted: 4 KiB page faults otherwise dominate the cost of
// making many nodes.
//
// Thread: one at a time (the tree's owner thread).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ide {

class TNodeAllocator {
public:
    TNodeAllocator() = default;
    ~TNodeAllocator();
    TNodeAllocator(const TNodeAllocator&) = delete;
    TNodeAllocator& operator=(const TNodeAllocator&) = delete;

    // The size of one record, rounded up to 8. Only while no node is live.
    void SetRecordSize(size_t Size);
    size_t RecordSize() const noexcept { return FRecordSize; }

    // Makes sure the next Count fresh allocations are contiguous.
    void Reserve(size_t Count);
    // A zero-filled record: from the free list, else fresh.
    void* Allocate();
    // A zero-filled record carved fresh from the current chunk (contiguous
    // with the previous fresh one after Reserve).
    void* AllocateFresh();
    // Count contiguous zero-filled records, carved fresh (Count > 0); the
    // records lie RecordSize() apart.
    uint8_t* AllocateRun(size_t Count);
    // Faults in the pages of the current chunk up to Upto (a pointer into
    // it), ahead of writes that reach it; a writer of a long run calls it as
    // it goes. Records are usable without it: pages then fault one by one.
    void FaultIn(const uint8_t* Upto) {
        if (Upto > FFaulted) FaultInSlow(Upto);
    }
    void Free(void* P) noexcept;

    size_t LiveCount() const noexcept { return FLive; }
    // Bytes mapped for nodes, free list included.
    size_t ReservedBytes() const noexcept { return FReservedBytes; }

private:
    struct TChunk {
        uint8_t* Base;
        size_t Bytes;
    };
    void NewChunk(size_t MinRecords);
    void FaultInSlow(const uint8_t* Upto);
    void ReleaseAll() noexcept;

    size_t FRecordSize = 64;
    std::vector<TChunk> FChunks;
    uint8_t* FCursor = nullptr;
    uint8_t* FEnd = nullptr;
    // The current chunk: its end, how far it is faulted in, and whether it
    // still takes huge pages.
    uint8_t* FChunkEnd = nullptr;
    uint8_t* FFaulted = nullptr;
    bool FHugePages = false;
    void* FFreeList = nullptr;
    size_t FLive = 0;
    size_t FReservedBytes = 0;
    size_t FNextChunkRecords = 256;
};

}  // namespace ide
