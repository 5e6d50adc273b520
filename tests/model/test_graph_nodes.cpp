// Linked tree nodes: sibling linking, chain adoption, the circularity checks,
// removal, the child iterator, and the lifetime of nodes whose links are
// strong in both directions.
#include <gtest/gtest.h>

#include <string>

#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

int gNodes = 0;

// A payload node that counts live instances and carries a name.
class TNamedNode : public TBasicTreeNode {
public:
    explicit TNamedNode(const char* Name) : TBasicTreeNode(Make<TTextObject>(Str(Name))) { ++gNodes; }
    ~TNamedNode() override { --gNodes; }
};

using Node = IntfRef<TNamedNode>;

Node N(const char* Name) { return Make<TNamedNode>(Name); }

std::string NameOf(TLinkedTreeNode* n) {
    if (!n) return "-";
    auto* basic = dynamic_cast<TBasicTreeNode*>(n);
    return Utf8(As<IStringObject>(basic->GetData())->GetString());
}

// The names along the sibling links from the first child; stops after 12
// steps so that a ring shows as a long repeating text instead of a hang.
std::string Children(TLinkedTreeNode* parent) {
    std::string s;
    int steps = 0;
    for (TLinkedTreeNode* c = parent->FirstChildNode(); c && steps < 12; c = c->NextSiblingNode(), ++steps)
        s += NameOf(c);
    return s;
}

class GraphNodes : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(gNodes, 0) << "nodes left alive"; }
};

template <class E, class F>
void ExpectRaises(F&& f, const char* Message) {
    try {
        f();
        ADD_FAILURE() << "no exception, expected: " << Message;
    } catch (const E& e) {
        EXPECT_STREQ(e.what(), Message);
    }
}

}  // namespace

// ---- adding --------------------------------------------------------------------

TEST_F(GraphNodes, AppendInsertAndAheadOf) {
    Node p = N("P"), a = N("a"), b = N("b"), c = N("c"), d = N("d"), e = N("e"), x = N("x");
    EXPECT_EQ(p->HasChildren(), tsNo);
    p->AppendChild(a);
    EXPECT_EQ(p->FirstChildNode(), a.get()) << "the first child of a leaf";
    EXPECT_EQ(p->HasChildren(), tsYes);
    p->AppendChild(c);
    p->InsertChild2(b, c);  // ahead of a middle node
    EXPECT_EQ(Children(p.get()), "abc");
    p->InsertChild(d);  // at the front
    EXPECT_EQ(Children(p.get()), "dabc");
    p->InsertChild2(e, d);  // ahead of the first child: first
    EXPECT_EQ(Children(p.get()), "edabc");
    EXPECT_EQ(p->ChildCount(), 5);
    EXPECT_TRUE(SameObject(a->GetParent(), p));
    EXPECT_FALSE(p->GetParent());

    Node other = N("o");
    p->InsertChild2(other, x);  // AheadOf is no child here: appended
    EXPECT_EQ(Children(p.get()), "edabco");

    auto list = p->GetChildren();
    ASSERT_EQ(list->GetCount(), 6);
    EXPECT_TRUE(SameObject(list->Get(0), e));
    EXPECT_TRUE(SameObject(list->Get(5), other));
    EXPECT_TRUE(SameObject(p->GetFirstChild(), e));
    EXPECT_TRUE(SameObject(e->GetNextSibling(), d));
    EXPECT_FALSE(other->GetNextSibling());
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, CreateWithParentAdoptsAndCounts) {
    Node p = N("P");
    {
        auto child = TLinkedTreeNode::Create2(p);
        EXPECT_TRUE(SameObject(child->GetParent(), p));
        EXPECT_EQ(p->ChildCount(), 1);
        EXPECT_EQ(p->FirstChildNode(), child.get());
        auto loose = TLinkedTreeNode::Create2(nullptr);
        EXPECT_FALSE(loose->GetParent());
    }
    p->UnlinkSubtree();
    EXPECT_EQ(p->ChildCount(), 0);
}

TEST_F(GraphNodes, ChainOfSiblingsIsAdoptedWhole) {
    Node p = N("P"), a = N("a"), z = N("z"), x = N("x"), y = N("y");
    p->AppendChild(a);
    p->AppendChild(z);
    // x -> y, a top-level chain.
    x->InsertSibling(y);
    EXPECT_EQ(x->NextSiblingNode(), y.get());
    EXPECT_FALSE(y->GetParent());
    p->InsertChild2(x, z);
    EXPECT_EQ(Children(p.get()), "axyz");
    EXPECT_EQ(p->ChildCount(), 4);
    EXPECT_TRUE(SameObject(y->GetParent(), p)) << "every node of the chain gets the parent";
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, NodeOfAnotherParentCannotBeAdded) {
    Node p = N("P"), q = N("Q"), n1 = N("1"), n2 = N("2");
    n1->InsertSibling(n2);  // n1 -> n2, both top-level
    q->AppendChild(n2);     // n2 goes to Q, still n1's next sibling
    ExpectRaises<EIllegalArgumentException>([&] { p->AppendChild(n1); }, "Cannot add child");
    // Step 1 went as far as it got: n1 was adopted and counted, and stays so.
    EXPECT_TRUE(SameObject(n1->GetParent(), p));
    EXPECT_EQ(p->ChildCount(), 1);
    EXPECT_FALSE(p->GetFirstChild()) << "but it was never linked in";
    ExpectRaises<EIllegalArgumentException>([&] { p->AppendChild(nullptr); }, "Cannot add child");
    q->UnlinkSubtree();
    n1->SetParent(nullptr);
}

TEST_F(GraphNodes, AddingAChildAgainRaisesTreeNodeCircularity) {
    Node p = N("P"), a = N("a"), b = N("b"), c = N("c");
    p->AppendChild(a);
    p->AppendChild(b);
    p->AppendChild(c);
    ExpectRaises<EIllegalStateException>([&] { p->AppendChild(c); }, "Tree node circularity");
    ExpectRaises<EIllegalStateException>([&] { p->AppendChild(b); }, "Tree node circularity");
    EXPECT_EQ(Children(p.get()), "abc");
    EXPECT_EQ(p->ChildCount(), 3) << "children of this parent are not counted again";
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, AddingTheFirstChildAgainClosesARingThenTreeCircularity) {
    Node p = N("P"), a = N("a"), b = N("b"), c = N("c"), d = N("d");
    p->AppendChild(a);
    p->AppendChild(b);
    p->AppendChild(c);
    p->AppendChild(a);  // no error: c's next is now a
    EXPECT_EQ(c->NextSiblingNode(), a.get());
    EXPECT_EQ(Children(p.get()), "abcabcabcabc");
    EXPECT_EQ(p->ChildCount(), 3);

    ExpectRaises<EIllegalStateException>([&] { p->AppendChild(d); }, "Tree circularity");
    EXPECT_TRUE(SameObject(d->GetParent(), p)) << "the parent set before the walk stays";
    EXPECT_EQ(p->ChildCount(), 4);

    // A chain that is a ring itself has no end: refused rather than walked forever.
    ExpectRaises<EIllegalStateException>([&] { p->AppendChild(b); }, "Tree circularity");

    // The ring is a cycle of strong references: cut it, or the nodes leak.
    p->UnlinkSubtree();
    EXPECT_FALSE(c->NextSiblingNode());
    EXPECT_FALSE(a->GetParent());
    d->SetParent(nullptr);
}

// ---- removing ------------------------------------------------------------------

TEST_F(GraphNodes, RemoveChildUnlinksFirstMiddleAndLast) {
    Node p = N("P"), a = N("a"), b = N("b"), c = N("c"), d = N("d");
    for (auto& n : {a, b, c, d}) p->AppendChild(n);
    p->RemoveChild(b);
    EXPECT_EQ(Children(p.get()), "acd");
    EXPECT_FALSE(b->GetParent());
    EXPECT_FALSE(b->GetNextSibling());
    p->RemoveChild(a);
    EXPECT_EQ(Children(p.get()), "cd");
    p->RemoveChild(d);
    EXPECT_EQ(Children(p.get()), "c");
    EXPECT_EQ(p->ChildCount(), 1);

    Node stranger = N("s");
    ExpectRaises<EIllegalArgumentException>([&] { p->RemoveChild(stranger); }, "Tree node circularity");
    EXPECT_EQ(p->ChildCount(), 1);
    p->RemoveChild(c);
    EXPECT_EQ(p->HasChildren(), tsNo);
}

TEST_F(GraphNodes, RemoveChildOnALeafStillClearsAndCountsNegative) {
    Node p = N("P"), q = N("Q"), x = N("x"), y = N("y");
    q->AppendChild(x);
    q->AppendChild(y);
    p->RemoveChild(x);  // p has no children: nothing is searched
    EXPECT_EQ(p->ChildCount(), -1);
    EXPECT_FALSE(x->GetParent()) << "the child's links are cleared all the same";
    EXPECT_FALSE(x->GetNextSibling());
    EXPECT_EQ(p->GetChildren()->GetCount(), 0) << "a negative count must not break GetChildren";
    EXPECT_EQ(q->FirstChildNode(), x.get()) << "Q still lists x, which no longer leads to y";
    q->UnlinkSubtree();
}

TEST_F(GraphNodes, RemoveNodeFromParentOrTopLevelChain) {
    Node p = N("P"), a = N("a"), b = N("b");
    p->AppendChild(a);
    p->AppendChild(b);
    EXPECT_TRUE(SameObject(a->RemoveNode(p), p)) << "with a parent the result is Root";
    EXPECT_EQ(Children(p.get()), "b");

    Node r = N("r"), s = N("s"), t = N("t");
    r->InsertSibling(s);
    s->InsertSibling(t);  // r -> s -> t
    EXPECT_TRUE(SameObject(s->RemoveNode(r), r));
    EXPECT_EQ(r->NextSiblingNode(), t.get());
    EXPECT_FALSE(s->GetNextSibling());

    auto head = r->RemoveNode(r);
    EXPECT_TRUE(SameObject(head, t)) << "the root's next sibling is the new head";
    EXPECT_EQ(r->NextSiblingNode(), t.get()) << "and the root's own link stays";

    Node lone = N("lone");
    EXPECT_TRUE(SameObject(lone->RemoveNode(t), t)) << "not in the chain: nothing changes";
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, InsertSiblingAdoptsAChainUnderTheSameParent) {
    Node p = N("P"), a = N("a"), b = N("b"), x = N("x"), y = N("y");
    p->AppendChild(a);
    p->AppendChild(b);
    x->InsertSibling(y);
    a->InsertSibling(x);
    EXPECT_EQ(Children(p.get()), "axyb");
    EXPECT_TRUE(SameObject(y->GetParent(), p));
    EXPECT_EQ(p->ChildCount(), 4);
    EXPECT_EQ(p->GetChildren()->GetCount(), 4);

    Node z = N("z");
    ExpectRaises<EIllegalArgumentException>([&] { a->InsertSibling(b); }, "Tree node circularity");
    // w -> z: linking w after z would close a ring.
    Node w = N("w");
    w->InsertSibling(z);
    ExpectRaises<EIllegalStateException>([&] { z->InsertSibling(w); }, "Tree node circularity");
    ExpectRaises<EIllegalStateException>([&] { z->InsertSibling(z); }, "Tree node circularity");
    EXPECT_EQ(Children(p.get()), "axyb") << "a refused chain changes nothing";
    EXPECT_EQ(w->NextSiblingNode(), z.get());
    EXPECT_FALSE(z->GetNextSibling());
    p->UnlinkSubtree();
}

// ---- the child iterator ---------------------------------------------------------

TEST_F(GraphNodes, IteratorOnALeafIsAtFirstAndAtLast) {
    Node leaf = N("leaf");
    auto it = leaf->GetChildIterator();
    EXPECT_TRUE(it->AtFirst());
    EXPECT_TRUE(it->AtLast());
    EXPECT_FALSE(it->HasMoreElements());
    EXPECT_FALSE(it->Get());
    it->Advance();
    EXPECT_TRUE(it->AtLast());
    EXPECT_EQ(it->GetContainer(), nullptr);
    ExpectRaises<EIllegalStateException>([&] { it->Put(N("x")); }, "Iterator has no first sibling");
}

TEST_F(GraphNodes, IteratorWalksAndAtLastMeansPastTheEnd) {
    Node p = N("P"), a = N("a"), b = N("b"), c = N("c");
    for (auto& n : {a, b, c}) p->AppendChild(n);
    auto it = p->GetChildIterator();
    EXPECT_TRUE(it->AtFirst());
    EXPECT_TRUE(SameObject(it->NextElement(), a));
    EXPECT_FALSE(it->AtFirst());
    EXPECT_TRUE(SameObject(it->Get(), b));
    it->Advance();
    EXPECT_TRUE(SameObject(it->Get(), c));
    EXPECT_FALSE(it->AtLast()) << "on the last node is not AtLast";
    it->Advance();
    EXPECT_TRUE(it->AtLast());
    EXPECT_FALSE(it->HasMoreElements());

    auto it2 = p->GetChildIterator();
    it2->Advance2(0);
    it2->Advance2(-3);
    EXPECT_TRUE(it2->AtFirst()) << "offsets below 1 do nothing";
    it2->Advance2(10);
    EXPECT_TRUE(it2->AtLast()) << "stops at the end";

    std::string walked;
    for (auto e = p->GetChildIterator(); e->HasMoreElements();)
        walked += NameOf(As<ILinkedTreeNode>(e->NextElement())->Ptr());
    EXPECT_EQ(walked, "abc");
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, IteratorDistance) {
    Node p = N("P"), a = N("a"), b = N("b"), c = N("c");
    for (auto& n : {a, b, c}) p->AppendChild(n);
    auto first = p->GetChildIterator();
    auto third = p->GetChildIterator();
    third->Advance2(2);
    auto end = p->GetChildIterator();
    end->Advance2(3);
    EXPECT_EQ(third->Distance(first), 2);
    EXPECT_EQ(first->Distance(third), -1) << "the end comes first";
    EXPECT_EQ(first->Distance(first), 0);
    EXPECT_EQ(end->Distance(first), 3);
    EXPECT_EQ(end->Distance(end), 0);
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, IteratorPutAddsUnderTheFirstSibling) {
    Node p = N("P"), a = N("a"), b = N("b"), x = N("x"), y = N("y");
    p->AppendChild(a);
    p->AppendChild(b);
    auto it = p->GetChildIterator();
    it->Advance();  // on b
    it->Put(x);
    EXPECT_TRUE(SameObject(x->GetParent(), a)) << "the first sibling acts as the parent";
    EXPECT_EQ(Children(a.get()), "x");
    EXPECT_EQ(Children(p.get()), "ab");
    it->Advance();  // past the end
    it->Put(y);
    EXPECT_EQ(Children(a.get()), "xy");
    ExpectRaises<EIntfCastError>([&] { it->Put(Make<TTextObject>(u"not a node")); }, "Interface not supported");
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, IteratorCloneAndEqualsAbortSilently) {
    Node p = N("P");
    p->AppendChild(N("a"));
    auto it = p->GetChildIterator();
    EXPECT_THROW(it->Clone(), EAbort);
    auto* impl = As<ILinkedTreeIterator>(it)->Ptr();
    EXPECT_THROW(impl->Equals(impl), EAbort);
    p->UnlinkSubtree();
}

// ---- contracts and lifetime -----------------------------------------------------

TEST_F(GraphNodes, ContractsReachTheImplementationObject) {
    Node n = N("n");
    IntfRef<IGraphLocation> loc(n.get());
    EXPECT_EQ(As<ILinkedTreeNode>(loc)->Ptr(), n.get());
    EXPECT_EQ(As<IBasicTreeNode>(loc)->Ptr(), n.get());
    auto plain = Make<TLinkedTreeNode>();
    EXPECT_FALSE(Supports<IBasicTreeNode>(plain)) << "a linked node has no payload";
    EXPECT_TRUE(Supports<IHashObject>(plain));
    EXPECT_NE(Supports<IHashObject>(plain)->GetHashCode(), Supports<IHashObject>(n)->GetHashCode());

    // Nodes are identity keys of a hash table.
    THashtable table;
    table.Put(Supports<IHashObject>(n), Make<TIntegerObject>(7));
    EXPECT_EQ(As<IIndexObject>(table.Get(Supports<IHashObject>(n)))->GetIndex(), 7);
    EXPECT_FALSE(table.ContainsKey(Supports<IHashObject>(plain)));
    table.Clear();

    // A foreign object can't be linked.
    ExpectRaises<EIntfCastError>([&] { n->AppendChild(As<ILinkedTreeNode>(Make<TTextObject>(u"x"))); },
                                 "Interface not supported");
}

TEST_F(GraphNodes, LinksAreStrongBothWaysAndRemovalUnlinks) {
    Node p = N("P");
    {
        Node a = N("a");
        p->AppendChild(a);
        EXPECT_EQ(a->RefCount(), 2) << "the test and the parent";
        EXPECT_EQ(p->RefCount(), 2) << "the test and the child's parent link";
    }
    EXPECT_EQ(gNodes, 2) << "the parent keeps its child alive";
    {
        auto a = p->GetFirstChild();
        p->RemoveChild(a);
        EXPECT_EQ(p->RefCount(), 1) << "removal dropped the child's parent link";
    }
    EXPECT_EQ(gNodes, 1) << "a removed node nobody holds is freed";
}

TEST_F(GraphNodes, RemovedSubtreeStaysWholeUntilUnlinked) {
    Node p = N("P");
    {
        Node a = N("a");
        p->AppendChild(a);
        a->AppendChild(N("x"));
        a->AppendChild(N("y"));
        p->RemoveChild(a);
        EXPECT_EQ(Children(a.get()), "xy") << "removal keeps the subtree, so it can move";
        Node q = N("Q");
        q->AppendChild(a);
        EXPECT_EQ(Children(q.get()), "a");
        q->RemoveChild(a);
        EXPECT_EQ(gNodes, 5);
        a->UnlinkSubtree();
        EXPECT_EQ(gNodes, 3) << "x and y are freed once their cycle with a is cut";
    }
    EXPECT_EQ(gNodes, 1);
}

TEST_F(GraphNodes, UnlinkingADeepOrWideTreeNeedsNoRecursion) {
    Node root = N("root");
    TLinkedTreeNode* tip = root.get();
    for (int i = 0; i < 50000; ++i) {
        auto child = Make<TLinkedTreeNode>();
        tip->AppendChild(child);
        tip = child.get();
    }
    for (int i = 0; i < 1000; ++i) root->InsertChild(Make<TLinkedTreeNode>());
    EXPECT_EQ(root->ChildCount(), 1001);
    root->UnlinkSubtree();
    EXPECT_EQ(root->RefCount(), 1) << "nothing below holds the root any more";
    EXPECT_EQ(root->HasChildren(), tsNo);
}
