// The contract every typed hash table shares: add, replace, look up, remove,
// enumerate keys, values and pairs, Assign, Clear - for each key and value
// type of the family.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/CollectionsTables.h"

using namespace ide;

namespace {

class TItem : public TInterfacedObject {};

// Key and value makers, and a comparable form of each, per table.
struct Pool {
    std::vector<IntfRef<TItem>> Intfs;
    std::vector<std::unique_ptr<TObject>> Objects;
    Pool() {
        for (int i = 0; i < 200; ++i) {
            Intfs.push_back(Make<TItem>());
            Objects.push_back(std::make_unique<TObject>());
        }
    }
    void* Ptr(int i) const { return reinterpret_cast<void*>(static_cast<intptr_t>(i + 1)); }
    IntfRef<IInterface> Intf(int i) const { return IntfRef<IInterface>(Intfs[i]); }
    TObject* Obj(int i) const { return Objects[i].get(); }
    static String Text(int i) { return Str("text" + std::to_string(i)); }
};

const void* Id(void* p) { return p; }
const void* Id(TObject* p) { return p; }
const void* Id(const IntfRef<IInterface>& p) { return p.Identity(); }
std::string Id(const String& s) { return Utf8(s); }
int32_t Id(int32_t i) { return i; }

// IDE_FAMILY_CASE(Name, Table, Key(p, i), Value(p, i), constructor arguments...)
#define IDE_FAMILY_CASE(Name, Table, KeyExpr, ValueExpr, ...)                                  \
    struct Name {                                                                              \
        using T = Table;                                                                       \
        static std::unique_ptr<T> New() { return std::make_unique<T>(__VA_ARGS__); }           \
        static auto Key([[maybe_unused]] const Pool& p, int i) { return KeyExpr; }             \
        static auto Value([[maybe_unused]] const Pool& p, int i) { return ValueExpr; }         \
    };

IDE_FAMILY_CASE(PointerCase, TPointerHashTable, p.Ptr(i), p.Ptr(i + 50), 0, 1.0)
IDE_FAMILY_CASE(IntegerObjCase, TIntegerObjHashTable, int32_t(i * 7), p.Obj(i), okNone, 0, 1.0)
IDE_FAMILY_CASE(IntegerICase, TIntegerIHashTable, int32_t(-i), p.Intf(i), 0, 1.0)
IDE_FAMILY_CASE(InterfaceStrCase, TInterfaceStrHashTable, p.Intf(i), Pool::Text(i), 0, 1.0)
IDE_FAMILY_CASE(ObjectCase, TObjectHashTable, p.Obj(i), p.Obj(i + 50), okNone, 0, 1.0)
IDE_FAMILY_CASE(ObjectICase, TObjectIHashTable, p.Obj(i), p.Intf(i), 0, 1.0)
IDE_FAMILY_CASE(StringCase, TStringHashTable, Pool::Text(i), Pool::Text(i + 50), true, 0, 1.0)
IDE_FAMILY_CASE(StringObjCase, TStringObjHashTable, Pool::Text(i), p.Obj(i), false, okNone, 0, 1.0)
IDE_FAMILY_CASE(StringICase, TStringIHashTable, Pool::Text(i), p.Intf(i), false, 0, 1.0)
IDE_FAMILY_CASE(WideStringCase, TWideStringHashTable, Pool::Text(i), Pool::Text(i + 50), true, 0, 1.0)
IDE_FAMILY_CASE(WideStringObjCase, TWideStringObjHashTable, Pool::Text(i), p.Obj(i), true, okNone, 0, 1.0)
IDE_FAMILY_CASE(WideStringICase, TWideStringIHashTable, Pool::Text(i), p.Intf(i), false, 0, 1.0)

#undef IDE_FAMILY_CASE

template <class C>
class HashTableFamily : public ::testing::Test {
protected:
    Pool P;
};

using Cases = ::testing::Types<PointerCase, IntegerObjCase, IntegerICase, InterfaceStrCase, ObjectCase, ObjectICase,
                               StringCase, StringObjCase, StringICase, WideStringCase, WideStringObjCase,
                               WideStringICase>;
TYPED_TEST_SUITE(HashTableFamily, Cases);

}  // namespace

TYPED_TEST(HashTableFamily, SharedContract) {
    using C = TypeParam;
    const Pool& p = this->P;
    const int n = 100;
    auto t = C::New();
    for (int i = 0; i < n; ++i) t->Add(C::Key(p, i), C::Value(p, i));
    EXPECT_EQ(t->GetCount(), n);
    EXPECT_EQ(t->GetTableLength(), 128u);

    // Look-ups, replacement, the zero value of a missing key.
    for (int i = 0; i < n; ++i) ASSERT_EQ(Id(t->GetItem(C::Key(p, i))), Id(C::Value(p, i))) << i;
    t->SetItem(C::Key(p, 3), C::Value(p, 4));
    EXPECT_EQ(Id(t->GetItem(C::Key(p, 3))), Id(C::Value(p, 4)));
    EXPECT_EQ(t->GetCount(), n);
    typename C::T::ValueType v{};
    EXPECT_FALSE(t->Contains(C::Key(p, n + 1), v));
    EXPECT_EQ(Id(t->GetItem(C::Key(p, n + 1))), Id(typename C::T::ValueType{}));
    EXPECT_TRUE(t->Contains(C::Key(p, 7), v));
    EXPECT_EQ(Id(v), Id(C::Value(p, 7)));
    EXPECT_TRUE(t->ContainsValue(C::Value(p, 7)));
    EXPECT_FALSE(t->ContainsValue(C::Value(p, 3)));  // replaced above

    // Keys, values and pairs enumerate the same entries.
    std::set<decltype(Id(C::Key(p, 0)))> keys, pairKeys;
    for (auto k : t->GetKeysEnumerator()) keys.insert(Id(k));
    int values = 0;
    for (auto value : t->GetValuesEnumerator()) values += Id(value) == Id(C::Value(p, 9));
    for (auto pair : *t) {
        pairKeys.insert(Id(pair.Key));
        EXPECT_EQ(Id(pair.Value), Id(t->GetItem(pair.Key)));
    }
    EXPECT_EQ(keys.size(), static_cast<size_t>(n));
    EXPECT_EQ(keys, pairKeys);
    EXPECT_EQ(values, 1);

    // Assign copies into a table of the same class.
    auto copy = C::New();
    copy->Add(C::Key(p, n + 5), C::Value(p, 0));
    copy->Assign(t.get());
    EXPECT_EQ(copy->GetCount(), n);
    EXPECT_FALSE(copy->ContainsKey(C::Key(p, n + 5)));
    EXPECT_EQ(Id(copy->GetItem(C::Key(p, 42))), Id(C::Value(p, 42)));

    for (int i = 0; i < n; i += 2) t->Remove(C::Key(p, i));
    EXPECT_EQ(t->GetCount(), n / 2);
    EXPECT_FALSE(t->ContainsKey(C::Key(p, 0)));
    EXPECT_TRUE(t->ContainsKey(C::Key(p, 1)));
    t->Clear();
    EXPECT_TRUE(t->GetEmpty());
    EXPECT_EQ(t->GetTableLength(), 0u);
}
