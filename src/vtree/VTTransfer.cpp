// Moving and copying nodes, within a tree and between trees: the source
// is written in the tree stream format and read in at the target.
#include "vtree/VTBaseTree.h"
#include "vtree/VTStreamBuffers.h"

namespace ide {

// ---- Moving and copying ----------------------------------------------------------

namespace {

void MapRootModes(PVirtualNode Target, PVirtualNode Root, TVTNodeAttachMode& Mode) {
    if (Target != Root) return;
    if (Mode == amInsertBefore) Mode = amAddChildFirst;
    if (Mode == amInsertAfter) Mode = amAddChildLast;
}

}  // namespace

void TBaseVirtualTree::WriteForTransfer(TStream& Stream, PVirtualNode Source, bool ChildrenOnly) {
    FWritingSkeleton = true;
    struct TReset {
        bool& F;
        ~TReset() { F = false; }
    } reset{FWritingSkeleton};
    if (ChildrenOnly)
        WriteNodes(Stream, Source->FirstChild, true);
    else
        WriteNodes(Stream, Source, false);
}

void TBaseVirtualTree::MoveTo(PVirtualNode Source, TBaseVirtualTree* Tree, TVTNodeAttachMode Mode, bool ChildrenOnly) {
    if (Tree) MoveTo(Source, Tree->FRoot, Mode, ChildrenOnly);
}

void TBaseVirtualTree::MoveTo(PVirtualNode Source, PVirtualNode Target, TVTNodeAttachMode Mode, bool ChildrenOnly) {
    if (Target == Source && !(ChildrenOnly && (Mode == amInsertBefore || Mode == amInsertAfter))) return;
    if (Mode == amNoWhere || !IsNode(Source) || HasOption(toReadOnly)) return;
    TBaseVirtualTree* targetTree = this;
    if (!Target) {
        Target = FRoot;
        Mode = amAddChildFirst;
    } else {
        targetTree = TreeFromNode(Target);
        if (!targetTree) return;
    }
    MapRootModes(Target, targetTree->FRoot, Mode);
    if (Target != targetTree->FRoot) {
        if (!HasState(Target, vsInitialized))
            targetTree->InitNode(Target);
        else if (HasState(Target, vsHasChildren) && Target->ChildCount == 0)
            targetTree->InitChildren(Target);
    }
    PVirtualNode reported = Source;
    if (targetTree == this) {
        if (!DoNodeMoving(Source, Target == FRoot ? nullptr : Target)) return;
        if (HasAsParent(Target, Source)) RaiseVirtualTreeError(hcTFWrongMoveError);
        InterruptValidation();
        if (ChildrenOnly) {
            if (Mode == amAddChildFirst) {
                for (PVirtualNode run = Source->LastChild; run;) {
                    PVirtualNode prev = run->PrevSibling;
                    InternalDisconnectNode(run, true, false);
                    InternalConnectNode(run, Target, this, Mode);
                    DoNodeMoved(run);
                    run = prev;
                }
            } else {
                for (PVirtualNode run = Source->FirstChild; run;) {
                    PVirtualNode next = run->NextSibling;
                    InternalDisconnectNode(run, true, false);
                    InternalConnectNode(run, Target, this, Mode);
                    DoNodeMoved(run);
                    run = next;
                }
            }
        } else {
            InternalDisconnectNode(Source, true, true);
            InternalConnectNode(Source, Target, this, Mode);
            DoNodeMoved(Source);
        }
    } else {
        if (targetTree->HasOption(toReadOnly)) return;
        if (!DoNodeMoving(Source, Target == targetTree->FRoot ? nullptr : Target)) return;
        TMemoryStream stream;
        WriteForTransfer(stream, Source, ChildrenOnly);
        stream.SetPosition(0);
        TStreamReadBuffer in(stream);
        PVirtualNode last = nullptr;
        targetTree->BeginUpdate();
        try {
            while (in.Position() < in.Size()) {
                PVirtualNode node = targetTree->MakeNewNode();
                targetTree->InternalConnectNode(node, Target, targetTree, Mode);
                targetTree->InternalAddFromStream(in, 2, node);
                targetTree->DoNodeMoved(node);
                last = node;
            }
        } catch (...) {
            targetTree->EndUpdate();
            throw;
        }
        targetTree->EndUpdate();
        BeginUpdate();
        if (ChildrenOnly)
            DeleteChildren(Source, true);
        else
            DeleteNode(Source, true);
        EndUpdate();
        // The source is gone: this tree reports the root, the target tree
        // the last node it gained.
        reported = nullptr;
        targetTree->InvalidateCache();
        if (targetTree->FUpdateCount == 0) {
            targetTree->ValidateCache();
            targetTree->UpdateScrollBars(true);
            targetTree->Invalidate();
        }
        targetTree->StructureChange(last, crNodeMoved);
    }
    InvalidateCache();
    if (FUpdateCount == 0) {
        ValidateCache();
        UpdateScrollBars(true);
        Invalidate();
    }
    StructureChange(reported, crNodeMoved);
}

PVirtualNode TBaseVirtualTree::CopyTo(PVirtualNode Source, TBaseVirtualTree* Tree, TVTNodeAttachMode Mode,
                                      bool ChildrenOnly) {
    return Tree ? CopyTo(Source, Tree->FRoot, Mode, ChildrenOnly) : nullptr;
}

PVirtualNode TBaseVirtualTree::CopyTo(PVirtualNode Source, PVirtualNode Target, TVTNodeAttachMode Mode, bool ChildrenOnly) {
    if (Mode == amNoWhere || !IsNode(Source)) return nullptr;
    TBaseVirtualTree* targetTree = this;
    if (!Target) {
        Target = FRoot;
        Mode = amAddChildFirst;
    } else {
        targetTree = TreeFromNode(Target);
        if (!targetTree) return nullptr;
    }
    if (targetTree->HasOption(toReadOnly)) return nullptr;
    MapRootModes(Target, targetTree->FRoot, Mode);
    if (Target != targetTree->FRoot) {
        if (!HasState(Target, vsInitialized))
            targetTree->InitNode(Target);
        else if (HasState(Target, vsHasChildren) && Target->ChildCount == 0)
            targetTree->InitChildren(Target);
    }
    TMemoryStream stream;
    WriteForTransfer(stream, Source, ChildrenOnly);
    stream.SetPosition(0);
    TStreamReadBuffer in(stream);
    PVirtualNode result = nullptr;
    targetTree->BeginUpdate();
    try {
        while (in.Position() < in.Size()) {
            PVirtualNode node = targetTree->MakeNewNode();
            targetTree->InternalConnectNode(node, Target, targetTree, Mode);
            targetTree->InternalAddFromStream(in, 2, node);
            if (!targetTree->DoNodeCopying(node, Target)) {
                targetTree->DeleteNode(node, true);
                result = nullptr;
            } else {
                targetTree->DoNodeCopied(node);
                result = node;
            }
        }
    } catch (...) {
        targetTree->EndUpdate();
        throw;
    }
    targetTree->EndUpdate();
    if (ChildrenOnly) result = Target == targetTree->FRoot ? nullptr : Target;
    targetTree->InvalidateCache();
    if (targetTree->FUpdateCount == 0) {
        targetTree->ValidateCache();
        targetTree->UpdateScrollBars(true);
        targetTree->Invalidate();
    }
    targetTree->StructureChange(result, crNodeCopied);
    return result;
}

}  // namespace ide
