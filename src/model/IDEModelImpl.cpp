#include "model/IDEModelImpl.h"

namespace ide {

void TSingletonModelEvent::Dispatch(const IntfRef<IEventListener>& L) {
    AsPtr<ISingletonModelListener>(L.get())->ModelContentChanged(Borrowed<ISingletonModelEvent>(this));
}

void TSingletonModelMulticaster::Dispatch(const IntfRef<ISingletonModelEvent>& E) {
    DispatchEach(E, [](const auto& l, const auto& e) {
        if (e->GetId() == mcContent) l->ModelContentChanged(e);
    });
}

TBasicSingletonContainer::TBasicSingletonContainer() : FItem(Make<TTextObject>()) {}

IntfRef<TBasicSingletonContainer> TBasicSingletonContainer::Create2(const IntfRef<IInterface>& Data) {
    auto c = Make<TBasicSingletonContainer>();
    c->FItem = As<IStringObject>(Data);
    return c;
}

void TBasicSingletonContainer::ProcessModelEvent(const IntfRef<IModelEvent>& E) {
    if (!FEvents) return;
    if (!FModelListeners.HasListeners()) return;
    FModelListeners.Dispatch(E);
}

void TBasicSingletonContainer::Put(const IntfRef<IInterface>& Data) {
    FItem = As<IStringObject>(Data);
    ProcessModelEvent(Make<TSingletonModelEvent>(IntfRef<ISingletonModel>::Retain(this)));
}

void TBasicSingletonContainer::Touched() {
    ProcessModelEvent(Make<TSingletonModelEvent>(IntfRef<ISingletonModel>::Retain(this)));
}

void TBasicSingletonContainer::EnableModelEvents(bool Enable) {
    if (Enable == FEvents) return;
    FEvents = Enable;
    if (Enable) ProcessModelEvent(Make<TSingletonModelEvent>(IntfRef<ISingletonModel>::Retain(this)));
}

bool TBasicSelection::DoAdd(const IntfRef<IInterface>& Item) {
    if (FArray->IndexOf(Item) >= 0) return false;
    FArray->Add(Item);
    return true;
}

bool TBasicSelection::DoRemove(const IntfRef<IInterface>& Item) {
    int i = FArray->IndexOf(Item);
    if (i < 0) return false;
    FArray->Delete(i);
    return true;
}

bool TBasicSelection::DoRemoveAll() {
    if (FArray->GetCount() < 1) return false;
    FArray->Clear();
    return true;
}

void TBasicSelection::ProcessSelectionEvent(const IntfRef<IDispatchableEvent>& E) {
    if (!FEvents) return;
    if (!FSelectionListeners.HasListeners()) return;
    FSelectionListeners.Dispatch(E);
}

}  // namespace ide
