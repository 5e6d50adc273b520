#include "foundation/TextCompare.h"

namespace ide {

Char UpCaseChar(Char c) { return WideUpperChar(c); }
Char LowCaseChar(Char c) { return WideLowerChar(c); }

String AnsiUpperCase(std::u16string_view s) {
    String r(s);
    for (auto& c : r) c = UpCaseChar(c);
    return r;
}

String AnsiLowerCase(std::u16string_view s) {
    String r(s);
    for (auto& c : r) c = LowCaseChar(c);
    return r;
}

int AnsiCompareText(std::u16string_view a, std::u16string_view b) {
    size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        Char x = WideLowerChar(a[i]), y = WideLowerChar(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int AnsiCompareStr(std::u16string_view a, std::u16string_view b) {
    int r = a.compare(b);
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

int AnsiCompareFileName(std::u16string_view a, std::u16string_view b) { return AnsiCompareStr(a, b); }

static Char AsciiUp(Char c) { return (c >= u'a' && c <= u'z') ? Char(c - 32) : c; }

int CompareText(std::u16string_view a, std::u16string_view b) {
    size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        Char x = AsciiUp(a[i]), y = AsciiUp(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

bool SameText(std::u16string_view a, std::u16string_view b) { return a.size() == b.size() && CompareText(a, b) == 0; }

String UpperCase(std::u16string_view s) {
    String r(s);
    for (auto& c : r) c = AsciiUp(c);
    return r;
}

String LowerCase(std::u16string_view s) {
    String r(s);
    for (auto& c : r)
        if (c >= u'A' && c <= u'Z') c = Char(c + 32);
    return r;
}

String Trim(std::u16string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && s[b] <= u' ') ++b;
    while (e > b && s[e - 1] <= u' ') --e;
    return String(s.substr(b, e - b));
}

String TrimLeft(std::u16string_view s) {
    size_t i = 0;
    while (i < s.size() && s[i] <= u' ') ++i;
    return String(s.substr(i));
}

String TrimRight(std::u16string_view s) {
    size_t n = s.size();
    while (n > 0 && s[n - 1] <= u' ') --n;
    return String(s.substr(0, n));
}

size_t HashFolded(std::u16string_view s) {
    size_t h = 1469598103934665603ull;
    for (Char c : s) {
        // ASCII, the common case of names, folds here without a call.
        const Char f = c < 0x80 ? ((c >= u'A' && c <= u'Z') ? Char(c + 32) : c) : WideLowerChar(c);
        h = (h ^ f) * 1099511628211ull;
    }
    return h;
}

}  // namespace ide
