// Scans of the subject for the matcher's shortcuts (internal): a code unit, a
// few code units, or a literal. SSE2 where the target has it, eight units at
// a time; plain loops otherwise. Every scan reads only the units from From to
// the terminator S[Len] included.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "foundation/Runtime.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ide::rescan {

inline constexpr size_t NotFound = SIZE_MAX;

// The index of the first unit at or after From that is C or 0. S[Len] is 0.
inline size_t FindUnitOrEnd(const Char* S, size_t Len, size_t From, Char C) {
    size_t i = From;
#if defined(__SSE2__)
    const __m128i want = _mm_set1_epi16(static_cast<short>(C));
    const __m128i zero = _mm_setzero_si128();
    while (i + 8 <= Len + 1) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i));
        const int mask = _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(v, want), _mm_cmpeq_epi16(v, zero)));
        if (mask != 0) return i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
        i += 8;
    }
#endif
    while (S[i] != C && S[i] != 0) ++i;
    return i;
}

// Whether a unit C stands in S[From..To).
inline bool HasUnit(const Char* S, size_t From, size_t To, Char C) {
    size_t i = From;
#if defined(__SSE2__)
    const __m128i want = _mm_set1_epi16(static_cast<short>(C));
    for (; i + 8 <= To; i += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(v, want)) != 0) return true;
    }
#endif
    for (; i < To; ++i)
        if (S[i] == C) return true;
    return false;
}

// The index of the first unit at or after From that is the ASCII lower-case
// letter Lower, its upper case, or 0: a unit ORed with 0x20 is Lower for
// those two only.
inline size_t FindCasePairOrEnd(const Char* S, size_t Len, size_t From, Char Lower) {
    size_t i = From;
#if defined(__SSE2__)
    const __m128i want = _mm_set1_epi16(static_cast<short>(Lower));
    const __m128i bit = _mm_set1_epi16(0x20);
    const __m128i zero = _mm_setzero_si128();
    while (i + 8 <= Len + 1) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i));
        const __m128i hit = _mm_or_si128(_mm_cmpeq_epi16(_mm_or_si128(v, bit), want), _mm_cmpeq_epi16(v, zero));
        const int mask = _mm_movemask_epi8(hit);
        if (mask != 0) return i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
        i += 8;
    }
#endif
    while (S[i] != 0 && (S[i] | 0x20) != Lower) ++i;
    return i;
}

// The index of the first unit at or after From that is one of Set[0..Count)
// (Count 1 to 3) or 0.
inline size_t FindOneOfOrEnd(const Char* S, size_t Len, size_t From, const Char* Set, int Count) {
    size_t i = From;
#if defined(__SSE2__)
    const __m128i a = _mm_set1_epi16(static_cast<short>(Set[0]));
    const __m128i b = _mm_set1_epi16(static_cast<short>(Set[Count > 1 ? 1 : 0]));
    const __m128i c = _mm_set1_epi16(static_cast<short>(Set[Count > 2 ? 2 : 0]));
    const __m128i zero = _mm_setzero_si128();
    while (i + 8 <= Len + 1) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i));
        const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, a), _mm_cmpeq_epi16(v, b)),
                                         _mm_or_si128(_mm_cmpeq_epi16(v, c), _mm_cmpeq_epi16(v, zero)));
        const int mask = _mm_movemask_epi8(hit);
        if (mask != 0) return i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
        i += 8;
    }
#endif
    for (;; ++i) {
        const Char u = S[i];
        if (u == 0) return i;
        for (int k = 0; k < Count; ++k)
            if (u == Set[k]) return i;
    }
}

// The first index at or after From where the literal Lit[0..LitLen) lies
// wholly in S[0..Len), or NotFound. Units 0 in the text are ordinary here. The
// scan compares two units of the literal, at offsets P1 and P2 (the rarest
// ones), against eight positions at a time, and checks the whole literal
// only where both agree.
inline size_t FindLiteral(const Char* S, size_t Len, size_t From, const Char* Lit, size_t LitLen, size_t P1,
                          size_t P2) {
    if (LitLen == 0 || From > Len || Len - From < LitLen) return NotFound;
    const size_t last = Len - LitLen;  // the last index where the literal fits
    size_t i = From;
#if defined(__SSE2__)
    const __m128i c1 = _mm_set1_epi16(static_cast<short>(Lit[P1]));
    const __m128i c2 = _mm_set1_epi16(static_cast<short>(Lit[P2]));
    // Loads at i + P1 and i + P2 read up to i + LitLen + 7 - 1 < Len + 1.
    while (i + 8 <= last + 1) {
        const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i + P1));
        const __m128i v2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i + P2));
        unsigned mask = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi16(v1, c1), _mm_cmpeq_epi16(v2, c2))));
        const bool compared = LitLen == 1 || (LitLen == 2 && P1 != P2);  // both units already agree
        while (mask != 0) {
            const size_t at = i + static_cast<size_t>(__builtin_ctz(mask)) / 2;
            if (compared || std::memcmp(S + at, Lit, LitLen * sizeof(Char)) == 0) return at;
            mask &= mask - 1;
            mask &= mask - 1;  // both bytes of the unit
        }
        i += 8;
    }
#endif
    for (; i <= last; ++i)
        if (S[i + P1] == Lit[P1] && S[i + P2] == Lit[P2] && std::memcmp(S + i, Lit, LitLen * sizeof(Char)) == 0)
            return i;
    return NotFound;
}

// Whether S[0..Len), read through the table Fold, is Lit[0..Len).
inline bool FoldedEqual(const Char* S, const Char* Lit, size_t Len, const Char* Fold) {
    for (size_t k = 0; k < Len; ++k)
        if (Fold[S[k]] != Lit[k]) return false;
    return true;
}

// As FindLiteral, for text read through the table Fold (the unit S[i] reads
// as Fold[S[i]]) and a literal in the table's image: the units at P1 and P2
// are looked for as any of Units1[0..3) and Units2[0..3) (repeat one to fill),
// and the whole literal is then checked through Fold.
inline size_t FindFoldedLiteral(const Char* S, size_t Len, size_t From, const Char* Lit, size_t LitLen, size_t P1,
                                size_t P2, const Char* Units1, const Char* Units2, const Char* Fold) {
    if (LitLen == 0 || From > Len || Len - From < LitLen) return NotFound;
    const size_t last = Len - LitLen;
    auto whole = [&](size_t at) { return FoldedEqual(S + at, Lit, LitLen, Fold); };
    size_t i = From;
#if defined(__SSE2__)
    const __m128i a1 = _mm_set1_epi16(static_cast<short>(Units1[0]));
    const __m128i b1 = _mm_set1_epi16(static_cast<short>(Units1[1]));
    const __m128i c1 = _mm_set1_epi16(static_cast<short>(Units1[2]));
    if (P1 == P2) {
        // One unit to look for: one set of compares.
        while (i + 8 <= last + 1) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i + P1));
            unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(
                _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, a1), _mm_cmpeq_epi16(v, b1)), _mm_cmpeq_epi16(v, c1))));
            while (mask != 0) {
                const size_t at = i + static_cast<size_t>(__builtin_ctz(mask)) / 2;
                if (whole(at)) return at;
                mask &= mask - 1;
                mask &= mask - 1;
            }
            i += 8;
        }
    }
    const __m128i a2 = _mm_set1_epi16(static_cast<short>(Units2[0]));
    const __m128i b2 = _mm_set1_epi16(static_cast<short>(Units2[1]));
    const __m128i c2 = _mm_set1_epi16(static_cast<short>(Units2[2]));
    while (i + 8 <= last + 1) {
        const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i + P1));
        const __m128i v2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(S + i + P2));
        const __m128i h1 = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v1, a1), _mm_cmpeq_epi16(v1, b1)),
                                        _mm_cmpeq_epi16(v1, c1));
        const __m128i h2 = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v2, a2), _mm_cmpeq_epi16(v2, b2)),
                                        _mm_cmpeq_epi16(v2, c2));
        unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(h1, h2)));
        while (mask != 0) {
            const size_t at = i + static_cast<size_t>(__builtin_ctz(mask)) / 2;
            if (whole(at)) return at;
            mask &= mask - 1;
            mask &= mask - 1;  // both bytes of the unit
        }
        i += 8;
    }
#endif
    for (; i <= last; ++i)
        if (Fold[S[i + P1]] == Lit[P1] && Fold[S[i + P2]] == Lit[P2] && whole(i)) return i;
    return NotFound;
}

// How common a unit is in source code and prose, roughly, from 0 (rare) to
// 255; used to pick the units a literal is searched by.
inline int Commonness(Char C) {
    if (C == ' ') return 255;
    if (C >= 'a' && C <= 'z') {
        static const char order[] = "etaoinsrhldcumfpgwybvkxjqz";
        return 240 - static_cast<int>(std::strchr(order, static_cast<char>(C)) - order) * 7;
    }
    if (C == '\n' || C == '\t' || C == '\r') return 190;
    if (C == '_' || C == '(' || C == ')' || C == ',' || C == ';' || C == '*' || C == '/' || C == '.' || C == '=')
        return 150;
    if (C >= 'A' && C <= 'Z') {
        static const char order[] = "ETAOINSRHLDCUMFPGWYBVKXJQZ";
        return 120 - static_cast<int>(std::strchr(order, static_cast<char>(C)) - order) * 3;
    }
    if (C >= '0' && C <= '9') return 110;
    if (C < 128) return 60;
    return 20;
}

}  // namespace ide::rescan
