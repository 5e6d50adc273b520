// The visual basics that painters and views draw with, without a toolkit:
// colours (with the system colours as symbolic values), fonts, corner-based
// rectangles, the abstract canvas, bitmaps and image lists.
//
// A canvas keeps its state (font, brush, pen, pen position) itself; the
// drawing operations are virtual, implemented by the Qt canvas in the
// platform layer and by TRecordingCanvas (foundation/RecordingCanvas.h) for
// headless tests.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "foundation/IDEUtil.h"

namespace ide {

// ---------------------------------------------------------------- colours

// A colour: $00BBGGRR for a plain colour (red in the low byte), or
// $FF000000 plus an index for a system colour, which a canvas resolves
// through the look of the platform when it draws.
using TColor = int32_t;

constexpr TColor RGBColor(int R, int G, int B) {
    return static_cast<TColor>((R & 0xFF) | ((G & 0xFF) << 8) | ((B & 0xFF) << 16));
}
constexpr int GetRValue(TColor C) { return C & 0xFF; }
constexpr int GetGValue(TColor C) { return (C >> 8) & 0xFF; }
constexpr int GetBValue(TColor C) { return (C >> 16) & 0xFF; }

constexpr TColor clSystemColor = static_cast<TColor>(0xFF000000u);
constexpr bool IsSystemColor(TColor C) { return (static_cast<uint32_t>(C) & 0xFF000000u) == 0xFF000000u; }
constexpr int SystemColorIndex(TColor C) { return C & 0xFF; }

// System colours, by index.
constexpr TColor clScrollBar = clSystemColor | 0;
constexpr TColor clBackground = clSystemColor | 1;
constexpr TColor clActiveCaption = clSystemColor | 2;
constexpr TColor clInactiveCaption = clSystemColor | 3;
constexpr TColor clMenu = clSystemColor | 4;
constexpr TColor clWindow = clSystemColor | 5;
constexpr TColor clWindowFrame = clSystemColor | 6;
constexpr TColor clMenuText = clSystemColor | 7;
constexpr TColor clWindowText = clSystemColor | 8;
constexpr TColor clCaptionText = clSystemColor | 9;
constexpr TColor clActiveBorder = clSystemColor | 10;
constexpr TColor clInactiveBorder = clSystemColor | 11;
constexpr TColor clAppWorkSpace = clSystemColor | 12;
constexpr TColor clHighlight = clSystemColor | 13;
constexpr TColor clHighlightText = clSystemColor | 14;
constexpr TColor clBtnFace = clSystemColor | 15;
constexpr TColor clBtnShadow = clSystemColor | 16;
constexpr TColor clGrayText = clSystemColor | 17;
constexpr TColor clBtnText = clSystemColor | 18;
constexpr TColor clInactiveCaptionText = clSystemColor | 19;
constexpr TColor clBtnHighlight = clSystemColor | 20;
constexpr TColor cl3DDkShadow = clSystemColor | 21;
constexpr TColor cl3DLight = clSystemColor | 22;
constexpr TColor clInfoText = clSystemColor | 23;
constexpr TColor clInfoBk = clSystemColor | 24;
constexpr int SystemColorCount = 25;

// Plain colours.
constexpr TColor clBlack = 0x000000;
constexpr TColor clMaroon = 0x000080;
constexpr TColor clGreen = 0x008000;
constexpr TColor clOlive = 0x008080;
constexpr TColor clNavy = 0x800000;
constexpr TColor clPurple = 0x800080;
constexpr TColor clTeal = 0x808000;
constexpr TColor clGray = 0x808080;
constexpr TColor clSilver = 0xC0C0C0;
constexpr TColor clRed = 0x0000FF;
constexpr TColor clLime = 0x00FF00;
constexpr TColor clYellow = 0x00FFFF;
constexpr TColor clBlue = 0xFF0000;
constexpr TColor clFuchsia = 0xFF00FF;
constexpr TColor clAqua = 0xFFFF00;
constexpr TColor clWhite = 0xFFFFFF;
constexpr TColor clNone = 0x1FFFFFFF;
constexpr TColor clDefault = 0x20000000;

// The plain colour of a system colour by a fixed table of the classic look
// (used by bitmaps and wherever no platform palette is at hand; the Qt
// canvas resolves system colours through the widget's palette instead). A
// plain colour comes back unchanged.
TColor ColorToRGB(TColor C);

// ------------------------------------------------------------ small sets

// A set over an enumeration with fewer than 32 values.
template <class E>
class TSet {
public:
    constexpr TSet() = default;
    constexpr TSet(std::initializer_list<E> Items) {
        for (E e : Items) Include(e);
    }
    static constexpr TSet FromBits(uint32_t Bits) {
        TSet s;
        s.FBits = Bits;
        return s;
    }
    constexpr bool Contains(E e) const { return (FBits >> static_cast<int>(e)) & 1u; }
    constexpr TSet& Include(E e) {
        FBits |= 1u << static_cast<int>(e);
        return *this;
    }
    constexpr TSet& Exclude(E e) {
        FBits &= ~(1u << static_cast<int>(e));
        return *this;
    }
    constexpr bool Empty() const { return FBits == 0; }
    constexpr uint32_t Bits() const { return FBits; }
    friend constexpr TSet operator+(TSet a, TSet b) { return FromBits(a.FBits | b.FBits); }
    friend constexpr TSet operator-(TSet a, TSet b) { return FromBits(a.FBits & ~b.FBits); }
    friend constexpr TSet operator*(TSet a, TSet b) { return FromBits(a.FBits & b.FBits); }
    friend constexpr bool operator==(TSet, TSet) = default;

private:
    uint32_t FBits = 0;
};

// ------------------------------------------------------------ rectangles

// A rectangle by its corners: Right and Bottom lie just outside it. Canvas
// operations take these; layouts keep TRectangle (position and size).
struct TRect {
    int Left = 0;
    int Top = 0;
    int Right = 0;
    int Bottom = 0;
    constexpr int Width() const { return Right - Left; }
    constexpr int Height() const { return Bottom - Top; }
    constexpr bool IsEmpty() const { return Right <= Left || Bottom <= Top; }
    constexpr bool Contains(int X, int Y) const { return X >= Left && X < Right && Y >= Top && Y < Bottom; }
    friend constexpr bool operator==(const TRect&, const TRect&) = default;
};

constexpr TRect Rect(int Left, int Top, int Right, int Bottom) { return {Left, Top, Right, Bottom}; }
constexpr TRect Bounds(int Left, int Top, int Width, int Height) { return {Left, Top, Left + Width, Top + Height}; }
constexpr TRect ToRect(const TRectangle& R) { return Bounds(R.Left, R.Top, R.Width, R.Height); }
constexpr TRectangle ToRectangle(const TRect& R) { return {R.Left, R.Top, R.Width(), R.Height()}; }
// The common part; an empty rectangle (all zero) when they don't meet.
TRect IntersectRect(const TRect& A, const TRect& B);
TRect OffsetRect(const TRect& R, int DX, int DY);

// N, or N - 1 when the first N code units of Text end inside a surrogate
// pair: a prefix of that length never splits a character.
int CodePointBoundary(const String& Text, int N);

// ------------------------------------------------------------------ font

enum TFontStyle { fsBold, fsItalic, fsUnderline, fsStrikeOut };
using TFontStyles = TSet<TFontStyle>;

// A font description. Changing any part fires OnChange. Size is in points;
// the canvas turns it into pixels.
// Thread: one at a time.
class TFont : public TObject {
public:
    TFont() = default;
    TFont(const TFont& Other) : FName(Other.FName), FSize(Other.FSize), FColor(Other.FColor), FStyle(Other.FStyle) {}
    TFont& operator=(const TFont& Other) {
        Assign(Other);
        return *this;
    }
    // Copies name, size, colour and style (not OnChange); fires OnChange
    // once if anything differed.
    void Assign(const TFont& Source);

    const String& Name() const { return FName; }
    void SetName(const String& Value);
    int Size() const { return FSize; }
    void SetSize(int Value);
    TColor Color() const { return FColor; }
    void SetColor(TColor Value);
    TFontStyles Style() const { return FStyle; }
    void SetStyle(TFontStyles Value);

    // Same name, size, colour and style.
    bool SameAs(const TFont& Other) const {
        return FName == Other.FName && FSize == Other.FSize && FColor == Other.FColor && FStyle == Other.FStyle;
    }
    // Same name, size and style: the same glyphs, whatever the colour.
    bool SameFace(const TFont& Other) const {
        return FName == Other.FName && FSize == Other.FSize && FStyle == Other.FStyle;
    }

    std::function<void(TFont&)> OnChange;

private:
    void Changed();
    String FName = u"Sans Serif";
    int FSize = 9;
    TColor FColor = clWindowText;
    TFontStyles FStyle;
};

// ---------------------------------------------------------------- bitmap

// A picture of Width x Height pixels, kept as plain colours ($00BBGGRR).
// Transparent bitmaps leave out the pixels of TransparentColor when drawn;
// with clDefault that is the colour of the bottom-left pixel. Every change
// fires OnChange and advances Revision(), so a toolkit can cache its own
// copy of the pixels.
// Thread: one at a time.
class TBitmap : public TObject {
public:
    TBitmap() = default;
    TBitmap(int Width, int Height, TColor Fill = clWhite);
    TBitmap(const TBitmap& Other);
    TBitmap& operator=(const TBitmap& Other);

    int Width() const { return FWidth; }
    int Height() const { return FHeight; }
    bool Empty() const { return FWidth == 0 || FHeight == 0; }
    // New size; the pixels that remain keep their colours, new ones are white.
    void SetSize(int Width, int Height);
    // A pixel outside the bitmap reads as clNone and is not written.
    TColor Pixel(int X, int Y) const;
    void SetPixel(int X, int Y, TColor C);
    // Fills a rectangle (clipped to the bitmap) with a colour.
    void Fill(const TRect& R, TColor C);
    void Fill(TColor C) { Fill(Bounds(0, 0, FWidth, FHeight), C); }

    bool Transparent() const { return FTransparent; }
    void SetTransparent(bool Value);
    TColor TransparentColor() const { return FTransparentColor; }
    void SetTransparentColor(TColor Value);
    // The colour that transparent drawing leaves out: TransparentColor, or
    // the bottom-left pixel when that is clDefault.
    TColor EffectiveTransparentColor() const;

    // Row-major pixels as 0xFFRRGGBB words (the order toolkits call 32-bit
    // RGB), for a toolkit that draws the bitmap.
    const uint32_t* Scanlines() const { return FPixels.data(); }
    uint64_t Revision() const { return FRevision; }

    std::function<void(TBitmap&)> OnChange;

private:
    void Changed();
    int FWidth = 0;
    int FHeight = 0;
    std::vector<uint32_t> FPixels;
    bool FTransparent = false;
    TColor FTransparentColor = clDefault;
    uint64_t FRevision = 0;
};

// A reference-counted holder of a bitmap, for items that carry pictures.
struct IImageObject : virtual IInterface {
    IDE_INTERFACE(IImageObject, "81FE5C51-0AD1-11D1-AE9B-0020AF32BB01")
    virtual TBitmap* GetImage() = 0;
};

// ---------------------------------------------------------------- canvas

enum TBrushStyle { bsSolid, bsClear };
// The border of a control: none, or a single (sunken) frame.
enum TBorderStyle { bsNone, bsSingle };
enum TPenStyle { psSolid, psDot, psClear };

// The drawing surface painters work on. State (font, brush, pen, pen
// position, clip rectangle) lives here; each implementation draws.
//
// Rules every implementation keeps:
// - FillRect fills with the brush colour, whatever the brush style.
// - FrameRect draws a one-pixel frame in the brush colour.
// - Rectangle outlines with the pen and fills the inside with the brush
//   unless the brush is bsClear.
// - TextOut and TextRect draw in the font colour; with a solid brush they
//   first fill the text's cell (TextOut) or the whole clip rectangle
//   (TextRect) with the brush colour. TextRect draws nothing outside Clip.
// - DrawFocusRect inverts a dotted frame: a second call over the same
//   rectangle takes it away.
// - Everything is also clipped to ClipRect when one is set.
// - Metrics: TextExtent is the advance width and the line height of a text;
//   TextMetricHeight is the font's line height, whatever the text.
// Thread: one at a time.
class TCanvas : public TObject {
public:
    TCanvas() = default;
    TCanvas(const TCanvas&) = delete;
    TCanvas& operator=(const TCanvas&) = delete;

    TFont& Font() { return FFont; }
    const TFont& Font() const { return FFont; }
    void SetFont(const TFont& F) { FFont.Assign(F); }

    TColor BrushColor() const { return FBrushColor; }
    void SetBrushColor(TColor C) {
        FBrushColor = C;
        FBrushStyle = bsSolid;  // choosing a brush colour makes the brush solid
    }
    TBrushStyle BrushStyle() const { return FBrushStyle; }
    void SetBrushStyle(TBrushStyle S) { FBrushStyle = S; }

    TColor PenColor() const { return FPenColor; }
    void SetPenColor(TColor C) { FPenColor = C; }
    TPenStyle PenStyle() const { return FPenStyle; }
    void SetPenStyle(TPenStyle S) { FPenStyle = S; }

    TPoint PenPos() const { return FPenPos; }
    void MoveTo(int X, int Y) { FPenPos = {X, Y}; }
    // A line from the pen position to (X, Y), without its last pixel.
    void LineTo(int X, int Y) {
        DoLine(FPenPos.X, FPenPos.Y, X, Y);
        FPenPos = {X, Y};
    }

    virtual void FillRect(const TRect& R) = 0;
    virtual void FrameRect(const TRect& R) = 0;
    virtual void Rectangle(const TRect& R) = 0;
    virtual void DrawFocusRect(const TRect& R) = 0;
    virtual void TextOut(int X, int Y, const String& Text) = 0;
    virtual void TextRect(const TRect& Clip, int X, int Y, const String& Text) = 0;
    virtual TDimension TextExtent(const String& Text) = 0;
    virtual int TextMetricHeight() = 0;
    int TextWidth(const String& Text) { return TextExtent(Text).Width; }
    int TextHeight(const String& Text) { return TextExtent(Text).Height; }
    // How many leading code units of Text fit into MaxWidth: the longest
    // prefix whose TextWidth is at most MaxWidth (0 for a negative width),
    // never ending inside a surrogate pair. Fitting text into a room asks
    // this once rather than measuring prefix after prefix. This default
    // searches by halves through TextWidth; a canvas answers faster when it
    // can (it may assume that a longer prefix is never narrower).
    virtual int TextFitLength(const String& Text, int MaxWidth);

    // The bitmap at (X, Y), leaving out its transparent colour when it is
    // Transparent.
    virtual void Draw(int X, int Y, const TBitmap& Bitmap) = 0;
    // Source of Bitmap into Dest (scaled), leaving out the pixels of
    // TransparentColor.
    virtual void BrushCopy(const TRect& Dest, const TBitmap& Bitmap, const TRect& Source, TColor TransparentColor) = 0;

    // The clip rectangle; an empty TRect means none is set.
    TRect ClipRect() const { return FClipRect; }
    void SetClipRect(const TRect& R) {
        FClipRect = R;
        ClipChanged();
    }
    bool HasClipRect() const { return !(FClipRect == TRect{}); }

    // The canvas lock of the threaded toolkit; a canvas here belongs to one
    // thread, so these only count.
    void Lock() { ++FLockCount; }
    void Unlock() { --FLockCount; }
    int LockCount() const { return FLockCount; }

protected:
    virtual void DoLine(int X1, int Y1, int X2, int Y2) = 0;
    virtual void ClipChanged() {}

private:
    TFont FFont;
    TColor FBrushColor = clWhite;
    TBrushStyle FBrushStyle = bsSolid;
    TColor FPenColor = clBlack;
    TPenStyle FPenStyle = psSolid;
    TPoint FPenPos;
    TRect FClipRect;
    int FLockCount = 0;
};

// ------------------------------------------------------------ image list

class TImageList;

// A registration for the changes of an image list. The list tells every
// link it holds when its images change, and clears their Sender when it is
// destroyed; a link unregisters itself when it is destroyed first.
// Thread: UI thread only.
class TChangeLink : public TObject {
public:
    TChangeLink() = default;
    TChangeLink(const TChangeLink&) = delete;
    TChangeLink& operator=(const TChangeLink&) = delete;
    ~TChangeLink() override;
    TImageList* Sender() const { return FSender; }
    std::function<void(TImageList& Sender)> OnChange;

private:
    friend class TImageList;
    TImageList* FSender = nullptr;
};

// Images of one size, by index. Add splits a strip wider than the list into
// images from left to right.
// Thread: UI thread only.
class TImageList : public TObject {
public:
    explicit TImageList(int Width = 16, int Height = 16);
    TImageList(const TImageList&) = delete;
    TImageList& operator=(const TImageList&) = delete;
    ~TImageList() override;

    int Width() const { return FWidth; }
    int Height() const { return FHeight; }
    // A new size empties the list.
    void SetSize(int Width, int Height);
    int Count() const { return static_cast<int>(FImages.size()); }

    // Adds the image (or the images of a strip, Width each); answers the
    // index of the first. A picture of another height is cut or padded.
    int Add(const TBitmap& Image);
    // As Add, with the pixels of MaskColor left out when drawn.
    int AddMasked(const TBitmap& Image, TColor MaskColor);
    void Replace(int Index, const TBitmap& Image);
    void Delete(int Index);
    void Clear();
    // EListError "Invalid image list index (N)" outside 0 .. Count - 1.
    const TBitmap& Image(int Index) const;

    // Draws image Index at (X, Y); a disabled image is drawn greyed. An
    // index outside the list draws nothing.
    void Draw(TCanvas& Canvas, int X, int Y, int Index, bool Enabled = true) const;

    void RegisterChanges(TChangeLink* Link);
    void UnRegisterChanges(TChangeLink* Link);
    // Tells OnChange and every link.
    void Change();
    std::function<void(TImageList&)> OnChange;

private:
    void Check(int Index) const;
    TBitmap Fit(const TBitmap& Source, int Left) const;
    int FWidth, FHeight;
    std::vector<TBitmap> FImages;
    mutable std::vector<std::unique_ptr<TBitmap>> FGreyed;  // per index, made when first drawn disabled
    std::vector<TChangeLink*> FLinks;
};

}  // namespace ide
