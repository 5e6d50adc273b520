#include "foundation/IDEMulticast.h"

namespace ide {

void TListenerList::Add(const IntfRef<IInterface>& Listener, int Found) {
    if (Found >= 0) return;
    IntfRef<IInterfaceList> next = FListeners->GetCount() == 0 ? NewInterfaceList() : CloneInterfaceList(FListeners);
    next->Add(Listener);
    FListeners = std::move(next);
}

void TListenerList::Remove(const IntfRef<IInterface>& Listener) {
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

void TKeyMulticaster::Dispatch(const IntfRef<IKeyEvent>& E) {
    DispatchEach(E, [](const IntfRef<IKeyListener>& listener, const IntfRef<IKeyEvent>& event) {
        switch (event->GetID()) {
            case KEY_TYPED: listener->KeyTyped(event); break;
            case KEY_PRESSED: listener->KeyPressed(event); break;
            case KEY_RELEASED: listener->KeyReleased(event); break;
            default: break;
        }
    });
}

void TActionMulticaster::Dispatch(const IntfRef<IActionEvent>& E) {
    DispatchEach(E, [](const IntfRef<IActionListener>& listener, const IntfRef<IActionEvent>& event) {
        listener->ActionPerformed(event);
    });
}

// ---- the listener tree ------------------------------------------------------

const TAWTEventMulticaster::TClass& TAWTEventMulticaster::ClassType() {
    static const TClass cls;
    return cls;
}

TAWTEventMulticaster::TAWTEventMulticaster(const IntfRef<IEventListener>& A, const IntfRef<IEventListener>& B,
                                           const TClass* Class)
    : FA(A), FB(B), FClass(Class ? Class : &ClassType()) {}

IntfRef<IEventListener> TAWTEventMulticaster::TClass::Create(const IntfRef<IEventListener>& A,
                                                             const IntfRef<IEventListener>& B) const {
    return Make<TAWTEventMulticaster>(A, B, this);
}

IntfRef<IEventListener> TAWTEventMulticaster::TClass::Add(const IntfRef<IEventListener>& A,
                                                          const IntfRef<IEventListener>& B) const {
    if (!A) return B;
    if (!B) return A;
    return Create(A, B);
}

IntfRef<IEventListener> TAWTEventMulticaster::TClass::Remove(const IntfRef<IEventListener>& L,
                                                             const IntfRef<IEventListener>& Oldl) const {
    if (!L || SameObject(L, Oldl)) return nullptr;
    if (auto node = Supports<IAWTEventMulticaster>(L)) return node->RemoveInternal(Oldl);
    return L;
}

IntfRef<IEventListener> TAWTEventMulticaster::RemoveInternal(const IntfRef<IEventListener>& Oldl) {
    if (FA.get() == Oldl.get()) return FB;
    if (FB.get() == Oldl.get()) return FA;
    IntfRef<IEventListener> a2 = FClass->Remove(FA, Oldl);
    IntfRef<IEventListener> b2 = FClass->Remove(FB, Oldl);
    if (a2.get() == FA.get() && b2.get() == FB.get()) return IntfRef<IEventListener>(this);
    return FClass->Add(a2, b2);
}

}  // namespace ide
