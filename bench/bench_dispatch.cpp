// Dispatching one event to 1, 10 and 100 listeners: the list multicaster and
// the listener tree against a loop over std::function and a Qt signal.
#include <benchmark/benchmark.h>

#include <QObject>
#include <functional>
#include <vector>

#include "foundation/IDEUIMulticast.h"
#include "model/IDEVectorImpl.h"

using namespace ide;

namespace {

long gHeard = 0;

class TCountingModelListener : public TVectorModelAdapter {
public:
    void ModelContentChanged(const IntfRef<IVectorModelEvent>& E) override { gHeard += E->GetLocation(); }
};

class TCountingAction : public TInterfacedObject, public virtual IActionListener {
public:
    void ActionPerformed(const IntfRef<IActionEvent>& E) override { gHeard += E->GetModifiers(); }
};

void ListMulticaster(benchmark::State& state) {
    TEventMulticaster m;
    for (int i = 0; i < state.range(0); ++i) m.Add(Make<TCountingModelListener>());
    auto model = Make<TBasicVectorContainer>();
    IntfRef<IDispatchableEvent> e = TVectorModelEvent::Create2(model, mcItemReplaced, 1);
    for (auto _ : state) m.Dispatch(e);
    benchmark::DoNotOptimize(gHeard);
}

void ListenerTree(benchmark::State& state) {
    IntfRef<IEventListener> field;
    for (int i = 0; i < state.range(0); ++i) field = TAWTEventMulticaster::Add(field, Make<TCountingAction>());
    IntfRef<IActionListener> tree = As<IActionListener>(field);
    IntfRef<IActionEvent> e = Make<TActionEvent>(nullptr, ACTION_PERFORMED, u"go", 1);
    for (auto _ : state) tree->ActionPerformed(e);
    benchmark::DoNotOptimize(gHeard);
}

struct Event {
    int location;
};

void FunctionLoop(benchmark::State& state) {
    std::vector<std::function<void(const Event&)>> listeners;
    for (int i = 0; i < state.range(0); ++i) listeners.push_back([](const Event& e) { gHeard += e.location; });
    Event e{1};
    for (auto _ : state)
        for (auto& l : listeners) l(e);
    benchmark::DoNotOptimize(gHeard);
}

}  // namespace

class Raiser : public QObject {
    Q_OBJECT
signals:
    void changed(int location);
};

namespace {
void QtSignal(benchmark::State& state) {
    Raiser raiser;
    std::vector<std::unique_ptr<QObject>> receivers;
    for (int i = 0; i < state.range(0); ++i) {
        receivers.push_back(std::make_unique<QObject>());
        QObject::connect(&raiser, &Raiser::changed, receivers.back().get(), [](int location) { gHeard += location; });
    }
    for (auto _ : state) emit raiser.changed(1);
    benchmark::DoNotOptimize(gHeard);
}
}  // namespace

BENCHMARK(ListMulticaster)->Name("Dispatch/ideEventMulticaster")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(ListenerTree)->Name("Dispatch/ideListenerTree")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(FunctionLoop)->Name("Dispatch/std_function_loop")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(QtSignal)->Name("Dispatch/qt_signal")->Arg(1)->Arg(10)->Arg(100);

#include "bench_dispatch.moc"
