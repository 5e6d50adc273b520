// Colours, fonts, bitmaps, image lists and the recording canvas.
#include <gtest/gtest.h>

#include "foundation/Graphics.h"
#include "foundation/RecordingCanvas.h"

using namespace ide;

TEST(Colors, PlainColoursAreBgrAndSystemColoursAreSymbolic) {
    EXPECT_EQ(RGBColor(0x80, 0, 0), clMaroon);  // red in the low byte
    EXPECT_EQ(RGBColor(0, 0, 0x80), clNavy);
    EXPECT_EQ(GetRValue(clRed), 0xFF);
    EXPECT_EQ(GetBValue(clBlue), 0xFF);
    EXPECT_EQ(static_cast<uint32_t>(clHighlight), 0xFF00000Du);
    EXPECT_EQ(static_cast<uint32_t>(clBtnFace), 0xFF00000Fu);
    EXPECT_EQ(static_cast<uint32_t>(clBtnHighlight), 0xFF000014u);
    EXPECT_TRUE(IsSystemColor(clInfoBk));
    EXPECT_FALSE(IsSystemColor(clWhite));
    EXPECT_FALSE(IsSystemColor(clNone));
    EXPECT_EQ(SystemColorIndex(clWindowText), 8);
    EXPECT_EQ(ColorToRGB(clWindow), clWhite);
    EXPECT_EQ(ColorToRGB(clTeal), clTeal);
    EXPECT_FALSE(IsSystemColor(ColorToRGB(clHighlight)));
}

TEST(Rects, CornerRectanglesMeetPositionAndSize) {
    EXPECT_EQ(Bounds(10, 20, 30, 40), Rect(10, 20, 40, 60));
    EXPECT_EQ(ToRectangle(Rect(10, 20, 40, 60)), Rectangle(10, 20, 30, 40));
    EXPECT_EQ(IntersectRect(Rect(0, 0, 10, 10), Rect(5, 5, 20, 20)), Rect(5, 5, 10, 10));
    EXPECT_TRUE(IntersectRect(Rect(0, 0, 10, 10), Rect(10, 0, 20, 10)).IsEmpty());
    EXPECT_TRUE(Rect(0, 0, 10, 10).Contains(9, 9));
    EXPECT_FALSE(Rect(0, 0, 10, 10).Contains(10, 5));
}

TEST(Font, ChangesFireOnceAndAssignCopiesAllButTheHandler) {
    TFont f;
    int changes = 0;
    f.OnChange = [&](TFont&) { ++changes; };
    f.SetSize(9);  // the default: no change
    EXPECT_EQ(changes, 0);
    f.SetStyle({fsBold});
    f.SetColor(clRed);
    EXPECT_EQ(changes, 2);
    TFont g;
    g.SetName(u"Mono");
    f.Assign(g);
    EXPECT_EQ(changes, 3);  // one event for the whole assignment
    EXPECT_TRUE(f.SameAs(g));
    EXPECT_TRUE(f.OnChange != nullptr);
    g.SetColor(clBlue);
    EXPECT_TRUE(f.SameFace(g));
    EXPECT_FALSE(f.SameAs(g));
}

TEST(Bitmap, PixelsSizeTransparencyAndRevision) {
    TBitmap b(4, 3, clRed);
    EXPECT_EQ(b.Pixel(3, 2), clRed);
    EXPECT_EQ(b.Pixel(4, 0), clNone);  // outside
    int changes = 0;
    b.OnChange = [&](TBitmap&) { ++changes; };
    uint64_t rev = b.Revision();
    b.SetPixel(0, 2, clLime);
    b.SetPixel(10, 10, clLime);  // outside: ignored, no change
    EXPECT_EQ(changes, 1);
    EXPECT_GT(b.Revision(), rev);
    EXPECT_EQ(b.EffectiveTransparentColor(), clLime);  // bottom-left pixel by default
    b.SetTransparentColor(clBtnFace);
    EXPECT_EQ(b.EffectiveTransparentColor(), ColorToRGB(clBtnFace));
    b.SetSize(6, 2);
    EXPECT_EQ(b.Pixel(0, 1), clRed);
    EXPECT_EQ(b.Pixel(5, 0), clWhite);  // new pixels are white
    EXPECT_EQ(b.Scanlines()[0], 0xFFFF0000u);  // red as 32-bit RGB
    b.Fill(Rect(-5, -5, 1, 1), clBlue);  // clipped to the bitmap
    EXPECT_EQ(b.Pixel(0, 0), clBlue);
    EXPECT_EQ(b.Pixel(1, 0), clRed);
}

TEST(ImageList, StripsSplitAndLinksHearChangesUntilEitherGoes) {
    TImageList list(2, 2);
    TChangeLink a, b;
    int heardA = 0, heardB = 0;
    a.OnChange = [&](TImageList&) { ++heardA; };
    b.OnChange = [&](TImageList& l) {
        ++heardB;
        l.UnRegisterChanges(&a);  // a link removed during the notification is not called
    };
    list.RegisterChanges(&b);
    list.RegisterChanges(&a);
    TBitmap strip(6, 2, clRed);
    strip.SetPixel(2, 0, clBlue);
    EXPECT_EQ(list.Add(strip), 0);
    EXPECT_EQ(list.Count(), 3);
    EXPECT_EQ(list.Image(1).Pixel(0, 0), clBlue);
    EXPECT_EQ(heardB, 1);
    EXPECT_EQ(heardA, 0);
    EXPECT_EQ(a.Sender(), nullptr);
    EXPECT_THROW(list.Image(3), EListError);
    try {
        list.Delete(-1);
    } catch (const EListError& e) {
        EXPECT_STREQ(e.what(), "Invalid image list index (-1)");
    }
    {
        TImageList other;
        TChangeLink c;
        other.RegisterChanges(&c);
        list.RegisterChanges(&c);  // moves over
        EXPECT_EQ(c.Sender(), &list);
    }  // c unregisters itself before list is told anything
    list.Clear();
    EXPECT_EQ(heardB, 2);
    auto* dying = new TImageList();
    TChangeLink d;
    dying->RegisterChanges(&d);
    delete dying;
    EXPECT_EQ(d.Sender(), nullptr);  // d's destructor must not touch the dead list
}

TEST(ImageList, DrawsEnabledAsIsDisabledGreyedAndIgnoresBadIndexes) {
    TImageList list(2, 2);
    list.AddMasked(TBitmap(2, 2, clRed), clWhite);
    TRecordingCanvas c;
    list.Draw(c, 5, 6, 0);
    list.Draw(c, 5, 6, 0, false);
    list.Draw(c, 5, 6, 7);
    auto draws = c.OpsOf(coDraw);
    ASSERT_EQ(draws.size(), 2u);
    EXPECT_EQ(draws[0].R, Bounds(5, 6, 2, 2));
    EXPECT_EQ(draws[0].Bitmap->Pixel(0, 0), clRed);
    EXPECT_EQ(draws[0].Transparent, clWhite);
    TColor grey = draws[1].Bitmap->Pixel(0, 0);
    EXPECT_EQ(GetRValue(grey), GetGValue(grey));
    EXPECT_EQ(GetGValue(grey), GetBValue(grey));
}

TEST(RecordingCanvas, RecordsStateAndAnswersWhichColourLandsWhere) {
    TRecordingCanvas c;
    EXPECT_EQ(c.TextExtent(u"abcd"), Dimension(28, 13));
    c.Font().SetStyle({fsBold});
    EXPECT_EQ(c.TextWidth(u"ab"), 16);
    c.Font().SetStyle({});
    c.SetBrushColor(clHighlight);
    c.FillRect(Rect(0, 0, 100, 20));
    c.SetBrushStyle(bsClear);
    c.FillRect(Rect(0, 0, 10, 10));  // FillRect fills whatever the brush style
    EXPECT_EQ(c.BackgroundAt(5, 5), clHighlight);
    c.SetBrushColor(clWindow);
    c.SetClipRect(Rect(50, 0, 100, 20));
    c.FillRect(Rect(0, 0, 100, 20));
    EXPECT_EQ(c.BackgroundAt(20, 5), clHighlight);  // the clip kept the fill out
    EXPECT_EQ(c.BackgroundAt(60, 5), clWindow);
    EXPECT_EQ(c.BackgroundAt(200, 5), clNone);
    c.SetClipRect({});
    c.Font().SetColor(clHighlightText);
    c.SetBrushStyle(bsClear);
    c.TextRect(Rect(0, 0, 30, 20), 2, 3, u"abcdef");
    auto t = c.OpsOf(coTextRect).back();
    EXPECT_EQ(t.FontColor, clHighlightText);
    EXPECT_EQ(t.Brush, clNone);
    EXPECT_EQ(TRecordingCanvas::VisibleText(t), u"abcd");  // the fifth cell ends at 37, past 30
    c.MoveTo(1, 2);
    c.LineTo(8, 2);
    EXPECT_EQ(c.PenPos().X, 8);
    EXPECT_EQ(c.OpsOf(coLine).back().R, Rect(1, 2, 8, 2));
    EXPECT_EQ(c.TextLog(), "abcd");
}

namespace {
// The recording metrics, answered by the canvas's general search instead
// of the fixed-metrics shortcut.
class TSearchingCanvas : public TRecordingCanvas {
public:
    int TextFitLength(const String& Text, int MaxWidth) override { return TCanvas::TextFitLength(Text, MaxWidth); }
};
}  // namespace

TEST(TextFitLength, LongestPrefixWithinTheWidthNeverSplittingAPair) {
    TRecordingCanvas fixed;
    TSearchingCanvas search;
    const String pair = u"ab\U0001F600cd";  // a, b, lead, trail, c, d
    for (TCanvas* c : {static_cast<TCanvas*>(&fixed), static_cast<TCanvas*>(&search)}) {
        EXPECT_EQ(c->TextFitLength(u"abcdef", 42), 6);  // exactly the width: all of it
        EXPECT_EQ(c->TextFitLength(u"abcdef", 41), 5);
        EXPECT_EQ(c->TextFitLength(u"abcdef", 6), 0);
        EXPECT_EQ(c->TextFitLength(u"abcdef", -1), 0);
        EXPECT_EQ(c->TextFitLength(u"", 100), 0);
        EXPECT_EQ(c->TextFitLength(u"abc", 1000), 3);
        EXPECT_EQ(c->TextFitLength(pair, 21), 2);  // three cells would end inside the pair
        EXPECT_EQ(c->TextFitLength(pair, 28), 4);
        c->Font().SetStyle({fsBold});  // eight pixels a cell
        EXPECT_EQ(c->TextFitLength(u"abcdef", 41), 5);
        EXPECT_EQ(c->TextFitLength(u"abcdef", 39), 4);
        c->Font().SetStyle({});
    }
    // Every answer of the search agrees with the shortcut.
    for (int w = -3; w < 60; ++w) EXPECT_EQ(search.TextFitLength(pair + u"xyz", w), fixed.TextFitLength(pair + u"xyz", w)) << w;
}

TEST(CodePointBoundary, StepsBackOnlyFromInsideAPair) {
    const String s = u"a\U0001F600b";
    EXPECT_EQ(CodePointBoundary(s, 0), 0);
    EXPECT_EQ(CodePointBoundary(s, 1), 1);
    EXPECT_EQ(CodePointBoundary(s, 2), 1);
    EXPECT_EQ(CodePointBoundary(s, 3), 3);
    EXPECT_EQ(CodePointBoundary(s, 4), 4);
    EXPECT_EQ(CodePointBoundary(u"\xD800", 1), 1);  // a lone lead at the end is no pair
}
