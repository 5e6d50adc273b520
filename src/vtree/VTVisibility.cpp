// Visibility and heights of nodes: the visible path, hidden children, and
// node heights with the totals above them.
#include <algorithm>

#include "vtree/VTBaseTree.h"

namespace ide {

// ---- Visibility ----------------------------------------------------------

bool TBaseVirtualTree::VisiblePath(PVirtualNode Node) const {
    if (!Node || Node == FRoot) return true;
    for (PVirtualNode run = Node->Parent; run != FRoot; run = run->Parent)
        if (!HasState(run, vsExpanded) || !HasState(run, vsVisible)) return false;
    return true;
}

bool TBaseVirtualTree::FullyVisible(PVirtualNode Node) const {
    return Node && HasState(Node, vsVisible) && VisiblePath(Node);
}

PVirtualNode TBaseVirtualTree::GetVisibleParent(PVirtualNode Node) const {
    if (!IsNode(Node)) return FRoot;
    PVirtualNode run = Node->Parent;
    while (run != FRoot && !FullyVisible(run)) run = run->Parent;
    return run;
}

void TBaseVirtualTree::SetVisiblePath(PVirtualNode Node, bool Value) {
    if (!IsNode(Node) || !Value) return;
    for (PVirtualNode run = Node->Parent; run != FRoot; run = run->Parent)
        if (!HasState(run, vsExpanded)) ToggleNode(run);
}

void TBaseVirtualTree::SetFullyVisible(PVirtualNode Node, bool Value) {
    if (!IsNode(Node) || !Value) return;
    SetVisible(Node, true);
    for (PVirtualNode run = Node->Parent; run != FRoot; run = run->Parent) {
        if (!HasState(run, vsExpanded)) ToggleNode(run);
        if (!HasState(run, vsVisible)) SetVisible(run, true);
    }
}

void TBaseVirtualTree::SetVisible(PVirtualNode Node, bool Value) {
    if (!IsNode(Node) || HasState(Node, vsVisible) == Value) return;
    InterruptValidation();
    PVirtualNode parent = Node->Parent;
    bool changed = false;
    if (Value) {
        IncludeState(Node, vsVisible);
        if (HasState(parent, vsExpanded)) AdjustTotalHeight(parent, Node->TotalHeight, true);
        if (VisiblePath(Node)) {
            FVisibleCount += CountVisibleChildren(Node) + 1;
            changed = true;
        }
        ExcludeState(parent, vsAllChildrenHidden);
    } else {
        if (HasState(parent, vsExpanded)) AdjustTotalHeight(parent, -int64_t(Node->TotalHeight), true);
        if (VisiblePath(Node)) {
            FVisibleCount -= CountVisibleChildren(Node) + 1;
            changed = true;
        }
        ExcludeState(Node, vsVisible);
        if (FUpdateCount > 0)
            DoStateChange(tsUpdateHiddenChildrenNeeded);
        else
            DetermineHiddenChildrenFlag(parent);
    }
    InvalidateCache();
    if (changed && FUpdateCount == 0) {
        ValidateCache();
        UpdateScrollBars(true);
        Invalidate();
    }
}

void TBaseVirtualTree::DetermineHiddenChildrenFlag(PVirtualNode Node) {
    if (Node->ChildCount > 0) {
        bool anyVisible = false;
        for (PVirtualNode c = Node->FirstChild; c && !anyVisible; c = c->NextSibling)
            anyVisible = HasState(c, vsVisible);
        if (anyVisible)
            ExcludeState(Node, vsAllChildrenHidden);
        else
            IncludeState(Node, vsAllChildrenHidden);
    } else if (!HasState(Node, vsHasChildren)) {
        IncludeState(Node, vsAllChildrenHidden);
    } else {
        ExcludeState(Node, vsAllChildrenHidden);
    }
}

void TBaseVirtualTree::DetermineHiddenChildrenFlagAllNodes() {
    for (PVirtualNode run = GetFirstNoInit(); run; run = GetNextNoInit(run))
        if (run->ChildCount > 0) DetermineHiddenChildrenFlag(run);
}

// ---- Heights --------------------------------------------------------------

uint32_t TBaseVirtualTree::GetNodeHeight(PVirtualNode Node) {
    if (!IsNode(Node)) return 0;
    if (HasOption(toVariableNodeHeight)) {
        if (!HasState(Node, vsInitialized)) InitNode(Node);
        MeasureItemHeight(Node);
    }
    return LoadNodeHeight(Node);
}

void TBaseVirtualTree::MeasureItemHeight(PVirtualNode Node) {
    if (HasState(Node, vsHeightMeasured)) return;
    IncludeState(Node, vsHeightMeasured);
    int height = Node->NodeHeight;
    DoMeasureItem(Node, height);
    if (height != Node->NodeHeight) SetNodeHeight(Node, static_cast<uint32_t>(std::clamp(height, 0, 0xFFFF)));
}

void TBaseVirtualTree::SetNodeHeight(PVirtualNode Node, uint32_t Value) {
    if (!IsNode(Node) || HasOption(toReadOnly)) return;
    Value &= 0xFFFF;
    if (Node->NodeHeight == Value) return;
    if (!FServingWorker) StopWorkerIfWalking();
    const int64_t diff = int64_t(Value) - Node->NodeHeight;
    StoreNodeHeight(Node, static_cast<uint16_t>(Value));
    AdjustTotalHeight(Node, diff, true);
    if (!InState(tsValidating) && FullyVisible(Node)) {
        InvalidateCache();
        if (FUpdateCount == 0) {
            ValidateCache();
            InvalidateToBottom(Node);
            UpdateScrollBars(true);
        }
    }
}

void TBaseVirtualTree::SetDefaultNodeHeight(uint32_t Value) {
    if (Value == 0) Value = 18;
    Value = std::min<uint32_t>(Value, 0xFFFF);
    if (Value == FDefaultNodeHeight) return;
    InterruptValidation();
    DoStateChange(tsNeedScale);
    const int64_t diff = int64_t(Value) - FDefaultNodeHeight;
    FRoot->TotalHeight = static_cast<uint32_t>(int64_t(FRoot->TotalHeight) + diff);
    FRoot->NodeHeight = static_cast<uint16_t>(Value);
    FDefaultNodeHeight = Value;
    InvalidateCache();
    if (HandleAllocated() && FUpdateCount == 0) {
        ValidateCache();
        UpdateScrollBars(true);
        ScrollIntoView(FFocusedNode, HasOption(toCenterScrollIntoView), true);
        Invalidate();
    }
}

void TBaseVirtualTree::SetVerticalAlignment(PVirtualNode Node, uint8_t Value) {
    if (!IsNode(Node)) return;
    Node->Align = std::min<uint8_t>(Value, 100);
    InvalidateNode(Node);
}

}  // namespace ide
