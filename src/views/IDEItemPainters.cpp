#include "views/IDEItemPainters.h"

#include <algorithm>
#include <vector>

namespace ide {

namespace {
TTextMetricsRecord gTextMetrics;
constexpr TAlignment kDefaultTextAlignment{aLeft, aMiddle};  // 33

std::unique_ptr<TInsets> DefaultMargins() { return std::make_unique<TInsets>(1, 1, 1, 1); }

}  // namespace

TTextMetricsRecord LastTextMetrics() { return gTextMetrics; }

String TItemFormatter::Format(const IntfRef<IInterface>& Data) { return As<IStringObject>(Data)->GetString(); }

IntfRef<IInterface> TItemFormatter::Parse(const String& Data) { return Make<TTextObject>(Data); }

// ------------------------------------------------------------------ text

TTextItemPainter::TTextItemPainter(TAlignment Alignment, std::unique_ptr<TInsets> Margins, TItemFormatter* Formatter)
    : FAlignment(Alignment), FMargins(DefaultMargins()), FFormatter(Formatter) {
    if (Margins) FMargins->Assign(*Margins);  // the caller's object is freed here
}

TTextItemPainter::TTextItemPainter(TAlignment Alignment, std::unique_ptr<TInsets> Margins, bool CheckDisabled)
    : TTextItemPainter(Alignment, std::move(Margins), static_cast<TItemFormatter*>(nullptr)) {
    FCheckDisabled = CheckDisabled;
}

TTextItemPainter::TTextItemPainter(TAlignment Alignment, std::unique_ptr<TInsets> Margins)
    : TTextItemPainter(Alignment, std::move(Margins), false) {}

TTextItemPainter::TTextItemPainter(TAlignment Alignment) : TTextItemPainter(Alignment, DefaultMargins()) {}

TTextItemPainter::TTextItemPainter() : TTextItemPainter(kDefaultTextAlignment) {}

String TTextItemPainter::GetText(const IntfRef<IInterface>& Data) {
    if (!Data) return {};
    if (FFormatter) return FFormatter->Format(Data);
    return As<IStringObject>(Data)->GetString();
}

TColor TTextItemPainter::GetBackground(TCanvas* G, const IntfRef<IItemPaintSite>& Site, TItemStates) {
    return Site ? Site->GetBackground() : G->BrushColor();
}

TColor TTextItemPainter::GetForeground(const IntfRef<IItemPaintSite>& Site, TItemStates) {
    return Site ? Site->GetForeground() : FForeground;
}

TDimension TTextItemPainter::GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates,
                                              const IntfRef<IItemPaintSite>& Site) {
    if (!G) return {};
    if (Site)
        if (TFont* f = Site->GetFont()) G->SetFont(*f);
    String text = GetText(Data);
    TInsets m = Site ? Site->GetItemMargins() : (FMargins ? *FMargins : TInsets());
    G->Lock();
    TDimension extent = G->TextExtent(text);
    G->Unlock();
    if (!text.empty()) {
        gTextMetrics.AvgCharWidth = static_cast<double>(extent.Width) / static_cast<double>(text.size());
        gTextMetrics.CharHeight = extent.Height;
        gTextMetrics.Valid = true;
    }
    return {m.Left + m.Right + extent.Width, m.Top + m.Bottom + extent.Height};
}

String TTextItemPainter::FitText(TCanvas*, const String& Text, const TRectangle&, int) { return Text; }

void TTextItemPainter::Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
                             const IntfRef<IItemPaintSite>& Site) {
    if (!G) return;
    TColor oldBrush = G->BrushColor();
    TBrushStyle oldStyle = G->BrushStyle();
    TInsets m = FMargins ? *FMargins : TInsets();
    TAlignment align = FAlignment;
    if (Site) {
        if (TFont* f = Site->GetFont()) G->SetFont(*f);
        m = Site->GetItemMargins();
        TAlignment a = Site->GetAlignment();
        if (a.Bits() != 0) align = a;
    }
    String text = GetText(Data);
    int lineHeight = G->TextMetricHeight();
    // The text's width matters only to a centred or right-aligned text: a
    // long text on the left is never measured whole.
    auto textWidth = [&] { return text.empty() ? 0 : G->TextWidth(text); };
    int x, y;
    if (align.Contains(aCenter))
        x = (R.Width - textWidth()) / 2;  // ignores the margins; C++ division rounds toward zero
    else if (align.Contains(aRight))
        x = R.Width - textWidth() - m.Right;
    else
        x = m.Left;
    if (align.Contains(aMiddle))
        y = (R.Height - lineHeight) / 2;
    else if (align.Contains(aBottom))
        y = R.Height - m.Bottom - lineHeight;
    else
        y = m.Top;
    G->SetBrushColor(GetBackground(G, Site, State));
    G->FillRect(ToRect(R));
    text = FitText(G, text, R, x);
    if (!text.empty()) {
        TRect clip = ToRect(R);
        if (FCheckDisabled && State.Contains(isDisabled)) {
            G->Font().SetColor(clBtnHighlight);
            G->TextRect(clip, R.Left + x + 1, R.Top + y + 1, text);
            G->Font().SetColor(clBtnShadow);
            G->TextRect(clip, R.Left + x, R.Top + y, text);
        } else {
            G->Font().SetColor(GetForeground(Site, State));
        }
        G->TextRect(clip, R.Left + x, R.Top + y, text);
    }
    G->SetBrushColor(oldBrush);
    G->SetBrushStyle(oldStyle);
}

String TClippedTextItemPainter::FitText(TCanvas* G, const String& Text, const TRectangle& R, int X) {
    static const String kEllipsis = u"...";
    int room = R.Left + R.Width - (X + R.Left);  // to the right edge, no margin
    int size = static_cast<int>(Text.size());
    if (Text.empty() || G->TextFitLength(Text, room) == size) return Text;
    int ellipsis = G->TextWidth(kEllipsis);
    if (ellipsis > room) return kEllipsis;
    // Removing characters one at a time from the end (a surrogate pair as
    // one) stops at the longest prefix that fits with the stops after it.
    // The canvas tells where the prefix alone fits beside the stops; the
    // stops may sit a little closer or wider after it, so the candidate is
    // measured with them and moved by whole characters until it is the
    // longest that fits.
    auto fits = [&](int n) { return G->TextWidth(Text.substr(0, static_cast<size_t>(n)) + kEllipsis) <= room; };
    auto shorter = [&](int n) { return CodePointBoundary(Text, n - 1); };
    auto longer = [&](int n) { return CodePointBoundary(Text, n + 1) == n + 1 ? n + 1 : n + 2; };
    int n = G->TextFitLength(Text, room - ellipsis);
    if (fits(n)) {
        for (int next = longer(n); next < size && fits(next); next = longer(n)) n = next;
    } else {
        while (n > 0 && !fits(n)) n = shorter(n);
    }
    return Text.substr(0, static_cast<size_t>(n)) + kEllipsis;
}

// ---------------------------------------------------------------- images

bool TCustomImageItemPainter::HasImage(const IntfRef<IInterface>& Data, TItemStates State) {
    TDimension d = GetImageSize(Data, State);
    return d.Width > 0 || d.Height > 0;
}

TDimension TCustomImageItemPainter::GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas*, TItemStates State,
                                                     const IntfRef<IItemPaintSite>&) {
    return GetImageSize(Data, State);
}

void TCustomImageItemPainter::Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R,
                                    TItemStates State, const IntfRef<IItemPaintSite>& Site) {
    if (!G) return;
    TColor oldBrush = G->BrushColor();
    TBrushStyle oldStyle = G->BrushStyle();
    if (Site) G->SetBrushColor(Site->GetBackground());
    if (!HasImage(Data, State) || FStreamResetError) {
        G->FillRect(ToRect(R));
        if (FStreamResetError) G->Font().SetColor(clWindowText);
    } else {
        TDimension size = GetImageSize(Data, State);
        TAlignment align = FAlignment;
        if (Site && Site->GetAlignment().Bits() != 0) align = Site->GetAlignment();
        int x, w, y, h;
        if (align.Contains(aHorzStretch)) {
            x = R.Left;
            w = R.Width;
        } else {
            w = size.Width;
            if (align.Contains(aRight))
                x = R.Left + R.Width - size.Width;
            else if (align.Contains(aCenter))
                x = R.Left + (R.Width - size.Width) / 2;
            else
                x = R.Left;
        }
        if (align.Contains(aVertStretch)) {
            y = R.Top;
            h = R.Height;
        } else {
            h = size.Height;
            if (align.Contains(aBottom))
                y = R.Top + R.Height - size.Height;
            else if (align.Contains(aMiddle))
                y = R.Top + (R.Height - size.Height) / 2;
            else
                y = R.Top;
        }
        Draw(Data, G, Site, State, Rectangle(x, y, w, h));
        // The strips around the picture; Rect gets sizes for its right and
        // bottom, as it always has.
        if (R.Left < x) G->FillRect(Rect(R.Left, R.Top, x - R.Left, R.Height));
        if (y > R.Top) G->FillRect(Rect(std::max(x, R.Left), R.Top, w, y - R.Top));
        if (R.Left + R.Width > x + w) G->FillRect(Rect(x + w, R.Top, R.Left + R.Width - (x + w), R.Height));
        if (R.Top + R.Height > y + h) G->FillRect(Rect(x, y + h, w, R.Top + R.Height - (y + h)));
    }
    G->SetBrushColor(oldBrush);
    G->SetBrushStyle(oldStyle);
}

TBitmap* TImageItemPainter::GetImage(const IntfRef<IInterface>& Data) {
    if (!Data) return nullptr;
    FStreamResetError = false;
    auto image = Supports<IImageObject>(Data);
    return image ? image->GetImage() : nullptr;
}

bool TImageItemPainter::HasImage(const IntfRef<IInterface>& Data, TItemStates) {
    TBitmap* b = GetImage(Data);
    return b && !b->Empty();
}

TDimension TImageItemPainter::GetImageSize(const IntfRef<IInterface>& Data, TItemStates) {
    TBitmap* b = GetImage(Data);
    return b ? TDimension{b->Width(), b->Height()} : TDimension{};
}

void TImageItemPainter::Draw(const IntfRef<IInterface>& Data, TCanvas* G, const IntfRef<IItemPaintSite>&, TItemStates,
                             const TRectangle& Rect) {
    if (TBitmap* b = GetImage(Data))
        G->BrushCopy(ToRect(Rect), *b, Bounds(0, 0, b->Width(), b->Height()), b->EffectiveTransparentColor());
}

TDimension TImageListItemPainter::GetImageSize(const IntfRef<IInterface>& Data, TItemStates) {
    if (!FImages || !Supports<IIndexObject>(Data)) return {};
    return {FImages->Width(), FImages->Height()};
}

void TImageListItemPainter::Draw(const IntfRef<IInterface>& Data, TCanvas* G, const IntfRef<IItemPaintSite>&,
                                 TItemStates, const TRectangle& Rect) {
    if (!FImages) return;
    if (auto index = Supports<IIndexObject>(Data)) FImages->Draw(*G, Rect.Left, Rect.Top, index->GetIndex(), true);
}

// ----------------------------------------------------------------- focus

TDimension TFocusableItemPainter::GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates State,
                                                   const IntfRef<IItemPaintSite>& Site) {
    return FPainter ? FPainter->GetPreferredSize(Data, G, State, Site) : TDimension{};
}

void TFocusableItemPainter::Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
                                  const IntfRef<IItemPaintSite>& Site) {
    if (FPainter) FPainter->Paint(Data, G, R, State, Site);
    if (!G || !State.Contains(isFocused)) return;
    if (State.Contains(isSelected)) {
        G->SetBrushColor(clBlack);
        G->SetPenColor(clHighlight);
    } else {
        G->SetBrushColor(clWhite);
        G->SetPenColor(clBlack);
    }
    G->DrawFocusRect(ToRect(R));
}

// ------------------------------------------------------------- composite

TDimension TCompositeItemPainter::GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates State,
                                                   const IntfRef<IItemPaintSite>& Site) {
    TDimension f = FFirstPainter ? FFirstPainter->GetPreferredSize(Data, G, State, Site) : TDimension{};
    TDimension s = FSecondPainter ? FSecondPainter->GetPreferredSize(Data, G, State, Site) : TDimension{};
    if (FOrientation == oHorizontal) {
        int gap = f.Width > 0 ? FGap : 0;
        return {f.Width + gap + s.Width, std::max(f.Height, s.Height)};
    }
    int gap = f.Height > 0 ? FGap : 0;
    return {std::max(f.Width, s.Width), f.Height + gap + s.Height};
}

void TCompositeItemPainter::CalculateRects(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R,
                                           TItemStates State, const IntfRef<IItemPaintSite>& Site,
                                           TRectangle& RectFirst, TRectangle& RectSecond) {
    TDimension f = FFirstPainter ? FFirstPainter->GetPreferredSize(Data, G, State, Site) : TDimension{};
    TDimension s = FSecondPainter ? FSecondPainter->GetPreferredSize(Data, G, State, Site) : TDimension{};
    if (FOrientation == oHorizontal) {
        int gap = f.Width > 0 ? FGap : 0;
        RectFirst = Rectangle(R.Left, R.Top + (R.Height - f.Height) / 2, f.Width, f.Height);
        RectSecond = Rectangle(R.Left + f.Width + gap, R.Top + (R.Height - s.Height) / 2, s.Width, s.Height);
    } else {
        int gap = f.Height > 0 ? FGap : 0;
        // The first left comes from Rect.Top: kept as it has always been.
        RectFirst = Rectangle(R.Top + (R.Width - f.Width) / 2, R.Top, f.Width, f.Height);
        RectSecond = Rectangle(R.Left + (R.Width - s.Width) / 2, R.Top + f.Height + gap, s.Width, s.Height);
    }
}

void TCompositeItemPainter::Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
                                  const IntfRef<IItemPaintSite>& Site) {
    TRectangle first, second;
    CalculateRects(Data, G, R, State, Site, first, second);
    if (FFirstPainter) FFirstPainter->Paint(Data, G, first, State, Site);
    if (FSecondPainter) FSecondPainter->Paint(Data, G, second, State, Site);
}

}  // namespace ide
