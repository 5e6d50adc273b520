// The position cache, hit tests, ranges and scrolling, and the shared
// validation worker (its life, its hand-back, and a stress run against
// structural changes, which `make test-tsan` runs under ThreadSanitizer).
#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include "VTTestUtil.h"
#include "vtree/VTWorker.h"

using namespace ide;
using namespace vttest;

namespace {

void Validate(TBaseVirtualTree& T) {
    T.InvalidateCache();
    T.ValidateCache();
    T.WaitForValidation();
}

// The node at a tree position, by walking every visible node.
PVirtualNode NaiveNodeAt(TBaseVirtualTree& T, uint32_t Y, uint32_t& Top) {
    uint32_t top = 0;
    for (PVirtualNode n = T.GetFirstVisibleNoInit(); n; n = T.GetNextVisibleNoInit(n)) {
        if (Y < top + n->NodeHeight) {
            Top = top;
            return n;
        }
        top += n->NodeHeight;
    }
    return nullptr;
}

}  // namespace

TEST(VTCache, EntriesExistOnlyAboveTheThreshold) {
    TTextTree t;
    t.SetRootNodeCount(2000);
    Validate(t);
    EXPECT_FALSE(t.InState(tsUseCache));  // exactly 2000: never
    EXPECT_TRUE(t.InState(tsValidationNeeded));
    EXPECT_TRUE(t.PositionCache().empty());
    t.SetRootNodeCount(2001);
    Validate(t);
    EXPECT_TRUE(t.InState(tsUseCache));
    EXPECT_FALSE(t.InState(tsValidationNeeded | tsValidating | tsStopValidation));
    ASSERT_EQ(t.PositionCache().size(), 2u);  // no slot left for a closing entry
    EXPECT_EQ(t.PositionCache()[1].Node->Index, 2000u);
    EXPECT_EQ(t.PositionCache()[1].AbsoluteTop, 2000u * 18);
    EXPECT_TRUE(Consistent(t));
    t.AddChild(nullptr);  // a structural change makes it stale
    EXPECT_FALSE(t.InState(tsUseCache));
}

TEST(VTCache, LookupsAgreeWithAWalkAtVariableHeights) {
    TTextTree t;
    t.SetRootNodeCount(300);
    std::mt19937 rng(11);
    for (PVirtualNode n = t.GetFirstNoInit(); n; n = n->NextSibling) {
        if (rng() % 4 == 0) t.SetChildCount(n, 40);
        t.SetNodeHeight(n, 10 + rng() % 40);
    }
    t.FullExpand();
    t.SetVisible(Child(t, nullptr, 7), false);
    ASSERT_GT(t.VisibleCount(), 2000u);
    for (bool cached : {false, true}) {
        if (cached) Validate(t);
        ASSERT_EQ(t.InState(tsUseCache), cached);
        ASSERT_TRUE(Consistent(t));
        const uint32_t total = t.RootNode()->TotalHeight - t.RootNode()->NodeHeight;
        for (uint32_t y = 0; y < total + 40; y += 7) {
            uint32_t wantTop = 0;
            PVirtualNode want = NaiveNodeAt(t, y, wantTop);
            int top = -1;
            PVirtualNode got = t.GetNodeAt(0, int(y), false, top);
            ASSERT_EQ(got, want) << "y " << y << " cached " << cached;
            if (want) {
                ASSERT_EQ(top, int(wantTop));
                if (y % 91 == 0) {
                    EXPECT_EQ(t.GetDisplayRect(want, -1, false).Top, int(wantTop));
                }
            } else {
                EXPECT_EQ(top, -1);  // below the last row: NodeTop left alone
            }
        }
    }
    // A negative Y counts as 0 before the offset applies.
    t.SetHasWindow(true);
    t.UpdateScrollBars(true);
    t.SetOffsetY(-500);
    int top = 0;
    EXPECT_EQ(t.GetNodeAt(0, -30, true, top), t.GetNodeAt(0, 0, true, top));
    EXPECT_EQ(t.GetNodeAt(0, 0), t.GetTopNode());
}

// Every lookup by position and by node, against a walk over all rows.
static void ExpectLookupsAgreeWithAWalk(TBaseVirtualTree& T, uint32_t Step) {
    ASSERT_TRUE(Consistent(T));
    std::vector<std::pair<uint32_t, PVirtualNode>> rows;  // top, node
    uint32_t bottom = 0;
    for (PVirtualNode n = T.GetFirstVisibleNoInit(); n; n = T.GetNextVisibleNoInit(n)) {
        rows.push_back({bottom, n});
        bottom += n->NodeHeight;
    }
    const uint32_t total = T.RootNode()->TotalHeight - T.RootNode()->NodeHeight;
    ASSERT_EQ(total, bottom);
    for (uint32_t y = 0; y < total + 40; y += Step) {
        auto it = std::upper_bound(rows.begin(), rows.end(), y, [](uint32_t v, const auto& r) { return v < r.first; });
        const bool inside = y < bottom && it != rows.begin();
        const uint32_t wantTop = inside ? std::prev(it)->first : 0;
        PVirtualNode want = inside ? std::prev(it)->second : nullptr;
        int top = -1;
        ASSERT_EQ(T.GetNodeAt(0, int(y), false, top), want) << "y " << y;
        if (want) {
            ASSERT_EQ(top, int(wantTop)) << "y " << y;
            ASSERT_EQ(T.GetDisplayRect(want, -1, false).Top, int(wantTop)) << "y " << y;
        }
    }
}

TEST(VTCache, FlatUniformRowsResolveLikeAWalkAndStopBeingUniformWhenTheyChange) {
    TTextTree t;
    t.SetRootNodeCount(6001);  // the cache's entries run out before the last row
    Validate(t);
    ASSERT_TRUE(t.InState(tsUseCache));
    ExpectLookupsAgreeWithAWalk(t, 5);
    // Rows of one height that no longer follow each other in memory.
    for (PVirtualNode n = t.GetFirstNoInit(); n; n = n->NextSibling) t.Name(n, std::to_string(n->Index * 7919 % 6001).c_str());
    t.SortTree(0, sdDescending);
    Validate(t);
    ExpectLookupsAgreeWithAWalk(t, 5);
    // One row of another height, and rows hidden in the middle.
    t.SetNodeHeight(Child(t, nullptr, 4321), 30);
    t.SetVisible(Child(t, nullptr, 17), false);
    Validate(t);
    ExpectLookupsAgreeWithAWalk(t, 5);
    // A child list in the middle, made in one go, expanded.
    t.SetChildCount(Child(t, nullptr, 3000), 2500);
    t.SetExpanded(Child(t, nullptr, 3000), true);
    Validate(t);
    ExpectLookupsAgreeWithAWalk(t, 11);
}

// The pass steps from a row to its next sibling directly where it can: the
// shapes where it can't (expanded parents, hidden siblings, expanded parents
// whose children are all hidden, collapsed parents, hidden parents, the
// last child of a parent) must still give the rows of a full walk.
TEST(VTCache, APassOverMixedShapesFindsTheRowsOfAWalk) {
    TTextTree t;
    t.SetRootNodeCount(5000);
    for (PVirtualNode n = t.GetFirstNoInit(); n; n = n->NextSibling) {
        switch (n->Index % 11) {
            case 1: t.SetVisible(n, false); break;
            case 3:
                t.SetChildCount(n, 3);
                t.SetExpanded(n, true);
                break;
            case 5:
                t.SetChildCount(n, 2);  // collapsed: its children are skipped
                break;
            case 7:
                t.SetChildCount(n, 2);
                t.SetExpanded(n, true);
                t.SetVisible(n->FirstChild, false);
                t.SetVisible(n->LastChild, false);
                break;
            case 9:
                t.SetChildCount(n, 4);
                t.SetExpanded(n, true);
                t.SetVisible(n->FirstChild->NextSibling, false);
                t.SetVisible(n, false);  // a hidden parent hides its children
                break;
        }
    }
    t.SetVisible(t.GetLastNoInit(), false);
    ASSERT_GT(t.VisibleCount(), 2 * CacheThreshold);
    Validate(t);
    ASSERT_TRUE(t.InState(tsUseCache));
    ExpectLookupsAgreeWithAWalk(t, 3);
    // Variable heights: the pass measures the rows up to its last entry
    // through the owner thread; lookups below it measure as they walk, so
    // the walk to compare with comes after every row is measured.
    t.SetOptions(t.Options() | toVariableNodeHeight);
    t.OnMeasureItem = [](TBaseVirtualTree*, PVirtualNode n, int& h) { h = 12 + int(n->Index % 5); };
    Validate(t);
    ASSERT_TRUE(t.InState(tsUseCache));
    ASSERT_TRUE(Consistent(t));
    for (PVirtualNode n = t.GetFirstVisibleNoInit(); n; n = t.GetNextVisibleNoInit(n)) (void)t.NodeHeight(n);
    Validate(t);
    ASSERT_TRUE(t.InState(tsUseCache));
    ExpectLookupsAgreeWithAWalk(t, 3);
}

TEST(VTCache, RangesOffsetsAndScrolling) {
    TTextTree empty;
    empty.SetHasWindow(true);
    empty.SetBottomSpace(7);
    empty.UpdateScrollBars(true);
    EXPECT_EQ(empty.RangeY(), 7u);
    EXPECT_EQ(empty.GetNodeAt(0, 0), nullptr);

    TTextTree t;
    t.SetHasWindow(true);
    std::vector<std::pair<int, int>> scrolls;
    t.OnScroll = [&](TBaseVirtualTree*, int dx, int dy) { scrolls.push_back({dx, dy}); };
    t.SetRootNodeCount(100);
    t.UpdateScrollBars(true);
    EXPECT_EQ(t.RangeY(), 1800u);
    EXPECT_TRUE(t.FScrollInfo[1].Visible);
    EXPECT_EQ(t.FScrollInfo[1].Page, 101);  // client height plus 1
    t.HandleScroll(true, TBaseVirtualTree::scPageDown);
    EXPECT_EQ(t.OffsetY(), -100);  // one client height
    t.HandleScroll(true, TBaseVirtualTree::scLineDown);
    EXPECT_EQ(t.OffsetY(), -120);
    t.HandleScroll(true, TBaseVirtualTree::scBottom);
    EXPECT_EQ(t.OffsetY(), -1700);  // clamped to the range
    EXPECT_EQ(t.FScrollInfo[1].Pos, 1700);
    t.HandleWheel(120, false, 3);  // one notch up: three rows
    EXPECT_EQ(t.OffsetY(), -1700 + 54);
    t.HandleWheel(-120, true, 3);  // with Ctrl: a page of rows
    EXPECT_EQ(t.OffsetY(), -1700);
    EXPECT_TRUE(t.ScrollIntoView(t.GetFirstNoInit(), false));
    EXPECT_EQ(t.OffsetY(), 0);
    t.HandleScroll(true, TBaseVirtualTree::scBottom);
    scrolls.clear();
    // A collapse that shrinks the range below the offset pulls the tree along.
    PVirtualNode first = t.GetFirstNoInit();
    t.SetChildCount(first, 50);
    t.ToggleNode(first);
    t.HandleScroll(true, TBaseVirtualTree::scBottom);
    scrolls.clear();
    t.ToggleNode(first);
    EXPECT_EQ(t.OffsetY(), -1700);
    ASSERT_FALSE(scrolls.empty());
    EXPECT_EQ(scrolls.back().second, 900);
    // Hit positions: indent, button, label, right of it.
    t.SetOffsetY(0);
    THitInfo hit;
    t.GetHitTestInfoAt(5, 5, true, hit);
    EXPECT_EQ(hit.HitNode, first);
    EXPECT_EQ(hit.HitPositions, hiOnItemButton);
    t.Name(Child(t, nullptr, 1), "abc");
    t.GetHitTestInfoAt(28, 20, true, hit);
    EXPECT_EQ(hit.HitPositions, hiOnItem | hiOnItemLabel);
    t.GetHitTestInfoAt(60, 20, true, hit);
    EXPECT_EQ(hit.HitPositions, hiOnItem | hiOnItemRight);
    t.GetHitTestInfoAt(5, 5000, false, hit);
    EXPECT_EQ(hit.HitPositions, hiNowhere);
}

TEST(VTWorker, TreesShareOneThreadThatEndsWithTheLast) {
    // Other tests' trees are gone by now: the thread runs only while trees live.
    EXPECT_FALSE(TWorkerThread::Running());
    {
        TTextTree a, b;
        EXPECT_TRUE(TWorkerThread::Running());
        a.SetRootNodeCount(5000);
        b.SetRootNodeCount(6000);
        a.InvalidateCache();
        b.InvalidateCache();
        a.ValidateCache();
        b.ValidateCache();  // waits in the list behind a
        b.WaitForValidation();
        a.WaitForValidation();
        EXPECT_TRUE(a.InState(tsUseCache));
        EXPECT_TRUE(b.InState(tsUseCache));
        EXPECT_EQ(b.PositionCache().size(), 3u);
    }
    EXPECT_FALSE(TWorkerThread::Running());
    TTextTree c;
    EXPECT_TRUE(TWorkerThread::Running());
}

TEST(VTWorker, ClientCallsOfAPassRunOnTheOwnerThread) {
    TTextTree t;
    const auto owner = std::this_thread::get_id();
    std::atomic<int> measured{0}, foreign{0};
    t.SetOptions(t.Options() | toVariableNodeHeight);
    t.OnMeasureItem = [&](TBaseVirtualTree*, PVirtualNode n, int& h) {
        if (std::this_thread::get_id() != owner) ++foreign;
        ++measured;
        h = 10 + int(n->Index % 7);
    };
    PVirtualNode victim = nullptr;
    bool deleted = false;
    t.OnInitNode = [&](TBaseVirtualTree* tr, PVirtualNode, PVirtualNode n, TVirtualNodeInitStates& s) {
        if (std::this_thread::get_id() != owner) ++foreign;
        // A client that changes the structure from inside a pass.
        if (n->Index == 1500) {
            s |= ivsHasChildren | ivsExpanded;
            victim = n;
        }
        if (n->Index == 1800 && !deleted) {
            deleted = true;
            tr->DeleteNode(n->PrevSibling);
        }
    };
    t.OnInitChildren = [](TBaseVirtualTree*, PVirtualNode, uint32_t& c) { c = 3; };
    t.SetRootNodeCount(4000);
    for (int round = 0; round < 3; ++round) Validate(t);
    EXPECT_EQ(foreign.load(), 0);
    // A pass ends where its last entry is stored: nodes up to 2000 here.
    EXPECT_GE(measured.load(), 2000);
    ASSERT_NE(victim, nullptr);
    EXPECT_TRUE(t.Expanded(victim));
    EXPECT_TRUE(t.InState(tsUseCache));
    EXPECT_TRUE(Consistent(t));
}

// Waiting for one tree while the worker is still on another that needs the
// owner thread for every row: the waiting thread serves the other tree's
// requests as they come, then this tree's, and returns with both caches.
TEST(VTWorker, WaitingForOneTreeServesTheTreeAheadOfIt) {
    TTextTree a, b;
    int measuredA = 0, measuredB = 0;
    for (TTextTree* t : {&a, &b}) {
        t->SetOptions(t->Options() | toVariableNodeHeight);
        t->SetRootNodeCount(t == &a ? 7000 : 3000);
    }
    a.OnMeasureItem = [&](TBaseVirtualTree*, PVirtualNode n, int& h) {
        ++measuredA;
        h = 10 + int(n->Index % 3);
    };
    b.OnMeasureItem = [&](TBaseVirtualTree*, PVirtualNode, int& h) {
        ++measuredB;
        h = 14;
    };
    a.InvalidateCache();
    b.InvalidateCache();
    a.ValidateCache();
    b.ValidateCache();  // behind a
    b.WaitForValidation();
    EXPECT_TRUE(b.InState(tsUseCache));
    // A measuring pass ends at its last cache entry (row 2000 of b, row 6000
    // of a); a's pass was served while b waited behind it.
    EXPECT_EQ(measuredB, 2001);
    EXPECT_EQ(measuredA, 6001);
    a.WaitForValidation();
    EXPECT_TRUE(a.InState(tsUseCache));
    EXPECT_TRUE(Consistent(a));
    EXPECT_TRUE(Consistent(b));
}

// Structural changes, sorts, expansions and height changes on two trees
// while the worker validates them; every few rounds the caches are waited
// for and checked entry by entry.
TEST(VTWorker, StressAgainstAddsRemovesAndSorts) {
    TTextTree trees[2];
    std::mt19937 rng(99);
    for (auto& t : trees) {
        t.SetRootNodeCount(3000 + rng() % 2000);
        t.OnCompareNodes = [](TBaseVirtualTree*, PVirtualNode a, PVirtualNode b, TColumnIndex, int& r) {
            r = int(a->NodeHeight) - int(b->NodeHeight);
        };
    }
    for (int round = 0; round < 400; ++round) {
        TTextTree& t = trees[rng() % 2];
        PVirtualNode n = Child(t, nullptr, rng() % std::max<uint32_t>(t.RootNodeCount(), 1));
        switch (rng() % 8) {
            case 0: t.SetChildCount(n, 1 + rng() % 50); t.ToggleNode(n); break;
            case 1: t.DeleteNode(n); break;
            case 2: t.Sort(nullptr, 0, TSortDirection(rng() % 2)); break;
            case 3: t.SetNodeHeight(n, 10 + rng() % 30); break;
            case 4: t.AddChild(nullptr); break;
            case 5: t.SetVisible(n, rng() % 2); break;
            case 6: t.InsertNode(n, amInsertBefore); break;
            case 7: t.SetRootNodeCount(2500 + rng() % 3000); break;
        }
        if (!t.InState(tsValidating | tsUseCache)) t.ValidateCache();
        // Lookups read the cache (or walk) while the worker may be building it.
        int top = 0;
        PVirtualNode hit = t.GetNodeAt(0, int(rng() % 60000), false, top);
        if (hit) {
            ASSERT_TRUE(t.FullyVisible(hit));
        }
        if (round % 50 == 49) {
            for (auto& x : trees) {
                Validate(x);
                ASSERT_TRUE(x.InState(tsUseCache));
                ASSERT_TRUE(Consistent(x)) << "round " << round;
            }
        }
    }
}
