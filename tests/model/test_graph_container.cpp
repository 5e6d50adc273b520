// Tree containers: every operation with its change code and location, the
// search, and how a container lets go of its tree.
#include <gtest/gtest.h>

#include <string>
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

struct Heard {
    char kind;  // 'S' structure, 'C' content
    int change;
    IInterface* location;
    IInterface* model;
};

class TRecorder : public TInterfacedObject, public virtual IGraphModelListener {
public:
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) override { Note('S', E); }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) override { Note('C', E); }
    std::vector<Heard> heard;

private:
    void Note(char Kind, const IntfRef<IGraphModelEvent>& E) {
        heard.push_back({Kind, E->GetChange(), E->GetLocation().Identity(), E->GetModel().Identity()});
    }
};

template <class U>
IInterface* Id(const IntfRef<U>& r) {
    return r.Identity();
}

IntfRef<IInterface> Text(const char* s) { return Make<TTextObject>(Str(s)); }

std::string TextOf(const IntfRef<IInterface>& x) { return x ? Utf8(As<IStringObject>(x)->GetString()) : "-"; }

// The payload texts of the children, in order.
std::string Children(const IntfRef<IGraphModel>& Model, const IntfRef<IGraphLocation>& Parent) {
    std::string s;
    ForEachItem(Parent->GetChildren().get(),
                [&](const IntfRef<IInterface>& c) { s += TextOf(Model->Get(As<IGraphLocation>(c))); });
    return s;
}

class GraphContainer : public ::testing::Test {
protected:
    void SetUp() override {
        model = Make<TBasicTreeContainer>();
        recorder = Make<TRecorder>();
        model->AddModelListener(recorder);
    }
    void TearDown() override {
        recorder = nullptr;
        model = nullptr;
        EXPECT_EQ(gNodes, 0) << "nodes left alive";
    }
    void ExpectHeard(size_t Index, char Kind, int Change, IInterface* Location) {
        ASSERT_LT(Index, recorder->heard.size());
        const Heard& h = recorder->heard[Index];
        EXPECT_EQ(h.kind, Kind) << "event " << Index;
        EXPECT_EQ(h.change, Change) << "event " << Index;
        EXPECT_EQ(h.location, Location) << "event " << Index;
        EXPECT_EQ(h.model, Id(model)) << "event " << Index;
    }
    IntfRef<TBasicTreeContainer> model;
    IntfRef<TRecorder> recorder;
};

}  // namespace

// ---- the basic container's operations -----------------------------------------------

TEST_F(GraphContainer, AddChildWithoutParentSetsTheRoot) {
    auto root = model->AddChild(nullptr, Text("root"));
    EXPECT_TRUE(SameObject(model->GetRoot(), root));
    ASSERT_EQ(recorder->heard.size(), 1u) << "only SetRoot's event";
    ExpectHeard(0, 'S', mcStructure, nullptr);
    EXPECT_EQ(TextOf(model->Get(root)), "root");
    EXPECT_TRUE(Supports<IBasicTreeNode>(root)) << "the text was wrapped in a node";

    auto a = model->AddChild(root, Text("a"));
    auto b = model->AddChild(root, Text("b"));
    ASSERT_EQ(recorder->heard.size(), 3u);
    ExpectHeard(1, 'S', mcItemAdded, Id(a));
    ExpectHeard(2, 'S', mcItemAdded, Id(b));
    EXPECT_EQ(Children(model, root), "ab");
    EXPECT_TRUE(SameObject(a->GetParent(), root));
}

TEST_F(GraphContainer, InsertChildAheadOfAndWithoutParent) {
    auto root = model->InsertChild(nullptr, nullptr, Text("root"));
    EXPECT_TRUE(SameObject(model->GetRoot(), root));
    auto c = model->InsertChild(root, nullptr, Text("c"));
    auto a = model->InsertChild(root, c, Text("a"));
    model->InsertChild(root, c, Text("b"));
    EXPECT_EQ(Children(model, root), "abc");
    ASSERT_EQ(recorder->heard.size(), 4u);
    ExpectHeard(0, 'S', mcStructure, nullptr);
    ExpectHeard(2, 'S', mcItemAdded, Id(a));
}

TEST_F(GraphContainer, NodesGivenAsDataAreNotWrapped) {
    auto node = Make<TCountedNode>(Text("n"));
    auto root = model->SetRoot(Text("root"));
    auto added = model->AddChild(root, node);
    EXPECT_TRUE(SameObject(added, node));
    EXPECT_EQ(TextOf(model->Get(added)), "n");
    EXPECT_TRUE(SameObject(TBasicTreeContainer::Wrap(node), node));
    auto empty = TBasicTreeContainer::Wrap(nullptr);
    EXPECT_FALSE(As<IBasicTreeNode>(empty)->Ptr()->GetData()) << "nil data gets a node with no payload";
    model->Clear();
}

TEST_F(GraphContainer, PutReplacesThePayload) {
    auto root = model->SetRoot(Text("root"));
    auto a = model->AddChild(root, Text("a"));
    recorder->heard.clear();
    model->Put(a, Text("A"));
    EXPECT_EQ(TextOf(model->Get(a)), "A");
    model->Put(root, Text("R"));  // a payload node: the root too
    EXPECT_EQ(TextOf(model->Get(root)), "R");
    ASSERT_EQ(recorder->heard.size(), 2u);
    ExpectHeard(0, 'C', mcItemReplaced, Id(a));
    ExpectHeard(1, 'C', mcItemReplaced, Id(root));
}

TEST_F(GraphContainer, TouchedRaisesContentEvent) {
    auto root = model->SetRoot(Text("root"));
    recorder->heard.clear();
    model->Touched(root);
    ASSERT_EQ(recorder->heard.size(), 1u);
    ExpectHeard(0, 'C', mcItemTouched, Id(root));
    EXPECT_TRUE(model->CanModify(root));
    EXPECT_TRUE(model->IsVariableSize());
}

TEST_F(GraphContainer, RemoveChildRootAndOtherTopLevelNode) {
    auto root = model->SetRoot(Text("root"));
    auto a = model->AddChild(root, Text("a"));
    model->AddChild(root, Text("b"));
    recorder->heard.clear();

    model->Remove(a);
    EXPECT_EQ(Children(model, root), "b");
    EXPECT_FALSE(a->GetParent()) << "removal unlinks";
    ASSERT_EQ(recorder->heard.size(), 1u);
    ExpectHeard(0, 'S', mcItemRemoved, Id(a));

    model->Remove(a);  // now a top-level node that is not the root
    EXPECT_EQ(recorder->heard.size(), 1u) << "nothing happens, nothing is raised";

    model->Remove(root);
    EXPECT_FALSE(model->GetRoot());
    ASSERT_EQ(recorder->heard.size(), 2u);
    ExpectHeard(1, 'S', mcStructure, nullptr);
    As<ILinkedTreeNode>(root)->Ptr()->UnlinkSubtree();
}

TEST_F(GraphContainer, RemoveChildrenRaisesOneEvent) {
    auto root = model->SetRoot(Text("root"));
    auto a = model->AddChild(root, Text("a"));
    auto b = model->AddChild(root, Text("b"));
    model->AddChild(b, Text("b1"));
    recorder->heard.clear();
    model->RemoveChildren(root);
    EXPECT_EQ(root->HasChildren(), tsNo);
    EXPECT_FALSE(a->GetParent());
    EXPECT_FALSE(As<ILinkedTreeNode>(a)->Ptr()->NextSiblingNode());
    EXPECT_EQ(Children(model, b), "b1") << "a removed node keeps its own children";
    ASSERT_EQ(recorder->heard.size(), 1u);
    ExpectHeard(0, 'S', mcChildrenReplaced, Id(root));

    model->RemoveChildren(a);  // a leaf
    ASSERT_EQ(recorder->heard.size(), 2u);
    ExpectHeard(1, 'S', mcChildrenReplaced, Id(a));
    As<ILinkedTreeNode>(b)->Ptr()->UnlinkSubtree();
}

TEST_F(GraphContainer, RemoveAllLeavesTheOldTreeLinked) {
    auto root = model->SetRoot(Text("root"));
    auto a = model->AddChild(root, Text("a"));
    recorder->heard.clear();
    model->RemoveAll();
    EXPECT_FALSE(model->GetRoot());
    ExpectHeard(0, 'S', mcStructure, nullptr);
    EXPECT_TRUE(SameObject(a->GetParent(), root)) << "children are not unlinked";
    // Whoever keeps the old tree frees it.
    As<ILinkedTreeNode>(root)->Ptr()->UnlinkTree();
    EXPECT_FALSE(a->GetParent());
}

TEST_F(GraphContainer, EnableModelEvents) {
    auto root = model->SetRoot(Text("root"));
    recorder->heard.clear();
    model->EnableModelEvents(true);
    EXPECT_TRUE(recorder->heard.empty()) << "already on: nothing";
    model->EnableModelEvents(false);
    model->AddChild(root, Text("a"));
    model->Touched(root);
    EXPECT_TRUE(recorder->heard.empty()) << "events are dropped while off";
    model->EnableModelEvents(true);
    ASSERT_EQ(recorder->heard.size(), 1u);
    ExpectHeard(0, 'S', mcStructure, nullptr);
}

TEST_F(GraphContainer, ListenersAreToldInOrderAndRemovedOnRequest) {
    auto second = Make<TRecorder>();
    model->AddModelListener(second);
    model->AddModelListener(second);  // present once
    model->SetRoot(Text("root"));
    EXPECT_EQ(recorder->heard.size(), 1u);
    EXPECT_EQ(second->heard.size(), 1u);
    model->RemoveModelListener(second);
    model->Touched(model->GetRoot());
    EXPECT_EQ(recorder->heard.size(), 2u);
    EXPECT_EQ(second->heard.size(), 1u);
}

TEST_F(GraphContainer, FindSearchesDepthFirstPreOrder) {
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
    auto empty = Make<TBasicTreeContainer>();
    EXPECT_FALSE(empty->Find(shared)) << "no root: nil";
}

TEST_F(GraphContainer, CreateWithRootRaisesNothingAndWraps) {
    auto c = TBasicTreeContainer::Create2(Text("r"));
    EXPECT_EQ(TextOf(c->Get(c->GetRoot())), "r");
    auto node = Make<TCountedLinkedNode>();
    auto linked = TLinkedTreeContainer::Create2(node);
    EXPECT_TRUE(SameObject(linked->GetRoot(), node));
    auto none = TLinkedTreeContainer::Create2(nullptr);
    EXPECT_FALSE(none->GetRoot());
}

TEST_F(GraphContainer, WholeTreeIterationAbortsSilently) {
    EXPECT_THROW(model->Elements(), EAbort);
    EXPECT_THROW(model->FillNodes(NewInterfaceList()), EAbort);
}

// ---- the linked container ---------------------------------------------------------

TEST(GraphLinkedContainer, NodesAreTheirOwnData) {
    {
        auto model = Make<TLinkedTreeContainer>();
        auto recorder = Make<TRecorder>();
        model->AddModelListener(recorder);
        auto root = Make<TCountedLinkedNode>();
        EXPECT_TRUE(SameObject(model->SetRoot(root), root));
        auto a = Make<TCountedLinkedNode>();
        EXPECT_TRUE(SameObject(model->AddChild(root, a), a));
        EXPECT_TRUE(SameObject(model->Get(a), a));
        EXPECT_TRUE(SameObject(model->Find(a), a));
        EXPECT_FALSE(model->Find(Text("x"))) << "data that is no location";
        EXPECT_THROW(model->SetRoot(Text("x")), EIntfCastError);
        EXPECT_THROW(model->AddChild(root, Text("x")), EIntfCastError);
        EXPECT_THROW(model->AddChild(nullptr, a), EIllegalArgumentException);
        auto b = Make<TCountedLinkedNode>();
        model->InsertChild(root, a, b);
        EXPECT_EQ(As<ILinkedTreeNode>(root)->Ptr()->FirstChildNode(), b.get());
        ASSERT_EQ(recorder->heard.size(), 3u);
        EXPECT_EQ(recorder->heard[1].change, mcItemAdded);
        EXPECT_EQ(recorder->heard[2].location, Id(b));
        EXPECT_TRUE(SameObject(model->SetRoot(nullptr), IntfRef<IGraphLocation>()));
        EXPECT_FALSE(model->GetRoot());
        model->SetRoot(root);
    }
    EXPECT_EQ(gNodes, 0) << "the container unlinked its tree when it died";
}

TEST(GraphLinkedContainer, PutSwapsANodeOrRaisesContentForTheSameOne) {
    {
        auto model = Make<TLinkedTreeContainer>();
        auto recorder = Make<TRecorder>();
        model->AddModelListener(recorder);
        auto root = Make<TCountedLinkedNode>();
        model->SetRoot(root);
        auto a = Make<TCountedLinkedNode>(), b = Make<TCountedLinkedNode>(), c = Make<TCountedLinkedNode>();
        model->AddChild(root, a);
        model->AddChild(root, b);
        model->AddChild(root, c);
        recorder->heard.clear();

        model->Put(b, b);
        ASSERT_EQ(recorder->heard.size(), 1u);
        EXPECT_EQ(recorder->heard[0].change, mcItemReplaced);
        EXPECT_EQ(recorder->heard[0].location, Id(b));

        auto x = Make<TCountedLinkedNode>();
        model->Put(b, x);
        auto kids = root->GetChildren();
        ASSERT_EQ(kids->GetCount(), 3);
        EXPECT_TRUE(SameObject(kids->Get(1), x)) << "the new node takes the old one's place";
        EXPECT_FALSE(b->GetParent());
        ASSERT_EQ(recorder->heard.size(), 2u);
        EXPECT_EQ(recorder->heard[1].change, mcChildrenReplaced);
        EXPECT_EQ(recorder->heard[1].location, Id(b)) << "located at the old node";

        EXPECT_THROW(model->Put(root, Make<TCountedLinkedNode>()), EIllegalArgumentException)
            << "the root can't be replaced";
    }
    EXPECT_EQ(gNodes, 0);
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
        EXPECT_EQ(gNodes, 13);
        model->Clear();
        EXPECT_EQ(gNodes, 1) << "only the root, still held here";
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

TEST(GraphContainerLifetime, TopLevelSiblingsOfTheRootAreFreedToo) {
    {
        auto model = Make<TBasicTreeContainer>();
        auto root = Make<TCountedNode>();
        model->SetRoot(root);
        auto next = Make<TCountedNode>();
        root->InsertSibling(next);
        model->AddChild(next, Make<TCountedNode>());
        EXPECT_EQ(gNodes, 3);
    }
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
        As<ILinkedTreeNode>(sub)->Ptr()->UnlinkSubtree();
    }
    EXPECT_EQ(gNodes, 1);
    model->Remove(root);
    root = nullptr;
    EXPECT_EQ(gNodes, 0);
}
