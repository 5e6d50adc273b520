#include "views/IDEPeer.h"

#include <algorithm>

namespace ide {

TJPeer::~TJPeer() = default;

#define IDE_PEER_LISTENER(Kind, Field)                                                              \
    void TJPeer::Add##Kind##Listener(const IntfRef<I##Kind##Listener>& L) {                         \
        Field = Supports<I##Kind##Listener>(TAWTEventMulticaster::Add(Field, L));                   \
    }                                                                                               \
    void TJPeer::Remove##Kind##Listener(const IntfRef<I##Kind##Listener>& L) {                      \
        Field = Supports<I##Kind##Listener>(TAWTEventMulticaster::Remove(Field, L));                \
    }
IDE_PEER_LISTENER(Component, FComponentListener)
IDE_PEER_LISTENER(Container, FContainerListener)
IDE_PEER_LISTENER(Focus, FFocusListener)
IDE_PEER_LISTENER(Key, FKeyListener)
IDE_PEER_LISTENER(Mouse, FMouseListener)
IDE_PEER_LISTENER(MouseMotion, FMouseMotionListener)
#undef IDE_PEER_LISTENER

void TJPeer::AddDragListener(const IntfRef<IDragListener>& L) {
    if (!L) return;
    auto list = FDragListeners;
    list.push_back(L);
    FDragListeners = std::move(list);
}

void TJPeer::RemoveDragListener(const IntfRef<IDragListener>& L) {
    auto list = FDragListeners;
    auto it = std::find_if(list.begin(), list.end(), [&](const auto& x) { return SameObject(x, L); });
    if (it == list.end()) return;
    list.erase(it);
    FDragListeners = std::move(list);
}

void TJPeer::DispatchEventImpl(const IntfRef<IAWTEvent>& E) {
    if (E && EventEnabled(E)) ProcessEvent(E);
}

bool TJPeer::EventEnabled(const IntfRef<IAWTEvent>& E) {
    int id = E->GetID();
    if (id >= COMPONENT_MOVED && id <= COMPONENT_HIDDEN)
        return (FEventMask & AWT_COMPONENT_EVENT_MASK) || FComponentListener;
    if (id >= KEY_TYPED && id <= KEY_RELEASED) return (FEventMask & AWT_KEY_EVENT_MASK) || FKeyListener;
    if (id == MOUSE_CLICKED || id == MOUSE_PRESSED || id == MOUSE_RELEASED || id == MOUSE_ENTERED || id == MOUSE_EXITED)
        return (FEventMask & AWT_MOUSE_EVENT_MASK) || FMouseListener;
    if (id == MOUSE_MOVED || id == MOUSE_DRAGGED)
        return (FEventMask & AWT_MOUSE_MOTION_EVENT_MASK) || FMouseMotionListener;
    if (id == FOCUS_GAINED || id == FOCUS_LOST) return (FEventMask & AWT_FOCUS_EVENT_MASK) || FFocusListener;
    return id >= 2000;
}

void TJPeer::ProcessEvent(const IntfRef<IAWTEvent>& E) {
    if (auto f = Supports<IFocusEvent>(E)) return ProcessFocusEvent(f);
    if (auto m = Supports<IMouseEvent>(E)) {
        int id = m->GetID();
        if (id == MOUSE_MOVED || id == MOUSE_DRAGGED) return ProcessMouseMotionEvent(m);
        if (id >= MOUSE_CLICKED && id <= MOUSE_EXITED) return ProcessMouseEvent(m);
        return;
    }
    if (auto k = Supports<IKeyEvent>(E)) return ProcessKeyEvent(k);
    if (auto d = Supports<IDragEvent>(E)) return ProcessDragEvent(d);
    if (auto c = Supports<IContainerEvent>(E)) return ProcessContainerEvent(c);
    if (auto c = Supports<IComponentEvent>(E)) return ProcessComponentEvent(c);
}

void TJPeer::ProcessComponentEvent(const IntfRef<IComponentEvent>& E) {
    switch (E->GetID()) {
        case COMPONENT_RESIZED:
            if (FOnComponentResized) FOnComponentResized(E);
            if (FComponentListener) FComponentListener->ComponentResized(E);
            break;
        case COMPONENT_MOVED:
            if (FOnComponentMoved) FOnComponentMoved(E);
            if (FComponentListener) FComponentListener->ComponentMoved(E);
            break;
        case COMPONENT_SHOWN:
            if (FOnComponentShown) FOnComponentShown(E);
            if (FComponentListener) FComponentListener->ComponentShown(E);
            break;
        case COMPONENT_HIDDEN:
            if (FOnComponentHidden) FOnComponentHidden(E);
            if (FComponentListener) FComponentListener->ComponentHidden(E);
            break;
        default: break;
    }
}

void TJPeer::ProcessContainerEvent(const IntfRef<IContainerEvent>& E) {
    if (E->GetID() == COMPONENT_ADDED) {
        if (FOnComponentAdded) FOnComponentAdded(E);
        if (FContainerListener) FContainerListener->ComponentAdded(E);
    } else if (E->GetID() == COMPONENT_REMOVED) {
        if (FOnComponentRemoved) FOnComponentRemoved(E);
        if (FContainerListener) FContainerListener->ComponentRemoved(E);
    }
}

void TJPeer::ProcessFocusEvent(const IntfRef<IFocusEvent>& E) {
    if (E->GetID() == FOCUS_GAINED) {
        if (FOnFocusGained) FOnFocusGained(E);
        if (FFocusListener) FFocusListener->FocusGained(E);
    } else if (E->GetID() == FOCUS_LOST) {
        if (FOnFocusLost) FOnFocusLost(E);
        if (FFocusListener) FFocusListener->FocusLost(E);
    }
}

void TJPeer::ProcessKeyEvent(const IntfRef<IKeyEvent>& E) {
    switch (E->GetID()) {
        case KEY_PRESSED:
            if (FOnKeyPressed) FOnKeyPressed(E);
            if (FKeyListener) FKeyListener->KeyPressed(E);
            break;
        case KEY_RELEASED:
            if (FOnKeyReleased) FOnKeyReleased(E);
            if (FKeyListener) FKeyListener->KeyReleased(E);
            break;
        case KEY_TYPED:
            if (FOnKeyTyped) FOnKeyTyped(E);
            if (FKeyListener) FKeyListener->KeyTyped(E);
            break;
        default: break;
    }
}

void TJPeer::ProcessMouseEvent(const IntfRef<IMouseEvent>& E) {
    switch (E->GetID()) {
        case MOUSE_PRESSED:
            if (FOnMousePressed) FOnMousePressed(E);
            if (FMouseListener) FMouseListener->MousePressed(E);
            break;
        case MOUSE_RELEASED:
            if (FOnMouseReleased) FOnMouseReleased(E);
            if (FMouseListener) FMouseListener->MouseReleased(E);
            break;
        case MOUSE_CLICKED:
            if (FOnMouseClicked) FOnMouseClicked(E);
            if (FMouseListener) FMouseListener->MouseClicked(E);
            break;
        case MOUSE_ENTERED:
            if (FOnMouseEntered) FOnMouseEntered(E);
            if (FMouseListener) FMouseListener->MouseEntered(E);
            break;
        case MOUSE_EXITED:
            if (FOnMouseExited) FOnMouseExited(E);
            if (FMouseListener) FMouseListener->MouseExited(E);
            break;
        default: break;
    }
}

void TJPeer::ProcessMouseMotionEvent(const IntfRef<IMouseEvent>& E) {
    if (E->GetID() == MOUSE_MOVED) {
        if (FOnMouseMoved) FOnMouseMoved(E);
        if (FMouseMotionListener) FMouseMotionListener->MouseMoved(E);
    } else if (E->GetID() == MOUSE_DRAGGED) {
        if (FOnMouseDragged) FOnMouseDragged(E);
        if (FMouseMotionListener) FMouseMotionListener->MouseDragged(E);
    }
}

void TJPeer::ProcessDragEvent(const IntfRef<IDragEvent>& E) {
    // By id, the property and the listener operation of that kind of drag
    // event (a switch: the sanitizer misreads tables of member pointers).
    const TOnDragEvent* property;
    void (IDragListener::*method)(const IntfRef<IDragEvent>&);
    switch (E->GetID()) {
        case DRAG_ENTERED: property = &FOnDragEntered, method = &IDragListener::DragEntered; break;
        case DRAG_EXITED: property = &FOnDragExited, method = &IDragListener::DragExited; break;
        case DRAG_MOVED: property = &FOnDragMoved, method = &IDragListener::DragMoved; break;
        case DRAG_DROPPED: property = &FOnDragDropped, method = &IDragListener::DragDropped; break;
        case DRAG_CANCELLED: property = &FOnDragCancelled, method = &IDragListener::DragCancelled; break;
        case DRAG_TARGETED: property = &FOnDragTargeted, method = &IDragListener::DragTargeted; break;
        default: return;
    }
    if (*property) (*property)(E);
    auto listeners = FDragListeners;  // the list of this dispatch
    for (const auto& l : listeners) ((*l).*method)(E);
}

// ---------------------------------------------------------------- bean

TBeanPeer::TBeanPeer() : FActionAdapter(Make<TActionMulticaster>()) {}

void TBeanPeer::ProcessEvent(const IntfRef<IAWTEvent>& E) {
    if (auto a = Supports<IActionEvent>(E)) return ProcessActionEvent(a);
    TJPeer::ProcessEvent(E);
}

void TBeanPeer::ProcessActionEvent(const IntfRef<IActionEvent>& E) {
    if (FOnActionPerformed) FOnActionPerformed(E);
    FActionAdapter->ActionPerformed(E);
}

void TBeanPeer::ProcessKeyEvent(const IntfRef<IKeyEvent>& E) {
    switch (E->GetID()) {
        case KEY_TYPED: ProcessKeyTyped(E); break;
        case KEY_PRESSED: ProcessKeyPressed(E); break;
        case KEY_RELEASED: ProcessKeyReleased(E); break;
        default: break;
    }
    TJPeer::ProcessKeyEvent(E);
}

void TBeanPeer::ProcessMouseEvent(const IntfRef<IMouseEvent>& E) {
    switch (E->GetID()) {
        case MOUSE_PRESSED: ProcessMousePressed(E); break;
        case MOUSE_RELEASED: ProcessMouseReleased(E); break;
        case MOUSE_CLICKED: ProcessMouseClicked(E); break;
        case MOUSE_ENTERED: ProcessMouseEntered(E); break;
        case MOUSE_EXITED: ProcessMouseExited(E); break;
        default: break;
    }
    TJPeer::ProcessMouseEvent(E);
}

void TBeanPeer::ProcessMouseMotionEvent(const IntfRef<IMouseEvent>& E) {
    if (E->GetID() == MOUSE_MOVED)
        ProcessMouseMoved(E);
    else if (E->GetID() == MOUSE_DRAGGED)
        ProcessMouseDragged(E);
    TJPeer::ProcessMouseMotionEvent(E);
}

void TBeanPeer::ProcessMousePressed(const IntfRef<IMouseEvent>& E) {
    if (E->GetClickCount() == 1 && IsFocusTraversable()) RequestFocus();
}

void TBeanPeer::ProcessFocusEvent(const IntfRef<IFocusEvent>& E) {
    if (FFocusAware) {
        if (E->GetID() == FOCUS_GAINED)
            FFocusState = isFocused;
        else if (E->GetID() == FOCUS_LOST)
            FFocusState = isInactive;
    }
    TJPeer::ProcessFocusEvent(E);
}

Char KeyCharOf(int KeyCode) {
    if (KeyCode == 8 || KeyCode == 9 || KeyCode == 13 || KeyCode == 27 || KeyCode == 32) return static_cast<Char>(KeyCode);
    if ((KeyCode >= '0' && KeyCode <= '9') || (KeyCode >= 'A' && KeyCode <= 'Z')) return static_cast<Char>(KeyCode);
    return 0;
}

}  // namespace ide
