// Mask text and colour identifiers.
#include "foundation/Conversions.h"

#include "foundation/TextCompare.h"

namespace ide {

// --- Masks -------------------------------------------------------------------

namespace {
bool IsInputChar(Char c) {
    switch (c) {
        case u'L': case u'l': case u'A': case u'a': case u'C': case u'c': case u'0': case u'9': case u'#':
            return true;
        default:
            return false;
    }
}
}  // namespace

String FormatMaskText(std::u16string_view editMask, std::u16string_view value) {
    // Split "mask;save;blank" at unescaped semicolons.
    std::u16string_view mask = editMask;
    bool saveLiterals = true;
    Char blank = u'_';
    for (size_t i = 0; i < editMask.size(); ++i) {
        if (editMask[i] == u'\\') { ++i; continue; }
        if (editMask[i] == u';') {
            mask = editMask.substr(0, i);
            std::u16string_view rest = editMask.substr(i + 1);
            size_t semi = rest.find(u';');
            std::u16string_view save = rest.substr(0, semi);
            if (!save.empty()) saveLiterals = save[0] != u'0';
            if (semi != std::u16string_view::npos && semi + 1 < rest.size()) blank = rest[semi + 1];
            break;
        }
    }
    const TFormatSettings& fs = FormatSettings();
    String out;
    size_t vi = 0;
    int caseMode = 0;  // 1 upper, -1 lower
    auto literal = [&](Char lit) {
        out.push_back(lit);
        if (saveLiterals && vi < value.size() && value[vi] == lit) ++vi;
    };
    for (size_t i = 0; i < mask.size(); ++i) {
        Char c = mask[i];
        if (c == u'>') {
            if (i + 1 < mask.size() && mask[i + 1] == u'<') { caseMode = 0; ++i; }
            else caseMode = 1;
        } else if (c == u'<') caseMode = -1;
        else if (c == u'!') continue;
        else if (c == u'\\') {
            if (i + 1 < mask.size()) literal(mask[++i]);
        } else if (IsInputChar(c)) {
            if (vi < value.size()) {
                Char v = value[vi++];
                out.push_back(caseMode > 0 ? UpCaseChar(v) : caseMode < 0 ? LowCaseChar(v) : v);
            } else out.push_back(blank);
        } else if (c == u':') literal(fs.TimeSeparator);
        else if (c == u'/') literal(fs.DateSeparator);
        else literal(c);
    }
    return out;
}

// --- Colours -----------------------------------------------------------------

namespace {
struct ColorIdent {
    TColor Value;
    const char16_t* Name;
};

constexpr TColor Sys(int i) { return static_cast<TColor>(0xFF000000u + static_cast<uint32_t>(i)); }

const ColorIdent kColors[] = {
    {0x000000, u"clBlack"}, {0x000080, u"clMaroon"}, {0x008000, u"clGreen"}, {0x008080, u"clOlive"},
    {0x800000, u"clNavy"}, {0x800080, u"clPurple"}, {0x808000, u"clTeal"}, {0x808080, u"clGray"},
    {0xC0C0C0, u"clSilver"}, {0x0000FF, u"clRed"}, {0x00FF00, u"clLime"}, {0x00FFFF, u"clYellow"},
    {0xFF0000, u"clBlue"}, {0xFF00FF, u"clFuchsia"}, {0xFFFF00, u"clAqua"}, {0xFFFFFF, u"clWhite"},
    {0xC0DCC0, u"clMoneyGreen"}, {0xF0CAA6, u"clSkyBlue"}, {0xF0FBFF, u"clCream"}, {0xA4A0A0, u"clMedGray"},
    {Sys(0), u"clScrollBar"}, {Sys(1), u"clBackground"}, {Sys(2), u"clActiveCaption"},
    {Sys(3), u"clInactiveCaption"}, {Sys(4), u"clMenu"}, {Sys(5), u"clWindow"}, {Sys(6), u"clWindowFrame"},
    {Sys(7), u"clMenuText"}, {Sys(8), u"clWindowText"}, {Sys(9), u"clCaptionText"},
    {Sys(10), u"clActiveBorder"}, {Sys(11), u"clInactiveBorder"}, {Sys(12), u"clAppWorkSpace"},
    {Sys(13), u"clHighlight"}, {Sys(14), u"clHighlightText"}, {Sys(15), u"clBtnFace"},
    {Sys(16), u"clBtnShadow"}, {Sys(17), u"clGrayText"}, {Sys(18), u"clBtnText"},
    {Sys(19), u"clInactiveCaptionText"}, {Sys(20), u"clBtnHighlight"}, {Sys(21), u"cl3DDkShadow"},
    {Sys(22), u"cl3DLight"}, {Sys(23), u"clInfoText"}, {Sys(24), u"clInfoBk"}, {Sys(26), u"clHotLight"},
    {Sys(27), u"clGradientActiveCaption"}, {Sys(28), u"clGradientInactiveCaption"},
    {Sys(29), u"clMenuHighlight"}, {Sys(30), u"clMenuBar"},
    {0x1FFFFFFF, u"clNone"}, {0x20000000, u"clDefault"},
};
}  // namespace

bool ColorToIdent(TColor color, String& ident) {
    for (const auto& c : kColors)
        if (c.Value == color) { ident = c.Name; return true; }
    return false;
}

bool IdentToColor(std::u16string_view ident, TColor& color) {
    for (const auto& c : kColors)
        if (SameText(ident, c.Name)) { color = c.Value; return true; }
    return false;
}

String ColorToString(TColor color) {
    String r;
    if (ColorToIdent(color, r)) return r;
    return u"$" + IntToHex(static_cast<uint32_t>(color), 8);
}

TColor StringToColor(std::u16string_view s) {
    TColor c;
    if (IdentToColor(s, c)) return c;
    return StrToInt(s);
}

}  // namespace ide
