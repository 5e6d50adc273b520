// The multicasters of the window-system events: the key and action
// multicasters (typed list multicasters) and the persistent binary tree of
// listeners that a control keeps per listener kind.
#pragma once

#include "foundation/IDEMulticast.h"
#include "foundation/IDEUIEvent.h"

namespace ide {

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
        IntfRef<IInterface> keepSelf = IntfRef<IInterface>::Retain(static_cast<IAWTEventMulticaster*>(this));
        (AsPtr<Listener>(FA.get())->*Method)(keepEvent);
        (AsPtr<Listener>(FB.get())->*Method)(keepEvent);
    }

    IntfRef<IEventListener> FA;
    IntfRef<IEventListener> FB;
    const TClass* FClass;
};

}  // namespace ide
