// The peers: the part of a control that turns window-system input into the
// events of the event vocabulary and hands them to method-pointer
// properties and listener trees. The Qt widgets (views/widgets) translate
// Qt events into DispatchEvent calls; everything about which event reaches
// whom is decided here, without the toolkit.
//
//   DispatchEvent(E) -> DispatchEventImpl(E): if EventEnabled(E), ProcessEvent(E)
//   ProcessEvent picks by contract: focus, mouse (500-502, 504, 505 to
//   ProcessMouseEvent; 503, 506 to ProcessMouseMotionEvent), key, container,
//   component, drag. Each Process... calls the property first, then the tree.
//
// EventEnabled: a kind passes when its mask bit is on or a listener of the
// kind is set; an assigned property alone doesn't enable it. Container
// events (300, 301) never pass; ids of 2000 and above always do.
#pragma once

#include <functional>
#include <vector>

#include "foundation/IDEUIMulticast.h"
#include "foundation/OwnedInterface.h"
#include "views/IDEItem.h"

namespace ide {

enum : int {
    AWT_COMPONENT_EVENT_MASK = 1,
    AWT_FOCUS_EVENT_MASK = 4,
    AWT_KEY_EVENT_MASK = 8,
    AWT_MOUSE_EVENT_MASK = 16,
    AWT_MOUSE_MOTION_EVENT_MASK = 32,
};

using TOnComponentEvent = std::function<void(const IntfRef<IComponentEvent>&)>;
using TOnContainerEvent = std::function<void(const IntfRef<IContainerEvent>&)>;
using TOnFocusEvent = std::function<void(const IntfRef<IFocusEvent>&)>;
using TOnKeyEvent = std::function<void(const IntfRef<IKeyEvent>&)>;
using TOnMouseEvent = std::function<void(const IntfRef<IMouseEvent>&)>;
using TOnDragEvent = std::function<void(const IntfRef<IDragEvent>&)>;
using TOnActionEvent = std::function<void(const IntfRef<IActionEvent>&)>;

// The bridge of a panel, scroll box or edit field.
// Thread: UI thread only.
class TJPeer : public TOwnedInterfacedObject {
public:
    TJPeer() = default;
    ~TJPeer() override;

    // The control that events name as their source.
    void SetEventSource(TEventSource<TKomponent> Source) { FSource = Source; }
    const TEventSource<TKomponent>& EventSource() const { return FSource; }

    void EnableEvents(int Mask) { FEventMask |= Mask; }
    void DisableEvents(int Mask) { FEventMask &= ~Mask; }
    int EventMask() const { return FEventMask; }

    void AddComponentListener(const IntfRef<IComponentListener>& L);
    void RemoveComponentListener(const IntfRef<IComponentListener>& L);
    void AddContainerListener(const IntfRef<IContainerListener>& L);
    void RemoveContainerListener(const IntfRef<IContainerListener>& L);
    void AddFocusListener(const IntfRef<IFocusListener>& L);
    void RemoveFocusListener(const IntfRef<IFocusListener>& L);
    void AddKeyListener(const IntfRef<IKeyListener>& L);
    void RemoveKeyListener(const IntfRef<IKeyListener>& L);
    void AddMouseListener(const IntfRef<IMouseListener>& L);
    void RemoveMouseListener(const IntfRef<IMouseListener>& L);
    void AddMouseMotionListener(const IntfRef<IMouseMotionListener>& L);
    void RemoveMouseMotionListener(const IntfRef<IMouseMotionListener>& L);
    void AddDragListener(const IntfRef<IDragListener>& L);
    void RemoveDragListener(const IntfRef<IDragListener>& L);

    void DispatchEvent(const IntfRef<IAWTEvent>& E) { DispatchEventImpl(E); }
    virtual void DispatchEventImpl(const IntfRef<IAWTEvent>& E);
    virtual bool EventEnabled(const IntfRef<IAWTEvent>& E);
    virtual void ProcessEvent(const IntfRef<IAWTEvent>& E);
    virtual void ProcessComponentEvent(const IntfRef<IComponentEvent>& E);
    virtual void ProcessContainerEvent(const IntfRef<IContainerEvent>& E);
    virtual void ProcessFocusEvent(const IntfRef<IFocusEvent>& E);
    virtual void ProcessKeyEvent(const IntfRef<IKeyEvent>& E);
    virtual void ProcessMouseEvent(const IntfRef<IMouseEvent>& E);
    virtual void ProcessMouseMotionEvent(const IntfRef<IMouseEvent>& E);
    virtual void ProcessDragEvent(const IntfRef<IDragEvent>& E);
    // The widget asks for the focus (the Qt side overrides).
    virtual void RequestFocus() {}

    TOnComponentEvent FOnComponentResized, FOnComponentMoved, FOnComponentShown, FOnComponentHidden;
    TOnContainerEvent FOnComponentAdded, FOnComponentRemoved;
    TOnFocusEvent FOnFocusGained, FOnFocusLost;
    TOnKeyEvent FOnKeyPressed, FOnKeyReleased, FOnKeyTyped;
    TOnMouseEvent FOnMousePressed, FOnMouseReleased, FOnMouseClicked, FOnMouseEntered, FOnMouseExited, FOnMouseMoved,
        FOnMouseDragged;
    TOnDragEvent FOnDragEntered, FOnDragExited, FOnDragMoved, FOnDragDropped, FOnDragCancelled, FOnDragTargeted;

protected:
    TEventSource<TKomponent> FSource;
    int FEventMask = 0;
    IntfRef<IComponentListener> FComponentListener;
    IntfRef<IContainerListener> FContainerListener;
    IntfRef<IFocusListener> FFocusListener;
    IntfRef<IKeyListener> FKeyListener;
    IntfRef<IMouseListener> FMouseListener;
    IntfRef<IMouseMotionListener> FMouseMotionListener;
    std::vector<IntfRef<IDragListener>> FDragListeners;  // never changed in place: a dispatch walks its own copy
};

// The bean layer: action listeners, a focus state, and one virtual per kind
// of key and mouse event, called ahead of properties and listeners.
// Thread: UI thread only.
class TBeanPeer : public TJPeer {
public:
    TBeanPeer();
    void AddActionListener(const IntfRef<IActionListener>& L) { FActionAdapter->Add(L); }
    void RemoveActionListener(const IntfRef<IActionListener>& L) { FActionAdapter->Remove(L); }
    bool IsFocusAware() const { return FFocusAware; }
    void SetFocusAware(bool Value) { FFocusAware = Value; }
    TItemState FocusState() const { return FFocusState; }
    virtual bool IsFocusTraversable() { return true; }

    void ProcessEvent(const IntfRef<IAWTEvent>& E) override;
    virtual void ProcessActionEvent(const IntfRef<IActionEvent>& E);
    void ProcessKeyEvent(const IntfRef<IKeyEvent>& E) override;
    void ProcessMouseEvent(const IntfRef<IMouseEvent>& E) override;
    void ProcessMouseMotionEvent(const IntfRef<IMouseEvent>& E) override;
    void ProcessFocusEvent(const IntfRef<IFocusEvent>& E) override;
    virtual void ProcessKeyPressed(const IntfRef<IKeyEvent>&) {}
    virtual void ProcessKeyReleased(const IntfRef<IKeyEvent>&) {}
    virtual void ProcessKeyTyped(const IntfRef<IKeyEvent>&) {}
    virtual void ProcessMousePressed(const IntfRef<IMouseEvent>& E);
    virtual void ProcessMouseReleased(const IntfRef<IMouseEvent>&) {}
    virtual void ProcessMouseClicked(const IntfRef<IMouseEvent>&) {}
    virtual void ProcessMouseEntered(const IntfRef<IMouseEvent>&) {}
    virtual void ProcessMouseExited(const IntfRef<IMouseEvent>&) {}
    virtual void ProcessMouseMoved(const IntfRef<IMouseEvent>&) {}
    virtual void ProcessMouseDragged(const IntfRef<IMouseEvent>&) {}

    TOnActionEvent FOnActionPerformed;

protected:
    IntfRef<TActionMulticaster> FActionAdapter;
    bool FFocusAware = false;
    TItemState FFocusState = isDefault;
};

// The character of a key-down or key-up event: the code itself for the
// codes from 8 to 95 that have one (back space, tab, enter, escape, space,
// digits, letters), else 0.
Char KeyCharOf(int KeyCode);

}  // namespace ide
