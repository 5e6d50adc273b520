// Sorting (stable merge sort over sibling links) and incremental search.
#include <algorithm>
#include <random>
#include <stdexcept>
#include <vector>

#include "VTTestUtil.h"

using namespace ide;
using namespace vttest;

namespace {

// A string tree that counts beeps and can pretend to edit.
class TSearchTree : public TTextTree {
public:
    int Beeps = 0;
    bool RefuseEndEdit = false;
    void Type(const char* Keys) {
        for (const char* k = Keys; *k; ++k) HandleIncrementalSearch(uint8_t(*k));
    }
    void StartEditing() { DoStateChange(tsEditing); }
    void StopTimerForTest() { StopTimer(SearchTimer); }

protected:
    void Beep() override { ++Beeps; }
    bool DoEndEdit() override { return !RefuseEndEdit; }
};

std::vector<int> Keys(TBaseVirtualTree& T, PVirtualNode Parent, const std::vector<int>& Key) {
    std::vector<int> out;
    for (PVirtualNode c = T.GetFirstChildNoInit(Parent); c; c = c->NextSibling) out.push_back(Key[c->Dummy]);
    return out;
}

}  // namespace

TEST(VTSort, MergeSortIsStableInBothDirectionsAndRepairsTheChain) {
    TTextTree t;
    const int n = 1000;
    t.SetRootNodeCount(n);
    std::mt19937 rng(3);
    std::vector<int> key(256);
    std::vector<std::pair<int, PVirtualNode>> expected;
    int i = 0;
    // Dummy is a free byte of the node: it carries the key's slot.
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling, ++i) c->Dummy = uint8_t(i % 256);
    for (int k = 0; k < 256; ++k) key[k] = int(rng() % 10);
    t.OnCompareNodes = [&](TBaseVirtualTree*, PVirtualNode a, PVirtualNode b, TColumnIndex, int& r) {
        r = key[a->Dummy] - key[b->Dummy];
    };
    for (TSortDirection dir : {sdAscending, sdDescending, sdAscending}) {
        std::vector<PVirtualNode> before;
        for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) before.push_back(c);
        std::vector<PVirtualNode> want = before;
        std::stable_sort(want.begin(), want.end(), [&](PVirtualNode a, PVirtualNode b) {
            return dir == sdAscending ? key[a->Dummy] < key[b->Dummy] : key[a->Dummy] > key[b->Dummy];
        });
        t.Sort(nullptr, 0, dir, false);
        std::vector<PVirtualNode> got;
        for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) got.push_back(c);
        ASSERT_EQ(got, want);  // ties keep their order: descending is no reversal
        EXPECT_EQ(t.RootNode()->LastChild, got.back());
        ASSERT_TRUE(Consistent(t));  // Index, PrevSibling, counters
    }
    auto sorted = Keys(t, nullptr, key);
    EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));
}

TEST(VTSort, AComparisonSeesNodesAsTheyWereAndOneThatThrowsLosesNothing) {
    TTextTree t;
    const uint32_t n = 1000;
    t.SetRootNodeCount(n);
    std::vector<PVirtualNode> nodes;
    std::vector<uint32_t> key(n);
    std::mt19937 rng(11);
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) {
        key[nodes.size()] = rng() % 50;
        nodes.push_back(c);
    }
    // Key and original index by node; a compared node still has its index
    // and its previous sibling from before the sort.
    auto slot = [&](PVirtualNode p) { return size_t(std::find(nodes.begin(), nodes.end(), p) - nodes.begin()); };
    std::vector<uint32_t> keyOf(n);
    std::vector<PVirtualNode> prevOf(n);
    int stale = 0;
    uint32_t compares = 0, throwAt = 0;
    t.OnCompareNodes = [&](TBaseVirtualTree*, PVirtualNode a, PVirtualNode b, TColumnIndex, int& r) {
        if (++compares == throwAt) throw std::runtime_error("compare failed");
        for (PVirtualNode x : {a, b}) {
            const size_t i = slot(x);
            if (x->Index != keyOf[i] >> 16 || x->PrevSibling != prevOf[i]) ++stale;
        }
        r = int(keyOf[slot(a)] & 0xFFFF) - int(keyOf[slot(b)] & 0xFFFF);
    };
    auto remember = [&] {
        for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) {
            keyOf[slot(c)] = (c->Index << 16) | key[slot(c)];
            prevOf[slot(c)] = c->PrevSibling;
        }
    };
    remember();
    t.Sort(nullptr, 0, sdAscending, false);
    EXPECT_EQ(stale, 0);
    ASSERT_TRUE(Consistent(t));
    // Descending from the ascending order takes `all` comparisons.
    remember();
    compares = 0;
    t.Sort(nullptr, 0, sdDescending, false);
    const uint32_t all = compares;
    EXPECT_EQ(stale, 0);
    // A comparison that throws, early, midway, in the last merge, at the
    // last one: the error travels on, and every child is still there, once,
    // with its index and siblings in order.
    for (uint32_t at : {1u, all / 3, all - 400, all}) {
        remember();
        t.Sort(nullptr, 0, sdAscending, false);
        remember();
        compares = 0;
        throwAt = at;
        EXPECT_THROW(t.Sort(nullptr, 0, sdDescending, false), std::runtime_error) << at;
        throwAt = 0;
        ASSERT_TRUE(Consistent(t)) << at;
        std::vector<PVirtualNode> seen;
        for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) seen.push_back(c);
        std::vector<PVirtualNode> want = nodes;
        std::sort(seen.begin(), seen.end());
        std::sort(want.begin(), want.end());
        EXPECT_EQ(seen, want) << at;
        EXPECT_EQ(t.RootNode()->ChildCount, n);
    }
    // And the tree still sorts.
    remember();
    t.Sort(nullptr, 0, sdAscending, false);
    std::vector<uint32_t> sorted;
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) sorted.push_back(key[slot(c)]);
    EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));
    EXPECT_EQ(stale, 0);
}

TEST(VTSort, SortTreeWithoutHandlerKeepsOrderAndColumnMinusTwoSortsNothing) {
    TSearchTree t;
    t.SetRootNodeCount(4);
    for (PVirtualNode c = t.GetFirst(); c; c = c->NextSibling) {
        t.SetChildCount(c, 3);
        t.Name(c, "x");
    }
    std::vector<PVirtualNode> order;
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = t.GetNextNoInit(c)) order.push_back(c);
    t.SortTree(-1, sdDescending);
    std::vector<PVirtualNode> after;
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = t.GetNextNoInit(c)) after.push_back(c);
    EXPECT_EQ(after, order);
    EXPECT_EQ(t.UpdateCount(), 0u);
    int compares = 0;
    t.OnCompareNodes = [&](TBaseVirtualTree*, PVirtualNode, PVirtualNode, TColumnIndex, int& r) {
        ++compares;
        r = -1;
    };
    t.SortTree(-2, sdAscending);
    EXPECT_EQ(compares, 0);
    t.SortTree(-1, sdAscending);
    EXPECT_GT(compares, 0);
    // An edit whose end is refused leaves the tree unsorted.
    compares = 0;
    t.StartEditing();
    t.RefuseEndEdit = true;
    t.Sort(nullptr, 0, sdAscending);
    EXPECT_EQ(compares, 0);
    EXPECT_TRUE(Consistent(t));
}

TEST(VTSearch, IncrementalSearchScenarios) {
    TSearchTree t;
    const char* names[] = {"apple", "banana", "aardvark", "avocado", "cherry", "apricot"};
    t.SetRootNodeCount(6);
    int i = 0;
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) t.Name(c, names[i++]);
    auto focused = [&] { return t.FocusedNode() ? t.TextOf(t.FocusedNode()) : std::string("-"); };
    t.SetSearchOption(isAll);

    t.Type("b");
    EXPECT_EQ(focused(), "banana");
    EXPECT_TRUE(t.Selected(t.FocusedNode()));
    EXPECT_TRUE(t.InState(tsIncrementalSearching));
    EXPECT_TRUE(t.TimerActive(SearchTimer));

    t.TimerFired(SearchTimer);  // silence: the buffer starts over
    EXPECT_EQ(Utf8(t.SearchBuffer()), "");
    EXPECT_FALSE(t.InState(tsIncrementalSearching));
    t.Type("a");  // from the focused node on
    EXPECT_EQ(focused(), "aardvark");
    t.Type("a");  // a repeated letter steps to the next hit ...
    EXPECT_EQ(focused(), "aardvark");  // ... unless "aa" really matches here
    EXPECT_EQ(Utf8(t.SearchBuffer()), "aa");
    t.TimerFired(SearchTimer);
    t.Type("av");
    EXPECT_EQ(focused(), "avocado");
    t.TimerFired(SearchTimer);
    t.Type("a");
    EXPECT_EQ(focused(), "apricot");
    t.Type("a");  // single letter: next "a", wrapping to the top
    EXPECT_EQ(focused(), "apple");
    t.Type("a");
    EXPECT_EQ(focused(), "aardvark");

    // A miss beeps and keeps buffer and selection.
    const int beeps = t.Beeps;
    t.Type("z");
    EXPECT_EQ(t.Beeps, beeps + 1);
    EXPECT_EQ(Utf8(t.SearchBuffer()), "a");
    EXPECT_EQ(focused(), "aardvark");
    // A backspace with one character changes nothing but restarts the timer.
    t.StopTimerForTest();
    t.Type("\b");
    EXPECT_EQ(Utf8(t.SearchBuffer()), "a");
    EXPECT_TRUE(t.TimerActive(SearchTimer));
    t.Type("p");
    EXPECT_EQ(focused(), "apricot");
    t.Type("\b");  // back to "a", searching backwards from the hit
    EXPECT_EQ(Utf8(t.SearchBuffer()), "a");
    EXPECT_EQ(focused(), "avocado");

    // Visible-only skips hidden nodes; isNone stops everything.
    t.TimerFired(SearchTimer);
    t.SetSearchOption(isVisibleOnly);
    t.SetVisible(Child(t, nullptr, 4), false);
    t.Type("c");
    EXPECT_EQ(focused(), "avocado");
    EXPECT_EQ(t.Beeps, beeps + 2);
    t.SetSearchOption(isNone);
    EXPECT_FALSE(t.TimerActive(SearchTimer));
    t.Type("b");
    EXPECT_EQ(focused(), "avocado");
}

TEST(VTSearch, ACharacterAboveTheBasicPlaneIsOneCharacter) {
    // U+1F600 takes two UTF-16 units; to the search it is one character.
    const uint32_t smile = 0x1F600;
    const char* s = "\xF0\x9F\x98\x80";
    TSearchTree t;
    const std::string names[] = {"b", std::string(s) + "a", std::string(s) + "b", std::string(s) + "c",
                                 "a" + std::string(s), "ab"};
    t.SetRootNodeCount(6);
    int i = 0;
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) t.Name(c, names[i++].c_str());
    auto focused = [&] { return t.FocusedNode() ? int(t.FocusedNode()->Index) : -1; };
    t.SetSearchOption(isAll);

    t.HandleIncrementalSearch(smile);
    EXPECT_EQ(focused(), 1);
    EXPECT_EQ(Utf8(t.SearchBuffer()), s);
    // The same character again steps to the next hit, as a repeated letter does.
    t.HandleIncrementalSearch(smile);
    EXPECT_EQ(focused(), 2);
    EXPECT_EQ(Utf8(t.SearchBuffer()), s);
    // A buffer of one such character isn't emptied by a backspace either.
    t.Type("\b");
    EXPECT_EQ(t.SearchBuffer().size(), 2u);
    EXPECT_EQ(focused(), 2);

    t.Type("c");
    EXPECT_EQ(focused(), 3);
    t.Type("\b");  // back to the whole character, backwards from the hit
    EXPECT_EQ(Utf8(t.SearchBuffer()), s);
    EXPECT_EQ(focused(), 2);

    t.TimerFired(SearchTimer);
    t.Type("a");
    EXPECT_EQ(focused(), 4);
    t.HandleIncrementalSearch(smile);
    EXPECT_EQ(focused(), 4);
    EXPECT_EQ(Utf8(t.SearchBuffer()), "a" + std::string(s));
    t.Type("\b");  // takes off both units: "a", backwards, wrapping to the end
    EXPECT_EQ(Utf8(t.SearchBuffer()), "a");
    EXPECT_EQ(focused(), 5);

    // A lone surrogate or a value past the last code point searches nothing.
    const int beeps = t.Beeps;
    t.HandleIncrementalSearch(0xD83D);
    t.HandleIncrementalSearch(0x110000);
    EXPECT_EQ(Utf8(t.SearchBuffer()), "a");
    EXPECT_EQ(focused(), 5);
    EXPECT_EQ(t.Beeps, beeps);
    EXPECT_TRUE(t.TimerActive(SearchTimer));
}

TEST(VTSearch, InitializedOnlyWalksButNeverInitialises) {
    TSearchTree t;
    t.SetRootNodeCount(50);
    int inits = 0;
    t.OnInitNode = [&](TBaseVirtualTree*, PVirtualNode, PVirtualNode, TVirtualNodeInitStates&) { ++inits; };
    t.Name(Child(t, nullptr, 40), "target");
    // A handler that answers for uninitialised nodes without waking them (the
    // default comparison reads the text, which initialises).
    t.OnIncrementalSearch = [&](TBaseVirtualTree*, PVirtualNode n, const String& text, int& r) {
        r = t.Texts.count(n) && t.Texts[n].rfind(text, 0) == 0 ? 0 : 1;
    };
    t.SetSearchOption(isInitializedOnly);
    t.SetSearchStart(ssAlwaysStartOver);
    t.Type("t");
    EXPECT_EQ(t.FocusedNode(), Child(t, nullptr, 40));
    EXPECT_EQ(inits, 0);
    t.TimerFired(SearchTimer);
    t.SetSearchOption(isAll);  // initialises every node it passes
    t.Type("t");
    EXPECT_EQ(inits, 41);
}

TEST(VTSearch, AllModeWalksInTreeOrderThroughLazyChildren) {
    // Leaves, nodes whose children exist, and nodes whose children are only
    // promised (made when the walk first steps below them): the search must
    // visit exactly the nodes GetNext visits, in that order, both ways.
    auto build = [](TSearchTree& t) {
        t.OnInitNode = [](TBaseVirtualTree*, PVirtualNode, PVirtualNode n, TVirtualNodeInitStates& s) {
            if (n->Index % 3 == 1) s |= ivsHasChildren;
        };
        t.OnInitChildren = [](TBaseVirtualTree* tree, PVirtualNode n, uint32_t& count) {
            count = tree->GetNodeLevel(n) < 2 ? 4 : 0;
        };
        t.SetRootNodeCount(7);
        PVirtualNode made = t.AddChild(Child(t, nullptr, 3));  // children that already exist
        t.AddChild(made);
    };
    TSearchTree ref;
    build(ref);
    std::vector<std::pair<uint32_t, uint32_t>> expected;  // (level, index)
    for (PVirtualNode n = ref.GetFirst(); n; n = ref.GetNext(n))
        expected.push_back({ref.GetNodeLevel(n), n->Index});
    ASSERT_GT(expected.size(), 20u);

    for (const bool forward : {true, false}) {
        TSearchTree t;
        build(t);
        std::vector<std::pair<uint32_t, uint32_t>> seen;
        t.OnIncrementalSearch = [&](TBaseVirtualTree* tree, PVirtualNode n, const String&, int& r) {
            seen.push_back({tree->GetNodeLevel(n), n->Index});
            r = 1;  // never a hit: the walk goes through the whole tree
        };
        t.SetSearchOption(isAll);
        t.SetSearchDirection(forward ? sdForward : sdBackward);
        t.SetSearchStart(ssAlwaysStartOver);
        t.Type("q");
        auto want = expected;
        if (!forward) std::reverse(want.begin(), want.end());
        // Started over from the first (or last) node, the walk ends at the
        // end of the tree; with no node to stand on, a miss is silent.
        EXPECT_EQ(seen, want) << (forward ? "forward" : "backward");
        EXPECT_EQ(t.Beeps, 0);
    }
}

TEST(VTSearch, ASearchFromInsideOnGetTextKeepsTheOuterText) {
    // The default comparison fills a buffer kept from node to node; a client
    // that starts another search while it answers for a node must not
    // overwrite the text of that node.
    TSearchTree t;
    const char* names[] = {"alpha", "beta", "gamma", "delta"};
    t.SetRootNodeCount(4);
    int i = 0;
    for (PVirtualNode c = t.GetFirstNoInit(); c; c = c->NextSibling) t.Name(c, names[i++]);
    t.SetSearchOption(isAll);
    t.SetSearchStart(ssAlwaysStartOver);
    int nested = 0;
    auto plain = t.OnGetText;
    t.OnGetText = [&](TBaseVirtualTree* tree, PVirtualNode n, TColumnIndex c, String& s) {
        plain(tree, n, c, s);
        if (nested++ == 0) static_cast<TSearchTree*>(tree)->Type("d");
    };
    t.Type("a");  // the nested search, for "d", runs while "alpha" is answered
    EXPECT_GT(nested, 1);
    EXPECT_EQ(t.TextOf(t.FocusedNode()), "alpha");
    EXPECT_EQ(Utf8(t.SearchBuffer()), "a");
}
