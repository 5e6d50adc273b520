// The list button on screen: a small push button with a glyph whose press
// drops a popup list (a top-level tool window shown without activation, so
// the focus stays where it was) or a panel holding any control.
//
// The order of events is the list button's (inspector/IDEListBtns.h): a
// press drops or closes, a press-drag-release on an entry selects it in one
// gesture, a release inside the list accepts and outside cancels, Escape
// cancels, Enter accepts, typing searches, and the arrow and page keys move
// in the list while the button keeps the focus. A click that took the focus
// away from an open list closes it without opening it again.
// One drop-down at a time: opening one closes any other.
#pragma once

#include <QListWidget>
#include <QPointer>
#include <QWidget>
#include <memory>

#include "inspector/IDEListBtns.h"

namespace ide {

class TListButtonControl;

// The popup list. A release on it closes the drop-down: accepted when the
// release is inside, cancelled otherwise.
// Thread: UI thread only.
class TPopupListBox : public QListWidget {
public:
    explicit TPopupListBox(TListButtonControl* Button);

protected:
    void mouseReleaseEvent(QMouseEvent* Event) override;
    void mouseMoveEvent(QMouseEvent* Event) override;

private:
    TListButtonControl* FButton;
};

enum TListButtonGlyph : uint8_t { lgArrow, lgEllipsis };

// Thread: UI thread only.
class TListButtonControl : public QWidget, public TListButton {
public:
    explicit TListButtonControl(QWidget* Parent = nullptr);
    ~TListButtonControl() override;

    TListButtonGlyph Glyph() const { return FGlyph; }
    void SetGlyph(TListButtonGlyph Value);
    // The control a panel drop-down shows (owned by the caller).
    void DropDownControl(QWidget* Control);
    TPopupListBox* ListWidget() const { return FList.get(); }
    QWidget* PanelControl() const { return FPanelControl; }
    bool Down() const { return FDown; }

protected:
    void ShowList() override;
    void ShowPanel() override;
    void HidePopup() override;

    void paintEvent(QPaintEvent* Event) override;
    void mousePressEvent(QMouseEvent* Event) override;
    void mouseMoveEvent(QMouseEvent* Event) override;
    void mouseReleaseEvent(QMouseEvent* Event) override;
    void keyPressEvent(QKeyEvent* Event) override;
    void focusOutEvent(QFocusEvent* Event) override;
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    friend class TPopupListBox;
    void Place(QWidget* Popup, int Width, int Height);
    void SyncList();

    std::unique_ptr<TPopupListBox> FList;
    std::unique_ptr<QWidget> FPanel;
    QPointer<QWidget> FPanelControl;
    TListButtonGlyph FGlyph = lgArrow;
    bool FDown = false;
    bool FPressed = false;
    bool FViaKillFocus = false;
};

}  // namespace ide
