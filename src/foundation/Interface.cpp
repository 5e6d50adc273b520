#include "foundation/Interface.h"

#include <cstdio>
#include <mutex>
#include <unordered_map>

namespace ide {

std::string TGUID::ToString() const {
    char buf[40];
    std::snprintf(buf, sizeof buf, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", D1, D2, D3, D4[0], D4[1],
                  D4[2], D4[3], D4[4], D4[5], D4[6], D4[7]);
    return buf;
}

namespace {
struct GuidHash {
    size_t operator()(const TGUID& g) const noexcept {
        size_t h = g.D1 ^ (static_cast<size_t>(g.D2) << 32) ^ (static_cast<size_t>(g.D3) << 48);
        for (int k = 0; k < 8; ++k) h = h * 131 + g.D4[k];
        return h;
    }
};
struct Registry {
    std::mutex lock;
    std::unordered_map<TGUID, InterfaceCaster, GuidHash> map;
};
Registry& TheRegistry() {
    static Registry r;
    return r;
}
}  // namespace

bool RegisterInterface(const TGUID& IID, InterfaceCaster Caster) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> g(r.lock);
    r.map.emplace(IID, Caster);
    return true;
}

InterfaceCaster FindInterfaceCaster(const TGUID& IID) {
    if (IID == IInterface::IID) return [](IInterface* p) -> void* { return p; };
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> g(r.lock);
    auto it = r.map.find(IID);
    return it == r.map.end() ? nullptr : it->second;
}

namespace detail {
bool HasOwnQuery(IInterface* base) {
    auto* obj = dynamic_cast<TInterfacedObject*>(base);
    return !obj || obj->HasOwnQueryInterface();
}
}  // namespace detail

void RaiseIntfCastError() { throw EIntfCastError("Interface not supported"); }

HResult TInterfacedObject::QueryInterface(const TGUID& IID, void** Obj) {
    *Obj = nullptr;
    InterfaceCaster cast = FindInterfaceCaster(IID);
    if (!cast) return E_NOINTERFACE;
    void* p = cast(static_cast<IInterface*>(this));
    if (!p) return E_NOINTERFACE;
    AddRef();
    *Obj = p;
    return S_OK;
}

int32_t TInterfacedObject::AddRef() { return FRefCount.fetch_add(1, std::memory_order_relaxed) + 1; }

int32_t TInterfacedObject::Release() {
    int32_t n = FRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (n == 0) delete this;
    return n;
}

void TInterfaceList::Check(int Index, int Limit) const {
    if (Index < 0 || Index >= Limit) throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
}

void TInterfaceList::SetCapacity(int NewCapacity) {
    if (NewCapacity < GetCount()) throw EListError("List capacity out of bounds (" + std::to_string(NewCapacity) + ")");
    FItems.reserve(static_cast<size_t>(NewCapacity));
}

void TInterfaceList::SetCount(int NewCount) {
    if (NewCount < 0) throw EListError("List count out of bounds (" + std::to_string(NewCount) + ")");
    FItems.resize(static_cast<size_t>(NewCount));
}

IntfRef<IInterface> TInterfaceList::Get(int Index) {
    Check(Index, GetCount());
    return FItems[static_cast<size_t>(Index)];
}

void TInterfaceList::Put(int Index, const IntfRef<IInterface>& Item) {
    Check(Index, GetCount());
    FItems[static_cast<size_t>(Index)] = Item;
}

int TInterfaceList::Add(const IntfRef<IInterface>& Item) {
    FItems.push_back(Item);
    return GetCount() - 1;
}

void TInterfaceList::Insert(int Index, const IntfRef<IInterface>& Item) {
    Check(Index, GetCount() + 1);
    FItems.insert(FItems.begin() + Index, Item);
}

void TInterfaceList::Delete(int Index) {
    Check(Index, GetCount());
    FItems.erase(FItems.begin() + Index);
}

int TInterfaceList::IndexOf(const IntfRef<IInterface>& Item) {
    IInterface* id = Item.Identity();
    for (size_t i = 0; i < FItems.size(); ++i)
        if (FItems[i].Identity() == id) return static_cast<int>(i);
    return -1;
}

int TInterfaceList::Remove(const IntfRef<IInterface>& Item) {
    int i = IndexOf(Item);
    if (i >= 0) Delete(i);
    return i;
}

void TInterfaceList::Exchange(int Index1, int Index2) {
    Check(Index1, GetCount());
    Check(Index2, GetCount());
    std::swap(FItems[static_cast<size_t>(Index1)], FItems[static_cast<size_t>(Index2)]);
}

IntfRef<IInterfaceList> NewInterfaceList() { return Make<TInterfaceList>(); }

IntfRef<IInterfaceList> CloneInterfaceList(const IntfRef<IInterfaceList>& List) {
    auto clone = Make<TInterfaceList>();
    if (!List) return clone;
    clone->SetCapacity(List->GetCount());
    ForEachItem(List.get(), [&](const IntfRef<IInterface>& item) { clone->Add(item); });
    return clone;
}

}  // namespace ide
