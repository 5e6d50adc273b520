#include "foundation/Graphics.h"

#include <algorithm>
#include <string>

namespace ide {

namespace {
// The classic look, by system colour index.
constexpr TColor kSystemColors[SystemColorCount] = {
    RGBColor(0xC8, 0xC8, 0xC8),  // scroll bar
    RGBColor(0x00, 0x00, 0x00),  // background
    RGBColor(0x99, 0xB4, 0xD1),  // active caption
    RGBColor(0xBF, 0xCD, 0xDB),  // inactive caption
    RGBColor(0xF0, 0xF0, 0xF0),  // menu
    RGBColor(0xFF, 0xFF, 0xFF),  // window
    RGBColor(0x64, 0x64, 0x64),  // window frame
    RGBColor(0x00, 0x00, 0x00),  // menu text
    RGBColor(0x00, 0x00, 0x00),  // window text
    RGBColor(0x00, 0x00, 0x00),  // caption text
    RGBColor(0xB4, 0xB4, 0xB4),  // active border
    RGBColor(0xF4, 0xF7, 0xFC),  // inactive border
    RGBColor(0xAB, 0xAB, 0xAB),  // application work space
    RGBColor(0x33, 0x99, 0xFF),  // highlight
    RGBColor(0xFF, 0xFF, 0xFF),  // highlight text
    RGBColor(0xF0, 0xF0, 0xF0),  // button face
    RGBColor(0xA0, 0xA0, 0xA0),  // button shadow
    RGBColor(0x6D, 0x6D, 0x6D),  // grey text
    RGBColor(0x00, 0x00, 0x00),  // button text
    RGBColor(0x43, 0x4E, 0x54),  // inactive caption text
    RGBColor(0xFF, 0xFF, 0xFF),  // button highlight
    RGBColor(0x69, 0x69, 0x69),  // 3-D dark shadow
    RGBColor(0xE3, 0xE3, 0xE3),  // 3-D light
    RGBColor(0x00, 0x00, 0x00),  // info text
    RGBColor(0xFF, 0xFF, 0xE1),  // info background
};

uint32_t ToWord(TColor C) {
    C = ColorToRGB(C);
    return 0xFF000000u | (static_cast<uint32_t>(GetRValue(C)) << 16) | (static_cast<uint32_t>(GetGValue(C)) << 8) |
           static_cast<uint32_t>(GetBValue(C));
}

TColor FromWord(uint32_t W) { return RGBColor((W >> 16) & 0xFF, (W >> 8) & 0xFF, W & 0xFF); }
}  // namespace

TColor ColorToRGB(TColor C) {
    if (!IsSystemColor(C)) return C;
    int i = SystemColorIndex(C);
    return i < SystemColorCount ? kSystemColors[i] : clBlack;
}

TRect IntersectRect(const TRect& A, const TRect& B) {
    TRect r{std::max(A.Left, B.Left), std::max(A.Top, B.Top), std::min(A.Right, B.Right), std::min(A.Bottom, B.Bottom)};
    return r.IsEmpty() ? TRect{} : r;
}

TRect OffsetRect(const TRect& R, int DX, int DY) { return {R.Left + DX, R.Top + DY, R.Right + DX, R.Bottom + DY}; }

int CodePointBoundary(const String& Text, int N) {
    auto n = static_cast<size_t>(N);
    if (N <= 0 || n >= Text.size()) return N;
    bool lead = Text[n - 1] >= 0xD800 && Text[n - 1] <= 0xDBFF;
    bool trail = Text[n] >= 0xDC00 && Text[n] <= 0xDFFF;
    return lead && trail ? N - 1 : N;
}

int TCanvas::TextFitLength(const String& Text, int MaxWidth) {
    int size = static_cast<int>(Text.size());
    if (MaxWidth < 0 || size == 0) return 0;
    // lo fits, hi does not (size + 1: nothing known to fail).
    int lo = 0, hi = size + 1;
    while (hi - lo > 1) {
        int mid = lo + (hi - lo) / 2;
        if (TextWidth(Text.substr(0, static_cast<size_t>(mid))) <= MaxWidth)
            lo = mid;
        else
            hi = mid;
    }
    return CodePointBoundary(Text, lo);
}

// ------------------------------------------------------------------ font

void TFont::Assign(const TFont& Source) {
    if (SameAs(Source)) return;
    FName = Source.FName;
    FSize = Source.FSize;
    FColor = Source.FColor;
    FStyle = Source.FStyle;
    Changed();
}

void TFont::SetName(const String& Value) {
    if (FName == Value) return;
    FName = Value;
    Changed();
}

void TFont::SetSize(int Value) {
    if (FSize == Value) return;
    FSize = Value;
    Changed();
}

void TFont::SetColor(TColor Value) {
    if (FColor == Value) return;
    FColor = Value;
    Changed();
}

void TFont::SetStyle(TFontStyles Value) {
    if (FStyle == Value) return;
    FStyle = Value;
    Changed();
}

void TFont::Changed() {
    if (OnChange) OnChange(*this);
}

// ---------------------------------------------------------------- bitmap

TBitmap::TBitmap(int Width, int Height, TColor Fill) {
    FWidth = std::max(0, Width);
    FHeight = std::max(0, Height);
    FPixels.assign(static_cast<size_t>(FWidth) * static_cast<size_t>(FHeight), ToWord(Fill));
}

TBitmap::TBitmap(const TBitmap& Other)
    : TObject(),
      FWidth(Other.FWidth),
      FHeight(Other.FHeight),
      FPixels(Other.FPixels),
      FTransparent(Other.FTransparent),
      FTransparentColor(Other.FTransparentColor) {}

TBitmap& TBitmap::operator=(const TBitmap& Other) {
    if (this == &Other) return *this;
    FWidth = Other.FWidth;
    FHeight = Other.FHeight;
    FPixels = Other.FPixels;
    FTransparent = Other.FTransparent;
    FTransparentColor = Other.FTransparentColor;
    Changed();
    return *this;
}

void TBitmap::SetSize(int Width, int Height) {
    Width = std::max(0, Width);
    Height = std::max(0, Height);
    if (Width == FWidth && Height == FHeight) return;
    std::vector<uint32_t> pixels(static_cast<size_t>(Width) * static_cast<size_t>(Height), 0xFFFFFFFFu);
    for (int y = 0; y < std::min(Height, FHeight); ++y)
        std::copy_n(FPixels.begin() + static_cast<ptrdiff_t>(y) * FWidth, std::min(Width, FWidth),
                    pixels.begin() + static_cast<ptrdiff_t>(y) * Width);
    FPixels.swap(pixels);
    FWidth = Width;
    FHeight = Height;
    Changed();
}

TColor TBitmap::Pixel(int X, int Y) const {
    if (X < 0 || Y < 0 || X >= FWidth || Y >= FHeight) return clNone;
    return FromWord(FPixels[static_cast<size_t>(Y) * static_cast<size_t>(FWidth) + static_cast<size_t>(X)]);
}

void TBitmap::SetPixel(int X, int Y, TColor C) {
    if (X < 0 || Y < 0 || X >= FWidth || Y >= FHeight) return;
    FPixels[static_cast<size_t>(Y) * static_cast<size_t>(FWidth) + static_cast<size_t>(X)] = ToWord(C);
    Changed();
}

void TBitmap::Fill(const TRect& R, TColor C) {
    TRect r = IntersectRect(R, Bounds(0, 0, FWidth, FHeight));
    if (r.IsEmpty()) return;
    uint32_t w = ToWord(C);
    for (int y = r.Top; y < r.Bottom; ++y)
        std::fill_n(FPixels.begin() + static_cast<ptrdiff_t>(y) * FWidth + r.Left, r.Width(), w);
    Changed();
}

void TBitmap::SetTransparent(bool Value) {
    if (FTransparent == Value) return;
    FTransparent = Value;
    Changed();
}

void TBitmap::SetTransparentColor(TColor Value) {
    if (FTransparentColor == Value) return;
    FTransparentColor = Value;
    Changed();
}

TColor TBitmap::EffectiveTransparentColor() const {
    if (FTransparentColor != clDefault) return ColorToRGB(FTransparentColor);
    return Empty() ? clNone : Pixel(0, FHeight - 1);
}

void TBitmap::Changed() {
    ++FRevision;
    if (OnChange) OnChange(*this);
}

// ------------------------------------------------------------ image list

TChangeLink::~TChangeLink() {
    if (FSender) FSender->UnRegisterChanges(this);
}

TImageList::TImageList(int Width, int Height) : FWidth(std::max(1, Width)), FHeight(std::max(1, Height)) {}

TImageList::~TImageList() {
    for (TChangeLink* link : FLinks) link->FSender = nullptr;
}

void TImageList::SetSize(int Width, int Height) {
    Width = std::max(1, Width);
    Height = std::max(1, Height);
    if (Width == FWidth && Height == FHeight) return;
    FWidth = Width;
    FHeight = Height;
    FImages.clear();
    FGreyed.clear();
    Change();
}

TBitmap TImageList::Fit(const TBitmap& Source, int Left) const {
    TBitmap b(FWidth, FHeight, Source.Empty() ? clWhite : Source.Pixel(0, Source.Height() - 1));
    for (int y = 0; y < std::min(FHeight, Source.Height()); ++y)
        for (int x = 0; x < FWidth && Left + x < Source.Width(); ++x) b.SetPixel(x, y, Source.Pixel(Left + x, y));
    b.SetTransparent(Source.Transparent());
    b.SetTransparentColor(Source.TransparentColor());
    b.OnChange = nullptr;
    return b;
}

int TImageList::Add(const TBitmap& Image) {
    int first = Count();
    int n = std::max(1, Image.Width() / FWidth);
    for (int i = 0; i < n; ++i) FImages.push_back(Fit(Image, i * FWidth));
    FGreyed.resize(FImages.size());
    Change();
    return first;
}

int TImageList::AddMasked(const TBitmap& Image, TColor MaskColor) {
    TBitmap b(Image);
    b.SetTransparent(true);
    b.SetTransparentColor(MaskColor);
    return Add(b);
}

void TImageList::Check(int Index) const {
    if (Index < 0 || Index >= Count())
        throw EListError("Invalid image list index (" + std::to_string(Index) + ")");
}

void TImageList::Replace(int Index, const TBitmap& Image) {
    Check(Index);
    FImages[static_cast<size_t>(Index)] = Fit(Image, 0);
    FGreyed[static_cast<size_t>(Index)].reset();
    Change();
}

void TImageList::Delete(int Index) {
    Check(Index);
    FImages.erase(FImages.begin() + Index);
    FGreyed.erase(FGreyed.begin() + Index);
    Change();
}

void TImageList::Clear() {
    if (FImages.empty()) return;
    FImages.clear();
    FGreyed.clear();
    Change();
}

const TBitmap& TImageList::Image(int Index) const {
    Check(Index);
    return FImages[static_cast<size_t>(Index)];
}

void TImageList::Draw(TCanvas& Canvas, int X, int Y, int Index, bool Enabled) const {
    if (Index < 0 || Index >= Count()) return;
    const TBitmap& image = FImages[static_cast<size_t>(Index)];
    if (Enabled) {
        Canvas.Draw(X, Y, image);
        return;
    }
    auto& greyed = FGreyed[static_cast<size_t>(Index)];
    if (!greyed) {
        // Grey by luminance, lightened towards the button face.
        greyed = std::make_unique<TBitmap>(image);
        TColor skip = image.Transparent() ? image.EffectiveTransparentColor() : clNone;
        for (int y = 0; y < image.Height(); ++y)
            for (int x = 0; x < image.Width(); ++x) {
                TColor c = image.Pixel(x, y);
                if (c == skip) continue;
                int l = (GetRValue(c) * 30 + GetGValue(c) * 59 + GetBValue(c) * 11) / 100;
                l = 128 + l / 2;
                greyed->SetPixel(x, y, RGBColor(l, l, l));
            }
    }
    Canvas.Draw(X, Y, *greyed);
}

void TImageList::RegisterChanges(TChangeLink* Link) {
    if (!Link || Link->FSender == this) return;
    if (Link->FSender) Link->FSender->UnRegisterChanges(Link);
    Link->FSender = this;
    FLinks.push_back(Link);
}

void TImageList::UnRegisterChanges(TChangeLink* Link) {
    auto it = std::find(FLinks.begin(), FLinks.end(), Link);
    if (it == FLinks.end()) return;
    FLinks.erase(it);
    Link->FSender = nullptr;
}

void TImageList::Change() {
    if (OnChange) OnChange(*this);
    // A link's handler may unregister links: walk a copy and skip the gone.
    std::vector<TChangeLink*> links = FLinks;
    for (TChangeLink* link : links)
        if (std::find(FLinks.begin(), FLinks.end(), link) != FLinks.end() && link->OnChange) link->OnChange(*this);
}

}  // namespace ide
