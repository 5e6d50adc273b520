// The Qt side: MIME types and icons by name only, and batches posted to
// QObjects, released also when the receiver dies first.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "foundation/ExceptionBridge.h"
#include "shellexplorer/IDEVirtualNamespace.h"
#include "shellexplorer/qt/ShellQt.h"

using namespace ide;

class ShellQtTest : public QObject {
    Q_OBJECT

private slots:
    void typesComeFromNamesNotContents() {
        TQtFileTypeSource T;
        QVERIFY(!T.TypeName("notes.txt", false).empty());
        QCOMPARE(T.TypeName("notes.txt", false), T.TypeName("OTHER.TXT", false));
        QVERIFY(T.TypeName("blob.zyxwv", false).empty());  // unknown: the namespace words it
        QVERIFY(!T.TypeName("", true).empty());
        QCOMPARE(T.IconName(T.IconIndex("x", true, false)), std::string("folder"));
        QCOMPARE(T.IconName(T.IconIndex("x", true, true)), std::string("folder-open"));
        QCOMPARE(T.IconIndex("a.png", false, false), T.IconIndex("b.png", false, false));
        QVERIFY(T.IconName(T.IconIndex("a.png", false, false)).find("image") != std::string::npos);
        QVERIFY(T.IconName(999).empty());
        // Through the provider, into the type column.
        char Tmpl[] = "/tmp/ide_qtshell_XXXXXX";
        QVERIFY(mkdtemp(Tmpl));
        std::string Home = Tmpl;
        // A PNG name over text content: the name decides.
        FILE* F = std::fopen((Home + "/picture.png").c_str(), "w");
        std::fputs("plain text", F);
        std::fclose(F);
        TPosixRoots R;
        R.Home = Home;
        R.DataHome = Home + "/share";
        auto P = std::make_shared<TPosixShellProvider>(R, std::make_shared<TQtFileTypeSource>());
        auto NS = TNamespace::CreateFromFileName(P, Home + "/picture.png");
        QCOMPARE(NS->DetailsOf(2), T.TypeName("picture.png", false));
        std::remove((Home + "/picture.png").c_str());
        rmdir(Tmpl);
    }

    void batchesArriveOnTheUiThreadAndNeverLeak() {
        int Before = TVirtualShellEventList::LiveCount();
        TVirtualChangeNotifier N(std::make_shared<TPosixShellProvider>(), TShellSourcePaths{"/nonexistent", {}, {}, {}, {}});
        N.SetQuietPeriod(std::chrono::milliseconds(20));
        QObject Ui;
        InstallChangeNotifierListener(N, &Ui);
        TQtShellChangeControl Live(N);
        auto Dying = std::make_unique<TQtShellChangeControl>(N);
        N.RegisterShellChangeNotify(&Live);
        N.RegisterShellChangeNotify(Dying.get());
        int Seen = 0;
        Qt::HANDLE Thread = nullptr;
        Live.OnShellNotify = [&](TVirtualShellEventList& L) {
            Seen += L.Count();
            Thread = QThread::currentThreadId();
        };
        TPIDLHolder P(TPosixShellProvider::MakeFileItem("f", 0));
        N.AddEvent(vsneUpdateItem, P.Get(), nullptr);
        // The batch waits in the listener's queue once the dispatch thread
        // posted it.
        auto* Receiver = Ui.findChild<TQtPostReceiver*>();
        QVERIFY(Receiver);
        auto Queued = [&] {
            std::lock_guard<std::mutex> L(Receiver->Queue()->Lock);
            return Receiver->Queue()->Messages.size();
        };
        QElapsedTimer Clock;
        Clock.start();
        while (Queued() == 0 && Clock.elapsed() < 5000) QThread::msleep(5);
        QCOMPARE(Queued(), size_t(1));
        QCOMPARE(TVirtualShellEventList::LiveCount(), Before + 1);
        // The listener's drain only: it posts the batch to both controls.
        Receiver->Drain();
        QCoreApplication::sendPostedEvents(&Live);
        QCOMPARE(Seen, 1);
        QCOMPARE(Thread, QThread::currentThreadId());
        // Dying still has its event pending; destroying it drops the event.
        QCOMPARE(TVirtualShellEventList::LiveCount(), Before + 1);
        Dying.reset();
        QCOMPARE(TVirtualShellEventList::LiveCount(), Before);
        // A handler that throws: the exception goes to the bridge and the
        // batch is still released.
        std::string Reported;
        auto Old = SetExceptionHandler([&](TObject*, std::exception_ptr E) { Reported = ExceptionMessage(E); });
        Live.OnShellNotify = [](TVirtualShellEventList&) { throw Exception("handler failed"); };
        N.AddEvent(vsneUpdateItem, P.Get(), nullptr);
        QTRY_COMPARE_WITH_TIMEOUT(Reported, std::string("handler failed"), 5000);
        QCOMPARE(TVirtualShellEventList::LiveCount(), Before);
        SetExceptionHandler(Old);
    }

    void handOverUnderLoadSurvivesTheUiObjectsDeath() {
        // Producers add events from three threads while the UI thread takes
        // batches; then the listener's UI object dies while they go on.
        // Nothing may leak, and under the thread sanitizer the hand-over
        // must be clean: only the UI thread touches Qt.
        int Before = TVirtualShellEventList::LiveCount();
        {
            TVirtualChangeNotifier N(std::make_shared<TPosixShellProvider>(), TShellSourcePaths{"/nonexistent", {}, {}, {}, {}});
            N.SetQuietPeriod(std::chrono::milliseconds(1));
            auto* Ui = new QObject;
            InstallChangeNotifierListener(N, Ui);
            TQtShellChangeControl Live(N);
            N.RegisterShellChangeNotify(&Live);
            int Batches = 0;
            Live.OnShellNotify = [&](TVirtualShellEventList& L) {
                QVERIFY(L.Count() > 0);
                ++Batches;
            };
            std::atomic<bool> Stop{false};
            std::vector<std::thread> Producers;
            for (int T = 0; T < 3; ++T)
                Producers.emplace_back([&N, &Stop, T] {
                    // Bursts with pauses longer than the quiet period, so
                    // batches keep going out.
                    for (int I = 0; !Stop; ++I) {
                        TPIDLHolder P(TPosixShellProvider::MakeFileItem("f" + std::to_string(T) + "_" + std::to_string(I % 50), 8));
                        N.AddEvent(vsneUpdateItem, P.Get(), nullptr);
                        if (I % 10 == 9) std::this_thread::sleep_for(std::chrono::milliseconds(15));
                    }
                });
            auto StopProducers = [&] {
                Stop = true;
                for (auto& P : Producers)
                    if (P.joinable()) P.join();
            };
            QElapsedTimer Clock;
            Clock.start();
            while ((Batches < 5 || Clock.elapsed() < 300) && Clock.elapsed() < 10000)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            if (Batches < 5) StopProducers();
            QVERIFY(Batches >= 5);
            delete Ui;  // posts from now on fail; queued batches are released
            const int Seen = Batches;
            Clock.restart();
            while (Clock.elapsed() < 200) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            StopProducers();
            QCOMPARE(Batches, Seen);  // nothing arrives without a listener
            N.UnRegisterAllNotify();
            QVERIFY(!N.ThreadsRunning());
            QCoreApplication::sendPostedEvents(&Live);
        }
        QCOMPARE(TVirtualShellEventList::LiveCount(), Before);
    }
};

QTEST_GUILESS_MAIN(ShellQtTest)
#include "qt_shell.moc"
