#include "foundation/IDEMulticast.h"

namespace ide {

void TListenerList::Add(const IntfRef<IInterface>& Listener, int Found) {
    IDE_ASSERT_UI_THREAD();
    if (Found >= 0) return;
    IntfRef<IInterfaceList> next = FListeners->GetCount() == 0 ? NewInterfaceList() : CloneInterfaceList(FListeners);
    next->Add(Listener);
    FListeners = std::move(next);
}

void TListenerList::Remove(const IntfRef<IInterface>& Listener) {
    IDE_ASSERT_UI_THREAD();
    int i = FListeners->IndexOf(Listener);
    if (i < 0) return;
    IntfRef<IInterfaceList> next = CloneInterfaceList(FListeners);
    next->Delete(i);
    FListeners = std::move(next);
}

bool TEventMulticaster::HasListeners() { return FListeners.HasListeners(); }

void TEventMulticaster::Dispatch(const IntfRef<IDispatchableEvent>& E) {
    IntfRef<IDispatchableEvent> event(E);
    FListeners.ForEach<IEventListener>([&](const IntfRef<IEventListener>& l) { event->Dispatch(l); });
}

bool TEventMulticaster::VetoableDispatch(const IntfRef<IVetoableDispatch>& E) {
    IntfRef<IVetoableDispatch> event(E);
    try {
        FListeners.ForEach<IEventListener>([&](const IntfRef<IEventListener>& l) { event->VetoableDispatch(l); });
    } catch (const EVetoException&) {
        return false;
    }
    return true;
}

void TEventMulticaster::ExceptionDispatch(const IntfRef<IExceptionDispatch>& E) {
    IntfRef<IExceptionDispatch> event(E);
    FListeners.ForEach<IEventListener>([&](const IntfRef<IEventListener>& l) { event->ExceptionDispatch(l); });
}

int TEventMulticaster::Find(const IntfRef<IEventListener>& Listener) { return FListeners.Find(Listener); }

void TEventMulticaster::Add(const IntfRef<IEventListener>& Listener) { FListeners.Add(Listener, Find(Listener)); }

void TEventMulticaster::Remove(const IntfRef<IEventListener>& Listener) { FListeners.Remove(Listener); }

TEventMulticaster* TEventMulticaster::Add2(TEventMulticaster* Caster, const IntfRef<IEventListener>& Listener) {
    if (!Caster) Caster = new TEventMulticaster();
    Caster->Add(Listener);
    return Caster;
}

TEventMulticaster* TEventMulticaster::Remove2(TEventMulticaster* Caster, const IntfRef<IEventListener>& Listener) {
    if (!Caster) return nullptr;
    Caster->Remove(Listener);
    return Caster->HasListeners() ? Caster : nullptr;
}

}  // namespace ide
