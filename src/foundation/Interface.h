// Reference-counted contracts identified by GUIDs.
//
// Every contract derives (virtually) from IInterface, so an object that
// implements several contracts has exactly one IInterface sub-object: that
// pointer is the object's identity. A contract carries its GUID as IID and
// is queried by it. Objects are created with Make<T>(...) and held through
// IntfRef<T>; the last reference frees the object.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

struct TGUID {
    uint32_t D1 = 0;
    uint16_t D2 = 0;
    uint16_t D3 = 0;
    uint8_t D4[8] = {};

    // Parses "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" (braces optional) at
    // compile time; a malformed text fails the compilation.
    static constexpr TGUID Parse(const char* s) {
        TGUID g{};
        int i = 0;
        if (s[0] == '{') i = 1;
        auto hex = [](char c) -> uint32_t {
            if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
            if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a' + 10);
            if (c >= 'A' && c <= 'F') return static_cast<uint32_t>(c - 'A' + 10);
            throw "bad GUID digit";
        };
        auto take = [&](int digits) -> uint32_t {
            uint32_t v = 0;
            for (int k = 0; k < digits; ++k) v = (v << 4) | hex(s[i++]);
            return v;
        };
        auto dash = [&]() {
            if (s[i++] != '-') throw "bad GUID separator";
        };
        g.D1 = take(8);
        dash();
        g.D2 = static_cast<uint16_t>(take(4));
        dash();
        g.D3 = static_cast<uint16_t>(take(4));
        dash();
        g.D4[0] = static_cast<uint8_t>(take(2));
        g.D4[1] = static_cast<uint8_t>(take(2));
        dash();
        for (int k = 2; k < 8; ++k) g.D4[k] = static_cast<uint8_t>(take(2));
        return g;
    }
    friend constexpr bool operator==(const TGUID& a, const TGUID& b) {
        if (a.D1 != b.D1 || a.D2 != b.D2 || a.D3 != b.D3) return false;
        for (int k = 0; k < 8; ++k)
            if (a.D4[k] != b.D4[k]) return false;
        return true;
    }
    // "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"
    std::string ToString() const;
};

using HResult = int32_t;
constexpr HResult S_OK = 0;
constexpr HResult E_NOINTERFACE = static_cast<HResult>(0x80004002u);

struct IInterface;
using InterfaceCaster = void* (*)(IInterface*);

// The process-wide map from a contract's GUID to the cast that reaches it.
// Filled while the program starts, by every contract declared with
// IDE_INTERFACE; read-only afterwards.
bool RegisterInterface(const TGUID& IID, InterfaceCaster Caster);
InterfaceCaster FindInterfaceCaster(const TGUID& IID);

namespace detail {
template <class I>
void* CastTo(IInterface* Obj) {
    return dynamic_cast<I*>(Obj);
}
}  // namespace detail

#define IDE_INTERFACE(Name, GuidText)                                               \
public:                                                                             \
    static constexpr ::ide::TGUID IID = ::ide::TGUID::Parse(GuidText);              \
                                                                                    \
private:                                                                            \
    static inline const bool IDE_registered_ =                                      \
        ::ide::RegisterInterface(IID, &::ide::detail::CastTo<Name>);                \
                                                                                    \
public:

struct IInterface {
    static constexpr TGUID IID = TGUID::Parse("00000000-0000-0000-C000-000000000046");
    virtual HResult QueryInterface(const TGUID& IID, void** Obj) = 0;
    virtual int32_t AddRef() = 0;
    virtual int32_t Release() = 0;

protected:
    virtual ~IInterface() = default;
};

// A strong reference to a contract (or to a class that implements one).
//
// There is no constructor from a raw pointer: whether the reference takes a
// new count or takes over one the caller owns must be said, because a fresh
// object already carries its creation count. Make<T> creates; Retain(p) adds
// a reference to an object some other reference keeps alive (`this` handed
// out as a listener or a source); IntfRef<T>::Adopt(p) takes over a count the
// caller owns (the answer of QueryInterface). `IntfRef<T>(new T)` does not
// compile.
template <class T>
class IntfRef {
public:
    IntfRef() noexcept = default;
    IntfRef(std::nullptr_t) noexcept {}
    template <class U>
    IntfRef(U*) = delete;  // say Retain or Adopt
    IntfRef(const IntfRef& o) noexcept : FPtr(Acquire(o.FPtr)) {}
    IntfRef(IntfRef&& o) noexcept : FPtr(std::exchange(o.FPtr, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    IntfRef(const IntfRef<U>& o) noexcept : FPtr(Acquire(o.get())) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    IntfRef(IntfRef<U>&& o) noexcept : FPtr(static_cast<T*>(o.detach())) {}
    ~IntfRef() {
        if (FPtr) Base(FPtr)->Release();
    }

    IntfRef& operator=(const IntfRef& o) noexcept {
        IntfRef(o).swap(*this);
        return *this;
    }
    IntfRef& operator=(IntfRef&& o) noexcept {
        IntfRef(std::move(o)).swap(*this);
        return *this;
    }
    IntfRef& operator=(std::nullptr_t) noexcept {
        reset();
        return *this;
    }

    // Takes over a reference that the caller already owns.
    static IntfRef Adopt(T* p) noexcept {
        IntfRef r;
        r.FPtr = p;
        return r;
    }
    // A new reference to an object that is alive (nil gives nil).
    static IntfRef Retain(T* p) noexcept {
        IntfRef r;
        r.FPtr = Acquire(p);
        return r;
    }
    T* detach() noexcept { return std::exchange(FPtr, nullptr); }
    void reset() noexcept { IntfRef().swap(*this); }
    void swap(IntfRef& o) noexcept { std::swap(FPtr, o.FPtr); }

    T* get() const noexcept { return FPtr; }
    T* operator->() const noexcept { return FPtr; }
    T& operator*() const noexcept { return *FPtr; }
    explicit operator bool() const noexcept { return FPtr != nullptr; }

    // The canonical IInterface pointer: the object's identity.
    IInterface* Identity() const noexcept { return FPtr ? Base(FPtr) : nullptr; }

private:
    static IInterface* Base(T* p) noexcept { return static_cast<IInterface*>(p); }
    static T* Acquire(T* p) noexcept {
        if (p) Base(p)->AddRef();
        return p;
    }
    T* FPtr = nullptr;
};

// A new reference to an object that is alive, typed as the pointer is.
template <class T>
IntfRef<T> Retain(T* p) noexcept {
    return IntfRef<T>::Retain(p);
}

template <class A, class B>
bool operator==(const IntfRef<A>& a, const IntfRef<B>& b) noexcept {
    return a.Identity() == b.Identity();
}
template <class A>
bool operator==(const IntfRef<A>& a, std::nullptr_t) noexcept {
    return !a;
}

// Identity test of two references of any contract.
template <class A, class B>
bool SameObject(const IntfRef<A>& a, const IntfRef<B>& b) noexcept {
    return a.Identity() == b.Identity();
}

namespace detail {
// True when the object answers QueryInterface by its own rules rather than
// by the contracts its class derives from (see TInterfacedObject).
bool HasOwnQuery(IInterface* base);

struct CastResult {
    void* ptr;
    bool ownQuery;  // worth asking QueryInterface when ptr is null
};

// The table of virtual functions that the object's IInterface sub-object
// points at. It names the object's class and, while constructors run, the
// stage of construction too: each base's constructor installs the table of
// the object as built so far, with that stage's layout of the virtual
// contracts. (The table pointer is the first word of a polymorphic
// sub-object under the C++ ABI the library is built with.)
inline const void* VTableOf(IInterface* base) noexcept {
    const void* table;
    std::memcpy(&table, static_cast<const void*>(base), sizeof table);
    return table;
}

// The cross-cast from an object's identity to its contract I. Its result
// depends only on the table VTableOf answers, so each thread remembers the
// sub-object offset for the last few tables it saw per contract: event
// dispatch casts the same listener classes over and over. Keyed on the table
// and not on the dynamic type: an object whose base constructor hands `this`
// out has, at that moment, the dynamic type of the base but another layout
// than a finished object of the base class.
template <class I>
CastResult CrossCast(IInterface* base) {
    struct Entry {
        const void* table = nullptr;
        std::ptrdiff_t offset = 0;
        bool supported = false;
        bool ownQuery = false;
    };
    struct Cache {
        Entry entries[4];
        unsigned next = 0;
    };
    thread_local Cache cache;
    const void* table = VTableOf(base);
    char* whole = static_cast<char*>(dynamic_cast<void*>(base));
    for (const Entry& e : cache.entries)
        if (e.table == table) return {e.supported ? whole + e.offset : nullptr, e.ownQuery};
    I* result = dynamic_cast<I*>(base);
    Entry& slot = cache.entries[cache.next++ % 4];
    slot.table = table;
    slot.supported = result != nullptr;
    slot.offset = result ? reinterpret_cast<char*>(result) - whole : 0;
    slot.ownQuery = HasOwnQuery(base);
    return {result, slot.ownQuery};
}

// The contract I of an object: by the cached cast, else, for an object that
// answers by its own rules, by QueryInterface. `referenced` tells whether the
// answer carries a reference that the caller now owns (QueryInterface's).
template <class I>
I* Query(IInterface* base, bool& referenced) {
    referenced = false;
    CastResult cast = CrossCast<I>(base);
    if (cast.ptr) return static_cast<I*>(cast.ptr);
    void* out = nullptr;
    if (!cast.ownQuery || base->QueryInterface(I::IID, &out) != S_OK || !out) return nullptr;
    referenced = true;
    return static_cast<I*>(out);
}
}  // namespace detail

// Supports: the object's contract I, or nil.
template <class I, class U>
IntfRef<I> Supports(U* Obj) {
    if (!Obj) return nullptr;
    bool referenced;
    I* p = detail::Query<I>(static_cast<IInterface*>(Obj), referenced);
    return referenced ? IntfRef<I>::Adopt(p) : IntfRef<I>::Retain(p);
}
template <class I, class U>
IntfRef<I> Supports(const IntfRef<U>& Obj) {
    return Supports<I>(Obj.get());
}
template <class I, class U>
bool Supports(const IntfRef<U>& Obj, IntfRef<I>& Out) {
    Out = Supports<I>(Obj.get());
    return static_cast<bool>(Out);
}

// The contract I of an object that the caller keeps alive, or nullptr; no
// reference is taken. For the library's dispatch loops. An object with its
// own QueryInterface must keep what it hands out alive itself (an aggregate's
// inner object does).
template <class I, class U>
I* SupportsPtr(U* Obj) {
    if (!Obj) return nullptr;
    bool referenced;
    I* p = detail::Query<I>(static_cast<IInterface*>(Obj), referenced);
    if (referenced) static_cast<IInterface*>(p)->Release();  // the answer's own reference
    return p;
}

// A reference to an object that the caller keeps alive, passed on without
// touching the count (the dispatch loops hold their listeners and events).
template <class I>
class Borrowed {
public:
    explicit Borrowed(I* p) noexcept : FRef(IntfRef<I>::Adopt(p)) {}
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
    ~Borrowed() { FRef.detach(); }
    operator const IntfRef<I>&() const noexcept { return FRef; }
    I* operator->() const noexcept { return FRef.get(); }

private:
    IntfRef<I> FRef;
};

// The raising cast: EIntfCastError "Interface not supported" when the object
// lacks the contract. A nil reference casts to nil.
[[noreturn]] void RaiseIntfCastError();
template <class I, class U>
IntfRef<I> As(U* Obj) {
    if (!Obj) return nullptr;
    IntfRef<I> r = Supports<I>(Obj);
    if (!r) RaiseIntfCastError();
    return r;
}
template <class I, class U>
IntfRef<I> As(const IntfRef<U>& Obj) {
    return As<I>(Obj.get());
}
// The raising cast without a reference, for objects the caller keeps alive.
template <class I, class U>
I* AsPtr(U* Obj) {
    if (!Obj) return nullptr;
    I* r = SupportsPtr<I>(Obj);
    if (!r) RaiseIntfCastError();
    return r;
}

// The raising cast of an object the caller keeps alive, passed on as a
// reference without touching the count.
template <class I, class U>
Borrowed<I> BorrowAs(U* Obj) {
    return Borrowed<I>(AsPtr<I>(Obj));
}

// The base of every reference-counted class. The count starts at one: the
// creation count, which Make<T> hands to the reference it returns. So handing
// `this` out during construction can't free the object.
//
// QueryInterface answers the contracts the class derives from. A class that
// answers others too (an aggregate handing out an inner object) overrides
// QueryInterface and HasOwnQueryInterface, so that Supports and As ask it.
class TInterfacedObject : public TObject, public virtual IInterface {
public:
    HResult QueryInterface(const TGUID& IID, void** Obj) override;
    virtual bool HasOwnQueryInterface() const { return false; }
    int32_t AddRef() override;
    int32_t Release() override;
    int32_t RefCount() const noexcept { return FRefCount.load(std::memory_order_relaxed); }

protected:
    TInterfacedObject() = default;
    ~TInterfacedObject() override = default;

private:
    std::atomic<int32_t> FRefCount{1};
};

// Creates a reference-counted object; the reference returned holds its
// creation count.
template <class T, class... Args>
IntfRef<T> Make(Args&&... args) {
    return IntfRef<T>::Adopt(new T(std::forward<Args>(args)...));
}

// A list of interface references (the run-time's IInterfaceList).
struct IInterfaceList : virtual IInterface {
    IDE_INTERFACE(IInterfaceList, "8E3A1C20-4B6D-4F1A-9C55-2D7E0A91B6C3")
    virtual int GetCount() = 0;
    virtual int GetCapacity() = 0;
    virtual void SetCapacity(int NewCapacity) = 0;
    virtual void SetCount(int NewCount) = 0;
    virtual IntfRef<IInterface> Get(int Index) = 0;
    virtual void Put(int Index, const IntfRef<IInterface>& Item) = 0;
    virtual int Add(const IntfRef<IInterface>& Item) = 0;
    virtual void Insert(int Index, const IntfRef<IInterface>& Item) = 0;
    virtual void Delete(int Index) = 0;
    virtual int Remove(const IntfRef<IInterface>& Item) = 0;
    virtual int IndexOf(const IntfRef<IInterface>& Item) = 0;
    virtual void Exchange(int Index1, int Index2) = 0;
    virtual void Clear() = 0;
    virtual IntfRef<IInterface> First() = 0;
    virtual IntfRef<IInterface> Last() = 0;
};

class TInterfaceList : public TInterfacedObject, public IInterfaceList {
public:
    TInterfaceList() = default;
    int GetCount() override { return static_cast<int>(FItems.size()); }
    int GetCapacity() override { return static_cast<int>(FItems.capacity()); }
    void SetCapacity(int NewCapacity) override;
    void SetCount(int NewCount) override;
    IntfRef<IInterface> Get(int Index) override;
    void Put(int Index, const IntfRef<IInterface>& Item) override;
    int Add(const IntfRef<IInterface>& Item) override;
    void Insert(int Index, const IntfRef<IInterface>& Item) override;
    void Delete(int Index) override;
    int Remove(const IntfRef<IInterface>& Item) override;
    int IndexOf(const IntfRef<IInterface>& Item) override;
    void Exchange(int Index1, int Index2) override;
    void Clear() override { FItems.clear(); }
    IntfRef<IInterface> First() override { return Get(0); }
    IntfRef<IInterface> Last() override { return Get(GetCount() - 1); }

    // Direct access for the library's own hot loops.
    const std::vector<IntfRef<IInterface>>& Items() const noexcept { return FItems; }

private:
    void Check(int Index, int Limit) const;
    std::vector<IntfRef<IInterface>> FItems;
};

IntfRef<IInterfaceList> NewInterfaceList();
// A new list of the same length holding the same items in the same order.
IntfRef<IInterfaceList> CloneInterfaceList(const IntfRef<IInterfaceList>& List);

// The items of any IInterfaceList, fast for TInterfaceList.
template <class F>
void ForEachItem(IInterfaceList* List, F&& f) {
    if (auto* l = dynamic_cast<TInterfaceList*>(List)) {
        for (const auto& item : l->Items()) f(item);
    } else {
        const int n = List->GetCount();
        for (int i = 0; i < n; ++i) f(List->Get(i));
    }
}

}  // namespace ide

template <class T>
struct std::hash<ide::IntfRef<T>> {
    size_t operator()(const ide::IntfRef<T>& r) const noexcept {
        return std::hash<const void*>()(r.Identity());
    }
};
