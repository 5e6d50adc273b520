// The graph model multicaster is the one model class used from several
// threads: threads raise events through it, open and close batches, and add
// and remove listeners, all at once. Run under ThreadSanitizer by
// `make test-tsan`; here it must end balanced, with nothing left queued and
// every listener freed.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

std::atomic<int> gAlive{0};

// Counts what it hears. Its batch methods take a lock of its own, as a
// listener guarding its own state does; by the lock-order rule it never
// calls into the multicaster while holding it.
class TThreadedListener : public TInterfacedObject, public virtual IGraphModelListener, public virtual IBatchUpdate {
public:
    TThreadedListener() { ++gAlive; }
    ~TThreadedListener() override { --gAlive; }
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override {
        if (E->GetChange() == mcStructure) ++structure;
    }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>&) override { ++content; }
    void BeginUpdate() override {
        std::lock_guard<std::mutex> lock(FOwnLock);
        ++begins;
    }
    void EndUpdate() override {
        std::lock_guard<std::mutex> lock(FOwnLock);
        ++ends;
    }
    std::atomic<int> structure{0}, content{0};
    int begins = 0, ends = 0;  // guarded by FOwnLock

private:
    std::mutex FOwnLock;
};

}  // namespace

TEST(GraphMulticasterThreads, EventsBatchesAndListenersFromManyThreads) {
    constexpr int kThreads = 4, kRounds = 3000;
    auto model = TBasicTreeContainer::Create2(Make<TTextObject>(u"root"));
    auto caster = Make<TGraphModelMulticaster>();
    auto steady = Make<TThreadedListener>();  // present from start to end
    caster->Add(steady);
    std::atomic<int> raised{0}, batches{0};

    auto work = [&](unsigned seed) {
        std::minstd_rand rnd(seed);
        std::vector<IntfRef<IGraphModelListener>> mine;
        for (int round = 0; round < kRounds; ++round) {
            switch (rnd() % 5) {
                case 0:
                case 1:
                    caster->ModelContentChanged(Make<TGraphModelEvent>(model, mcContent | (1 << 4), nullptr));
                    ++raised;
                    break;
                case 2:
                    caster->BeginUpdate();
                    caster->BeginUpdate();  // nested: only the outer level reaches listeners
                    caster->ModelStructureChanged(Make<TGraphModelEvent>(model, mcStructure, nullptr));
                    caster->ModelContentChanged(Make<TGraphModelEvent>(model, mcContent, nullptr));
                    raised += 2;
                    caster->EndUpdate();
                    caster->EndUpdate();
                    ++batches;
                    break;
                case 3: {
                    IntfRef<IGraphModelListener> l = Make<TThreadedListener>();
                    caster->Add(l);
                    mine.push_back(l);
                    break;
                }
                default:
                    if (!mine.empty()) {
                        caster->Remove(mine.back());
                        mine.pop_back();
                    }
                    EXPECT_GE(caster->Find(steady), 0);
                    break;
            }
        }
        for (auto& l : mine) caster->Remove(l);
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(work, 1234u + t);
    for (auto& t : threads) t.join();

    EXPECT_EQ(caster->GetUpdateCount(), 0);
    EXPECT_EQ(caster->GetPendingCount(), 0);
    EXPECT_EQ(caster->Find(steady), 0);
    EXPECT_EQ(caster->HasListeners(), true);
    {
        // Every outermost batch that opened for the steady listener closed.
        EXPECT_EQ(steady->begins, steady->ends);
        EXPECT_GT(steady->begins, 0);
    }
    // Each raised event reached it at once or as part of one merged event
    // per batch; a batch never reports more than one.
    const int heard = steady->content + steady->structure;
    EXPECT_GT(steady->content, 0);
    EXPECT_GT(steady->structure, 0);
    EXPECT_LE(heard, raised.load());
    EXPECT_LE(steady->structure.load(), batches.load());
    caster->Remove(steady);
    steady = nullptr;
    EXPECT_EQ(gAlive.load(), 0) << "the multicaster let go of every listener";
}
