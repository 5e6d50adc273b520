#include "inspector/widgets/InspectorControl.h"

#include <QApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QTimer>
#include <climits>

#include "foundation/ExceptionBridge.h"
#include "foundation/OwnedInterface.h"
#include "platform/QtCanvas.h"
#include "platform/QtMailbox.h"

namespace ide {

namespace {
constexpr int UpdateDirtyDataMsg = 45167;

TShiftState ShiftOf(Qt::KeyboardModifiers m) {
    TShiftState s = 0;
    if (m & Qt::ShiftModifier) s |= ShiftBit(ssShift);
    if (m & Qt::AltModifier) s |= ShiftBit(ssAlt);
    if (m & Qt::ControlModifier) s |= ShiftBit(ssCtrl);
    return s;
}

int VirtualKey(int key) {
    switch (key) {
        case Qt::Key_Backspace: return vkBack;
        case Qt::Key_Tab:
        case Qt::Key_Backtab: return vkTab;
        case Qt::Key_Return:
        case Qt::Key_Enter: return vkReturn;
        case Qt::Key_Escape: return vkEscape;
        case Qt::Key_PageUp: return vkPrior;
        case Qt::Key_PageDown: return vkNext;
        case Qt::Key_End: return vkEnd;
        case Qt::Key_Home: return vkHome;
        case Qt::Key_Left: return vkLeft;
        case Qt::Key_Up: return vkUp;
        case Qt::Key_Right: return vkRight;
        case Qt::Key_Down: return vkDown;
        case Qt::Key_Delete: return vkDelete;
        case Qt::Key_F1: return vkF1;
        default: return 0;
    }
}

// The character a key event types, as the key tables know them.
char16_t CharOf(const QKeyEvent* e) {
    switch (e->key()) {
        case Qt::Key_Tab:
        case Qt::Key_Backtab: return vkTab;
        case Qt::Key_Return:
        case Qt::Key_Enter: return (e->modifiers() & Qt::ControlModifier) ? 10 : vkReturn;
        case Qt::Key_Escape: return vkEscape;
        case Qt::Key_Backspace: return vkBack;
        default: break;
    }
    const QString t = e->text();
    if (t.isEmpty() || !t.at(0).isPrint()) return 0;
    return t.at(0).unicode();
}

TFontStyles GHintStyle;  // the style of the hint being shown
}  // namespace

// ---------------------------------------------------------------------------
// The logic, with its platform hooks on this widget.

class TInspectorControl::Core : public TInspListBox, public TOwnedInterfacedObject, public IPropertyHost {
public:
    Core(TInspectorControl* W, TInspEdit* Edit, TListButton* Button) : TInspListBox(Edit, Button), FW(W) {}
    using TInspListBox::ResizeControls;

    void DropDownControl(QWidget* Control) override { FW->FListButton->DropDownControl(Control); }
    void CloseDropDown() override { FW->FListButton->CloseUp(false); }
    int GetDropDownWidth() override { return ClientWidth() - Middle(); }

    void SetTopIndex(int Value) override {
        TInspListBox::SetTopIndex(Value);
        FW->SyncScrollBar();
    }

protected:
    void Invalidate() override { FW->viewport()->update(); }
    void RowsChanged() override {
        FW->SyncScrollBar();
        FW->viewport()->update();
    }
    void PlaceControls() override { FW->Place(); }
    bool SelectionCanFocus() const override { return FW->FSelection->isVisibleTo(FW); }
    void FocusSelection() override { FW->FSelection->setFocus(Qt::OtherFocusReason); }
    void InvalidateSelection() override { FW->viewport()->update(); }
    void CaretMoved() override { FW->FSelection->update(); }
    void DividerDragged() override { FW->viewport()->update(); }

private:
    TInspectorControl* FW;
};

// The edit, as the logic sees it.
class TInspectorControl::EditAdapter : public TInspEdit {
public:
    explicit EditAdapter(TPropInspEdit* E) : FE(E) {
        QObject::connect(E, &QLineEdit::textChanged, E, [this] {
            if (OnChange) CallGuarded(nullptr, [this] { OnChange(); });
        });
    }
    String Text() const override { return FromQString(FE->text()); }
    void SetText(const String& Value) override { FE->setText(ToQString(Value)); }
    bool Modified() const override { return FE->isModified(); }
    void SetModified(bool Value) override { FE->setModified(Value); }
    bool ReadOnly() const override { return FE->isReadOnly(); }
    void SetReadOnly(bool Value) override { FE->setReadOnly(Value); }
    int SelStart() const override { return FE->hasSelectedText() ? FE->selectionStart() : FE->cursorPosition(); }
    int SelLength() const override { return static_cast<int>(FE->selectedText().size()); }
    void SetSel(int Start, int Length) override {
        if (Length > 0)
            FE->setSelection(Start, Length);
        else
            FE->setCursorPosition(Start);
    }
    void SetMaxLength(int Value) override { FE->setMaxLength(Value > 0 ? Value : 32767); }
    bool Visible() const override { return !FE->isHidden(); }
    void SetVisible(bool Value) override { FE->setVisible(Value); }
    void SetColors(TColor Background, TColor Font, TFontStyles Style) override {
        QPalette p = FE->palette();
        p.setColor(QPalette::Base, ToQColor(Background, p));
        p.setColor(QPalette::Text, ToQColor(Font, p));
        FE->setPalette(p);
        QFont f = FE->font();
        f.setBold(Style.Contains(fsBold));
        f.setItalic(Style.Contains(fsItalic));
        FE->setFont(f);
    }
    bool Focused() const override { return FE->hasFocus(); }
    bool CanFocus() const override { return !FE->isHidden() && FE->isEnabled(); }
    void SetFocus() override { FE->setFocus(Qt::OtherFocusReason); }

private:
    TPropInspEdit* FE;
};

// ---------------------------------------------------------------------------

TPropInspEdit::TPropInspEdit(TInspectorControl* Owner) : QLineEdit(Owner->viewport()), FOwner(Owner) {
    setObjectName(QStringLiteral("EditControl"));
    setFrame(false);
}

bool TPropInspEdit::event(QEvent* Event) {
    // Tab belongs to the key table, not to the focus chain.
    if (Event->type() == QEvent::KeyPress) {
        auto* k = static_cast<QKeyEvent*>(Event);
        if (k->key() == Qt::Key_Tab || k->key() == Qt::Key_Backtab) {
            keyPressEvent(k);
            return true;
        }
    }
    return QLineEdit::event(Event);
}

void TPropInspEdit::keyPressEvent(QKeyEvent* Event) {
    bool consumed = false;
    CallGuarded(nullptr, [&] {
        TInspListBox& box = FOwner->Box();
        const TShiftState shift = ShiftOf(Event->modifiers());
        if (Event->key() == Qt::Key_F1 && box.Populated() && box.OnHelp) {
            box.OnHelp();
            consumed = true;
            return;
        }
        if (int vk = VirtualKey(Event->key())) {
            int key = vk;
            box.EditKeyDown(key, shift);
            if (key == 0 || (vk == vkDown && (shift & ShiftBit(ssAlt)))) {
                consumed = true;
                return;
            }
        }
        if (char16_t ch = CharOf(Event)) {
            box.EditKeyPress(ch);
            if (ch == 0) consumed = true;
        }
    });
    if (!consumed && Event->key() != Qt::Key_Tab && Event->key() != Qt::Key_Backtab) QLineEdit::keyPressEvent(Event);
}

void TPropInspEdit::mousePressEvent(QMouseEvent* Event) {
    const qint64 t = static_cast<qint64>(Event->timestamp());
    if (FClickTime != 0 && t - FClickTime < QApplication::doubleClickInterval()) {
        // The click that selected the row and this one make a double click.
        FClickTime = 0;
        mouseDoubleClickEvent(Event);
        return;
    }
    FOwner->Box().SetNamesSelected(false);
    QLineEdit::mousePressEvent(Event);
}

void TPropInspEdit::mouseDoubleClickEvent(QMouseEvent* Event) {
    CallGuarded(nullptr, [&] {
        if (FOwner->Box().OnEditDblClick) FOwner->Box().OnEditDblClick(true);
    });
    Event->accept();
}

void TPropInspEdit::focusInEvent(QFocusEvent* Event) {
    QLineEdit::focusInEvent(Event);
    CallGuarded(nullptr, [&] { FOwner->Box().EditEnter(); });
}

void TPropInspEdit::focusOutEvent(QFocusEvent* Event) {
    QLineEdit::focusOutEvent(Event);
    // Leaving the inspector commits a modified value.
    if (!FOwner->Within(QApplication::focusWidget()))
        CallGuarded(nullptr, [&] { FOwner->Box().DoExit(); });
}

// ---------------------------------------------------------------------------

TPropSelection::TPropSelection(TInspectorControl* Owner) : QWidget(Owner->viewport()), FOwner(Owner) {
    setObjectName(QStringLiteral("Selection"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::ClickFocus);
}

bool TPropSelection::event(QEvent* Event) {
    if (Event->type() == QEvent::KeyPress) {
        auto* k = static_cast<QKeyEvent*>(Event);
        if (k->key() == Qt::Key_Tab || k->key() == Qt::Key_Backtab) {
            keyPressEvent(k);
            return true;
        }
    }
    return QWidget::event(Event);
}

void TPropSelection::paintEvent(QPaintEvent*) {
    if (!hasFocus()) return;
    QPainter p(this);
    const int x = FOwner->Box().CaretX();
    p.fillRect(x, 2, 1, height() - 3, palette().color(QPalette::HighlightedText));
}

void TPropSelection::keyPressEvent(QKeyEvent* Event) {
    CallGuarded(nullptr, [&] {
        TInspListBox& box = FOwner->Box();
        if (int vk = VirtualKey(Event->key())) {
            if (vk != vkTab && vk != vkReturn && vk != vkBack && vk != vkEscape) {
                int key = vk;
                box.SelectionKeyDown(key, ShiftOf(Event->modifiers()));
                return;
            }
        }
        if (char16_t ch = CharOf(Event)) box.SelectionKeyPress(ch);
    });
    update();
}

void TPropSelection::focusInEvent(QFocusEvent* Event) {
    QWidget::focusInEvent(Event);
    FOwner->Box().ClearSelectString();
    update();
}

void TPropSelection::focusOutEvent(QFocusEvent* Event) {
    QWidget::focusOutEvent(Event);
    update();
    if (!FOwner->Within(QApplication::focusWidget())) CallGuarded(nullptr, [&] { FOwner->Box().DoExit(); });
}

// ---------------------------------------------------------------------------

TIDEHintWindow::TIDEHintWindow() {
    SetColor(clInfoBk);
    AssignQFont(Font(), QApplication::font(), clInfoText);
}

TPropertyHintWindow::TPropertyHintWindow() = default;

THintWindow* TPropertyHintWindow::Create() {
    auto* w = new TPropertyHintWindow;
    w->Font().SetStyle(GHintStyle);
    return w;
}

// ---------------------------------------------------------------------------

TInspectorControl::TInspectorControl(QWidget* Parent) : QAbstractScrollArea(Parent) {
    setObjectName(QStringLiteral("Inspector"));
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setMouseTracking(true);
    FEdit = new TPropInspEdit(this);
    FSelection = new TPropSelection(this);
    FListButton = new TListButtonControl(viewport());
    FListButton->setObjectName(QStringLiteral("ListButton"));
    FListButton->hide();
    FQueryButton = new QToolButton(viewport());
    FQueryButton->setObjectName(QStringLiteral("QueryButton"));
    FQueryButton->setText(QStringLiteral("?"));
    FQueryButton->setCheckable(true);
    FQueryButton->hide();
    connect(FQueryButton, &QToolButton::clicked, this, [this] {
        CallGuarded(nullptr, [this] {
            if (FCore->OnQueryButtonClick) FCore->OnQueryButtonClick();
        });
    });
    FSelection->hide();
    FEdit->hide();
    FSelection->stackUnder(FEdit);
    FEditAdapter = std::make_unique<EditAdapter>(FEdit);
    FCore = std::make_unique<Core>(this, FEditAdapter.get(), FListButton);
    const int h = std::max(16, fontMetrics().height() + 3);
    FCore->SetItemHeight(h);
    FListButton->setFixedSize(h, h);
    FQueryButton->setFixedSize(h, h);
    FCore->HandleExceptionProc = [](std::exception_ptr e) { HandleException(nullptr, e); };
    FCore->OnKeyDown = [this](int& key, TShiftState) { MoveRows(key); };
    FCore->OnEditDblClick = [this](bool) {
        // Without a host's handler a double click steps through a value list.
        TPropItem* cur = FCore->CurItem();
        if (!cur || !cur->Attributes().Contains(paValueList)) return;
        const int n = FCore->FindBest(u"");
        (void)n;
        const auto& items = FListButton->GetItems();
        if (items.empty()) return;
        const String now = FEditAdapter->Text();
        size_t next = 0;
        for (size_t i = 0; i < items.size(); ++i)
            if (items[i] == now) next = (i + 1) % items.size();
        FEditAdapter->SetText(items[next]);
        FCore->SetPropValue(false, true);
        FCore->GetPropValue();
    };
    FMailbox = std::make_unique<TQtMailbox>([this](TMessage& m) {
        if (m.Msg != UpdateDirtyDataMsg) return;
        // The update waits for a moment without input: while input arrives,
        // the message goes back to the queue.
        if (FInputSeen) {
            FInputSeen = false;
            FMailbox->Post(UpdateDirtyDataMsg);
            return;
        }
        FCore->UpdateDirtyData();
    });
    FCore->PostUpdateProc = [this] {
        FInputSeen = false;
        FMailbox->Post(UpdateDirtyDataMsg);
    };
    qApp->installEventFilter(this);
    FCore->UpdatePendingProc = [this] { return FMailbox->IsPending(UpdateDirtyDataMsg); };

    THintClient hint;
    hint.OnHintShowPause = [](int& pause) { pause = 0; };
    hint.OnHintShow = [this](THintInfo& info) {
        const TInspHint h = HintAt(QPoint(info.CursorPos.X, info.CursorPos.Y));
        if (!h.Show) return false;
        GHintStyle = h.Style;
        info.CursorRect = h.CursorRect;
        info.HintStr = h.Text;
        const QPoint g = viewport()->mapToGlobal(QPoint(h.HintRect.Left, h.HintRect.Top));
        info.HintPos = TPoint{g.x(), g.y()};
        info.HintMaxWidth = h.HintRect.Width() + 16;
        info.HideTimeout = INT_MAX;
        info.HintWindowClass = &TPropertyHintWindow::Create;
        return true;
    };
    THintService::Instance().Register(viewport(), std::move(hint));
}

TInspectorControl::~TInspectorControl() {
    if (qApp) qApp->removeEventFilter(this);
    THintService::Instance().Unregister(viewport());
    FListButton->CloseUp(false);
    FCore->OnKeyDown = nullptr;
    FCore.reset();
}

TInspListBox& TInspectorControl::Box() { return *FCore; }

void TInspectorControl::SetObject(QObject* Object) {
    if (FObject) disconnect(FObject, nullptr, this, nullptr);
    FObject = Object;
    FSnapshot = std::make_shared<TQtSnapshot>();
    FCore->OnGetProperties = [this](TCustomPropListBox*, const TGetPropProc& add) {
        for (auto& p : QtObjectProperties(FObject, FSnapshot)) add(p);
    };
    if (Object)
        connect(Object, &QObject::destroyed, this, [this] {
            // Rows of a destroyed object show nothing; empty the list once the
            // object is gone.
            QTimer::singleShot(0, this, [this] { CallGuarded(nullptr, [this] { FCore->BlankItems(); }); });
        });
    CallGuarded(nullptr, [this] { FCore->Reset(); });
}

bool TInspectorControl::Within(QWidget* W) const {
    for (; W; W = W->parentWidget())
        if (W == this || W == FListButton->ListWidget()) return true;
    return false;
}

QRect TInspectorControl::RowRect(int Index) const {
    const int h = FCore->ItemHeight();
    return QRect(0, (Index - FCore->TopIndex()) * h, viewport()->width(), h);
}

TInspHint TInspectorControl::HintAt(QPoint Pos) {
    TQtMeasuringCanvas canvas;
    AssignQFont(canvas.Font(), font());
    TInspHint h;
    CallGuarded(nullptr, [&] {
        h = FCore->CalcHint(Pos.x(), Pos.y(), [&](const String& s, TFontStyles style) {
            canvas.Font().SetStyle(style);
            return canvas.TextWidth(s);
        });
    });
    return h;
}

void TInspectorControl::SyncScrollBar() {
    if (FSyncing) return;
    FSyncing = true;
    QScrollBar* sb = verticalScrollBar();
    const int visible = std::max(1, FCore->ClientHeight() / FCore->ItemHeight());
    sb->setRange(0, std::max(0, FCore->Count() - visible));
    sb->setPageStep(visible);
    sb->setSingleStep(1);
    sb->setValue(FCore->TopIndex());
    FSyncing = false;
}

void TInspectorControl::scrollContentsBy(int, int) {
    if (FSyncing) return;
    CallGuarded(nullptr, [this] {
        FSyncing = true;
        FCore->HideControls();
        FCore->TInspListBox::SetTopIndex(verticalScrollBar()->value());
        FCore->ShowControls();
        FSyncing = false;
    });
    FSyncing = false;
    viewport()->update();
}

void TInspectorControl::Place() {
    const TInspControlsLayout l = FCore->ControlsLayout();
    auto q = [](const TRect& r) { return QRect(r.Left, r.Top, r.Width(), r.Height()); };
    if (l.Selection.IsEmpty()) {
        FSelection->hide();
    } else {
        FSelection->setGeometry(q(l.Selection));
        FSelection->show();
    }
    if (!l.Edit.IsEmpty()) FEdit->setGeometry(q(l.Edit));
    FQueryButton->setVisible(l.QueryButtonVisible);
    if (l.QueryButtonVisible) {
        FQueryButton->move(l.QueryButton.Left, l.QueryButton.Top);
        TPropItem* cur = FCore->CurItem();
        auto dbg = cur ? Supports<IDebugInspectProperty>(cur->Prop()) : IntfRef<IDebugInspectProperty>();
        FQueryButton->setChecked(dbg && (dbg->GetQueryFlags() & IDebugInspectProperty::QueryButtonDown));
        FQueryButton->raise();
    }
    FListButton->setVisible(l.ButtonVisible);
    if (l.ButtonVisible) {
        FListButton->move(l.ListButton.Left, l.ListButton.Top);
        TPropItem* cur = FCore->CurItem();
        const TPropertyAttributes a = cur ? cur->Attributes() : TPropertyAttributes{};
        FListButton->SetGlyph(a.Contains(paDialog) && !a.Contains(paValueList) ? lgEllipsis : lgArrow);
        FListButton->raise();
    }
}

void TInspectorControl::MoveRows(int Key) {
    const int visible = std::max(1, FCore->ItemVisibleCount() - 1);
    int target = FCore->ItemIndex();
    switch (Key) {
        case vkUp: --target; break;
        case vkDown: ++target; break;
        case vkPrior: target -= visible; break;
        case vkNext: target += visible; break;
        default: return;
    }
    target = std::clamp(target, 0, std::max(0, FCore->Count() - 1));
    if (target == FCore->ItemIndex()) return;
    if (!FCore->SetPropValue(true, true)) return;
    FCore->SelectItem(target);
    FCore->EditFocus();
}

void TInspectorControl::resizeEvent(QResizeEvent* Event) {
    QAbstractScrollArea::resizeEvent(Event);
    CallGuarded(nullptr, [this] {
        FCore->SetClientSize(viewport()->width(), viewport()->height());
        const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
        FCore->SetControlWidth(width(), bar);
        FCore->SizeChanged();
        SyncScrollBar();
        FCore->ResizeControls();
    });
}

void TInspectorControl::paintEvent(QPaintEvent*) {
    QPainter p(viewport());
    TQtCanvas canvas(&p, palette());
    CallGuarded(nullptr, [&] {
        AssignQFont(canvas.Font(), font());
        FCore->Paint(canvas);
    });
}

void TInspectorControl::mousePressEvent(QMouseEvent* Event) {
    CallGuarded(nullptr, [&] {
        const QPoint pos = Event->position().toPoint();
        const TMouseButton b = Event->button() == Qt::RightButton ? mbRight : Event->button() == Qt::MiddleButton ? mbMiddle : mbLeft;
        FCore->MouseDown(b, ShiftOf(Event->modifiers()), pos.x(), pos.y(), true);
        FEdit->FClickTime = static_cast<qint64>(Event->timestamp());
    });
}

void TInspectorControl::mouseMoveEvent(QMouseEvent* Event) {
    CallGuarded(nullptr, [&] {
        const QPoint pos = Event->position().toPoint();
        FCore->MouseMove(ShiftOf(Event->modifiers()), pos.x(), pos.y());
        viewport()->setCursor(FCore->SplitCursor(pos.x()) ? Qt::SplitHCursor : Qt::ArrowCursor);
    });
}

void TInspectorControl::mouseReleaseEvent(QMouseEvent* Event) {
    CallGuarded(nullptr, [&] {
        const QPoint pos = Event->position().toPoint();
        FCore->MouseUp(mbLeft, ShiftOf(Event->modifiers()), pos.x(), pos.y());
    });
}

void TInspectorControl::mouseDoubleClickEvent(QMouseEvent* Event) {
    CallGuarded(nullptr, [&] {
        const QPoint pos = Event->position().toPoint();
        FCore->DblClick(pos.x(), pos.y());
    });
}

void TInspectorControl::wheelEvent(QWheelEvent* Event) {
    CallGuarded(nullptr, [&] {
        const int notches = -Event->angleDelta().y() / 120;
        if (notches != 0) FCore->MouseWheel(notches, ShiftOf(Event->modifiers()));
    });
    Event->accept();
}

void TInspectorControl::leaveEvent(QEvent* Event) {
    QAbstractScrollArea::leaveEvent(Event);
    FCore->MouseLeave();
}

void TInspectorControl::focusInEvent(QFocusEvent* Event) {
    QAbstractScrollArea::focusInEvent(Event);
    CallGuarded(nullptr, [this] {
        FCore->SetActive(true);
        FCore->EditFocus();
    });
}

bool TInspectorControl::eventFilter(QObject* Watched, QEvent* Event) {
    switch (Event->type()) {
        case QEvent::KeyPress:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseMove:
        case QEvent::Wheel:
            if (FMailbox->IsPending(UpdateDirtyDataMsg)) FInputSeen = true;
            break;
        default:
            break;
    }
    return QAbstractScrollArea::eventFilter(Watched, Event);
}

bool TInspectorControl::viewportEvent(QEvent* Event) {
    if (Event->type() == QEvent::Paint) {
        paintEvent(static_cast<QPaintEvent*>(Event));
        return true;
    }
    return QAbstractScrollArea::viewportEvent(Event);
}

}  // namespace ide
