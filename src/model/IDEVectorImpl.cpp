#include "model/IDEVectorImpl.h"

#include <algorithm>

namespace ide {

// ---- events and multicasters ------------------------------------------------

namespace {
void CallSelectionMethod(const IntfRef<IVectorSelectionListener>& L, const IntfRef<IVectorSelectionEvent>& E) {
    switch (E->GetId()) {
        case scItem: L->SelectionItemChanged(E); break;
        case scRange: L->SelectionRangeChanged(E); break;
        case scWhole: L->SelectionChanged(E); break;
        default: break;
    }
}
}  // namespace

void TVectorModelEvent::Dispatch(const IntfRef<IEventListener>& L) {
    CallModelListener<IVectorModelListener, IVectorModelEvent>(BorrowAs<IVectorModelListener>(L.get()),
                                                               Borrowed<IVectorModelEvent>(this));
}

void TVectorSubfocusEvent::Dispatch(const IntfRef<IEventListener>& L) {
    AsPtr<IVectorSubfocusListener>(L.get())->SubfocusChanged(Borrowed<IVectorSubfocusEvent>(this));
}

void TVectorSubfocusEvent::VetoableDispatch(const IntfRef<IEventListener>& L) {
    AsPtr<IVectorSubfocusListener>(L.get())->SubfocusChanging(Borrowed<IVectorSubfocusEvent>(this));
}

void TVectorSelectionEvent::Dispatch(const IntfRef<IEventListener>& L) {
    CallSelectionMethod(BorrowAs<IVectorSelectionListener>(L.get()), Borrowed<IVectorSelectionEvent>(this));
}

void TVectorModelMulticaster::Dispatch(const IntfRef<IVectorModelEvent>& E) {
    DispatchEach(E, CallModelListener<IVectorModelListener, IVectorModelEvent>);
}

void TVectorSelectionMulticaster::Dispatch(const IntfRef<IVectorSelectionEvent>& E) {
    DispatchEach(E, CallSelectionMethod);
}

// ---- container ----------------------------------------------------------------

IntfRef<TBasicVectorContainer> TBasicVectorContainer::Create2(int Size) {
    auto c = Make<TBasicVectorContainer>();
    c->FArray->SetCapacity(Size);
    return c;
}

IntfRef<TBasicVectorContainer> TBasicVectorContainer::Create3(int, const IntfRef<IInterface>&) {
    return Make<TBasicVectorContainer>();
}

IntfRef<TBasicVectorContainer> TBasicVectorContainer::Create4(const IntfRef<IInterfaceList>&) {
    return Make<TBasicVectorContainer>();
}

void TBasicVectorContainer::ProcessModelEvent(const IntfRef<IModelEvent>& E) {
    if (!FEvents) return;
    if (!FModelListeners.HasListeners()) return;
    FModelListeners.Dispatch(E);
}

void TBasicVectorContainer::Raise(int Change, int Location) {
    ProcessModelEvent(Make<TVectorModelEvent>(IntfRef<IVectorModel>::Retain(this), Change, Location));
}

void TBasicVectorContainer::SetItems(const IntfRef<IInterfaceList>& NewItems) {
    FArray = CloneInterfaceList(NewItems);
    Raise(mcStructure);
}

IntfRef<IInterface> TBasicVectorContainer::Get(int Index) {
    if (Index < 0 || Index >= FArray->GetCount()) return nullptr;
    return FArray->Get(Index);
}

void TBasicVectorContainer::SetCount(int Count) {
    if (!FVariableSize || Count == FArray->GetCount()) return;
    while (FArray->GetCount() > Count) FArray->Delete(FArray->GetCount() - 1);
    while (FArray->GetCount() < Count) FArray->Add(nullptr);
}

void TBasicVectorContainer::Put(int Index, const IntfRef<IInterface>& Data) {
    FArray->Put(Index, Data);
    Raise(mcItemReplaced, Index);
}

void TBasicVectorContainer::Touched(int Index) {
    if (Index >= GetCount()) return;
    Raise(mcItemTouched, Index);
}

void TBasicVectorContainer::AddItem(const IntfRef<IInterface>& Data) {
    if (!FVariableSize) return;
    FArray->Add(Data);
    Raise(mcItemAdded, FArray->GetCount());
}

void TBasicVectorContainer::InsertItem(int AheadOf, const IntfRef<IInterface>& Data) {
    if (!FVariableSize) return;
    FArray->Insert(AheadOf, Data);
    Raise(mcItemAdded, AheadOf);
}

void TBasicVectorContainer::Remove(int Index) {
    if (!FVariableSize) return;
    FArray->Delete(Index);
    Raise(mcItemRemoved, Index);
}

void TBasicVectorContainer::RemoveAll() {
    if (!FVariableSize || FArray->GetCount() <= 0) return;
    FArray->Clear();
    Raise(mcStructure);
}

void TBasicVectorContainer::EnableModelEvents(bool Enable) {
    if (Enable == FEvents) return;
    FEvents = Enable;
    if (Enable) Raise(mcStructure);
}

// ---- single selection -----------------------------------------------------------

void TSingleVectorSelection::Raise(int Change) {
    if (!FEvents || !FSelectionListeners.HasListeners()) return;
    FSelectionListeners.Dispatch(Make<TVectorSelectionEvent>(IntfRef<IVectorSelection>::Retain(this), Change));
}

IntfRef<IInterfaceList> TSingleVectorSelection::GetAll() {
    auto list = NewInterfaceList();
    if (FIndex != -1) list->Add(Make<TIntegerObject>(FIndex));
    return list;
}

void TSingleVectorSelection::Add(int Location) {
    if (Location == FIndex) return;
    FIndex = Location;
    Raise(scChanged);
}

void TSingleVectorSelection::Add2(const IntfRef<IInterfaceList>& Locations) {
    if (!Locations || Locations->GetCount() == 0) return;
    Add(As<IIndexObject>(Locations->Get(0))->GetIndex());
}

void TSingleVectorSelection::AddRange(int, int Last) { Add(Last); }

void TSingleVectorSelection::Remove(int Location) {
    if (Location != FIndex) return;
    FIndex = -1;
    Raise(scCleared);
}

void TSingleVectorSelection::Remove2(const IntfRef<IInterfaceList>& Locations) {
    if (!Locations) return;
    for (int i = 0; i < Locations->GetCount(); ++i) {
        if (As<IIndexObject>(Locations->Get(i))->GetIndex() == FIndex) {
            FIndex = -1;
            Raise(scCleared);
        }
    }
}

void TSingleVectorSelection::RemoveRange(int First, int Last) {
    if (First > FIndex || Last < FIndex) return;
    FIndex = -1;
    Raise(scCleared);
}

void TSingleVectorSelection::RemoveAll() {
    if (FIndex == -1) return;
    FIndex = -1;
    Raise(scCleared);
}

void TSingleVectorSelection::EnableSelectionEvents(bool Enable) {
    if (Enable == FEvents) Raise(scChanged);
}

// ---- set selection ------------------------------------------------------------------

IntfRef<TBasicVectorSelection> TBasicVectorSelection::Create2(const IntfRef<IInterfaceList>& NewSet) {
    // Make holds a reference while Put dispatches with the new object as source.
    auto s = Make<TBasicVectorSelection>();
    s->Put(NewSet);
    return s;
}

bool TBasicVectorSelection::Contains(int Location) {
    bool found = false;
    ForEachItem(FArray.get(), [&](const IntfRef<IInterface>& item) {
        if (!found && As<IIndexObject>(item)->GetIndex() == Location) found = true;
    });
    return found;
}

IntfRef<IInterfaceList> TBasicVectorSelection::GetAll() {
    auto list = NewInterfaceList();
    list->SetCapacity(FArray->GetCount());
    ForEachItem(FArray.get(), [&](const IntfRef<IInterface>& item) {
        list->Add(Make<TIntegerObject>(As<IIndexObject>(item)->GetIndex()));
    });
    return list;
}

void TBasicVectorSelection::Put(const IntfRef<IInterfaceList>& Locations) {
    DoRemoveAll();
    if (Locations)
        for (int i = 0; i < Locations->GetCount(); ++i)
            FArray->Add(Make<TIntegerObject>(As<IIndexObject>(Locations->Get(i))->GetIndex()));
    ProcessSelectionEvent(Make<TVectorSelectionEvent>(Self(), scChanged));
}

void TBasicVectorSelection::Add(int Location) {
    if (DoAdd(Make<TIntegerObject>(Location)))
        ProcessSelectionEvent(TVectorSelectionEvent::Create2(Self(), scItemAdded, Location));
}

void TBasicVectorSelection::Add2(const IntfRef<IInterfaceList>& Locations) {
    bool changed = false;
    if (Locations)
        for (int i = 0; i < Locations->GetCount(); ++i)
            if (!changed) changed = DoAdd(Make<TIntegerObject>(As<IIndexObject>(Locations->Get(i))->GetIndex()));
    if (changed) ProcessSelectionEvent(Make<TVectorSelectionEvent>(Self(), scChanged));
}

void TBasicVectorSelection::AddRange(int First, int Last) {
    bool changed = false;
    // Once a step changed the selection the remaining steps do nothing.
    for (long long i = std::min(First, Last); i <= std::max(First, Last) && !changed; ++i)
        changed = DoAdd(Make<TIntegerObject>(static_cast<int>(i)));
    if (changed) ProcessSelectionEvent(TVectorSelectionEvent::Create3(Self(), scRangeAdded, First, Last));
}

void TBasicVectorSelection::Remove(int Location) {
    if (DoRemove(Make<TIntegerObject>(Location)))
        ProcessSelectionEvent(TVectorSelectionEvent::Create2(Self(), scItemRemoved, Location));
}

void TBasicVectorSelection::Remove2(const IntfRef<IInterfaceList>& Locations) {
    bool changed = false;
    if (Locations)
        for (int i = 0; i < Locations->GetCount(); ++i)
            if (!changed) changed = DoRemove(Make<TIntegerObject>(As<IIndexObject>(Locations->Get(i))->GetIndex()));
    if (changed) ProcessSelectionEvent(Make<TVectorSelectionEvent>(Self(), scChanged));
}

void TBasicVectorSelection::RemoveRange(int First, int Last) {
    bool changed = false;
    for (long long i = std::min(First, Last); i <= std::max(First, Last) && !changed; ++i)
        changed = DoRemove(Make<TIntegerObject>(static_cast<int>(i)));
    if (changed) ProcessSelectionEvent(TVectorSelectionEvent::Create3(Self(), scRangeRemoved, First, Last));
}

void TBasicVectorSelection::RemoveAll() {
    if (DoRemoveAll()) ProcessSelectionEvent(Make<TVectorSelectionEvent>(Self(), scCleared));
}

void TBasicVectorSelection::EnableSelectionEvents(bool Enable) {
    SetSelectionEvents(Enable, [this] { return Make<TVectorSelectionEvent>(Self(), scChanged); });
}

}  // namespace ide
