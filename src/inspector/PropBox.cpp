#include "inspector/PropBox.h"

#include <algorithm>

namespace ide {

bool AnsiStartsText(std::u16string_view Prefix, std::u16string_view Text) {
    return Prefix.size() <= Text.size() && AnsiSameText(Prefix, Text.substr(0, Prefix.size()));
}

// ---------------------------------------------------------------------------
// TPropItem

TPropItem::TPropItem(IntfRef<IProperty> AProp, int ALevel, TColor AColor, bool AReference,
                     TCustomPropListBox* AListBox, TPropItem* AParent)
    : FListBox(AListBox), FParent(AParent), FProp(std::move(AProp)), FLevel(ALevel), FColor(AColor),
      FReference(AReference) {
    if (auto sink = Supports<IPropertyPathSink>(FProp)) sink->SetPropertyPath(GetPath());
}

TPropertyAttributes TPropItem::Attributes() {
    TPropertyAttributes a = FProp->GetAttributes();
    FWasExpandable = a.Contains(paSubProperties);
    return a;
}

String TPropItem::TypeName() {
    const TTypeInfo* t = FProp->GetPropType();
    return t ? t->Name : String();
}

String TPropItem::GetName() {
    if (auto w = Supports<IPropertyWideName>(FProp)) return w->GetNameW();
    return FProp->GetName();
}

String TPropItem::GetPath() {
    String path = GetName();
    for (TPropItem* p = FParent; p; p = p->FParent) path = p->GetName() + u"." + path;
    return path;
}

String TPropItem::GetValue() {
    if (auto w = Supports<IPropertyWideValue>(FProp)) return w->GetValueW();
    return FProp->GetValue();
}

bool TPropItem::IsExpandable() {
    bool result = Attributes().Contains(paSubProperties);
    if (result && FReference) {
        auto target = Supports<IPropertyRefTarget>(FProp);
        const void* object = target ? target->GetRefTarget() : nullptr;
        if (!object) {
            result = false;
        } else {
            // The guard against endless expansion through circular references.
            for (TPropItem* p = FParent; p; p = p->FParent) {
                if (!p->FReference) continue;
                auto up = Supports<IPropertyRefTarget>(p->FProp);
                if (up && up->GetRefTarget() == object) {
                    result = false;
                    break;
                }
            }
        }
    }
    if (result) result = FListBox->DoAllowExpansion(FProp);
    return result;
}

bool TPropItem::IsOverExpandBox(int X, int /*Y*/) {
    const int x = X - FListBox->ItemLevelOffset(FLevel);
    return FWasExpandable && x >= -1 && x < FListBox->GetSubBoxWidth();
}

// ---------------------------------------------------------------------------
// TCustomPropListBox

TCustomPropListBox::TCustomPropListBox() = default;
TCustomPropListBox::~TCustomPropListBox() = default;

TPropItem* TCustomPropListBox::GetPropItem(int Index) const {
    if (Index < 0 || Index >= Count()) return nullptr;
    return FRows[static_cast<size_t>(Index)].get();
}

int TCustomPropListBox::GetPropItemIndex(const TPropItem* Item) const {
    for (int i = 0; i < Count(); ++i)
        if (FRows[static_cast<size_t>(i)].get() == Item) return i;
    return -1;
}

void TCustomPropListBox::EndUpdate() {
    if (FUpdateCount > 0 && --FUpdateCount == 0) RowsChanged();
}

bool TCustomPropListBox::DoAllowExpansion(const IntfRef<IProperty>& Prop) {
    bool result = true;
    if (OnAllowExpansion) OnAllowExpansion(this, Prop, result);
    return result;
}

bool TCustomPropListBox::IsItemReadOnly(TPropItem*) { return false; }

void TCustomPropListBox::Reset() {
    BeginUpdate();
    struct Ender {
        TCustomPropListBox* box;
        ~Ender() { box->EndUpdate(); }
    } ender{this};
    FixDividerLine();
    FAddIndex = 0;
    FAddLevel = 0;
    FParentItem = nullptr;
    BeforeReset();
    if (OnBeforeReset) OnBeforeReset(this);
    SetItemIndex(-1);
    FRows.clear();
    FTopIndex = 0;
    const TGetPropProc add = [this](const IntfRef<IProperty>& p) { AddProperty(p); };
    if (OnGetProperties) {
        OnGetProperties(this, add);
    } else if (FSelection) {
        const int n = FSelection->GetCount();
        for (int i = 0; i < n; ++i) AddProperty(FSelection->GetProperty(i));
    }
    if (!FRows.empty()) SetItemIndex(0);
    AfterReset();
    if (OnAfterReset) OnAfterReset(this);
}

void TCustomPropListBox::AddProperty(const IntfRef<IProperty>& Prop) {
    if (!Prop) return;
    if (!FFilter.empty() && FAddLevel < 1) {
        const String name = WideLowerCase(Prop->GetName());
        if (name.find(WideLowerCase(FFilter)) == String::npos) return;
    }
    InsertItem(FAddIndex, Prop, FAddLevel);
    ++FAddIndex;
}

void TCustomPropListBox::InsertItem(int Index, const IntfRef<IProperty>& Prop, int Level) {
    TColor color = FPropNameColor;
    const bool isRef = static_cast<bool>(Supports<IPropertyRefTarget>(Prop));
    if (!isRef) {
        auto vis = Supports<IPropertyRefVisibility>(Prop);
        if (vis && vis->ShowReferenceProperty()) {
            color = FReferenceColor;
        } else {
            const TPropInfo* info = Prop->GetPropInfo();
            if (info && !info->HasWriter)
                color = FReadOnlyColor;
            else if (Prop->GetAttributes().Contains(paDisplayReadOnly))
                color = FReadOnlyColor;
            else if (FRefSubProps)
                color = FSubPropColor;
        }
    } else {
        color = FReferenceColor;
    }
    auto item = std::make_unique<TPropItem>(Prop, Level, color, isRef, this, FParentItem);
    if (FPending) {
        FPending->push_back(std::move(item));
        return;
    }
    Index = std::clamp(Index, 0, Count());
    FRows.insert(FRows.begin() + Index, std::move(item));
    if (FItemIndex >= Index && FItemIndex >= 0 && FUpdateCount == 0) ++FItemIndex;
    if (FUpdateCount == 0) RowsChanged();
}

void TCustomPropListBox::AdjustItem(int Index) {
    TPropItem* row = GetPropItem(Index);
    if (!row || !row->IsExpandable()) return;
    BeforeAdjustItem(Index);
    AdjustRows(Index, row);
    AfterAdjustItem(Index + 1);
}

void TCustomPropListBox::AdjustRows(int Index, TPropItem* row) {
    BeginUpdate();
    struct Ender {
        TCustomPropListBox* box;
        ~Ender() {
            box->FPending = nullptr;
            box->FRefSubProps = false;
            box->EndUpdate();
        }
    } ender{this};
    const int oldTop = FTopIndex;
    int added = 0;
    if (row->FExpanded) {
        int last = Index + 1;
        while (last < Count() && FRows[static_cast<size_t>(last)]->FLevel > row->FLevel) ++last;
        // Deleting the range frees the rows; a current row inside it moves to
        // the row that closed.
        if (FItemIndex > Index && FItemIndex < last) FItemIndex = Index;
        else if (FItemIndex >= last) FItemIndex -= last - (Index + 1);
        FRows.erase(FRows.begin() + Index + 1, FRows.begin() + last);
        row->FExpanded = false;
        if (FTopIndex > std::max(0, Count() - 1)) FTopIndex = std::max(0, Count() - 1);
    } else {
        std::vector<std::unique_ptr<TPropItem>> children;
        FAddIndex = Index + 1;
        FAddLevel = row->FLevel + 1;
        FParentItem = row;
        FRefSubProps = row->FReference;
        FPending = &children;
        const TGetPropProc add = [this](const IntfRef<IProperty>& p) { AddProperty(p); };
        const IntfRef<IProperty> prop = row->FProp;
        if (OnGetSubProperties) {
            OnGetSubProperties(this, prop, add);
        } else if (FSelection) {
            FSelection->SelectParent(prop);
            const int n = FSelection->GetSubCount();
            for (int i = 0; i < n; ++i) AddProperty(FSelection->GetSubProperty(i));
        } else {
            prop->GetProperties(add);
        }
        FPending = nullptr;
        added = static_cast<int>(children.size());
        FRows.insert(FRows.begin() + Index + 1, std::make_move_iterator(children.begin()),
                     std::make_move_iterator(children.end()));
        if (FItemIndex > Index) FItemIndex += added;
        row->FExpanded = true;
        FRefSubProps = false;
    }
    if (FTopIndex != oldTop) ResizeControls();
    if (added > 0) {
        // Bring the new rows into view while the current row stays on screen.
        const int visible = std::max(0, FClientHeight / FItemHeight - added - 1);
        if (FItemIndex > FTopIndex + visible) SetTopIndex(FItemIndex - visible);
    }
}

int TCustomPropListBox::FindItem(const String& Name) const {
    const bool dotted = Name.find(u'.') != String::npos;
    for (int i = 0; i < Count(); ++i) {
        TPropItem* r = FRows[static_cast<size_t>(i)].get();
        if (dotted) {
            if (r->FLevel > 0 && AnsiSameText(r->GetPath(), Name)) return i;
        } else if (AnsiSameText(r->GetName(), Name)) {
            return i;
        }
    }
    return -1;
}

int TCustomPropListBox::SetSelectedPropertyPath(const String& PropPath) {
    if (PropPath.find(u'.') != String::npos) return SetSelectedProperty({PropPath});
    for (int i = 0; i < Count(); ++i) {
        TPropItem* r = FRows[static_cast<size_t>(i)].get();
        if (r->FLevel == 0 && AnsiSameText(r->GetPath(), PropPath)) {
            SetItemIndex(i);
            return i;
        }
    }
    return -1;
}

int TCustomPropListBox::SetSelectedProperty(const std::vector<String>& PropNames) {
    int found = -1;
    int limit = static_cast<int>(PropNames.size()) - 1;
    for (int i = 0; i < Count() && limit >= 0; ++i) {
        const String name = FRows[static_cast<size_t>(i)]->GetName();
        for (int k = 0; k <= limit; ++k) {
            if (!AnsiSameText(name, PropNames[static_cast<size_t>(k)])) continue;
            found = i;
            // Later rows are only tried against better names.
            limit = k - 1;
            break;
        }
        if (found >= 0 && limit < 0) break;
    }
    if (found >= 0) SetItemIndex(found);
    return found;
}

// --- geometry

int TCustomPropListBox::GetSubBoxWidth() const {
    if (!FTheme.Active) return 10;
    if (FTheme.UseThemeFont) return std::max(16, FItemHeight - 12);
    return 16;
}

int TCustomPropListBox::ItemLevelOffset(int Level) const {
    if (!FIndentSecondLevel && Level >= 1) --Level;
    return GetSubBoxWidth() * Level + 4;
}

int TCustomPropListBox::CalcNewMiddle(int M) const {
    if (M > FClientWidth - 3 * FItemHeight) M = FClientWidth - 3 * FItemHeight;
    if (M < 2 * FItemHeight) M = 2 * FItemHeight;
    return M;
}

void TCustomPropListBox::SetMiddle(int Value) {
    if (Value == FMiddle) return;
    FOldWidth = -1;
    FMiddle = Value;
    Invalidate();
}

void TCustomPropListBox::SizeChanged() {
    if (FClientWidth == 0 || FClientHeight == 0) return;
    FixDividerLine();
    const int w = FClientWidth + FScrollBarWidth <= FControlWidth ? FClientWidth + FScrollBarWidth : FClientWidth;
    if (FMiddle == 0) {
        FMiddle = w / 2 - 1;
        if (FShowGutter) FMiddle += ItemLevelOffset(0);
        FOldMiddle = FMiddle;
        FOldWidth = w;
    } else if (FOldWidth < 0) {
        FOldMiddle = FMiddle;
        FOldWidth = w;
    } else {
        FMiddle = static_cast<int>((static_cast<long long>(FOldMiddle) * w + FOldWidth / 2) / FOldWidth);
    }
    if (FMiddle != 0) FMiddle = CalcNewMiddle(FMiddle);
    Invalidate();
}

int TCustomPropListBox::ItemAt(int /*X*/, int Y) const {
    if (Y < 0) return -1;
    const int i = ItemAtY(Y);
    return i < Count() ? i : -1;
}

void TCustomPropListBox::SetTopIndex(int Value) {
    Value = std::clamp(Value, 0, std::max(0, Count() - 1));
    if (Value == FTopIndex) return;
    FTopIndex = Value;
    Invalidate();
}

void TCustomPropListBox::SetItemIndex(int Value) {
    if (Value < -1 || Value >= Count()) Value = -1;
    FItemIndex = Value;
    Invalidate();
}

// --- settings that end in Reset or a repaint

void TCustomPropListBox::SetFilter(const String& Value) {
    FFilter = Value;
    Reset();
}

void TCustomPropListBox::SetSelection(const IntfRef<IPropListBoxSelection>& Value) {
    FSelection = Value;
    Reset();
}

void TCustomPropListBox::SetUseVirtualList(bool Value) {
    if (Value == FUseVirtualList) return;
    // Both modes keep the rows in the same owning vector; the flag remains
    // for hosts that set it, and the rows are made again as in either mode.
    FUseVirtualList = Value;
    Reset();
}

void TCustomPropListBox::SetIndentSecondLevel(bool Value) {
    if (Value == FIndentSecondLevel) return;
    FIndentSecondLevel = Value;
    Invalidate();
}

void TCustomPropListBox::SetShowGutter(bool Value) {
    if (Value == FShowGutter) return;
    FShowGutter = Value;
    Invalidate();
}

void TCustomPropListBox::SetShowGridLines(bool Value) {
    if (Value == FShowGridLines) return;
    FShowGridLines = Value;
    Invalidate();
}

void TCustomPropListBox::SetActive(bool Value) {
    if (Value == FActive) return;
    FActive = Value;
    Invalidate();
}

// --- deferred update

void TCustomPropListBox::PostUpdateMsg() {
    if (PostUpdateProc) {
        if (UpdatePendingProc && UpdatePendingProc()) return;
        PostUpdateProc();
        return;
    }
    FUpdatePosted = true;
}

void TCustomPropListBox::UpdateDirtyData() {
    FUpdatePosted = false;
    if (OnUpdateDirtyData) OnUpdateDirtyData(this);
}

// --- mouse sink

TRect TCustomPropListBox::SinkRect(int Index, bool InNameRect) const {
    TRect r{0, (Index - FTopIndex) * FItemHeight, FClientWidth, (Index - FTopIndex + 1) * FItemHeight};
    // The cut is the other way round than the flag suggests: that is how a
    // sink is to receive it.
    if (InNameRect)
        r.Left = FMiddle;
    else
        r.Right = FMiddle;
    return r;
}

bool TCustomPropListBox::ItemMouseMove(TShiftState Shift, int X, int Y) {
    const int index = FCaptured ? FMouseTrackItem : ItemAt(X, Y);
    bool handled = false;
    if (TPropItem* row = GetPropItem(index)) {
        if (auto sink = Supports<IPropertyMouseSink>(row->Prop())) {
            const bool inName = X < FMiddle + FValuesIndent;
            handled = sink->MouseMove(Shift, X, Y, inName, SinkRect(index, inName));
        }
    }
    if (!FCaptured) FMouseTrackItem = index;
    return handled;
}

bool TCustomPropListBox::ItemMouseDown(TMouseButton Button, TShiftState Shift, int X, int Y) {
    TPropItem* row = GetPropItem(FMouseTrackItem);
    if (!row) return false;
    auto sink = Supports<IPropertyMouseSink>(row->Prop());
    if (!sink) return false;
    const bool inName = X < FMiddle + FValuesIndent;
    if (!sink->MouseDown(Button, Shift, X, Y, inName, SinkRect(FMouseTrackItem, inName))) return false;
    FCaptured = true;
    return true;
}

bool TCustomPropListBox::ItemMouseUp(TMouseButton Button, TShiftState Shift, int X, int Y) {
    const int index = FCaptured ? FMouseTrackItem : ItemAt(X, Y);
    bool handled = false;
    if (TPropItem* row = GetPropItem(index)) {
        if (auto sink = Supports<IPropertyMouseSink>(row->Prop())) {
            const bool inName = X < FMiddle + FValuesIndent;
            handled = sink->MouseUp(Button, Shift, X, Y, inName, SinkRect(index, inName));
        }
    }
    if (FCaptured) FCaptured = false;
    return handled;
}

bool TCustomPropListBox::ItemHintShow(int X, int Y, String& HintText) {
    const int index = ItemAt(X, Y);
    TPropItem* row = GetPropItem(index);
    if (!row) return false;
    auto sink = Supports<IPropertyMouseSink>(row->Prop());
    if (!sink) return false;
    const bool inName = X < FMiddle;
    TRect r = SinkRect(index, inName);
    r.Left += FValuesIndent;
    return sink->HintShow(X, Y, inName, r, HintText);
}

}  // namespace ide
