#include "foundation/Collections.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "foundation/CollectionsEnumerators.h"
#include "foundation/Streams.h"

namespace ide {

namespace {
const char* const SModifyWhileIterating = "Can not modify a collection while iterating";
const char* const SFixedSizeZero = "Hash table is fixed with size 0";
}  // namespace

namespace detail {
const String& EmptyString() noexcept {
    static const String empty;
    return empty;
}
}  // namespace detail

uint32_t TCustomHashTable::ThresholdFor(uint32_t Length, double LoadFactor) {
    // Round half to even, by hand so that the result doesn't depend on the
    // floating-point environment's rounding mode.
    const double x = static_cast<double>(Length) * LoadFactor;
    double r = std::floor(x);
    const double diff = x - r;
    if (diff > 0.5 || (diff == 0.5 && std::fmod(r, 2.0) != 0.0)) r += 1.0;
    if (r >= 4294967295.0) return 0xFFFFFFFFu;
    return static_cast<uint32_t>(r);
}

TCustomHashTable::TCustomHashTable(uint32_t InitialCapacity, double LoadFactor) {
    if (!(LoadFactor >= 0.1 && LoadFactor <= 7.0)) throw EArgumentOutOfRangeException("Argument out of range");
    FLoadFactor = LoadFactor;
    FInitialCapacity = InitialCapacity;
    if (InitialCapacity > 0) SetTable(NewTableArray(InitialCapacity), InitialCapacity);
    else SetTable(nullptr, 0);
}

TCustomHashTable::~TCustomHashTable() {
    // Typed tables empty themselves in their own destructors, while their
    // Notify still runs; whatever is left here is freed without a hook.
    FInitialCapacity = 0;
    ClearEntries(false);
    for (TBaseHashEntry* e : FRemoved) ::operator delete(e);  // an enumerator outlived its table
}

TCustomHashTable::TBaseHashEntry** TCustomHashTable::NewTableArray(uint32_t Length) {
    auto** t = static_cast<TBaseHashEntry**>(std::calloc(Length, sizeof(TBaseHashEntry*)));
    if (!t) throw std::bad_alloc();
    return t;
}

void TCustomHashTable::SetTable(TBaseHashEntry** Table, uint32_t Length) {
    FTable = Table;
    FTableLength = Length;
    FMask = (Length != 0 && (Length & (Length - 1)) == 0) ? Length - 1 : 0;
    // A one-bucket table has mask 0 and takes the modulo path, which is right.
    FGrowThreshold = ThresholdFor(Length, FLoadFactor);
}

TCustomHashTable::TBaseHashEntry* TCustomHashTable::NewEntry() {
    return static_cast<TBaseHashEntry*>(::operator new(sizeof(TBaseHashEntry) + FEntryPayload));
}

void TCustomHashTable::FreeEntry(TBaseHashEntry* Entry) noexcept {
    if (FEnumerators > 0) {
        // An enumerator may stand on this entry or reach it along its old
        // chain: keep the block, with nothing in it to read.
        Entry->Key = nullptr;
        Entry->Value = nullptr;
        FRemoved.push_back(Entry);
        return;
    }
    ::operator delete(Entry);
}

void TCustomHashTable::EnumeratorDone() noexcept {
    if (--FEnumerators > 0) return;
    for (TBaseHashEntry* e : FRemoved) ::operator delete(e);
    FRemoved.clear();
    FRemoved.shrink_to_fit();
}

void TCustomHashTable::CheckNotIterating() const {
    if (FIteratorActive) throw ENotSupportedException(SModifyWhileIterating);
}

uint32_t TCustomHashTable::AdjustTableSize(uint32_t OldSize) {
    if (OldSize == 0) return 32;
    if (OldSize > 0x7FFFFFFFu) return OldSize;  // can't double any further
    return 2 * OldSize;
}

void TCustomHashTable::AdjustTable() {
    const uint32_t newLength = AdjustTableSize(FTableLength);
    if (newLength == FTableLength) return;
    TBaseHashEntry** oldTable = FTable;
    const uint32_t oldLength = FTableLength;
    TBaseHashEntry** newTable = newLength > 0 ? NewTableArray(newLength) : nullptr;
    SetTable(newTable, newLength);
    // Relink by the stored hash: nothing is hashed or copied again, and the
    // order within a chain reverses.
    for (uint32_t i = 0; i < oldLength; ++i) {
        TBaseHashEntry* e = oldTable[i];
        while (e) {
            TBaseHashEntry* next = e->Next;
            if (newTable) {
                TBaseHashEntry*& head = newTable[BucketOf(e->Hash)];
                e->Next = head;
                head = e;
            }
            e = next;
        }
    }
    std::free(oldTable);
}

void TCustomHashTable::Add(void* Key, void* Value, uint32_t Hash) {
    CheckNotIterating();
    if (FCount >= static_cast<int64_t>(FGrowThreshold) && !FIsFixedSize) AdjustTable();
    if (!FTable) throw ENotSupportedException(SFixedSizeZero);
    TBaseHashEntry*& head = FTable[BucketOf(Hash)];
    for (TBaseHashEntry* e = head; e; e = e->Next) {
        if (e->Hash == Hash && FCompareProc(Key, e->Key)) {
            Notify(e, htValueChanging);
            e->Value = Value;
            Notify(e, htValueChanged);
            return;
        }
    }
    TBaseHashEntry* e = NewEntry();
    e->Next = head;
    e->Hash = Hash;
    e->Key = Key;
    e->Value = Value;
    head = e;
    ++FCount;
    try {
        Notify(e, htAdded);
    } catch (...) {
        // The typed table couldn't take the key or value: the entry never was.
        head = e->Next;
        --FCount;
        FreeEntry(e);
        throw;
    }
}

bool TCustomHashTable::Contains(const void* Key, uint32_t Hash, void*& Value) const {
    if (TBaseHashEntry* e = FindEntry(Key, Hash)) {
        Value = e->Value;
        return true;
    }
    Value = nullptr;
    return false;
}

bool TCustomHashTable::ContainsKey(const void* Key, uint32_t Hash) const { return FindEntry(Key, Hash) != nullptr; }

bool TCustomHashTable::ContainsValue(const void* Value) {
    TPtrEnumerator values(this, THashEntryEnumerator::ValueOffset);
    while (values.MoveNext())
        if (FCompareValuesProc(Value, values.GetCurrent())) return true;
    return false;
}

void* TCustomHashTable::GetItem(const void* Key, uint32_t Hash) const {
    TBaseHashEntry* e = FindEntry(Key, Hash);
    return e ? e->Value : nullptr;
}

void TCustomHashTable::Remove(const void* Key, uint32_t Hash) {
    CheckNotIterating();
    if (!FTable) return;
    TBaseHashEntry** link = &FTable[BucketOf(Hash)];
    while (TBaseHashEntry* e = *link) {
        if (e->Hash == Hash && FCompareProc(Key, e->Key)) {
            *link = e->Next;
            --FCount;
            try {
                Notify(e, htRemoved);
            } catch (...) {
                FreeEntry(e);
                throw;
            }
            FreeEntry(e);
            return;
        }
        link = &e->Next;
    }
}

void TCustomHashTable::Clear() {
    CheckNotIterating();
    ClearEntries(true);
}

void TCustomHashTable::ClearEntries(bool Rethrow) {
    std::exception_ptr failure;
    if (FTable) {
        for (uint32_t i = 0; i < FTableLength && FCount > 0; ++i) {
            while (TBaseHashEntry* e = FTable[i]) {
                FTable[i] = e->Next;
                --FCount;
                // A failing hook (a value's destructor that throws) must not
                // leave the rest of the table behind: finish, then report.
                try {
                    Notify(e, htRemoved);
                } catch (...) {
                    if (!failure) failure = std::current_exception();
                }
                FreeEntry(e);
                if (FCount == 0) break;
            }
        }
        std::free(FTable);
        SetTable(nullptr, 0);
    }
    FCount = 0;
    if (FInitialCapacity > 0) SetTable(NewTableArray(FInitialCapacity), FInitialCapacity);
    if (failure && Rethrow) std::rethrow_exception(failure);
}

void TCustomHashTable::SetIsFixedSize(bool Value) {
    if (Value && !FTable) throw EArgumentException(SFixedSizeZero);
    FIsFixedSize = Value;
}

void TCustomHashTable::Assign(TCustomHashTable* Source) {
    if (!Source) RaiseAssignError(nullptr, this);
    Source->AssignTo(this);
}

void TCustomHashTable::AssignTo(TCustomHashTable* Dest) { RaiseAssignError(this, Dest); }

void TCustomHashTable::Notify(TBaseHashEntry*, THashTableNotification) {}

void TCustomHashTable::LoadFromFile(const String& FileName) {
    TFileStream stream(FileName, fmOpenRead);
    LoadFromStream(stream);
}

void TCustomHashTable::SaveToFile(const String& FileName) {
    TFileStream stream(FileName, fmCreate);
    SaveToStream(stream);
}

void TCustomHashTable::LoadFromStream(TStream&) {}

void TCustomHashTable::SaveToStream(TStream&) {}

}  // namespace ide
