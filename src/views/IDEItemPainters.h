// Item painters: text (plain, clipped with "...", selectable colours),
// pictures (a bitmap item, an image-list index), the focus mark around
// another painter, and two painters side by side or one above the other.
//
// Kept behaviour worth knowing (each is pinned by a test):
// - a centred text ignores the margins, and offsets round toward zero;
// - an embossed (disabled) text draws its shadow twice;
// - the vertical composite takes its first rectangle's left from Rect.Top;
// - a first painter of width 0 costs the composite no gap, a second does;
// - the image painter erases around the picture in strips whose right and
//   bottom are given as sizes, so strips of bounds away from the origin
//   come out short;
// - a site's font stays on the canvas after measuring or painting.
#pragma once

#include <memory>

#include "views/IDEItem.h"

namespace ide {

class TKomponent;

// Formats an item as text and makes an item of a text.
// Thread: any.
class TItemFormatter : public TObject {
public:
    // The item's IStringObject text (raising cast).
    String Format(const IntfRef<IInterface>& Data);
    // A new TTextObject.
    IntfRef<IInterface> Parse(const String& Data);
};

// Kept by text measuring and read by nobody in the library: the average
// character width and the character height of the last non-empty measure.
struct TTextMetricsRecord {
    double AvgCharWidth = 0;
    int CharHeight = 0;
    bool Valid = false;
};
TTextMetricsRecord LastTextMetrics();

// Thread: UI thread only (shared between the views of that thread).
class TTextItemPainter : public TInterfacedObject, public virtual IItemPainter {
public:
    // Takes over Margins (its values are copied into the painter's own
    // margins); Formatter is not owned.
    TTextItemPainter(TAlignment Alignment, std::unique_ptr<TInsets> Margins, TItemFormatter* Formatter);
    TTextItemPainter(TAlignment Alignment, std::unique_ptr<TInsets> Margins, bool CheckDisabled);
    TTextItemPainter(TAlignment Alignment, std::unique_ptr<TInsets> Margins);
    explicit TTextItemPainter(TAlignment Alignment);
    TTextItemPainter();

    TAlignment GetAlignment() const { return FAlignment; }
    void SetAlignment(TAlignment Value) { FAlignment = Value; }
    TInsets* GetMargins() const { return FMargins.get(); }
    // Takes the object as it is (no copy).
    void SetMargins(std::unique_ptr<TInsets> Value) { FMargins = std::move(Value); }
    TColor GetForeground2() const { return FForeground; }
    void SetForeground2(TColor Value) { FForeground = Value; }
    bool IsCheckDisabled() const { return FCheckDisabled; }
    void SetCheckDisabled(bool Value) { FCheckDisabled = Value; }

    TDimension GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates State,
                                const IntfRef<IItemPaintSite>& Site) override;
    void Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
               const IntfRef<IItemPaintSite>& Site) override;

    virtual String GetText(const IntfRef<IInterface>& Data);
    virtual TColor GetBackground(TCanvas* G, const IntfRef<IItemPaintSite>& Site, TItemStates State);
    virtual TColor GetForeground(const IntfRef<IItemPaintSite>& Site, TItemStates State);

protected:
    // Fits the text into the room from R.Left + X to R's right edge; the
    // plain painter leaves it as it is.
    virtual String FitText(TCanvas* G, const String& Text, const TRectangle& R, int X);

    bool FCheckDisabled = false;
    TAlignment FAlignment;
    std::unique_ptr<TInsets> FMargins;
    TItemFormatter* FFormatter = nullptr;
    TColor FForeground = clBlack;
};

// Ends a text that doesn't fit in "..." (three full stops), removing code
// units from the end (a surrogate pair as one), or becomes "..." itself when
// not even that fits.
// Thread: UI thread only.
class TClippedTextItemPainter : public TTextItemPainter {
public:
    using TTextItemPainter::TTextItemPainter;

protected:
    String FitText(TCanvas* G, const String& Text, const TRectangle& R, int X) override;
};

// The colours of a selected item, active and inactive.
template <class Base>
class TSelectableColors : public Base {
public:
    using Base::Base;
    TColor GetSelectedBackground() const { return FSelectedBg; }
    void SetSelectedBackground(TColor C) { FSelectedBg = C; }
    TColor GetSelectedForeground() const { return FSelectedFg; }
    void SetSelectedForeground(TColor C) { FSelectedFg = C; }
    TColor GetInactiveSelectedBackground() const { return FInactiveSelectedBg; }
    void SetInactiveSelectedBackground(TColor C) { FInactiveSelectedBg = C; }
    TColor GetInactiveSelectedForeground() const { return FInactiveSelectedFg; }
    void SetInactiveSelectedForeground(TColor C) { FInactiveSelectedFg = C; }

    TColor GetBackground(TCanvas* G, const IntfRef<IItemPaintSite>& Site, TItemStates State) override {
        if (!State.Contains(isSelected)) return Base::GetBackground(G, Site, State);
        return State.Contains(isInactive) ? FInactiveSelectedBg : FSelectedBg;
    }
    TColor GetForeground(const IntfRef<IItemPaintSite>& Site, TItemStates State) override {
        if (!State.Contains(isSelected)) return Base::GetForeground(Site, State);
        return State.Contains(isInactive) ? FInactiveSelectedFg : FSelectedFg;
    }

protected:
    TColor FSelectedFg = clHighlightText;
    TColor FSelectedBg = clHighlight;
    TColor FInactiveSelectedFg = clWindowText;
    TColor FInactiveSelectedBg = clBtnFace;
};

// Thread: UI thread only.
class TSelectableTextItemPainter : public TSelectableColors<TTextItemPainter> {
public:
    using TSelectableColors<TTextItemPainter>::TSelectableColors;
};

// Thread: UI thread only.
class TSelectableClippedTextItemPainter : public TSelectableColors<TClippedTextItemPainter> {
public:
    using TSelectableColors<TClippedTextItemPainter>::TSelectableColors;
};

// The picture layout shared by the image painters: place, draw, erase the
// rest of the bounds in strips.
// Thread: UI thread only.
class TCustomImageItemPainter : public TInterfacedObject, public virtual IItemPainter {
public:
    explicit TCustomImageItemPainter(TKomponent* Component = nullptr, TAlignment Alignment = {})
        : FComponent(Component), FAlignment(Alignment) {}
    TAlignment GetAlignment() const { return FAlignment; }
    void SetAlignment(TAlignment Value) { FAlignment = Value; }
    TDimension GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates State,
                                const IntfRef<IItemPaintSite>& Site) override;
    void Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
               const IntfRef<IItemPaintSite>& Site) override;

    virtual TDimension GetImageSize(const IntfRef<IInterface>& Data, TItemStates State) = 0;
    virtual void Draw(const IntfRef<IInterface>& Data, TCanvas* G, const IntfRef<IItemPaintSite>& Site,
                      TItemStates State, const TRectangle& Rect) = 0;

protected:
    // Whether there is a picture to draw at all.
    virtual bool HasImage(const IntfRef<IInterface>& Data, TItemStates State);
    TKomponent* FComponent;
    TAlignment FAlignment;
    bool FStreamResetError = false;
};

// Paints the bitmap of an IImageObject item, leaving out its transparent
// colour.
// Thread: UI thread only.
class TImageItemPainter : public TCustomImageItemPainter {
public:
    using TCustomImageItemPainter::TCustomImageItemPainter;
    // Nil for nil data or an item without IImageObject.
    virtual TBitmap* GetImage(const IntfRef<IInterface>& Data);
    TDimension GetImageSize(const IntfRef<IInterface>& Data, TItemStates State) override;
    void Draw(const IntfRef<IInterface>& Data, TCanvas* G, const IntfRef<IItemPaintSite>& Site, TItemStates State,
              const TRectangle& Rect) override;

protected:
    bool HasImage(const IntfRef<IInterface>& Data, TItemStates State) override;
};

// Paints image number IIndexObject.GetIndex of a list.
// Thread: UI thread only.
class TImageListItemPainter : public TCustomImageItemPainter {
public:
    explicit TImageListItemPainter(TImageList* Images, TAlignment Alignment = {})
        : TCustomImageItemPainter(nullptr, Alignment), FImages(Images) {}
    TImageList* GetImages() const { return FImages; }
    void SetImages(TImageList* Images) { FImages = Images; }
    TDimension GetImageSize(const IntfRef<IInterface>& Data, TItemStates State) override;
    void Draw(const IntfRef<IInterface>& Data, TCanvas* G, const IntfRef<IItemPaintSite>& Site, TItemStates State,
              const TRectangle& Rect) override;

protected:
    TImageList* FImages;
};

// Adds the focus mark to another painter (or to nothing).
// Thread: UI thread only.
class TFocusableItemPainter : public TInterfacedObject, public virtual IItemPainter {
public:
    explicit TFocusableItemPainter(IntfRef<IItemPainter> Painter = nullptr) : FPainter(std::move(Painter)) {}
    TDimension GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates State,
                                const IntfRef<IItemPaintSite>& Site) override;
    void Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
               const IntfRef<IItemPaintSite>& Site) override;

protected:
    IntfRef<IItemPainter> FPainter;
};

// Two painters side by side (oHorizontal) or one above the other, each at
// its preferred size, centred across.
// Thread: UI thread only.
class TCompositeItemPainter : public TInterfacedObject, public virtual IItemPainter {
public:
    TCompositeItemPainter(IntfRef<IItemPainter> First, IntfRef<IItemPainter> Second, TOrientation Orientation = oHorizontal,
                          int Gap = 4)
        : FFirstPainter(std::move(First)), FSecondPainter(std::move(Second)), FOrientation(Orientation), FGap(Gap) {}
    TOrientation GetOrientation() const { return FOrientation; }
    void SetOrientation(TOrientation Value) { FOrientation = Value; }
    int GetGap() const { return FGap; }
    const IntfRef<IItemPainter>& GetFirstPainter() const { return FFirstPainter; }
    const IntfRef<IItemPainter>& GetSecondPainter() const { return FSecondPainter; }

    TDimension GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates State,
                                const IntfRef<IItemPaintSite>& Site) override;
    void Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& R, TItemStates State,
               const IntfRef<IItemPaintSite>& Site) override;
    void CalculateRects(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& Rect, TItemStates State,
                        const IntfRef<IItemPaintSite>& Site, TRectangle& RectFirst, TRectangle& RectSecond);

protected:
    IntfRef<IItemPainter> FFirstPainter, FSecondPainter;
    TOrientation FOrientation;
    int FGap;
};

}  // namespace ide
