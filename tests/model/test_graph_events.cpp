// Graph events, the batching model multicaster (merging, nesting, listeners
// joining and leaving a batch, several models, re-entry under its lock), the
// subfocus phases and the graph selections.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

// Every listener appends "<name><what> " here: S structure, C content,
// B BeginUpdate, E EndUpdate.
std::string gLog;
std::string TakeLog() { return std::exchange(gLog, std::string()); }

class TListener : public TInterfacedObject, public virtual IGraphModelListener {
public:
    explicit TListener(std::string Name) : FName(std::move(Name)) {}
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override { Note('S', E); }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override { Note('C', E); }
    int lastChange = 0;
    IInterface* lastLocation = nullptr;
    IInterface* lastModel = nullptr;
    std::function<void()> onEvent;

protected:
    void Note(char Kind, const IntfRef<IGraphModelEvent>& E) {
        lastChange = E->GetChange();
        lastLocation = E->GetLocation().Identity();
        lastModel = E->GetModel().Identity();
        gLog += FName + Kind + " ";
        if (onEvent) onEvent();
    }
    std::string FName;
};

class TBatchListener : public TListener, public virtual IBatchUpdate {
public:
    using TListener::TListener;
    void BeginUpdate() override {
        gLog += FName + "B ";
        if (onBegin) onBegin();
    }
    void EndUpdate() override {
        gLog += FName + "E ";
        if (onEnd) onEnd();
    }
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
    gLog.clear();
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
    EXPECT_EQ(TakeLog(), "LC LS ");
    EXPECT_THROW(content->Dispatch(Make<TOtherListener>()), EIntfCastError) << "a listener of another kind";
}

TEST(GraphEvents, SubfocusEventCarriesBothPhases) {
    class TSubfocusListener : public TInterfacedObject, public virtual IGraphSubfocusListener {
    public:
        TSubfocusListener(std::string& Log, bool Veto) : FLog(Log), FVeto(Veto) {}
        void SubfocusChanging(const IntfRef<IGraphSubfocusEvent>& E) override {
            FLog += E->GetLocation() ? "changing " : "changing-nowhere ";
            if (FVeto) throw EVetoException("no");
        }
        void SubfocusChanged(const IntfRef<IGraphSubfocusEvent>&) override { FLog += "changed "; }

    private:
        std::string& FLog;
        bool FVeto;
    };
    std::string log;
    auto where = Make<TLinkedTreeNode>();
    auto event = Make<TGraphSubfocusEvent>(where, 0x12, where);
    EXPECT_EQ(event->GetId(), 2) << "the id keeps the low four bits";
    TEventMulticaster caster;
    caster.Add(Make<TSubfocusListener>(log, false));
    EXPECT_TRUE(caster.VetoableDispatch(event));
    caster.Add(Make<TSubfocusListener>(log, true));
    caster.Add(Make<TSubfocusListener>(log, false));
    EXPECT_FALSE(caster.VetoableDispatch(event));
    EXPECT_EQ(log, "changing changing changing ") << "listeners behind the veto are not asked";
    log.clear();
    caster.Dispatch(event);
    EXPECT_EQ(log, "changed changed changed ");
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
    EXPECT_EQ(caster->Find(two), 1);
    model->Put(a, Text("A"));
    EXPECT_EQ(TakeLog(), "1C 2C 1C ");
    EXPECT_EQ(one->lastChange, mcItemReplaced) << "not merged outside a batch";
    EXPECT_EQ(one->lastLocation, a.Identity());
    caster->Remove(one);
    caster->Remove(one);
    caster->Remove(two);
    EXPECT_FALSE(caster->HasListeners());

    // A listener that raises ends the dispatch; the exception reaches the raiser.
    auto bad = Make<TListener>("bad");
    bad->onEvent = [] { throw EIllegalStateException("listener failed"); };
    caster->Add(bad);
    caster->Add(two);
    EXPECT_THROW(model->Touched(a), EIllegalStateException);
    EXPECT_EQ(TakeLog(), "badC ");
}

// ---- batching ------------------------------------------------------------------------

TEST_F(GraphBatch, ThreePutsMergeIntoOneStructureEventAtTheRoot) {
    auto l = Make<TBatchListener>("L");
    caster->Add(l);
    caster->BeginUpdate();
    model->Put(a, Text("A"));
    model->Put(b, Text("B"));
    model->Touched(a);
    EXPECT_EQ(TakeLog(), "LB ") << "held back";
    EXPECT_EQ(caster->GetPendingCount(), 3);
    caster->EndUpdate();
    EXPECT_EQ(TakeLog(), "LS LE ") << "one structure event, while the listener is still in its batch";
    EXPECT_EQ(l->lastChange, mcStructure);
    EXPECT_EQ(l->lastLocation, root.Identity());
    EXPECT_EQ(l->lastModel, model.Identity());
    EXPECT_EQ(caster->GetPendingCount(), 0);

    // The merged event of a model without root has no location.
    auto rootless = Make<TBasicTreeContainer>();
    rootless->AddModelListener(caster);
    auto loose = Make<TBasicTreeNode>(Text("loose"));
    caster->BeginUpdate();
    for (int i = 0; i < 3; ++i) rootless->Put(loose, Text("x"));
    caster->EndUpdate();
    EXPECT_EQ(TakeLog(), "LB LS LE ");
    EXPECT_EQ(l->lastChange, mcStructure);
    EXPECT_EQ(l->lastLocation, nullptr);
    EXPECT_EQ(l->lastModel, rootless.Identity());
}

TEST_F(GraphBatch, NestedBatchesReachListenersOnceAtTheOutermostLevel) {
    auto l = Make<TBatchListener>("L");
    auto plain = Make<TListener>("P");
    caster->Add(l);
    caster->Add(plain);
    caster->BeginUpdate();
    caster->BeginUpdate();
    EXPECT_EQ(caster->GetUpdateCount(), 2);
    model->Touched(a);
    caster->EndUpdate();  // the inner end delivers nothing
    model->AddChild(b, Text("b1"));
    caster->BeginUpdate();
    caster->EndUpdate();
    EXPECT_EQ(TakeLog(), "LB ");
    EXPECT_EQ(caster->GetPendingCount(), 2);
    caster->EndUpdate();
    EXPECT_EQ(TakeLog(), "LS PS LE ");
    caster->EndUpdate();  // superfluous: nothing at all
    EXPECT_EQ(caster->GetUpdateCount(), 0);

    // A batch without changes raises no model event, but still ends the
    // listeners' batch.
    caster->BeginUpdate();
    caster->EndUpdate();
    EXPECT_EQ(TakeLog(), "LB LE ");
}

TEST_F(GraphBatch, ListenersJoiningOrLeavingABatch) {
    auto early = Make<TBatchListener>("A");
    auto leaves = Make<TBatchListener>("X");
    caster->Add(early);
    caster->Add(leaves);
    caster->BeginUpdate();
    model->Touched(a);
    auto late = Make<TBatchListener>("Z");
    caster->Add(late);  // BeginUpdate at once, to stand like the others
    caster->Remove(leaves);  // EndUpdate at once: no listener leaves while held
    EXPECT_EQ(TakeLog(), "AB XB ZB XE ");
    model->Touched(b);
    caster->EndUpdate();
    EXPECT_EQ(TakeLog(), "AS ZS AE ZE ");
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
    EXPECT_EQ(TakeLog(), "LB LE ") << "no event, but listeners still leave their batch";
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
    TBatchListener *me = self.get(), *newcomer = other.get();
    TBasicTreeContainer* m = model.get();
    IGraphLocation* where = root.get();
    bool done = false;
    self->onEvent = [&done, mc, me, newcomer, m, where] {
        if (done) return;
        done = true;
        mc->Add(Retain(newcomer));
        mc->BeginUpdate();
        m->Touched(Retain(where));
        m->Touched(Retain(where));
        mc->EndUpdate();  // a merged dispatch inside the outer one
        mc->Remove(Retain(me));
    };
    caster->Add(self);
    model->Touched(a);
    // R hears the content event, opens a batch (R and O begin), the merged
    // event reaches both, the batch ends; O was not in the outer dispatch.
    EXPECT_EQ(TakeLog(), "RC RB OB RS OS RE OE ");
    EXPECT_LT(caster->Find(self), 0);
    EXPECT_EQ(caster->Find(other), 0);
}

TEST_F(GraphBatch, BatchCallsUnderTheLockMayReenter) {
    auto l = Make<TBatchListener>("L");
    auto extra = Make<TListener>("X");
    TGraphModelMulticaster* mc = caster.get();
    TBatchListener* me = l.get();
    TListener* more = extra.get();
    bool sawItself = false;
    l->onBegin = [&sawItself, mc, me, more] {
        sawItself = mc->HasListeners() && mc->Find(Retain(me)) == 0;  // the lock is taken again
        mc->Add(Retain(more));
    };
    l->onEnd = [mc, me] { mc->Remove(Retain(me)); };
    caster->Add(l);
    caster->BeginUpdate();
    EXPECT_TRUE(sawItself);
    EXPECT_EQ(caster->Find(extra), 1);
    model->Touched(a);
    caster->EndUpdate();
    EXPECT_EQ(TakeLog(), "LB LS XS LE ") << "removal after the batch closed calls no second EndUpdate";
    EXPECT_LT(caster->Find(l), 0);
}

// ---- selections ------------------------------------------------------------------------

namespace {
// Records "I1001" for item events, "W3002" for whole events.
class TSelectionListener : public TInterfacedObject, public virtual IGraphSelectionListener {
public:
    void SelectionItemChanged(const IntfRef<IGraphSelectionEvent>& E) override { Note('I', E); }
    void SelectionChanged(const IntfRef<IGraphSelectionEvent>& E) override { Note('W', E); }
    std::string log;
    std::vector<IInterface*> locations;

private:
    void Note(char Kind, const IntfRef<IGraphSelectionEvent>& E) {
        char change[8];
        std::snprintf(change, sizeof change, "%X", E->GetChange());
        log += std::string(log.empty() ? "" : " ") + Kind + change;
        locations.push_back(E->GetLocation().Identity());
    }
};

IntfRef<IInterfaceList> ListOf(std::initializer_list<IntfRef<IGraphLocation>> items) {
    auto list = NewInterfaceList();
    for (const auto& i : items) list->Add(i);
    return list;
}

IntfRef<IGraphLocation> Loc() { return Make<TLinkedTreeNode>(); }
}  // namespace

TEST(GraphSelection, SingleItemsPutAndClear) {
    IntfRef<IGraphLocation> x = Loc(), y = Loc();
    auto sel = TBasicGraphSelection::Create2(ListOf({x, x, y}));
    EXPECT_EQ(sel->GetCount(), 3) << "Put keeps duplicates";
    auto l = Make<TSelectionListener>();
    sel->AddSelectionListener(l);
    sel->Put(ListOf({}));
    sel->Put(ListOf({}));  // always raises
    sel->Add(x);
    sel->Add(x);  // already there: nothing
    sel->Add(y);
    EXPECT_TRUE(sel->Contains(x));
    EXPECT_FALSE(sel->Contains(nullptr));
    sel->Remove(x);
    sel->Remove(x);  // not there: nothing
    EXPECT_FALSE(sel->Contains(x));
    auto all = sel->GetAll();
    all->Add(x);
    EXPECT_EQ(sel->GetCount(), 1) << "GetAll is a copy";
    sel->RemoveAll();
    sel->RemoveAll();  // empty: nothing
    EXPECT_EQ(l->log, "W3002 W3002 I1001 I1001 I1002 W3001");
    EXPECT_EQ(l->locations[2], x.Identity());
    EXPECT_EQ(l->locations[5], nullptr);

    sel->EnableSelectionEvents(true);  // already on: nothing
    sel->EnableSelectionEvents(false);
    sel->Add(x);
    sel->EnableSelectionEvents(true);
    sel->RemoveSelectionListener(l);
    sel->Add(y);
    EXPECT_EQ(l->log, "W3002 W3002 I1001 I1001 I1002 W3001 W3002");
}

TEST(GraphSelection, Add2AndRemove2StopAtTheFirstEntryThatChangedTheSelection) {
    IntfRef<IGraphLocation> a = Loc(), b = Loc(), c = Loc();
    auto sel = Make<TBasicGraphSelection>();
    sel->Add(a);
    auto l = Make<TSelectionListener>();
    sel->AddSelectionListener(l);
    sel->Add2(ListOf({a, b, c}));
    EXPECT_TRUE(sel->Contains(b));
    EXPECT_FALSE(sel->Contains(c)) << "entries after the first change are left alone";
    sel->Add2(ListOf({a, b}));  // nothing changes: no event
    sel->Remove2(ListOf({c, b, a}));
    EXPECT_FALSE(sel->Contains(b));
    EXPECT_TRUE(sel->Contains(a)) << "not reached";
    sel->Remove2(ListOf({c}));
    EXPECT_EQ(l->log, "W3002 W3002");
}

TEST(GraphSelection, MulticasterRoutesByIdAndNullSelectionSelectsNothing) {
    IntfRef<IGraphLocation> a = Loc();
    auto sel = Make<TBasicGraphSelection>();
    auto caster = Make<TGraphSelectionMulticaster>();
    sel->AddSelectionListener(caster);
    sel->Add(a);  // the multicaster has no listeners yet: nothing passes
    auto l = Make<TSelectionListener>();
    caster->Add(l);
    caster->Add(l);  // present once
    sel->Remove(a);
    sel->Put(ListOf({a}));
    // The id decides, not the method called on the multicaster; a range id
    // calls nothing on a graph listener.
    caster->SelectionChanged(Make<TGraphSelectionEvent>(sel, scItemAdded, a));
    caster->SelectionItemChanged(Make<TGraphSelectionEvent>(sel, scRangeAdded));
    auto e = Make<TGraphSelectionEvent>(sel, scCleared);
    EXPECT_EQ(e->GetId(), scWhole);
    EXPECT_TRUE(SameObject(e->GetSelection(), sel));
    e->Dispatch(l);
    EXPECT_EQ(l->log, "I1002 W3002 I1001 W3001");
    caster->Remove(l);
    EXPECT_FALSE(caster->HasListeners());

    auto null = Make<TNullGraphSelection>();
    null->AddSelectionListener(l);
    null->Add(a);
    null->Put(ListOf({a}));
    null->Add2(ListOf({a}));
    EXPECT_FALSE(null->Contains(a));
    EXPECT_EQ(null->GetCount(), 0);
    EXPECT_EQ(null->GetAll()->GetCount(), 0);
    EXPECT_EQ(l->log, "I1002 W3002 I1001 W3001") << "nothing raised";
}
