// The inspector list box: the property list box made into the editing
// surface of the object inspector.
//
// Exactly one row is live: over the current row stand an overlay that paints
// the row and takes the keyboard when the names side is active, an edit in
// the value cell, the list button and an optional query button. This class
// is their logic without windows: the commit protocol, what survives a
// refused value, fill-by-typing and auto-fill in value lists, incremental
// search by name, the key and mouse tables, the divider drag, the memory of
// opened rows and the hint for clipped text. The widget (inspector/widgets)
// supplies the edit (TInspEdit), the list button and the platform hooks.
//
// The commit protocol in one paragraph: the row's text is written by
// SetPropValue. A property refuses a value by raising; then the row, the
// open rows, the selection and the focus stay, the property keeps its value,
// and the user's text is replaced by the value the property still holds
// (GetPropValue). Enter always writes, also unchanged text; leaving a row or
// clicking elsewhere writes only a modified text, and a refused value there
// drops the click. Escape writes the value the row had when it was entered.
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "inspector/IDEListBtns.h"
#include "inspector/PropBox.h"

namespace ide {

// Key codes of the inspector's key tables.
enum : int {
    vkBack = 8,
    vkTab = 9,
    vkReturn = 13,
    vkEscape = 27,
    vkPrior = 33,
    vkNext = 34,
    vkEnd = 35,
    vkHome = 36,
    vkLeft = 37,
    vkUp = 38,
    vkRight = 39,
    vkDown = 40,
    vkDelete = 46,
    vkF1 = 112,
};

enum TTrackMode : uint8_t { tmNone, tmSelect, tmResize };

// The edit control of the current row, as the logic sees it. Setting the
// text clears Modified and reports a change (OnChange) when the text differs,
// as an edit control does.
// Thread: UI thread only.
class TInspEdit {
public:
    virtual ~TInspEdit() = default;
    virtual String Text() const = 0;
    virtual void SetText(const String& Value) = 0;
    virtual bool Modified() const = 0;
    virtual void SetModified(bool Value) = 0;
    virtual bool ReadOnly() const = 0;
    virtual void SetReadOnly(bool Value) = 0;
    virtual int SelStart() const = 0;
    virtual int SelLength() const = 0;
    virtual void SetSel(int Start, int Length) = 0;
    void SelectAll() { SetSel(0, static_cast<int>(Text().size())); }
    virtual void SetMaxLength(int Value) = 0;
    virtual bool Visible() const = 0;
    virtual void SetVisible(bool Value) = 0;
    virtual void SetColors(TColor Background, TColor Font, TFontStyles Style) = 0;
    virtual bool Focused() const = 0;
    virtual bool CanFocus() const = 0;
    virtual void SetFocus() = 0;
    // Called by implementations when the text changed (typing or SetText).
    std::function<void()> OnChange;
};

// A plain edit: the state only. Tests and the headless inspector use it.
class TPlainInspEdit : public TInspEdit {
public:
    String Text() const override { return FText; }
    void SetText(const String& Value) override;
    bool Modified() const override { return FModified; }
    void SetModified(bool Value) override { FModified = Value; }
    bool ReadOnly() const override { return FReadOnly; }
    void SetReadOnly(bool Value) override { FReadOnly = Value; }
    int SelStart() const override { return FSelStart; }
    int SelLength() const override { return FSelLength; }
    void SetSel(int Start, int Length) override;
    void SetMaxLength(int Value) override { FMaxLength = Value; }
    bool Visible() const override { return FVisible; }
    void SetVisible(bool Value) override { FVisible = Value; }
    void SetColors(TColor Background, TColor Font, TFontStyles Style) override {
        FBackground = Background, FFont = Font, FStyle = Style;
    }
    bool Focused() const override { return FFocused; }
    bool CanFocus() const override { return FVisible && FCanFocus; }
    void SetFocus() override { FFocused = true; }
    // What a user does: replace the selection by Text, as typing or pasting.
    void Type(const String& Text);

    String FText;
    bool FModified = false;
    bool FReadOnly = false;
    int FSelStart = 0;
    int FSelLength = 0;
    int FMaxLength = 0;
    bool FVisible = true;
    bool FFocused = false;
    bool FCanFocus = true;
    TColor FBackground = 0;
    TColor FFont = 0;
    TFontStyles FStyle;
};

// Where the live controls go, in client coordinates of the list box.
struct TInspControlsLayout {
    TRect Selection;
    TRect Edit;
    TRect ListButton;
    TRect QueryButton;
    bool ButtonVisible = false;
    bool QueryButtonVisible = false;
};

// A clipped-text hint: what to show and where.
struct TInspHint {
    bool Show = false;
    String Text;
    TRect CursorRect;  // the cell; the hint goes when the mouse leaves it
    TRect HintRect;    // where the text stands
    TFontStyles Style;
};

// The remembered open rows: lines "path=1" (open) and "path=0" (closed).
class TExpandedPaths {
public:
    // The value of "Name=" (case-insensitive name), empty if absent.
    String Value(const String& Name) const;
    bool Has(const String& Name) const;
    void SetValue(const String& Name, const String& Value);
    int Count() const { return static_cast<int>(FLines.size()); }
    const std::vector<String>& Lines() const { return FLines; }
    void AddLine(const String& Line) { FLines.push_back(Line); }
    void Clear() { FLines.clear(); }

private:
    int IndexOfName(const String& Name) const;
    std::vector<String> FLines;
};

using TEditDblClickEvent = std::function<void(bool DblClick)>;
using TGetHintStrEvent = std::function<void(String& HintText, TRect& Rect)>;
using TInspKeyEvent = std::function<void(int& Key, TShiftState Shift)>;
using TInspKeyPressEvent = std::function<void(char16_t& Key)>;
using TInspNotify = std::function<void()>;

// The inspector list box's logic.
// Thread: UI thread only.
class TInspListBox : public TCustomPropListBox {
public:
    // The edit and the list button belong to the caller (the widget); the
    // list box only uses them.
    TInspListBox(TInspEdit* Edit, TListButton* ListButton);
    ~TInspListBox() override;

    void Reset() override;
    void SetItemIndex(int Value) override;

    // --- commit protocol
    void GetPropValue();
    bool SetPropValue(bool CheckModified, bool HandleException);
    void ShowControls();
    void HideControls();
    void SelectItem(int Index);
    void BlankItems();
    bool ItemIsVisible(int I) const;
    int ItemVisibleCount() const;
    void ScrollItemIndexIntoView();
    void EditFocus();
    bool IsListButtonDropped() const { return FListButton->GetDropped(); }
    void ListButtonCloseUp(bool Accept) { FListButton->CloseUp(Accept); }
    String GetItemPath(int Index) const;
    String GetCurItemPath() const { return GetItemPath(FItemIndex); }
    TInspControlsLayout ControlsLayout() const { return FLayout; }

    // --- the memory of open rows
    void ValidateExpandedItemPaths(TExpandedPaths& AStrings);
    void ReexpandItemPaths(const TExpandedPaths& AStrings, bool ExpandNewRootLevels);

    // --- the edit's keys and changes
    virtual void EditKeyDown(int& Key, TShiftState Shift);
    virtual void EditKeyPress(char16_t& Key);
    void EditChange();
    void EditEnter();
    bool ProcessEditChange(int& Length, const String& Text);
    int FindBest(const String& Text);
    // The edit lost the focus to something outside the list box.
    void DoExit();

    // --- the list button
    void ListDropDown(bool& CanDrop);
    void ListAccept();
    void ListCancel();
    void ListButtonClick();

    // --- names side
    virtual void SelectionKeyDown(int& Key, TShiftState Shift);
    void SelectionKeyPress(char16_t& Key);
    void SetSelectString(const String& Text);
    void ClearSelectString() { FSelectString.clear(); }
    int SearchItem(const String& Text) const;
    int FirstItem() const;
    const String& SelectString() const { return FSelectString; }
    // The caret's x on the names side: after the typed prefix.
    int CaretX() const;

    // --- mouse (client coordinates); MouseDown answers whether to capture.
    void MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y, bool ButtonStillDown);
    void MouseMove(TShiftState Shift, int X, int Y);
    void MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y);
    void DblClick(int X, int Y);
    // Lines > 0 scrolls down. Answers whether it was handled.
    bool MouseWheel(int Lines, TShiftState Shift);
    void EndTrack();
    bool SplitCursor(int X) const;
    TTrackMode TrackMode() const { return FTrackMode; }

    // --- hint for clipped text. TextWidth measures a text in a style.
    TInspHint CalcHint(int X, int Y, const std::function<int(const String&, TFontStyles)>& TextWidth);

    // The live state the widget and tests look at.
    bool NamesSelected() const { return FNamesSelected; }
    // A click in the edit or on the overlay gives the keyboard to the values side.
    void SetNamesSelected(bool Value) { FNamesSelected = Value; }
    const String& CancelValue() const { return FCancelValue; }
    bool InAutoUpdate() const { return FInAutoUpdate; }
    bool ControlsHidden() const { return FControlsHidden; }
    int InPropAccess() const { return FInPropAccess; }

    bool FReadOnly = false;
    String FReadOnlyMsg;
    bool FHighlightOnSelect = false;
    bool FQueryButtonVisible = false;
    IntfRef<IActivatable> FModalReturn;

    // Events.
    TInspNotify OnSelectItem;
    TInspNotify OnHelp;
    TInspNotify OnListButtonClick;
    TInspNotify OnQueryButtonClick;
    TInspNotify OnDblClick;
    TEditDblClickEvent OnEditDblClick;
    TInspKeyEvent OnKeyDown;
    TInspKeyEvent OnSelectionKeyDown;
    TInspKeyPressEvent OnSelectionKeyPress;
    TInspKeyPressEvent OnEditKeyPress;
    TGetHintStrEvent OnGetHintStr;

    // Host and platform services.
    std::function<bool()> IsDesktopLocked;
    // The exception bridge: shows a refused value's message.
    std::function<void(std::exception_ptr)> HandleExceptionProc;
    // The host's active-form service, handed FModalReturn after Enter.
    std::function<void(const IntfRef<IActivatable>&)> ActivateProc;
    // How many lines one wheel notch scrolls.
    int WheelScrollLines = 3;

protected:
    void BeforeReset() override;
    void AfterReset() override;
    void BeforeAdjustItem(int Index) override;
    void AfterAdjustItem(int Index) override;
    void ResizeControls() override;
    // The platform side: move the controls to FLayout; focus the overlay;
    // repaint the overlay; the overlay's caret moved.
    virtual void PlaceControls() {}
    virtual bool SelectionCanFocus() const { return true; }
    virtual void FocusSelection() {}
    virtual void InvalidateSelection() {}
    virtual void CaretMoved() {}
    // The divider moved during a drag.
    virtual void DividerDragged() {}

    void BeginPropAccess() { ++FInPropAccess; }
    void EndPropAccess() {
        if (FInPropAccess > 0) --FInPropAccess;
    }
    bool HandleRaised(std::exception_ptr E);
    void CommitByEnter();
    void RevertByEscape();
    void FillByTyping(char16_t& Key);
    void DrawDrag();
    void RefillList(TPropItem* Row);

    TInspEdit* FEdit;
    TListButton* FListButton;
    bool FButtonVisible = false;
    int FInPropAccess = 0;
    TTrackMode FTrackMode = tmNone;
    int FMousePos = 0;
    int FDragPos = 0;
    int FDragDelta = 0;
    String FSelectString;
    String FCancelValue;
    bool FProcessChange = false;
    bool FStillProcessingChange = false;
    bool FNamesSelected = false;
    bool FInitialized = false;
    bool FInAutoUpdate = false;
    bool FRefused = false;  // GetPropValue after a refused value
    bool FInEditFocus = false;
    bool FItemsReset = false;
    bool FControlsHidden = false;
    int FSaveTopIndex = 0;
    TFontStyles FHintFontStyle;
    bool FWasFocused = false;
    int FSaveSelStart = -1;
    int FSaveSelLength = -1;
    TInspControlsLayout FLayout;
    std::vector<String> FValuesBuffer;
};

}  // namespace ide
