// The mailbox over the event loop, the exception bridge at the toolkit's
// edge, and the hint service with its window.
#include <QtTest/QtTest>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWidget>
#include <stdexcept>

#include "platform/HintWindow.h"
#include "platform/QtExceptionBridge.h"
#include "platform/QtMailbox.h"

using namespace ide;

namespace {
class TWideHintWindow : public THintWindow {};
THintWindow* CreateWide() { return new TWideHintWindow(); }

void SendMove(QWidget* w, QPoint p) {
    QMouseEvent e(QEvent::MouseMove, p, w->mapToGlobal(p), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &e);
}
}  // namespace

class MailboxHintTest : public QObject {
    Q_OBJECT
private slots:
    void postedMessagesArriveThroughTheLoopAndDrainTakesThemOff() {
        std::vector<int> seen;
        TQtMailbox box([&](TMessage& m) { seen.push_back(m.Msg * 10 + static_cast<int>(m.LParam)); });
        box.Post(1, 0, 1);
        box.Post(2, 0, 1);
        box.Post(1, 0, 2);
        QVERIFY(box.IsPending(1));
        QCOMPARE(box.Drain(1), 2);
        QVERIFY(seen.empty());  // nothing is delivered before the loop runs
        QCoreApplication::sendPostedEvents();
        QCOMPARE(seen, (std::vector<int>{21}));  // message 1 never arrives
        QVERIFY(!box.IsPending(2));
        box.Post(3);
    }  // the box dies with a message queued: it must not arrive anywhere

    void aThrowingMessageHandlerReachesTheBridgeNotTheLoop() {
        QCoreApplication::sendPostedEvents();  // the last test's orphan, if any
        std::vector<std::string> caught;
        auto old = SetExceptionHandler([&](TObject*, std::exception_ptr e) { caught.push_back(ExceptionMessage(e)); });
        TQtMailbox box([](TMessage&) { throw std::runtime_error("deferred failure"); });
        box.Post(7);
        QCoreApplication::sendPostedEvents();
        SetExceptionHandler(old);
        QCOMPARE(caught, (std::vector<std::string>{"deferred failure"}));
        QVERIFY(!box.IsPending(7));
    }

    void hintShowsForARegisteredControlAndGoesOnAKey() {
        QWidget host;
        host.resize(200, 100);
        host.show();
        auto& service = THintService::Instance();
        THintClient client;
        client.Hint = u"Row text that does not fit";
        int asked = 0;
        client.OnHintShow = [&](THintInfo& info) {
            ++asked;
            info.CursorRect = Rect(0, 0, 50, 50);
            return true;
        };
        service.Register(&host, client);
        QVERIFY(service.ActivateHint(&host, QPoint(10, 10)));
        QVERIFY(service.HintShowing());
        QCOMPARE(service.HintWindow()->Caption(), u"Row text that does not fit");
        QCOMPARE(service.CurrentInfo().HintControl, &host);
        TRect need = service.HintWindow()->CalcHintRect(1000, u"Row text that does not fit", nullptr);
        QCOMPARE(service.HintWindow()->width(), need.Width());

        SendMove(&host, QPoint(20, 20));  // still in the cursor rectangle
        QVERIFY(service.HintShowing());
        QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, "a");
        QCoreApplication::sendEvent(&host, &key);
        QVERIFY(!service.HintShowing());

        QVERIFY(service.ActivateHint(&host, QPoint(10, 10)));
        SendMove(&host, QPoint(120, 20));  // out of the cursor rectangle
        QVERIFY(!service.HintShowing());
        QCOMPARE(asked, 2);
    }

    void aControlMayRefuseTheHintPickItsWindowAndAskForNoPause() {
        QWidget host;
        host.resize(100, 40);
        host.show();
        auto& service = THintService::Instance();
        THintClient client;
        bool refuse = true;
        client.OnHintShowPause = [](int& pause) { pause = 0; };
        client.OnHintShow = [&](THintInfo& info) {
            info.HintStr = u"custom";
            info.HintWindowClass = &CreateWide;
            info.HideTimeout = INT_MAX;
            return !refuse;
        };
        service.Register(&host, client);
        SendMove(&host, QPoint(5, 5));
        QVERIFY(!service.HintShowing());
        refuse = false;
        service.CancelHint();
        SendMove(&host, QPoint(6, 5));  // pause 0: shows on the move itself
        QVERIFY(service.HintShowing());
        QVERIFY(dynamic_cast<TWideHintWindow*>(service.HintWindow()) != nullptr);
        QCOMPARE(service.HintWindow()->Caption(), u"custom");
        service.Unregister(&host);
        QVERIFY(!service.HintShowing());
    }

    void theHintGoesAfterItsTimeoutAndWithItsControl() {
        auto& service = THintService::Instance();
        {
            QWidget host;
            host.resize(100, 40);
            host.show();
            THintClient client;
            client.Hint = u"short-lived";
            client.OnHintShow = [](THintInfo& info) {
                info.HideTimeout = 30;
                return true;
            };
            service.Register(&host, client);
            QVERIFY(service.ActivateHint(&host, QPoint(1, 1)));
            QTRY_VERIFY_WITH_TIMEOUT(!service.HintShowing(), 2000);
            QVERIFY(service.ActivateHint(&host, QPoint(1, 1)));
        }  // the control goes: its hint goes with it
        QVERIFY(!service.HintShowing());
    }

    void theGuardedApplicationStopsAnExceptionFromAnEventHandler() {
        struct Thrower : QObject {
            bool event(QEvent* e) override {
                if (e->type() == QEvent::User) throw std::runtime_error("handler failed");
                return QObject::event(e);
            }
        } thrower;
        std::vector<std::string> caught;
        auto old = SetExceptionHandler([&](TObject*, std::exception_ptr e) { caught.push_back(ExceptionMessage(e)); });
        QEvent e(QEvent::User);
        static_cast<TGuardedApplication*>(QCoreApplication::instance())->notify(&thrower, &e);
        SetExceptionHandler(old);
        QCOMPARE(caught, (std::vector<std::string>{"handler failed"}));
    }
};

int main(int argc, char** argv) {
    TGuardedApplication app(argc, argv);
    MailboxHintTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "qt_mailbox_hint.moc"
