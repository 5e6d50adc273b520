// Linked tree nodes: sibling linking, chain adoption, the circularity checks,
// removal, the child iterator, and the lifetime of nodes whose links are
// strong in both directions.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/IDEGraphImpl.h"

using namespace ide;

namespace {

int gNodes = 0;

// A payload node that counts live instances and carries a name.
class TNamedNode : public TBasicTreeNode {
public:
    explicit TNamedNode(const std::string& Name) : TBasicTreeNode(Make<TTextObject>(Str(Name))) { ++gNodes; }
    ~TNamedNode() override { --gNodes; }
};

using Node = IntfRef<TNamedNode>;
Node N(const std::string& Name) { return Make<TNamedNode>(Name); }

std::string NameOf(TLinkedTreeNode* n) {
    return Utf8(As<IStringObject>(dynamic_cast<TBasicTreeNode*>(n)->GetData())->GetString());
}

// The names along the sibling links from the first child; a ring shows as a
// 12-step repeating text instead of a hang.
std::string Children(TLinkedTreeNode* parent) {
    std::string s;
    int steps = 0;
    for (TLinkedTreeNode* c = parent->FirstChildNode(); c && steps < 12; c = c->NextSiblingNode(), ++steps)
        s += NameOf(c);
    return s;
}

// P with one child per letter of Names, appended in order.
struct Family {
    Node p = N("P");
    std::vector<Node> k;
    explicit Family(const char* Names) {
        for (const char* c = Names; *c; ++c) {
            k.push_back(N(std::string(1, *c)));
            p->AppendChild(k.back());
        }
    }
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

class GraphNodes : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(gNodes, 0) << "nodes left alive"; }
};

}  // namespace

// ---- adding --------------------------------------------------------------------

TEST_F(GraphNodes, AppendInsertAheadOfAndChains) {
    Family f("ac");
    Node p = f.p, a = f.k[0], c = f.k[1];
    EXPECT_EQ(p->FirstChildNode(), a.get()) << "appending to a leaf makes the first child";
    p->InsertChild2(N("b"), c);  // ahead of a middle node
    p->InsertChild(N("d"));      // at the front
    p->InsertChild2(N("e"), IntfRef<ILinkedTreeNode>::Retain(p->FirstChildNode()));  // ahead of the first: first
    p->InsertChild2(N("o"), N("stranger"));  // AheadOf is no child: appended
    EXPECT_EQ(Children(p.get()), "edabco");
    EXPECT_EQ(p->ChildCount(), 6);
    EXPECT_EQ(p->HasChildren(), tsYes);
    EXPECT_TRUE(SameObject(a->GetParent(), p));
    EXPECT_FALSE(p->GetParent());
    auto list = p->GetChildren();
    ASSERT_EQ(list->GetCount(), 6);
    EXPECT_EQ(As<ILinkedTreeNode>(list->Get(2))->Ptr(), a.get());

    // A top-level chain x -> y is adopted whole, every node counted.
    Node x = N("x"), y = N("y");
    x->InsertSibling(y);
    EXPECT_FALSE(y->GetParent());
    p->InsertChild2(x, c);
    EXPECT_EQ(Children(p.get()), "edabxyco");
    EXPECT_EQ(p->ChildCount(), 8);
    EXPECT_TRUE(SameObject(y->GetParent(), p));

    auto made = TLinkedTreeNode::Create2(p);  // adopted at once, and counted
    EXPECT_TRUE(SameObject(made->GetParent(), p));
    EXPECT_EQ(p->ChildCount(), 9);
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, NodeOfAnotherParentCannotBeAdded) {
    Node p = N("P"), q = N("Q"), n1 = N("1"), n2 = N("2");
    n1->InsertSibling(n2);  // n1 -> n2, both top-level
    q->AppendChild(n2);     // n2 goes to Q, still n1's next sibling
    ExpectRaises<EIllegalArgumentException>([&] { p->AppendChild(n1); }, "Cannot add child");
    // The walk went as far as it got: n1 was adopted and counted, and stays so.
    EXPECT_TRUE(SameObject(n1->GetParent(), p));
    EXPECT_EQ(p->ChildCount(), 1);
    EXPECT_FALSE(p->GetFirstChild()) << "but it was never linked in";
    ExpectRaises<EIllegalArgumentException>([&] { p->AppendChild(nullptr); }, "Cannot add child");
    ExpectRaises<EIntfCastError>([&] { p->AppendChild(As<ILinkedTreeNode>(Make<TTextObject>(u"x"))); },
                                 "Interface not supported");
    q->UnlinkSubtree();
    n1->SetParent(nullptr);
}

TEST_F(GraphNodes, AddingAChildAgainRaisesOrClosesARing) {
    Family f("abc");
    Node p = f.p, a = f.k[0], b = f.k[1], c = f.k[2], d = N("d");
    ExpectRaises<EIllegalStateException>([&] { p->AppendChild(c); }, "Tree node circularity");
    ExpectRaises<EIllegalStateException>([&] { p->AppendChild(b); }, "Tree node circularity");
    EXPECT_EQ(Children(p.get()), "abc");
    EXPECT_EQ(p->ChildCount(), 3) << "children of this parent are not counted again";

    p->AppendChild(a);  // the first child again: no error, c's next is now a
    EXPECT_EQ(c->NextSiblingNode(), a.get());
    EXPECT_EQ(Children(p.get()), "abcabcabcabc");
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

TEST_F(GraphNodes, RemoveChildUnlinksAndRefusesStrangers) {
    Family f("abcd");
    Node p = f.p, b = f.k[1];
    p->RemoveChild(b);
    EXPECT_EQ(Children(p.get()), "acd");
    EXPECT_FALSE(b->GetParent());
    EXPECT_FALSE(b->GetNextSibling());
    p->RemoveChild(f.k[0]);
    p->RemoveChild(f.k[3]);
    EXPECT_EQ(Children(p.get()), "c");
    EXPECT_EQ(p->ChildCount(), 1);
    ExpectRaises<EIllegalArgumentException>([&] { p->RemoveChild(N("s")); }, "Tree node circularity");
    EXPECT_EQ(p->ChildCount(), 1);

    // On a node without children nothing is searched: the child's links are
    // cleared all the same, and the count goes negative.
    Family q("xy");
    Node lone = N("L");
    lone->RemoveChild(q.k[0]);
    EXPECT_EQ(lone->ChildCount(), -1);
    EXPECT_FALSE(q.k[0]->GetParent());
    EXPECT_FALSE(q.k[0]->GetNextSibling());
    EXPECT_EQ(lone->GetChildren()->GetCount(), 0) << "a negative count must not break GetChildren";
    EXPECT_EQ(Children(q.p.get()), "x") << "Q still lists x, which no longer leads to y";
    q.p->UnlinkSubtree();
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, RemoveNodeFromParentOrTopLevelChain) {
    Family f("ab");
    EXPECT_TRUE(SameObject(f.k[0]->RemoveNode(f.p), f.p)) << "with a parent the result is Root";
    EXPECT_EQ(Children(f.p.get()), "b");

    Node r = N("r"), s = N("s"), t = N("t");
    s->InsertSibling(t);
    r->InsertSibling(s);  // r -> s -> t
    EXPECT_TRUE(SameObject(s->RemoveNode(r), r));
    EXPECT_EQ(r->NextSiblingNode(), t.get());
    EXPECT_FALSE(s->GetNextSibling());
    EXPECT_TRUE(SameObject(r->RemoveNode(r), t)) << "the root's next sibling is the new head";
    EXPECT_EQ(r->NextSiblingNode(), t.get()) << "and the root's own link stays";
    EXPECT_TRUE(SameObject(N("lone")->RemoveNode(t), t)) << "not in the chain: nothing changes";
    f.p->UnlinkSubtree();
}

TEST_F(GraphNodes, InsertSiblingAdoptsAChainOrRefusesItWhole) {
    Family f("ab");
    Node a = f.k[0], x = N("x"), y = N("y"), z = N("z"), w = N("w");
    x->InsertSibling(y);
    a->InsertSibling(x);
    EXPECT_EQ(Children(f.p.get()), "axyb");
    EXPECT_TRUE(SameObject(y->GetParent(), f.p));
    EXPECT_EQ(f.p->ChildCount(), 4);

    ExpectRaises<EIllegalArgumentException>([&] { a->InsertSibling(f.k[1]); }, "Tree node circularity");
    w->InsertSibling(z);  // w -> z: linking w after z would close a ring
    ExpectRaises<EIllegalStateException>([&] { z->InsertSibling(w); }, "Tree node circularity");
    ExpectRaises<EIllegalStateException>([&] { z->InsertSibling(z); }, "Tree node circularity");
    EXPECT_EQ(Children(f.p.get()), "axyb") << "a refused chain changes nothing";
    EXPECT_FALSE(z->GetNextSibling());
    f.p->UnlinkSubtree();
}

// ---- the remembered last child ----------------------------------------------------
// Appending links behind the remembered last child instead of walking; it
// must always be the end of the chain, or nothing (then the walk decides).

namespace {
TLinkedTreeNode* WalkedLast(TLinkedTreeNode* p) {
    TLinkedTreeNode* last = nullptr;
    for (TLinkedTreeNode* c = p->FirstChildNode(); c; c = c->NextSiblingNode()) last = c;
    return last;
}
}  // namespace

TEST_F(GraphNodes, LastChildFollowsInsertsAndRemovalsAtEndsAndMiddle) {
    Family f("abc");
    Node p = f.p, a = f.k[0], b = f.k[1], c = f.k[2];
    EXPECT_EQ(p->RememberedLastChild(), c.get());
    p->InsertChild(N("0"));      // front
    p->InsertChild2(N("m"), b);  // middle
    EXPECT_EQ(p->RememberedLastChild(), c.get()) << "inserts ahead of a sibling leave the end alone";
    p->InsertChild2(N("s"), N("stranger"));  // no child: at the end
    EXPECT_EQ(Children(p.get()), "0ambcs");
    EXPECT_EQ(p->RememberedLastChild(), WalkedLast(p.get()));
    p->AppendChild(N("t"));
    EXPECT_EQ(Children(p.get()), "0ambcst");

    p->RemoveChild(b);  // middle: the end stays
    EXPECT_EQ(p->RememberedLastChild(), WalkedLast(p.get()));
    p->RemoveChild(IntfRef<ILinkedTreeNode>::Retain(WalkedLast(p.get())));  // the end: its predecessor ends now
    EXPECT_EQ(Children(p.get()), "0amcs");
    EXPECT_EQ(p->RememberedLastChild(), WalkedLast(p.get()));
    p->AppendChild(N("u"));
    EXPECT_EQ(Children(p.get()), "0amcsu") << "appended behind the new end, not the removed one";

    // Down to one child, then none, then one again.
    while (p->FirstChildNode() != WalkedLast(p.get())) p->RemoveChild(p->GetFirstChild());
    EXPECT_EQ(p->RememberedLastChild(), p->FirstChildNode());
    p->RemoveChild(p->GetFirstChild());
    EXPECT_EQ(p->RememberedLastChild(), nullptr);
    EXPECT_EQ(p->ChildCount(), 0);
    p->AppendChild(a);
    p->AppendChild(c);
    EXPECT_EQ(Children(p.get()), "ac");
    EXPECT_EQ(p->RememberedLastChild(), c.get());

    // A chain appended at once ends with its last node.
    Node x = N("x"), y = N("y");
    x->InsertSibling(y);
    p->AppendChild(x);
    EXPECT_EQ(Children(p.get()), "acxy");
    EXPECT_EQ(p->RememberedLastChild(), y.get());
    EXPECT_EQ(p->ChildCount(), 4);
    p->UnlinkSubtree();
}

TEST_F(GraphNodes, LastChildFollowsMovesAndSiblingInserts) {
    Family p("abc"), q("xy");
    Node c = p.k[2], a = p.k[0];
    // Move the end of P to the end of Q, and the front of P to the front of Q.
    p.p->RemoveChild(c);
    q.p->AppendChild(c);
    p.p->RemoveChild(a);
    q.p->InsertChild(a);
    EXPECT_EQ(Children(p.p.get()), "b");
    EXPECT_EQ(Children(q.p.get()), "axyc");
    EXPECT_EQ(p.p->RememberedLastChild(), p.k[1].get());
    EXPECT_EQ(q.p->RememberedLastChild(), c.get());
    // A subtree moves with its own children and their end.
    c->AppendChild(N("1"));
    c->AppendChild(N("2"));
    q.p->RemoveChild(c);
    p.p->AppendChild(c);
    EXPECT_EQ(Children(p.p.get()), "bc");
    EXPECT_EQ(Children(c.get()), "12");
    c->AppendChild(N("3"));
    EXPECT_EQ(Children(c.get()), "123");
    EXPECT_EQ(q.p->RememberedLastChild(), q.k[1].get());

    // Siblings inserted behind the end become the end; in the middle they don't.
    Node s = N("s"), t = N("t"), m = N("m");
    s->InsertSibling(t);
    c->InsertSibling(s);
    p.p->InsertChild(N("f"));
    p.k[1]->InsertSibling(m);
    EXPECT_EQ(Children(p.p.get()), "fbmcst");
    EXPECT_EQ(p.p->RememberedLastChild(), t.get());
    p.p->AppendChild(N("z"));
    EXPECT_EQ(Children(p.p.get()), "fbmcstz");
    EXPECT_EQ(p.p->ChildCount(), 7);
    p.p->UnlinkSubtree();
    q.p->UnlinkSubtree();
}

TEST_F(GraphNodes, LastChildStartsAfreshAfterClears) {
    Family f("abc");
    f.k[1]->AppendChild(N("x"));
    f.p->UnlinkSubtree();
    EXPECT_EQ(f.p->RememberedLastChild(), nullptr);
    EXPECT_EQ(f.k[1]->RememberedLastChild(), nullptr) << "cleared below as well";
    f.p->AppendChild(f.k[2]);
    f.p->AppendChild(f.k[0]);
    EXPECT_EQ(Children(f.p.get()), "ca");
    EXPECT_EQ(f.p->RememberedLastChild(), f.k[0].get());
    f.p->UnlinkSubtree();

    // Through a container: removing all children, then adding again.
    auto model = Make<TBasicTreeContainer>();
    auto root = model->SetRoot(Make<TTextObject>(u"root"));
    for (const char16_t* t : {u"1", u"2", u"3"}) model->AddChild(root, Make<TTextObject>(t));
    model->RemoveChildren(root);
    auto* rootNode = As<ILinkedTreeNode>(root)->Ptr();
    EXPECT_EQ(rootNode->RememberedLastChild(), nullptr);
    model->AddChild(root, Make<TTextObject>(u"4"));
    auto five = model->AddChild(root, Make<TTextObject>(u"5"));
    EXPECT_EQ(rootNode->ChildCount(), 2);
    EXPECT_EQ(rootNode->RememberedLastChild(), As<ILinkedTreeNode>(five)->Ptr());
    EXPECT_EQ(WalkedLast(rootNode), As<ILinkedTreeNode>(five)->Ptr());
}

TEST_F(GraphNodes, IrregularChildrenAreWalkedWithTheSameErrors) {
    // A child that forgot its parent is still linked: adding it again must
    // meet it on the walk, not close a ring behind the end.
    Family f("abc");
    Node p = f.p, b = f.k[1];
    b->SetParent(nullptr);
    EXPECT_EQ(p->RememberedLastChild(), nullptr);
    ExpectRaises<EIllegalStateException>([&] { p->AppendChild(b); }, "Tree node circularity");
    EXPECT_EQ(Children(p.get()), "abc");
    p->AppendChild(N("d"));  // walked, and still right
    EXPECT_EQ(Children(p.get()), "abcd");
    EXPECT_EQ(p->RememberedLastChild(), nullptr) << "irregular until the children are cleared";
    p->UnlinkSubtree();
    p->AppendChild(N("e"));
    EXPECT_NE(p->RememberedLastChild(), nullptr) << "cleared children are regular again";
    p->UnlinkSubtree();

    // Removing another parent's child cuts that parent's chain: its next
    // addition goes behind what is still linked.
    Family q("xy");
    Node lone = N("L");
    lone->RemoveChild(q.k[0]);  // x loses its link to y
    EXPECT_EQ(q.p->RememberedLastChild(), nullptr);
    q.p->AppendChild(N("z"));
    EXPECT_EQ(Children(q.p.get()), "xz");
    q.p->UnlinkSubtree();

    // Adding a child again, even where it is allowed, leaves the walk in charge.
    Family r("ab");
    Node c = N("c");
    r.p->AppendChild(r.k[0]);  // the first again: a ring, no error
    EXPECT_EQ(r.p->RememberedLastChild(), nullptr);
    ExpectRaises<EIllegalStateException>([&] { r.p->AppendChild(c); }, "Tree circularity");
    r.p->UnlinkSubtree();
    c->SetParent(nullptr);
}

TEST_F(GraphNodes, ManyAppendsKeepOrderCountAndEnd) {
    Node p = N("P");
    std::vector<TLinkedTreeNode*> added;
    for (int i = 0; i < 20000; ++i) {
        auto n = Make<TLinkedTreeNode>();
        added.push_back(n.get());
        if (i % 1000 == 999)
            p->InsertChild2(n, nullptr);
        else
            p->AppendChild(n);
    }
    EXPECT_EQ(p->ChildCount(), 20000);
    EXPECT_EQ(p->RememberedLastChild(), added.back());
    size_t i = 0;
    bool inOrder = true;
    for (TLinkedTreeNode* c = p->FirstChildNode(); c; c = c->NextSiblingNode(), ++i)
        inOrder = inOrder && i < added.size() && added[i] == c;
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(i, added.size());
    p->UnlinkSubtree();
}

// ---- the child iterator ---------------------------------------------------------

TEST_F(GraphNodes, IteratorWalksAndAtLastMeansPastTheEnd) {
    auto leaf = N("leaf")->GetChildIterator();
    EXPECT_TRUE(leaf->AtFirst() && leaf->AtLast());
    EXPECT_FALSE(leaf->HasMoreElements());
    EXPECT_FALSE(leaf->Get());
    EXPECT_EQ(leaf->GetContainer(), nullptr);
    ExpectRaises<EIllegalStateException>([&] { leaf->Put(N("x")); }, "Iterator has no first sibling");

    Family f("abc");
    auto it = f.p->GetChildIterator();
    EXPECT_TRUE(it->AtFirst());
    EXPECT_TRUE(SameObject(it->NextElement(), f.k[0]));
    EXPECT_FALSE(it->AtFirst());
    it->Advance();
    EXPECT_TRUE(SameObject(it->Get(), f.k[2]));
    EXPECT_FALSE(it->AtLast()) << "on the last node is not AtLast";
    it->Advance();
    EXPECT_TRUE(it->AtLast());
    EXPECT_FALSE(it->HasMoreElements());

    auto jump = f.p->GetChildIterator();
    jump->Advance2(0);
    jump->Advance2(-3);
    EXPECT_TRUE(jump->AtFirst()) << "offsets below 1 do nothing";
    jump->Advance2(2);
    EXPECT_TRUE(SameObject(jump->Get(), f.k[2]));
    auto first = f.p->GetChildIterator();
    EXPECT_EQ(jump->Distance(first), 2);
    EXPECT_EQ(first->Distance(jump), -1) << "the end comes first";
    EXPECT_EQ(first->Distance(first), 0);
    jump->Advance2(10);
    EXPECT_TRUE(jump->AtLast()) << "stops at the end";
    EXPECT_EQ(jump->Distance(first), 3);

    EXPECT_THROW(it->Clone(), EAbort);
    auto* impl = As<ILinkedTreeIterator>(it)->Ptr();
    EXPECT_THROW(impl->Equals(impl), EAbort);
    f.p->UnlinkSubtree();
}

TEST_F(GraphNodes, IteratorPutAddsUnderTheFirstSibling) {
    Family f("ab");
    Node a = f.k[0], x = N("x"), y = N("y");
    auto it = f.p->GetChildIterator();
    it->Advance();  // on b
    it->Put(x);
    EXPECT_TRUE(SameObject(x->GetParent(), a)) << "the first sibling acts as the parent";
    it->Advance();  // past the end
    it->Put(y);
    EXPECT_EQ(Children(a.get()), "xy");
    EXPECT_EQ(Children(f.p.get()), "ab");
    ExpectRaises<EIntfCastError>([&] { it->Put(Make<TTextObject>(u"not a node")); }, "Interface not supported");
    f.p->UnlinkSubtree();
}

// ---- contracts and lifetime -----------------------------------------------------

TEST_F(GraphNodes, ContractsReachTheImplementationAndHashByIdentity) {
    Node n = N("n");
    IntfRef<IGraphLocation> loc = IntfRef<IGraphLocation>::Retain(n.get());
    EXPECT_EQ(As<ILinkedTreeNode>(loc)->Ptr(), n.get());
    EXPECT_EQ(As<IBasicTreeNode>(loc)->Ptr(), n.get());
    auto plain = Make<TLinkedTreeNode>();
    EXPECT_FALSE(Supports<IBasicTreeNode>(plain)) << "a linked node has no payload";
    THashtable table;
    table.Put(Supports<IHashObject>(n), Make<TIntegerObject>(7));
    EXPECT_EQ(As<IIndexObject>(table.Get(Supports<IHashObject>(n)))->GetIndex(), 7);
    EXPECT_FALSE(table.ContainsKey(Supports<IHashObject>(plain)));
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
    p->RemoveChild(p->GetFirstChild());
    EXPECT_EQ(p->RefCount(), 1);
    EXPECT_EQ(gNodes, 1) << "a removed node nobody holds is freed";

    {
        Node a = N("a");
        p->AppendChild(a);
        a->AppendChild(N("x"));
        a->AppendChild(N("y"));
        p->RemoveChild(a);
        EXPECT_EQ(Children(a.get()), "xy") << "removal keeps the subtree, so it can move";
        a->UnlinkSubtree();
        EXPECT_EQ(gNodes, 2) << "x and y are freed once their cycle with a is cut";
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
