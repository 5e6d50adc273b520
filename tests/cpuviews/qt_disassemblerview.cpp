// The disassembler view's widget on the offscreen platform: the scroll bars
// follow the focus, the dummy vertical bar answers its four requests and
// stays in the middle, keys and clicks reach the logic, painting shows the
// selection, and a failing debugger handler does not escape the event loop.
#include <QApplication>
#include <QImage>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include "ScriptedHost.h"
#include "cpuviews/widgets/DisassemblerView.h"
#include "foundation/ExceptionBridge.h"
#include "platform/QtCanvas.h"

using namespace ide;
using namespace distest;

IDE_DECLARE_EXCEPTION(EDebugHostErrorForTest, Exception)

class DisassemblerViewTest : public QObject {
    Q_OBJECT

    ScriptedHost host;
    std::unique_ptr<TDisassemblerView> view;
    QWidget* other = nullptr;
    std::unique_ptr<QWidget> window;

    int64_t At(int i) const { return host.Code[i].Addr; }

private slots:
    void init() {
        host = ScriptedHost{};
        host.Code.clear();
        for (int i = 0; i < 200; ++i) host.Code.push_back({0x4000 + 3 * i, 3, "op " + std::to_string(i)});
        window = std::make_unique<QWidget>();
        view = std::make_unique<TDisassemblerView>(window.get());
        other = new QWidget(window.get());
        other->setFocusPolicy(Qt::StrongFocus);
        other->setGeometry(0, 310, 50, 20);
        view->setGeometry(0, 0, 400, 300);
        host.Attach(view->Logic());
        view->Logic().SetMixedSource(false);
        view->Logic().SetTopAddress(At(0));
        view->Logic().InternalSetSelectedAddress(At(0));
        window->resize(420, 340);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        other->setFocus();
        QApplication::processEvents();
    }

    void cleanup() {
        view.reset();
        window.reset();
    }

    void scrollBarsShowOnlyWithTheFocus() {
        QVERIFY(!view->verticalScrollBar()->isVisible());
        QVERIFY(!view->horizontalScrollBar()->isVisible());
        view->setFocus();
        QApplication::processEvents();
        QVERIFY(view->verticalScrollBar()->isVisible());
        QVERIFY(view->horizontalScrollBar()->isVisible());
        other->setFocus();
        QApplication::processEvents();
        QVERIFY(!view->verticalScrollBar()->isVisible());
    }

    void theDummyBarAsksForLinesAndPagesAndStaysInTheMiddle() {
        view->setFocus();
        QApplication::processEvents();
        view->grab();  // one paint: the bottom address is known
        QScrollBar* v = view->verticalScrollBar();
        v->triggerAction(QAbstractSlider::SliderSingleStepAdd);
        QCOMPARE(view->Logic().TopAddress(), At(1));
        QCOMPARE(v->value(), 1);
        v->triggerAction(QAbstractSlider::SliderPageStepAdd);
        const int lines = view->Logic().LineCount();
        QVERIFY(lines > 5);
        QCOMPARE(view->Logic().TopAddress(), At(1 + lines - 1));
        v->triggerAction(QAbstractSlider::SliderPageStepSub);
        v->triggerAction(QAbstractSlider::SliderSingleStepSub);
        QCOMPARE(view->Logic().TopAddress(), At(0));
        QCOMPARE(v->value(), 1);
        v->triggerAction(QAbstractSlider::SliderToMaximum);  // not one of the four
        QCOMPARE(view->Logic().TopAddress(), At(0));
    }

    void keysAndClicksReachTheLogic() {
        view->setFocus();
        view->grab();
        QTest::keyClick(view.get(), Qt::Key_Down);
        QCOMPARE(view->Logic().SelectedAddress(), At(1));
        QTest::keyClick(view.get(), Qt::Key_Down, Qt::ShiftModifier);
        QVERIFY(view->Logic().HasMultiSelection());
        int gutter = 0;
        view->Logic().OnGutterClicked = [&](TDisassemblerLogic*, TMouseButton, TShiftState) { ++gutter; };
        const int lh = view->Logic().LineHeight();
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, QPoint(10, 3 * lh + 2));
        QCOMPARE(view->Logic().SelectedAddress(), At(3));
        QCOMPARE(gutter, 1);
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, QPoint(200, 4 * lh + 2));
        QCOMPARE(view->Logic().SelectedAddress(), At(4));
        QCOMPARE(gutter, 1);
        QWheelEvent wheel(QPointF(50, 50), view->mapToGlobal(QPoint(50, 50)), QPoint(), QPoint(0, -120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view->viewport(), &wheel);
        QCOMPARE(view->Logic().TopAddress(), At(3));
    }

    void paintingShowsTheTextAndTheSelectedLine() {
        view->Logic().InternalSetSelectedAddress(At(2));
        const QImage image = view->viewport()->grab().toImage();
        const int lh = view->Logic().LineHeight();
        const QColor face = ToQColor(clBtnFace, view->palette());
        const QColor selected = ToQColor(clInactiveCaption, view->palette());  // not focused
        QCOMPARE(image.pixelColor(380, 2 * lh + lh / 2), selected);
        QCOMPARE(image.pixelColor(380, 1 * lh + lh / 2), face);
        // Some text was drawn on the first line, past the gutter.
        bool ink = false;
        for (int x = 33; x < 200 && !ink; ++x)
            for (int y = 0; y < lh && !ink; ++y) ink = image.pixelColor(x, y) != face;
        QVERIFY(ink);
    }

    void aFailingHandlerIsCaughtAtTheToolkitEdge() {
        std::string reported;
        TExceptionHandler old = SetExceptionHandler(
            [&](TObject*, std::exception_ptr E) { reported = ExceptionMessage(E); });
        view->Logic().OnDisassemble = [](TDisassemblerLogic*, int64_t&, String&, int32_t&) {
            throw EDebugHostErrorForTest("memory went away");
        };
        view->Logic().ClearCache();
        view->viewport()->grab();
        SetExceptionHandler(old);
        QCOMPARE(QString::fromStdString(reported), QString("memory went away"));
    }

};

QTEST_MAIN(DisassemblerViewTest)
#include "qt_disassemblerview.moc"
