// The tree view against QTreeView over QStandardItemModel, same tree, one
// run. The tree: a root with 100 folders of 1,000 leaves, all open (100,101
// rows on show). QTreeView has uniform row heights, ours measures every row
// through a text painter when it opens.
//
// Relayout: ours RecalcVisible1 (every row placed again), peer
// doItemsLayout (QTreeView's layout of the open rows).
// HitTest: the item of the bottom row of the viewport scrolled to the end
// by pixels; ours the indexed lookup by Y, peer indexAt. Each side checks
// that its answer is the last leaf.
// BulkInsert: 10,000 children (each with its own text) put in front of the
// children of an open node, then one layout; ours inside one batch of the
// model's multicaster (one structure event), peer insertRow on a model the
// view is attached to. BulkAppend: the same at the end of the children, for
// the record (our model links behind its remembered last child).
// BulkInsertUnbatched is ours without the batch, also for the record: every
// insert then sweeps every state, quadratic in the number of rows.
// Paint: one 40-row page into an image; ours Paint2 through the Qt canvas,
// peer the viewport's render.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTreeView>

#include "model/IDEGraphImpl.h"
#include "platform/QtCanvas.h"
#include "views/IDEItemPainters.h"
#include "views/IDEViewImpl.h"

using namespace ide;

namespace {

constexpr int kFolders = 100, kLeaves = 1000, kInserts = 10000;

IntfRef<IGraphLocation> FirstOf(const IntfRef<IGraphLocation>& L) {
    return Supports<IGraphLocation>(L->GetChildren()->Get(0));
}

QApplication* App() {
    static int argc = 1;
    static char name[] = "bench_treeview";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QApplication(argc, argv);
    }();
    return app;
}

// A window side without a window: fixed viewport, the Qt measuring canvas.
class TBenchHost : public TViewHost {
public:
    TDimension Client{400, 40 * 17};
    TPoint Scroll;
    TQtMeasuringCanvas Measure;
    bool HasHandle() override { return false; }
    bool IsShowing() override { return true; }
    TDimension GetClientSize() override { return Client; }
    TPoint GetScrollPosition() override { return Scroll; }
    void SetScrollPosition(int X, int Y) override { Scroll = {X, Y}; }
    void SetScrollRange(int, int) override {}
    void SetVerticalIncrement(int) override {}
    void Invalidate(const TRect&, bool) override {}
    void InvalidateAll() override {}
    TCanvas* GetMeasureCanvas() override { return &Measure; }
};

struct OurTree {
    TBenchHost Host;
    TTreeView2 View{&Host};
    IntfRef<TBasicTreeContainer> Model = Make<TBasicTreeContainer>();
    IntfRef<IGraphLocation> Root;
    OurTree(int Folders, int Leaves) {
        Root = Model->SetRoot(Make<TTextObject>(u"root"));
        for (int f = 0; f < Folders; ++f) {
            auto folder = Model->AddChild(Root, Make<TTextObject>(Str("folder " + std::to_string(f))));
            for (int l = 0; l < Leaves; ++l) Model->AddChild(folder, Make<TTextObject>(Str("leaf " + std::to_string(l))));
        }
        View.SetViewManager(Make<TBasicViewManager>(Make<TSelectableTextItemPainter>()));
        View.SetModel(Model);
        View.AddNotify();
        View.ExpandAll(Root);
    }
};

struct PeerTree {
    QStandardItemModel Model;
    QTreeView View;
    QStandardItem* Root;
    PeerTree(int Folders, int Leaves) {
        Root = new QStandardItem("root");
        Model.appendRow(Root);
        for (int f = 0; f < Folders; ++f) {
            auto* folder = new QStandardItem(QString("folder %1").arg(f));
            QList<QStandardItem*> leaves;
            for (int l = 0; l < Leaves; ++l) leaves.append(new QStandardItem(QString("leaf %1").arg(l)));
            folder->appendRows(leaves);
            Root->appendRow(folder);
        }
        View.setUniformRowHeights(true);
        View.setHeaderHidden(true);
        View.setModel(&Model);
        View.resize(400, 40 * 17);
        View.expandAll();
        View.doItemsLayout();
    }
};

void Relayout_ide(benchmark::State& state) {
    App();
    OurTree t(kFolders, kLeaves);
    for (auto _ : state) {
        t.View.RecalcVisible1(false);
        benchmark::DoNotOptimize(t.View.LineCount());
    }
    state.counters["rows"] = t.View.LineCount();
}

void Relayout_Qt(benchmark::State& state) {
    App();
    PeerTree t(kFolders, kLeaves);
    for (auto _ : state) {
        t.View.doItemsLayout();
        benchmark::DoNotOptimize(t.View.verticalScrollBar()->maximum());
    }
}

void HitTest_ide(benchmark::State& state) {
    App();
    OurTree t(kFolders, kLeaves);
    TDimension size = t.View.GetPreferredSize();
    t.Host.Scroll = {0, size.Height - t.Host.Client.Height};
    int y = t.Host.Client.Height - 2;
    TNodeState* last = t.View.LastNode();
    int x = last->FItemRect.Left + 2;
    for (auto _ : state) benchmark::DoNotOptimize(t.View.HitTest(x, y));
    if (!SameObject(t.View.HitTest(x, y), last->FNode)) state.SkipWithError("not the bottom row");
}

void HitTest_Qt(benchmark::State& state) {
    App();
    PeerTree t(kFolders, kLeaves);
    // Scrolled by pixels to the end, as ours, so the bottom row ends at the
    // viewport's bottom edge (by items, a part row's room may stay empty).
    t.View.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    t.View.scrollToBottom();
    QApplication::processEvents();
    QPoint p(60, t.View.viewport()->height() - 2);
    for (auto _ : state) benchmark::DoNotOptimize(t.View.indexAt(p));
    QModelIndex last = t.Model.index(kLeaves - 1, 0, t.Model.index(kFolders - 1, 0, t.Model.index(0, 0)));
    if (t.View.indexAt(p) != last) state.SkipWithError("not the bottom row");
}

// Where the 10,000 new rows go: in front of the open node's children or
// after them. Both are constant-time links in our model (at the end behind
// the remembered last child); the peer's rows are an array, so each insert
// in front moves all rows after it.
enum TInsertAt { atFront, atEnd };

std::vector<String> NewTexts() {
    std::vector<String> out;
    for (int i = 0; i < kInserts; ++i) out.push_back(Str("new leaf " + std::to_string(i)));
    return out;
}

QStringList NewQTexts() {
    QStringList out;
    for (int i = 0; i < kInserts; ++i) out << QString("new leaf %1").arg(i);
    return out;
}

void BulkInsert_ide(benchmark::State& state, TInsertAt At) {
    App();
    const std::vector<String> texts = NewTexts();
    for (auto _ : state) {
        state.PauseTiming();
        auto tree = std::make_unique<OurTree>(1, 10);
        auto caster = Make<TGraphModelMulticaster>();
        // The view hears the model through the batching multicaster.
        class TBatched : public TInterfacedObject, public virtual IGraphModel {
        public:
            IntfRef<TBasicTreeContainer> M;
            IntfRef<TGraphModelMulticaster> C;
            IntfRef<IGraphLocation> GetRoot() override { return M->GetRoot(); }
            IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& L) override { return M->Get(L); }
            IntfRef<IGraphLocation> Find(const IntfRef<IInterface>& D) override { return M->Find(D); }
            void AddModelListener(const IntfRef<IGraphModelListener>& L) override { C->Add(L); }
            void RemoveModelListener(const IntfRef<IGraphModelListener>& L) override { C->Remove(L); }
        };
        auto batched = Make<TBatched>();
        batched->M = tree->Model;
        batched->C = caster;
        tree->Model->AddModelListener(caster);
        tree->View.SetModel(batched);
        tree->View.ExpandAll(tree->Root);
        auto folder = FirstOf(tree->Root);
        auto first = FirstOf(folder);
        state.ResumeTiming();
        caster->BeginUpdate();
        for (const String& text : texts)
            if (At == atFront)
                first = tree->Model->InsertChild(folder, first, Make<TTextObject>(text));
            else
                tree->Model->AddChild(folder, Make<TTextObject>(text));
        caster->EndUpdate();
        tree->View.RecalcVisible1(false);
        benchmark::DoNotOptimize(tree->View.LineCount());
        state.PauseTiming();
        if (tree->View.LineCount() != 2 + 10 + kInserts) state.SkipWithError("rows missing");
        tree.reset();
        state.ResumeTiming();
    }
}

void BulkInsertUnbatched_ide(benchmark::State& state) {
    App();
    int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto tree = std::make_unique<OurTree>(1, 10);
        auto folder = FirstOf(tree->Root);
        state.ResumeTiming();
        for (int i = 0; i < n; ++i) tree->Model->AddChild(folder, Make<TTextObject>(u"new leaf"));
        tree->View.RecalcVisible1(false);
        state.PauseTiming();
        tree.reset();
        state.ResumeTiming();
    }
}

void BulkInsert_Qt(benchmark::State& state, TInsertAt At) {
    App();
    const QStringList texts = NewQTexts();
    for (auto _ : state) {
        state.PauseTiming();
        auto tree = std::make_unique<PeerTree>(1, 10);
        QStandardItem* folder = tree->Root->child(0);
        state.ResumeTiming();
        for (const QString& text : texts)
            if (At == atFront)
                folder->insertRow(0, new QStandardItem(text));
            else
                folder->appendRow(new QStandardItem(text));
        tree->View.doItemsLayout();
        benchmark::DoNotOptimize(tree->View.verticalScrollBar()->maximum());
        state.PauseTiming();
        if (folder->rowCount() != 10 + kInserts) state.SkipWithError("rows missing");
        tree.reset();
        state.ResumeTiming();
    }
}

void Paint_ide(benchmark::State& state) {
    App();
    OurTree t(2, 100);
    QImage img(400, 40 * 17, QImage::Format_RGB32);
    for (auto _ : state) {
        QPainter p(&img);
        TQtCanvas c(&p);
        t.View.Paint2(c, Rect(0, 0, 400, 40 * 17));
    }
}

void Paint_Qt(benchmark::State& state) {
    App();
    PeerTree t(2, 100);
    QImage img(400, 40 * 17, QImage::Format_RGB32);
    for (auto _ : state) t.View.viewport()->render(&img);
}

}  // namespace

BENCHMARK(Relayout_ide)->Name("Relayout/ideTreeView2/100000")->Unit(benchmark::kMillisecond);
BENCHMARK(Relayout_Qt)->Name("Relayout/QTreeView/100000")->Unit(benchmark::kMillisecond);
BENCHMARK(HitTest_ide)->Name("HitTestBottom/ideTreeView2/100000");
BENCHMARK(HitTest_Qt)->Name("HitTestBottom/QTreeView/100000");
BENCHMARK_CAPTURE(BulkInsert_ide, front, atFront)->Name("BulkInsert/ideTreeView2/10000")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_CAPTURE(BulkInsert_Qt, front, atFront)->Name("BulkInsert/QTreeView/10000")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_CAPTURE(BulkInsert_ide, end, atEnd)->Name("BulkAppend/ideTreeView2/10000")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(BulkInsert_Qt, end, atEnd)->Name("BulkAppend/QTreeView/10000")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BulkInsertUnbatched_ide)->Name("BulkInsertUnbatched/ideTreeView2")->Arg(1000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(Paint_ide)->Name("Paint/ideTreeView2/40")->Unit(benchmark::kMicrosecond);
BENCHMARK(Paint_Qt)->Name("Paint/QTreeView/40")->Unit(benchmark::kMicrosecond);
