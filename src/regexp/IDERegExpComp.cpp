// The regular expression component: its state, its lifecycle and the slots
// of the last match. The compiler and the matcher are in RegExpCompiler.cpp
// and RegExpMatcher.cpp.
#include "regexp/IDERegExpComp.h"
#include "regexp/RegExpProgram.h"

#include <algorithm>
#include <array>
#include <climits>
#include <utility>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ide {

void REError(const char* Msg) { throw EREError(Msg); }

// ---------------------------------------------------------------------------
// Upper-casing: one code unit to one code unit, from a fixed table.

namespace {

Char UpCaseRule(unsigned c) {
    auto odd = [&](unsigned lo, unsigned hi) { return c >= lo && c <= hi && (c & 1u) == 1u; };
    auto even = [&](unsigned lo, unsigned hi) { return c >= lo && c <= hi && (c & 1u) == 0u; };
    if (c < 0x80) return static_cast<Char>((c >= 'a' && c <= 'z') ? c - 32 : c);
    if (c < 0x100) {
        if (c == 0xB5) return 0x39C;                          // micro sign
        if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<Char>(c - 32);
        if (c == 0xFF) return 0x178;
        return static_cast<Char>(c);
    }
    if (c < 0x180) {                                            // Latin Extended-A
        if (c == 0x131) return 'I';
        if (c == 0x17F) return 'S';
        if (odd(0x101, 0x12F) || odd(0x133, 0x137) || odd(0x14B, 0x177)) return static_cast<Char>(c - 1);
        if (even(0x13A, 0x148) || even(0x17A, 0x17E)) return static_cast<Char>(c - 1);
        return static_cast<Char>(c);
    }
    if (c >= 0x370 && c < 0x400) {                              // Greek
        if (c == 0x3AC) return 0x386;
        if (c >= 0x3AD && c <= 0x3AF) return static_cast<Char>(c - 37);
        if (c == 0x3C2) return 0x3A3;
        if (c >= 0x3B1 && c <= 0x3CB) return static_cast<Char>(c - 32);
        if (c == 0x3CC) return 0x38C;
        if (c == 0x3CD || c == 0x3CE) return static_cast<Char>(c - 63);
        if (odd(0x3D9, 0x3EF)) return static_cast<Char>(c - 1);
        return static_cast<Char>(c);
    }
    if (c >= 0x400 && c < 0x530) {                              // Cyrillic
        if (c >= 0x430 && c <= 0x44F) return static_cast<Char>(c - 32);
        if (c >= 0x450 && c <= 0x45F) return static_cast<Char>(c - 80);
        if (odd(0x461, 0x481) || odd(0x48B, 0x4BF) || odd(0x4D1, 0x52F)) return static_cast<Char>(c - 1);
        if (even(0x4C2, 0x4CE)) return static_cast<Char>(c - 1);
        if (c == 0x4CF) return 0x4C0;
        return static_cast<Char>(c);
    }
    if (c >= 0x561 && c <= 0x586) return static_cast<Char>(c - 48);  // Armenian
    if (odd(0x1E01, 0x1E95) || odd(0x1EA1, 0x1EFF)) return static_cast<Char>(c - 1);
    if (c >= 0xFF41 && c <= 0xFF5A) return static_cast<Char>(c - 32);  // fullwidth
    return static_cast<Char>(c);
}

const std::array<Char, 65536>& UpCaseTable() {
    static const std::array<Char, 65536> table = [] {
        std::array<Char, 65536> t{};
        for (unsigned c = 0; c < 65536; ++c) t[c] = UpCaseRule(c);
        return t;
    }();
    return table;
}

// The part of S from a 1-based Index: an index below 1 counts as 1, one past
// the end gives nothing, and Count is clipped to what is there.
String CopyOf(const String& S, int64_t Index, int64_t Count) {
    const int64_t len = static_cast<int64_t>(S.size());
    int64_t i = Index - 1;
    if (i < 0) i = 0;
    if (i >= len) return String();
    if (Count < 0) Count = 0;
    Count = std::min(Count, len - i);
    return S.substr(static_cast<size_t>(i), static_cast<size_t>(Count));
}

}  // namespace

Char REUpCase(Char C) noexcept { return UpCaseTable()[C]; }

namespace reprog {

const Char* FoldTable() noexcept { return UpCaseTable().data(); }

int FoldPreimages(Char Up, Char* Out, int Max) {
    // Every unit the table moves, by the unit it moves to.
    static const std::vector<std::pair<Char, Char>> moved = [] {
        const auto& t = UpCaseTable();
        std::vector<std::pair<Char, Char>> v;
        for (unsigned c = 0; c < 65536; ++c)
            if (t[c] != c) v.emplace_back(t[c], static_cast<Char>(c));
        std::sort(v.begin(), v.end());
        return v;
    }();
    int n = 0;
    auto put = [&](Char c) {
        if (n < Max) Out[n] = c;
        ++n;
    };
    if (UpCaseTable()[Up] == Up) put(Up);
    auto it = std::lower_bound(moved.begin(), moved.end(), std::make_pair(Up, Char(0)));
    for (; it != moved.end() && it->first == Up; ++it) put(it->second);
    return n;
}

}  // namespace reprog

String REUpperCase(std::u16string_view S) {
    const auto& t = UpCaseTable();
    String r(S.size(), Char(0));
    const Char* in = S.data();
    Char* out = r.data();
    const size_t n = S.size();
    size_t i = 0;
#if defined(__SSE2__)
    // Runs of ASCII go eight units at a time; anything else through the table.
    const __m128i zero = _mm_setzero_si128();
    const __m128i beforeA = _mm_set1_epi16('a' - 1);
    const __m128i afterZ = _mm_set1_epi16('z' + 1);
    const __m128i caseBit = _mm_set1_epi16(0x20);
    for (; i + 8 <= n; i += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_srli_epi16(v, 7), zero)) != 0xFFFF) {
            for (size_t k = i; k < i + 8; ++k) out[k] = t[in[k]];
            continue;
        }
        const __m128i lower = _mm_and_si128(_mm_cmpgt_epi16(v, beforeA), _mm_cmpgt_epi16(afterZ, v));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_sub_epi16(v, _mm_and_si128(lower, caseBit)));
    }
#endif
    for (; i < n; ++i) out[i] = t[in[i]];
    return r;
}

// ---------------------------------------------------------------------------
// TIDERegularExpression

TIDERegularExpression::TIDERegularExpression(TObject* AOwner)
    : FOwner(AOwner), FStarts(MatchSlots, NotSet), FEnds(MatchSlots, NotSet) {}

TIDERegularExpression::~TIDERegularExpression() = default;

std::unique_ptr<TIDERegularExpression> TIDERegularExpression::CreateRE(TObject* AOwner, const String& APattern,
                                                                       TREOptions AOptions) {
    auto re = std::make_unique<TIDERegularExpression>(AOwner);
    re->FOptions = AOptions;
    re->SetPattern(APattern);
    return re;
}

void TIDERegularExpression::SetPattern(const String& Value) {
    UnCompile();
    FPattern = Value;
    if (FOptions.Contains(reAutoMatch)) Match(FText);
}

void TIDERegularExpression::SetOptions(TREOptions Value) {
    if (Value == FOptions) return;
    UnCompile();
    FOptions = Value;
    if (FOptions.Contains(reAutoMatch)) Match(FText);
}

void TIDERegularExpression::SetText(const String& Value) {
    FText = Value;
    if (FOptions.Contains(reAutoMatch))
        Match(FText);
    else
        ResetMatches();
}

const TRECharSet& TIDERegularExpression::CharSet(int Index) const {
    if (Index < 0 || Index > 1) REError(SErrorInvalidParameter);
    return FCharSets[Index];
}

int TIDERegularExpression::CharCount(int Index) const {
    if (Index < 0 || Index > 1) REError(SErrorInvalidParameter);
    return FCharCounts[Index];
}

void TIDERegularExpression::SetCharSet(int Index, const TRECharSet& Value) {
    if (Index < 0 || Index > 1) REError(SErrorInvalidParameter);
    if (Value == FCharSets[Index]) return;
    UnCompile();
    FCharSets[Index] = Value;
    int count = 0;
    for (int c = 1; c <= 255; ++c)
        if (Value.test(static_cast<size_t>(c))) ++count;
    FCharCounts[Index] = count;
    if (FOptions.Contains(reAutoMatch)) Match(FText);
}

void TIDERegularExpression::Compile() {
    if (FCompiledRE) return;
    FMatchCount = MatchSlots;
    ResetMatches();
    // A failing constructor leaves FCompiledRE empty and lets the error pass.
    FCompiledRE = std::make_unique<TCompiledRE>(this);
}

void TIDERegularExpression::UnCompile() {
    FIsMatch = imUnknown;
    FCompiledRE.reset();
}

void TIDERegularExpression::ResetMatches() {
    FIsMatch = imUnknown;
    const int n = std::clamp(FMatchCount, 0, MatchSlots);
    int64_t* starts = FStarts.data();
    int64_t* ends = FEnds.data();
    for (int i = 0; i < n; ++i) {
        starts[i] = NotSet;
        ends[i] = NotSet;
    }
}

bool TIDERegularExpression::Match(const String& AText) {
    if (&AText != &FText) FText = AText;
    return MatchFrom(0);
}

bool TIDERegularExpression::MatchFrom(size_t Start) {
    if (FCompiledRE)
        ResetMatches();
    else
        Compile();
    const bool found = FCompiledRE->Match(Start);
    FIsMatch = found ? imYes : imNo;
    return found;
}

int64_t TIDERegularExpression::DefaultStepBudget(size_t Chars) {
    constexpr int64_t Base = 1000000;
    constexpr int64_t PerChar = 256;
    const uint64_t n = static_cast<uint64_t>(Chars) + 1;
    if (n > static_cast<uint64_t>((INT64_MAX - Base) / PerChar)) return INT64_MAX;
    return Base + PerChar * static_cast<int64_t>(n);
}

bool TIDERegularExpression::IsMatch() {
    Compile();
    if (FIsMatch == imUnknown) Match(FText);
    return FIsMatch == imYes;
}

int TIDERegularExpression::MatchCount() {
    Compile();
    return FMatchCount;
}

void TIDERegularExpression::CheckSlot(int AMatch) {
    if (!IsMatch() || AMatch < 0 || AMatch >= MatchCount()) REError(SErrorNotFound);
}

// Positions: a slot holds byte offsets, so the character position is the
// offset halved, truncated toward zero.
int TIDERegularExpression::GetMatchPos(int AMatch) {
    CheckSlot(AMatch);
    if (FStarts[AMatch] == NotSet) return -1;  // not defined: the group took no part
    return static_cast<int>(FStarts[AMatch] / 2);
}

int TIDERegularExpression::GetMatchLen(int AMatch) {
    CheckSlot(AMatch);
    if (FStarts[AMatch] == NotSet || FEnds[AMatch] == NotSet) return 0;  // not defined
    return static_cast<int>((FEnds[AMatch] - FStarts[AMatch]) / 2);
}

String TIDERegularExpression::GetMatch(int AMatch) {
    CheckSlot(AMatch);
    if (FStarts[AMatch] == NotSet || FEnds[AMatch] == NotSet) return String();
    return CopyOf(FText, GetMatchPos(AMatch) + 1, GetMatchLen(AMatch));
}

// Replaces the slot's text. Without reAutoMatch the slots are then moved, by
// a rule this engine keeps on purpose: a position after the slot's start moves
// by the change of length counted in characters but added to a byte offset,
// that is by half the change of length in characters. Callers must not rely
// on the later slots after a SetMatch without reAutoMatch.
void TIDERegularExpression::SetMatch(int AMatch, const String& AText) {
    CheckSlot(AMatch);
    if (FStarts[AMatch] == NotSet || FEnds[AMatch] == NotSet) REError(SErrorNotFound);
    const int pos = GetMatchPos(AMatch);
    const int len = GetMatchLen(AMatch);
    const int64_t oldLength = static_cast<int64_t>(FText.size());
    FText = CopyOf(FText, 1, pos) + AText + CopyOf(FText, static_cast<int64_t>(pos) + len + 1, INT64_MAX / 2);
    if (FOptions.Contains(reAutoMatch)) {
        Match(FText);
        return;
    }
    const int64_t delta = static_cast<int64_t>(FText.size()) - oldLength;
    const int64_t start = FStarts[AMatch];
    for (int i = 0; i < FMatchCount; ++i) {
        if (FStarts[i] != NotSet && FStarts[i] > start) FStarts[i] += delta;
        if (FEnds[i] != NotSet && FEnds[i] > start) FEnds[i] += delta;
    }
}

}  // namespace ide
