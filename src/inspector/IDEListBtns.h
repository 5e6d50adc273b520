// The list button: the small button at the end of an inspector row. A press
// drops a popup list (or a panel holding any control), a plain click just
// fires.
//
// This is the button's logic without its windows: the entries, the type-ahead
// search, the accept/cancel decision and where the popup goes. The widget
// (inspector/widgets) shows the popup where DropDownPlacement says and feeds
// keys and mouse here.
//
// Kept as clients see it:
// - accepting without a selected entry counts as cancel, so OnAccept and
//   OnCancel never both fire for one close;
// - OnDropDown clearing CanDrop leaves everything closed and sends no cancel;
// - the search string takes the matched entry's own case.
#pragma once

#include <functional>
#include <vector>

#include "foundation/DesignIntf.h"
#include "foundation/Graphics.h"

namespace ide {

enum TDropAlign : uint8_t { daLeft, daRight };

// Everything the placement of a drop-down depends on, in screen pixels.
struct TDropDownRequest {
    TRect Button;        // the button's screen rectangle
    TRect Monitor;       // the work area of the button's monitor
    int ItemCount = 0;
    std::function<int(int)> ItemHeight;  // HeightOfItem
    int FontHeight = 13;
    int ListWidth = 100;
    TDropAlign Align = daLeft;
};

// Where the list goes and how many rows it shows.
struct TDropDownPlacement {
    TRect Bounds;
    int VisibleRows = 0;
    bool Above = false;
};

// The placement of a drop-down list: under the button, or above it when it
// would pass the monitor's bottom; at most 20 rows, as many as fit the
// larger free space; the left edge 1 right of the button and the width one
// less; right-aligned lists limited by the monitor's left edge.
TDropDownPlacement DropDownPlacement(const TDropDownRequest& Request);

using TDropDownEvent = std::function<void(bool& CanDrop)>;
using TListNotifyEvent = std::function<void()>;
using TListButtonListWidthEvent = std::function<void(int Index, int& Width)>;
using TListMeasureHeightEvent = std::function<void(int Index, int& Height)>;

// The list button's logic.
// Thread: UI thread only.
class TListButton {
public:
    static constexpr int MaxRows = 20;

    TListButton();
    virtual ~TListButton();

    // --- entries
    const std::vector<String>& GetItems() const { return FItems; }
    void SetItems(std::vector<String> Items);
    // Takes Items as the entries (sorted when Sorted) and hands the old
    // entries back in Items, for a caller that refills often.
    void SwapItems(std::vector<String>& Items);
    void ClearItems();
    void AddItem(const String& Item);
    int GetItemCount() const { return static_cast<int>(FItems.size()); }
    int GetItemIndex() const { return FItemIndex; }
    void SetItemIndex(int Value);
    bool GetSorted() const { return FSorted; }
    void SetSorted(bool Value);

    // --- drop-down
    bool GetDropped() const { return FDropped; }
    // Asks OnDropDown, measures (AutoWidth), then shows the list.
    void DropDown();
    // Shows a custom control instead of the list.
    void DropDownPanel();
    // Closes; OnAccept when accepted with an entry selected, else OnCancel.
    void CloseUp(bool Accept);
    // A plain click (press and release on the button without a drop).
    void Click();

    // --- type-ahead
    // First entry starting with Text (case-insensitive); -1 if none.
    int SearchItem(const String& Text) const;
    void SetSelectString(const String& Text);
    void ClearSelectString() { FSelectString.clear(); }
    const String& SelectString() const { return FSelectString; }
    // A character typed while the list is open: Backspace, Enter (accept),
    // Escape (cancel), else appended to the search string.
    void KeyPress(char16_t Key);

    // --- measuring
    int WidthOfItem(int Index) const;
    int HeightOfItem(int Index) const;
    // The list width AutoWidth gives: the widest entry plus a margin of 4,
    // plus the scroll bar when more than 20 entries; at least MinListWidth.
    int AutoListWidth() const;

    TDropAlign FDropAlign = daLeft;
    bool FAutoWidth = true;
    int FListWidth = 0;
    int FMaxListWidth = 0;
    int FMinListWidth = 100;
    int FScrollBarWidth = 16;

    TDropDownEvent OnDropDown;
    TListNotifyEvent OnAccept;
    TListNotifyEvent OnCancel;
    TListNotifyEvent OnClick;
    TListButtonListWidthEvent OnMeasureWidth;
    TListMeasureHeightEvent OnMeasureHeight;
    // Text measuring of the platform; a fixed 7 pixels per character and a
    // height of 13 when unset.
    std::function<int(const String&)> TextWidth;
    std::function<int()> TextHeight;

protected:
    // The platform side: show the list (or the panel) and hide both.
    virtual void ShowList() {}
    virtual void ShowPanel() {}
    virtual void HidePopup() {}

    std::vector<String> FItems;
    int FItemIndex = -1;
    bool FSorted = true;
    bool FDropped = false;
    bool FPanelDropped = false;
    String FSelectString;
};

}  // namespace ide
