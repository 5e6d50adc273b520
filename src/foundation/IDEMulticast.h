// Telling many listeners about one event: the copy-on-dispatch listener list
// with its veto protocol, the typed multicasters built on it, and the
// persistent binary tree of listeners that a control keeps per listener kind.
#pragma once

#include "foundation/IDEUIEvent.h"

namespace ide {

// The listener list that every list multicaster keeps. A dispatch works on
// the list as it was when the dispatch began, so listeners added or removed
// while it runs take effect from the next dispatch. The list held here is
// never changed once made: adding and removing build a new one (and adding a
// listener already present does nothing), so a dispatch takes the current
// list by reference instead of copying it, with the same result as copying.
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
        IntfRef<IInterfaceList> current = FListeners;
        ForEachItem(current.get(), [&](const IntfRef<IInterface>& l) { f(BorrowAs<Listener>(l.get())); });
    }

private:
    IntfRef<IInterfaceList> FListeners;
};

// The bookkeeping of a typed multicaster: a listener of one kind that passes
// each event on to the listeners registered with it, in registration order, on
// a snapshot. Adding ignores a listener already present.
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

struct IKeyMulticaster : virtual IKeyListener {
    IDE_INTERFACE(IKeyMulticaster, "CD8637D2-044E-11D1-AE93-0020AF32BB01")
    virtual void Add(const IntfRef<IKeyListener>& Listener) = 0;
    virtual void Remove(const IntfRef<IKeyListener>& Listener) = 0;
};

// A key listener that passes key events on. The method comes from the event's
// id, read anew for each listener, not from which method was called.
class TKeyMulticaster : public TTypedMulticaster<IKeyListener>, public virtual IKeyMulticaster {
public:
    void KeyTyped(const IntfRef<IKeyEvent>& E) override { Guarded(E); }
    void KeyPressed(const IntfRef<IKeyEvent>& E) override { Guarded(E); }
    void KeyReleased(const IntfRef<IKeyEvent>& E) override { Guarded(E); }
    void Dispatch(const IntfRef<IKeyEvent>& E);
    void Add(const IntfRef<IKeyListener>& Listener) override { AddListener(Listener); }
    void Remove(const IntfRef<IKeyListener>& Listener) override { RemoveListener(Listener); }

private:
    void Guarded(const IntfRef<IKeyEvent>& E) {
        if (HasListeners()) Dispatch(E);
    }
};

class TActionMulticaster : public TTypedMulticaster<IActionListener>, public virtual IActionListener {
public:
    void ActionPerformed(const IntfRef<IActionEvent>& E) override {
        if (HasListeners()) Dispatch(E);
    }
    void Dispatch(const IntfRef<IActionEvent>& E);
    void Add(const IntfRef<IActionListener>& Listener) { AddListener(Listener); }
    void Remove(const IntfRef<IActionListener>& Listener) { RemoveListener(Listener); }
};

struct IAWTEventMulticaster : virtual IEventListener {
    IDE_INTERFACE(IAWTEventMulticaster, "DFBC6311-0772-11D1-AE96-0020AF32BB01")
    virtual IntfRef<IEventListener> RemoveInternal(const IntfRef<IEventListener>& Oldl) = 0;
};

// A node of an immutable binary tree of listeners. A control keeps one field
// per listener kind and replaces it with the result of Add or Remove; a nil
// field is no listener, a single listener needs no node. Registration order is
// an in-order walk; the same listener added twice is told twice.
class TAWTEventMulticaster : public TInterfacedObject,
                             public virtual IAWTEventMulticaster,
                             public virtual IComponentListener,
                             public virtual IContainerListener,
                             public virtual IFocusListener,
                             public virtual IKeyListener,
                             public virtual IMouseListener,
                             public virtual IMouseMotionListener,
                             public virtual IWindowListener,
                             public virtual IActionListener,
                             public virtual IItemListener,
                             public virtual IAdjustmentListener,
                             public virtual ITextListener {
public:
    // The class-level operations. A subclass of the node supplies its own
    // class object (overriding Create, or Add and Remove) to change how trees
    // are built; nodes remember the class that built them.
    class TClass {
    public:
        virtual ~TClass() = default;
        virtual IntfRef<IEventListener> Add(const IntfRef<IEventListener>& A, const IntfRef<IEventListener>& B) const;
        virtual IntfRef<IEventListener> Remove(const IntfRef<IEventListener>& L,
                                               const IntfRef<IEventListener>& Oldl) const;
        virtual IntfRef<IEventListener> Create(const IntfRef<IEventListener>& A,
                                               const IntfRef<IEventListener>& B) const;
    };
    static const TClass& ClassType();

    TAWTEventMulticaster(const IntfRef<IEventListener>& A, const IntfRef<IEventListener>& B,
                         const TClass* Class = nullptr);

    static IntfRef<IEventListener> Add(const IntfRef<IEventListener>& A, const IntfRef<IEventListener>& B) {
        return ClassType().Add(A, B);
    }
    static IntfRef<IEventListener> Remove(const IntfRef<IEventListener>& L, const IntfRef<IEventListener>& Oldl) {
        return ClassType().Remove(L, Oldl);
    }

    IntfRef<IEventListener> RemoveInternal(const IntfRef<IEventListener>& Oldl) override;
    const IntfRef<IEventListener>& GetA() const { return FA; }
    const IntfRef<IEventListener>& GetB() const { return FB; }

#define IDE_AWT_FORWARD(Listener, Method, Event) \
    void Method(const IntfRef<Event>& E) override { Forward<Listener, Event>(E, &Listener::Method); }
    IDE_AWT_FORWARD(IComponentListener, ComponentResized, IComponentEvent)
    IDE_AWT_FORWARD(IComponentListener, ComponentMoved, IComponentEvent)
    IDE_AWT_FORWARD(IComponentListener, ComponentShown, IComponentEvent)
    IDE_AWT_FORWARD(IComponentListener, ComponentHidden, IComponentEvent)
    IDE_AWT_FORWARD(IContainerListener, ComponentAdded, IContainerEvent)
    IDE_AWT_FORWARD(IContainerListener, ComponentRemoved, IContainerEvent)
    IDE_AWT_FORWARD(IFocusListener, FocusGained, IFocusEvent)
    IDE_AWT_FORWARD(IFocusListener, FocusLost, IFocusEvent)
    IDE_AWT_FORWARD(IKeyListener, KeyTyped, IKeyEvent)
    IDE_AWT_FORWARD(IKeyListener, KeyPressed, IKeyEvent)
    IDE_AWT_FORWARD(IKeyListener, KeyReleased, IKeyEvent)
    IDE_AWT_FORWARD(IMouseListener, MouseClicked, IMouseEvent)
    IDE_AWT_FORWARD(IMouseListener, MousePressed, IMouseEvent)
    IDE_AWT_FORWARD(IMouseListener, MouseReleased, IMouseEvent)
    IDE_AWT_FORWARD(IMouseListener, MouseEntered, IMouseEvent)
    IDE_AWT_FORWARD(IMouseListener, MouseExited, IMouseEvent)
    IDE_AWT_FORWARD(IMouseMotionListener, MouseDragged, IMouseEvent)
    IDE_AWT_FORWARD(IMouseMotionListener, MouseMoved, IMouseEvent)
    IDE_AWT_FORWARD(IWindowListener, WindowOpened, IWindowEvent)
    IDE_AWT_FORWARD(IWindowListener, WindowClosing, IWindowEvent)
    IDE_AWT_FORWARD(IWindowListener, WindowClosed, IWindowEvent)
    IDE_AWT_FORWARD(IWindowListener, WindowIconified, IWindowEvent)
    IDE_AWT_FORWARD(IWindowListener, WindowDeiconified, IWindowEvent)
    IDE_AWT_FORWARD(IWindowListener, WindowActivated, IWindowEvent)
    IDE_AWT_FORWARD(IWindowListener, WindowDeactivated, IWindowEvent)
    IDE_AWT_FORWARD(IActionListener, ActionPerformed, IActionEvent)
    IDE_AWT_FORWARD(IItemListener, ItemStateChanged, IItemEvent)
    IDE_AWT_FORWARD(IAdjustmentListener, AdjustmentValueChanged, IAdjustmentEvent)
    IDE_AWT_FORWARD(ITextListener, TextValueChanged, ITextEvent)
#undef IDE_AWT_FORWARD

protected:
    // A's subtree hears the event before B's. The event and this node are
    // held for the call, so a listener may remove the node from its field.
    template <class Listener, class Event>
    void Forward(const IntfRef<Event>& E, void (Listener::*Method)(const IntfRef<Event>&)) {
        IntfRef<Event> keepEvent(E);
        IntfRef<IInterface> keepSelf(static_cast<IAWTEventMulticaster*>(this));
        (AsPtr<Listener>(FA.get())->*Method)(keepEvent);
        (AsPtr<Listener>(FB.get())->*Method)(keepEvent);
    }

    IntfRef<IEventListener> FA;
    IntfRef<IEventListener> FB;
    const TClass* FClass;
};

}  // namespace ide
