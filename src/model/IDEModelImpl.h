// Event bases of the model layer, the singleton model, and the base of the
// set-shaped selections.
#pragma once

#include <memory>

#include "foundation/IDEMulticast.h"
#include "model/IDEModel.h"

namespace ide {

// A model event keeps the low four bits of its change as its id.
class TModelEvent : public TDispatchableEvent, public virtual IModelEvent {
public:
    TModelEvent(IntfRef<IInterface> Source, int Id) : TDispatchableEvent(std::move(Source)), FId(Id & 15) {}
    int GetId() override { return FId; }

protected:
    int FId;
};

class TSubfocusEvent : public TDispatchableEvent, public virtual ISubfocusEvent {
public:
    TSubfocusEvent(IntfRef<IInterface> Source, int Id) : TDispatchableEvent(std::move(Source)), FId(Id & 15) {}
    int GetId() override { return FId; }

protected:
    int FId;
};

// A selection event keeps its change whole; its id is the change under $F000.
class TSelectionEvent : public TDispatchableEvent, public virtual ISelectionEvent {
public:
    TSelectionEvent(IntfRef<IInterface> Source, int Change) : TDispatchableEvent(std::move(Source)), FChange(Change) {}
    int GetId() override { return FChange & 0xF000; }
    int GetChange() override { return FChange; }

protected:
    int FChange;
};

// Calls the listener method for a model event's id: ModelContentChanged for
// content (1), ModelStructureChanged for structure (2), nothing for any other.
// Vector and graph models share it.
template <class Listener, class Event>
void CallModelListener(const IntfRef<Listener>& L, const IntfRef<Event>& E) {
    switch (E->GetId()) {
        case mcContent: L->ModelContentChanged(E); break;
        case mcStructure: L->ModelStructureChanged(E); break;
        default: break;
    }
}

class TSingletonModelEvent : public TModelEvent, public virtual ISingletonModelEvent {
public:
    explicit TSingletonModelEvent(const IntfRef<ISingletonModel>& Model) : TModelEvent(Model, mcContent), FModel(Model) {}
    IntfRef<ISingletonModel> GetModel() override { return FModel; }
    void Dispatch(const IntfRef<IEventListener>& L) override;

private:
    IntfRef<ISingletonModel> FModel;
};

class TSingletonModelMulticaster : public TTypedMulticaster<ISingletonModelListener>,
                                   public virtual ISingletonModelMulticaster {
public:
    void ModelContentChanged(const IntfRef<ISingletonModelEvent>& E) override {
        if (HasListeners()) Dispatch(E);
    }
    void Dispatch(const IntfRef<ISingletonModelEvent>& E);
    void Add(const IntfRef<ISingletonModelListener>& L) override { AddListener(L); }
    void Remove(const IntfRef<ISingletonModelListener>& L) override { RemoveListener(L); }
};

// A model holding one text item.
class TBasicSingletonContainer : public TInterfacedObject, public virtual IWritableSingletonModel {
public:
    // The item is a text object holding the empty string.
    TBasicSingletonContainer();
    // The item is Data, which must be an IStringObject (raising cast); no event.
    static IntfRef<TBasicSingletonContainer> Create2(const IntfRef<IInterface>& Data);

    IntfRef<IInterface> Get() override { return FItem; }
    void AddModelListener(const IntfRef<ISingletonModelListener>& Listener) override { FModelListeners.Add(Listener); }
    void RemoveModelListener(const IntfRef<ISingletonModelListener>& Listener) override {
        FModelListeners.Remove(Listener);
    }
    bool CanModify() override { return true; }
    // Raises when Data is no IStringObject, keeping the old item; an event
    // follows every Put, also of the same object.
    void Put(const IntfRef<IInterface>& Data) override;
    void Touched() override;
    // Turning events back on raises one content event.
    void EnableModelEvents(bool Enable) override;

protected:
    virtual void ProcessModelEvent(const IntfRef<IModelEvent>& E);
    IntfRef<IStringObject> FItem;
    TEventMulticaster FModelListeners;
    bool FEvents = true;
};

// The base of set-shaped selections: the items, compared by reference.
class TBasicSelection : public TInterfacedObject {
public:
    TBasicSelection() : FArray(NewInterfaceList()) {}
    virtual int GetCount() { return FArray->GetCount(); }

protected:
    // True when the item was appended (it was not there by reference).
    virtual bool DoAdd(const IntfRef<IInterface>& Item);
    // True when the item was found by reference and deleted.
    virtual bool DoRemove(const IntfRef<IInterface>& Item);
    // False when there was nothing; else clears, True.
    virtual bool DoRemoveAll();
    // Drops the event when events are off or nobody listens.
    void ProcessSelectionEvent(const IntfRef<IDispatchableEvent>& E);
    // Stores Enable; turning events on raises what MakeWhole builds ($3002).
    template <class MakeWhole>
    void SetSelectionEvents(bool Enable, MakeWhole&& makeWhole) {
        if (Enable == FEvents) return;
        FEvents = Enable;
        if (Enable) ProcessSelectionEvent(makeWhole());
    }

    IntfRef<IInterfaceList> FArray;
    TEventMulticaster FSelectionListeners;
    bool FEvents = true;
};

}  // namespace ide
