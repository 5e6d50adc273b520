// The property list box: the two-column list at the heart of the object
// inspector, names on the left, values on the right, a movable divider
// between them, and rows that open to show sub-properties as an indented
// tree flattened into one list.
//
// This is the list box without its window: rows, geometry, order, state and
// painting onto an abstract canvas. A widget (inspector/widgets) gives it a
// client size, scrolls it, forwards input and calls Paint; everything here
// runs headless against stub properties.
//
// Rows exist only for what is open: opening a row inserts its children
// after it (in one range insert), closing deletes them. A row's TPropItem is
// owned by the list box's row vector.
//
// Deliberate oddities, kept as the clients see them:
// - CalcNewMiddle: when the control is too narrow for both limits, the left
//   limit (2 * ItemHeight) wins.
// - The divider keeps its proportion on resize, always scaled from the
//   remembered (middle, width) pair, so repeated resizing doesn't drift; the
//   first size change after SetMiddle only records the pair.
// - The width the divider scales with includes the vertical scroll bar when
//   that still fits in the control, so the divider doesn't move when the
//   scroll bar comes and goes.
// - FindItem with a dotted name never matches a level-0 row.
// - The filter applies to level 0 only; sub-properties are never filtered.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "foundation/DesignIntf.h"
#include "foundation/CollectionsStrings.h"
#include "foundation/Graphics.h"

namespace ide {

class TCustomPropListBox;

// One row of a property list box.
// Thread: UI thread only.
class TPropItem {
public:
    TPropItem(IntfRef<IProperty> AProp, int ALevel, TColor AColor, bool AReference,
              TCustomPropListBox* AListBox, TPropItem* AParent);

    // Reads the attributes; refreshes WasExpandable.
    TPropertyAttributes Attributes();
    bool AutoFill() { return FProp->AutoFill(); }
    const IntfRef<IProperty>& Prop() const { return FProp; }
    bool Dirty() const { return FDirty; }
    void SetDirty(bool Value) { FDirty = Value; }
    String TypeName();
    // The name, wide when the property offers it.
    String GetName();
    // Names from the top row down, joined by ".": "Font.Style".
    String GetPath();
    // The value, wide when the property offers it.
    String GetValue();
    bool IsExpanded() const { return FExpanded; }
    // Sub-properties, not a reference back to an ancestor row's object, and
    // not vetoed by OnAllowExpansion.
    bool IsExpandable();
    bool WasExpandable() const { return FWasExpandable; }
    int ItemLevel() const { return FLevel; }
    TColor Color() const { return FColor; }
    bool Reference() const { return FReference; }
    TCustomPropListBox* ListBox() const { return FListBox; }
    TPropItem* Parent() const { return FParent; }
    // True over the expand box: X only, Y isn't looked at.
    bool IsOverExpandBox(int X, int Y);
    void Revert() { FProp->Revert(); }

private:
    friend class TCustomPropListBox;
    TCustomPropListBox* FListBox;
    TPropItem* FParent;
    IntfRef<IProperty> FProp;
    int FLevel;
    bool FExpanded = false;
    bool FWasExpandable = false;
    bool FDirty = false;
    TColor FColor;
    bool FReference;
};

using TAllowExpansionEvent = std::function<void(TCustomPropListBox* Sender, const IntfRef<IProperty>& Prop, bool& Result)>;
using TGetPropertiesEvent = std::function<void(TCustomPropListBox* Sender, const TGetPropProc& GetPropProc)>;
using TGetSubPropertiesEvent =
    std::function<void(TCustomPropListBox* Sender, const IntfRef<IProperty>& Prop, const TGetPropProc& GetPropProc)>;
using TNotifyEvent = std::function<void(TCustomPropListBox* Sender)>;

// What the list box needs of the host's theme service. Off by default.
struct TPropBoxTheme {
    bool Active = false;        // a theme service exists
    bool UseThemeFont = false;  // its font is used
};

// The list box without its window. Geometry state (client size, item
// height, top and current row) is set by the widget or by tests.
// Thread: UI thread only.
class TCustomPropListBox {
public:
    TCustomPropListBox();
    virtual ~TCustomPropListBox();
    TCustomPropListBox(const TCustomPropListBox&) = delete;
    TCustomPropListBox& operator=(const TCustomPropListBox&) = delete;

    // --- rows
    int Count() const { return static_cast<int>(FRows.size()); }
    // nil outside the range.
    TPropItem* GetPropItem(int Index) const;
    int GetPropItemIndex(const TPropItem* Item) const;
    // Rows exist and one is current.
    bool Populated() const { return !FRows.empty() && FItemIndex >= 0; }
    // nil unless Populated.
    TPropItem* CurItem() const { return Populated() ? GetPropItem(FItemIndex) : nullptr; }

    virtual void Reset();
    void AddProperty(const IntfRef<IProperty>& Prop);
    void InsertItem(int Index, const IntfRef<IProperty>& Prop, int Level);
    // Opens a closed expandable row, closes an open one.
    void AdjustItem(int Index);
    int FindItem(const String& Name) const;
    int SetSelectedPropertyPath(const String& PropPath);
    // Names in falling priority; selects the best match.
    int SetSelectedProperty(const std::vector<String>& PropNames);

    // --- geometry
    int GetSubBoxWidth() const;
    int ItemLevelOffset(int Level) const;
    int CalcNewMiddle(int Middle) const;
    int Middle() const { return FMiddle; }
    void SetMiddle(int Value);
    // The control was resized: keeps the divider's proportion.
    void SizeChanged();
    // Index of the row at client Y, not limited to the rows.
    int ItemAtY(int Y) const { return Y / FItemHeight + FTopIndex; }
    int ItemAt(int X, int Y) const;

    // --- state set by the widget (or a test)
    void SetClientSize(int Width, int Height) { FClientWidth = Width, FClientHeight = Height; }
    int ClientWidth() const { return FClientWidth; }
    int ClientHeight() const { return FClientHeight; }
    // The control's full width and the vertical scroll bar's width.
    void SetControlWidth(int Width, int ScrollBarWidth) { FControlWidth = Width, FScrollBarWidth = ScrollBarWidth; }
    int ItemHeight() const { return FItemHeight; }
    void SetItemHeight(int Value) { FItemHeight = Value > 0 ? Value : 1; }
    int TopIndex() const { return FTopIndex; }
    virtual void SetTopIndex(int Value);
    int ItemIndex() const { return FItemIndex; }
    virtual void SetItemIndex(int Value);
    const TPropBoxTheme& Theme() const { return FTheme; }
    void SetTheme(const TPropBoxTheme& Value) { FTheme = Value; }

    const String& Filter() const { return FFilter; }
    void SetFilter(const String& Value);
    const IntfRef<IPropListBoxSelection>& Selection() const { return FSelection; }
    void SetSelection(const IntfRef<IPropListBoxSelection>& Value);
    bool UseVirtualList() const { return FUseVirtualList; }
    void SetUseVirtualList(bool Value);
    bool IndentSecondLevel() const { return FIndentSecondLevel; }
    void SetIndentSecondLevel(bool Value);
    bool ShowGutter() const { return FShowGutter; }
    void SetShowGutter(bool Value);
    bool ShowGridLines() const { return FShowGridLines; }
    void SetShowGridLines(bool Value);
    bool Active() const { return FActive; }
    void SetActive(bool Value);

    // Asks once for a refresh of dirty rows: any number of requests before
    // the update runs cause one update.
    void PostUpdateMsg();
    // The update message arrived.
    virtual void UpdateDirtyData();

    // --- painting
    // Paints one row: gutter, grid line, expand box, current-row mark, name,
    // divider, value cell and value text, by the colour roles above.
    void DrawPropItem(int Index, TPropItem* Item, TCanvas& Canvas, const TRect& Rect, bool Selected, bool ReadOnly);
    // Paints the rows of the client area and what they don't cover.
    void Paint(TCanvas& Canvas);
    // The host's text of a value; the property's own when unset.
    std::function<String(const IntfRef<IProperty>&)> GetDisplayValue;
    // Whether Paint marks the current row (the widget does; a plain list
    // box with no focus may not).
    bool FPaintSelected = true;

    // --- mouse sink
    bool ItemMouseDown(TMouseButton Button, TShiftState Shift, int X, int Y);
    bool ItemMouseMove(TShiftState Shift, int X, int Y);
    bool ItemMouseUp(TMouseButton Button, TShiftState Shift, int X, int Y);
    void MouseLeave() { FMouseTrackItem = -1; }
    bool ItemHintShow(int X, int Y, String& HintText);
    bool Captured() const { return FCaptured; }

    // Events.
    TAllowExpansionEvent OnAllowExpansion;
    TGetPropertiesEvent OnGetProperties;
    TGetSubPropertiesEvent OnGetSubProperties;
    TNotifyEvent OnUpdateDirtyData;
    TNotifyEvent OnAfterReset;
    TNotifyEvent OnBeforeReset;

    // The platform side: how a request for the deferred update is posted,
    // and whether one is already waiting (peeked, not removed).
    std::function<void()> PostUpdateProc;
    std::function<bool()> UpdatePendingProc;

    // Colours, BGR with system colours as the visual basics define them.
    TColor FHighlightColor = clHighlight;
    TColor FHighlightFontColor = clHighlightText;
    TColor FGutterColor = clActiveBorder;
    TColor FGutterEdgeColor = clHighlight;
    TColor FBackgroundColor = clWindow;
    TColor FPropValueColor = 0x800000;
    TColor FPropNameColor = clBtnText;
    TColor FEditBackgroundColor = clWindow;
    TColor FEditValueColor = clWindowText;
    TColor FCategoryColor = 0x800080;
    TColor FReferenceColor = 128;
    TColor FSubPropColor = 32768;
    TColor FReadOnlyColor = clBtnText;
    TColor FNonDefaultColor = 0x800000;
    TFontStyles FNonDefaultFontStyle{fsBold};
    int FValuesIndent = 8;

    bool DoAllowExpansion(const IntfRef<IProperty>& Prop);
    virtual bool IsItemReadOnly(TPropItem* Item);

protected:
    virtual void BeforeReset() {}
    virtual void AfterReset() {}
    virtual void BeforeAdjustItem(int Index) { (void)Index; }
    virtual void AfterAdjustItem(int Index) { (void)Index; }
    virtual void ResizeControls() {}
    // The platform side: repaint all, or the rows changed (count, order).
    virtual void Invalidate() {}
    virtual void RowsChanged() {}
    // The dotted grid strip is remade (FixDividerLine); a no-op headless.
    virtual void FixDividerLine() {}

    void BeginUpdate() { ++FUpdateCount; }
    void AdjustRows(int Index, TPropItem* Row);
    void EndUpdate();
    // The row rectangle cut at the divider, as a mouse sink receives it.
    TRect SinkRect(int Index, bool InNameRect) const;

    std::vector<std::unique_ptr<TPropItem>> FRows;
    int FMiddle = 0;
    int FAddIndex = 0;
    int FAddLevel = 0;
    TPropItem* FParentItem = nullptr;
    bool FRefSubProps = false;
    IntfRef<IPropListBoxSelection> FSelection;
    int FMouseTrackItem = -1;
    bool FCaptured = false;
    bool FActive = false;
    bool FShowGutter = true;
    bool FShowGridLines = true;
    bool FIndentSecondLevel = true;
    int FOldWidth = -1;
    int FOldMiddle = 0;
    bool FUseVirtualList = false;
    String FFilter;

    int FClientWidth = 100;
    int FClientHeight = 100;
    int FControlWidth = 100;
    int FScrollBarWidth = 0;
    int FItemHeight = 16;
    int FTopIndex = 0;
    int FItemIndex = -1;
    TPropBoxTheme FTheme;
    int FUpdateCount = 0;
    bool FUpdatePosted = false;  // used when no platform mailbox is set
    // Rows gathered while a row opens, inserted in one go.
    std::vector<std::unique_ptr<TPropItem>>* FPending = nullptr;
};

// True when Text starts with Prefix, compared as AnsiSameText compares
// (the library's own case folding, the same on every machine).
bool AnsiStartsText(std::u16string_view Prefix, std::u16string_view Text);

}  // namespace ide
