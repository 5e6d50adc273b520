// Painting of the property list box's rows onto a canvas: which colour role
// lands where. Exact pixels of the gutter's rounded corners are ours; the
// roles are fixed.
#include <algorithm>

#include "inspector/PropBox.h"

namespace ide {

namespace {
// A chevron of Size pixels pointing right (or down when Down), tip at the
// middle of the box that starts at (X, Y).
void Chevron(TCanvas& c, int X, int Y, int Size, bool Down, TColor Color) {
    c.SetPenColor(Color);
    for (int i = 0; i < Size; ++i) {
        if (Down) {
            c.MoveTo(X + i, Y + i);
            c.LineTo(X + 2 * Size - 1 - i, Y + i);
        } else {
            c.MoveTo(X + i, Y + i);
            c.LineTo(X + i, Y + 2 * Size - 1 - i);
        }
    }
}
}  // namespace

void TCustomPropListBox::DrawPropItem(int Index, TPropItem* Item, TCanvas& Canvas, const TRect& Rect, bool Selected,
                                      bool ReadOnly) {
    if (!Item || !Item->Prop()) return;
    const String name = Item->GetName();
    if (name.empty() || Item->Dirty()) PostUpdateMsg();
    const TColor rowColor = Selected ? FHighlightColor : FBackgroundColor;
    const int level = Item->ItemLevel();
    const int offset = ItemLevelOffset(level);
    const int box = GetSubBoxWidth();
    const TPropertyAttributes attrs = Item->Attributes();

    // 1. Gutter.
    if (FShowGutter) {
        const int right = Rect.Left + offset + box;
        Canvas.SetBrushColor(Selected ? rowColor : FGutterColor);
        Canvas.FillRect(TRect{Rect.Left, Rect.Top, right, Rect.Bottom});
        Canvas.SetPenColor(FGutterEdgeColor);
        // The edge, with single-pixel corners where a neighbour is at another level.
        TPropItem* above = Index > 0 ? GetPropItem(Index - 1) : nullptr;
        TPropItem* below = Index >= 0 ? GetPropItem(Index + 1) : nullptr;
        const int top = above && above->ItemLevel() != level ? Rect.Top + 1 : Rect.Top;
        const int bottom = below && below->ItemLevel() != level ? Rect.Bottom - 1 : Rect.Bottom;
        Canvas.MoveTo(right - 1, top);
        Canvas.LineTo(right - 1, bottom);
    } else if (Selected) {
        Canvas.SetBrushColor(rowColor);
        Canvas.FillRect(TRect{Rect.Left, Rect.Top, FMiddle, Rect.Bottom});
    }

    // 2. Bottom line: the dotted grid line, or the row colour.
    if (FShowGridLines) {
        Canvas.SetPenColor(clGray);
        Canvas.SetPenStyle(psDot);
        Canvas.MoveTo(Rect.Left, Rect.Bottom - 1);
        Canvas.LineTo(Rect.Right, Rect.Bottom - 1);
        Canvas.SetPenStyle(psSolid);
    } else {
        Canvas.SetBrushColor(rowColor);
        Canvas.FillRect(TRect{Rect.Left, Rect.Bottom - 1, Rect.Right, Rect.Bottom});
    }

    // 3. Expand box.
    const int boxX = Rect.Left + offset;
    const int boxY = Rect.Top + Rect.Height() / 2 - box / 2;
    const bool expandable = Item->IsExpandable();
    if (expandable) {
        Canvas.SetBrushColor(clWindow);
        Canvas.SetPenColor(clWindowText);
        Canvas.Rectangle(TRect{boxX, boxY, boxX + 9, boxY + 9});
        Canvas.MoveTo(boxX + 2, boxY + 4);
        Canvas.LineTo(boxX + 7, boxY + 4);
        if (!Item->IsExpanded()) {
            Canvas.MoveTo(boxX + 4, boxY + 2);
            Canvas.LineTo(boxX + 4, boxY + 7);
        }
    }

    // 4. Current-row mark.
    if (Selected && !(level == 0 && expandable)) {
        const int markX = boxX + 2 - (expandable ? box : 0);
        Chevron(Canvas, markX, boxY + 1, 3, false, clWindowText);
    }

    // 5. Name.
    const int nameLeft = Rect.Left + offset + box + 2;
    const bool fullWidth = attrs.Contains(paFullWidthName);
    TRect nameRect{nameLeft, Rect.Top, fullWidth ? Rect.Right : FMiddle, Rect.Bottom - 1};
    Canvas.Font().SetColor(Selected ? FHighlightFontColor : Item->Color());
    Canvas.Font().SetStyle(Canvas.Font().Style() - FNonDefaultFontStyle);
    if (Selected) {
        Canvas.SetBrushColor(rowColor);
        Canvas.FillRect(nameRect);
    }
    Canvas.SetBrushStyle(bsClear);
    if (auto draw = Supports<IPropertyCustomDraw>(Item->Prop())) {
        if (auto rects = Supports<IPropertyCustomRects>(Item->Prop())) rects->PropDrawNameRect(nameRect);
        draw->PropDrawName(Canvas, nameRect, Selected);
    } else if (nameRect.Right > nameRect.Left) {
        Canvas.TextRect(nameRect, nameRect.Left + 2, nameRect.Top + 1, name);
    }
    if (fullWidth) return;

    // 6. Divider.
    Canvas.SetPenColor(clGrayText);
    Canvas.MoveTo(FMiddle, Rect.Top);
    Canvas.LineTo(FMiddle, Rect.Bottom);
    Canvas.SetPenColor(FShowGridLines ? clBtnHighlight : (ReadOnly ? FBackgroundColor : FEditBackgroundColor));
    Canvas.MoveTo(FMiddle + 1, Rect.Top);
    Canvas.LineTo(FMiddle + 1, Rect.Bottom);

    // 7. Value cell.
    TRect cell{FMiddle + 2, Rect.Top, Rect.Right, Rect.Bottom - (FShowGridLines ? 1 : 0)};
    TColor textColor;
    TFontStyles style = Canvas.Font().Style() - FNonDefaultFontStyle;
    const bool readOnlyRow = attrs.Contains(paDisplayReadOnly) || IsItemReadOnly(Item);
    if (Selected || ReadOnly) {
        Canvas.SetBrushColor(ReadOnly ? FBackgroundColor : FEditBackgroundColor);
        Canvas.FillRect(cell);
        if (Selected) {
            Canvas.SetPenColor(clHighlight);
            Canvas.MoveTo(FMiddle + 1, Rect.Top);
            Canvas.LineTo(FMiddle + 1, Rect.Bottom);
            Canvas.MoveTo(Rect.Right - 1, Rect.Top);
            Canvas.LineTo(Rect.Right - 1, Rect.Bottom);
            if (!FShowGridLines) {
                const bool button = (attrs.Bits() & PropAttrMask::AnyButton) != 0 && !readOnlyRow;
                Canvas.SetPenColor(button ? clHighlight : clGray);
                Canvas.MoveTo(cell.Left, Rect.Top);
                Canvas.LineTo(cell.Right, Rect.Top);
                Canvas.MoveTo(cell.Left, Rect.Bottom - 1);
                Canvas.LineTo(cell.Right, Rect.Bottom - 1);
            }
        }
        textColor = readOnlyRow ? FReadOnlyColor : FPropValueColor;
    } else if (auto def = Supports<IPropertyDefaultQuery>(Item->Prop())) {
        if (!def->GetIsDefault() && !readOnlyRow) {
            style = style + FNonDefaultFontStyle;
            textColor = FNonDefaultColor;
        } else {
            textColor = readOnlyRow ? FReadOnlyColor : FPropValueColor;
        }
    } else {
        textColor = readOnlyRow ? FReadOnlyColor : FPropValueColor;
    }
    Canvas.Font().SetColor(textColor);
    Canvas.Font().SetStyle(style);

    // 8. Value text.
    TRect valueRect = cell;
    valueRect.Left += FValuesIndent;
    Canvas.SetBrushStyle(bsClear);
    if (auto draw = Supports<IPropertyCustomDraw>(Item->Prop())) {
        TRect r{valueRect.Left, valueRect.Top + 1, valueRect.Right - 1, valueRect.Bottom};
        if (auto rects = Supports<IPropertyCustomRects>(Item->Prop())) rects->PropDrawValueRect(r);
        draw->PropDrawValue(Canvas, r, Selected);
        return;
    }
    valueRect.Right = std::min(valueRect.Right, cell.Right);
    if (valueRect.IsEmpty()) return;
    if (Selected) valueRect = TRect{valueRect.Left + 1, valueRect.Top + 1, valueRect.Right - 1, valueRect.Bottom - 1};
    const String value = Item->Prop()->AllEqual() ? (GetDisplayValue ? GetDisplayValue(Item->Prop()) : Item->GetValue())
                                                  : String();
    Canvas.TextRect(valueRect, valueRect.Left + 1, valueRect.Top + 1, value);
}

void TCustomPropListBox::Paint(TCanvas& Canvas) {
    const int rows = FClientHeight / FItemHeight + 1;
    int lastBottom = 0;
    for (int i = FTopIndex; i < Count() && i < FTopIndex + rows; ++i) {
        const TRect r{0, (i - FTopIndex) * FItemHeight, FClientWidth, (i - FTopIndex + 1) * FItemHeight};
        TPropItem* item = GetPropItem(i);
        Canvas.Font().SetStyle({});
        DrawPropItem(i, item, Canvas, r, i == FItemIndex && FPaintSelected, i == FItemIndex && FPaintSelected && IsItemReadOnly(item));
        lastBottom = r.Bottom;
    }
    // What the rows don't cover.
    if (lastBottom >= FClientHeight) return;
    TPropItem* last = Count() > 0 ? GetPropItem(Count() - 1) : nullptr;
    Canvas.SetBrushColor(FBackgroundColor);
    Canvas.FillRect(TRect{0, lastBottom, FClientWidth, FClientHeight});
    if (FShowGutter && last) {
        const int right = ItemLevelOffset(last->ItemLevel()) + GetSubBoxWidth() - 1;
        Canvas.SetBrushColor(FGutterColor);
        Canvas.FillRect(TRect{0, lastBottom, right, FClientHeight});
        Canvas.SetPenColor(FGutterEdgeColor);
        Canvas.MoveTo(right, lastBottom);
        Canvas.LineTo(right, FClientHeight);
    }
}

}  // namespace ide
