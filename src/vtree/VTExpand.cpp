// Expanding and collapsing, and the lazy initialisation of nodes and
// their children.
#include "vtree/VTBaseTree.h"

namespace ide {

// ---- Expanding ------------------------------------------------------------------

void TBaseVirtualTree::ToggleNode(PVirtualNode Node) {
    if (!IsNode(Node) || HasState(Node, vsToggling | vsDeleting)) return;
    IncludeState(Node, vsToggling);
    struct TGuard {
        PVirtualNode N;
        ~TGuard() { ExcludeState(N, vsToggling); }
    } guard{Node};
    PVirtualNode lastTop = FUpdateCount == 0 && HandleAllocated() ? GetTopNode() : nullptr;
    bool ran = false;
    if (HasState(Node, vsExpanded)) {
        if (DoCollapsing(Node)) {
            ran = true;
            InterruptValidation();
            AdjustTotalHeight(Node, GetNodeHeight(Node), false);
            if (FullyVisible(Node)) FVisibleCount -= CountVisibleChildren(Node);
            ExcludeState(Node, vsExpanded);
            DoCollapsed(Node);
            if (HasOption(toAutoFreeOnCollapse) && Node->ChildCount > 0) {
                DeleteChildren(Node, false);
                IncludeState(Node, vsHasChildren);
            }
        }
    } else if (DoExpanding(Node)) {
        ran = true;
        if (!HasState(Node, vsInitialized)) InitNode(Node);
        if (HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
        if (Node->ChildCount > 0 && !HasState(Node, vsExpanded)) {
            InterruptValidation();
            uint64_t delta = 0;
            for (PVirtualNode c = Node->FirstChild; c; c = c->NextSibling)
                if (HasState(c, vsVisible)) delta += c->TotalHeight;
            IncludeState(Node, vsExpanded);
            AdjustTotalHeight(Node, int64_t(delta), true);
            if (FullyVisible(Node)) FVisibleCount += CountVisibleChildren(Node);
            DoExpanded(Node);
        }
    }
    if (!ran) return;
    InvalidateCache();
    if (FUpdateCount == 0) {
        ValidateCache();
        if (Node->ChildCount > 0) {
            UpdateScrollBars(true);
            if (HasOption(toAutoScrollOnExpand) && HasState(Node, vsExpanded)) {
                if (Node->TotalHeight > uint32_t(FClientHeight))
                    SetTopNode(Node);
                else
                    ScrollIntoView(Node->LastChild, false);
            }
            if (HandleAllocated() && GetTopNode() != lastTop)
                Invalidate();
            else
                InvalidateToBottom(Node);
        } else {
            InvalidateNode(Node);
        }
    }
}

void TBaseVirtualTree::SetExpanded(PVirtualNode Node, bool Value) {
    if (IsNode(Node) && HasState(Node, vsExpanded) != Value) ToggleNode(Node);
}

void TBaseVirtualTree::FullExpand(PVirtualNode Node) {
    PVirtualNode stop = nullptr;
    PVirtualNode run;
    if (IsNode(Node)) {
        for (PVirtualNode up = Node; up != FRoot && !stop; up = up->Parent) stop = up->NextSibling;
        if (!HasState(Node, vsInitialized)) InitNode(Node);
        run = Node;
    } else {
        run = GetFirst();
    }
    BeginUpdate();
    try {
        while (run && run != stop) {
            if (HasState(run, vsHasChildren) && !HasState(run, vsExpanded)) ToggleNode(run);
            run = GetNext(run);
        }
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

void TBaseVirtualTree::FullCollapse(PVirtualNode Node) {
    PVirtualNode stop = nullptr;
    PVirtualNode run;
    if (IsNode(Node)) {
        for (PVirtualNode up = Node; up != FRoot && !stop; up = up->Parent) stop = up->NextSibling;
        run = Node;
    } else {
        run = GetFirstNoInit();
    }
    BeginUpdate();
    try {
        while (run && run != stop) {
            if (HasState(run, vsExpanded)) ToggleNode(run);
            run = GetNextNoInit(run);
        }
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

// ---- Lazy initialisation -------------------------------------------------------------

void TBaseVirtualTree::InitNode(PVirtualNode Node) {
    if (!IsNode(Node)) return;
    // Set first, so that a client walking the tree from inside the event
    // can't come back to this node.
    IncludeState(Node, vsInitialized);
    ++FInitializedCount;
    TVirtualNodeInitStates init = 0;
    DoInitNode(Node->Parent == FRoot ? nullptr : Node->Parent, Node, init);
    if (init & ivsDisabled) IncludeState(Node, vsDisabled);
    if (init & ivsHasChildren) IncludeState(Node, vsHasChildren);
    if (init & ivsSelected) {
        FSingletonNodeArray[0] = Node;
        InternalAddToSelection(FSingletonNodeArray, 1, false);
    }
    if (init & ivsMultiline) IncludeState(Node, vsMultiline);
    const bool want = (init & ivsExpanded) != 0;
    if (want != HasState(Node, vsExpanded)) {
        if (want)
            ToggleNode(Node);
        else if (HasState(Node, vsHasChildren))
            InitChildren(Node);
    }
}

void TBaseVirtualTree::InitChildren(PVirtualNode Node) {
    if (!IsNode(Node) || !HasState(Node, vsHasChildren)) return;
    uint32_t count = Node->ChildCount;
    DoInitChildren(Node, count);
    if (count == 0) {
        DeleteChildren(Node, false);
        ExcludeState(Node, vsHasChildren);
    } else {
        SetChildCount(Node, count);
    }
}

void TBaseVirtualTree::ValidateNode(PVirtualNode Node, bool Recursive) {
    if (!Node) Node = FRoot;
    if (Node != FRoot && !HasState(Node, vsInitialized)) InitNode(Node);
    if (!Recursive) return;
    if (HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    for (PVirtualNode c = Node->FirstChild; c; c = c->NextSibling) ValidateNode(c, true);
}

void TBaseVirtualTree::ValidateChildren(PVirtualNode Node, bool Recursive) {
    if (!Node) Node = FRoot;
    if (Node != FRoot && HasState(Node, vsHasChildren) && Node->ChildCount == 0) InitChildren(Node);
    for (PVirtualNode c = Node->FirstChild; c; c = c->NextSibling) {
        if (!HasState(c, vsInitialized)) InitNode(c);
        if (Recursive) ValidateChildren(c, true);
    }
}

void TBaseVirtualTree::ReinitNode(PVirtualNode Node, bool Recursive) {
    if (!IsNode(Node)) return;
    ExcludeState(Node, vsChecking | vsCutOrCopy | vsDeleting | vsHeightMeasured);
    InitNode(Node);
    if (Recursive) ReinitChildren(Node, true);
}

void TBaseVirtualTree::ReinitChildren(PVirtualNode Node, bool Recursive) {
    if (!Node) Node = FRoot;
    InitChildren(Node);
    for (PVirtualNode c = Node->FirstChild; c;) {
        PVirtualNode next = c->NextSibling;
        ReinitNode(c, Recursive);
        c = next;
    }
}

void TBaseVirtualTree::ResetNode(PVirtualNode Node) {
    if (!IsNode(Node)) {
        Clear();
        return;
    }
    DoReset(Node);
    DeleteChildren(Node, false);
    ExcludeState(Node, vsInitialized | vsChecking | vsCutOrCopy | vsDeleting | vsExpanded | vsHasChildren |
                           vsHeightMeasured);
    InvalidateNode(Node);
}

}  // namespace ide
