// Integer and float conversions, float styles and float format strings.
#include "foundation/Conversions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "foundation/TextCompare.h"

namespace ide {

namespace {

[[noreturn]] void ConvertError(const char* fmt, std::u16string_view s) {
    std::string text = Utf8(s);
    if (text.size() > 200) text = text.substr(0, 200) + "...";
    char buf[320];
    std::snprintf(buf, sizeof buf, fmt, text.c_str());
    throw EConvertError(buf);
}

// The digits of a value rounded to Precision significant digits: value =
// 0.Digits * 10^Exp. Digits has no trailing zeros; zero has no digits.
struct Decimal {
    bool Neg = false;
    std::string Digits;
    int Exp = 0;
};

// Keeps the digits up to Exp + Decimals (rounding half up on the digits).
void RoundToDecimals(Decimal& d, int decimals) {
    long keep = static_cast<long>(d.Exp) + decimals;
    if (keep >= static_cast<long>(d.Digits.size())) return;
    if (keep < 0) { d.Digits.clear(); d.Exp = 0; return; }
    bool up = d.Digits[static_cast<size_t>(keep)] >= '5';
    d.Digits.resize(static_cast<size_t>(keep));
    if (up) {
        long i = keep - 1;
        while (i >= 0 && d.Digits[static_cast<size_t>(i)] == '9') d.Digits[static_cast<size_t>(i--)] = '0';
        if (i < 0) { d.Digits.insert(d.Digits.begin(), '1'); d.Exp++; }
        else d.Digits[static_cast<size_t>(i)]++;
    }
    while (!d.Digits.empty() && d.Digits.back() == '0') d.Digits.pop_back();
    if (d.Digits.empty()) d.Exp = 0;
}

Decimal ToDecimal(double v, int precision) {
    Decimal d;
    d.Neg = std::signbit(v) && v != 0;
    v = std::fabs(v);
    if (v == 0) return d;
    if (precision < 1) precision = 1;
    if (precision > 17) precision = 17;
    // All 17 significant digits first, then rounding half away from zero on
    // the decimal digits, so 1234.5 to four digits is 1235 (printf would
    // round the exact half to even).
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.16e", v);
    std::string s(buf);
    auto e = s.find('e');
    int exp10 = std::atoi(s.c_str() + e + 1);
    for (size_t i = 0; i < e; ++i)
        if (s[i] != '.') d.Digits.push_back(s[i]);
    d.Exp = exp10 + 1;
    while (!d.Digits.empty() && d.Digits.back() == '0') d.Digits.pop_back();
    RoundToDecimals(d, precision - d.Exp);
    return d;
}

String Ascii(const std::string& s) { return String(s.begin(), s.end()); }

// Integer part of a decimal as text (at least "0").
std::string IntPart(const Decimal& d) {
    std::string r;
    for (int i = 0; i < d.Exp; ++i) r.push_back(i < static_cast<int>(d.Digits.size()) ? d.Digits[static_cast<size_t>(i)] : '0');
    return r.empty() ? "0" : r;
}

std::string FracPart(const Decimal& d) {
    std::string r;
    for (int i = d.Exp; i < static_cast<int>(d.Digits.size()); ++i)
        r.push_back(i < 0 ? '0' : d.Digits[static_cast<size_t>(i)]);
    return r;
}

String Group(const std::string& intPart, Char sep) {
    String r;
    for (size_t i = 0; i < intPart.size(); ++i) {
        r.push_back(Char(intPart[i]));
        size_t rest = intPart.size() - i - 1;
        if (rest > 0 && rest % 3 == 0 && sep) r.push_back(sep);
    }
    return r;
}

String ExponentText(int e, int digits, bool plusSign) {
    String r;
    if (e < 0) r.push_back(u'-');
    else if (plusSign) r.push_back(u'+');
    std::string n = std::to_string(std::abs(e));
    while (static_cast<int>(n.size()) < digits) n.insert(n.begin(), '0');
    return r + Ascii(n);
}

String Scientific(const Decimal& d, int precision, int digits, bool plusSign, Char dec) {
    std::string ds = d.Digits.empty() ? "0" : d.Digits;
    String r;
    r.push_back(Char(ds[0]));
    std::string frac = ds.substr(1);
    if (precision > 0) {  // fixed number of mantissa digits
        while (static_cast<int>(frac.size()) < precision - 1) frac.push_back('0');
    }
    if (!frac.empty()) { r.push_back(dec); r += Ascii(frac); }
    r.push_back(u'E');
    r += ExponentText(d.Digits.empty() ? 0 : d.Exp - 1, digits, plusSign);
    return r;
}

String SpecialValue(double v) {
    if (std::isnan(v)) return u"NAN";
    return v < 0 ? u"-INF" : u"INF";
}

String CurrencyLayout(const String& num, bool neg, const TFormatSettings& fs) {
    const String& c = fs.CurrencyString;
    if (!neg) {
        switch (fs.CurrencyFormat) {
            case 1: return num + c;
            case 2: return c + u" " + num;
            case 3: return num + u" " + c;
            default: return c + num;
        }
    }
    switch (fs.NegCurrFormat) {
        case 1: return u"-" + c + num;
        case 2: return c + u"-" + num;
        case 3: return c + num + u"-";
        case 4: return u"(" + num + c + u")";
        case 5: return u"-" + num + c;
        case 6: return num + u"-" + c;
        case 7: return num + c + u"-";
        case 8: return u"-" + num + u" " + c;
        case 9: return u"-" + c + u" " + num;
        case 10: return num + u" " + c + u"-";
        case 11: return c + u" " + num + u"-";
        case 12: return c + u" -" + num;
        case 13: return num + u"- " + c;
        case 14: return u"(" + c + u" " + num + u")";
        case 15: return u"(" + num + u" " + c + u")";
        default: return u"(" + c + num + u")";
    }
}

bool ParseInt64(std::u16string_view s, int64_t& out, bool* hex = nullptr) {
    size_t i = 0;
    while (i < s.size() && s[i] <= u' ') ++i;
    bool neg = false;
    if (i < s.size() && (s[i] == u'-' || s[i] == u'+')) { neg = s[i] == u'-'; ++i; }
    int base = 10;
    if (i < s.size() && s[i] == u'$') { base = 16; ++i; }
    else if (i + 1 < s.size() && s[i] == u'0' && (s[i + 1] == u'x' || s[i + 1] == u'X')) { base = 16; i += 2; }
    if (i >= s.size()) return false;
    uint64_t v = 0;
    const uint64_t limit = base == 16 ? std::numeric_limits<uint64_t>::max() : uint64_t(1) << 63;
    // v * base + dig <= limit, without a division per digit.
    const uint64_t maxBeforeDigit = base == 16 ? limit / 16 : limit / 10;
    for (; i < s.size(); ++i) {
        Char c = s[i];
        uint64_t dig;
        if (c >= u'0' && c <= u'9') dig = c - u'0';
        else if (base == 16 && c >= u'a' && c <= u'f') dig = c - u'a' + 10u;
        else if (base == 16 && c >= u'A' && c <= u'F') dig = c - u'A' + 10u;
        else return false;
        if (v > maxBeforeDigit) return false;
        v *= static_cast<uint64_t>(base);
        if (v > limit - dig) return false;
        v += dig;
    }
    if (base == 10 && !neg && v > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return false;
    out = neg ? static_cast<int64_t>(0 - v) : static_cast<int64_t>(v);
    if (hex) *hex = base == 16;
    return true;
}

}  // namespace

// --- Integers ----------------------------------------------------------------

bool TryStrToInt64(std::u16string_view s, int64_t& value) { return ParseInt64(s, value); }

bool TryStrToInt(std::u16string_view s, int32_t& value) {
    int64_t v;
    bool hex = false;
    if (!ParseInt64(s, v, &hex)) return false;
    // Hexadecimal text covers the unsigned range too ($FFFFFFFF is -1).
    if (hex && v >= 0 && v <= 0xFFFFFFFFll) { value = static_cast<int32_t>(static_cast<uint32_t>(v)); return true; }
    if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max()) return false;
    value = static_cast<int32_t>(v);
    return true;
}

int32_t StrToInt(std::u16string_view s) {
    int32_t v;
    if (!TryStrToInt(s, v)) ConvertError("'%s' is not a valid integer value", s);
    return v;
}

int64_t StrToInt64(std::u16string_view s) {
    int64_t v;
    if (!TryStrToInt64(s, v)) ConvertError("'%s' is not a valid integer value", s);
    return v;
}

int32_t StrToIntDef(std::u16string_view s, int32_t def) {
    int32_t v;
    return TryStrToInt(s, v) ? v : def;
}

String IntToStr(int64_t value) { return Ascii(std::to_string(value)); }

String IntToHex(int64_t value, int digits) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%0*llX", std::clamp(digits, 0, 16), static_cast<unsigned long long>(value));
    return Ascii(buf);
}

// --- Floats ------------------------------------------------------------------

bool TryStrToFloat(std::u16string_view s, double& value, const TFormatSettings& fs) {
    String t = Trim(s);
    if (t.empty() || t.size() > 400) return false;
    std::string a;
    a.reserve(t.size());
    size_t i = 0;
    if (t[i] == u'+' || t[i] == u'-') a.push_back(char(t[i++]));
    bool digits = false, point = false;
    for (; i < t.size(); ++i) {
        Char c = t[i];
        if (c >= u'0' && c <= u'9') { a.push_back(char(c)); digits = true; }
        else if (c == fs.DecimalSeparator && !point) { a.push_back('.'); point = true; }
        else break;
    }
    if (!digits) return false;
    if (i < t.size() && (t[i] == u'e' || t[i] == u'E')) {
        a.push_back('e');
        ++i;
        if (i < t.size() && (t[i] == u'+' || t[i] == u'-')) a.push_back(char(t[i++]));
        bool expDigits = false;
        for (; i < t.size() && t[i] >= u'0' && t[i] <= u'9'; ++i) { a.push_back(char(t[i])); expDigits = true; }
        if (!expDigits) return false;
    }
    if (i != t.size()) return false;
    const char* b = a.c_str();
    if (*b == '+') ++b;
    auto r = std::from_chars(b, a.c_str() + a.size(), value);
    if (r.ec == std::errc::result_out_of_range) {
        // Underflow reads as zero; overflow is refused.
        std::string m(b);
        auto e = m.find('e');
        if (e != std::string::npos && m.find('-', e) != std::string::npos) { value = 0; return true; }
        return false;
    }
    return r.ec == std::errc() && r.ptr == a.c_str() + a.size();
}

bool TryStrToFloat(std::u16string_view s, double& value) { return TryStrToFloat(s, value, FormatSettings()); }

double StrToFloat(std::u16string_view s, const TFormatSettings& fs) {
    double v;
    if (!TryStrToFloat(s, v, fs)) ConvertError("'%s' is not a valid floating point value", s);
    return v;
}

double StrToFloat(std::u16string_view s) { return StrToFloat(s, FormatSettings()); }

String FloatToStrF(double v, TFloatFormat format, int precision, int digits, const TFormatSettings& fs) {
    if (!std::isfinite(v)) return SpecialValue(v);
    precision = std::clamp(precision, 1, 17);
    digits = std::clamp(digits, 0, 18);
    Decimal d = ToDecimal(v, precision);
    const Char dec = fs.DecimalSeparator;
    switch (format) {
        case ffExponent: {
            String r = d.Neg ? u"-" : u"";
            return r + Scientific(d, precision, std::min(digits, 4), true, dec);
        }
        case ffGeneral: {
            if (d.Digits.empty()) return u"0";
            String r = d.Neg ? u"-" : u"";
            if (d.Exp > precision || d.Exp < -4) return r + Scientific(d, 0, std::min(digits, 4), false, dec);
            r += Ascii(IntPart(d));
            std::string frac = FracPart(d);
            if (!frac.empty()) { r.push_back(dec); r += Ascii(frac); }
            return r;
        }
        case ffFixed:
        case ffNumber:
        case ffCurrency: {
            if (d.Exp > precision && format != ffCurrency) {
                String r = d.Neg ? u"-" : u"";
                return r + Scientific(d, 0, 0, false, dec);
            }
            RoundToDecimals(d, digits);
            std::string ip = IntPart(d), fp = FracPart(d);
            while (static_cast<int>(fp.size()) < digits) fp.push_back('0');
            String num = format == ffFixed ? Ascii(ip) : Group(ip, fs.ThousandSeparator);
            if (digits > 0) { num.push_back(dec); num += Ascii(fp); }
            bool neg = d.Neg && !d.Digits.empty();
            if (format == ffCurrency) return CurrencyLayout(num, neg, fs);
            return neg ? u"-" + num : num;
        }
    }
    return String();
}

String FloatToStrF(double v, TFloatFormat format, int precision, int digits) {
    return FloatToStrF(v, format, precision, digits, FormatSettings());
}

String FloatToStr(double v, const TFormatSettings& fs) { return FloatToStrF(v, ffGeneral, 15, 0, fs); }
String FloatToStr(double v) { return FloatToStr(v, FormatSettings()); }

// --- Float format strings ----------------------------------------------------

namespace {

struct Section {
    std::u16string_view Text;
    int IntPlaces = 0;      // digit placeholders before the point
    int MinInt = 0;         // from the first '0' before the point
    int MinDec = 0, MaxDec = 0;
    bool Point = false, Thousands = false, Sci = false;
    int ExpDigits = 0;
};

Section Analyse(std::u16string_view f) {
    Section s;
    s.Text = f;
    bool afterPoint = false, seenZero = false;
    for (size_t i = 0; i < f.size(); ++i) {
        Char c = f[i];
        if (c == u'\'' || c == u'"') {
            size_t j = f.find(c, i + 1);
            i = j == std::u16string_view::npos ? f.size() : j;
            continue;
        }
        if (s.Sci) continue;
        if (c == u'0' || c == u'#') {
            if (afterPoint) { s.MaxDec++; if (c == u'0') s.MinDec = s.MaxDec; }
            else { s.IntPlaces++; if (c == u'0') seenZero = true; if (seenZero) s.MinInt++; }
        } else if (c == u'.' && !afterPoint) { afterPoint = true; s.Point = true; }
        else if (c == u',' && !afterPoint) s.Thousands = true;
        else if ((c == u'E' || c == u'e') && i + 1 < f.size() && (f[i + 1] == u'+' || f[i + 1] == u'-')) {
            size_t j = i + 2;
            while (j < f.size() && f[j] == u'0') ++j;
            s.ExpDigits = static_cast<int>(std::min<size_t>(j - i - 2, 4));
            s.Sci = true;
        }
    }
    return s;
}

std::vector<std::u16string_view> SplitSections(std::u16string_view f) {
    std::vector<std::u16string_view> r;
    size_t start = 0;
    for (size_t i = 0; i < f.size(); ++i) {
        Char c = f[i];
        if (c == u'\'' || c == u'"') {
            size_t j = f.find(c, i + 1);
            i = j == std::u16string_view::npos ? f.size() - 1 : j;
        } else if (c == u';' && r.size() < 2) {
            r.push_back(f.substr(start, i - start));
            start = i + 1;
        }
    }
    r.push_back(f.substr(start));
    return r;
}

String Render(const Section& s, double av, bool minus, const TFormatSettings& fs) {
    std::string ip, fp;
    int exponent = 0;
    if (s.Sci) {
        int places = std::max(s.IntPlaces, 1);
        Decimal d = ToDecimal(av, std::min(places + s.MaxDec, 17));
        if (!d.Digits.empty()) exponent = d.Exp - places;
        d.Exp = d.Digits.empty() ? 0 : places;
        RoundToDecimals(d, s.MaxDec);
        ip = IntPart(d);
        fp = FracPart(d);
    } else {
        Decimal d = ToDecimal(av, 17);
        RoundToDecimals(d, std::min(s.MaxDec, 18));
        ip = IntPart(d);
        fp = FracPart(d);
    }
    if (ip == "0") ip.clear();
    while (static_cast<int>(ip.size()) < s.MinInt) ip.insert(ip.begin(), '0');
    while (static_cast<int>(fp.size()) < s.MinDec) fp.push_back('0');
    if (static_cast<int>(fp.size()) > s.MaxDec) fp.resize(static_cast<size_t>(s.MaxDec));

    String out;
    int intSeen = 0;
    size_t fracPos = 0;
    bool afterPoint = false, signDone = !minus, sciDone = false;
    const int lead = static_cast<int>(ip.size()) - s.IntPlaces;  // digits beyond the placeholders
    auto emitInt = [&](int digitIndex) {
        if (digitIndex < 0) return;
        out.push_back(Char(ip[static_cast<size_t>(digitIndex)]));
        int rest = static_cast<int>(ip.size()) - digitIndex - 1;
        if (s.Thousands && rest > 0 && rest % 3 == 0) out.push_back(fs.ThousandSeparator);
    };
    const std::u16string_view f = s.Text;
    for (size_t i = 0; i < f.size(); ++i) {
        Char c = f[i];
        if (c == u'\'' || c == u'"') {
            size_t j = f.find(c, i + 1);
            size_t end = j == std::u16string_view::npos ? f.size() : j;
            out.append(f.substr(i + 1, end - i - 1));
            i = end;
            continue;
        }
        if (sciDone) { out.push_back(c); continue; }
        if ((c == u'0' || c == u'#') && !afterPoint) {
            if (!signDone) { out.push_back(u'-'); signDone = true; }
            if (intSeen == 0)
                for (int k = 0; k < lead; ++k) emitInt(k);
            emitInt(intSeen + lead);
            intSeen++;
        } else if ((c == u'0' || c == u'#') && afterPoint) {
            if (fracPos < fp.size()) out.push_back(Char(fp[fracPos]));
            fracPos++;
        } else if (c == u'.' && !afterPoint) {
            if (!signDone) { out.push_back(u'-'); signDone = true; }
            if (s.IntPlaces == 0)
                for (int k = 0; k < static_cast<int>(ip.size()); ++k) emitInt(k);
            afterPoint = true;
            if (!fp.empty()) out.push_back(fs.DecimalSeparator);
        } else if (c == u',') {
            // thousands flag only
        } else if ((c == u'E' || c == u'e') && s.Sci && i + 1 < f.size() && (f[i + 1] == u'+' || f[i + 1] == u'-')) {
            out.push_back(c);
            out += ExponentText(exponent, s.ExpDigits, f[i + 1] == u'+');
            i += 1;
            while (i + 1 < f.size() && f[i + 1] == u'0') ++i;
            sciDone = true;
        } else {
            out.push_back(c);
        }
    }
    if (!signDone) out.insert(out.begin(), u'-');
    return out;
}

}  // namespace

String FormatFloat(std::u16string_view format, double v, const TFormatSettings& fs) {
    if (!std::isfinite(v)) return SpecialValue(v);
    if (format.empty()) return FloatToStr(v, fs);
    auto sections = SplitSections(format);
    Section s = Analyse(sections[0]);
    bool minus = v < 0;
    if (v < 0 && sections.size() >= 2 && !sections[1].empty()) { s = Analyse(sections[1]); minus = false; }
    else if (v == 0 && sections.size() >= 3 && !sections[2].empty()) s = Analyse(sections[2]);
    if (s.IntPlaces == 0 && s.MaxDec == 0 && !s.Point && !s.Sci) {
        // A section without placeholders is copied as it stands.
        String out;
        for (size_t i = 0; i < s.Text.size(); ++i) {
            Char c = s.Text[i];
            if (c == u'\'' || c == u'"') {
                size_t j = s.Text.find(c, i + 1);
                size_t end = j == std::u16string_view::npos ? s.Text.size() : j;
                out.append(s.Text.substr(i + 1, end - i - 1));
                i = end;
            } else out.push_back(c);
        }
        return out;
    }
    // A negative value that rounds to zero shows no sign.
    if (minus) {
        Decimal probe = ToDecimal(std::fabs(v), 17);
        if (!s.Sci) RoundToDecimals(probe, std::min(s.MaxDec, 18));
        if (probe.Digits.empty()) minus = false;
    }
    return Render(s, std::fabs(v), minus, fs);
}

String FormatFloat(std::u16string_view format, double v) { return FormatFloat(format, v, FormatSettings()); }

}  // namespace ide
