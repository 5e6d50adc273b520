// The text conversions under the fixed format table: integers, float styles
// and format strings, dates and times both ways, mask text, colour
// identifiers, and the locale-independent case folding.
#include <gtest/gtest.h>

#include "foundation/Conversions.h"
#include "foundation/TextCompare.h"

using namespace ide;

namespace {
std::string U(const String& s) { return Utf8(s); }

template <class F>
std::string ErrorOf(F f) {
    try {
        f();
    } catch (const EConvertError& e) {
        return e.what();
    }
    return "no error";
}
}  // namespace

TEST(Conversions, IntegerTextBothWays) {
    EXPECT_EQ(StrToInt(u"  -42"), -42);
    EXPECT_EQ(StrToInt(u"+7"), 7);
    EXPECT_EQ(StrToInt(u"$FF"), 255);
    EXPECT_EQ(StrToInt(u"0x10"), 16);
    EXPECT_EQ(StrToInt(u"$FFFFFFFF"), -1);
    EXPECT_EQ(StrToInt(u"2147483647"), 2147483647);
    EXPECT_EQ(StrToInt(u"-2147483648"), INT32_MIN);
    EXPECT_EQ(StrToInt64(u"-9223372036854775808"), INT64_MIN);
    for (auto bad : {u"", u"abc", u"12 ", u"1.5", u"2147483648", u"$", u"-", u"0x", u"$1FFFFFFFF",
                     u"99999999999999999999"})
        EXPECT_EQ(ErrorOf([&] { StrToInt(bad); }), "'" + Utf8(bad) + "' is not a valid integer value");
    EXPECT_EQ(StrToIntDef(u"x", 5), 5);
    EXPECT_EQ(U(IntToStr(-12)), "-12");
    EXPECT_EQ(U(IntToHex(255, 4)), "00FF");
}

TEST(Conversions, IntegerTextAtTheEdgesOfSixtyFourBits) {
    int64_t v = 0;
    EXPECT_TRUE(TryStrToInt64(u"9223372036854775807", v));
    EXPECT_EQ(v, INT64_MAX);
    EXPECT_TRUE(TryStrToInt64(u"-9223372036854775808", v));
    EXPECT_EQ(v, INT64_MIN);
    // One past either end, and a digit more than fits, are refused and leave
    // the value alone.
    v = 5;
    for (auto bad : {u"9223372036854775808", u"-9223372036854775809", u"92233720368547758070",
                     u"18446744073709551616", u"$10000000000000000"}) {
        EXPECT_FALSE(TryStrToInt64(bad, v)) << Utf8(bad);
        EXPECT_EQ(v, 5);
    }
    // Hexadecimal text spans the whole unsigned range.
    EXPECT_TRUE(TryStrToInt64(u"$FFFFFFFFFFFFFFFF", v));
    EXPECT_EQ(v, -1);
    EXPECT_TRUE(TryStrToInt64(u"0x7fffffffffffffff", v));
    EXPECT_EQ(v, INT64_MAX);
    int32_t i = 0;
    EXPECT_TRUE(TryStrToInt(u"0x80000000", i));
    EXPECT_EQ(i, INT32_MIN);
    EXPECT_FALSE(TryStrToInt(u"-2147483649", i));
    EXPECT_FALSE(TryStrToInt(u"$G", i));
}

TEST(Conversions, FloatStylesUnderTheFixedTable) {
    EXPECT_EQ(U(FloatToStr(1.5)), "1.5");
    EXPECT_EQ(U(FloatToStr(0.1 + 0.2)), "0.3");  // 15 significant digits
    EXPECT_EQ(U(FloatToStr(1e20)), "1E20");
    EXPECT_EQ(U(FloatToStr(123456789012345.0)), "123456789012345");
    EXPECT_EQ(U(FloatToStr(1.5e-7)), "1.5E-7");
    EXPECT_EQ(U(FloatToStr(0.0001)), "0.0001");
    EXPECT_EQ(U(FloatToStr(-0.0)), "0");
    EXPECT_EQ(U(FloatToStrF(1234.5678, ffFixed, 15, 2)), "1234.57");
    EXPECT_EQ(U(FloatToStrF(1234567.891, ffNumber, 15, 2)), "1,234,567.89");
    EXPECT_EQ(U(FloatToStrF(-1234.5, ffCurrency, 15, 2)), "($1,234.50)");
    EXPECT_EQ(U(FloatToStrF(1234.5, ffCurrency, 15, 2)), "$1,234.50");
    EXPECT_EQ(U(FloatToStrF(1234.5, ffExponent, 4, 2)), "1.235E+03");
    EXPECT_EQ(U(FloatToStrF(2.5, ffGeneral, 1, 0)), "3");
    EXPECT_EQ(U(FloatToStr(std::numeric_limits<double>::infinity())), "INF");
    TFormatSettings de = DefaultFormatSettings();
    de.DecimalSeparator = u',';
    de.ThousandSeparator = u'.';
    de.CurrencyString = u"€";
    de.CurrencyFormat = 3;
    de.NegCurrFormat = 8;
    EXPECT_EQ(U(FloatToStr(1.5, de)), "1,5");
    EXPECT_EQ(U(FloatToStrF(-1234.5, ffCurrency, 15, 2, de)), "-1.234,50 €");
    EXPECT_DOUBLE_EQ(StrToFloat(u"1,5", de), 1.5);
    EXPECT_EQ(ErrorOf([&] { StrToFloat(u"1.5", de); }), "'1.5' is not a valid floating point value");
    EXPECT_DOUBLE_EQ(StrToFloat(u" -2.5e3 "), -2500.0);
    EXPECT_DOUBLE_EQ(StrToFloat(u".5"), 0.5);
    EXPECT_DOUBLE_EQ(StrToFloat(u"1e-400"), 0.0);
    for (auto bad : {u"", u"1e", u"e5", u"1.2.3", u"1e999", u"--1", u"nan", u"1,000"})
        EXPECT_EQ(ErrorOf([&] { StrToFloat(bad); }), "'" + Utf8(bad) + "' is not a valid floating point value");
}

TEST(Conversions, FloatFormatStrings) {
    struct Row {
        const char16_t* F;
        double V;
        const char* Out;
    };
    const Row rows[] = {
        {u"0.00", 1234.567, "1234.57"},
        {u"#,##0.00", 1234567.891, "1,234,567.89"},
        {u"#.##", 0.5, ".5"},
        {u"0.##", 1.0, "1"},
        {u"000", 7, "007"},
        {u"#", 0, ""},
        {u"0", -0.4, "0"},  // rounds to zero: no sign
        {u"0", -1.6, "-2"},
        {u"0.0;(0.0)", -3.25, "(3.3)"},
        {u"0.0;(0.0);'zero'", 0, "zero"},
        {u"0.0;;nil", -1, "-1.0"},  // empty negative section: the first, with a sign
        {u"0.00E+00", 12345.0, "1.23E+04"},
        {u"0.0e-0", 0.00123, "1.2e-3"},
        {u"'Total: '#,##0", 12345, "Total: 12,345"},
        {u"0 \"kg\"", 3, "3 kg"},
        {u"", 2.5, "2.5"},
        {u"no digits", 5, "no digits"},
    };
    for (const auto& r : rows) EXPECT_EQ(U(FormatFloat(r.F, r.V)), r.Out) << Utf8(r.F);
}

TEST(Conversions, DatesAndTimesFormatAndParse) {
    EXPECT_DOUBLE_EQ(EncodeDate(1899, 12, 30), 0.0);
    EXPECT_DOUBLE_EQ(EncodeDate(2023, 3, 15), 45000.0);
    EXPECT_DOUBLE_EQ(EncodeDate(1900, 1, 1), 2.0);
    EXPECT_DOUBLE_EQ(EncodeTime(18, 0, 0, 0), 0.75);
    EXPECT_THROW(EncodeDate(2023, 2, 29), EConvertError);
    EXPECT_NO_THROW(EncodeDate(2024, 2, 29));
    int y, m, d;
    DecodeDate(-1.25, y, m, d);  // negative: the day before the epoch, 6 hours in
    EXPECT_EQ(y * 10000 + m * 100 + d, 18991229);
    int h, n, s, ms;
    DecodeTime(-1.25, h, n, s, ms);
    EXPECT_EQ(h, 6);
    EXPECT_EQ(DayOfWeek(45000.0), 4);  // a Wednesday

    const TDateTime v = 45000.0 + EncodeTime(14, 5, 9, 7);
    struct Row {
        const char16_t* F;
        const char* Out;
    };
    const Row rows[] = {
        {u"", "2023-03-15 14:05:09"},
        {u"c", "2023-03-15 14:05:09"},
        {u"d/m/yy", "15-3-23"},
        {u"dd mmm yyyy", "15 Mar 2023"},
        {u"dddd, mmmm d", "Wednesday, March 15"},
        {u"ddd", "Wed"},
        {u"ddddd", "2023-03-15"},
        {u"dddddd", "Wednesday, March 15, 2023"},
        {u"hh:mm", "14:05"},  // m after h is the minute
        {u"h:nn:ss.zzz", "14:05:09.007"},
        {u"h am/pm", "2 pm"},
        {u"hh AMPM", "02 PM"},
        {u"h a/p", "2 p"},
        {u"t", "14:05"},
        {u"tt", "14:05:09"},
        {u"'at' hh\"h\"", "at 14h"},
        {u"yyyy'", "2023"},  // unterminated quote: the rest is literal
    };
    for (const auto& r : rows) EXPECT_EQ(U(FormatDateTime(r.F, v)), r.Out) << Utf8(r.F);
    EXPECT_EQ(U(DateTimeToStr(45000.0)), "2023-03-15");  // midnight: no time part
    String out;
    DateTimeToString(out, u"yyyy", v);
    EXPECT_EQ(U(out), "2023");

    EXPECT_DOUBLE_EQ(StrToDate(u"2023-03-15"), 45000.0);
    EXPECT_DOUBLE_EQ(StrToTime(u"18:00"), 0.75);
    EXPECT_DOUBLE_EQ(StrToTime(u"6:00 PM"), 0.75);
    EXPECT_DOUBLE_EQ(StrToTime(u"12:00 am"), 0.0);
    EXPECT_DOUBLE_EQ(StrToDateTime(u"2023-03-15 18:00:00"), 45000.75);
    EXPECT_DOUBLE_EQ(StrToDateTime(u"1:00"), 1.0 / 24);  // a time alone
    EXPECT_NEAR(StrToDateTime(DateTimeToStr(v)), v, 0.5 / 86400);  // to the second
    TFormatSettings us = DefaultFormatSettings();
    us.ShortDateFormat = u"m/d/yyyy";
    us.DateSeparator = u'/';
    EXPECT_DOUBLE_EQ(StrToDate(u"3/15/2023", us), 45000.0);
    EXPECT_EQ(U(DateToStr(45000.0, us)), "3/15/2023");
    us.ShortDateFormat = u"dd.mm.yyyy";
    us.DateSeparator = u'.';
    EXPECT_DOUBLE_EQ(StrToDate(u"15.03.2023", us), 45000.0);
    EXPECT_EQ(ErrorOf([] { StrToDate(u"2023-02-30"); }), "'2023-02-30' is not a valid date");
    EXPECT_EQ(ErrorOf([] { StrToTime(u"25:00"); }), "'25:00' is not a valid time");
    EXPECT_EQ(ErrorOf([] { StrToDateTime(u"2023-03-15 x"); }), "'2023-03-15 x' is not a valid date and time");
    for (auto bad : {u"", u"-", u"2023-", u"13:00 PM", u"1:2:3:4", u"99999999999-1-1"})
        EXPECT_THROW(StrToDateTime(bad), EConvertError) << Utf8(bad);
}

TEST(Conversions, MaskTextPlacesCharactersAroundLiterals) {
    EXPECT_EQ(U(FormatMaskText(u"(000) 000-0000;0;_", u"5551234567")), "(555) 123-4567");
    EXPECT_EQ(U(FormatMaskText(u"(000) 000-0000;1;_", u"(555) 123-4567")), "(555) 123-4567");
    EXPECT_EQ(U(FormatMaskText(u"000-000;0;*", u"12")), "12*-***");
    EXPECT_EQ(U(FormatMaskText(u">LL<ll", u"abCD")), "ABcd");
    EXPECT_EQ(U(FormatMaskText(u"!\\A00", u"12")), "A12");
    EXPECT_EQ(U(FormatMaskText(u"00:00", u"1230")), "12:30");
    EXPECT_EQ(U(FormatMaskText(u"", u"abc")), "");
}

TEST(Conversions, ColourIdentifiersAndOneStoredTextForm) {
    EXPECT_EQ(U(ColorToString(0x0000FF)), "clRed");  // colours are BGR
    EXPECT_EQ(U(ColorToString(static_cast<TColor>(0xFF00000F))), "clBtnFace");
    EXPECT_EQ(U(ColorToString(0x123456)), "$00123456");
    EXPECT_EQ(U(ColorToString(-1)), "$FFFFFFFF");
    EXPECT_EQ(StringToColor(u"CLRED"), 0x0000FF);
    EXPECT_EQ(StringToColor(u"255"), 0x0000FF);
    EXPECT_EQ(StringToColor(u"$00123456"), 0x123456);
    EXPECT_EQ(U(ColorToString(StringToColor(u"255"))), "clRed");  // normal form
    EXPECT_EQ(ErrorOf([] { StringToColor(u"reddish"); }), "'reddish' is not a valid integer value");
    for (TColor c : {0, 0x808080, 0x1FFFFFFF, 0x20000000, 0x7F7F7F})
        EXPECT_EQ(StringToColor(ColorToString(c)), c);
}

TEST(TextCompare, FoldingIsFixedAndLocaleFree) {
    EXPECT_TRUE(AnsiSameText(u"Straße", u"STRAßE"));
    EXPECT_TRUE(AnsiSameText(u"Éclair ÿ", u"éCLAIR Ÿ"));
    EXPECT_TRUE(AnsiSameText(u"ΣΟΦΙΑ", u"σοφια"));
    EXPECT_TRUE(AnsiSameText(u"Москва", u"МОСКВА"));
    EXPECT_TRUE(AnsiSameText(u"Łódź", u"ŁÓDŹ"));
    EXPECT_FALSE(AnsiSameText(u"a", u"ab"));
    EXPECT_LT(AnsiCompareText(u"apple", u"Banana"), 0);  // folded before ordering
    EXPECT_GT(AnsiCompareStr(u"apple", u"Banana"), 0);   // ordinal
    EXPECT_TRUE(SameText(u"Key", u"KEY"));
    EXPECT_FALSE(SameText(u"é", u"É"));  // ASCII-only folding
    EXPECT_EQ(HashFolded(u"Editor\\General"), HashFolded(u"EDITOR\\general"));
    EXPECT_EQ(U(Trim(u"  a b \t")), "a b");
    EXPECT_NE(AnsiCompareFileName(u"a.txt", u"A.txt"), 0);
}
