// The memory the disassembly memo keeps its tables and texts in: blocks
// handed out one after the other from large zeroed chunks, all given back at
// once when the memo clears.
//
// A walk through a whole library's code leaves tens of megabytes of answers.
// Taken from the heap a block at a time, every 4 KiB page of that memory
// costs the kernel a fault and the allocator a fill with zeros. Here the
// memory comes straight from the system, already zeroed, and every chunk but
// the first is aligned to 2 MiB and offered for huge pages, so the same walk
// takes a few dozen faults. The first chunk is plain pages: a memo that
// holds one screen keeps only the pages it touched.
//
// Under the address sanitizer every block is a heap block of its own, so that
// an overrun from one block into the next is caught.
// Thread: one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ide {

class TZeroedRegion {
public:
    TZeroedRegion() = default;
    TZeroedRegion(const TZeroedRegion&) = delete;
    TZeroedRegion& operator=(const TZeroedRegion&) = delete;
    ~TZeroedRegion() { Clear(); }

    // Bytes of zeroed memory, aligned to 16 at least, valid until Clear. Throws
    // std::bad_alloc when the system has none.
    void* Take(size_t Bytes);
    // Gives every chunk back.
    void Clear();

    // Bytes of the chunks held (reserved, not necessarily touched).
    size_t Reserved() const { return FReserved; }

private:
    struct TChunk {
        void* Base = nullptr;  // what the system gave, for giving it back
        size_t Size = 0;
    };
    void NewChunk(size_t AtLeast);

    std::vector<TChunk> FChunks;
    uint8_t* FNext = nullptr;
    uint8_t* FEnd = nullptr;
    size_t FReserved = 0;
};

}  // namespace ide
