// The window-system event vocabulary: event contracts and classes with their
// fixed ids, listener contracts and do-nothing adapters.
//
// The component classes the events carry (TKomponent, TContainer, TWindow)
// stand over the toolkit's widgets and live in platform/IDEFixups.h; here they
// are only declared, so the vocabulary compiles and links without the
// toolkit. An event stores the control by pointer and never calls it. What an
// event needs of the control's complete class (the control as a plain object,
// for the source wrapper) is taken where the control is handed in: the
// constructors take a TEventSource, which converts from a pointer to any
// component class at the caller, where that class is complete.
#pragma once

#include <type_traits>

#include "foundation/IDEObjects.h"
#include "foundation/IDEUtil.h"

namespace ide {

class TKomponent;
class TContainer;
class TWindow;

// The control that raises a component event, as the event needs it: typed
// as K (TKomponent, TContainer or TWindow), as a component, and as a plain
// object. Made implicitly from a pointer to K or a class derived from it, or
// from nullptr; the conversions run at the caller, where the class is
// complete.
// Thread: any.
template <class K>
struct TEventSource {
    K* Control = nullptr;
    TKomponent* Component = nullptr;
    TObject* Object = nullptr;

    TEventSource(std::nullptr_t = nullptr) noexcept {}
    template <class C, class = std::enable_if_t<std::is_convertible_v<C*, K*>>>
    TEventSource(C* Source) noexcept : Control(Source), Component(Source), Object(Source) {}
    // The same control seen as a plain component, for a base event class.
    TEventSource<TKomponent> AsComponent() const noexcept {
        TEventSource<TKomponent> s;
        s.Control = Component;
        s.Component = Component;
        s.Object = Object;
        return s;
    }
};

// Event ids. Each listener method is reached only by its id.
enum : int {
    COMPONENT_MOVED = 100,
    COMPONENT_RESIZED = 101,
    COMPONENT_SHOWN = 102,
    COMPONENT_HIDDEN = 103,
    COMPONENT_ADDED = 300,
    COMPONENT_REMOVED = 301,
    KEY_TYPED = 400,
    KEY_PRESSED = 401,
    KEY_RELEASED = 402,
    MOUSE_CLICKED = 500,
    MOUSE_PRESSED = 501,
    MOUSE_RELEASED = 502,
    MOUSE_MOVED = 503,
    MOUSE_ENTERED = 504,
    MOUSE_EXITED = 505,
    MOUSE_DRAGGED = 506,
    ADJUSTMENT_VALUE_CHANGED = 601,
    ITEM_STATE_CHANGED = 701,
    TEXT_VALUE_CHANGED = 900,
    ACTION_PERFORMED = 1001,
    FOCUS_GAINED = 1004,
    FOCUS_LOST = 1005,
    DRAG_ENTERED = 2000,
    DRAG_EXITED = 2001,
    DRAG_MOVED = 2002,
    DRAG_DROPPED = 2003,
    DRAG_CANCELLED = 2004,
    DRAG_TARGETED = 2005,
};

// Modifier bits of an input event.
enum : int { SHIFT_MASK = 1, CTRL_MASK = 2, META_MASK = 4, ALT_MASK = 8 };

enum TAdjustableOrientation { aoHorizontal, aoVertical };

struct IAdjustmentListener;
struct IItemListener;

// ---- event contracts -------------------------------------------------------

struct IAWTEvent : virtual IEventObject {
    IDE_INTERFACE(IAWTEvent, "7861BFA3-1F26-11D1-AEB4-0020AF32BB01")
    virtual int GetID() = 0;
    // Consumes only key-pressed, key-released and mouse events other than
    // clicks; for every other id the call has no effect.
    virtual void Consume() = 0;
    virtual bool IsConsumed() = 0;
};

struct IComponentEvent : virtual IAWTEvent {
    IDE_INTERFACE(IComponentEvent, "7861BFA4-1F26-11D1-AEB4-0020AF32BB01")
    virtual TKomponent* GetComponent() = 0;
};

struct IContainerEvent : virtual IAWTEvent {
    IDE_INTERFACE(IContainerEvent, "7861BFA5-1F26-11D1-AEB4-0020AF32BB01")
    virtual TContainer* GetContainer() = 0;
    virtual TKomponent* GetChild() = 0;
};

struct IFocusEvent : virtual IComponentEvent {
    IDE_INTERFACE(IFocusEvent, "7861BFA6-1F26-11D1-AEB4-0020AF32BB01")
    virtual bool IsTemporary() = 0;
};

// Tag that gives the input view its own Consume: through IInputEvent the
// event is consumed whatever its id, through IAWTEvent the filtered rule holds.
struct TInputConsume {};

struct IInputEvent : virtual IComponentEvent {
    IDE_INTERFACE(IInputEvent, "7861BFA7-1F26-11D1-AEB4-0020AF32BB01")
    virtual bool IsShiftDown() = 0;
    virtual bool IsControlDown() = 0;
    virtual bool IsMetaDown() = 0;
    virtual bool IsAltDown() = 0;
    virtual TDateTime GetWhen() = 0;
    virtual int GetModifiers() = 0;
    virtual void Consume(TInputConsume = {}) = 0;
    using IAWTEvent::IsConsumed;
};

struct IKeyEvent : virtual IInputEvent {
    IDE_INTERFACE(IKeyEvent, "7861BFA8-1F26-11D1-AEB4-0020AF32BB01")
    virtual int GetKeyCode() = 0;
    virtual void SetKeyCode(int KeyCode) = 0;
    virtual void SetKeyChar(Char KeyChar) = 0;
    virtual void SetModifiers(int Modifiers) = 0;
    virtual Char GetKeyChar() = 0;
    virtual bool IsActionKey() = 0;
};

struct IMouseEvent : virtual IInputEvent {
    IDE_INTERFACE(IMouseEvent, "7861BFA9-1F26-11D1-AEB4-0020AF32BB01")
    virtual int GetX() = 0;
    virtual int GetY() = 0;
    virtual TPoint GetPoint() = 0;
    virtual void TranslatePoint(int X, int Y) = 0;
    virtual int GetClickCount() = 0;
    virtual bool IsPopupTrigger() = 0;
};

struct IWindowEvent : virtual IComponentEvent {
    IDE_INTERFACE(IWindowEvent, "7861BFAA-1F26-11D1-AEB4-0020AF32BB01")
    virtual TWindow* GetWindow() = 0;
};

struct IActionEvent : virtual IAWTEvent {
    IDE_INTERFACE(IActionEvent, "7861BFAB-1F26-11D1-AEB4-0020AF32BB01")
    virtual String GetActionCommand() = 0;
    virtual int GetModifiers() = 0;
};

struct IAdjustable : virtual IInterface {
    IDE_INTERFACE(IAdjustable, "6481FE92-FA18-11D0-AE7E-0020AF32BB01")
    virtual TAdjustableOrientation GetOrientation() = 0;
    virtual void SetMinimum(int Value) = 0;
    virtual int GetMinimum() = 0;
    virtual void SetMaximum(int Value) = 0;
    virtual int GetMaximum() = 0;
    virtual void SetUnitIncrement(int Value) = 0;
    virtual int GetUnitIncrement() = 0;
    virtual void SetBlockIncrement(int Value) = 0;
    virtual int GetBlockIncrement() = 0;
    virtual void SetVisibleAmount(int Value) = 0;
    virtual int GetVisibleAmount() = 0;
    virtual void SetValue(int Value) = 0;
    virtual int GetValue() = 0;
    virtual void AddAdjustmentListener(const IntfRef<IAdjustmentListener>& L) = 0;
    virtual void RemoveAdjustmentListener(const IntfRef<IAdjustmentListener>& L) = 0;
};

struct IItemSelectable : virtual IInterface {
    IDE_INTERFACE(IItemSelectable, "6481FE94-FA18-11D0-AE7E-0020AF32BB01")
    virtual void AddItemListener(const IntfRef<IItemListener>& L) = 0;
    virtual void RemoveItemListener(const IntfRef<IItemListener>& L) = 0;
};

struct IAdjustmentEvent : virtual IAWTEvent {
    IDE_INTERFACE(IAdjustmentEvent, "7861BFAC-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IAdjustable> GetAdjustable() = 0;
    virtual int GetValue() = 0;
    virtual int GetAdjustmentType() = 0;
};

struct IItemEvent : virtual IAWTEvent {
    IDE_INTERFACE(IItemEvent, "7861BFAD-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IItemSelectable> GetItemSelectable() = 0;
    virtual TObject* GetItem() = 0;
    virtual int GetStateChange() = 0;
};

struct ITextEvent : virtual IAWTEvent {
    IDE_INTERFACE(ITextEvent, "7861BFAE-1F26-11D1-AEB4-0020AF32BB01")
};

struct IDragEvent : virtual IComponentEvent {
    IDE_INTERFACE(IDragEvent, "98B6F762-4CB6-11D1-AEF7-0020AF32BB01")
};

// ---- listener contracts ----------------------------------------------------

struct IComponentListener : virtual IEventListener {
    IDE_INTERFACE(IComponentListener, "848B7C70-077A-11D1-AE96-0020AF32BB01")
    virtual void ComponentResized(const IntfRef<IComponentEvent>& E) = 0;
    virtual void ComponentMoved(const IntfRef<IComponentEvent>& E) = 0;
    virtual void ComponentShown(const IntfRef<IComponentEvent>& E) = 0;
    virtual void ComponentHidden(const IntfRef<IComponentEvent>& E) = 0;
};

struct IContainerListener : virtual IEventListener {
    IDE_INTERFACE(IContainerListener, "848B7C71-077A-11D1-AE96-0020AF32BB01")
    virtual void ComponentAdded(const IntfRef<IContainerEvent>& E) = 0;
    virtual void ComponentRemoved(const IntfRef<IContainerEvent>& E) = 0;
};

struct IFocusListener : virtual IEventListener {
    IDE_INTERFACE(IFocusListener, "6481FE96-FA18-11D0-AE7E-0020AF32BB01")
    virtual void FocusGained(const IntfRef<IFocusEvent>& E) = 0;
    virtual void FocusLost(const IntfRef<IFocusEvent>& E) = 0;
};

struct IKeyListener : virtual IEventListener {
    IDE_INTERFACE(IKeyListener, "AB3EB0CD-F8AA-11D0-9AD2-0000C0091B45")
    virtual void KeyTyped(const IntfRef<IKeyEvent>& E) = 0;
    virtual void KeyPressed(const IntfRef<IKeyEvent>& E) = 0;
    virtual void KeyReleased(const IntfRef<IKeyEvent>& E) = 0;
};

struct IMouseListener : virtual IEventListener {
    IDE_INTERFACE(IMouseListener, "B66767E3-FED2-11D0-AE8B-0020AF32BB01")
    virtual void MouseClicked(const IntfRef<IMouseEvent>& E) = 0;
    virtual void MousePressed(const IntfRef<IMouseEvent>& E) = 0;
    virtual void MouseReleased(const IntfRef<IMouseEvent>& E) = 0;
    virtual void MouseEntered(const IntfRef<IMouseEvent>& E) = 0;
    virtual void MouseExited(const IntfRef<IMouseEvent>& E) = 0;
};

struct IMouseMotionListener : virtual IEventListener {
    IDE_INTERFACE(IMouseMotionListener, "B66767E4-FED2-11D0-AE8B-0020AF32BB01")
    virtual void MouseDragged(const IntfRef<IMouseEvent>& E) = 0;
    virtual void MouseMoved(const IntfRef<IMouseEvent>& E) = 0;
};

struct IWindowListener : virtual IEventListener {
    IDE_INTERFACE(IWindowListener, "848B7C72-077A-11D1-AE96-0020AF32BB01")
    virtual void WindowOpened(const IntfRef<IWindowEvent>& E) = 0;
    virtual void WindowClosing(const IntfRef<IWindowEvent>& E) = 0;
    virtual void WindowClosed(const IntfRef<IWindowEvent>& E) = 0;
    virtual void WindowIconified(const IntfRef<IWindowEvent>& E) = 0;
    virtual void WindowDeiconified(const IntfRef<IWindowEvent>& E) = 0;
    virtual void WindowActivated(const IntfRef<IWindowEvent>& E) = 0;
    virtual void WindowDeactivated(const IntfRef<IWindowEvent>& E) = 0;
};

struct IActionListener : virtual IEventListener {
    IDE_INTERFACE(IActionListener, "EBDF7DD4-F955-11D0-9AD3-0000C0091B45")
    virtual void ActionPerformed(const IntfRef<IActionEvent>& E) = 0;
};

struct IItemListener : virtual IEventListener {
    IDE_INTERFACE(IItemListener, "6481FE95-FA18-11D0-AE7E-0020AF32BB01")
    virtual void ItemStateChanged(const IntfRef<IItemEvent>& E) = 0;
};

struct IAdjustmentListener : virtual IEventListener {
    IDE_INTERFACE(IAdjustmentListener, "6481FE93-FA18-11D0-AE7E-0020AF32BB01")
    virtual void AdjustmentValueChanged(const IntfRef<IAdjustmentEvent>& E) = 0;
};

struct ITextListener : virtual IEventListener {
    IDE_INTERFACE(ITextListener, "848B7C73-077A-11D1-AE96-0020AF32BB01")
    virtual void TextValueChanged(const IntfRef<ITextEvent>& E) = 0;
};

struct IDragListener : virtual IEventListener {
    IDE_INTERFACE(IDragListener, "98B6F761-4CB6-11D1-AEF7-0020AF32BB01")
    virtual void DragEntered(const IntfRef<IDragEvent>& E) = 0;
    virtual void DragExited(const IntfRef<IDragEvent>& E) = 0;
    virtual void DragMoved(const IntfRef<IDragEvent>& E) = 0;
    virtual void DragDropped(const IntfRef<IDragEvent>& E) = 0;
    virtual void DragCancelled(const IntfRef<IDragEvent>& E) = 0;
    virtual void DragTargeted(const IntfRef<IDragEvent>& E) = 0;
};

// ---- event classes ---------------------------------------------------------

class TAWTEvent : public TEventObject, public virtual IAWTEvent {
public:
    // Semantic events (adjustment, item, text, action) are born consumed.
    TAWTEvent(IntfRef<IInterface> Source, int ID);
    int GetID() override { return FID; }
    void Consume() override;
    bool IsConsumed() override { return FConsumed; }

protected:
    int FID;
    bool FConsumed;
};

class TComponentEvent : public TAWTEvent, public virtual IComponentEvent {
public:
    // The control is wrapped in a new TTarnObject to serve as the event
    // source, so each event has a source wrapper of its own.
    TComponentEvent(TEventSource<TKomponent> Source, int ID);
    TKomponent* GetComponent() override { return FSource; }

protected:
    TKomponent* FSource;  // the same control as the base's source, typed
};

class TContainerEvent : public TComponentEvent, public virtual IContainerEvent {
public:
    TContainerEvent(TEventSource<TContainer> Source, int ID, TKomponent* Child);
    TContainer* GetContainer() override { return fsource; }
    TKomponent* GetChild() override { return FChild; }

protected:
    TKomponent* FChild;
    TContainer* fsource;
};

class TFocusEvent : public TComponentEvent, public virtual IFocusEvent {
public:
    TFocusEvent(TEventSource<TKomponent> Source, int ID, bool Temporary);
    static IntfRef<TFocusEvent> Create2(TEventSource<TKomponent> Source, int ID) {
        return Make<TFocusEvent>(Source, ID, false);
    }
    bool IsTemporary() override { return FTemporary; }

protected:
    bool FTemporary;
};

class TInputEvent : public TComponentEvent, public virtual IInputEvent {
public:
    TInputEvent(TEventSource<TKomponent> Source, int ID, TDateTime When, int Modifiers);
    bool IsShiftDown() override { return FModifiers & SHIFT_MASK; }
    bool IsControlDown() override { return FModifiers & CTRL_MASK; }
    bool IsMetaDown() override { return FModifiers & META_MASK; }
    bool IsAltDown() override { return FModifiers & ALT_MASK; }
    TDateTime GetWhen() override { return FWhen; }
    int GetModifiers() override { return FModifiers; }
    // The input view's Consume: no test of the id.
    void Consume(TInputConsume) override { FConsumed = true; }
    using TAWTEvent::Consume;
    using TAWTEvent::IsConsumed;

protected:
    TDateTime FWhen;
    int FModifiers;
};

class TKeyEvent : public TInputEvent, public virtual IKeyEvent {
public:
    // For KEY_TYPED the character must be set and the code must be 0:
    // EIllegalArgumentException "Invalid KeyChar" / "Invalid KeyCode".
    TKeyEvent(TEventSource<TKomponent> Source, int ID, TDateTime When, int Modifiers, int KeyCode, Char KeyChar);
    int GetKeyCode() override { return FKeyCode; }
    void SetKeyCode(int KeyCode) override { FKeyCode = KeyCode; }
    void SetKeyChar(Char KeyChar) override { FKeyChar = KeyChar; }
    void SetModifiers(int Modifiers) override { FModifiers = Modifiers; }
    Char GetKeyChar() override { return FKeyChar; }
    bool IsActionKey() override;

protected:
    int FKeyCode;
    Char FKeyChar;
};

class TMouseEvent : public TInputEvent, public virtual IMouseEvent {
public:
    TMouseEvent(TEventSource<TKomponent> Source, int ID, TDateTime When, int Modifiers, int X, int Y,
                int ClickCount, bool PopupTrigger);
    int GetX() override { return FX; }
    int GetY() override { return FY; }
    TPoint GetPoint() override { return {FX, FY}; }
    void TranslatePoint(int X, int Y) override {
        FX += X;
        FY += Y;
    }
    int GetClickCount() override { return FClickCount; }
    bool IsPopupTrigger() override { return FPopupTrigger; }

protected:
    int FX, FY, FClickCount;
    bool FPopupTrigger;
};

// A contract only: nothing in the library raises window events.
class TWindowEvent : public TComponentEvent, public virtual IWindowEvent {
public:
    TWindowEvent(TEventSource<TWindow> Source, int ID);
    TWindow* GetWindow() override { return FSource; }

protected:
    TWindow* FSource;
};

class TActionEvent : public TAWTEvent, public virtual IActionEvent {
public:
    TActionEvent(IntfRef<IInterface> Source, int ID, String Command, int Modifiers)
        : TAWTEvent(std::move(Source), ID), FActionCommand(std::move(Command)), FModifiers(Modifiers) {}
    static IntfRef<TActionEvent> Create2(IntfRef<IInterface> Source, int ID, String Command) {
        return Make<TActionEvent>(std::move(Source), ID, std::move(Command), 0);
    }
    String GetActionCommand() override { return FActionCommand; }
    int GetModifiers() override { return FModifiers; }

protected:
    String FActionCommand;
    int FModifiers;
};

class TAdjustmentEvent : public TAWTEvent, public virtual IAdjustmentEvent {
public:
    TAdjustmentEvent(const IntfRef<IAdjustable>& Source, int ID, int AType, int Value)
        : TAWTEvent(Source, ID), FAdjustable(Source), FValue(Value), FAdjustmentType(AType) {}
    IntfRef<IAdjustable> GetAdjustable() override { return FAdjustable; }
    int GetValue() override { return FValue; }
    int GetAdjustmentType() override { return FAdjustmentType; }

protected:
    IntfRef<IAdjustable> FAdjustable;
    int FValue, FAdjustmentType;
};

class TItemEvent : public TAWTEvent, public virtual IItemEvent {
public:
    TItemEvent(const IntfRef<IItemSelectable>& Source, int ID, TObject* Item, int StateChange)
        : TAWTEvent(Source, ID), FItem(Item), FStateChange(StateChange) {}
    IntfRef<IItemSelectable> GetItemSelectable() override { return As<IItemSelectable>(FSource); }
    TObject* GetItem() override { return FItem; }
    int GetStateChange() override { return FStateChange; }

protected:
    TObject* FItem;
    int FStateChange;
};

class TTextEvent : public TAWTEvent, public virtual ITextEvent {
public:
    using TAWTEvent::TAWTEvent;
};

class TDragEvent : public TComponentEvent, public virtual IDragEvent {
public:
    using TComponentEvent::TComponentEvent;
};

// ---- adapters: listeners whose methods do nothing --------------------------

class TFocusAdapter : public TInterfacedObject, public virtual IFocusListener {
public:
    void FocusGained(const IntfRef<IFocusEvent>&) override {}
    void FocusLost(const IntfRef<IFocusEvent>&) override {}
};

class TComponentAdapter : public TInterfacedObject, public virtual IComponentListener {
public:
    void ComponentResized(const IntfRef<IComponentEvent>&) override {}
    void ComponentMoved(const IntfRef<IComponentEvent>&) override {}
    void ComponentShown(const IntfRef<IComponentEvent>&) override {}
    void ComponentHidden(const IntfRef<IComponentEvent>&) override {}
};

class TContainerAdapter : public TInterfacedObject, public virtual IContainerListener {
public:
    void ComponentAdded(const IntfRef<IContainerEvent>&) override {}
    void ComponentRemoved(const IntfRef<IContainerEvent>&) override {}
};

class TMouseAdapter : public TInterfacedObject, public virtual IMouseListener {
public:
    void MouseClicked(const IntfRef<IMouseEvent>&) override {}
    void MousePressed(const IntfRef<IMouseEvent>&) override {}
    void MouseReleased(const IntfRef<IMouseEvent>&) override {}
    void MouseEntered(const IntfRef<IMouseEvent>&) override {}
    void MouseExited(const IntfRef<IMouseEvent>&) override {}
};

class TMouseMotionAdapter : public TInterfacedObject, public virtual IMouseMotionListener {
public:
    void MouseDragged(const IntfRef<IMouseEvent>&) override {}
    void MouseMoved(const IntfRef<IMouseEvent>&) override {}
};

class TKeyAdapter : public TInterfacedObject, public virtual IKeyListener {
public:
    void KeyTyped(const IntfRef<IKeyEvent>&) override {}
    void KeyPressed(const IntfRef<IKeyEvent>&) override {}
    void KeyReleased(const IntfRef<IKeyEvent>&) override {}
};

class TWindowAdapter : public TInterfacedObject, public virtual IWindowListener {
public:
    void WindowOpened(const IntfRef<IWindowEvent>&) override {}
    void WindowClosing(const IntfRef<IWindowEvent>&) override {}
    void WindowClosed(const IntfRef<IWindowEvent>&) override {}
    void WindowIconified(const IntfRef<IWindowEvent>&) override {}
    void WindowDeiconified(const IntfRef<IWindowEvent>&) override {}
    void WindowActivated(const IntfRef<IWindowEvent>&) override {}
    void WindowDeactivated(const IntfRef<IWindowEvent>&) override {}
};

}  // namespace ide
