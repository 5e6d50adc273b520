// The canvas over Qt: TQtCanvas draws through a QPainter and measures with
// QFontMetrics; TQtMeasuringCanvas measures outside any paint event (a view
// sizes its rows when the model changes, not only when it paints).
//
// System colours resolve through a QPalette:
//   clHighlight -> Highlight        clHighlightText -> HighlightedText
//   clWindow -> Base                clWindowText -> Text
//   clBtnFace -> Button             clBtnText -> ButtonText
//   clBtnShadow -> Dark             clBtnHighlight -> Light
//   clGrayText -> Text (disabled)   clInfoBk/clInfoText -> ToolTipBase/ToolTipText
//   clActiveBorder -> Mid           cl3DDkShadow -> Shadow, cl3DLight -> Midlight
//   clMenu -> Window                clMenuText -> WindowText
// and the rest through the fixed table of ColorToRGB.
#pragma once

#include <QColor>
#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QRect>
#include <QString>
#include <memory>
#include <optional>

#include "foundation/Graphics.h"
#include "platform/TextWidths.h"

namespace ide {

QColor ToQColor(TColor C, const QPalette& Palette);
QColor ToQColor(TColor C);  // with the application's palette
TColor FromQColor(const QColor& C);
QFont ToQFont(const TFont& F);
void AssignQFont(TFont& Target, const QFont& Source, TColor Color = clWindowText);
inline QRect ToQRect(const TRect& R) { return QRect(R.Left, R.Top, R.Width(), R.Height()); }
inline TRect FromQRect(const QRect& R) { return Bounds(R.left(), R.top(), R.width(), R.height()); }
inline QString ToQString(const String& S) {
    return QString(reinterpret_cast<const QChar*>(S.data()), static_cast<qsizetype>(S.size()));
}
inline String FromQString(const QString& S) {
    return String(reinterpret_cast<const char16_t*>(S.utf16()), static_cast<size_t>(S.size()));
}
// The pixels of a bitmap as an image (a copy).
QImage ToQImage(const TBitmap& B);

// A canvas over a painter that someone else began and ends.
// Thread: UI thread only.
class TQtCanvas : public TCanvas {
public:
    explicit TQtCanvas(QPainter* Painter, const QPalette& Palette);
    explicit TQtCanvas(QPainter* Painter);
    ~TQtCanvas() override;

    QPainter* Painter() const { return FPainter; }
    const QPalette& Palette() const { return FPalette; }
    void SetPalette(const QPalette& P) { FPalette = P; }
    QColor Resolve(TColor C) const { return ToQColor(C, FPalette); }

    void FillRect(const TRect& R) override;
    void FrameRect(const TRect& R) override;
    void Rectangle(const TRect& R) override;
    void DrawFocusRect(const TRect& R) override;
    void TextOut(int X, int Y, const String& Text) override;
    void TextRect(const TRect& Clip, int X, int Y, const String& Text) override;
    // Plain printable text is measured from the font's remembered advances
    // (TSimpleTextWidths), with the same result as QFontMetrics.
    TDimension TextExtent(const String& Text) override;
    int TextMetricHeight() override;
    // Measures short prefixes only: it starts from the font's average
    // character width, widens or narrows by growing steps, then halves; the
    // text beyond the room is never shaped.
    int TextFitLength(const String& Text, int MaxWidth) override;
    void Draw(int X, int Y, const TBitmap& Bitmap) override;
    void BrushCopy(const TRect& Dest, const TBitmap& Bitmap, const TRect& Source, TColor TransparentColor) override;

    // The Qt font of the canvas font, made again only when it changed.
    const QFont& CurrentQFont();
    const QFontMetrics& Metrics();

protected:
    void DoLine(int X1, int Y1, int X2, int Y2) override;
    void ClipChanged() override;
    void SetPainter(QPainter* Painter);

private:
    void DrawTextAt(int X, int Y, const QString& Text);
    // The width QFontMetrics gives, from the remembered advances when it can.
    int AdvanceWidth(const String& Text);
    QPixmap Pixmap(const TBitmap& B, TColor Transparent);
    QPen Pen() const;

    QPainter* FPainter = nullptr;
    QPalette FPalette;
    bool FBaseClipping = false;
    QRegion FBaseClip;
    TFont FAppliedFont;
    bool FFontValid = false;
    QFont FQFont;
    std::optional<QFontMetrics> FMetrics;
    std::optional<QFontMetricsF> FMetricsF;  // the same font, for learning advances
    TSimpleTextWidths* FWidths = nullptr;    // the font's tables, valid in FWidthsGeneration
    uint64_t FWidthsGeneration = 0;
    // The last bitmaps drawn, by address, revision and transparent colour.
    struct CacheEntry {
        const TBitmap* Bitmap = nullptr;
        uint64_t Revision = 0;
        TColor Transparent = clNone;
        QPixmap Pixmap;
    };
    CacheEntry FCache[4];
    int FCacheNext = 0;
};

// A canvas for measuring outside a paint event: it paints into a 1 x 1
// image that nobody looks at.
// Thread: UI thread only.
class TQtMeasuringCanvas : public TQtCanvas {
public:
    TQtMeasuringCanvas();
    ~TQtMeasuringCanvas() override;

private:
    QImage FImage;
    std::unique_ptr<QPainter> FOwnPainter;
};

}  // namespace ide
