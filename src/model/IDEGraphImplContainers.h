// Writable graph models over linked tree nodes.
//
// TLinkedTreeContainer holds a tree of TLinkedTreeNode objects, which are
// their own data. TBasicTreeContainer wraps any other data in a
// TBasicTreeNode, so that a client can keep any interface in a tree.
//
// Every change raises a TGraphModelEvent through ProcessModelEvent, which
// drops it while events are off or nobody listens:
//   SetRoot, RemoveAll, removal of the root, EnableModelEvents(True)  $02, nil
//   Put of the same object, TBasicTreeContainer::Put                  $11, Gl
//   Put that swaps a node                                             $32, old node
//   Touched                                                           $21, Gl
//   AddChild, InsertChild                                             $12, new node
//   RemoveChildren                                                    $32, parent
//   Remove of a child                                                 $22, Gl
//
// Lifetime of the tree. Parent, child and sibling links are strong in both
// directions, so a tree is a web of cycles (see IDEGraphImplNodes.h).
// - A container owns the tree under its root: its destructor unlinks every
//   node of it (UnlinkTree), so that nodes nobody else holds are freed, and a
//   node still held elsewhere survives as a lone node.
// - Remove, RemoveChildren and the swapping Put unlink the removed node from
//   its parent and siblings but leave its own subtree linked, so it can be
//   added again elsewhere. A caller that drops a removed node that has
//   children calls UnlinkSubtree on it.
// - SetRoot and RemoveAll let go of the old tree without unlinking it, as
//   their contract says; the old root's holder may still use it. To drop the
//   whole tree call Clear, which unlinks it first and then does RemoveAll.
#pragma once

#include "model/IDEGraphImplEvents.h"
#include "model/IDEGraphImplNodes.h"

namespace ide {

class TLinkedTreeContainer : public TInterfacedObject, public virtual IWritableGraphModel {
public:
    // No root.
    TLinkedTreeContainer() = default;
    // Root is the root; no event.
    static IntfRef<TLinkedTreeContainer> Create2(const IntfRef<ILinkedTreeNode>& Root);
    ~TLinkedTreeContainer() override;

    // The root, nil when there is none.
    IntfRef<IGraphLocation> GetRoot() override;
    // The location itself: a node is its own data.
    IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& Gl) override;
    // Data as a location; nil when it is none.
    IntfRef<IGraphLocation> Find(const IntfRef<IInterface>& Data) override;
    void AddModelListener(const IntfRef<IGraphModelListener>& Listener) override { FListeners.Add(Listener); }
    void RemoveModelListener(const IntfRef<IGraphModelListener>& Listener) override { FListeners.Remove(Listener); }
    // Data becomes the root (raising cast to ILinkedTreeNode); nil clears it.
    IntfRef<IGraphLocation> SetRoot(const IntfRef<IInterface>& Data) override;
    bool CanModify(const IntfRef<IGraphLocation>&) override { return true; }
    // Gl itself as Data: nothing is replaced ($11). Otherwise Data's node
    // takes the old node's place among its parent's children ($32). The old
    // node must have a parent: a top-level node raises
    // EIllegalArgumentException "Cannot replace a top-level node".
    void Put(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) override;
    void Touched(const IntfRef<IGraphLocation>& Gl) override;
    bool IsVariableSize() override { return true; }
    // Data's node becomes Gl's last child; the result is Data as a location.
    IntfRef<IGraphLocation> AddChild(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) override;
    // Data's node goes in ahead of AheadOf among Parent's children.
    IntfRef<IGraphLocation> InsertChild(const IntfRef<IGraphLocation>& Parent, const IntfRef<IGraphLocation>& AheadOf,
                                        const IntfRef<IInterface>& Data) override;
    // Removes every child of Parent; one event for all.
    void RemoveChildren(const IntfRef<IGraphLocation>& Parent) override;
    // A child is removed from its parent ($22); the root is let go ($02); any
    // other top-level node is left as it is, with no event.
    void Remove(const IntfRef<IGraphLocation>& Gl) override;
    // Lets go of the root; the tree's links stay.
    void RemoveAll() override;
    // Turning events back on raises $02.
    void EnableModelEvents(bool Enable) override;
    // No iteration over a whole tree is offered: both raise the silent abort.
    virtual IntfRef<IEnumeration> Elements();
    virtual void FillNodes(const IntfRef<IInterfaceList>& Nodes);

    // Unlinks the whole tree (UnlinkTree), then RemoveAll.
    void Clear();

protected:
    // The node behind a location that must be there; nil raises
    // EIllegalArgumentException "Null location".
    static TLinkedTreeNode* RequireNode(const IntfRef<IGraphLocation>& Gl);
    IntfRef<IGraphModel> Self() { return IntfRef<IGraphModel>::Retain(this); }
    void Raise(int Change, const IntfRef<IGraphLocation>& Location = nullptr);
    virtual void ProcessModelEvent(const IntfRef<IGraphModelEvent>& E);

    IntfRef<TLinkedTreeNode> FRoot;
    TEventMulticaster FListeners;
    bool FEvents = true;
};

class TBasicTreeContainer : public TLinkedTreeContainer {
public:
    TBasicTreeContainer() = default;
    // Root becomes the root as SetRoot does it, wrapped when it is no node;
    // no listener can hear the event yet.
    static IntfRef<TBasicTreeContainer> Create2(const IntfRef<IInterface>& Root);

    // A TBasicTreeNode's payload; otherwise the location itself.
    IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& Gl) override;
    // The first location, depth first in pre-order, whose Get is Data by
    // reference; nil when there is none or no root.
    IntfRef<IGraphLocation> Find(const IntfRef<IInterface>& Data) override;
    // Data that is no tree node is wrapped in a new TBasicTreeNode.
    IntfRef<IGraphLocation> SetRoot(const IntfRef<IInterface>& Data) override;
    // On a TBasicTreeNode the payload is replaced ($11, Gl); otherwise as the
    // linked container.
    void Put(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) override;
    // Data is wrapped. With no Gl the node becomes the root (only the $02 of
    // SetRoot is raised) and the result is the root.
    IntfRef<IGraphLocation> AddChild(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) override;
    // Data is wrapped. With no Parent, as AddChild with none.
    IntfRef<IGraphLocation> InsertChild(const IntfRef<IGraphLocation>& Parent, const IntfRef<IGraphLocation>& AheadOf,
                                        const IntfRef<IInterface>& Data) override;
    // Depth first, pre-order, over Node and its descendants (not Node's
    // siblings); iterative, so a tree of any depth is searched.
    virtual IntfRef<ILinkedTreeNode> TreeSearch(const IntfRef<ILinkedTreeNode>& Node, const IntfRef<IInterface>& Data);

    // Data's node: Data itself when it is a tree node, else a new
    // TBasicTreeNode holding it (also for nil Data).
    static IntfRef<ILinkedTreeNode> Wrap(const IntfRef<IInterface>& Data);
};

}  // namespace ide
