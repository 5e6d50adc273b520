#include "inspector/widgets/ListButtonControl.h"

#include <QApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QStyleOptionButton>
#include <QVBoxLayout>

#include "foundation/ExceptionBridge.h"

namespace ide {

namespace {
QString Q(const String& s) { return QString::fromUtf16(s.data(), static_cast<qsizetype>(s.size())); }

constexpr Qt::WindowFlags PopupFlags =
    Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;

// The one open drop-down of the application.
QPointer<TListButtonControl> GOpen;
}  // namespace

// ---------------------------------------------------------------------------

TPopupListBox::TPopupListBox(TListButtonControl* Button) : QListWidget(nullptr), FButton(Button) {
    setWindowFlags(PopupFlags);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setFrameShape(QFrame::Box);
    setMouseTracking(true);
    setUniformItemSizes(true);
}

void TPopupListBox::mouseMoveEvent(QMouseEvent* Event) {
    if (Event->buttons() & Qt::LeftButton) {
        if (QListWidgetItem* it = itemAt(Event->position().toPoint())) setCurrentItem(it);
    }
    QListWidget::mouseMoveEvent(Event);
}

void TPopupListBox::mouseReleaseEvent(QMouseEvent* Event) {
    CallGuarded(nullptr, [&] {
        const bool inside = rect().contains(Event->position().toPoint());
        if (inside)
            if (QListWidgetItem* it = itemAt(Event->position().toPoint())) setCurrentItem(it);
        FButton->SetItemIndex(inside ? currentRow() : FButton->GetItemIndex());
        FButton->CloseUp(inside);
    });
}

// ---------------------------------------------------------------------------

TListButtonControl::TListButtonControl(QWidget* Parent) : QWidget(Parent), FList(std::make_unique<TPopupListBox>(this)) {
    setFocusPolicy(Qt::ClickFocus);
    setFixedSize(17, 17);
    TextWidth = [this](const String& s) { return fontMetrics().horizontalAdvance(Q(s)); };
    TextHeight = [this] { return fontMetrics().height(); };
    FScrollBarWidth = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
}

TListButtonControl::~TListButtonControl() {
    if (qApp) qApp->removeEventFilter(this);
    if (GOpen == this) GOpen = nullptr;
}

void TListButtonControl::SetGlyph(TListButtonGlyph Value) {
    if (Value == FGlyph) return;
    FGlyph = Value;
    update();
}

void TListButtonControl::SyncList() {
    FList->clear();
    for (const String& s : GetItems()) FList->addItem(Q(s));
    FList->setCurrentRow(GetItemIndex());
}

void TListButtonControl::Place(QWidget* Popup, int Width, int Height) {
    const QPoint topLeft = mapToGlobal(QPoint(0, 0));
    QScreen* screen = QGuiApplication::screenAt(topLeft);
    if (!screen) screen = QGuiApplication::primaryScreen();
    const QRect avail = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
    TDropDownRequest r;
    r.Button = TRect{topLeft.x(), topLeft.y(), topLeft.x() + width(), topLeft.y() + height()};
    r.Monitor = TRect{avail.left(), avail.top(), avail.left() + avail.width(), avail.top() + avail.height()};
    r.ItemCount = Height < 0 ? GetItemCount() : 0;
    r.ItemHeight = [this](int i) { return HeightOfItem(i); };
    r.FontHeight = Height < 0 ? fontMetrics().height() : Height - 4;
    r.ListWidth = Width;
    r.Align = FDropAlign;
    const TDropDownPlacement p = DropDownPlacement(r);
    Popup->setGeometry(p.Bounds.Left, p.Bounds.Top, p.Bounds.Width(), p.Bounds.Height());
}

void TListButtonControl::ShowList() {
    if (GOpen && GOpen != this) GOpen->CloseUp(false);
    GOpen = this;
    SyncList();
    FList->setFont(font());
    const int w = FAutoWidth ? FListWidth : std::max(FListWidth, FMinListWidth);
    Place(FList.get(), w, -1);
    FList->show();
    FList->raise();
    qApp->installEventFilter(this);
    setFocus(Qt::OtherFocusReason);
}

void TListButtonControl::DropDownControl(QWidget* Control) {
    FPanelControl = Control;
    DropDownPanel();
}

void TListButtonControl::ShowPanel() {
    if (GOpen && GOpen != this) GOpen->CloseUp(false);
    GOpen = this;
    if (!FPanel) {
        FPanel = std::make_unique<QWidget>(nullptr, PopupFlags);
        FPanel->setAttribute(Qt::WA_ShowWithoutActivating);
        auto* layout = new QVBoxLayout(FPanel.get());
        layout->setContentsMargins(1, 1, 1, 1);
    }
    if (FPanelControl) {
        FPanel->layout()->addWidget(FPanelControl);
        FPanelControl->show();
    }
    const QSize hint = FPanelControl ? FPanelControl->sizeHint() : QSize(FMinListWidth, fontMetrics().height());
    Place(FPanel.get(), std::max(hint.width() + 2, FMinListWidth), std::max(hint.height(), fontMetrics().height()) + 2);
    FPanel->show();
    FPanel->raise();
    qApp->installEventFilter(this);
}

void TListButtonControl::HidePopup() {
    if (qApp) qApp->removeEventFilter(this);
    FList->hide();
    if (FPanel) {
        if (FPanelControl) {
            FPanelControl->hide();
            FPanelControl->setParent(nullptr);
        }
        FPanel->hide();
    }
    if (GOpen == this) GOpen = nullptr;
}

// The hook on the application's events while a drop-down shows: Escape in
// the panel, or a press outside the popup and the button, cancels.
bool TListButtonControl::eventFilter(QObject* Watched, QEvent* Event) {
    if (!GetDropped()) return false;
    QWidget* popup = FPanelDropped ? FPanel.get() : static_cast<QWidget*>(FList.get());
    auto inside = [&](QObject* o) {
        for (auto* w = qobject_cast<QWidget*>(o); w; w = w->parentWidget())
            if (w == popup || w == this) return true;
        return false;
    };
    if (Event->type() == QEvent::MouseButtonPress && !inside(Watched)) {
        CallGuarded(nullptr, [&] { CloseUp(false); });
        return false;
    }
    if (FPanelDropped && Event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(Event)->key() == Qt::Key_Escape) {
        CallGuarded(nullptr, [&] { CloseUp(false); });
        return true;
    }
    return false;
}

void TListButtonControl::paintEvent(QPaintEvent*) {
    QPainter p(this);
    QStyleOptionButton opt;
    opt.initFrom(this);
    opt.state |= FDown ? QStyle::State_Sunken : QStyle::State_Raised;
    style()->drawControl(QStyle::CE_PushButtonBevel, &opt, &p, this);
    const QColor ink = isEnabled() ? palette().color(QPalette::ButtonText) : palette().color(QPalette::Disabled, QPalette::ButtonText);
    p.setPen(ink);
    const int cx = width() / 2, cy = height() / 2;
    if (FGlyph == lgEllipsis) {
        for (int i = -1; i <= 1; ++i) p.fillRect(cx + i * 3 - 1, cy + 2, 2, 2, ink);
    } else {
        // A chevron of size 5 pointing down.
        for (int i = 0; i < 4; ++i) p.drawLine(cx - 3 + i, cy - 1 + i, cx + 3 - i, cy - 1 + i);
    }
}

void TListButtonControl::mousePressEvent(QMouseEvent* Event) {
    CallGuarded(nullptr, [&] {
        if (Event->button() != Qt::LeftButton) return;
        if (!FViaKillFocus) {
            if (GetDropped()) {
                CloseUp(false);
            } else {
                DropDown();
                if (rect().contains(Event->position().toPoint())) {
                    FDown = true;
                    FPressed = true;
                    update();
                }
            }
        }
        FViaKillFocus = false;
    });
}

void TListButtonControl::mouseMoveEvent(QMouseEvent* Event) {
    if (!FPressed) return;
    CallGuarded(nullptr, [&] {
        const bool down = rect().contains(Event->position().toPoint());
        if (down != FDown) {
            FDown = down;
            update();
        }
        // The drag passes into the list: press, drag, release selects.
        if (!down && FList->isVisible()) {
            const QPoint g = mapToGlobal(Event->position().toPoint());
            const QPoint local = FList->viewport()->mapFromGlobal(g);
            if (FList->viewport()->rect().contains(local))
                if (QListWidgetItem* it = FList->itemAt(local)) FList->setCurrentItem(it);
        }
    });
}

void TListButtonControl::mouseReleaseEvent(QMouseEvent* Event) {
    if (!FPressed) return;
    CallGuarded(nullptr, [&] {
        const bool wasDown = FDown;
        FPressed = false;
        FDown = false;
        update();
        if (GetDropped() && FList->isVisible()) {
            const QPoint g = mapToGlobal(Event->position().toPoint());
            const QPoint local = FList->viewport()->mapFromGlobal(g);
            if (FList->viewport()->rect().contains(local) && !rect().contains(Event->position().toPoint())) {
                SetItemIndex(FList->currentRow());
                CloseUp(true);
                return;
            }
        }
        if (wasDown && !GetDropped()) Click();
    });
}

void TListButtonControl::keyPressEvent(QKeyEvent* Event) {
    CallGuarded(nullptr, [&] {
        if (!GetDropped()) {
            QWidget::keyPressEvent(Event);
            return;
        }
        const int k = Event->key();
        if (!FPanelDropped && (k == Qt::Key_Up || k == Qt::Key_Down || k == Qt::Key_PageUp || k == Qt::Key_PageDown ||
                               k == Qt::Key_Home || k == Qt::Key_End)) {
            ClearSelectString();
            QKeyEvent copy(Event->type(), k, Event->modifiers());
            QApplication::sendEvent(FList.get(), &copy);
            SetItemIndex(FList->currentRow());
            return;
        }
        char16_t ch = 0;
        if (k == Qt::Key_Backspace) ch = 8;
        else if (k == Qt::Key_Return || k == Qt::Key_Enter) ch = 13;
        else if (k == Qt::Key_Escape) ch = 27;
        else if (!Event->text().isEmpty()) ch = Event->text().at(0).unicode();
        if (!ch) return;
        if (ch == 13) SetItemIndex(FList->currentRow());
        KeyPress(ch);
        if (GetDropped()) FList->setCurrentRow(GetItemIndex());
    });
}

void TListButtonControl::focusOutEvent(QFocusEvent* Event) {
    QWidget::focusOutEvent(Event);
    if (GetDropped() && !FPanelDropped) {
        CallGuarded(nullptr, [&] { CloseUp(false); });
        // The click that took the focus away must not open the list again.
        FViaKillFocus = QApplication::mouseButtons() != Qt::NoButton;
    }
}

}  // namespace ide
