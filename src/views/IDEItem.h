// The contracts between views and the objects that draw their items: the
// paint site (colours, font, alignment and margins of the view), the item
// painter (measure and paint one item), the edit site; the item states; and
// the picture-carrying item values.
#pragma once

#include "foundation/Graphics.h"
#include "foundation/IDEObjects.h"

namespace ide {

enum TItemState { isDefault, isDisabled, isFocused, isSelected, isIndeterminate, isOpened, isInactive };
using TItemStates = TSet<TItemState>;

struct IItemPaintSite : virtual IInterface {
    IDE_INTERFACE(IItemPaintSite, "AB3EB0C4-F8AA-11D0-9AD2-0000C0091B45")
    virtual TColor GetBackground() = 0;
    virtual TColor GetForeground() = 0;
    // Nil: the painter keeps the canvas font.
    virtual TFont* GetFont() = 0;
    virtual TAlignment GetAlignment() = 0;
    virtual TInsets GetItemMargins() = 0;
};

// Data is an item of a model, G the canvas, Site may be nil (the painter
// then falls back on its own settings). Painters are shared by all rows of a
// view and keep no state per item.
struct IItemPainter : virtual IInterface {
    IDE_INTERFACE(IItemPainter, "AB3EB0C5-F8AA-11D0-9AD2-0000C0091B45")
    virtual TDimension GetPreferredSize(const IntfRef<IInterface>& Data, TCanvas* G, TItemStates State,
                                        const IntfRef<IItemPaintSite>& Site) = 0;
    virtual void Paint(const IntfRef<IInterface>& Data, TCanvas* G, const TRectangle& Bounds, TItemStates State,
                       const IntfRef<IItemPaintSite>& Site) = 0;
};

struct IItemEditSite : virtual IItemPaintSite {
    IDE_INTERFACE(IItemEditSite, "AB3EB0C6-F8AA-11D0-9AD2-0000C0091B45")
    virtual void EndEdit(bool Post) = 0;
    virtual TPoint GetEditClickPoint() = 0;
    // A canvas to measure with, at any time.
    virtual TCanvas* GetSiteGraphics() = 0;
};

// A site that forwards all five operations to another; a client overrides
// what it wants to differ.
// Thread: UI thread only.
class TBasicItemPaintSite : public TInterfacedObject, public virtual IItemPaintSite {
public:
    explicit TBasicItemPaintSite(IntfRef<IItemPaintSite> Site) : FSite(std::move(Site)) {}
    TColor GetBackground() override { return FSite->GetBackground(); }
    TColor GetForeground() override { return FSite->GetForeground(); }
    TFont* GetFont() override { return FSite->GetFont(); }
    TAlignment GetAlignment() override { return FSite->GetAlignment(); }
    TInsets GetItemMargins() override { return FSite->GetItemMargins(); }

protected:
    IntfRef<IItemPaintSite> FSite;
};

// A paint site with fixed answers: for tests, and for hosts that paint items
// outside a view.
// Thread: UI thread only.
class TFixedItemPaintSite : public TInterfacedObject, public virtual IItemPaintSite {
public:
    TColor Background = clWindow;
    TColor Foreground = clWindowText;
    TFont* Font = nullptr;
    TAlignment Alignment;
    TInsets Margins{1, 1, 1, 1};
    TColor GetBackground() override { return Background; }
    TColor GetForeground() override { return Foreground; }
    TFont* GetFont() override { return Font; }
    TAlignment GetAlignment() override { return Alignment; }
    TInsets GetItemMargins() override { return Margins; }
};

// An item that is a bitmap.
// Thread: one at a time.
class TImageObject : public TInterfacedObject, public virtual IImageObject {
public:
    explicit TImageObject(std::shared_ptr<TBitmap> Image) : FImage(std::move(Image)) {}
    TBitmap* GetImage() override { return FImage.get(); }

protected:
    std::shared_ptr<TBitmap> FImage;
};

// A text with a bitmap.
// Thread: one at a time.
class TTextImageObject : public TTextObject, public virtual IImageObject {
public:
    TTextImageObject(String Text, std::shared_ptr<TBitmap> Image) : TTextObject(std::move(Text)), FImage(std::move(Image)) {}
    TBitmap* GetImage() override { return FImage.get(); }

protected:
    std::shared_ptr<TBitmap> FImage;
};

}  // namespace ide
