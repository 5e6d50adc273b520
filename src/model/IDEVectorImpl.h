// The vector model: a list of items addressed by position, its events and
// typed multicasters, and three selections (one index, a set, nothing).
#pragma once

#include "model/IDEModelImpl.h"

namespace ide {

class TVectorModelEvent : public TModelEvent, public virtual IVectorModelEvent {
public:
    // The location stays 0.
    TVectorModelEvent(const IntfRef<IVectorModel>& Model, int Change) : TVectorModelEvent(Model, Change, 0) {}
    TVectorModelEvent(const IntfRef<IVectorModel>& Model, int Change, int Location)
        : TModelEvent(Model, Change), FModel(Model), FChange(Change), FLocation(Location) {}
    static IntfRef<TVectorModelEvent> Create2(const IntfRef<IVectorModel>& Model, int Change, int Location) {
        return Make<TVectorModelEvent>(Model, Change, Location);
    }
    IntfRef<IVectorModel> GetModel() override { return FModel; }
    int GetChange() override { return FChange; }
    int GetLocation() override { return FLocation; }
    // Content events call ModelContentChanged, structure events
    // ModelStructureChanged; other ids call nothing.
    void Dispatch(const IntfRef<IEventListener>& L) override;

private:
    IntfRef<IVectorModel> FModel;
    int FChange;
    int FLocation;
};

class TVectorSubfocusEvent : public TSubfocusEvent,
                             public virtual IVectorSubfocusEvent,
                             public virtual IVetoableDispatch {
public:
    TVectorSubfocusEvent(IntfRef<IInterface> Source, int Id, int Location)
        : TSubfocusEvent(std::move(Source), Id), FLocation(Location) {}
    int GetLocation() override { return FLocation; }
    // The accomplished change: SubfocusChanged.
    void Dispatch(const IntfRef<IEventListener>& L) override;
    // The change about to happen: SubfocusChanging; a listener vetoes by
    // raising EVetoException.
    void VetoableDispatch(const IntfRef<IEventListener>& L) override;

private:
    int FLocation;
};

class TVectorSelectionEvent : public TSelectionEvent, public virtual IVectorSelectionEvent {
public:
    // Location and range stay 0.
    TVectorSelectionEvent(const IntfRef<IVectorSelection>& Selection, int Change)
        : TVectorSelectionEvent(Selection, Change, 0, 0, 0) {}
    // Location, range start and range end all take Location.
    static IntfRef<TVectorSelectionEvent> Create2(const IntfRef<IVectorSelection>& Selection, int Change,
                                                  int Location) {
        return Make<TVectorSelectionEvent>(Selection, Change, Location, Location, Location);
    }
    // Location and range start take RangeStart.
    static IntfRef<TVectorSelectionEvent> Create3(const IntfRef<IVectorSelection>& Selection, int Change,
                                                  int RangeStart, int RangeEnd) {
        return Make<TVectorSelectionEvent>(Selection, Change, RangeStart, RangeStart, RangeEnd);
    }
    TVectorSelectionEvent(const IntfRef<IVectorSelection>& Selection, int Change, int Location, int RangeStart,
                          int RangeEnd)
        : TSelectionEvent(Selection, Change),
          FSelection(Selection),
          FLocation(Location),
          FRangeStart(RangeStart),
          FRangeEnd(RangeEnd) {}
    IntfRef<IVectorSelection> GetSelection() override { return FSelection; }
    int GetLocation() override { return FLocation; }
    int GetRangeStart() override { return FRangeStart; }
    int GetRangeEnd() override { return FRangeEnd; }
    void Dispatch(const IntfRef<IEventListener>& L) override;

private:
    IntfRef<IVectorSelection> FSelection;
    int FLocation, FRangeStart, FRangeEnd;
};

class TVectorModelAdapter : public TInterfacedObject, public virtual IVectorModelListener {
public:
    void ModelStructureChanged(const IntfRef<IVectorModelEvent>&) override {}
    void ModelContentChanged(const IntfRef<IVectorModelEvent>&) override {}
};

class TVectorSubfocusAdapter : public TInterfacedObject, public virtual IVectorSubfocusListener {
public:
    void SubfocusChanging(const IntfRef<IVectorSubfocusEvent>&) override {}
    void SubfocusChanged(const IntfRef<IVectorSubfocusEvent>&) override {}
};

class TVectorModelMulticaster : public TTypedMulticaster<IVectorModelListener>, public virtual IVectorModelMulticaster {
public:
    void ModelStructureChanged(const IntfRef<IVectorModelEvent>& E) override { Guarded(E); }
    void ModelContentChanged(const IntfRef<IVectorModelEvent>& E) override { Guarded(E); }
    void Dispatch(const IntfRef<IVectorModelEvent>& E);
    void Add(const IntfRef<IVectorModelListener>& L) override { AddListener(L); }
    void Remove(const IntfRef<IVectorModelListener>& L) override { RemoveListener(L); }

private:
    void Guarded(const IntfRef<IVectorModelEvent>& E) {
        if (HasListeners()) Dispatch(E);
    }
};

class TVectorSelectionMulticaster : public TTypedMulticaster<IVectorSelectionListener>, public virtual IVectorSelectionMulticaster {
public:
    void SelectionItemChanged(const IntfRef<IVectorSelectionEvent>& E) override { Guarded(E); }
    void SelectionRangeChanged(const IntfRef<IVectorSelectionEvent>& E) override { Guarded(E); }
    void SelectionChanged(const IntfRef<IVectorSelectionEvent>& E) override { Guarded(E); }
    void Dispatch(const IntfRef<IVectorSelectionEvent>& E);
    void Add(const IntfRef<IVectorSelectionListener>& L) override { AddListener(L); }
    void Remove(const IntfRef<IVectorSelectionListener>& L) override { RemoveListener(L); }

private:
    void Guarded(const IntfRef<IVectorSelectionEvent>& E) {
        if (HasListeners()) Dispatch(E);
    }
};

// A list of IInterface items. AddItem reports the count after the addition as
// its location, InsertItem the new item's index.
class TBasicVectorContainer : public TInterfacedObject, public virtual IWritableVectorModel {
public:
    TBasicVectorContainer() : FArray(NewInterfaceList()) {}
    // Reserves room for Size items; the count stays 0.
    static IntfRef<TBasicVectorContainer> Create2(int Size);
    // Size and Data are not used.
    static IntfRef<TBasicVectorContainer> Create3(int Size, const IntfRef<IInterface>& Data);
    // NewArray is not used.
    static IntfRef<TBasicVectorContainer> Create4(const IntfRef<IInterfaceList>& NewArray);

    virtual IntfRef<IInterfaceList> GetItems() { return CloneInterfaceList(FArray); }
    virtual void SetItems(const IntfRef<IInterfaceList>& NewItems);
    IntfRef<IInterface> Get(int Index) override;
    int GetCount() override { return FArray->GetCount(); }
    int Find(const IntfRef<IInterface>& Data) override { return FArray->IndexOf(Data); }
    virtual void SetCount(int Count);
    void AddModelListener(const IntfRef<IVectorModelListener>& Listener) override { FModelListeners.Add(Listener); }
    void RemoveModelListener(const IntfRef<IVectorModelListener>& Listener) override {
        FModelListeners.Remove(Listener);
    }
    bool CanModify(int Index) override { return Index < GetCount(); }
    void Put(int Index, const IntfRef<IInterface>& Data) override;
    void Touched(int Index) override;
    bool IsVariableSize() override { return FVariableSize; }
    virtual void SetVariableSize(bool Variable) { FVariableSize = Variable; }
    void AddItem(const IntfRef<IInterface>& Data) override;
    void InsertItem(int AheadOf, const IntfRef<IInterface>& Data) override;
    void Remove(int Index) override;
    void RemoveAll() override;
    void EnableModelEvents(bool Enable) override;
    // The list itself, not a copy.
    virtual IntfRef<IInterfaceList> GetArray() { return FArray; }

protected:
    virtual void ProcessModelEvent(const IntfRef<IModelEvent>& E);
    void Raise(int Change, int Location = 0);

    IntfRef<IInterfaceList> FArray;
    bool FVariableSize = true;
    TEventMulticaster FModelListeners;
    bool FEvents = true;
};

// A selection of at most one index; -1 means none. A range collapses to
// where it ended.
class TSingleVectorSelection : public TInterfacedObject, public virtual IWritableVectorSelection {
public:
    TSingleVectorSelection() = default;
    explicit TSingleVectorSelection(int Location) : FIndex(Location) {}
    static IntfRef<TSingleVectorSelection> Create2(int Location) { return Make<TSingleVectorSelection>(Location); }

    bool Contains(int Location) override { return Location == FIndex; }
    int GetCount() override { return FIndex != -1 ? 1 : 0; }
    IntfRef<IInterfaceList> GetAll() override;
    void AddSelectionListener(const IntfRef<IVectorSelectionListener>& L) override { FSelectionListeners.Add(L); }
    void RemoveSelectionListener(const IntfRef<IVectorSelectionListener>& L) override {
        FSelectionListeners.Remove(L);
    }
    void Put(const IntfRef<IInterfaceList>& Locations) override { PUt(Locations); }
    void PUt(const IntfRef<IInterfaceList>& Locations) { Add2(Locations); }
    void Add(int Location) override;
    void Add2(const IntfRef<IInterfaceList>& Locations) override;
    void AddRange(int First, int Last) override;
    void Remove(int Location) override;
    void Remove2(const IntfRef<IInterfaceList>& Locations) override;
    void RemoveRange(int First, int Last) override;
    void RemoveAll() override;
    // Unlike every other container: raises $3002 when Enable equals the
    // current state, and never stores Enable.
    void EnableSelectionEvents(bool Enable) override;

private:
    void Raise(int Change);
    int FIndex = -1;
    TEventMulticaster FSelectionListeners;
    bool FEvents = true;
};

// A set-shaped selection of indexes, each kept as a new TIntegerObject.
// Items compare by reference, so Add always appends and Remove never finds
// anything: only Put and RemoveAll take items out.
class TBasicVectorSelection : public TBasicSelection, public virtual IWritableVectorSelection {
public:
    TBasicVectorSelection() = default;
    static IntfRef<TBasicVectorSelection> Create2(const IntfRef<IInterfaceList>& NewSet);

    bool Contains(int Location) override;
    int GetCount() override { return TBasicSelection::GetCount(); }
    IntfRef<IInterfaceList> GetAll() override;
    void AddSelectionListener(const IntfRef<IVectorSelectionListener>& L) override { FSelectionListeners.Add(L); }
    void RemoveSelectionListener(const IntfRef<IVectorSelectionListener>& L) override {
        FSelectionListeners.Remove(L);
    }
    void Put(const IntfRef<IInterfaceList>& Locations) override;
    void Add(int Location) override;
    void Add2(const IntfRef<IInterfaceList>& Locations) override;
    void AddRange(int First, int Last) override;
    void Remove(int Location) override;
    void Remove2(const IntfRef<IInterfaceList>& Locations) override;
    void RemoveRange(int First, int Last) override;
    void RemoveAll() override;
    void EnableSelectionEvents(bool Enable) override;

private:
    IntfRef<IVectorSelection> Self() { return IntfRef<IVectorSelection>::Retain(this); }
};

// Holds nothing and tells nobody.
class TNullVectorSelection : public TInterfacedObject, public virtual IWritableVectorSelection {
public:
    bool Contains(int) override { return false; }
    int GetCount() override { return 0; }
    IntfRef<IInterfaceList> GetAll() override { return NewInterfaceList(); }
    void AddSelectionListener(const IntfRef<IVectorSelectionListener>&) override {}
    void RemoveSelectionListener(const IntfRef<IVectorSelectionListener>&) override {}
    void Put(const IntfRef<IInterfaceList>&) override {}
    void Add(int) override {}
    void Add2(const IntfRef<IInterfaceList>&) override {}
    void AddRange(int, int) override {}
    void Remove(int) override {}
    void Remove2(const IntfRef<IInterfaceList>&) override {}
    void RemoveRange(int, int) override {}
    void RemoveAll() override {}
    void EnableSelectionEvents(bool) override {}
};

}  // namespace ide
