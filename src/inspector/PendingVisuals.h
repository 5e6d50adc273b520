// Stand-in for the colour, font-style and rectangle types of the visual
// basics, which are not on main yet; replaced by them when they land.
#pragma once
#include <cstdint>
namespace ide {
using TColor = int32_t;
constexpr TColor clSystemColor = static_cast<TColor>(0xFF000000u);
constexpr TColor clActiveBorder = clSystemColor | 10;
constexpr TColor clHighlight = clSystemColor | 13;
constexpr TColor clHighlightText = clSystemColor | 14;
constexpr TColor clWindow = clSystemColor | 5;
constexpr TColor clWindowText = clSystemColor | 8;
constexpr TColor clBtnFace = clSystemColor | 15;
constexpr TColor clBtnText = clSystemColor | 18;
constexpr TColor clGrayText = clSystemColor | 17;
constexpr TColor clBtnHighlight = clSystemColor | 20;
enum TFontStyle : uint8_t { fsBold, fsItalic, fsUnderline, fsStrikeOut };
using TFontStyles = uint8_t;
}
namespace ide {
struct TRect {
    int Left = 0, Top = 0, Right = 0, Bottom = 0;
    int Width() const { return Right - Left; }
    int Height() const { return Bottom - Top; }
    friend bool operator==(const TRect&, const TRect&) = default;
};
inline TRect Rect(int L, int T, int R, int B) { return {L, T, R, B}; }
}
