// The peers over Qt widgets: each widget turns its Qt events into the
// events of the event vocabulary and dispatches them through its peer
// (views/IDEPeer.h), and runs every Qt override under the exception bridge.
//
// Translation: key press 401 (and 400 when it types a character), release
// 402; focus in/out 1004/1005; press 501 (count 1, or 2 for a double
// click), release 502 preceded by a click 500 when the release is inside the
// widget; move 506 while the left button is down, else 503; enter/leave
// 504/505; move/resize/show/hide 100/101/102/103; child widgets added or
// removed 300/301; drag enter/leave/move/drop 2000 to 2003. Mouse modifiers
// come from the buttons: the right button is meta, the middle one alt (on
// every event of that button's click, the release too); a right release or
// right double click is the popup trigger.
#pragma once

#include <QAbstractScrollArea>
#include <QFrame>
#include <QLineEdit>

#include "platform/IDEFixups.h"
#include "views/IDEPeer.h"

namespace ide {

// Virtual key codes of Qt keys (letters and digits as their upper-case
// character, arrows 37 to 40, F1 112, keypad + and - 107 and 109).
int VirtualKeyOf(int QtKey, bool Keypad);

// Translates one Qt event for Peer; answers whether it was one of those the
// peer speaks of (the widget still passes it on to Qt).
bool TranslatePeerEvent(QWidget* Widget, QEvent* Event, TJPeer& Peer);

// Thread: UI thread only.
class TJPanel : public QFrame, public TJPeer {
public:
    explicit TJPanel(QWidget* Parent = nullptr);
    ~TJPanel() override;
    void RequestFocus() override { setFocus(Qt::MouseFocusReason); }
    TContainer& Komponent() { return FKomponent; }

protected:
    bool event(QEvent* Event) override;

private:
    TContainer FKomponent;
};

// Thread: UI thread only.
class TBeanPanel : public QFrame, public TBeanPeer {
public:
    explicit TBeanPanel(QWidget* Parent = nullptr);
    ~TBeanPanel() override;
    void RequestFocus() override { setFocus(Qt::MouseFocusReason); }
    TContainer& Komponent() { return FKomponent; }

protected:
    bool event(QEvent* Event) override;

private:
    TContainer FKomponent;
};

// A scroll box with a border style: bsSingle (the default) draws a sunken
// frame around the box, bsNone leaves it bare. The viewport is what the
// frame leaves inside, so changing the style resizes it, and
// BorderStyleChanged tells a descendant so.
// Thread: UI thread only.
class TScrollBox2 : public QAbstractScrollArea {
public:
    explicit TScrollBox2(QWidget* Parent = nullptr);
    ~TScrollBox2() override;
    TBorderStyle GetBorderStyle() const { return FBorderStyle; }
    void SetBorderStyle(TBorderStyle Value);

protected:
    virtual void BorderStyleChanged() {}

private:
    void ApplyBorderStyle();
    TBorderStyle FBorderStyle = bsSingle;
};

// A scroll box whose content is painted by its owner (the viewport is not
// a child widget's), with insets and every kind of event on.
// Thread: UI thread only.
class TScrollPane : public TScrollBox2, public TBeanPeer {
public:
    explicit TScrollPane(QWidget* Parent = nullptr);
    ~TScrollPane() override;
    void RequestFocus() override { setFocus(Qt::MouseFocusReason); }
    TContainer& Komponent() { return FKomponent; }

    const TInsets& GetInsets() const { return FInsets; }
    void SetInsets(const TInsets& Value);
    // The client size less the insets.
    TDimension GetViewportSize() const;
    TPoint GetScrollPosition() const;
    void SetScrollPosition(int X, int Y);
    // Content size: the bars run from 0 to content less viewport, a page
    // being the viewport.
    void SetContentSize(int Width, int Height);

protected:
    bool event(QEvent* Event) override;
    bool viewportEvent(QEvent* Event) override;
    void resizeEvent(QResizeEvent* Event) override;
    void BorderStyleChanged() override;
    TDimension FContent;

private:
    void UpdateBars();
    TContainer FKomponent;
    TInsets FInsets;
};

// An edit field with insets.
// Thread: UI thread only.
class TTextField : public QLineEdit, public TBeanPeer {
public:
    explicit TTextField(QWidget* Parent = nullptr);
    ~TTextField() override;
    void RequestFocus() override { setFocus(Qt::MouseFocusReason); }
    TKomponent& Komponent() { return FKomponent; }
    const TInsets& GetInsets() const { return FInsets; }
    void SetInsets(const TInsets& Value);

protected:
    bool event(QEvent* Event) override;

private:
    TKomponent FKomponent;
    TInsets FInsets;
};

}  // namespace ide
