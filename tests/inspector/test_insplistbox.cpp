// The inspector list box's logic on a plain edit and list button: the commit
// protocol and what survives a refused value, Enter/Escape/auto update,
// fill-by-typing and auto-fill, the names side, the divider drag, the
// memory of open rows and the clipped-text hint.
#include <gtest/gtest.h>

#include "FakeProperty.h"
#include "inspector/IDEInspListBox.h"

namespace ide {
namespace {
using namespace test;

// The edit and the button are made before the list box that uses them.
struct InspParts {
    TPlainInspEdit edit;
    TListButton button;
};

struct Insp : InspParts, TInspListBox {
    std::vector<IntfRef<IProperty>> Props;
    std::vector<std::string> Shown;  // messages handed to the exception bridge
    int SelectionFocus = 0;
    Insp() : TInspListBox(&edit, &button) {
        OnGetProperties = [this](TCustomPropListBox*, const TGetPropProc& add) {
            for (auto& p : Props) add(p);
        };
        HandleExceptionProc = [this](std::exception_ptr e) {
            try {
                std::rethrow_exception(e);
            } catch (const std::exception& x) {
                Shown.push_back(x.what());
            }
        };
        SetItemHeight(16);
        SetClientSize(300, 160);
        SetMiddle(100);
    }
    void FocusSelection() override { ++SelectionFocus; }
    // A key typed into the edit; answers what is left of it (0: consumed).
    char16_t Key(char16_t k) {
        EditKeyPress(k);
        return k;
    }
    int Y(int row) const { return (row - TopIndex()) * ItemHeight() + 4; }
};

TEST(InspCommit, EnterWritesEvenUnchangedTextAndLeavingWritesOnlyModifiedText) {
    Insp b;
    auto left = Prop(u"Left", u"10");
    b.Props = {left, Prop(u"Top", u"5")};
    b.Reset();
    EXPECT_EQ(b.edit.Text(), u"10");
    EXPECT_EQ(b.CancelValue(), u"10");
    EXPECT_FALSE(b.edit.Modified());
    b.Key(vkReturn);
    EXPECT_EQ(left->Count("SetValue"), 1);  // unchanged text written again
    b.DoExit();
    EXPECT_EQ(left->Count("SetValue"), 1);  // not modified: nothing
    b.edit.SelectAll();
    b.edit.Type(u"12");
    b.DoExit();
    EXPECT_EQ(left->Written.back(), u"12");
    EXPECT_EQ(left->Count("SetValue"), 2);
    EXPECT_FALSE(b.edit.Modified());
}

TEST(InspCommit, RefusedValueShowsTheMessageKeepsTheRowAndRestoresTheText) {
    Insp b;
    auto width = Prop(u"Width", u"75");
    width->FIntegerOnly = true;
    auto font = Prop(u"Font", u"", TPropertyAttributes{paSubProperties});
    font->FChildren = {Prop(u"Size", u"9")};
    b.Props = {font, width, Prop(u"Top", u"5")};
    b.Reset();
    b.AdjustItem(0);
    b.SelectItem(2);
    ASSERT_EQ(b.CurItem()->GetName(), u"Width");
    b.edit.SelectAll();
    b.edit.Type(u"abc");
    b.Key(vkReturn);
    ASSERT_EQ(b.Shown.size(), 1u);
    EXPECT_EQ(b.Shown[0], "'abc' is not a valid integer value");
    EXPECT_EQ(width->FValue, u"75");  // nothing changed in the object
    EXPECT_EQ(b.ItemIndex(), 2);      // the row stays
    EXPECT_TRUE(b.GetPropItem(0)->IsExpanded());  // open rows stay
    EXPECT_EQ(b.edit.Text(), u"75");  // the text is the stored value again
    EXPECT_FALSE(b.edit.Modified());
    // Leaving the row afterwards writes nothing.
    b.DoExit();
    EXPECT_EQ(width->Count("SetValue"), 1);

    // A click on another row while the value is invalid: the click is dropped.
    b.edit.SelectAll();
    b.edit.Type(u"x1");
    b.MouseDown(mbLeft, 0, 30, b.Y(3), true);
    EXPECT_EQ(b.ItemIndex(), 2);
    EXPECT_EQ(b.Shown.size(), 2u);
    // A valid value lets the click through.
    b.edit.SelectAll();
    b.edit.Type(u"80");
    b.MouseDown(mbLeft, 0, 30, b.Y(3), true);
    EXPECT_EQ(width->FValue, u"80");
    EXPECT_EQ(b.CurItem()->GetName(), u"Top");
    EXPECT_EQ(b.TrackMode(), tmSelect);
    b.MouseUp(mbLeft, 0, 30, b.Y(3));
    EXPECT_EQ(b.TrackMode(), tmNone);

    // Without HandleException the refusal goes on to the caller.
    b.SelectItem(2);
    b.edit.SelectAll();
    b.edit.Type(u"zz");
    EXPECT_THROW(b.SetPropValue(true, false), Exception);
}

TEST(InspCommit, ReadOnlyRowsAreNotWrittenAndTheConfiguredMessageIsShown) {
    Insp b;
    auto ro = Prop(u"Handle", u"42", TPropertyAttributes{paReadOnly});
    auto editable = Prop(u"Cursor", u"crDefault", TPropertyAttributes{paReadOnly, paValueEditable});
    b.Props = {ro, editable};
    b.Reset();
    EXPECT_TRUE(b.edit.ReadOnly());
    b.edit.FText = u"43";  // what a paste into a read-only edit would try
    b.edit.FModified = true;
    EXPECT_FALSE(b.SetPropValue(true, true));
    EXPECT_EQ(b.edit.Text(), u"42");
    EXPECT_TRUE(b.Shown.empty());
    b.FReadOnlyMsg = u"The property is read-only";
    b.edit.FModified = true;
    EXPECT_FALSE(b.SetPropValue(true, true));
    ASSERT_EQ(b.Shown.size(), 1u);
    EXPECT_EQ(b.Shown[0], "The property is read-only");
    EXPECT_EQ(ro->Count("SetValue"), 0);
    // Read-only but value-editable is written.
    b.SelectItem(1);
    EXPECT_TRUE(b.SetPropValue(false, true));
    EXPECT_EQ(editable->Count("SetValue"), 1);
    // The whole list box read-only.
    b.FReadOnly = true;
    EXPECT_FALSE(b.SetPropValue(false, true));
    EXPECT_EQ(editable->Count("SetValue"), 1);
}

TEST(InspCommit, EscapeWritesBackTheValueTheRowHadAfterAutoUpdate) {
    Insp b;
    auto caption = Prop(u"Caption", u"Form1", TPropertyAttributes{paAutoUpdate});
    b.Props = {caption};
    b.Reset();
    b.edit.SelectAll();
    b.edit.Type(u"Hello");  // auto update writes every change
    EXPECT_EQ(caption->FValue, u"Hello");
    EXPECT_EQ(b.CancelValue(), u"Form1");  // not refreshed during auto update
    EXPECT_EQ(b.edit.Text(), u"Hello");
    b.Key(vkEscape);
    EXPECT_EQ(caption->FValue, u"Form1");
    EXPECT_EQ(b.edit.Text(), u"Form1");
    EXPECT_EQ(b.edit.SelLength(), 5);
    const int writes = caption->Count("SetValue");
    b.Key(vkEscape);  // same text: nothing written
    EXPECT_EQ(caption->Count("SetValue"), writes);
}

TEST(InspCommit, AutoUpdateWriteThatResetsTheListKeepsTextCaretAndSelection) {
    Insp b;
    auto caption = Prop(u"Caption", u"ab", TPropertyAttributes{paAutoUpdate});
    b.Props = {Prop(u"Align"), caption};
    caption->AfterSet = [&] {  // the host rebuilds the list on every change
        b.Reset();
        b.SetSelectedPropertyPath(u"Caption");
    };
    b.Reset();
    b.SelectItem(1);
    b.edit.SetFocus();
    b.edit.SetSel(2, 0);
    b.edit.Type(u"c");
    EXPECT_EQ(caption->FValue, u"abc");
    EXPECT_EQ(b.edit.Text(), u"abc");
    EXPECT_EQ(b.edit.SelStart(), 3);
    EXPECT_EQ(b.ItemIndex(), 1);
    EXPECT_EQ(b.CurItem()->GetName(), u"Caption");
    // While the text is modified, a reset of an auto-update row is skipped.
    b.edit.SetModified(true);
    const int before = caption->Count("GetEditValue");
    b.Reset();
    EXPECT_EQ(caption->Count("GetEditValue"), before);
}

TEST(InspValueList, TypingCompletesToTheFirstMatchInListOrderAndBackspaceDoesNotComplete) {
    Insp b;
    auto color = Prop(u"Color", u"clBlack", TPropertyAttributes{paValueList});
    color->FValues = {u"clRed", u"Cyan", u"clBlack"};
    b.Props = {color};
    b.Reset();
    b.edit.SelectAll();
    b.Key(u'c');
    b.edit.Type(u"c");
    EXPECT_EQ(b.edit.Text(), u"clRed");
    EXPECT_EQ(b.edit.SelStart(), 1);
    EXPECT_EQ(b.edit.SelLength(), 4);  // the tail stays selected
    EXPECT_TRUE(b.edit.Modified());
    EXPECT_EQ(b.button.GetItemIndex(), 0);
    const int fills = color->Count("GetValues");
    EXPECT_GE(fills, 1);
    // Backspace removes the selected tail without a new completion.
    b.Key(vkBack);
    b.edit.Type(u"");
    EXPECT_EQ(b.edit.Text(), u"c");
    EXPECT_EQ(color->Count("GetValues"), fills);
    // The list is refilled from the property on every key.
    b.Key(u'x');
    b.edit.Type(u"x");
    EXPECT_EQ(b.edit.Text(), u"cx");  // "cx" matches nothing
    EXPECT_EQ(color->Count("GetValues"), fills + 1);
    EXPECT_EQ(color->Count("SetValue"), 0);  // completion doesn't write
    b.Key(vkReturn);
    EXPECT_EQ(color->Written.back(), u"cx");
    // The values are asked again at every key: a changed list is seen at once.
    color->FValues = {u"Crimson"};
    EXPECT_EQ(b.FindBest(u"C"), 0);
    EXPECT_EQ(b.button.GetItems(), (std::vector<String>{u"Crimson"}));
    color->FValues = {u"clRed", u"Cyan", u"clBlack"};
    EXPECT_EQ(b.FindBest(u"cy"), 1);
    EXPECT_EQ(b.button.GetItems().size(), 3u);
}

TEST(InspValueList, ReadOnlyListTakesKeysOnlyWhenTheyMatchAndBackspaceToNothingRestores) {
    Insp b;
    auto align = Prop(u"Align", u"alNone",
                      TPropertyAttributes{paValueList, paReadOnly, paValueEditable, paAutoUpdate, paSortList});
    align->FValues = {u"alTop", u"alBottom", u"alNone", u"alClient"};
    b.Props = {align};
    b.Reset();
    EXPECT_TRUE(b.edit.ReadOnly());
    b.edit.SetSel(0, 0);
    EXPECT_EQ(b.Key(u'A'), 0);  // consumed
    EXPECT_EQ(b.edit.Text(), u"alBottom");  // sorted list: alBottom, alClient, alNone, alTop
    EXPECT_EQ(align->FValue, u"alBottom");  // the completed entry is written by auto update
    EXPECT_TRUE(b.edit.ReadOnly());
    b.Key(u'l');
    b.Key(u't');
    EXPECT_EQ(b.edit.Text(), u"alTop");
    EXPECT_EQ(b.edit.SelStart(), 3);
    EXPECT_EQ(b.Key(u'q'), 0);  // matches nothing: swallowed, the text stays
    EXPECT_EQ(b.edit.Text(), u"alTop");
    for (int i = 0; i < 3; ++i) b.Key(vkBack);
    EXPECT_EQ(b.edit.Text(), u"alNone");  // down to nothing: the value the row had
    EXPECT_EQ(b.edit.SelLength(), 6);
}

TEST(InspValueList, DropDownShowsTheValuesAndAcceptWritesTheEntry) {
    Insp b;
    auto vis = Prop(u"Visible", u"True", TPropertyAttributes{paValueList});
    vis->FValues = {u"False", u"True"};
    b.Props = {vis};
    b.Reset();
    int key = vkDown;
    b.EditKeyDown(key, ShiftBit(ssAlt));
    ASSERT_TRUE(b.IsListButtonDropped());
    EXPECT_EQ(b.button.GetItemIndex(), 1);  // the exact entry of the text
    b.button.KeyPress(u'f');
    b.button.KeyPress(vkReturn);
    EXPECT_FALSE(b.IsListButtonDropped());
    EXPECT_EQ(vis->FValue, u"False");
    EXPECT_EQ(vis->Count("SetValue"), 1);
    EXPECT_EQ(b.edit.Text(), u"False");
    b.EditKeyDown(key = vkDown, ShiftBit(ssAlt));
    b.button.KeyPress(vkEscape);  // cancel: the value stays, the text too
    EXPECT_EQ(vis->Count("SetValue"), 1);
    EXPECT_EQ(b.edit.Text(), u"False");

    // A dialog property gets the double click instead of a list.
    auto dlg = Prop(u"Items", u"(strings)", TPropertyAttributes{paDialog});
    bool dbl = true;
    int fired = 0;
    b.OnEditDblClick = [&](bool d) { dbl = d, ++fired; };
    b.Props = {dlg};
    b.Reset();
    b.EditKeyDown(key = vkDown, ShiftBit(ssAlt));
    EXPECT_EQ(fired, 1);
    EXPECT_FALSE(dbl);
    EXPECT_FALSE(b.IsListButtonDropped());
    b.Key(10);  // Ctrl + Enter
    EXPECT_EQ(fired, 2);
    EXPECT_TRUE(dbl);
}

TEST(InspKeys, DeleteRevertsARevertableReadOnlyRowOnly) {
    Insp b;
    auto font = Prop(u"Font", u"(TFont)", TPropertyAttributes{paReadOnly, paRevertable, paSubProperties});
    font->FDefault = u"(default)";
    auto list = Prop(u"Color", u"clRed", TPropertyAttributes{paValueList, paRevertable});
    b.Props = {font, list};
    b.Reset();
    int key = vkDelete;
    b.EditKeyDown(key, 0);
    EXPECT_EQ(font->Count("Revert"), 1);
    EXPECT_EQ(b.edit.Text(), u"(default)");
    b.SelectItem(1);
    b.EditKeyDown(key = vkDelete, 0);
    EXPECT_EQ(list->Count("Revert"), 0);
}

TEST(InspNames, TypedPrefixSearchesSiblingsAndTakesTheRowsCase) {
    Insp b;
    auto font = Prop(u"Font", u"", TPropertyAttributes{paSubProperties});
    font->FChildren = {Prop(u"Name"), Prop(u"Size"), Prop(u"Style")};
    b.Props = {Prop(u"Align"), font, Prop(u"Height"), Prop(u"Hint"), Prop(u"Style")};
    b.Reset();
    b.Key(vkTab);
    EXPECT_TRUE(b.NamesSelected());
    EXPECT_EQ(b.SelectionFocus, 1);
    char16_t k = u'h';
    b.SelectionKeyPress(k);
    EXPECT_EQ(b.CurItem()->GetName(), u"Height");
    EXPECT_EQ(b.SelectString(), u"H");
    for (char16_t c : String(u"iN")) b.SelectionKeyPress(c = c);
    EXPECT_EQ(b.CurItem()->GetName(), u"Hint");
    EXPECT_EQ(b.SelectString(), u"Hin");
    char16_t z = u'z';
    b.SelectionKeyPress(z);  // matches nothing: ignored
    EXPECT_EQ(b.SelectString(), u"Hin");
    EXPECT_EQ(b.CaretX(), b.ItemLevelOffset(0) + b.GetSubBoxWidth() + 2 + 3 * 7);
    char16_t esc = vkEscape;
    b.SelectionKeyPress(esc);
    EXPECT_EQ(b.SelectString(), u"");
    // "." opens the row and steps into it; the search stays among siblings.
    b.SelectItem(1);
    char16_t dot = u'.';
    b.SelectionKeyPress(dot);
    EXPECT_EQ(b.CurItem()->GetPath(), u"Font.Name");
    char16_t s = u's';
    b.SelectionKeyPress(s);
    EXPECT_EQ(b.CurItem()->GetPath(), u"Font.Size");  // not the top-level Style
    EXPECT_EQ(b.FirstItem(), 2);
    // Backspace with no search string goes to the parent and closes it.
    b.ClearSelectString();
    char16_t back = vkBack;
    b.SelectionKeyPress(back);
    EXPECT_EQ(b.CurItem()->GetName(), u"Font");
    EXPECT_FALSE(b.CurItem()->IsExpanded());
    // Left and Right on the names side open and close.
    int key = vkRight;
    b.SelectionKeyDown(key, 0);
    EXPECT_TRUE(b.CurItem()->IsExpanded());
    key = vkRight;
    b.SelectionKeyDown(key, 0);
    EXPECT_EQ(key, vkDown);  // an open row: the key becomes Down
    key = vkLeft;
    b.SelectionKeyDown(key, 0);
    EXPECT_FALSE(b.CurItem()->IsExpanded());
    char16_t enter = vkReturn;
    b.SelectionKeyPress(enter);
    EXPECT_FALSE(b.NamesSelected());
    EXPECT_TRUE(b.edit.Focused());
}

TEST(InspMouse, PressNearTheDividerDragsItWithinItsLimitsAndSelectsNothing) {
    Insp b;
    b.Props = {Prop(u"A"), Prop(u"B"), Prop(u"C")};
    b.Reset();
    b.SelectItem(2);
    EXPECT_TRUE(b.SplitCursor(102));
    EXPECT_FALSE(b.SplitCursor(104));
    b.MouseDown(mbLeft, 0, 102, b.Y(0), true);  // within 2 pixels
    EXPECT_EQ(b.TrackMode(), tmResize);
    EXPECT_EQ(b.ItemIndex(), 2);
    b.MouseMove(0, 150, b.Y(0));
    EXPECT_EQ(b.Middle(), 148);  // the grab offset is kept
    b.MouseMove(0, 5, b.Y(0));
    EXPECT_EQ(b.Middle(), 32);  // 2 * ItemHeight
    b.MouseMove(0, 900, b.Y(0));
    EXPECT_EQ(b.Middle(), 300 - 48);
    EXPECT_EQ(b.ControlsLayout().Edit.Left, 300 - 48 + 8 + 3);  // the edit follows live
    b.MouseUp(mbLeft, 0, 900, b.Y(0));
    EXPECT_EQ(b.TrackMode(), tmNone);
    b.MouseDown(mbLeft, 0, 100, b.Y(1), true);  // away from the divider: a row click
    EXPECT_EQ(b.TrackMode(), tmSelect);
    EXPECT_EQ(b.ItemIndex(), 1);
    b.MouseMove(0, 100, 500);  // dragging below selects the last row
    EXPECT_EQ(b.ItemIndex(), 2);
}

TEST(InspMouse, ClickOnTheExpandBoxOpensAndDoubleClickToggles) {
    Insp b;
    auto font = Prop(u"Font", u"", TPropertyAttributes{paSubProperties});
    font->FChildren = {Prop(u"Size")};
    b.Props = {Prop(u"A"), font};
    b.Reset();
    b.MouseDown(mbLeft, 0, 6, b.Y(1), true);
    EXPECT_EQ(b.Count(), 3);
    EXPECT_EQ(b.ItemIndex(), 1);
    int dbl = 0;
    b.OnDblClick = [&] { ++dbl; };
    b.DblClick(60, b.Y(1));
    EXPECT_EQ(b.Count(), 2);
    EXPECT_EQ(dbl, 1);
}

TEST(InspLayout, ControlsStandOnTheCurrentRow) {
    Insp b;
    auto list = Prop(u"Color", u"clRed", TPropertyAttributes{paValueList});
    auto full = Prop(u"Section", u"", TPropertyAttributes{paFullWidthName});
    b.Props = {Prop(u"A"), list, full};
    b.Reset();
    b.SelectItem(1);
    const auto l = b.ControlsLayout();
    EXPECT_EQ(l.Selection, (TRect{0, 16, 299, 32}));
    EXPECT_TRUE(l.ButtonVisible);
    EXPECT_EQ(l.ListButton, (TRect{284, 16, 300, 32}));
    EXPECT_EQ(l.Edit.Left, 100 + 8 + 3);  // 3 right of the value text's left edge
    EXPECT_EQ(l.Edit.Top, 17);
    EXPECT_EQ(l.Edit.Height(), 13);
    EXPECT_EQ(l.Edit.Width(), 300 - 100 - 2 - 16);
    b.SelectItem(2);
    EXPECT_FALSE(b.edit.Visible());  // full-width rows have no edit
    EXPECT_FALSE(b.ControlsLayout().ButtonVisible);
    EXPECT_EQ(b.ItemVisibleCount(), 10);
    b.SetClientSize(300, 0);
    EXPECT_EQ(b.ItemVisibleCount(), 19);  // an unsized control counts as 304 high
}

TEST(InspExpandedPaths, RememberedRowsReopenInIndexOrder) {
    Insp b;
    auto font = Prop(u"Font", u"", TPropertyAttributes{paSubProperties});
    auto style = Prop(u"Style", u"", TPropertyAttributes{paSubProperties});
    style->FChildren = {Prop(u"Bold")};
    font->FChildren = {style};
    auto anchors = Prop(u"Anchors", u"", TPropertyAttributes{paSubProperties});
    anchors->FChildren = {Prop(u"Left")};
    b.Props = {anchors, font};
    b.Reset();
    TExpandedPaths none;
    b.ReexpandItemPaths(none, false);
    EXPECT_EQ(b.Count(), 2);
    b.ReexpandItemPaths(none, true);  // all top-level expandable rows, not deeper
    EXPECT_EQ(b.Count(), 4);
    for (int i = 0; i < b.Count(); ++i) b.GetPropItem(i)->Attributes();  // as painting does
    TExpandedPaths paths;
    paths.AddLine(u"Other.Row=1");  // kept although not shown
    b.ValidateExpandedItemPaths(paths);
    EXPECT_EQ(paths.Lines(),
              (std::vector<String>{u"Other.Row=1", u"Anchors=1", u"Font=1", u"Font.Style=0"}));
    paths.SetValue(u"font.style", u"1");
    paths.SetValue(u"Anchors", u"0");
    b.Reset();
    b.ReexpandItemPaths(paths, false);
    std::vector<String> rows;
    for (int i = 0; i < b.Count(); ++i) rows.push_back(b.GetItemPath(i));
    EXPECT_EQ(rows, (std::vector<String>{u"Anchors", u"Font", u"Font.Style", u"Font.Style.Bold"}));
}

TEST(InspHint, OnlyClippedTextAndNeverTheCurrentRowsValue) {
    Insp b;
    auto longValue = Prop(u"Caption", u"A rather long caption that cannot fit");
    auto shortValue = Prop(u"Tag", u"0");
    auto longName = Prop(u"AVeryLongPropertyNameIndeed", u"1");
    b.Props = {Prop(u"Align", u"alNone"), shortValue, longValue, longName};
    b.Reset();
    auto width = [](const String& s, TFontStyles) { return 7 * static_cast<int>(s.size()); };
    EXPECT_FALSE(b.CalcHint(150, b.Y(1), width).Show);  // fits
    TInspHint h = b.CalcHint(150, b.Y(2), width);
    ASSERT_TRUE(h.Show);
    EXPECT_EQ(h.Text, u"A rather long caption that cannot fit");
    EXPECT_EQ(h.CursorRect, (TRect{102, 32, 300, 48}));
    b.SelectItem(2);
    EXPECT_FALSE(b.CalcHint(150, b.Y(2), width).Show);  // the edit shows it
    h = b.CalcHint(20, b.Y(3), width);
    ASSERT_TRUE(h.Show);
    EXPECT_EQ(h.Text, u"AVeryLongPropertyNameIndeed");
    EXPECT_EQ(h.CursorRect.Right, 100);
    EXPECT_FALSE(b.CalcHint(100, b.Y(3), width).Show);  // on the divider
    EXPECT_FALSE(b.CalcHint(101, b.Y(3), width).Show);
    longValue->FAllEqual = false;
    b.SelectItem(0);
    EXPECT_FALSE(b.CalcHint(150, b.Y(2), width).Show);  // no common value
    // The event may change the text: then the hint shows although it fits.
    b.OnGetHintStr = [](String& text, TRect&) { text = u"Tag: " + text; };
    EXPECT_TRUE(b.CalcHint(150, b.Y(1), width).Show);
}

TEST(InspWheel, ScrollsByLinesOrPagesAndNotWhileDropped) {
    Insp b;
    for (int i = 0; i < 30; ++i) b.Props.push_back(Prop(u"P" + String(1, char16_t(u'A' + i))));
    b.Reset();
    EXPECT_TRUE(b.MouseWheel(1, 0));
    EXPECT_EQ(b.TopIndex(), 3);
    b.MouseWheel(1, ShiftBit(ssCtrl));
    EXPECT_EQ(b.TopIndex(), 13);
    b.MouseWheel(1, ShiftBit(ssCtrl));
    b.MouseWheel(1, ShiftBit(ssCtrl));
    EXPECT_EQ(b.TopIndex(), 20);  // the last page
    b.MouseWheel(-1, 0);
    EXPECT_EQ(b.TopIndex(), 17);
}

}  // namespace
}  // namespace ide
