#include "inspector/IDEListBtns.h"

#include <algorithm>

#include "inspector/PropBox.h"

namespace ide {

TDropDownPlacement DropDownPlacement(const TDropDownRequest& Request) {
    TDropDownPlacement p;
    const TRect& b = Request.Button;
    const TRect& m = Request.Monitor;
    const int left = b.Left + 1;
    const int width = Request.ListWidth - 1;
    const int below = m.Bottom - b.Bottom;
    const int above = b.Top - m.Top;
    const int room = std::max(below, above);
    int height = 2;
    if (Request.ItemCount == 0) {
        height = Request.FontHeight + 4;
    } else {
        for (int i = 0; i < Request.ItemCount && p.VisibleRows < TListButton::MaxRows; ++i) {
            const int h = Request.ItemHeight ? Request.ItemHeight(i) : Request.FontHeight + 2;
            if (height + h > room) break;
            height += h;
            ++p.VisibleRows;
        }
    }
    int top = b.Bottom;
    if (top + height > m.Bottom) {
        top = b.Top - height;
        p.Above = true;
    }
    int x = left;
    if (Request.Align == daRight) x = std::max(m.Left, b.Right - width);
    p.Bounds = TRect{x, top, x + width, top + height};
    return p;
}

TListButton::TListButton() = default;
TListButton::~TListButton() = default;

namespace {
bool LessText(const String& a, const String& b) { return WideLowerCase(a) < WideLowerCase(b); }
}  // namespace

void TListButton::SetItems(std::vector<String> Items) {
    FItems = std::move(Items);
    if (FSorted) std::stable_sort(FItems.begin(), FItems.end(), LessText);
    FItemIndex = -1;
}

void TListButton::SwapItems(std::vector<String>& Items) {
    FItems.swap(Items);
    if (FSorted) std::stable_sort(FItems.begin(), FItems.end(), LessText);
    FItemIndex = -1;
}

void TListButton::ClearItems() {
    FItems.clear();
    FItemIndex = -1;
}

void TListButton::AddItem(const String& Item) {
    if (!FSorted) {
        FItems.push_back(Item);
        return;
    }
    auto at = std::upper_bound(FItems.begin(), FItems.end(), Item, LessText);
    FItems.insert(at, Item);
}

void TListButton::SetItemIndex(int Value) { FItemIndex = Value >= 0 && Value < GetItemCount() ? Value : -1; }

void TListButton::SetSorted(bool Value) {
    if (Value == FSorted) return;
    FSorted = Value;
    if (FSorted) std::stable_sort(FItems.begin(), FItems.end(), LessText);
}

void TListButton::DropDown() {
    if (FDropped) return;
    bool canDrop = true;
    if (OnDropDown) OnDropDown(canDrop);
    if (!canDrop) return;
    if (FAutoWidth) FListWidth = AutoListWidth();
    FDropped = true;
    FPanelDropped = false;
    FSelectString.clear();
    ShowList();
}

void TListButton::DropDownPanel() {
    if (FDropped) CloseUp(false);
    FDropped = true;
    FPanelDropped = true;
    ShowPanel();
}

void TListButton::CloseUp(bool Accept) {
    if (!FDropped) return;
    FDropped = false;
    FPanelDropped = false;
    HidePopup();
    if (Accept && GetItemIndex() >= 0) {
        if (OnAccept) OnAccept();
    } else if (OnCancel) {
        OnCancel();
    }
}

void TListButton::Click() {
    if (OnClick) OnClick();
}

int TListButton::SearchItem(const String& Text) const {
    for (int i = 0; i < GetItemCount(); ++i)
        if (AnsiStartsText(Text, FItems[static_cast<size_t>(i)])) return i;
    return -1;
}

void TListButton::SetSelectString(const String& Text) {
    const int i = SearchItem(Text);
    if (i < 0) return;
    FItemIndex = i;
    FSelectString = FItems[static_cast<size_t>(i)].substr(0, Text.size());
}

void TListButton::KeyPress(char16_t Key) {
    switch (Key) {
        case 8:
            if (FSelectString.empty()) {
                FItemIndex = -1;
            } else {
                const String shorter = FSelectString.substr(0, FSelectString.size() - 1);
                FSelectString = shorter;
                SetSelectString(shorter);
            }
            return;
        case 13:
            CloseUp(true);
            return;
        case 27:
            CloseUp(false);
            return;
        default:
            SetSelectString(FSelectString + Key);
            return;
    }
}

int TListButton::WidthOfItem(int Index) const {
    const String& text = FItems[static_cast<size_t>(Index)];
    int w = TextWidth ? TextWidth(text) : 7 * static_cast<int>(text.size());
    if (OnMeasureWidth) OnMeasureWidth(Index, w);
    return w;
}

int TListButton::HeightOfItem(int Index) const {
    int h = (TextHeight ? TextHeight() : 13) + 2;
    if (OnMeasureHeight) OnMeasureHeight(Index, h);
    return h;
}

int TListButton::AutoListWidth() const {
    int margin = 4;
    if (GetItemCount() > MaxRows) margin += FScrollBarWidth;
    int width = FMinListWidth;
    for (int i = 0; i < GetItemCount(); ++i) {
        int w = WidthOfItem(i) + margin;
        if (FMaxListWidth > 0) w = std::min(w, FMaxListWidth);
        width = std::max(width, w);
    }
    return width;
}

}  // namespace ide
