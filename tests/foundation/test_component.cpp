// TComponent: the owner tree frees its children, names are identifiers and
// unique among siblings, free notification reaches both sides, loading and
// designing states travel down the tree.
#include <gtest/gtest.h>

#include <vector>

#include "foundation/Component.h"

using namespace ide;

namespace {
struct Probe : TComponent {
    Probe(TComponent* owner, std::string tag, std::string& log) : TComponent(owner), Tag(std::move(tag)), Log(log) {}
    ~Probe() override { Log += "~" + Tag + " "; }
    void Notification(TComponent* c, TOperation op) override {
        if (op == opRemove && c == Ref) Ref = nullptr;
        // A component is inserted from its base constructor and removed from
        // its base destructor, so a probe sees it as a plain component then.
        auto* p = dynamic_cast<Probe*>(c);
        Log += Tag + (op == opInsert ? "+" : "-") + (p ? p->Tag : "#") + " ";
        TComponent::Notification(c, op);
    }
    void Loaded() override {
        TComponent::Loaded();
        Log += "L" + Tag + " ";
    }
    std::string Tag;
    std::string& Log;
    TComponent* Ref = nullptr;
};
}  // namespace

TEST(Component, OwnerFreesChildrenLastFirstAndTellsTheTree) {
    std::string log;
    auto* root = new Probe(nullptr, "r", log);
    auto* a = new Probe(root, "a", log);
    new Probe(root, "b", log);
    new Probe(a, "c", log);
    // The owner hears of each insert and passes it to what it owns: a hears
    // of its sibling b, and of its own child c (which root doesn't).
    EXPECT_EQ(log, "r+# r+# a+# a+# ");
    EXPECT_EQ(root->GetComponentCount(), 2);
    EXPECT_EQ(a->GetComponentIndex(), 0);
    EXPECT_EQ(a->GetOwner(), root);
    log.clear();
    delete root;
    // The owner first, then its children last created first, each with its own.
    EXPECT_EQ(log, "~r ~b ~a ~c ");
}

TEST(Component, DeletingAChildRemovesItFromItsOwner) {
    std::string log;
    Probe root(nullptr, "r", log);
    auto* a = new Probe(&root, "a", log);
    auto* b = new Probe(&root, "b", log);
    log.clear();
    delete a;
    EXPECT_EQ(root.GetComponentCount(), 1);
    EXPECT_EQ(root.GetComponent(0), b);
    EXPECT_EQ(log, "~a r-# b-# ");  // the owner and its tree hear of it
    EXPECT_THROW(root.GetComponent(1), EListError);
}

TEST(Component, EveryChildHearsEachChangeOnceAmongMany) {
    // Counts what it hears; a large family must not make the owner's walk
    // skip or repeat anyone.
    struct Counter : TComponent {
        using TComponent::TComponent;
        void Notification(TComponent* c, TOperation op) override {
            ++(op == opInsert ? Inserts : Removes);
            TComponent::Notification(c, op);
        }
        int Inserts = 0, Removes = 0;
    };
    TComponent owner(nullptr);
    std::vector<Counter*> kids;
    for (int i = 0; i < 300; ++i) kids.push_back(new Counter(&owner));
    // Child k was there for the inserts of its 299 - k younger siblings (its
    // own comes while it is still a plain component).
    for (int k = 0; k < 300; ++k) EXPECT_EQ(kids[static_cast<size_t>(k)]->Inserts, 299 - k) << k;
    delete kids[10];
    EXPECT_EQ(owner.GetComponentCount(), 299);
    EXPECT_EQ(kids[0]->Removes, 1);
    EXPECT_EQ(kids[299]->Removes, 1);
    EXPECT_EQ(owner.GetComponent(10), kids[11]);
}

TEST(Component, AChildFreedWhileTheOwnerTellsItsChildrenIsNotReached) {
    // The first child frees its younger sibling when it hears of a new
    // component; the walk over the children must not reach the freed one,
    // and still tell the ones after it.
    std::string log;
    struct Killer : Probe {
        using Probe::Probe;
        void Notification(TComponent* c, TOperation op) override {
            if (op == opInsert && Victim) {
                TComponent* v = Victim;
                Victim = nullptr;
                delete v;
            }
            Probe::Notification(c, op);
        }
        TComponent* Victim = nullptr;
    };
    Probe root(nullptr, "r", log);
    auto* killer = new Killer(&root, "k", log);
    auto* victim = new Probe(&root, "v", log);
    new Probe(&root, "w", log);
    killer->Victim = victim;
    log.clear();
    new Probe(&root, "n", log);
    // (n itself is still a plain component while it is being inserted.)
    EXPECT_EQ(log, "r+# ~v r-# k-# w-# k+# w+# ");
    EXPECT_EQ(root.GetComponentCount(), 3);
}

TEST(Component, NamesAreIdentifiersUniqueAmongSiblings) {
    TComponent owner(nullptr);
    auto* a = new TComponent(&owner);
    auto* b = new TComponent(&owner);
    a->SetName(u"Editor1");
    EXPECT_EQ(owner.FindComponent(u"EDITOR1"), a);
    try {
        b->SetName(u"editor1");
        FAIL();
    } catch (const EComponentError& e) {
        EXPECT_STREQ(e.what(), "A component named editor1 already exists");
    }
    try {
        b->SetName(u"1st");
        FAIL();
    } catch (const EComponentError& e) {
        EXPECT_STREQ(e.what(), "'1st' is not a valid component name");
    }
    a->SetName(u"EDITOR1");  // renaming to itself in another case is fine
    b->SetName(u"");
    EXPECT_EQ(owner.FindComponent(u""), nullptr);
    // Moving a named component under an owner with a sibling of that name fails.
    TComponent other(nullptr);
    auto* c = new TComponent(&other);
    c->SetName(u"Editor1");
    EXPECT_THROW(owner.InsertComponent(c), EComponentError);
    EXPECT_EQ(c->GetOwner(), &other);
}

TEST(Component, FreeNotificationClearsReferencesOnBothSides) {
    std::string log;
    auto* holder = new Probe(nullptr, "h", log);
    auto* target = new Probe(nullptr, "t", log);
    holder->Ref = target;
    holder->FreeNotification(target);
    EXPECT_TRUE(holder->InState(csFreeNotification));
    delete target;
    EXPECT_EQ(holder->Ref, nullptr);
    // And the other way round: the target of a dead holder mustn't call it.
    auto* t2 = new Probe(nullptr, "t2", log);
    holder->FreeNotification(t2);
    delete holder;
    log.clear();
    delete t2;
    EXPECT_EQ(log, "~t2 ");
}

TEST(Component, LoadingAndDesigningStatesSpanTheTree) {
    std::string log;
    Probe root(nullptr, "r", log);
    auto* a = new Probe(&root, "a", log);
    root.SetDesigning(true);
    EXPECT_TRUE(a->InState(csDesigning));
    auto* late = new Probe(&root, "late", log);
    EXPECT_TRUE(late->InState(csDesigning));  // joins in the owner's state
    root.BeginLoading();
    EXPECT_TRUE(a->InState(csLoading));
    log.clear();
    a->Loaded();
    EXPECT_FALSE(a->InState(csLoading));
    EXPECT_EQ(log, "La ");
    EXPECT_FALSE(root.HasParent());
    TReader reader;
    root.ReadState(reader);
    EXPECT_FALSE(root.InState(csReading));
}
