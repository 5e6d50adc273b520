#include "model/IDEGraphImplNodes.h"

#include <algorithm>
#include <vector>

namespace ide {

// ---- TLinkedTreeNode ---------------------------------------------------------

IntfRef<TLinkedTreeNode> TLinkedTreeNode::Create2(const IntfRef<ILinkedTreeNode>& Parent) {
    auto node = Make<TLinkedTreeNode>();
    if (TLinkedTreeNode* parent = LinkedNodeOf(Parent)) parent->AppendChild(IntfRef<ILinkedTreeNode>::Retain(node.get()));
    return node;
}

IntfRef<IGraphLocation> TLinkedTreeNode::GetParent() { return IntfRef<IGraphLocation>::Retain(FParent.get()); }

IntfRef<IInterfaceList> TLinkedTreeNode::GetChildren() {
    auto list = Make<TInterfaceList>();
    list->SetCapacity(std::max(FChildCount, 0));
    for (TLinkedTreeNode* n = FFirstChild.get(); n; n = n->FNextSibling.get())
        list->Add(IntfRef<IInterface>::Retain(static_cast<IGraphLocation*>(n)));
    return list;
}

IntfRef<ILinkedTreeNode> TLinkedTreeNode::GetFirstChild() { return IntfRef<ILinkedTreeNode>::Retain(FFirstChild.get()); }

IntfRef<IForwardIterator> TLinkedTreeNode::GetChildIterator() {
    return Make<TLinkedTreeIterator>(IntfRef<ILinkedTreeNode>::Retain(FFirstChild.get()));
}

IntfRef<ILinkedTreeNode> TLinkedTreeNode::GetNextSibling() { return IntfRef<ILinkedTreeNode>::Retain(FNextSibling.get()); }

void TLinkedTreeNode::AppendChild(const IntfRef<ILinkedTreeNode>& NewChild) { DoAddChild(NewChild, nullptr); }

void TLinkedTreeNode::InsertChild(const IntfRef<ILinkedTreeNode>& NewChild) {
    DoAddChild(NewChild, IntfRef<ILinkedTreeNode>::Retain(FFirstChild.get()));
}

void TLinkedTreeNode::InsertChild2(const IntfRef<ILinkedTreeNode>& NewChild, const IntfRef<ILinkedTreeNode>& AheadOf) {
    DoAddChild(NewChild, AheadOf);
}

void TLinkedTreeNode::DoAddChild(const IntfRef<ILinkedTreeNode>& NewChild, const IntfRef<ILinkedTreeNode>& AheadOf) {
    TLinkedTreeNode* head = LinkedNodeOf(NewChild);
    if (!head) throw EIllegalArgumentException("Cannot add child");
    TLinkedTreeNode* aheadOf = LinkedNodeOf(AheadOf);

    // 1. Adopt the chain; Last is its end. A node that already has this
    // parent may be among the children: the remembered last child can't
    // vouch for the walk below then.
    TLinkedTreeNode* last = nullptr;
    for (TLinkedTreeNode* n = head; n; n = n->FNextSibling.get()) {
        TLinkedTreeNode* parent = n->FParent.get();
        if (!parent) {
            n->FParent = IntfRef<TLinkedTreeNode>::Retain(this);
            ++FChildCount;
        } else if (parent != this) {
            throw EIllegalArgumentException("Cannot add child");
        } else {
            ForgetLastChild();
        }
        last = n;
        // A chain that closes on itself has no end to link.
        if (n->FNextSibling.get() == head) {
            ForgetLastChild();
            throw EIllegalStateException("Tree circularity");
        }
    }

    // 2. In front.
    if (!FFirstChild || FFirstChild.get() == aheadOf) {
        bool empty = !FFirstChild;
        IntfRef<TLinkedTreeNode> oldFirst = FFirstChild;
        last->FNextSibling = oldFirst;
        FFirstChild = IntfRef<TLinkedTreeNode>::Retain(head);
        if (empty && !FIrregular) FLastChild = last;
        return;
    }

    // At the end of regular children: the walk below would find the
    // remembered last child, raising nothing (the chain came without
    // parents, so none of it is among the children, and regular children
    // form no ring).
    if (!aheadOf && !FIrregular && FLastChild && !FLastChild->FNextSibling && FLastChild->FParent.get() == this) {
        FLastChild->FNextSibling = IntfRef<TLinkedTreeNode>::Retain(head);
        FLastChild = last;
        return;
    }

    // 3. Further down the siblings.
    for (TLinkedTreeNode* p = FFirstChild.get();;) {
        TLinkedTreeNode* next = p->FNextSibling.get();
        if (next == FFirstChild.get()) {
            ForgetLastChild();
            throw EIllegalStateException("Tree circularity");
        }
        if (next == head) {
            ForgetLastChild();
            throw EIllegalStateException("Tree node circularity");
        }
        if (!next || next == aheadOf) {
            IntfRef<TLinkedTreeNode> follower = p->FNextSibling;
            last->FNextSibling = follower;
            p->FNextSibling = IntfRef<TLinkedTreeNode>::Retain(head);
            if (!next && !FIrregular) FLastChild = last;
            return;
        }
        p = next;
    }
}

void TLinkedTreeNode::InsertSibling(const IntfRef<ILinkedTreeNode>& NewSibling) {
    TLinkedTreeNode* head = LinkedNodeOf(NewSibling);
    if (!head) return;
    // Check the whole chain before anything changes.
    int count = 0;
    TLinkedTreeNode* last = nullptr;
    for (TLinkedTreeNode* n = head; n; n = n->FNextSibling.get()) {
        if (n->FParent) throw EIllegalArgumentException("Tree node circularity");
        if (n == this || n->FNextSibling.get() == this || n->FNextSibling.get() == head)
            throw EIllegalStateException("Tree node circularity");
        ++count;
        last = n;
    }
    IntfRef<TLinkedTreeNode> keep = IntfRef<TLinkedTreeNode>::Retain(head);
    for (TLinkedTreeNode* n = head; n; n = n->FNextSibling.get()) n->FParent = FParent;
    if (FParent) {
        FParent->FChildCount += count;
        if (FParent->FLastChild == this) FParent->FLastChild = last;
    }
    IntfRef<TLinkedTreeNode> follower = FNextSibling;
    last->FNextSibling = follower;
    FNextSibling = keep;
}

void TLinkedTreeNode::RemoveChild(const IntfRef<ILinkedTreeNode>& UnwantedChild) {
    TLinkedTreeNode* unwanted = LinkedNodeOf(UnwantedChild);
    if (!unwanted) throw EIllegalArgumentException("Tree node circularity");
    // Clearing the child's parent link may drop the last reference to this
    // node, and the child's links may hold the last reference to the child.
    IntfRef<TLinkedTreeNode> self = IntfRef<TLinkedTreeNode>::Retain(this);
    IntfRef<TLinkedTreeNode> keep = IntfRef<TLinkedTreeNode>::Retain(unwanted);

    if (FFirstChild.get() == unwanted) {
        IntfRef<TLinkedTreeNode> next = unwanted->FNextSibling;
        FFirstChild = next;
        if (FLastChild == unwanted) FLastChild = nullptr;  // it was the only one
    } else if (FFirstChild) {
        TLinkedTreeNode* p = FFirstChild.get();
        while (p->FNextSibling.get() != unwanted) {
            if (!p->FNextSibling) throw EIllegalArgumentException("Tree node circularity");
            p = p->FNextSibling.get();
        }
        IntfRef<TLinkedTreeNode> next = unwanted->FNextSibling;
        p->FNextSibling = next;
        if (FLastChild == unwanted) FLastChild = p;
    }
    // Taken from another parent's children (this node had none, or its own
    // children were irregular): that parent's chain is cut behind its back.
    if (TLinkedTreeNode* other = unwanted->FParent.get(); other && other != this) other->ForgetLastChild();
    unwanted->FParent = nullptr;
    unwanted->FNextSibling = nullptr;
    --FChildCount;
}

IntfRef<ILinkedTreeNode> TLinkedTreeNode::RemoveNode(const IntfRef<ILinkedTreeNode>& Root) {
    IntfRef<TLinkedTreeNode> self = IntfRef<TLinkedTreeNode>::Retain(this);
    if (FParent) {
        IntfRef<TLinkedTreeNode> parent = FParent;
        parent->RemoveChild(IntfRef<ILinkedTreeNode>::Retain(this));
        return Root;
    }
    TLinkedTreeNode* root = LinkedNodeOf(Root);
    if (root == this) return GetNextSibling();
    TLinkedTreeNode* p = root;
    while (p && p->FNextSibling.get() != this) p = p->FNextSibling.get();
    if (p) {
        IntfRef<TLinkedTreeNode> next = FNextSibling;
        p->FNextSibling = next;
        FNextSibling = nullptr;
    }
    return Root;
}

void TLinkedTreeNode::SetParent(const IntfRef<ILinkedTreeNode>& Parent) {
    TLinkedTreeNode* parent = LinkedNodeOf(Parent);
    // The old parent may still list this node, which no longer says so.
    if (FParent && FParent.get() != parent) FParent->ForgetLastChild();
    FParent = IntfRef<TLinkedTreeNode>::Retain(parent);
}

void TLinkedTreeNode::UnlinkSubtree() {
    std::vector<IntfRef<TLinkedTreeNode>> pending;
    pending.push_back(Retain(this));
    while (!pending.empty()) {
        IntfRef<TLinkedTreeNode> node = std::move(pending.back());
        pending.pop_back();
        IntfRef<TLinkedTreeNode> child = std::move(node->FFirstChild);
        node->FChildCount = 0;
        node->FLastChild = nullptr;  // no children: regular again
        node->FIrregular = false;
        // A child whose parent link is already cleared was met before: the
        // siblings closed into a ring.
        while (child && child->FParent.get() == node.get()) {
            IntfRef<TLinkedTreeNode> next = std::move(child->FNextSibling);
            child->FParent = nullptr;
            pending.push_back(std::move(child));
            child = std::move(next);
        }
    }
}

void TLinkedTreeNode::UnlinkTree() {
    if (FParent) {
        UnlinkSubtree();
        return;
    }
    // Each visited node loses its next link, so a ring ends at the revisit.
    IntfRef<TLinkedTreeNode> node = IntfRef<TLinkedTreeNode>::Retain(this);
    while (node) {
        node->UnlinkSubtree();
        IntfRef<TLinkedTreeNode> next = std::move(node->FNextSibling);
        node = std::move(next);
    }
}

// ---- TLinkedTreeIterator -----------------------------------------------------

TLinkedTreeIterator::TLinkedTreeIterator(const IntfRef<ILinkedTreeNode>& FirstSibling)
    : FFirstSibling(Retain(LinkedNodeOf(FirstSibling))), FSibling(FFirstSibling) {}

IntfRef<IInterface> TLinkedTreeIterator::Get() { return IntfRef<IInterface>::Retain(FSibling.get()); }

IntfRef<IInterface> TLinkedTreeIterator::NextElement() {
    IntfRef<IInterface> current = Get();
    Advance();
    return current;
}

void TLinkedTreeIterator::Advance() {
    if (FSibling) {
        IntfRef<TLinkedTreeNode> next = IntfRef<TLinkedTreeNode>::Retain(FSibling->NextSiblingNode());
        FSibling = std::move(next);
    }
}

void TLinkedTreeIterator::Advance2(int Offset) {
    for (int i = 0; i < Offset && FSibling; ++i) Advance();
}

IntfRef<IInputIterator> TLinkedTreeIterator::Clone() { Abort(); }

bool TLinkedTreeIterator::Equals(TObject* /*Obj*/) { Abort(); }

void TLinkedTreeIterator::Put(const IntfRef<IInterface>& Data) {
    if (!FFirstSibling) throw EIllegalStateException("Iterator has no first sibling");
    IntfRef<ILinkedTreeNode> node = As<ILinkedTreeNode>(Data);
    if (!FSibling)
        FFirstSibling->AppendChild(node);
    else
        FFirstSibling->InsertChild2(node, IntfRef<ILinkedTreeNode>::Retain(FSibling.get()));
}

int TLinkedTreeIterator::Distance(const IntfRef<IForwardIterator>& That) {
    TLinkedTreeNode* n = That ? As<ILinkedTreeIterator>(That)->Ptr()->Current() : nullptr;
    int count = 0;
    for (;;) {
        if (n == FSibling.get()) return count;
        if (!n) return -1;
        n = n->NextSiblingNode();
        ++count;
    }
}

}  // namespace ide
