#include "cpuviews/DisCompCache.h"

namespace ide {

namespace {
constexpr uint8_t Bit(unsigned V) { return static_cast<uint8_t>(1u << V); }
}  // namespace

namespace {
inline size_t HashAddress(int64_t Address, size_t Mask) {
    uint64_t h = static_cast<uint64_t>(Address) * 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(h ^ (h >> 32)) & Mask;
}
}  // namespace

int32_t TDisassemblyCache::Lookup(int64_t Address) const {
    if (FSlots.empty()) return -1;
    const size_t mask = FSlots.size() - 1;
    for (size_t i = HashAddress(Address, mask);; i = (i + 1) & mask) {
        const uint32_t slot = FSlots[i];
        if (slot == 0) return -1;
        if (FKeys[slot - 1] == Address) return static_cast<int32_t>(slot - 1);
    }
}

void TDisassemblyCache::Grow() {
    const size_t capacity = FSlots.empty() ? 64 : FSlots.size() * 2;
    FSlots.assign(capacity, 0);
    const size_t mask = capacity - 1;
    for (uint32_t e = 0; e < FKeys.size(); ++e) {
        size_t i = HashAddress(FKeys[e], mask);
        while (FSlots[i] != 0) i = (i + 1) & mask;
        FSlots[i] = e + 1;
    }
}

const TDisassemblyCache::TCacheEntry* TDisassemblyCache::Find(int64_t Address) const {
    const int32_t index = Lookup(Address);
    return index < 0 ? nullptr : &FEntries[static_cast<size_t>(index)];
}

const TDisassemblyCache::TSourcePosCacheEntry* TDisassemblyCache::Find(const TCPUSourcePos& SourcePos) const {
    auto it = FSourcePosCache.find(SourcePos);
    return it == FSourcePosCache.end() ? nullptr : &it->second;
}

TDisassemblyCache::TCacheEntry* TDisassemblyCache::Slot(int64_t Address) {
    if (FDisableCaching) return nullptr;
    const int32_t index = Lookup(Address);
    if (index >= 0) return &FEntries[static_cast<size_t>(index)];
    if ((FEntries.size() + 1) * 2 > FSlots.size()) Grow();
    const size_t mask = FSlots.size() - 1;
    size_t i = HashAddress(Address, mask);
    while (FSlots[i] != 0) i = (i + 1) & mask;
    FEntries.emplace_back();
    FKeys.push_back(Address);
    FSlots[i] = static_cast<uint32_t>(FEntries.size());
    return &FEntries.back();
}

TDisassemblyCache::TSourcePosCacheEntry* TDisassemblyCache::Slot(const TCPUSourcePos& SourcePos) {
    return FDisableCaching ? nullptr : &FSourcePosCache[SourcePos];
}

bool TDisassemblyCache::FetchCacheEntry(int64_t Address, TCacheEntry& Entry) const {
    const TCacheEntry* e = Find(Address);
    Entry = e ? *e : TCacheEntry{};
    return e != nullptr;
}

bool TDisassemblyCache::FetchSourcePosCacheEntry(const TCPUSourcePos& SourcePos, TSourcePosCacheEntry& Entry) const {
    const TSourcePosCacheEntry* e = Find(SourcePos);
    Entry = e ? *e : TSourcePosCacheEntry{};
    return e != nullptr;
}

bool TDisassemblyCache::FetchAsmCode(int64_t Address, String& AsmCode, int64_t& NextAddress) const {
    AsmCode.clear();
    const TCacheEntry* e = Find(Address);
    if (!e || !e->Has(cvAsm)) return false;
    AsmCode = e->AsmCode;
    if (e->Has(cvNextAddr)) NextAddress = e->NextAddr;
    return true;
}

bool TDisassemblyCache::FetchNextAddr(int64_t Address, int64_t& NextAddr) const {
    const TCacheEntry* e = Find(Address);
    if (!e || !e->Has(cvAsm)) return false;  // cvAsm on purpose: see the file head
    NextAddr = e->NextAddr;
    return true;
}

bool TDisassemblyCache::FetchPrevAddr(int64_t Address, int64_t& PrevAddr) const {
    const TCacheEntry* e = Find(Address);
    if (!e || !e->Has(cvPrevAddr)) return false;
    PrevAddr = e->PrevAddr;
    return true;
}

bool TDisassemblyCache::FetchAddlAsmCode(int64_t Address, String& AddlAsmCode, int32_t& AddlAsmCount) const {
    AddlAsmCode.clear();
    const TCacheEntry* e = Find(Address);
    if (!e || !e->Has(cvAddlAsm)) return false;
    AddlAsmCode = e->AddlAsmCode;
    AddlAsmCount = e->AddlAsmCount;
    return true;
}

bool TDisassemblyCache::FetchSourcePos(int64_t Address, TCPUSourcePos& SourcePos, int64_t& FirstStat,
                                       int32_t& LineSize) const {
    const TCacheEntry* e = Find(Address);
    if (!e || !e->Has(cvSourcePos)) return false;
    SourcePos = e->SourcePos;
    FirstStat = e->SourcePosFirstStat;
    LineSize = e->SourcePosLineSize;
    return true;
}

bool TDisassemblyCache::FetchLabelCode(int64_t Address, String& LabelCode) const {
    LabelCode.clear();
    const TCacheEntry* e = Find(Address);
    if (!e || !e->Has(cvLabel)) return false;
    LabelCode = e->LabelCode;
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

void TDisassemblyCache::DepositAsmCode(int64_t Address, const String& AsmCode, int64_t NextAddr) {
    if (TCacheEntry* e = Slot(Address)) {
        e->CachedValues |= Bit(cvAsm) | Bit(cvNextAddr);
        e->AsmCode = AsmCode;
        e->NextAddr = NextAddr;
    }
}

void TDisassemblyCache::DepositNextAddr(int64_t Address, int64_t NextAddr) {
    if (TCacheEntry* e = Slot(Address)) {
        e->CachedValues |= Bit(cvNextAddr);
        e->NextAddr = NextAddr;
    }
}

void TDisassemblyCache::DepositPrevAddr(int64_t Address, int64_t PrevAddr) {
    if (TCacheEntry* e = Slot(Address)) {
        e->CachedValues |= Bit(cvPrevAddr);
        e->PrevAddr = PrevAddr;
    }
}

void TDisassemblyCache::DepositAddlAsmCode(int64_t Address, const String& AddlAsmCode, int32_t AddlAsmCount) {
    if (TCacheEntry* e = Slot(Address)) {
        e->CachedValues |= Bit(cvAddlAsm);
        e->AddlAsmCode = AddlAsmCode;
        e->AddlAsmCount = AddlAsmCount;
    }
}

void TDisassemblyCache::DepositSourcePos(int64_t Address, const TCPUSourcePos& SourcePos, int64_t FirstStat,
                                         int32_t LineSize) {
    if (TCacheEntry* e = Slot(Address)) {
        e->CachedValues |= Bit(cvSourcePos);
        e->SourcePos = SourcePos;
        e->SourcePosFirstStat = FirstStat;
        e->SourcePosLineSize = LineSize;
    }
}

void TDisassemblyCache::DepositLabelCode(int64_t Address, const String& LabelCode) {
    if (TCacheEntry* e = Slot(Address)) {
        e->CachedValues |= Bit(cvLabel);
        e->LabelCode = LabelCode;
    }
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
    std::vector<TCacheEntry>().swap(FEntries);  // gives the memory back too
    std::vector<int64_t>().swap(FKeys);
    std::vector<uint32_t>().swap(FSlots);
    FSourcePosCache.clear();
}

}  // namespace ide
