// Painting of the property list box on the recording canvas: which colour
// role lands where, what is clipped, and what the rows don't cover.
#include <gtest/gtest.h>

#include "FakeProperty.h"
#include "foundation/RecordingCanvas.h"
#include "inspector/PropBox.h"

namespace ide {
namespace {
using namespace test;

struct Box : TCustomPropListBox {
    std::vector<IntfRef<IProperty>> Props;
    Box() {
        OnGetProperties = [this](TCustomPropListBox*, const TGetPropProc& add) {
            for (auto& p : Props) add(p);
        };
        SetItemHeight(16);
        SetClientSize(300, 100);
        SetMiddle(120);
    }
};

const TCanvasOp* TextOp(const TRecordingCanvas& c, const String& text) {
    for (const TCanvasOp& op : c.Ops())
        if ((op.Kind == coTextRect || op.Kind == coTextOut) && op.Text == text) return &op;
    return nullptr;
}

TEST(PropBoxPaint, ColourRolesOfNamesValuesGutterAndSelection) {
    Box b;
    auto changed = Prop<TFakeDefaultProp>(u"Caption", u"Hello");
    changed->FDefault = u"Form1";
    auto same = Prop<TFakeDefaultProp>(u"Tag", u"0");
    same->FDefault = u"0";
    auto shown = Prop(u"Handle", u"42", TPropertyAttributes{paDisplayReadOnly});
    b.Props = {Prop(u"Align", u"alNone"), changed, same, shown};
    b.Reset();
    TRecordingCanvas c;
    b.Paint(c);

    // Row 0 is current: the name cell in the highlight, its text in the highlight text colour.
    EXPECT_EQ(c.BackgroundAt(40, 8), b.FHighlightColor);
    EXPECT_EQ(TextOp(c, u"Align")->FontColor, b.FHighlightFontColor);
    // Its value cell has the edit background.
    EXPECT_EQ(c.BackgroundAt(200, 8), b.FEditBackgroundColor);
    // Other rows: the gutter colour at the left, names in their colour.
    EXPECT_EQ(c.BackgroundAt(2, 24), b.FGutterColor);
    EXPECT_EQ(TextOp(c, u"Caption")->FontColor, b.FPropNameColor);
    // A value that isn't its default: the non-default colour and style.
    const TCanvasOp* hello = TextOp(c, u"Hello");
    ASSERT_NE(hello, nullptr);
    EXPECT_EQ(hello->FontColor, b.FNonDefaultColor);
    EXPECT_TRUE(hello->FontStyle.Contains(fsBold));
    EXPECT_EQ(hello->X, 120 + 2 + b.FValuesIndent + 1);
    const TCanvasOp* zero = TextOp(c, u"0");
    EXPECT_EQ(zero->FontColor, b.FPropValueColor);
    EXPECT_FALSE(zero->FontStyle.Contains(fsBold));
    // Display read-only: the read-only colour for the name and the value.
    b.FReadOnlyColor = 0x123456;
    b.Reset();
    c.Clear();
    b.Paint(c);
    EXPECT_EQ(TextOp(c, u"Handle")->FontColor, 0x123456);
    EXPECT_EQ(TextOp(c, u"42")->FontColor, 0x123456);
    // Names are clipped at the divider, values at the row's right edge.
    EXPECT_EQ(TextOp(c, u"Caption")->R.Right, 120);
    EXPECT_EQ(TextOp(c, u"Hello")->R.Right, 300);
}

TEST(PropBoxPaint, ExpandBoxDividerFullWidthRowsAndTheAreaBelow) {
    Box b;
    auto font = Prop(u"Font", u"(font)", TPropertyAttributes{paSubProperties});
    font->FChildren = {Prop(u"Size", u"9")};
    b.Props = {Prop(u"Align"), font, Prop(u"Events", u"ignored", TPropertyAttributes{paFullWidthName})};
    b.Reset();
    b.AdjustItem(1);
    TRecordingCanvas c;
    b.Paint(c);
    // The expand box of "Font" (row 1): a 9 x 9 rectangle at its level offset.
    bool box = false;
    for (const TCanvasOp& op : c.OpsOf(coRectangle))
        if (op.R == Rect(4, 16 + 8 - 5, 13, 16 + 8 - 5 + 9)) box = true;
    EXPECT_TRUE(box);
    // The child is indented one box further.
    EXPECT_EQ(TextOp(c, u"Size")->X, 10 + 4 + 10 + 2 + 2);
    // The divider line at the middle on every row.
    int dividers = 0;
    for (const TCanvasOp& op : c.OpsOf(coLine))
        if (op.R.Left == 120 && op.R.Right == 120 && op.Pen == clGrayText) ++dividers;
    EXPECT_EQ(dividers, 3);  // the full-width row has none
    // Full width: the name reaches the right edge, the value isn't drawn.
    EXPECT_EQ(TextOp(c, u"Events")->R.Right, 300);
    EXPECT_EQ(TextOp(c, u"ignored"), nullptr);
    // Below the four rows: the background, and the gutter of the last row's level.
    EXPECT_EQ(c.BackgroundAt(200, 80), b.FBackgroundColor);
    EXPECT_EQ(c.BackgroundAt(3, 80), b.FGutterColor);
}

TEST(PropBoxPaint, UnnamedOrDirtyRowsAskForOneDeferredUpdate) {
    Box b;
    auto dirty = Prop(u"", u"");
    b.Props = {Prop(u"A"), dirty, Prop(u"B")};
    b.Reset();
    int posted = 0;
    bool pending = false;
    b.PostUpdateProc = [&] { ++posted, pending = true; };
    b.UpdatePendingProc = [&] { return pending; };
    TRecordingCanvas c;
    b.Paint(c);
    b.GetPropItem(2)->SetDirty(true);
    b.Paint(c);
    EXPECT_EQ(posted, 1);
}

}  // namespace
}  // namespace ide
