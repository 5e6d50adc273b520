#include "cpuviews/DisCompCache.h"

#include <cstring>

namespace ide {

namespace {

constexpr uint8_t Bit(unsigned V) { return static_cast<uint8_t>(1u << V); }

constexpr size_t kArenaBlock = size_t(1) << 18;   // bytes of one shared text block
constexpr size_t kOwnBlock = kArenaBlock / 4;      // a text this long gets a block of its own

// Loops in blocks of 16 characters over unaliased pointers: the compiler
// turns the fixed inner loops into vector instructions even at -O2.
constexpr size_t kRun = 16;

bool FitsInBytes(const char16_t* From, size_t N) {
    char16_t any = 0;
    for (size_t i = 0; i < N; ++i) any |= From[i];
    return any <= 0xFF;
}

// Narrows into To and answers whether every character fitted in a byte;
// if not, To holds garbage.
bool NarrowIfFits(const char16_t* __restrict From, uint8_t* __restrict To, size_t N) {
    char16_t any = 0;
    if (N < kRun) {
        for (size_t i = 0; i < N; ++i) {
            any |= From[i];
            To[i] = static_cast<uint8_t>(From[i]);
        }
        return any <= 0xFF;
    }
    // Whole runs, the last one overlapping the one before it: no character
    // is left for a loop of single steps.
    for (size_t i = 0;; i += kRun) {
        if (i + kRun > N) i = N - kRun;
        for (size_t j = 0; j < kRun; ++j) {
            any |= From[i + j];
            To[i + j] = static_cast<uint8_t>(From[i + j]);
        }
        if (i + kRun == N) return any <= 0xFF;
    }
}

void Widen(const uint8_t* __restrict From, char16_t* __restrict To, size_t N) {
    if (N < kRun) {
        for (size_t i = 0; i < N; ++i) To[i] = From[i];
        return;
    }
    // Whole runs, the last one overlapping the one before it: no character
    // is left for a loop of single steps.
    for (size_t i = 0;; i += kRun) {
        if (i + kRun > N) i = N - kRun;
        for (size_t j = 0; j < kRun; ++j) To[i + j] = From[i + j];
        if (i + kRun == N) return;
    }
}
inline size_t HashPage(int64_t Page, size_t Mask) {
    uint64_t h = static_cast<uint64_t>(Page) * 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(h ^ (h >> 29)) & Mask;
}

}  // namespace

// ---------------------------------------------------------------------------
// The text arena

uint8_t* TDisassemblyCache::TTextArena::Reserve(size_t Bytes, TTextRef& Ref) {
    static_assert(kArenaBlock == size_t(1) << TTextRef::kOffsetBits);
    const bool own = Bytes > kOwnBlock;
    if (own || FCurrent == SIZE_MAX || FUsed + Bytes > kArenaBlock) {
        if (FBlocks.size() >= kMostTextBlocks) return nullptr;
        FBlocks.push_back(static_cast<uint8_t*>(FRegion.Take(own ? Bytes : kArenaBlock)));
        if (own) {
            Ref.Where = static_cast<uint32_t>(FBlocks.size() - 1) << TTextRef::kOffsetBits;
            return FBlocks.back();
        }
        FCurrent = FBlocks.size() - 1;
        FUsed = 0;
    }
    Ref.Where = static_cast<uint32_t>(FCurrent) << TTextRef::kOffsetBits | static_cast<uint32_t>(FUsed);
    FUsed += Bytes;
    return FBlocks[FCurrent] + Ref.Offset();
}

bool TDisassemblyCache::TTextArena::Store(TTextRef& Ref, const String& Text) {
    const size_t n = Text.size();
    if (n >= kWide) return false;
    if (n == 0) {
        Ref = TTextRef{};
        return true;
    }
    const char16_t* from = Text.data();
    const TTextRef old = Ref;
    const size_t held = (old.Length & kWide) ? 2 * size_t(old.Length & ~kWide) : size_t(old.Length);
    bool narrow = false;
    uint8_t* to = nullptr;
    if (n <= held) {
        // The old answer's room: checked before it is written, so that a
        // failure below leaves the old answer whole.
        narrow = FitsInBytes(from, n);
        if (narrow) NarrowIfFits(from, FBlocks[old.Block()] + old.Offset(), n);
    } else {
        // New room: one pass narrows and checks; most texts fit a byte a
        // character.
        to = Reserve(n, Ref);
        if (!to) return false;
        narrow = NarrowIfFits(from, to, n);
    }
    if (narrow) {
        Ref.Length = static_cast<uint32_t>(n);
        return true;
    }
    // A character beyond a byte: two bytes a character.
    if (2 * n <= held) {
        Ref = old;
        to = FBlocks[old.Block()] + old.Offset();
    } else {
        to = Reserve(2 * n, Ref);
        if (!to) {
            Ref = old;
            return false;
        }
    }
    std::memcpy(to, from, 2 * n);
    Ref.Length = static_cast<uint32_t>(n) | kWide;
    return true;
}

void TDisassemblyCache::TTextArena::Load(const TTextRef& Ref, String& Text) const {
    const size_t n = Ref.Length & ~kWide;
    Text.resize(n);
    if (n == 0) return;
    const uint8_t* from = FBlocks[Ref.Block()] + Ref.Offset();
    if (Ref.Length & kWide)
        std::memcpy(Text.data(), from, 2 * n);
    else
        Widen(from, Text.data(), n);
}

void TDisassemblyCache::TTextArena::Clear() {
    std::vector<uint8_t*>().swap(FBlocks);
    FCurrent = SIZE_MAX;
    FUsed = 0;
}

// ---------------------------------------------------------------------------
// The address index

int32_t TDisassemblyCache::FindPage(int64_t Page) const {
    if (FLastPage >= 0 && FLastPageKey == Page) return FLastPage;
    if (FPageSlots.empty()) return -1;
    const size_t mask = FPageSlots.size() - 1;
    for (size_t i = HashPage(Page, mask);; i = (i + 1) & mask) {
        const uint32_t slot = FPageSlots[i];
        if (slot == 0) return -1;
        if (FPageKeys[slot - 1] == Page) {
            FLastPageKey = Page;
            FLastPage = static_cast<int32_t>(slot - 1);
            FLastPageRecords = &FPageRecords[size_t(FLastPage) << kPageBits];
            return FLastPage;
        }
    }
}

void TDisassemblyCache::GrowPageIndex() {
    const size_t capacity = FPageSlots.empty() ? 64 : FPageSlots.size() * 2;
    FPageSlots.assign(capacity, 0);
    const size_t mask = capacity - 1;
    for (uint32_t p = 0; p < FPageKeys.size(); ++p) {
        size_t i = HashPage(FPageKeys[p], mask);
        while (FPageSlots[i] != 0) i = (i + 1) & mask;
        FPageSlots[i] = p + 1;
    }
}

int32_t TDisassemblyCache::AddPage(int64_t Page) {
    if ((FPageKeys.size() + 1) * 2 > FPageSlots.size()) GrowPageIndex();
    const size_t mask = FPageSlots.size() - 1;
    size_t i = HashPage(Page, mask);
    while (FPageSlots[i] != 0) i = (i + 1) & mask;
    FPageKeys.push_back(Page);
    FPageSlots[i] = static_cast<uint32_t>(FPageKeys.size());
    FPageRecords.Grow(kPageSize);
    FLastPageKey = Page;
    FLastPage = static_cast<int32_t>(FPageKeys.size() - 1);
    FLastPageRecords = &FPageRecords[size_t(FLastPage) << kPageBits];
    return FLastPage;
}

TDisassemblyCache::TRecord* const* TDisassemblyCache::PageRecords(int64_t Page) const {
    return FindPage(Page) < 0 ? nullptr : FLastPageRecords;
}

TDisassemblyCache::TRecord* TDisassemblyCache::Slot(int64_t Address) {
    if (FDisableCaching) return nullptr;
    int32_t page = FindPage(Address >> kPageBits);
    if (page < 0) page = AddPage(Address >> kPageBits);
    TRecord*& r = FPageRecords[(size_t(page) << kPageBits) | size_t(Address & (kPageSize - 1))];
    if (!r) r = &FRecords[FRecords.Grow(1)];  // records never move until Clear
    FLastAddress = Address;
    FLastRecord = r;
    return r;
}

TDisassemblyCache::TExtraRecord& TDisassemblyCache::ExtraOf(TRecord& R) {
    if (R.Extra == 0) R.Extra = static_cast<uint32_t>(FExtras.Grow(1) + 1);
    return FExtras[R.Extra - 1];
}

// ---------------------------------------------------------------------------
// The source position index

int32_t TDisassemblyCache::FindSourcePos(const TCPUSourcePos& SourcePos) const {
    if (FSourcePosSlots.empty()) return -1;
    const size_t mask = FSourcePosSlots.size() - 1;
    for (size_t i = TCPUSourcePosHash{}(SourcePos) & mask;; i = (i + 1) & mask) {
        const uint32_t slot = FSourcePosSlots[i];
        if (slot == 0) return -1;
        if (FSourcePosKeys[slot - 1] == SourcePos) return static_cast<int32_t>(slot - 1);
    }
}

void TDisassemblyCache::GrowSourceIndex() {
    const size_t capacity = FSourcePosSlots.empty() ? 16 : FSourcePosSlots.size() * 2;
    FSourcePosSlots.assign(capacity, 0);
    const size_t mask = capacity - 1;
    for (uint32_t e = 0; e < FSourcePosKeys.size(); ++e) {
        size_t i = TCPUSourcePosHash{}(FSourcePosKeys[e]) & mask;
        while (FSourcePosSlots[i] != 0) i = (i + 1) & mask;
        FSourcePosSlots[i] = e + 1;
    }
}

const TDisassemblyCache::TSourcePosCacheEntry* TDisassemblyCache::Find(const TCPUSourcePos& SourcePos) const {
    const int32_t index = FindSourcePos(SourcePos);
    return index < 0 ? nullptr : &FSourcePosEntries[static_cast<size_t>(index)];
}

TDisassemblyCache::TSourcePosCacheEntry* TDisassemblyCache::Slot(const TCPUSourcePos& SourcePos) {
    if (FDisableCaching) return nullptr;
    const int32_t index = FindSourcePos(SourcePos);
    if (index >= 0) return &FSourcePosEntries[static_cast<size_t>(index)];
    if ((FSourcePosKeys.size() + 1) * 2 > FSourcePosSlots.size()) GrowSourceIndex();
    const size_t mask = FSourcePosSlots.size() - 1;
    size_t i = TCPUSourcePosHash{}(SourcePos) & mask;
    while (FSourcePosSlots[i] != 0) i = (i + 1) & mask;
    FSourcePosKeys.push_back(SourcePos);
    FSourcePosEntries.emplace_back();
    FSourcePosSlots[i] = static_cast<uint32_t>(FSourcePosKeys.size());
    return &FSourcePosEntries.back();
}

// ---------------------------------------------------------------------------
// Fetches

bool TDisassemblyCache::FetchCacheEntry(int64_t Address, TCacheEntry& Entry) const {
    Entry = TCacheEntry{};
    const TRecord* r = Find(Address);
    if (!r) return false;
    Entry.CachedValues = r->CachedValues;
    Entry.NextAddr = r->NextAddr;
    Entry.PrevAddr = r->PrevAddr;
    FTexts.Load(r->AsmCode, Entry.AsmCode);
    if (const TExtraRecord* x = ExtraOf(*r, cvAddlAsm)) {
        FTexts.Load(x->AddlAsmCode, Entry.AddlAsmCode);
        Entry.AddlAsmCount = x->AddlAsmCount;
    }
    if (const TExtraRecord* x = ExtraOf(*r, cvSourcePos)) {
        Entry.SourcePos = x->SourcePos;
        Entry.SourcePosFirstStat = x->SourcePosFirstStat;
        Entry.SourcePosLineSize = x->SourcePosLineSize;
    }
    if (const TExtraRecord* x = ExtraOf(*r, cvLabel)) FTexts.Load(x->LabelCode, Entry.LabelCode);
    return true;
}

bool TDisassemblyCache::FetchSourcePosCacheEntry(const TCPUSourcePos& SourcePos, TSourcePosCacheEntry& Entry) const {
    const TSourcePosCacheEntry* e = Find(SourcePos);
    Entry = e ? *e : TSourcePosCacheEntry{};
    return e != nullptr;
}







bool TDisassemblyCache::FetchFileName(const TCPUSourcePos& SourcePos, String& FileName) const {
    FileName.clear();
    const TSourcePosCacheEntry* e = Find(SourcePos);
    if (!e || !e->Has(spcvFileName)) return false;
    FileName = e->FileName;
    return true;
}

bool TDisassemblyCache::FetchAddress(const TCPUSourcePos& SourcePos, int64_t& Address, int32_t& LineSize) const {
    const TSourcePosCacheEntry* e = Find(SourcePos);
    if (!e || !e->Has(spcvAddress)) return false;
    Address = e->Address;
    LineSize = e->LineSize;
    return true;
}

// ---------------------------------------------------------------------------
// Deposits

void TDisassemblyCache::DepositAsmCode(int64_t Address, const String& AsmCode, int64_t NextAddr) {
    if (TRecord* r = Slot(Address)) {
        if (!FTexts.Store(r->AsmCode, AsmCode)) return;
        r->CachedValues |= Bit(cvAsm) | Bit(cvNextAddr);
        r->NextAddr = NextAddr;
    }
}

void TDisassemblyCache::DepositNextAddr(int64_t Address, int64_t NextAddr) {
    if (TRecord* r = Slot(Address)) {
        r->CachedValues |= Bit(cvNextAddr);
        r->NextAddr = NextAddr;
    }
}

void TDisassemblyCache::DepositPrevAddr(int64_t Address, int64_t PrevAddr) {
    if (TRecord* r = Slot(Address)) {
        r->CachedValues |= Bit(cvPrevAddr);
        r->PrevAddr = PrevAddr;
    }
}

void TDisassemblyCache::DepositAddlAsmCode(int64_t Address, const String& AddlAsmCode, int32_t AddlAsmCount) {
    TRecord* r = Slot(Address);
    if (!r) return;
    if (AddlAsmCode.empty() && AddlAsmCount == 0) {
        r->InExtra &= static_cast<uint8_t>(~Bit(cvAddlAsm));
    } else {
        TExtraRecord& x = ExtraOf(*r);
        if (!FTexts.Store(x.AddlAsmCode, AddlAsmCode)) return;
        x.AddlAsmCount = AddlAsmCount;
        r->InExtra |= Bit(cvAddlAsm);
    }
    r->CachedValues |= Bit(cvAddlAsm);
}

void TDisassemblyCache::DepositSourcePos(int64_t Address, const TCPUSourcePos& SourcePos, int64_t FirstStat,
                                         int32_t LineSize) {
    TRecord* r = Slot(Address);
    if (!r) return;
    if (SourcePos == TCPUSourcePos{} && FirstStat == 0 && LineSize == 0) {
        r->InExtra &= static_cast<uint8_t>(~Bit(cvSourcePos));
    } else {
        TExtraRecord& x = ExtraOf(*r);
        x.SourcePos = SourcePos;
        x.SourcePosFirstStat = FirstStat;
        x.SourcePosLineSize = LineSize;
        r->InExtra |= Bit(cvSourcePos);
    }
    r->CachedValues |= Bit(cvSourcePos);
}

void TDisassemblyCache::DepositLabelCode(int64_t Address, const String& LabelCode) {
    TRecord* r = Slot(Address);
    if (!r) return;
    if (LabelCode.empty()) {
        r->InExtra &= static_cast<uint8_t>(~Bit(cvLabel));
    } else {
        if (!FTexts.Store(ExtraOf(*r).LabelCode, LabelCode)) return;
        r->InExtra |= Bit(cvLabel);
    }
    r->CachedValues |= Bit(cvLabel);
}

void TDisassemblyCache::DepositFileName(const TCPUSourcePos& SourcePos, const String& FileName) {
    if (TSourcePosCacheEntry* e = Slot(SourcePos)) {
        e->CachedValues |= Bit(spcvFileName);
        e->FileName = FileName;
    }
}

void TDisassemblyCache::DepositAddress(const TCPUSourcePos& SourcePos, int64_t Address, int32_t LineSize) {
    if (TSourcePosCacheEntry* e = Slot(SourcePos)) {
        e->CachedValues |= Bit(spcvAddress);
        e->Address = Address;
        e->LineSize = LineSize;
    }
}

void TDisassemblyCache::Clear() {
    // Swapped with empty ones: the memory goes back too.
    std::vector<int64_t>().swap(FPageKeys);
    std::vector<uint32_t>().swap(FPageSlots);
    FPageRecords.Clear();
    FRecords.Clear();
    FExtras.Clear();
    FTexts.Clear();
    FRegion.Clear();
    FLastPage = -1;
    FLastPageKey = 0;
    FLastPageRecords = nullptr;
    FLastRecord = nullptr;
    FLastAddress = 0;
    std::vector<TSourcePosCacheEntry>().swap(FSourcePosEntries);
    std::vector<TCPUSourcePos>().swap(FSourcePosKeys);
    std::vector<uint32_t>().swap(FSourcePosSlots);
}

}  // namespace ide
