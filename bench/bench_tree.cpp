// The tree model: building a large tree, and a large batch of changes merged
// into one event.
//
// TreeBuild1M: 1,000,000 nodes, depth first, fan-out 10 per level (depth 6,
// cut off at the millionth node); each node is added at the end of its
// parent's children, so AppendChild walks at most 9 earlier siblings. The
// timed part includes freeing the tree (the container unlinks it when it
// dies). Ours: TBasicTreeContainer with an integer payload object per node,
// and TLinkedTreeContainer with payload-free nodes. Peer: a plain struct tree
// with an int payload and std::vector<std::unique_ptr<Node>> children.
//
// BatchChanges100k: 100,000 changes (Put and Touched, alternating, over 100
// nodes) inside one BeginUpdate/EndUpdate of a TGraphModelMulticaster; the
// listener hears exactly one merged structure event per batch, which the
// counter listener_calls_per_batch shows (anything but 1 fails the run).
// Peers: a plain loop that notifies a listener 100,000 times by a virtual
// call, and one that only sets a dirty flag per change and notifies once.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

constexpr int kNodes = 1000000;
constexpr int kFanOut = 10;
constexpr int kDepth = 6;
constexpr int kChanges = 100000;

// ---- building ------------------------------------------------------------------------

void BuildBasic(benchmark::State& state) {
    int64_t nodes = 0;
    for (auto _ : state) {
        auto model = Make<TBasicTreeContainer>();
        auto root = model->SetRoot(Make<TIntegerObject>(0));
        int count = 1;
        struct Rec {
            TBasicTreeContainer* model;
            int& count;
            void Run(const IntfRef<IGraphLocation>& parent, int depth) {
                for (int i = 0; i < kFanOut && count < kNodes; ++i) {
                    ++count;
                    auto child = model->AddChild(parent, Make<TIntegerObject>(count));
                    if (depth + 1 < kDepth) Run(child, depth + 1);
                }
            }
        } rec{model.get(), count};
        rec.Run(root, 0);
        nodes = count;
        benchmark::DoNotOptimize(model.get());
    }
    if (nodes != kNodes) state.SkipWithError("wrong node count");
    state.counters["nodes"] = static_cast<double>(nodes);
}

void BuildLinked(benchmark::State& state) {
    int64_t nodes = 0;
    for (auto _ : state) {
        auto model = Make<TLinkedTreeContainer>();
        auto root = model->SetRoot(Make<TLinkedTreeNode>());
        int count = 1;
        struct Rec {
            TLinkedTreeContainer* model;
            int& count;
            void Run(const IntfRef<IGraphLocation>& parent, int depth) {
                for (int i = 0; i < kFanOut && count < kNodes; ++i) {
                    ++count;
                    auto child = model->AddChild(parent, Make<TLinkedTreeNode>());
                    if (depth + 1 < kDepth) Run(child, depth + 1);
                }
            }
        } rec{model.get(), count};
        rec.Run(root, 0);
        nodes = count;
        benchmark::DoNotOptimize(model.get());
    }
    if (nodes != kNodes) state.SkipWithError("wrong node count");
    state.counters["nodes"] = static_cast<double>(nodes);
}

struct PlainNode {
    int value;
    std::vector<std::unique_ptr<PlainNode>> children;
};

void BuildPlain(benchmark::State& state) {
    int64_t nodes = 0;
    for (auto _ : state) {
        auto root = std::make_unique<PlainNode>(PlainNode{0, {}});
        int count = 1;
        struct Rec {
            int& count;
            void Run(PlainNode* parent, int depth) {
                for (int i = 0; i < kFanOut && count < kNodes; ++i) {
                    ++count;
                    parent->children.push_back(std::make_unique<PlainNode>(PlainNode{count, {}}));
                    if (depth + 1 < kDepth) Run(parent->children.back().get(), depth + 1);
                }
            }
        } rec{count};
        rec.Run(root.get(), 0);
        nodes = count;
        benchmark::DoNotOptimize(root.get());
    }
    if (nodes != kNodes) state.SkipWithError("wrong node count");
    state.counters["nodes"] = static_cast<double>(nodes);
}

// ---- a batch of changes -----------------------------------------------------------------

class TCountingListener : public TInterfacedObject, public virtual IGraphModelListener {
public:
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>&) override { ++calls; }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>&) override { ++calls; }
    int64_t calls = 0;
};

void BatchMerged(benchmark::State& state) {
    auto model = Make<TBasicTreeContainer>();
    auto root = model->SetRoot(Make<TIntegerObject>(0));
    std::vector<IntfRef<IGraphLocation>> nodes;
    for (int i = 0; i < 100; ++i) nodes.push_back(model->AddChild(root, Make<TIntegerObject>(i)));
    std::vector<IntfRef<IInterface>> payloads;
    for (int i = 0; i < 16; ++i) payloads.push_back(Make<TIntegerObject>(i));
    auto caster = Make<TGraphModelMulticaster>();
    model->AddModelListener(caster);
    auto listener = Make<TCountingListener>();
    caster->Add(listener);

    for (auto _ : state) {
        caster->BeginUpdate();
        for (int i = 0; i < kChanges; ++i) {
            const auto& node = nodes[static_cast<size_t>(i % 100)];
            if (i & 1)
                model->Touched(node);
            else
                model->Put(node, payloads[static_cast<size_t>(i & 15)]);
        }
        caster->EndUpdate();
    }
    double perBatch = static_cast<double>(listener->calls) / static_cast<double>(state.iterations());
    state.counters["listener_calls_per_batch"] = perBatch;
    state.counters["changes"] = kChanges;
    if (perBatch != 1.0) state.SkipWithError("the batch was not delivered as one merged event");
    model->RemoveModelListener(caster);
}

struct PlainEvent {
    int change;
    int location;
};

struct PlainListener {
    virtual ~PlainListener() = default;
    virtual void Changed(const PlainEvent& e) = 0;
};

struct PlainCounter : PlainListener {
    void Changed(const PlainEvent& e) override {
        ++calls;
        last = e.location;
    }
    int64_t calls = 0;
    int last = 0;
};

void PlainNotifyEach(benchmark::State& state) {
    auto counter = std::make_unique<PlainCounter>();
    PlainListener* listener = counter.get();
    benchmark::DoNotOptimize(listener);
    std::vector<int> values(100);
    for (auto _ : state) {
        for (int i = 0; i < kChanges; ++i) {
            int slot = i % 100;
            if (!(i & 1)) values[static_cast<size_t>(slot)] = i & 15;
            listener->Changed(PlainEvent{(i & 1) ? 0x21 : 0x11, slot});
        }
        benchmark::ClobberMemory();
    }
    state.counters["listener_calls_per_batch"] =
        static_cast<double>(counter->calls) / static_cast<double>(state.iterations());
}

void PlainDirtyFlag(benchmark::State& state) {
    auto counter = std::make_unique<PlainCounter>();
    PlainListener* listener = counter.get();
    benchmark::DoNotOptimize(listener);
    std::vector<int> values(100);
    for (auto _ : state) {
        bool dirty = false;
        for (int i = 0; i < kChanges; ++i) {
            int slot = i % 100;
            if (!(i & 1)) values[static_cast<size_t>(slot)] = i & 15;
            dirty = true;
            benchmark::DoNotOptimize(dirty);
        }
        if (dirty) listener->Changed(PlainEvent{0x02, 0});
        benchmark::ClobberMemory();
    }
    state.counters["listener_calls_per_batch"] =
        static_cast<double>(counter->calls) / static_cast<double>(state.iterations());
}

}  // namespace

BENCHMARK(BuildBasic)->Name("TreeBuild1M/ideBasicTree")->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BuildLinked)->Name("TreeBuild1M/ideLinkedTree")->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BuildPlain)->Name("TreeBuild1M/plainStructVector")->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BatchMerged)->Name("BatchChanges100k/ideGraphModelMulticaster")->Unit(benchmark::kMillisecond);
BENCHMARK(PlainNotifyEach)->Name("BatchChanges100k/plainNotifyEach")->Unit(benchmark::kMillisecond);
BENCHMARK(PlainDirtyFlag)->Name("BatchChanges100k/plainDirtyFlag")->Unit(benchmark::kMillisecond);
