#include "foundation/IDEUIMulticast.h"

namespace ide {

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
    if (a2.get() == FA.get() && b2.get() == FB.get()) return IntfRef<IEventListener>::Retain(this);
    return FClass->Add(a2, b2);
}

}  // namespace ide
