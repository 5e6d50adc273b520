// TTreeView2: subfocus, selection, and the options of look and layout.
#include "views/IDEViewImpl.h"

#include "model/IDEGraphImplEvents.h"

namespace ide {

// ---- subfocus and selection

IntfRef<IGraphLocation> TTreeView2::GetSubfocus() { return FSubfocus ? FSubfocus->FNode : nullptr; }

void TTreeView2::SetSubfocus(const IntfRef<IGraphLocation>& Location) {
    SetSubfocus2(GetViewState(Location), {sfClear, sfAddItem, sfResetAnchor});
}

bool TTreeView2::SetSubfocus2(TNodeState* Node, TSet<TSelectFlag> Flags) {
    if (Node != FSubfocus) {
        auto changing = Make<TGraphSubfocusEvent>(Self(), SUBFOCUS_CHANGING, Node ? Node->FNode : nullptr);
        try {
            if (OnSubfocusChanging) OnSubfocusChanging(*this, changing);
        } catch (const EVetoException&) {
            return false;
        }
        if (FSubfocusListeners.HasListeners() && !FSubfocusListeners.VetoableDispatch(changing)) return false;
        TNodeState* old = FSubfocus;
        FSubfocus = Node;
        if (old) RepaintNode(old);
    }
    if (Node) {
        if (Flags.Contains(sfClear)) FSelection->RemoveAll();
        if (Flags.Contains(sfToggleItem)) {
            if (FSelection->Contains(Node->FNode))
                FSelection->Remove(Node->FNode);
            else
                FSelection->Add(Node->FNode);
        } else if (Flags.Contains(sfAddItem) && !FSelection->Contains(Node->FNode)) {
            FSelection->Add(Node->FNode);
        }
        if (Flags.Contains(sfResetAnchor)) FSelectAnchor = Node;
        RepaintNode(Node);
        if (FInitialized) {
            PendingRecalcVisible();
            ScrollView(Node);
        }
    }
    auto changed = Make<TGraphSubfocusEvent>(Self(), SUBFOCUS_CHANGED, Node ? Node->FNode : nullptr);
    if (OnSubfocusChanged) OnSubfocusChanged(*this, changed);
    if (FSubfocusListeners.HasListeners()) FSubfocusListeners.Dispatch(changed);
    return true;
}

void TTreeView2::SetSelection(const IntfRef<IWritableGraphSelection>& Selection) {
    if (SameObject(Selection, FSelection)) return;
    if (FSelection) FSelection->RemoveSelectionListener(Retain<IGraphSelectionListener>(this));
    FSelection = Selection ? Selection : IntfRef<IWritableGraphSelection>(Make<TBasicGraphSelection>());
    FSelection->AddSelectionListener(Retain<IGraphSelectionListener>(this));
    RepaintNodes();
}

void TTreeView2::AddSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) {
    FSelectionMulticaster->Add(Listener);
}
void TTreeView2::RemoveSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) {
    FSelectionMulticaster->Remove(Listener);
}

void TTreeView2::SelectionItemChanged(const IntfRef<IGraphSelectionEvent>& E) {
    if (OnSelectionItemChanged) OnSelectionItemChanged(*this, E);
    if (TNodeState* s = GetViewState(E->GetLocation())) {
        s->FSelected = FSelection->Contains(s->FNode);
        RepaintNode(s);
        if (!FSubfocus) FSubfocus = s;
    }
    FSelectionMulticaster->SelectionItemChanged(E);
}

void TTreeView2::SelectionChanged(const IntfRef<IGraphSelectionEvent>& E) {
    if (OnSelectionChanged) OnSelectionChanged(*this, E);
    RepaintSelection();
    FSelectionMulticaster->SelectionChanged(E);
}

bool TTreeView2::CanModify(const IntfRef<IGraphLocation>& Location) {
    return !IsReadOnly() && FWriteModel->CanModify(Location);
}

TItemStates TTreeView2::GetState(TNodeState* Node) {
    TItemStates s;
    if (!Node) return s;
    if (FSelection && FSelection->Contains(Node->FNode)) s.Include(isSelected);
    if (FShowFocus && FHasFocus && Node == FSubfocus) s.Include(isFocused);
    if (!FHasFocus) s.Include(isInactive);
    if (Node->FExpanded) s.Include(isOpened);
    return s;
}

void TTreeView2::SetHasFocus(bool Value) {
    if (FHasFocus == Value) return;
    FHasFocus = Value;
    RepaintSelection();
    if (FSubfocus) RepaintNode(FSubfocus);
}

// ---- options

void TTreeView2::SetStyle(TTreeViewStyle Value) {
    if (FStyle == Value) return;
    FStyle = Value;
    FBoxSize = Value == tvsArrows ? TDimension{12, 12} : TDimension{9, 9};
    FCache.ForEach([this](TNodeState* s) {
        s->FBoxRect.Width = FBoxSize.Width;
        s->FBoxRect.Height = FBoxSize.Height;
    });
    FRowsValid = false;
    if (FInitialized) RecalcVisible1(true);
    RepaintNodes();
}

void TTreeView2::SetShowRoot(bool Value) {
    if (FShowRoot == Value) return;
    FShowRoot = Value;
    if (!FInitialized) return;
    ClearCache();
    FFirstNode = FRootNode = FSubfocus = FSelectAnchor = FLastCalc = nullptr;
    UpdateViewState();
    Relayout();
}

void TTreeView2::SetShowRootLines(bool Value) {
    if (FShowRootLines == Value) return;
    FShowRootLines = Value;
    if (!FInitialized) return;
    UpdateViewState();
    RefreshWalk(FRootNode);
    Relayout();
}

void TTreeView2::SetBoxSize(TDimension Value) {
    FBoxSize = Value;
    FCache.ForEach([&](TNodeState* s) {
        s->FBoxRect.Width = Value.Width;
        s->FBoxRect.Height = Value.Height;
    });
    Relayout();
}
void TTreeView2::SetVgap(int Value) {
    FVgap = Value;
    Relayout();
}
void TTreeView2::SetHIndent(int Value) {
    FHIndent = Value;
    Relayout();
}
void TTreeView2::SetItemOffset(int Value) {
    FItemOffset = Value;
    Relayout();
}
void TTreeView2::SetLeftMargin(int Value) {
    FLeftMargin = Value;
    Relayout();
}
void TTreeView2::SetTopMargin(int Value) {
    FTopMargin = Value;
    Relayout();
}
void TTreeView2::SetMargins(const TInsets& Value) {
    FMargins = Value;
    Relayout();
}
void TTreeView2::SetAlignment(TAlignment Value) {
    FAlignment = Value;
    RepaintNodes();
}

void TTreeView2::SetBatchMode(bool Value) {
    if (FBatchMode == Value) return;
    FBatchMode = Value;
    if (!FBatchMode && FHost && FHost->IsShowing()) {
        RepaintNodes();
        DoLayout();
    }
}

}  // namespace ide
