// The virtual tree on Qt: the tree logic over a QAbstractScrollArea.
//
// TVirtualTreeWidget<Core> joins a scroll area with a tree class of the
// logic library and supplies its platform: the viewport is the client area,
// the scroll bars are the area's bars (range maximum = range - client size,
// page step = client size), timers are one QBasicTimer per id, repaints are
// viewport updates, check boxes and radio buttons are drawn by the style,
// the wheel turns angle deltas into 120ths, and the validation worker's
// wake-up is an event posted to the widget. Every Qt entry runs under
// CallGuarded, so no exception reaches the event loop.
//
// Keys: Up, Down, Home, End, Page Up and Page Down move the focus; Left and
// minus collapse, Right and plus expand; Space toggles the focused node's
// check box, unless an incremental search is running, where it feeds the
// search like every other character that has no tree meaning.
//
// Thread: UI thread only.
#pragma once

#include <QAbstractScrollArea>
#include <QBasicTimer>

#include "vtree/IDEVirtualTrees.h"

namespace ide {

template <class Core>
class TVirtualTreeWidget : public QAbstractScrollArea, public Core {
public:
    explicit TVirtualTreeWidget(QWidget* Parent = nullptr);
    ~TVirtualTreeWidget() override;

protected:
    bool HandleAllocated() const override { return true; }
    void Invalidate() override;
    void InvalidateRect(const TVTRect& R) override;
    int SetScrollBar(bool Vertical, bool Show, int Max, int Page, int Pos) override;
    void StartTimer(int Id, uint32_t Interval) override;
    void StopTimer(int Id) override;
    void Beep() override;
    void ScrollClientArea(int DX, int DY) override;
    void PaintCheckImage(TCanvas& Canvas, const TRect& R, TCheckType Type, TCheckState State, bool Enabled) override;

    bool event(QEvent* E) override;
    void paintEvent(QPaintEvent* E) override;
    void resizeEvent(QResizeEvent* E) override;
    void scrollContentsBy(int DX, int DY) override;
    void wheelEvent(QWheelEvent* E) override;
    void keyPressEvent(QKeyEvent* E) override;
    void mousePressEvent(QMouseEvent* E) override;
    void mouseDoubleClickEvent(QMouseEvent* E) override;
    void timerEvent(QTimerEvent* E) override;

private:
    void MoveFocus(PVirtualNode Node, bool Select = true);
    QBasicTimer FTimers[8];
    bool FSettingBars = false;
    int FWheelRemainder = 0;
};

// The string tree on Qt: texts measured with the widget's font.
class TVirtualStringTree : public TVirtualTreeWidget<TCustomVirtualStringTree> {
public:
    using TVirtualTreeWidget::TVirtualTreeWidget;

protected:
    int MeasureTextWidth(const String& Text) override;
};

// The draw tree on Qt: the client paints every node.
class TVirtualDrawTree : public TVirtualTreeWidget<TCustomVirtualDrawTree> {
public:
    using TVirtualTreeWidget::TVirtualTreeWidget;
};

extern template class TVirtualTreeWidget<TCustomVirtualStringTree>;
extern template class TVirtualTreeWidget<TCustomVirtualDrawTree>;

}  // namespace ide
