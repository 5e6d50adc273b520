// Enumerators of the hash tables.
//
// An enumerator walks the buckets in order and each chain from its head, so
// the most recently added key of a chain comes first. While it lives, its
// table refuses Add, Remove and Clear (see the iteration guard in
// Collections.h: one flag, no counter; entries removed while any enumerator
// lives are freed only when the last one dies). Enumerators are move-only; a
// moved-from enumerator no longer touches the table. An enumerator must not
// outlive its table.
//
// Besides MoveNext/GetCurrent, every enumerator works in a range-for:
//     for (const String& Key : Table.GetKeysEnumerator()) ...
// and the typed tables themselves enumerate their pairs:
//     for (auto Pair : Table) ... Pair.Key ... Pair.Value ...
#pragma once

#include <cstdint>
#include <utility>

#include "foundation/Collections.h"
#include "foundation/Interface.h"

namespace ide {

struct TEnumSentinel {};

// Iterator over an enumerator that lives elsewhere (a range-for over an
// enumerator object).
template <class E>
class TEnumIterator {
public:
    explicit TEnumIterator(E* Enum) : FEnum(Enum), FDone(!Enum->MoveNext()) {}
    decltype(auto) operator*() const { return FEnum->GetCurrent(); }
    TEnumIterator& operator++() {
        FDone = !FEnum->MoveNext();
        return *this;
    }
    bool operator!=(TEnumSentinel) const noexcept { return !FDone; }
    bool operator==(TEnumSentinel) const noexcept { return FDone; }

private:
    E* FEnum;
    bool FDone;
};

// Iterator that owns its enumerator (a range-for over a table): the guard
// lives as long as the loop.
template <class E>
class TOwningEnumIterator {
public:
    explicit TOwningEnumIterator(E&& Enum) : FEnum(std::move(Enum)), FDone(!FEnum.MoveNext()) {}
    decltype(auto) operator*() const { return FEnum.GetCurrent(); }
    TOwningEnumIterator& operator++() {
        FDone = !FEnum.MoveNext();
        return *this;
    }
    bool operator!=(TEnumSentinel) const noexcept { return !FDone; }
    bool operator==(TEnumSentinel) const noexcept { return FDone; }

private:
    mutable E FEnum;
    bool FDone;
};

class THashEnumerator {
public:
    // Sets the table's iteration flag.
    explicit THashEnumerator(TCustomHashTable* HashTable) : FHashTable(HashTable) {
        FHashTable->FIteratorActive = true;
        ++FHashTable->FEnumerators;
    }
    THashEnumerator(THashEnumerator&& Other) noexcept
        : FEntry(Other.FEntry), FHashTable(std::exchange(Other.FHashTable, nullptr)), FIndex(Other.FIndex) {}
    THashEnumerator& operator=(THashEnumerator&&) = delete;
    THashEnumerator(const THashEnumerator&) = delete;
    // Clears the table's iteration flag, whatever other enumerators exist.
    ~THashEnumerator() {
        if (!FHashTable) return;
        FHashTable->FIteratorActive = false;
        FHashTable->EnumeratorDone();
    }

    // The next entry: along the chain, then through the buckets.
    bool MoveNext() {
        if (FEntry) FEntry = FEntry->Next;
        while (!FEntry && FIndex < FHashTable->FTableLength) FEntry = FHashTable->FTable[FIndex++];
        return FEntry != nullptr;
    }

protected:
    TCustomHashTable::TBaseHashEntry* FEntry = nullptr;
    TCustomHashTable* FHashTable;
    uint32_t FIndex = 0;
};

// Reads one word of the current entry: the key (offset 0) or the value (1).
class THashEntryEnumerator : public THashEnumerator {
public:
    enum : int { KeyOffset = 0, ValueOffset = 1 };
    THashEntryEnumerator(TCustomHashTable* HashTable, int Offset) : THashEnumerator(HashTable), FOffset(Offset) {}
    THashEntryEnumerator(THashEntryEnumerator&&) noexcept = default;

protected:
    void* CurrentWord() const noexcept {
        if (!FEntry) return nullptr;
        return FOffset == ValueOffset ? FEntry->Value : FEntry->Key;
    }
    int FOffset;
};

namespace detail {
const String& EmptyString() noexcept;
}

// The typed word enumerators. GetEnumerator answers the enumerator itself.
#define IDE_HASH_WORD_ENUMERATOR(Name, Result, Convert)                                        \
    class Name : public THashEntryEnumerator {                                                 \
    public:                                                                                    \
        using THashEntryEnumerator::THashEntryEnumerator;                                      \
        Name(Name&&) noexcept = default;                                                       \
        Name& GetEnumerator() noexcept { return *this; }                                       \
        Result GetCurrent() const {                                                            \
            void* w = CurrentWord();                                                           \
            return Convert;                                                                    \
        }                                                                                      \
        TEnumIterator<Name> begin() { return TEnumIterator<Name>(this); }                      \
        TEnumSentinel end() const noexcept { return {}; }                                      \
    };

// Strings are kept by the entry; the reference is good while the entry lives.
IDE_HASH_WORD_ENUMERATOR(TStrEnumerator, const String&, w ? *static_cast<const String*>(w) : detail::EmptyString())
IDE_HASH_WORD_ENUMERATOR(TWideStrEnumerator, const String&,
                         w ? *static_cast<const String*>(w) : detail::EmptyString())
IDE_HASH_WORD_ENUMERATOR(TPtrEnumerator, void*, w)
IDE_HASH_WORD_ENUMERATOR(TObjEnumerator, TObject*, static_cast<TObject*>(w))
IDE_HASH_WORD_ENUMERATOR(TIntfEnumerator, IntfRef<IInterface>, IntfRef<IInterface>::Retain(static_cast<IInterface*>(w)))
IDE_HASH_WORD_ENUMERATOR(TIntEnumerator, int32_t, static_cast<int32_t>(reinterpret_cast<intptr_t>(w)))

#undef IDE_HASH_WORD_ENUMERATOR

}  // namespace ide
