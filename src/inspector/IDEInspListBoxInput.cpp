// The inspector list box: the names side (incremental search by name), the
// mouse (row tracking, the divider drag, double clicks, the wheel) and the
// hint for clipped text.
#include <algorithm>
#include <cstdlib>

#include "inspector/IDEInspListBox.h"

namespace ide {

// --- names side

void TInspListBox::SelectionKeyDown(int& Key, TShiftState Shift) {
    EndTrack();
    TPropItem* cur = CurItem();
    switch (Key) {
        case vkLeft:
            if (cur && cur->IsExpanded())
                AdjustItem(FItemIndex), Key = 0;
            else
                Key = vkUp;
            break;
        case vkRight:
            if (cur && cur->IsExpanded())
                Key = vkDown;
            else if (cur)
                AdjustItem(FItemIndex), Key = 0;
            break;
        default:
            break;
    }
    if (Key == vkPrior || Key == vkNext || Key == vkUp || Key == vkDown || Key == vkF1) EditKeyDown(Key, Shift);
    if (OnSelectionKeyDown) OnSelectionKeyDown(Key, Shift);
    if (Key != 0) ClearSelectString();
}

void TInspListBox::SelectionKeyPress(char16_t& Key) {
    EndTrack();
    if (OnSelectionKeyPress) OnSelectionKeyPress(Key);
    TPropItem* cur = CurItem();
    if (!cur || Key == 0) return;
    switch (Key) {
        case u'+':
            if (!cur->IsExpanded()) AdjustItem(FItemIndex);
            return;
        case u'-':
            if (cur->IsExpanded()) AdjustItem(FItemIndex);
            return;
        case u'.': {
            if (!cur->IsExpanded()) AdjustItem(FItemIndex);
            TPropItem* next = GetPropItem(FItemIndex + 1);
            if (next && next->ItemLevel() > cur->ItemLevel()) {
                SelectItem(FItemIndex + 1);
                ClearSelectString();
                CaretMoved();
            }
            return;
        }
        case vkTab:
        case vkReturn:
        case 10:
            FNamesSelected = false;
            EditFocus();
            if (Key == 10 && OnEditDblClick) OnEditDblClick(true);
            return;
        default:
            break;
    }
    if ((Key == vkBack || Key == vkEscape) && !FSelectString.empty()) {
        if (Key == vkBack)
            SetSelectString(FSelectString.substr(0, FSelectString.size() - 1));
        else
            ClearSelectString(), CaretMoved();
        return;
    }
    if (Key == vkBack || Key == vkEscape) {
        const int first = FirstItem();
        if (first > 0) {
            const int parent = first - 1;
            SelectItem(parent);
            CaretMoved();
            if (GetPropItem(parent)->IsExpanded()) AdjustItem(parent);
        } else if (Key == vkBack) {
            SelectItem(0);
        } else {
            FNamesSelected = false;
            EditFocus();
        }
        return;
    }
    const bool nameChar = (Key >= u'0' && Key <= u'9') || (Key >= u'a' && Key <= u'z') || (Key >= u'A' && Key <= u'Z') ||
                          Key == u'_' || Key == u' ' || Key == u'(' || Key == u')' || Key > 0x7F;
    if (nameChar) SetSelectString(FSelectString + Key);
}

void TInspListBox::SetSelectString(const String& Text) {
    const int i = SearchItem(Text);
    if (i < 0) return;  // a key that matches nothing is ignored
    SelectItem(i);
    FSelectString = GetPropItem(i)->GetName().substr(0, Text.size());
    CaretMoved();
}

int TInspListBox::FirstItem() const {
    int i = FItemIndex;
    if (i < 0) return -1;
    const int level = GetPropItem(i)->ItemLevel();
    while (i > 0 && GetPropItem(i - 1)->ItemLevel() >= level) --i;
    return i;
}

int TInspListBox::SearchItem(const String& Text) const {
    const int first = FirstItem();
    if (first < 0) return -1;
    const int level = GetPropItem(first)->ItemLevel();
    for (int i = first; i < Count(); ++i) {
        TPropItem* r = GetPropItem(i);
        if (r->ItemLevel() < level) break;
        if (r->ItemLevel() == level && AnsiStartsText(Text, r->GetName())) return i;
    }
    return -1;
}

int TInspListBox::CaretX() const {
    TPropItem* cur = CurItem();
    if (!cur) return 0;
    const int charWidth = 7;
    return ItemLevelOffset(cur->ItemLevel()) + GetSubBoxWidth() + 2 + charWidth * static_cast<int>(FSelectString.size());
}

// --- mouse

void TInspListBox::MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y, bool ButtonStillDown) {
    const int oldTop = FTopIndex;
    FListButton->CloseUp(false);
    if (Populated()) {
        FMouseTrackItem = ItemAt(X, Y);
        if (ItemMouseDown(Button, Shift, X, Y)) return;
    }
    if (Button != mbLeft) return;
    if (!SetPropValue(true, true)) return;  // a refused value drops the click
    if (std::abs(X - FMiddle) < 3) {
        FDragDelta = FMiddle - X;
        FDragPos = X + FDragDelta;
        DrawDrag();
        FTrackMode = tmResize;
        return;
    }
    FNamesSelected = false;
    const int index = ItemAtY(Y);
    if (index >= Count()) return;
    SelectItem(index);
    TPropItem* row = GetPropItem(index);
    if (row && row->IsOverExpandBox(X, Y)) {
        AdjustItem(index);
        SelectItem(ItemAtY(Y));
    } else {
        EditFocus();
        if (ButtonStillDown && Y >= 0 && Y < (Count() - FTopIndex) * FItemHeight) FTrackMode = tmSelect;
    }
    if (FTopIndex != oldTop) EditFocus();
}

void TInspListBox::MouseMove(TShiftState Shift, int X, int Y) {
    FMousePos = X;
    if (!Populated()) return;
    switch (FTrackMode) {
        case tmSelect: {
            if (Y < 0) Y = -FItemHeight;
            if (Y >= FClientHeight) Y = FClientHeight;
            const int i = std::clamp(Y / FItemHeight + FTopIndex, 0, Count() - 1);
            SelectItem(i);
            break;
        }
        case tmResize: {
            const int p = CalcNewMiddle(X + FDragDelta);
            if (p != FDragPos) {
                FDragPos = p;
                DrawDrag();
            }
            break;
        }
        default:
            ItemMouseMove(Shift, X, Y);
            break;
    }
}

void TInspListBox::MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y) {
    if (FTrackMode == tmNone && ItemMouseUp(Button, Shift, X, Y)) return;
    EndTrack();
    FDragDelta = 0;
}

void TInspListBox::DblClick(int X, int Y) {
    if (!Populated()) return;
    if (Y >= 0 && Y < (Count() - FTopIndex) * FItemHeight) {
        FMouseTrackItem = ItemAt(X, Y);
        if (ItemMouseDown(mbLeft, ShiftBit(ssDouble) | ShiftBit(ssLeft), X, Y)) return;
        AdjustItem(ItemAtY(Y));
        if (OnDblClick) OnDblClick();
    } else {
        MouseDown(mbLeft, ShiftBit(ssLeft), X, Y, false);
    }
}

bool TInspListBox::MouseWheel(int Lines, TShiftState Shift) {
    if (FListButton->GetDropped()) return true;
    if (Shift & ShiftBit(ssShift)) {
        int key = Lines > 0 ? vkDown : vkUp;
        EditKeyDown(key, 0);
        return true;
    }
    const int step = (Shift & ShiftBit(ssCtrl)) ? ItemVisibleCount() : WheelScrollLines;
    HideControls();
    SetTopIndex(std::clamp(FTopIndex + (Lines > 0 ? step : -step), 0, std::max(0, Count() - ItemVisibleCount())));
    ShowControls();
    return true;
}

void TInspListBox::EndTrack() { FTrackMode = tmNone; }

void TInspListBox::DrawDrag() {
    if (FDragPos == FMiddle) return;
    SetMiddle(FDragPos);
    ResizeControls();
    InvalidateSelection();
    DividerDragged();
}

bool TInspListBox::SplitCursor(int X) const {
    if (!Populated()) return false;
    if (FTrackMode == tmResize) return true;
    return X >= 2 && X <= FClientWidth - 2 && std::abs(X - FMiddle) <= 2;
}

// --- hint for clipped text

TInspHint TInspListBox::CalcHint(int X, int Y, const std::function<int(const String&, TFontStyles)>& TextWidth) {
    TInspHint hint;
    if (!Populated()) return hint;
    String sinkText;
    if (ItemHintShow(X, Y, sinkText)) return hint;
    const int index = ItemAt(X, Y);
    TPropItem* row = GetPropItem(index);
    if (!row) return hint;
    const int top = (index - FTopIndex) * FItemHeight;
    TRect cell{0, top, FClientWidth, top + FItemHeight};
    String text;
    int offset = 0;
    const TPropertyAttributes attrs = row->Attributes();
    if (attrs.Contains(paFullWidthName)) {
        text = row->GetName();
        offset = ItemLevelOffset(row->ItemLevel()) + GetSubBoxWidth();
    } else if (X < FMiddle) {
        cell.Right = FMiddle;
        text = row->GetName();
        offset = ItemLevelOffset(row->ItemLevel()) + GetSubBoxWidth();
    } else if (X == FMiddle || X == FMiddle + 1) {
        return hint;
    } else {
        cell.Left = FMiddle + 2;
        if (auto rects = Supports<IPropertyCustomRects>(row->Prop())) {
            TRect value = cell;
            rects->PropDrawValueRect(value);
            cell.Right -= (value.Left - cell.Left) + (cell.Right - value.Right);
        }
        if (!row->Prop()->AllEqual() || index == FItemIndex) return hint;
        text = row->GetValue();
        offset = 0;
    }
    TFontStyles style;
    if (auto def = Supports<IPropertyDefaultQuery>(row->Prop()))
        if (!def->GetIsDefault() && !attrs.Contains(paDisplayReadOnly)) style = FNonDefaultFontStyle;
    FHintFontStyle = style;
    const String original = text;
    TRect rect = cell;
    if (OnGetHintStr) OnGetHintStr(text, rect);
    const int width = TextWidth(text, style);
    const bool fits = width + offset <= cell.Width() - (offset ? 0 : FValuesIndent);
    if (fits && cell.Bottom <= FClientHeight && text == original) return hint;
    hint.Show = true;
    hint.Text = text;
    hint.CursorRect = cell;
    const int left = rect.Left + offset + (offset ? 0 : FValuesIndent) - 2;
    hint.HintRect = TRect{left, rect.Top - 2, left + width + 8, rect.Bottom};
    hint.Style = style;
    return hint;
}

}  // namespace ide
