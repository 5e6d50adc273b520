// Gallery page of the object inspector: a live frame with a button, a label
// and a line edit beside an inspector showing the real properties of one of
// them. Editing text, font.bold, alignment or focusPolicy changes the live
// widget; a refused value shows its message under the frame; the "parent"
// reference leads to the frame, whose "defaultWidget" leads back to the
// button, where the cycle guard stops the expansion. The divider drags, and
// values too long for their cell show a hint when the mouse rests on them.
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTimer>
#include <QVBoxLayout>

#include "Gallery.h"
#include "foundation/ExceptionBridge.h"
#include "inspector/widgets/InspectorControl.h"
#include "platform/QtCanvas.h"

namespace {
using namespace ide;

class InspectorPage : public QWidget {
public:
    explicit InspectorPage(QWidget* parent) : QWidget(parent) {
        auto* split = new QSplitter(this);
        auto* outer = new QVBoxLayout(this);
        outer->addWidget(split);

        auto* left = new QWidget;
        auto* leftLayout = new QVBoxLayout(left);
        frame = new QGroupBox(QStringLiteral("Live frame"));
        frame->setObjectName(QStringLiteral("frame"));
        auto* form = new QVBoxLayout(frame);
        button = new QPushButton(QStringLiteral("A push button"));
        button->setObjectName(QStringLiteral("button"));
        label = new QLabel(QStringLiteral("A label whose text is long enough to be clipped in the inspector"));
        label->setObjectName(QStringLiteral("label"));
        label->setWordWrap(true);
        edit = new QLineEdit(QStringLiteral("A line edit"));
        edit->setObjectName(QStringLiteral("edit"));
        form->addWidget(button);
        form->addWidget(label);
        form->addWidget(edit);
        form->addStretch();
        // The frame refers back to the button: following "parent" from the
        // button and then "defaultWidget" comes back to it.
        frame->setProperty("defaultWidget", QVariant::fromValue<QObject*>(button));

        auto* choose = new QComboBox;
        choose->addItems({QStringLiteral("button"), QStringLiteral("label"), QStringLiteral("edit"), QStringLiteral("frame")});
        auto* filter = new QLineEdit;
        filter->setPlaceholderText(QStringLiteral("name filter"));
        auto* tools = new QFormLayout;
        tools->addRow(QStringLiteral("Inspect"), choose);
        tools->addRow(QStringLiteral("Filter"), filter);
        auto* refuse = new QPushButton(QStringLiteral("Type \"abc\" into minimumWidth"));
        message = new QLabel;
        message->setWordWrap(true);
        message->setStyleSheet(QStringLiteral("color: #a00000"));
        leftLayout->addWidget(frame, 1);
        leftLayout->addLayout(tools);
        leftLayout->addWidget(refuse);
        leftLayout->addWidget(new QLabel(QStringLiteral("Last refused value:")));
        leftLayout->addWidget(message);

        inspector = new TInspectorControl;
        split->addWidget(left);
        split->addWidget(inspector);
        split->setStretchFactor(0, 2);
        split->setStretchFactor(1, 3);

        // Refused values and exceptions of setters end here instead of a box.
        SetExceptionHandler([label = QPointer<QLabel>(message)](TObject*, std::exception_ptr e) {
            if (label) label->setText(QString::fromStdString(ExceptionMessage(e)));
        });

        connect(choose, &QComboBox::currentTextChanged, this, [this](const QString& name) {
            inspector->SetObject(findChild<QWidget*>(name));
        });
        connect(filter, &QLineEdit::textChanged, this,
                [this](const QString& text) { inspector->Box().SetFilter(FromQString(text)); });
        connect(refuse, &QPushButton::clicked, this, [this] { TypeRefused(); });

    }

private:
    // Opens parent -> defaultWidget (the button again) -> parent: the last
    // "parent" refers to the frame, as its ancestor row does, so it has no
    // expand box. Also opens the font and selects the text.
    void ShowCycleGuard() {
        TInspListBox& box = inspector->Box();
        box.AdjustItem(TopRow(u"font"));
        box.AdjustItem(TopRow(u"parent"));
        box.AdjustItem(box.FindItem(u"parent.defaultWidget"));
        TypeRefused();
        box.SelectItem(TopRow(u"parent"));
        box.SetTopIndex(std::max(0, TopRow(u"font") - 1));
        box.ShowControls();
    }

    // The row of a top-level property, -1 if none.
    int TopRow(const String& name) {
        TInspListBox& box = inspector->Box();
        for (int i = 0; i < box.Count(); ++i)
            if (box.GetPropItem(i)->ItemLevel() == 0 && AnsiSameText(box.GetPropItem(i)->GetName(), name)) return i;
        return -1;
    }

    void TypeRefused() {
        TInspListBox& box = inspector->Box();
        const int row = TopRow(u"minimumWidth");
        if (row < 0) return;
        const int current = box.ItemIndex();
        box.SelectItem(row);
        inspector->Edit()->selectAll();
        inspector->Edit()->insert(QStringLiteral("abc"));
        box.SetPropValue(true, true);
        box.SelectItem(current);
    }

    void showEvent(QShowEvent* event) override {
        QWidget::showEvent(event);
        if (started) return;
        // The snapshot of defaults is taken now that the frame is laid out.
        started = true;
        inspector->SetObject(button);
        ShowCycleGuard();
    }

    bool started = false;
    QGroupBox* frame;
    QPushButton* button;
    QLabel* label;
    QLineEdit* edit;
    QLabel* message;
    TInspectorControl* inspector;
};

}  // namespace

static gallery::GalleryPage page(50, "Object inspector", [](QWidget* parent) -> QWidget* { return new InspectorPage(parent); });
