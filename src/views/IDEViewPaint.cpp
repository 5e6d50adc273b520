// TTreeView2: painting, repainting, scrolling, the pane's layout, input and
// the row search.
#include <algorithm>
#include <climits>

#include "foundation/CollectionsStrings.h"
#include "views/IDEViewImpl.h"

namespace ide {

// Key codes of KeyDown (the toolkit-neutral virtual keys).
enum : int { vkSpace = 32, vkEnd = 35, vkHome = 36, vkLeft = 37, vkUp = 38, vkRight = 39, vkDown = 40, vkAdd = 107, vkSubtract = 109 };

int TTreeView2::BoxLeftOf(int Level) const {
    int x = Level * FHIndent + FLeftMargin;
    return FShowRootLines ? x : x - FItemOffset;
}

TRect TTreeView2::ToClient(const TRectangle& R) {
    TPoint sp = GetScrollPosition();
    return Bounds(R.Left - sp.X, R.Top - sp.Y, R.Width, R.Height);
}

TDimension TTreeView2::GetViewportSize() {
    if (!FHost) return {};
    TDimension c = FHost->GetClientSize();
    return {c.Width - FInsets.Left - FInsets.Right, c.Height - FInsets.Top - FInsets.Bottom};
}

TPoint TTreeView2::GetScrollPosition() { return FHost ? FHost->GetScrollPosition() : TPoint{}; }

void TTreeView2::SetScrollPosition(int X, int Y) {
    if (FHost) FHost->SetScrollPosition(X, Y);
}

void TTreeView2::DoLayout() {
    if (!FHost || !FHost->HasHandle() || FMailbox->IsPending(DeferDoLayoutMsg)) return;
    FMailbox->Post(DeferDoLayoutMsg);
}

void TTreeView2::DoLayout2() {
    TDimension d = GetPreferredSize();
    if (OnOverrideScrollRange) OnOverrideScrollRange(*this, d);
    if (FHost) FHost->SetScrollRange(d.Width, d.Height);
}

// ---- painting

void TTreeView2::Paint2(TCanvas& Canvas, const TRect& ClipBox) {
    if (FBatchMode) return;
    PendingRecalcVisible();
    TNodeState* first = HitTestY(ClipBox.Top);
    TNodeState* last = HitTestY(ClipBox.Bottom - 1);
    int bottom = FTopMargin;
    if (first && FLastCalc && first->FItemRect.Top <= ClipBox.Bottom) {
        for (TNodeState* n = first; n; n = n->FNextVisible) {
            PaintNode(Canvas, n);
            bottom = n->FItemRect.Top + n->FItemRect.Height + FVgap;
            if (n == last) break;
        }
    }
    if (!FFirstNode) bottom = ClipBox.Top;
    if (bottom < ClipBox.Bottom) {
        Canvas.SetBrushColor(FColor);
        Canvas.FillRect(Rect(ClipBox.Left, std::max(bottom, ClipBox.Top), ClipBox.Right, ClipBox.Bottom));
    }
}

void TTreeView2::PaintNode(TCanvas& G, TNodeState* Node) {
    TPoint sp = GetScrollPosition();
    TDimension vp = FHost ? FHost->GetClientSize() : TDimension{FCanvasWidth, 0};
    G.SetBrushColor(FColor);
    G.FillRect(Bounds(sp.X, Node->FItemRect.Top, std::max(vp.Width, FCanvasWidth - sp.X),
                      Node->FItemRect.Height + FVgap));
    if (FStyle == tvsPluses) {
        PaintLines(G, Node);
        if (!(Node == FFirstNode && !FShowRootLines)) PaintBox(G, Node);
        PaintItem(G, Node);
    } else {
        PaintArrow(G, Node);
        PaintItem(G, Node);
    }
}

void TTreeView2::PaintItem(TCanvas& G, TNodeState* Node) {
    if (!FModel || !FViewManager) return;
    TItemStates state = GetState(Node);
    IntfRef<IInterface> data = FModel->Get(Node->FNode);
    auto painter = FViewManager->GetPainter(Node->FNode, data, state);
    if (!painter) return;
    auto site = Retain<IItemPaintSite>(this);
    SetItemSize(Node, painter->GetPreferredSize(data, &G, state, site));
    G.SetBrushColor(FColor);
    painter->Paint(data, &G, Node->FItemRect, state, site);
}

void TTreeView2::PaintBox(TCanvas& G, TNodeState* Node) {
    if (Node->FNode->HasChildren() == tsNo || Node->FNodeFlags.Contains(nfNoBoxRect)) return;
    const TRectangle& b = Node->FBoxRect;
    G.SetBrushStyle(bsClear);
    G.SetPenColor(clBtnShadow);
    int midY = b.Top + b.Width / 2;
    G.SetPenStyle(psDot);
    G.MoveTo(b.Left + b.Width + 1, midY);
    G.LineTo(b.Left + FItemOffset, midY);
    G.SetPenStyle(psSolid);
    G.Rectangle(ToRect(b));
    G.SetPenColor(clBtnText);
    G.MoveTo(b.Left + 2, b.Top + b.Height / 2);
    G.LineTo(b.Left + b.Width - 2, b.Top + b.Height / 2);
    if (!Node->FExpanded) {
        G.MoveTo(b.Left + b.Width / 2, b.Top + 2);
        G.LineTo(b.Left + b.Width / 2, b.Top + b.Height - 2);
    }
    G.SetBrushStyle(bsSolid);
}

void TTreeView2::PaintArrow(TCanvas& G, TNodeState* Node) {
    if (Node->FNode->HasChildren() == tsNo || Node->FNodeFlags.Contains(nfNoBoxRect)) return;
    const TRectangle& b = Node->FBoxRect;
    G.SetPenColor(clBtnText);
    G.SetPenStyle(psSolid);
    int cx = b.Left + b.Width / 2, cy = b.Top + b.Height / 2;
    for (int i = 0; i < 4; ++i) {
        if (Node->FExpanded) {  // pointing down
            G.MoveTo(cx - 3 + i, cy - 2 + i);
            G.LineTo(cx + 4 - i, cy - 2 + i);
        } else {  // pointing right
            G.MoveTo(cx - 2 + i, cy - 3 + i);
            G.LineTo(cx - 2 + i, cy + 4 - i);
        }
    }
}

// The connecting lines, dotted in clBtnShadow: through the row for every
// ancestor that has a sibling below, and from the row's top to its box (or
// item) and on down when the node itself has a sibling below.
void TTreeView2::PaintLines(TCanvas& G, TNodeState* Node) {
    int minLevel = FShowRootLines ? 0 : 1;
    if (Node->FLevel < minLevel) return;
    int top = Node->FItemRect.Top, bottom = top + Node->FItemRect.Height + FVgap;
    int half = FBoxSize.Width / 2;
    int cx = BoxLeftOf(Node->FLevel) + half;
    int midY = top + Node->FItemRect.Height / 2;
    G.SetPenColor(clBtnShadow);
    G.SetPenStyle(psDot);
    bool hasNext = static_cast<bool>(Node->GetNextSibling());
    bool hasAbove = Node->FLevel > minLevel || Node != FFirstNode;
    if (hasAbove) {
        G.MoveTo(cx, top);
        G.LineTo(cx, midY);
    }
    if (hasNext) {
        G.MoveTo(cx, midY);
        G.LineTo(cx, bottom);
    }
    if (Node->FNode->HasChildren() == tsNo || Node->FNodeFlags.Contains(nfNoBoxRect)) {
        G.MoveTo(cx, midY);
        G.LineTo(BoxLeftOf(Node->FLevel) + FItemOffset, midY);
    }
    int level = Node->FLevel - 1;
    for (IntfRef<IGraphLocation> a = Node->FNode->GetParent(); a && level >= minLevel; a = a->GetParent(), --level) {
        TNodeState* as = GetViewState(a);
        if (!as || !as->GetNextSibling()) continue;
        int ax = BoxLeftOf(level) + half;
        G.MoveTo(ax, top);
        G.LineTo(ax, bottom);
    }
    G.SetPenStyle(psSolid);
}

// ---- repainting

bool TTreeView2::IsVisible(TNodeState* Node) {
    if (!Node || !FHost || !FHost->IsShowing()) return false;
    TPoint sp = GetScrollPosition();
    TDimension vp = FHost->GetClientSize();
    const TRectangle& r = Node->FItemRect;
    if (r.Top + r.Height <= sp.Y || r.Top >= sp.Y + vp.Height) return false;
    for (IntfRef<IGraphLocation> a = Node->FNode->GetParent(); a; a = a->GetParent()) {
        TNodeState* s = GetViewState(a);
        if (!s || !s->FExpanded) return false;
    }
    return true;
}

void TTreeView2::RepaintNode(TNodeState* Node) {
    if (FBatchMode || !Node || !FHost || !IsVisible(Node)) return;
    bool box = Node->FNode->HasChildren() != tsNo;
    int left = box ? Node->FBoxRect.Left : Node->FItemRect.Left;
    TRect r = ToClient(Node->FItemRect);
    TPoint sp = GetScrollPosition();
    FHost->Invalidate(Rect(left - sp.X, r.Top, FHost->GetClientSize().Width, r.Bottom), false);
}

void TTreeView2::RepaintToEnd(TNodeState* Node) {
    if (FBatchMode || !FHost || !FHost->HasHandle()) return;
    if (!Node) {
        RepaintNodes();
        return;
    }
    TDimension c = FHost->GetClientSize();
    int top = Node->FItemRect.Top - GetScrollPosition().Y;
    FHost->Invalidate(Rect(0, std::max(0, top), c.Width, c.Height), false);
}

void TTreeView2::RepaintNodes() {
    if (FBatchMode || !FHost || !FHost->HasHandle()) return;
    FHost->InvalidateAll();
}

void TTreeView2::RepaintSelection() {
    if (!FSelection || !FHost) return;
    auto all = FSelection->GetAll();
    for (int i = 0, n = all ? all->GetCount() : 0; i < n; ++i)
        RepaintNode(GetViewState(Supports<IGraphLocation>(all->Get(i))));
}

// ---- scrolling

void TTreeView2::ScrollView(TNodeState* Node, TNodeState* Last) {
    if (!Node || !FHost) return;
    const TRectangle& r = Node->FItemRect;
    if (r.Width == 0 && r.Height == 0) return;
    TPoint sp = GetScrollPosition();
    TDimension vp = GetViewportSize();
    TDimension range = GetPreferredSize();
    auto fitX = [&](const TRectangle& item, int x) {
        if (vp.Width < item.Width || item.Left < x) return item.Left;
        if (item.Left + item.Width >= x + vp.Width) return std::min(range.Width - vp.Width, item.Left + item.Width - vp.Width + 1);
        return x;
    };
    auto fitY = [&](const TRectangle& item, int y) {
        if (item.Top < y) return item.Top;
        if (item.Top + item.Height > y + vp.Height) {
            int ny = std::min(range.Height - vp.Height, item.Top + item.Height - vp.Height);
            if (FSnapOrigin) {
                TNodeState* at = HitTestY(ny);
                // The row behind the one found starts the view.
                if (at && at->FNextVisible) ny = at->FNextVisible->FItemRect.Top;
            }
            return ny;
        }
        return y;
    };
    int x = fitX(r, sp.X), y = fitY(r, sp.Y);
    if (Last && Last != Node) {
        for (TNodeState* n = Node->FNextVisible; n; n = n->FNextVisible) {
            x = fitX(n->FItemRect, x);
            if (n == Last) break;
        }
        y = fitY(Last->FItemRect, y);
        // Node's own place wins.
        if (r.Top < y) y = r.Top;
        if (r.Left < x) x = r.Left;
    }
    x = std::max(0, x);
    y = std::max(0, y);
    if (FHSnap) {
        SetScrollPosition(x, y);
        RepaintNodes();
    } else if (y != sp.Y) {
        SetScrollPosition(sp.X, y);
    }
    FHost->SetVerticalIncrement(std::max(1, r.Height));
}

void TTreeView2::ScrollExpanded(TNodeState* Node) {
    if (!Node) return;
    TNodeState* last = Node;
    for (TNodeState* n = Node->FNextVisible; n && n->IsDescendentOf(Node->FNode); n = n->FNextVisible) last = n;
    ScrollView(Node, last);
}

// ---- input

bool TTreeView2::MouseDown(int X, int Y, bool Shift, bool Ctrl, int ClickCount) {
    PendingRecalcVisible();
    TPoint sp = GetScrollPosition();
    TNodeState* n = HitTestY(Y + sp.Y);
    if (!n) return false;
    int hit = n->HitTest(X + sp.X, Y + sp.Y);
    if (hit == 2 || (hit == 1 && ClickCount == 2 && n->FNode->HasChildren() != tsNo)) {
        bool wasInside = FSubfocus && FSubfocus != n && FSubfocus->IsDescendentOf(n->FNode);
        bool done = ExpandNode(n, !n->FExpanded, true);
        if (done && wasInside) SetSubfocus2(n, {sfClear, sfAddItem, sfResetAnchor});
        return done;
    }
    if (hit != 1) return false;
    if (FMultiSelect && Ctrl) return SetSubfocus2(n, {sfToggleItem, sfResetAnchor});
    if (FMultiSelect && Shift && FSelectAnchor) {
        if (!SetSubfocus2(n, {})) return false;
        FSelection->RemoveAll();
        TNodeState* a = FSelectAnchor;
        TNodeState* from = a->FLineNumber <= n->FLineNumber ? a : n;
        TNodeState* to = from == a ? n : a;
        for (TNodeState* s = from; s; s = s->FNextVisible) {
            FSelection->Add(s->FNode);
            if (s == to) break;
        }
        return true;
    }
    return SetSubfocus2(n, {sfClear, sfAddItem, sfResetAnchor});
}

bool TTreeView2::KeyDown(int Key, bool Shift, bool Ctrl) {
    PendingRecalcVisible();
    (void)Ctrl;
    TNodeState* n = FSubfocus ? FSubfocus : FFirstNode;
    if (!n) return false;
    TSet<TSelectFlag> move{sfClear, sfAddItem, sfResetAnchor};
    switch (Key) {
        case vkUp: return n->FPrevVisible && SetSubfocus2(n->FPrevVisible, move);
        case vkDown: return n->FNextVisible && SetSubfocus2(n->FNextVisible, move);
        case vkHome: return FFirstNode && SetSubfocus2(FFirstNode, move);
        case vkEnd: return FLastCalc && SetSubfocus2(FLastCalc, move);
        case vkRight:
        case vkAdd:
            if (n->FNode->HasChildren() != tsNo && !n->FExpanded) return ExpandNode(n, true, true);
            if (Key == vkRight && n->FExpanded && n->FNextVisible && n->FNextVisible->FLevel > n->FLevel)
                return SetSubfocus2(n->FNextVisible, move);
            return false;
        case vkLeft:
        case vkSubtract:
            if (n->FExpanded) return ExpandNode(n, false, true);
            if (Key == vkLeft)
                if (TNodeState* p = GetViewState(n->FNode->GetParent()); p && (FShowRoot || p->FLevel >= 0))
                    return SetSubfocus2(p, move);
            return false;
        case vkSpace: return FMultiSelect && SetSubfocus2(n, Shift ? TSet<TSelectFlag>{} : TSet<TSelectFlag>{sfToggleItem});
        default: return false;
    }
}

// ---- the row search

int TTreeView2::FindRowForText(const String& Text, bool Exact) {
    if (!FInitialized || !FModel) return -1;
    auto root = FModel->GetRoot();
    if (!root) return -1;
    int position = 0;
    std::vector<IntfRef<IGraphLocation>> stack{root};
    while (!stack.empty()) {
        auto loc = std::move(stack.back());
        stack.pop_back();
        bool hiddenRoot = !FShowRoot && SameObject(loc, root);
        if (!hiddenRoot) {
            if (auto s = Supports<IStringObject>(FModel->Get(loc))) {
                String t = s->GetString();
                if (Exact ? t == Text : AnsiSameText(t, Text)) return position;
            }
            ++position;
        }
        if (auto children = loc->GetChildren())
            for (int i = children->GetCount() - 1; i >= 0; --i) stack.push_back(Supports<IGraphLocation>(children->Get(i)));
    }
    return -1;
}

}  // namespace ide
