// TBaseVirtualTree: the virtual tree's logic, with no toolkit underneath.
//
// The tree keeps a skeleton of fixed-size node records and asks its client
// for everything else (children, heights, texts) through events, at the last
// possible moment. Making a million nodes costs a million slab allocations
// and no client call; a node is initialised (OnInitNode) the first time a
// traversal steps on it. The counters of every node (TotalCount,
// TotalHeight) and of the tree (FVisibleCount) change in the same call that
// changes the links.
//
// The platform (scroll bars, invalidation, timers, the wake-up of the owner
// thread) is reached through protected virtual hooks. Their defaults make a
// headless tree: a 200 x 100 client area, scroll bars and timers recorded in
// fields that tests read, and the worker's hand-back served by whoever calls
// ServeWorker. The widget (TVirtualTreeWidget) overrides them.
//
// Files: making, linking, counting and deleting nodes (VTStructure.cpp),
// visibility and heights (VTVisibility.cpp), expanding and lazy
// initialisation (VTExpand.cpp), moving and copying (VTTransfer.cpp),
// traversal (VTTraversal.cpp), selection and check states (VTSelection.cpp), batching,
// states and timers (VTUpdate.cpp), the position cache, ranges and hit
// tests (VTCache.cpp) with the shared worker (VTWorker.cpp), the stream
// (VTStream.cpp), sorting and incremental search (VTSort.cpp).
//
// Kept oddities, as the tree's clients see them:
// - InsertNode does not invalidate the position cache.
// - InternalConnectNode with amInsertAfter adds the node's height to an
//   expanded parent even when the node is invisible.
// - SetChildCount to 0 keeps vsHasChildren, and shrinking reports
//   crChildAdded.
// - Clearing the selection fires one OnChange per node, highest address
//   first.
// - The selection repair of a stream load walks past the loaded subtree to
//   the end of the tree when the subtree's node has no next sibling; without
//   toMultiSelect it clears vsSelected on those later nodes while FSelection
//   may still hold them until the next change of the selection.
//
// Decisions where the published behaviour leaves room:
// - AddChild's user pointer is pointer-sized, and "not enough user data
//   space" is raised when NodeDataSize is below sizeof(void*).
// - Dummy is memory layout only; the stream's body has no byte for it.
// - A failed load fixes up the counters of the subtree in hand before the
//   error travels on, so the tree stays consistent and usable.
// - MoveTo and CopyTo through the stream carry the children of uninitialised
//   nodes too (a saved stream doesn't, as it never did); a move between
//   trees reports the root to the source tree's OnStructureChange, as the
//   moved node is gone there.
// - Besides the cache's entry every CacheThreshold rows, the pass keeps a
//   fine index of every FineCacheStride-th row, so that a lookup walks a few
//   rows instead of up to CacheThreshold; when all rows have one height and
//   follow each other in memory (a flat list made in one go), a row is found
//   by arithmetic. Both are read under the cache's own rule (tsUseCache) and
//   ignored while an InsertNode has left the cache as it was.
// - Client calls that the validation pass needs under toVariableNodeHeight
//   (initialise and measure a node, update the scroll bars) are handed back
//   to the owner thread, never run on the worker.
// - The search takes its characters as code points: one above the basic
//   plane is appended as its two UTF-16 units, counts as one character for
//   the repeated-letter step and the backspace, and is compared whole.
// - Offsets and scroll bars are ints: content is reachable down to
//   2^31 - 1 pixels, about 119 million rows of 18 pixels.
//
// The validation worker reads the skeleton from its own thread (VTWorker.h);
// all trees of a process belong to one owner thread.
//
// Thread: UI thread only.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "foundation/Graphics.h"
#include "foundation/Streams.h"
#include "vtree/VTNodeAllocator.h"
#include "vtree/VTTypes.h"

namespace ide {

class TStreamReadBuffer;

// What the worker hands back to the owner thread.
enum THandbackKind : uint8_t { hbNone, hbStates, hbMeasure, hbScrollBars };

class TBaseVirtualTree {
public:
    TBaseVirtualTree();
    virtual ~TBaseVirtualTree();
    TBaseVirtualTree(const TBaseVirtualTree&) = delete;
    TBaseVirtualTree& operator=(const TBaseVirtualTree&) = delete;

    // ---- Client events -------------------------------------------------
    std::function<void(TBaseVirtualTree*, PVirtualNode Parent, PVirtualNode Node, TVirtualNodeInitStates&)> OnInitNode;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, uint32_t& ChildCount)> OnInitChildren;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node)> OnFreeNode;
    std::function<void(TBaseVirtualTree*, int& NodeDataSize)> OnGetNodeDataSize;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, int& NodeHeight)> OnMeasureItem;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node)> OnChange;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, TChangeReason)> OnStructureChange;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, bool& Allowed)> OnExpanding, OnCollapsing;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node)> OnExpanded, OnCollapsed;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, TCheckState& NewState, bool& Allowed)> OnChecking;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node)> OnChecked;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node)> OnResetNode;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, PVirtualNode Target, bool& Allowed)> OnNodeMoving, OnNodeCopying;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node)> OnNodeMoved, OnNodeCopied;
    std::function<void(TBaseVirtualTree*, TVTUpdateState)> OnUpdating;
    std::function<void(TBaseVirtualTree*, TVirtualTreeStates Enter, TVirtualTreeStates Leave)> OnStateChange;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, TColumnIndex Column)> OnFocusChanged;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, TStream&)> OnSaveNode, OnLoadNode;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node1, PVirtualNode Node2, TColumnIndex, int& Result)> OnCompareNodes;
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, const String& SearchText, int& Result)> OnIncrementalSearch;
    std::function<void(TBaseVirtualTree*, int DeltaX, int DeltaY)> OnScroll;
    // The image of a node: State asks for the state image list's index.
    std::function<void(TBaseVirtualTree*, PVirtualNode Node, bool State, int& Index)> OnGetImageIndex;

    // ---- Properties ----------------------------------------------------
    TVTOptions Options() const noexcept { return FOptions; }
    void SetOptions(TVTOptions Value) { FOptions = Value; }
    bool HasOption(TVTOptions O) const noexcept { return (FOptions & O) != 0; }
    TVirtualTreeStates TreeStates() const noexcept { return FStates.load(std::memory_order_relaxed); }
    bool InState(TVirtualTreeStates S) const noexcept { return (TreeStates() & S) != 0; }

    PVirtualNode RootNode() const noexcept { return FRoot; }
    uint32_t RootNodeCount() const noexcept { return FRoot->ChildCount; }
    void SetRootNodeCount(uint32_t Value);
    uint32_t TotalCount() const noexcept { return FRoot->TotalCount - 1; }
    uint32_t VisibleCount() const noexcept { return FVisibleCount; }
    uint32_t SelectedCount() const noexcept { return static_cast<uint32_t>(FSelectionCount); }
    int NodeDataSize() const noexcept { return FNodeDataSize; }
    void SetNodeDataSize(int Value);
    uint32_t DefaultNodeHeight() const noexcept { return FDefaultNodeHeight; }
    void SetDefaultNodeHeight(uint32_t Value);
    uint32_t Indent() const noexcept { return FIndent; }
    void SetIndent(uint32_t Value) { FIndent = Value; }
    uint32_t ChangeDelay() const noexcept { return FChangeDelay; }
    void SetChangeDelay(uint32_t Value) { FChangeDelay = Value; }
    uint32_t BottomSpace() const noexcept { return FBottomSpace; }
    void SetBottomSpace(uint32_t Value) { FBottomSpace = Value; }
    const TNodeAllocator& Allocator() const noexcept { return FAllocator; }

    uint32_t ChildCount(PVirtualNode Node) const noexcept { return (Node ? Node : FRoot)->ChildCount; }
    void SetChildCount(PVirtualNode Node, uint32_t NewChildCount);
    bool Expanded(PVirtualNode Node) const noexcept { return Node && HasState(Node, vsExpanded); }
    void SetExpanded(PVirtualNode Node, bool Value);
    bool Visible(PVirtualNode Node) const noexcept { return Node && HasState(Node, vsVisible); }
    void SetVisible(PVirtualNode Node, bool Value);
    bool FullyVisible(PVirtualNode Node) const;
    void SetFullyVisible(PVirtualNode Node, bool Value);
    bool VisiblePath(PVirtualNode Node) const;
    void SetVisiblePath(PVirtualNode Node, bool Value);
    bool HasChildren(PVirtualNode Node) const noexcept { return Node && HasState(Node, vsHasChildren); }
    void SetHasChildren(PVirtualNode Node, bool Value);
    bool Disabled(PVirtualNode Node) const noexcept { return Node && HasState(Node, vsDisabled); }
    void SetDisabled(PVirtualNode Node, bool Value);
    bool Selected(PVirtualNode Node) const noexcept { return Node && HasState(Node, vsSelected); }
    void SetSelected(PVirtualNode Node, bool Value);
    TCheckState CheckState(PVirtualNode Node) const noexcept { return TCheckState(Node->CheckState); }
    void SetCheckState(PVirtualNode Node, TCheckState Value);
    TCheckType CheckType(PVirtualNode Node) const noexcept { return TCheckType(Node->CheckType); }
    void SetCheckType(PVirtualNode Node, TCheckType Value);
    uint8_t VerticalAlignment(PVirtualNode Node) const noexcept { return Node->Align; }
    void SetVerticalAlignment(PVirtualNode Node, uint8_t Value);
    uint32_t NodeHeight(PVirtualNode Node) { return GetNodeHeight(Node); }
    void SetNodeHeight(PVirtualNode Node, uint32_t Value);
    PVirtualNode NodeParent(PVirtualNode Node) const noexcept;
    bool ChildrenInitialized(PVirtualNode Node) const noexcept;
    PVirtualNode FocusedNode() const noexcept { return FFocusedNode; }
    void SetFocusedNode(PVirtualNode Node);
    TColumnIndex FocusedColumn() const noexcept { return FFocusedColumn; }

    // ---- Structure -----------------------------------------------------
    PVirtualNode AddChild(PVirtualNode Parent, void* UserData = nullptr);
    PVirtualNode InsertNode(PVirtualNode Node, TVTNodeAttachMode Mode, void* UserData = nullptr);
    void DeleteNode(PVirtualNode Node, bool Reindex = true);
    void DeleteChildren(PVirtualNode Node, bool ResetHasChildren = false);
    virtual void Clear();
    void MoveTo(PVirtualNode Source, PVirtualNode Target, TVTNodeAttachMode Mode, bool ChildrenOnly);
    void MoveTo(PVirtualNode Source, TBaseVirtualTree* Tree, TVTNodeAttachMode Mode, bool ChildrenOnly);
    PVirtualNode CopyTo(PVirtualNode Source, PVirtualNode Target, TVTNodeAttachMode Mode, bool ChildrenOnly);
    PVirtualNode CopyTo(PVirtualNode Source, TBaseVirtualTree* Tree, TVTNodeAttachMode Mode, bool ChildrenOnly);
    // Inline: clients reach their data in every handler.
    void* GetNodeData(PVirtualNode Node) const noexcept {
        if (!Node || Node == FRoot || FNodeDataSize < 1) return nullptr;
        return Node->Data() + FTotalInternalDataSize;
    }
    template <class T>
    T* GetNodeData(PVirtualNode Node) const noexcept { return static_cast<T*>(GetNodeData(Node)); }
    // Reserves a private area in every node; returns its offset from the
    // node's start. Only before any node exists.
    size_t AllocateInternalDataArea(size_t Size);
    static TBaseVirtualTree* TreeFromNode(PVirtualNode Node) noexcept;
    void ToggleNode(PVirtualNode Node);
    void FullExpand(PVirtualNode Node = nullptr);
    void FullCollapse(PVirtualNode Node = nullptr);

    // ---- Lazy work -----------------------------------------------------
    void InitNode(PVirtualNode Node);
    void InitChildren(PVirtualNode Node);
    void ValidateNode(PVirtualNode Node, bool Recursive);
    void ValidateChildren(PVirtualNode Node, bool Recursive);
    void ReinitNode(PVirtualNode Node, bool Recursive);
    void ReinitChildren(PVirtualNode Node, bool Recursive);
    void ResetNode(PVirtualNode Node);
    uint32_t GetNodeHeight(PVirtualNode Node);

    // ---- Traversal (plain forms initialise, NoInit forms don't) --------
#define IDE_VT_WALK0(Name) PVirtualNode Name(); PVirtualNode Name##NoInit() const;
#define IDE_VT_WALK1(Name) PVirtualNode Name(PVirtualNode Node); PVirtualNode Name##NoInit(PVirtualNode Node) const;
    IDE_VT_WALK0(GetFirst) IDE_VT_WALK0(GetLast) IDE_VT_WALK0(GetFirstVisible) IDE_VT_WALK0(GetLastVisible)
    // A leaf's next node is its next sibling: the common step of a walk
    // over a long list is taken inline.
    PVirtualNode GetNext(PVirtualNode Node) {
        if (IsNode(Node) && !Node->FirstChild && !HasState(Node, vsHasChildren) && Node->NextSibling) {
            PVirtualNode r = Node->NextSibling;
            if (!HasState(r, vsInitialized)) InitNode(r);
            return r;
        }
        return GetNextOutOfLine(Node);
    }
    PVirtualNode GetNextNoInit(PVirtualNode Node) const;
    IDE_VT_WALK1(GetPrevious) IDE_VT_WALK1(GetFirstChild) IDE_VT_WALK1(GetLastChild)
    IDE_VT_WALK1(GetNextVisible) IDE_VT_WALK1(GetPreviousVisible) IDE_VT_WALK1(GetFirstVisibleChild)
    IDE_VT_WALK1(GetLastVisibleChild) IDE_VT_WALK1(GetNextVisibleSibling) IDE_VT_WALK1(GetPreviousVisibleSibling)
#undef IDE_VT_WALK0
#undef IDE_VT_WALK1
    PVirtualNode GetFirstInitialized() const;
    PVirtualNode GetNextInitialized(PVirtualNode Node) const;
    PVirtualNode GetPreviousInitialized(PVirtualNode Node) const;
    PVirtualNode GetLastInitialized() const;
    PVirtualNode GetFirstChecked(TCheckState State = csCheckedNormal) const;
    PVirtualNode GetNextChecked(PVirtualNode Node, TCheckState State = csCheckedNormal) const;
    PVirtualNode GetFirstSelected() const;
    PVirtualNode GetNextSelected(PVirtualNode Node) const;
    PVirtualNode GetFirstCutCopy() const;
    PVirtualNode GetNextCutCopy(PVirtualNode Node) const;
    // The selection in tree order; with Resolve, nodes whose ancestor is
    // selected too are left out.
    TNodeArray GetSortedSelection(bool Resolve) const;
    PVirtualNode GetVisibleParent(PVirtualNode Node) const;
    uint32_t GetNodeLevel(PVirtualNode Node) const noexcept;
    uint32_t AbsoluteIndex(PVirtualNode Node);
    bool HasAsParent(PVirtualNode Node, PVirtualNode PotentialParent) const noexcept;
    using TVTGetNodeProc = std::function<void(TBaseVirtualTree*, PVirtualNode, void* Data, bool& Abort)>;
    PVirtualNode IterateSubtree(PVirtualNode Node, const TVTGetNodeProc& Callback, void* Data,
                                TVirtualNodeStates Filter = 0, bool DoInit = false, bool ChildNodesOnly = false);

    // ---- Selection -----------------------------------------------------
    bool AddToSelection(PVirtualNode Node);
    bool AddToSelection(TNodeArray& NewItems, int NewLength, bool ForceInsert = false);
    void RemoveFromSelection(PVirtualNode Node);
    void ClearSelection();
    void SelectAll(bool VisibleOnly);
    bool FindNodeInSelection(PVirtualNode P, int& Index, int LowBound, int HighBound) const;
    const TNodeArray& SelectionArray() const noexcept { return FSelection; }

    // ---- Batching ------------------------------------------------------
    void BeginUpdate();
    void EndUpdate();
    void BeginSynch();
    void EndSynch();
    uint32_t UpdateCount() const noexcept { return FUpdateCount; }
    // The handler of the tree's timers (the platform calls it when one fires).
    void TimerFired(int Id);
    bool TimerActive(int Id) const noexcept { return Id >= 1 && Id <= 7 && FTimerInterval[Id] != 0; }

    // ---- Position cache and layout ------------------------------------
    void ValidateCache();
    void InvalidateCache();
    void InterruptValidation();
    PVirtualNode FindInPositionCache(uint32_t Position, uint32_t& CurrentPos) const;
    PVirtualNode FindInPositionCache(PVirtualNode Node, uint32_t& CurrentPos) const;
    // The nearest known row at or above Position (or before Node), through
    // the cache and its fine index: where a lookup starts walking.
    PVirtualNode FindNearestCached(uint32_t Position, uint32_t& CurrentPos) const;
    PVirtualNode FindNearestCached(PVirtualNode Node, uint32_t& CurrentPos) const;
    static int CompareNodePositions(PVirtualNode Node1, PVirtualNode Node2);
    uint32_t CalculateCacheEntryCount() const;
    // Read it only while tsUseCache is set: otherwise the worker may be
    // building it.
    const std::vector<TCacheEntry>& PositionCache() const noexcept { return FPositionCache; }
    PVirtualNode GetNodeAt(int X, int Y);
    PVirtualNode GetNodeAt(int X, int Y, bool Relative, int& NodeTop);
    TVTRect GetDisplayRect(PVirtualNode Node, TColumnIndex Column, bool TextOnly, bool Unclipped = false);
    void GetHitTestInfoAt(int X, int Y, bool Relative, THitInfo& HitInfo);
    PVirtualNode GetTopNode();
    void SetTopNode(PVirtualNode Node);
    bool ScrollIntoView(PVirtualNode Node, bool Center, bool Horizontally = false);
    void UpdateScrollBars(bool DoRepaint);
    void UpdateVerticalScrollBar(bool DoRepaint);
    void UpdateHorizontalScrollBar(bool DoRepaint);
    int OffsetX() const noexcept { return FOffsetX; }
    int OffsetY() const noexcept { return FOffsetY; }
    void SetOffsetX(int Value);
    void SetOffsetY(int Value);
    bool SetOffsetXY(int X, int Y);
    uint32_t RangeX() const noexcept { return FRangeX; }
    uint32_t RangeY() const noexcept { return FRangeY; }
    void InvalidateNode(PVirtualNode Node);
    void InvalidateToBottom(PVirtualNode Node);
    int ClientWidth() const noexcept { return FClientWidth; }
    int ClientHeight() const noexcept { return FClientHeight; }
    void SetClientSize(int Width, int Height);
    // Scrolling requests of the platform, in the tree's own terms.
    enum TScrollCode { scLineUp, scLineDown, scPageUp, scPageDown, scThumbTrack, scTop, scBottom, scEndScroll };
    void HandleScroll(bool Vertical, TScrollCode Code, int ThumbPos = 0);
    // Wheel delta in 120ths per notch; LinesPerNotch -1 means a page.
    void HandleWheel(int Delta, bool Control, int LinesPerNotch);
    uint32_t IncrementY() const noexcept { return FIncrementY; }

    // ---- The validation worker's hand-back ------------------------------
    // Serves a request the worker is blocked on, if any; answers whether one
    // was served. The platform calls it when WakeOwner arrives.
    bool ServeWorker();
    // Serves the worker until it has finished with this tree (tests and the
    // headless host; a window host lets its event loop do this).
    void WaitForValidation();

    // ---- Stream --------------------------------------------------------
    void SaveToStream(TStream& Stream, PVirtualNode Node = nullptr);
    void LoadFromStream(TStream& Stream);
    void AddFromStream(TStream& Stream, PVirtualNode TargetNode);
    void SaveToFile(const String& FileName);
    void LoadFromFile(const String& FileName);

    // ---- Sorting and incremental search --------------------------------
    virtual void Sort(PVirtualNode Node, TColumnIndex Column, TSortDirection Direction, bool DoInit = true);
    virtual void SortTree(TColumnIndex Column, TSortDirection Direction, bool DoInit = true);
    // CharCode is a code point: one above the basic plane is appended whole,
    // and a backspace takes off a whole character.
    void HandleIncrementalSearch(uint32_t CharCode);
    TVTIncrementalSearch IncrementalSearch() const noexcept { return FIncrementalSearch; }
    void SetSearchOption(TVTIncrementalSearch Value);
    void SetSearchStart(TVTSearchStart Value) { FSearchStart = Value; }
    void SetSearchDirection(TVTSearchDirection Value) { FSearchDirection = Value; }
    void SetSearchTimeout(uint32_t Value) { FSearchTimeout = Value; }
    const String& SearchBuffer() const noexcept { return FSearchBuffer; }
    PVirtualNode LastSearchNode() const noexcept { return FLastSearchNode; }
    uint32_t SortCompareCount() const noexcept { return FSortCompares; }

    // ---- Painting --------------------------------------------------------
    // Paints the rows of Window (tree coordinates) onto Canvas with the
    // window's top-left corner at Target.
    void PaintTree(TCanvas& Canvas, const TRect& Window, TPoint Target);
    void SetImages(TImageList* Images) { FImages = Images; }
    void SetStateImages(TImageList* Images) { FStateImages = Images; }

    // ---- Descendants' and tests' view of the counters -------------------
    uint32_t CountVisibleChildren(PVirtualNode Node) const;
    uint32_t InitializedCount() const noexcept { return FInitializedCount; }

protected:
    // ---- Platform hooks (headless defaults) -----------------------------
    virtual bool HandleAllocated() const { return FHasWindow; }
    virtual void Invalidate() {}
    virtual void InvalidateRect(const TVTRect& /*R*/) {}
    // Shows or hides a scroll bar and answers the position it really took
    // (clamped to Max - Page + 1, as a platform bar does).
    virtual int SetScrollBar(bool Vertical, bool Show, int Max, int Page, int Pos);
    virtual void StartTimer(int Id, uint32_t Interval);
    virtual void StopTimer(int Id);
    virtual void Beep();
    virtual void ScrollClientArea(int /*DX*/, int /*DY*/) {}

    // ---- Overridable operations ----------------------------------------
    virtual void DoInitNode(PVirtualNode Parent, PVirtualNode Node, TVirtualNodeInitStates& InitStates);
    virtual void DoInitChildren(PVirtualNode Node, uint32_t& ChildCount);
    virtual void DoFreeNode(PVirtualNode Node);
    virtual void DoMeasureItem(PVirtualNode Node, int& NodeHeight);
    virtual void DoChange(PVirtualNode Node);
    virtual void DoStructureChange(PVirtualNode Node, TChangeReason Reason);
    virtual bool DoExpanding(PVirtualNode Node);
    virtual bool DoCollapsing(PVirtualNode Node);
    virtual void DoExpanded(PVirtualNode Node);
    virtual void DoCollapsed(PVirtualNode Node);
    virtual bool DoChecking(PVirtualNode Node, TCheckState& NewState);
    virtual void DoChecked(PVirtualNode Node);
    virtual void DoCheckClick(PVirtualNode Node, TCheckState NewState);
    virtual void DoReset(PVirtualNode Node);
    virtual bool DoNodeMoving(PVirtualNode Node, PVirtualNode Target);
    virtual void DoNodeMoved(PVirtualNode Node);
    virtual bool DoNodeCopying(PVirtualNode Node, PVirtualNode Target);
    virtual void DoNodeCopied(PVirtualNode Node);
    virtual void DoUpdating(TVTUpdateState State);
    virtual void DoStateChange(TVirtualTreeStates Enter, TVirtualTreeStates Leave = 0);
    virtual void DoFocusChange(PVirtualNode Node, TColumnIndex Column);
    virtual void DoSaveUserData(PVirtualNode Node, TStream& Stream);
    virtual void DoLoadUserData(PVirtualNode Node, TStream& Stream);
    virtual int DoCompare(PVirtualNode Node1, PVirtualNode Node2, TColumnIndex Column);
    virtual int DoIncrementalSearch(PVirtualNode Node, const String& Text);
    virtual int DoGetNodeWidth(PVirtualNode Node, TColumnIndex Column);
    virtual void DoPaintNode(TCanvas& Canvas, PVirtualNode Node, const TRect& R, bool Selected);
    virtual int DoGetImageIndex(PVirtualNode Node, bool State);
    virtual void PaintNodeButton(TCanvas& Canvas, PVirtualNode Node, const TRect& R);
    virtual void PaintCheckImage(TCanvas& Canvas, const TRect& R, TCheckType Type, TCheckState State, bool Enabled);
    virtual void PaintTreeLines(TCanvas& Canvas, PVirtualNode Node, const TRect& Row, int Left);
    int CheckImageWidth() const;
    virtual bool DoEndEdit() { return true; }
    virtual void DoScroll(int DeltaX, int DeltaY);
    virtual void WriteChunks(TStream& Stream, PVirtualNode Node);
    virtual bool ReadChunk(TStream& Stream, int Version, PVirtualNode Node, int ChunkType, int ChunkSize);
    virtual void ValidateNodeDataSize();
    uint32_t GetMaxRightExtend();

    // ---- Internals shared by the files of the tree ----------------------
    PVirtualNode MakeNewNode();
    void InitRootNode(size_t OldInternalSize = 0);
    void InternalConnectNode(PVirtualNode Node, PVirtualNode Destination, TBaseVirtualTree* Target, TVTNodeAttachMode Mode);
    void InternalDisconnectNode(PVirtualNode Node, bool KeepFocus, bool Reindex = true);
    void AdjustTotalCount(PVirtualNode Node, int64_t Value, bool Relative);
    void AdjustTotalHeight(PVirtualNode Node, int64_t Value, bool Relative);
    void FixupTotalCount(PVirtualNode Node);
    void FixupTotalHeight(PVirtualNode Node);
    void DetermineHiddenChildrenFlag(PVirtualNode Node);
    void DetermineHiddenChildrenFlagAllNodes();
    void MeasureItemHeight(PVirtualNode Node);
    void Change(PVirtualNode Node);
    void StructureChange(PVirtualNode Node, TChangeReason Reason);
    void ChangeCheckState(PVirtualNode Node, TCheckState Value, bool& Result);
    bool CheckParentCheckState(PVirtualNode Node, TCheckState NewCheckState);
    static TCheckState DetermineNextCheckState(TCheckType CheckType, TCheckState CheckState);
    bool InternalAddToSelection(TNodeArray& NewItems, int NewLength, bool ForceInsert);
    void InternalRemoveFromSelection(PVirtualNode Node);
    void InternalClearSelection();
    int PackArray(TNodeArray& Array, int Count);
    void PackSelection();
    void ResetRangeAnchor();
    void InternalCacheNode(PVirtualNode Node);
    void ClearTempCache();
    void StopWorkerIfWalking();
    bool DoSetOffsetXY(int X, int Y, bool RepaintScrollBars);
    bool DoValidateCache();
    void ChangeStatesFromWorker(TChangeStates Enter, TChangeStates Leave);
    uint32_t WorkerNodeHeight(PVirtualNode Node);
    void HandBack(THandbackKind Kind, PVirtualNode Node = nullptr, TChangeStates Enter = 0, TChangeStates Leave = 0);
    void FreeSubtree(PVirtualNode Node);
    void AdviseChangeEvent(bool Structural, PVirtualNode Node, TChangeReason Reason);
    // Writes Node's chunk (and with Siblings, those of the siblings after
    // it) through a write buffer.
    void WriteNodes(TStream& Target, PVirtualNode Node, bool Siblings);
    void WriteForTransfer(TStream& Stream, PVirtualNode Source, bool ChildrenOnly);
    // A move or copy to Target of TargetTree: the attach modes at the root,
    // and a target whose children are still to be made.
    void PrepareTransferTarget(TBaseVirtualTree* TargetTree, PVirtualNode Target, TVTNodeAttachMode& Mode);
    // Writes Source (or its children) and reads the stream in at Target of
    // TargetTree as moved nodes or as copies (a refused copy is deleted
    // again); answers the last node read in, nil when the last copy was
    // refused.
    PVirtualNode TransferNodes(PVirtualNode Source, bool ChildrenOnly, TBaseVirtualTree* TargetTree, PVirtualNode Target,
                               TVTNodeAttachMode Mode, bool Copy);
    // After a move or copy outside an update block: the cache, the scroll
    // bars and the window.
    void RefreshAfterTransfer();
    void FinishChunkHeader(TStream& Stream, int64_t StartPos, int64_t EndPos);
    // The readers take the stream through the read buffer in front of it.
    void ReadNode(TStreamReadBuffer& Stream, int Version, PVirtualNode Node);
    void SkipNode(TStream& Stream);
    void InternalAddFromStream(TStreamReadBuffer& Stream, int Version, PVirtualNode Node);
    void ReadTopLevelNodes(TStreamReadBuffer& Stream, int Version, int64_t Count);
    PVirtualNode ChainNewLastChild(PVirtualNode Parent);
    void CollapseChildless(PVirtualNode Node);
    void RepairReadSelection(PVirtualNode From, PVirtualNode Stop);
    void ReadStreamInto(TStream& Stream, PVirtualNode Target, bool Adding);
    PVirtualNode SortChain(PVirtualNode& Head, uint32_t Count, TColumnIndex Column, TSortDirection Direction,
                           PVirtualNode& Last);
    bool IsNode(PVirtualNode Node) const noexcept { return Node && Node != FRoot; }
    PVirtualNode GetNextOutOfLine(PVirtualNode Node);
    // Links Node (Parent's child) behind Parent's last child: siblings,
    // index and Parent's first and last child; no counter.
    static void LinkAsLastChild(PVirtualNode Node, PVirtualNode Parent) noexcept;

    friend class TWorkerThread;
    friend std::string CheckTreeInvariants(TBaseVirtualTree& Tree);

    PVirtualNode FRoot = nullptr;
    TNodeAllocator FAllocator;
    TVTOptions FOptions = toShowRoot | toShowButtons | toShowTreeLines | toAutoTristateTracking;
    std::atomic<TVirtualTreeStates> FStates{0};
    uint32_t FDefaultNodeHeight = 18;
    int FNodeDataSize = -1;
    size_t FTotalInternalDataSize = 0;
    uint32_t FIndent = 20;
    uint32_t FMargin = 4;
    uint32_t FTextMargin = 4;
    uint32_t FUpdateCount = 0;
    uint32_t FSynchUpdateCount = 0;
    uint32_t FVisibleCount = 0;
    uint32_t FInitializedCount = 0;
    TNodeArray FSelection;
    int FSelectionCount = 0;
    TNodeArray FSingletonNodeArray = TNodeArray(1);
    int FLastSelectionLevel = -1;
    PVirtualNode FRangeAnchor = nullptr, FFocusedNode = nullptr, FLastSelected = nullptr, FLastChangedNode = nullptr,
                 FCurrentHotNode = nullptr, FDropTargetNode = nullptr, FCheckNode = nullptr, FLastSearchNode = nullptr;
    TColumnIndex FFocusedColumn = -1;
    PVirtualNode FLastStructureChangeNode = nullptr;
    TChangeReason FLastStructureChangeReason = crIgnore;
    uint32_t FChangeDelay = 0;
    uint32_t FCheckPropagationCount = 0;
    TNodeArray FTempNodeCache;
    int FTempNodeCount = 0;
    bool FDestroying = false;

    // The tree stream reader's open nodes, kept between the reads of the
    // top-level nodes so that each does not allocate them anew.
    struct TReadFrame {
        PVirtualNode Node;
        int64_t End;
        int64_t BaseEnd;
        uint32_t ChildrenLeft;
        bool InBase;
    };
    std::vector<TReadFrame> FReadFrames;

    // Layout.
    std::vector<TCacheEntry> FPositionCache;
    // One entry every FineCacheStride visible nodes, built by the same pass
    // and read under the same rule (tsUseCache); complete only when the pass
    // started at the top and finished (FFineCacheValid). Lookups narrow the
    // cache's span of CacheThreshold rows with it before they walk.
    std::vector<TCacheEntry> FFineCache;
    bool FFineCacheValid = false;
    // Set by a finished pass whose visible rows all have one height and lie
    // one record after the other in memory (a flat list made in one go, the
    // usual million-row case): row k is then FUniformFirst plus k records, at
    // k times FUniformHeight, and lookups are arithmetic. 0 otherwise.
    uint32_t FUniformHeight = 0;
    uint32_t FUniformCount = 0;
    PVirtualNode FUniformFirst = nullptr;
    uint32_t FStartIndex = 0;
    int FOffsetX = 0, FOffsetY = 0, FEffectiveOffsetX = 0;
    uint32_t FRangeX = 0, FRangeY = 0, FBottomSpace = 0;
    uint32_t FIncrementX = 20, FIncrementY = 20;
    int FClientWidth = 200, FClientHeight = 100;
    bool FAlwaysVisible = false;

    // Timers: the interval of each running timer, 0 when stopped.
    uint32_t FTimerInterval[8] = {};

    // Sorting and search.
    TVTIncrementalSearch FIncrementalSearch = isNone;
    uint32_t FSearchTimeout = 1000;
    TVTSearchDirection FSearchDirection = sdForward;
    TVTSearchStart FSearchStart = ssFocusedNode;
    String FSearchBuffer;
    uint32_t FSortCompares = 0;

public:
    // The headless scroll bars, as last set (tests and the gallery read them).
    struct TScrollBarInfo {
        bool Visible = false;
        int Max = 0, Page = 0, Pos = 0;
    };
    TScrollBarInfo FScrollInfo[2];  // [0] horizontal, [1] vertical

protected:
    // The hand-back slot: one pending request of the worker for this tree.
    struct THandback {
        std::mutex Lock;
        std::condition_variable Done;
        THandbackKind Kind = hbNone;
        bool Served = false;
        TChangeStates Enter = 0, Leave = 0;
        PVirtualNode Node = nullptr;
        uint32_t Height = 0;
    };
    THandback FHandback;
    // Owner thread only: set while it serves a request of the worker.
    bool FServingWorker = false;
    // Set while the tree waits in the worker's list or is being validated;
    // guarded by the worker's list lock, read without it as a fast path.
    std::atomic<bool> FInWorker{false};
    // Wakes the owner thread (posted by the platform); called under
    // FHandback.Lock so that its owner can take it away safely.
    std::function<void()> FOwnerWake;
    // InsertNode keeps the cache as it was (kept oddity); the invariant check
    // skips the cache until the next pass.
    bool FInsertedSinceValidation = false;
    bool FCacheClosed = false;
    // Set while MoveTo and CopyTo write nodes: children of uninitialised
    // nodes go along, so that a move never loses nodes.
    bool FWritingSkeleton = false;
    bool FHasWindow = false;
    TColumnIndex FSortColumn = -1;
    TImageList* FImages = nullptr;
    TImageList* FStateImages = nullptr;
    TSortDirection FSortDirection = sdAscending;

public:
    // The headless host: pretend to have a window (scroll bars, repaints).
    void SetHasWindow(bool Value) { FHasWindow = Value; }
    // Installs the platform's wake-up of the owner thread (see WakeOwner).
    void SetOwnerWake(std::function<void()> Wake);
    void SetAutoSort(TColumnIndex Column, TSortDirection Direction) { FSortColumn = Column; FSortDirection = Direction; }
};

// The check of every invariant of the node store and its cache: counters,
// links and indexes, visible count, selection array, cache entries. Answers
// an empty text for a consistent tree, else the first fault found.
std::string CheckTreeInvariants(TBaseVirtualTree& Tree);

}  // namespace ide
