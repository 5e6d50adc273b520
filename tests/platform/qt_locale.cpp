// The locale filler: Qt's format letters become the run-time's, and a
// German locale gives its separators, names and currency layout.
#include <QLocale>
#include <QtTest>

#include "foundation/Conversions.h"
#include "platform/LocaleFormat.h"

using namespace ide;

class LocaleFormatTest : public QObject {
    Q_OBJECT
private slots:
    void translatesFormatLetters() {
        QCOMPARE(Utf8(TranslateQtDateTimeFormat(u"dd.MM.yyyy")), std::string("dd.mm.yyyy"));
        QCOMPARE(Utf8(TranslateQtDateTimeFormat(u"HH:mm:ss")), std::string("hh:nn:ss"));
        QCOMPARE(Utf8(TranslateQtDateTimeFormat(u"h:mm AP")), std::string("h:nn ampm"));
        QCOMPARE(Utf8(TranslateQtDateTimeFormat(u"HH:mm:ss t")), std::string("hh:nn:ss"));
        QCOMPARE(Utf8(TranslateQtDateTimeFormat(u"d 'de' MMMM")), std::string("d \"de\" mmmm"));
        QCOMPARE(Utf8(TranslateQtDateTimeFormat(u"yy''")), std::string("yy\"'\""));
    }
    void germanLocale() {
        TFormatSettings fs = FormatSettingsFromLocale(QLocale(QLocale::German, QLocale::Germany));
        QCOMPARE(char(fs.DecimalSeparator), ',');
        QCOMPARE(char(fs.ThousandSeparator), '.');
        QCOMPARE(char(fs.DateSeparator), '.');
        QCOMPARE(Utf8(fs.ShortDateFormat), std::string("dd/mm/yy"));
        const TDateTime v = EncodeDate(2023, 3, 15) + EncodeTime(14, 5, 0, 0);
        QCOMPARE(Utf8(FormatDateTime(u"ddddd t", v, fs)), std::string("15.03.23 14:05"));
        QCOMPARE(Utf8(fs.LongMonthNames[2]), std::string("März"));
        QCOMPARE(Utf8(FloatToStr(1.5, fs)), std::string("1,5"));
        QCOMPARE(fs.CurrencyFormat, uint8_t(3));  // "1.234,50 €"
        QCOMPARE(StrToDate(u"15.03.23", fs), EncodeDate(2023, 3, 15));
    }
};

QTEST_GUILESS_MAIN(LocaleFormatTest)
#include "qt_locale.moc"
