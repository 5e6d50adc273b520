// The object inspector against Qt's item widgets:
//   Reset/...          filling the list with 5,000 top-level rows
//   Open/...           opening (and closing again) a row with 1,000 children
//                      in the middle of 5,000 rows
//   Paint/...          painting one page of rows into an image
//   FindBest/...       completing a typed prefix in a 10,000-entry value list,
//                      key by key; both make the list again from its source
//                      at every key (the inspector enumerates the property's
//                      values, as it must, since they may change; QCompleter's
//                      inline completion over a QStringListModel whose list
//                      is built again from the same source). A completer
//                      that keeps one list answers repeated prefixes from its
//                      cache, which the inspector's contract rules out.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QCompleter>
#include <QImage>
#include <QPainter>
#include <QStringListModel>
#include <QTreeWidget>
#include <memory>
#include <vector>

#include "inspector/IDEInspListBox.h"
#include "platform/QtCanvas.h"

namespace {
using namespace ide;

QApplication& App() {
    static int argc = 1;
    static char name[] = "bench_inspector";
    static char* argv[] = {name, nullptr};
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication app(argc, argv);
    return app;
}

class TBenchProp : public TInterfacedObject, public IProperty {
public:
    TBenchProp(String Name, String Value) : FName(std::move(Name)), FValue(std::move(Value)) {}
    void Activate() override {}
    bool AllEqual() override { return true; }
    bool AutoFill() override { return true; }
    void Edit() override {}
    bool HasInstance(const void*) override { return false; }
    TPropertyAttributes GetAttributes() override { return FAttrs; }
    int GetEditLimit() override { return 0; }
    bool GetEditValue(String& Value) override {
        Value = FValue;
        return true;
    }
    String GetName() override { return FName; }
    void GetProperties(const TGetPropProc& Proc) override {
        for (auto& c : FChildren) Proc(c);
    }
    const TPropInfo* GetPropInfo() override { return nullptr; }
    const TTypeInfo* GetPropType() override { return nullptr; }
    String GetValue() override { return FValue; }
    void GetValues(const TGetStrProc& Proc) override {
        for (auto& v : FValues) Proc(v);
    }
    void Revert() override {}
    void SetValue(const String& Value) override { FValue = Value; }
    bool ValueAvailable() override { return true; }
    String GetDescription() override { return {}; }

    String FName, FValue;
    TPropertyAttributes FAttrs;
    std::vector<IntfRef<IProperty>> FChildren;
    std::vector<String> FValues;
};

String Num(const char16_t* prefix, int i) {
    String s = prefix;
    for (char c : std::to_string(i)) s += static_cast<char16_t>(c);
    return s;
}
QString QNum(const char* prefix, int i) { return QString::fromLatin1(prefix) + QString::number(i); }

std::vector<IntfRef<IProperty>> Rows(int n) {
    std::vector<IntfRef<IProperty>> r;
    for (int i = 0; i < n; ++i) r.push_back(Make<TBenchProp>(Num(u"Property", i), Num(u"Value ", i)));
    return r;
}

struct Box : TCustomPropListBox {
    std::vector<IntfRef<IProperty>> Props;
    Box() {
        OnGetProperties = [this](TCustomPropListBox*, const TGetPropProc& add) {
            for (auto& p : Props) add(p);
        };
    }
};

void ResetOurs(benchmark::State& state) {
    Box box;
    box.Props = Rows(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        box.Reset();
        benchmark::DoNotOptimize(box.Count());
    }
}

void ResetTreeWidget(benchmark::State& state) {
    App();
    QTreeWidget tree;
    tree.setColumnCount(2);
    tree.resize(400, 600);
    const int n = static_cast<int>(state.range(0));
    std::vector<QStringList> texts;
    for (int i = 0; i < n; ++i) texts.push_back({QNum("Property", i), QNum("Value ", i)});
    for (auto _ : state) {
        tree.clear();
        QList<QTreeWidgetItem*> items;
        items.reserve(n);
        for (const auto& t : texts) items.append(new QTreeWidgetItem(t));
        tree.addTopLevelItems(items);
        benchmark::DoNotOptimize(tree.topLevelItemCount());
    }
}

void OpenOurs(benchmark::State& state) {
    Box box;
    box.SetClientSize(400, 600);
    box.Props = Rows(5000);
    auto parent = Make<TBenchProp>(u"Items", u"(1000)");
    parent->FAttrs = {paSubProperties};
    const int n = static_cast<int>(state.range(0));
    for (int i = 0; i < n; ++i) parent->FChildren.push_back(Make<TBenchProp>(Num(u"Item", i), Num(u"", i)));
    box.Props[2500] = parent;
    box.Reset();
    for (auto _ : state) {
        box.AdjustItem(2500);  // open
        box.AdjustItem(2500);  // close
    }
}

void OpenTreeWidget(benchmark::State& state) {
    App();
    QTreeWidget tree;
    tree.setColumnCount(2);
    tree.resize(400, 600);
    QList<QTreeWidgetItem*> items;
    for (int i = 0; i < 5000; ++i) items.append(new QTreeWidgetItem(QStringList{QNum("Property", i), QNum("Value ", i)}));
    tree.addTopLevelItems(items);
    QTreeWidgetItem* parent = items[2500];
    for (int i = 0; i < state.range(0); ++i) parent->addChild(new QTreeWidgetItem(QStringList{QNum("Item", i), QString::number(i)}));
    tree.show();
    for (auto _ : state) {
        parent->setExpanded(true);
        parent->setExpanded(false);
    }
}

void PaintOurs(benchmark::State& state) {
    App();
    Box box;
    box.SetClientSize(400, 600);
    box.SetItemHeight(17);
    box.SetMiddle(160);
    box.Props = Rows(5000);
    box.Reset();
    QImage image(400, 600, QImage::Format_ARGB32_Premultiplied);
    QPalette palette = QApplication::palette();
    for (auto _ : state) {
        QPainter p(&image);
        TQtCanvas canvas(&p, palette);
        box.Paint(canvas);
    }
}

void PaintTreeWidget(benchmark::State& state) {
    App();
    QTreeWidget tree;
    tree.setColumnCount(2);
    tree.resize(400, 600);
    QList<QTreeWidgetItem*> items;
    for (int i = 0; i < 5000; ++i) items.append(new QTreeWidgetItem(QStringList{QNum("Property", i), QNum("Value ", i)}));
    tree.addTopLevelItems(items);
    tree.show();
    QImage image(400, 600, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        QPainter p(&image);
        tree.viewport()->render(&p);
    }
}

// Prefixes typed one key at a time.
const char* const Typed[] = {"c", "cl", "clV", "clVa", "clVal", "clValu", "clValue", "clValue9", "clValue99"};

struct Insp : TPlainInspEdit, TListButton, TInspListBox {
    Insp() : TInspListBox(static_cast<TPlainInspEdit*>(this), static_cast<TListButton*>(this)) {}
};

void FindBestOurs(benchmark::State& state) {
    auto prop = Make<TBenchProp>(u"Color", u"clValue0");
    prop->FAttrs = {paValueList};
    for (int i = 0; i < state.range(0); ++i) prop->FValues.push_back(Num(u"clValue", state.range(0) - 1 - i));
    auto box = std::make_unique<Insp>();
    box->OnGetProperties = [&](TCustomPropListBox*, const TGetPropProc& add) { add(prop); };
    box->Reset();
    std::vector<String> typed;
    for (const char* t : Typed) typed.push_back(Str(t));
    for (auto _ : state)
        for (const String& t : typed) benchmark::DoNotOptimize(box->FindBest(t));
}

void FindBestCompleter(benchmark::State& state) {
    App();
    std::vector<QString> source;  // what the property would enumerate
    for (int i = 0; i < state.range(0); ++i) source.push_back(QNum("clValue", static_cast<int>(state.range(0) - 1 - i)));
    QStringListModel model;
    QCompleter completer(&model);
    completer.setCompletionMode(QCompleter::InlineCompletion);
    completer.setCaseSensitivity(Qt::CaseInsensitive);
    std::vector<QString> typed;
    for (const char* t : Typed) typed.push_back(QString::fromLatin1(t));
    // As the inspector enumerates the property's values at every key (they
    // may have changed), the completer's list is made again from the source.
    QStringList list;
    for (auto _ : state)
        for (const QString& t : typed) {
            list.clear();
            list.reserve(static_cast<qsizetype>(source.size()));
            for (const QString& v : source) list.append(v);
            model.setStringList(list);
            completer.setCompletionPrefix(t);
            benchmark::DoNotOptimize(completer.currentCompletion());
        }
}

}  // namespace

BENCHMARK(ResetOurs)->Name("Reset/ideInspListBox")->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(ResetTreeWidget)->Name("Reset/QTreeWidget")->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenOurs)->Name("Open/ideInspListBox")->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenTreeWidget)->Name("Open/QTreeWidget")->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(PaintOurs)->Name("Paint/ideInspListBox")->Unit(benchmark::kMicrosecond);
BENCHMARK(PaintTreeWidget)->Name("Paint/QTreeWidget")->Unit(benchmark::kMicrosecond);
BENCHMARK(FindBestOurs)->Name("FindBest/ideInspListBox")->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(FindBestCompleter)->Name("FindBest/QCompleter")->Arg(10000)->Unit(benchmark::kMicrosecond);
