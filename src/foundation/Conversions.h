// The run-time's text conversions: integers, floats with their display
// styles and format strings, dates and times with their format strings, mask
// text, and colour identifiers. Everything stored as text by the settings
// layer goes through these, so their forms are fixed and tested.
//
// Every parser raises EConvertError with the run-time's message ("'x' is not
// a valid integer value", ...) and never reads past its input; every
// formatter takes any format string (user data) without crashing or looping.
// Functions without a TFormatSettings argument use the global table.
//
// Thread: any (reads of the global table excepted; see FormatSettings.h).
#pragma once

#include "foundation/FormatSettings.h"
#include "foundation/Graphics.h"

namespace ide {

// --- Integers ----------------------------------------------------------------
// Decimal with an optional sign, or hexadecimal after "$", "0x" or "0X";
// leading white space allowed, nothing after the digits.
int32_t StrToInt(std::u16string_view S);
int64_t StrToInt64(std::u16string_view S);
bool TryStrToInt(std::u16string_view S, int32_t& Value);
bool TryStrToInt64(std::u16string_view S, int64_t& Value);
int32_t StrToIntDef(std::u16string_view S, int32_t Default);
String IntToStr(int64_t Value);
String IntToHex(int64_t Value, int Digits);

// --- Floats ------------------------------------------------------------------
enum TFloatFormat { ffGeneral, ffExponent, ffFixed, ffNumber, ffCurrency };

// Decimal text with the locale's decimal separator, optional exponent;
// surrounding white space allowed. No thousands separators.
double StrToFloat(std::u16string_view S);
double StrToFloat(std::u16string_view S, const TFormatSettings& FS);
bool TryStrToFloat(std::u16string_view S, double& Value, const TFormatSettings& FS);
bool TryStrToFloat(std::u16string_view S, double& Value);
// General style with 15 significant digits.
String FloatToStr(double Value);
String FloatToStr(double Value, const TFormatSettings& FS);
String FloatToStrF(double Value, TFloatFormat Format, int Precision, int Digits);
String FloatToStrF(double Value, TFloatFormat Format, int Precision, int Digits, const TFormatSettings& FS);
// Format strings: up to three sections separated by ";" (positive, negative,
// zero); "0" digit or zero, "#" digit or nothing, "." decimal point, ","
// thousands separators, "E+", "E-", "e+", "e-" exponents, quoted text
// literal, any other character copied.
String FormatFloat(std::u16string_view Format, double Value);
String FormatFloat(std::u16string_view Format, double Value, const TFormatSettings& FS);

// --- Dates and times ---------------------------------------------------------
// TDateTime is days since 1899-12-30, the time as the fraction.
TDateTime EncodeDate(int Year, int Month, int Day);
TDateTime EncodeTime(int Hour, int Min, int Sec, int MSec);
bool TryEncodeDate(int Year, int Month, int Day, TDateTime& Result);
bool TryEncodeTime(int Hour, int Min, int Sec, int MSec, TDateTime& Result);
void DecodeDate(TDateTime Date, int& Year, int& Month, int& Day);
void DecodeTime(TDateTime Time, int& Hour, int& Min, int& Sec, int& MSec);
int DayOfWeek(TDateTime Date);  // 1 = Sunday
bool IsLeapYear(int Year);

// Format letters: c, d, dd, ddd, dddd, ddddd (short date), dddddd (long
// date), m, mm, mmm, mmmm (a minute right after h or before s), yy, yyyy,
// h, hh, n, nn, s, ss, z, zzz, t (short time), tt (long time), am/pm, a/p,
// ampm, "/" date separator, ":" time separator, quoted literals. An empty
// format means "c": short date, then long time when the time isn't zero.
String FormatDateTime(std::u16string_view Format, TDateTime Value);
String FormatDateTime(std::u16string_view Format, TDateTime Value, const TFormatSettings& FS);
void DateTimeToString(String& Result, std::u16string_view Format, TDateTime Value);
void DateTimeToString(String& Result, std::u16string_view Format, TDateTime Value, const TFormatSettings& FS);
String DateToStr(TDateTime Value);
String TimeToStr(TDateTime Value);
String DateTimeToStr(TDateTime Value);
String DateToStr(TDateTime Value, const TFormatSettings& FS);
String TimeToStr(TDateTime Value, const TFormatSettings& FS);
String DateTimeToStr(TDateTime Value, const TFormatSettings& FS);
// Dates are read in the order of the short date format (y m d, m d y or
// d m y), numbers separated by the date separator; a missing year is this
// year. Times are h[:n[:s[.z]]] with an optional AM/PM marker.
TDateTime StrToDate(std::u16string_view S);
TDateTime StrToTime(std::u16string_view S);
TDateTime StrToDateTime(std::u16string_view S);
TDateTime StrToDate(std::u16string_view S, const TFormatSettings& FS);
TDateTime StrToTime(std::u16string_view S, const TFormatSettings& FS);
TDateTime StrToDateTime(std::u16string_view S, const TFormatSettings& FS);
bool TryStrToDate(std::u16string_view S, TDateTime& Value, const TFormatSettings& FS);
bool TryStrToTime(std::u16string_view S, TDateTime& Value, const TFormatSettings& FS);
bool TryStrToDateTime(std::u16string_view S, TDateTime& Value, const TFormatSettings& FS);

// --- Masks -------------------------------------------------------------------
// A mask is "characters[;save-literals[;blank]]". Input characters: L l
// (letter), A a (letter or digit), C c (any), 0 9 # (digit); ">" upper-cases
// and "<" lower-cases what follows, "<>" stops both; "!" is accepted and
// ignored; "\" makes the next character a literal; ":" and "/" are the
// locale's separators. FormatMaskText places Value's characters in the input
// positions (skipping literals that Value carries when literals are saved)
// and fills missing ones with the blank character (default "_").
String FormatMaskText(std::u16string_view EditMask, std::u16string_view Value);

// --- Colours -----------------------------------------------------------------
// TColor (foundation/Graphics.h): $00BBGGRR, or $FF000000 + index for a
// system colour.
// The identifier of a known colour ("clRed", "clBtnFace"), else "$" and
// eight hexadecimal digits ("$00123456"). This is the one text form stored.
String ColorToString(TColor Color);
// An identifier (any case) or an integer in StrToInt's syntax.
TColor StringToColor(std::u16string_view S);
bool IdentToColor(std::u16string_view Ident, TColor& Color);
bool ColorToIdent(TColor Color, String& Ident);

}  // namespace ide
