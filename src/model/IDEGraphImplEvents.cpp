#include "model/IDEGraphImplEvents.h"

namespace ide {

// ---- events ------------------------------------------------------------------

namespace {
// Selection events call SelectionItemChanged for an item id and
// SelectionChanged for a whole-selection id; a graph selection has no ranges.
void CallGraphSelectionListener(const IntfRef<IGraphSelectionListener>& L, const IntfRef<IGraphSelectionEvent>& E) {
    switch (E->GetId()) {
        case scItem: L->SelectionItemChanged(E); break;
        case scWhole: L->SelectionChanged(E); break;
        default: break;
    }
}
}  // namespace

void TGraphModelEvent::Dispatch(const IntfRef<IEventListener>& L) {
    CallModelListener(As<IGraphModelListener>(L), IntfRef<IGraphModelEvent>::Retain(this));
}

void TGraphSubfocusEvent::Dispatch(const IntfRef<IEventListener>& L) {
    As<IGraphSubfocusListener>(L)->SubfocusChanged(IntfRef<IGraphSubfocusEvent>::Retain(this));
}

void TGraphSubfocusEvent::VetoableDispatch(const IntfRef<IEventListener>& L) {
    As<IGraphSubfocusListener>(L)->SubfocusChanging(IntfRef<IGraphSubfocusEvent>::Retain(this));
}

void TGraphSelectionEvent::Dispatch(const IntfRef<IEventListener>& L) {
    CallGraphSelectionListener(As<IGraphSelectionListener>(L), IntfRef<IGraphSelectionEvent>::Retain(this));
}

void TGraphSelectionMulticaster::Dispatch(const IntfRef<IGraphSelectionEvent>& E) {
    DispatchEach(E, CallGraphSelectionListener);
}

// ---- TGraphModelMulticaster --------------------------------------------------

TGraphModelMulticaster::TGraphModelMulticaster() : FListeners(NewInterfaceList()) {}

void TGraphModelMulticaster::Dispatch(const IntfRef<IGraphModelEvent>& E) {
    IntfRef<IGraphModelEvent> event(E);
    std::unique_lock<std::recursive_mutex> lock(FLock);
    if (FUpdateCount < 1) {
        if (FListeners->GetCount() == 0) return;
        IntfRef<IInterfaceList> listeners = CloneInterfaceList(FListeners);
        lock.unlock();
        ForEachItem(listeners.get(), [&](const IntfRef<IInterface>& l) {
            CallModelListener(As<IGraphModelListener>(l), event);
        });
        return;
    }
    if (!FModels) FModels = NewInterfaceList();
    IntfRef<IInterface> model(event->GetModel());
    if (FModels->IndexOf(model) < 0) FModels->Add(model);
    if (!FUpdates) FUpdates = NewInterfaceList();
    FUpdates->Add(event);
}

template <class F>
void TGraphModelMulticaster::ForEachBatchListener(F&& f) {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    // A snapshot, so that a listener may add or remove listeners meanwhile.
    IntfRef<IInterfaceList> listeners = CloneInterfaceList(FListeners);
    ForEachItem(listeners.get(), [&](const IntfRef<IInterface>& l) {
        if (auto batch = Supports<IBatchUpdate>(l)) f(batch);
    });
}

// The listeners hear BeginUpdate before the depth counts the new batch, as
// when the depth was changed outside the lock; taking the lock once for both
// keeps another thread from opening a second outermost batch in between.
void TGraphModelMulticaster::BeginUpdate() {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (FUpdateCount == 0) ForEachBatchListener([](const IntfRef<IBatchUpdate>& b) { b->BeginUpdate(); });
    ++FUpdateCount;
}

void TGraphModelMulticaster::EndUpdate() {
    {
        std::lock_guard<std::recursive_mutex> lock(FLock);
        if (FUpdateCount <= 0) return;
        if (--FUpdateCount > 0) return;
    }
    // The merged event goes out with the lock released (DispatchUpdates takes
    // it only to take the queue); the batch listeners then hear EndUpdate
    // under it.
    try {
        DispatchUpdates();
    } catch (...) {
        ForEachBatchListener([](const IntfRef<IBatchUpdate>& b) { b->EndUpdate(); });
        throw;
    }
    ForEachBatchListener([](const IntfRef<IBatchUpdate>& b) { b->EndUpdate(); });
}

void TGraphModelMulticaster::DispatchUpdates() {
    std::unique_lock<std::recursive_mutex> lock(FLock);
    if (!FUpdates || FUpdates->GetCount() == 0) return;
    if (FModels && FModels->GetCount() >= 2) throw Exception("Multiple models");
    IntfRef<IGraphModel> model = FModels && FModels->GetCount() == 1 ? As<IGraphModel>(FModels->Get(0)) : nullptr;
    IntfRef<IGraphLocation> root = model ? model->GetRoot() : nullptr;
    IntfRef<IInterfaceList> merged = NewInterfaceList();
    merged->Add(IntfRef<IGraphModelEvent>(Make<TGraphModelEvent>(model, mcStructure, root)));
    FUpdates->Clear();
    if (FModels) FModels->Clear();
    IntfRef<IInterfaceList> listeners = CloneInterfaceList(FListeners);
    lock.unlock();
    ForEachItem(listeners.get(), [&](const IntfRef<IInterface>& l) {
        auto listener = As<IGraphModelListener>(l);
        for (int i = merged->GetCount() - 1; i >= 0; --i)
            CallModelListener(listener, As<IGraphModelEvent>(merged->Get(i)));
    });
}

void TGraphModelMulticaster::Add(const IntfRef<IGraphModelListener>& Listener) {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (FUpdateCount > 0)
        if (auto batch = Supports<IBatchUpdate>(Listener)) batch->BeginUpdate();
    FListeners->Add(Listener);
}

void TGraphModelMulticaster::Remove(const IntfRef<IGraphModelListener>& Listener) {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    FListeners->Remove(Listener);
    if (FUpdateCount > 0)
        if (auto batch = Supports<IBatchUpdate>(Listener)) batch->EndUpdate();
}

int TGraphModelMulticaster::GetUpdateCount() const {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    return FUpdateCount;
}

int TGraphModelMulticaster::Find(const IntfRef<IGraphModelListener>& Listener) {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    return FListeners->IndexOf(Listener);
}

bool TGraphModelMulticaster::HasListeners() {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    return FListeners->GetCount() > 0;
}

int TGraphModelMulticaster::GetPendingCount() {
    std::lock_guard<std::recursive_mutex> lock(FLock);
    return FUpdates ? FUpdates->GetCount() : 0;
}

// ---- TBasicGraphSelection ----------------------------------------------------

IntfRef<TBasicGraphSelection> TBasicGraphSelection::Create2(const IntfRef<IInterfaceList>& NewSet) {
    auto selection = Make<TBasicGraphSelection>();
    selection->Put(NewSet);
    return selection;
}

IntfRef<TGraphSelectionEvent> TBasicGraphSelection::NewEvent(int Change, const IntfRef<IGraphLocation>& Location) {
    return Make<TGraphSelectionEvent>(IntfRef<IGraphSelection>::Retain(this), Change, Location);
}

bool TBasicGraphSelection::Contains(const IntfRef<IGraphLocation>& Location) {
    if (!Location) return false;
    return FArray->IndexOf(Location) >= 0;
}

void TBasicGraphSelection::Put(const IntfRef<IInterfaceList>& Locations) {
    DoRemoveAll();
    if (Locations) ForEachItem(Locations.get(), [&](const IntfRef<IInterface>& item) { FArray->Add(item); });
    ProcessSelectionEvent(NewEvent(scChanged));
}

void TBasicGraphSelection::Add(const IntfRef<IGraphLocation>& Location) {
    if (DoAdd(Location)) ProcessSelectionEvent(NewEvent(scItemAdded, Location));
}

void TBasicGraphSelection::Add2(const IntfRef<IInterfaceList>& Locations) {
    bool changed = false;
    if (Locations)
        ForEachItem(Locations.get(), [&](const IntfRef<IInterface>& item) {
            if (!changed) changed = DoAdd(item);
        });
    if (changed) ProcessSelectionEvent(NewEvent(scChanged));
}

void TBasicGraphSelection::Remove(const IntfRef<IGraphLocation>& Location) {
    if (DoRemove(Location)) ProcessSelectionEvent(NewEvent(scItemRemoved, Location));
}

void TBasicGraphSelection::Remove2(const IntfRef<IInterfaceList>& Locations) {
    bool changed = false;
    if (Locations)
        ForEachItem(Locations.get(), [&](const IntfRef<IInterface>& item) {
            if (!changed) changed = DoRemove(item);
        });
    if (changed) ProcessSelectionEvent(NewEvent(scChanged));
}

void TBasicGraphSelection::RemoveAll() {
    if (DoRemoveAll()) ProcessSelectionEvent(NewEvent(scCleared));
}

void TBasicGraphSelection::EnableSelectionEvents(bool Enable) {
    SetSelectionEvents(Enable, [this] { return NewEvent(scChanged); });
}

}  // namespace ide
