// The hash-table collections: one untyped core and a family of typed tables.
//
// TCustomHashTable is a chained hash table of raw machine words. Each entry is
// one allocated block holding the chain link, the key's 32-bit hash, the key
// word and the value word (and, for the string tables, room for the strings
// themselves right behind it). The core never looks into a key: a typed
// descendant hashes it, passes the hash in, and compares keys through a
// comparison routine it installs. Entries keep their hash, so growing the
// table moves entries to new buckets without hashing anything again.
//
// The typed tables (CollectionsTables.h) take care of string copies,
// interface reference counts and owned objects through one virtual hook,
// Notify(Entry, Action), called when an entry is added or removed and around
// the replacement of a value.
//
// Sizing. A table is created with an initial capacity (buckets) and a load
// factor in 0.1..7.0. It grows when an Add finds Count at or above the grow
// threshold, Round(TableLength * LoadFactor) with ties to even, to twice its
// length (32 from an empty table). Clear gives back the initial capacity. A
// fixed-size table never grows; its chains just get longer.
//
// Iteration guard. An enumerator sets the table's IteratorActive flag while it
// lives and clears it when it dies; Add, Remove and Clear raise
// ENotSupportedException while it is set. The flag is one Boolean, not a
// counter: when a second enumerator on the same table dies, the flag drops
// although the first one is still running, and changes go through again. Code
// that keeps an enumerator over such a change must not use it afterwards.
// The same goes for ContainsValue, AssignTo and SaveToStream, which walk the
// table with an enumerator of their own.
//
// Memory stays sound all the same: the table also counts its live
// enumerators, apart from the flag, and while any lives a removed entry is
// not freed but kept, with its key and value words cleared (its own hooks
// have run), until the last enumerator dies. An enumerator standing on a
// removed entry goes on along the chain as it was, and reads a nil key or
// value there; it never reads freed memory.
//
// A table belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

class TStream;

IDE_DECLARE_EXCEPTION(ENotSupportedException, Exception)
IDE_DECLARE_EXCEPTION(EArgumentOutOfRangeException, Exception)
IDE_DECLARE_EXCEPTION(EArgumentException, Exception)

enum THashTableNotification { htAdded, htRemoved, htValueChanging, htValueChanged };

enum TObjectOwnershipKind { okNone, okValues };

class THashEnumerator;

class TCustomHashTable : public TObject {
public:
    // One entry. Key and Value are raw words; the typed tables decide what
    // they point to.
    struct TBaseHashEntry {
        TBaseHashEntry* Next;
        uint32_t Hash;
        void* Key;
        void* Value;
    };
    using PBaseHashEntry = TBaseHashEntry*;
    // Equality of two key words (or two value words).
    using TCompareProc = bool (*)(const void* A, const void* B);

    // LoadFactor outside 0.1..7.0 raises EArgumentOutOfRangeException
    // "Argument out of range". A capacity of 0 allocates nothing until the
    // first Add.
    TCustomHashTable(uint32_t InitialCapacity, double LoadFactor);
    ~TCustomHashTable() override;
    TCustomHashTable(const TCustomHashTable&) = delete;
    TCustomHashTable& operator=(const TCustomHashTable&) = delete;

    // Source->AssignTo(this). A nil source raises EConvertError
    // "Cannot assign a nil to a <class>".
    virtual void Assign(TCustomHashTable* Source);
    // Empties the table and gives it back its initial capacity. Raises while
    // an enumerator is active.
    virtual void Clear();

    // The file forms open a TFileStream and call the stream forms, which do
    // nothing here; the string table stores its pairs.
    virtual void LoadFromFile(const String& FileName);
    virtual void LoadFromStream(TStream& Stream);
    virtual void SaveToFile(const String& FileName);
    virtual void SaveToStream(TStream& Stream);

    int64_t GetCount() const noexcept { return FCount; }
    bool GetEmpty() const noexcept { return FCount == 0; }
    bool GetIsFixedSize() const noexcept { return FIsFixedSize; }
    // Fixing a table that has no bucket array raises EArgumentException
    // "Hash table is fixed with size 0".
    void SetIsFixedSize(bool Value);
    double GetLoadFactor() const noexcept { return FLoadFactor; }
    uint32_t GetInitialCapacity() const noexcept { return FInitialCapacity; }
    uint32_t GetTableLength() const noexcept { return FTableLength; }
    uint32_t GetGrowThreshold() const noexcept { return FGrowThreshold; }
    bool GetIteratorActive() const noexcept { return FIteratorActive; }

    // Round(Length * LoadFactor), ties to even, clamped to 32 bits.
    static uint32_t ThresholdFor(uint32_t Length, double LoadFactor);

protected:
    // The new length when the table grows from OldSize: 32 from 0, otherwise
    // twice the old length. Answering OldSize stops the growth.
    virtual uint32_t AdjustTableSize(uint32_t OldSize);
    // The base raises the run-time's assign error naming both classes.
    virtual void AssignTo(TCustomHashTable* Dest);
    // The management hook of the typed tables; nothing here.
    virtual void Notify(TBaseHashEntry* Entry, THashTableNotification Action);

    // The raw core. Hash is the key's hash as the typed table computes it.
    // Add replaces the value of an existing key (htValueChanging, store,
    // htValueChanged; the stored key stays) or adds a new entry at the head
    // of its chain (htAdded).
    void Add(void* Key, void* Value, uint32_t Hash);
    bool Contains(const void* Key, uint32_t Hash, void*& Value) const;
    bool ContainsKey(const void* Key, uint32_t Hash) const;
    bool ContainsValue(const void* Value);
    void* GetItem(const void* Key, uint32_t Hash) const;
    // Unlinks and frees the entry (htRemoved first). An absent key does
    // nothing, but still raises while an enumerator is active.
    void Remove(const void* Key, uint32_t Hash);

    TBaseHashEntry* FindEntry(const void* Key, uint32_t Hash) const {
        if (!FTable) return nullptr;
        TBaseHashEntry* e = FTable[BucketOf(Hash)];
        while (e) {
            if (e->Hash == Hash && FCompareProc(Key, e->Key)) return e;
            e = e->Next;
        }
        return nullptr;
    }
    uint32_t BucketOf(uint32_t Hash) const noexcept {
        return FMask ? (Hash & FMask) : Hash % FTableLength;
    }
    // Empties the table without the iteration check. Every entry goes even if
    // a hook raises; the first such exception is rethrown at the end when
    // Rethrow is set (Clear), swallowed otherwise (destructors).
    void ClearEntries(bool Rethrow);
    void CheckNotIterating() const;

    // Bytes a typed table keeps behind each entry (string storage).
    void SetEntryPayload(size_t Bytes) noexcept { FEntryPayload = Bytes; }
    static void* PayloadOf(TBaseHashEntry* Entry) noexcept { return Entry + 1; }

    TCompareProc FCompareProc = nullptr;
    TCompareProc FCompareValuesProc = nullptr;
    int64_t FCount = 0;
    uint32_t FInitialCapacity = 0;
    bool FIsFixedSize = false;
    bool FIteratorActive = false;
    double FLoadFactor = 1.0;
    uint32_t FGrowThreshold = 0;
    TBaseHashEntry** FTable = nullptr;
    uint32_t FTableLength = 0;

private:
    friend class THashEnumerator;
    void AdjustTable();
    void SetTable(TBaseHashEntry** Table, uint32_t Length);
    TBaseHashEntry* NewEntry();
    // Frees the entry, or keeps it for later while an enumerator lives.
    void FreeEntry(TBaseHashEntry* Entry) noexcept;
    // Called by an enumerator's destructor: the last one frees what was kept.
    void EnumeratorDone() noexcept;
    static TBaseHashEntry** NewTableArray(uint32_t Length);

    uint32_t FMask = 0;  // Length - 1 when the length is a power of two
    size_t FEntryPayload = 0;
    int FEnumerators = 0;                   // live enumerators, whatever the flag says
    std::vector<TBaseHashEntry*> FRemoved;  // unlinked while an enumerator lived
};

}  // namespace ide
