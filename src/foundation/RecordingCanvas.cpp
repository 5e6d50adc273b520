#include "foundation/RecordingCanvas.h"

#include <algorithm>

namespace ide {

TCanvasOp TRecordingCanvas::Op(TCanvasOpKind Kind, const TRect& R) const {
    TCanvasOp op;
    op.Kind = Kind;
    op.R = R;
    op.Brush = BrushStyle() == bsClear ? clNone : BrushColor();
    op.Pen = PenStyle() == psClear ? clNone : PenColor();
    op.PenStyle = PenStyle();
    op.FontColor = Font().Color();
    op.FontStyle = Font().Style();
    op.Clip = ClipRect();
    return op;
}

void TRecordingCanvas::FillRect(const TRect& R) {
    TCanvasOp op = Op(coFillRect, R);
    op.Brush = BrushColor();  // FillRect fills whatever the brush style
    FOps.push_back(op);
}

void TRecordingCanvas::FrameRect(const TRect& R) {
    TCanvasOp op = Op(coFrameRect, R);
    op.Brush = BrushColor();
    FOps.push_back(op);
}

void TRecordingCanvas::Rectangle(const TRect& R) { FOps.push_back(Op(coRectangle, R)); }

void TRecordingCanvas::DrawFocusRect(const TRect& R) { FOps.push_back(Op(coFocusRect, R)); }

void TRecordingCanvas::TextOut(int X, int Y, const String& Text) {
    TDimension d = TextExtent(Text);
    --FMeasureCount;  // not the caller's measurement
    TCanvasOp op = Op(coTextOut, Bounds(X, Y, d.Width, d.Height));
    op.X = X;
    op.Y = Y;
    op.Text = Text;
    FOps.push_back(op);
}

void TRecordingCanvas::TextRect(const TRect& Clip, int X, int Y, const String& Text) {
    TCanvasOp op = Op(coTextRect, Clip);
    op.X = X;
    op.Y = Y;
    op.Text = Text;
    FOps.push_back(op);
}

TDimension TRecordingCanvas::TextExtent(const String& Text) {
    ++FMeasureCount;
    int perChar = FCharWidth + (Font().Style().Contains(fsBold) ? 1 : 0);
    return {static_cast<int>(Text.size()) * perChar, FLineHeight};
}

int TRecordingCanvas::TextFitLength(const String& Text, int MaxWidth) {
    ++FMeasureCount;
    if (MaxWidth < 0) return 0;
    int perChar = FCharWidth + (Font().Style().Contains(fsBold) ? 1 : 0);
    int n = perChar > 0 ? MaxWidth / perChar : static_cast<int>(Text.size());
    return CodePointBoundary(Text, std::min(n, static_cast<int>(Text.size())));
}

void TRecordingCanvas::Draw(int X, int Y, const TBitmap& Bitmap) {
    TCanvasOp op = Op(coDraw, Bounds(X, Y, Bitmap.Width(), Bitmap.Height()));
    op.Bitmap = &Bitmap;
    op.Transparent = Bitmap.Transparent() ? Bitmap.EffectiveTransparentColor() : clNone;
    FOps.push_back(op);
}

void TRecordingCanvas::BrushCopy(const TRect& Dest, const TBitmap& Bitmap, const TRect& Source, TColor TransparentColor) {
    TCanvasOp op = Op(coBrushCopy, Dest);
    op.Bitmap = &Bitmap;
    op.Transparent = TransparentColor;
    op.X = Source.Left;
    op.Y = Source.Top;
    FOps.push_back(op);
}

void TRecordingCanvas::DoLine(int X1, int Y1, int X2, int Y2) { FOps.push_back(Op(coLine, Rect(X1, Y1, X2, Y2))); }

std::vector<TCanvasOp> TRecordingCanvas::OpsOf(TCanvasOpKind Kind) const {
    std::vector<TCanvasOp> out;
    for (const auto& op : FOps)
        if (op.Kind == Kind) out.push_back(op);
    return out;
}

TColor TRecordingCanvas::BackgroundAt(int X, int Y) const {
    for (auto it = FOps.rbegin(); it != FOps.rend(); ++it) {
        const TCanvasOp& op = *it;
        if (!op.Clip.IsEmpty() && !op.Clip.Contains(X, Y)) continue;
        bool fills = op.Kind == coFillRect || ((op.Kind == coRectangle || op.Kind == coTextRect || op.Kind == coTextOut) &&
                                               op.Brush != clNone);
        if (fills && op.R.Contains(X, Y)) return op.Brush;
    }
    return clNone;
}

String TRecordingCanvas::VisibleText(const TCanvasOp& Op, int CharWidth) {
    TRect clip = Op.Kind == coTextRect ? Op.R : TRect{-(1 << 30), -(1 << 30), 1 << 30, 1 << 30};
    if (!Op.Clip.IsEmpty()) clip = IntersectRect(clip, Op.Clip);
    String out;
    for (size_t i = 0; i < Op.Text.size(); ++i) {
        int left = Op.X + static_cast<int>(i) * CharWidth;
        if (left >= clip.Left && left + CharWidth <= clip.Right && Op.Y < clip.Bottom && Op.Y + 1 > clip.Top)
            out += Op.Text[i];
    }
    return out;
}

std::string TRecordingCanvas::TextLog() const {
    std::string out;
    for (const auto& op : FOps) {
        if (op.Kind != coTextOut && op.Kind != coTextRect) continue;
        if (!out.empty()) out += '|';
        out += Utf8(VisibleText(op, FCharWidth));
    }
    return out;
}

}  // namespace ide
