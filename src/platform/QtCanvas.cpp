#include "platform/QtCanvas.h"

#include <QBitmap>
#include <QGuiApplication>
#include <QPixmap>
#include <algorithm>
#include <cstdlib>

namespace ide {

QColor ToQColor(TColor C, const QPalette& P) {
    if (IsSystemColor(C)) {
        switch (C) {
            case clHighlight: return P.color(QPalette::Active, QPalette::Highlight);
            case clHighlightText: return P.color(QPalette::Active, QPalette::HighlightedText);
            case clWindow: return P.color(QPalette::Active, QPalette::Base);
            case clWindowText: return P.color(QPalette::Active, QPalette::Text);
            case clBtnFace: return P.color(QPalette::Active, QPalette::Button);
            case clBtnText: return P.color(QPalette::Active, QPalette::ButtonText);
            case clBtnShadow: return P.color(QPalette::Active, QPalette::Dark);
            case clBtnHighlight: return P.color(QPalette::Active, QPalette::Light);
            case clGrayText: return P.color(QPalette::Disabled, QPalette::Text);
            case clInfoBk: return P.color(QPalette::Active, QPalette::ToolTipBase);
            case clInfoText: return P.color(QPalette::Active, QPalette::ToolTipText);
            case clActiveBorder: return P.color(QPalette::Active, QPalette::Mid);
            case cl3DDkShadow: return P.color(QPalette::Active, QPalette::Shadow);
            case cl3DLight: return P.color(QPalette::Active, QPalette::Midlight);
            case clMenu: return P.color(QPalette::Active, QPalette::Window);
            case clMenuText: return P.color(QPalette::Active, QPalette::WindowText);
            default: break;
        }
        C = ColorToRGB(C);
    }
    if (C == clNone) return QColor(Qt::transparent);
    return QColor(GetRValue(C), GetGValue(C), GetBValue(C));
}

QColor ToQColor(TColor C) { return ToQColor(C, QGuiApplication::palette()); }

TColor FromQColor(const QColor& C) { return RGBColor(C.red(), C.green(), C.blue()); }

QFont ToQFont(const TFont& F) {
    QFont f(ToQString(F.Name()));
    f.setPointSize(F.Size() > 0 ? F.Size() : 9);
    f.setBold(F.Style().Contains(fsBold));
    f.setItalic(F.Style().Contains(fsItalic));
    f.setUnderline(F.Style().Contains(fsUnderline));
    f.setStrikeOut(F.Style().Contains(fsStrikeOut));
    return f;
}

void AssignQFont(TFont& Target, const QFont& Source, TColor Color) {
    TFont f;
    f.SetName(FromQString(Source.family()));
    f.SetSize(Source.pointSize() > 0 ? Source.pointSize() : 9);
    TFontStyles s;
    if (Source.bold()) s.Include(fsBold);
    if (Source.italic()) s.Include(fsItalic);
    if (Source.underline()) s.Include(fsUnderline);
    if (Source.strikeOut()) s.Include(fsStrikeOut);
    f.SetStyle(s);
    f.SetColor(Color);
    Target.Assign(f);
}

QImage ToQImage(const TBitmap& B) {
    if (B.Empty()) return QImage();
    QImage wrapped(reinterpret_cast<const uchar*>(B.Scanlines()), B.Width(), B.Height(), B.Width() * 4,
                   QImage::Format_RGB32);
    return wrapped.copy();
}

// ---------------------------------------------------------------- canvas

TQtCanvas::TQtCanvas(QPainter* Painter, const QPalette& Palette) : FPalette(Palette) { SetPainter(Painter); }

TQtCanvas::TQtCanvas(QPainter* Painter) : TQtCanvas(Painter, QGuiApplication::palette()) {}

TQtCanvas::~TQtCanvas() = default;

void TQtCanvas::SetPainter(QPainter* Painter) {
    FPainter = Painter;
    if (FPainter) {
        FBaseClipping = FPainter->hasClipping();
        if (FBaseClipping) FBaseClip = FPainter->clipRegion();
    }
}

const QFont& TQtCanvas::CurrentQFont() {
    if (!FFontValid || !FAppliedFont.SameFace(Font())) {
        FAppliedFont.Assign(Font());
        FQFont = ToQFont(Font());
        FMetrics.emplace(FQFont);
        FMetricsF.emplace(FQFont);
        FWidthsGeneration = 0;  // ask for the new font's tables
        FFontValid = true;
    }
    return FQFont;
}

const QFontMetrics& TQtCanvas::Metrics() {
    CurrentQFont();
    return *FMetrics;
}

QPen TQtCanvas::Pen() const {
    if (PenStyle() == psClear) return QPen(Qt::NoPen);
    QPen pen(Resolve(PenColor()));
    pen.setWidth(0);
    if (PenStyle() == psDot) pen.setDashPattern({1, 1});
    return pen;
}

void TQtCanvas::FillRect(const TRect& R) {
    if (!FPainter || R.IsEmpty()) return;
    FPainter->fillRect(ToQRect(R), Resolve(BrushColor()));
}

void TQtCanvas::FrameRect(const TRect& R) {
    if (!FPainter || R.IsEmpty()) return;
    QColor c = Resolve(BrushColor());
    FPainter->fillRect(QRect(R.Left, R.Top, R.Width(), 1), c);
    FPainter->fillRect(QRect(R.Left, R.Bottom - 1, R.Width(), 1), c);
    FPainter->fillRect(QRect(R.Left, R.Top, 1, R.Height()), c);
    FPainter->fillRect(QRect(R.Right - 1, R.Top, 1, R.Height()), c);
}

void TQtCanvas::Rectangle(const TRect& R) {
    if (!FPainter || R.IsEmpty()) return;
    if (BrushStyle() != bsClear) FPainter->fillRect(ToQRect(R), Resolve(BrushColor()));
    if (PenStyle() == psClear) return;
    FPainter->setPen(Pen());
    FPainter->setBrush(Qt::NoBrush);
    FPainter->drawRect(R.Left, R.Top, R.Width() - 1, R.Height() - 1);
}

void TQtCanvas::DrawFocusRect(const TRect& R) {
    if (!FPainter || R.IsEmpty()) return;
    // Every other pixel of the frame, inverted, so a second call restores it.
    FPainter->save();
    FPainter->setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    QPen pen(QColor(255, 255, 255));
    pen.setWidth(0);
    FPainter->setPen(pen);
    for (int x = R.Left; x < R.Right; x += 2) {
        FPainter->drawPoint(x, R.Top);
        if (R.Bottom - 1 != R.Top) FPainter->drawPoint(x + ((R.Height() - 1) & 1), R.Bottom - 1);
    }
    for (int y = R.Top + 2; y < R.Bottom - 1; y += 2) {
        FPainter->drawPoint(R.Left, y);
        if (R.Right - 1 != R.Left) FPainter->drawPoint(R.Right - 1, y + ((R.Width() - 1) & 1));
    }
    FPainter->restore();
}

void TQtCanvas::DrawTextAt(int X, int Y, const QString& Text) {
    FPainter->setFont(CurrentQFont());
    FPainter->setPen(Resolve(Font().Color()));
    FPainter->drawText(QPoint(X, Y + FMetrics->ascent()), Text);
}

void TQtCanvas::TextOut(int X, int Y, const String& Text) {
    if (!FPainter) return;
    QString s = ToQString(Text);
    if (BrushStyle() != bsClear)
        FPainter->fillRect(QRect(X, Y, AdvanceWidth(Text), Metrics().height()), Resolve(BrushColor()));
    DrawTextAt(X, Y, s);
}

void TQtCanvas::TextRect(const TRect& Clip, int X, int Y, const String& Text) {
    if (!FPainter || Clip.IsEmpty()) return;
    QRect clip = ToQRect(Clip);
    if (BrushStyle() != bsClear) FPainter->fillRect(clip, Resolve(BrushColor()));
    if (Text.empty()) return;
    QString s = ToQString(Text);
    const QFontMetrics& fm = Metrics();
    // Only clip when the text leaves the rectangle: the clip is the costly part.
    bool inside = X >= Clip.Left && Y >= Clip.Top && Y + fm.height() <= Clip.Bottom &&
                  X + AdvanceWidth(Text) <= Clip.Right;
    if (inside) {
        DrawTextAt(X, Y, s);
        return;
    }
    FPainter->save();
    FPainter->setClipRect(clip, Qt::IntersectClip);
    DrawTextAt(X, Y, s);
    FPainter->restore();
}

int TQtCanvas::AdvanceWidth(const String& Text) {
    const QFontMetrics& fm = Metrics();
    // The tables go when the application's fonts change: ask again then.
    if (FWidthsGeneration != TSimpleTextWidths::Generation()) {
        FWidths = TSimpleTextWidths::For(FQFont);
        FWidthsGeneration = TSimpleTextWidths::Generation();
    }
    int width = 0;
    if (FWidths && FWidths->Width(*FMetricsF, Text.data(), Text.size(), width)) return width;
    return fm.horizontalAdvance(ToQString(Text));
}

TDimension TQtCanvas::TextExtent(const String& Text) {
    int width = AdvanceWidth(Text);
    return {width, Metrics().height()};
}

int TQtCanvas::TextMetricHeight() { return Metrics().height(); }

int TQtCanvas::TextFitLength(const String& Text, int MaxWidth) {
    int size = static_cast<int>(Text.size());
    if (MaxWidth < 0 || size == 0) return 0;
    const QFontMetrics& fm = Metrics();
    const auto* chars = reinterpret_cast<const QChar*>(Text.data());
    auto fits = [&](int n) { return fm.horizontalAdvance(QString::fromRawData(chars, n)) <= MaxWidth; };
    // lo fits, hi does not (size + 1: nothing known to fail).
    int lo = 0, hi = size + 1;
    int guess = std::clamp(MaxWidth / std::max(1, fm.averageCharWidth()), 1, size);
    int step = std::max(1, guess / 4);
    if (fits(guess)) {
        lo = guess;
        while (lo < size) {
            int probe = std::min(size, lo + step);
            if (!fits(probe)) {
                hi = probe;
                break;
            }
            lo = probe;
            step *= 2;
        }
    } else {
        hi = guess;
        while (hi > 1) {
            int probe = std::max(0, hi - step);
            if (probe == 0 || fits(probe)) {
                lo = probe;
                break;
            }
            hi = probe;
            step *= 2;
        }
    }
    while (hi - lo > 1) {
        int mid = lo + (hi - lo) / 2;
        if (fits(mid))
            lo = mid;
        else
            hi = mid;
    }
    return CodePointBoundary(Text, lo);
}

QPixmap TQtCanvas::Pixmap(const TBitmap& B, TColor Transparent) {
    for (auto& e : FCache)
        if (e.Bitmap == &B && e.Revision == B.Revision() && e.Transparent == Transparent) return e.Pixmap;
    QImage image = ToQImage(B);
    QPixmap pm = QPixmap::fromImage(image);
    if (Transparent != clNone) {
        TColor rgb = ColorToRGB(Transparent);
        QImage mask = image.createMaskFromColor(qRgb(GetRValue(rgb), GetGValue(rgb), GetBValue(rgb)), Qt::MaskInColor);
        pm.setMask(QBitmap::fromImage(mask));
    }
    CacheEntry& e = FCache[FCacheNext];
    FCacheNext = (FCacheNext + 1) % 4;
    e = {&B, B.Revision(), Transparent, pm};
    return pm;
}

void TQtCanvas::Draw(int X, int Y, const TBitmap& Bitmap) {
    if (!FPainter || Bitmap.Empty()) return;
    FPainter->drawPixmap(X, Y, Pixmap(Bitmap, Bitmap.Transparent() ? Bitmap.EffectiveTransparentColor() : clNone));
}

void TQtCanvas::BrushCopy(const TRect& Dest, const TBitmap& Bitmap, const TRect& Source, TColor TransparentColor) {
    if (!FPainter || Bitmap.Empty() || Dest.IsEmpty()) return;
    FPainter->drawPixmap(ToQRect(Dest), Pixmap(Bitmap, TransparentColor), ToQRect(Source));
}

void TQtCanvas::DoLine(int X1, int Y1, int X2, int Y2) {
    if (!FPainter || PenStyle() == psClear) return;
    FPainter->setPen(Pen());
    // The line leaves out its last pixel.
    int dx = X2 - X1, dy = Y2 - Y1;
    if (dx == 0 && dy == 0) return;
    if (std::abs(dx) >= std::abs(dy))
        X2 -= dx > 0 ? 1 : -1;
    else
        Y2 -= dy > 0 ? 1 : -1;
    FPainter->drawLine(X1, Y1, X2, Y2);
}

void TQtCanvas::ClipChanged() {
    if (!FPainter) return;
    if (HasClipRect()) {
        QRegion r(ToQRect(ClipRect()));
        FPainter->setClipRegion(FBaseClipping ? r.intersected(FBaseClip) : r);
    } else if (FBaseClipping) {
        FPainter->setClipRegion(FBaseClip);
    } else {
        FPainter->setClipping(false);
    }
}

TQtMeasuringCanvas::TQtMeasuringCanvas() : TQtCanvas(nullptr), FImage(1, 1, QImage::Format_RGB32) {
    FOwnPainter = std::make_unique<QPainter>(&FImage);
    SetPainter(FOwnPainter.get());
}

TQtMeasuringCanvas::~TQtMeasuringCanvas() {
    if (FOwnPainter) FOwnPainter->end();
}

}  // namespace ide
