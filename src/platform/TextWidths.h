// Exact text widths from remembered advances, for the plain printable text
// that most rows hold (file names, identifiers, numbers).
//
// Measuring a text through QFontMetrics shapes it: the text is split into
// runs, glyphs are looked up and positioned, and that costs microseconds
// per text. For printable ASCII text Qt's answer is the sum of the glyphs'
// advances (in 1/64 pixel), rounded to whole pixels, unless neighbouring
// glyphs act on each other (kerning, ligatures). TSimpleTextWidths learns,
// per font, the shaped advance of each character and, for each pair of
// neighbouring characters met, whether the pair shapes to the sum of its
// two advances. A text whose characters and neighbouring pairs are all
// known to be plain is measured by adding; any other text (a character
// outside printable ASCII, one missing from the font, a kerned or ligated
// pair) is left to Qt, so the answer is always what Qt gives.
//
// Qt shapes a text that holds a letter as one Latin run and a text without
// letters (digits, punctuation, spaces) as one run of the common script; a
// font may position glyphs differently in the two, so each has its own
// tables. Pairs of non-letters inside a Latin run are learned behind a
// letter, where they sit in such a run.
//
// The assumption behind adding: what shaping does to printable ASCII text
// in this font is the sum of what it does to each neighbouring pair. Pair
// kerning and two-character ligatures are caught; a substitution that
// needs three characters while none of its pairs shapes differently alone
// is not. The tests compare against Qt over many texts and fonts.
//
// The learned values depend on the font and the font database, so the
// tables are kept per font key and forgotten when the application's fonts
// change or the application goes. They belong to the application's thread:
// a canvas measuring on another thread gets no tables and Qt measures.
#pragma once

#include <QFont>
#include <QFontMetricsF>
#include <QString>
#include <cstdint>
#include <memory>

namespace ide {

// Thread: UI thread only (For answers nil on other threads; Generation may be
// read on any).
class TSimpleTextWidths {
public:
    // The tables of Font (made on first use); nil without an application or
    // off its thread.
    static TSimpleTextWidths* For(const QFont& Font);
    // Forgets every font's tables.
    static void ForgetAll();
    // Counts ForgetAll calls (and new applications): a caller that keeps a
    // table pointer asks For again when this moved.
    static uint64_t Generation();

    // The width QFontMetrics(Font).horizontalAdvance(Text) answers, when it
    // follows from the tables; false when Qt must measure. Metrics are the
    // font's own (QFontMetricsF(Font)); they only serve to learn.
    bool Width(const QFontMetricsF& Metrics, const char16_t* Text, size_t Length, int& Width);

    // How many texts were measured by adding and how many were left to Qt
    // (for tests and profiling).
    uint64_t Added() const { return FAdded; }
    uint64_t Declined() const { return FDeclined; }

private:
    static constexpr int kFirst = 0x20, kLast = 0x7e, kCount = kLast - kFirst + 1;
    enum TRun { rCommon, rLatin };
    static constexpr int32_t kUnknown = -1, kNotPlain = -2;
    enum : uint8_t { pUnknown = 0, pPlain = 1, pNotPlain = 2 };

    int32_t Advance(const QFontMetricsF& M, TRun Run, int C);
    bool PairPlain(const QFontMetricsF& M, TRun Run, int A, int B);
    static int32_t Shaped(const QFontMetricsF& M, const QString& Text);

    int32_t FAdvance[2][kCount];  // 1/64 pixel; kUnknown, kNotPlain
    uint8_t FPair[2][kCount * kCount] = {};
    uint64_t FAdded = 0, FDeclined = 0;

public:
    TSimpleTextWidths();
};

}  // namespace ide
