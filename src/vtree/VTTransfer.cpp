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

void TBaseVirtualTree::PrepareTransferTarget(TBaseVirtualTree* TargetTree, PVirtualNode Target, TVTNodeAttachMode& Mode) {
    MapRootModes(Target, TargetTree->FRoot, Mode);
    if (Target != TargetTree->FRoot) {
        if (!HasState(Target, vsInitialized))
            TargetTree->InitNode(Target);
        else if (HasState(Target, vsHasChildren) && Target->ChildCount == 0)
            TargetTree->InitChildren(Target);
    }
}

PVirtualNode TBaseVirtualTree::TransferNodes(PVirtualNode Source, bool ChildrenOnly, TBaseVirtualTree* TargetTree,
                                             PVirtualNode Target, TVTNodeAttachMode Mode, bool Copy) {
    TMemoryStream stream;
    WriteForTransfer(stream, Source, ChildrenOnly);
    stream.SetPosition(0);
    TStreamReadBuffer in(stream);
    PVirtualNode last = nullptr;
    TargetTree->BeginUpdate();
    try {
        while (in.Position() < in.Size()) {
            PVirtualNode node = TargetTree->MakeNewNode();
            TargetTree->InternalConnectNode(node, Target, TargetTree, Mode);
            TargetTree->InternalAddFromStream(in, 2, node);
            if (!Copy) {
                TargetTree->DoNodeMoved(node);
                last = node;
            } else if (TargetTree->DoNodeCopying(node, Target)) {
                TargetTree->DoNodeCopied(node);
                last = node;
            } else {
                TargetTree->DeleteNode(node, true);
                last = nullptr;
            }
        }
    } catch (...) {
        TargetTree->EndUpdate();
        throw;
    }
    TargetTree->EndUpdate();
    return last;
}

void TBaseVirtualTree::RefreshAfterTransfer() {
    InvalidateCache();
    if (FUpdateCount == 0) {
        ValidateCache();
        UpdateScrollBars(true);
        Invalidate();
    }
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
    PrepareTransferTarget(targetTree, Target, Mode);
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
        PVirtualNode last = TransferNodes(Source, ChildrenOnly, targetTree, Target, Mode, false);
        BeginUpdate();
        if (ChildrenOnly)
            DeleteChildren(Source, true);
        else
            DeleteNode(Source, true);
        EndUpdate();
        // The source is gone: this tree reports the root, the target tree
        // the last node it gained.
        reported = nullptr;
        targetTree->RefreshAfterTransfer();
        targetTree->StructureChange(last, crNodeMoved);
    }
    RefreshAfterTransfer();
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
    PrepareTransferTarget(targetTree, Target, Mode);
    PVirtualNode result = TransferNodes(Source, ChildrenOnly, targetTree, Target, Mode, true);
    if (ChildrenOnly) result = Target == targetTree->FRoot ? nullptr : Target;
    targetTree->RefreshAfterTransfer();
    targetTree->StructureChange(result, crNodeCopied);
    return result;
}

}  // namespace ide
