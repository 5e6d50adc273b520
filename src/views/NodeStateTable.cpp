#include "views/NodeStateTable.h"

#include "views/IDEViewImpl.h"

namespace ide {

namespace {
// An equal key: the same object, or the same text, or the same index.
bool SameKey(IHashObject* A, IHashObject* B) {
    if (SameObject(Retain(A), Retain(B))) return true;
    auto sa = SupportsPtr<IStringObject>(A);
    auto sb = SupportsPtr<IStringObject>(B);
    if (sa && sb) return sa->GetString() == sb->GetString();
    auto ia = SupportsPtr<IIndexObject>(A);
    auto ib = SupportsPtr<IIndexObject>(B);
    return ia && ib && ia->GetIndex() == ib->GetIndex();
}
}  // namespace

size_t TNodeStateTable::Home(int32_t Hash) const {
    // Hash codes of identity are addresses, whose low bits say little: mix.
    uint64_t h = static_cast<uint32_t>(Hash) * 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(h >> 32) & (FSlots.size() - 1);
}

TNodeState* TNodeStateTable::Find(IHashObject* Key) const {
    if (!Key || FCount == 0) return nullptr;
    int32_t hash = Key->GetHashCode();
    size_t mask = FSlots.size() - 1;
    for (size_t i = Home(hash); FSlots[i].State; i = (i + 1) & mask)
        if (FSlots[i].Key == Key) return FSlots[i].State.get();
    for (size_t i = Home(hash); FSlots[i].State; i = (i + 1) & mask)
        if (FSlots[i].Hash == hash && SameKey(FSlots[i].Key, Key)) return FSlots[i].State.get();
    return nullptr;
}

IntfRef<TNodeState> TNodeStateTable::Put(IHashObject* Key, IntfRef<TNodeState> State) {
    int32_t hash = Key->GetHashCode();
    if (FCount > 0) {
        size_t mask = FSlots.size() - 1;
        for (size_t i = Home(hash); FSlots[i].State; i = (i + 1) & mask)
            if (FSlots[i].Key == Key || (FSlots[i].Hash == hash && SameKey(FSlots[i].Key, Key))) {
                IntfRef<TNodeState> old = std::move(FSlots[i].State);
                FSlots[i].Key = Key;
                FSlots[i].State = std::move(State);
                return old;
            }
    }
    if (2 * (FCount + 1) > FSlots.size()) {
        std::vector<Slot> entries;
        entries.reserve(FCount + 1);
        for (Slot& s : FSlots)
            if (s.State) entries.push_back(std::move(s));
        FSlots.assign(std::max<size_t>(16, FSlots.size() * 2), Slot{});
        FCount = 0;
        for (Slot& s : entries) Insert(std::move(s));
    }
    Insert({Key, hash, std::move(State)});
    return nullptr;
}

void TNodeStateTable::Insert(Slot S) {
    size_t mask = FSlots.size() - 1;
    size_t i = Home(S.Hash);
    while (FSlots[i].State) i = (i + 1) & mask;
    FSlots[i] = std::move(S);
    ++FCount;
}

void TNodeStateTable::Rebuild(std::vector<Slot> Entries) {
    size_t size = 16;
    while (size < 2 * Entries.size()) size *= 2;
    FSlots.assign(size, Slot{});
    FCount = 0;
    for (Slot& s : Entries) Insert(std::move(s));
}

void TNodeStateTable::Clear(std::vector<IntfRef<TNodeState>>& Into) {
    for (Slot& s : FSlots)
        if (s.State) Into.push_back(std::move(s.State));
    FSlots.clear();
    FCount = 0;
}

}  // namespace ide
