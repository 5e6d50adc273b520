// Telling many listeners about one event: the copy-on-dispatch listener list
// with its veto protocol and the base of the typed multicasters. Models and
// selections build on this header alone; the key and action multicasters and
// the listener tree of the window-system events are in IDEUIMulticast.h.
#pragma once

#include "foundation/IDEUtil.h"

namespace ide {

// The listener list that every list multicaster keeps. A dispatch works on
// the list as it was when the dispatch began, so listeners added or removed
// while it runs take effect from the next dispatch. The list held here is
// never changed once made: adding and removing build a new one (and adding a
// listener already present does nothing), so a dispatch takes the current
// list by reference instead of copying it, with the same result as copying.
// Debug builds stop a change or a dispatch from another thread.
// Thread: UI thread only.
class TListenerList {
public:
    TListenerList() : FListeners(NewInterfaceList()) {}
    bool HasListeners() const { return FListeners->GetCount() > 0; }
    int Count() const { return FListeners->GetCount(); }
    int Find(const IntfRef<IInterface>& Listener) const { return FListeners->IndexOf(Listener); }
    // Adds unless Find (which the owner may redefine) reports it present.
    void Add(const IntfRef<IInterface>& Listener, int Found);
    // Removing an absent listener does nothing.
    void Remove(const IntfRef<IInterface>& Listener);
    // The listeners now, in registration order; later changes don't reach it.
    IntfRef<IInterfaceList> Snapshot() const { return CloneInterfaceList(FListeners); }

    // Calls f(listener) for every listener registered when the call began,
    // in registration order, each cast to the contract Listener (raising when
    // one lacks it). The list held for the walk keeps the listeners alive.
    template <class Listener, class F>
    void ForEach(F&& f) const {
        IDE_ASSERT_UI_THREAD();
        IntfRef<IInterfaceList> current = FListeners;
        ForEachItem(current.get(), [&](const IntfRef<IInterface>& l) { f(BorrowAs<Listener>(l.get())); });
    }

private:
    IntfRef<IInterfaceList> FListeners;
};

// The bookkeeping of a typed multicaster: a listener of one kind that passes
// each event on to the listeners registered with it, in registration order, on
// a snapshot. Adding ignores a listener already present.
// Thread: UI thread only.
template <class Listener>
class TTypedMulticaster : public TInterfacedObject {
public:
    bool HasListeners() const { return FListeners.HasListeners(); }
    int Find(const IntfRef<Listener>& L) const { return FListeners.Find(L); }

protected:
    void AddListener(const IntfRef<Listener>& L) { FListeners.Add(L, Find(L)); }
    void RemoveListener(const IntfRef<Listener>& L) { FListeners.Remove(L); }
    // call(listener, event) for each listener; `call` picks the method by the
    // event's id, read anew for each listener.
    template <class Event, class Call>
    void DispatchEach(const IntfRef<Event>& E, Call&& call) const {
        IntfRef<Event> event(E);
        FListeners.ForEach<Listener>([&](const IntfRef<Listener>& listener) { call(listener, event); });
    }

    TListenerList FListeners;
};

// The plain listener list of models and selections; its owner frees it.
// Thread: UI thread only.
class TEventMulticaster : public TObject {
public:
    TEventMulticaster() = default;
    virtual bool HasListeners();
    // Tells every listener in registration order; an exception from a
    // listener ends the dispatch and goes on to the raiser.
    void Dispatch(const IntfRef<IDispatchableEvent>& E);
    // False when a listener vetoed by raising EVetoException; listeners
    // behind it are not asked. Other exceptions pass through.
    virtual bool VetoableDispatch(const IntfRef<IVetoableDispatch>& E);
    virtual void ExceptionDispatch(const IntfRef<IExceptionDispatch>& E);
    // The listener's index, negative when absent.
    virtual int Find(const IntfRef<IEventListener>& Listener);
    virtual void Add(const IntfRef<IEventListener>& Listener);
    virtual void Remove(const IntfRef<IEventListener>& Listener);
    // A copy of the listeners in registration order.
    IntfRef<IInterfaceList> Listeners() const { return FListeners.Snapshot(); }

    // The caster with the listener added; a new plain TEventMulticaster, owned
    // by the caller, when Caster is nil.
    static TEventMulticaster* Add2(TEventMulticaster* Caster, const IntfRef<IEventListener>& Listener);
    // Nil when Caster is nil or when no listener remains (the caller still owns
    // the emptied caster), else Caster.
    static TEventMulticaster* Remove2(TEventMulticaster* Caster, const IntfRef<IEventListener>& Listener);

protected:
    TListenerList FListeners;
};

}  // namespace ide
