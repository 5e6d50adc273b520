// Fills the run-time's format table (foundation/FormatSettings.h) from a Qt
// locale, translating Qt's date and time letters (MM month, mm minute, HH
// hour, AP marker) into the run-time's (mm month, nn minute, hh hour, ampm).
// The application calls LoadSystemFormatSettings() once at start-up; tests
// keep the fixed default table.
//
// Thread: UI thread only (writes the process-wide table).
#pragma once

#include "foundation/FormatSettings.h"

class QLocale;

namespace ide {

// Qt date/time format text -> run-time format text. Letters Qt treats as
// text are quoted so the run-time doesn't read them as format letters.
String TranslateQtDateTimeFormat(std::u16string_view QtFormat);

TFormatSettings FormatSettingsFromLocale(const QLocale& Locale);
// FormatSettings() := FormatSettingsFromLocale(QLocale::system()).
void LoadSystemFormatSettings();

}  // namespace ide
