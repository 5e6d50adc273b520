// The node store: making, linking, counting and deleting nodes, and the
// client's hooks for them.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "vtree/VTBaseTree.h"
#include "vtree/VTWorker.h"

namespace ide {

namespace {

const char* const kMessages[] = {
    "Edit link must not be nil.",
    "Target node cannot be a child node of the node to be moved.",
    "Unable to load tree structure, the format is wrong.",
    "Unable to load tree structure, the version is unknown.",
    "Unable to load tree structure, not enough data available.",
    "Stream data corrupt. A node's anchor chunk is missing.",
    "Stream data corrupt. Unexpected data after node's end position.",
    "Clipboard operation failed.",
    "Cannot set initial user data because there is not enough user data space allocated.",
};

}  // namespace

const char* VirtualTreeErrorMessage(int Code) noexcept {
    if (Code < 2000 || Code > 2008) return "";
    return kMessages[Code - 2000];
}

void RaiseVirtualTreeError(int Code) { throw EVirtualTreeError(VirtualTreeErrorMessage(Code), Code); }

// ---- Life ----------------------------------------------------------------

TBaseVirtualTree::TBaseVirtualTree() {
    InitRootNode();
    TWorkerThread::Acquire();
}

TBaseVirtualTree::~TBaseVirtualTree() {
    FDestroying = true;
    FOptions &= ~toReadOnly;
    InterruptValidation();
    try {
        Clear();
    } catch (...) {
        // A client's OnFreeNode that raises can't stop the tree from dying.
    }
    TWorkerThread::Release(this);
    std::free(FRoot);
}

void TBaseVirtualTree::InitRootNode(size_t OldInternalSize) {
    const size_t size = sizeof(TVirtualNode) + FTotalInternalDataSize;
    auto* root = static_cast<PVirtualNode>(std::calloc(1, size));
    if (!root) throw std::bad_alloc();
    if (FRoot) {
        std::memcpy(root, FRoot, sizeof(TVirtualNode) + OldInternalSize);
        std::free(FRoot);
    } else {
        root->TotalCount = 1;
        root->TotalHeight = FDefaultNodeHeight;
        root->NodeHeight = static_cast<uint16_t>(FDefaultNodeHeight);
        root->States = vsInitialized | vsExpanded | vsHasChildren | vsVisible;
        root->Align = 50;
    }
    // The root's Parent slot holds the tree itself; TreeFromNode reads it back
    // and nothing ever dereferences it as a node.
    root->Parent = reinterpret_cast<PVirtualNode>(static_cast<void*>(this));
    root->PrevSibling = root;
    root->NextSibling = root;
    FRoot = root;
}

TBaseVirtualTree* TBaseVirtualTree::TreeFromNode(PVirtualNode Node) noexcept {
    PVirtualNode run = Node;
    while (run && run->NextSibling != run) run = run->Parent;
    return run ? static_cast<TBaseVirtualTree*>(static_cast<void*>(run->Parent)) : nullptr;
}

size_t TBaseVirtualTree::AllocateInternalDataArea(size_t Size) {
    if (FRoot->TotalCount > 1) Clear();
    const size_t offset = sizeof(TVirtualNode) + FTotalInternalDataSize;
    const size_t old = FTotalInternalDataSize;
    // Rounded to 8 rather than 4, so that every area keeps pointer alignment.
    FTotalInternalDataSize += (Size + 7) & ~size_t(7);
    InitRootNode(old);
    FAllocator.SetRecordSize(sizeof(TVirtualNode) + FTotalInternalDataSize + std::max(FNodeDataSize, 0));
    return offset;
}

void TBaseVirtualTree::ValidateNodeDataSize() {
    FNodeDataSize = 0;
    if (OnGetNodeDataSize) OnGetNodeDataSize(this, FNodeDataSize);
    if (FNodeDataSize < 0) FNodeDataSize = 0;
    FAllocator.SetRecordSize(sizeof(TVirtualNode) + FTotalInternalDataSize + FNodeDataSize);
}

void TBaseVirtualTree::SetNodeDataSize(int Value) {
    if (Value < -1) Value = -1;
    if (Value == FNodeDataSize) return;
    const uint32_t count = FRoot->ChildCount;
    Clear();
    FNodeDataSize = Value;
    FAllocator.SetRecordSize(sizeof(TVirtualNode) + FTotalInternalDataSize + std::max(Value, 0));
    SetRootNodeCount(count);
}

PVirtualNode TBaseVirtualTree::MakeNewNode() {
    if (FNodeDataSize == -1) ValidateNodeDataSize();
    auto* node = static_cast<PVirtualNode>(FAllocator.Allocate());
    node->TotalCount = 1;
    node->TotalHeight = FDefaultNodeHeight;
    node->NodeHeight = static_cast<uint16_t>(FDefaultNodeHeight);
    node->States = vsVisible;
    node->Align = 50;
    return node;
}

// ---- Counters -------------------------------------------------------------

void TBaseVirtualTree::AdjustTotalCount(PVirtualNode Node, int64_t Value, bool Relative) {
    const int64_t diff = Relative ? Value : Value - int64_t(Node->TotalCount);
    if (diff == 0) return;
    for (PVirtualNode run = Node;; run = run->Parent) {
        run->TotalCount = static_cast<uint32_t>(int64_t(run->TotalCount) + diff);
        if (run == FRoot) break;
    }
}

void TBaseVirtualTree::AdjustTotalHeight(PVirtualNode Node, int64_t Value, bool Relative) {
    const int64_t diff = Relative ? Value : Value - int64_t(Node->TotalHeight);
    if (diff == 0) return;
    PVirtualNode run = Node;
    for (;;) {
        run->TotalHeight = static_cast<uint32_t>(int64_t(run->TotalHeight) + diff);
        if (!HasState(run, vsVisible) || run == FRoot) break;
        run = run->Parent;
        if (!run || !HasState(run, vsExpanded)) break;
    }
}

// Both fixups walk the subtree in post-order through the links, without
// recursion: a loaded subtree may be as deep as it is long.
void TBaseVirtualTree::FixupTotalCount(PVirtualNode Node) {
    PVirtualNode run = Node;
    bool down = true;
    for (;;) {
        if (down)
            while (run->FirstChild) run = run->FirstChild;
        uint32_t total = 1;
        for (PVirtualNode c = run->FirstChild; c; c = c->NextSibling) total += c->TotalCount;
        run->TotalCount = total;
        if (run == Node) break;
        if (run->NextSibling) {
            run = run->NextSibling;
            down = true;
        } else {
            run = run->Parent;
            down = false;
        }
    }
}

void TBaseVirtualTree::FixupTotalHeight(PVirtualNode Node) {
    PVirtualNode run = Node;
    bool down = true;
    for (;;) {
        if (down)
            while (run->FirstChild) run = run->FirstChild;
        uint32_t total = run == FRoot ? FRoot->NodeHeight : LoadNodeHeight(run);
        if (HasState(run, vsExpanded))
            for (PVirtualNode c = run->FirstChild; c; c = c->NextSibling)
                if (HasState(c, vsVisible)) total += c->TotalHeight;
        run->TotalHeight = total;
        if (run == Node) break;
        if (run->NextSibling) {
            run = run->NextSibling;
            down = true;
        } else {
            run = run->Parent;
            down = false;
        }
    }
}

uint32_t TBaseVirtualTree::CountVisibleChildren(PVirtualNode Node) const {
    if (!HasState(Node, vsExpanded)) return 0;
    uint32_t count = 0;
    PVirtualNode run = Node->FirstChild;
    while (run) {
        if (HasState(run, vsVisible)) {
            ++count;
            if (HasState(run, vsExpanded) && run->FirstChild) {
                run = run->FirstChild;
                continue;
            }
        }
        while (run && !run->NextSibling) {
            run = run->Parent;
            if (run == Node) run = nullptr;
        }
        if (run) run = run->NextSibling;
    }
    return count;
}

// ---- Simple accessors -------------------------------------------------------

PVirtualNode TBaseVirtualTree::NodeParent(PVirtualNode Node) const noexcept {
    return IsNode(Node) && Node->Parent != FRoot ? Node->Parent : nullptr;
}

bool TBaseVirtualTree::ChildrenInitialized(PVirtualNode Node) const noexcept {
    return !HasState(Node, vsHasChildren) || Node->ChildCount > 0;
}

void TBaseVirtualTree::SetHasChildren(PVirtualNode Node, bool Value) {
    if (!IsNode(Node) || HasOption(toReadOnly)) return;
    if (Value) {
        IncludeState(Node, vsHasChildren);
    } else if (Node->ChildCount > 0) {
        DeleteChildren(Node, true);
    } else {
        ExcludeState(Node, vsHasChildren);
    }
    InvalidateNode(Node);
}

void TBaseVirtualTree::SetDisabled(PVirtualNode Node, bool Value) {
    if (!IsNode(Node) || HasState(Node, vsDisabled) == Value) return;
    if (Value)
        IncludeState(Node, vsDisabled);
    else
        ExcludeState(Node, vsDisabled);
    InvalidateNode(Node);
}

void TBaseVirtualTree::SetFocusedNode(PVirtualNode Node) {
    if (Node == FRoot) Node = nullptr;
    if (Node == FFocusedNode) return;
    FFocusedNode = Node;
    DoFocusChange(Node, FFocusedColumn);
}

// ---- Linking ----------------------------------------------------------------

void TBaseVirtualTree::LinkAsLastChild(PVirtualNode Node, PVirtualNode Parent) noexcept {
    Node->Parent = Parent;
    Node->NextSibling = nullptr;
    Node->PrevSibling = Parent->LastChild;
    if (Parent->LastChild) {
        Parent->LastChild->NextSibling = Node;
        Node->Index = Parent->LastChild->Index + 1;
    } else {
        Parent->FirstChild = Node;
        Node->Index = 0;
    }
    Parent->LastChild = Node;
}

void TBaseVirtualTree::InternalConnectNode(PVirtualNode Node, PVirtualNode Destination, TBaseVirtualTree* Target,
                                           TVTNodeAttachMode Mode) {
    Target->StopWorkerIfWalking();
    PVirtualNode parent = nullptr;
    bool addHeight = false;
    switch (Mode) {
        case amInsertBefore:
            parent = Destination->Parent;
            Node->PrevSibling = Destination->PrevSibling;
            Node->NextSibling = Destination;
            Destination->PrevSibling = Node;
            if (Node->PrevSibling)
                Node->PrevSibling->NextSibling = Node;
            else
                parent->FirstChild = Node;
            Node->Parent = parent;
            Node->Index = Destination->Index;
            for (PVirtualNode run = Destination; run; run = run->NextSibling) ++run->Index;
            addHeight = HasState(Node, vsVisible);
            break;
        case amInsertAfter:
            parent = Destination->Parent;
            Node->NextSibling = Destination->NextSibling;
            Node->PrevSibling = Destination;
            Destination->NextSibling = Node;
            if (Node->NextSibling)
                Node->NextSibling->PrevSibling = Node;
            else
                parent->LastChild = Node;
            Node->Parent = parent;
            Node->Index = Destination->Index;
            for (PVirtualNode run = Node; run; run = run->NextSibling) ++run->Index;
            addHeight = true;  // visible or not: kept asymmetry
            break;
        case amAddChildFirst:
            parent = Destination;
            Node->PrevSibling = nullptr;
            Node->NextSibling = Destination->FirstChild;
            if (Destination->FirstChild)
                Destination->FirstChild->PrevSibling = Node;
            else
                Destination->LastChild = Node;
            Destination->FirstChild = Node;
            Node->Parent = Destination;
            Node->Index = 0;
            for (PVirtualNode run = Node->NextSibling; run; run = run->NextSibling) ++run->Index;
            addHeight = HasState(Node, vsVisible);
            break;
        case amAddChildLast:
            parent = Destination;
            LinkAsLastChild(Node, Destination);
            addHeight = HasState(Node, vsVisible);
            break;
        case amNoWhere:
            break;
    }
    if (parent) {
        ++parent->ChildCount;
        IncludeState(parent, vsHasChildren);
        Target->AdjustTotalCount(parent, Node->TotalCount, true);
        if (addHeight && HasState(parent, vsExpanded)) Target->AdjustTotalHeight(parent, Node->TotalHeight, true);
        if (Target->FullyVisible(Node)) Target->FVisibleCount += Target->CountVisibleChildren(Node) + 1;
    }
    ExcludeState(Node, vsChecking | vsCutOrCopy | vsDeleting | vsClearing);
    if (!parent) return;
    if (parent != Target->FRoot) {
        if (HasState(Node, vsVisible))
            ExcludeState(parent, vsAllChildrenHidden);
        else if (parent->ChildCount == 1)
            IncludeState(parent, vsAllChildrenHidden);
    }
}

void TBaseVirtualTree::InternalDisconnectNode(PVirtualNode Node, bool KeepFocus, bool Reindex) {
    StopWorkerIfWalking();
    if (Node == FFocusedNode && !KeepFocus) {
        FFocusedNode = nullptr;
        DoFocusChange(FFocusedNode, FFocusedColumn);
    }
    if (Node == FRangeAnchor) ResetRangeAnchor();
    PVirtualNode parent = Node->Parent;
    if (parent != FRoot && !HasState(parent, vsClearing)) {
        if (FUpdateCount > 0)
            DoStateChange(tsUpdateHiddenChildrenNeeded);
        else
            DetermineHiddenChildrenFlag(parent);
    }
    if (HasState(Node, vsDeleting)) return;

    ExcludeState(Node, vsChecking);
    // Full visibility is taken before the parent may collapse below.
    const bool wasFullyVisible = FullyVisible(Node);
    const bool adjustHeight = HasState(parent, vsExpanded) && HasState(Node, vsVisible);
    --parent->ChildCount;
    if (parent->ChildCount == 0) {
        ExcludeState(parent, vsHasChildren | vsAllChildrenHidden);
        if (parent != FRoot && HasState(parent, vsExpanded)) ExcludeState(parent, vsExpanded);
    }
    AdjustTotalCount(parent, -int64_t(Node->TotalCount), true);
    if (adjustHeight) AdjustTotalHeight(parent, -int64_t(Node->TotalHeight), true);
    if (wasFullyVisible) FVisibleCount -= CountVisibleChildren(Node) + 1;

    if (Node->PrevSibling)
        Node->PrevSibling->NextSibling = Node->NextSibling;
    else
        parent->FirstChild = Node->NextSibling;
    if (Node->NextSibling)
        Node->NextSibling->PrevSibling = Node->PrevSibling;
    else
        parent->LastChild = Node->PrevSibling;
    if (Reindex) {
        uint32_t index = Node->Index;
        for (PVirtualNode run = Node->NextSibling; run; run = run->NextSibling) run->Index = index++;
    }
    Node->Parent = Node->PrevSibling = Node->NextSibling = nullptr;
}

// ---- Growing and shrinking ---------------------------------------------------

void TBaseVirtualTree::SetChildCount(PVirtualNode Node, uint32_t NewChildCount) {
    if (HasOption(toReadOnly)) return;
    if (!Node) Node = FRoot;
    if (NewChildCount == 0) {
        DeleteChildren(Node, false);
        return;
    }
    if (NewChildCount == Node->ChildCount) return;
    InterruptValidation();
    if (NewChildCount > Node->ChildCount) {
        uint32_t index;
        if (!Node->LastChild) {
            index = 0;
            IncludeState(Node, vsHasChildren);
        } else {
            index = Node->LastChild->Index + 1;
        }
        ExcludeState(Node, vsAllChildrenHidden);
        const uint32_t count = NewChildCount - Node->ChildCount;
        if (FNodeDataSize == -1) ValidateNodeDataSize();
        // Children made together lie together in memory, each header
        // written whole from a template (the record's data part stays zero).
        const size_t step = FAllocator.RecordSize();
        uint8_t* run = FAllocator.AllocateRun(count);
        const uint16_t height = static_cast<uint16_t>(FDefaultNodeHeight);
        const uint64_t heightSum = uint64_t(height) * count;
        TVirtualNode model{};
        model.TotalCount = 1;
        model.TotalHeight = FDefaultNodeHeight;
        model.NodeHeight = height;
        model.States = vsVisible;
        model.Align = 50;
        model.Parent = Node;
        PVirtualNode last = Node->LastChild;
        auto* first = reinterpret_cast<PVirtualNode>(run);
        if (last)
            last->NextSibling = first;
        else
            Node->FirstChild = first;
        constexpr uint32_t kFaultBlock = 4096;  // nodes whose pages are faulted in at once, ahead of the writes
        for (uint32_t i = 0; i < count; ++i) {
            auto* child = reinterpret_cast<PVirtualNode>(run + size_t(i) * step);
            if (i % kFaultBlock == 0)
                FAllocator.FaultIn(reinterpret_cast<uint8_t*>(child) + size_t(std::min(count - i, kFaultBlock)) * step);
            model.Index = index++;
            model.PrevSibling = last;
            model.NextSibling = i + 1 < count ? reinterpret_cast<PVirtualNode>(run + size_t(i + 1) * step) : nullptr;
            *child = model;
            last = child;
        }
        Node->LastChild = last;
        if (HasState(Node, vsExpanded)) {
            AdjustTotalHeight(Node, int64_t(heightSum), true);
            if (FullyVisible(Node)) FVisibleCount += count;
        }
        AdjustTotalCount(Node, count, true);
        Node->ChildCount = NewChildCount;
        if (FUpdateCount == 0 && HasOption(toAutoSort) && FSortColumn > -2) Sort(Node, FSortColumn, FSortDirection, true);
        InvalidateCache();
    } else {
        while (Node->ChildCount > NewChildCount) DeleteNode(Node->LastChild, true);
    }
    if (FUpdateCount == 0) {
        ValidateCache();
        UpdateScrollBars(true);
        Invalidate();
    }
    StructureChange(Node == FRoot ? nullptr : Node, crChildAdded);
}

void TBaseVirtualTree::SetRootNodeCount(uint32_t Value) {
    if (Value == FRoot->ChildCount) return;
    BeginUpdate();
    try {
        InterruptValidation();
        SetChildCount(FRoot, Value);
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

PVirtualNode TBaseVirtualTree::AddChild(PVirtualNode Parent, void* UserData) {
    if (HasOption(toReadOnly)) return nullptr;
    if (!Parent) Parent = FRoot;
    if (Parent != FRoot && !HasState(Parent, vsInitialized)) InitNode(Parent);
    ++FUpdateCount;
    try {
        SetChildCount(Parent, Parent->ChildCount + 1);
    } catch (...) {
        --FUpdateCount;
        throw;
    }
    ExcludeState(Parent, vsAllChildrenHidden);
    --FUpdateCount;
    PVirtualNode result = Parent->LastChild;
    if (UserData) {
        if (FNodeDataSize < int(sizeof(void*))) RaiseVirtualTreeError(hcTFCannotSetUserData);
        std::memcpy(GetNodeData(result), &UserData, sizeof(void*));
        IncludeState(result, vsInitialUserData);
    }
    InvalidateCache();
    if (FUpdateCount == 0) {
        ValidateCache();
        if (InState(tsStructureChangePending)) StructureChange(Parent == FRoot ? nullptr : Parent, crChildAdded);
        if (HasOption(toAutoSort) && FSortColumn > -2) Sort(Parent, FSortColumn, FSortDirection, true);
        InvalidateToBottom(Parent);
        UpdateScrollBars(true);
    }
    return result;
}

PVirtualNode TBaseVirtualTree::InsertNode(PVirtualNode Node, TVTNodeAttachMode Mode, void* UserData) {
    if (Mode == amNoWhere || HasOption(toReadOnly)) return nullptr;
    if (!Node) Node = FRoot;
    PVirtualNode result = MakeNewNode();
    if (Node == FRoot) {
        if (Mode == amInsertBefore) Mode = amAddChildFirst;
        if (Mode == amInsertAfter) Mode = amAddChildLast;
    }
    if ((Mode == amAddChildFirst || Mode == amAddChildLast) && Node != FRoot && !HasState(Node, vsInitialized))
        InitNode(Node);
    InternalConnectNode(result, Node, this, Mode);
    // Kept oddity: the position cache is left as it was.
    if (InState(tsUseCache)) FInsertedSinceValidation = true;
    if (UserData) {
        if (FNodeDataSize < int(sizeof(void*))) RaiseVirtualTreeError(hcTFCannotSetUserData);
        std::memcpy(GetNodeData(result), &UserData, sizeof(void*));
        IncludeState(result, vsInitialUserData);
    }
    if (FUpdateCount == 0) {
        if (HasOption(toAutoSort) && FSortColumn > -2) {
            if (Mode == amInsertBefore || Mode == amInsertAfter)
                Sort(Node->Parent, FSortColumn, FSortDirection, true);
            else
                Sort(Node, FSortColumn, FSortDirection, true);
        }
        UpdateScrollBars(true);
        InvalidateToBottom(Mode == amInsertBefore ? result : Node);
    }
    StructureChange(result, crNodeAdded);
    return result;
}

// ---- Deleting ----------------------------------------------------------------

void TBaseVirtualTree::DoFreeNode(PVirtualNode Node) {
    if (Node == FLastChangedNode) FLastChangedNode = nullptr;
    if (Node == FCurrentHotNode) FCurrentHotNode = nullptr;
    if (Node == FDropTargetNode) FDropTargetNode = nullptr;
    // No pointer of the tree may outlive its node: a pending structure
    // change then reports the root, a search restarts.
    if (Node == FLastStructureChangeNode) FLastStructureChangeNode = nullptr;
    if (Node == FLastSearchNode) FLastSearchNode = nullptr;
    if (Node == FLastSelected) FLastSelected = nullptr;
    if (Node == FCheckNode) FCheckNode = nullptr;
    if (HasState(Node, vsInitialized | vsInitialUserData) && OnFreeNode) OnFreeNode(this, Node);
    FAllocator.Free(Node);
}

void TBaseVirtualTree::DeleteNode(PVirtualNode Node, bool Reindex) {
    if (!IsNode(Node) || HasOption(toReadOnly)) return;
    PVirtualNode parent = Node->Parent;
    const bool parentClearing = HasState(parent, vsClearing);
    if (!parentClearing) StructureChange(parent == FRoot ? nullptr : parent, crChildDeleted);
    const int oldX = FOffsetX, oldY = FOffsetY;
    if (!HasState(Node, vsSelected)) {
        InvalidateToBottom(parent);
    } else if (FUpdateCount == 0) {
        const bool was = InState(tsSynchMode);
        DoStateChange(tsSynchMode);
        RemoveFromSelection(Node);
        if (!was) DoStateChange(0, tsSynchMode);
        InvalidateToBottom(parent);
    } else {
        InternalRemoveFromSelection(Node);
    }
    if (InState(tsHint)) DoStateChange(0, tsHint);
    DeleteChildren(Node, false);
    InternalDisconnectNode(Node, false, Reindex);
    DoFreeNode(Node);
    if (!parentClearing) {
        DetermineHiddenChildrenFlag(parent);
        InvalidateCache();
        if (FUpdateCount == 0) {
            ValidateCache();
            UpdateScrollBars(true);
            if (oldX != FOffsetX || oldY != FOffsetY) Invalidate();
        }
    }
}

// Frees every descendant of Node, children before parents and last child
// first, which is the order the nested deletion of each child would take;
// done with the links instead of recursion so that depth costs no stack.
void TBaseVirtualTree::FreeSubtree(PVirtualNode Node) {
    PVirtualNode run = Node->LastChild;
    if (!run) return;
    while (run->LastChild) run = run->LastChild;
    for (;;) {
        PVirtualNode parent = run->Parent;
        PVirtualNode prev = run->PrevSibling;
        PVirtualNode next = nullptr;
        if (prev) {
            next = prev;
            while (next->LastChild) next = next->LastChild;
        } else if (parent != Node) {
            next = parent;
        }
        IncludeState(run, vsDeleting);
        if (prev) prev->NextSibling = nullptr;
        if (HasState(run, vsSelected)) InternalRemoveFromSelection(run);
        if (run->ChildCount > 0) StructureChange(run, crChildDeleted);
        if (run == FFocusedNode) {
            FFocusedNode = nullptr;
            DoFocusChange(nullptr, FFocusedColumn);
        }
        if (run == FRangeAnchor) ResetRangeAnchor();
        DoFreeNode(run);
        if (!next) break;
        run = next;
    }
}

void TBaseVirtualTree::DeleteChildren(PVirtualNode Node, bool ResetHasChildren) {
    if (!Node) Node = FRoot;
    if (Node->ChildCount == 0 || HasOption(toReadOnly)) {
        if (ResetHasChildren && !HasOption(toReadOnly) && Node->ChildCount == 0) ExcludeState(Node, vsHasChildren);
        return;
    }
    ++FUpdateCount;
    try {
        InterruptValidation();
        const int oldX = FOffsetX, oldY = FOffsetY;
        const bool visibly = Node == FRoot || (FullyVisible(Node) && HasState(Node, vsExpanded));
        // All of the root's children go: none stays visible, no walk needed
        // (after a sort the walk would visit scattered nodes one by one).
        if (Node == FRoot)
            FVisibleCount = 0;
        else if (visibly)
            FVisibleCount -= CountVisibleChildren(Node);
        IncludeState(Node, vsClearing);
        FreeSubtree(Node);
        ExcludeState(Node, vsClearing);
        if (ResetHasChildren) ExcludeState(Node, vsHasChildren);
        if (Node != FRoot) ExcludeState(Node, vsExpanded);
        Node->ChildCount = 0;
        Node->FirstChild = Node->LastChild = nullptr;
        if (Node != FRoot && !HasState(Node, vsDeleting)) {
            AdjustTotalHeight(Node, Node->NodeHeight, false);
            AdjustTotalCount(Node, 1, false);
        } else {
            Node->TotalHeight = GetNodeHeight(Node) + FDefaultNodeHeight;
            if (Node == FRoot) Node->TotalHeight = FRoot->NodeHeight;
            Node->TotalCount = 1;
        }
        --FUpdateCount;
        InvalidateCache();
        if (FUpdateCount == 0) {
            PackSelection();
            ValidateCache();
            UpdateScrollBars(true);
            if (oldX == FOffsetX && oldY == FOffsetY)
                InvalidateToBottom(Node);
            else
                Invalidate();
        }
    } catch (...) {
        if (FUpdateCount > 0) --FUpdateCount;
        throw;
    }
    StructureChange(Node == FRoot ? nullptr : Node, crChildDeleted);
}

void TBaseVirtualTree::Clear() {
    if (HasOption(toReadOnly) && !FDestroying) return;
    BeginUpdate();
    try {
        InterruptValidation();
        if (InState(tsCutPending | tsCopyPending)) DoStateChange(0, tsCutPending | tsCopyPending);
        ClearSelection();
        FFocusedNode = FLastSelected = FCurrentHotNode = FDropTargetNode = FLastChangedNode = FRangeAnchor = FCheckNode =
            FLastSearchNode = nullptr;
        DeleteChildren(FRoot, true);
        FVisibleCount = 0;
        FOffsetX = FOffsetY = 0;
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

// ---- The Do hooks ----------------------------------------------------------------------

void TBaseVirtualTree::DoInitNode(PVirtualNode Parent, PVirtualNode Node, TVirtualNodeInitStates& InitStates) {
    if (OnInitNode) OnInitNode(this, Parent, Node, InitStates);
}
void TBaseVirtualTree::DoInitChildren(PVirtualNode Node, uint32_t& ChildCount) {
    if (OnInitChildren) OnInitChildren(this, Node, ChildCount);
}
void TBaseVirtualTree::DoMeasureItem(PVirtualNode Node, int& NodeHeight) {
    if (OnMeasureItem) OnMeasureItem(this, Node, NodeHeight);
}
bool TBaseVirtualTree::DoExpanding(PVirtualNode Node) {
    bool allowed = true;
    if (OnExpanding) OnExpanding(this, Node, allowed);
    return allowed;
}
bool TBaseVirtualTree::DoCollapsing(PVirtualNode Node) {
    bool allowed = true;
    if (OnCollapsing) OnCollapsing(this, Node, allowed);
    return allowed;
}
void TBaseVirtualTree::DoExpanded(PVirtualNode Node) {
    if (OnExpanded) OnExpanded(this, Node);
}
void TBaseVirtualTree::DoCollapsed(PVirtualNode Node) {
    if (OnCollapsed) OnCollapsed(this, Node);
}
void TBaseVirtualTree::DoReset(PVirtualNode Node) {
    if (OnResetNode) OnResetNode(this, Node);
}
bool TBaseVirtualTree::DoNodeMoving(PVirtualNode Node, PVirtualNode Target) {
    bool allowed = true;
    if (OnNodeMoving) OnNodeMoving(this, Node, Target, allowed);
    return allowed;
}
void TBaseVirtualTree::DoNodeMoved(PVirtualNode Node) {
    if (OnNodeMoved) OnNodeMoved(this, Node);
}
bool TBaseVirtualTree::DoNodeCopying(PVirtualNode Node, PVirtualNode Target) {
    bool allowed = true;
    if (OnNodeCopying) OnNodeCopying(this, Node, Target, allowed);
    return allowed;
}
void TBaseVirtualTree::DoNodeCopied(PVirtualNode Node) {
    if (OnNodeCopied) OnNodeCopied(this, Node);
}
void TBaseVirtualTree::DoFocusChange(PVirtualNode Node, TColumnIndex Column) {
    if (OnFocusChanged) OnFocusChanged(this, Node, Column);
}
int TBaseVirtualTree::DoGetNodeWidth(PVirtualNode, TColumnIndex) { return 0; }
void TBaseVirtualTree::Beep() { SystemBeep(); }

}  // namespace ide
