// The object inspector on screen: a self-painting two-column list over
// QAbstractScrollArea with one live row (an edit in the value cell, the list
// button at its end, and an overlay that takes the keyboard on the names
// side), hints for clipped text, and a host for QObject properties.
//
// The logic is TInspListBox (inspector/IDEInspListBox.h); this widget gives
// it a size, scrolls it by whole rows (scroll value = TopIndex), paints its
// rows on a Qt canvas, forwards input, and runs every entry from Qt under
// the exception bridge, so a property's exception never reaches the event
// loop.
#pragma once

#include <QAbstractScrollArea>
#include <QLineEdit>
#include <QToolButton>
#include <QPointer>
#include <memory>

#include "inspector/IDEInspListBox.h"
#include "inspector/widgets/ListButtonControl.h"
#include "inspector/widgets/QtObjectProperties.h"
#include "platform/HintWindow.h"

namespace ide {

class TInspectorControl;
class TQtMailbox;

// The edit of the current row: a borderless line edit that hands its keys
// to the inspector first. A press that follows the click which selected the
// row within the double-click time counts as a double click.
// Thread: UI thread only.
class TPropInspEdit : public QLineEdit {
public:
    explicit TPropInspEdit(TInspectorControl* Owner);
    qint64 FClickTime = 0;

protected:
    bool event(QEvent* Event) override;
    void keyPressEvent(QKeyEvent* Event) override;
    void mousePressEvent(QMouseEvent* Event) override;
    void mouseDoubleClickEvent(QMouseEvent* Event) override;
    void focusInEvent(QFocusEvent* Event) override;
    void focusOutEvent(QFocusEvent* Event) override;

private:
    TInspectorControl* FOwner;
};

// The overlay on the current row that takes the keyboard on the names side
// and shows the caret after the typed prefix. The mouse passes through it.
// Thread: UI thread only.
class TPropSelection : public QWidget {
public:
    explicit TPropSelection(TInspectorControl* Owner);

protected:
    void paintEvent(QPaintEvent* Event) override;
    void keyPressEvent(QKeyEvent* Event) override;
    void focusInEvent(QFocusEvent* Event) override;
    void focusOutEvent(QFocusEvent* Event) override;
    bool event(QEvent* Event) override;

private:
    TInspectorControl* FOwner;
};

// The library's hint window: the hint colour and the application's font.
// Thread: UI thread only.
class TIDEHintWindow : public THintWindow {
public:
    TIDEHintWindow();
};

// The hint window of clipped values: it shows the text in the row's font
// style (bold for a value that isn't its default).
// Thread: UI thread only.
class TPropertyHintWindow : public TIDEHintWindow {
public:
    TPropertyHintWindow();
    static THintWindow* Create();
};

// Thread: UI thread only.
class TInspectorControl : public QAbstractScrollArea {
public:
    explicit TInspectorControl(QWidget* Parent = nullptr);
    ~TInspectorControl() override;

    // The logic, for hosts: events, colours, Reset, rows.
    TInspListBox& Box();
    // Shows the properties of a live object (nil: none). A new snapshot of
    // defaults is taken.
    void SetObject(QObject* Object);
    QObject* Object() const { return FObject; }

    TPropInspEdit* Edit() const { return FEdit; }
    TListButtonControl* ListButton() const { return FListButton; }
    TPropSelection* SelectionOverlay() const { return FSelection; }
    QToolButton* QueryButton() const { return FQueryButton; }
    // The rectangle of a row in viewport coordinates.
    QRect RowRect(int Index) const;
    // The hint for the point (viewport coordinates), as the hint service
    // would show it.
    TInspHint HintAt(QPoint Pos);

protected:
    void resizeEvent(QResizeEvent* Event) override;
    void paintEvent(QPaintEvent* Event) override;
    void mousePressEvent(QMouseEvent* Event) override;
    void mouseMoveEvent(QMouseEvent* Event) override;
    void mouseReleaseEvent(QMouseEvent* Event) override;
    void mouseDoubleClickEvent(QMouseEvent* Event) override;
    void wheelEvent(QWheelEvent* Event) override;
    void leaveEvent(QEvent* Event) override;
    void focusInEvent(QFocusEvent* Event) override;
    void scrollContentsBy(int DX, int DY) override;
    bool viewportEvent(QEvent* Event) override;
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    friend class TPropInspEdit;
    friend class TPropSelection;
    class Core;
    class EditAdapter;
    void SyncScrollBar();
    void Place();
    void MoveRows(int Key);
    bool Within(QWidget* W) const;

    TPropInspEdit* FEdit;
    TListButtonControl* FListButton;
    TPropSelection* FSelection;
    QToolButton* FQueryButton;
    std::unique_ptr<EditAdapter> FEditAdapter;
    std::unique_ptr<Core> FCore;
    std::unique_ptr<TQtMailbox> FMailbox;
    QPointer<QObject> FObject;
    std::shared_ptr<TQtSnapshot> FSnapshot;
    bool FSyncing = false;
    bool FInputSeen = false;  // input arrived since the dirty-row update was posted
};

}  // namespace ide
