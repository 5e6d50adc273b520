// The list button's logic: accept and cancel, the drop-down veto, type-ahead,
// auto width and where the list goes on the monitor.
#include <gtest/gtest.h>

#include "inspector/IDEListBtns.h"

namespace ide {
namespace {

struct Button : TListButton {
    int shown = 0, hidden = 0;
    void ShowList() override { ++shown; }
    void HidePopup() override { ++hidden; }
};

TEST(ListButton, AcceptWithoutAnEntryIsCancelAndOnlyOneEventFires) {
    Button b;
    int accepted = 0, cancelled = 0;
    b.OnAccept = [&] { ++accepted; };
    b.OnCancel = [&] { ++cancelled; };
    b.SetItems({u"One", u"Two"});
    b.DropDown();
    ASSERT_TRUE(b.GetDropped());
    b.CloseUp(true);  // nothing selected
    EXPECT_EQ(accepted, 0);
    EXPECT_EQ(cancelled, 1);
    b.DropDown();
    b.SetItemIndex(1);
    b.CloseUp(true);
    EXPECT_EQ(accepted, 1);
    EXPECT_EQ(cancelled, 1);
    b.CloseUp(true);  // already closed: nothing
    EXPECT_EQ(accepted + cancelled, 2);
    b.DropDown();
    b.KeyPress(27);  // Escape
    EXPECT_EQ(cancelled, 2);
    EXPECT_EQ(b.hidden, 3);
}

TEST(ListButton, DropDownVetoLeavesItClosedWithoutACancel) {
    Button b;
    int cancelled = 0;
    b.OnCancel = [&] { ++cancelled; };
    b.OnDropDown = [](bool& can) { can = false; };
    b.DropDown();
    EXPECT_FALSE(b.GetDropped());
    EXPECT_EQ(b.shown, 0);
    EXPECT_EQ(cancelled, 0);
}

TEST(ListButton, TypeAheadTakesTheEntrysCaseAndBackspaceShortens) {
    Button b;
    b.SetSorted(false);
    b.SetItems({u"clRed", u"Cyan", u"clBlue", u"Black"});
    b.DropDown();
    b.KeyPress(u'C');
    EXPECT_EQ(b.GetItemIndex(), 0);
    EXPECT_EQ(b.SelectString(), u"c");  // the entry's own case
    b.KeyPress(u'L');
    b.KeyPress(u'b');
    EXPECT_EQ(b.GetItemIndex(), 2);
    EXPECT_EQ(b.SelectString(), u"clB");
    b.KeyPress(u'z');  // no entry: nothing changes
    EXPECT_EQ(b.GetItemIndex(), 2);
    EXPECT_EQ(b.SelectString(), u"clB");
    b.KeyPress(8);
    EXPECT_EQ(b.SelectString(), u"cl");
    EXPECT_EQ(b.GetItemIndex(), 0);
    b.ClearSelectString();
    b.KeyPress(8);  // empty search string: no selection
    EXPECT_EQ(b.GetItemIndex(), -1);
    EXPECT_EQ(b.SearchItem(u"BL"), 3);
    EXPECT_EQ(b.SearchItem(u"x"), -1);
}

TEST(ListButton, SortedEntriesAndAutoWidthWithTheScrollBarPastTwentyRows) {
    Button b;
    b.SetItems({u"b", u"C", u"a"});
    EXPECT_EQ(b.GetItems(), (std::vector<String>{u"a", u"b", u"C"}));
    b.AddItem(u"B2");
    EXPECT_EQ(b.GetItems()[2], u"B2");
    b.FMinListWidth = 10;
    std::vector<String> items;
    for (int i = 0; i < 20; ++i) items.push_back(String(10, u'x'));
    b.SetItems(items);
    EXPECT_EQ(b.AutoListWidth(), 70 + 4);
    items.push_back(u"y");
    b.SetItems(items);
    EXPECT_EQ(b.AutoListWidth(), 70 + 4 + b.FScrollBarWidth);
    b.FMaxListWidth = 50;
    EXPECT_EQ(b.AutoListWidth(), 50);
    b.OnMeasureWidth = [](int index, int& w) {
        if (index == 0) w = 500;
    };
    b.FMaxListWidth = 0;
    EXPECT_EQ(b.AutoListWidth(), 500 + 4 + b.FScrollBarWidth);
    b.FMinListWidth = 1000;
    EXPECT_EQ(b.AutoListWidth(), 1000);
}

TEST(ListButtonPlacement, BelowAboveAtMostTwentyRowsAndRightAligned) {
    TDropDownRequest r;
    r.Monitor = TRect{0, 0, 1000, 800};
    r.Button = TRect{100, 100, 117, 117};
    r.ItemCount = 30;
    r.ItemHeight = [](int) { return 15; };
    r.ListWidth = 120;
    TDropDownPlacement p = DropDownPlacement(r);
    EXPECT_FALSE(p.Above);
    EXPECT_EQ(p.VisibleRows, 20);
    EXPECT_EQ(p.Bounds, (TRect{101, 117, 101 + 119, 117 + 2 + 300}));

    r.Button = TRect{100, 700, 117, 717};  // near the bottom: above the button
    p = DropDownPlacement(r);
    EXPECT_TRUE(p.Above);
    EXPECT_EQ(p.Bounds.Bottom, 700);
    EXPECT_EQ(p.Bounds.Top, 700 - 302);

    r.Monitor = TRect{0, 0, 1000, 200};  // little room either way: fewer rows
    r.Button = TRect{100, 90, 117, 107};
    p = DropDownPlacement(r);
    EXPECT_EQ(p.VisibleRows, 6);  // 2 + 6 * 15 <= 93, the larger space (below)
    EXPECT_FALSE(p.Above);

    r.ItemCount = 0;
    r.FontHeight = 13;
    EXPECT_EQ(DropDownPlacement(r).Bounds.Height(), 17);

    r.Monitor = TRect{0, 0, 1000, 800};
    r.ItemCount = 3;
    r.Align = daRight;
    r.Button = TRect{500, 100, 517, 117};
    p = DropDownPlacement(r);
    EXPECT_EQ(p.Bounds.Right, 517);
    r.Button = TRect{20, 100, 37, 117};  // the monitor's left edge limits it
    p = DropDownPlacement(r);
    EXPECT_EQ(p.Bounds.Left, 0);
}

}  // namespace
}  // namespace ide
