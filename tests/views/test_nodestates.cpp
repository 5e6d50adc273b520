// The tree view's table of states by location.
#include <gtest/gtest.h>

#include "ViewTestUtil.h"
#include "views/NodeStateTable.h"

using namespace ide;
using namespace ide::test;

namespace {
// A key of a chosen hash code that equals no other key.
class TFixedHashKey : public TInterfacedObject, public virtual IHashObject {
public:
    explicit TFixedHashKey(int32_t Hash) : FHash(Hash) {}
    int32_t GetHashCode() override { return FHash; }

private:
    int32_t FHash;
};

struct States {
    TTreeView2 View;
    IntfRef<TNodeState> Make() { return ide::Make<TNodeState>(&View, nullptr, 0, false); }
};
}  // namespace

TEST(NodeStateTable, FindsByTheSameKeyThenByAnEqualOne) {
    States s;
    TNodeStateTable t;
    auto a = Make<TTextObject>(u"a");
    auto state = s.Make();
    EXPECT_EQ(t.Put(a.get(), state), nullptr);
    EXPECT_EQ(t.Find(a.get()), state.get());
    auto another = Make<TTextObject>(u"a");  // a new object with the same text
    EXPECT_EQ(t.Find(another.get()), state.get());
    EXPECT_EQ(t.Find(Make<TTextObject>(u"b").get()), nullptr);
    auto seven = Make<TIntegerObject>(7);
    t.Put(seven.get(), s.Make());
    EXPECT_NE(t.Find(Make<TIntegerObject>(7).get()), nullptr);
    EXPECT_EQ(t.Find(Make<TIntegerObject>(8).get()), nullptr);
    EXPECT_EQ(t.Find(nullptr), nullptr);
    // Storing under an equal key replaces, and hands the old state back.
    auto fresh = s.Make();
    EXPECT_EQ(t.Put(another.get(), fresh), state);
    EXPECT_EQ(t.Find(a.get()), fresh.get());
    EXPECT_EQ(t.Count(), 2u);
}

TEST(NodeStateTable, KeysOfOneHashStayApartThroughGrowthAndRemoval) {
    States s;
    TNodeStateTable t;
    std::vector<IntfRef<TFixedHashKey>> keys;
    std::vector<IntfRef<TNodeState>> states;
    for (int i = 0; i < 1000; ++i) {
        keys.push_back(Make<TFixedHashKey>(i % 10 == 0 ? 42 : i * 16));  // a hundred share one hash
        states.push_back(s.Make());
        ASSERT_EQ(t.Put(keys.back().get(), states.back()), nullptr);
    }
    EXPECT_EQ(t.Count(), 1000u);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(t.Find(keys[static_cast<size_t>(i)].get()), states[static_cast<size_t>(i)].get()) << i;
    // Drop the odd ones: the rest are still found, the dropped handed over.
    for (int i = 1; i < 1000; i += 2) states[static_cast<size_t>(i)]->FInUse = false;
    std::vector<IntfRef<TNodeState>> dropped;
    EXPECT_TRUE(t.RemoveIf([](TNodeState* n) { return !n->FInUse; }, dropped));
    EXPECT_EQ(dropped.size(), 500u);
    EXPECT_EQ(t.Count(), 500u);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(t.Find(keys[static_cast<size_t>(i)].get()), i % 2 ? nullptr : states[static_cast<size_t>(i)].get()) << i;
    EXPECT_FALSE(t.RemoveIf([](TNodeState* n) { return !n->FInUse; }, dropped));
    int seen = 0;
    t.ForEach([&](TNodeState*) { ++seen; });
    EXPECT_EQ(seen, 500);
    std::vector<IntfRef<TNodeState>> all;
    t.Clear(all);
    EXPECT_EQ(all.size(), 500u);
    EXPECT_EQ(t.Count(), 0u);
    EXPECT_EQ(t.Find(keys[0].get()), nullptr);
}
