#include "inspector/IDEInspListBox.h"

#include <algorithm>
#include <cstdlib>

namespace ide {

// ---------------------------------------------------------------------------
// TPlainInspEdit

void TPlainInspEdit::SetText(const String& Value) {
    const bool changed = Value != FText;
    FText = Value;
    FModified = false;
    FSelStart = std::min(FSelStart, static_cast<int>(FText.size()));
    FSelLength = 0;
    if (changed && OnChange) OnChange();
}

void TPlainInspEdit::SetSel(int Start, int Length) {
    const int n = static_cast<int>(FText.size());
    FSelStart = std::clamp(Start, 0, n);
    FSelLength = std::clamp(Length, 0, n - FSelStart);
}

void TPlainInspEdit::Type(const String& Text) {
    if (FReadOnly) return;
    String t = FText;
    t.replace(static_cast<size_t>(FSelStart), static_cast<size_t>(FSelLength), Text);
    if (FMaxLength > 0 && static_cast<int>(t.size()) > FMaxLength) return;
    FText = t;
    FSelStart += static_cast<int>(Text.size());
    FSelLength = 0;
    FModified = true;
    if (OnChange) OnChange();
}

// ---------------------------------------------------------------------------
// TExpandedPaths

int TExpandedPaths::IndexOfName(const String& Name) const {
    for (int i = 0; i < Count(); ++i) {
        const String& line = FLines[static_cast<size_t>(i)];
        const size_t eq = line.find(u'=');
        if (eq != String::npos && AnsiSameText(line.substr(0, eq), Name)) return i;
    }
    return -1;
}

String TExpandedPaths::Value(const String& Name) const {
    const int i = IndexOfName(Name);
    if (i < 0) return {};
    const String& line = FLines[static_cast<size_t>(i)];
    return line.substr(line.find(u'=') + 1);
}

bool TExpandedPaths::Has(const String& Name) const { return IndexOfName(Name) >= 0; }

void TExpandedPaths::SetValue(const String& Name, const String& Value) {
    const int i = IndexOfName(Name);
    if (i >= 0)
        FLines[static_cast<size_t>(i)] = Name + u"=" + Value;
    else
        FLines.push_back(Name + u"=" + Value);
}

// ---------------------------------------------------------------------------
// TInspListBox

TInspListBox::TInspListBox(TInspEdit* Edit, TListButton* ListButton) : FEdit(Edit), FListButton(ListButton) {
    FEdit->OnChange = [this] { EditChange(); };
    FListButton->OnDropDown = [this](bool& canDrop) { ListDropDown(canDrop); };
    FListButton->OnAccept = [this] { ListAccept(); };
    FListButton->OnCancel = [this] { ListCancel(); };
    FListButton->OnClick = [this] { ListButtonClick(); };
}

TInspListBox::~TInspListBox() {
    if (FEdit) FEdit->OnChange = nullptr;
}

void TInspListBox::Reset() {
    // The user is typing into a row that writes every change: a reset caused
    // by that write would lose the text under the caret.
    if (FEdit->Modified()) {
        TPropItem* cur = CurItem();
        if (cur && cur->Attributes().Contains(paAutoUpdate)) return;
    }
    if (IsDesktopLocked && IsDesktopLocked()) return;
    TCustomPropListBox::Reset();
}

void TInspListBox::SetItemIndex(int Value) {
    const int old = FItemIndex;
    TCustomPropListBox::SetItemIndex(Value);
    if (FItemIndex != old && FItemIndex >= 0 && !FControlsHidden && FInitialized) {
        GetPropValue();
        ResizeControls();
    }
}

void TInspListBox::BeforeReset() {
    FSaveTopIndex = FTopIndex;
    FWasFocused = FEdit->Focused();
    if (FInAutoUpdate && FWasFocused) {
        FSaveSelStart = FEdit->SelStart();
        FSaveSelLength = FEdit->SelLength();
    } else {
        FSaveSelStart = -1;
        FSaveSelLength = -1;
    }
    FInitialized = true;
    FListButton->CloseUp(false);
    HideControls();
}

void TInspListBox::AfterReset() {
    if (FSaveTopIndex < Count() && FSaveTopIndex <= std::max(0, Count() - ItemVisibleCount()))
        FTopIndex = FSaveTopIndex;
    ShowControls();
    if (FWasFocused) {
        EditFocus();
        FSaveSelStart = -1;
        FSaveSelLength = -1;
    }
    FItemsReset = true;
}

void TInspListBox::BeforeAdjustItem(int) { HideControls(); }

void TInspListBox::AfterAdjustItem(int) {
    if (FControlsHidden) ShowControls();
}

void TInspListBox::HideControls() {
    FEdit->SetVisible(false);
    FLayout.ButtonVisible = false;
    FLayout.QueryButtonVisible = false;
    FLayout.Selection = TRect{};
    FControlsHidden = true;
    PlaceControls();
}

void TInspListBox::ShowControls() {
    FControlsHidden = false;
    if (!Populated()) {
        FEdit->SetVisible(false);
        FLayout = TInspControlsLayout{};
        PlaceControls();
        return;
    }
    GetPropValue();
    ResizeControls();
}

void TInspListBox::ResizeControls() {
    if (!Populated() || FControlsHidden) return;
    TPropItem* cur = CurItem();
    const TPropertyAttributes attrs = cur->Attributes();
    FButtonVisible = (attrs.Bits() & PropAttrMask::AnyButton) != 0 && !attrs.Contains(paDisplayReadOnly) &&
                     !attrs.Contains(paFullWidthName);
    bool query = FQueryButtonVisible;
    if (auto dbg = Supports<IDebugInspectProperty>(cur->Prop()))
        query = query || (dbg->GetQueryFlags() & IDebugInspectProperty::QueryButtonVisible) != 0;
    const int top = (FItemIndex - FTopIndex) * FItemHeight;
    FLayout.Selection = TRect{0, top, FClientWidth - 1, top + FItemHeight};
    int width = FClientWidth - FMiddle - 2;
    if (FButtonVisible) width -= FItemHeight;
    if (query) width -= FItemHeight;
    TRect value{FMiddle + FValuesIndent, top, FClientWidth, top + FItemHeight};
    if (auto rects = Supports<IPropertyCustomRects>(cur->Prop())) {
        const TRect before = value;
        rects->PropDrawValueRect(value);
        width -= (value.Left - before.Left) + (before.Right - value.Right);
    }
    const int left = value.Left + 3;
    FLayout.Edit = TRect{left, value.Top + 1, left + std::max(0, width), value.Top + 1 + FItemHeight - 3};
    FLayout.ButtonVisible = FButtonVisible;
    FLayout.ListButton = TRect{FClientWidth - FItemHeight, top, FClientWidth, top + FItemHeight};
    FLayout.QueryButtonVisible = query;
    const int qRight = FButtonVisible ? FLayout.ListButton.Left : FClientWidth;
    FLayout.QueryButton = TRect{qRight - FItemHeight, top, qRight, top + FItemHeight};
    // Keep the user's selection across the move, also on failure.
    const int selStart = FEdit->SelStart(), selLength = FEdit->SelLength();
    struct Restore {
        TInspEdit* e;
        int s, l;
        ~Restore() { e->SetSel(s, l); }
    } restore{FEdit, selStart, selLength};
    PlaceControls();
}

void TInspListBox::GetPropValue() {
    TPropItem* cur = CurItem();
    if (!cur) return;
    BeginPropAccess();
    struct Ender {
        TInspListBox* box;
        ~Ender() { box->EndPropAccess(); }
    } ender{this};
    const IntfRef<IProperty>& prop = cur->Prop();
    String value;
    bool editable;
    if (auto wide = Supports<IPropertyWideValue>(prop))
        editable = wide->GetEditValueW(value);
    else
        editable = prop->GetEditValue(value);
    if (!FInAutoUpdate) FCancelValue = value;
    FEdit->SetMaxLength(prop->GetEditLimit());
    // A refused value replaces the user's text even while auto update
    // protects it; the value the row had on entry stays for Escape.
    if (!FInAutoUpdate || FRefused) FEdit->SetText(FInAutoUpdate ? value : FCancelValue);
    const TPropertyAttributes attrs = cur->Attributes();
    const bool readOnly = !editable || attrs.Contains(paReadOnly);
    FEdit->SetReadOnly(readOnly);
    TFontStyles style;
    TColor back = readOnly ? FBackgroundColor : FEditBackgroundColor;
    TColor font = readOnly ? FPropValueColor : FEditValueColor;
    const bool displayReadOnly = attrs.Contains(paDisplayReadOnly);
    if (displayReadOnly) back = FBackgroundColor, font = FReadOnlyColor;
    if (auto def = Supports<IPropertyDefaultQuery>(prop))
        if (!def->GetIsDefault() && !displayReadOnly) style = FNonDefaultFontStyle;
    FEdit->SetColors(back, font, style);
    FEdit->SetVisible(!attrs.Contains(paFullWidthName));
    FEdit->SetModified(false);
    if (FHighlightOnSelect && FInPropAccess == 1) FEdit->SelectAll();
}

bool TInspListBox::HandleRaised(std::exception_ptr E) {
    if (FItemIndex != -1) TCustomPropListBox::SetItemIndex(FItemIndex);
    if (HandleExceptionProc) HandleExceptionProc(E);
    FRefused = true;
    struct Clear {
        bool& f;
        ~Clear() { f = false; }
    } clear{FRefused};
    GetPropValue();
    return false;
}

bool TInspListBox::SetPropValue(bool CheckModified, bool HandleException) {
    try {
        TPropItem* cur = CurItem();
        if (!cur) return true;
        if (CheckModified && !FEdit->Modified()) return true;
        const TPropertyAttributes attrs = cur->Attributes();
        const bool writable =
            !FReadOnly && (attrs.Bits() & PropAttrMask::ReadOnlyOrValueEditable) != (1u << paReadOnly);
        if (!writable) {
            GetPropValue();
            if (FReadOnlyMsg.empty()) return false;
            throw Exception(Utf8(FReadOnlyMsg));
        }
        FEdit->SetModified(false);
        BeginUpdate();
        BeginPropAccess();
        struct Finally {
            TInspListBox* box;
            ~Finally() {
                box->EndUpdate();
                box->EndPropAccess();
                // A destructor can't let a property's exception out.
                try {
                    if (box->FControlsHidden) box->ShowControls();
                } catch (...) {
                    if (box->HandleExceptionProc) box->HandleExceptionProc(std::current_exception());
                }
            }
        } fin{this};
        int index = FItemIndex;
        const bool volatileSubs = attrs.Contains(paVolatileSubProperties);
        const bool reopen = cur->IsExpanded() && volatileSubs;
        if (reopen) AdjustItem(index);
        const IntfRef<IProperty> prop = cur->Prop();
        if (volatileSubs && FSelection && SameObject(FSelection->GetParent(), prop)) FSelection->SelectParent(nullptr);
        const bool expandable = cur->IsExpandable();
        const String text = FEdit->Text();
        if (auto wide = Supports<IPropertyWideValue>(prop))
            wide->SetValueW(text);
        else
            prop->SetValue(text);
        // The write may have reset the rows; find the property's row again.
        cur = CurItem();
        if (expandable && reopen && cur && SameObject(cur->Prop(), prop)) AdjustItem(FItemIndex);
        if (!(CheckModified && cur && cur->Attributes() == attrs)) InvalidateSelection();
        return true;
    } catch (...) {
        if (!HandleException) throw;
        return HandleRaised(std::current_exception());
    }
}

void TInspListBox::SelectItem(int Index) {
    if (Index < 0 || Index >= Count() || Index == FItemIndex) {
        if (Index == FItemIndex) ScrollItemIndexIntoView();
        return;
    }
    HideControls();
    TCustomPropListBox::SetItemIndex(Index);
    ScrollItemIndexIntoView();
    ShowControls();
    if (TPropItem* cur = CurItem()) cur->Prop()->Activate();
    if (OnSelectItem) OnSelectItem();
}

void TInspListBox::BlankItems() {
    FInitialized = true;
    FListButton->CloseUp(false);
    HideControls();
    FRows.clear();
    FTopIndex = 0;
    FItemIndex = -1;
    RowsChanged();
}

int TInspListBox::ItemVisibleCount() const {
    // A control that hasn't been sized yet counts as 304 pixels high.
    const int h = FClientHeight == 0 ? 304 : FClientHeight;
    return h / FItemHeight;
}

bool TInspListBox::ItemIsVisible(int I) const { return I >= FTopIndex && I <= FTopIndex + ItemVisibleCount() - 1; }

void TInspListBox::ScrollItemIndexIntoView() {
    if (FItemIndex < 0) return;
    const int visible = std::max(1, ItemVisibleCount());
    int top = FTopIndex;
    if (FItemIndex < top)
        top = FItemIndex;
    else if (FItemIndex > top + visible - 1)
        top = FItemIndex - visible + 1;
    if (top == FTopIndex) return;
    FTopIndex = top;
    Invalidate();
    ResizeControls();
}

void TInspListBox::EditFocus() {
    if (FInEditFocus) return;
    FInEditFocus = true;
    struct Guard {
        bool& f;
        ~Guard() { f = false; }
    } guard{FInEditFocus};
    if (!FNamesSelected && FEdit->CanFocus()) {
        FEdit->SetFocus();
        if (FSaveSelStart >= 0 && FSaveSelLength >= 0) FEdit->SetSel(FSaveSelStart, FSaveSelLength);
    } else {
        ClearSelectString();
        if (SelectionCanFocus()) FocusSelection();
    }
}

String TInspListBox::GetItemPath(int Index) const {
    TPropItem* r = GetPropItem(Index);
    return r ? r->GetPath() : String();
}

// --- remembered open rows

void TInspListBox::ValidateExpandedItemPaths(TExpandedPaths& AStrings) {
    for (int i = 0; i < Count(); ++i) {
        TPropItem* r = GetPropItem(i);
        if (r->WasExpandable()) AStrings.SetValue(r->GetPath(), r->IsExpanded() ? u"1" : u"0");
    }
}

void TInspListBox::ReexpandItemPaths(const TExpandedPaths& AStrings, bool ExpandNewRootLevels) {
    if (AStrings.Count() == 0 && !ExpandNewRootLevels) return;
    // By growing index: opening a row adds the rows that follow it.
    for (int i = 0; i < Count(); ++i) {
        TPropItem* r = GetPropItem(i);
        const String path = r->GetPath();
        bool want;
        if (AStrings.Has(path))
            want = AStrings.Value(path) == u"1";
        else
            want = r->ItemLevel() == 0 && ExpandNewRootLevels;
        if (want != r->IsExpanded() && r->IsExpandable()) AdjustItem(i);
    }
}

// --- the edit

void TInspListBox::CommitByEnter() {
    ScrollItemIndexIntoView();
    FInAutoUpdate = true;
    struct Clear {
        bool& f;
        ~Clear() { f = false; }
    } clear{FInAutoUpdate};
    const IntfRef<IActivatable> modal = FModalReturn;
    if (SetPropValue(false, true)) {
        FInAutoUpdate = false;
        GetPropValue();
        if (modal) {
            if (ActivateProc) ActivateProc(modal);
            FModalReturn = nullptr;
        }
    }
}

void TInspListBox::RevertByEscape() {
    ScrollItemIndexIntoView();
    if (FEdit->Text() != FCancelValue) {
        FEdit->SetText(FCancelValue);
        SetPropValue(false, true);
        GetPropValue();
    }
    FEdit->SelectAll();
}

void TInspListBox::EditKeyDown(int& Key, TShiftState Shift) {
    if (!Populated()) return;
    EndTrack();
    TPropItem* cur = CurItem();
    const TPropertyAttributes attrs = cur->Attributes();
    bool altDownActed = false;
    switch (Key) {
        case vkDelete:
            FProcessChange = false;
            if ((attrs.Bits() & PropAttrMask::ListOrDisplayReadOnly) == 0 && FEdit->ReadOnly() &&
                attrs.Contains(paRevertable)) {
                cur->Revert();
                GetPropValue();
                InvalidateSelection();
            }
            break;
        case vkDown:
            if (Shift & ShiftBit(ssAlt)) {
                ScrollItemIndexIntoView();
                if ((attrs.Contains(paDialog) && !attrs.Contains(paValueList)) || attrs.Contains(paCustomDropDown)) {
                    if (OnEditDblClick) OnEditDblClick(false);
                } else {
                    FListButton->DropDown();
                }
                altDownActed = true;
            }
            break;
        case vkEnd:
        case vkHome:
        case vkLeft:
        case vkRight:
            ScrollItemIndexIntoView();
            break;
        default:
            break;
    }
    if (!altDownActed && OnKeyDown) OnKeyDown(Key, Shift);
}

void TInspListBox::EditKeyPress(char16_t& Key) {
    if (!Populated()) return;
    EndTrack();
    if (OnEditKeyPress) OnEditKeyPress(Key);
    FProcessChange = Key != vkBack;
    switch (Key) {
        case vkTab:
            ScrollItemIndexIntoView();
            FNamesSelected = true;
            if (SelectionCanFocus()) FocusSelection();
            Key = 0;
            return;
        case 10:  // Ctrl + Enter
            ScrollItemIndexIntoView();
            if (OnEditDblClick) OnEditDblClick(true);
            Key = 0;
            return;
        case vkReturn:
            CommitByEnter();
            Key = 0;
            return;
        case vkEscape:
            RevertByEscape();
            Key = 0;
            return;
        default:
            break;
    }
    if (Key == 0) return;
    TPropItem* cur = CurItem();
    if (cur && (cur->Attributes().Bits() & PropAttrMask::FillByTyping) == 0x4041u) FillByTyping(Key);
}

void TInspListBox::FillByTyping(char16_t& Key) {
    FProcessChange = false;
    const bool wasReadOnly = FEdit->ReadOnly();
    FEdit->SetReadOnly(false);
    FStillProcessingChange = true;
    struct Restore {
        TInspListBox* box;
        bool ro;
        ~Restore() {
            box->FStillProcessingChange = false;
            box->FEdit->SetReadOnly(ro);
        }
    } restore{this, wasReadOnly};
    const String text = FEdit->Text();
    const size_t selStart = static_cast<size_t>(std::min<int>(FEdit->SelStart(), static_cast<int>(text.size())));
    String candidate;
    if (Key == vkBack)
        candidate = text.substr(0, selStart > 0 ? selStart - 1 : 0);
    else
        candidate = text.substr(0, selStart) + Key;
    if (candidate.empty()) {
        FEdit->SetText(FCancelValue);
        FEdit->SelectAll();
        Key = 0;
        return;
    }
    int length = static_cast<int>(candidate.size());
    ProcessEditChange(length, candidate);
    // Matched or not, the key is consumed: a key that matches no entry is
    // ignored and the text stays.
    Key = 0;
}

void TInspListBox::EditChange() {
    if (FInPropAccess > 0 || !Populated()) return;
    ScrollItemIndexIntoView();
    TPropItem* cur = CurItem();
    const TPropertyAttributes attrs = cur->Attributes();
    if (attrs.Contains(paAutoUpdate)) {
        FInAutoUpdate = true;
        SetPropValue(false, true);
        FInAutoUpdate = false;
        cur = CurItem();
        if (!cur) return;
    }
    if (FProcessChange && !FStillProcessingChange && attrs.Contains(paValueList) && cur->AutoFill()) {
        FProcessChange = false;
        FStillProcessingChange = true;
        struct Clear {
            bool& f;
            ~Clear() { f = false; }
        } clear{FStillProcessingChange};
        const String text = FEdit->Text();
        int length = static_cast<int>(text.size());
        ProcessEditChange(length, text);
    }
}

bool TInspListBox::ProcessEditChange(int& Length, const String& Text) {
    const int best = FindBest(Text);
    const String now = FEdit->Text();
    if (static_cast<int>(Text.size()) != Length) {
        Length = static_cast<int>(now.size());
        return ProcessEditChange(Length, now);
    }
    if (best < 0) return false;
    FListButton->SetItemIndex(best);
    const String entry = FListButton->GetItems()[static_cast<size_t>(best)];
    FEdit->SetText(entry);
    FEdit->SetSel(Length, static_cast<int>(entry.size()) - Length);
    FEdit->SetModified(true);
    return true;
}

void TInspListBox::RefillList(TPropItem* Row) {
    // Gathered first and sorted once (when the property asks for a sorted
    // list): the list is filled again on every key.
    // Two buffers take turns with the list button's entries, and each
    // entry is assigned over an old one, so a refill of the same values
    // allocates nothing.
    FListButton->SetSorted(Row->Attributes().Contains(paSortList));
    size_t n = 0;
    const TGetStrProc add = [this, &n](const String& s) {
        if (n < FValuesBuffer.size())
            FValuesBuffer[n].assign(s);
        else
            FValuesBuffer.push_back(s);
        ++n;
    };
    if (auto wide = Supports<IPropertyWideName>(Row->Prop()))
        wide->GetValuesW(add);
    else
        Row->Prop()->GetValues(add);
    FValuesBuffer.resize(n);
    FListButton->SwapItems(FValuesBuffer);
}

int TInspListBox::FindBest(const String& Text) {
    TPropItem* cur = CurItem();
    if (!cur) return -1;
    RefillList(cur);
    return FListButton->SearchItem(Text);
}

void TInspListBox::EditEnter() {
    if (FHighlightOnSelect)
        FEdit->SelectAll();
    else
        FEdit->SetSel(0, 0);
}

void TInspListBox::DoExit() { SetPropValue(true, true); }

// --- list button

void TInspListBox::ListDropDown(bool& CanDrop) {
    TPropItem* cur = CurItem();
    if (!cur) {
        CanDrop = false;
        return;
    }
    const TPropertyAttributes attrs = cur->Attributes();
    if (!attrs.Contains(paValueList) || attrs.Contains(paCustomDropDown) || attrs.Contains(paDisplayReadOnly)) {
        if (attrs.Contains(paCustomDropDown)) CanDrop = false;
        return;
    }
    RefillList(cur);
    const String text = FEdit->Text();
    int exact = -1;
    for (int i = 0; i < FListButton->GetItemCount(); ++i)
        if (FListButton->GetItems()[static_cast<size_t>(i)] == text) exact = i;
    FListButton->SetItemIndex(exact);
}

void TInspListBox::ListAccept() {
    const int i = FListButton->GetItemIndex();
    if (i < 0 || !Populated()) return;
    BeginPropAccess();
    FEdit->SetText(FListButton->GetItems()[static_cast<size_t>(i)]);
    EndPropAccess();
    FInAutoUpdate = true;
    SetPropValue(false, true);
    FInAutoUpdate = false;
    GetPropValue();
    EditFocus();
}

void TInspListBox::ListCancel() {
    GetPropValue();
    EditFocus();
}

void TInspListBox::ListButtonClick() {
    if (OnListButtonClick)
        OnListButtonClick();
    else if (OnEditDblClick)
        OnEditDblClick(false);
}

}  // namespace ide
