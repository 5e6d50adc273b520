// The paint pass on a recording canvas: only the rows on screen are asked
// for, in order, and each row gets its parts.
#include "VTTestUtil.h"
#include "foundation/RecordingCanvas.h"

using namespace ide;
using namespace vttest;

TEST(VTPaint, APaintAsksForTheVisibleRowsOnlyInOrder) {
    TTextTree t;
    std::string asked;
    t.OnGetText = [&](TBaseVirtualTree*, PVirtualNode n, TColumnIndex, String& text) {
        text = Str("row" + std::to_string(n->Index));
        asked += std::to_string(n->Index) + " ";
    };
    int inits = 0;
    t.OnInitNode = [&](TBaseVirtualTree*, PVirtualNode, PVirtualNode, TVirtualNodeInitStates&) { ++inits; };
    t.SetRootNodeCount(1000000);
    t.SetHasWindow(true);
    t.UpdateScrollBars(true);
    t.SetOffsetY(-18 * 500000);  // row 500000 at the top
    t.WaitForValidation();
    // The scroll bars measured what was on screen; the paint starts afresh.
    inits = 0;
    asked.clear();
    TRecordingCanvas canvas;
    t.PaintTree(canvas, {0, 18 * 500000, 200, 18 * 500000 + 100}, {0, 0});
    EXPECT_EQ(inits, 7);  // six rows of 18 in 100 pixels, and the step past the last
    EXPECT_TRUE(t.InState(tsUseCache));
    EXPECT_EQ(asked, "500000 500001 500002 500003 500004 500005 ");
    EXPECT_EQ(canvas.TextLog(), "row500000|row500001|row500002|row500003|row500004|row500005");
    EXPECT_FALSE(t.InState(tsPainting));
}

TEST(VTPaint, RowsGetLinesButtonsChecksAndSelection) {
    TTextTree t;
    t.SetOptions(t.Options() | toCheckSupport);
    t.SetRootNodeCount(3);
    PVirtualNode a = t.GetFirst();
    t.SetChildCount(a, 2);
    t.ToggleNode(a);
    PVirtualNode a0 = a->FirstChild;
    t.SetCheckType(a0, ctCheckBox);
    t.SetCheckState(a0, csCheckedNormal);
    t.SetSelected(a0, true);
    t.SetFocusedNode(a0);
    for (PVirtualNode n = t.GetFirst(); n; n = t.GetNext(n)) t.Name(n, "n");
    TRecordingCanvas canvas;
    t.PaintTree(canvas, {0, 0, 200, 100}, {0, 0});
    // Row 1 (the child): selected text cell highlighted, a check box, a focus rectangle.
    const int rowTop = 18;
    const int textLeft = 2 * 20 + 4 + 16;  // two indents, margin, check image
    EXPECT_EQ(canvas.BackgroundAt(textLeft + 3, rowTop + 9), clHighlight);
    EXPECT_EQ(canvas.BackgroundAt(150, rowTop + 9), clWindow);
    EXPECT_EQ(canvas.OpsOf(coFocusRect).size(), 1u);
    bool checkFrame = false;
    for (const TCanvasOp& op : canvas.OpsOf(coFrameRect))
        checkFrame |= op.R.Left == 2 * 20 + 4 && op.R.Width() == 13;
    EXPECT_TRUE(checkFrame);
    // The expanded parent's button is a minus: one horizontal stroke in its box.
    int buttonStrokes = 0, dotted = 0;
    for (const TCanvasOp& op : canvas.OpsOf(coLine)) {
        if (op.PenStyle == psDot) ++dotted;
        if (op.PenStyle == psSolid && op.R.Top < 18 && op.R.Left < 20) ++buttonStrokes;
    }
    EXPECT_EQ(buttonStrokes, 1);
    EXPECT_GT(dotted, 4);
    // Below the last of five rows the background is filled.
    EXPECT_EQ(canvas.BackgroundAt(100, 95), clWindow);
}
