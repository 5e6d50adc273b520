// The tree view on screen: a scroll pane that hosts a TTreeView2 (the
// logic) and is its window side. Paint events draw the rows in the clip
// region through the Qt canvas; clicks and keys go to the view; deferred
// recalculation and layout go through the Qt event loop.
#pragma once

#include <memory>

#include "platform/QtCanvas.h"
#include "views/IDEViewImpl.h"
#include "views/widgets/PeerWidgets.h"

namespace ide {

// Thread: UI thread only.
class TTreeViewWidget : public TScrollPane, public TViewHost {
public:
    explicit TTreeViewWidget(QWidget* Parent = nullptr);
    ~TTreeViewWidget() override;

    TTreeView2& View() { return *FView; }

    // TViewHost
    bool HasHandle() override { return true; }
    bool IsShowing() override { return isVisible(); }
    TDimension GetClientSize() override { return GetViewportSize(); }
    TPoint GetScrollPosition() override { return TScrollPane::GetScrollPosition(); }
    void SetScrollPosition(int X, int Y) override { TScrollPane::SetScrollPosition(X, Y); }
    void SetScrollRange(int Width, int Height) override { SetContentSize(Width, Height); }
    void SetVerticalIncrement(int Value) override;
    void Invalidate(const TRect& R, bool Erase) override;
    void InvalidateAll() override;
    TCanvas* GetMeasureCanvas() override;

protected:
    void paintEvent(QPaintEvent* Event) override;
    void showEvent(QShowEvent* Event) override;
    void scrollContentsBy(int DX, int DY) override;
    void ProcessMousePressed(const IntfRef<IMouseEvent>& E) override;
    void ProcessKeyPressed(const IntfRef<IKeyEvent>& E) override;
    void ProcessFocusEvent(const IntfRef<IFocusEvent>& E) override;

private:
    std::unique_ptr<TTreeView2> FView;
    std::unique_ptr<TQtMeasuringCanvas> FMeasure;
};

}  // namespace ide
