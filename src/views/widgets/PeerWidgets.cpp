#include "views/widgets/PeerWidgets.h"

#include <QChildEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>

#include "foundation/ExceptionBridge.h"

namespace ide {

int VirtualKeyOf(int K, bool Keypad) {
    if (K >= Qt::Key_A && K <= Qt::Key_Z) return 'A' + (K - Qt::Key_A);
    if (K >= Qt::Key_0 && K <= Qt::Key_9) return Keypad ? 96 + (K - Qt::Key_0) : '0' + (K - Qt::Key_0);
    if (K >= Qt::Key_F1 && K <= Qt::Key_F24) return 112 + (K - Qt::Key_F1);
    switch (K) {
        case Qt::Key_Backspace: return 8;
        case Qt::Key_Tab: return 9;
        case Qt::Key_Return:
        case Qt::Key_Enter: return 13;
        case Qt::Key_Shift: return 16;
        case Qt::Key_Control: return 17;
        case Qt::Key_Alt: return 18;
        case Qt::Key_Escape: return 27;
        case Qt::Key_Space: return 32;
        case Qt::Key_PageUp: return 33;
        case Qt::Key_PageDown: return 34;
        case Qt::Key_End: return 35;
        case Qt::Key_Home: return 36;
        case Qt::Key_Left: return 37;
        case Qt::Key_Up: return 38;
        case Qt::Key_Right: return 39;
        case Qt::Key_Down: return 40;
        case Qt::Key_Insert: return 45;
        case Qt::Key_Delete: return 46;
        case Qt::Key_Asterisk: return Keypad ? 106 : 0;
        case Qt::Key_Plus: return Keypad ? 107 : 187;
        case Qt::Key_Minus: return Keypad ? 109 : 189;
        default: return 0;
    }
}

namespace {
int KeyModifiers(Qt::KeyboardModifiers m) {
    int r = 0;
    if (m & Qt::ShiftModifier) r |= SHIFT_MASK;
    if (m & Qt::ControlModifier) r |= CTRL_MASK;
    if (m & Qt::AltModifier) r |= ALT_MASK;
    return r;
}

int MouseModifiers(const QMouseEvent* e) {
    int r = 0;
    if (e->modifiers() & Qt::ShiftModifier) r |= SHIFT_MASK;
    if (e->modifiers() & Qt::ControlModifier) r |= CTRL_MASK;
    Qt::MouseButtons b = e->buttons() | e->button();  // the released button counts for its release
    if (b & Qt::RightButton) r |= META_MASK;
    if (b & Qt::MiddleButton) r |= ALT_MASK;
    if (b & Qt::LeftButton) r |= 16;
    return r;
}

IntfRef<IAWTEvent> MouseOf(TJPeer& P, int Id, const QMouseEvent* e, int Clicks, bool Popup) {
    QPoint p = e->position().toPoint();
    return Make<TMouseEvent>(P.EventSource(), Id, Now(), MouseModifiers(e), p.x(), p.y(), Clicks, Popup);
}
}  // namespace

bool TranslatePeerEvent(QWidget* W, QEvent* E, TJPeer& P) {
    switch (E->type()) {
        case QEvent::KeyPress: {
            auto* k = static_cast<QKeyEvent*>(E);
            int vk = VirtualKeyOf(k->key(), k->modifiers() & Qt::KeypadModifier);
            int mods = KeyModifiers(k->modifiers());
            P.DispatchEvent(Make<TKeyEvent>(P.EventSource(), KEY_PRESSED, Now(), mods, vk, KeyCharOf(vk)));
            if (!k->text().isEmpty() && k->text()[0].isPrint())
                P.DispatchEvent(Make<TKeyEvent>(P.EventSource(), KEY_TYPED, Now(), mods, 0, k->text()[0].unicode()));
            return true;
        }
        case QEvent::KeyRelease: {
            auto* k = static_cast<QKeyEvent*>(E);
            int vk = VirtualKeyOf(k->key(), k->modifiers() & Qt::KeypadModifier);
            P.DispatchEvent(
                Make<TKeyEvent>(P.EventSource(), KEY_RELEASED, Now(), KeyModifiers(k->modifiers()), vk, KeyCharOf(vk)));
            return true;
        }
        case QEvent::FocusIn: P.DispatchEvent(TFocusEvent::Create2(P.EventSource(), FOCUS_GAINED)); return true;
        case QEvent::FocusOut: P.DispatchEvent(TFocusEvent::Create2(P.EventSource(), FOCUS_LOST)); return true;
        case QEvent::MouseButtonPress: P.DispatchEvent(MouseOf(P, MOUSE_PRESSED, static_cast<QMouseEvent*>(E), 1, false)); return true;
        case QEvent::MouseButtonDblClick: {
            auto* m = static_cast<QMouseEvent*>(E);
            P.DispatchEvent(MouseOf(P, MOUSE_PRESSED, m, 2, m->button() == Qt::RightButton));
            return true;
        }
        case QEvent::MouseButtonRelease: {
            auto* m = static_cast<QMouseEvent*>(E);
            bool popup = m->button() == Qt::RightButton;
            if (W->rect().contains(m->position().toPoint())) P.DispatchEvent(MouseOf(P, MOUSE_CLICKED, m, 1, popup));
            P.DispatchEvent(MouseOf(P, MOUSE_RELEASED, m, 1, popup));
            return true;
        }
        case QEvent::MouseMove: {
            auto* m = static_cast<QMouseEvent*>(E);
            P.DispatchEvent(MouseOf(P, (m->buttons() & Qt::LeftButton) ? MOUSE_DRAGGED : MOUSE_MOVED, m, 0, false));
            return true;
        }
        case QEvent::Enter:
            P.DispatchEvent(Make<TMouseEvent>(P.EventSource(), MOUSE_ENTERED, Now(), 0, 0, 0, 0, false));
            return true;
        case QEvent::Leave:
            P.DispatchEvent(Make<TMouseEvent>(P.EventSource(), MOUSE_EXITED, Now(), 0, 0, 0, 0, false));
            return true;
        case QEvent::Move: P.DispatchEvent(Make<TComponentEvent>(P.EventSource(), COMPONENT_MOVED)); return true;
        case QEvent::Resize: P.DispatchEvent(Make<TComponentEvent>(P.EventSource(), COMPONENT_RESIZED)); return true;
        case QEvent::Show: P.DispatchEvent(Make<TComponentEvent>(P.EventSource(), COMPONENT_SHOWN)); return true;
        case QEvent::Hide: P.DispatchEvent(Make<TComponentEvent>(P.EventSource(), COMPONENT_HIDDEN)); return true;
        case QEvent::ChildAdded:
        case QEvent::ChildRemoved: {
            auto* c = static_cast<QChildEvent*>(E);
            if (!c->child()->isWidgetType()) return false;
            auto* container = dynamic_cast<TContainer*>(P.EventSource().Component);
            TKomponent* child = TKomponent::FromWidget(static_cast<QWidget*>(c->child()));
            P.DispatchEvent(Make<TContainerEvent>(container, E->type() == QEvent::ChildAdded ? COMPONENT_ADDED : COMPONENT_REMOVED, child));
            return true;
        }
        case QEvent::DragEnter: P.DispatchEvent(Make<TDragEvent>(P.EventSource(), DRAG_ENTERED)); return true;
        case QEvent::DragLeave: P.DispatchEvent(Make<TDragEvent>(P.EventSource(), DRAG_EXITED)); return true;
        case QEvent::DragMove: P.DispatchEvent(Make<TDragEvent>(P.EventSource(), DRAG_MOVED)); return true;
        case QEvent::Drop: P.DispatchEvent(Make<TDragEvent>(P.EventSource(), DRAG_DROPPED)); return true;
        default: return false;
    }
}

// ---------------------------------------------------------------- panels

TJPanel::TJPanel(QWidget* Parent) : QFrame(Parent), FKomponent(this) {
    SetEventSource(&FKomponent);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
}
TJPanel::~TJPanel() = default;

bool TJPanel::event(QEvent* Event) {
    CallGuarded(this, [&] { TranslatePeerEvent(this, Event, *this); });
    return QFrame::event(Event);
}

TBeanPanel::TBeanPanel(QWidget* Parent) : QFrame(Parent), FKomponent(this) {
    SetEventSource(&FKomponent);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
}
TBeanPanel::~TBeanPanel() = default;

bool TBeanPanel::event(QEvent* Event) {
    CallGuarded(this, [&] { TranslatePeerEvent(this, Event, *this); });
    return QFrame::event(Event);
}

// ---------------------------------------------------------------- scroll box

TScrollBox2::TScrollBox2(QWidget* Parent) : QAbstractScrollArea(Parent) { ApplyBorderStyle(); }
TScrollBox2::~TScrollBox2() = default;

void TScrollBox2::SetBorderStyle(TBorderStyle Value) {
    if (Value == FBorderStyle) return;
    FBorderStyle = Value;
    ApplyBorderStyle();
    BorderStyleChanged();
}

void TScrollBox2::ApplyBorderStyle() {
    setFrameStyle(FBorderStyle == bsSingle ? QFrame::StyledPanel | QFrame::Sunken : QFrame::NoFrame);
}

// ---------------------------------------------------------------- scroll pane

TScrollPane::TScrollPane(QWidget* Parent) : TScrollBox2(Parent), FKomponent(this) {
    SetEventSource(&FKomponent);
    FFocusAware = true;
    FFocusState = isInactive;
    EnableEvents(2111);
    viewport()->setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
}
TScrollPane::~TScrollPane() = default;

void TScrollPane::SetInsets(const TInsets& Value) {
    FInsets = Value;
    setViewportMargins(Value.Left, Value.Top, Value.Right, Value.Bottom);
    UpdateBars();
}

TDimension TScrollPane::GetViewportSize() const { return {viewport()->width(), viewport()->height()}; }

TPoint TScrollPane::GetScrollPosition() const { return {horizontalScrollBar()->value(), verticalScrollBar()->value()}; }

void TScrollPane::SetScrollPosition(int X, int Y) {
    horizontalScrollBar()->setValue(X);
    verticalScrollBar()->setValue(Y);
}

void TScrollPane::SetContentSize(int Width, int Height) {
    FContent = {Width, Height};
    UpdateBars();
}

void TScrollPane::UpdateBars() {
    TDimension vp = GetViewportSize();
    horizontalScrollBar()->setRange(0, std::max(0, FContent.Width - vp.Width));
    horizontalScrollBar()->setPageStep(vp.Width);
    verticalScrollBar()->setRange(0, std::max(0, FContent.Height - vp.Height));
    verticalScrollBar()->setPageStep(vp.Height);
}

void TScrollPane::resizeEvent(QResizeEvent* Event) {
    QAbstractScrollArea::resizeEvent(Event);
    CallGuarded(this, [&] { UpdateBars(); });
}

void TScrollPane::BorderStyleChanged() { UpdateBars(); }

bool TScrollPane::event(QEvent* Event) {
    // Input arrives at the viewport (viewportEvent); the pane itself reports
    // focus, geometry, visibility and children.
    switch (Event->type()) {
        case QEvent::FocusIn:
        case QEvent::FocusOut:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::Move:
        case QEvent::Resize:
        case QEvent::Show:
        case QEvent::Hide: CallGuarded(this, [&] { TranslatePeerEvent(this, Event, *this); }); break;
        default: break;
    }
    return QAbstractScrollArea::event(Event);
}

bool TScrollPane::viewportEvent(QEvent* Event) {
    switch (Event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
        case QEvent::Enter:
        case QEvent::Leave:
        case QEvent::DragEnter:
        case QEvent::DragLeave:
        case QEvent::DragMove:
        case QEvent::Drop: CallGuarded(this, [&] { TranslatePeerEvent(viewport(), Event, *this); }); break;
        default: break;
    }
    return QAbstractScrollArea::viewportEvent(Event);
}

// ---------------------------------------------------------------- text field

TTextField::TTextField(QWidget* Parent) : QLineEdit(Parent), FKomponent(this) { SetEventSource(&FKomponent); }
TTextField::~TTextField() = default;

void TTextField::SetInsets(const TInsets& Value) {
    FInsets = Value;
    setTextMargins(Value.Left, Value.Top, Value.Right, Value.Bottom);
}

bool TTextField::event(QEvent* Event) {
    CallGuarded(this, [&] { TranslatePeerEvent(this, Event, *this); });
    return QLineEdit::event(Event);
}

}  // namespace ide
