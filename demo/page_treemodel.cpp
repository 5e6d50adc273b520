// Gallery page: a tree model edited with buttons and shown in a plain tree
// widget that a graph model listener keeps in step. The container's events go
// through a batching multicaster; the log shows every event as the listener
// hears it, the batch calls it gets, and (while a batch is open) what the
// container raised and the multicaster held back.
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <functional>
#include <unordered_map>

#include "Gallery.h"
#include "GalleryWidgets.h"
#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

// Forwards what it hears to the page.
class TTreePageListener : public TInterfacedObject,
                          public virtual IGraphModelListener,
                          public virtual IBatchUpdate {
public:
    std::function<void(const QString&, const IntfRef<IGraphModelEvent>&)> OnModel;
    std::function<void(const QString&)> OnBatch;

    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override {
        if (OnModel) OnModel("ModelStructureChanged", E);
    }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override {
        if (OnModel) OnModel("ModelContentChanged", E);
    }
    void BeginUpdate() override {
        if (OnBatch) OnBatch("BeginUpdate");
    }
    void EndUpdate() override {
        if (OnBatch) OnBatch("EndUpdate");
    }
};

class TreeModelPage : public QWidget {
public:
    explicit TreeModelPage(QWidget* parent) : QWidget(parent) {
        auto* layout = new QHBoxLayout(this);
        auto* left = new QVBoxLayout;
        left->addWidget(new QLabel("TBasicTreeContainer, shown by a listener"));
        tree_ = new QTreeWidget;
        tree_->setHeaderHidden(true);
        left->addWidget(tree_, 1);
        left->addLayout(gallery::ButtonRow(this, {{"Add child", &TreeModelPage::AddChild},
                                                  {"Add sibling", &TreeModelPage::AddSibling},
                                                  {"Rename", &TreeModelPage::Rename},
                                                  {"Remove", &TreeModelPage::RemoveCurrent}}));
        left->addLayout(gallery::ButtonRow(this, {{"Move up", &TreeModelPage::MoveUp},
                                                  {"Move down", &TreeModelPage::MoveDown},
                                                  {"Begin batch", &TreeModelPage::BeginBatch},
                                                  {"End batch", &TreeModelPage::EndBatch}}));
        depth_ = new QLabel;
        left->addWidget(depth_);
        layout->addLayout(left, 1);

        log_ = gallery::AddEventLog(layout);

        model_ = Make<TBasicTreeContainer>();
        caster_ = Make<TGraphModelMulticaster>();
        listener_ = Make<TTreePageListener>();
        listener_->OnModel = [this](const QString& method, const IntfRef<IGraphModelEvent>& E) {
            Log(QString("%1: change %2 at %3").arg(method, gallery::ChangeCode(E->GetChange()), NameOf(E->GetLocation())));
            if (E->GetId() == mcStructure)
                Rebuild();
            else
                Refresh(E->GetLocation());
        };
        listener_->OnBatch = [this](const QString& method) { Log(method); };
        // Hears the container directly, to show what a batch holds back.
        raw_ = Make<TTreePageListener>();
        raw_->OnModel = [this](const QString&, const IntfRef<IGraphModelEvent>& E) {
            if (caster_->GetUpdateCount() > 0)
                Log(QString("    held back: change %1 at %2").arg(gallery::ChangeCode(E->GetChange()), NameOf(E->GetLocation())));
        };
        model_->AddModelListener(raw_);
        model_->AddModelListener(caster_);
        caster_->Add(listener_);

        // A few nodes, then a batch, so that the page opens with content.
        auto root = model_->AddChild(nullptr, Text("Project"));
        auto src = model_->AddChild(root, Text("src"));
        model_->AddChild(src, Text("main.cpp"));
        auto treeCpp = model_->AddChild(src, Text("tree.cpp"));
        auto docs = model_->AddChild(root, Text("docs"));
        model_->AddChild(docs, Text("readme.md"));
        BeginBatch();
        auto tests = model_->AddChild(root, Text("tests"));
        model_->AddChild(tests, Text("test_tree.cpp"));
        model_->Put(docs, Text("documents"));
        model_->Touched(src);
        EndBatch();
        Select(treeCpp);
        MoveUp();
        Select(tests);
    }

    ~TreeModelPage() override {
        caster_->Remove(listener_);
        model_->RemoveModelListener(caster_);
        model_->RemoveModelListener(raw_);
        items_.clear();
    }

private:
    static IntfRef<IInterface> Text(const QString& s) { return Make<TTextObject>(s.toStdU16String()); }

    // The node's text as the tree shows it.
    QString Label(const IntfRef<IGraphLocation>& Gl) {
        auto text = Supports<IStringObject>(model_->Get(Gl));
        return text ? QString::fromStdU16String(text->GetString()) : QString("(no text)");
    }
    // The node's text as the log names it.
    QString NameOf(const IntfRef<IGraphLocation>& Gl) { return Gl ? "'" + Label(Gl) + "'" : QString("nil"); }

    void Log(const QString& line) { log_->appendPlainText(line); }

    void ShowDepth() {
        int d = caster_->GetUpdateCount();
        depth_->setText(d ? QString("Batch open, depth %1: the view waits for the merged event").arg(d)
                          : QString("No batch open: every change reaches the view at once"));
    }

    // The selected node, or nil.
    IntfRef<IGraphLocation> Current() {
        auto* item = tree_->currentItem();
        if (!item) return nullptr;
        auto it = items_.find(item);
        return it == items_.end() ? nullptr : it->second;
    }

    void Select(const IntfRef<IGraphLocation>& Gl) {
        for (auto& [item, node] : items_)
            if (SameObject(node, Gl)) tree_->setCurrentItem(item);
    }

    void Rebuild() {
        auto keep = Current();
        tree_->clear();
        items_.clear();
        if (auto root = model_->GetRoot()) {
            auto* top = new QTreeWidgetItem(tree_, {Label(root)});
            items_[top] = root;
            Fill(top, root);
        }
        tree_->expandAll();
        if (keep) Select(keep);
    }

    void Fill(QTreeWidgetItem* item, const IntfRef<IGraphLocation>& node) {
        ForEachItem(node->GetChildren().get(), [&](const IntfRef<IInterface>& c) {
            auto child = As<IGraphLocation>(c);
            auto* sub = new QTreeWidgetItem(item, {Label(child)});
            items_[sub] = child;
            Fill(sub, child);
        });
    }

    void Refresh(const IntfRef<IGraphLocation>& Gl) {
        for (auto& [item, node] : items_)
            if (SameObject(node, Gl)) item->setText(0, Label(node));
    }

    // Runs f and reports a refusal of the model in the log.
    template <class F>
    void Guarded(F&& f) {
        try {
            f();
        } catch (const Exception& e) {
            Log(QString("  refused: %1").arg(e.what()));
        }
        ShowDepth();
    }

    void AddChild() {
        Guarded([&] {
            // Without a selection under the root; without a root, as the root.
            auto parent = Current();
            if (!parent) parent = model_->GetRoot();
            model_->AddChild(parent, Text(QString("node %1").arg(++count_)));
        });
    }

    void AddSibling() {
        Guarded([&] {
            auto node = Current();
            auto parent = node ? node->GetParent() : nullptr;
            if (!parent) {
                Log("  the root has no siblings");
                return;
            }
            auto next = As<ILinkedTreeNode>(node)->Ptr()->GetNextSibling();
            model_->InsertChild(parent, Supports<IGraphLocation>(next), Text(QString("node %1").arg(++count_)));
        });
    }

    void Rename() {
        Guarded([&] {
            if (auto node = Current()) model_->Put(node, Text(Label(node) + "*"));
        });
    }

    void RemoveCurrent() {
        Guarded([&] {
            auto node = Current();
            if (!node) return;
            model_->Remove(node);
            // The removed subtree is dropped: cut its links so it is freed.
            As<ILinkedTreeNode>(node)->Ptr()->UnlinkSubtree();
        });
    }

    // A move is a removal and an insertion; a batch makes it one event.
    void Move(bool Up) {
        Guarded([&] {
            auto node = Current();
            auto parent = node ? node->GetParent() : nullptr;
            if (!parent) return;
            TLinkedTreeNode* self = As<ILinkedTreeNode>(node)->Ptr();
            IntfRef<IGraphLocation> aheadOf;
            if (Up) {
                TLinkedTreeNode* prev = nullptr;
                for (auto* c = self->ParentNode()->FirstChildNode(); c && c != self; c = c->NextSiblingNode()) prev = c;
                if (!prev) return;
                aheadOf = IntfRef<IGraphLocation>::Retain(prev);
            } else {
                TLinkedTreeNode* next = self->NextSiblingNode();
                if (!next) return;
                aheadOf = IntfRef<IGraphLocation>::Retain(next->NextSiblingNode());
            }
            caster_->BeginUpdate();
            try {
                model_->Remove(node);
                model_->InsertChild(parent, aheadOf, node);
            } catch (...) {
                caster_->EndUpdate();
                throw;
            }
            caster_->EndUpdate();
            Select(node);
        });
    }
    void MoveUp() { Move(true); }
    void MoveDown() { Move(false); }

    void BeginBatch() {
        Log("-- BeginUpdate on the multicaster");
        Guarded([&] { caster_->BeginUpdate(); });
    }
    void EndBatch() {
        Log("-- EndUpdate on the multicaster");
        Guarded([&] { caster_->EndUpdate(); });
    }

    QTreeWidget* tree_;
    QPlainTextEdit* log_;
    QLabel* depth_;
    IntfRef<TBasicTreeContainer> model_;
    IntfRef<TGraphModelMulticaster> caster_;
    IntfRef<TTreePageListener> listener_;
    IntfRef<TTreePageListener> raw_;
    std::unordered_map<QTreeWidgetItem*, IntfRef<IGraphLocation>> items_;
    int count_ = 0;
};

static gallery::GalleryPage page(20, "Tree model", [](QWidget* parent) -> QWidget* { return new TreeModelPage(parent); });

}  // namespace
