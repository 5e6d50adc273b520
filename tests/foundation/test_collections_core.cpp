// The untyped core of the hash tables: sizing, growth, Clear, fixed size,
// notifications, enumeration order and the iteration guard.
#include <gtest/gtest.h>

#include <vector>

#include "foundation/CollectionsTables.h"

using namespace ide;

namespace {

void* W(intptr_t v) { return reinterpret_cast<void*>(v); }

std::vector<intptr_t> KeysInOrder(TPointerHashTable& t) {
    std::vector<intptr_t> keys;
    for (void* k : t.GetKeysEnumerator()) keys.push_back(reinterpret_cast<intptr_t>(k));
    return keys;
}

// Records every notification the core sends.
class TSpyTable : public TPointerHashTable {
public:
    using TPointerHashTable::TPointerHashTable;
    std::vector<THashTableNotification> Log;

protected:
    void Notify(TBaseHashEntry* Entry, THashTableNotification Action) override {
        Log.push_back(Action);
        TPointerHashTable::Notify(Entry, Action);
    }
};

// A table that never allocates buckets by itself.
class TNoGrowTable : public TPointerHashTable {
public:
    using TPointerHashTable::TPointerHashTable;

protected:
    uint32_t AdjustTableSize(uint32_t OldSize) override { return OldSize; }
};

template <class E, class F>
void ExpectRaise(F&& f, const char* Message) {
    try {
        f();
        ADD_FAILURE() << "expected an exception: " << Message;
    } catch (const E& e) {
        EXPECT_STREQ(e.what(), Message);
    }
}

}  // namespace

TEST(HashTableCore, LoadFactorBounds) {
    EXPECT_NO_THROW(TPointerHashTable(0, 0.1));
    EXPECT_NO_THROW(TPointerHashTable(0, 7.0));
    ExpectRaise<EArgumentOutOfRangeException>([] { TPointerHashTable t(0, 0.05); }, "Argument out of range");
    ExpectRaise<EArgumentOutOfRangeException>([] { TPointerHashTable t(16, 7.5); }, "Argument out of range");
}

TEST(HashTableCore, ThresholdRoundsHalfToEven) {
    EXPECT_EQ(TPointerHashTable(5, 0.5).GetGrowThreshold(), 2u);  // 2.5
    EXPECT_EQ(TPointerHashTable(7, 0.5).GetGrowThreshold(), 4u);  // 3.5
    EXPECT_EQ(TPointerHashTable(3, 0.5).GetGrowThreshold(), 2u);  // 1.5
    EXPECT_EQ(TPointerHashTable(10, 0.75).GetGrowThreshold(), 8u);  // 7.5
    EXPECT_EQ(TPointerHashTable(10, 0.74).GetGrowThreshold(), 7u);
}

TEST(HashTableCore, EmptyTableAllocatesThirtyTwoBucketsOnFirstAdd) {
    TPointerHashTable t(0, 0.75);
    EXPECT_EQ(t.GetTableLength(), 0u);
    EXPECT_EQ(t.GetGrowThreshold(), 0u);
    EXPECT_FALSE(t.ContainsKey(W(1)));
    t.Remove(W(1));  // nothing to remove, no table: fine
    t.Add(W(1), W(10));
    EXPECT_EQ(t.GetTableLength(), 32u);
    EXPECT_EQ(t.GetGrowThreshold(), 24u);
    EXPECT_EQ(t.GetItem(W(1)), W(10));
}

TEST(HashTableCore, GrowsOnFifthAddAndClearShrinksBack) {
    TPointerHashTable t(4, 1.0);
    for (intptr_t k = 1; k <= 4; ++k) t.Add(W(k), W(k * 10));
    EXPECT_EQ(t.GetTableLength(), 4u);
    t.Add(W(5), W(50));
    EXPECT_EQ(t.GetTableLength(), 8u);
    EXPECT_EQ(t.GetGrowThreshold(), 8u);
    for (intptr_t k = 6; k <= 100; ++k) t.Add(W(k), W(k * 10));
    EXPECT_EQ(t.GetTableLength(), 128u);
    EXPECT_EQ(t.GetCount(), 100);
    for (intptr_t k = 1; k <= 100; ++k) ASSERT_EQ(t.GetItem(W(k)), W(k * 10)) << k;

    t.Clear();
    EXPECT_EQ(t.GetCount(), 0);
    EXPECT_TRUE(t.GetEmpty());
    EXPECT_EQ(t.GetTableLength(), 4u);
    EXPECT_EQ(t.GetGrowThreshold(), 4u);
    EXPECT_FALSE(t.ContainsKey(W(1)));

    TPointerHashTable z(0, 1.0);
    for (intptr_t k = 0; k < 40; ++k) z.Add(W(k), W(k));
    EXPECT_EQ(z.GetTableLength(), 64u);
    z.Clear();
    EXPECT_EQ(z.GetTableLength(), 0u);
    z.Add(W(7), W(8));
    EXPECT_EQ(z.GetTableLength(), 32u);
    EXPECT_EQ(z.GetItem(W(7)), W(8));
}

TEST(HashTableCore, FixedSize) {
    TPointerHashTable empty(0, 1.0);
    ExpectRaise<EArgumentException>([&] { empty.SetIsFixedSize(true); }, "Hash table is fixed with size 0");
    EXPECT_FALSE(empty.GetIsFixedSize());

    TPointerHashTable t(4, 1.0);
    t.SetIsFixedSize(true);
    for (intptr_t k = 0; k < 100; ++k) t.Add(W(k), W(k + 1));
    EXPECT_EQ(t.GetTableLength(), 4u);
    for (intptr_t k = 0; k < 100; ++k) ASSERT_EQ(t.GetItem(W(k)), W(k + 1));
    t.SetIsFixedSize(false);
    t.Add(W(1000), W(1));
    EXPECT_GT(t.GetTableLength(), 4u);

    // A table that grew from nothing, fixed, then cleared, has no buckets
    // again and can't take a key.
    TPointerHashTable regrown(0, 1.0);
    regrown.Add(W(1), W(1));
    regrown.SetIsFixedSize(true);
    regrown.Clear();
    EXPECT_EQ(regrown.GetTableLength(), 0u);
    ExpectRaise<ENotSupportedException>([&] { regrown.Add(W(1), W(2)); }, "Hash table is fixed with size 0");

    TNoGrowTable never(0, 1.0);
    ExpectRaise<ENotSupportedException>([&] { never.Add(W(1), W(2)); }, "Hash table is fixed with size 0");
    EXPECT_EQ(never.GetCount(), 0);
}

TEST(HashTableCore, NotificationsOfAddReplaceRemoveClear) {
    TSpyTable t(8, 1.0);
    t.Add(W(1), W(10));
    t.Add(W(2), W(20));
    EXPECT_EQ(t.Log, (std::vector<THashTableNotification>{htAdded, htAdded}));
    t.Log.clear();

    t.Add(W(1), W(11));  // the same key: a replacement, not a new entry
    EXPECT_EQ(t.Log, (std::vector<THashTableNotification>{htValueChanging, htValueChanged}));
    EXPECT_EQ(t.GetCount(), 2);
    EXPECT_EQ(t.GetItem(W(1)), W(11));
    t.Log.clear();

    t.Remove(W(99));
    EXPECT_TRUE(t.Log.empty());
    t.Remove(W(2));
    EXPECT_EQ(t.Log, (std::vector<THashTableNotification>{htRemoved}));
    EXPECT_EQ(t.GetCount(), 1);
    t.Add(W(3), W(30));
    t.Log.clear();
    t.Clear();
    EXPECT_EQ(t.Log, (std::vector<THashTableNotification>{htRemoved, htRemoved}));
}

TEST(HashTableCore, EnumerationOrderIsBucketsThenNewestFirstAndGrowthReversesChains) {
    TPointerHashTable t(4, 1.0);
    // Bucket 0 gets 0, 4, 8, 12 (newest first); the table is then full.
    for (intptr_t k : {0, 4, 8, 12}) t.Add(W(k), nullptr);
    EXPECT_EQ(KeysInOrder(t), (std::vector<intptr_t>{12, 8, 4, 0}));
    // Growing to 8 buckets relinks by the stored hash, reversing each chain:
    // bucket 0 = 0, 8 and bucket 4 = 4, 12; then 16 goes to the head of 0.
    t.Add(W(16), nullptr);
    EXPECT_EQ(KeysInOrder(t), (std::vector<intptr_t>{16, 0, 8, 4, 12}));
}

TEST(HashTableCore, EnumeratingWhileChangingRaises) {
    TPointerHashTable t(8, 1.0);
    t.Add(W(1), W(1));
    t.Add(W(2), W(2));
    const char* msg = "Can not modify a collection while iterating";
    {
        auto e = t.GetEnumerator();
        EXPECT_TRUE(t.GetIteratorActive());
        ExpectRaise<ENotSupportedException>([&] { t.Add(W(3), W(3)); }, msg);
        ExpectRaise<ENotSupportedException>([&] { t.Add(W(1), W(9)); }, msg);
        ExpectRaise<ENotSupportedException>([&] { t.Remove(W(1)); }, msg);
        ExpectRaise<ENotSupportedException>([&] { t.Remove(W(42)); }, msg);  // even a missing key
        ExpectRaise<ENotSupportedException>([&] { t.Clear(); }, msg);
        int seen = 0;
        while (e.MoveNext()) {
            EXPECT_EQ(e.GetCurrent().Key, e.GetCurrent().Value);
            ++seen;
        }
        EXPECT_EQ(seen, 2);
        EXPECT_FALSE(e.MoveNext());
    }
    EXPECT_FALSE(t.GetIteratorActive());
    t.Add(W(3), W(3));
    EXPECT_EQ(t.GetCount(), 3);

    int seen = 0;
    for (auto pair : t) {
        EXPECT_TRUE(t.GetIteratorActive());
        EXPECT_THROW(t.Remove(pair.Key), ENotSupportedException);
        ++seen;
    }
    EXPECT_EQ(seen, 3);
    EXPECT_FALSE(t.GetIteratorActive());
    EXPECT_EQ(t.GetCount(), 3);
}

TEST(HashTableCore, GuardIsAFlagNotACounter) {
    TPointerHashTable t(8, 1.0);
    t.Add(W(1), W(1));
    auto first = t.GetValuesEnumerator();
    ASSERT_TRUE(first.MoveNext());
    {
        auto second = t.GetKeysEnumerator();
        EXPECT_THROW(t.Add(W(2), W(2)), ENotSupportedException);
    }
    // The second enumerator's death dropped the flag: the first no longer
    // protects the table.
    EXPECT_FALSE(t.GetIteratorActive());
    EXPECT_NO_THROW(t.Add(W(2), W(2)));
    EXPECT_EQ(t.GetCount(), 2);

    // ContainsValue walks with an enumerator of its own and drops it too.
    auto third = t.GetEnumerator();
    EXPECT_TRUE(t.ContainsValue(W(2)));
    EXPECT_FALSE(t.ContainsValue(W(3)));
    EXPECT_FALSE(t.GetIteratorActive());
}

// The flag drops when a nested enumerator dies (above), so the outer one may
// see entries removed under it. It must never read a freed entry: removed
// entries are kept, emptied, until the last enumerator is gone.
TEST(HashTableCore, RemovalUnderALiveEnumeratorNeverFreesWhatItReads) {
    TStringHashTable t(true, 1, 7.0);  // one bucket: every entry on one chain
    for (const char16_t* k : {u"a", u"b", u"c", u"d"}) t.Add(k, String(k) + u"!");
    auto outer = t.GetKeysEnumerator();  // the chain runs d, c, b, a
    ASSERT_TRUE(outer.MoveNext());
    EXPECT_EQ(outer.GetCurrent(), u"d");
    { auto inner = t.GetValuesEnumerator(); }
    t.Remove(u"d");  // the entry the outer enumerator stands on
    t.Remove(u"c");  // and the one it goes to next
    EXPECT_EQ(outer.GetCurrent(), u"");  // a removed entry reads as empty
    std::vector<String> seen;
    while (outer.MoveNext()) seen.push_back(outer.GetCurrent());
    // c was unlinked but is still on d's old chain: it reads empty.
    EXPECT_EQ(seen, (std::vector<String>{u"", u"b", u"a"}));
    EXPECT_EQ(t.GetCount(), 2);

    // Clear under a live enumerator: the bucket array is new, entries kept.
    auto again = t.GetValuesEnumerator();
    ASSERT_TRUE(again.MoveNext());
    { auto inner = t.GetKeysEnumerator(); }
    t.Clear();
    EXPECT_EQ(again.GetCurrent(), u"");
    while (again.MoveNext()) EXPECT_EQ(again.GetCurrent(), u"");
    EXPECT_TRUE(t.GetEmpty());
}

TEST(HashTableCore, MovedEnumeratorKeepsTheGuard) {
    TPointerHashTable t(8, 1.0);
    t.Add(W(5), W(6));
    auto a = t.GetEnumerator();
    {
        auto b = std::move(a);  // a no longer touches the flag
        EXPECT_TRUE(t.GetIteratorActive());
        ASSERT_TRUE(b.MoveNext());
        EXPECT_EQ(b.GetCurrent().Value, W(6));
    }
    EXPECT_FALSE(t.GetIteratorActive());
}
