// Position lookups, ranges, offsets, scrolling and hit tests.
//
// Y positions are tree coordinates (0 at the top of the first row) unless
// a call says Relative, in which case they are client coordinates and the
// vertical offset (0 or negative) is taken away.
#include <algorithm>
#include <cstdint>

#include "vtree/VTBaseTree.h"

namespace ide {

namespace {

// The number of entries in [First, Last) at or above Position: a binary
// search by AbsoluteTop.
size_t EntriesAtOrAbove(const TCacheEntry* First, const TCacheEntry* Last, uint32_t Position) {
    return size_t(std::upper_bound(First, Last, Position,
                                   [](uint32_t p, const TCacheEntry& e) { return p < e.AbsoluteTop; }) -
                  First);
}

// The number of entries in [First, Last) whose node comes at or before Node
// in tree order.
size_t EntriesAtOrBefore(const TCacheEntry* First, const TCacheEntry* Last, PVirtualNode Node) {
    return size_t(std::upper_bound(First, Last, Node,
                                   [](PVirtualNode n, const TCacheEntry& e) {
                                       return TBaseVirtualTree::CompareNodePositions(e.Node, n) > 0;
                                   }) -
                  First);
}

}  // namespace

PVirtualNode TBaseVirtualTree::FindInPositionCache(uint32_t Position, uint32_t& CurrentPos) const {
    const size_t n = EntriesAtOrAbove(FPositionCache.data(), FPositionCache.data() + FPositionCache.size(), Position);
    if (n == 0) {
        CurrentPos = 0;
        return GetFirstVisibleNoInit();
    }
    CurrentPos = FPositionCache[n - 1].AbsoluteTop;
    return FPositionCache[n - 1].Node;
}

PVirtualNode TBaseVirtualTree::FindInPositionCache(PVirtualNode Node, uint32_t& CurrentPos) const {
    // The closing entry holds the bottom edge of the last row, not a top: it
    // is left out of a search by node.
    const size_t size = FPositionCache.size() - (FCacheClosed && !FPositionCache.empty() ? 1 : 0);
    const size_t n = EntriesAtOrBefore(FPositionCache.data(), FPositionCache.data() + size, Node);
    if (n == 0) {
        CurrentPos = 0;
        return GetFirstVisibleNoInit();
    }
    CurrentPos = FPositionCache[n - 1].AbsoluteTop;
    return FPositionCache[n - 1].Node;
}

// The fine index narrows the span of cache entry Entry (which is no closing
// entry) to FineCacheStride rows. Its entries for that span start at the
// cache entry's own node; the last span runs to the index's end.
namespace {
struct TFineSpan {
    const TCacheEntry* First;
    const TCacheEntry* Last;
};
TFineSpan FineSpan(const std::vector<TCacheEntry>& Fine, size_t Entry, bool LastEntry) {
    constexpr size_t per = CacheThreshold / FineCacheStride;
    const size_t lo = std::min(Entry * per, Fine.size());
    const size_t hi = LastEntry ? Fine.size() : std::min(lo + per, Fine.size());
    return {Fine.data() + lo, Fine.data() + hi};
}
}  // namespace

PVirtualNode TBaseVirtualTree::FindNearestCached(uint32_t Position, uint32_t& CurrentPos) const {
    if (FUniformHeight != 0 && !FInsertedSinceValidation) {
        const uint32_t row = Position / FUniformHeight;
        if (row < FUniformCount) {
            CurrentPos = row * FUniformHeight;
            return reinterpret_cast<PVirtualNode>(reinterpret_cast<uint8_t*>(FUniformFirst) +
                                                  size_t(row) * FAllocator.RecordSize());
        }
    }
    const size_t size = FPositionCache.size();
    const size_t n = EntriesAtOrAbove(FPositionCache.data(), FPositionCache.data() + size, Position);
    const bool closing = FCacheClosed && n == size;
    if (n == 0 || closing || !FFineCacheValid || FInsertedSinceValidation) return FindInPositionCache(Position, CurrentPos);
    const bool lastEntry = n == size - (FCacheClosed ? 1 : 0);
    const TFineSpan span = FineSpan(FFineCache, n - 1, lastEntry);
    const size_t m = EntriesAtOrAbove(span.First, span.Last, Position);
    if (m == 0) return FindInPositionCache(Position, CurrentPos);
    CurrentPos = span.First[m - 1].AbsoluteTop;
    return span.First[m - 1].Node;
}

PVirtualNode TBaseVirtualTree::FindNearestCached(PVirtualNode Node, uint32_t& CurrentPos) const {
    if (FUniformHeight != 0 && !FInsertedSinceValidation) {
        // The uniform rows fill one address range, record by record.
        const uintptr_t offset = reinterpret_cast<uintptr_t>(Node) - reinterpret_cast<uintptr_t>(FUniformFirst);
        const size_t record = FAllocator.RecordSize();
        if (offset % record == 0 && offset / record < FUniformCount) {
            CurrentPos = static_cast<uint32_t>(offset / record) * FUniformHeight;
            return Node;
        }
    }
    const size_t size = FPositionCache.size() - (FCacheClosed && !FPositionCache.empty() ? 1 : 0);
    const size_t n = EntriesAtOrBefore(FPositionCache.data(), FPositionCache.data() + size, Node);
    if (n == 0 || !FFineCacheValid || FInsertedSinceValidation) return FindInPositionCache(Node, CurrentPos);
    const TFineSpan span = FineSpan(FFineCache, n - 1, n == size);
    const size_t m = EntriesAtOrBefore(span.First, span.Last, Node);
    if (m == 0) return FindInPositionCache(Node, CurrentPos);
    CurrentPos = span.First[m - 1].AbsoluteTop;
    return span.First[m - 1].Node;
}

int TBaseVirtualTree::CompareNodePositions(PVirtualNode Node1, PVirtualNode Node2) {
    if (Node1 == Node2) return 0;
    auto level = [](PVirtualNode n) {
        uint32_t l = 0;
        while (n->NextSibling != n) {
            n = n->Parent;
            ++l;
        }
        return l;
    };
    uint32_t l1 = level(Node1), l2 = level(Node2);
    PVirtualNode a = Node1, b = Node2;
    while (l1 > l2) {
        a = a->Parent;
        --l1;
    }
    while (l2 > l1) {
        b = b->Parent;
        --l2;
    }
    if (a == b) return level(Node1) > level(Node2) ? 1 : -1;  // one is the other's ancestor
    while (a->Parent != b->Parent) {
        a = a->Parent;
        b = b->Parent;
    }
    const int64_t d = int64_t(a->Index) - int64_t(b->Index);
    return d < 0 ? -1 : (d > 0 ? 1 : 0);
}

PVirtualNode TBaseVirtualTree::GetNodeAt(int X, int Y) {
    int top = 0;
    return GetNodeAt(X, Y, true, top);
}

PVirtualNode TBaseVirtualTree::GetNodeAt(int /*X*/, int Y, bool Relative, int& NodeTop) {
    if (Y < 0) Y = 0;
    int64_t position = Y;
    if (Relative) position -= FOffsetY;
    uint32_t current = 0;
    PVirtualNode node;
    if (InState(tsUseCache))
        node = FindNearestCached(static_cast<uint32_t>(std::min<int64_t>(position, UINT32_MAX)), current);
    else
        node = GetFirstVisibleNoInit();
    uint64_t cur = current;
    while (node && node != FRoot) {
        if (HasState(node, vsVisible) && uint64_t(position) < cur + node->TotalHeight) {
            const uint32_t h = HasOption(toVariableNodeHeight) ? GetNodeHeight(node) : LoadNodeHeight(node);
            if (uint64_t(position) < cur + h || !node->FirstChild || !HasState(node, vsExpanded)) {
                NodeTop = static_cast<int>(int64_t(cur) + (Relative ? FOffsetY : 0));
                return node;
            }
            cur += h;
            node = node->FirstChild;
            continue;
        }
        if (HasState(node, vsVisible)) cur += node->TotalHeight;
        while (node && !node->NextSibling) {
            node = node->Parent;
            if (node == FRoot) node = nullptr;
        }
        if (node) node = node->NextSibling;
    }
    return nullptr;
}

TVTRect TBaseVirtualTree::GetDisplayRect(PVirtualNode Node, TColumnIndex Column, bool TextOnly, bool /*Unclipped*/) {
    TVTRect r;
    if (!IsNode(Node)) return r;
    if (!HasState(Node, vsInitialized)) InitNode(Node);
    if (!FullyVisible(Node)) return r;
    uint64_t top = 0;
    if (InState(tsUseCache)) {
        uint32_t t = 0;
        PVirtualNode run = FindNearestCached(Node, t);
        top = t;
        while (run && run != Node) {
            top += GetNodeHeight(run);
            run = GetNextVisibleNoInit(run);
        }
    } else {
        for (PVirtualNode run = GetPreviousVisibleNoInit(Node); run; run = GetPreviousVisibleNoInit(run))
            top += GetNodeHeight(run);
    }
    int indent = 0;
    if (Column <= 0) {
        indent = int(GetNodeLevel(Node) * FIndent);
        if (HasOption(toShowRoot)) indent += int(FIndent);
    }
    r.Top = static_cast<int>(int64_t(top) + FOffsetY);
    r.Bottom = r.Top + int(GetNodeHeight(Node));
    r.Left = FOffsetX;
    r.Right = FOffsetX + std::max<int>(FClientWidth, int(FRangeX));
    if (TextOnly) {
        int left = FOffsetX + indent + int(FMargin);
        if (HasOption(toCheckSupport) && Node->CheckType != ctNone) left += 16 + 2;
        r.Left = left;
        r.Right = left + DoGetNodeWidth(Node, Column) + 2 * int(FTextMargin);
    }
    return r;
}

void TBaseVirtualTree::GetHitTestInfoAt(int X, int Y, bool Relative, THitInfo& HitInfo) {
    HitInfo = THitInfo();
    if (Relative) {
        if (Y < 0) HitInfo.HitPositions |= hiAbove;
        if (Y > FClientHeight) HitInfo.HitPositions |= hiBelow;
        if (X < 0) HitInfo.HitPositions |= hiToLeft;
        if (X > FClientWidth) HitInfo.HitPositions |= hiToRight;
        if (HitInfo.HitPositions) return;
    }
    int top = 0;
    PVirtualNode node = GetNodeAt(X, Y, Relative, top);
    if (!node) {
        HitInfo.HitPositions = hiNowhere;
        return;
    }
    HitInfo.HitNode = node;
    const int offset = Relative ? X - FOffsetX : X;
    int indent = int(GetNodeLevel(node) * FIndent);
    if (HasOption(toShowRoot)) indent += int(FIndent);
    if (offset < indent) {
        if (HasOption(toShowButtons) && HasState(node, vsHasChildren) && offset >= indent - int(FIndent))
            HitInfo.HitPositions |= hiOnItemButton;
        if (!HitInfo.HitPositions) HitInfo.HitPositions = hiOnItemIndent;
        return;
    }
    int imageOffset = indent + int(FMargin);
    if (HasOption(toCheckSupport) && node->CheckType != ctNone) imageOffset += 16 + 2;
    if (offset < imageOffset) {
        HitInfo.HitPositions |= hiOnItem;
        if (node->CheckType != ctNone) HitInfo.HitPositions |= hiOnItemCheckbox;
        return;
    }
    const int textWidth = DoGetNodeWidth(node, -1);
    const int right = std::max<int>(FClientWidth, int(FRangeX));
    if (imageOffset + textWidth > right)
        HitInfo.HitPositions |= hiOnItemLabel;
    else if (offset >= imageOffset + textWidth)
        HitInfo.HitPositions |= hiOnItemRight;
    else
        HitInfo.HitPositions |= hiOnItemLabel;
    HitInfo.HitPositions |= hiOnItem;
}

// ---- Ranges, offsets, scrolling -----------------------------------------------------

void TBaseVirtualTree::SetClientSize(int Width, int Height) {
    FClientWidth = std::max(Width, 0);
    FClientHeight = std::max(Height, 0);
}

int TBaseVirtualTree::SetScrollBar(bool Vertical, bool Show, int Max, int Page, int Pos) {
    TScrollBarInfo& info = FScrollInfo[Vertical ? 1 : 0];
    info.Visible = Show;
    info.Max = Max;
    info.Page = Page;
    // A platform bar never goes further than where its page touches the end.
    const int limit = std::max(0, Max - std::max(Page, 1) + 1);
    info.Pos = std::clamp(Pos, 0, limit);
    return info.Pos;
}

void TBaseVirtualTree::UpdateScrollBars(bool DoRepaint) {
    if (!HandleAllocated()) return;
    UpdateVerticalScrollBar(DoRepaint);
    UpdateHorizontalScrollBar(DoRepaint);
}

void TBaseVirtualTree::UpdateVerticalScrollBar(bool /*DoRepaint*/) {
    if (FRoot->TotalHeight < FDefaultNodeHeight) FRoot->TotalHeight = FDefaultNodeHeight;
    FRangeY = FRoot->TotalHeight - FRoot->NodeHeight + FBottomSpace;
    int pos;
    if (FClientHeight < int64_t(FRangeY) || FAlwaysVisible)
        pos = SetScrollBar(true, true, int(std::min<uint32_t>(FRangeY, INT32_MAX)), std::max(FClientHeight + 1, 0), -FOffsetY);
    else
        pos = SetScrollBar(true, false, 0, 0, 0);
    DoSetOffsetXY(FOffsetX, -pos, true);
}

void TBaseVirtualTree::UpdateHorizontalScrollBar(bool /*DoRepaint*/) {
    FRangeX = GetMaxRightExtend();
    FEffectiveOffsetX = -FOffsetX;
    int pos;
    if (FClientWidth < int64_t(FRangeX) || FAlwaysVisible)
        pos = SetScrollBar(false, true, int(std::min<uint32_t>(FRangeX, INT32_MAX)), std::max(FClientWidth + 1, 0),
                           FEffectiveOffsetX);
    else
        pos = SetScrollBar(false, false, 0, 0, 0);
    FEffectiveOffsetX = pos;
    DoSetOffsetXY(-pos, FOffsetY, true);
}

uint32_t TBaseVirtualTree::GetMaxRightExtend() {
    int top = 0;
    PVirtualNode node = GetNodeAt(0, 0, true, top);
    if (!node) return FMargin;
    int64_t left = int64_t(GetNodeLevel(node)) * FIndent + (HasOption(toShowRoot) ? FIndent : 0);
    int64_t best = 0;
    int64_t height = top;
    int level = int(GetNodeLevel(node));
    while (node && height <= FClientHeight) {
        if (!HasState(node, vsInitialized)) InitNode(node);
        int64_t check = HasOption(toCheckSupport) && node->CheckType != ctNone ? 16 + 2 : 0;
        best = std::max<int64_t>(best, left + check + DoGetNodeWidth(node, -1) + 2 * FTextMargin);
        height += GetNodeHeight(node);
        PVirtualNode next = GetNextVisible(node);
        if (next) {
            const int nl = int(GetNodeLevel(next));
            left += int64_t(nl - level) * FIndent;
            level = nl;
        }
        node = next;
    }
    return static_cast<uint32_t>(best + FMargin);
}

bool TBaseVirtualTree::DoSetOffsetXY(int X, int Y, bool RepaintScrollBars) {
    X = int(std::min<int64_t>(0, std::max<int64_t>(X, int64_t(FClientWidth) - FRangeX)));
    Y = int(std::min<int64_t>(0, std::max<int64_t>(Y, int64_t(FClientHeight) - FRangeY)));
    const int dx = X - FOffsetX, dy = Y - FOffsetY;
    if (dx == 0 && dy == 0) return false;
    FOffsetX = X;
    FOffsetY = Y;
    if (InState(tsHint)) DoStateChange(0, tsHint);
    if (FUpdateCount == 0) ScrollClientArea(dx, dy);
    if (RepaintScrollBars) {
        if (dx != 0 && !InState(tsSizing)) UpdateHorizontalScrollBar(true);
        if (dy != 0 && !InState(tsThumbTracking | tsSizing)) UpdateVerticalScrollBar(true);
    }
    DoScroll(dx, dy);
    return true;
}

void TBaseVirtualTree::DoScroll(int DeltaX, int DeltaY) {
    if (OnScroll) OnScroll(this, DeltaX, DeltaY);
}

void TBaseVirtualTree::SetOffsetX(int Value) { DoSetOffsetXY(Value, FOffsetY, true); }
void TBaseVirtualTree::SetOffsetY(int Value) { DoSetOffsetXY(FOffsetX, Value, true); }
bool TBaseVirtualTree::SetOffsetXY(int X, int Y) { return DoSetOffsetXY(X, Y, true); }

PVirtualNode TBaseVirtualTree::GetTopNode() {
    int top = 0;
    return GetNodeAt(0, 0, true, top);
}

void TBaseVirtualTree::SetTopNode(PVirtualNode Node) {
    if (!IsNode(Node)) return;
    SetVisiblePath(Node, true);
    const TVTRect r = GetDisplayRect(Node, -1, false);
    if (r.Bottom > r.Top || r.Top != 0) SetOffsetY(FOffsetY - r.Top);
}

bool TBaseVirtualTree::ScrollIntoView(PVirtualNode Node, bool Center, bool /*Horizontally*/) {
    if (!IsNode(Node)) return false;
    SetVisiblePath(Node, true);
    const TVTRect r = GetDisplayRect(Node, -1, false);
    if (r.IsEmpty()) return false;
    const int oldY = FOffsetY;
    if (Center)
        SetOffsetY(FOffsetY - r.Top + FClientHeight / 2);
    else if (r.Bottom > FClientHeight)
        SetOffsetY(FOffsetY - (r.Bottom - FClientHeight));
    else if (r.Top < 0)
        SetOffsetY(FOffsetY - r.Top);
    return FOffsetY != oldY;
}

void TBaseVirtualTree::HandleScroll(bool Vertical, TScrollCode Code, int ThumbPos) {
    const int inc = int(Vertical ? FIncrementY : FIncrementX);
    const int page = Vertical ? FClientHeight : FClientWidth;
    auto set = [&](int v) {
        if (Vertical)
            SetOffsetY(v);
        else
            SetOffsetX(v);
    };
    const int cur = Vertical ? FOffsetY : FOffsetX;
    switch (Code) {
        case scLineUp: set(cur + inc); break;
        case scLineDown: set(cur - inc); break;
        case scPageUp: set(cur + page); break;
        case scPageDown: set(cur - page); break;
        case scThumbTrack:
            DoStateChange(tsThumbTracking);
            set(-ThumbPos);
            break;
        case scTop: set(0); break;
        case scBottom: set(Vertical ? -int(std::min<uint32_t>(FRoot->TotalHeight, INT32_MAX)) : -int(FRangeX)); break;
        case scEndScroll:
            DoStateChange(0, tsThumbTracking);
            UpdateScrollBars(true);
            Invalidate();
            break;
    }
}

void TBaseVirtualTree::HandleWheel(int Delta, bool Control, int LinesPerNotch) {
    if (FClientHeight < int64_t(FRangeY)) {
        const int pageRows = FClientHeight / int(FDefaultNodeHeight);
        int64_t rows;
        if (Control || LinesPerNotch == -1)
            rows = int64_t(Delta) * pageRows / 120;
        else
            rows = int64_t(Delta) * LinesPerNotch / 120;
        SetOffsetY(int(std::clamp<int64_t>(FOffsetY + rows * FDefaultNodeHeight, INT32_MIN, 0)));
    } else {
        int64_t dx = int64_t(Delta / 120) * FIndent;
        if (Control) dx *= FClientWidth;
        SetOffsetX(int(std::clamp<int64_t>(FOffsetX + dx, INT32_MIN, 0)));
    }
}

// ---- Invalidation -------------------------------------------------------------------------

void TBaseVirtualTree::InvalidateNode(PVirtualNode Node) {
    if (!HandleAllocated() || !IsNode(Node) || FUpdateCount > 0) return;
    const TVTRect r = GetDisplayRect(Node, -1, false, true);
    if (!r.IsEmpty() && r.Bottom > 0 && r.Top < FClientHeight) InvalidateRect(r);
}

void TBaseVirtualTree::InvalidateToBottom(PVirtualNode Node) {
    if (FUpdateCount > 0 || !HandleAllocated()) return;
    if (!IsNode(Node)) {
        Invalidate();
        return;
    }
    if (!HasState(Node, vsInitialized) || !FullyVisible(Node)) return;
    const TVTRect r = GetDisplayRect(Node, -1, false, true);
    if (r.Top < FClientHeight) InvalidateRect({0, std::max(r.Top, 0), FClientWidth, FClientHeight});
}

}  // namespace ide
