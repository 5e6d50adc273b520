#include "platform/TextWidths.h"

#include <QGuiApplication>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>

namespace ide {

namespace {

// The tables by font key, and the application whose font changes clear them.
struct TWidthTables {
    std::map<QString, std::unique_ptr<TSimpleTextWidths>> ByFont;
    const QGuiApplication* App = nullptr;
    std::atomic<uint64_t> Generation{1};  // read by canvases on any thread
};

TWidthTables& Tables() {
    static TWidthTables tables;
    return tables;
}

bool IsLetter(int C) { return (C >= 'A' && C <= 'Z') || (C >= 'a' && C <= 'z'); }

// The letter that puts learned pairs of non-letters into a Latin run.
constexpr int kLatinLead = 'x';

QString Chars(std::initializer_list<int> Codes) {
    QString s;
    for (int c : Codes) s.append(QChar(static_cast<char16_t>(c)));
    return s;
}

}  // namespace

TSimpleTextWidths::TSimpleTextWidths() { std::fill(&FAdvance[0][0], &FAdvance[0][0] + 2 * kCount, kUnknown); }

TSimpleTextWidths* TSimpleTextWidths::For(const QFont& Font) {
    auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    // The tables are the application thread's: elsewhere Qt measures.
    if (!app || QThread::currentThread() != app->thread()) return nullptr;
    TWidthTables& t = Tables();
    if (t.App != app) {
        // A new application: new fonts. Both signals only touch plain data.
        t.ByFont.clear();
        ++t.Generation;
        t.App = app;
        QObject::connect(app, &QGuiApplication::fontDatabaseChanged, app, [] { ForgetAll(); });
        QObject::connect(app, &QObject::destroyed, [] {
            Tables().ByFont.clear();
            Tables().App = nullptr;
            ++Tables().Generation;
        });
    }
    auto& slot = t.ByFont[Font.key()];
    if (!slot) slot = std::make_unique<TSimpleTextWidths>();
    return slot.get();
}

void TSimpleTextWidths::ForgetAll() {
    Tables().ByFont.clear();
    ++Tables().Generation;
}

uint64_t TSimpleTextWidths::Generation() { return Tables().Generation; }

int32_t TSimpleTextWidths::Shaped(const QFontMetricsF& M, const QString& Text) {
    // Qt's advances are in 1/64 pixel, so the real value times 64 is whole.
    return static_cast<int32_t>(std::lround(M.horizontalAdvance(Text) * 64.0));
}

int32_t TSimpleTextWidths::Advance(const QFontMetricsF& M, TRun Run, int C) {
    int32_t& a = FAdvance[Run][C - kFirst];
    if (a != kUnknown) return a;
    if (!M.inFont(QChar(static_cast<char16_t>(C)))) return a = kNotPlain;
    if (Run == rCommon || IsLetter(C)) return a = Shaped(M, Chars({C}));
    // A non-letter in a Latin run: behind a letter it must add exactly its
    // advance in a run of its own, or it is not plain there.
    int32_t alone = Advance(M, rCommon, C);
    if (alone < 0) return a = kNotPlain;
    int32_t behind = Shaped(M, Chars({kLatinLead, C})) - Shaped(M, Chars({kLatinLead}));
    return a = behind == alone ? alone : kNotPlain;
}

bool TSimpleTextWidths::PairPlain(const QFontMetricsF& M, TRun Run, int A, int B) {
    uint8_t& p = FPair[Run][(A - kFirst) * kCount + (B - kFirst)];
    if (p != pUnknown) return p == pPlain;
    int32_t a = Advance(M, Run, A), b = Advance(M, Run, B);
    bool plain = false;
    if (a >= 0 && b >= 0) {
        if (Run == rCommon || IsLetter(A) || IsLetter(B)) {
            plain = Shaped(M, Chars({A, B})) == a + b;
        } else {
            // Both non-letters inside a Latin run: the pair behind a letter
            // must add exactly B's advance to the letter and A.
            plain = Shaped(M, Chars({kLatinLead, A, B})) - Shaped(M, Chars({kLatinLead, A})) == b;
        }
    }
    p = plain ? pPlain : pNotPlain;
    return plain;
}

bool TSimpleTextWidths::Width(const QFontMetricsF& M, const char16_t* Text, size_t Length, int& Width) {
    if (Length == 0) {
        Width = 0;
        return true;
    }
    bool letter = false;
    for (size_t i = 0; i < Length; ++i) {
        char16_t c = Text[i];
        if (c < kFirst || c > kLast) {
            ++FDeclined;
            return false;
        }
        letter = letter || IsLetter(c);
    }
    TRun run = letter ? rLatin : rCommon;
    int64_t sum = 0;
    for (size_t i = 0; i < Length; ++i) {
        int32_t a = Advance(M, run, Text[i]);
        if (a < 0 || (i > 0 && !PairPlain(M, run, Text[i - 1], Text[i]))) {
            ++FDeclined;
            return false;
        }
        sum += a;
    }
    // Rounded as Qt rounds its fixed-point widths: half a pixel up.
    Width = static_cast<int>((sum + 32) >> 6);
    ++FAdded;
    return true;
}

}  // namespace ide
