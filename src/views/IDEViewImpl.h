// TTreeView2: an IGraphModel shown as an indented list of rows.
//
// The view keeps one TNodeState per location it has seen (found by the
// location's IHashObject), links the rows on show into a doubly linked list
// and lays them out with integer arithmetic: a row at level L has its box at
// X = L * HIndent + LeftMargin and its item ItemOffset further right, rows
// stacked by their items' preferred heights. Model events update the states
// and post one deferred recalculation (coalesced through the mailbox); any
// caller that needs current rows runs PendingRecalcVisible first.
//
// Everything here is plain C++; the window side (scroll bars, invalidation,
// the paint event, input) is a TViewHost (platform: the Qt tree widget).
// Row lookup by Y is a binary search over the rows of the last layout.
//
// Kept behaviour worth knowing (each pinned by a test):
// - a point in the gap under the last row but inside the canvas hits the
//   first row;
// - both preset lists expand: Collapse before initialisation expands too;
// - expansion events fire before the change, and nothing can stop them;
// - collapsing keeps the descendants' states: an expanded child comes back
//   expanded;
// - a location without IHashObject gets no state, and RecalcVisible2 stops
//   there, hiding its following siblings too;
// - unbatched, every structure event sweeps all states: many single inserts
//   cost quadratic time; batch them in the model's multicaster.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "foundation/OwnedInterface.h"
#include "views/IDEView.h"
#include "views/NodeStateTable.h"

namespace ide {

class TTreeView2;

enum TTreeViewStyle { tvsPluses, tvsArrows };
enum TNodeFlag { nfNoBoxRect, nfNoItemRect };
using TNodeFlags = TSet<TNodeFlag>;

// The view's memory of one location.
// Thread: UI thread only.
class TNodeState : public TInterfacedObject, public virtual INodeState {
public:
    TNodeState(TTreeView2* Core, IntfRef<IGraphLocation> Node, int Level, bool Expanded);
    TNodeState* Ptr() override { return this; }

    // 1 in the item, 2 in the box of a node with children, else 0 (canvas
    // coordinates).
    int HitTest(int X, int Y);
    // Walks from this node up by GetParent: a node is its own descendant.
    bool IsDescendentOf(const IntfRef<IGraphLocation>& Location);
    IntfRef<IGraphLocation> GetNextSibling();
    void Update(int Level) {
        FLevel = Level;
        FInUse = true;
    }

    TTreeView2* FCore;
    bool FExpanded;
    bool FSelected = false;
    IntfRef<IGraphLocation> FNode;
    int FLevel;
    int FLineNumber = 0;
    TRectangle FBoxRect;
    TRectangle FItemRect;
    TNodeState* FPrevVisible = nullptr;
    TNodeState* FNextVisible = nullptr;
    bool FInUse = true;
    TNodeFlags FNodeFlags{nfNoBoxRect, nfNoItemRect};
};

// Thread: UI thread only.
class TTreeView2 : public TOwnedInterfacedObject,
                   public virtual IGraphView,
                   public virtual IGraphModelListener,
                   public virtual IGraphSelectionListener,
                   public virtual IItemEditSite,
                   public virtual IBatchUpdate {
public:
    explicit TTreeView2(TViewHost* Host = nullptr);
    ~TTreeView2() override;

    // ---- the window side
    void SetHost(TViewHost* Host) { FHost = Host; }
    TViewHost* GetHost() const { return FHost; }
    // The mailbox of the deferred messages (a queued one until the window
    // gives its own).
    void SetMailbox(std::unique_ptr<TMailbox> Mailbox);
    TMailbox& Mailbox() { return *FMailbox; }
    // The window shows for the first time: initialise.
    void AddNotify();

    // ---- IGraphView
    IntfRef<IGraphModel> GetModel() override { return FModel; }
    void SetModel(const IntfRef<IGraphModel>& Model) override;
    IntfRef<IWritableGraphModel> GetWriteModel() override { return FWriteModel; }
    void AddModelListener(const IntfRef<IGraphModelListener>& Listener) override;
    void RemoveModelListener(const IntfRef<IGraphModelListener>& Listener) override;
    bool IsReadOnly() override { return FReadOnly || !FWriteModel; }
    void SetReadOnly(bool Value) override { FReadOnly = Value; }
    IntfRef<IGraphViewManager> GetViewManager() override { return FViewManager; }
    void SetViewManager(const IntfRef<IGraphViewManager>& Manager) override;
    IntfRef<IGraphLocation> GetSubfocus() override;
    void SetSubfocus(const IntfRef<IGraphLocation>& Location) override;
    void AddSubfocusListener(const IntfRef<IGraphSubfocusListener>& Listener) override { FSubfocusListeners.Add(Listener); }
    void RemoveSubfocusListener(const IntfRef<IGraphSubfocusListener>& Listener) override {
        FSubfocusListeners.Remove(Listener);
    }
    IntfRef<IWritableGraphSelection> GetSelection() override { return FSelection; }
    void SetSelection(const IntfRef<IWritableGraphSelection>& Selection) override;
    void AddSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) override;
    void RemoveSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) override;
    bool CanModify(const IntfRef<IGraphLocation>& Location);

    // ---- model and selection events
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override;
    void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override;
    void SelectionItemChanged(const IntfRef<IGraphSelectionEvent>& E) override;
    void SelectionChanged(const IntfRef<IGraphSelectionEvent>& E) override;

    // ---- paint and edit site
    TColor GetBackground() override { return FColor; }
    TColor GetForeground() override { return FFont.Color(); }
    TFont* GetFont() override { return &FFont; }
    TAlignment GetAlignment() override { return FAlignment; }
    TInsets GetItemMargins() override { return FMargins; }
    void EndEdit(bool) override {}
    TPoint GetEditClickPoint() override { return FEditClickPoint; }
    TCanvas* GetSiteGraphics() override { return FHost ? FHost->GetMeasureCanvas() : nullptr; }

    // ---- batches (of the pane)
    void BeginUpdate() override { ++FPaneUpdateCount; }
    void EndUpdate() override;

    // ---- states and layout
    TNodeState* GetViewState(const IntfRef<IGraphLocation>& Location);
    void UpdateViewState();
    void RecalcVisible(bool Validate);
    void RecalcVisible1(bool DoLayout);
    void PendingRecalcVisible();
    void UpdateNodeRect(TNodeState* Node, TCanvas* G);
    void UpdateNodeRects(TNodeState* Node, TCanvas* G);
    TDimension GetPreferredSize();
    void Initialize(TCanvas* Canvas);
    bool IsInitialized() const { return FInitialized; }

    // ---- hit tests (canvas coordinates, except HitTest)
    TNodeState* HitTestY(int Y);
    TNodeState* HitTestLine(int Line);
    // Client coordinates; the location whose item is under the point.
    IntfRef<IGraphLocation> HitTest(int XPos, int YPos);

    // ---- expanding
    bool IsExpanded(const IntfRef<IGraphLocation>& Location);
    bool ExpandNode(TNodeState* Node, bool Expand, bool Scroll);
    void Expand(const IntfRef<IGraphLocation>& Location);
    void Collapse(const IntfRef<IGraphLocation>& Location);
    void ExpandAll(const IntfRef<IGraphLocation>& Location);
    void CollapseAll(const IntfRef<IGraphLocation>& Location);
    void AddTreeListener(const IntfRef<ITreeListener>& Listener) { FTreeListeners.Add(Listener); }
    void RemoveTreeListener(const IntfRef<ITreeListener>& Listener) { FTreeListeners.Remove(Listener); }

    // ---- subfocus and selection
    // Moves the subfocus with selection flags; false when vetoed.
    bool SetSubfocus2(TNodeState* Node, TSet<TSelectFlag> Flags);
    TItemStates GetState(TNodeState* Node);
    void SetHasFocus(bool Value);
    bool HasFocus() const { return FHasFocus; }

    // ---- painting (canvas coordinates: the host translates by the scroll
    // position) and repainting
    void Paint2(TCanvas& Canvas, const TRect& ClipBox);
    void PaintNode(TCanvas& G, TNodeState* Node);
    void RepaintNode(TNodeState* Node);
    void RepaintToEnd(TNodeState* Node);
    void RepaintNodes();
    void RepaintSelection();
    bool IsVisible(TNodeState* Node);

    // ---- scrolling and the pane
    void ScrollView(TNodeState* Node, TNodeState* Last = nullptr);
    void ScrollExpanded(TNodeState* Node);
    void DoLayout();
    void DoLayout2();
    TDimension GetViewportSize();
    TPoint GetScrollPosition();
    void SetScrollPosition(int X, int Y);
    const TInsets& GetInsets() const { return FInsets; }
    void SetInsets(const TInsets& Value) { FInsets = Value; }

    // ---- input (client coordinates); answers whether anything happened
    bool MouseDown(int X, int Y, bool Shift, bool Ctrl, int ClickCount);
    bool KeyDown(int Key, bool Shift, bool Ctrl);

    // The row of the first node, depth first over all nodes, whose text
    // equals Text (Exact: ordinal; else ignoring case); -1 when none.
    int FindRowForText(const String& Text, bool Exact);

    // ---- options
    TTreeViewStyle GetStyle() const { return FStyle; }
    void SetStyle(TTreeViewStyle Value);
    bool GetShowRoot() const { return FShowRoot; }
    void SetShowRoot(bool Value);
    bool GetShowRootLines() const { return FShowRootLines; }
    void SetShowRootLines(bool Value);
    bool GetMultiSelect() const { return FMultiSelect; }
    void SetMultiSelect(bool Value) { FMultiSelect = Value; }
    bool GetExpandByDefault() const { return FExpandByDefault; }
    void SetExpandByDefault(bool Value) { FExpandByDefault = Value; }
    void SetBoxSize(TDimension Value);
    void SetVgap(int Value);
    void SetHIndent(int Value);
    void SetItemOffset(int Value);
    void SetLeftMargin(int Value);
    void SetTopMargin(int Value);
    void SetMargins(const TInsets& Value);
    void SetAlignment(TAlignment Value);
    void SetBatchMode(bool Value);
    bool GetBatchMode() const { return FBatchMode; }
    void SetShowFocus(bool Value) { FShowFocus = Value; }
    void SetHSnap(bool Value) { FHSnap = Value; }
    void SetColor(TColor Value) { FColor = Value; }
    TFont& Font() { return FFont; }

    // ---- read-outs for tests and the window side
    TNodeState* FirstNode() const { return FFirstNode; }
    TNodeState* RootNode() const { return FRootNode; }
    TNodeState* LastNode() const { return FLastCalc; }
    TNodeState* SubfocusNode() const { return FSubfocus; }
    int LineCount() const { return FLineCount; }
    int CanvasWidth() const { return FCanvasWidth; }
    int CanvasHeight() const { return FCanvasHeight; }
    int StateCount() const { return static_cast<int>(FCache.Count()); }
    int RecalcCount() const { return FRecalcCount; }
    TDimension BoxSize() const { return FBoxSize; }
    int TopMargin() const { return FTopMargin; }

    // ---- events of the view, called ahead of the listeners
    std::function<void(TTreeView2&, const IntfRef<IGraphModelEvent>&)> OnModelStructureChanged;
    std::function<void(TTreeView2&, const IntfRef<IGraphModelEvent>&)> OnModelContentChanged;
    // Raise EVetoException to refuse the change.
    std::function<void(TTreeView2&, const IntfRef<IGraphSubfocusEvent>&)> OnSubfocusChanging;
    std::function<void(TTreeView2&, const IntfRef<IGraphSubfocusEvent>&)> OnSubfocusChanged;
    std::function<void(TTreeView2&, const IntfRef<IGraphSelectionEvent>&)> OnSelectionItemChanged;
    std::function<void(TTreeView2&, const IntfRef<IGraphSelectionEvent>&)> OnSelectionChanged;
    std::function<void(TTreeView2&, const IntfRef<ITreeEvent>&)> OnNodeExpanded;
    std::function<void(TTreeView2&, const IntfRef<ITreeEvent>&)> OnNodeCollapsed;
    // May change the scroll range that layout computed.
    std::function<void(TTreeView2&, TDimension&)> OnOverrideScrollRange;

private:
    friend class TNodeState;
    IntfRef<IInterface> Self();
    void HandleMessage(TMessage& M);
    bool ShouldExpandLoc(const IntfRef<IGraphLocation>& Location);
    bool ShouldExpandNode(TNodeState* Node);
    void UpdateViewState2(const IntfRef<IGraphLocation>& Location, int Level);
    void CleanViewState();
    void PutViewState(const IntfRef<IGraphLocation>& Location, IntfRef<TNodeState> State);
    void ClearCache();
    void ReleaseSwept();
    int RecalcVisible2(const IntfRef<IGraphLocation>& Location, int Y);
    void RefreshWalk(TNodeState* Node);
    void ProcessTreeEvent(const IntfRef<ITreeEvent>& E);
    void ExpandChildNodes(const IntfRef<IGraphLocation>& Location, bool Expand);
    IntfRef<IGraphLocation> GetFirst();
    void RemovedLocation(const IntfRef<IGraphLocation>& Location);
    void PaintItem(TCanvas& G, TNodeState* Node);
    void PaintBox(TCanvas& G, TNodeState* Node);
    void PaintArrow(TCanvas& G, TNodeState* Node);
    void PaintLines(TCanvas& G, TNodeState* Node);
    int BoxLeftOf(int Level) const;
    void Relayout();
    // Stores a measured item size, keeping the index of row bottoms current.
    void SetItemSize(TNodeState* Node, TDimension Size);
    TRect ToClient(const TRectangle& R);

    TViewHost* FHost;
    std::unique_ptr<TMailbox> FMailbox;
    bool FShouldValidate = false;
    IntfRef<IGraphModel> FModel;
    IntfRef<IWritableGraphModel> FWriteModel;
    IntfRef<IGraphViewManager> FViewManager;
    IntfRef<IWritableGraphSelection> FSelection;
    bool FReadOnly = false;
    TNodeState* FSelectAnchor = nullptr;
    TNodeState* FSubfocus = nullptr;
    TPoint FEditClickPoint;
    bool FSnapOrigin = true;
    bool FExpandByDefault = false;
    bool FHasFocus = false;
    bool FShowFocus = true;
    bool FShowRoot = true;
    bool FShowRootLines = true;
    TNodeStateTable FCache;
    std::vector<IntfRef<TNodeState>> FSwept;  // kept alive until the next layout relinks the rows
    TNodeState* FFirstNode = nullptr;
    TNodeState* FRootNode = nullptr;
    TNodeState* FLastCalc = nullptr;
    std::vector<TNodeState*> FRows;  // the rows of the last layout, by line
    std::vector<int> FRowBottoms;    // their item bottoms, side by side: the lookup by Y reads only these
    TNodeState* FLayoutHint = nullptr;  // during a layout: the row that came next in the last one
    bool FRowsValid = false;
    TTreeViewStyle FStyle = tvsPluses;
    int FCanvasWidth = 0, FCanvasHeight = 0;
    int FRepaintNodeTop = 0;
    int FLineCount = 0;
    int FRecalcCount = 0;
    bool FInitialized = false;
    std::vector<IntfRef<IGraphLocation>> FPresetExpandList, FPresetCollapseList;
    bool FHSnap = false;
    bool FBatchMode = false;
    bool FMultiSelect = true;
    TInsets FMargins{2, 2, 2, 1};
    int FLeftMargin = 5;
    int FTopMargin = 0;
    TAlignment FAlignment;
    TDimension FBoxSize{9, 9};
    int FVgap = 0;
    int FHIndent = 19;
    int FItemOffset = 14;
    TEventMulticaster FTreeListeners, FSubfocusListeners;
    IntfRef<IGraphModelMulticaster> FModelMulticaster;
    IntfRef<IGraphSelectionMulticaster> FSelectionMulticaster;
    int FUpdateCount = 0;      // blocks recalculation inside ExpandNode
    int FPaneUpdateCount = 0;  // BeginUpdate/EndUpdate of the pane
    TInsets FInsets;
    TColor FColor = clWindow;
    TFont FFont;
};

}  // namespace ide
