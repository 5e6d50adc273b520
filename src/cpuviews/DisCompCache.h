// The disassembly memo: what the debugger in the host has answered so far,
// per address and per source position.
//
// The processor views hold no disassembler, symbol reader or debuggee access
// of their own; every answer comes from the host, and one paint, click or
// page movement asks for the same addresses many times. The memo keeps every
// answer until it is told to clear: it decides nothing about freshness.
//
// Oddities kept on purpose:
// - An empty answer with its bit set is a cached answer (no source line, no
//   additional lines, an empty label are all remembered).
// - FetchNextAddr tests cvAsm, not cvNextAddr: a next address counts as known
//   only once the instruction itself has been disassembled and cached. A
//   value stored by DepositNextAddr alone is kept and returned by
//   FetchAsmCode, but never makes FetchNextAddr hit.
// - String out-arguments are cleared first even on a miss; other
//   out-arguments are written on a hit only.
// - Two source positions are one key only when all three words are equal.
//
// Cost: one entry per address touched and one per source position touched,
// no limit and no eviction between two clears. Fetches read the stored
// record in place and deposits update it in place, so a hit copies only the
// out-arguments (into strings whose capacity the caller keeps).
//
// Layout, for a walk through a whole library's code (hundreds of thousands
// of addresses, mostly one after the other):
// - The address index is a table of 256-address pages: an open-addressing
//   index maps a page number to a page, and a page holds a pointer to the
//   record of each address of it (records never move), so a question costs
//   two reads. The page of the last question is remembered, so
//   neighbouring and repeated questions skip the page index.
// - A record is small and fixed (next and previous address, the code's
//   text and the bits of what is known). An empty answer (no label, no
//   source line, no additional lines: what most addresses get) is a bit in
//   it; answers with content sit in a second record that exists only then.
// - Texts live in one arena of large blocks, a byte per character when every
//   character of the text fits in one, and are overwritten in place when a
//   new answer is no longer than the old one.
// - Tables and texts are blocks of one zeroed region (TZeroedRegion), taken
//   from the system in large chunks and given back whole by Clear: a walk
//   through a library's code costs a few dozen page faults, not thousands.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "cpuviews/DisCompRegion.h"
#include "foundation/Runtime.h"

namespace ide {

// One source line of one symbol table. FileIndex 0 means "no source line",
// which is the test every caller uses. Param is also the symbol table number.
struct TCPUSourcePos {
    uint32_t FileIndex = 0;
    uint32_t LineNum = 0;
    uint32_t Param = 0;

    uint32_t SymTabNo() const { return Param; }
    friend bool operator==(const TCPUSourcePos&, const TCPUSourcePos&) = default;
};

inline TCPUSourcePos MakeCPUSourcePos(uint32_t FileIndex, uint32_t LineNum, uint32_t Param) {
    return TCPUSourcePos{FileIndex, LineNum, Param};
}

struct TCPUSourcePosHash {
    size_t operator()(const TCPUSourcePos& P) const noexcept {
        uint64_t h = (uint64_t(P.FileIndex) << 32) ^ P.LineNum;
        h ^= uint64_t(P.Param) * 0x9E3779B97F4A7C15ull;
        h ^= h >> 29;
        return static_cast<size_t>(h * 0xBF58476D1CE4E5B9ull);
    }
};

// The memo. A plain object owned by the disassembler view.
// Thread: UI thread only.
class TDisassemblyCache {
public:
    enum TCachedValue : uint8_t { cvAsm, cvAddlAsm, cvSourcePos, cvLabel, cvNextAddr, cvPrevAddr };
    using TCachedValues = uint8_t;  // bit n = value n above
    enum TSourcePosCachedValue : uint8_t { spcvFileName, spcvAddress };
    using TSourcePosCachedValues = uint8_t;

    struct TCacheEntry {
        TCachedValues CachedValues = 0;
        String AsmCode;
        int64_t NextAddr = 0;
        int64_t PrevAddr = 0;
        String AddlAsmCode;
        int32_t AddlAsmCount = 0;
        TCPUSourcePos SourcePos;
        int64_t SourcePosFirstStat = 0;
        int32_t SourcePosLineSize = 0;
        String LabelCode;

        bool Has(TCachedValue V) const { return (CachedValues >> V) & 1u; }
    };

    struct TSourcePosCacheEntry {
        TSourcePosCachedValues CachedValues = 0;
        String FileName;
        int64_t Address = 0;
        int32_t LineSize = 0;

        bool Has(TSourcePosCachedValue V) const { return (CachedValues >> V) & 1u; }
    };

    // Reads: True on a hit; string out-arguments are cleared in any case.
    bool FetchAsmCode(int64_t Address, String& AsmCode, int64_t& NextAddress) const;
    bool FetchNextAddr(int64_t Address, int64_t& NextAddr) const;
    bool FetchPrevAddr(int64_t Address, int64_t& PrevAddr) const;
    bool FetchAddlAsmCode(int64_t Address, String& AddlAsmCode, int32_t& AddlAsmCount) const;
    bool FetchSourcePos(int64_t Address, TCPUSourcePos& SourcePos, int64_t& FirstStat, int32_t& LineSize) const;
    bool FetchLabelCode(int64_t Address, String& LabelCode) const;
    // The same two reads without the text, for a caller that needs only
    // whether there is a label, or how many additional lines.
    bool FetchLabelCode(int64_t Address, bool& NotEmpty) const;
    bool FetchAddlAsmCount(int64_t Address, int32_t& AddlAsmCount) const;
    bool FetchFileName(const TCPUSourcePos& SourcePos, String& FileName) const;
    bool FetchAddress(const TCPUSourcePos& SourcePos, int64_t& Address, int32_t& LineSize) const;

    // Writes: accumulate into the entry of their key; no-ops while disabled.
    void DepositAsmCode(int64_t Address, const String& AsmCode, int64_t NextAddr);
    void DepositNextAddr(int64_t Address, int64_t NextAddr);
    void DepositPrevAddr(int64_t Address, int64_t PrevAddr);
    void DepositAddlAsmCode(int64_t Address, const String& AddlAsmCode, int32_t AddlAsmCount);
    void DepositSourcePos(int64_t Address, const TCPUSourcePos& SourcePos, int64_t FirstStat, int32_t LineSize);
    void DepositLabelCode(int64_t Address, const String& LabelCode);
    void DepositFileName(const TCPUSourcePos& SourcePos, const String& FileName);
    void DepositAddress(const TCPUSourcePos& SourcePos, int64_t Address, int32_t LineSize);

    // Empties both maps and changes nothing else.
    void Clear();

    // The loads behind the fetches: False and a zeroed entry on a miss.
    bool FetchCacheEntry(int64_t Address, TCacheEntry& Entry) const;
    bool FetchSourcePosCacheEntry(const TCPUSourcePos& SourcePos, TSourcePosCacheEntry& Entry) const;

    bool DisableCaching() const { return FDisableCaching; }
    // The view's setter clears when the flag becomes True; this only stores it.
    void SetDisableCaching(bool Value) { FDisableCaching = Value; }

    size_t AddressCount() const { return FRecords.size(); }
    size_t SourcePosCount() const { return FSourcePosEntries.size(); }

private:
    // Where one text is in the arena: block and byte offset in one word
    // (blocks of 2^18 bytes, at most 2^14 of them), length in characters;
    // the top bit of Length marks two bytes per character. Eight bytes, so
    // that a record is 32.
    struct TTextRef {
        static constexpr int kOffsetBits = 18;
        uint32_t Where = 0;
        uint32_t Length = 0;
        uint32_t Block() const { return Where >> kOffsetBits; }
        uint32_t Offset() const { return Where & ((1u << kOffsetBits) - 1); }
    };
    static constexpr uint32_t kWide = 0x80000000u;
    static constexpr size_t kMostTextBlocks = size_t(1) << (32 - TTextRef::kOffsetBits);

    // The fixed record of one address. An empty answer (no label, no source
    // line, no additional lines) is only a bit in it; the extra record holds
    // the answers that have content (bit n of InExtra: value n is there).
    // Extra is 0 or 1 + an index into FExtras.
    struct TRecord {
        int64_t NextAddr = 0;
        int64_t PrevAddr = 0;
        TTextRef AsmCode;
        uint32_t Extra = 0;
        TCachedValues CachedValues = 0;
        TCachedValues InExtra = 0;
    };
    static_assert(sizeof(TRecord) == 32);
    struct TExtraRecord {
        int64_t SourcePosFirstStat = 0;
        TCPUSourcePos SourcePos;
        int32_t SourcePosLineSize = 0;
        int32_t AddlAsmCount = 0;
        TTextRef AddlAsmCode;
        TTextRef LabelCode;
    };

    // The arena of texts: blocks of the region, which never move.
    class TTextArena {
    public:
        explicit TTextArena(TZeroedRegion& Region) : FRegion(Region) {}
        // False if the text is too long to be kept (2^31 characters or more).
        bool Store(TTextRef& Ref, const String& Text);
        void Load(const TTextRef& Ref, String& Text) const;
        // Forgets the blocks; the region gives the memory back.
        void Clear();

    private:
        // Room for Bytes, or null when the arena has no block number left.
        uint8_t* Reserve(size_t Bytes, TTextRef& Ref);
        TZeroedRegion& FRegion;
        std::vector<uint8_t*> FBlocks;
        size_t FCurrent = SIZE_MAX;  // the block being filled
        size_t FUsed = 0;
    };

    // A vector in blocks of the region that never move: growing copies
    // nothing, and only the memory used is touched.
    template <class T, int Bits>
    class TBlockVector {
    public:
        explicit TBlockVector(TZeroedRegion& Region) : FRegion(Region) {}
        size_t size() const { return FSize; }
        T& operator[](size_t I) { return FBlocks[I >> Bits][I & kMask]; }
        const T& operator[](size_t I) const { return FBlocks[I >> Bits][I & kMask]; }
        // Appends Count value-initialised elements; answers the first index.
        size_t Grow(size_t Count) {
            const size_t first = FSize;
            while (Count > 0) {
                if ((FSize & kMask) == 0)
                    FBlocks.push_back(static_cast<T*>(FRegion.Take(sizeof(T) * (kMask + 1))));
                const size_t take = std::min(Count, kMask + 1 - (FSize & kMask));
                T* at = FBlocks.back() + (FSize & kMask);
                for (size_t i = 0; i < take; ++i) new (at + i) T();
                FSize += take;
                Count -= take;
            }
            return first;
        }
        // Forgets the blocks; the region gives the memory back.
        void Clear() {
            std::vector<T*>().swap(FBlocks);
            FSize = 0;
        }

    private:
        static_assert(std::is_trivially_destructible_v<T>, "the region frees without destroying");
        static constexpr size_t kMask = (size_t(1) << Bits) - 1;
        TZeroedRegion& FRegion;
        std::vector<T*> FBlocks;
        size_t FSize = 0;
    };

    static constexpr int kPageBits = 8;
    static constexpr int64_t kPageSize = int64_t(1) << kPageBits;

    // The record of an address, or null. Inline for the repeated questions
    // about one address and about its neighbours; the page index is asked
    // out of line, when the page changes.
    const TRecord* Find(int64_t Address) const {
        if (FLastRecord && FLastAddress == Address) return FLastRecord;
        const int64_t page = Address >> kPageBits;
        TRecord* const* records = FLastPageRecords && FLastPageKey == page ? FLastPageRecords : PageRecords(page);
        if (!records) return nullptr;
        const TRecord* record = records[Address & (kPageSize - 1)];
        if (!record) return nullptr;
        FLastAddress = Address;
        FLastRecord = record;
        return record;
    }
    // The records of a page (null if it has none), which becomes the last
    // page.
    TRecord* const* PageRecords(int64_t Page) const;
    // The extra record of R when value V has content there, else null.
    const TExtraRecord* ExtraOf(const TRecord& R, TCachedValue V) const {
        return (R.InExtra & (1u << V)) ? &FExtras[R.Extra - 1] : nullptr;
    }
    const TSourcePosCacheEntry* Find(const TCPUSourcePos& SourcePos) const;
    TRecord* Slot(int64_t Address);
    TExtraRecord& ExtraOf(TRecord& R);
    TSourcePosCacheEntry* Slot(const TCPUSourcePos& SourcePos);

    // -1 when the page has no slot yet.
    int32_t FindPage(int64_t Page) const;
    int32_t AddPage(int64_t Page);
    void GrowPageIndex();
    int32_t FindSourcePos(const TCPUSourcePos& SourcePos) const;
    void GrowSourceIndex();

    // FPageSlots[i] is 0 (free) or 1 + a page number; a power of two in
    // size, at most half full. Page p owns FPageRecords[p << kPageBits ...],
    // each null (no record) or the record, which never moves until Clear.
    std::vector<int64_t> FPageKeys;
    std::vector<uint32_t> FPageSlots;
    // Declared before the tables and texts that live in it.
    TZeroedRegion FRegion;
    TBlockVector<TRecord*, 15> FPageRecords{FRegion};
    TBlockVector<TRecord, 12> FRecords{FRegion};
    TBlockVector<TExtraRecord, 10> FExtras{FRegion};
    TTextArena FTexts{FRegion};
    mutable int64_t FLastPageKey = 0;
    mutable int32_t FLastPage = -1;
    mutable TRecord* const* FLastPageRecords = nullptr;  // of FLastPage: its 256 pointers lie in one block
    // The record of the last address asked for: one paint asks about the
    // same address several times in a row (code, label, source, extra lines).
    mutable int64_t FLastAddress = 0;
    mutable const TRecord* FLastRecord = nullptr;
    // The same open addressing for source positions over a vector of entries.
    std::vector<TSourcePosCacheEntry> FSourcePosEntries;
    std::vector<TCPUSourcePos> FSourcePosKeys;
    std::vector<uint32_t> FSourcePosSlots;
    bool FDisableCaching = false;
};

// The reads the view asks on every line, inline: on a hit they cost a test of
// the last record asked for and a copy of the out-arguments.

inline bool TDisassemblyCache::FetchAsmCode(int64_t Address, String& AsmCode, int64_t& NextAddress) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvAsm))) {
        AsmCode.clear();
        return false;
    }
    FTexts.Load(r->AsmCode, AsmCode);
    if (r->CachedValues & (1u << cvNextAddr)) NextAddress = r->NextAddr;
    return true;
}

inline bool TDisassemblyCache::FetchNextAddr(int64_t Address, int64_t& NextAddr) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvAsm))) return false;  // cvAsm on purpose: see the file head
    NextAddr = r->NextAddr;
    return true;
}

inline bool TDisassemblyCache::FetchPrevAddr(int64_t Address, int64_t& PrevAddr) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvPrevAddr))) return false;
    PrevAddr = r->PrevAddr;
    return true;
}

inline bool TDisassemblyCache::FetchAddlAsmCode(int64_t Address, String& AddlAsmCode, int32_t& AddlAsmCount) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvAddlAsm))) {
        AddlAsmCode.clear();
        return false;
    }
    if (const TExtraRecord* x = ExtraOf(*r, cvAddlAsm)) {
        FTexts.Load(x->AddlAsmCode, AddlAsmCode);
        AddlAsmCount = x->AddlAsmCount;
    } else {
        AddlAsmCode.clear();
        AddlAsmCount = 0;
    }
    return true;
}

inline bool TDisassemblyCache::FetchSourcePos(int64_t Address, TCPUSourcePos& SourcePos, int64_t& FirstStat,
                                              int32_t& LineSize) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvSourcePos))) return false;
    if (const TExtraRecord* x = ExtraOf(*r, cvSourcePos)) {
        SourcePos = x->SourcePos;
        FirstStat = x->SourcePosFirstStat;
        LineSize = x->SourcePosLineSize;
    } else {
        SourcePos = TCPUSourcePos{};
        FirstStat = 0;
        LineSize = 0;
    }
    return true;
}

inline bool TDisassemblyCache::FetchLabelCode(int64_t Address, String& LabelCode) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvLabel))) {
        LabelCode.clear();
        return false;
    }
    if (const TExtraRecord* x = ExtraOf(*r, cvLabel))
        FTexts.Load(x->LabelCode, LabelCode);
    else
        LabelCode.clear();
    return true;
}

inline bool TDisassemblyCache::FetchLabelCode(int64_t Address, bool& NotEmpty) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvLabel))) return false;
    NotEmpty = ExtraOf(*r, cvLabel) != nullptr;  // an empty label is no content
    return true;
}

inline bool TDisassemblyCache::FetchAddlAsmCount(int64_t Address, int32_t& AddlAsmCount) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & (1u << cvAddlAsm))) return false;
    const TExtraRecord* x = ExtraOf(*r, cvAddlAsm);
    AddlAsmCount = x ? x->AddlAsmCount : 0;
    return true;
}

}  // namespace ide
