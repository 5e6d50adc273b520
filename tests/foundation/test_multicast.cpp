// The list multicaster, its veto protocol, and the listener tree.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/IDEUIMulticast.h"

using namespace ide;

namespace {

int gLive = 0;

// A listener that records its calls into a shared log and may run a hook.
struct ITestListener : virtual IEventListener {
    IDE_INTERFACE(ITestListener, "C0FFEE01-0000-4000-8000-000000000001")
    virtual void Heard(int Value) = 0;
};

class TTestListener : public TInterfacedObject, public virtual ITestListener, public virtual IActionListener {
public:
    TTestListener(std::string Name, std::vector<std::string>* Log) : FName(std::move(Name)), FLog(Log) { ++gLive; }
    ~TTestListener() override { --gLive; }
    void Heard(int Value) override {
        FLog->push_back(FName + ":" + std::to_string(Value));
        if (Hook) Hook();
    }
    void ActionPerformed(const IntfRef<IActionEvent>& E) override {
        FLog->push_back(FName + ":" + Utf8(E->GetActionCommand()));
        if (Hook) Hook();
    }
    std::function<void()> Hook;

private:
    std::string FName;
    std::vector<std::string>* FLog;
};

class TTestEvent : public TDispatchableEvent, public virtual IVetoableDispatch, public virtual IExceptionDispatch {
public:
    explicit TTestEvent(int Value) : TDispatchableEvent(nullptr), FValue(Value) { ++gLive; }
    ~TTestEvent() override { --gLive; }
    void Dispatch(const IntfRef<IEventListener>& L) override { As<ITestListener>(L)->Heard(FValue); }
    void VetoableDispatch(const IntfRef<IEventListener>& L) override { As<ITestListener>(L)->Heard(-FValue); }
    void ExceptionDispatch(const IntfRef<IEventListener>& L) override { As<ITestListener>(L)->Heard(1000 + FValue); }

private:
    int FValue;
};

class Multicast : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(gLive, 0) << "objects left alive"; }
    IntfRef<TTestListener> L(const std::string& name) { return Make<TTestListener>(name, &log); }
    std::vector<std::string> log;
};

using Log = std::vector<std::string>;

}  // namespace

TEST_F(Multicast, DispatchInRegistrationOrderAndNoListenersIsFine) {
    TEventMulticaster m;
    m.Dispatch(Make<TTestEvent>(1));
    EXPECT_TRUE(m.VetoableDispatch(Make<TTestEvent>(1)));
    auto a = L("a"), b = L("b"), c = L("c");
    m.Add(a);
    m.Add(b);
    m.Add(c);
    m.Add(a);  // present once at most
    EXPECT_EQ(m.Listeners()->GetCount(), 3);
    m.Dispatch(Make<TTestEvent>(7));
    m.ExceptionDispatch(Make<TTestEvent>(7));
    EXPECT_EQ(log, (Log{"a:7", "b:7", "c:7", "a:1007", "b:1007", "c:1007"}));
    EXPECT_EQ(m.Find(b), 1);
    m.Remove(b);
    m.Remove(b);  // absent: nothing
    EXPECT_LT(m.Find(b), 0);
}

TEST_F(Multicast, ChangesDuringDispatchTakeEffectNextTime) {
    TEventMulticaster m;
    auto a = L("a"), b = L("b"), late = L("late");
    a->Hook = [&] {
        m.Remove(a);  // removes itself
        m.Add(late);
    };
    m.Add(a);
    m.Add(b);
    m.Dispatch(Make<TTestEvent>(1));
    EXPECT_EQ(log, (Log{"a:1", "b:1"}));
    log.clear();
    m.Dispatch(Make<TTestEvent>(2));
    EXPECT_EQ(log, (Log{"b:2", "late:2"}));
    a->Hook = nullptr;
}

TEST_F(Multicast, ListenerRemovingAnotherDoesNotSkipIt) {
    TEventMulticaster m;
    auto a = L("a"), b = L("b");
    a->Hook = [&] { m.Remove(b); };
    m.Add(a);
    m.Add(b);
    m.Dispatch(Make<TTestEvent>(3));
    EXPECT_EQ(log, (Log{"a:3", "b:3"}));
    a->Hook = nullptr;
}

TEST_F(Multicast, VetoStopsTheLoopOtherExceptionsPass) {
    TEventMulticaster m;
    auto a = L("a"), b = L("b"), c = L("c");
    m.Add(a);
    m.Add(b);
    m.Add(c);
    b->Hook = [] { throw EVetoException("no"); };
    EXPECT_FALSE(m.VetoableDispatch(Make<TTestEvent>(4)));
    EXPECT_EQ(log, (Log{"a:-4", "b:-4"}));  // c never asked, a not told of the veto
    log.clear();
    b->Hook = [] { throw EIllegalStateException("boom"); };
    EXPECT_THROW(m.VetoableDispatch(Make<TTestEvent>(5)), EIllegalStateException);
    EXPECT_EQ(log, (Log{"a:-5", "b:-5"}));
    log.clear();
    // A veto in a plain dispatch is just an exception to the raiser.
    b->Hook = [] { throw EVetoException("no"); };
    EXPECT_THROW(m.Dispatch(Make<TTestEvent>(6)), EVetoException);
    EXPECT_EQ(log, (Log{"a:6", "b:6"}));
    b->Hook = nullptr;
}

TEST_F(Multicast, Add2AndRemove2) {
    auto a = L("a");
    TEventMulticaster* m = TEventMulticaster::Add2(nullptr, a);
    ASSERT_NE(m, nullptr);
    EXPECT_TRUE(m->HasListeners());
    EXPECT_EQ(TEventMulticaster::Add2(m, L("b")), m);
    EXPECT_EQ(TEventMulticaster::Remove2(nullptr, a), nullptr);
    EXPECT_EQ(TEventMulticaster::Remove2(m, a), m);
    IntfRef<IEventListener> b = As<IEventListener>(m->Listeners()->Get(0));
    EXPECT_EQ(TEventMulticaster::Remove2(m, b), nullptr);
    EXPECT_FALSE(m->HasListeners());  // the emptied caster is still the caller's
    delete m;
}

TEST_F(Multicast, FindIsVirtualSoSubclassesDecideSameness) {
    // A caster that treats every listener as already present adds nothing.
    class TClosed : public TEventMulticaster {
    public:
        int Find(const IntfRef<IEventListener>&) override { return 0; }
    };
    TClosed m;
    m.Add(L("a"));
    EXPECT_FALSE(m.HasListeners());
}

TEST_F(Multicast, ActionAndKeyMulticastersGuardAndPickByEventId) {
    auto am = Make<TActionMulticaster>();
    am->ActionPerformed(TActionEvent::Create2(nullptr, ACTION_PERFORMED, u"none"));  // no listeners: fine
    auto a = L("a");
    am->Add(a);
    am->Add(a);
    am->ActionPerformed(TActionEvent::Create2(nullptr, ACTION_PERFORMED, u"go"));
    EXPECT_EQ(log, (Log{"a:go"}));

    struct TKeys : TKeyAdapter {
        std::vector<std::string>* Out;
        void KeyTyped(const IntfRef<IKeyEvent>&) override { Out->push_back("typed"); }
        void KeyPressed(const IntfRef<IKeyEvent>&) override { Out->push_back("pressed"); }
        void KeyReleased(const IntfRef<IKeyEvent>&) override { Out->push_back("released"); }
    };
    auto km = Make<TKeyMulticaster>();
    auto keys = Make<TKeys>();
    keys->Out = &log;
    km->Add(keys);
    log.clear();
    // The method follows the event's id, not the method called.
    km->KeyPressed(Make<TKeyEvent>(nullptr, KEY_TYPED, 0.0, 0, 0, u'x'));
    km->KeyTyped(Make<TKeyEvent>(nullptr, KEY_RELEASED, 0.0, 0, 13, 0));
    km->KeyTyped(Make<TKeyEvent>(nullptr, 999, 0.0, 0, 13, 0));
    EXPECT_EQ(log, (Log{"typed", "released"}));
}

// ---- listener tree ------------------------------------------------------------

namespace {
class TTreeAction : public TInterfacedObject, public virtual IActionListener {
public:
    TTreeAction(std::string Name, Log* Out) : FName(std::move(Name)), FOut(Out) { ++gLive; }
    ~TTreeAction() override { --gLive; }
    void ActionPerformed(const IntfRef<IActionEvent>&) override {
        FOut->push_back(FName);
        if (Hook) Hook();
    }
    std::function<void()> Hook;

private:
    std::string FName;
    Log* FOut;
};

void Fire(const IntfRef<IEventListener>& Tree) {
    if (Tree) As<IActionListener>(Tree)->ActionPerformed(TActionEvent::Create2(nullptr, ACTION_PERFORMED, u""));
}
}  // namespace

TEST_F(Multicast, TreeAddAndRemoveOfLeaves) {
    using T = TAWTEventMulticaster;
    auto x = Make<TTreeAction>("x", &log), y = Make<TTreeAction>("y", &log);
    EXPECT_FALSE(T::Add(nullptr, nullptr));
    EXPECT_EQ(T::Add(x, nullptr), IntfRef<IEventListener>(x));
    EXPECT_EQ(T::Add(nullptr, x), IntfRef<IEventListener>(x));
    EXPECT_FALSE(Supports<IAWTEventMulticaster>(T::Add(x, nullptr)));
    EXPECT_FALSE(T::Remove(x, x));
    EXPECT_EQ(T::Remove(y, x), IntfRef<IEventListener>(y));
    EXPECT_FALSE(T::Remove(nullptr, x));
}

TEST_F(Multicast, TreeKeepsDuplicatesAndOrder) {
    using T = TAWTEventMulticaster;
    auto a = Make<TTreeAction>("a", &log), b = Make<TTreeAction>("b", &log), c = Make<TTreeAction>("c", &log);
    IntfRef<IEventListener> field;
    field = T::Add(field, a);
    field = T::Add(field, b);
    field = T::Add(field, c);
    field = T::Add(field, a);
    Fire(field);
    EXPECT_EQ(log, (Log{"a", "b", "c", "a"}));

    // Removing an absent listener yields the very same root.
    auto absent = Make<TTreeAction>("z", &log);
    EXPECT_EQ(T::Remove(field, absent).get(), field.get());

    // Only the first occurrence at a direct child goes: the root's right child is a.
    log.clear();
    Fire(T::Remove(field, a));
    EXPECT_EQ(log, (Log{"a", "b", "c"}));

    // a stands twice in one subtree and at no direct child of it: both go.
    auto d = Make<TTreeAction>("d", &log);
    IntfRef<IEventListener> both = T::Add(T::Add(T::Add(a, b), T::Add(a, d)), c);
    log.clear();
    Fire(T::Remove(both, a));
    EXPECT_EQ(log, (Log{"b", "d", "c"}));
}

TEST_F(Multicast, TreeRemoveOfMiddleSharesAndKeepsOrder) {
    using T = TAWTEventMulticaster;
    auto a = Make<TTreeAction>("a", &log), b = Make<TTreeAction>("b", &log), c = Make<TTreeAction>("c", &log);
    IntfRef<IEventListener> field = T::Add(T::Add(a, b), c);
    IntfRef<IEventListener> old = field;
    field = T::Remove(field, b);
    EXPECT_NE(field.get(), old.get());
    Fire(field);
    EXPECT_EQ(log, (Log{"a", "c"}));
    log.clear();
    Fire(old);  // the old tree is untouched
    EXPECT_EQ(log, (Log{"a", "b", "c"}));
}

TEST_F(Multicast, TreeDispatchSurvivesRemovalFromTheField) {
    using T = TAWTEventMulticaster;
    auto a = Make<TTreeAction>("a", &log), b = Make<TTreeAction>("b", &log);
    IntfRef<IEventListener> field = T::Add(a, b);
    // a empties the field (dropping the only reference to the node) and
    // removes b: b is still told in this dispatch.
    a->Hook = [&] {
        field = T::Remove(field, b);
        field = nullptr;
    };
    IntfRef<IEventListener> running = field;
    IEventListener* node = running.get();
    running.reset();
    As<IActionListener>(IntfRef<IEventListener>::Retain(node))
        ->ActionPerformed(TActionEvent::Create2(nullptr, ACTION_PERFORMED, u""));
    EXPECT_EQ(log, (Log{"a", "b"}));
    EXPECT_FALSE(field);
    a->Hook = nullptr;
}

TEST_F(Multicast, TreeCastFailsLoudlyAndExceptionsStopAtA) {
    using T = TAWTEventMulticaster;
    auto a = Make<TTreeAction>("a", &log), b = Make<TTreeAction>("b", &log);
    IntfRef<IEventListener> field = T::Add(a, b);
    EXPECT_THROW(As<IFocusListener>(field)->FocusGained(nullptr), EIntfCastError);
    a->Hook = [] { throw EIllegalStateException("stop"); };
    EXPECT_THROW(Fire(field), EIllegalStateException);
    EXPECT_EQ(log, (Log{"a"}));
    a->Hook = nullptr;
}

TEST_F(Multicast, TreeClassDecidesHowNodesAreBuilt) {
    static int built = 0;
    class TCountingClass : public TAWTEventMulticaster::TClass {
    public:
        IntfRef<IEventListener> Create(const IntfRef<IEventListener>& A,
                                       const IntfRef<IEventListener>& B) const override {
            ++built;
            return TClass::Create(A, B);
        }
    };
    static const TCountingClass cls;
    auto a = Make<TTreeAction>("a", &log), b = Make<TTreeAction>("b", &log), c = Make<TTreeAction>("c", &log);
    IntfRef<IEventListener> field = cls.Add(cls.Add(a, b), c);
    EXPECT_EQ(built, 2);
    // A removal deep in the tree rebuilds the path through the node's class.
    field = As<IAWTEventMulticaster>(field)->RemoveInternal(b);
    EXPECT_EQ(built, 3);
    Fire(field);
    EXPECT_EQ(log, (Log{"a", "c"}));
}

// Listener lists belong to the user-interface thread: the thread that started
// the program unless SetUIThread moved it. Debug builds stop a change of a
// list from any other thread, before it can race a dispatch.
TEST(ListenerThreads, ListsAreChangedOnlyOnTheUIThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_TRUE(IsUIThread());
    bool workerIsUI = true;
    std::thread([&] { workerIsUI = IsUIThread(); }).join();
    EXPECT_FALSE(workerIsUI);

    std::vector<std::string> log;
    TEventMulticaster m;
    IntfRef<IEventListener> l = Make<TTestListener>("A", &log);
    EXPECT_DEBUG_DEATH(std::thread([&] { m.Add(l); }).join(), "UI thread");
    EXPECT_DEBUG_DEATH(std::thread([&] { m.Dispatch(Make<TTestEvent>(1)); }).join(), "UI thread");

    // A host whose user interface runs elsewhere names its thread once.
    std::thread([&] {
        SetUIThread();
        m.Remove(l);
        m.Add(l);
        m.Dispatch(Make<TTestEvent>(2));
    }).join();
    EXPECT_FALSE(IsUIThread());
    SetUIThread();
    EXPECT_TRUE(IsUIThread());
    m.Remove(l);
    EXPECT_EQ(log.back(), "A:2");
}
