// Dates and times: encoding, decoding, format strings and parsing.
#include "foundation/Conversions.h"

#include <cmath>
#include <cstdio>
#include <ctime>

#include "foundation/TextCompare.h"

namespace ide {

namespace {

constexpr int64_t MSecsPerDay = 86400000;
constexpr int64_t DateDelta = 693594;  // days from 0001-01-01 to 1899-12-30

int DaysInMonth(int y, int m) {
    static const int t[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return (m == 2 && IsLeapYear(y)) ? 29 : t[m - 1];
}

// Whole days and milliseconds of the day, rounded once so that the date and
// the time of one value always agree.
void Split(TDateTime dt, int64_t& days, int64_t& ms) {
    if (!std::isfinite(dt) || std::fabs(dt) > 2958466.0) { days = 0; ms = 0; return; }
    double whole = std::trunc(dt);
    days = static_cast<int64_t>(whole);
    ms = std::llround(std::fabs(dt - whole) * MSecsPerDay);
    if (ms >= MSecsPerDay) { ms -= MSecsPerDay; days += dt < 0 ? -1 : 1; }
}

void CivilFromDays(int64_t days, int& y, int& m, int& d) {
    // days since 1899-12-30 -> days since 1970-01-01, then the civil calendar.
    int64_t z = days - 25569 + 719468;
    int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    int64_t doe = z - era * 146097;
    int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    int64_t yy = yoe + era * 400;
    int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    int64_t mp = (5 * doy + 2) / 153;
    d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    y = static_cast<int>(yy + (m <= 2 ? 1 : 0));
}

String Num(int v, int width) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%0*d", width, v);
    return String(buf, buf + std::char_traits<char>::length(buf));
}

int CurrentYear() {
    std::time_t t = std::time(nullptr);
    std::tm tmv{};
    localtime_r(&t, &tmv);
    return tmv.tm_year + 1900;
}

class Formatter {
public:
    Formatter(const TFormatSettings& fs, TDateTime v) : FS(fs), V(v) {
        Split(v, Days, Ms);
        CivilFromDays(Days, Y, Mo, D);
        int64_t t = Ms;
        H = static_cast<int>(t / 3600000);
        N = static_cast<int>(t / 60000 % 60);
        S = static_cast<int>(t / 1000 % 60);
        Z = static_cast<int>(t % 1000);
    }

    void Run(std::u16string_view f, int depth) {
        if (depth > 2 || Out.size() > 65536) return;
        bool ampm = HasAmPm(f);
        bool lastWasHour = false;
        for (size_t i = 0; i < f.size() && Out.size() <= 65536;) {
            Char c = f[i];
            Char u = UpCaseChar(c);
            size_t n = Count(f, i, c);
            if (c == u'\'' || c == u'"') {
                size_t j = f.find(c, i + 1);
                size_t end = j == std::u16string_view::npos ? f.size() : j;
                Out.append(f.substr(i + 1, end - i - 1));
                i = end + 1;
                continue;
            }
            switch (u) {
                case u'Y':
                    Out += n <= 2 ? Num(Y % 100, 2) : Num(Y, 4);
                    break;
                case u'M':
                    if (lastWasHour) Out += Num(N, n >= 2 ? 2 : 1);
                    else if (n == 1) Out += Num(Mo, 1);
                    else if (n == 2) Out += Num(Mo, 2);
                    else if (n == 3) Out += FS.ShortMonthNames[static_cast<size_t>(Mo - 1)];
                    else Out += FS.LongMonthNames[static_cast<size_t>(Mo - 1)];
                    break;
                case u'D':
                    if (n <= 2) Out += Num(D, static_cast<int>(n));
                    else if (n == 3) Out += FS.ShortDayNames[static_cast<size_t>(DayOfWeek(V) - 1)];
                    else if (n == 4) Out += FS.LongDayNames[static_cast<size_t>(DayOfWeek(V) - 1)];
                    else if (n == 5) Run(FS.ShortDateFormat, depth + 1);
                    else Run(FS.LongDateFormat, depth + 1);
                    break;
                case u'H': {
                    int h = H;
                    if (ampm) { h %= 12; if (h == 0) h = 12; }
                    Out += Num(h, n >= 2 ? 2 : 1);
                    break;
                }
                case u'N': Out += Num(N, n >= 2 ? 2 : 1); break;
                case u'S': Out += Num(S, n >= 2 ? 2 : 1); break;
                case u'Z': Out += n >= 3 ? Num(Z, 3) : Num(Z, 1); break;
                case u'T':
                    Run(n == 1 ? FS.ShortTimeFormat : FS.LongTimeFormat, depth + 1);
                    break;
                case u'C':
                    Run(FS.ShortDateFormat, depth + 1);
                    if (Ms != 0) { Out.push_back(u' '); Run(FS.LongTimeFormat, depth + 1); }
                    n = 1;
                    break;
                case u'A': {
                    size_t used = AmPm(f, i);
                    if (used) { i += used; lastWasHour = false; continue; }
                    Out.push_back(c);
                    n = 1;
                    break;
                }
                case u'/': Out.push_back(FS.DateSeparator); n = 1; break;
                case u':': Out.push_back(FS.TimeSeparator); n = 1; break;
                default: Out.append(f.substr(i, n)); break;
            }
            if (u == u'H') lastWasHour = true;
            else if (u != u' ' && u != u':' && u != u'/' && u != u'.') lastWasHour = false;
            i += n;
        }
    }

    String Out;

private:
    static size_t Count(std::u16string_view f, size_t i, Char c) {
        size_t j = i;
        Char u = UpCaseChar(c);
        while (j < f.size() && UpCaseChar(f[j]) == u) ++j;
        return j - i;
    }

    static bool Starts(std::u16string_view f, size_t i, std::u16string_view w) {
        return f.size() - i >= w.size() && SameText(f.substr(i, w.size()), w);
    }

    static bool HasAmPm(std::u16string_view f) {
        for (size_t i = 0; i < f.size(); ++i)
            if (Starts(f, i, u"am/pm") || Starts(f, i, u"a/p") || Starts(f, i, u"ampm")) return true;
        return false;
    }

    size_t AmPm(std::u16string_view f, size_t i) {
        bool pm = H >= 12;
        if (Starts(f, i, u"am/pm")) {
            String w(f.substr(pm ? i + 3 : i, 2));
            Out += w;
            return 5;
        }
        if (Starts(f, i, u"a/p")) {
            Out.push_back(f[pm ? i + 2 : i]);
            return 3;
        }
        if (Starts(f, i, u"ampm")) {
            Out += pm ? FS.TimePMString : FS.TimeAMString;
            return 4;
        }
        return 0;
    }

    const TFormatSettings& FS;
    TDateTime V;
    int64_t Days = 0, Ms = 0;
    int Y = 0, Mo = 0, D = 0, H = 0, N = 0, S = 0, Z = 0;
};

// Reads an unsigned number of at most 9 digits; answers the digit count.
size_t ReadNumber(std::u16string_view s, size_t& i, int& value) {
    size_t start = i;
    value = 0;
    while (i < s.size() && s[i] >= u'0' && s[i] <= u'9' && i - start < 9) value = value * 10 + (s[i++] - u'0');
    return i - start;
}

void SkipBlanks(std::u16string_view s, size_t& i) {
    while (i < s.size() && s[i] == u' ') ++i;
}

enum class DateOrder { MDY, DMY, YMD };

DateOrder OrderOf(std::u16string_view f) {
    for (Char c : f) {
        Char u = UpCaseChar(c);
        if (u == u'Y') return DateOrder::YMD;
        if (u == u'M') return DateOrder::MDY;
        if (u == u'D') return DateOrder::DMY;
    }
    return DateOrder::YMD;
}

int ExpandYear(int y, size_t digits, const TFormatSettings& fs) {
    if (digits > 2) return y;
    int now = CurrentYear();
    int century = now - now % 100;
    if (fs.TwoDigitYearCenturyWindow <= 0) return century + y;
    int threshold = now - fs.TwoDigitYearCenturyWindow;
    int candidate = century + y;
    if (candidate < threshold) candidate += 100;
    else if (candidate > threshold + 100 - 1) candidate -= 100;
    return candidate;
}

bool ScanDate(std::u16string_view s, size_t& i, TDateTime& out, const TFormatSettings& fs) {
    int n[3] = {0, 0, 0};
    size_t digits[3] = {0, 0, 0};
    int count = 0;
    SkipBlanks(s, i);
    while (count < 3) {
        size_t save = i;
        digits[count] = ReadNumber(s, i, n[count]);
        if (digits[count] == 0) { i = save; break; }
        ++count;
        if (count < 3 && i < s.size() && s[i] == fs.DateSeparator && i + 1 < s.size() && s[i + 1] >= u'0' &&
            s[i + 1] <= u'9')
            ++i;
        else break;
    }
    if (count < 2) return false;
    int y, m, d;
    size_t ydig = 4;
    DateOrder order = OrderOf(fs.ShortDateFormat);
    if (count == 2) {
        y = CurrentYear();
        if (order == DateOrder::DMY) { d = n[0]; m = n[1]; }
        else { m = n[0]; d = n[1]; }
    } else {
        switch (order) {
            case DateOrder::MDY: m = n[0]; d = n[1]; y = n[2]; ydig = digits[2]; break;
            case DateOrder::DMY: d = n[0]; m = n[1]; y = n[2]; ydig = digits[2]; break;
            default: y = n[0]; m = n[1]; d = n[2]; ydig = digits[0]; break;
        }
        y = ExpandYear(y, ydig, fs);
    }
    return TryEncodeDate(y, m, d, out);
}

bool ScanAmPm(std::u16string_view s, size_t& i, int& which, const TFormatSettings& fs) {
    SkipBlanks(s, i);
    auto take = [&](std::u16string_view w) {
        if (!w.empty() && s.size() - i >= w.size() && AnsiSameText(s.substr(i, w.size()), w)) {
            i += w.size();
            return true;
        }
        return false;
    };
    if (take(fs.TimeAMString) || take(u"AM") || take(u"A")) { which = 0; return true; }
    if (take(fs.TimePMString) || take(u"PM") || take(u"P")) { which = 1; return true; }
    return false;
}

bool ScanTime(std::u16string_view s, size_t& i, TDateTime& out, const TFormatSettings& fs) {
    int h = 0, m = 0, sec = 0, ms = 0, ampm = -1;
    SkipBlanks(s, i);
    if (!ReadNumber(s, i, h)) return false;
    if (i < s.size() && s[i] == fs.TimeSeparator) {
        ++i;
        if (!ReadNumber(s, i, m)) return false;
        if (i < s.size() && s[i] == fs.TimeSeparator) {
            ++i;
            if (!ReadNumber(s, i, sec)) return false;
            if (i < s.size() && s[i] == fs.DecimalSeparator) {
                ++i;
                size_t nd = ReadNumber(s, i, ms);
                if (!nd || nd > 3) return false;
                for (size_t k = nd; k < 3; ++k) ms *= 10;
            }
        }
    }
    size_t save = i;
    if (!ScanAmPm(s, i, ampm, fs)) i = save;
    if (ampm >= 0) {
        if (h == 0 || h > 12) return false;
        if (ampm == 0 && h == 12) h = 0;
        else if (ampm == 1 && h < 12) h += 12;
    }
    return TryEncodeTime(h, m, sec, ms, out);
}

bool AtEnd(std::u16string_view s, size_t i) {
    SkipBlanks(s, i);
    return i == s.size();
}

[[noreturn]] void DateError(const char* fmt, std::u16string_view s) {
    std::string t = Utf8(s);
    if (t.size() > 200) t = t.substr(0, 200) + "...";
    char buf[320];
    std::snprintf(buf, sizeof buf, fmt, t.c_str());
    throw EConvertError(buf);
}

}  // namespace

bool IsLeapYear(int y) { return (y % 4 == 0) && (y % 100 != 0 || y % 400 == 0); }

bool TryEncodeDate(int y, int m, int d, TDateTime& r) {
    if (y < 1 || y > 9999 || m < 1 || m > 12 || d < 1 || d > DaysInMonth(y, m)) return false;
    int64_t days = d;
    for (int k = 1; k < m; ++k) days += DaysInMonth(y, k);
    int64_t i = y - 1;
    r = static_cast<double>(i * 365 + i / 4 - i / 100 + i / 400 + days - DateDelta);
    return true;
}

TDateTime EncodeDate(int y, int m, int d) {
    TDateTime r;
    if (!TryEncodeDate(y, m, d, r)) throw EConvertError("Invalid argument to date encode");
    return r;
}

bool TryEncodeTime(int h, int n, int s, int ms, TDateTime& r) {
    if (h < 0 || h > 23 || n < 0 || n > 59 || s < 0 || s > 59 || ms < 0 || ms > 999) return false;
    r = static_cast<double>(((h * 60 + n) * 60 + s) * 1000 + ms) / MSecsPerDay;
    return true;
}

TDateTime EncodeTime(int h, int n, int s, int ms) {
    TDateTime r;
    if (!TryEncodeTime(h, n, s, ms, r)) throw EConvertError("Invalid argument to time encode");
    return r;
}

void DecodeDate(TDateTime v, int& y, int& m, int& d) {
    int64_t days, ms;
    Split(v, days, ms);
    CivilFromDays(days, y, m, d);
}

void DecodeTime(TDateTime v, int& h, int& n, int& s, int& ms) {
    int64_t days, t;
    Split(v, days, t);
    h = static_cast<int>(t / 3600000);
    n = static_cast<int>(t / 60000 % 60);
    s = static_cast<int>(t / 1000 % 60);
    ms = static_cast<int>(t % 1000);
}

int DayOfWeek(TDateTime v) {
    int64_t days, ms;
    Split(v, days, ms);
    // 1899-12-30 was a Saturday (7).
    int64_t r = (days + 6) % 7;
    if (r < 0) r += 7;
    return static_cast<int>(r) + 1;
}

String FormatDateTime(std::u16string_view f, TDateTime v, const TFormatSettings& fs) {
    Formatter fm(fs, v);
    fm.Run(f.empty() ? std::u16string_view(u"c") : f, 0);
    return std::move(fm.Out);
}

String FormatDateTime(std::u16string_view f, TDateTime v) { return FormatDateTime(f, v, FormatSettings()); }

void DateTimeToString(String& r, std::u16string_view f, TDateTime v, const TFormatSettings& fs) {
    r = FormatDateTime(f, v, fs);
}

void DateTimeToString(String& r, std::u16string_view f, TDateTime v) { r = FormatDateTime(f, v); }

String DateToStr(TDateTime v, const TFormatSettings& fs) { return FormatDateTime(u"ddddd", v, fs); }
String TimeToStr(TDateTime v, const TFormatSettings& fs) { return FormatDateTime(u"tt", v, fs); }
String DateTimeToStr(TDateTime v, const TFormatSettings& fs) { return FormatDateTime(u"c", v, fs); }
String DateToStr(TDateTime v) { return DateToStr(v, FormatSettings()); }
String TimeToStr(TDateTime v) { return TimeToStr(v, FormatSettings()); }
String DateTimeToStr(TDateTime v) { return DateTimeToStr(v, FormatSettings()); }

bool TryStrToDate(std::u16string_view s, TDateTime& v, const TFormatSettings& fs) {
    size_t i = 0;
    return ScanDate(s, i, v, fs) && AtEnd(s, i);
}

bool TryStrToTime(std::u16string_view s, TDateTime& v, const TFormatSettings& fs) {
    size_t i = 0;
    return ScanTime(s, i, v, fs) && AtEnd(s, i);
}

bool TryStrToDateTime(std::u16string_view s, TDateTime& v, const TFormatSettings& fs) {
    size_t i = 0;
    TDateTime date = 0, time = 0;
    if (ScanDate(s, i, date, fs)) {
        if (AtEnd(s, i)) { v = date; return true; }
        if (!ScanTime(s, i, time, fs) || !AtEnd(s, i)) return false;
        v = date < 0 ? date - time : date + time;
        return true;
    }
    i = 0;
    if (ScanTime(s, i, time, fs) && AtEnd(s, i)) { v = time; return true; }
    return false;
}

TDateTime StrToDate(std::u16string_view s, const TFormatSettings& fs) {
    TDateTime v;
    if (!TryStrToDate(s, v, fs)) DateError("'%s' is not a valid date", s);
    return v;
}

TDateTime StrToTime(std::u16string_view s, const TFormatSettings& fs) {
    TDateTime v;
    if (!TryStrToTime(s, v, fs)) DateError("'%s' is not a valid time", s);
    return v;
}

TDateTime StrToDateTime(std::u16string_view s, const TFormatSettings& fs) {
    TDateTime v;
    if (!TryStrToDateTime(s, v, fs)) DateError("'%s' is not a valid date and time", s);
    return v;
}

TDateTime StrToDate(std::u16string_view s) { return StrToDate(s, FormatSettings()); }
TDateTime StrToTime(std::u16string_view s) { return StrToTime(s, FormatSettings()); }
TDateTime StrToDateTime(std::u16string_view s) { return StrToDateTime(s, FormatSettings()); }

}  // namespace ide
