#include "views/widgets/TreeViewWidget.h"

#include <QPaintEvent>
#include <QScrollBar>

#include "foundation/ExceptionBridge.h"
#include "platform/QtMailbox.h"

namespace ide {

TTreeViewWidget::TTreeViewWidget(QWidget* Parent) : TScrollPane(Parent), FView(std::make_unique<TTreeView2>(this)) {
    FView->SetMailbox(std::make_unique<TQtMailbox>(TMessageHandler{}, FView.get()));
    AssignQFont(FView->Font(), font(), clWindowText);
    viewport()->setAutoFillBackground(false);
}

TTreeViewWidget::~TTreeViewWidget() {
    FView->SetModel(nullptr);
    FView->SetHost(nullptr);
}

void TTreeViewWidget::SetVerticalIncrement(int Value) { verticalScrollBar()->setSingleStep(std::max(1, Value)); }

void TTreeViewWidget::Invalidate(const TRect& R, bool) { viewport()->update(ToQRect(R)); }

void TTreeViewWidget::InvalidateAll() { viewport()->update(); }

TCanvas* TTreeViewWidget::GetMeasureCanvas() {
    if (!FMeasure) FMeasure = std::make_unique<TQtMeasuringCanvas>();
    return FMeasure.get();
}

void TTreeViewWidget::paintEvent(QPaintEvent* Event) {
    CallGuarded(FView.get(), [&] {
        QPainter p(viewport());
        TPoint sp = GetScrollPosition();
        p.translate(-sp.X, -sp.Y);
        TQtCanvas canvas(&p, palette());
        canvas.SetFont(FView->Font());
        QRect clip = Event->rect().translated(sp.X, sp.Y);
        FView->Paint2(canvas, FromQRect(clip));
    });
}

void TTreeViewWidget::showEvent(QShowEvent* Event) {
    TScrollPane::showEvent(Event);
    CallGuarded(FView.get(), [&] {
        FView->AddNotify();
        FView->DoLayout();
    });
}

void TTreeViewWidget::scrollContentsBy(int, int) { viewport()->update(); }

void TTreeViewWidget::ProcessMousePressed(const IntfRef<IMouseEvent>& E) {
    TScrollPane::ProcessMousePressed(E);
    FView->MouseDown(E->GetX(), E->GetY(), E->IsShiftDown(), E->IsControlDown(), E->GetClickCount());
}

void TTreeViewWidget::ProcessKeyPressed(const IntfRef<IKeyEvent>& E) {
    FView->KeyDown(E->GetKeyCode(), E->IsShiftDown(), E->IsControlDown());
}

void TTreeViewWidget::ProcessFocusEvent(const IntfRef<IFocusEvent>& E) {
    TScrollPane::ProcessFocusEvent(E);
    FView->SetHasFocus(E->GetID() == FOCUS_GAINED);
}

}  // namespace ide
