// The singleton and vector models, their events and selections.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/IDEVectorImpl.h"

using namespace ide;

namespace {

int gLive = 0;

struct Heard {
    std::string method;
    int change;
    int location;
    friend bool operator==(const Heard&, const Heard&) = default;
};

std::ostream& operator<<(std::ostream& os, const Heard& h) {
    return os << h.method << "/" << std::hex << h.change << std::dec << "@" << h.location;
}

class TRecorder : public TInterfacedObject,
                  public virtual IVectorModelListener,
                  public virtual ISingletonModelListener,
                  public virtual IVectorSelectionListener,
                  public virtual IVectorSubfocusListener {
public:
    TRecorder() { ++gLive; }
    ~TRecorder() override { --gLive; }
    void ModelStructureChanged(const IntfRef<IVectorModelEvent>& E) override {
        Log.push_back({"structure", E->GetChange(), E->GetLocation()});
    }
    void ModelContentChanged(const IntfRef<IVectorModelEvent>& E) override {
        Log.push_back({"content", E->GetChange(), E->GetLocation()});
    }
    void ModelContentChanged(const IntfRef<ISingletonModelEvent>& E) override {
        Log.push_back({"single", E->GetId(), 0});
    }
    void SelectionItemChanged(const IntfRef<IVectorSelectionEvent>& E) override {
        Log.push_back({"item", E->GetChange(), E->GetLocation()});
        Ranges.push_back({E->GetRangeStart(), E->GetRangeEnd()});
    }
    void SelectionRangeChanged(const IntfRef<IVectorSelectionEvent>& E) override {
        Log.push_back({"range", E->GetChange(), E->GetLocation()});
        Ranges.push_back({E->GetRangeStart(), E->GetRangeEnd()});
    }
    void SelectionChanged(const IntfRef<IVectorSelectionEvent>& E) override {
        Log.push_back({"whole", E->GetChange(), E->GetLocation()});
    }
    void SubfocusChanging(const IntfRef<IVectorSubfocusEvent>& E) override {
        Log.push_back({"changing", E->GetId(), E->GetLocation()});
        if (Veto) throw EVetoException("vetoed");
    }
    void SubfocusChanged(const IntfRef<IVectorSubfocusEvent>& E) override {
        Log.push_back({"changed", E->GetId(), E->GetLocation()});
    }
    std::vector<Heard> Log;
    std::vector<std::pair<int, int>> Ranges;
    bool Veto = false;
};

using Log = std::vector<Heard>;

class Models : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(gLive, 0) << "listeners left alive"; }
};

IntfRef<IInterface> Text(const char16_t* s) { return Make<TTextObject>(s); }

IntfRef<IInterfaceList> Indexes(std::initializer_list<int> values) {
    auto list = NewInterfaceList();
    for (int v : values) list->Add(Make<TIntegerObject>(v));
    return list;
}

}  // namespace

TEST_F(Models, EventIdsAndChanges) {
    auto c = Make<TBasicVectorContainer>();
    auto e = TVectorModelEvent::Create2(c, mcItemTouched, 4);
    EXPECT_EQ(e->GetId(), 1);
    EXPECT_EQ(e->GetChange(), 0x21);
    EXPECT_EQ(e->GetLocation(), 4);
    EXPECT_EQ(Make<TVectorModelEvent>(c, mcStructure)->GetLocation(), 0);
    auto s = Make<TVectorSelectionEvent>(Make<TNullVectorSelection>(), scChanged);
    EXPECT_EQ(s->GetId(), 0x3000);
    EXPECT_EQ(s->GetChange(), 0x3002);
}

TEST_F(Models, SingletonContainer) {
    auto s = Make<TBasicSingletonContainer>();
    ASSERT_TRUE(s->Get());
    EXPECT_EQ(As<IStringObject>(s->Get())->GetString(), u"");
    auto r = Make<TRecorder>();
    s->AddModelListener(r);
    IntfRef<IInterface> item = s->Get();
    s->Touched();  // same object, still an event
    EXPECT_TRUE(SameObject(s->Get(), item));
    s->Put(Text(u"a"));
    s->Put(s->Get());  // the same object again: still an event
    EXPECT_EQ(r->Log.size(), 3u);
    // No text: the cast fails and the old item stays.
    EXPECT_THROW(s->Put(Make<TIntegerObject>(3)), EIntfCastError);
    EXPECT_EQ(As<IStringObject>(s->Get())->GetString(), u"a");
    r->Log.clear();
    s->EnableModelEvents(false);
    s->Put(Text(u"b"));
    s->Put(Text(u"c"));
    EXPECT_TRUE(r->Log.empty());
    s->EnableModelEvents(true);
    s->EnableModelEvents(true);  // already on: nothing
    EXPECT_EQ(r->Log, (Log{{"single", 1, 0}}));
    EXPECT_THROW(TBasicSingletonContainer::Create2(Make<TIntegerObject>(1)), EIntfCastError);
    EXPECT_EQ(As<IStringObject>(TBasicSingletonContainer::Create2(Text(u"z"))->Get())->GetString(), u"z");
    s->RemoveModelListener(r);
}

TEST_F(Models, VectorContainerEventsAndLocations) {
    auto c = Make<TBasicVectorContainer>();
    auto r = Make<TRecorder>();
    c->AddModelListener(r);
    c->RemoveAll();  // empty: nothing
    c->AddItem(Text(u"a"));        // location is the count after adding
    c->InsertItem(0, Text(u"b"));  // location is the new index
    c->Put(1, Text(u"c"));
    c->Touched(1);
    c->Touched(2);  // past the end: nothing
    c->Remove(0);
    c->RemoveAll();
    EXPECT_EQ(r->Log, (Log{{"structure", 0x12, 1},
                           {"structure", 0x12, 0},
                           {"content", 0x11, 1},
                           {"content", 0x21, 1},
                           {"structure", 0x22, 0},
                           {"structure", 0x02, 0}}));
    EXPECT_FALSE(c->Get(-1));
    EXPECT_FALSE(c->Get(c->GetCount()));
    EXPECT_THROW(c->Put(5, Text(u"x")), EListError);
    c->RemoveModelListener(r);
}

// CanModify answers "below the count" and nothing more: a negative index
// may be modified by that answer, the count itself may not.
TEST_F(Models, VectorCanModifyMeansBelowTheCount) {
    auto c = Make<TBasicVectorContainer>();
    EXPECT_TRUE(c->CanModify(-1));
    EXPECT_FALSE(c->CanModify(0));
    c->AddItem(Text(u"a"));
    EXPECT_TRUE(c->CanModify(0));
    EXPECT_TRUE(c->CanModify(-100));
    EXPECT_FALSE(c->CanModify(1));
}

TEST_F(Models, VectorContainerFixedSize) {
    auto c = Make<TBasicVectorContainer>();
    c->SetCount(3);
    EXPECT_EQ(c->GetCount(), 3);
    EXPECT_FALSE(c->Get(2));
    auto r = Make<TRecorder>();
    c->AddModelListener(r);
    c->SetVariableSize(false);
    c->AddItem(Text(u"a"));
    c->InsertItem(0, Text(u"a"));
    c->Remove(0);
    c->RemoveAll();
    c->SetCount(1);
    EXPECT_EQ(c->GetCount(), 3);
    EXPECT_TRUE(r->Log.empty());
    c->Put(0, Text(u"p"));  // Put still works
    EXPECT_EQ(r->Log.size(), 1u);
    c->SetVariableSize(true);
    c->SetCount(1);
    EXPECT_EQ(c->GetCount(), 1);
    EXPECT_EQ(As<IStringObject>(c->Get(0))->GetString(), u"p");
    c->RemoveModelListener(r);
}

TEST_F(Models, VectorContainerItemsAreCopiesAndCreatorsReserveOnly) {
    auto list = NewInterfaceList();
    list->Add(Text(u"a"));
    auto c = TBasicVectorContainer::Create2(10);
    EXPECT_EQ(c->GetCount(), 0);
    EXPECT_EQ(TBasicVectorContainer::Create4(list)->GetCount(), 0);
    EXPECT_EQ(TBasicVectorContainer::Create3(5, Text(u"x"))->GetCount(), 0);
    c->SetItems(list);
    list->Add(Text(u"b"));
    EXPECT_EQ(c->GetCount(), 1);
    auto items = c->GetItems();
    items->Clear();
    EXPECT_EQ(c->GetCount(), 1);
    EXPECT_EQ(c->GetArray()->GetCount(), 1);
    EXPECT_EQ(c->Find(c->Get(0)), 0);
    EXPECT_LT(c->Find(Text(u"a")), 0);  // by reference, not by text
}

TEST_F(Models, DisabledEventsAreDroppedAndReenablingSaysEverything) {
    auto c = Make<TBasicVectorContainer>();
    auto r = Make<TRecorder>();
    c->AddModelListener(r);
    c->EnableModelEvents(false);
    c->AddItem(Text(u"a"));
    c->AddItem(Text(u"b"));
    c->EnableModelEvents(true);
    EXPECT_EQ(r->Log, (Log{{"structure", 0x02, 0}}));
    c->RemoveModelListener(r);
}

TEST_F(Models, ListenerThatUnregistersDuringAnEventLeavesNothingAlive) {
    auto c = Make<TBasicVectorContainer>();
    class TOneShot : public TRecorder {
    public:
        IntfRef<TBasicVectorContainer> Model;
        void ModelStructureChanged(const IntfRef<IVectorModelEvent>& E) override {
            TRecorder::ModelStructureChanged(E);
            Model->RemoveModelListener(IntfRef<IVectorModelListener>::Retain(this));
            Model = nullptr;
        }
    };
    {
        auto one = Make<TOneShot>();
        one->Model = c;
        c->AddModelListener(one);
    }
    EXPECT_EQ(gLive, 1);  // the model holds its listener
    c->AddItem(Text(u"a"));
    EXPECT_EQ(gLive, 0);  // it removed itself and died after the dispatch
    c->AddItem(Text(u"b"));
}

TEST_F(Models, TypedMulticasterPicksMethodById) {
    auto m = Make<TVectorModelMulticaster>();
    auto c = Make<TBasicVectorContainer>();
    m->ModelContentChanged(Make<TVectorModelEvent>(c, mcStructure));  // no listeners: nothing
    auto r = Make<TRecorder>();
    m->Add(r);
    m->Add(r);
    c->AddModelListener(m);
    c->AddItem(Text(u"a"));
    // Called through ModelContentChanged with a structure id: structure.
    m->ModelContentChanged(Make<TVectorModelEvent>(c, mcStructure));
    m->ModelStructureChanged(Make<TVectorModelEvent>(c, 0x05));  // unknown id: nothing
    EXPECT_EQ(r->Log, (Log{{"structure", 0x12, 1}, {"structure", 0x02, 0}}));

    auto sm = Make<TVectorSelectionMulticaster>();
    sm->Add(r);
    auto sel = Make<TBasicVectorSelection>();
    sel->AddSelectionListener(sm);
    r->Log.clear();
    sel->Add(1);
    sel->AddRange(4, 5);
    sel->RemoveAll();
    EXPECT_EQ(r->Log, (Log{{"item", 0x1001, 1}, {"range", 0x2001, 4}, {"whole", 0x3001, 0}}));
    sel->RemoveSelectionListener(sm);
    c->RemoveModelListener(m);
    m->Remove(r);
    sm->Remove(r);
}

TEST_F(Models, SubfocusEventCarriesBothPhasesAndVeto) {
    TEventMulticaster listeners;
    auto first = Make<TRecorder>(), second = Make<TRecorder>();
    listeners.Add(first);
    listeners.Add(second);
    auto e = Make<TVectorSubfocusEvent>(nullptr, sfeChanging, 3);
    EXPECT_TRUE(listeners.VetoableDispatch(e));
    listeners.Dispatch(e);
    EXPECT_EQ(first->Log, (Log{{"changing", 1, 3}, {"changed", 1, 3}}));
    first->Veto = true;
    EXPECT_FALSE(listeners.VetoableDispatch(Make<TVectorSubfocusEvent>(nullptr, sfeChanging, 4)));
    EXPECT_EQ(second->Log.size(), 2u);  // never asked about 4
    listeners.Remove(first);
    listeners.Remove(second);
}

TEST_F(Models, SingleSelection) {
    auto s = Make<TSingleVectorSelection>();
    auto r = Make<TRecorder>();
    s->AddSelectionListener(r);
    EXPECT_EQ(s->GetCount(), 0);
    EXPECT_EQ(s->GetAll()->GetCount(), 0);
    s->AddRange(2, 5);  // collapses to the range's end
    EXPECT_TRUE(s->Contains(5));
    EXPECT_FALSE(s->Contains(2));
    s->Add(5);  // unchanged: no event
    s->RemoveRange(2, 5);
    EXPECT_EQ(s->GetCount(), 0);
    s->Add(6);
    s->RemoveRange(2, 5);  // 6 stays
    EXPECT_TRUE(s->Contains(6));
    s->Put(Indexes({8, 9}));  // only the first counts
    EXPECT_EQ(As<IIndexObject>(s->GetAll()->Get(0))->GetIndex(), 8);
    s->Remove2(Indexes({1, 8, 8}));
    s->Remove(3);  // not selected: nothing
    s->RemoveAll();  // already empty: nothing
    EXPECT_EQ(r->Log, (Log{{"whole", 0x3002, 0},
                           {"whole", 0x3001, 0},
                           {"whole", 0x3002, 0},
                           {"whole", 0x3002, 0},
                           {"whole", 0x3001, 0}}));
    // Enabling when already on raises a whole-selection event and stores
    // nothing; disabling does nothing and events stay on.
    r->Log.clear();
    s->EnableSelectionEvents(true);
    s->EnableSelectionEvents(false);
    s->Add(1);
    EXPECT_EQ(r->Log, (Log{{"whole", 0x3002, 0}, {"whole", 0x3002, 0}}));
    s->RemoveSelectionListener(r);
}

TEST_F(Models, SetSelectionComparesByReference) {
    auto s = Make<TBasicVectorSelection>();
    auto r = Make<TRecorder>();
    s->AddSelectionListener(r);
    s->Add(4);
    s->Add(4);  // fresh objects never match: two entries
    EXPECT_EQ(s->GetCount(), 2);
    s->Remove(4);  // never finds it
    s->Remove2(Indexes({4}));
    s->RemoveRange(0, 10);
    EXPECT_TRUE(s->Contains(4));
    EXPECT_EQ(s->GetCount(), 2);
    EXPECT_EQ(r->Log, (Log{{"item", 0x1001, 4}, {"item", 0x1001, 4}}));
    r->Log.clear();
    r->Ranges.clear();
    s->RemoveAll();
    s->RemoveAll();  // empty: nothing
    s->AddRange(7, 3);  // stores 3 alone, reports the range as given
    EXPECT_EQ(s->GetCount(), 1);
    EXPECT_TRUE(s->Contains(3));
    EXPECT_FALSE(s->Contains(7));
    s->Add2(Indexes({1, 2}));  // only the first
    EXPECT_TRUE(s->Contains(1));
    EXPECT_FALSE(s->Contains(2));
    EXPECT_EQ(r->Log, (Log{{"whole", 0x3001, 0}, {"range", 0x2001, 7}, {"whole", 0x3002, 0}}));
    EXPECT_EQ(r->Ranges, (std::vector<std::pair<int, int>>{{7, 3}}));
    // GetAll hands out copies.
    auto all = s->GetAll();
    EXPECT_FALSE(SameObject(all->Get(0), s->GetAll()->Get(0)));
    // Put replaces everything, duplicates included, and always tells.
    r->Log.clear();
    s->Put(Indexes({5, 5}));
    EXPECT_EQ(s->GetCount(), 2);
    EXPECT_EQ(r->Log, (Log{{"whole", 0x3002, 0}}));
    s->RemoveSelectionListener(r);
}

TEST_F(Models, SetSelectionEventsSwitchAndCreate2) {
    auto s = TBasicVectorSelection::Create2(Indexes({1, 2}));
    EXPECT_EQ(s->GetCount(), 2);
    auto r = Make<TRecorder>();
    s->AddSelectionListener(r);
    s->EnableSelectionEvents(false);
    s->Add(3);
    s->EnableSelectionEvents(true);
    s->EnableSelectionEvents(true);
    EXPECT_EQ(r->Log, (Log{{"whole", 0x3002, 0}}));
    s->RemoveSelectionListener(r);

    auto n = Make<TNullVectorSelection>();
    n->Add(1);
    n->AddSelectionListener(r);
    EXPECT_FALSE(n->Contains(1));
    EXPECT_EQ(n->GetCount(), 0);
    EXPECT_EQ(n->GetAll()->GetCount(), 0);
}
