// Item painters on the recording canvas (7 px per code unit, 13 px lines).
#include <gtest/gtest.h>

#include "foundation/RecordingCanvas.h"
#include "views/IDEItemPainters.h"

using namespace ide;

namespace {
IntfRef<IInterface> Text(const char* s) { return Make<TTextObject>(Str(s)); }

IntfRef<TFixedItemPaintSite> Site(TAlignment a, TInsets m = TInsets(1, 1, 1, 1)) {
    auto site = Make<TFixedItemPaintSite>();
    site->Alignment = a;
    site->Margins = m;
    site->Background = clWindow;
    site->Foreground = clWindowText;
    return site;
}

TCanvasOp LastText(const TRecordingCanvas& c) { return c.OpsOf(coTextRect).back(); }

// A painter with a fixed size that records where it was asked to paint.
class TBoxPainter : public TInterfacedObject, public virtual IItemPainter {
public:
    TBoxPainter(int W, int H) : FSize{W, H} {}
    TDimension GetPreferredSize(const IntfRef<IInterface>&, TCanvas*, TItemStates, const IntfRef<IItemPaintSite>&) override {
        return FSize;
    }
    void Paint(const IntfRef<IInterface>&, TCanvas*, const TRectangle& R, TItemStates, const IntfRef<IItemPaintSite>&) override {
        Painted.push_back(R);
    }
    std::vector<TRectangle> Painted;

private:
    TDimension FSize;
};
}  // namespace

TEST(TextPainter, DefaultsOfTheConstructorChain) {
    auto p = Make<TTextItemPainter>();
    EXPECT_EQ(p->GetAlignment().Bits(), 33);
    EXPECT_EQ(p->GetMargins()->Left, 1);
    EXPECT_EQ(p->GetMargins()->Bottom, 1);
    EXPECT_FALSE(p->IsCheckDisabled());
    EXPECT_EQ(p->GetForeground2(), clBlack);
    // The passed margins are copied and the object taken over.
    auto q = Make<TTextItemPainter>(TAlignment{aRight}, std::make_unique<TInsets>(3, 4, 5, 6), true);
    EXPECT_EQ(q->GetMargins()->Right, 5);
    EXPECT_TRUE(q->IsCheckDisabled());
    auto own = std::make_unique<TInsets>(9, 9, 9, 9);
    TInsets* raw = own.get();
    q->SetMargins(std::move(own));
    EXPECT_EQ(q->GetMargins(), raw);  // stored as it is
    auto sel = Make<TSelectableTextItemPainter>();
    EXPECT_EQ(sel->GetSelectedForeground(), clHighlightText);
    EXPECT_EQ(sel->GetSelectedBackground(), clHighlight);
    EXPECT_EQ(sel->GetInactiveSelectedForeground(), clWindowText);
    EXPECT_EQ(sel->GetInactiveSelectedBackground(), clBtnFace);
}

TEST(TextPainter, PreferredSizeIsTextPlusMarginsAndTheSiteFontStays) {
    TRecordingCanvas c;
    auto p = Make<TTextItemPainter>();
    EXPECT_EQ(p->GetPreferredSize(nullptr, &c, {}, nullptr), Dimension(2, 15));  // empty extent is 0 x 13
    EXPECT_EQ(p->GetPreferredSize(Text("abc"), &c, {}, nullptr), Dimension(23, 15));
    EXPECT_EQ(p->GetPreferredSize(Text("abc"), nullptr, {}, nullptr), Dimension(0, 0));
    TFont bold;
    bold.SetStyle({fsBold});
    auto site = Site({}, TInsets(2, 3, 4, 5));
    site->Font = &bold;
    EXPECT_EQ(p->GetPreferredSize(Text("abc"), &c, {}, site), Dimension(2 + 4 + 24, 3 + 5 + 13));
    EXPECT_TRUE(c.Font().Style().Contains(fsBold));  // not put back
    EXPECT_EQ(c.LockCount(), 0);
    EXPECT_TRUE(LastTextMetrics().Valid);
    EXPECT_DOUBLE_EQ(LastTextMetrics().AvgCharWidth, 8.0);
}

TEST(TextPainter, OffsetsByAlignmentRoundTowardZeroAndCentreIgnoresMargins) {
    TRecordingCanvas c;
    auto p = Make<TTextItemPainter>();
    // Right: 100 wide, text 30 wide (not a multiple of 7: use a 6 px canvas).
    TRecordingCanvas six(6, 13);
    p->Paint(Text("abcde"), &six, Rectangle(0, 0, 100, 20), {}, Site({aRight, aTop}));
    EXPECT_EQ(LastText(six).X, 69);
    EXPECT_EQ(LastText(six).Y, 1);
    // Centre wider than the bounds: width 10, text 15 gives -2.
    TRecordingCanvas five(5, 13);
    p->Paint(Text("abc"), &five, Rectangle(0, 0, 10, 20), {}, Site({aCenter, aBottom}, TInsets(7, 1, 1, 2)));
    EXPECT_EQ(LastText(five).X, -2);
    EXPECT_EQ(LastText(five).Y, 20 - 2 - 13);
    // Middle of an odd remainder, with the bounds' own position added.
    p->Paint(Text("ab"), &c, Rectangle(10, 100, 50, 20), {}, Site({aLeft, aMiddle}, TInsets(4, 1, 1, 1)));
    EXPECT_EQ(LastText(c).X, 14);
    EXPECT_EQ(LastText(c).Y, 100 + 3);  // (20 - 13) / 2
    EXPECT_EQ(LastText(c).R, Rect(10, 100, 60, 120));  // clipped to the bounds
    // An empty site alignment falls back on the painter's own.
    auto right = Make<TTextItemPainter>(TAlignment{aRight});
    right->Paint(Text("ab"), &c, Rectangle(0, 0, 50, 20), {}, Site({}));
    EXPECT_EQ(LastText(c).X, 50 - 14 - 1);
}

TEST(TextPainter, ColoursComeFromTheSiteOrThePainterAndTheBrushIsPutBack) {
    TRecordingCanvas c;
    c.SetBrushColor(clAqua);
    auto p = Make<TTextItemPainter>();
    p->SetForeground2(clRed);
    p->Paint(Text("x"), &c, Rectangle(0, 0, 40, 15), {}, nullptr);
    EXPECT_EQ(c.BackgroundAt(1, 1), clAqua);  // no site: the canvas brush
    EXPECT_EQ(LastText(c).FontColor, clRed);
    EXPECT_EQ(c.BrushColor(), clAqua);
    c.Clear();
    p->Paint(Text("x"), &c, Rectangle(0, 0, 40, 15), {}, Site({}));
    EXPECT_EQ(c.BackgroundAt(1, 1), clWindow);
    EXPECT_EQ(LastText(c).FontColor, clWindowText);  // the site wins over SetForeground2
    // Empty text: background only.
    c.Clear();
    p->Paint(nullptr, &c, Rectangle(0, 0, 40, 15), {}, nullptr);
    EXPECT_TRUE(c.OpsOf(coTextRect).empty());
    EXPECT_EQ(c.OpsOf(coFillRect).size(), 1u);
    // A non-text item without a formatter fails in the caller.
    EXPECT_THROW(p->Paint(Make<TIntegerObject>(3), &c, Rectangle(0, 0, 40, 15), {}, nullptr), EIntfCastError);
    TItemFormatter fmt;
    auto withFormatter = Make<TTextItemPainter>(TAlignment{aLeft}, nullptr, &fmt);
    EXPECT_EQ(withFormatter->GetText(Text("f")), u"f");
    EXPECT_EQ(As<IStringObject>(fmt.Parse(u"p"))->GetString(), u"p");
}

TEST(TextPainter, DisabledEmbossDrawsHighlightThenShadowTwice) {
    TRecordingCanvas c;
    auto p = Make<TTextItemPainter>(TAlignment{aLeft, aTop}, nullptr, true);
    p->Paint(Text("ab"), &c, Rectangle(0, 0, 40, 15), {isDisabled}, nullptr);
    auto t = c.OpsOf(coTextRect);
    ASSERT_EQ(t.size(), 3u);
    EXPECT_EQ(t[0].FontColor, clBtnHighlight);
    EXPECT_EQ(t[0].X, 2);
    EXPECT_EQ(t[1].FontColor, clBtnShadow);
    EXPECT_EQ(t[2].FontColor, clBtnShadow);
    EXPECT_EQ(t[2].X, 1);
    c.Clear();
    p->SetCheckDisabled(false);
    p->Paint(Text("ab"), &c, Rectangle(0, 0, 40, 15), {isDisabled}, nullptr);
    EXPECT_EQ(c.OpsOf(coTextRect).size(), 1u);
}

TEST(SelectablePainter, SelectedColoursDependOnActivityAndInactiveAloneChangesNothing) {
    TRecordingCanvas c;
    auto p = Make<TSelectableClippedTextItemPainter>();
    auto site = Site({});
    struct Case {
        TItemStates State;
        TColor Bg, Fg;
    } cases[] = {
        {{isSelected}, clHighlight, clHighlightText},
        {{isSelected, isInactive}, clBtnFace, clWindowText},
        {{isInactive}, clWindow, clWindowText},
        {{isFocused}, clWindow, clWindowText},
    };
    for (const auto& k : cases) {
        c.Clear();
        p->Paint(Text("row"), &c, Rectangle(0, 0, 60, 15), k.State, site);
        EXPECT_EQ(c.BackgroundAt(50, 5), k.Bg);
        EXPECT_EQ(LastText(c).FontColor, k.Fg);
    }
    p->SetInactiveSelectedBackground(clGray);
    c.Clear();
    p->Paint(Text("row"), &c, Rectangle(0, 0, 60, 15), {isSelected, isInactive}, site);
    EXPECT_EQ(c.BackgroundAt(50, 5), clGray);
}

TEST(ClippedPainter, FitsWithThreeFullStopsOrBecomesThem) {
    TRecordingCanvas c;
    auto p = Make<TClippedTextItemPainter>(TAlignment{aLeft, aTop}, std::make_unique<TInsets>(0, 0, 0, 0));
    auto paint = [&](const String& s, int width, int left = 0) {
        c.Clear();
        p->Paint(Make<TTextObject>(s), &c, Rectangle(left, 0, width, 15), {}, nullptr);
        return c.OpsOf(coTextRect).back().Text;
    };
    EXPECT_EQ(paint(u"abcd", 28), u"abcd");       // fits exactly: unchanged
    EXPECT_EQ(paint(u"abcdefgh", 42), u"abc...");  // 6 cells of 7 px
    EXPECT_EQ(paint(u"abcdefgh", 42, 100), u"abc...");  // the bounds' left counts on both sides
    EXPECT_EQ(paint(u"abcdefgh", 20), u"...");     // not even "..." fits
    EXPECT_EQ(paint(u"abcdefgh", 21), u"...");     // only "..." fits
    // A surrogate pair goes as one: never half a character before the stops.
    // A surrogate pair goes as one: a unit-by-unit cut would stop at
    // "ab" + half a character + "..." (six cells, which fit 42 px).
    EXPECT_EQ(paint(u"ab\U0001F600\U0001F600x", 42), u"ab...");
    EXPECT_EQ(paint(u"ab\U0001F600\U0001F600xy", 49), u"ab\U0001F600...");
}

namespace {
// Fixed metrics with kerning: a full stop after a 'k' tucks in by 4 px, and
// a 'w' before 'w' widens by 2 px, so a prefix's width plus the stops' is
// not the width of both together.
class TKerningCanvas : public TRecordingCanvas {
public:
    TDimension TextExtent(const String& Text) override {
        TDimension d = TRecordingCanvas::TextExtent(Text);
        for (size_t i = 1; i < Text.size(); ++i) {
            if (Text[i] == u'.' && Text[i - 1] == u'k') d.Width -= 4;
            if (Text[i] == u'w' && Text[i - 1] == u'w') d.Width += 2;
        }
        return d;
    }
    // The general search through the kerned widths.
    int TextFitLength(const String& Text, int MaxWidth) override { return TCanvas::TextFitLength(Text, MaxWidth); }
};

// Removes code units from the end one at a time (a pair as one) and tries
// the rest with the stops, until that fits.
String FitOneAtATime(TCanvas& G, const String& Text, int Room) {
    if (G.TextWidth(Text) <= Room) return Text;
    if (G.TextWidth(u"...") > Room) return u"...";
    size_t n = Text.size();
    while (n > 0) {
        n -= (n >= 2 && Text[n - 1] >= 0xDC00 && Text[n - 1] <= 0xDFFF && Text[n - 2] >= 0xD800 && Text[n - 2] <= 0xDBFF) ? 2 : 1;
        if (G.TextWidth(Text.substr(0, n) + u"...") <= Room) break;
    }
    return Text.substr(0, n) + u"...";
}
}  // namespace

TEST(ClippedPainter, FitsAsRemovingOneCharacterAtATimeWouldWhateverTheKerning) {
    TKerningCanvas c;
    auto p = Make<TClippedTextItemPainter>(TAlignment{aLeft, aTop}, std::make_unique<TInsets>(2, 0, 0, 0));
    for (const String& s : {String(u"kkkkkkkkkk"), String(u"wwwwwwwwwwww"), String(u"abkkwwk\U0001F600kw\U0001F600ww"),
                            String(u"plain text")})
        for (int width = 0; width < 120; ++width) {
            c.Clear();
            p->Paint(Make<TTextObject>(s), &c, Rectangle(30, 0, width, 15), {}, nullptr);
            ASSERT_EQ(c.OpsOf(coTextRect).back().Text, FitOneAtATime(c, s, width - 2)) << Utf8(s) << " in " << width;
        }
}

TEST(ClippedPainter, ALongTextIsMeasuredAFewTimesNotOncePerCharacter) {
    TRecordingCanvas c;
    auto p = Make<TClippedTextItemPainter>();
    String text(400, u'x');
    p->Paint(Make<TTextObject>(text), &c, Rectangle(0, 0, 80, 15), {}, nullptr);
    EXPECT_EQ(c.OpsOf(coTextRect).back().Text, String(8, u'x') + u"...");  // 1 + 56 + 21 px of 80
    EXPECT_LE(c.MeasureCount(), 6);
}

TEST(ImagePainters, SizeLayoutAndStripsAroundThePicture) {
    TRecordingCanvas c;
    auto bmp = std::make_shared<TBitmap>(10, 6, clRed);
    auto item = Make<TImageObject>(bmp);
    auto p = Make<TImageItemPainter>(nullptr, TAlignment{aRight, aMiddle});
    EXPECT_EQ(p->GetPreferredSize(item, &c, {}, nullptr), Dimension(10, 6));
    EXPECT_EQ(p->GetPreferredSize(Text("no image"), &c, {}, nullptr), Dimension(0, 0));
    c.SetBrushColor(clWindow);
    p->Paint(item, &c, Rectangle(0, 0, 30, 20), {}, nullptr);
    auto copy = c.OpsOf(coBrushCopy);
    ASSERT_EQ(copy.size(), 1u);
    EXPECT_EQ(copy[0].R, Bounds(20, 7, 10, 6));  // right, middle
    auto fills = c.OpsOf(coFillRect);
    ASSERT_EQ(fills.size(), 3u);  // left, top, bottom; nothing right of a right-aligned picture
    EXPECT_EQ(fills[0].R, Rect(0, 0, 20, 20));
    EXPECT_EQ(fills[1].R, Rect(20, 0, 10, 7));   // right and bottom given as sizes
    EXPECT_EQ(fills[2].R, Rect(20, 13, 10, 7));
    // Stretch is tested first; aRight before aCenter.
    c.Clear();
    p->SetAlignment({aHorzStretch, aRight, aVertStretch});
    p->Paint(item, &c, Rectangle(5, 5, 30, 20), {}, nullptr);
    EXPECT_EQ(c.OpsOf(coBrushCopy)[0].R, Bounds(5, 5, 30, 20));
    EXPECT_TRUE(c.OpsOf(coFillRect).empty());
    c.Clear();
    p->SetAlignment({aRight, aCenter});
    p->Paint(item, &c, Rectangle(0, 0, 30, 6), {}, nullptr);
    EXPECT_EQ(c.OpsOf(coBrushCopy)[0].R.Left, 20);
    // No picture: the whole bounds filled with the site's background.
    c.Clear();
    p->Paint(Text("none"), &c, Rectangle(0, 0, 30, 6), {}, Site({}));
    ASSERT_EQ(c.OpsOf(coFillRect).size(), 1u);
    EXPECT_EQ(c.BackgroundAt(29, 5), clWindow);
}

TEST(ImagePainters, ImageListIndexesPickTheImage) {
    TImageList list(8, 8);
    TBitmap strip(16, 8, clRed);
    list.Add(strip);
    auto p = Make<TImageListItemPainter>(&list);
    TRecordingCanvas c;
    EXPECT_EQ(p->GetPreferredSize(Make<TIntegerObject>(1), &c, {}, nullptr), Dimension(8, 8));
    EXPECT_EQ(p->GetPreferredSize(Text("x"), &c, {}, nullptr), Dimension(0, 0));
    p->Paint(Make<TTextIndexObject>(u"f", 1), &c, Rectangle(2, 3, 8, 8), {}, nullptr);
    auto draws = c.OpsOf(coDraw);
    ASSERT_EQ(draws.size(), 1u);
    EXPECT_EQ(draws[0].Bitmap, &list.Image(1));
    EXPECT_EQ(draws[0].R, Bounds(2, 3, 8, 8));
    p->SetImages(nullptr);
    EXPECT_EQ(p->GetPreferredSize(Make<TIntegerObject>(1), &c, {}, nullptr), Dimension(0, 0));
}

TEST(FocusablePainter, MarksTheFocusedItemEvenWithoutAWrappedPainter) {
    TRecordingCanvas c;
    auto bare = Make<TFocusableItemPainter>();
    EXPECT_EQ(bare->GetPreferredSize(Text("x"), &c, {}, nullptr), Dimension(0, 0));
    bare->Paint(Text("x"), &c, Rectangle(1, 2, 30, 10), {isFocused}, nullptr);
    auto focus = c.OpsOf(coFocusRect);
    ASSERT_EQ(focus.size(), 1u);
    EXPECT_EQ(focus[0].R, Rect(1, 2, 31, 12));
    EXPECT_EQ(focus[0].Pen, clBlack);
    EXPECT_EQ(focus[0].Brush, clWhite);
    c.Clear();
    auto wrapped = Make<TFocusableItemPainter>(Make<TSelectableTextItemPainter>());
    wrapped->Paint(Text("x"), &c, Rectangle(0, 0, 30, 10), {isFocused, isSelected}, nullptr);
    ASSERT_EQ(c.Ops().back().Kind, coFocusRect);  // after the wrapped painter
    EXPECT_EQ(c.Ops().back().Pen, clHighlight);
    EXPECT_EQ(c.Ops().back().Brush, clBlack);
    c.Clear();
    wrapped->Paint(Text("x"), &c, Rectangle(0, 0, 30, 10), {isSelected}, nullptr);
    EXPECT_TRUE(c.OpsOf(coFocusRect).empty());
}

TEST(CompositePainter, SizesGapsAndRectanglesInBothOrientations) {
    TRecordingCanvas c;
    auto a = Make<TBoxPainter>(20, 10);
    auto b = Make<TBoxPainter>(30, 6);
    auto zero = Make<TBoxPainter>(0, 0);
    auto h = Make<TCompositeItemPainter>(a, b);
    EXPECT_EQ(h->GetOrientation(), oHorizontal);
    EXPECT_EQ(h->GetGap(), 4);
    EXPECT_EQ(h->GetPreferredSize(nullptr, &c, {}, nullptr), Dimension(54, 10));
    EXPECT_EQ(Make<TCompositeItemPainter>(zero, b)->GetPreferredSize(nullptr, &c, {}, nullptr), Dimension(30, 6));
    EXPECT_EQ(Make<TCompositeItemPainter>(a, zero)->GetPreferredSize(nullptr, &c, {}, nullptr), Dimension(24, 10));
    TRectangle r1, r2;
    h->CalculateRects(nullptr, &c, Rectangle(100, 10, 80, 21), {}, nullptr, r1, r2);
    EXPECT_EQ(r1, Rectangle(100, 15, 20, 10));
    EXPECT_EQ(r2, Rectangle(124, 17, 30, 6));
    Make<TCompositeItemPainter>(zero, b)->CalculateRects(nullptr, &c, Rectangle(100, 10, 80, 20), {}, nullptr, r1, r2);
    EXPECT_EQ(r2.Left, 100);
    // Vertical: the first left is taken from Rect.Top.
    auto v = Make<TCompositeItemPainter>(a, b, oVertical);
    EXPECT_EQ(v->GetPreferredSize(nullptr, &c, {}, nullptr), Dimension(30, 20));
    v->CalculateRects(nullptr, &c, Rectangle(100, 10, 50, 40), {}, nullptr, r1, r2);
    EXPECT_EQ(r1, Rectangle(25, 10, 20, 10));
    EXPECT_EQ(r2, Rectangle(110, 24, 30, 6));
    v->Paint(nullptr, &c, Rectangle(100, 10, 50, 40), {}, nullptr);
    EXPECT_EQ(a->Painted.back(), r1);  // painted at preferred size, never stretched
    EXPECT_EQ(b->Painted.back(), r2);
}

TEST(ImagePainters, StripsOfBoundsAwayFromTheOriginComeOutShort) {
    // Kept behaviour: the strips' right and bottom are sizes, not edges.
    TRecordingCanvas c;
    auto item = Make<TImageObject>(std::make_shared<TBitmap>(10, 6, clRed));
    auto p = Make<TImageItemPainter>(nullptr, TAlignment{aCenter, aTop});
    p->Paint(item, &c, Rectangle(100, 50, 30, 20), {}, nullptr);
    EXPECT_EQ(c.OpsOf(coBrushCopy)[0].R, Bounds(110, 50, 10, 6));
    auto fills = c.OpsOf(coFillRect);
    ASSERT_EQ(fills.size(), 3u);  // left, right, bottom; nothing above a top-aligned picture
    EXPECT_EQ(fills[0].R, Rect(100, 50, 10, 20));   // "right" 10: an empty strip
    EXPECT_TRUE(fills[0].R.IsEmpty());
    EXPECT_EQ(fills[1].R, Rect(120, 50, 10, 20));
    EXPECT_EQ(fills[2].R, Rect(110, 56, 10, 14));
}
