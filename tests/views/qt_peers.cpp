// The peers and the tree view on Qt widgets (offscreen): the order and
// shape of translated mouse events, and the tree view's paint, input,
// deferred layout and exception bridge.
#include <QtTest/QtTest>
#include <QImage>
#include <QScrollBar>
#include <stdexcept>

#include "foundation/ExceptionBridge.h"
#include "model/IDEGraphImplContainers.h"
#include "views/IDEItemPainters.h"
#include "views/widgets/TreeViewWidget.h"

using namespace ide;

namespace {
struct Recorder {
    std::vector<std::string> Events;
    std::vector<int> Modifiers;
    std::vector<bool> Popup;
    void Attach(TJPeer& P) {
        auto rec = [this](const char* tag) {
            return [this, tag](const IntfRef<IMouseEvent>& e) {
                Events.push_back(std::string(tag) + std::to_string(e->GetClickCount()));
                Modifiers.push_back(e->GetModifiers());
                Popup.push_back(e->IsPopupTrigger());
            };
        };
        P.FOnMousePressed = rec("press");
        P.FOnMouseReleased = rec("release");
        P.FOnMouseClicked = rec("click");
        P.FOnMouseMoved = rec("move");
        P.FOnMouseDragged = rec("drag");
    }
};

void Send(QWidget* w, QEvent::Type t, QPoint p, Qt::MouseButton b, Qt::MouseButtons held) {
    QMouseEvent e(t, p, w->mapToGlobal(p), b, held, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &e);
}

class TThrowingPainter : public TInterfacedObject, public virtual IItemPainter {
public:
    TDimension GetPreferredSize(const IntfRef<IInterface>&, TCanvas*, TItemStates, const IntfRef<IItemPaintSite>&) override {
        return {30, 16};
    }
    void Paint(const IntfRef<IInterface>&, TCanvas*, const TRectangle&, TItemStates, const IntfRef<IItemPaintSite>&) override {
        throw std::runtime_error("painter failed");
    }
};
}  // namespace

class PeerTest : public QObject {
    Q_OBJECT
private slots:
    void clickComesBeforeReleaseAndOnlyInside() {
        TBeanPanel panel;
        panel.resize(100, 50);
        panel.EnableEvents(AWT_MOUSE_EVENT_MASK | AWT_MOUSE_MOTION_EVENT_MASK);
        Recorder r;
        r.Attach(panel);
        Send(&panel, QEvent::MouseButtonPress, {10, 10}, Qt::LeftButton, Qt::LeftButton);
        Send(&panel, QEvent::MouseMove, {12, 10}, Qt::NoButton, Qt::LeftButton);
        Send(&panel, QEvent::MouseButtonRelease, {12, 10}, Qt::LeftButton, Qt::NoButton);
        Send(&panel, QEvent::MouseMove, {13, 10}, Qt::NoButton, Qt::NoButton);
        Send(&panel, QEvent::MouseButtonPress, {10, 10}, Qt::LeftButton, Qt::LeftButton);
        Send(&panel, QEvent::MouseButtonRelease, {500, 10}, Qt::LeftButton, Qt::NoButton);  // outside
        QCOMPARE(r.Events, (std::vector<std::string>{"press1", "drag0", "click1", "release1", "move0", "press1", "release1"}));
        QCOMPARE(r.Modifiers[0], 16);  // the left button's bit
    }

    void rightClickIsMetaAndItsReleaseThePopupTrigger() {
        TBeanPanel panel;
        panel.resize(100, 50);
        panel.EnableEvents(AWT_MOUSE_EVENT_MASK);
        Recorder r;
        r.Attach(panel);
        Send(&panel, QEvent::MouseButtonPress, {5, 5}, Qt::RightButton, Qt::RightButton);
        Send(&panel, QEvent::MouseButtonRelease, {5, 5}, Qt::RightButton, Qt::NoButton);
        Send(&panel, QEvent::MouseButtonDblClick, {5, 5}, Qt::MiddleButton, Qt::MiddleButton);
        QCOMPARE(r.Events, (std::vector<std::string>{"press1", "click1", "release1", "press2"}));
        for (int i = 0; i < 3; ++i) QVERIFY(r.Modifiers[i] & META_MASK);
        QCOMPARE(r.Popup, (std::vector<bool>{false, true, true, false}));
        QVERIFY(r.Modifiers[3] & ALT_MASK);  // the middle button is alt
    }

    void keysFocusAndTheFocusState() {
        TScrollPane pane;
        pane.resize(80, 80);
        std::vector<int> keys;
        pane.FOnKeyPressed = [&](const IntfRef<IKeyEvent>& e) { keys.push_back(e->GetKeyCode()); };
        pane.FOnKeyTyped = [&](const IntfRef<IKeyEvent>& e) { keys.push_back(-static_cast<int>(e->GetKeyChar())); };
        QTest::keyClick(&pane, Qt::Key_Down);
        QTest::keyClick(&pane, Qt::Key_B);
        QCOMPARE(keys, (std::vector<int>{40, 66, -'b'}));
        QCOMPARE(pane.FocusState(), isInactive);
        QFocusEvent in(QEvent::FocusIn);
        QCoreApplication::sendEvent(&pane, &in);
        QCOMPARE(pane.FocusState(), isFocused);
        QCOMPARE(VirtualKeyOf(Qt::Key_Plus, true), 107);
        TTextField field;
        field.SetInsets(TInsets(3, 0, 3, 0));
        QCOMPARE(field.textMargins().left(), 3);
    }

    void scrollBoxBorderFramesTheViewportUnlessNone() {
        TScrollPane pane;
        pane.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        pane.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        pane.resize(100, 80);
        pane.SetContentSize(300, 200);
        pane.show();
        QCOMPARE(pane.GetBorderStyle(), bsSingle);
        int frame = pane.frameWidth();
        QVERIFY(frame > 0);
        QCOMPARE(pane.GetViewportSize().Width, 100 - 2 * frame);
        QCOMPARE(pane.horizontalScrollBar()->maximum(), 300 - (100 - 2 * frame));
        // Without a border the viewport takes the whole box, and the scroll
        // range follows at once.
        pane.SetBorderStyle(bsNone);
        QCOMPARE(pane.frameWidth(), 0);
        QCOMPARE(pane.GetViewportSize().Width, 100);
        QCOMPARE(pane.GetViewportSize().Height, 80);
        QCOMPARE(pane.horizontalScrollBar()->maximum(), 200);
        QCOMPARE(pane.verticalScrollBar()->maximum(), 120);
        QCOMPARE(pane.verticalScrollBar()->pageStep(), 80);
        pane.SetBorderStyle(bsSingle);
        QCOMPARE(pane.frameWidth(), frame);
        QCOMPARE(pane.GetViewportSize().Height, 80 - 2 * frame);
        QCOMPARE(pane.verticalScrollBar()->maximum(), 200 - (80 - 2 * frame));
    }

    void treeViewPaintsClicksAndLaysOutThroughTheLoop() {
        auto model = Make<TBasicTreeContainer>();
        auto root = model->SetRoot(Make<TTextObject>(u"root"));
        for (int i = 0; i < 30; ++i) model->AddChild(root, Make<TTextObject>(Str("child " + std::to_string(i))));
        TTreeViewWidget w;
        w.resize(200, 120);
        w.View().SetViewManager(Make<TBasicViewManager>(Make<TFocusableItemPainter>(Make<TSelectableTextItemPainter>())));
        w.View().SetModel(model);
        w.View().Expand(root);
        w.show();
        QCoreApplication::sendPostedEvents();
        QCOMPARE(w.View().LineCount(), 31);
        QVERIFY(w.verticalScrollBar()->maximum() > 0);  // the deferred layout set the range
        int rowH = w.View().FirstNode()->FItemRect.Height;
        QVERIFY(rowH > 0);
        // A click on the third row's item moves the subfocus there.
        TNodeState* third = w.View().HitTestLine(2);
        QPoint at(third->FItemRect.Left + 2, third->FItemRect.Top + 2);
        Send(w.viewport(), QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton);
        QCOMPARE(w.View().SubfocusNode(), third);
        QImage img(200, 120, QImage::Format_RGB32);
        img.fill(Qt::black);
        w.viewport()->render(&img);
        QColor highlight = w.palette().color(QPalette::Active, QPalette::Highlight);
        QColor inactive = w.palette().color(QPalette::Active, QPalette::Button);
        QColor row(img.pixel(third->FItemRect.Left + third->FItemRect.Width - 2, third->FItemRect.Top + rowH / 2));
        QVERIFY(row == highlight || row == inactive);  // selected, with or without the focus
        QCOMPARE(QColor(img.pixel(190, 2)), w.palette().color(QPalette::Active, QPalette::Base));
        // A model change arrives as one deferred message.
        model->AddChild(root, Make<TTextObject>(u"late"));
        QVERIFY(w.View().Mailbox().IsPending(DeferRecalcVisibleMsg));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(w.View().LineCount(), 32);
    }

    void anExceptionInPaintReachesTheBridge() {
        std::vector<std::string> caught;
        auto old = SetExceptionHandler([&](TObject*, std::exception_ptr e) { caught.push_back(ExceptionMessage(e)); });
        auto model = Make<TBasicTreeContainer>();
        model->SetRoot(Make<TTextObject>(u"root"));
        TTreeViewWidget w;
        w.resize(100, 60);
        w.View().SetViewManager(Make<TBasicViewManager>(Make<TThrowingPainter>()));
        w.View().SetModel(model);
        w.show();
        QCoreApplication::sendPostedEvents();
        QImage img(100, 60, QImage::Format_RGB32);
        w.viewport()->render(&img);
        SetExceptionHandler(old);
        QVERIFY(!caught.empty());
        QCOMPARE(caught.front(), std::string("painter failed"));
    }
};

QTEST_MAIN(PeerTest)
#include "qt_peers.moc"
