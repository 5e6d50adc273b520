// The tree view's logic: layout arithmetic, hit tests, expansion, the
// reaction to model events, deferred recalculation and painting, on a fake
// window side and the recording canvas.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ViewTestUtil.h"
#include "model/IDEGraphImplEvents.h"

using namespace ide;
using namespace ide::test;

namespace {
struct Fixture {
    TFakeHost Host;
    std::unique_ptr<TTreeView2> View = std::make_unique<TTreeView2>(&Host);
    IntfRef<TBasicTreeContainer> Model = Make<TBasicTreeContainer>();
    IntfRef<IGraphLocation> Root, A, B, C, A1, A2;

    // root
    //   a
    //     a1
    //     a2
    //   b
    //   c
    Fixture(bool Init = true) {
        Root = Model->SetRoot(Make<TTextObject>(u"root"));
        A = Model->AddChild(Root, Make<TTextObject>(u"a"));
        A1 = Model->AddChild(A, Make<TTextObject>(u"a1"));
        A2 = Model->AddChild(A, Make<TTextObject>(u"a2"));
        B = Model->AddChild(Root, Make<TTextObject>(u"b"));
        C = Model->AddChild(Root, Make<TTextObject>(u"c"));
        View->SetViewManager(Make<TBasicViewManager>(Make<TFixedPainter>()));
        View->SetModel(Model);
        if (Init) Start();
    }
    void Start() {
        View->AddNotify();
        Pump();
    }
    int Pump() { return static_cast<TQueuedMailbox&>(View->Mailbox()).ProcessMessages(); }
    TNodeState* S(const IntfRef<IGraphLocation>& L) { return View->GetViewState(L); }
    std::vector<std::string> Rows() {
        std::vector<std::string> out;
        for (TNodeState* n = View->FirstNode(); n; n = n->FNextVisible)
            out.push_back(Utf8(As<IStringObject>(Model->Get(n->FNode))->GetString()));
        return out;
    }
};

using Strings = std::vector<std::string>;

class TRecordingTreeListener : public TInterfacedObject, public virtual ITreeListener {
public:
    std::vector<std::pair<int, bool>>* Log;
    TTreeView2* View;
    explicit TRecordingTreeListener(std::vector<std::pair<int, bool>>* L, TTreeView2* V) : Log(L), View(V) {}
    void NodeExpanded(const IntfRef<ITreeEvent>& E) override { Log->push_back({E->GetId(), View->IsExpanded(E->GetLocation())}); }
    void NodeCollapsed(const IntfRef<ITreeEvent>& E) override {
        Log->push_back({E->GetId(), View->IsExpanded(E->GetLocation())});
        View->RemoveTreeListener(Retain<ITreeListener>(this));  // leaves during the dispatch
    }
};
}  // namespace

TEST(TreeLayout, RowsIndentByLevelAndBoxesCentreInTheRow) {
    Fixture f;
    EXPECT_EQ(f.Rows(), (Strings{"root"}));  // the root starts collapsed
    f.View->Expand(f.Root);
    f.View->Expand(f.A);
    EXPECT_EQ(f.Rows(), (Strings{"root", "a", "a1", "a2", "b", "c"}));
    TNodeState* a1 = f.S(f.A1);
    EXPECT_EQ(a1->FLevel, 2);
    EXPECT_EQ(a1->FItemRect, Rectangle(19 * 2 + 19, 34, 40, 17));
    TNodeState* a = f.S(f.A);
    EXPECT_EQ(a->FBoxRect, Rectangle(19 + 5, 17 + 5, 9, 9));  // box at 19L + 5, Y + 5 in a 17-high row
    EXPECT_EQ(a->FLineNumber, 1);
    EXPECT_EQ(f.View->LineCount(), 6);
    EXPECT_EQ(f.View->CanvasHeight(), 6 * 17);
    EXPECT_EQ(f.View->CanvasWidth(), 57 + 40);
    EXPECT_EQ(f.View->GetPreferredSize(), Dimension(97, 102));
    EXPECT_EQ(f.S(f.B)->FPrevVisible, f.S(f.A2));
    EXPECT_TRUE(f.S(f.B)->FNodeFlags.Contains(nfNoBoxRect));  // a leaf has no box
}

TEST(TreeLayout, HiddenRootAndNoRootLinesShiftTheRows) {
    Fixture f(false);
    f.View->SetShowRoot(false);
    f.Start();
    EXPECT_EQ(f.Rows(), (Strings{"a", "b", "c"}));  // the hidden root opens itself
    EXPECT_EQ(f.S(f.Root)->FLevel, -1);
    EXPECT_EQ(f.S(f.A)->FLineNumber, 0);
    EXPECT_EQ(f.S(f.A)->FBoxRect.Left, 5);

    Fixture g;
    g.View->SetShowRootLines(false);
    g.Pump();
    EXPECT_EQ(g.Rows(), (Strings{"root", "a", "b", "c"}));  // a level-0 node opens: it has no box
    EXPECT_EQ(g.S(g.A)->FItemRect.Left, 19 + 5);  // moved left by the item offset
    EXPECT_FALSE(g.View->ExpandNode(g.S(g.Root), false, false));  // can't be closed: no box to reopen it
}

TEST(TreeHitTest, IndexedLookupAgreesWithTheWalkIncludingTheOddGapAnswer) {
    Fixture f;
    f.View->SetVgap(3);
    f.View->ExpandAll(f.Root);
    f.Pump();
    TNodeState* last = f.View->LastNode();
    int lastBottom = last->FItemRect.Top + last->FItemRect.Height;
    EXPECT_EQ(f.View->HitTestY(lastBottom + 1), f.View->FirstNode());  // in the gap, inside the canvas
    EXPECT_EQ(f.View->HitTestY(10000), last);
    EXPECT_EQ(f.View->HitTestY(21), f.S(f.A));
    EXPECT_EQ(f.View->HitTestY(18), f.S(f.A));  // the gap between rows belongs to the next
    EXPECT_EQ(f.View->HitTestY(16), f.S(f.Root));
    EXPECT_EQ(f.View->HitTestLine(3), f.S(f.A2));
    std::mt19937 rng(7);
    for (int i = 0; i < 200; ++i) {
        int y = static_cast<int>(rng() % 200) - 20;
        TNodeState* walk = f.View->FirstNode();
        while (walk && y >= walk->FItemRect.Top + walk->FItemRect.Height) walk = walk->FNextVisible;
        if (!walk) walk = y < f.View->TopMargin() + f.View->CanvasHeight() ? f.View->FirstNode() : last;
        ASSERT_EQ(f.View->HitTestY(y), walk) << y;
    }
    // Client hit test: only the item, scrolled.
    f.Host.Scroll = {0, 20};
    EXPECT_EQ(f.View->HitTest(38 + 1, 2), f.A);
    EXPECT_EQ(f.View->HitTest(19 + 5 + 1, 5), nullptr);  // the box is no item
    EXPECT_EQ(f.View->HitTest(2, 2), nullptr);  // left of the item
    // A row measured again before the next layout: the lookup by Y sees its
    // new bottom at once, as the walk does.
    auto painter = Make<TFixedPainter>();
    f.View->SetViewManager(Make<TBasicViewManager>(painter));
    f.Pump();
    int top = f.S(f.B)->FItemRect.Top;
    EXPECT_EQ(f.View->HitTestY(top + 25), f.S(f.C));
    painter->FSize.Height = 30;
    f.Model->Touched(f.B);
    EXPECT_TRUE(f.View->Mailbox().IsPending(DeferRecalcVisibleMsg));
    EXPECT_EQ(f.View->HitTestY(top + 25), f.S(f.B));
    f.Pump();
    EXPECT_EQ(f.View->HitTestY(top + 25), f.S(f.B));
    EXPECT_EQ(f.View->HitTestY(top + 33), f.S(f.C));  // after the gap of 3
}

TEST(TreeExpansion, EventsFireAheadOfTheChangeAndCollapsingKeepsStates) {
    Fixture f;
    std::vector<std::pair<int, bool>> log;
    f.View->AddTreeListener(Make<TRecordingTreeListener>(&log, f.View.get()));
    std::vector<bool> byProperty;
    f.View->OnNodeExpanded = [&](TTreeView2& v, const IntfRef<ITreeEvent>& e) {
        byProperty.push_back(v.IsExpanded(e->GetLocation()));
    };
    EXPECT_TRUE(f.View->ExpandNode(f.S(f.Root), true, false));
    EXPECT_FALSE(f.View->ExpandNode(f.S(f.Root), true, false));  // no change
    EXPECT_FALSE(f.View->ExpandNode(f.S(f.B), true, false));     // no children: no event
    f.View->Expand(f.A);
    EXPECT_EQ(byProperty, (std::vector<bool>{false, false}));
    f.View->Collapse(f.Root);
    f.View->Expand(f.Root);
    ASSERT_EQ(log.size(), 3u);  // the listener left during its collapse call
    EXPECT_EQ(log[2], std::make_pair(int(TREE_COLLAPSED), true));
    EXPECT_TRUE(f.S(f.A)->FExpanded);  // came back expanded
    EXPECT_EQ(f.Rows(), (Strings{"root", "a", "a1", "a2", "b", "c"}));
    // Collapsing the parent of the subfocus moves it to the parent.
    f.View->SetSubfocus(f.A2);
    f.View->Collapse(f.A);
    EXPECT_EQ(f.View->GetSubfocus(), f.A);
}

TEST(TreeExpansion, PresetListsBeforeInitialisationBothExpand) {
    Fixture f(false);
    f.View->Expand(f.Root);
    f.View->Collapse(f.A);  // expands too
    EXPECT_EQ(f.View->StateCount(), 0);
    f.Start();
    EXPECT_EQ(f.Rows(), (Strings{"root", "a", "a1", "a2", "b", "c"}));
}

namespace {
// A location whose children are unknown until asked.
class TLazyNode : public THashObject, public virtual IGraphLocation, public virtual IStringObject {
public:
    TTriState HasChildren() override { return tsUnknown; }
    IntfRef<IGraphLocation> GetParent() override { return nullptr; }
    IntfRef<IInterfaceList> GetChildren() override { return NewInterfaceList(); }
    String GetString() override { return u"lazy"; }
};
class TLazyModel : public TInterfacedObject, public virtual IGraphModel {
public:
    IntfRef<IGraphLocation> Root = Make<TLazyNode>();
    IntfRef<IGraphLocation> GetRoot() override { return Root; }
    IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& L) override { return L; }
    IntfRef<IGraphLocation> Find(const IntfRef<IInterface>&) override { return nullptr; }
    void AddModelListener(const IntfRef<IGraphModelListener>&) override {}
    void RemoveModelListener(const IntfRef<IGraphModelListener>&) override {}
};
}  // namespace

TEST(TreeExpansion, UnknownChildrenShowABoxAndStartCollapsedEvenByDefault) {
    TFakeHost host;
    TTreeView2 view(&host);
    view.SetExpandByDefault(true);
    view.SetViewManager(Make<TBasicViewManager>(Make<TFixedPainter>()));
    view.SetModel(Make<TLazyModel>());
    view.AddNotify();
    static_cast<TQueuedMailbox&>(view.Mailbox()).ProcessMessages();
    ASSERT_NE(view.FirstNode(), nullptr);
    EXPECT_FALSE(view.FirstNode()->FExpanded);
    EXPECT_FALSE(view.FirstNode()->FNodeFlags.Contains(nfNoBoxRect));
}

TEST(TreeModelEvents, ManyChangesCostOneDeferredRecalculation) {
    Fixture f;
    f.View->Expand(f.Root);
    int before = f.View->RecalcCount();
    for (int i = 0; i < 5; ++i) f.Model->AddChild(f.Root, Make<TTextObject>(Str("n" + std::to_string(i))));
    EXPECT_EQ(f.View->RecalcCount(), before);  // nothing yet
    f.Pump();
    EXPECT_EQ(f.View->RecalcCount(), before + 1);
    EXPECT_EQ(f.Rows().size(), 9u);
    // A hit test needs current rows: it drains the pending message and lays out at once.
    f.Model->AddChild(f.Root, Make<TTextObject>(u"late"));
    EXPECT_TRUE(f.View->Mailbox().IsPending(DeferRecalcVisibleMsg));
    f.View->HitTest(0, 0);
    EXPECT_FALSE(f.View->Mailbox().IsPending(DeferRecalcVisibleMsg));
    EXPECT_EQ(f.Rows().back(), "late");
}

TEST(TreeModelEvents, InsertsRemovalsAndEventsForRowsNotShown) {
    Fixture f;
    f.View->Expand(f.Root);
    f.Pump();
    // A change under a collapsed node: no row, no state, no harm.
    f.Model->AddChild(f.A1, Make<TTextObject>(u"deep"));
    f.Model->Touched(f.A1);
    f.Model->Remove(f.A2);
    f.Pump();
    EXPECT_EQ(f.Rows(), (Strings{"root", "a", "b", "c"}));
    EXPECT_EQ(f.S(f.A2), nullptr);
    // Removing the last of several children moves the subfocus to the previous row.
    f.View->SetSubfocus(f.C);
    f.Model->Remove(f.C);
    EXPECT_EQ(f.View->GetSubfocus(), f.B);
    // Removing a row followed by a sibling moves it to that sibling.
    f.View->SetSubfocus(f.A);
    f.Model->Remove(f.A);
    EXPECT_EQ(f.View->GetSubfocus(), f.B);
    f.Pump();
    EXPECT_EQ(f.Rows(), (Strings{"root", "b"}));
    // Removing the only row leaves no subfocus.
    Fixture g(false);
    g.View->SetShowRoot(false);
    g.Start();
    g.Model->Remove(g.A);
    g.Model->Remove(g.B);
    g.View->SetSubfocus(g.C);
    g.Model->Remove(g.C);
    g.Pump();
    EXPECT_EQ(g.View->GetSubfocus(), nullptr);
    EXPECT_TRUE(g.Rows().empty());
    EXPECT_EQ(g.View->GetPreferredSize().Height, g.View->TopMargin());
    // Removed subtrees keep their children for a caller who adds them again;
    // dropping them is the caller's unlink.
    LinkedNodeOf(f.A)->UnlinkSubtree();
    LinkedNodeOf(g.A)->UnlinkSubtree();
}

TEST(TreeModelEvents, ABatchBecomesOneStructureEventAndAReplacedModelDropsItsPendingWork) {
    Fixture f;
    f.View->Expand(f.Root);
    f.Pump();
    auto caster = Make<TGraphModelMulticaster>();
    f.View->SetModel(nullptr);
    f.Model->AddModelListener(caster);
    // The view hears the model through a batching multicaster.
    class TForward : public TInterfacedObject, public virtual IGraphModel {
    public:
        IntfRef<TBasicTreeContainer> M;
        IntfRef<TGraphModelMulticaster> C;
        IntfRef<IGraphLocation> GetRoot() override { return M->GetRoot(); }
        IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& L) override { return M->Get(L); }
        IntfRef<IGraphLocation> Find(const IntfRef<IInterface>& D) override { return M->Find(D); }
        void AddModelListener(const IntfRef<IGraphModelListener>& L) override { C->Add(L); }
        void RemoveModelListener(const IntfRef<IGraphModelListener>& L) override { C->Remove(L); }
    };
    auto forward = Make<TForward>();
    forward->M = f.Model;
    forward->C = caster;
    f.View->SetModel(forward);
    f.View->Expand(f.Root);
    f.Pump();
    int changes = 0;
    f.View->OnModelStructureChanged = [&](TTreeView2&, const IntfRef<IGraphModelEvent>& e) {
        ++changes;
        EXPECT_EQ(e->GetChange(), mcStructure);
    };
    caster->BeginUpdate();
    for (int i = 0; i < 100; ++i) f.Model->AddChild(f.Root, Make<TTextObject>(u"x"));
    caster->EndUpdate();
    EXPECT_EQ(changes, 1);
    f.Pump();
    EXPECT_EQ(f.View->LineCount(), 1 + 3 + 100);
    // A model replaced while a recalculation is pending: the message is gone.
    f.View->OnModelStructureChanged = nullptr;
    f.Model->AddChild(f.Root, Make<TTextObject>(u"y"));
    EXPECT_TRUE(f.View->Mailbox().IsPending(DeferRecalcVisibleMsg));
    f.View->SetModel(nullptr);
    EXPECT_EQ(f.View->Mailbox().PendingCount(DeferRecalcVisibleMsg), 1);  // the new model's own
    f.Pump();
    EXPECT_EQ(f.View->LineCount(), 0);
    EXPECT_EQ(f.View->FirstNode(), nullptr);
    EXPECT_EQ(f.View->GetSubfocus(), nullptr);
}

TEST(TreePaint, SelectedAndFocusedRowsAndOnlyTheRowsInTheClip) {
    Fixture f;
    f.View->ExpandAll(f.Root);
    f.Pump();
    f.View->SetSubfocus(f.A1);
    f.View->SetHasFocus(true);
    TRecordingCanvas c;
    f.View->Paint2(c, Rect(0, 34, 200, 51));  // exactly the row of a1
    EXPECT_EQ(c.TextLog(), "a1");
    EXPECT_EQ(c.BackgroundAt(60, 40), clHighlight);
    EXPECT_EQ(c.BackgroundAt(5, 40), clWindow);  // the row's own background left of the item
    EXPECT_EQ(c.OpsOf(coFocusRect).size(), 1u);
    c.Clear();
    f.View->SetHasFocus(false);
    f.View->Paint2(c, Rect(0, 0, 200, 300));
    EXPECT_EQ(c.TextLog(), "root|a|a1|a2|b|c");
    EXPECT_TRUE(c.OpsOf(coFocusRect).empty());  // no focus mark without the focus
    EXPECT_EQ(c.BackgroundAt(100, 250), clWindow);  // below the last row
    // The box of the open node: outline and a minus bar only.
    auto rects = c.OpsOf(coRectangle);
    ASSERT_EQ(rects.size(), 2u);  // root and a
    EXPECT_EQ(rects[1].R, ToRect(f.S(f.A)->FBoxRect));
    EXPECT_EQ(rects[1].Pen, clBtnShadow);
}

TEST(TreeSearch, FindsTheRowOfATextOverAllNodesOpenOrNot) {
    Fixture f;
    EXPECT_EQ(f.View->FindRowForText(u"a2", true), 3);
    EXPECT_EQ(f.View->FindRowForText(u"A2", true), -1);
    EXPECT_EQ(f.View->FindRowForText(u"A2", false), 3);
    EXPECT_EQ(f.View->FindRowForText(u"zzz", false), -1);
    f.View->SetShowRoot(false);
    EXPECT_EQ(f.View->FindRowForText(u"a2", true), 2);  // the hidden root isn't counted
}

TEST(TreeInput, ClicksAndKeysMoveTheSubfocusAndAVetoStopsIt) {
    Fixture f;
    f.View->ExpandAll(f.Root);
    f.Pump();
    EXPECT_TRUE(f.View->MouseDown(19 + 19 + 1, 17 + 1, false, false, 1));  // on a's item
    EXPECT_EQ(f.View->GetSubfocus(), f.A);
    EXPECT_TRUE(f.View->MouseDown(19 + 5 + 1, 17 + 6, false, false, 1));  // on a's box
    EXPECT_FALSE(f.View->IsExpanded(f.A));
    EXPECT_TRUE(f.View->KeyDown(40, false, false));  // down
    EXPECT_EQ(f.View->GetSubfocus(), f.B);
    EXPECT_TRUE(f.View->MouseDown(38 + 1, 3 * 17 + 1, false, true, 1));  // ctrl: c joins the selection
    EXPECT_EQ(f.View->GetSelection()->GetCount(), 2);
    f.View->OnSubfocusChanging = [](TTreeView2&, const IntfRef<IGraphSubfocusEvent>&) { throw EVetoException("no"); };
    EXPECT_FALSE(f.View->KeyDown(38, false, false));
    EXPECT_EQ(f.View->GetSubfocus(), f.C);
}

namespace {
// A location of a hand-made model; Hashed false makes one without IHashObject.
class TPlainNode : public TInterfacedObject, public virtual IGraphLocation, public virtual IStringObject {
public:
    TPlainNode(String Name, TPlainNode* Parent) : FName(std::move(Name)), FParent(Parent) {}
    IntfRef<IGraphLocation> GetParent() override { return FParent ? Retain<IGraphLocation>(FParent) : nullptr; }
    TTriState HasChildren() override { return Children.empty() ? tsNo : tsYes; }
    IntfRef<IInterfaceList> GetChildren() override {
        auto l = NewInterfaceList();
        for (auto& c : Children) l->Add(c);
        return l;
    }
    String GetString() override { return FName; }
    std::vector<IntfRef<IInterface>> Children;

private:
    String FName;
    TPlainNode* FParent;
};
class THashedNode : public TPlainNode, public virtual IHashObject {
public:
    using TPlainNode::TPlainNode;
    int32_t GetHashCode() override { return static_cast<int32_t>(reinterpret_cast<intptr_t>(this) >> 4); }
};
class TPlainModel : public TInterfacedObject, public virtual IGraphModel {
public:
    IntfRef<THashedNode> Root = Make<THashedNode>(u"root", nullptr);
    IntfRef<IGraphLocation> GetRoot() override { return Root; }
    IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& L) override { return L; }
    IntfRef<IGraphLocation> Find(const IntfRef<IInterface>&) override { return nullptr; }
    void AddModelListener(const IntfRef<IGraphModelListener>&) override {}
    void RemoveModelListener(const IntfRef<IGraphModelListener>&) override {}
};
}  // namespace

TEST(TreeLayout, ALocationWithoutAHashGetsNoRowAndHidesTheSiblingsBehindIt) {
    auto model = Make<TPlainModel>();
    model->Root->Children.push_back(Make<THashedNode>(u"x", model->Root.get()));
    model->Root->Children.push_back(Make<TPlainNode>(u"y", model->Root.get()));
    model->Root->Children.push_back(Make<THashedNode>(u"z", model->Root.get()));
    TFakeHost host;
    TTreeView2 view(&host);
    view.SetViewManager(Make<TBasicViewManager>(Make<TFixedPainter>()));
    view.SetModel(model);
    view.AddNotify();
    view.Expand(model->Root);
    static_cast<TQueuedMailbox&>(view.Mailbox()).ProcessMessages();
    EXPECT_EQ(view.LineCount(), 2);  // root and x; y has no state, so z is never reached
    EXPECT_EQ(view.StateCount(), 3);
    EXPECT_EQ(view.FindRowForText(u"z", true), 3);  // the search still walks every node
}

TEST(TreeModelEvents, StatesOffShowNeverLeadIntoSweptOnes) {
    Fixture f;
    f.View->ExpandAll(f.Root);
    f.Pump();
    f.View->Collapse(f.A);  // a1, a2 keep their states, off show, still linked to b
    f.Pump();
    f.Model->Remove(f.B);  // b is swept
    f.Pump();              // relayout frees it
    f.Model->AddChild(f.Root, Make<TTextObject>(u"d"));
    f.Pump();
    f.View->Expand(f.A);  // a1, a2 on show again, relinked
    EXPECT_EQ(f.Rows(), (Strings{"root", "a", "a1", "a2", "c", "d"}));
    for (TNodeState* n = f.View->LastNode(); n; n = n->FPrevVisible) EXPECT_TRUE(n->FInUse);
}

TEST(TreeScroll, ScrollViewBringsTheRowInAndSnapsToARowStart) {
    Fixture f;
    for (int i = 0; i < 20; ++i) f.Model->AddChild(f.Root, Make<TTextObject>(Str("n" + std::to_string(i))));
    f.View->Expand(f.Root);
    f.Pump();
    f.Host.Client = {200, 60};  // three and a half rows
    TNodeState* last = f.View->LastNode();
    f.View->ScrollView(last);
    // 408 - 60 = 348 lies in row 20 (340..357): the view starts at row 21.
    EXPECT_EQ(f.View->GetPreferredSize().Height, 408);
    EXPECT_EQ(f.Host.Scroll.Y, 357);
    f.View->ScrollView(f.S(f.A));  // above: its top becomes the origin
    EXPECT_EQ(f.Host.Scroll.Y, 17);
    f.Host.Scroll = {0, 0};
    TNodeState* sixth = f.View->HitTestLine(5);
    f.View->ScrollView(sixth);
    // Bottom of row 5 is 102; 102 - 60 = 42 lies inside row 2 (34..51), so
    // the origin snaps to the start of row 3.
    EXPECT_EQ(f.Host.Scroll.Y, 51);
    EXPECT_EQ(f.Host.Increment, 17);
    // Expanding scrolls the opened subtree in, as far as its parent stays.
    f.Host.Scroll = {0, 0};
    f.View->Collapse(f.A);
    f.Host.Client = {200, 40};
    f.View->Expand(f.A);
    EXPECT_EQ(f.Host.Scroll.Y, f.S(f.A)->FItemRect.Top);  // a itself wins over its last child
}

TEST(TreeLayout, ALayoutThatChangesTheCanvasInvalidatesOnlyTheStripsThatChanged) {
    Fixture f;
    f.View->Expand(f.Root);
    f.Pump();
    f.Host.Invalidated.clear();
    f.Model->AddChild(f.Root, Make<TTextObject>(u"a much longer name"));
    f.Pump();
    // Width grew from 57 + 40 to ... the same painter: only the height grows.
    bool below = false;
    for (const TRect& r : f.Host.Invalidated)
        if (r.Top <= 4 * 17 && r.Bottom >= 5 * 17 && r.Left == 0) below = true;
    EXPECT_TRUE(below);
    EXPECT_EQ(f.Host.Range.Height, 5 * 17);  // the deferred layout set the scroll range
    f.View->OnOverrideScrollRange = [](TTreeView2&, TDimension& d) { d.Height += 100; };
    f.View->DoLayout();
    EXPECT_TRUE(f.View->Mailbox().IsPending(DeferDoLayoutMsg));
    f.View->DoLayout();  // coalesced
    EXPECT_EQ(f.View->Mailbox().PendingCount(DeferDoLayoutMsg), 1);
    f.Pump();
    EXPECT_EQ(f.Host.Range.Height, 5 * 17 + 100);
}

TEST(TreeLayout, RowsFollowTheModelThroughAnyMixOfChangesAndLayouts) {
    // Random inserts, removals, expansions and batches, laid out after each
    // step: the rows must always be the model's nodes under open parents,
    // depth first, stacked 17 px apart, whatever the last layout was.
    Fixture f;
    f.View->Expand(f.Root);
    f.Pump();
    std::mt19937 rng(11);
    std::vector<IntfRef<IGraphLocation>> nodes{f.Root, f.A, f.A1, f.A2, f.B, f.C};
    int made = 0;
    for (int step = 0; step < 400; ++step) {
        auto pick = nodes[rng() % nodes.size()];
        switch (rng() % 6) {
            case 0:
            case 1: nodes.push_back(f.Model->AddChild(pick, Make<TTextObject>(Str("n" + std::to_string(made++))))); break;
            case 2: {
                auto first = LinkedNodeOf(pick)->GetFirstChild();
                auto ahead = first ? IntfRef<IGraphLocation>::Retain(first->Ptr()) : nullptr;
                nodes.push_back(f.Model->InsertChild(pick, ahead, Make<TTextObject>(Str("n" + std::to_string(made++)))));
                break;
            }
            case 3:
                if (!SameObject(pick, f.Root)) {
                    f.Model->Remove(pick);
                    LinkedNodeOf(pick)->UnlinkSubtree();
                    nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                                               [&](const IntfRef<IGraphLocation>& n) {
                                                   for (auto p = n; p; p = p->GetParent())
                                                       if (SameObject(p, f.Root)) return false;
                                                   return true;
                                               }),
                                nodes.end());
                }
                break;
            case 4: f.View->Expand(pick); break;
            default: f.View->Collapse(pick); break;
        }
        if (step % 3 == 0) f.Pump();
        f.View->RecalcVisible1(false);
        std::vector<TNodeState*> expected;
        std::vector<IntfRef<IGraphLocation>> stack{f.Root};
        while (!stack.empty()) {
            auto n = stack.back();
            stack.pop_back();
            expected.push_back(f.S(n));
            ASSERT_NE(expected.back(), nullptr);
            if (!f.View->IsExpanded(n)) continue;
            auto children = n->GetChildren();
            for (int i = children->GetCount() - 1; i >= 0; --i) stack.push_back(Supports<IGraphLocation>(children->Get(i)));
        }
        std::vector<TNodeState*> rows;
        for (TNodeState* r = f.View->FirstNode(); r; r = r->FNextVisible) rows.push_back(r);
        ASSERT_EQ(rows, expected) << "step " << step;
        for (size_t i = 0; i < rows.size(); ++i) {
            ASSERT_EQ(rows[i]->FLineNumber, static_cast<int>(i));
            ASSERT_EQ(rows[i]->FItemRect.Top, static_cast<int>(i) * 17);
            ASSERT_EQ(rows[i]->FItemRect.Left, rows[i]->FLevel * 19 + 5 + 14);
            ASSERT_EQ(f.View->HitTestY(static_cast<int>(i) * 17 + 3), rows[i]);
        }
    }
    f.Model->Remove(f.A);
    f.Model->Remove(f.B);
    f.Model->Remove(f.C);
    for (auto& n : nodes)
        if (!SameObject(n, f.Root)) LinkedNodeOf(n)->UnlinkSubtree();
}
