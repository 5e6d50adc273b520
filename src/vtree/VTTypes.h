// The virtual tree's value types: the node record, its state sets, the tree's
// transient states and options, the enumerations of its operations, and the
// error class with its fixed codes and messages.
//
// A node is one allocation: the 64-byte TVirtualNode header, then the
// internal data areas that descendants reserve (AllocateInternalDataArea),
// then the client's user data area (NodeDataSize bytes). The header is the
// same on every tree; the tail differs per tree, so nodes are only ever made
// by their tree.
//
// Node states are written through atomic references. The validation worker
// reads a node's States, NodeHeight and links while the owner thread may
// initialise nodes of the same tree for a paint; links and heights are never
// changed while a pass walks (every change stops the worker first), but the
// state bits of initialisation are. Relaxed single-word loads and stores are
// plain moves on the targets the library supports.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

class TBaseVirtualTree;

// The node states, bit by bit.
enum TVirtualNodeState : uint16_t {
    vsInitialized = 1u << 0,
    vsChecking = 1u << 1,
    vsCutOrCopy = 1u << 2,
    vsDisabled = 1u << 3,
    vsDeleting = 1u << 4,
    vsExpanded = 1u << 5,
    vsHasChildren = 1u << 6,
    vsVisible = 1u << 7,
    vsSelected = 1u << 8,
    vsInitialUserData = 1u << 9,
    vsAllChildrenHidden = 1u << 10,
    vsClearing = 1u << 11,
    vsMultiline = 1u << 12,
    vsHeightMeasured = 1u << 13,
    vsToggling = 1u << 14,
};
using TVirtualNodeStates = uint16_t;

// What the client answers in OnInitNode.
enum TVirtualNodeInitState : uint8_t {
    ivsDisabled = 1u << 0,
    ivsExpanded = 1u << 1,
    ivsHasChildren = 1u << 2,
    ivsMultiline = 1u << 3,
    ivsSelected = 1u << 4,
};
using TVirtualNodeInitStates = uint8_t;

enum TCheckType : uint8_t { ctNone, ctTriStateCheckBox, ctCheckBox, ctRadioButton, ctButton };
enum TCheckState : uint8_t {
    csUncheckedNormal,
    csUncheckedPressed,
    csCheckedNormal,
    csCheckedPressed,
    csMixedNormal,
    csMixedPressed
};
enum TVTNodeAttachMode : uint8_t { amNoWhere, amInsertBefore, amInsertAfter, amAddChildFirst, amAddChildLast };
enum TChangeReason : uint8_t {
    crIgnore,
    crAccumulated,
    crChildAdded,
    crChildDeleted,
    crNodeAdded,
    crNodeCopied,
    crNodeMoved
};
enum TVTUpdateState : uint8_t { usBegin, usBeginSynch, usSynch, usUpdate, usEnd, usEndSynch };
enum TSortDirection : uint8_t { sdAscending, sdDescending };
enum TVTIncrementalSearch : uint8_t { isAll, isNone, isInitializedOnly, isVisibleOnly };
enum TVTSearchDirection : uint8_t { sdForward, sdBackward };
enum TVTSearchStart : uint8_t { ssAlwaysStartOver, ssLastHit, ssFocusedNode };

// The node record. Field order and widths are those of the published record;
// the five links make it 64 bytes on a 64-bit target.
struct TVirtualNode {
    uint32_t Index;
    uint32_t ChildCount;
    uint16_t NodeHeight;
    TVirtualNodeStates States;
    uint8_t Align;
    uint8_t CheckState;
    uint8_t CheckType;
    uint8_t Dummy;
    uint32_t TotalCount;
    uint32_t TotalHeight;
    TVirtualNode* Parent;
    TVirtualNode* PrevSibling;
    TVirtualNode* NextSibling;
    TVirtualNode* FirstChild;
    TVirtualNode* LastChild;

    // The variable part starts right behind the header.
    uint8_t* Data() noexcept { return reinterpret_cast<uint8_t*>(this + 1); }
};
using PVirtualNode = TVirtualNode*;
using TNodeArray = std::vector<PVirtualNode>;
static_assert(sizeof(TVirtualNode) == 64 || sizeof(void*) != 8, "the node header is 64 bytes");

// State access that the validation worker may race with (see the file head).
inline TVirtualNodeStates NodeStates(const TVirtualNode* Node) noexcept {
    return std::atomic_ref<TVirtualNodeStates>(const_cast<TVirtualNode*>(Node)->States)
        .load(std::memory_order_relaxed);
}
inline bool HasState(const TVirtualNode* Node, TVirtualNodeStates S) noexcept {
    return (NodeStates(Node) & S) != 0;
}
inline void IncludeState(TVirtualNode* Node, TVirtualNodeStates S) noexcept {
    std::atomic_ref<TVirtualNodeStates> r(Node->States);
    r.store(static_cast<TVirtualNodeStates>(r.load(std::memory_order_relaxed) | S), std::memory_order_relaxed);
}
inline void ExcludeState(TVirtualNode* Node, TVirtualNodeStates S) noexcept {
    std::atomic_ref<TVirtualNodeStates> r(Node->States);
    r.store(static_cast<TVirtualNodeStates>(r.load(std::memory_order_relaxed) & ~S), std::memory_order_relaxed);
}
inline void SetStates(TVirtualNode* Node, TVirtualNodeStates S) noexcept {
    std::atomic_ref<TVirtualNodeStates>(Node->States).store(S, std::memory_order_relaxed);
}
inline uint16_t LoadNodeHeight(const TVirtualNode* Node) noexcept {
    return std::atomic_ref<uint16_t>(const_cast<TVirtualNode*>(Node)->NodeHeight).load(std::memory_order_relaxed);
}
inline void StoreNodeHeight(TVirtualNode* Node, uint16_t H) noexcept {
    std::atomic_ref<uint16_t>(Node->NodeHeight).store(H, std::memory_order_relaxed);
}

// The tree's transient states, one bit per member in the published order.
using TVirtualTreeStates = uint64_t;
enum : uint8_t {
    tsCancelHintAnimationBit, tsChangePendingBit, tsCheckPropagationBit, tsCollapsingBit,
    tsToggleFocusedSelectionBit, tsClearPendingBit, tsClipboardFlushingBit, tsCopyPendingBit,
    tsCutPendingBit, tsDrawSelPendingBit, tsDrawSelectingBit, tsEditingBit, tsEditPendingBit,
    tsExpandingBit, tsHintBit, tsInAnimationBit, tsIncrementalSearchingBit,
    tsIncrementalSearchPendingBit, tsIteratingBit, tsKeyCheckPendingBit, tsLeftButtonDownBit,
    tsLeftDblClickBit, tsMouseCheckPendingBit, tsMiddleButtonDownBit, tsMiddleDblClickBit,
    tsNeedScaleBit, tsNeedRootCountUpdateBit, tsOLEDraggingBit, tsOLEDragPendingBit, tsPaintingBit,
    tsRightButtonDownBit, tsRightDblClickBit, tsPopupMenuShownBit, tsScrollingBit,
    tsScrollPendingBit, tsSizingBit, tsStopValidationBit, tsStructureChangePendingBit,
    tsSynchModeBit, tsThumbTrackingBit, tsUpdateHiddenChildrenNeededBit, tsUpdatingBit,
    tsUseCacheBit, tsUserDragObjectBit, tsUseThemesBit, tsValidatingBit, tsValidationNeededBit,
    tsLATTICEDraggingBit, tsLATTICEDragPendingBit, tsWheelPanningBit, tsWheelScrollingBit,
    tsWindowCreatingBit, tsStateCount
};
#define IDE_VT_STATE(name) constexpr TVirtualTreeStates name = TVirtualTreeStates(1) << name##Bit;
IDE_VT_STATE(tsCancelHintAnimation) IDE_VT_STATE(tsChangePending) IDE_VT_STATE(tsCheckPropagation)
IDE_VT_STATE(tsCollapsing) IDE_VT_STATE(tsToggleFocusedSelection) IDE_VT_STATE(tsClearPending)
IDE_VT_STATE(tsClipboardFlushing) IDE_VT_STATE(tsCopyPending) IDE_VT_STATE(tsCutPending)
IDE_VT_STATE(tsDrawSelPending) IDE_VT_STATE(tsDrawSelecting) IDE_VT_STATE(tsEditing)
IDE_VT_STATE(tsEditPending) IDE_VT_STATE(tsExpanding) IDE_VT_STATE(tsHint)
IDE_VT_STATE(tsInAnimation) IDE_VT_STATE(tsIncrementalSearching) IDE_VT_STATE(tsIncrementalSearchPending)
IDE_VT_STATE(tsIterating) IDE_VT_STATE(tsKeyCheckPending) IDE_VT_STATE(tsLeftButtonDown)
IDE_VT_STATE(tsLeftDblClick) IDE_VT_STATE(tsMouseCheckPending) IDE_VT_STATE(tsMiddleButtonDown)
IDE_VT_STATE(tsMiddleDblClick) IDE_VT_STATE(tsNeedScale) IDE_VT_STATE(tsNeedRootCountUpdate)
IDE_VT_STATE(tsOLEDragging) IDE_VT_STATE(tsOLEDragPending) IDE_VT_STATE(tsPainting)
IDE_VT_STATE(tsRightButtonDown) IDE_VT_STATE(tsRightDblClick) IDE_VT_STATE(tsPopupMenuShown)
IDE_VT_STATE(tsScrolling) IDE_VT_STATE(tsScrollPending) IDE_VT_STATE(tsSizing)
IDE_VT_STATE(tsStopValidation) IDE_VT_STATE(tsStructureChangePending) IDE_VT_STATE(tsSynchMode)
IDE_VT_STATE(tsThumbTracking) IDE_VT_STATE(tsUpdateHiddenChildrenNeeded) IDE_VT_STATE(tsUpdating)
IDE_VT_STATE(tsUseCache) IDE_VT_STATE(tsUserDragObject) IDE_VT_STATE(tsUseThemes)
IDE_VT_STATE(tsValidating) IDE_VT_STATE(tsValidationNeeded) IDE_VT_STATE(tsLATTICEDragging)
IDE_VT_STATE(tsLATTICEDragPending) IDE_VT_STATE(tsWheelPanning) IDE_VT_STATE(tsWheelScrolling)
IDE_VT_STATE(tsWindowCreating)
#undef IDE_VT_STATE

// The states that cross threads (the worker's hand-back), each the tree
// state of the same name.
enum TChangeState : uint8_t {
    csStopValidation = 1u << 0,
    csUseCache = 1u << 1,
    csValidating = 1u << 2,
    csValidationNeeded = 1u << 3,
};
using TChangeStates = uint8_t;

// The tree's options, one flat set (the published option classes group them
// by concern; the bits are the same members).
enum TVTOption : uint32_t {
    toReadOnly = 1u << 0,
    toMultiSelect = 1u << 1,
    toLevelSelectConstraint = 1u << 2,
    toSiblingSelectConstraint = 1u << 3,
    toAutoTristateTracking = 1u << 4,
    toCheckSupport = 1u << 5,
    toAutoSort = 1u << 6,
    toVariableNodeHeight = 1u << 7,
    toInitOnSave = 1u << 8,
    toSaveCaptions = 1u << 9,
    toAutoFreeOnCollapse = 1u << 10,
    toShowRoot = 1u << 11,
    toShowButtons = 1u << 12,
    toShowTreeLines = 1u << 13,
    toAutoScrollOnExpand = 1u << 14,
    toCenterScrollIntoView = 1u << 15,
    toShowHorzGridLines = 1u << 16,
    toFullRowSelect = 1u << 17,
};
using TVTOptions = uint32_t;

// Hit positions of GetHitTestInfoAt.
enum THitPosition : uint16_t {
    hiAbove = 1u << 0,
    hiBelow = 1u << 1,
    hiNowhere = 1u << 2,
    hiOnItem = 1u << 3,
    hiOnItemButton = 1u << 4,
    hiOnItemCheckbox = 1u << 5,
    hiOnItemIndent = 1u << 6,
    hiOnItemLabel = 1u << 7,
    hiOnItemLeft = 1u << 8,
    hiOnItemRight = 1u << 9,
    hiOnNormalIcon = 1u << 10,
    hiOnStateIcon = 1u << 11,
    hiToLeft = 1u << 12,
    hiToRight = 1u << 13,
};
using THitPositions = uint16_t;
using TColumnIndex = int;

struct THitInfo {
    PVirtualNode HitNode = nullptr;
    THitPositions HitPositions = 0;
    TColumnIndex HitColumn = -1;
};

struct TVTRect {
    int Left = 0, Top = 0, Right = 0, Bottom = 0;
    bool IsEmpty() const noexcept { return Right <= Left || Bottom <= Top; }
    friend bool operator==(const TVTRect&, const TVTRect&) = default;
};

// The position cache's entry: a node and the distance from the top of the
// whole tree to its top.
struct TCacheEntry {
    PVirtualNode Node = nullptr;
    uint32_t AbsoluteTop = 0;
};

// Every error of the tree, with its code in the help context.
IDE_DECLARE_EXCEPTION(EVirtualTreeError, Exception)

enum : int {
    hcTFEditLinkIsNil = 2000,
    hcTFWrongMoveError = 2001,
    hcTFWrongStreamFormat = 2002,
    hcTFWrongStreamVersion = 2003,
    hcTFStreamTooSmall = 2004,
    hcTFCorruptStream1 = 2005,
    hcTFCorruptStream2 = 2006,
    hcTFClipboardFailed = 2007,
    hcTFCannotSetUserData = 2008,
};

// The fixed message of an error code (empty for an unknown code).
const char* VirtualTreeErrorMessage(int Code) noexcept;
[[noreturn]] void RaiseVirtualTreeError(int Code);

// Timers of a tree, by identifier.
enum : int {
    ExpandTimer = 1,
    EditTimer = 2,
    HeaderTimer = 3,
    ScrollTimer = 4,
    ChangeTimer = 5,
    StructureChangeTimer = 6,
    SearchTimer = 7,
};

// One position cache entry every this many visible nodes; no cache at all up
// to this many.
constexpr uint32_t CacheThreshold = 2000;
// The fine index beside the position cache: one entry every FineCacheStride
// visible nodes, aligned with the cache's entries (CacheThreshold is a
// multiple of it), so that a lookup walks at most FineCacheStride - 1 rows.
constexpr uint32_t FineCacheStride = 16;
static_assert(CacheThreshold % FineCacheStride == 0);

}  // namespace ide
