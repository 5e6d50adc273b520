// The paint pass over an abstract canvas: which rows, in which order, and
// which client calls. A paint pass is the main driver of lazy
// initialisation: it steps with GetNextVisible, which initialises the next
// row.
//
// Per row, in this order: measure (variable heights), erase the row, tree
// lines, the expand button, the check image, the state and normal images,
// the client's content (DoPaintNode), the focus rectangle. Below the last
// row the background is filled.
#include <algorithm>

#include "vtree/VTBaseTree.h"

namespace ide {

namespace {

constexpr int kButtonSize = 9;
constexpr int kCheckSize = 13;

}  // namespace

int TBaseVirtualTree::CheckImageWidth() const { return kCheckSize + 3; }

void TBaseVirtualTree::PaintNodeButton(TCanvas& Canvas, PVirtualNode Node, const TRect& R) {
    const int left = R.Left + (R.Width() - kButtonSize) / 2;
    const int top = R.Top + (R.Height() - kButtonSize) * Node->Align / 100;
    const TRect box{left, top, left + kButtonSize, top + kButtonSize};
    Canvas.SetBrushColor(clWindow);
    Canvas.FillRect(box);
    Canvas.SetBrushColor(clBtnShadow);
    Canvas.FrameRect(box);
    Canvas.SetPenStyle(psSolid);
    Canvas.SetPenColor(clWindowText);
    const int cy = top + kButtonSize / 2, cx = left + kButtonSize / 2;
    Canvas.MoveTo(left + 2, cy);
    Canvas.LineTo(left + kButtonSize - 2, cy);
    if (!HasState(Node, vsExpanded)) {
        Canvas.MoveTo(cx, top + 2);
        Canvas.LineTo(cx, top + kButtonSize - 2);
    }
}

void TBaseVirtualTree::PaintCheckImage(TCanvas& Canvas, const TRect& R, TCheckType Type, TCheckState State,
                                       bool Enabled) {
    Canvas.SetBrushColor(Enabled ? clWindow : clBtnFace);
    Canvas.FillRect(R);
    Canvas.SetBrushColor(clBtnShadow);
    Canvas.FrameRect(R);
    if (Type == ctButton) return;
    Canvas.SetPenStyle(psSolid);
    Canvas.SetPenColor(Enabled ? clWindowText : clGrayText);
    if (State == csCheckedNormal || State == csCheckedPressed) {
        Canvas.MoveTo(R.Left + 3, R.Top + R.Height() / 2);
        Canvas.LineTo(R.Left + R.Width() / 2 - 1, R.Bottom - 4);
        Canvas.LineTo(R.Right - 3, R.Top + 2);
    } else if (State == csMixedNormal || State == csMixedPressed) {
        Canvas.SetBrushColor(Enabled ? clWindowText : clGrayText);
        Canvas.FillRect({R.Left + 3, R.Top + 3, R.Right - 3, R.Bottom - 3});
    }
}

void TBaseVirtualTree::PaintTreeLines(TCanvas& Canvas, PVirtualNode Node, const TRect& Row, int Left) {
    Canvas.SetPenStyle(psDot);
    Canvas.SetPenColor(clBtnShadow);
    const int indent = int(FIndent);
    const int mid = Row.Top + Row.Height() / 2;
    // Ancestors' verticals, right to left, where an ancestor has a later
    // visible sibling.
    int x = Left - indent;
    bool own = true;
    for (PVirtualNode run = Node; run != FRoot; run = run->Parent, x -= indent) {
        if (run->Parent == FRoot && !HasOption(toShowRoot)) break;  // no column for the top level
        const bool more = GetNextVisibleSiblingNoInit(run) != nullptr;
        const int cx = x + indent / 2;
        if (own) {
            const bool first = run->Parent == FRoot && GetPreviousVisibleSiblingNoInit(run) == nullptr;
            Canvas.MoveTo(cx, first ? mid : Row.Top);
            Canvas.LineTo(cx, more ? Row.Bottom : mid + 1);
            Canvas.MoveTo(cx, mid);
            Canvas.LineTo(x + indent, mid);
            own = false;
        } else if (more) {
            Canvas.MoveTo(cx, Row.Top);
            Canvas.LineTo(cx, Row.Bottom);
        }
    }
    Canvas.SetPenStyle(psSolid);
}

void TBaseVirtualTree::DoPaintNode(TCanvas& /*Canvas*/, PVirtualNode /*Node*/, const TRect& /*R*/, bool /*Selected*/) {}

int TBaseVirtualTree::DoGetImageIndex(PVirtualNode Node, bool State) {
    int index = -1;
    if (OnGetImageIndex) OnGetImageIndex(this, Node, State, index);
    return index;
}

void TBaseVirtualTree::PaintTree(TCanvas& Canvas, const TRect& Window, TPoint Target) {
    DoStateChange(tsPainting);
    struct TLeave {
        TBaseVirtualTree* T;
        ~TLeave() { T->DoStateChange(0, tsPainting); }
    } leave{this};
    const int dx = Target.X - Window.Left, dy = Target.Y - Window.Top;
    int nodeTop = 0;
    PVirtualNode node = GetNodeAt(0, Window.Top, false, nodeTop);
    int y = nodeTop;
    const int width = std::max(Window.Right, Window.Left + FClientWidth);
    while (node && y < Window.Bottom) {
        const int h = int(GetNodeHeight(node));
        const TRect row{Window.Left + dx, y + dy, width + dx, y + h + dy};
        const bool selected = HasState(node, vsSelected);
        Canvas.SetBrushColor(selected && HasOption(toFullRowSelect) ? TColor(clHighlight) : TColor(clWindow));
        Canvas.FillRect(row);
        const int level = int(GetNodeLevel(node)) + (HasOption(toShowRoot) ? 1 : 0);
        int x = dx + level * int(FIndent);
        if (HasOption(toShowTreeLines)) PaintTreeLines(Canvas, node, row, x);
        if (HasOption(toShowButtons) && HasState(node, vsHasChildren) && level > 0)
            PaintNodeButton(Canvas, node, {x - int(FIndent), row.Top, x, row.Bottom});
        x += int(FMargin);
        if (HasOption(toCheckSupport) && node->CheckType != ctNone) {
            const int top = row.Top + (h - kCheckSize) * node->Align / 100;
            PaintCheckImage(Canvas, {x, top, x + kCheckSize, top + kCheckSize}, TCheckType(node->CheckType),
                            TCheckState(node->CheckState), !HasState(node, vsDisabled));
            x += CheckImageWidth();
        }
        for (bool state : {true, false}) {
            TImageList* list = state ? FStateImages : FImages;
            if (!list) continue;
            const int index = DoGetImageIndex(node, state);
            if (index >= 0) {
                list->Draw(Canvas, x, row.Top + (h - list->Height()) * node->Align / 100, index,
                           !HasState(node, vsDisabled));
                x += list->Width() + 2;
            }
        }
        const TRect content{x, row.Top, row.Right, row.Bottom};
        DoPaintNode(Canvas, node, content, selected);
        if (node == FFocusedNode) Canvas.DrawFocusRect(content);
        y += h;
        node = GetNextVisible(node);
    }
    if (y < Window.Bottom) {
        Canvas.SetBrushColor(clWindow);
        Canvas.FillRect({Window.Left + dx, y + dy, width + dx, Window.Bottom + dy});
    }
}

}  // namespace ide
