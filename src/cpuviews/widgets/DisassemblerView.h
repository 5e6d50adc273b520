// The disassembler view as a widget: a scroll area whose viewport is painted
// by the view's logic (TDisassemblerLogic) and whose input, focus and size
// go to it. The scroll bars show only while the view has the focus; the
// vertical one is a fixed dummy whose arrows and page zones ask for the
// previous or next line or page, the horizontal one scrolls by pixels.
//
// Exceptions from the debugger's handlers never leave a Qt event handler:
// every override runs its body through CallGuarded, which hands them to the
// library's exception handler. Painting goes through the library's canvas
// (TQtCanvas over the viewport, colours resolved through the palette).
// Thread: UI thread only.
#pragma once

#include <QAbstractScrollArea>

#include "cpuviews/DisComp.h"

namespace ide {

class TDisassemblerView : public QAbstractScrollArea, public TDisasmWindow {
public:
    explicit TDisassemblerView(QWidget* Parent = nullptr);
    ~TDisassemblerView() override;

    TDisassemblerLogic& Logic() { return FLogic; }

    // TDisasmWindow
    void Invalidate() override;
    void InvalidateRect(const TRect& Rect) override;
    bool Focused() const override;
    int TextWidth(const String& Text) override;
    int TextHeight(const String& Text) override;
    void ShowScrollBars(bool Show) override;
    void SetHorzScroll(int Max, int Page, int Position) override;

protected:
    void paintEvent(QPaintEvent* Event) override;
    void resizeEvent(QResizeEvent* Event) override;
    void keyPressEvent(QKeyEvent* Event) override;
    void mousePressEvent(QMouseEvent* Event) override;
    void mouseMoveEvent(QMouseEvent* Event) override;
    void mouseReleaseEvent(QMouseEvent* Event) override;
    void wheelEvent(QWheelEvent* Event) override;
    void focusInEvent(QFocusEvent* Event) override;
    void focusOutEvent(QFocusEvent* Event) override;
    void changeEvent(QEvent* Event) override;
    void scrollContentsBy(int, int) override {}
    bool focusNextPrevChild(bool) override { return false; }  // the view wants Tab-free arrows

private:
    template <class F>
    void Guarded(F&& Body) noexcept;

    TDisassemblerLogic FLogic;
    int FWheelRemainder = 0;
    bool FSettingBars = false;
    bool FDestroying = false;
};

}  // namespace ide
