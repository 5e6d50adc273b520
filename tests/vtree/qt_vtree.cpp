// The virtual tree widget on the offscreen platform: painting through the
// style, scroll bars, the wheel, keys, clicks, and the worker's hand-back
// served by the event loop.
#include <QApplication>
#include <QScrollBar>
#include <QTest>

#include "platform/QtCanvas.h"
#include "vtree/widgets/VirtualTreeWidgets.h"

using namespace ide;

class QtVirtualTree : public QObject {
    Q_OBJECT

private:
    void Fill(TVirtualStringTree& t, uint32_t count) {
        t.OnGetText = [](TBaseVirtualTree*, PVirtualNode n, TColumnIndex, String& s) {
            s = Str("Node " + std::to_string(n->Index));
        };
        t.SetRootNodeCount(count);
    }

private slots:
    void scrollBarsFollowTheRangeAndTheWorkerIsServedByTheLoop() {
        TVirtualStringTree t;
        t.resize(300, 200);
        Fill(t, 100000);
        t.show();
        QVERIFY(QTest::qWaitForWindowExposed(&t));
        QTRY_VERIFY(t.InState(tsUseCache));  // hand-back served by posted events
        QScrollBar* bar = t.verticalScrollBar();
        QCOMPARE(bar->maximum(), int(t.RangeY()) - t.ClientHeight());
        QCOMPARE(bar->pageStep(), t.ClientHeight());
        bar->setValue(18 * 50000);
        QCOMPARE(t.OffsetY(), -18 * 50000);
        QCOMPARE(t.GetTopNode()->Index, 50000u);
        const QImage shot = t.grab().toImage();
        QVERIFY(!shot.isNull());
        QWheelEvent wheel(QPointF(10, 10), t.mapToGlobal(QPointF(10, 10)), QPoint(), QPoint(0, -120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(t.viewport(), &wheel);
        QCOMPARE(t.OffsetY(), -18 * 50000 - 18 * QApplication::wheelScrollLines());
    }

    void keysMoveExpandAndSearch() {
        TVirtualStringTree t;
        t.resize(300, 200);
        t.OnInitNode = [](TBaseVirtualTree*, PVirtualNode parent, PVirtualNode n, TVirtualNodeInitStates& s) {
            if (!parent && n->Index == 0) s |= ivsHasChildren;
        };
        t.OnInitChildren = [](TBaseVirtualTree*, PVirtualNode, uint32_t& c) { c = 2; };
        Fill(t, 50);
        t.show();
        QVERIFY(QTest::qWaitForWindowExposed(&t));
        QTest::keyClick(&t, Qt::Key_Down);
        QCOMPARE(t.FocusedNode(), t.GetFirstNoInit());
        QTest::keyClick(&t, Qt::Key_Right);
        QVERIFY(t.Expanded(t.GetFirstNoInit()));
        QTest::keyClick(&t, Qt::Key_Minus);
        QVERIFY(!t.Expanded(t.GetFirstNoInit()));
        t.SetSearchOption(isAll);
        QTest::keyClicks(&t, "Node 42");
        QCOMPARE(t.FocusedNode()->Index, 42u);
        QVERIFY(t.Selected(t.FocusedNode()));
        QVERIFY(t.TimerActive(SearchTimer));
        QTRY_VERIFY_WITH_TIMEOUT(!t.InState(tsIncrementalSearching), 3000);  // timer 7 ends it

        // A key whose text lies above the basic plane feeds the search whole.
        const QString smile = QString::fromUcs4(U"\U0001F600");
        t.OnGetText = [&](TBaseVirtualTree*, PVirtualNode n, TColumnIndex, String& s) {
            s = n->Index == 7 ? FromQString(smile + "x") : Str("Node");
        };
        QKeyEvent key(QEvent::KeyPress, 0, Qt::NoModifier, smile);
        QApplication::sendEvent(&t, &key);
        QCOMPARE(t.FocusedNode()->Index, 7u);
        QCOMPARE(ToQString(t.SearchBuffer()), smile);
    }

    void clicksToggleButtonsAndCheckBoxes() {
        TVirtualStringTree t;
        t.resize(300, 200);
        t.SetOptions(t.Options() | toCheckSupport);
        t.OnInitNode = [](TBaseVirtualTree* tr, PVirtualNode parent, PVirtualNode n, TVirtualNodeInitStates& s) {
            if (!parent && n->Index == 0) s |= ivsHasChildren;
            tr->SetCheckType(n, ctCheckBox);
        };
        t.OnInitChildren = [](TBaseVirtualTree*, PVirtualNode, uint32_t& c) { c = 3; };
        Fill(t, 5);
        t.show();
        QVERIFY(QTest::qWaitForWindowExposed(&t));
        PVirtualNode first = t.GetFirst();
        QTest::mouseClick(t.viewport(), Qt::LeftButton, {}, QPoint(10, 9));  // the button
        QVERIFY(t.Expanded(first));
        QTest::mouseClick(t.viewport(), Qt::LeftButton, {}, QPoint(20 + 4 + 5, 9));  // the check box
        QCOMPARE(t.CheckState(first), csCheckedNormal);
        QTest::mouseClick(t.viewport(), Qt::LeftButton, {}, QPoint(120, 18 + 9));  // a label
        QCOMPARE(t.FocusedNode(), first->FirstChild);
        QVERIFY(t.Selected(first->FirstChild));
        QTest::keyClick(&t, Qt::Key_Space);
        QCOMPARE(t.CheckState(first->FirstChild), csCheckedNormal);
        const QImage shot = t.grab().toImage();
        QVERIFY(!shot.isNull());
    }
};

QTEST_MAIN(QtVirtualTree)
#include "qt_vtree.moc"
