#include "cpuviews/widgets/DisassemblerView.h"

#include "foundation/ExceptionBridge.h"
#include "platform/QtCanvas.h"

#include <QFontDatabase>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QWheelEvent>

namespace ide {

namespace {

uint16_t ToVirtualKey(int Key) {
    switch (Key) {
    case Qt::Key_PageUp: return VK_PRIOR;
    case Qt::Key_PageDown: return VK_NEXT;
    case Qt::Key_End: return VK_END;
    case Qt::Key_Home: return VK_HOME;
    case Qt::Key_Left: return VK_LEFT;
    case Qt::Key_Up: return VK_UP;
    case Qt::Key_Right: return VK_RIGHT;
    case Qt::Key_Down: return VK_DOWN;
    default: return 0;
    }
}

TShiftState ToShift(Qt::KeyboardModifiers M, Qt::MouseButtons B = Qt::NoButton) {
    TShiftState s = 0;
    if (M & Qt::ShiftModifier) s |= ShiftBit(ssShift);
    if (M & Qt::ControlModifier) s |= ShiftBit(ssCtrl);
    if (M & Qt::AltModifier) s |= ShiftBit(ssAlt);
    if (B & Qt::LeftButton) s |= ShiftBit(ssLeft);
    if (B & Qt::RightButton) s |= ShiftBit(ssRight);
    if (B & Qt::MiddleButton) s |= ShiftBit(ssMiddle);
    return s;
}

TMouseButton ToButton(Qt::MouseButton B) {
    return B == Qt::RightButton ? mbRight : B == Qt::MiddleButton ? mbMiddle : mbLeft;
}

}  // namespace

TDisassemblerView::TDisassemblerView(QWidget* Parent) : QAbstractScrollArea(Parent), FLogic(this) {
    setFocusPolicy(Qt::StrongFocus);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    resize(100, 100);
    // The dummy vertical bar: its thumb sits in the middle of three
    // positions, so both arrows and both page zones stay live.
    QScrollBar* v = verticalScrollBar();
    v->setRange(0, 2);
    v->setValue(1);
    v->setPageStep(1);
    connect(v, &QAbstractSlider::actionTriggered, this, [this, v](int Action) {
        Guarded([&] {
            switch (Action) {
            case QAbstractSlider::SliderSingleStepSub: FLogic.VScroll(SB_LINEUP); break;
            case QAbstractSlider::SliderSingleStepAdd: FLogic.VScroll(SB_LINEDOWN); break;
            case QAbstractSlider::SliderPageStepSub: FLogic.VScroll(SB_PAGEUP); break;
            case QAbstractSlider::SliderPageStepAdd: FLogic.VScroll(SB_PAGEDOWN); break;
            default: break;  // tracking is ignored
            }
        });
        v->setSliderPosition(1);
    });
    QScrollBar* h = horizontalScrollBar();
    h->setSingleStep(8);
    connect(h, &QAbstractSlider::valueChanged, this, [this](int Value) {
        if (FSettingBars) return;
        Guarded([&] { FLogic.HScroll(SB_THUMBTRACK, Value); });
    });
    Guarded([&] {
        FLogic.FontChanged();
        FLogic.Resize(viewport()->width(), viewport()->height());
        FLogic.CreateWnd();
    });
}

TDisassemblerView::~TDisassemblerView() {
    FDestroying = true;
}

template <class F>
void TDisassemblerView::Guarded(F&& Body) noexcept {
    CallGuarded(nullptr, std::forward<F>(Body));
}

void TDisassemblerView::Invalidate() {
    viewport()->update();
}

void TDisassemblerView::InvalidateRect(const TRect& Rect) {
    viewport()->update(ToQRect(Rect));
}

bool TDisassemblerView::Focused() const {
    return hasFocus();
}

int TDisassemblerView::TextWidth(const String& Text) {
    return fontMetrics().horizontalAdvance(ToQString(Text));
}

int TDisassemblerView::TextHeight(const String&) {
    return fontMetrics().height();  // the line spacing of the font
}

void TDisassemblerView::ShowScrollBars(bool Show) {
    const Qt::ScrollBarPolicy policy = Show ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff;
    setVerticalScrollBarPolicy(policy);
    setHorizontalScrollBarPolicy(policy);
}

void TDisassemblerView::SetHorzScroll(int Max, int Page, int Position) {
    FSettingBars = true;
    QScrollBar* h = horizontalScrollBar();
    h->setRange(0, std::max(0, Max - Page));
    h->setPageStep(Page);
    h->setValue(Position);
    FSettingBars = false;
}

void TDisassemblerView::paintEvent(QPaintEvent* Event) {
    QPainter painter(viewport());
    Guarded([&] {
        TQtCanvas canvas(&painter, palette());
        painter.fillRect(Event->rect(), canvas.Resolve(FLogic.Color()));
        AssignQFont(canvas.Font(), font());
        FLogic.Paint(canvas);
    });
}

void TDisassemblerView::resizeEvent(QResizeEvent* Event) {
    QAbstractScrollArea::resizeEvent(Event);
    Guarded([&] { FLogic.Resize(viewport()->width(), viewport()->height()); });
}

void TDisassemblerView::keyPressEvent(QKeyEvent* Event) {
    const uint16_t key = ToVirtualKey(Event->key());
    if (!key) {
        QAbstractScrollArea::keyPressEvent(Event);
        return;
    }
    Guarded([&] { FLogic.KeyDown(key, ToShift(Event->modifiers())); });
    Event->accept();
}

void TDisassemblerView::mousePressEvent(QMouseEvent* Event) {
    setFocus(Qt::MouseFocusReason);
    const QPoint p = Event->position().toPoint();
    Guarded([&] { FLogic.MouseDown(ToButton(Event->button()), ToShift(Event->modifiers(), Event->buttons()), p.x(), p.y()); });
}

void TDisassemblerView::mouseMoveEvent(QMouseEvent* Event) {
    const QPoint p = Event->position().toPoint();
    Guarded([&] { FLogic.MouseMove(ToShift(Event->modifiers(), Event->buttons()), p.x(), p.y()); });
}

void TDisassemblerView::mouseReleaseEvent(QMouseEvent* Event) {
    const QPoint p = Event->position().toPoint();
    Guarded([&] { FLogic.MouseUp(ToButton(Event->button()), ToShift(Event->modifiers(), Event->buttons()), p.x(), p.y()); });
}

void TDisassemblerView::wheelEvent(QWheelEvent* Event) {
    // Touchpads send small steps: whole notches of 120 only.
    FWheelRemainder += Event->angleDelta().y();
    const int notches = FWheelRemainder / 120;
    FWheelRemainder -= notches * 120;
    if (notches) Guarded([&] { FLogic.MouseWheel(notches); });
    Event->accept();
}

void TDisassemblerView::focusInEvent(QFocusEvent* Event) {
    QAbstractScrollArea::focusInEvent(Event);
    Guarded([&] { FLogic.FocusIn(); });
}

void TDisassemblerView::focusOutEvent(QFocusEvent* Event) {
    QAbstractScrollArea::focusOutEvent(Event);
    Guarded([&] { FLogic.FocusOut(FDestroying); });
}

void TDisassemblerView::changeEvent(QEvent* Event) {
    QAbstractScrollArea::changeEvent(Event);
    if (Event->type() == QEvent::FontChange) Guarded([&] { FLogic.FontChanged(); });
}

}  // namespace ide
