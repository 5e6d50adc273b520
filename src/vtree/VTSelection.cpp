// The selection array and check states.
//
// FSelection is sorted by node address. A rejected or deferred-removed entry
// is marked by setting the low bit of its address, which nodes never have
// (they are 8-byte aligned); marked entries are never dereferenced and go
// at the next packing. Addresses are compared as integers.
#include <algorithm>
#include <cstdint>

#include "vtree/VTBaseTree.h"

namespace ide {

namespace {

inline uintptr_t Addr(PVirtualNode N) { return reinterpret_cast<uintptr_t>(N); }
inline bool Marked(PVirtualNode N) { return (Addr(N) & 1) != 0; }
inline PVirtualNode Mark(PVirtualNode N) { return reinterpret_cast<PVirtualNode>(Addr(N) | 1); }

bool IsBox(uint8_t T) { return T == ctTriStateCheckBox || T == ctCheckBox; }
bool IsChecked(uint8_t S) { return S == csCheckedNormal || S == csCheckedPressed; }
bool IsMixed(uint8_t S) { return S == csMixedNormal || S == csMixedPressed; }

}  // namespace

bool TBaseVirtualTree::FindNodeInSelection(PVirtualNode P, int& Index, int LowBound, int HighBound) const {
    if (LowBound < 0) LowBound = 0;
    if (HighBound < 0) HighBound = FSelectionCount - 1;
    int lo = LowBound, hi = HighBound;
    bool found = false;
    while (lo <= hi) {
        const int mid = (lo + hi) / 2;
        const uintptr_t a = Addr(FSelection[mid]), b = Addr(P);
        if (a < b) {
            lo = mid + 1;
        } else {
            hi = mid - 1;
            if (a == b) {
                found = true;
                lo = mid;
            }
        }
    }
    Index = lo;
    return found;
}

int TBaseVirtualTree::PackArray(TNodeArray& Array, int Count) {
    int dst = 0;
    for (int i = 0; i < Count; ++i)
        if (!Marked(Array[i])) Array[dst++] = Array[i];
    return dst == 0 ? -1 : dst;
}

void TBaseVirtualTree::PackSelection() {
    if (FSelectionCount == 0) return;
    const int n = PackArray(FSelection, FSelectionCount);
    FSelectionCount = std::max(n, 0);
    FSelection.resize(FSelectionCount);
}

bool TBaseVirtualTree::InternalAddToSelection(TNodeArray& NewItems, int NewLength, bool ForceInsert) {
    if (NewLength <= 0) return false;
    if (ForceInsert) {
        for (int i = 0; i < NewLength; ++i) IncludeState(NewItems[i], vsSelected);
    } else {
        if (HasOption(toLevelSelectConstraint) && FLastSelectionLevel == -1)
            FLastSelectionLevel = static_cast<int>(GetNodeLevel(NewItems[0]));
        if (HasOption(toSiblingSelectConstraint) && !FRangeAnchor) FRangeAnchor = NewItems[0];
        for (int i = 0; i < NewLength; ++i) {
            PVirtualNode n = NewItems[i];
            bool reject = HasState(n, vsSelected | vsDisabled);
            if (!reject && HasOption(toLevelSelectConstraint) && int(GetNodeLevel(n)) != FLastSelectionLevel) reject = true;
            if (!reject && HasOption(toSiblingSelectConstraint) && FRangeAnchor && n->Parent != FRangeAnchor->Parent)
                reject = true;
            if (reject)
                NewItems[i] = Mark(n);
            else
                IncludeState(n, vsSelected);
        }
    }
    NewLength = PackArray(NewItems, NewLength);
    if (NewLength <= 0) return false;
    if (NewLength > 1)
        std::sort(NewItems.begin(), NewItems.begin() + NewLength,
                  [](PVirtualNode a, PVirtualNode b) { return Addr(a) < Addr(b); });
    // Merge from the back, in place.
    const int total = FSelectionCount + NewLength;
    if (int(FSelection.size()) < total) FSelection.resize(total);
    int oldI = FSelectionCount - 1, newI = NewLength - 1, dst = total - 1;
    while (newI >= 0) {
        if (oldI >= 0 && Addr(FSelection[oldI]) > Addr(NewItems[newI]))
            FSelection[dst--] = FSelection[oldI--];
        else
            FSelection[dst--] = NewItems[newI--];
    }
    FSelectionCount = total;
    return true;
}

bool TBaseVirtualTree::AddToSelection(PVirtualNode Node) {
    if (!IsNode(Node)) return false;
    FSingletonNodeArray[0] = Node;
    if (!InternalAddToSelection(FSingletonNodeArray, 1, false)) return false;
    FLastSelected = Node;
    InvalidateNode(Node);
    Change(Node);
    return true;
}

bool TBaseVirtualTree::AddToSelection(TNodeArray& NewItems, int NewLength, bool ForceInsert) {
    if (!InternalAddToSelection(NewItems, NewLength, ForceInsert)) return false;
    Invalidate();
    Change(nullptr);
    return true;
}

void TBaseVirtualTree::InternalRemoveFromSelection(PVirtualNode Node) {
    ExcludeState(Node, vsSelected);
    int index;
    if (FindNodeInSelection(Node, index, -1, -1)) FSelection[index] = Mark(Node);
}

void TBaseVirtualTree::RemoveFromSelection(PVirtualNode Node) {
    if (!IsNode(Node) || !HasState(Node, vsSelected)) return;
    ExcludeState(Node, vsSelected);
    int index;
    if (FindNodeInSelection(Node, index, -1, -1)) {
        FSelection.erase(FSelection.begin() + index);
        --FSelectionCount;
        FSelection.resize(FSelectionCount);
    }
    if (FSelectionCount == 0) ResetRangeAnchor();
    InvalidateNode(Node);
    Change(Node);
}

void TBaseVirtualTree::InternalClearSelection() {
    if (FUpdateCount > 0) PackSelection();
    // One change event per node, highest address first (kept on purpose).
    for (int i = FSelectionCount - 1; i >= 0; --i) {
        PVirtualNode n = FSelection[i];
        if (Marked(n)) continue;
        ExcludeState(n, vsSelected);
        if (OnChange) OnChange(this, n);
    }
    ResetRangeAnchor();
    FSelection.clear();
    FSelectionCount = 0;
    DoStateChange(0, tsClearPending);
}

void TBaseVirtualTree::ClearSelection() {
    if (FSelectionCount == 0 || FDestroying) return;
    if (FUpdateCount == 0 && HandleAllocated() && FVisibleCount > 0) Invalidate();
    InternalClearSelection();
    Change(nullptr);
}

void TBaseVirtualTree::ResetRangeAnchor() {
    FRangeAnchor = FFocusedNode;
    FLastSelectionLevel = -1;
}

void TBaseVirtualTree::SetSelected(PVirtualNode Node, bool Value) {
    if (!IsNode(Node) || HasState(Node, vsSelected) == Value) return;
    if (Value) {
        if (FSelectionCount == 0)
            FRangeAnchor = Node;
        else if (!HasOption(toMultiSelect))
            ClearSelection();
        AddToSelection(Node);
    } else {
        RemoveFromSelection(Node);
    }
}

void TBaseVirtualTree::SelectAll(bool VisibleOnly) {
    if (!HasOption(toMultiSelect)) return;
    ClearTempCache();
    PVirtualNode run = VisibleOnly ? GetFirstVisibleNoInit() : GetFirstNoInit();
    while (run) {
        if (!HasState(run, vsSelected | vsDisabled)) InternalCacheNode(run);
        run = VisibleOnly ? GetNextVisibleNoInit(run) : GetNextNoInit(run);
    }
    AddToSelection(FTempNodeCache, FTempNodeCount, false);
    ClearTempCache();
}

void TBaseVirtualTree::InternalCacheNode(PVirtualNode Node) {
    if (FTempNodeCount == int(FTempNodeCache.size()))
        FTempNodeCache.resize(FTempNodeCache.empty() ? 100 : FTempNodeCache.size() + FTempNodeCache.size() / 10);
    FTempNodeCache[FTempNodeCount++] = Node;
}

void TBaseVirtualTree::ClearTempCache() {
    FTempNodeCache.clear();
    FTempNodeCount = 0;
}

// ---- Check states -------------------------------------------------------------------

void TBaseVirtualTree::SetCheckType(PVirtualNode Node, TCheckType Value) {
    if (!IsNode(Node) || Node->CheckType == Value || HasOption(toReadOnly)) return;
    Node->CheckType = Value;
    Node->CheckState = csUncheckedNormal;
    if (HasOption(toAutoTristateTracking) && IsBox(Value)) {
        PVirtualNode parent = Node->Parent;
        if (parent != FRoot) {
            if (!HasState(parent, vsInitialized)) InitNode(parent);
            if (parent->CheckType == ctTriStateCheckBox &&
                (parent->CheckState == csUncheckedNormal || parent->CheckState == csCheckedNormal))
                SetCheckState(Node, TCheckState(parent->CheckState));
        }
    }
    InvalidateNode(Node);
}

void TBaseVirtualTree::SetCheckState(PVirtualNode Node, TCheckState Value) {
    if (!IsNode(Node) || Node->CheckState == Value || HasState(Node, vsDisabled)) return;
    TCheckState v = Value;
    if (DoChecking(Node, v)) DoCheckClick(Node, v);
}

bool TBaseVirtualTree::DoChecking(PVirtualNode Node, TCheckState& NewState) {
    if (HasOption(toReadOnly)) return false;
    bool allowed = true;
    if (OnChecking) OnChecking(this, Node, NewState, allowed);
    return allowed;
}

void TBaseVirtualTree::DoCheckClick(PVirtualNode Node, TCheckState NewState) {
    bool ok = false;
    ChangeCheckState(Node, NewState, ok);
    if (ok) DoChecked(Node);
}

void TBaseVirtualTree::DoChecked(PVirtualNode Node) {
    if (OnChecked) OnChecked(this, Node);
}

void TBaseVirtualTree::ChangeCheckState(PVirtualNode Node, TCheckState Value, bool& Result) {
    Result = false;
    if (HasState(Node, vsChecking)) return;
    IncludeState(Node, vsChecking);
    if (!HasState(Node, vsInitialized)) InitNode(Node);
    if (FCheckPropagationCount++ == 0) DoStateChange(tsCheckPropagation);
    struct TLeave {
        TBaseVirtualTree* T;
        PVirtualNode N;
        ~TLeave() {
            ExcludeState(N, vsChecking);
            if (--T->FCheckPropagationCount == 0) T->DoStateChange(0, tsCheckPropagation);
        }
    } leave{this, Node};
    Result = true;
    if (Node->CheckType == ctTriStateCheckBox && HasOption(toAutoTristateTracking) && Node->ChildCount > 0 &&
        (Value == csUncheckedNormal || Value == csCheckedNormal)) {
        int checked = 0, mixed = 0, unchecked = 0;
        for (PVirtualNode c = Node->FirstChild; c; c = c->NextSibling) {
            if (!IsBox(c->CheckType)) continue;
            SetCheckState(c, Value);
            if (IsChecked(c->CheckState))
                ++checked;
            else if (IsMixed(c->CheckState))
                ++mixed;
            else
                ++unchecked;
        }
        if (mixed > 0 || (checked > 0 && unchecked > 0))
            Value = csMixedNormal;
        else if (checked > 0)
            Value = csCheckedNormal;
        else if (unchecked > 0)
            Value = csUncheckedNormal;
    } else if (Node->CheckType == ctRadioButton && Value == csCheckedNormal) {
        for (PVirtualNode s = Node->Parent->FirstChild; s; s = s->NextSibling)
            if (s != Node && s->CheckType == ctRadioButton) s->CheckState = csUncheckedNormal;
        Invalidate();
    }
    Node->CheckState = Value;
    PVirtualNode parent = Node->Parent;
    if (parent != FRoot && !HasState(parent, vsInitialized)) InitNode(parent);
    if (HasOption(toAutoTristateTracking) && parent != FRoot && !HasState(parent, vsChecking | vsDisabled) &&
        parent->CheckType == ctTriStateCheckBox && IsBox(Node->CheckType))
        Result = CheckParentCheckState(Node, Value);
    InvalidateNode(Node);
}

bool TBaseVirtualTree::CheckParentCheckState(PVirtualNode Node, TCheckState NewCheckState) {
    PVirtualNode parent = Node->Parent;
    uint32_t boxes = 0, checked = 0;
    bool mixed = false;
    for (PVirtualNode r = parent->FirstChild; r; r = r->NextSibling) {
        if (!IsBox(r->CheckType)) continue;
        ++boxes;
        const uint8_t s = r == Node ? uint8_t(NewCheckState) : r->CheckState;
        if (IsChecked(s)) ++checked;
        if (IsMixed(s)) mixed = true;
    }
    TCheckState state;
    if (checked == 0 && !mixed)
        state = csUncheckedNormal;
    else if (checked < boxes)
        state = csMixedNormal;
    else
        state = csCheckedNormal;
    if (!DoChecking(parent, state)) return false;
    DoCheckClick(parent, state);
    return true;
}

TCheckState TBaseVirtualTree::DetermineNextCheckState(TCheckType CheckType, TCheckState CheckState) {
    switch (CheckType) {
        case ctTriStateCheckBox:
        case ctCheckBox:
            return IsChecked(CheckState) ? csUncheckedNormal : csCheckedNormal;
        case ctRadioButton:
            return csCheckedNormal;
        default:
            return CheckState;
    }
}

}  // namespace ide
