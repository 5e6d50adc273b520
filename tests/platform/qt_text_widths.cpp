// Widths from remembered advances must be exactly QFontMetrics'
// horizontalAdvance: over many texts and fonts, with kerned pairs, texts
// without letters, texts Qt alone can measure, and after the application's
// fonts changed.
#include <QtTest/QtTest>
#include <random>
#include <thread>

#include "platform/QtCanvas.h"
#include "platform/TextWidths.h"

using namespace ide;

namespace {

std::vector<QFont> Fonts() {
    std::vector<QFont> fonts{QGuiApplication::font()};
    for (const char* family : {"DejaVu Sans", "DejaVu Serif", "DejaVu Sans Mono"})
        for (int size : {7, 9, 13}) {
            QFont f(family);
            f.setPointSize(size);
            fonts.push_back(f);
            f.setBold(true);
            f.setItalic(size == 13);
            fonts.push_back(f);
        }
    return fonts;
}

// Texts as rows hold them: names with numbers, numbers alone.
std::vector<QString> RowTexts() {
    std::vector<QString> texts;
    for (int i = 0; i < 300; ++i) {
        texts.push_back(QStringLiteral("new leaf %1").arg(i * 37));
        texts.push_back(QStringLiteral("%1.%2").arg(i * 7919).arg(i % 13));  // no letters
    }
    return texts;
}

// Printable ASCII texts: random ones, row-like ones and kerning-prone ones.
std::vector<QString> Texts() {
    std::vector<QString> texts;
    std::mt19937 rng(20261124);
    std::uniform_int_distribution<int> ch(0x20, 0x7e), len(0, 40), pick(0, 3);
    const QString frequent = QStringLiteral("etaoin shrdlu.0123456789_/AVTWYLfiflffr");
    for (int i = 0; i < 1500; ++i) {
        QString s;
        int n = len(rng);
        for (int k = 0; k < n; ++k)
            s += pick(rng) == 0 ? QChar(ch(rng)) : frequent[ch(rng) % frequent.size()];
        texts.push_back(s);
    }
    for (const QString& s : RowTexts()) texts.push_back(s);
    for (int i = 0; i < 300; ++i) texts.push_back(QStringLiteral("src/views/File_%1.cpp").arg(i));  // some of their pairs kern
    for (const char* s : {"AV", "AVAVAV", "To", "Ty.", "WAVE", "LT", "r.", "fi", "fl", "ffi", "office", "  ", " ", "--",
                          "1/1", "7,", "((x))", "\"quoted\"", "Yo, Vo."})
        texts.push_back(QString::fromLatin1(s));
    return texts;
}

int QtWidth(const QFont& f, const QString& s) { return QFontMetrics(f).horizontalAdvance(s); }

// Gives the canvas the font and answers the same font as Qt's.
QFont SetCanvasFont(TQtMeasuringCanvas& c, const char16_t* name, int size) {
    TFont font;
    font.SetName(name);
    font.SetSize(size);
    c.SetFont(font);
    return ToQFont(font);
}

bool Ours(const QFont& f, const QString& s, int& width) {
    TSimpleTextWidths* w = TSimpleTextWidths::For(f);
    QFontMetricsF m(f);
    return w && w->Width(m, reinterpret_cast<const char16_t*>(s.utf16()), static_cast<size_t>(s.size()), width);
}

}  // namespace

class TextWidthsTest : public QObject {
    Q_OBJECT
private slots:
    void init() { TSimpleTextWidths::ForgetAll(); }

    void addedWidthsEqualQtsOverManyTextsAndFonts() {
        const auto texts = Texts(), rows = RowTexts();
        for (const QFont& f : Fonts()) {
            TSimpleTextWidths* w = TSimpleTextWidths::For(f);
            QVERIFY(w);
            // Row texts are mostly plain: the tables must carry them, or
            // they are no use.
            for (const QString& s : rows) {
                int width = -1;
                if (Ours(f, s, width)) QCOMPARE_EQ(width, QtWidth(f, s));
            }
            QVERIFY2(w->Added() > 3 * w->Declined(), qPrintable(f.toString()));
            // Every text the tables answer is answered as Qt does; random
            // texts meet kerned pairs often, so a third of them will do.
            uint64_t added = w->Added(), declined = w->Declined();
            for (const QString& s : texts) {
                int width = -1;
                if (Ours(f, s, width)) QCOMPARE_EQ(width, QtWidth(f, s));
            }
            QVERIFY2(w->Added() - added > (w->Declined() - declined) / 2, qPrintable(f.toString()));
        }
    }

    void kernedPairsAreLeftToQt() {
        // The proportional face kerns "AV" and "To": the sum of the lone
        // advances is not Qt's width, so those texts are declined.
        QFont f("DejaVu Sans");
        f.setPointSize(40);
        QFontMetricsF m(f);
        for (const QString& s : {QStringLiteral("AV"), QStringLiteral("To")}) {
            QVERIFY(m.horizontalAdvance(s) != m.horizontalAdvance(s.left(1)) + m.horizontalAdvance(s.mid(1)));
            int width = -1;
            QVERIFY(!Ours(f, s, width));
        }
        // while its neighbours alone are measured by adding
        int width = -1;
        QVERIFY(Ours(f, QStringLiteral("A"), width));
        QCOMPARE_EQ(width, QtWidth(f, QStringLiteral("A")));
        QVERIFY(Ours(f, QStringLiteral("oo"), width));
        QCOMPARE_EQ(width, QtWidth(f, QStringLiteral("oo")));
    }

    void textsBeyondPrintableAsciiAreLeftToQt() {
        QFont f("DejaVu Sans");
        for (const QString& s : {QStringLiteral("caf\u00e9"), QStringLiteral("a\tb"), QStringLiteral("\U0001F600"),
                                 QStringLiteral("e\u0301"), QStringLiteral("\u05d0\u05d1")}) {
            int width = -1;
            QVERIFY(!Ours(f, s, width));
        }
        int width = -1;
        QVERIFY(Ours(f, QString(), width));
        QCOMPARE_EQ(width, 0);
    }

    void canvasMeasuresAsQtWithAndWithoutTheTables() {
        TQtMeasuringCanvas c;
        const QFont qf = SetCanvasFont(c, u"DejaVu Serif", 11);
        for (const QString& s : {QStringLiteral("new leaf 42"), QStringLiteral("AVAV"), QStringLiteral("na\u00efve"),
                                 QStringLiteral("12:30"), QString()}) {
            TDimension d = c.TextExtent(FromQString(s));
            QCOMPARE_EQ(d.Width, QtWidth(qf, s));
            QCOMPARE_EQ(d.Height, QFontMetrics(qf).height());
        }
        QVERIFY(TSimpleTextWidths::For(qf)->Added() >= 2);
    }

    void forgettingTheTablesIsSafeForCanvasesThatHoldThem() {
        TQtMeasuringCanvas c;
        const QFont qf = SetCanvasFont(c, u"DejaVu Sans", 10);
        QCOMPARE_EQ(c.TextExtent(u"new leaf 12").Width, QtWidth(qf, QStringLiteral("new leaf 12")));
        uint64_t before = TSimpleTextWidths::Generation();
        // What a change of the application's fonts does: every table goes.
        TSimpleTextWidths::ForgetAll();
        QVERIFY(TSimpleTextWidths::Generation() != before);
        // The canvas asks for new tables instead of reading freed ones (ASan).
        QCOMPARE_EQ(c.TextExtent(u"new leaf 12").Width, QtWidth(qf, QStringLiteral("new leaf 12")));
        QCOMPARE_EQ(TSimpleTextWidths::For(qf)->Added(), 1u);
        // and a change of the canvas font takes that font's tables
        const QFont bigger = SetCanvasFont(c, u"DejaVu Sans", 17);
        QCOMPARE_EQ(c.TextExtent(u"new leaf 12").Width, QtWidth(bigger, QStringLiteral("new leaf 12")));
        QCOMPARE_EQ(TSimpleTextWidths::For(bigger)->Added(), 1u);
    }

    void otherThreadsGetNoTablesAndQtMeasures() {
        QFont f("DejaVu Sans");
        TSimpleTextWidths* there = TSimpleTextWidths::For(f);
        QVERIFY(there);
        std::thread worker([&] { there = TSimpleTextWidths::For(f); });
        worker.join();
        QCOMPARE(there, nullptr);
    }

    void theFontDatabaseSignalForgetsTheTables() {
        QFont f("DejaVu Sans");
        TSimpleTextWidths::For(f);
        uint64_t before = TSimpleTextWidths::Generation();
        emit qGuiApp->fontDatabaseChanged();
        QVERIFY(TSimpleTextWidths::Generation() != before);
    }
};

QTEST_MAIN(TextWidthsTest)
#include "qt_text_widths.moc"
