// Selection and input: keeping a new selection in view, multiple selection,
// the clicks, the keys that move the selection, focus, and the selected text.
#include <gtest/gtest.h>

#include "ScriptedHost.h"

using namespace ide;
using namespace distest;

namespace {

struct Select : ::testing::Test {
    ScriptedHost host;
    RecordingWindow window;
    TDisassemblerLogic view{&window};
    std::vector<int64_t> changed;

    void SetUp() override {
        host.Lay(0x2000, {2, 2, 4, 1, 3, 2, 2, 5, 1, 1, 2, 3, 2, 2, 2, 2});
        host.Attach(view);
        view.OnAddressChanged = [this](TDisassemblerLogic*, int64_t A) { changed.push_back(A); };
        view.Resize(200, 50);  // 6 lines
        view.FontChanged();
        view.SetMixedSource(false);
        view.SetTopAddress(At(0));
        view.InternalSetSelectedAddress(At(0));
        Paint();
        window.Reset();
    }
    void Paint() {
        RecordingCanvas canvas;
        view.Paint(canvas);
    }
    int64_t At(int i) const { return host.Code[i].Addr; }
};

TEST_F(Select, ASelectionOnScreenRedrawsTwoGroupsAndOffScreenScrolls) {
    view.SetSelectedAddress(At(2));
    EXPECT_EQ(view.TopAddress(), At(0));
    EXPECT_EQ(window.Whole, 0);
    EXPECT_EQ(window.Rects, (std::vector<TRect>{{0, 0, 200, 10}, {0, 20, 200, 30}}));
    EXPECT_EQ(changed, (std::vector<int64_t>{At(2)}));

    // The bottom line is partly hidden: selecting it scrolls one instruction.
    ASSERT_EQ(view.BottomAddress(), At(5));
    view.SetSelectedAddress(At(5));
    EXPECT_EQ(view.TopAddress(), At(1));
    Paint();
    // One past the bottom scrolls two.
    view.SetSelectedAddress(At(7));
    EXPECT_EQ(view.TopAddress(), At(3));
    Paint();
    // Far away: the selection becomes the top.
    view.SetSelectedAddress(At(14));
    EXPECT_EQ(view.TopAddress(), At(14));
    EXPECT_EQ(changed.size(), 4u);
}

TEST_F(Select, ASelectionInsideAShownInstructionRedecodesFromIt) {
    view.SetSelectedAddress(At(2) + 1);
    EXPECT_EQ(view.TopAddress(), At(2) + 1);
    EXPECT_EQ(view.SelectedAddress(), At(2) + 1);
    // Moving up from there retraces the painted lines before it asks the host.
    Paint();
    view.SetSelectedAddress(At(3));
    const int prevAsks = host.Prev;
    view.LineUp(false);
    EXPECT_EQ(view.SelectedAddress(), At(2) + 1);  // the host would have said At(2)
    EXPECT_EQ(host.Prev, prevAsks);
    view.LineUp(false);  // the first line: now the host is asked
    EXPECT_EQ(view.SelectedAddress(), At(2));
    EXPECT_EQ(view.TopAddress(), At(2));
}

TEST_F(Select, SteppingPutsAnOffScreenLineAtTheTopWithoutAnAddressChange) {
    view.SteppingSetSelectedAddress(At(3));
    EXPECT_EQ(view.TopAddress(), At(0));
    EXPECT_EQ(changed.size(), 1u);
    view.SteppingSetSelectedAddress(At(9));
    EXPECT_EQ(view.TopAddress(), At(9));
    EXPECT_EQ(view.SelectedAddress(), At(9));
    EXPECT_EQ(changed.size(), 1u);
}

TEST_F(Select, ShiftExtendsAMultipleSelectionAndAnUnchangedEndRepaintsNothing) {
    view.LineDown(true);
    view.LineDown(true);
    EXPECT_TRUE(view.HasMultiSelection());
    EXPECT_EQ(view.SelectedAddress(), At(0));
    EXPECT_EQ(view.EndSelectionAddress(), At(2));
    EXPECT_TRUE(view.AddressIsSelected(At(1)));
    EXPECT_TRUE(view.AddressIsSelected(At(1) + 1));  // by range, not by line
    EXPECT_FALSE(view.AddressIsSelected(At(3)));
    window.Reset();
    view.SetEndSelectionAddress(At(2));
    EXPECT_TRUE(window.Rects.empty());
    EXPECT_EQ(window.Whole, 0);

    EXPECT_EQ(view.GetSelectedText(), u"insn_0\r\ninsn_1\r\ninsn_2");

    // A right click inside the selection keeps it; a left click drops it.
    view.MouseDown(mbRight, 0, 100, 15);
    EXPECT_TRUE(view.HasMultiSelection());
    view.MouseDown(mbLeft, 0, 100, 15);
    EXPECT_FALSE(view.HasMultiSelection());
    EXPECT_EQ(view.SelectedAddress(), At(1));
    EXPECT_EQ(view.EndSelectionAddress(), 0);

    // A left drag extends; leaving the control does not.
    view.MouseMove(ShiftBit(ssLeft), 100, 35);
    EXPECT_EQ(view.EndSelectionAddress(), At(3));
    view.MouseMove(ShiftBit(ssLeft), 100, 500);
    EXPECT_EQ(view.EndSelectionAddress(), At(3));
    view.MouseUp(mbLeft, 0, 100, 35);
    view.MouseMove(0, 100, 45);
    EXPECT_EQ(view.EndSelectionAddress(), At(3));
    view.SetSelectedAddress(At(0));
    EXPECT_FALSE(view.HasMultiSelection());
}

TEST_F(Select, ClicksSelectTheInstructionUnderAHeaderAndReportTheGutter) {
    host.Labels[At(1)] = "f";
    view.ClearCache();
    Paint();  // insn_0, f:, insn_1, ...
    int gutter = 0;
    view.OnGutterClicked = [&](TDisassemblerLogic*, TMouseButton B, TShiftState S) {
        ++gutter;
        EXPECT_EQ(B, mbLeft);
        EXPECT_EQ(S, ShiftBit(ssShift));
    };
    view.SetMultiSelect(false);
    view.MouseDown(mbLeft, ShiftBit(ssShift), 5, 12);  // the label line
    EXPECT_EQ(view.SelectedAddress(), At(1));
    EXPECT_FALSE(view.HasMultiSelection());  // Shift extends only with MultiSelect
    EXPECT_EQ(gutter, 1);
    view.MouseDown(mbLeft, ShiftBit(ssShift), 40, 25);
    EXPECT_EQ(gutter, 1);
    view.MouseDown(mbLeft, 0, 250, 25);  // outside the client area
    EXPECT_EQ(view.SelectedAddress(), At(1));
}

TEST_F(Select, SelectedTextHoldsEveryDisplayLineAndStopsOnAStuckStream) {
    host.Lines = {{At(1), At(3), 7, "call();"}};
    host.Labels[At(3)] = "L3";
    host.Additional[At(3)] = "; note";
    view.SetMixedSource(true);
    view.ClearCache();
    Paint();
    view.InternalSetSelectedAddress(At(1));
    view.SetEndSelectionAddress(At(3));
    EXPECT_EQ(view.GetSelectedText(), u"main.c.7: call();\r\ninsn_1\r\ninsn_2\r\nL3:\r\n; note\r\ninsn_3");

    // A host whose next address does not move would loop for ever.
    view.OnDisassemble = [](TDisassemblerLogic*, int64_t&, String& R, int32_t&) { R = u"stuck"; };
    view.ClearCache();
    view.SetMixedSource(false);
    EXPECT_EQ(view.GetSelectedText(), u"stuck");
}

TEST_F(Select, FocusShowsTheBarsAndScrollsWhenTheSelectionSitsAboveTheBottom) {
    window.Focus = true;
    view.FocusIn();
    EXPECT_TRUE(window.BarsShown);
    EXPECT_EQ(view.TopAddress(), At(0));
    view.FocusOut();
    EXPECT_FALSE(window.BarsShown);
    view.InternalSetSelectedAddress(At(4));  // its next is the bottom line
    view.FocusIn();
    EXPECT_EQ(view.TopAddress(), At(1));
    view.FocusOut(/*Destroying=*/true);
    EXPECT_TRUE(window.BarsShown);
}

TEST_F(Select, InvalidatingASelectionIsBoundedAndSkipsAddressesOffTheList) {
    view.InvalidateSelection(At(1), At(3));
    EXPECT_EQ(window.Rects.size(), 3u);
    window.Reset();
    view.InvalidateSelection(INT64_MIN, INT64_MAX);  // clamped to the screen's bytes
    EXPECT_EQ(window.Rects.size(), 6u);
    window.Reset();
    view.InvalidateAtAddress(At(9), false);  // below the bottom
    EXPECT_TRUE(window.Rects.empty());
    view.InvalidateAtAddress(At(2) + 1, false);  // not a line: the whole control
    EXPECT_EQ(window.Whole, 1);
}

}  // namespace
