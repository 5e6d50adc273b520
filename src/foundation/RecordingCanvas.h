// A canvas that draws nothing and records every operation, with fixed
// metrics, so tests can tell which colour lands where without a display.
#pragma once

#include <string>
#include <vector>

#include "foundation/Graphics.h"

namespace ide {

enum TCanvasOpKind { coFillRect, coFrameRect, coRectangle, coFocusRect, coTextOut, coTextRect, coLine, coDraw, coBrushCopy };

// One recorded operation, with the canvas state that it used.
struct TCanvasOp {
    TCanvasOpKind Kind = coFillRect;
    TRect R;           // the target (clip rectangle for TextRect, cell for TextOut, ends for a line)
    int X = 0, Y = 0;  // text position
    String Text;
    TColor Brush = clNone;  // brush colour, clNone when the brush was clear
    TColor Pen = clNone;    // pen colour, clNone when the pen was clear
    TPenStyle PenStyle = psSolid;
    TColor FontColor = clNone;
    TFontStyles FontStyle;
    TRect Clip;                       // the canvas clip rectangle then (empty: none)
    const TBitmap* Bitmap = nullptr;  // for Draw and BrushCopy
    TColor Transparent = clNone;      // for BrushCopy
};

// Metrics: every UTF-16 code unit is CharWidth pixels wide (7 by default),
// every line LineHeight high (13 by default); bold adds one pixel per code
// unit.
// Thread: one at a time.
class TRecordingCanvas : public TCanvas {
public:
    explicit TRecordingCanvas(int CharWidth = 7, int LineHeight = 13) : FCharWidth(CharWidth), FLineHeight(LineHeight) {}

    void FillRect(const TRect& R) override;
    void FrameRect(const TRect& R) override;
    void Rectangle(const TRect& R) override;
    void DrawFocusRect(const TRect& R) override;
    void TextOut(int X, int Y, const String& Text) override;
    void TextRect(const TRect& Clip, int X, int Y, const String& Text) override;
    TDimension TextExtent(const String& Text) override;
    int TextMetricHeight() override { return FLineHeight; }
    // By the fixed metrics, counted as one measurement.
    int TextFitLength(const String& Text, int MaxWidth) override;
    void Draw(int X, int Y, const TBitmap& Bitmap) override;
    void BrushCopy(const TRect& Dest, const TBitmap& Bitmap, const TRect& Source, TColor TransparentColor) override;

    const std::vector<TCanvasOp>& Ops() const { return FOps; }
    std::vector<TCanvasOp> OpsOf(TCanvasOpKind Kind) const;
    void Clear() { FOps.clear(); }
    int MeasureCount() const { return FMeasureCount; }

    // The brush colour of the last operation that filled (X, Y): fills,
    // filled rectangles and opaque text cells, within their clip. clNone if
    // nothing filled it.
    TColor BackgroundAt(int X, int Y) const;
    // The part of a text operation that the clip lets through: the code
    // units whose cells lie wholly inside it.
    static String VisibleText(const TCanvasOp& Op, int CharWidth = 7);
    // All visible text of text operations, in order, joined by '|'.
    std::string TextLog() const;

protected:
    void DoLine(int X1, int Y1, int X2, int Y2) override;

private:
    TCanvasOp Op(TCanvasOpKind Kind, const TRect& R) const;
    int FCharWidth, FLineHeight;
    int FMeasureCount = 0;
    std::vector<TCanvasOp> FOps;
};

}  // namespace ide
