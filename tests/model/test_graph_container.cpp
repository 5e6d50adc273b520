// Tree containers: every operation with its change code and location, the
// search, and how a container lets go of its tree.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

int gNodes = 0;

class TCountedNode : public TBasicTreeNode {
public:
    explicit TCountedNode(IntfRef<IInterface> Data = nullptr) : TBasicTreeNode(std::move(Data)) { ++gNodes; }
    ~TCountedNode() override { --gNodes; }
};

class TCountedLinkedNode : public TLinkedTreeNode {
public:
    TCountedLinkedNode() { ++gNodes; }
    ~TCountedLinkedNode() override { --gNodes; }
};

// Records each event as "S12@a": method (Structure/Content), change, location.
class TRecorder : public TInterfacedObject, public virtual IGraphModelListener {
public:
    explicit TRecorder(IGraphModel* Model) : FModel(Model) {}
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override { Note('S', E); }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override { Note('C', E); }
    std::string log;
    int wrongModel = 0;

private:
    void Note(char Kind, const IntfRef<IGraphModelEvent>& E) {
        char change[8];
        std::snprintf(change, sizeof change, "%02X", E->GetChange());
        std::string where = "nil";
        if (auto l = E->GetLocation())
            if (auto t = Supports<IStringObject>(FModel->Get(l))) where = Utf8(t->GetString());
        log += std::string(log.empty() ? "" : " ") + Kind + change + "@" + where;
        if (E->GetModel().Identity() != static_cast<IInterface*>(FModel)) ++wrongModel;
    }
    IGraphModel* FModel;
};

IntfRef<IInterface> Text(const char* s) { return Make<TTextObject>(Str(s)); }
std::string TextOf(const IntfRef<IInterface>& x) { return x ? Utf8(As<IStringObject>(x)->GetString()) : "-"; }
TLinkedTreeNode* NodeOf(const IntfRef<IGraphLocation>& l) { return As<ILinkedTreeNode>(l)->Ptr(); }

class GraphContainer : public ::testing::Test {
protected:
    void SetUp() override {
        model = Make<TBasicTreeContainer>();
        recorder = Make<TRecorder>(model.get());
        model->AddModelListener(recorder);
    }
    void TearDown() override {
        EXPECT_EQ(recorder->wrongModel, 0);
        recorder = nullptr;
        model = nullptr;
        EXPECT_EQ(gNodes, 0) << "nodes left alive";
    }
    // The payload texts of the children, in order.
    std::string Children(const IntfRef<IGraphLocation>& Parent) {
        std::string s;
        ForEachItem(Parent->GetChildren().get(),
                    [&](const IntfRef<IInterface>& c) { s += TextOf(model->Get(As<IGraphLocation>(c))); });
        return s;
    }
    std::string Heard() { return std::exchange(recorder->log, std::string()); }
    IntfRef<TBasicTreeContainer> model;
    IntfRef<TRecorder> recorder;
};

}  // namespace

// ---- the basic container's operations -----------------------------------------------

TEST_F(GraphContainer, AddAndInsertWrapDataAndRaiseItemAdded) {
    auto root = model->AddChild(nullptr, Text("root"));
    EXPECT_TRUE(SameObject(model->GetRoot(), root));
    EXPECT_EQ(Heard(), "S02@nil") << "without a parent only SetRoot's event";
    EXPECT_TRUE(Supports<IBasicTreeNode>(root)) << "the text was wrapped in a node";
    auto c = model->AddChild(root, Text("c"));
    auto a = model->InsertChild(root, c, Text("a"));
    model->InsertChild(root, c, Text("b"));
    model->InsertChild(root, nullptr, Text("d"));
    EXPECT_EQ(Children(root), "abcd");
    EXPECT_TRUE(SameObject(a->GetParent(), root));
    EXPECT_EQ(Heard(), "S12@c S12@a S12@b S12@d");

    auto node = Make<TCountedNode>(Text("n"));
    EXPECT_TRUE(SameObject(model->AddChild(root, node), node)) << "a node is not wrapped again";
    EXPECT_FALSE(As<IBasicTreeNode>(TBasicTreeContainer::Wrap(nullptr))->Ptr()->GetData());
    auto newRoot = model->InsertChild(nullptr, nullptr, Text("new root"));
    EXPECT_TRUE(SameObject(newRoot, model->GetRoot()));
    EXPECT_EQ(Heard(), "S12@n S02@nil");
    NodeOf(root)->UnlinkSubtree();  // the old root was let go without unlinking
}

TEST_F(GraphContainer, PutTouchedRemoveChildrenRemoveAndRemoveAll) {
    auto root = model->SetRoot(Text("root"));
    auto a = model->AddChild(root, Text("a"));
    auto b = model->AddChild(root, Text("b"));
    model->AddChild(b, Text("b1"));
    Heard();

    model->Put(a, Text("A"));
    model->Put(root, Text("R"));  // a payload node: the root too
    model->Touched(a);
    EXPECT_EQ(TextOf(model->Get(a)), "A");
    EXPECT_EQ(Heard(), "C11@A C11@R C21@A");

    model->RemoveChildren(a);  // a leaf: still one event
    model->RemoveChildren(root);
    EXPECT_EQ(root->HasChildren(), tsNo);
    EXPECT_FALSE(a->GetParent()) << "removal unlinks";
    EXPECT_FALSE(NodeOf(a)->NextSiblingNode());
    EXPECT_EQ(Children(b), "b1") << "a removed node keeps its own children";
    EXPECT_EQ(Heard(), "S32@A S32@R");
    NodeOf(b)->UnlinkSubtree();

    a = model->AddChild(root, Text("a"));
    Heard();
    model->Remove(a);
    EXPECT_FALSE(a->GetParent());
    model->Remove(a);  // now a top-level node that is not the root: nothing
    model->Remove(root);
    EXPECT_FALSE(model->GetRoot());
    EXPECT_EQ(Heard(), "S22@a S02@nil");

    root = model->SetRoot(Text("again"));
    a = model->AddChild(root, Text("a"));
    Heard();
    model->RemoveAll();
    EXPECT_FALSE(model->GetRoot());
    EXPECT_TRUE(SameObject(a->GetParent(), root)) << "RemoveAll doesn't unlink";
    EXPECT_EQ(Heard(), "S02@nil");
    NodeOf(root)->UnlinkTree();  // whoever keeps the old tree frees it
    EXPECT_TRUE(model->CanModify(a));
    EXPECT_TRUE(model->IsVariableSize());
}

TEST_F(GraphContainer, EventsOffAndListenerRegistration) {
    auto root = model->SetRoot(Text("root"));
    Heard();
    model->EnableModelEvents(true);  // already on: nothing
    model->EnableModelEvents(false);
    model->AddChild(root, Text("a"));
    model->Touched(root);
    EXPECT_EQ(Heard(), "") << "events are dropped while off";
    model->EnableModelEvents(true);
    EXPECT_EQ(Heard(), "S02@nil");

    auto second = Make<TRecorder>(model.get());
    model->AddModelListener(second);
    model->AddModelListener(second);  // present once
    model->Touched(root);
    model->RemoveModelListener(second);
    model->Touched(root);
    EXPECT_EQ(second->log, "C21@root");
    EXPECT_EQ(Heard(), "C21@root C21@root");
}

TEST_F(GraphContainer, FindSearchesDepthFirstPreOrderByReference) {
    auto shared = Text("shared");
    auto root = model->SetRoot(Text("root"));
    auto a = model->AddChild(root, Text("a"));
    auto a1 = model->AddChild(a, shared);
    model->AddChild(root, shared);  // the same data again, later in pre-order
    auto deep = model->AddChild(a1, Text("deep"));
    EXPECT_TRUE(SameObject(model->Find(shared), a1));
    EXPECT_TRUE(SameObject(model->Find(model->Get(deep)), deep));
    EXPECT_TRUE(SameObject(model->Find(model->Get(root)), root));
    EXPECT_FALSE(model->Find(Text("shared"))) << "by reference, not by text";
    EXPECT_FALSE(Make<TBasicTreeContainer>()->Find(shared)) << "no root: nil";
}

// A wide, bushy tree: the iterative walk keeps pre-order across climbs, and
// searches only below the node it starts from.
TEST_F(GraphContainer, SearchClimbsBackInPreOrderAndStaysBelowItsStart) {
    auto root = model->SetRoot(Text("root"));
    std::vector<IntfRef<IInterface>> order{model->Get(root)};
    std::vector<IntfRef<IGraphLocation>> level{root};
    for (int depth = 0; depth < 3; ++depth) {
        std::vector<IntfRef<IGraphLocation>> next;
        for (auto& parent : level)
            for (int k = 0; k < 3; ++k) next.push_back(model->AddChild(parent, Text("n")));
        level = std::move(next);
    }
    for (auto& leaf : level) EXPECT_TRUE(SameObject(model->Find(model->Get(leaf)), leaf));
    auto* b = LinkedNodeOf(root)->FirstChildNode()->NextSiblingNode();
    auto below = model->TreeSearch(Retain(static_cast<ILinkedTreeNode*>(b)), model->Get(level.back()));
    EXPECT_FALSE(below) << "the last leaf is under the third child, not the second";
    auto inB = model->Get(IntfRef<IGraphLocation>::Retain(b->FirstChildNode()->FirstChildNode()));
    EXPECT_EQ(LinkedNodeOf(model->TreeSearch(Retain(static_cast<ILinkedTreeNode*>(b)), inB)),
              b->FirstChildNode()->FirstChildNode());
}

// A million levels: searching, and dropping the tree, use no stack per level.
TEST(GraphDeepTree, MillionLevelChainIsSearchedAndFreed) {
    constexpr int kDepth = 1000000;
    gNodes = 0;
    {
        auto model = Make<TBasicTreeContainer>();
        auto payload = Text("bottom");
        auto bottom = Make<TCountedNode>(payload);
        auto last = model->SetRoot(Make<TCountedNode>());
        for (int i = 1; i < kDepth - 1; ++i) last = model->AddChild(last, Make<TCountedNode>());
        model->AddChild(last, bottom);
        EXPECT_EQ(gNodes, kDepth);
        EXPECT_TRUE(SameObject(model->Find(payload), bottom));
        EXPECT_FALSE(model->Find(Text("absent")));
        last = nullptr;
    }
    // The container unlinked the chain when it died, so every node is freed.
    EXPECT_EQ(gNodes, 0);

    // A removed deep subtree, dropped with UnlinkSubtree.
    auto model = Make<TLinkedTreeContainer>();
    auto root = Make<TCountedLinkedNode>();
    model->SetRoot(root);
    TLinkedTreeNode* tail = root.get();
    for (int i = 0; i < kDepth; ++i) {
        auto node = Make<TCountedLinkedNode>();
        tail->AppendChild(node);
        tail = node.get();
    }
    auto top = root->GetFirstChild();
    model->Remove(IntfRef<IGraphLocation>::Retain(top->Ptr()));
    top->Ptr()->UnlinkSubtree();
    top = nullptr;
    EXPECT_EQ(gNodes, 1);  // only the root is left
}

TEST_F(GraphContainer, CreateWithRootAndWholeTreeIteration) {
    auto c = TBasicTreeContainer::Create2(Text("r"));
    EXPECT_EQ(TextOf(c->Get(c->GetRoot())), "r");
    auto node = Make<TCountedLinkedNode>();
    EXPECT_TRUE(SameObject(TLinkedTreeContainer::Create2(node)->GetRoot(), node));
    EXPECT_FALSE(TLinkedTreeContainer::Create2(nullptr)->GetRoot());
    EXPECT_THROW(model->Elements(), EAbort);
    EXPECT_THROW(model->FillNodes(NewInterfaceList()), EAbort);
}

// ---- the linked container ---------------------------------------------------------

TEST(GraphLinkedContainer, NodesAreTheirOwnDataAndPutSwapsThem) {
    {
        std::vector<std::pair<int, IInterface*>> heard;
        auto model = Make<TLinkedTreeContainer>();
        auto root = Make<TCountedLinkedNode>();
        auto a = Make<TCountedLinkedNode>(), b = Make<TCountedLinkedNode>(), x = Make<TCountedLinkedNode>();
        EXPECT_TRUE(SameObject(model->SetRoot(root), root));
        EXPECT_TRUE(SameObject(model->AddChild(root, a), a));
        model->InsertChild(root, a, b);
        EXPECT_EQ(root->FirstChildNode(), b.get());
        EXPECT_TRUE(SameObject(model->Get(a), a));
        EXPECT_TRUE(SameObject(model->Find(a), a));
        EXPECT_FALSE(model->Find(Text("x"))) << "data that is no location";
        EXPECT_THROW(model->SetRoot(Text("x")), EIntfCastError);
        EXPECT_THROW(model->AddChild(root, Text("x")), EIntfCastError);
        EXPECT_THROW(model->AddChild(nullptr, a), EIllegalArgumentException);

        class TLog : public TInterfacedObject, public virtual IGraphModelListener {
        public:
            explicit TLog(std::vector<std::pair<int, IInterface*>>& H) : FH(H) {}
            void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override { Note(E); }
            void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override { Note(E); }
            void Note(const IntfRef<IGraphModelEvent>& E) { FH.push_back({E->GetChange(), E->GetLocation().Identity()}); }
            std::vector<std::pair<int, IInterface*>>& FH;
        };
        model->AddModelListener(Make<TLog>(heard));
        model->Put(a, a);  // the same object: nothing replaced
        model->Put(a, x);  // x takes a's place
        EXPECT_EQ(root->FirstChildNode()->NextSiblingNode(), x.get());
        EXPECT_FALSE(a->GetParent());
        EXPECT_THROW(model->Put(root, Make<TCountedLinkedNode>()), EIllegalArgumentException)
            << "the root can't be replaced";
        ASSERT_EQ(heard.size(), 2u);
        EXPECT_EQ(heard[0], std::make_pair(int(mcItemReplaced), a.Identity()));
        EXPECT_EQ(heard[1], std::make_pair(int(mcChildrenReplaced), a.Identity())) << "located at the old node";
        EXPECT_FALSE(model->SetRoot(nullptr));
        model->SetRoot(root);
    }
    EXPECT_EQ(gNodes, 0) << "the container unlinked its tree when it died";
}

// ---- lifetime of the tree -----------------------------------------------------------

TEST(GraphContainerLifetime, DestructorAndClearFreeTheTree) {
    {
        auto model = Make<TBasicTreeContainer>();
        auto root = model->SetRoot(Make<TCountedNode>());
        for (int i = 0; i < 3; ++i) {
            auto child = model->AddChild(root, Make<TCountedNode>());
            for (int j = 0; j < 3; ++j) model->AddChild(child, Make<TCountedNode>());
        }
        auto next = Make<TCountedNode>();  // a top-level sibling of the root, with a child
        NodeOf(root)->InsertSibling(next);
        model->AddChild(next, Make<TCountedNode>());
        EXPECT_EQ(gNodes, 15);
        model->Clear();
        EXPECT_EQ(gNodes, 2) << "only the root and its former sibling, still held here";
        EXPECT_FALSE(model->GetRoot());
    }
    EXPECT_EQ(gNodes, 0);

    IntfRef<IGraphLocation> survivor;
    {
        auto model = Make<TBasicTreeContainer>();
        auto root = model->SetRoot(Make<TCountedNode>());
        survivor = model->AddChild(root, Make<TCountedNode>());
        model->AddChild(survivor, Make<TCountedNode>());
        model->AddChild(root, Make<TCountedNode>());
    }
    EXPECT_EQ(gNodes, 1) << "a node held elsewhere survives the container, alone";
    EXPECT_FALSE(survivor->GetParent());
    EXPECT_EQ(survivor->HasChildren(), tsNo);
    survivor = nullptr;
    EXPECT_EQ(gNodes, 0);
}

TEST(GraphContainerLifetime, RemovedSubtreeIsFreedByUnlinking) {
    auto model = Make<TBasicTreeContainer>();
    auto root = model->SetRoot(Make<TCountedNode>());
    {
        auto sub = model->AddChild(root, Make<TCountedNode>());
        model->AddChild(sub, Make<TCountedNode>());
        model->AddChild(sub, Make<TCountedNode>());
        model->Remove(sub);
        EXPECT_EQ(gNodes, 4);
        NodeOf(sub)->UnlinkSubtree();
    }
    EXPECT_EQ(gNodes, 1);
    model->Remove(root);
    root = nullptr;
    EXPECT_EQ(gNodes, 0);
}
