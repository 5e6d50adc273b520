// The model layer's contracts: singleton, vector and graph models, their
// events, listeners and multicasters, subfocus and selection.
//
// Change values: a model event's change packs its id in the low four bits
// (1 content, 2 structure) and a detail in bits 4 to 7; a selection event's
// change has its id under $F000 (item, range, whole).
#pragma once

#include "foundation/IDEEvent.h"
#include "foundation/IDEObjects.h"
#include "model/IDEJgl.h"

namespace ide {

enum TTriState { tsNo, tsYes, tsUnknown };

enum TSelectFlag { sfClear, sfAddItem, sfRemoveItem, sfToggleItem, sfAddRange, sfRemoverange, sfResetAnchor };
using TSelectFlags = uint8_t;  // a set of TSelectFlag, bit per value
constexpr TSelectFlags SelectFlag(TSelectFlag f) { return static_cast<TSelectFlags>(1u << f); }

// Model change values.
enum : int {
    mcContent = 0x01,            // id: content
    mcStructure = 0x02,          // id: structure; alone: everything may have changed
    mcItemReplaced = 0x11,       // Put
    mcItemTouched = 0x21,        // Touched
    mcItemAdded = 0x12,          // AddItem, InsertItem, AddChild, InsertChild
    mcItemRemoved = 0x22,        // Remove
    mcChildrenReplaced = 0x32,   // RemoveChildren, a graph Put that swaps a node
};

// Selection change values.
enum : int {
    scItem = 0x1000,
    scRange = 0x2000,
    scWhole = 0x3000,
    scItemAdded = 0x1001,
    scItemRemoved = 0x1002,
    scRangeAdded = 0x2001,
    scRangeRemoved = 0x2002,
    scCleared = 0x3001,
    scChanged = 0x3002,
};

// Subfocus event ids: about to change (vetoable), and changed.
enum : int { sfeChanging = 1, sfeChanged = 2 };

struct IModelEvent : virtual IDispatchableEvent {
    IDE_INTERFACE(IModelEvent, "7861BFAF-1F26-11D1-AEB4-0020AF32BB01")
    virtual int GetId() = 0;
};

// ---- singleton -------------------------------------------------------------

struct ISingletonModel;
struct ISingletonModelEvent;

struct ISingletonModelListener : virtual IEventListener {
    IDE_INTERFACE(ISingletonModelListener, "AB3EB0C1-F8AA-11D0-9AD2-0000C0091B45")
    virtual void ModelContentChanged(const IntfRef<ISingletonModelEvent>& E) = 0;
};

struct ISingletonModelMulticaster : virtual ISingletonModelListener {
    IDE_INTERFACE(ISingletonModelMulticaster, "AB3EB0D0-F8AA-11D0-9AD2-0000C0091B45")
    virtual void Add(const IntfRef<ISingletonModelListener>& Listener) = 0;
    virtual void Remove(const IntfRef<ISingletonModelListener>& Listener) = 0;
};

struct ISingletonModel : virtual IInterface {
    IDE_INTERFACE(ISingletonModel, "AB3EB0C2-F8AA-11D0-9AD2-0000C0091B45")
    virtual IntfRef<IInterface> Get() = 0;
    virtual void AddModelListener(const IntfRef<ISingletonModelListener>& Listener) = 0;
    virtual void RemoveModelListener(const IntfRef<ISingletonModelListener>& Listener) = 0;
};

struct IWritableSingletonModel : virtual ISingletonModel {
    IDE_INTERFACE(IWritableSingletonModel, "AB3EB0C3-F8AA-11D0-9AD2-0000C0091B45")
    virtual bool CanModify() = 0;
    virtual void Put(const IntfRef<IInterface>& Data) = 0;
    virtual void Touched() = 0;
    virtual void EnableModelEvents(bool Enable) = 0;
};

struct ISingletonModelEvent : virtual IModelEvent {
    IDE_INTERFACE(ISingletonModelEvent, "7861BFB2-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<ISingletonModel> GetModel() = 0;
};

// ---- vector ------------------------------------------------------------------

struct IVectorModel;
struct IVectorModelEvent;

struct IVectorModelListener : virtual IEventListener {
    IDE_INTERFACE(IVectorModelListener, "AB3EB0CF-F8AA-11D0-9AD2-0000C0091B45")
    virtual void ModelStructureChanged(const IntfRef<IVectorModelEvent>& E) = 0;
    virtual void ModelContentChanged(const IntfRef<IVectorModelEvent>& E) = 0;
};

struct IVectorModelMulticaster : virtual IVectorModelListener {
    IDE_INTERFACE(IVectorModelMulticaster, "CD8637D1-044E-11D1-AE93-0020AF32BB01")
    virtual void Add(const IntfRef<IVectorModelListener>& Listener) = 0;
    virtual void Remove(const IntfRef<IVectorModelListener>& Listener) = 0;
};

struct IVectorModel : virtual IInterface {
    IDE_INTERFACE(IVectorModel, "AB3EB0CE-F8AA-11D0-9AD2-0000C0091B45")
    virtual IntfRef<IInterface> Get(int Index) = 0;
    virtual int GetCount() = 0;
    virtual int Find(const IntfRef<IInterface>& Data) = 0;
    virtual void AddModelListener(const IntfRef<IVectorModelListener>& Listener) = 0;
    virtual void RemoveModelListener(const IntfRef<IVectorModelListener>& Listener) = 0;
};

struct IWritableVectorModel : virtual IVectorModel {
    IDE_INTERFACE(IWritableVectorModel, "AB3EB0D3-F8AA-11D0-9AD2-0000C0091B45")
    virtual bool CanModify(int Index) = 0;
    virtual void Put(int Index, const IntfRef<IInterface>& Data) = 0;
    virtual void Touched(int Index) = 0;
    virtual bool IsVariableSize() = 0;
    virtual void AddItem(const IntfRef<IInterface>& Data) = 0;
    virtual void InsertItem(int AheadOf, const IntfRef<IInterface>& Data) = 0;
    virtual void Remove(int Index) = 0;
    virtual void RemoveAll() = 0;
    virtual void EnableModelEvents(bool Enable) = 0;
};

struct IVectorModelEvent : virtual IModelEvent {
    IDE_INTERFACE(IVectorModelEvent, "7861BFB3-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IVectorModel> GetModel() = 0;
    virtual int GetChange() = 0;
    virtual int GetLocation() = 0;
};

// ---- graph -------------------------------------------------------------------

struct IGraphLocation : virtual IInterface {
    IDE_INTERFACE(IGraphLocation, "2EEFC3B0-01CF-11D1-9ADA-0000C0091B45")
    virtual IntfRef<IGraphLocation> GetParent() = 0;
    // A lazily filled model may not know yet: tsUnknown.
    virtual TTriState HasChildren() = 0;
    virtual IntfRef<IInterfaceList> GetChildren() = 0;
};

using TIGraphLocations = std::vector<IntfRef<IGraphLocation>>;

// Data that a host's node may attach for views. No class of the library
// implements it.
struct IGraphData : virtual IInterface {
    IDE_INTERFACE(IGraphData, "F0DDFBA3-8EA2-491E-B63D-C6023955E3F6")
    virtual IntfRef<IInterface> GetGraphData() = 0;
    virtual void SetGraphData(const IntfRef<IInterface>& Data) = 0;
};

struct ILinkedNode : virtual IInterface {
    IDE_INTERFACE(ILinkedNode, "923141FE-4BD0-11D1-9F0F-00A02457621F")
    // The location of the next sibling, nil for the last.
    virtual IntfRef<IGraphLocation> GetNextSibling() = 0;
};

struct IStatefulNode : virtual IInterface {
    IDE_INTERFACE(IStatefulNode, "08A70B61-D4FB-11D1-AAEA-00C04FB17A72")
    // Whether the node wishes to start expanded.
    virtual bool IsExpanded() = 0;
};

struct IIsFocusedNode : virtual IInterface {
    IDE_INTERFACE(IIsFocusedNode, "4DB16F79-B626-4A36-A876-4724A7B7A96D")
    virtual bool IsFocused() = 0;
};

struct IBatchUpdate : virtual IInterface {
    IDE_INTERFACE(IBatchUpdate, "61F0EE5D-E50E-11D1-B95E-00C04FB17609")
    virtual void BeginUpdate() = 0;
    virtual void EndUpdate() = 0;
};

struct IBatchUpdateHelper : virtual IInterface {
    IDE_INTERFACE(IBatchUpdateHelper, "0C8B8006-E529-11D1-B95E-00C04FB17609")
    // The batch that this object's changes belong to.
    virtual IntfRef<IBatchUpdate> GetBatchUpdate() = 0;
};

struct IGraphModel;
struct IGraphModelEvent;

struct IGraphModelListener : virtual IEventListener {
    IDE_INTERFACE(IGraphModelListener, "B66767E5-FED2-11D0-AE8B-0020AF32BB01")
    virtual void ModelStructureChanged(const IntfRef<IGraphModelEvent>& E) = 0;
    virtual void ModelContentChanged(const IntfRef<IGraphModelEvent>& E) = 0;
};

struct IGraphModel : virtual IInterface {
    IDE_INTERFACE(IGraphModel, "B66767E0-FED2-11D0-AE8B-0020AF32BB01")
    virtual IntfRef<IGraphLocation> GetRoot() = 0;
    virtual IntfRef<IInterface> Get(const IntfRef<IGraphLocation>& Gl) = 0;
    virtual IntfRef<IGraphLocation> Find(const IntfRef<IInterface>& Data) = 0;
    virtual void AddModelListener(const IntfRef<IGraphModelListener>& Listener) = 0;
    virtual void RemoveModelListener(const IntfRef<IGraphModelListener>& Listener) = 0;
};

struct IWritableGraphModel : virtual IGraphModel {
    IDE_INTERFACE(IWritableGraphModel, "568C10E0-FEB5-11D0-8415-00A0248E4C5A")
    virtual IntfRef<IGraphLocation> SetRoot(const IntfRef<IInterface>& Data) = 0;
    virtual bool CanModify(const IntfRef<IGraphLocation>& Gl) = 0;
    virtual void Put(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) = 0;
    virtual void Touched(const IntfRef<IGraphLocation>& Gl) = 0;
    virtual bool IsVariableSize() = 0;
    virtual IntfRef<IGraphLocation> AddChild(const IntfRef<IGraphLocation>& Gl, const IntfRef<IInterface>& Data) = 0;
    virtual IntfRef<IGraphLocation> InsertChild(const IntfRef<IGraphLocation>& Parent,
                                                const IntfRef<IGraphLocation>& AheadOf,
                                                const IntfRef<IInterface>& Data) = 0;
    virtual void RemoveChildren(const IntfRef<IGraphLocation>& Parent) = 0;
    virtual void Remove(const IntfRef<IGraphLocation>& Gl) = 0;
    virtual void RemoveAll() = 0;
    virtual void EnableModelEvents(bool Enable) = 0;
};

struct IGraphModelEvent : virtual IModelEvent {
    IDE_INTERFACE(IGraphModelEvent, "7861BFB6-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IGraphModel> GetModel() = 0;
    virtual int GetChange() = 0;
    virtual IntfRef<IGraphLocation> GetLocation() = 0;
};

struct IGraphModelMulticaster : virtual IGraphModelListener {
    IDE_INTERFACE(IGraphModelMulticaster, "A32F2E71-07B5-11D1-AE96-0020AF32BB01")
    virtual void Add(const IntfRef<IGraphModelListener>& Listener) = 0;
    virtual void Remove(const IntfRef<IGraphModelListener>& Listener) = 0;
    virtual void BeginUpdate() = 0;
    virtual void EndUpdate() = 0;
};

struct ITreeEvent;

struct ITreeListener : virtual IEventListener {
    IDE_INTERFACE(ITreeListener, "A32F2E73-07B5-11D1-AE96-0020AF32BB01")
    virtual void NodeExpanded(const IntfRef<ITreeEvent>& E) = 0;
    virtual void NodeCollapsed(const IntfRef<ITreeEvent>& E) = 0;
};

struct ITreeEvent : virtual IDispatchableEvent {
    IDE_INTERFACE(ITreeEvent, "7861BFB9-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IGraphLocation> GetLocation() = 0;
    virtual int GetId() = 0;
};

// ---- subfocus ----------------------------------------------------------------

struct ISubfocusEvent : virtual IDispatchableEvent {
    IDE_INTERFACE(ISubfocusEvent, "BA96B0D8-9FFE-44AA-9B3D-AE5820D1491C")
    virtual int GetId() = 0;
};

struct IVectorSubfocusEvent;
struct IGraphSubfocusEvent;

struct IVectorSubfocusListener : virtual IEventListener {
    IDE_INTERFACE(IVectorSubfocusListener, "AB3EB0D2-F8AA-11D0-9AD2-0000C0091B45")
    virtual void SubfocusChanging(const IntfRef<IVectorSubfocusEvent>& E) = 0;
    virtual void SubfocusChanged(const IntfRef<IVectorSubfocusEvent>& E) = 0;
};

struct IVectorSubfocusEvent : virtual ISubfocusEvent {
    IDE_INTERFACE(IVectorSubfocusEvent, "7861BFB4-1F26-11D1-AEB4-0020AF32BB01")
    virtual int GetLocation() = 0;
};

struct IGraphSubfocusListener : virtual IEventListener {
    IDE_INTERFACE(IGraphSubfocusListener, "EBC71565-FEAB-11D0-8415-00A0248E4C5A")
    virtual void SubfocusChanging(const IntfRef<IGraphSubfocusEvent>& E) = 0;
    virtual void SubfocusChanged(const IntfRef<IGraphSubfocusEvent>& E) = 0;
};

struct IGraphSubfocusEvent : virtual ISubfocusEvent {
    IDE_INTERFACE(IGraphSubfocusEvent, "7861BFB7-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IGraphLocation> GetLocation() = 0;
};

// ---- selection -----------------------------------------------------------------

struct ISelectionEvent : virtual IDispatchableEvent {
    IDE_INTERFACE(ISelectionEvent, "7861BFB0-1F26-11D1-AEB4-0020AF32BB01")
    virtual int GetId() = 0;
    virtual int GetChange() = 0;
};

struct IVectorSelectionEvent;
struct IGraphSelectionEvent;

struct IVectorSelectionListener : virtual IEventListener {
    IDE_INTERFACE(IVectorSelectionListener, "EBDF7DD0-F955-11D0-9AD3-0000C0091B45")
    virtual void SelectionItemChanged(const IntfRef<IVectorSelectionEvent>& E) = 0;
    virtual void SelectionRangeChanged(const IntfRef<IVectorSelectionEvent>& E) = 0;
    virtual void SelectionChanged(const IntfRef<IVectorSelectionEvent>& E) = 0;
};

struct IVectorSelection : virtual IInterface {
    IDE_INTERFACE(IVectorSelection, "EBDF7DD1-F955-11D0-9AD3-0000C0091B45")
    virtual bool Contains(int Location) = 0;
    virtual int GetCount() = 0;
    virtual IntfRef<IInterfaceList> GetAll() = 0;
    virtual void AddSelectionListener(const IntfRef<IVectorSelectionListener>& Listener) = 0;
    virtual void RemoveSelectionListener(const IntfRef<IVectorSelectionListener>& Listener) = 0;
};

struct IWritableVectorSelection : virtual IVectorSelection {
    IDE_INTERFACE(IWritableVectorSelection, "EBDF7DD3-F955-11D0-9AD3-0000C0091B45")
    virtual void Put(const IntfRef<IInterfaceList>& Locations) = 0;
    virtual void Add(int Location) = 0;
    virtual void Add2(const IntfRef<IInterfaceList>& Locations) = 0;
    virtual void AddRange(int First, int Last) = 0;
    virtual void Remove(int Location) = 0;
    virtual void Remove2(const IntfRef<IInterfaceList>& Locations) = 0;
    virtual void RemoveRange(int First, int Last) = 0;
    virtual void RemoveAll() = 0;
    virtual void EnableSelectionEvents(bool Enable) = 0;
};

struct IVectorSelectionEvent : virtual ISelectionEvent {
    IDE_INTERFACE(IVectorSelectionEvent, "7861BFB5-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IVectorSelection> GetSelection() = 0;
    virtual int GetLocation() = 0;
    virtual int GetRangeStart() = 0;
    virtual int GetRangeEnd() = 0;
};

struct IVectorSelectionMulticaster : virtual IVectorSelectionListener {
    IDE_INTERFACE(IVectorSelectionMulticaster, "CD8637D3-044E-11D1-AE93-0020AF32BB01")
    virtual void Add(const IntfRef<IVectorSelectionListener>& Listener) = 0;
    virtual void Remove(const IntfRef<IVectorSelectionListener>& Listener) = 0;
};

struct IGraphSelectionListener : virtual IEventListener {
    IDE_INTERFACE(IGraphSelectionListener, "BE4B2033-FEF2-11D0-AE8B-0020AF32BB01")
    virtual void SelectionItemChanged(const IntfRef<IGraphSelectionEvent>& E) = 0;
    virtual void SelectionChanged(const IntfRef<IGraphSelectionEvent>& E) = 0;
};

struct IGraphSelection : virtual IInterface {
    IDE_INTERFACE(IGraphSelection, "EBC71563-FEAB-11D0-8415-00A0248E4C5A")
    virtual bool Contains(const IntfRef<IGraphLocation>& Location) = 0;
    virtual int GetCount() = 0;
    virtual IntfRef<IInterfaceList> GetAll() = 0;
    virtual void AddSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) = 0;
    virtual void RemoveSelectionListener(const IntfRef<IGraphSelectionListener>& Listener) = 0;
};

struct IWritableGraphSelection : virtual IGraphSelection {
    IDE_INTERFACE(IWritableGraphSelection, "568C10E2-FEB5-11D0-8415-00A0248E4C5A")
    virtual void Put(const IntfRef<IInterfaceList>& Locations) = 0;
    virtual void Add(const IntfRef<IGraphLocation>& Location) = 0;
    virtual void Add2(const IntfRef<IInterfaceList>& Locations) = 0;
    virtual void Remove(const IntfRef<IGraphLocation>& Location) = 0;
    virtual void Remove2(const IntfRef<IInterfaceList>& Locations) = 0;
    virtual void RemoveAll() = 0;
    virtual void EnableSelectionEvents(bool Enable) = 0;
};

struct IGraphSelectionEvent : virtual ISelectionEvent {
    IDE_INTERFACE(IGraphSelectionEvent, "7861BFB8-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IGraphSelection> GetSelection() = 0;
    virtual IntfRef<IGraphLocation> GetLocation() = 0;
};

struct IGraphSelectionMulticaster : virtual IGraphSelectionListener {
    IDE_INTERFACE(IGraphSelectionMulticaster, "A32F2E72-07B5-11D1-AE96-0020AF32BB01")
    virtual void Add(const IntfRef<IGraphSelectionListener>& Listener) = 0;
    virtual void Remove(const IntfRef<IGraphSelectionListener>& Listener) = 0;
};

}  // namespace ide
