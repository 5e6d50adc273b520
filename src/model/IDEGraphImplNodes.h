// Tree nodes that are their own graph locations, and the iterator over a
// node's children.
//
// A node is linked to its parent, its first child and its next sibling. All
// three links are strong references: a parent holds its first child, each
// child holds its next sibling, and every child holds its parent. A parent and
// its children therefore keep each other alive, and a node that is to die must
// be unlinked first:
//
// - RemoveChild / RemoveNode unlink the removed node from its parent and its
//   siblings (its parent and next-sibling links are cleared, and the parent no
//   longer lists it). The removed node keeps its own children, so a removed
//   subtree can be added elsewhere in one piece.
// - A subtree that is to be dropped is released with UnlinkSubtree: it clears
//   every parent, first-child and next-sibling link below the node, without
//   recursion, so that nodes nobody else holds are freed. UnlinkTree does the
//   same for a whole top-level chain; the containers call it on their tree
//   when they die and in Clear (see IDEGraphImplContainers.h).
//
// The sibling chain is singly linked: removing walks all earlier siblings,
// and so does adding ahead of a later sibling. Adding at the end takes
// constant time while the children are regular: a parent remembers its last
// child (a plain pointer: the chain keeps that node alive) as long as its
// children were only changed by adding parentless nodes, removing children,
// InsertSibling and UnlinkSubtree. Anything else the checks of DoAddChild
// exist for (adding a node that already is a child, a raise while adding,
// SetParent or RemoveChild taking a node away behind its parent's back)
// makes the parent forget its last child for good, and every later addition
// walks the siblings as before, with the same errors. UnlinkSubtree, which
// empties the children, makes them regular again.
#pragma once

#include "foundation/IDEObjects.h"
#include "foundation/IDEUtil.h"
#include "model/IDEModel.h"

namespace ide {

class TLinkedTreeNode;
class TBasicTreeNode;
class TLinkedTreeIterator;

// Access to the implementation objects behind the tree's contracts. All
// linking works on the object reached through Ptr, so a foreign
// IGraphLocation can't be linked into a tree.
struct ILinkedTreeNode : virtual IInterface {
    IDE_INTERFACE(ILinkedTreeNode, "8A4A1801-0876-11D1-AE97-0020AF32BB01")
    virtual TLinkedTreeNode* Ptr() = 0;
};

struct ILinkedTreeIterator : virtual IInterface {
    IDE_INTERFACE(ILinkedTreeIterator, "287FCB81-0883-11D1-AE97-0020AF32BB01")
    virtual TLinkedTreeIterator* Ptr() = 0;
};

struct IBasicTreeNode : virtual IInterface {
    IDE_INTERFACE(IBasicTreeNode, "287FCB85-0883-11D1-AE97-0020AF32BB01")
    virtual TBasicTreeNode* Ptr() = 0;
};

// The node object behind a linked-tree contract, or nil for nil. Raises
// EIntfCastError when the object is no ILinkedTreeNode.
template <class U>
TLinkedTreeNode* LinkedNodeOf(const IntfRef<U>& Obj) {
    if (!Obj) return nullptr;
    return AsPtr<ILinkedTreeNode>(Obj.get())->Ptr();
}

// A node without payload: it is its own data. Its hash code is its identity,
// so it can be a key of a THashtable.
class TLinkedTreeNode : public THashObject, public virtual IGraphLocation, public virtual ILinkedTreeNode {
public:
    TLinkedTreeNode() = default;
    // A new node that Parent adopts at once as its last child (when Parent is
    // set), so that the parent lists and counts it.
    static IntfRef<TLinkedTreeNode> Create2(const IntfRef<ILinkedTreeNode>& Parent);

    TLinkedTreeNode* Ptr() override { return this; }

    // The parent, nil for a top-level node.
    IntfRef<IGraphLocation> GetParent() override;
    // tsYes when there is a first child, else tsNo; never tsUnknown.
    TTriState HasChildren() override { return FFirstChild ? tsYes : tsNo; }
    // A new list of the children in sibling order.
    IntfRef<IInterfaceList> GetChildren() override;
    virtual IntfRef<ILinkedTreeNode> GetFirstChild();
    // An iterator on the first child.
    virtual IntfRef<IForwardIterator> GetChildIterator();
    virtual IntfRef<ILinkedTreeNode> GetNextSibling();
    // Adds NewChild (and the chain of siblings that follows it) at the end.
    virtual void AppendChild(const IntfRef<ILinkedTreeNode>& NewChild);
    // Adds NewChild (and its chain) at the front.
    virtual void InsertChild(const IntfRef<ILinkedTreeNode>& NewChild);
    // Adds NewChild (and its chain) ahead of AheadOf; an AheadOf that is no
    // child of this node appends at the end.
    virtual void InsertChild2(const IntfRef<ILinkedTreeNode>& NewChild, const IntfRef<ILinkedTreeNode>& AheadOf);
    // Adopts the chain that starts at NewChild:
    // 1. each node of the chain without a parent gets this node as parent and
    //    is counted; a node of another parent raises EIllegalArgumentException
    //    "Cannot add child"; a node of this parent is passed over uncounted;
    // 2. the chain goes in front when there are no children or AheadOf is the
    //    first child;
    // 3. otherwise the siblings are walked: a sibling chain that has closed on
    //    the first child raises EIllegalStateException "Tree circularity", a
    //    chain head already among the siblings raises "Tree node circularity",
    //    and the chain goes in at the end or ahead of AheadOf.
    // Parents set in step 1 stay set when step 3 raises. Adding the current
    // first child again while siblings follow it therefore closes the
    // siblings into a ring with no error; the next addition raises "Tree
    // circularity". A chain that is itself a ring raises "Tree circularity"
    // in step 1 instead of walking forever.
    virtual void DoAddChild(const IntfRef<ILinkedTreeNode>& NewChild, const IntfRef<ILinkedTreeNode>& AheadOf);
    // Adopts a chain of parentless nodes as next siblings of this node: they
    // get this node's parent, the chain's end is linked to this node's next
    // sibling, and this node's next sibling becomes NewSibling. The parent
    // counts every adopted node. The chain is checked before anything is
    // changed: a node that has a parent raises EIllegalArgumentException
    // "Tree node circularity"; this node itself, a node whose next sibling is
    // this node, or a chain that closes on itself raises
    // EIllegalStateException "Tree node circularity".
    virtual void InsertSibling(const IntfRef<ILinkedTreeNode>& NewSibling);
    // Unlinks UnwantedChild from the children, then clears its parent and
    // next-sibling links and counts one child less. A child that is not among
    // the children raises EIllegalArgumentException "Tree node circularity".
    // On a node without children nothing is searched: the child's links are
    // cleared and the count goes negative all the same.
    virtual void RemoveChild(const IntfRef<ILinkedTreeNode>& UnwantedChild);
    // Unlinks this node from wherever it is and answers the possibly new head
    // of the top-level chain that starts at Root: with a parent, the parent
    // removes it (result Root); as Root itself, the result is its next
    // sibling and its own next link stays; otherwise it is unlinked from the
    // chain that starts at Root (result Root).
    virtual IntfRef<ILinkedTreeNode> RemoveNode(const IntfRef<ILinkedTreeNode>& Root);
    // Sets the parent link only; the parent's children are not touched.
    virtual void SetParent(const IntfRef<ILinkedTreeNode>& Parent);

    // Clears every link below this node (parents, first children and next
    // siblings of all descendants), iteratively, so that a dropped subtree is
    // freed although its links formed cycles. This node keeps its own parent
    // and next sibling. A sibling ring left by a repeated addition is cut too.
    void UnlinkSubtree();
    // UnlinkSubtree on this node and, when this node is top-level, on each
    // following top-level sibling, cutting those sibling links as well: how a
    // container lets go of a whole tree.
    void UnlinkTree();

    // Direct access for the library's own loops; no references are taken.
    TLinkedTreeNode* ParentNode() const noexcept { return FParent.get(); }
    TLinkedTreeNode* FirstChildNode() const noexcept { return FFirstChild.get(); }
    TLinkedTreeNode* NextSiblingNode() const noexcept { return FNextSibling.get(); }
    int ChildCount() const noexcept { return FChildCount; }
    // The remembered last child: nil when there are no children, or when
    // the children are irregular and an addition at the end walks them.
    TLinkedTreeNode* RememberedLastChild() const noexcept { return FLastChild; }

protected:
    IntfRef<TLinkedTreeNode> FParent;
    IntfRef<TLinkedTreeNode> FNextSibling;
    IntfRef<TLinkedTreeNode> FFirstChild;
    int FChildCount = 0;

private:
    // The children were changed in a way the remembered last child can't
    // follow: forget it until UnlinkSubtree empties them.
    void ForgetLastChild() noexcept {
        FIrregular = true;
        FLastChild = nullptr;
    }

    TLinkedTreeNode* FLastChild = nullptr;  // the end of the chain from FFirstChild, while regular
    bool FIrregular = false;
};

// A node with a payload, so that a client can keep any interface in a tree.
class TBasicTreeNode : public TLinkedTreeNode, public virtual IBasicTreeNode {
public:
    explicit TBasicTreeNode(IntfRef<IInterface> Data = nullptr) : FData(std::move(Data)) {}
    TBasicTreeNode* Ptr() override { return this; }
    const IntfRef<IInterface>& GetData() const noexcept { return FData; }
    void SetData(IntfRef<IInterface> Data) { FData = std::move(Data); }

protected:
    IntfRef<IInterface> FData;
};

// An iterator over a chain of siblings, from the first sibling it was made on.
// The first sibling also stands for the parent where Put adds nodes.
class TLinkedTreeIterator : public TInterfacedObject,
                            public virtual IForwardIterator,
                            public virtual ILinkedTreeIterator {
public:
    explicit TLinkedTreeIterator(const IntfRef<ILinkedTreeNode>& FirstSibling);
    TLinkedTreeIterator* Ptr() override { return this; }

    // There is a current node.
    bool HasMoreElements() override { return static_cast<bool>(FSibling); }
    // The current node, then Advance.
    IntfRef<IInterface> NextElement() override;
    bool AtFirst() override { return FSibling.get() == FFirstSibling.get(); }
    // Past the end, not on the last node.
    bool AtLast() override { return !FSibling; }
    // The current node, nil past the end.
    IntfRef<IInterface> Get() override;
    // To the next sibling; nothing past the end.
    void Advance() override;
    // Advance up to Offset times, stopping at the end; nothing below 1.
    void Advance2(int Offset) override;
    // Raise the silent abort (EAbort): an iterator can't be copied or compared.
    IntfRef<IInputIterator> Clone() override;
    bool Equals(TObject* Obj) override;
    // Adds Data's node as a child of the first sibling, which stands for the
    // parent here: past the end by AppendChild, otherwise by InsertChild2
    // ahead of the current node. The current node is a sibling of the first
    // sibling, not its child, so that also appends (unless the current node
    // is a child of the first sibling). This reading of the iterator's range
    // is intended. An iterator with no first sibling raises
    // EIllegalStateException "Iterator has no first sibling".
    void Put(const IntfRef<IInterface>& Data) override;
    // The steps from That's current node along next-sibling links to this
    // iterator's current node; -1 when the end comes first.
    int Distance(const IntfRef<IForwardIterator>& That) override;
    // Nil: the iterator belongs to no container.
    IntfRef<IInterface> GetContainer() override { return nullptr; }

    TLinkedTreeNode* Current() const noexcept { return FSibling.get(); }

private:
    IntfRef<TLinkedTreeNode> FFirstSibling;
    IntfRef<TLinkedTreeNode> FSibling;
};

}  // namespace ide
