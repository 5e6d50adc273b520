#include "model/IDEGraphImplContainers.h"

#include <vector>

namespace ide {

// ---- TLinkedTreeContainer ----------------------------------------------------

IntfRef<TLinkedTreeContainer> TLinkedTreeContainer::Create2(const IntfRef<ILinkedTreeNode>& Root) {
    auto container = Make<TLinkedTreeContainer>();
    container->FRoot = IntfRef<TLinkedTreeNode>::Retain(LinkedNodeOf(Root));
    return container;
}

TLinkedTreeContainer::~TLinkedTreeContainer() {
    if (FRoot) FRoot->UnlinkTree();
}

TLinkedTreeNode* TLinkedTreeContainer::RequireNode(const IntfRef<IGraphLocation>& Gl) {
    TLinkedTreeNode* node = LinkedNodeOf(Gl);
    if (!node) throw EIllegalArgumentException("Null location");
    return node;
}

void TLinkedTreeContainer::ProcessModelEvent(const IntfRef<IGraphModelEvent>& E) {
    if (!FEvents) return;
    if (!FListeners.HasListeners()) return;
    FListeners.Dispatch(E);
}

void TLinkedTreeContainer::Raise(int Change, const IntfRef<IGraphLocation>& Location) {
    ProcessModelEvent(Make<TGraphModelEvent>(Self(), Change, Location));
}

IntfRef<IGraphLocation> TLinkedTreeContainer::GetRoot() { return IntfRef<IGraphLocation>::Retain(FRoot.get()); }

IntfRef<IInterface> TLinkedTreeContainer::Get(const IntfRef<IGraphLocation>& Gl) { return Gl; }

IntfRef<IGraphLocation> TLinkedTreeContainer::Find(const IntfRef<IInterface>& Data) {
    return Supports<IGraphLocation>(Data);
}

IntfRef<IGraphLocation> TLinkedTreeContainer::SetRoot(const IntfRef<IInterface>& Data) {
    FRoot = IntfRef<TLinkedTreeNode>::Retain(LinkedNodeOf(Data));
    Raise(mcStructure);
    return GetRoot();
}

void TLinkedTreeContainer::Put(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) {
    if (Gl.Identity() == Data.Identity()) {
        Raise(mcItemReplaced, Gl);
        return;
    }
    IntfRef<TLinkedTreeNode> old = IntfRef<TLinkedTreeNode>::Retain(RequireNode(Gl));
    IntfRef<ILinkedTreeNode> replacement = IntfRef<ILinkedTreeNode>::Retain(LinkedNodeOf(Data));
    IntfRef<TLinkedTreeNode> parent = IntfRef<TLinkedTreeNode>::Retain(old->ParentNode());
    if (!parent) throw EIllegalArgumentException("Cannot replace a top-level node");
    parent->InsertChild2(replacement, IntfRef<ILinkedTreeNode>::Retain(old.get()));
    parent->RemoveChild(IntfRef<ILinkedTreeNode>::Retain(old.get()));
    Raise(mcChildrenReplaced, Gl);
}

void TLinkedTreeContainer::Touched(const IntfRef<IGraphLocation>& Gl) { Raise(mcItemTouched, Gl); }

IntfRef<IGraphLocation> TLinkedTreeContainer::AddChild(const IntfRef<IGraphLocation>& Gl,
                                                        const IntfRef<IInterface>& Data) {
    TLinkedTreeNode* parent = RequireNode(Gl);
    IntfRef<ILinkedTreeNode> child = IntfRef<ILinkedTreeNode>::Retain(LinkedNodeOf(Data));
    parent->AppendChild(child);
    auto location = As<IGraphLocation>(Data);
    Raise(mcItemAdded, location);
    return location;
}

IntfRef<IGraphLocation> TLinkedTreeContainer::InsertChild(const IntfRef<IGraphLocation>& Parent,
                                                           const IntfRef<IGraphLocation>& AheadOf,
                                                           const IntfRef<IInterface>& Data) {
    TLinkedTreeNode* parent = RequireNode(Parent);
    IntfRef<ILinkedTreeNode> child = IntfRef<ILinkedTreeNode>::Retain(LinkedNodeOf(Data));
    parent->InsertChild2(child, IntfRef<ILinkedTreeNode>::Retain(LinkedNodeOf(AheadOf)));
    auto location = As<IGraphLocation>(Data);
    Raise(mcItemAdded, location);
    return location;
}

void TLinkedTreeContainer::RemoveChildren(const IntfRef<IGraphLocation>& Parent) {
    IntfRef<TLinkedTreeNode> parent = IntfRef<TLinkedTreeNode>::Retain(RequireNode(Parent));
    IntfRef<IForwardIterator> it = parent->GetChildIterator();
    while (it->HasMoreElements()) {
        IntfRef<ILinkedTreeNode> child = As<ILinkedTreeNode>(it->Get());
        it->Advance();
        child->Ptr()->RemoveNode(nullptr);
    }
    Raise(mcChildrenReplaced, Parent);
}

void TLinkedTreeContainer::Remove(const IntfRef<IGraphLocation>& Gl) {
    IntfRef<TLinkedTreeNode> node = IntfRef<TLinkedTreeNode>::Retain(RequireNode(Gl));
    if (TLinkedTreeNode* parent = node->ParentNode()) {
        parent->RemoveChild(IntfRef<ILinkedTreeNode>::Retain(node.get()));
        Raise(mcItemRemoved, Gl);
    } else if (node == FRoot) {
        FRoot = nullptr;
        Raise(mcStructure);
    }
}

void TLinkedTreeContainer::RemoveAll() {
    FRoot = nullptr;
    Raise(mcStructure);
}

void TLinkedTreeContainer::EnableModelEvents(bool Enable) {
    if (Enable == FEvents) return;
    FEvents = Enable;
    if (Enable) Raise(mcStructure);
}

IntfRef<IEnumeration> TLinkedTreeContainer::Elements() { Abort(); }

void TLinkedTreeContainer::FillNodes(const IntfRef<IInterfaceList>& /*Nodes*/) { Abort(); }

void TLinkedTreeContainer::Clear() {
    if (FRoot) FRoot->UnlinkTree();
    RemoveAll();
}

// ---- TBasicTreeContainer -----------------------------------------------------

IntfRef<TBasicTreeContainer> TBasicTreeContainer::Create2(const IntfRef<IInterface>& Root) {
    auto container = Make<TBasicTreeContainer>();
    container->SetRoot(Root);
    return container;
}

IntfRef<ILinkedTreeNode> TBasicTreeContainer::Wrap(const IntfRef<IInterface>& Data) {
    if (auto node = Supports<ILinkedTreeNode>(Data)) return node;
    return Make<TBasicTreeNode>(Data);
}

IntfRef<IInterface> TBasicTreeContainer::Get(const IntfRef<IGraphLocation>& Gl) {
    if (auto node = Supports<IBasicTreeNode>(Gl)) return node->Ptr()->GetData();
    return TLinkedTreeContainer::Get(Gl);
}

IntfRef<IGraphLocation> TBasicTreeContainer::Find(const IntfRef<IInterface>& Data) {
    if (!FRoot) return nullptr;
    return Supports<IGraphLocation>(TreeSearch(IntfRef<ILinkedTreeNode>::Retain(FRoot.get()), Data));
}

IntfRef<ILinkedTreeNode> TBasicTreeContainer::TreeSearch(const IntfRef<ILinkedTreeNode>& Node,
                                                         const IntfRef<IInterface>& Data) {
    if (!Node) return nullptr;
    // Depth first, pre-order, without recursion: path[d] is the node visited
    // at depth d below Node, held so that a Get that changes the tree can't
    // free what the walk stands on. Node's own siblings are not searched. A
    // sibling chain that has closed into a ring (see DoAddChild) ends where
    // it meets its parent's first child again.
    std::vector<IntfRef<TLinkedTreeNode>> path;
    path.push_back(Retain(Node->Ptr()));
    for (;;) {
        TLinkedTreeNode* node = path.back().get();
        if (Get(IntfRef<IGraphLocation>::Retain(node)).Identity() == Data.Identity())
            return IntfRef<ILinkedTreeNode>::Retain(node);
        if (TLinkedTreeNode* child = node->FirstChildNode()) {
            path.push_back(Retain(child));
            continue;
        }
        // Up until a node with a further sibling; back at Node, all is seen.
        for (;;) {
            if (path.size() == 1) return nullptr;
            TLinkedTreeNode* next = path.back()->NextSiblingNode();
            if (next && next != path[path.size() - 2]->FirstChildNode()) {
                path.back() = Retain(next);
                break;
            }
            path.pop_back();
        }
    }
}

IntfRef<IGraphLocation> TBasicTreeContainer::SetRoot(const IntfRef<IInterface>& Data) {
    if (Data && !Supports<ILinkedTreeNode>(Data)) return TLinkedTreeContainer::SetRoot(Make<TBasicTreeNode>(Data));
    return TLinkedTreeContainer::SetRoot(Data);
}

void TBasicTreeContainer::Put(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) {
    if (auto node = Supports<IBasicTreeNode>(Gl)) {
        node->Ptr()->SetData(Data);
        Raise(mcItemReplaced, Gl);
        return;
    }
    TLinkedTreeContainer::Put(Gl, Data);
}

IntfRef<IGraphLocation> TBasicTreeContainer::AddChild(const IntfRef<IGraphLocation>& Gl,
                                                       const IntfRef<IInterface>& Data) {
    IntfRef<ILinkedTreeNode> node = Wrap(Data);
    if (!Gl) return SetRoot(node);
    RequireNode(Gl)->AppendChild(node);
    IntfRef<IGraphLocation> location = IntfRef<IGraphLocation>::Retain(node->Ptr());
    Raise(mcItemAdded, location);
    return location;
}

IntfRef<IGraphLocation> TBasicTreeContainer::InsertChild(const IntfRef<IGraphLocation>& Parent,
                                                          const IntfRef<IGraphLocation>& AheadOf,
                                                          const IntfRef<IInterface>& Data) {
    if (!Parent) return AddChild(nullptr, Data);
    IntfRef<ILinkedTreeNode> node = Wrap(Data);
    RequireNode(Parent)->InsertChild2(node, IntfRef<ILinkedTreeNode>::Retain(LinkedNodeOf(AheadOf)));
    IntfRef<IGraphLocation> location = IntfRef<IGraphLocation>::Retain(node->Ptr());
    Raise(mcItemAdded, location);
    return location;
}

}  // namespace ide
