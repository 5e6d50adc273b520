// TTreeView2: states, layout, model events and expansion.
#include "views/IDEViewImpl.h"

#include <algorithm>
#include <climits>
#include <unordered_set>

#include "model/IDEGraphImplEvents.h"
#include "model/IDEGraphImplNodes.h"

namespace ide {

namespace {
IntfRef<IGraphLocation> LocationOf(TLinkedTreeNode* Node) {
    return Node ? Retain(static_cast<IGraphLocation*>(Node)) : nullptr;
}

IntfRef<IGraphLocation> FirstChild(const IntfRef<IGraphLocation>& Location) {
    if (!Location) return nullptr;
    if (auto* linked = SupportsPtr<ILinkedTreeNode>(Location.get())) {
        auto first = linked->Ptr()->GetFirstChild();
        return first ? LocationOf(first->Ptr()) : nullptr;
    }
    auto children = Location->GetChildren();
    if (!children || children->GetCount() == 0) return nullptr;
    return Supports<IGraphLocation>(children->Get(0));
}

}  // namespace

void TTreeEvent::Dispatch(const IntfRef<IEventListener>& L) {
    auto listener = As<ITreeListener>(L);
    auto self = IntfRef<ITreeEvent>::Retain(this);
    if (FId == TREE_EXPANDED)
        listener->NodeExpanded(self);
    else if (FId == TREE_COLLAPSED)
        listener->NodeCollapsed(self);
}

// ------------------------------------------------------------ node state

TNodeState::TNodeState(TTreeView2* Core, IntfRef<IGraphLocation> Node, int Level, bool Expanded)
    : FCore(Core), FExpanded(Expanded), FNode(std::move(Node)), FLevel(Level) {
    FBoxRect.Width = Core->FBoxSize.Width;
    FBoxRect.Height = Core->FBoxSize.Height;
    if (FNode && FNode->HasChildren() == tsNo) FExpanded = false;
}

int TNodeState::HitTest(int X, int Y) {
    auto in = [&](const TRectangle& r) { return X >= r.Left && X < r.Left + r.Width && Y >= r.Top && Y < r.Top + r.Height; };
    if (in(FItemRect)) return 1;
    if (in(FBoxRect) && FNode && FNode->HasChildren() != tsNo) return 2;
    return 0;
}

bool TNodeState::IsDescendentOf(const IntfRef<IGraphLocation>& Location) {
    if (!Location) return false;
    for (IntfRef<IGraphLocation> n = FNode; n; n = n->GetParent())
        if (SameObject(n, Location)) return true;
    return false;
}

IntfRef<IGraphLocation> TNodeState::GetNextSibling() {
    if (!FNode) return nullptr;
    if (auto* linked = SupportsPtr<ILinkedTreeNode>(FNode.get())) {
        auto next = linked->Ptr()->GetNextSibling();
        return next ? LocationOf(next->Ptr()) : nullptr;
    }
    if (auto* ln = SupportsPtr<ILinkedNode>(FNode.get())) return ln->GetNextSibling();
    auto parent = FNode->GetParent();
    if (!parent) return nullptr;
    auto children = parent->GetChildren();
    if (!children) return nullptr;
    int n = children->GetCount();
    for (int i = 0; i < n; ++i)
        if (SameObject(children->Get(i), FNode)) return i + 1 < n ? Supports<IGraphLocation>(children->Get(i + 1)) : nullptr;
    return nullptr;
}

// ------------------------------------------------------------ the view

TTreeView2::TTreeView2(TViewHost* Host)
    : FHost(Host),
      FSelection(Make<TBasicGraphSelection>()),
      FModelMulticaster(Make<TGraphModelMulticaster>()),
      FSelectionMulticaster(Make<TGraphSelectionMulticaster>()) {
    SetMailbox(std::make_unique<TQueuedMailbox>());
    FSelection->AddSelectionListener(Retain<IGraphSelectionListener>(this));
}

TTreeView2::~TTreeView2() {
    // Take the view out of everything that holds it: its life is the owner's.
    if (FModel) FModel->RemoveModelListener(Retain<IGraphModelListener>(this));
    if (FSelection) FSelection->RemoveSelectionListener(Retain<IGraphSelectionListener>(this));
    ClearCache();
}

IntfRef<IInterface> TTreeView2::Self() { return Make<TTarnObject>(this); }

void TTreeView2::SetMailbox(std::unique_ptr<TMailbox> Mailbox) {
    FMailbox = std::move(Mailbox);
    FMailbox->SetHandler([this](TMessage& M) { HandleMessage(M); });
}

void TTreeView2::HandleMessage(TMessage& M) {
    if (M.Msg == DeferRecalcVisibleMsg)
        RecalcVisible1(FShouldValidate);
    else if (M.Msg == DeferDoLayoutMsg)
        DoLayout2();
}

void TTreeView2::AddNotify() {
    if (!FInitialized) Initialize(GetSiteGraphics());
}

// ---- cache

TNodeState* TTreeView2::GetViewState(const IntfRef<IGraphLocation>& Location) {
    if (!Location) return nullptr;
    return FCache.Find(SupportsPtr<IHashObject>(Location.get()));
}

void TTreeView2::PutViewState(const IntfRef<IGraphLocation>& Location, IntfRef<TNodeState> State) {
    IHashObject* key = SupportsPtr<IHashObject>(Location.get());
    if (!key) return;
    if (IntfRef<TNodeState> old = FCache.Put(key, std::move(State))) {
        old->FInUse = false;
        FSwept.push_back(std::move(old));  // it may still be linked as a row
    }
}

void TTreeView2::ClearCache() {
    FCache.ForEach([](TNodeState* s) { s->FInUse = false; });  // out of the table, out of use
    FCache.Clear(FSwept);
    FRows.clear();
    FRowBottoms.clear();
    FRowsValid = false;
}

bool TTreeView2::ShouldExpandLoc(const IntfRef<IGraphLocation>& Location) {
    if (!FExpandByDefault) return false;
    if (auto* s = SupportsPtr<IStatefulNode>(Location.get())) return s->IsExpanded();
    return true;
}

bool TTreeView2::ShouldExpandNode(TNodeState* Node) {
    if (!Node) return false;
    if (Node->FLevel < 0) return true;
    if (Node->FLevel == 0 && !FShowRootLines) return true;
    return ShouldExpandLoc(Node->FNode);
}

void TTreeView2::UpdateViewState() {
    if (!FInitialized || !FModel) return;
    FCache.ForEach([](TNodeState* s) { s->FInUse = false; });
    IntfRef<IGraphLocation> root = FModel->GetRoot();
    if (FShowRoot) {
        UpdateViewState2(root, 0);
        FRootNode = FFirstNode = GetViewState(root);
    } else {
        UpdateViewState2(root, -1);
        FRootNode = GetViewState(root);
        FFirstNode = nullptr;
        if (FRootNode) {
            if (FRootNode->FNextVisible || (FRootNode->FExpanded && FRootNode->FNode->HasChildren() != tsNo)) {
                FRootNode->FNextVisible = GetViewState(FirstChild(root));
                FFirstNode = GetViewState(GetFirst());
            } else {
                FRootNode->FNextVisible = nullptr;
            }
        }
    }
    CleanViewState();
}

void TTreeView2::UpdateViewState2(const IntfRef<IGraphLocation>& Location, int Level) {
    if (!Location) return;
    TNodeState* state = GetViewState(Location);
    IntfRef<IGraphLocation> root = FModel ? FModel->GetRoot() : nullptr;
    if (state && state->IsDescendentOf(root)) {
        state->Update(Level);
    } else {
        if (!SupportsPtr<IHashObject>(Location.get())) return;  // no key: no state, no row
        bool expand = Location->HasChildren() == tsYes &&
                      (Level < 0 || ShouldExpandLoc(Location) || (Level == 0 && !FShowRootLines));
        auto fresh = Make<TNodeState>(this, Location, Level, expand);
        state = fresh.get();
        PutViewState(Location, fresh);
    }
    if (state->FExpanded) {
        // Children in order, by the fastest path the model offers.
        if (SupportsPtr<ILinkedTreeNode>(Location.get())) {
            for (auto child = FirstChild(Location); child;) {
                UpdateViewState2(child, Level + 1);
                auto next = LinkedNodeOf(child)->GetNextSibling();
                child = next ? LocationOf(next->Ptr()) : nullptr;
            }
        } else if (auto children = Location->GetChildren()) {
            for (int i = 0, n = children->GetCount(); i < n; ++i)
                UpdateViewState2(Supports<IGraphLocation>(children->Get(i)), Level + 1);
        }
    }
}

void TTreeView2::CleanViewState() {
    auto unused = [](TNodeState*& s) {
        if (s && !s->FInUse) s = nullptr;
    };
    unused(FSubfocus);
    unused(FSelectAnchor);
    unused(FRootNode);
    unused(FFirstNode);
    unused(FLastCalc);
    if (!FCache.RemoveIf([](TNodeState* s) { return !s->FInUse; }, FSwept)) return;
    // Survivors must not lead into swept states: cut the links (the swept
    // states themselves live on in FSwept until the next layout relinks).
    FCache.ForEach([](TNodeState* s) {
        if (s->FNextVisible && !s->FNextVisible->FInUse) s->FNextVisible = nullptr;
        if (s->FPrevVisible && !s->FPrevVisible->FInUse) s->FPrevVisible = nullptr;
    });
    FRowsValid = false;
}

// ---- layout

void TTreeView2::RecalcVisible(bool Validate) {
    if (!FHost || !FHost->HasHandle()) return;
    if (FMailbox->IsPending(DeferRecalcVisibleMsg)) {
        FShouldValidate = FShouldValidate || Validate;
        return;
    }
    FShouldValidate = FShouldValidate || Validate;
    FMailbox->Post(DeferRecalcVisibleMsg);
}

void TTreeView2::PendingRecalcVisible() {
    if (FMailbox->Drain(DeferRecalcVisibleMsg) > 0) RecalcVisible1(FShouldValidate);
}

void TTreeView2::RecalcVisible1(bool DoLayout) {
    ++FRecalcCount;
    FShouldValidate = false;
    int oldWidth = FCanvasWidth, oldHeight = FCanvasHeight;
    FLastCalc = nullptr;
    FLineCount = FCanvasWidth = FCanvasHeight = 0;
    FRepaintNodeTop = INT_MAX;
    FRows.clear();
    FRowBottoms.clear();
    FLayoutHint = FRootNode;
    if (FModel && FInitialized) RecalcVisible2(FModel->GetRoot(), FTopMargin);
    FLayoutHint = nullptr;
    FRowsValid = true;
    ReleaseSwept();
    if (FRepaintNodeTop != INT_MAX) oldHeight = std::min(FRepaintNodeTop - FTopMargin, oldHeight);
    if (FLineCount > 0 && FHost) FHost->SetVerticalIncrement(FCanvasHeight / FLineCount);
    if (oldWidth == FCanvasWidth && oldHeight == FCanvasHeight) return;
    if (FHost && FHost->HasHandle()) {
        TPoint sp = FHost->GetScrollPosition();
        TDimension client = FHost->GetClientSize();
        int l = std::min(oldWidth, FCanvasWidth) - sp.X, r = std::max(oldWidth, FCanvasWidth) - sp.X;
        if (r > l) FHost->Invalidate(Rect(l, 0, r, client.Height), true);
        int t = std::min(oldHeight, FCanvasHeight) + FTopMargin - sp.Y;
        int b = std::max(oldHeight, FCanvasHeight) + FTopMargin - sp.Y;
        if (b > t) FHost->Invalidate(Rect(0, t, client.Width, b), true);
    }
    if (DoLayout && FHost && FHost->IsShowing() && !FBatchMode) this->DoLayout();
}

int TTreeView2::RecalcVisible2(const IntfRef<IGraphLocation>& First, int Y) {
    for (IntfRef<IGraphLocation> loc = First; loc;) {
        // The row that followed in the last layout is most often the one:
        // taking it saves a lookup by hash (it must be the location's own
        // state, still in use).
        TNodeState* hint = FLayoutHint;
        TNodeState* s = hint && hint->FInUse && hint->FNode.get() == loc.get() ? hint : GetViewState(loc);
        if (!s) break;
        FLayoutHint = s->FNextVisible;
        bool hasChildren = loc->HasChildren() != tsNo;
        if (!(!FShowRoot && s->FLevel < 0)) {
            int x = s->FLevel * FHIndent + FLeftMargin;
            if (!FShowRootLines) x -= FItemOffset;
            s->FPrevVisible = FLastCalc;
            s->FNextVisible = nullptr;
            s->FLineNumber = FLineCount++;
            if (FLastCalc) FLastCalc->FNextVisible = s;
            if (!FShowRoot && FLastCalc && FLastCalc->FLevel < 0) {
                FFirstNode = s;
                s->FPrevVisible = nullptr;  // the hidden root is no row
            }
            FLastCalc = s;
            FRows.push_back(s);
            FRowBottoms.push_back(Y + s->FItemRect.Height);
            int itemHeight = s->FItemRect.Height;
            if (hasChildren) {
                if (s->FNodeFlags.Contains(nfNoBoxRect)) {
                    FRepaintNodeTop = std::min(FRepaintNodeTop, Y);
                    s->FNodeFlags.Exclude(nfNoBoxRect);
                }
                s->FBoxRect.Left = x;
                s->FBoxRect.Top = Y + (itemHeight - s->FBoxRect.Height) / 2 + 1;
            } else {
                s->FNodeFlags.Include(nfNoBoxRect);
            }
            x += FItemOffset;
            if (s->FNodeFlags.Contains(nfNoItemRect)) {
                FRepaintNodeTop = std::min(FRepaintNodeTop, Y);
                s->FNodeFlags.Exclude(nfNoItemRect);
            }
            s->FItemRect.Left = x;
            s->FItemRect.Top = Y;
            FCanvasHeight += itemHeight + FVgap;
            FCanvasWidth = std::max(FCanvasWidth, x + s->FItemRect.Width);
            Y += itemHeight + FVgap;
        } else {
            FLastCalc = s;
            s->FNextVisible = nullptr;
        }
        if (s->FExpanded && hasChildren) Y = RecalcVisible2(FirstChild(loc), Y);
        loc = s->GetNextSibling();
    }
    return Y;
}

// Swept and replaced states may be freed once no state leads to them: rows
// on show were relinked just now, states off show may still point at them.
void TTreeView2::ReleaseSwept() {
    if (FSwept.empty()) return;
    std::unordered_set<TNodeState*> gone;
    for (auto& s : FSwept) gone.insert(s.get());
    FCache.ForEach([&](TNodeState* s) {
        if (gone.count(s->FNextVisible)) s->FNextVisible = nullptr;
        if (gone.count(s->FPrevVisible)) s->FPrevVisible = nullptr;
    });
    auto unlinked = [&](TNodeState*& p) {
        if (gone.count(p)) p = nullptr;
    };
    unlinked(FSubfocus);
    unlinked(FSelectAnchor);
    unlinked(FRootNode);
    unlinked(FFirstNode);
    unlinked(FLastCalc);
    FSwept.clear();
}

void TTreeView2::UpdateNodeRect(TNodeState* Node, TCanvas* G) {
    if (!Node || !FModel || !FViewManager) return;
    TItemStates state = GetState(Node);
    IntfRef<IInterface> data = FModel->Get(Node->FNode);
    auto painter = FViewManager->GetPainter(Node->FNode, data, state);
    if (!painter) return;
    SetItemSize(Node, painter->GetPreferredSize(data, G, state, Retain<IItemPaintSite>(this)));
}

void TTreeView2::SetItemSize(TNodeState* Node, TDimension Size) {
    Node->FItemRect.Width = Size.Width;
    Node->FItemRect.Height = Size.Height;
    auto line = static_cast<size_t>(Node->FLineNumber);
    if (FRowsValid && line < FRows.size() && FRows[line] == Node) FRowBottoms[line] = Node->FItemRect.Top + Size.Height;
}

void TTreeView2::UpdateNodeRects(TNodeState* Node, TCanvas* G) {
    if (!Node || !FModel || !FViewManager) return;
    // Iterative over the expanded subtree: deep trees must not exhaust the stack.
    std::vector<TNodeState*> stack{Node};
    while (!stack.empty()) {
        TNodeState* n = stack.back();
        stack.pop_back();
        UpdateNodeRect(n, G);
        if (!n->FExpanded) continue;
        for (auto child = FirstChild(n->FNode); child;) {
            TNodeState* cs = GetViewState(child);
            if (cs) stack.push_back(cs);
            if (auto* linked = SupportsPtr<ILinkedTreeNode>(child.get())) {
                auto next = linked->Ptr()->GetNextSibling();
                child = next ? LocationOf(next->Ptr()) : nullptr;
            } else if (cs) {
                child = cs->GetNextSibling();
            } else {
                break;
            }
        }
    }
}

void TTreeView2::Initialize(TCanvas* Canvas) {
    if (FInitialized) return;
    FInitialized = true;
    UpdateViewState();
    auto presetExpand = std::move(FPresetExpandList);
    auto presetCollapse = std::move(FPresetCollapseList);
    FPresetExpandList.clear();
    FPresetCollapseList.clear();
    for (auto& l : presetExpand) ExpandNode(GetViewState(l), true, false);
    for (auto& l : presetCollapse) ExpandNode(GetViewState(l), true, false);  // expands too, as it always has
    if (!presetExpand.empty() || !presetCollapse.empty()) UpdateViewState();
    UpdateNodeRects(FRootNode, Canvas);
    RecalcVisible(false);
    if (!FHost || !FHost->HasHandle()) RecalcVisible1(false);
}

TDimension TTreeView2::GetPreferredSize() {
    if (!FInitialized) Initialize(GetSiteGraphics());
    PendingRecalcVisible();
    return {FCanvasWidth + FInsets.Left + FInsets.Right, FTopMargin + FCanvasHeight + FInsets.Top + FInsets.Bottom};
}

// ---- hit tests

TNodeState* TTreeView2::HitTestY(int Y) {
    if (!FRowsValid) {
        TNodeState* n = FFirstNode;
        while (n && Y >= n->FItemRect.Top + n->FItemRect.Height) n = n->FNextVisible;
        if (n) return n;
    } else {
        auto it = std::upper_bound(FRowBottoms.begin(), FRowBottoms.end(), Y);
        if (it != FRowBottoms.end()) return FRows[static_cast<size_t>(it - FRowBottoms.begin())];
    }
    return Y < FTopMargin + FCanvasHeight ? FFirstNode : FLastCalc;
}

TNodeState* TTreeView2::HitTestLine(int Line) {
    if (FRowsValid) {
        if (FRows.empty()) return nullptr;
        if (Line <= 0) return FRows.front();
        return FRows[static_cast<size_t>(std::min<int>(Line, static_cast<int>(FRows.size()) - 1))];
    }
    TNodeState* n = FFirstNode;
    while (n && n->FNextVisible && Line > n->FLineNumber) n = n->FNextVisible;
    return n;
}

IntfRef<IGraphLocation> TTreeView2::HitTest(int XPos, int YPos) {
    PendingRecalcVisible();
    TPoint sp = GetScrollPosition();
    TNodeState* n = HitTestY(YPos + sp.Y);
    if (n && n->HitTest(XPos + sp.X, YPos + sp.Y) == 1) return n->FNode;
    return nullptr;
}

// ---- expanding

bool TTreeView2::IsExpanded(const IntfRef<IGraphLocation>& Location) {
    TNodeState* s = GetViewState(Location);
    return s && s->FExpanded;
}

void TTreeView2::ProcessTreeEvent(const IntfRef<ITreeEvent>& E) {
    if (E->GetId() == TREE_EXPANDED) {
        if (OnNodeExpanded) OnNodeExpanded(*this, E);
    } else if (OnNodeCollapsed) {
        OnNodeCollapsed(*this, E);
    }
    if (FTreeListeners.HasListeners()) FTreeListeners.Dispatch(E);
}

bool TTreeView2::ExpandNode(TNodeState* Node, bool Expand, bool Scroll) {
    if (!Node || !Node->FNode) return false;
    if (Node->FNode->HasChildren() == tsNo) return false;
    if (!Expand && Node == FRootNode && !FShowRootLines) return false;
    if (Expand == Node->FExpanded) return false;
    IntfRef<TNodeState> keep = Retain(Node);
    ProcessTreeEvent(Make<TTreeEvent>(Self(), Expand ? TREE_EXPANDED : TREE_COLLAPSED, Node->FNode));
    Node->FExpanded = Expand;
    if (Expand) {
        if (Node == FRootNode)
            UpdateViewState();
        else
            UpdateViewState2(Node->FNode, Node->FLevel);
        UpdateNodeRects(Node, GetSiteGraphics());
    }
    FRowsValid = false;
    if (FUpdateCount == 0) {
        RecalcVisible1(true);
        if (Scroll && Expand) ScrollExpanded(Node);
        RepaintToEnd(Node);
    }
    return true;
}

void TTreeView2::Expand(const IntfRef<IGraphLocation>& Location) {
    if (!Location) return;
    if (!FInitialized) {
        FPresetExpandList.push_back(Location);
        return;
    }
    ExpandNode(GetViewState(Location), true, true);
}

void TTreeView2::Collapse(const IntfRef<IGraphLocation>& Location) {
    if (!Location) return;
    if (!FInitialized) {
        FPresetCollapseList.push_back(Location);
        return;
    }
    TNodeState* s = GetViewState(Location);
    bool inside = FSubfocus && FSubfocus != s && FSubfocus->IsDescendentOf(Location);
    ExpandNode(s, false, true);
    if (inside && s) SetSubfocus2(s, {sfAddItem, sfResetAnchor});
}

void TTreeView2::ExpandChildNodes(const IntfRef<IGraphLocation>& Location, bool Expand) {
    // Iterative, pre-order: parents open before their children get states.
    std::vector<IntfRef<IGraphLocation>> stack{Location};
    while (!stack.empty()) {
        IntfRef<IGraphLocation> loc = std::move(stack.back());
        stack.pop_back();
        if (!loc || loc->HasChildren() == tsNo) continue;
        if (Expand) ExpandNode(GetViewState(loc), true, false);
        auto children = loc->GetChildren();
        if (children)
            for (int i = children->GetCount() - 1; i >= 0; --i) stack.push_back(Supports<IGraphLocation>(children->Get(i)));
        if (!Expand) ExpandNode(GetViewState(loc), false, false);
    }
}

void TTreeView2::ExpandAll(const IntfRef<IGraphLocation>& Location) {
    if (!FInitialized || !Location) return;
    ++FUpdateCount;
    try {
        ExpandChildNodes(Location, true);
    } catch (...) {
        --FUpdateCount;
        throw;
    }
    --FUpdateCount;
    FRowsValid = false;
    RecalcVisible(true);
    if (!FHost || !FHost->HasHandle()) RecalcVisible1(true);
    RepaintToEnd(GetViewState(Location));
}

void TTreeView2::CollapseAll(const IntfRef<IGraphLocation>& Location) {
    if (!FInitialized || !Location) return;
    ++FUpdateCount;
    try {
        ExpandChildNodes(Location, false);
    } catch (...) {
        --FUpdateCount;
        throw;
    }
    --FUpdateCount;
    FRowsValid = false;
    if (FSubfocus && !FSubfocus->FInUse) FSubfocus = nullptr;
    RecalcVisible(true);
    if (!FHost || !FHost->HasHandle()) RecalcVisible1(true);
    RepaintNodes();
}

// ---- model

void TTreeView2::SetModel(const IntfRef<IGraphModel>& Model) {
    if (SameObject(Model, FModel)) return;
    FMailbox->Drain(DeferRecalcVisibleMsg);
    FMailbox->Drain(DeferDoLayoutMsg);
    FShouldValidate = false;
    if (FModel) {
        FModel->RemoveModelListener(Retain<IGraphModelListener>(this));
        FModel->RemoveModelListener(FModelMulticaster);
    }
    FModel = Model;
    FWriteModel = nullptr;
    if (FModel) {
        FModel->AddModelListener(Retain<IGraphModelListener>(this));
        FModel->AddModelListener(FModelMulticaster);
        FWriteModel = Supports<IWritableGraphModel>(FModel);
    }
    ClearCache();
    FFirstNode = FRootNode = FSubfocus = FSelectAnchor = FLastCalc = nullptr;
    FLineCount = FCanvasWidth = FCanvasHeight = 0;
    UpdateViewState();
    if (TCanvas* g = GetSiteGraphics()) {
        UpdateNodeRects(FRootNode, g);
        RecalcVisible(true);
        if (!FHost->HasHandle()) RecalcVisible1(true);
    }
    RepaintNodes();
    if (FModel) SetSubfocus(GetFirst());
}

void TTreeView2::AddModelListener(const IntfRef<IGraphModelListener>& Listener) { FModelMulticaster->Add(Listener); }
void TTreeView2::RemoveModelListener(const IntfRef<IGraphModelListener>& Listener) {
    FModelMulticaster->Remove(Listener);
}

void TTreeView2::SetViewManager(const IntfRef<IGraphViewManager>& Manager) {
    FViewManager = Manager;
    if (FInitialized) Relayout();
}

void TTreeView2::Relayout() {
    if (!FInitialized) return;
    UpdateNodeRects(FRootNode, GetSiteGraphics());
    FRowsValid = false;
    RecalcVisible(true);
    if (!FHost || !FHost->HasHandle()) RecalcVisible1(true);
    RepaintNodes();
}

IntfRef<IGraphLocation> TTreeView2::GetFirst() {
    if (FFirstNode) return FFirstNode->FNode;
    if (!FModel) return nullptr;
    auto root = FModel->GetRoot();
    if (FShowRoot || !root) return root;
    return FirstChild(root);
}

void TTreeView2::ModelContentChanged(const IntfRef<IGraphModelEvent>& E) {
    if (OnModelContentChanged) OnModelContentChanged(*this, E);
    if (FInitialized) {
        if (TNodeState* s = GetViewState(E->GetLocation())) {
            if (TCanvas* g = GetSiteGraphics()) {
                UpdateNodeRects(s, g);
                if (E->GetChange() == mcItemTouched)
                    RepaintToEnd(s);
                else
                    RepaintNode(s);
            }
        }
    }
    RecalcVisible(true);
}

void TTreeView2::RefreshWalk(TNodeState* Start) {
    std::vector<TNodeState*> stack{Start};
    while (!stack.empty()) {
        TNodeState* n = stack.back();
        stack.pop_back();
        if (!n) continue;
        bool rootLike = n->FLevel < 0 || (n->FLevel == 0 && !FShowRootLines);
        bool take = ShouldExpandLoc(n->FNode) || (rootLike && (n->FExpanded || n->FNode->HasChildren() == tsYes));
        if (!take) continue;
        if (!n->FExpanded) ExpandNode(n, true, false);
        if (auto children = n->FNode->GetChildren())
            for (int i = children->GetCount() - 1; i >= 0; --i)
                if (TNodeState* c = GetViewState(Supports<IGraphLocation>(children->Get(i)))) stack.push_back(c);
    }
}

void TTreeView2::ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) {
    if (OnModelStructureChanged) OnModelStructureChanged(*this, E);
    if (FInitialized) {
        TCanvas* g = GetSiteGraphics();
        int change = E->GetChange();
        FRowsValid = false;
        if (change == mcStructure) {
            UpdateViewState();
            ++FUpdateCount;
            try {
                RefreshWalk(FRootNode);
            } catch (...) {
                --FUpdateCount;
                throw;
            }
            --FUpdateCount;
            if (g) UpdateNodeRects(FRootNode, g);
            RecalcVisible(true);
            RepaintNodes();
            if (FHasFocus && FModel && !FSubfocus) SetSubfocus(GetFirst());
        } else if (change == mcItemAdded) {
            UpdateViewState();
            auto loc = E->GetLocation();
            auto parent = loc ? loc->GetParent() : nullptr;
            TNodeState* s = parent ? GetViewState(parent) : FFirstNode;
            if (s && ShouldExpandNode(s) && !s->FExpanded && ShouldExpandLoc(s->FNode) &&
                s->FNode->HasChildren() == tsYes) {
                ExpandNode(s, true, false);
            } else if (s && g) {
                UpdateNodeRects(s, g);
                RepaintToEnd(s);
            }
        } else if (change == mcItemRemoved) {
            PendingRecalcVisible();
            RemovedLocation(E->GetLocation());
        } else if (change == mcChildrenReplaced) {
            UpdateViewState();
            if (g) UpdateNodeRects(GetViewState(E->GetLocation()), g);
        } else {
            UpdateViewState();
            if (g) UpdateNodeRects(FRootNode, g);
        }
    }
    RecalcVisible(true);
}

void TTreeView2::RemovedLocation(const IntfRef<IGraphLocation>& Location) {
    TNodeState* s = GetViewState(Location);
    IntfRef<TNodeState> keep = s ? Retain(s) : nullptr;
    IntfRef<IGraphLocation> successor;
    bool lost = false;
    if (s) {
        if (s->FNextVisible && s->FNextVisible->FLevel == s->FLevel)
            successor = s->FNextVisible->FNode;
        else if (s->FPrevVisible)
            successor = s->FPrevVisible->FNode;
        else if (s == FFirstNode) {
            FSubfocus = nullptr;
            FSelection->Remove(Location);
        }
        lost = FSubfocus && (FSubfocus == s || FSubfocus->IsDescendentOf(Location));
    }
    UpdateViewState();
    if (lost) {
        FSubfocus = nullptr;
        SetSubfocus2(GetViewState(successor), {sfAddItem, sfResetAnchor});
    }
    if (s) {
        if (TCanvas* g = GetSiteGraphics()) {
            (void)g;
            RepaintNodes();
        }
    }
}

void TTreeView2::EndUpdate() {
    if (FPaneUpdateCount > 0 && --FPaneUpdateCount == 0) RepaintNodes();
}

}  // namespace ide
