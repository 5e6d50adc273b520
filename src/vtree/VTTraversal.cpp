// Traversal families. Every walk has a plain form, which initialises what it
// steps on (children before it goes below a node, and the node it returns),
// and a NoInit form, which touches neither the client nor the tree and is
// what background and bookkeeping passes use.
#include <algorithm>

#include "vtree/VTBaseTree.h"

namespace ide {

namespace {

inline bool Vis(const TVirtualNode* N) { return HasState(N, vsVisible); }
inline bool Exp(const TVirtualNode* N) { return HasState(N, vsExpanded); }

PVirtualNode FirstVisibleChildOf(PVirtualNode N) {
    PVirtualNode r = N->FirstChild;
    while (r && !Vis(r)) r = r->NextSibling;
    return r;
}

PVirtualNode LastVisibleChildOf(PVirtualNode N) {
    PVirtualNode r = N->LastChild;
    while (r && !Vis(r)) r = r->PrevSibling;
    return r;
}

}  // namespace

// ---- All nodes ------------------------------------------------------------

PVirtualNode TBaseVirtualTree::GetFirstNoInit() const { return FRoot->FirstChild; }

PVirtualNode TBaseVirtualTree::GetFirst() {
    PVirtualNode r = FRoot->FirstChild;
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextNoInit(PVirtualNode Node) const {
    if (!IsNode(Node)) return nullptr;
    if (Node->FirstChild) return Node->FirstChild;
    for (PVirtualNode run = Node; run && run != FRoot; run = run->Parent)
        if (run->NextSibling) return run->NextSibling;
    return nullptr;
}

PVirtualNode TBaseVirtualTree::GetNextOutOfLine(PVirtualNode Node) {
    if (!IsNode(Node)) return nullptr;
    if (HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    PVirtualNode r = GetNextNoInit(Node);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetPreviousNoInit(PVirtualNode Node) const {
    if (!IsNode(Node)) return nullptr;
    if (Node->PrevSibling) {
        PVirtualNode r = Node->PrevSibling;
        while (r->LastChild) r = r->LastChild;
        return r;
    }
    return Node->Parent == FRoot ? nullptr : Node->Parent;
}

PVirtualNode TBaseVirtualTree::GetPrevious(PVirtualNode Node) {
    if (!IsNode(Node)) return nullptr;
    PVirtualNode r = Node->PrevSibling;
    if (!r) {
        r = Node->Parent == FRoot ? nullptr : Node->Parent;
        if (r && !HasState(r, vsInitialized)) InitNode(r);
        return r;
    }
    for (;;) {
        if (!HasState(r, vsInitialized)) InitNode(r);
        if (HasState(r, vsHasChildren) && r->ChildCount == 0) InitChildren(r);
        if (!r->LastChild) return r;
        r = r->LastChild;
    }
}

PVirtualNode TBaseVirtualTree::GetLastNoInit() const {
    PVirtualNode r = FRoot->LastChild;
    while (r && r->LastChild) r = r->LastChild;
    return r;
}

PVirtualNode TBaseVirtualTree::GetLast() {
    PVirtualNode r = FRoot->LastChild;
    while (r) {
        if (!HasState(r, vsInitialized)) InitNode(r);
        if (HasState(r, vsHasChildren) && r->ChildCount == 0) InitChildren(r);
        if (!r->LastChild) break;
        r = r->LastChild;
    }
    return r;
}

// ---- Children ------------------------------------------------------------------

PVirtualNode TBaseVirtualTree::GetFirstChildNoInit(PVirtualNode Node) const { return (Node ? Node : FRoot)->FirstChild; }
PVirtualNode TBaseVirtualTree::GetLastChildNoInit(PVirtualNode Node) const { return (Node ? Node : FRoot)->LastChild; }

PVirtualNode TBaseVirtualTree::GetFirstChild(PVirtualNode Node) {
    if (!Node) Node = FRoot;
    if (Node != FRoot && HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    PVirtualNode r = Node->FirstChild;
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetLastChild(PVirtualNode Node) {
    if (!Node) Node = FRoot;
    if (Node != FRoot && HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    PVirtualNode r = Node->LastChild;
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

// ---- Visible nodes ------------------------------------------------------------------

PVirtualNode TBaseVirtualTree::GetFirstVisibleNoInit() const { return FirstVisibleChildOf(FRoot); }

PVirtualNode TBaseVirtualTree::GetFirstVisible() {
    PVirtualNode r = FirstVisibleChildOf(FRoot);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextVisibleNoInit(PVirtualNode Node) const {
    if (!IsNode(Node)) return nullptr;
    if (!FullyVisible(Node)) {
        PVirtualNode r = GetNextNoInit(Node);
        while (r && !FullyVisible(r)) r = GetNextNoInit(r);
        return r;
    }
    if (Exp(Node))
        if (PVirtualNode c = FirstVisibleChildOf(Node)) return c;
    for (PVirtualNode run = Node; run != FRoot; run = run->Parent) {
        PVirtualNode s = run->NextSibling;
        while (s && !Vis(s)) s = s->NextSibling;
        if (s) return s;
    }
    return nullptr;
}

PVirtualNode TBaseVirtualTree::GetNextVisible(PVirtualNode Node) {
    if (!IsNode(Node)) return nullptr;
    if (Exp(Node) && HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    PVirtualNode r = GetNextVisibleNoInit(Node);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetPreviousVisibleNoInit(PVirtualNode Node) const {
    if (!IsNode(Node)) return nullptr;
    if (!FullyVisible(Node)) {
        PVirtualNode r = GetPreviousNoInit(Node);
        while (r && !FullyVisible(r)) r = GetPreviousNoInit(r);
        return r;
    }
    PVirtualNode s = Node->PrevSibling;
    while (s && !Vis(s)) s = s->PrevSibling;
    if (!s) return Node->Parent == FRoot ? nullptr : Node->Parent;
    while (Exp(s)) {
        PVirtualNode c = LastVisibleChildOf(s);
        if (!c) break;
        s = c;
    }
    return s;
}

PVirtualNode TBaseVirtualTree::GetPreviousVisible(PVirtualNode Node) {
    if (!IsNode(Node)) return nullptr;
    PVirtualNode r = GetPreviousVisibleNoInit(Node);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetLastVisibleNoInit() const {
    PVirtualNode r = LastVisibleChildOf(FRoot);
    while (r && Exp(r)) {
        PVirtualNode c = LastVisibleChildOf(r);
        if (!c) break;
        r = c;
    }
    return r;
}

PVirtualNode TBaseVirtualTree::GetLastVisible() {
    PVirtualNode r = LastVisibleChildOf(FRoot);
    while (r) {
        if (!HasState(r, vsInitialized)) InitNode(r);
        if (!Exp(r)) break;
        if (HasState(r, vsHasChildren) && r->ChildCount == 0) InitChildren(r);
        PVirtualNode c = LastVisibleChildOf(r);
        if (!c) break;
        r = c;
    }
    return r;
}

PVirtualNode TBaseVirtualTree::GetFirstVisibleChildNoInit(PVirtualNode Node) const {
    return FirstVisibleChildOf(Node ? Node : FRoot);
}

PVirtualNode TBaseVirtualTree::GetFirstVisibleChild(PVirtualNode Node) {
    if (!Node) Node = FRoot;
    if (Node != FRoot && HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    PVirtualNode r = FirstVisibleChildOf(Node);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetLastVisibleChildNoInit(PVirtualNode Node) const {
    return LastVisibleChildOf(Node ? Node : FRoot);
}

PVirtualNode TBaseVirtualTree::GetLastVisibleChild(PVirtualNode Node) {
    if (!Node) Node = FRoot;
    if (Node != FRoot && HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    PVirtualNode r = LastVisibleChildOf(Node);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextVisibleSiblingNoInit(PVirtualNode Node) const {
    if (!IsNode(Node)) return nullptr;
    PVirtualNode r = Node->NextSibling;
    while (r && !Vis(r)) r = r->NextSibling;
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextVisibleSibling(PVirtualNode Node) {
    PVirtualNode r = GetNextVisibleSiblingNoInit(Node);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetPreviousVisibleSiblingNoInit(PVirtualNode Node) const {
    if (!IsNode(Node)) return nullptr;
    PVirtualNode r = Node->PrevSibling;
    while (r && !Vis(r)) r = r->PrevSibling;
    return r;
}

PVirtualNode TBaseVirtualTree::GetPreviousVisibleSibling(PVirtualNode Node) {
    PVirtualNode r = GetPreviousVisibleSiblingNoInit(Node);
    if (r && !HasState(r, vsInitialized)) InitNode(r);
    return r;
}

// ---- Filtered walks --------------------------------------------------------------------

PVirtualNode TBaseVirtualTree::GetFirstInitialized() const {
    PVirtualNode r = GetFirstNoInit();
    while (r && !HasState(r, vsInitialized)) r = GetNextNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextInitialized(PVirtualNode Node) const {
    PVirtualNode r = GetNextNoInit(Node);
    while (r && !HasState(r, vsInitialized)) r = GetNextNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetPreviousInitialized(PVirtualNode Node) const {
    PVirtualNode r = GetPreviousNoInit(Node);
    while (r && !HasState(r, vsInitialized)) r = GetPreviousNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetLastInitialized() const {
    PVirtualNode r = GetLastNoInit();
    while (r && !HasState(r, vsInitialized)) r = GetPreviousNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetFirstChecked(TCheckState State) const {
    PVirtualNode r = GetFirstNoInit();
    while (r && r->CheckState != State) r = GetNextNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextChecked(PVirtualNode Node, TCheckState State) const {
    PVirtualNode r = GetNextNoInit(Node);
    while (r && r->CheckState != State) r = GetNextNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetFirstSelected() const {
    if (FSelectionCount == 0) return nullptr;
    PVirtualNode r = GetFirstNoInit();
    while (r && !HasState(r, vsSelected)) r = GetNextNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextSelected(PVirtualNode Node) const {
    PVirtualNode r = GetNextNoInit(Node);
    while (r && !HasState(r, vsSelected)) r = GetNextNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetFirstCutCopy() const {
    PVirtualNode r = GetFirstNoInit();
    while (r && !HasState(r, vsCutOrCopy)) r = GetNextNoInit(r);
    return r;
}

PVirtualNode TBaseVirtualTree::GetNextCutCopy(PVirtualNode Node) const {
    PVirtualNode r = GetNextNoInit(Node);
    while (r && !HasState(r, vsCutOrCopy)) r = GetNextNoInit(r);
    return r;
}

TNodeArray TBaseVirtualTree::GetSortedSelection(bool Resolve) const {
    TNodeArray result;
    result.reserve(FSelectionCount);
    for (int i = 0; i < FSelectionCount; ++i) {
        PVirtualNode n = FSelection[i];
        if ((reinterpret_cast<uintptr_t>(n) & 1) == 0 && HasState(n, vsSelected)) result.push_back(n);
    }
    std::sort(result.begin(), result.end(),
              [](PVirtualNode a, PVirtualNode b) { return CompareNodePositions(a, b) < 0; });
    if (Resolve) {
        TNodeArray kept;
        for (PVirtualNode n : result) {
            bool covered = false;
            for (PVirtualNode p = n->Parent; p != FRoot && !covered; p = p->Parent) covered = HasState(p, vsSelected);
            if (!covered) kept.push_back(n);
        }
        result.swap(kept);
    }
    return result;
}

// ---- Positions ------------------------------------------------------------------------

uint32_t TBaseVirtualTree::GetNodeLevel(PVirtualNode Node) const noexcept {
    if (!IsNode(Node)) return 0;
    uint32_t level = 0;
    for (PVirtualNode run = Node->Parent; run != FRoot; run = run->Parent) ++level;
    return level;
}

uint32_t TBaseVirtualTree::AbsoluteIndex(PVirtualNode Node) {
    uint32_t result = 0;
    while (Node && Node != FRoot) {
        if (!HasState(Node, vsInitialized)) InitNode(Node);
        if (Node->PrevSibling) {
            Node = Node->PrevSibling;
            if (!HasState(Node, vsInitialized)) InitNode(Node);
            result += Node->TotalCount;
        } else {
            Node = Node->Parent;
            if (Node != FRoot) ++result;
        }
    }
    return result;
}

bool TBaseVirtualTree::HasAsParent(PVirtualNode Node, PVirtualNode PotentialParent) const noexcept {
    if (!Node || !PotentialParent || Node == PotentialParent) return false;
    PVirtualNode run = Node->Parent;
    // Stops at any root (a node that is its own sibling), so that nodes of
    // another tree are safe to ask about.
    while (run && run != PotentialParent && run->NextSibling != run) run = run->Parent;
    return run == PotentialParent;
}

PVirtualNode TBaseVirtualTree::IterateSubtree(PVirtualNode Node, const TVTGetNodeProc& Callback, void* Data,
                                              TVirtualNodeStates Filter, bool DoInit, bool ChildNodesOnly) {
    const bool wasIterating = InState(tsIterating);
    DoStateChange(tsIterating);
    struct TLeave {
        TBaseVirtualTree* T;
        bool Was;
        ~TLeave() {
            if (!Was) T->DoStateChange(0, tsIterating);
        }
    } leave{this, wasIterating};
    PVirtualNode stop = nullptr;
    if (!IsNode(Node)) {
        Node = DoInit ? GetFirst() : GetFirstNoInit();
    } else {
        for (PVirtualNode up = Node; up != FRoot && !stop; up = up->Parent) stop = up->NextSibling;
        if (DoInit && !HasState(Node, vsInitialized)) InitNode(Node);
        if (ChildNodesOnly) {
            if (DoInit && HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
            Node = Node->FirstChild ? (DoInit ? GetNext(Node) : GetNextNoInit(Node)) : nullptr;
        }
    }
    bool abort = false;
    while (Node && Node != stop) {
        if (Filter == 0 || (NodeStates(Node) & Filter) == Filter) {
            Callback(this, Node, Data, abort);
            if (abort) return Node;
        }
        Node = DoInit ? GetNext(Node) : GetNextNoInit(Node);
    }
    return nullptr;
}

}  // namespace ide
