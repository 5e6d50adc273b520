// The reference cycles that the model layer's contracts make on purpose, and
// the one call that breaks each (docs/conventions.md, "Cycles"). Each test
// shows the cycle holding its objects alive, then breaks it and sees every
// object freed; `make test-asan` runs them under LeakSanitizer as well.
#include <gtest/gtest.h>

#include "model/IDEGraphImpl.h"
#include "model/IDEVectorImpl.h"

using namespace ide;

namespace {

int gAlive = 0;

template <class Base>
class TCounted : public Base {
public:
    TCounted() { ++gAlive; }
    ~TCounted() override { --gAlive; }
};

// A view-like listener that keeps its model, as a view keeps what it shows.
class TModelHolder : public TInterfacedObject, public virtual IVectorModelListener {
public:
    explicit TModelHolder(IntfRef<TBasicVectorContainer> Model) : FModel(std::move(Model)) { ++gAlive; }
    ~TModelHolder() override { --gAlive; }
    void ModelStructureChanged(const IntfRef<IVectorModelEvent>&) override { ++heard; }
    void ModelContentChanged(const IntfRef<IVectorModelEvent>&) override { ++heard; }
    // The listener's way out: remove itself and let go of the model. The
    // last references to both may go here, so nothing is touched after.
    void Detach() {
        IntfRef<TBasicVectorContainer> model = std::move(FModel);
        model->RemoveModelListener(IntfRef<IVectorModelListener>::Retain(this));
    }
    int heard = 0;

private:
    IntfRef<TBasicVectorContainer> FModel;
};

}  // namespace

// A model holds its listeners until they are removed; a listener that holds
// its model closes a cycle. Removing the listener breaks it.
TEST(Cycles, ListenerHoldingItsModelIsFreedByRemovingIt) {
    gAlive = 0;
    IntfRef<TBasicVectorContainer> model = Make<TCounted<TBasicVectorContainer>>();
    auto holder = Make<TModelHolder>(model);
    model->AddModelListener(holder);
    model->AddItem(nullptr);
    EXPECT_EQ(holder->heard, 1);
    TModelHolder* raw = holder.get();
    model = nullptr;
    holder = nullptr;
    EXPECT_EQ(gAlive, 2) << "each keeps the other alive";
    raw->Detach();
    EXPECT_EQ(gAlive, 0);
}

// A batch holds the events it queues, and each event its model; a model whose
// listener is the multicaster closes a cycle while the batch is open. Closing
// the batch breaks it.
TEST(Cycles, OpenBatchHoldsItsModelsUntilEndUpdate) {
    gAlive = 0;
    auto caster = Make<TCounted<TGraphModelMulticaster>>();
    {
        IntfRef<TBasicTreeContainer> model = Make<TCounted<TBasicTreeContainer>>();
        model->SetRoot(Make<TTextObject>(u"root"));
        model->AddModelListener(caster);
        caster->BeginUpdate();
        model->Touched(model->GetRoot());
    }
    EXPECT_EQ(gAlive, 2) << "the queued event keeps the model, the model the multicaster";
    caster->EndUpdate();
    EXPECT_EQ(gAlive, 1) << "the model went with the queue";
    caster = nullptr;
    EXPECT_EQ(gAlive, 0);
}

// Events of two models in one batch stay queued when EndUpdate refuses them;
// removing the multicaster from its models breaks that cycle.
TEST(Cycles, RefusedBatchIsFreedByRemovingTheMulticaster) {
    gAlive = 0;
    IntfRef<TGraphModelMulticaster> caster = Make<TCounted<TGraphModelMulticaster>>();
    IntfRef<TBasicTreeContainer> a = Make<TCounted<TBasicTreeContainer>>();
    IntfRef<TBasicTreeContainer> b = Make<TCounted<TBasicTreeContainer>>();
    a->AddModelListener(caster);
    b->AddModelListener(caster);
    caster->BeginUpdate();
    a->Touched(nullptr);
    b->Touched(nullptr);
    EXPECT_THROW(caster->EndUpdate(), Exception);
    EXPECT_EQ(caster->GetPendingCount(), 2);
    a->RemoveModelListener(caster);
    b->RemoveModelListener(caster);
    a = nullptr;
    b = nullptr;
    EXPECT_EQ(gAlive, 3) << "the queue still holds both models";
    caster = nullptr;
    EXPECT_EQ(gAlive, 0);
}
