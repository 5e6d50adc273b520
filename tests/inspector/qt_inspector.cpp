// The inspector over real widgets on the offscreen platform: the meta-object
// property family (values, value lists, flags, sub-properties, references,
// revert, defaults, destroyed objects) and the inspector control (editing,
// refused values, the exception bridge, drop-downs, divider drag, hints).
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include "foundation/ExceptionBridge.h"
#include "inspector/widgets/InspectorControl.h"
#include "inspector/widgets/QtObjectProperties.h"

using namespace ide;

// An object with the kinds of property the adapter must handle.
class Gadget : public QObject {
    Q_OBJECT
    Q_PROPERTY(int level READ level WRITE setLevel RESET resetLevel)
    Q_PROPERTY(int strict READ strict WRITE setStrict)
    Q_PROPERTY(QObject* partner READ partner WRITE setPartner)
    Q_PROPERTY(QString title READ title)
public:
    int level() const { return FLevel; }
    void setLevel(int v) { FLevel = v; }
    void resetLevel() { FLevel = 7; }
    int strict() const { return FStrict; }
    void setStrict(int v) {
        if (v < 0) throw Exception("Negative values are not allowed");
        FStrict = v;
    }
    QObject* partner() const { return FPartner; }
    void setPartner(QObject* p) { FPartner = p; }
    QString title() const { return QStringLiteral("fixed"); }

private:
    int FLevel = 7;
    int FStrict = 1;
    QObject* FPartner = nullptr;
};

namespace {
String S(const char* s) { return Str(s); }

IntfRef<IProperty> Find(const std::vector<IntfRef<IProperty>>& props, const char* name) {
    for (auto& p : props)
        if (p->GetName() == S(name)) return p;
    return nullptr;
}

std::vector<IntfRef<IProperty>> Children(const IntfRef<IProperty>& p) {
    std::vector<IntfRef<IProperty>> r;
    p->GetProperties([&](const IntfRef<IProperty>& c) { r.push_back(c); });
    return r;
}

std::vector<String> Values(const IntfRef<IProperty>& p) {
    std::vector<String> r;
    p->GetValues([&](const String& v) { r.push_back(v); });
    return r;
}

std::string Refusal(const IntfRef<IProperty>& p, const char* text) {
    try {
        p->SetValue(S(text));
    } catch (const std::exception& e) {
        return e.what();
    }
    return "accepted";
}

// Records what reaches the exception bridge.
struct BridgeRecorder {
    std::vector<std::string> Messages;
    TExceptionHandler Old;
    BridgeRecorder() {
        Old = SetExceptionHandler([this](TObject*, std::exception_ptr e) { Messages.push_back(ExceptionMessage(e)); });
    }
    ~BridgeRecorder() { SetExceptionHandler(Old); }
};
}  // namespace

class TestInspector : public QObject {
    Q_OBJECT
private slots:
    void metaValuesConvertAndRefuseWithTheLibraryMessages();
    void enumsFlagsFontsAndRectanglesGiveListsAndSubProperties();
    void referencesRevertDefaultsAndDestroyedObjects();
    void editingInTheControlChangesTheLiveWidget();
    void refusedValuesAndThrowingSettersGoToTheBridge();
    void valueListDropsDownAndSurvivesAReset();
    void dividerDragAndClippedValueHints();
    void dirtyRowsUpdateOnceWhenInputIsQuiet();
};

void TestInspector::metaValuesConvertAndRefuseWithTheLibraryMessages() {
    QPushButton button(QStringLiteral("Press"));
    auto snap = std::make_shared<TQtSnapshot>();
    auto props = QtObjectProperties(&button, snap);
    QVERIFY(props.size() > 30);
    // Sorted by name, case-insensitively, with "parent" among them.
    for (size_t i = 1; i < props.size(); ++i)
        QVERIFY(WideLowerCase(props[i - 1]->GetName()) <= WideLowerCase(props[i]->GetName()));
    QVERIFY(Find(props, "parent"));

    auto text = Find(props, "text");
    QCOMPARE(text->GetValue(), S("Press"));
    text->SetValue(u"Go");
    QCOMPARE(button.text(), QStringLiteral("Go"));

    auto minWidth = Find(props, "minimumWidth");
    QCOMPARE(Refusal(minWidth, "abc"), std::string("Value must be a valid integer number"));
    QCOMPARE(button.minimumWidth(), 0);
    minWidth->SetValue(u" 40 ");
    QCOMPARE(button.minimumWidth(), 40);

    auto enabled = Find(props, "enabled");
    QCOMPARE(Values(enabled), (std::vector<String>{u"False", u"True"}));
    QVERIFY(enabled->GetAttributes().Contains(paValueList));
    QCOMPARE(Refusal(enabled, "maybe"), std::string("Invalid enumeration value"));
    enabled->SetValue(u"false");
    QVERIFY(!button.isEnabled());

    // Read-only properties: no writer, read-only attribute, refused.
    auto visible = Find(props, "visible");
    QVERIFY(visible->GetPropInfo()->HasWriter);
    auto fullScreen = Find(props, "fullScreen");
    QVERIFY(!fullScreen->GetPropInfo()->HasWriter);
    QVERIFY(fullScreen->GetAttributes().Contains(paReadOnly));
    String ignored;
    QVERIFY(!fullScreen->GetEditValue(ignored));
}

void TestInspector::enumsFlagsFontsAndRectanglesGiveListsAndSubProperties() {
    QLabel label(QStringLiteral("Label"));
    label.setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    auto snap = std::make_shared<TQtSnapshot>();
    auto props = QtObjectProperties(&label, snap);

    auto policy = Find(props, "focusPolicy");
    const auto keys = Values(policy);
    QVERIFY(std::find(keys.begin(), keys.end(), S("StrongFocus")) != keys.end());
    QVERIFY(policy->GetAttributes().Contains(paSortList));
    policy->SetValue(u"StrongFocus");
    QCOMPARE(label.focusPolicy(), Qt::StrongFocus);
    QCOMPARE(Refusal(policy, "Sideways"), std::string("Invalid enumeration value"));

    auto align = Find(props, "alignment");
    QCOMPARE(align->GetValue(), S("AlignLeft|AlignVCenter"));
    QVERIFY(align->GetAttributes().Contains(paSubProperties));
    auto bits = Children(align);
    auto right = Find(bits, "AlignRight");
    QVERIFY(right);
    QCOMPARE(right->GetValue(), S("False"));
    right->SetValue(u"True");
    QVERIFY(label.alignment() & Qt::AlignRight);
    Find(bits, "AlignLeft")->SetValue(u"False");
    QCOMPARE(align->GetValue(), S("AlignRight|AlignVCenter"));
    align->SetValue(u"AlignHCenter|AlignTop");
    QCOMPARE(label.alignment(), Qt::AlignHCenter | Qt::AlignTop);

    auto font = Find(props, "font");
    auto parts = Children(font);
    QCOMPARE(parts.size(), size_t(6));
    Find(parts, "bold")->SetValue(u"True");
    QVERIFY(label.font().bold());
    QCOMPARE(Find(parts, "bold")->GetValue(), S("True"));
    QCOMPARE(Refusal(Find(parts, "pointSize"), "big"), std::string("Value must be a valid integer number"));

    auto geometry = Find(props, "geometry");
    label.setGeometry(10, 20, 100, 30);
    QCOMPARE(geometry->GetValue(), S("10, 20, 100, 30"));
    Find(Children(geometry), "width")->SetValue(u"120");
    QCOMPARE(label.width(), 120);
    QCOMPARE(label.x(), 10);
    geometry->SetValue(u"1, 2, 50, 25");
    QCOMPARE(label.geometry(), QRect(1, 2, 50, 25));
    QCOMPARE(Refusal(geometry, "1, 2"), std::string("Invalid property value"));
    auto maxSize = Find(props, "maximumSize");
    QCOMPARE(Children(maxSize).size(), size_t(2));
}

void TestInspector::referencesRevertDefaultsAndDestroyedObjects() {
    QWidget frame;
    auto* gadget = new Gadget;
    gadget->setParent(&frame);
    gadget->setPartner(&frame);
    auto snap = std::make_shared<TQtSnapshot>();
    auto props = QtObjectProperties(gadget, snap);

    auto parent = Find(props, "parent");
    auto ref = Supports<IPropertyRefTarget>(parent);
    QVERIFY(ref);
    QCOMPARE(ref->GetRefTarget(), static_cast<const void*>(&frame));
    QVERIFY(parent->GetAttributes().Contains(paSubProperties));
    QVERIFY(Find(Children(parent), "windowTitle"));  // the frame's own properties
    auto partner = Find(props, "partner");
    QCOMPARE(Supports<IPropertyRefTarget>(partner)->GetRefTarget(), static_cast<const void*>(&frame));
    QCOMPARE(Refusal(partner, "x"), std::string("Invalid property value"));

    // Revert and the snapshot of defaults.
    auto level = Find(props, "level");
    QVERIFY(level->GetAttributes().Contains(paRevertable));
    QVERIFY(!Find(props, "strict")->GetAttributes().Contains(paRevertable));
    auto def = Supports<IPropertyDefaultQuery>(level);
    QVERIFY(def->GetIsDefault());
    level->SetValue(u"3");
    QVERIFY(!def->GetIsDefault());
    level->Revert();
    QCOMPARE(gadget->level(), 7);
    QVERIFY(def->GetIsDefault());
    QVERIFY(Find(props, "title")->GetAttributes().Contains(paReadOnly));

    // The object goes while its rows are held.
    delete gadget;
    QCOMPARE(level->GetValue(), String());
    QCOMPARE(Refusal(level, "1"), std::string("The object no longer exists"));
    QVERIFY(Children(parent).empty());
    QVERIFY(!level->ValueAvailable());
}

void TestInspector::editingInTheControlChangesTheLiveWidget() {
    QWidget window;
    auto* layout = new QHBoxLayout(&window);
    auto* label = new QLabel(QStringLiteral("Hello"));
    auto* insp = new TInspectorControl;
    layout->addWidget(label);
    layout->addWidget(insp);
    window.resize(700, 500);
    window.show();
    insp->SetObject(label);
    TInspListBox& box = insp->Box();
    QVERIFY(box.Count() > 30);
    QVERIFY(box.Middle() > 0);

    QVERIFY(box.SetSelectedPropertyPath(u"text") >= 0);
    QVERIFY(insp->Edit()->isVisible());
    QCOMPARE(insp->Edit()->text(), QStringLiteral("Hello"));
    QCOMPARE(insp->Edit()->y(), insp->RowRect(box.ItemIndex()).y() + 1);
    insp->Edit()->setFocus();
    insp->Edit()->selectAll();
    QTest::keyClicks(insp->Edit(), QStringLiteral("World"));
    QCOMPARE(label->text(), QStringLiteral("Hello"));  // not written before Enter
    QTest::keyClick(insp->Edit(), Qt::Key_Return);
    QCOMPARE(label->text(), QStringLiteral("World"));

    // font.bold: open the font row, step to bold, type through the value list.
    const int fontRow = box.SetSelectedPropertyPath(u"font");
    box.AdjustItem(fontRow);
    QVERIFY(box.GetPropItem(fontRow)->IsExpanded());
    const int boldRow = box.FindItem(u"font.bold");
    QVERIFY(boldRow > fontRow);
    box.SelectItem(boldRow);
    box.EditFocus();
    insp->Edit()->selectAll();
    QTest::keyClicks(insp->Edit(), QStringLiteral("t"));
    QCOMPARE(insp->Edit()->text(), QStringLiteral("True"));  // completed
    QTest::keyClick(insp->Edit(), Qt::Key_Return);
    QVERIFY(label->font().bold());

    // Escape writes back what the row had when it was entered.
    box.SelectItem(box.FindItem(u"text"));
    insp->Edit()->selectAll();
    QTest::keyClicks(insp->Edit(), QStringLiteral("Oops"));
    QTest::keyClick(insp->Edit(), Qt::Key_Escape);
    QCOMPARE(insp->Edit()->text(), QStringLiteral("World"));
    QCOMPARE(label->text(), QStringLiteral("World"));

    // Down moves to the next row after committing.
    const int before = box.ItemIndex();
    QTest::keyClick(insp->Edit(), Qt::Key_Down);
    QCOMPARE(box.ItemIndex(), before + 1);
}

void TestInspector::refusedValuesAndThrowingSettersGoToTheBridge() {
    BridgeRecorder bridge;
    QWidget window;
    auto* gadget = new Gadget;
    gadget->setParent(&window);
    auto* insp = new TInspectorControl(&window);
    insp->resize(400, 300);
    window.show();
    insp->SetObject(gadget);
    TInspListBox& box = insp->Box();

    const int row = box.SetSelectedPropertyPath(u"level");
    insp->Edit()->setFocus();
    insp->Edit()->selectAll();
    QTest::keyClicks(insp->Edit(), QStringLiteral("abc"));
    QTest::keyClick(insp->Edit(), Qt::Key_Return);
    QCOMPARE(bridge.Messages, (std::vector<std::string>{"Value must be a valid integer number"}));
    QCOMPARE(gadget->level(), 7);
    QCOMPARE(box.ItemIndex(), row);
    QCOMPARE(insp->Edit()->text(), QStringLiteral("7"));

    // A setter that throws: the message reaches the bridge, not the event loop.
    box.SelectItem(box.FindItem(u"strict"));
    insp->Edit()->selectAll();
    QTest::keyClicks(insp->Edit(), QStringLiteral("-5"));
    QTest::keyClick(insp->Edit(), Qt::Key_Return);
    QCOMPARE(bridge.Messages.back(), std::string("Negative values are not allowed"));
    QCOMPARE(gadget->strict(), 1);

    // A click on another row while the text is refused is dropped.
    insp->Edit()->selectAll();
    QTest::keyClicks(insp->Edit(), QStringLiteral("x"));
    const int strictRow = box.ItemIndex();
    const QRect other = insp->RowRect(strictRow == 0 ? 1 : 0);
    QTest::mouseClick(insp->viewport(), Qt::LeftButton, {}, QPoint(20, other.center().y()));
    QCOMPARE(box.ItemIndex(), strictRow);
    QCOMPARE(bridge.Messages.size(), size_t(3));

    // The cycle guard over live objects: the gadget's parent is the window,
    // whose "defaultWidget" is the gadget, whose parent is the window again.
    window.setProperty("defaultWidget", QVariant::fromValue<QObject*>(gadget));
    box.Reset();
    const int parentRow = box.FindItem(u"parent");
    QVERIFY(box.GetPropItem(parentRow)->IsExpandable());
    box.AdjustItem(parentRow);
    const int widgetRow = box.FindItem(u"parent.defaultWidget");
    QVERIFY(widgetRow > parentRow);
    QVERIFY(box.GetPropItem(widgetRow)->IsExpandable());
    box.AdjustItem(widgetRow);
    const int backRow = box.FindItem(u"parent.defaultWidget.parent");
    QVERIFY(backRow > widgetRow);
    QVERIFY(!box.GetPropItem(backRow)->IsExpandable());
    const int rows = box.Count();
    box.AdjustItem(backRow);
    QCOMPARE(box.Count(), rows);
}

void TestInspector::valueListDropsDownAndSurvivesAReset() {
    QWidget window;
    auto* edit = new QLineEdit(&window);
    auto* insp = new TInspectorControl(&window);
    insp->setGeometry(0, 40, 400, 300);
    window.resize(400, 360);
    window.show();
    insp->SetObject(edit);
    TInspListBox& box = insp->Box();
    box.SetSelectedPropertyPath(u"focusPolicy");
    QVERIFY(insp->ListButton()->isVisible());
    insp->Edit()->setFocus();
    QTest::keyClick(insp->Edit(), Qt::Key_Down, Qt::AltModifier);
    QVERIFY(box.IsListButtonDropped());
    QListWidget* list = insp->ListButton()->ListWidget();
    QVERIFY(list->isVisible());
    QVERIFY(list->count() >= 5);
    QCOMPARE(list->currentItem()->text(), QStringLiteral("StrongFocus"));
    QTest::keyClick(insp->ListButton(), Qt::Key_N);
    QTest::keyClick(insp->ListButton(), Qt::Key_Return);
    QVERIFY(!box.IsListButtonDropped());
    QCOMPARE(edit->focusPolicy(), Qt::NoFocus);

    // The properties vanish while the list is open: closed, nothing written.
    QTest::keyClick(insp->Edit(), Qt::Key_Down, Qt::AltModifier);
    QVERIFY(box.IsListButtonDropped());
    QLabel other(QStringLiteral("other"));
    insp->SetObject(&other);
    QVERIFY(!box.IsListButtonDropped());
    QCOMPARE(edit->focusPolicy(), Qt::NoFocus);

    // The shown object is destroyed: the rows go, nothing crashes.
    {
        auto* doomed = new QLabel(QStringLiteral("doomed"));
        insp->SetObject(doomed);
        box.SetSelectedPropertyPath(u"text");
        delete doomed;
        QCOMPARE(insp->Edit()->text(), QStringLiteral("doomed"));
        insp->viewport()->repaint();
        QTRY_COMPARE(box.Count(), 0);
    }
}

void TestInspector::dividerDragAndClippedValueHints() {
    QLabel label(QStringLiteral("A label with a text long enough to be clipped in the value column"));
    TInspectorControl insp;
    insp.resize(300, 400);
    insp.show();
    insp.SetObject(&label);
    TInspListBox& box = insp.Box();
    const int middle = box.Middle();
    const int y = insp.RowRect(2).center().y();
    QTest::mousePress(insp.viewport(), Qt::LeftButton, {}, QPoint(middle + 1, y));
    QCOMPARE(box.TrackMode(), tmResize);
    QMouseEvent move(QEvent::MouseMove, QPointF(middle + 41, y), QPointF(insp.viewport()->mapToGlobal(QPoint(middle + 41, y))),
                     Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(insp.viewport(), &move);
    QCOMPARE(box.Middle(), middle + 40);
    QTest::mouseRelease(insp.viewport(), Qt::LeftButton, {}, QPoint(middle + 41, y));
    QCOMPARE(box.TrackMode(), tmNone);
    QVERIFY(box.ItemIndex() != 2);  // the press on the divider selected nothing

    const int textRow = box.FindItem(u"text");
    box.SelectItem(0);
    box.ScrollItemIndexIntoView();
    box.SetTopIndex(std::max(0, textRow - 3));
    const QRect r = insp.RowRect(textRow);
    TInspHint hint = insp.HintAt(QPoint(box.Middle() + 30, r.center().y()));
    QVERIFY(hint.Show);
    QCOMPARE(hint.Text, label.text().toStdU16String());
    QVERIFY(!insp.HintAt(QPoint(box.Middle() + 30, insp.RowRect(box.FindItem(u"enabled")).center().y())).Show);
    box.SelectItem(textRow);
    QVERIFY(!insp.HintAt(QPoint(box.Middle() + 30, insp.RowRect(textRow).center().y())).Show);
}

void TestInspector::dirtyRowsUpdateOnceWhenInputIsQuiet() {
    QLabel label(QStringLiteral("x"));
    QLineEdit elsewhere;
    TInspectorControl insp;
    insp.resize(300, 300);
    insp.show();
    elsewhere.show();
    insp.SetObject(&label);
    TInspListBox& box = insp.Box();
    int updates = 0;
    box.OnUpdateDirtyData = [&](TCustomPropListBox*) { ++updates; };
    QCoreApplication::processEvents();
    box.GetPropItem(1)->SetDirty(true);
    box.GetPropItem(2)->SetDirty(true);
    insp.viewport()->repaint();  // two dirty rows: one message
    insp.viewport()->repaint();
    QTest::keyClick(&elsewhere, Qt::Key_A);  // input while it waits
    QCoreApplication::processEvents();
    QCOMPARE(updates, 0);  // went back to the queue
    QTRY_COMPARE(updates, 1);
    QCoreApplication::processEvents();
    QCOMPARE(updates, 1);
}

QTEST_MAIN(TestInspector)
#include "qt_inspector.moc"
