// The event vocabulary's components over real widgets, and component events
// raised with them.
#include <QtTest/QtTest>
#include <QWidget>

#include "foundation/IDEUIEvent.h"
#include "platform/IDEFixups.h"

using namespace ide;

class KomponentTest : public QObject {
    Q_OBJECT
private slots:
    void boundsParentAndVisibility() {
        QWidget top;
        TWindow window(&top);
        QWidget panelWidget(&top);
        TContainer panel(&panelWidget);
        QWidget plainWidget(&panelWidget);  // no component of its own
        QWidget buttonWidget(&plainWidget);
        TKomponent button(&buttonWidget);
        buttonWidget.setGeometry(5, 6, 70, 20);

        QCOMPARE(button.GetBounds(), Rectangle(5, 6, 70, 20));
        QCOMPARE(button.GetParent(), static_cast<TContainer*>(&panel));  // skips the plain widget
        QCOMPARE(panel.GetParent(), static_cast<TContainer*>(&window));
        QCOMPARE(window.GetParent(), static_cast<TContainer*>(nullptr));
        QCOMPARE(TKomponent::FromWidget(&buttonWidget), &button);

        top.show();
        button.SetVisible(false);
        QVERIFY(buttonWidget.isHidden());
        button.SetVisible(true);
        QVERIFY(!buttonWidget.isHidden());
        button.RequestFocus();  // does nothing in the base
    }

    void ownedComponentsDieWithTheirOwner() {
        QWidget w;
        auto* form = new TComponent(nullptr);
        auto* child = new TKomponent(&w, form);
        child->SetName(u"Button1");
        QCOMPARE(form->FindComponent(u"button1"), static_cast<TComponent*>(child));
        QCOMPARE(TKomponent::FromWidget(&w), child);
        delete form;  // frees the component; the widget stays with its parent
        QCOMPARE(TKomponent::FromWidget(&w), static_cast<TKomponent*>(nullptr));
    }

    void componentEventsWrapTheirSource() {
        QWidget w;
        TContainer container(&w);
        TKomponent child(nullptr);
        auto e = Make<TContainerEvent>(&container, COMPONENT_ADDED, &child);
        QCOMPARE(e->GetContainer(), &container);
        QCOMPARE(e->GetChild(), &child);
        QCOMPARE(e->GetComponent(), static_cast<TKomponent*>(&container));
        // The source is a holder of the control, not the control.
        auto holder = dynamic_cast<TTarnObject*>(e->GetSource().get());
        QVERIFY(holder != nullptr);
        QCOMPARE(holder->GetObject(), static_cast<TObject*>(&container));
        // Each event wraps its source anew: two events of one control have
        // different sources, each holding the same control.
        auto again = Make<TComponentEvent>(&container, COMPONENT_MOVED);
        QVERIFY(!SameObject(again->GetSource(), e->GetSource()));
        QCOMPARE(dynamic_cast<TTarnObject*>(again->GetSource().get())->GetObject(), static_cast<TObject*>(&container));

        auto focus = TFocusEvent::Create2(&child, FOCUS_GAINED);
        QVERIFY(!focus->IsTemporary());
        QCOMPARE(focus->GetComponent(), &child);
        TWindow window(nullptr);
        auto we = Make<TWindowEvent>(&window, 200);
        QCOMPARE(we->GetWindow(), &window);
    }
};

QTEST_MAIN(KomponentTest)
#include "qt_komponent.moc"
