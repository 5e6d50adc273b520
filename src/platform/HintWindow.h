// Hints: the small window that shows a control's hint text, and the service
// that decides when it shows. The service is our own (not QToolTip): a
// control may ask for no pause at all, pick its own hint window class, and
// give the cursor rectangle out of which the hint goes.
//
// A control takes part by registering a THintClient:
//   OnHintShowPause(Pause)  may change the pause before the hint (0: at once)
//   OnHintShow(Info)        fills or changes the hint information; false, or
//                           an empty HintStr, shows no hint
// The service watches mouse and key events of the application: the pause
// runs while the mouse rests on a registered control; moving out of the
// cursor rectangle, pressing a key or a button, the wheel, or the window
// losing activation takes the hint away (the window's IsHintMsg decides for
// each event); after HideTimeout milliseconds it goes by itself.
#pragma once

#include <QBasicTimer>
#include <QPointer>
#include <QWidget>
#include <climits>
#include <functional>
#include <map>
#include <memory>

#include "foundation/Graphics.h"

namespace ide {

class THintWindow;
using THintWindowClass = THintWindow* (*)();

// What the service tells a control and the control may change.
struct THintInfo {
    QWidget* HintControl = nullptr;
    TPoint CursorPos;        // in the control's coordinates
    TRect CursorRect;        // in the control's coordinates; the hint goes when the cursor leaves it
    TPoint HintPos;          // screen position of the hint window's top-left corner
    int HintMaxWidth = 0;    // wrap width of the text
    TColor HintColor = clInfoBk;
    String HintStr;
    int HideTimeout = 2500;  // milliseconds; INT_MAX: never
    THintWindowClass HintWindowClass = nullptr;  // nil: THintWindow
    void* HintData = nullptr;
};

// The window that shows one hint. It takes no focus and no mouse input.
// Thread: UI thread only.
class THintWindow : public QWidget {
public:
    THintWindow();
    ~THintWindow() override;

    // The screen rectangle the text needs, at (0, 0), with lines broken at
    // line feeds and at MaxWidth.
    virtual TRect CalcHintRect(int MaxWidth, const String& Hint, void* Data);
    // Shows the hint over Rect (screen coordinates).
    virtual void ActivateHint(const TRect& Rect, const String& Hint);
    virtual void ActivateHintData(const TRect& Rect, const String& Hint, void* Data);
    // Whether an event of the application takes the hint away.
    virtual bool IsHintMsg(QObject* Receiver, QEvent* Event);
    void ReleaseHandle() { hide(); }

    const String& Caption() const { return FCaption; }
    TColor Color() const { return FColor; }
    void SetColor(TColor C) { FColor = C; }
    TFont& Font() { return FFont; }

protected:
    // Paints the background, the frame and the text; descendants draw their own.
    virtual void Paint(TCanvas& Canvas);
    void paintEvent(QPaintEvent* Event) override;

private:
    String FCaption;
    TColor FColor = clInfoBk;
    TFont FFont;
};

THintWindow* CreateDefaultHintWindow();

// A control's part in hints.
struct THintClient {
    String Hint;  // the text when OnHintShow leaves it as it is
    std::function<void(int& Pause)> OnHintShowPause;
    std::function<bool(THintInfo& Info)> OnHintShow;
};

// Thread: UI thread only.
class THintService : public QObject {
public:
    // The application's service, made on first use.
    static THintService& Instance();
    THintService();
    ~THintService() override;

    void Register(QWidget* Control, THintClient Client);
    void Unregister(QWidget* Control);

    int HintPause = 500;
    int HintShortPause = 50;
    int HintHidePause = 2500;
    bool ShowHint = true;

    // Shows the hint of Control for the point Pos (control coordinates) now,
    // without the pause; answers whether one shows.
    bool ActivateHint(QWidget* Control, QPoint Pos);
    void CancelHint();
    bool HintShowing() const;
    THintWindow* HintWindow() const { return FWindow.get(); }
    const THintInfo& CurrentInfo() const { return FInfo; }

protected:
    bool eventFilter(QObject* Watched, QEvent* Event) override;
    void timerEvent(QTimerEvent* Event) override;

private:
    QWidget* ClientOf(QObject* Object) const;
    void MouseMoved(QWidget* Control, QPoint Pos);
    std::map<QWidget*, THintClient> FClients;
    std::unique_ptr<THintWindow> FWindow;
    THintWindowClass FWindowClass = nullptr;
    THintInfo FInfo;
    QPointer<QWidget> FPending;  // the control whose pause runs
    QPoint FPendingPos;
    QBasicTimer FPauseTimer, FHideTimer;
    bool FRecentlyShown = false;
};

}  // namespace ide
