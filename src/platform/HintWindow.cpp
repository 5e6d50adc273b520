#include "platform/HintWindow.h"

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QScreen>
#include <QTimerEvent>
#include <QToolTip>

#include "foundation/ExceptionBridge.h"
#include "platform/QtCanvas.h"

namespace ide {

namespace {
constexpr int kMargin = 2;  // text inset from the frame

std::vector<String> SplitLines(const String& Text, TCanvas& Canvas, int MaxWidth) {
    std::vector<String> lines;
    String line;
    auto flush = [&] {
        lines.push_back(line);
        line.clear();
    };
    for (size_t i = 0; i <= Text.size(); ++i) {
        if (i == Text.size() || Text[i] == u'\n') {
            flush();
            continue;
        }
        if (Text[i] == u'\r') continue;
        line += Text[i];
        if (MaxWidth > 0 && Canvas.TextWidth(line) > MaxWidth && line.size() > 1) {
            // Break at the last space, or before this character.
            size_t space = line.rfind(u' ');
            if (space != String::npos && space > 0) {
                String rest = line.substr(space + 1);
                line.resize(space);
                flush();
                line = rest;
            } else {
                Char c = line.back();
                line.pop_back();
                flush();
                line = String(1, c);
            }
        }
    }
    return lines;
}
}  // namespace

THintWindow::THintWindow() : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    AssignQFont(FFont, QToolTip::font(), clInfoText);
}

THintWindow::~THintWindow() = default;

TRect THintWindow::CalcHintRect(int MaxWidth, const String& Hint, void*) {
    TQtMeasuringCanvas canvas;
    canvas.SetFont(FFont);
    auto lines = SplitLines(Hint, canvas, MaxWidth > 0 ? MaxWidth - 2 * kMargin - 2 : 0);
    int w = 0;
    for (const auto& l : lines) w = std::max(w, canvas.TextWidth(l));
    int h = static_cast<int>(lines.size()) * canvas.TextMetricHeight();
    return Rect(0, 0, w + 2 * kMargin + 4, h + 2 * kMargin + 2);
}

void THintWindow::ActivateHint(const TRect& R, const String& Hint) { ActivateHintData(R, Hint, nullptr); }

void THintWindow::ActivateHintData(const TRect& R, const String& Hint, void*) {
    FCaption = Hint;
    // Keep the window on the screen it is meant for.
    QRect r = ToQRect(R);
    if (QScreen* s = QGuiApplication::screenAt(r.topLeft())) {
        QRect avail = s->availableGeometry();
        if (r.right() > avail.right()) r.moveRight(avail.right());
        if (r.bottom() > avail.bottom()) r.moveBottom(avail.bottom());
        if (r.left() < avail.left()) r.moveLeft(avail.left());
        if (r.top() < avail.top()) r.moveTop(avail.top());
    }
    setGeometry(r);
    show();
    update();
}

bool THintWindow::IsHintMsg(QObject*, QEvent* Event) {
    switch (Event->type()) {
        case QEvent::KeyPress:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
        case QEvent::ApplicationDeactivate:
        case QEvent::WindowDeactivate:
        case QEvent::FocusOut: return true;
        default: return false;
    }
}

void THintWindow::Paint(TCanvas& Canvas) {
    TRect r = Bounds(0, 0, width(), height());
    Canvas.SetBrushColor(FColor);
    Canvas.FillRect(r);
    Canvas.SetBrushColor(clWindowFrame);
    Canvas.FrameRect(r);
    Canvas.SetFont(FFont);
    Canvas.SetBrushStyle(bsClear);
    auto lines = SplitLines(FCaption, Canvas, width() - 2 * kMargin - 2);
    int y = kMargin + 1;
    for (const auto& l : lines) {
        Canvas.TextRect(Rect(1, 1, width() - 1, height() - 1), kMargin + 2, y, l);
        y += Canvas.TextMetricHeight();
    }
}

void THintWindow::paintEvent(QPaintEvent*) {
    CallGuarded(nullptr, [&] {
        QPainter p(this);
        TQtCanvas canvas(&p, palette());
        Paint(canvas);
    });
}

THintWindow* CreateDefaultHintWindow() { return new THintWindow(); }

// --------------------------------------------------------------- service

THintService& THintService::Instance() {
    static THintService* service = nullptr;
    if (!service) {
        service = new THintService();
        // Goes with the application.
        if (auto* app = QCoreApplication::instance()) {
            QObject::connect(app, &QObject::destroyed, [] {
                delete service;
                service = nullptr;
            });
        }
    }
    return *service;
}

THintService::THintService() {
    if (auto* app = QCoreApplication::instance()) app->installEventFilter(this);
}

THintService::~THintService() {
    if (auto* app = QCoreApplication::instance()) app->removeEventFilter(this);
}

void THintService::Register(QWidget* Control, THintClient Client) {
    if (!Control) return;
    bool fresh = FClients.find(Control) == FClients.end();
    FClients[Control] = std::move(Client);
    if (fresh) {
        Control->setMouseTracking(true);
        QObject::connect(Control, &QObject::destroyed, this, [this, Control] { Unregister(Control); });
    }
}

void THintService::Unregister(QWidget* Control) {
    if (FClients.erase(Control) == 0) return;
    if (FInfo.HintControl == Control) CancelHint();
    if (FPending == Control) FPauseTimer.stop();
}

QWidget* THintService::ClientOf(QObject* Object) const {
    for (QObject* o = Object; o; o = o->parent()) {
        auto* w = qobject_cast<QWidget*>(o);
        if (w && FClients.count(w)) return w;
        if (w && w->isWindow()) break;
    }
    return nullptr;
}

bool THintService::HintShowing() const { return FWindow && FWindow->isVisible(); }

void THintService::CancelHint() {
    FPauseTimer.stop();
    FHideTimer.stop();
    if (FWindow) FWindow->ReleaseHandle();
    FInfo = THintInfo();
}

bool THintService::ActivateHint(QWidget* Control, QPoint Pos) {
    auto it = FClients.find(Control);
    if (it == FClients.end() || !ShowHint) return false;
    FPauseTimer.stop();
    THintInfo info;
    info.HintControl = Control;
    info.CursorPos = {Pos.x(), Pos.y()};
    info.CursorRect = Bounds(0, 0, Control->width(), Control->height());
    QPoint screen = Control->mapToGlobal(Pos);
    info.HintPos = {screen.x(), screen.y() + 20};
    QScreen* s = QGuiApplication::screenAt(screen);
    info.HintMaxWidth = s ? s->availableGeometry().width() : 800;
    info.HintStr = it->second.Hint;
    info.HideTimeout = HintHidePause;
    info.HintWindowClass = &CreateDefaultHintWindow;
    bool show = true;
    if (it->second.OnHintShow) show = it->second.OnHintShow(info);
    if (!show || info.HintStr.empty()) {
        CancelHint();
        return false;
    }
    THintWindowClass cls = info.HintWindowClass ? info.HintWindowClass : &CreateDefaultHintWindow;
    if (!FWindow || FWindowClass != cls) {
        if (FWindow) FWindow->ReleaseHandle();
        FWindow.reset(cls());
        FWindowClass = cls;
    }
    FWindow->SetColor(info.HintColor);
    TRect r = FWindow->CalcHintRect(info.HintMaxWidth, info.HintStr, info.HintData);
    r = OffsetRect(r, info.HintPos.X, info.HintPos.Y);
    FInfo = info;
    FWindow->ActivateHintData(r, info.HintStr, info.HintData);
    FRecentlyShown = true;
    FHideTimer.stop();
    if (info.HideTimeout > 0 && info.HideTimeout != INT_MAX) FHideTimer.start(info.HideTimeout, this);
    return true;
}

void THintService::MouseMoved(QWidget* Control, QPoint Pos) {
    if (HintShowing()) {
        if (FInfo.HintControl == Control && FInfo.CursorRect.Contains(Pos.x(), Pos.y())) return;
        CancelHint();
    }
    if (!Control || !ShowHint) {
        FPauseTimer.stop();
        return;
    }
    int pause = FRecentlyShown ? HintShortPause : HintPause;
    auto it = FClients.find(Control);
    if (it != FClients.end() && it->second.OnHintShowPause) it->second.OnHintShowPause(pause);
    FPending = Control;
    FPendingPos = Pos;
    if (pause <= 0) {
        ActivateHint(Control, Pos);
        return;
    }
    FPauseTimer.start(pause, this);
}

bool THintService::eventFilter(QObject* Watched, QEvent* Event) {
    CallGuarded(nullptr, [&] {
        if (Event->type() == QEvent::MouseMove) {
            auto* me = static_cast<QMouseEvent*>(Event);
            if (me->buttons() != Qt::NoButton) return;
            QWidget* control = ClientOf(Watched);
            auto* w = qobject_cast<QWidget*>(Watched);
            QPoint pos = me->position().toPoint();
            if (control && w && w != control) pos = w->mapTo(control, pos);
            if (control || HintShowing()) MouseMoved(control, pos);
            return;
        }
        if (Event->type() == QEvent::Leave) {
            if (Watched == FPending.data()) FPauseTimer.stop();
            if (HintShowing() && Watched == FInfo.HintControl) CancelHint();
            return;
        }
        if (HintShowing() && FWindow->IsHintMsg(Watched, Event)) {
            CancelHint();
            FRecentlyShown = false;
        } else if (FPauseTimer.isActive() &&
                   (Event->type() == QEvent::KeyPress || Event->type() == QEvent::MouseButtonPress)) {
            FPauseTimer.stop();
        }
    });
    return false;
}

void THintService::timerEvent(QTimerEvent* Event) {
    CallGuarded(nullptr, [&] {
        if (Event->timerId() == FPauseTimer.timerId()) {
            FPauseTimer.stop();
            if (FPending) ActivateHint(FPending, FPendingPos);
        } else if (Event->timerId() == FHideTimer.timerId()) {
            CancelHint();
        }
    });
}

}  // namespace ide
