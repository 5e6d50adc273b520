#include "cpuviews/DisCompCache.h"

#include <cstring>

namespace ide {

namespace {

constexpr uint8_t Bit(unsigned V) { return static_cast<uint8_t>(1u << V); }

constexpr size_t kArenaBlock = size_t(1) << 18;   // bytes of one shared text block
constexpr size_t kOwnBlock = kArenaBlock / 4;      // a text this long gets a block of its own

inline size_t HashPage(int64_t Page, size_t Mask) {
    uint64_t h = static_cast<uint64_t>(Page) * 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(h ^ (h >> 29)) & Mask;
}

}  // namespace

// ---------------------------------------------------------------------------
// The text arena

uint8_t* TDisassemblyCache::TTextArena::Reserve(size_t Bytes, TTextRef& Ref) {
    if (Bytes > kOwnBlock) {
        FBlocks.push_back(std::make_unique_for_overwrite<uint8_t[]>(Bytes));
        Ref.Block = static_cast<uint32_t>(FBlocks.size() - 1);
        Ref.Offset = 0;
        return FBlocks.back().get();
    }
    if (FCurrent == SIZE_MAX || FUsed + Bytes > kArenaBlock) {
        FBlocks.push_back(std::make_unique_for_overwrite<uint8_t[]>(kArenaBlock));
        FCurrent = FBlocks.size() - 1;
        FUsed = 0;
    }
    Ref.Block = static_cast<uint32_t>(FCurrent);
    Ref.Offset = static_cast<uint32_t>(FUsed);
    FUsed += Bytes;
    return FBlocks[FCurrent].get() + Ref.Offset;
}

bool TDisassemblyCache::TTextArena::Store(TTextRef& Ref, const String& Text) {
    const size_t n = Text.size();
    if (n >= kWide) return false;
    char16_t any = 0;
    for (char16_t c : Text) any |= c;
    const bool wide = any > 0xFF;
    const size_t bytes = wide ? 2 * n : n;
    const size_t held = (Ref.Length & kWide) ? 2 * size_t(Ref.Length & ~kWide) : size_t(Ref.Length);
    uint8_t* to = nullptr;
    if (bytes == 0)
        Ref = TTextRef{};
    else if (bytes <= held)
        to = FBlocks[Ref.Block].get() + Ref.Offset;  // the old answer's room
    else
        to = Reserve(bytes, Ref);
    if (wide)
        std::memcpy(to, Text.data(), bytes);
    else
        for (size_t i = 0; i < n; ++i) to[i] = static_cast<uint8_t>(Text[i]);
    Ref.Length = static_cast<uint32_t>(n) | (wide ? kWide : 0u);
    return true;
}

void TDisassemblyCache::TTextArena::Load(const TTextRef& Ref, String& Text) const {
    const size_t n = Ref.Length & ~kWide;
    Text.resize(n);
    if (n == 0) return;
    const uint8_t* from = FBlocks[Ref.Block].get() + Ref.Offset;
    if (Ref.Length & kWide)
        std::memcpy(Text.data(), from, 2 * n);
    else
        for (size_t i = 0; i < n; ++i) Text[i] = from[i];
}

void TDisassemblyCache::TTextArena::Clear() {
    std::vector<std::unique_ptr<uint8_t[]>>().swap(FBlocks);
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
    FPageRecords.resize(FPageRecords.size() + kPageSize, 0);
    FLastPageKey = Page;
    FLastPage = static_cast<int32_t>(FPageKeys.size() - 1);
    return FLastPage;
}

const TDisassemblyCache::TRecord* TDisassemblyCache::Find(int64_t Address) const {
    const int32_t page = FindPage(Address >> kPageBits);
    if (page < 0) return nullptr;
    const uint32_t record = FPageRecords[(size_t(page) << kPageBits) | size_t(Address & (kPageSize - 1))];
    return record ? &FRecords[record - 1] : nullptr;
}

const TDisassemblyCache::TExtraRecord* TDisassemblyCache::FindExtra(int64_t Address) const {
    const TRecord* r = Find(Address);
    return r && r->Extra ? &FExtras[r->Extra - 1] : nullptr;
}

TDisassemblyCache::TRecord* TDisassemblyCache::Slot(int64_t Address) {
    if (FDisableCaching) return nullptr;
    int32_t page = FindPage(Address >> kPageBits);
    if (page < 0) page = AddPage(Address >> kPageBits);
    uint32_t& record = FPageRecords[(size_t(page) << kPageBits) | size_t(Address & (kPageSize - 1))];
    if (record == 0) {
        FRecords.emplace_back();
        record = static_cast<uint32_t>(FRecords.size());
    }
    return &FRecords[record - 1];
}

TDisassemblyCache::TExtraRecord* TDisassemblyCache::ExtraSlot(int64_t Address, TCachedValue Value) {
    TRecord* r = Slot(Address);
    if (!r) return nullptr;
    if (r->Extra == 0) {
        FExtras.emplace_back();
        r->Extra = static_cast<uint32_t>(FExtras.size());
    }
    r->CachedValues |= Bit(Value);
    return &FExtras[r->Extra - 1];
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
    FTexts.Load(r->AsmCode, Entry.AsmCode);
    if (r->Extra) {
        const TExtraRecord& x = FExtras[r->Extra - 1];
        Entry.PrevAddr = x.PrevAddr;
        FTexts.Load(x.AddlAsmCode, Entry.AddlAsmCode);
        Entry.AddlAsmCount = x.AddlAsmCount;
        Entry.SourcePos = x.SourcePos;
        Entry.SourcePosFirstStat = x.SourcePosFirstStat;
        Entry.SourcePosLineSize = x.SourcePosLineSize;
        FTexts.Load(x.LabelCode, Entry.LabelCode);
    }
    return true;
}

bool TDisassemblyCache::FetchSourcePosCacheEntry(const TCPUSourcePos& SourcePos, TSourcePosCacheEntry& Entry) const {
    const TSourcePosCacheEntry* e = Find(SourcePos);
    Entry = e ? *e : TSourcePosCacheEntry{};
    return e != nullptr;
}

bool TDisassemblyCache::FetchAsmCode(int64_t Address, String& AsmCode, int64_t& NextAddress) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & Bit(cvAsm))) {
        AsmCode.clear();
        return false;
    }
    FTexts.Load(r->AsmCode, AsmCode);
    if (r->CachedValues & Bit(cvNextAddr)) NextAddress = r->NextAddr;
    return true;
}

bool TDisassemblyCache::FetchNextAddr(int64_t Address, int64_t& NextAddr) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & Bit(cvAsm))) return false;  // cvAsm on purpose: see the file head
    NextAddr = r->NextAddr;
    return true;
}

bool TDisassemblyCache::FetchPrevAddr(int64_t Address, int64_t& PrevAddr) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & Bit(cvPrevAddr))) return false;
    PrevAddr = FExtras[r->Extra - 1].PrevAddr;
    return true;
}

bool TDisassemblyCache::FetchAddlAsmCode(int64_t Address, String& AddlAsmCode, int32_t& AddlAsmCount) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & Bit(cvAddlAsm))) {
        AddlAsmCode.clear();
        return false;
    }
    const TExtraRecord& x = FExtras[r->Extra - 1];
    FTexts.Load(x.AddlAsmCode, AddlAsmCode);
    AddlAsmCount = x.AddlAsmCount;
    return true;
}

bool TDisassemblyCache::FetchSourcePos(int64_t Address, TCPUSourcePos& SourcePos, int64_t& FirstStat,
                                       int32_t& LineSize) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & Bit(cvSourcePos))) return false;
    const TExtraRecord& x = FExtras[r->Extra - 1];
    SourcePos = x.SourcePos;
    FirstStat = x.SourcePosFirstStat;
    LineSize = x.SourcePosLineSize;
    return true;
}

bool TDisassemblyCache::FetchLabelCode(int64_t Address, String& LabelCode) const {
    const TRecord* r = Find(Address);
    if (!r || !(r->CachedValues & Bit(cvLabel))) {
        LabelCode.clear();
        return false;
    }
    FTexts.Load(FExtras[r->Extra - 1].LabelCode, LabelCode);
    return true;
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
    if (TExtraRecord* x = ExtraSlot(Address, cvPrevAddr)) x->PrevAddr = PrevAddr;
}

void TDisassemblyCache::DepositAddlAsmCode(int64_t Address, const String& AddlAsmCode, int32_t AddlAsmCount) {
    TRecord* r = Slot(Address);
    if (!r) return;
    TTextRef text = r->Extra ? FExtras[r->Extra - 1].AddlAsmCode : TTextRef{};
    if (!FTexts.Store(text, AddlAsmCode)) return;
    TExtraRecord* x = ExtraSlot(Address, cvAddlAsm);
    x->AddlAsmCode = text;
    x->AddlAsmCount = AddlAsmCount;
}

void TDisassemblyCache::DepositSourcePos(int64_t Address, const TCPUSourcePos& SourcePos, int64_t FirstStat,
                                         int32_t LineSize) {
    if (TExtraRecord* x = ExtraSlot(Address, cvSourcePos)) {
        x->SourcePos = SourcePos;
        x->SourcePosFirstStat = FirstStat;
        x->SourcePosLineSize = LineSize;
    }
}

void TDisassemblyCache::DepositLabelCode(int64_t Address, const String& LabelCode) {
    TRecord* r = Slot(Address);
    if (!r) return;
    TTextRef text = r->Extra ? FExtras[r->Extra - 1].LabelCode : TTextRef{};
    if (!FTexts.Store(text, LabelCode)) return;
    ExtraSlot(Address, cvLabel)->LabelCode = text;
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
    std::vector<uint32_t>().swap(FPageRecords);
    std::vector<TRecord>().swap(FRecords);
    std::vector<TExtraRecord>().swap(FExtras);
    FTexts.Clear();
    FLastPage = -1;
    FLastPageKey = 0;
    std::vector<TSourcePosCacheEntry>().swap(FSourcePosEntries);
    std::vector<TCPUSourcePos>().swap(FSourcePosKeys);
    std::vector<uint32_t>().swap(FSourcePosSlots);
}

}  // namespace ide
