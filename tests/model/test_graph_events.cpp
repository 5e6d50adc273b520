// Graph events, the batching model multicaster (merging, nesting, listeners
// joining and leaving a batch, several models, re-entry under its lock), the
// subfocus phases and the graph selections.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

std::string gLog;

class TListener : public TInterfacedObject, public virtual IGraphModelListener {
public:
    explicit TListener(std::string Name) : FName(std::move(Name)) {}
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override {
        ++structures;
        Note('S', E);
    }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override {
        ++contents;
        Note('C', E);
    }
    int structures = 0, contents = 0, lastChange = 0;
    IInterface* lastLocation = nullptr;
    IInterface* lastModel = nullptr;
    std::function<void(const IntfRef<IGraphModelEvent>&)> onEvent;

protected:
    void Note(char Kind, const IntfRef<IGraphModelEvent>& E) {
        lastChange = E->GetChange();
        lastLocation = E->GetLocation().Identity();
        lastModel = E->GetModel().Identity();
        gLog += FName + Kind + " ";
        if (onEvent) onEvent(E);
    }
    std::string FName;
};

class TBatchListener : public TListener, public virtual IBatchUpdate {
public:
    using TListener::TListener;
    void BeginUpdate() override {
        ++begins;
        gLog += FName + "B ";
        if (onBegin) onBegin();
    }
    void EndUpdate() override {
        ++ends;
        gLog += FName + "E ";
        if (onEnd) onEnd();
    }
    int begins = 0, ends = 0;
    std::function<void()> onBegin, onEnd;
};

class TOtherListener : public TInterfacedObject, public virtual IEventListener {};

IntfRef<IInterface> Text(const char* s) { return Make<TTextObject>(Str(s)); }

// A model with a root and two children, told to a batching multicaster.
class GraphBatch : public ::testing::Test {
protected:
    void SetUp() override {
        gLog.clear();
        model = Make<TBasicTreeContainer>();
        root = model->SetRoot(Text("root"));
        a = model->AddChild(root, Text("a"));
        b = model->AddChild(root, Text("b"));
        caster = Make<TGraphModelMulticaster>();
        model->AddModelListener(caster);
    }
    IntfRef<TBasicTreeContainer> model;
    IntfRef<IGraphLocation> root, a, b;
    IntfRef<TGraphModelMulticaster> caster;
};

}  // namespace

// ---- the events --------------------------------------------------------------------

TEST(GraphEvents, ModelEventPicksTheMethodByItsId) {
    auto model = Make<TLinkedTreeContainer>();
    auto where = Make<TLinkedTreeNode>();
    auto content = Make<TGraphModelEvent>(model, mcItemTouched, where);
    EXPECT_EQ(content->GetId(), 1);
    EXPECT_EQ(content->GetChange(), 0x21);
    EXPECT_TRUE(SameObject(content->GetLocation(), where));
    EXPECT_TRUE(SameObject(content->GetModel(), model));
    EXPECT_TRUE(SameObject(content->GetSource(), model));
    EXPECT_FALSE(Make<TGraphModelEvent>(model, mcStructure)->GetLocation());

    auto l = Make<TListener>("L");
    content->Dispatch(l);
    Make<TGraphModelEvent>(model, mcChildrenReplaced)->Dispatch(l);
    Make<TGraphModelEvent>(model, 0x03)->Dispatch(l);  // id 3 calls nothing
    EXPECT_EQ(l->contents, 1);
    EXPECT_EQ(l->structures, 1);
    EXPECT_EQ(l->lastChange, 0x32);
    EXPECT_THROW(content->Dispatch(Make<TOtherListener>()), EIntfCastError) << "a listener of another kind";
}

namespace {
class TSubfocusListener : public TInterfacedObject, public virtual IGraphSubfocusListener {
public:
    explicit TSubfocusListener(bool Veto) : FVeto(Veto) {}
    void SubfocusChanging(const IntfRef<IGraphSubfocusEvent>& E) override {
        ++changing;
        location = E->GetLocation().Identity();
        if (FVeto) throw EVetoException("no");
    }
    void SubfocusChanged(const IntfRef<IGraphSubfocusEvent>&) override { ++changed; }
    int changing = 0, changed = 0;
    IInterface* location = nullptr;

private:
    bool FVeto;
};
}  // namespace

TEST(GraphEvents, SubfocusEventCarriesBothPhases) {
    auto where = Make<TLinkedTreeNode>();
    auto event = Make<TGraphSubfocusEvent>(where, 0x12, where);
    EXPECT_EQ(event->GetId(), 2) << "the id keeps the low four bits";

    TEventMulticaster caster;
    auto first = Make<TSubfocusListener>(false);
    auto vetoer = Make<TSubfocusListener>(true);
    auto last = Make<TSubfocusListener>(false);
    caster.Add(first);
    EXPECT_TRUE(caster.VetoableDispatch(event));
    EXPECT_EQ(first->changing, 1);
    EXPECT_EQ(first->location, where.Identity());
    caster.Add(vetoer);
    caster.Add(last);
    EXPECT_FALSE(caster.VetoableDispatch(event));
    EXPECT_EQ(vetoer->changing, 1);
    EXPECT_EQ(last->changing, 0) << "listeners behind the veto are not asked";
    caster.Dispatch(event);
    EXPECT_EQ(first->changed + vetoer->changed + last->changed, 3);
}

// ---- the model multicaster outside a batch -----------------------------------------

TEST_F(GraphBatch, OutsideABatchEventsPassAtOnceInOrder) {
    auto one = Make<TListener>("1");
    auto two = Make<TListener>("2");
    EXPECT_FALSE(caster->HasListeners());
    model->Touched(a);  // nobody listens: nothing
    caster->Add(one);
    caster->Add(two);
    caster->Add(one);  // no test for duplicates: told twice
    EXPECT_TRUE(caster->HasListeners());
    EXPECT_EQ(caster->Find(two), 1);
    model->Put(a, Text("A"));
    EXPECT_EQ(gLog, "1C 2C 1C ");
    EXPECT_EQ(one->lastChange, mcItemReplaced) << "not merged outside a batch";
    EXPECT_EQ(one->lastLocation, a.Identity());
    caster->Remove(one);
    caster->Remove(one);
    caster->Remove(two);
    EXPECT_FALSE(caster->HasListeners());
    EXPECT_LT(caster->Find(two), 0);
}

TEST_F(GraphBatch, AListenerThatRaisesStopsTheDispatch) {
    auto bad = Make<TListener>("bad");
    auto later = Make<TListener>("later");
    bad->onEvent = [](const IntfRef<IGraphModelEvent>&) { throw EIllegalStateException("listener failed"); };
    caster->Add(bad);
    caster->Add(later);
    EXPECT_THROW(model->Touched(a), EIllegalStateException);
    EXPECT_EQ(later->contents, 0);
}

// ---- batching ------------------------------------------------------------------------

TEST_F(GraphBatch, ThreePutsMergeIntoOneStructureEventAtTheRoot) {
    auto l = Make<TBatchListener>("L");
    caster->Add(l);
    caster->BeginUpdate();
    EXPECT_EQ(l->begins, 1);
    model->Put(a, Text("A"));
    model->Put(b, Text("B"));
    model->Touched(a);
    EXPECT_EQ(l->structures + l->contents, 0) << "held back";
    EXPECT_EQ(caster->GetPendingCount(), 3);
    caster->EndUpdate();
    EXPECT_EQ(l->structures, 1);
    EXPECT_EQ(l->contents, 0) << "content changes become one structure event";
    EXPECT_EQ(l->lastChange, mcStructure);
    EXPECT_EQ(l->lastLocation, root.Identity());
    EXPECT_EQ(l->lastModel, model.Identity());
    EXPECT_EQ(caster->GetPendingCount(), 0);
    EXPECT_EQ(gLog, "LB LS LE ") << "the merged event comes while the listener is still in its batch";
}

TEST_F(GraphBatch, MergedEventOfAModelWithoutRootHasNoLocation) {
    auto l = Make<TListener>("L");
    caster->Add(l);
    auto rootless = Make<TBasicTreeContainer>();
    rootless->AddModelListener(caster);
    auto loose = Make<TBasicTreeNode>(Text("loose"));
    caster->BeginUpdate();
    for (int i = 0; i < 3; ++i) rootless->Put(loose, Text("x"));
    caster->EndUpdate();
    EXPECT_EQ(l->structures, 1);
    EXPECT_EQ(l->lastChange, mcStructure);
    EXPECT_EQ(l->lastLocation, nullptr);
    EXPECT_EQ(l->lastModel, rootless.Identity());
}

TEST_F(GraphBatch, NestedBatchesReachListenersOnceAtTheOutermostLevel) {
    auto l = Make<TBatchListener>("L");
    caster->Add(l);
    caster->BeginUpdate();
    caster->BeginUpdate();
    EXPECT_EQ(caster->GetUpdateCount(), 2);
    model->Touched(a);
    caster->EndUpdate();
    EXPECT_EQ(l->structures, 0) << "the inner end delivers nothing";
    EXPECT_EQ(l->ends, 0);
    model->AddChild(b, Text("b1"));
    caster->BeginUpdate();
    caster->EndUpdate();
    EXPECT_EQ(caster->GetPendingCount(), 2);
    caster->EndUpdate();
    EXPECT_EQ(l->structures, 1);
    EXPECT_EQ(l->begins, 1);
    EXPECT_EQ(l->ends, 1);
    caster->EndUpdate();  // superfluous: nothing at all
    EXPECT_EQ(l->ends, 1);
    EXPECT_EQ(caster->GetUpdateCount(), 0);
}

TEST_F(GraphBatch, EmptyBatchRaisesNoModelEventButEndsTheListenersBatch) {
    auto l = Make<TBatchListener>("L");
    auto plain = Make<TListener>("P");
    caster->Add(l);
    caster->Add(plain);
    caster->BeginUpdate();
    caster->EndUpdate();
    EXPECT_EQ(l->structures + l->contents + plain->structures + plain->contents, 0);
    EXPECT_EQ(l->begins, 1);
    EXPECT_EQ(l->ends, 1);
    EXPECT_EQ(gLog, "LB LE ");
}

TEST_F(GraphBatch, ListenerAddedDuringABatchJoinsIt) {
    auto early = Make<TBatchListener>("A");
    caster->Add(early);
    caster->BeginUpdate();
    model->Touched(a);
    auto late = Make<TBatchListener>("Z");
    caster->Add(late);
    EXPECT_EQ(late->begins, 1) << "at once, to stand like the others";
    model->Touched(b);
    caster->EndUpdate();
    EXPECT_EQ(late->structures, 1);
    EXPECT_EQ(late->ends, 1);
    EXPECT_EQ(early->structures, 1);
    EXPECT_EQ(gLog, "AB ZB AS ZS AE ZE ");
}

TEST_F(GraphBatch, ListenerRemovedDuringABatchLeavesIt) {
    auto stays = Make<TBatchListener>("S");
    auto leaves = Make<TBatchListener>("L");
    caster->Add(stays);
    caster->Add(leaves);
    caster->BeginUpdate();
    model->Touched(a);
    caster->Remove(leaves);
    EXPECT_EQ(leaves->ends, 1) << "no listener leaves while held in a batch";
    caster->EndUpdate();
    EXPECT_EQ(leaves->structures, 0);
    EXPECT_EQ(leaves->ends, 1);
    EXPECT_EQ(stays->structures, 1);
}

TEST_F(GraphBatch, EventsOfTwoModelsRaiseMultipleModelsAndStayQueued) {
    auto l = Make<TBatchListener>("L");
    caster->Add(l);
    auto other = Make<TBasicTreeContainer>();
    auto otherRoot = other->SetRoot(Text("other"));
    other->AddModelListener(caster);
    caster->BeginUpdate();
    model->Touched(a);
    other->Touched(otherRoot);
    model->Touched(b);
    try {
        caster->EndUpdate();
        ADD_FAILURE() << "no exception";
    } catch (const Exception& e) {
        EXPECT_STREQ(e.what(), "Multiple models");
        EXPECT_EQ(typeid(e), typeid(Exception)) << "the plain exception class";
    }
    EXPECT_EQ(caster->GetPendingCount(), 3) << "the queue stays as it is";
    EXPECT_EQ(l->structures + l->contents, 0);
    EXPECT_EQ(l->ends, 1) << "listeners still leave their batch";
    EXPECT_EQ(caster->GetUpdateCount(), 0);
    caster->EndUpdate();  // superfluous: not even a test of the queue
    caster->BeginUpdate();
    EXPECT_THROW(caster->EndUpdate(), Exception) << "the next batch meets the same queue";
    EXPECT_EQ(caster->GetPendingCount(), 3);
    // Queued events hold their models, which hold the multicaster: let go.
    model->RemoveModelListener(caster);
    other->RemoveModelListener(caster);
}

// ---- re-entry under the lock -----------------------------------------------------------

TEST_F(GraphBatch, ListenerMayCallBackIntoTheMulticasterDuringDispatch) {
    auto self = Make<TBatchListener>("R");
    auto other = Make<TBatchListener>("O");
    TGraphModelMulticaster* mc = caster.get();
    TBatchListener* me = self.get();
    TBatchListener* newcomer = other.get();
    TBasicTreeContainer* m = model.get();
    IGraphLocation* where = root.get();
    bool done = false;
    self->onEvent = [&, mc, me, newcomer, m, where](const IntfRef<IGraphModelEvent>&) {
        if (done) return;
        done = true;
        mc->Add(newcomer);
        mc->BeginUpdate();
        m->Touched(where);
        m->Touched(where);
        mc->EndUpdate();  // a merged dispatch inside the outer one
        mc->Remove(me);
    };
    caster->Add(self);
    model->Touched(a);
    EXPECT_EQ(self->contents, 1);
    EXPECT_EQ(self->structures, 1) << "heard the nested merged event";
    EXPECT_EQ(other->structures, 1);
    EXPECT_EQ(other->contents, 0) << "added during the dispatch: not in the outer one";
    EXPECT_EQ(other->begins, 1);
    EXPECT_EQ(other->ends, 1);
    EXPECT_LT(caster->Find(self), 0);
    EXPECT_EQ(caster->Find(other), 0);
}

TEST_F(GraphBatch, BatchCallsUnderTheLockMayReenter) {
    auto l = Make<TBatchListener>("L");
    auto extra = Make<TListener>("X");
    TGraphModelMulticaster* mc = caster.get();
    TBatchListener* me = l.get();
    bool sawListeners = false;
    l->onBegin = [&, mc, me] {
        sawListeners = mc->HasListeners() && mc->Find(me) == 0;  // the lock is taken again
        mc->Add(extra);
    };
    l->onEnd = [mc, me] { mc->Remove(me); };
    caster->Add(l);
    caster->BeginUpdate();
    EXPECT_TRUE(sawListeners);
    EXPECT_EQ(caster->Find(extra), 1);
    model->Touched(a);
    caster->EndUpdate();
    EXPECT_EQ(extra->structures, 1);
    EXPECT_LT(caster->Find(l), 0) << "removed itself while the lock was held";
    EXPECT_EQ(l->ends, 1) << "removal after the batch closed calls no second EndUpdate";
}

// ---- selections ------------------------------------------------------------------------

namespace {
class TSelectionListener : public TInterfacedObject, public virtual IGraphSelectionListener {
public:
    void SelectionItemChanged(const IntfRef<IGraphSelectionEvent>& E) override { Note("I", E); }
    void SelectionChanged(const IntfRef<IGraphSelectionEvent>& E) override { Note("W", E); }
    std::vector<int> changes;
    std::vector<IInterface*> locations;
    std::string log;

private:
    void Note(const char* Kind, const IntfRef<IGraphSelectionEvent>& E) {
        log += Kind;
        changes.push_back(E->GetChange());
        locations.push_back(E->GetLocation().Identity());
    }
};

IntfRef<IInterfaceList> ListOf(std::initializer_list<IntfRef<IGraphLocation>> items) {
    auto list = NewInterfaceList();
    for (const auto& i : items) list->Add(i);
    return list;
}
}  // namespace

TEST(GraphSelection, AddRemoveAndClearRaiseItemAndWholeEvents) {
    auto sel = Make<TBasicGraphSelection>();
    auto l = Make<TSelectionListener>();
    sel->AddSelectionListener(l);
    IntfRef<IGraphLocation> x = Make<TLinkedTreeNode>(), y = Make<TLinkedTreeNode>();
    sel->Add(x);
    sel->Add(x);  // already there: nothing
    sel->Add(y);
    EXPECT_EQ(sel->GetCount(), 2);
    EXPECT_TRUE(sel->Contains(x));
    EXPECT_FALSE(sel->Contains(nullptr));
    sel->Remove(x);
    sel->Remove(x);  // not there: nothing
    EXPECT_FALSE(sel->Contains(x));
    sel->RemoveAll();
    sel->RemoveAll();  // empty: nothing
    EXPECT_EQ(l->log, "IIIW");
    EXPECT_EQ(l->changes, (std::vector<int>{scItemAdded, scItemAdded, scItemRemoved, scCleared}));
    EXPECT_EQ(l->locations[0], x.Identity());
    EXPECT_EQ(l->locations[3], nullptr);
}

TEST(GraphSelection, PutReplacesKeepingDuplicatesAndAlwaysRaises) {
    IntfRef<IGraphLocation> x = Make<TLinkedTreeNode>(), y = Make<TLinkedTreeNode>();
    auto sel = TBasicGraphSelection::Create2(ListOf({x, x, y}));
    EXPECT_EQ(sel->GetCount(), 3) << "no test for duplicates";
    auto l = Make<TSelectionListener>();
    sel->AddSelectionListener(l);
    sel->Put(ListOf({}));
    sel->Put(ListOf({}));
    EXPECT_EQ(l->changes, (std::vector<int>{scChanged, scChanged}));
    auto all = sel->GetAll();
    all->Add(x);
    EXPECT_EQ(sel->GetCount(), 0) << "GetAll is a copy";
}

TEST(GraphSelection, Add2AndRemove2StopAtTheFirstEntryThatChangedTheSelection) {
    IntfRef<IGraphLocation> a = Make<TLinkedTreeNode>(), b = Make<TLinkedTreeNode>(), c = Make<TLinkedTreeNode>();
    auto sel = Make<TBasicGraphSelection>();
    sel->Add(a);
    auto l = Make<TSelectionListener>();
    sel->AddSelectionListener(l);
    sel->Add2(ListOf({a, b, c}));
    EXPECT_TRUE(sel->Contains(b));
    EXPECT_FALSE(sel->Contains(c)) << "entries after the first change are left alone";
    EXPECT_EQ(sel->GetCount(), 2);
    sel->Add2(ListOf({a, b}));  // nothing changes: no event
    sel->Remove2(ListOf({c, b, a}));
    EXPECT_FALSE(sel->Contains(b));
    EXPECT_TRUE(sel->Contains(a)) << "not reached";
    sel->Remove2(ListOf({c}));
    EXPECT_EQ(l->changes, (std::vector<int>{scChanged, scChanged}));
}

TEST(GraphSelection, EventsOffThenOnRaiseOneWholeChange) {
    IntfRef<IGraphLocation> a = Make<TLinkedTreeNode>();
    auto sel = Make<TBasicGraphSelection>();
    auto l = Make<TSelectionListener>();
    sel->AddSelectionListener(l);
    sel->EnableSelectionEvents(true);
    sel->EnableSelectionEvents(false);
    sel->Add(a);
    sel->RemoveAll();
    EXPECT_TRUE(l->changes.empty());
    sel->EnableSelectionEvents(true);
    EXPECT_EQ(l->changes, (std::vector<int>{scChanged}));
    sel->RemoveSelectionListener(l);
    sel->Add(a);
    EXPECT_EQ(l->changes.size(), 1u);
}

TEST(GraphSelection, MulticasterRoutesByIdAndEventsDispatchByGroup) {
    IntfRef<IGraphLocation> a = Make<TLinkedTreeNode>();
    auto sel = Make<TBasicGraphSelection>();
    auto caster = Make<TGraphSelectionMulticaster>();
    sel->AddSelectionListener(caster);
    sel->Add(a);  // the multicaster has no listeners yet: nothing passes
    auto l = Make<TSelectionListener>();
    caster->Add(l);
    caster->Add(l);
    EXPECT_EQ(caster->Find(l), 0);
    sel->Remove(a);
    sel->Put(ListOf({a}));
    EXPECT_EQ(l->log, "IW");
    // The id decides, not the method called on the multicaster.
    caster->SelectionChanged(Make<TGraphSelectionEvent>(sel, scItemAdded, a));
    caster->SelectionItemChanged(Make<TGraphSelectionEvent>(sel, scRangeAdded));
    EXPECT_EQ(l->log, "IWI");
    auto e = Make<TGraphSelectionEvent>(sel, scCleared);
    EXPECT_EQ(e->GetId(), scWhole);
    EXPECT_TRUE(SameObject(e->GetSelection(), sel));
    e->Dispatch(l);
    EXPECT_EQ(l->log, "IWIW");
    caster->Remove(l);
    EXPECT_FALSE(caster->HasListeners());
}

TEST(GraphSelection, NullSelectionSelectsNothing) {
    auto sel = Make<TNullGraphSelection>();
    IntfRef<IGraphLocation> a = Make<TLinkedTreeNode>();
    auto l = Make<TSelectionListener>();
    sel->AddSelectionListener(l);
    sel->Add(a);
    sel->Put(ListOf({a}));
    sel->Add2(ListOf({a}));
    EXPECT_FALSE(sel->Contains(a));
    EXPECT_EQ(sel->GetCount(), 0);
    EXPECT_EQ(sel->GetAll()->GetCount(), 0);
    EXPECT_TRUE(l->log.empty());
}
