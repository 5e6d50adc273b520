// The typed hash tables.
//
// Each key type has a TCustom...HashTable base that hashes and compares its
// keys; each concrete table adds a value type on top through the template
// THashTableOf<KeyBase, ValueKind>. What a table keeps:
//
//   Pointer, Integer keys   the word itself; hash = the value.
//   TObject keys            the pointer (not owned); hash = GetHashCode(),
//                           compared by identity.
//   IInterface keys         a counted reference (AddRef on add, Release on
//                           removal); hash = the IInterface pointer shr 2.
//   String keys and values  copies kept inside the entry's own allocation.
//   IInterface values       a counted reference; a replaced value is
//                           released and the new one taken.
//   TObject values          the pointer; with okValues the table owns it and
//                           deletes it on removal and on replacement - also
//                           when the replacing object is the same one, which
//                           leaves the entry with a dangling pointer: don't.
//                           Extract(Key) hands an owned object back alive.
//
// Values compare by identity, except: string values compare the way the
// table's keys do (exact, or case-insensitive in a case-insensitive table;
// exact when the keys are interfaces), and TStringObjHashTable compares its
// values with the virtual TObject::Equals.
//
// Add(Key, Value) also replaces the value of an existing key (the stored key
// stays as it was first added); SetItem is Add; GetItem answers the zero value
// for a missing key; Contains(Key, Value) answers whether the key exists and
// hands out its value.
//
// Assign(Source): Source must be of the very same class as the destination,
// else EConvertError "Cannot assign a <Source> to a <Dest>" ("nil" for a nil
// table). A destination that owns its values raises Exception "Cannot assign
// to or from collections that lifetime-manage objects"; an owning source
// into a non-owning destination is allowed (the destination then only
// borrows the objects). Otherwise the destination is cleared and receives
// every pair. Assigning a table to itself changes nothing.
//
// The string stream (TStringHashTable::SaveToStream / LoadFromStream). Pairs
// in enumeration order, no header and no count. Per pair: the key's length L
// in characters as a 4-byte little-endian signed integer, then the first L
// BYTES of the key's UTF-16 storage (as the code units lie in memory,
// little-endian on the library's platforms), then the same for the value. A
// string of two-byte characters is thus cut to half its storage: "ABCD" is
// written as the bytes of "AB", and reads back as "AB" followed by two
// characters 0 (length 4). Reading mirrors writing exactly: a length L
// creates a string of L characters, zero-filled, whose first L bytes come
// from the stream. So a string read and written again gives the same bytes (a whole stream does too
// when its keys stay distinct, though the pairs may come out in another
// order), while a table written and read again generally does not hold the
// same strings.
// LoadFromStream adds pairs (without clearing the table first) until the
// stream's position reaches its size. A truncated or corrupt stream - a length
// field cut short, a negative length, or a length that runs past the end of
// the stream - raises EReadError naming the position, before anything is
// allocated for that string. The pairs read before the bad one stay in the
// table; the bad pair is not added.
#pragma once

#include <cstdint>
#include <new>
#include <typeinfo>
#include <utility>

#include "foundation/Collections.h"
#include "foundation/CollectionsEnumerators.h"
#include "foundation/CollectionsStrings.h"
#include "foundation/Interface.h"

namespace ide {

// ------------------------------------------------------------ key bases

class TCustomPointerHashTable : public TCustomHashTable {
public:
    using KeyArg = void*;
    using KeyRef = void*;
    using KeyEnumerator = TPtrEnumerator;
    static constexpr size_t KeyPayload = 0;

    TCustomPointerHashTable(uint32_t InitialCapacity, double LoadFactor);
    bool ContainsKey(void* Key) const { return TCustomHashTable::ContainsKey(Key, HashOf(Key)); }
    void Remove(void* Key) { TCustomHashTable::Remove(Key, HashOf(Key)); }

protected:
    static uint32_t HashOf(void* Key) noexcept { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(Key)); }
    static void* KeyWord(void* Key) noexcept { return Key; }
    static void* KeyOf(void* Word) noexcept { return Word; }
    void KeyAdded(TBaseHashEntry*) {}
    void KeyRemoved(TBaseHashEntry*) noexcept {}
};

class TCustomIntegerHashTable : public TCustomHashTable {
public:
    using KeyArg = int32_t;
    using KeyRef = int32_t;
    using KeyEnumerator = TIntEnumerator;
    static constexpr size_t KeyPayload = 0;

    TCustomIntegerHashTable(uint32_t InitialCapacity, double LoadFactor);
    bool ContainsKey(int32_t Key) const { return TCustomHashTable::ContainsKey(KeyWord(Key), HashOf(Key)); }
    void Remove(int32_t Key) { TCustomHashTable::Remove(KeyWord(Key), HashOf(Key)); }

protected:
    static uint32_t HashOf(int32_t Key) noexcept { return static_cast<uint32_t>(Key); }
    static void* KeyWord(int32_t Key) noexcept { return reinterpret_cast<void*>(static_cast<intptr_t>(Key)); }
    static int32_t KeyOf(void* Word) noexcept { return static_cast<int32_t>(reinterpret_cast<intptr_t>(Word)); }
    void KeyAdded(TBaseHashEntry*) {}
    void KeyRemoved(TBaseHashEntry*) noexcept {}
};

class TCustomInterfaceHashTable : public TCustomHashTable {
public:
    using KeyArg = const IntfRef<IInterface>&;
    using KeyRef = IntfRef<IInterface>;
    using KeyEnumerator = TIntfEnumerator;
    static constexpr size_t KeyPayload = 0;

    TCustomInterfaceHashTable(uint32_t InitialCapacity, double LoadFactor);
    bool ContainsKey(KeyArg Key) const { return TCustomHashTable::ContainsKey(KeyWord(Key), HashOf(Key)); }
    void Remove(KeyArg Key) { TCustomHashTable::Remove(KeyWord(Key), HashOf(Key)); }

protected:
    static uint32_t HashOf(KeyArg Key) noexcept {
        return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(Key.Identity()) >> 2);
    }
    static void* KeyWord(KeyArg Key) noexcept { return Key.Identity(); }
    static IntfRef<IInterface> KeyOf(void* Word) { return IntfRef<IInterface>::Retain(static_cast<IInterface*>(Word)); }
    void KeyAdded(TBaseHashEntry* Entry) {
        if (Entry->Key) static_cast<IInterface*>(Entry->Key)->AddRef();
    }
    void KeyRemoved(TBaseHashEntry* Entry) noexcept {
        if (Entry->Key) static_cast<IInterface*>(Entry->Key)->Release();
    }
};

class TCustomObjectHashTable : public TCustomHashTable {
public:
    using KeyArg = TObject*;
    using KeyRef = TObject*;
    using KeyEnumerator = TObjEnumerator;
    static constexpr size_t KeyPayload = 0;

    TCustomObjectHashTable(uint32_t InitialCapacity, double LoadFactor);
    bool ContainsKey(TObject* Key) const { return TCustomHashTable::ContainsKey(Key, HashOf(Key)); }
    void Remove(TObject* Key) { TCustomHashTable::Remove(Key, HashOf(Key)); }

protected:
    // A nil key hashes to 0.
    static uint32_t HashOf(TObject* Key) { return Key ? static_cast<uint32_t>(Key->GetHashCode()) : 0u; }
    static void* KeyWord(TObject* Key) noexcept { return Key; }
    static TObject* KeyOf(void* Word) noexcept { return static_cast<TObject*>(Word); }
    void KeyAdded(TBaseHashEntry*) {}
    void KeyRemoved(TBaseHashEntry*) noexcept {}
};

namespace detail {
// Keys kept as a String inside the entry. Hash and comparison are chosen by
// the string flavour's constructor.
template <class Enumerator>
class TStringKeyedHashTable : public TCustomHashTable {
public:
    using KeyArg = const String&;
    using KeyRef = const String&;
    using KeyEnumerator = Enumerator;
    using THashProc = uint32_t (*)(std::u16string_view) noexcept;
    static constexpr size_t KeyPayload = sizeof(String);

    bool ContainsKey(const String& Key) const { return TCustomHashTable::ContainsKey(&Key, HashOf(Key)); }
    void Remove(const String& Key) { TCustomHashTable::Remove(&Key, HashOf(Key)); }
    bool GetCaseSensitive() const noexcept { return FCaseSensitive; }

protected:
    TStringKeyedHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor)
        : TCustomHashTable(InitialCapacity, LoadFactor), FCaseSensitive(CaseSensitive) {}

    uint32_t HashOf(const String& Key) const noexcept { return FHashProc(Key); }
    static void* KeyWord(const String& Key) noexcept { return const_cast<String*>(&Key); }
    static const String& KeyOf(void* Word) noexcept {
        return Word ? *static_cast<const String*>(Word) : EmptyString();
    }
    // The caller's key is copied into the entry.
    void KeyAdded(TBaseHashEntry* Entry) {
        Entry->Key = new (PayloadOf(Entry)) String(*static_cast<const String*>(Entry->Key));
    }
    void KeyRemoved(TBaseHashEntry* Entry) noexcept { static_cast<String*>(Entry->Key)->~String(); }

    THashProc FHashProc = nullptr;
    bool FCaseSensitive;
};
}  // namespace detail

// String keys: StrHash / AnsiSameStr, or StrIHash / AnsiSameText.
class TCustomStringHashTable : public detail::TStringKeyedHashTable<TStrEnumerator> {
public:
    TCustomStringHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor);
};

// Wide string keys: ELFHash / WideSameStr, or WideStrIHash / WideSameText.
class TCustomWideStringHashTable : public detail::TStringKeyedHashTable<TWideStrEnumerator> {
public:
    TCustomWideStringHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor);
};

// ---------------------------------------------------------- value kinds

namespace detail {

using TEntry = TCustomHashTable::TBaseHashEntry;
bool SameWord(const void* A, const void* B) noexcept;
bool SameStrWord(const void* A, const void* B) noexcept;
bool SameTextWord(const void* A, const void* B) noexcept;
bool ObjectEqualsWord(const void* A, const void* B);

struct TPtrValues {
    using Arg = void*;
    using Result = void*;
    using Ref = void*;
    using Enumerator = TPtrEnumerator;
    static constexpr size_t Payload = 0;
    static constexpr TCustomHashTable::TCompareProc Compare = &SameWord;
    static void* Word(void* V) noexcept { return V; }
    static void* Of(void* W) noexcept { return W; }
    static void Added(TEntry*, void*) {}
    static void Removed(TEntry*, void*, TObjectOwnershipKind) {}
    static void Changing(TEntry*, void*, TObjectOwnershipKind) {}
    static void Changed(TEntry*, void*) {}
};

template <TCustomHashTable::TCompareProc CompareProc>
struct TObjValues {
    using Arg = TObject*;
    using Result = TObject*;
    using Ref = TObject*;
    using Enumerator = TObjEnumerator;
    static constexpr size_t Payload = 0;
    static constexpr TCustomHashTable::TCompareProc Compare = CompareProc;
    static void* Word(TObject* V) noexcept { return V; }
    static TObject* Of(void* W) noexcept { return static_cast<TObject*>(W); }
    static void Added(TEntry*, void*) {}
    static void Removed(TEntry* E, void*, TObjectOwnershipKind Own) {
        if (Own == okValues) delete static_cast<TObject*>(E->Value);
    }
    static void Changing(TEntry* E, void* Slot, TObjectOwnershipKind Own) { Removed(E, Slot, Own); }
    static void Changed(TEntry*, void*) {}
};

struct TIntfValues {
    using Arg = const IntfRef<IInterface>&;
    using Result = IntfRef<IInterface>;
    using Ref = IntfRef<IInterface>;
    using Enumerator = TIntfEnumerator;
    static constexpr size_t Payload = 0;
    static constexpr TCustomHashTable::TCompareProc Compare = &SameWord;
    static void* Word(Arg V) noexcept { return V.Identity(); }
    static IntfRef<IInterface> Of(void* W) { return IntfRef<IInterface>::Retain(static_cast<IInterface*>(W)); }
    static void Added(TEntry* E, void*) {
        if (E->Value) static_cast<IInterface*>(E->Value)->AddRef();
    }
    static void Removed(TEntry* E, void*, TObjectOwnershipKind) {
        if (E->Value) static_cast<IInterface*>(E->Value)->Release();
    }
    static void Changing(TEntry* E, void* Slot, TObjectOwnershipKind Own) { Removed(E, Slot, Own); }
    static void Changed(TEntry* E, void* Slot) { Added(E, Slot); }
};

// Values kept as a String inside the entry, behind the key.
template <class E>
struct TStrValues {
    using Arg = const String&;
    using Result = String;
    using Ref = const String&;
    using Enumerator = E;
    static constexpr size_t Payload = sizeof(String);
    static constexpr TCustomHashTable::TCompareProc Compare = &SameStrWord;
    static void* Word(const String& V) noexcept { return const_cast<String*>(&V); }
    static const String& Of(void* W) noexcept { return W ? *static_cast<const String*>(W) : EmptyString(); }
    static void Added(TEntry* Entry, void* Slot) {
        Entry->Value = new (Slot) String(*static_cast<const String*>(Entry->Value));
    }
    static void Removed(TEntry*, void* Slot, TObjectOwnershipKind) noexcept { static_cast<String*>(Slot)->~String(); }
    // The kept string is reused: Changing leaves it, Changed copies the new
    // text into it.
    static void Changing(TEntry*, void*, TObjectOwnershipKind) {}
    static void Changed(TEntry* Entry, void* Slot) {
        const auto* source = static_cast<const String*>(Entry->Value);
        auto* kept = static_cast<String*>(Slot);
        Entry->Value = kept;
        if (source != kept) *kept = *source;
    }
};

}  // namespace detail

// ------------------------------------------------------- the typed table

template <class KeyBase, class Values>
class THashTableOf : public KeyBase {
public:
    using KeyArg = typename KeyBase::KeyArg;
    using KeyRef = typename KeyBase::KeyRef;
    using ValueArg = typename Values::Arg;
    using ValueType = typename Values::Result;
    using ValueRef = typename Values::Ref;
    using TBaseHashEntry = TCustomHashTable::TBaseHashEntry;

    struct TPair {
        KeyRef Key;
        ValueRef Value;
    };

    class TPairEnumerator : public THashEnumerator {
    public:
        explicit TPairEnumerator(THashTableOf* Table) : THashEnumerator(Table) {}
        TPairEnumerator(TPairEnumerator&&) noexcept = default;
        TPairEnumerator& GetEnumerator() noexcept { return *this; }
        TPair GetCurrent() const {
            return TPair{THashTableOf::KeyOf(FEntry ? FEntry->Key : nullptr),
                         Values::Of(FEntry ? FEntry->Value : nullptr)};
        }
        TEnumIterator<TPairEnumerator> begin() { return TEnumIterator<TPairEnumerator>(this); }
        TEnumSentinel end() const noexcept { return {}; }
    };

    template <class... A>
    explicit THashTableOf(A&&... Args) : KeyBase(std::forward<A>(Args)...) {
        this->SetEntryPayload(KeyBase::KeyPayload + Values::Payload);
        this->FCompareValuesProc = Values::Compare;
    }
    ~THashTableOf() override {
        // Emptied here, while this class's Notify still runs.
        this->FInitialCapacity = 0;
        this->ClearEntries(false);
    }

    void Add(KeyArg Key, ValueArg Value) {
        TCustomHashTable::Add(KeyBase::KeyWord(Key), Values::Word(Value), this->HashOf(Key));
    }
    void SetItem(KeyArg Key, ValueArg Value) { Add(Key, Value); }
    ValueType GetItem(KeyArg Key) const {
        TBaseHashEntry* e = this->FindEntry(KeyBase::KeyWord(Key), this->HashOf(Key));
        return e ? ValueType(Values::Of(e->Value)) : ValueType();
    }
    bool Contains(KeyArg Key, ValueType& Value) const {
        TBaseHashEntry* e = this->FindEntry(KeyBase::KeyWord(Key), this->HashOf(Key));
        Value = e ? ValueType(Values::Of(e->Value)) : ValueType();
        return e != nullptr;
    }
    bool ContainsValue(ValueArg Value) { return TCustomHashTable::ContainsValue(Values::Word(Value)); }

    TPairEnumerator GetEnumerator() { return TPairEnumerator(this); }
    typename KeyBase::KeyEnumerator GetKeysEnumerator() {
        return typename KeyBase::KeyEnumerator(this, THashEntryEnumerator::KeyOffset);
    }
    typename Values::Enumerator GetValuesEnumerator() {
        return typename Values::Enumerator(this, THashEntryEnumerator::ValueOffset);
    }
    TOwningEnumIterator<TPairEnumerator> begin() { return TOwningEnumIterator<TPairEnumerator>(GetEnumerator()); }
    TEnumSentinel end() const noexcept { return {}; }

protected:
    using KeyBase::KeyOf;

    void Notify(TBaseHashEntry* Entry, THashTableNotification Action) override {
        void* slot = static_cast<char*>(TCustomHashTable::PayloadOf(Entry)) + KeyBase::KeyPayload;
        switch (Action) {
            case htAdded:
                this->KeyAdded(Entry);
                try {
                    Values::Added(Entry, slot);
                } catch (...) {
                    this->KeyRemoved(Entry);
                    throw;
                }
                break;
            case htRemoved:
                Values::Removed(Entry, slot, FOwnershipKind);
                this->KeyRemoved(Entry);
                break;
            case htValueChanging: Values::Changing(Entry, slot, FOwnershipKind); break;
            case htValueChanged: Values::Changed(Entry, slot); break;
        }
    }

    void AssignTo(TCustomHashTable* Dest) override {
        if (!Dest || typeid(*Dest) != typeid(*this)) {
            TCustomHashTable::AssignTo(Dest);
            return;
        }
        auto* dest = static_cast<THashTableOf*>(Dest);
        if (dest->FOwnershipKind == okValues)
            throw Exception("Cannot assign to or from collections that lifetime-manage objects");
        if (dest == this) return;
        dest->Clear();
        for (TPair pair : *this) dest->Add(pair.Key, pair.Value);
    }

    // Removes Key without freeing its value and hands the value out.
    ValueType ExtractValue(KeyArg Key) {
        this->CheckNotIterating();
        const TObjectOwnershipKind saved = FOwnershipKind;
        FOwnershipKind = okNone;
        try {
            ValueType value = GetItem(Key);
            KeyBase::Remove(Key);
            FOwnershipKind = saved;
            return value;
        } catch (...) {
            FOwnershipKind = saved;
            throw;
        }
    }

    TObjectOwnershipKind FOwnershipKind = okNone;
};

// Object-valued tables: ownership and Extract.
#define IDE_OWNING_TABLE_MEMBERS                                                                    \
    TObjectOwnershipKind GetOwnershipKind() const noexcept { return this->FOwnershipKind; }         \
    void SetOwnershipKind(TObjectOwnershipKind Value) noexcept { this->FOwnershipKind = Value; }    \
    /* The value of Key (nil if absent), removed from the table and not freed. */                   \
    TObject* Extract(KeyArg Key) { return this->ExtractValue(Key); }

// Every combination the family uses is compiled once, in the library.
extern template class THashTableOf<TCustomPointerHashTable, detail::TPtrValues>;
extern template class THashTableOf<TCustomIntegerHashTable, detail::TObjValues<&detail::SameWord>>;
extern template class THashTableOf<TCustomIntegerHashTable, detail::TIntfValues>;
extern template class THashTableOf<TCustomInterfaceHashTable, detail::TStrValues<TStrEnumerator>>;
extern template class THashTableOf<TCustomObjectHashTable, detail::TObjValues<&detail::SameWord>>;
extern template class THashTableOf<TCustomObjectHashTable, detail::TIntfValues>;
extern template class THashTableOf<TCustomStringHashTable, detail::TStrValues<TStrEnumerator>>;
extern template class THashTableOf<TCustomStringHashTable, detail::TObjValues<&detail::ObjectEqualsWord>>;
extern template class THashTableOf<TCustomStringHashTable, detail::TIntfValues>;
extern template class THashTableOf<TCustomWideStringHashTable, detail::TStrValues<TWideStrEnumerator>>;
extern template class THashTableOf<TCustomWideStringHashTable, detail::TObjValues<&detail::SameWord>>;
extern template class THashTableOf<TCustomWideStringHashTable, detail::TIntfValues>;

// ------------------------------------------------------ the concrete tables

class TPointerHashTable : public THashTableOf<TCustomPointerHashTable, detail::TPtrValues> {
public:
    TPointerHashTable(uint32_t InitialCapacity, double LoadFactor) : THashTableOf(InitialCapacity, LoadFactor) {}
};

class TIntegerObjHashTable : public THashTableOf<TCustomIntegerHashTable, detail::TObjValues<&detail::SameWord>> {
public:
    TIntegerObjHashTable(TObjectOwnershipKind OwnershipKind, uint32_t InitialCapacity, double LoadFactor)
        : THashTableOf(InitialCapacity, LoadFactor) {
        FOwnershipKind = OwnershipKind;
    }
    IDE_OWNING_TABLE_MEMBERS
};

class TIntegerIHashTable : public THashTableOf<TCustomIntegerHashTable, detail::TIntfValues> {
public:
    TIntegerIHashTable(uint32_t InitialCapacity, double LoadFactor) : THashTableOf(InitialCapacity, LoadFactor) {}
};

class TInterfaceStrHashTable
    : public THashTableOf<TCustomInterfaceHashTable, detail::TStrValues<TStrEnumerator>> {
public:
    TInterfaceStrHashTable(uint32_t InitialCapacity, double LoadFactor) : THashTableOf(InitialCapacity, LoadFactor) {}
};

class TObjectHashTable : public THashTableOf<TCustomObjectHashTable, detail::TObjValues<&detail::SameWord>> {
public:
    TObjectHashTable(TObjectOwnershipKind OwnershipKind, uint32_t InitialCapacity, double LoadFactor)
        : THashTableOf(InitialCapacity, LoadFactor) {
        FOwnershipKind = OwnershipKind;
    }
    IDE_OWNING_TABLE_MEMBERS
};

class TObjectIHashTable : public THashTableOf<TCustomObjectHashTable, detail::TIntfValues> {
public:
    TObjectIHashTable(uint32_t InitialCapacity, double LoadFactor) : THashTableOf(InitialCapacity, LoadFactor) {}
};

class TStringHashTable : public THashTableOf<TCustomStringHashTable, detail::TStrValues<TStrEnumerator>> {
public:
    TStringHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor)
        : THashTableOf(CaseSensitive, InitialCapacity, LoadFactor) {
        FCompareValuesProc = FCompareProc;
    }
    // The string stream; see the top of this file.
    void LoadFromStream(TStream& Stream) override;
    void SaveToStream(TStream& Stream) override;
};

class TStringObjHashTable
    : public THashTableOf<TCustomStringHashTable, detail::TObjValues<&detail::ObjectEqualsWord>> {
public:
    TStringObjHashTable(bool CaseSensitive, TObjectOwnershipKind OwnershipKind, uint32_t InitialCapacity,
                        double LoadFactor)
        : THashTableOf(CaseSensitive, InitialCapacity, LoadFactor) {
        FOwnershipKind = OwnershipKind;
    }
    IDE_OWNING_TABLE_MEMBERS
};

class TStringIHashTable : public THashTableOf<TCustomStringHashTable, detail::TIntfValues> {
public:
    TStringIHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor)
        : THashTableOf(CaseSensitive, InitialCapacity, LoadFactor) {}
};

class TWideStringHashTable
    : public THashTableOf<TCustomWideStringHashTable, detail::TStrValues<TWideStrEnumerator>> {
public:
    TWideStringHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor)
        : THashTableOf(CaseSensitive, InitialCapacity, LoadFactor) {
        FCompareValuesProc = FCompareProc;
    }
};

class TWideStringObjHashTable
    : public THashTableOf<TCustomWideStringHashTable, detail::TObjValues<&detail::SameWord>> {
public:
    TWideStringObjHashTable(bool CaseSensitive, TObjectOwnershipKind OwnershipKind, uint32_t InitialCapacity,
                            double LoadFactor)
        : THashTableOf(CaseSensitive, InitialCapacity, LoadFactor) {
        FOwnershipKind = OwnershipKind;
    }
    IDE_OWNING_TABLE_MEMBERS
};

class TWideStringIHashTable : public THashTableOf<TCustomWideStringHashTable, detail::TIntfValues> {
public:
    TWideStringIHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor)
        : THashTableOf(CaseSensitive, InitialCapacity, LoadFactor) {}
};

#undef IDE_OWNING_TABLE_MEMBERS

}  // namespace ide
