#include "platform/LocaleFormat.h"

#include <QLocale>
#include <QString>

#include "foundation/Conversions.h"

namespace ide {

namespace {
String S(const QString& q) { return String(reinterpret_cast<const char16_t*>(q.utf16()), static_cast<size_t>(q.size())); }

Char FirstOr(const QString& q, Char def) { return q.isEmpty() ? def : Char(q.at(0).unicode()); }

bool IsAsciiLetter(Char c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

// Non-breaking and narrow spaces as plain spaces, for comparing currency texts.
String PlainSpaces(String s) {
    for (auto& c : s)
        if (c == 0x00A0 || c == 0x202F) c = u' ';
    return s;
}
}  // namespace

String TranslateQtDateTimeFormat(std::u16string_view f) {
    String out;
    for (size_t i = 0; i < f.size();) {
        Char c = f[i];
        size_t n = 1;
        while (i + n < f.size() && f[i + n] == c) ++n;
        if (c == u'\'') {
            // Qt: '' is a quote; 'text' is literal text.
            if (n >= 2 && n % 2 == 0) {
                for (size_t k = 0; k < n / 2; ++k) out += u"\"'\"";
                i += n;
                continue;
            }
            size_t j = i + 1;
            String lit;
            while (j < f.size()) {
                if (f[j] == u'\'') {
                    if (j + 1 < f.size() && f[j + 1] == u'\'') { lit.push_back(u'\''); j += 2; continue; }
                    break;
                }
                lit.push_back(f[j++]);
            }
            if (!lit.empty()) out += u"\"" + lit + u"\"";
            i = j + 1;
            continue;
        }
        switch (c) {
            case u'd': out += String(std::min<size_t>(n, 4), u'd'); break;
            case u'M': out += String(std::min<size_t>(n, 4), u'm'); break;
            case u'y': out += n >= 3 ? u"yyyy" : u"yy"; break;
            case u'h': case u'H': out += n >= 2 ? u"hh" : u"h"; break;
            case u'm': out += n >= 2 ? u"nn" : u"n"; break;
            case u's': out += n >= 2 ? u"ss" : u"s"; break;
            case u'z': out += n >= 3 ? u"zzz" : u"z"; break;
            case u'A': case u'a':
                if (i + 1 < f.size() && (f[i + 1] == u'P' || f[i + 1] == u'p')) { out += u"ampm"; i += 2; continue; }
                out += u"ampm";
                break;
            case u't': break;  // time zone: the run-time has none
            default:
                if (IsAsciiLetter(c)) out += u"\"" + String(n, c) + u"\"";
                else out += String(n, c);
        }
        i += n;
    }
    // Drop white space left at the end by a removed time zone.
    while (!out.empty() && out.back() == u' ') out.pop_back();
    return out;
}

TFormatSettings FormatSettingsFromLocale(const QLocale& loc) {
    TFormatSettings fs = DefaultFormatSettings();
    fs.DecimalSeparator = FirstOr(loc.decimalPoint(), u'.');
    fs.ThousandSeparator = FirstOr(loc.groupSeparator(), u',');
    fs.CurrencyString = S(loc.currencySymbol());
    const QString shortDate = loc.dateFormat(QLocale::ShortFormat);
    for (QChar qc : shortDate)
        if (!qc.isLetter()) { fs.DateSeparator = Char(qc.unicode()); break; }
    for (QChar qc : loc.timeFormat(QLocale::ShortFormat))
        if (!qc.isLetter() && qc != QLatin1Char(' ')) { fs.TimeSeparator = Char(qc.unicode()); break; }
    auto withSeparators = [&](String f) {
        // The locale's own separators become the run-time's "/" and ":".
        String r;
        bool quoted = false;
        for (Char c : f) {
            if (c == u'"') quoted = !quoted;
            if (!quoted && c == fs.DateSeparator) r.push_back(u'/');
            else if (!quoted && c == fs.TimeSeparator) r.push_back(u':');
            else r.push_back(c);
        }
        return r;
    };
    fs.ShortDateFormat = withSeparators(TranslateQtDateTimeFormat(S(shortDate)));
    fs.LongDateFormat = TranslateQtDateTimeFormat(S(loc.dateFormat(QLocale::LongFormat)));
    fs.ShortTimeFormat = withSeparators(TranslateQtDateTimeFormat(S(loc.timeFormat(QLocale::ShortFormat))));
    fs.LongTimeFormat = withSeparators(TranslateQtDateTimeFormat(S(loc.timeFormat(QLocale::LongFormat))));
    fs.TimeAMString = S(loc.amText());
    fs.TimePMString = S(loc.pmText());
    for (int m = 1; m <= 12; ++m) {
        fs.ShortMonthNames[static_cast<size_t>(m - 1)] = S(loc.monthName(m, QLocale::ShortFormat));
        fs.LongMonthNames[static_cast<size_t>(m - 1)] = S(loc.monthName(m, QLocale::LongFormat));
    }
    for (int d = 0; d < 7; ++d) {
        int qtDay = d == 0 ? 7 : d;  // Qt counts from Monday
        fs.ShortDayNames[static_cast<size_t>(d)] = S(loc.dayName(qtDay, QLocale::ShortFormat));
        fs.LongDayNames[static_cast<size_t>(d)] = S(loc.dayName(qtDay, QLocale::LongFormat));
    }
    // Currency layout: pick the run-time layout that prints what Qt prints.
    fs.CurrencyDecimals = 2;
    const String pos = PlainSpaces(S(loc.toCurrencyString(1234.5, loc.currencySymbol(), 2)));
    const String neg = PlainSpaces(S(loc.toCurrencyString(-1234.5, loc.currencySymbol(), 2)));
    TFormatSettings probe = fs;
    for (uint8_t k = 0; k < 4; ++k) {
        probe.CurrencyFormat = k;
        if (PlainSpaces(FloatToStrF(1234.5, ffCurrency, 15, 2, probe)) == pos) { fs.CurrencyFormat = k; break; }
    }
    for (uint8_t k = 0; k < 16; ++k) {
        probe.NegCurrFormat = k;
        if (PlainSpaces(FloatToStrF(-1234.5, ffCurrency, 15, 2, probe)) == neg) { fs.NegCurrFormat = k; break; }
    }
    return fs;
}

void LoadSystemFormatSettings() { FormatSettings() = FormatSettingsFromLocale(QLocale::system()); }

}  // namespace ide
