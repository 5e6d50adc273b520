// The contracts of the model-driven views: the graph view, the view manager
// that hands out painters, the node-state handle, the tree event, and the
// window side that a view's logic asks for (TViewHost).
#pragma once

#include "foundation/IDEMulticast.h"
#include "foundation/Mailbox.h"
#include "model/IDEModel.h"
#include "views/IDEItem.h"

namespace ide {

class TNodeState;

// The deferred messages of the views: recalculate the rows, lay the pane
// out. Posted through the view's mailbox, coalesced by IsPending.
enum : int { DeferRecalcVisibleMsg = 0xB120, DeferDoLayoutMsg = 0xB121 };

// Tree events: a node was expanded (1000) or collapsed (1001).
enum : int { TREE_EXPANDED = 1000, TREE_COLLAPSED = 1001 };

// Subfocus events.
enum : int { SUBFOCUS_CHANGING = 1, SUBFOCUS_CHANGED = 2 };

struct INodeState : virtual IInterface {
    IDE_INTERFACE(INodeState, "89F57332-0795-11D1-9ADF-0000C0091B45")
    virtual TNodeState* Ptr() = 0;
};

struct IGraphViewManager : virtual IInterface {
    IDE_INTERFACE(IGraphViewManager, "EBC71564-FEAB-11D0-8415-00A0248E4C5A")
    virtual IntfRef<IItemPainter> GetPainter(const IntfRef<IGraphLocation>& Node, const IntfRef<IInterface>& Data,
                                             TItemStates State) = 0;
    virtual IntfRef<IInterface> GetEditor(const IntfRef<IGraphLocation>& Node, const IntfRef<IInterface>& Data,
                                          TItemStates State) = 0;
    virtual void ClearEditor(const IntfRef<IInterface>& Editor) = 0;
};

struct IGraphView : virtual IInterface {
    IDE_INTERFACE(IGraphView, "BE4B2031-FEF2-11D0-AE8B-0020AF32BB01")
    virtual IntfRef<IGraphModel> GetModel() = 0;
    virtual void SetModel(const IntfRef<IGraphModel>& Model) = 0;
    virtual IntfRef<IWritableGraphModel> GetWriteModel() = 0;
    virtual void AddModelListener(const IntfRef<IGraphModelListener>& Listener) = 0;
    virtual void RemoveModelListener(const IntfRef<IGraphModelListener>& Listener) = 0;
    virtual bool IsReadOnly() = 0;
    virtual void SetReadOnly(bool Value) = 0;
    virtual IntfRef<IGraphViewManager> GetViewManager() = 0;
    virtual void SetViewManager(const IntfRef<IGraphViewManager>& Manager) = 0;
    virtual IntfRef<IGraphLocation> GetSubfocus() = 0;
    virtual void SetSubfocus(const IntfRef<IGraphLocation>& Location) = 0;
    virtual void AddSubfocusListener(const IntfRef<IGraphSubfocusListener>& Listener) = 0;
    virtual void RemoveSubfocusListener(const IntfRef<IGraphSubfocusListener>& Listener) = 0;
    virtual IntfRef<IWritableGraphSelection> GetSelection() = 0;
    virtual void SetSelection(const IntfRef<IWritableGraphSelection>& Selection) = 0;
    virtual void AddSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) = 0;
    virtual void RemoveSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) = 0;
};

// A manager that answers the same painter and editor whatever it is asked.
// Thread: UI thread only.
class TBasicViewManager : public TInterfacedObject, public virtual IGraphViewManager {
public:
    explicit TBasicViewManager(IntfRef<IItemPainter> Painter = nullptr, IntfRef<IInterface> Editor = nullptr)
        : FPainter(std::move(Painter)), FEditor(std::move(Editor)) {}
    IntfRef<IItemPainter> GetPainter(const IntfRef<IGraphLocation>&, const IntfRef<IInterface>&, TItemStates) override {
        return FPainter;
    }
    IntfRef<IInterface> GetEditor(const IntfRef<IGraphLocation>&, const IntfRef<IInterface>&, TItemStates) override {
        return FEditor;
    }
    void ClearEditor(const IntfRef<IInterface>&) override {}
    void SetPainter(IntfRef<IItemPainter> Painter) { FPainter = std::move(Painter); }

private:
    IntfRef<IItemPainter> FPainter;
    IntfRef<IInterface> FEditor;
};

// Thread: UI thread only.
class TTreeEvent : public TDispatchableEvent, public virtual ITreeEvent {
public:
    TTreeEvent(IntfRef<IInterface> Source, int Id, IntfRef<IGraphLocation> Node)
        : TDispatchableEvent(std::move(Source)), FId(Id), FNode(std::move(Node)) {}
    IntfRef<IGraphLocation> GetLocation() override { return FNode; }
    int GetId() override { return FId; }
    void Dispatch(const IntfRef<IEventListener>& L) override;

private:
    int FId;
    IntfRef<IGraphLocation> FNode;
};

// What a view's logic needs of its window. Coordinates are the control's
// client coordinates unless said otherwise. A view without a host (or with
// a host without a window) keeps its state and lays out on demand.
class TViewHost {
public:
    virtual ~TViewHost() = default;
    // The window exists: deferred messages and invalidation make sense.
    virtual bool HasHandle() = 0;
    virtual bool IsShowing() = 0;
    virtual TDimension GetClientSize() = 0;
    virtual TPoint GetScrollPosition() = 0;
    virtual void SetScrollPosition(int X, int Y) = 0;
    // The size of the scrolled content; the bars cover it.
    virtual void SetScrollRange(int Width, int Height) = 0;
    virtual void SetVerticalIncrement(int Value) = 0;
    virtual void Invalidate(const TRect& R, bool Erase) = 0;
    virtual void InvalidateAll() = 0;
    // A canvas for measuring at any time.
    virtual TCanvas* GetMeasureCanvas() = 0;
};

}  // namespace ide
