// Gallery page: a vector model of strings shown in a list that listens to the
// model's events. Buttons insert, remove, change and select; the log shows
// every event as a listener hears it; a check box makes a listener veto
// changes of the focused item.
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QVBoxLayout>
#include <functional>

#include "Gallery.h"
#include "GalleryWidgets.h"
#include "model/IDEVectorImpl.h"

using namespace ide;

namespace {

QString Q(const String& s) { return QString::fromStdU16String(s); }

// Forwards every event it hears to the page.
class TPageListener : public TInterfacedObject,
                      public virtual IVectorModelListener,
                      public virtual IVectorSelectionListener,
                      public virtual IVectorSubfocusListener {
public:
    std::function<void(const QString&, const IntfRef<IVectorModelEvent>&)> OnModel;
    std::function<void(const IntfRef<IVectorSelectionEvent>&)> OnSelection;
    std::function<void(const QString&, int)> OnSubfocus;

    void ModelStructureChanged(const IntfRef<IVectorModelEvent>& E) override { OnModel("ModelStructureChanged", E); }
    void ModelContentChanged(const IntfRef<IVectorModelEvent>& E) override { OnModel("ModelContentChanged", E); }
    void SelectionItemChanged(const IntfRef<IVectorSelectionEvent>& E) override { OnSelection(E); }
    void SelectionRangeChanged(const IntfRef<IVectorSelectionEvent>& E) override { OnSelection(E); }
    void SelectionChanged(const IntfRef<IVectorSelectionEvent>& E) override { OnSelection(E); }
    void SubfocusChanging(const IntfRef<IVectorSubfocusEvent>& E) override {
        OnSubfocus("SubfocusChanging", E->GetLocation());
    }
    void SubfocusChanged(const IntfRef<IVectorSubfocusEvent>& E) override {
        OnSubfocus("SubfocusChanged", E->GetLocation());
    }
};

// Refuses every subfocus change while its switch is on.
class TVetoListener : public TVectorSubfocusAdapter {
public:
    bool Enabled = false;
    std::function<void(int)> OnVeto;
    void SubfocusChanging(const IntfRef<IVectorSubfocusEvent>& E) override {
        if (!Enabled) return;
        OnVeto(E->GetLocation());
        throw EVetoException("vetoed");
    }
};

class VectorModelPage : public QWidget {
public:
    explicit VectorModelPage(QWidget* parent) : QWidget(parent) {
        auto* layout = new QHBoxLayout(this);
        auto* left = new QVBoxLayout;
        list_ = new QListWidget;
        left->addWidget(new QLabel("Items of the vector model"));
        left->addWidget(list_);
        left->addLayout(gallery::ButtonRow(this, {{"Insert", &VectorModelPage::Insert},
                                                  {"Remove", &VectorModelPage::RemoveCurrent},
                                                  {"Change", &VectorModelPage::Change},
                                                  {"Touch", &VectorModelPage::Touch},
                                                  {"Select next", &VectorModelPage::SelectNext}}));
        veto_ = new QCheckBox("A listener vetoes focus changes");
        left->addWidget(veto_);
        layout->addLayout(left, 1);

        log_ = gallery::AddEventLog(layout);

        model_ = Make<TBasicVectorContainer>();
        selection_ = Make<TSingleVectorSelection>();
        listener_ = Make<TPageListener>();
        listener_->OnModel = [this](const QString& method, const IntfRef<IVectorModelEvent>& E) {
            Log(QString("%1: change %2, location %3").arg(method, gallery::ChangeCode(E->GetChange())).arg(E->GetLocation()));
            if (E->GetId() == mcStructure) Rebuild();
            else if (auto* item = list_->item(E->GetLocation())) item->setText(TextAt(E->GetLocation()));
        };
        listener_->OnSelection = [this](const IntfRef<IVectorSelectionEvent>& E) {
            Log(QString("Selection: change %1").arg(gallery::ChangeCode(E->GetChange())));
            ShowSelection();
        };
        listener_->OnSubfocus = [this](const QString& method, int location) {
            Log(QString("%1: location %2").arg(method).arg(location));
        };
        veto_listener_ = Make<TVetoListener>();
        veto_listener_->OnVeto = [this](int location) { Log(QString("  vetoed the move to %1").arg(location)); };
        connect(veto_, &QCheckBox::toggled, this, [this](bool on) { veto_listener_->Enabled = on; });

        model_->AddModelListener(listener_);
        selection_->AddSelectionListener(listener_);
        subfocus_.Add(listener_);
        subfocus_.Add(veto_listener_);

        for (const char16_t* s : {u"alpha", u"beta", u"gamma", u"delta"}) model_->AddItem(Make<TTextObject>(s));
        SelectNext();
        Change();
        veto_->setChecked(true);
        SelectNext();
    }

    ~VectorModelPage() override {
        model_->RemoveModelListener(listener_);
        selection_->RemoveSelectionListener(listener_);
    }

private:
    QString TextAt(int i) {
        auto s = Supports<IStringObject>(model_->Get(i));
        return s ? Q(s->GetString()) : QString("(nil)");
    }
    void Rebuild() {
        list_->clear();
        for (int i = 0; i < model_->GetCount(); ++i) list_->addItem(TextAt(i));
        ShowSelection();
    }
    void ShowSelection() {
        for (int i = 0; i < list_->count(); ++i) list_->item(i)->setSelected(selection_->Contains(i));
    }
    int Current() const {
        auto all = selection_->GetAll();
        return all->GetCount() ? As<IIndexObject>(all->Get(0))->GetIndex() : -1;
    }
    void Log(const QString& line) { log_->appendPlainText(line); }

    void Insert() {
        int at = std::max(Current(), 0);
        model_->InsertItem(std::min(at, model_->GetCount()), Make<TTextObject>(u"item " + Str(std::to_string(++n_))));
    }
    void RemoveCurrent() {
        int at = Current();
        if (at < 0 || at >= model_->GetCount()) return;
        model_->Remove(at);
        selection_->RemoveAll();
    }
    void Change() {
        int at = Current();
        if (at < 0 || at >= model_->GetCount()) return;
        model_->Put(at, Make<TTextObject>(u"changed " + Str(std::to_string(++n_))));
    }
    void Touch() {
        int at = Current();
        if (at >= 0) model_->Touched(at);
    }
    void SelectNext() {
        if (model_->GetCount() == 0) return;
        int next = (Current() + 1) % model_->GetCount();
        IntfRef<IInterface> source(model_);
        if (!subfocus_.VetoableDispatch(Make<TVectorSubfocusEvent>(source, sfeChanging, next))) {
            Log("  focus stays where it was");
            return;
        }
        selection_->Add(next);
        subfocus_.Dispatch(Make<TVectorSubfocusEvent>(source, sfeChanged, next));
    }

    QListWidget* list_;
    QPlainTextEdit* log_;
    QCheckBox* veto_;
    IntfRef<TBasicVectorContainer> model_;
    IntfRef<TSingleVectorSelection> selection_;
    IntfRef<TPageListener> listener_;
    IntfRef<TVetoListener> veto_listener_;
    TEventMulticaster subfocus_;
    int n_ = 0;
};

gallery::GalleryPage page(10, "Vector model", [](QWidget* parent) -> QWidget* { return new VectorModelPage(parent); });

}  // namespace
