#include <gtest/gtest.h>

#include "foundation/Interface.h"

using namespace ide;

namespace {

struct IFoo : virtual IInterface {
    IDE_INTERFACE(IFoo, "11111111-2222-3333-4444-555555555555")
    virtual int Foo() = 0;
};
struct IBar : virtual IInterface {
    IDE_INTERFACE(IBar, "11111111-2222-3333-4444-555555555556")
    virtual int Bar() = 0;
};
struct IBaz : virtual IInterface {
    IDE_INTERFACE(IBaz, "11111111-2222-3333-4444-555555555557")
};

int gAlive = 0;

class TFooBar : public TInterfacedObject, public IFoo, public IBar {
public:
    TFooBar() { ++gAlive; }
    ~TFooBar() override { --gAlive; }
    int Foo() override { return 1; }
    int Bar() override { return 2; }
};

// Hands itself out while it is being built: the construction guard keeps it alive.
class TSelfReferencing : public TInterfacedObject, public IFoo {
public:
    TSelfReferencing() {
        ++gAlive;
        IntfRef<IFoo> me = IntfRef<IFoo>::Retain(this);
        me.reset();
    }
    ~TSelfReferencing() override { --gAlive; }
    int Foo() override { return 3; }
};

}  // namespace

TEST(Interface, GuidParsesAndPrints) {
    constexpr TGUID g = TGUID::Parse("7861BFA1-1F26-11D1-AEB4-0020AF32BB01");
    EXPECT_EQ(g.D1, 0x7861BFA1u);
    EXPECT_EQ(g.D4[7], 0x01);
    EXPECT_EQ(g.ToString(), "{7861BFA1-1F26-11D1-AEB4-0020AF32BB01}");
    EXPECT_EQ(TGUID::Parse("{7861BFA1-1F26-11D1-AEB4-0020AF32BB01}"), g);
}

TEST(Interface, QueryByGuidAndCounts) {
    {
        IntfRef<IFoo> foo = Make<TFooBar>();
        EXPECT_EQ(gAlive, 1);
        void* out = nullptr;
        ASSERT_EQ(foo->QueryInterface(IBar::IID, &out), S_OK);
        IntfRef<IBar> bar = IntfRef<IBar>::Adopt(static_cast<IBar*>(out));
        EXPECT_EQ(bar->Bar(), 2);
        EXPECT_EQ(foo->QueryInterface(IBaz::IID, &out), E_NOINTERFACE);
        EXPECT_EQ(out, nullptr);
        EXPECT_TRUE(SameObject(foo, bar));
        EXPECT_FALSE(Supports<IBaz>(foo));
        EXPECT_THROW(As<IBaz>(foo), EIntfCastError);
        EXPECT_EQ(As<IBar>(foo)->Bar(), 2);
    }
    EXPECT_EQ(gAlive, 0);
}

TEST(Interface, ConstructionGuardAndListIdentity) {
    {
        IntfRef<IFoo> s = Make<TSelfReferencing>();
        EXPECT_EQ(gAlive, 1);
        EXPECT_EQ(s->Foo(), 3);
        auto list = NewInterfaceList();
        list->Add(s);
        list->Add(Make<TFooBar>());
        EXPECT_EQ(list->IndexOf(s), 0);
        auto clone = CloneInterfaceList(list);
        list->Delete(0);
        EXPECT_EQ(clone->GetCount(), 2);
        EXPECT_EQ(clone->IndexOf(s), 0);
        EXPECT_THROW(list->Get(5), EListError);
    }
    EXPECT_EQ(gAlive, 0);
}

// A fresh object carries its creation count, so a reference may only be made
// from a raw pointer by saying whether it takes that count over or adds one.
static_assert(!std::is_constructible_v<IntfRef<IFoo>, IFoo*>);
static_assert(!std::is_constructible_v<IntfRef<TFooBar>, TFooBar*>);
static_assert(!std::is_convertible_v<TFooBar*, IntfRef<IFoo>>);

TEST(Interface, AdoptionIsExplicitAndCountsBalance) {
    {
        IntfRef<TFooBar> made = Make<TFooBar>();
        EXPECT_EQ(made->RefCount(), 1);  // Make hands over the creation count
        IntfRef<IFoo> retained = Retain(made.get());
        EXPECT_EQ(made->RefCount(), 2);
        IntfRef<IBar> adopted = IntfRef<IBar>::Adopt(new TFooBar);  // takes the creation count
        EXPECT_EQ(static_cast<TFooBar*>(adopted.get())->RefCount(), 1);
        EXPECT_EQ(gAlive, 2);
    }
    EXPECT_EQ(gAlive, 0);  // nothing leaked: LeakSanitizer agrees under make test-asan
}

TEST(Runtime, Utf8RoundTrip) {
    std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    String w = Str(text);
    EXPECT_EQ(w.size(), 5u);
    EXPECT_EQ(Utf8(w), text);
}

namespace {
// Hands out an inner object for a contract the outer class doesn't derive from.
class TBazInner : public TInterfacedObject, public IBaz {
public:
    TBazInner() { ++gAlive; }
    ~TBazInner() override { --gAlive; }
};

class TAggregate : public TInterfacedObject, public IFoo {
public:
    TAggregate() : FInner(Make<TBazInner>()) { ++gAlive; }
    ~TAggregate() override { --gAlive; }
    int Foo() override { return 9; }
    int32_t InnerRefCount() const { return FInner->RefCount(); }
    bool HasOwnQueryInterface() const override { return true; }
    HResult QueryInterface(const TGUID& IID, void** Obj) override {
        if (IID == IBaz::IID) return FInner->QueryInterface(IID, Obj);
        return TInterfacedObject::QueryInterface(IID, Obj);
    }

private:
    IntfRef<TBazInner> FInner;
};
}  // namespace

TEST(Interface, ObjectsWithTheirOwnQueryAreAsked) {
    {
        IntfRef<TAggregate> agg = Make<TAggregate>();
        // Asked twice: the second answer comes through the cast cache.
        for (int round = 0; round < 2; ++round) {
            IntfRef<IBaz> baz = Supports<IBaz>(agg);
            ASSERT_TRUE(baz);
            EXPECT_FALSE(SameObject(baz, agg));
            EXPECT_NO_THROW(As<IBaz>(agg));
            EXPECT_FALSE(Supports<IBar>(agg));
        }
        // The cast without a reference leaves both counts as they were.
        const int32_t outer = agg->RefCount(), inner = agg->InnerRefCount();
        EXPECT_NE(AsPtr<IBaz>(agg.get()), nullptr);
        EXPECT_EQ(agg->RefCount(), outer);
        EXPECT_EQ(agg->InnerRefCount(), inner);
        // A plain object of the same contracts is not asked beyond its class.
        IntfRef<IFoo> plain = Make<TFooBar>();
        EXPECT_FALSE(Supports<IBaz>(plain));
    }
    EXPECT_EQ(gAlive, 0);
}
