// The locale data that the text conversions read: separators, currency
// layout, date and time formats, month and day names.
//
// `DefaultFormatSettings()` is a fixed table that never depends on the
// machine, so tests and stored data written under it are reproducible. The
// process-wide `FormatSettings` starts as that table; the platform layer
// replaces it from the system locale at start-up (platform/LocaleFormat.h).
//
// Format letters are the run-time's: `d`, `m`, `yy`/`yyyy` for day, month and
// year; `h`, `n` (minute), `s`, `z`; `/` and `:` stand for the separators.
//
// Thread: one at a time (the global table is written once at start-up and
// read afterwards).
#pragma once

#include <array>

#include "foundation/Runtime.h"

namespace ide {

struct TFormatSettings {
    // Currency: 0 "$1", 1 "1$", 2 "$ 1", 3 "1 $"; NegCurrFormat 0..15 as the
    // run-time's table (0 "($1)", 1 "-$1", ... 15 "(1 $)").
    String CurrencyString;
    uint8_t CurrencyFormat = 0;
    uint8_t NegCurrFormat = 0;
    uint8_t CurrencyDecimals = 2;
    Char ThousandSeparator = u',';
    Char DecimalSeparator = u'.';
    Char DateSeparator = u'-';
    Char TimeSeparator = u':';
    Char ListSeparator = u',';
    String ShortDateFormat;
    String LongDateFormat;
    String TimeAMString;
    String TimePMString;
    String ShortTimeFormat;
    String LongTimeFormat;
    std::array<String, 12> ShortMonthNames;
    std::array<String, 12> LongMonthNames;
    std::array<String, 7> ShortDayNames;  // Sunday first
    std::array<String, 7> LongDayNames;
    // Two-digit years: 0 means "the current century"; otherwise years within
    // this many years before now belong to the current century.
    int TwoDigitYearCenturyWindow = 50;
};

// The fixed table: "$", decimal point ".", thousands ",", dates
// "yyyy/mm/dd" with separator "-" (2024-03-07), long date "dddd, mmmm d,
// yyyy", times "hh:nn" and "hh:nn:ss", English names, AM/PM.
const TFormatSettings& DefaultFormatSettings();

// The process-wide table the conversions use when none is passed.
TFormatSettings& FormatSettings();

// Restores the global table to the fixed one on destruction; for tests that
// change the locale.
class TFormatSettingsGuard {
public:
    TFormatSettingsGuard() : FSaved(FormatSettings()) {}
    ~TFormatSettingsGuard() { FormatSettings() = FSaved; }
    TFormatSettingsGuard(const TFormatSettingsGuard&) = delete;
    TFormatSettingsGuard& operator=(const TFormatSettingsGuard&) = delete;

private:
    TFormatSettings FSaved;
};

}  // namespace ide
