// The matcher: walks the program by recursion, one try per start position.
//
// Positions are indexes into the subject (the text, or its upper-cased copy);
// the subject's terminator sits at index FLen. A `.` on the terminator
// succeeds and moves one past it; that position reads as a terminator for the
// node that follows, and a `.` there has nothing left to step over and fails.
// No position ever goes further, so every loop in a program ends.
#include <cstring>

#include "regexp/IDERegExpComp.h"
#include "regexp/RegExpProgram.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ide {

using namespace reprog;

namespace {

// The index of the first unit at or after From that is C or 0. S[Len] is 0.
size_t FindUnitOrEnd(const Char* S, size_t Len, size_t From, Char C) {
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

}  // namespace

void TCompiledRE::PrepareSubject() {
    const String& text = FRE->FText;
    if (FRE->FOptions.Contains(reCaseInsensitive)) {
        if (FCITextVersion != FRE->FTextVersion) {
            FCIText = REUpperCase(text);
            FCITextVersion = FRE->FTextVersion;
        }
        FSubject = FCIText.c_str();
        FLen = FCIText.size();
    } else {
        FSubject = text.c_str();
        FLen = text.size();
    }
}

bool TCompiledRE::Match(size_t Start) {
    PrepareSubject();
#ifdef IDE_REGEXP_STEP_BUDGET
    FSteps = 0;
#endif
    if (Start > FLen) return false;
    const Char* s = FSubject;

    // A literal that every match contains: without it, nothing to try.
    if (FOptMatch && FOptMatchLen > 0) {
        const Char first = FOptMatch[0];
        const size_t len = static_cast<size_t>(FOptMatchLen);
        size_t at = Start;
        for (;;) {
            at = FindUnitOrEnd(s, FLen, at, first);
            if (s[at] == 0) return false;
            if (at + len <= FLen && std::memcmp(s + at, FOptMatch, len * sizeof(Char)) == 0) break;
            ++at;
        }
    }

    if (FAnchor) return Start == 0 && MatchText(0);

    if (FBegin != 0) {
        for (size_t at = Start;; ++at) {
            at = FindUnitOrEnd(s, FLen, at, FBegin);
            if (s[at] == 0) return false;
            if (MatchText(at)) return true;
        }
    }

    if (FHasFirstSet) {
        for (size_t at = Start;; ++at) {
            const Char c = s[at];
            if (c == 0) return false;
            if (c < 256 ? FFirstSet[c] : FFirstWide)
                if (MatchText(at)) return true;
        }
    }

    // Every position in order, the terminator included.
    size_t at = Start;
    do {
        if (MatchText(at)) return true;
    } while (s[at++] != 0);
    return false;
}

bool TCompiledRE::MatchText(size_t Start) {
    FPos = Start;
    FRE->ResetMatches();
    if (!MatchExec(FNodes)) return false;
    FRE->FStarts[0] = static_cast<int64_t>(Start) * 2;
    FRE->FEnds[0] = static_cast<int64_t>(FPos) * 2;
    return true;
}

bool TCompiledRE::InSet(PCNode Node, Char C) const {
    const size_t at = static_cast<size_t>(Node - FNodes);
    const int32_t index = at < FSetIndex.size() ? FSetIndex[at] : -1;
    if (index >= 0) {
        const TSetMap& map = FSetMaps[static_cast<size_t>(index)];
        if (C < 256) return map.Low[C];
        if (!map.Wide) return false;
        if (map.All) return (*map.All)[C];
    }
    for (PCNode s = Operand(Node); *s; ++s)
        if (*s == C) return true;
    return false;
}

bool TCompiledRE::MatchExec(PCNode Node) {
    if (!Node) REError(SErrorInvalidParameter);
#ifdef IDE_REGEXP_STEP_BUDGET
    if (++FSteps > IDE_REGEXP_STEP_BUDGET) throw ERETooMuchWork("step budget exhausted");
#endif
    PCNode scan = Node;
    while (scan) {
        PCNode next = NextNode(scan);
        const int kind = Kind(scan);
        switch (kind) {
        case tnEND:
            return true;
        case tnBOL:
            if (FPos != 0) return false;
            break;
        case tnEOL:
            if (Ch(FPos) != 0) return false;
            break;
        case tnANY:
            if (FPos > FLen) return false;  // nothing left to step over
            ++FPos;
            break;
        case tnANYOF: {
            const Char c = Ch(FPos);
            if (c == 0 || !InSet(scan, c)) return false;
            ++FPos;
            break;
        }
        case tnANYBUT: {
            const Char c = Ch(FPos);
            if (c == 0 || InSet(scan, c)) return false;
            ++FPos;
            break;
        }
        case tnEXACTLY: {
            PCNode op = Operand(scan);
            if (op[0] != Ch(FPos)) return false;
            if (op[0] == 0) break;  // an empty operand matches a terminator
            // FPos <= FLen here, and the subject's terminator differs from
            // every operand character, so the compare stops in time.
            size_t i = 1;
            for (; op[i] != 0; ++i)
                if (op[i] != FSubject[FPos + i]) return false;
            FPos += i;
            break;
        }
        case tnNOTHING:
            break;
        case tnBRANCH:
            if (!next || Kind(next) != tnBRANCH) {
                next = Operand(scan);  // no choice
            } else {
                do {
                    const size_t save = FPos;
                    if (MatchExec(Operand(scan))) return true;
                    FPos = save;
                    scan = NextNode(scan);
                } while (scan && Kind(scan) == tnBRANCH);
                return false;
            }
            break;
        case tnSTAR:
        case tnPLUS: {
            const Char nextChar = next && Kind(next) == tnEXACTLY ? Operand(next)[0] : Char(0);
            const size_t min = kind == tnPLUS ? 1 : 0;
            const size_t save = FPos;
            size_t count = MatchSimpleCount(Operand(scan));
            while (count >= min) {
                if (nextChar == 0 || Ch(FPos) == nextChar)
                    if (MatchExec(next)) return true;
                if (count == 0) break;
                --count;
                FPos = save + count;
            }
            return false;
        }
        default:
            // A group's start or end: set on the way back from success, and
            // the first set wins.
            if (const bool open = kind >= tnOPEN1 && kind <= tnOPEN9; open || (kind >= tnCLOSE1 && kind <= tnCLOSE9)) {
                const size_t save = FPos;
                if (!MatchExec(next)) return false;
                int64_t& slot = open ? FRE->FStarts[static_cast<size_t>(kind - tnOPEN)]
                                     : FRE->FEnds[static_cast<size_t>(kind - tnCLOSE)];
                if (slot == TIDERegularExpression::NotSet) slot = static_cast<int64_t>(save) * 2;
                return true;
            }
            REError(SErrorInternal);
        }
        scan = next;
    }
    REError(SErrorInvalidParameter);  // fell off the chain
}

// Advances FPos over as many repetitions of the simple node as there are, and
// returns their number.
size_t TCompiledRE::MatchSimpleCount(PCNode Node) {
    const Char* s = FSubject;
    size_t p = FPos;
    switch (Kind(Node)) {
    case tnANY:
        if (p <= FLen) p = FindUnitOrEnd(s, FLen, p, 0);
        break;
    case tnEXACTLY: {
        const Char c = Operand(Node)[0];
        while (p <= FLen && s[p] == c) ++p;
        break;
    }
    case tnANYOF:
    case tnANYBUT: {
        if (p > FLen) break;
        const bool want = Kind(Node) == tnANYOF;
        const size_t at = static_cast<size_t>(Node - FNodes);
        const int32_t index = at < FSetIndex.size() ? FSetIndex[at] : -1;
        if (index >= 0 && !FSetMaps[static_cast<size_t>(index)].Wide) {
            // Members all below 256: one bitmap test a character.
            const std::bitset<256>& low = FSetMaps[static_cast<size_t>(index)].Low;
            if (want) {
                for (Char c; (c = s[p]) != 0 && c < 256 && low[c]; ++p) {}
            } else {
                for (Char c; (c = s[p]) != 0 && (c >= 256 || !low[c]); ++p) {}
            }
        } else {
            for (Char c; (c = s[p]) != 0 && InSet(Node, c) == want; ++p) {}
        }
        break;
    }
    default:
        REError(SErrorInternal);
    }
    const size_t count = p - FPos;
    FPos = p;
    return count;
}

}  // namespace ide
