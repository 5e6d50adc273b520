#include "foundation/IDEObjects.h"

namespace ide {

int32_t TextHashCode(const String& S) {
    uint32_t h = 0;
    const size_t n = S.size();
    if (n < 16) {
        for (Char c : S) h = h * 37u + c;
    } else {
        const size_t step = n / 8;
        for (size_t i = 0; i < n; i += step) h = h * 39u + S[i];
    }
    return static_cast<int32_t>(h);
}

bool THashtable::SameKey(const IntfRef<IHashObject>& A, const IntfRef<IHashObject>& B) {
    if (SameObject(A, B)) return true;
    if (!A || !B) return false;
    auto sa = Supports<IStringObject>(A);
    auto sb = Supports<IStringObject>(B);
    if (sa && sb) return sa->GetString() == sb->GetString();
    auto ia = Supports<IIndexObject>(A);
    auto ib = Supports<IIndexObject>(B);
    return ia && ib && ia->GetIndex() == ib->GetIndex();
}

const THashtable::Entry* THashtable::FindEntry(const IntfRef<IHashObject>& Key) const {
    if (!Key) return nullptr;
    auto it = FBuckets.find(Key->GetHashCode());
    if (it == FBuckets.end()) return nullptr;
    for (const Entry& e : it->second)
        if (SameKey(e.Key, Key)) return &e;
    return nullptr;
}

IntfRef<IInterface> THashtable::Get(const IntfRef<IHashObject>& Key) const {
    const Entry* e = FindEntry(Key);
    return e ? e->Value : nullptr;
}

IntfRef<IInterface> THashtable::Put(const IntfRef<IHashObject>& Key, const IntfRef<IInterface>& Value) {
    if (!Key) throw Exception("Hash table key must not be nil");
    auto& bucket = FBuckets[Key->GetHashCode()];
    for (Entry& e : bucket)
        if (SameKey(e.Key, Key)) return std::exchange(e.Value, Value);
    bucket.push_back({Key, Value});
    ++FCount;
    return nullptr;
}

IntfRef<IInterface> THashtable::Remove(const IntfRef<IHashObject>& Key) {
    if (!Key) return nullptr;
    auto it = FBuckets.find(Key->GetHashCode());
    if (it == FBuckets.end()) return nullptr;
    auto& bucket = it->second;
    for (size_t i = 0; i < bucket.size(); ++i) {
        if (SameKey(bucket[i].Key, Key)) {
            IntfRef<IInterface> old = std::move(bucket[i].Value);
            bucket.erase(bucket.begin() + static_cast<std::ptrdiff_t>(i));
            if (bucket.empty()) FBuckets.erase(it);
            --FCount;
            return old;
        }
    }
    return nullptr;
}

bool THashtable::ContainsKey(const IntfRef<IHashObject>& Key) const { return FindEntry(Key) != nullptr; }

bool THashtable::Contains(const IntfRef<IInterface>& Value) const {
    for (const auto& [hash, bucket] : FBuckets)
        for (const Entry& e : bucket)
            if (SameObject(e.Value, Value)) return true;
    return false;
}

IntfRef<IInterfaceList> THashtable::Keys() const {
    auto list = NewInterfaceList();
    for (const auto& [hash, bucket] : FBuckets)
        for (const Entry& e : bucket) list->Add(e.Key);
    return list;
}

IntfRef<IInterfaceList> THashtable::Elements() const {
    auto list = NewInterfaceList();
    for (const auto& [hash, bucket] : FBuckets)
        for (const Entry& e : bucket) list->Add(e.Value);
    return list;
}

}  // namespace ide
