// Events of the graph model, its subfocus and its selection; the selection
// multicaster; the model multicaster that merges a batch of changes into one
// event; and the set-shaped graph selections.
#pragma once

#include <mutex>

#include "model/IDEModelImpl.h"

namespace ide {

// A change of a graph model. The id (low four bits of the change) picks the
// listener method: 1 ModelContentChanged, 2 ModelStructureChanged, any other
// id nothing.
class TGraphModelEvent : public TModelEvent, public virtual IGraphModelEvent {
public:
    TGraphModelEvent(const IntfRef<IGraphModel>& Model, int Change, const IntfRef<IGraphLocation>& Location = nullptr)
        : TModelEvent(Model, Change), FModel(Model), FChange(Change), FLocation(Location) {}
    IntfRef<IGraphModel> GetModel() override { return FModel; }
    int GetChange() override { return FChange; }
    IntfRef<IGraphLocation> GetLocation() override { return FLocation; }
    void Dispatch(const IntfRef<IEventListener>& L) override;

private:
    IntfRef<IGraphModel> FModel;
    int FChange;
    IntfRef<IGraphLocation> FLocation;
};

// One object for both phases of a subfocus change: VetoableDispatch asks
// SubfocusChanging (a listener vetoes by raising EVetoException), Dispatch
// tells SubfocusChanged.
class TGraphSubfocusEvent : public TSubfocusEvent,
                            public virtual IGraphSubfocusEvent,
                            public virtual IVetoableDispatch {
public:
    TGraphSubfocusEvent(IntfRef<IInterface> Source, int Id, const IntfRef<IGraphLocation>& Location)
        : TSubfocusEvent(std::move(Source), Id), FLocation(Location) {}
    IntfRef<IGraphLocation> GetLocation() override { return FLocation; }
    void Dispatch(const IntfRef<IEventListener>& L) override;
    void VetoableDispatch(const IntfRef<IEventListener>& L) override;

private:
    IntfRef<IGraphLocation> FLocation;
};

// A change of a graph selection: id $1000 calls SelectionItemChanged, $3000
// SelectionChanged.
class TGraphSelectionEvent : public TSelectionEvent, public virtual IGraphSelectionEvent {
public:
    TGraphSelectionEvent(const IntfRef<IGraphSelection>& Selection, int Change,
                         const IntfRef<IGraphLocation>& Location = nullptr)
        : TSelectionEvent(Selection, Change), FSelection(Selection), FLocation(Location) {}
    IntfRef<IGraphSelection> GetSelection() override { return FSelection; }
    IntfRef<IGraphLocation> GetLocation() override { return FLocation; }
    void Dispatch(const IntfRef<IEventListener>& L) override;

private:
    IntfRef<IGraphSelection> FSelection;
    IntfRef<IGraphLocation> FLocation;
};

// Passes selection events on; the method comes from the event's id, read anew
// for each listener.
class TGraphSelectionMulticaster : public TTypedMulticaster<IGraphSelectionListener>,
                                   public virtual IGraphSelectionMulticaster {
public:
    void SelectionItemChanged(const IntfRef<IGraphSelectionEvent>& E) override {
        if (HasListeners()) Dispatch(E);
    }
    void SelectionChanged(const IntfRef<IGraphSelectionEvent>& E) override {
        if (HasListeners()) Dispatch(E);
    }
    void Dispatch(const IntfRef<IGraphSelectionEvent>& E);
    void Add(const IntfRef<IGraphSelectionListener>& L) override { AddListener(L); }
    void Remove(const IntfRef<IGraphSelectionListener>& L) override { RemoveListener(L); }
};

// A graph model listener that passes events on and can hold them back in a
// batch.
//
// Outside a batch every event goes to the listeners at once, in registration
// order, on a snapshot taken under the lock and called outside it. Between
// the first BeginUpdate and the EndUpdate that closes the outermost level,
// events are queued; the closing EndUpdate merges them into ONE structure
// event ($02) located at the root of the one model they came from (nil when
// that model has no root), whatever they were, and tells it. Events of two
// models in one batch raise Exception "Multiple models" and stay queued.
//
// Listeners that implement IBatchUpdate hear BeginUpdate when the outermost
// batch opens and EndUpdate after the merged event, so they see a depth of one.
// A listener added during a batch hears BeginUpdate at once; one removed
// during a batch hears EndUpdate at once.
//
// Threads. This is the one class of the model layer that may be used from
// several threads at once: raising events, opening and closing batches, and
// adding and removing listeners. One re-entrant lock (a thread may take it
// again) guards the listener list, the queue, the models and the batch
// depth. Model events reach listeners outside the lock, on a snapshot of the
// list. The IBatchUpdate calls (BeginUpdate and EndUpdate on listeners, also
// those made by Add and Remove during a batch) are made under the lock, and
// a listener may call back into the multicaster from them. Lock order: this
// lock comes before any lock of a listener. A listener whose BeginUpdate or
// EndUpdate takes a lock of its own must never call into the multicaster
// (raise an event, open or close a batch, add or remove a listener) while
// holding that lock, or two threads deadlock (docs/conventions.md).
// The lock is a guard, not a promise of order: events raised by two threads
// reach listeners in whichever order the threads take the lock, and the
// merged event of a closing batch goes out after the depth reached 0, so
// another thread may open the next batch (and its listeners hear BeginUpdate)
// before the closing one's EndUpdate calls; a listener added just then hears
// that EndUpdate without the BeginUpdate. Per batch and listener present
// throughout, BeginUpdate and EndUpdate stay paired.
// Thread: any.
class TGraphModelMulticaster : public TInterfacedObject, public virtual IGraphModelMulticaster {
public:
    TGraphModelMulticaster();
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override { Dispatch(E); }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override { Dispatch(E); }
    void Dispatch(const IntfRef<IGraphModelEvent>& E);

    // Appends without a test for duplicates.
    void Add(const IntfRef<IGraphModelListener>& Listener) override;
    void Remove(const IntfRef<IGraphModelListener>& Listener) override;
    void BeginUpdate() override;
    // At the outermost level: DispatchUpdates, then IBatchUpdate.EndUpdate on
    // the listeners (also when DispatchUpdates raised, so that no listener is
    // left inside a batch; the exception then goes on). An EndUpdate with no
    // batch open does nothing.
    void EndUpdate() override;
    int Find(const IntfRef<IGraphModelListener>& Listener);
    bool HasListeners();

    int GetUpdateCount() const;
    // The number of events held back.
    int GetPendingCount();

protected:
    // Merges the queue and tells the listeners; nothing when it is empty.
    virtual void DispatchUpdates();

private:
    template <class F>
    void ForEachBatchListener(F&& f);

    // All guarded by FLock.
    IntfRef<IInterfaceList> FListeners;
    IntfRef<IInterfaceList> FUpdates;  // created on first need
    IntfRef<IInterfaceList> FModels;   // created on first need
    int FUpdateCount = 0;
    mutable std::recursive_mutex FLock;
};

// A set of graph locations, compared by reference.
class TBasicGraphSelection : public TBasicSelection, public virtual IWritableGraphSelection {
public:
    TBasicGraphSelection() = default;
    // A selection holding NewSet (as Put).
    static IntfRef<TBasicGraphSelection> Create2(const IntfRef<IInterfaceList>& NewSet);

    // False for nil.
    bool Contains(const IntfRef<IGraphLocation>& Location) override;
    int GetCount() override { return TBasicSelection::GetCount(); }
    // A copy of the selected locations.
    IntfRef<IInterfaceList> GetAll() override { return CloneInterfaceList(FArray); }
    void AddSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) override {
        FSelectionListeners.Add(Listener);
    }
    void RemoveSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) override {
        FSelectionListeners.Remove(Listener);
    }
    // Replaces the selection with the entries, duplicates and all; $3002
    // always.
    void Put(const IntfRef<IInterfaceList>& Locations) override;
    // $1001 with the location when it was not selected yet.
    void Add(const IntfRef<IGraphLocation>& Location) override;
    // Works the list off only up to the first entry that changes the
    // selection; later entries are left alone. $3002 when one changed it.
    void Add2(const IntfRef<IInterfaceList>& Locations) override;
    // $1002 with the location when it was selected.
    void Remove(const IntfRef<IGraphLocation>& Location) override;
    // As Add2, removing.
    void Remove2(const IntfRef<IInterfaceList>& Locations) override;
    // $3001 when there was anything.
    void RemoveAll() override;
    // Turning events back on raises $3002.
    void EnableSelectionEvents(bool Enable) override;

private:
    IntfRef<TGraphSelectionEvent> NewEvent(int Change, const IntfRef<IGraphLocation>& Location = nullptr);
};

// The selection of a view that selects nothing.
class TNullGraphSelection : public TInterfacedObject, public virtual IWritableGraphSelection {
public:
    bool Contains(const IntfRef<IGraphLocation>&) override { return false; }
    int GetCount() override { return 0; }
    IntfRef<IInterfaceList> GetAll() override { return NewInterfaceList(); }
    void AddSelectionListener(const IntfRef<IGraphSelectionListener>&) override {}
    void RemoveSelectionListener(const IntfRef<IGraphSelectionListener>&) override {}
    void Put(const IntfRef<IInterfaceList>&) override {}
    void Add(const IntfRef<IGraphLocation>&) override {}
    void Add2(const IntfRef<IInterfaceList>&) override {}
    void Remove(const IntfRef<IGraphLocation>&) override {}
    void Remove2(const IntfRef<IInterfaceList>&) override {}
    void RemoveAll() override {}
    void EnableSelectionEvents(bool) override {}
};

}  // namespace ide
