#include "vtree/widgets/VirtualTreeWidgets.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionButton>
#include <QWheelEvent>

#include "foundation/ExceptionBridge.h"
#include "platform/QtCanvas.h"

namespace ide {

namespace {

// The event that wakes the owner thread for the validation worker.
QEvent::Type WakeEventType() {
    static const QEvent::Type type = QEvent::Type(QEvent::registerEventType());
    return type;
}

}  // namespace

template <class Core>
TVirtualTreeWidget<Core>::TVirtualTreeWidget(QWidget* Parent) : QAbstractScrollArea(Parent) {
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setAutoFillBackground(false);
    this->SetClientSize(viewport()->width(), viewport()->height());
    this->SetOwnerWake([this] { QCoreApplication::postEvent(this, new QEvent(WakeEventType())); });
}

template <class Core>
TVirtualTreeWidget<Core>::~TVirtualTreeWidget() {
    // The worker must let go while this part of the object still exists.
    this->SetOwnerWake(nullptr);
    this->InterruptValidation();
    for (auto& t : FTimers) t.stop();
}

template <class Core>
void TVirtualTreeWidget<Core>::Invalidate() {
    viewport()->update();
}

template <class Core>
void TVirtualTreeWidget<Core>::InvalidateRect(const TVTRect& R) {
    viewport()->update(QRect(R.Left, R.Top, R.Right - R.Left, R.Bottom - R.Top));
}

template <class Core>
int TVirtualTreeWidget<Core>::SetScrollBar(bool Vertical, bool Show, int Max, int Page, int Pos) {
    Core::SetScrollBar(Vertical, Show, Max, Page, Pos);
    QScrollBar* bar = Vertical ? verticalScrollBar() : horizontalScrollBar();
    FSettingBars = true;
    if (Show) {
        const int client = std::max(Page - 1, 0);
        bar->setRange(0, std::max(0, Max - client));
        bar->setPageStep(client);
        bar->setSingleStep(int(Vertical ? this->FIncrementY : this->FIncrementX));
        bar->setValue(Pos);
    } else {
        bar->setRange(0, 0);
    }
    FSettingBars = false;
    return bar->value();
}

template <class Core>
void TVirtualTreeWidget<Core>::StartTimer(int Id, uint32_t Interval) {
    Core::StartTimer(Id, Interval);
    if (Id >= 1 && Id <= 7) FTimers[Id].start(int(Interval), this);
}

template <class Core>
void TVirtualTreeWidget<Core>::StopTimer(int Id) {
    Core::StopTimer(Id);
    if (Id >= 1 && Id <= 7) FTimers[Id].stop();
}

template <class Core>
void TVirtualTreeWidget<Core>::Beep() {
    QApplication::beep();
}

template <class Core>
void TVirtualTreeWidget<Core>::ScrollClientArea(int, int) {
    viewport()->update();
}

template <class Core>
void TVirtualTreeWidget<Core>::PaintCheckImage(TCanvas& Canvas, const TRect& R, TCheckType Type, TCheckState State,
                                                bool Enabled) {
    auto* qt = dynamic_cast<TQtCanvas*>(&Canvas);
    if (!qt || Type == ctButton) {
        Core::PaintCheckImage(Canvas, R, Type, State, Enabled);
        return;
    }
    QStyleOptionButton option;
    option.initFrom(this);
    option.rect = QRect(R.Left, R.Top, R.Width(), R.Height());
    option.state = Enabled ? QStyle::State_Enabled : QStyle::State_None;
    if (State == csCheckedNormal || State == csCheckedPressed)
        option.state |= QStyle::State_On;
    else if (State == csMixedNormal || State == csMixedPressed)
        option.state |= QStyle::State_NoChange;
    else
        option.state |= QStyle::State_Off;
    if (State == csUncheckedPressed || State == csCheckedPressed || State == csMixedPressed)
        option.state |= QStyle::State_Sunken;
    style()->drawPrimitive(Type == ctRadioButton ? QStyle::PE_IndicatorRadioButton : QStyle::PE_IndicatorCheckBox,
                           &option, qt->Painter(), this);
}

template <class Core>
bool TVirtualTreeWidget<Core>::event(QEvent* E) {
    if (E->type() == WakeEventType()) {
        CallGuarded(nullptr, [this] { this->ServeWorker(); });
        return true;
    }
    return QAbstractScrollArea::event(E);
}

template <class Core>
void TVirtualTreeWidget<Core>::paintEvent(QPaintEvent* E) {
    CallGuarded(nullptr, [&] {
        QPainter painter(viewport());
        TQtCanvas canvas(&painter, palette());
        AssignQFont(canvas.Font(), font());
        const QRect r = E->rect();
        const TRect window{r.left() - this->OffsetX(), r.top() - this->OffsetY(), r.right() + 1 - this->OffsetX(),
                           r.bottom() + 1 - this->OffsetY()};
        this->PaintTree(canvas, window, {r.left(), r.top()});
    });
}

template <class Core>
void TVirtualTreeWidget<Core>::resizeEvent(QResizeEvent* E) {
    QAbstractScrollArea::resizeEvent(E);
    CallGuarded(nullptr, [this] {
        this->SetClientSize(viewport()->width(), viewport()->height());
        this->UpdateScrollBars(true);
    });
}

template <class Core>
void TVirtualTreeWidget<Core>::scrollContentsBy(int, int) {
    if (FSettingBars) return;
    CallGuarded(nullptr, [this] {
        this->SetOffsetXY(-horizontalScrollBar()->value(), -verticalScrollBar()->value());
        viewport()->update();
    });
}

template <class Core>
void TVirtualTreeWidget<Core>::wheelEvent(QWheelEvent* E) {
    CallGuarded(nullptr, [&] {
        // Touchpads send less than a notch: keep the rest for the next event.
        FWheelRemainder += E->angleDelta().y();
        const int notches = FWheelRemainder / 120;
        if (notches == 0) return;
        FWheelRemainder -= notches * 120;
        this->HandleWheel(notches * 120, E->modifiers() & Qt::ControlModifier, QApplication::wheelScrollLines());
        viewport()->update();
    });
    E->accept();
}

template <class Core>
void TVirtualTreeWidget<Core>::MoveFocus(PVirtualNode Node, bool Select) {
    if (!Node) return;
    this->SetFocusedNode(Node);
    if (Select) {
        this->ClearSelection();
        this->SetSelected(Node, true);
    }
    this->ScrollIntoView(Node, false);
    viewport()->update();
}

template <class Core>
void TVirtualTreeWidget<Core>::keyPressEvent(QKeyEvent* E) {
    bool handled = true;
    CallGuarded(nullptr, [&] {
        PVirtualNode focused = this->FocusedNode();
        const bool searching = this->InState(tsIncrementalSearching);
        switch (E->key()) {
            case Qt::Key_Up: MoveFocus(focused ? this->GetPreviousVisible(focused) : this->GetFirstVisible()); return;
            case Qt::Key_Down: MoveFocus(focused ? this->GetNextVisible(focused) : this->GetFirstVisible()); return;
            case Qt::Key_Home: MoveFocus(this->GetFirstVisible()); return;
            case Qt::Key_End: MoveFocus(this->GetLastVisible()); return;
            case Qt::Key_PageDown: this->HandleScroll(true, Core::scPageDown); return;
            case Qt::Key_PageUp: this->HandleScroll(true, Core::scPageUp); return;
            case Qt::Key_Left:
                if (focused && this->Expanded(focused)) this->ToggleNode(focused);
                else if (focused) MoveFocus(this->NodeParent(focused));
                return;
            case Qt::Key_Right:
                if (focused && this->HasChildren(focused) && !this->Expanded(focused)) this->ToggleNode(focused);
                return;
            case Qt::Key_Plus:
                if (focused && this->HasChildren(focused) && !this->Expanded(focused)) {
                    this->ToggleNode(focused);
                    return;
                }
                break;
            case Qt::Key_Minus:
                if (focused && this->Expanded(focused)) {
                    this->ToggleNode(focused);
                    return;
                }
                break;
            case Qt::Key_Space:
                if (!searching && focused && this->HasOption(toCheckSupport) && focused->CheckType != ctNone) {
                    this->SetCheckState(focused, Core::DetermineNextCheckState(TCheckType(focused->CheckType),
                                                                               TCheckState(focused->CheckState)));
                    return;
                }
                break;
            default: break;
        }
        // No tree meaning now: the character may feed the search.
        // The key's first character, whole when it lies above the basic plane.
        const QString text = E->text();
        char32_t code = text.isEmpty() ? 0 : text.at(0).unicode();
        if (text.size() >= 2 && text.at(0).isHighSurrogate() && text.at(1).isLowSurrogate())
            code = QChar::surrogateToUcs4(text.at(0), text.at(1));
        if (this->IncrementalSearch() != isNone && code && (QChar::isPrint(code) || code == u'\b')) {
            this->DoStateChange(tsIncrementalSearchPending);
            this->HandleIncrementalSearch(code);
            this->DoStateChange(0, tsIncrementalSearchPending);
            if (this->FocusedNode()) this->ScrollIntoView(this->FocusedNode(), false);
            viewport()->update();
            return;
        }
        handled = false;
    });
    if (!handled) QAbstractScrollArea::keyPressEvent(E);
}

template <class Core>
void TVirtualTreeWidget<Core>::mousePressEvent(QMouseEvent* E) {
    setFocus();
    CallGuarded(nullptr, [&] {
        THitInfo hit;
        this->GetHitTestInfoAt(E->position().toPoint().x(), E->position().toPoint().y(), true, hit);
        if (!hit.HitNode) return;
        if (hit.HitPositions & hiOnItemButton) {
            this->ToggleNode(hit.HitNode);
        } else if (hit.HitPositions & hiOnItemCheckbox) {
            this->SetCheckState(hit.HitNode, Core::DetermineNextCheckState(TCheckType(hit.HitNode->CheckType),
                                                                          TCheckState(hit.HitNode->CheckState)));
        } else {
            const bool add = (E->modifiers() & Qt::ControlModifier) && this->HasOption(toMultiSelect);
            this->SetFocusedNode(hit.HitNode);
            if (!add) this->ClearSelection();
            this->SetSelected(hit.HitNode, !(add && this->Selected(hit.HitNode)));
        }
        viewport()->update();
    });
}

template <class Core>
void TVirtualTreeWidget<Core>::mouseDoubleClickEvent(QMouseEvent* E) {
    CallGuarded(nullptr, [&] {
        THitInfo hit;
        this->GetHitTestInfoAt(E->position().toPoint().x(), E->position().toPoint().y(), true, hit);
        if (hit.HitNode && (hit.HitPositions & (hiOnItemLabel | hiOnItemRight | hiOnItem)) &&
            !(hit.HitPositions & hiOnItemCheckbox))
            this->ToggleNode(hit.HitNode);
    });
}

template <class Core>
void TVirtualTreeWidget<Core>::timerEvent(QTimerEvent* E) {
    for (int id = 1; id <= 7; ++id) {
        if (FTimers[id].timerId() == E->timerId()) {
            CallGuarded(nullptr, [&] { this->TimerFired(id); });
            return;
        }
    }
    QAbstractScrollArea::timerEvent(E);
}

int TVirtualStringTree::MeasureTextWidth(const String& Text) {
    return fontMetrics().horizontalAdvance(ToQString(Text));
}

template class TVirtualTreeWidget<TCustomVirtualStringTree>;
template class TVirtualTreeWidget<TCustomVirtualDrawTree>;

}  // namespace ide
