// The matcher: walks the program with a backtrack stack on the heap, one try
// per start position.
//
// Positions are indexes into the subject (the text, or its upper-cased copy);
// the subject's terminator sits at index FLen. A `.` on the terminator
// succeeds and moves one past it; that position reads as a terminator for the
// node that follows, and a `.` there has nothing left to step over and fails.
// No position ever goes further, so every loop in a program ends.
#include <algorithm>
#include <cstring>
#include <iterator>

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
    FRE->ResetMatches();  // every try leaves the slots as clear as it found them
    FStepsUsed = 0;
    if (Start > FLen) return false;
    const int64_t budget = FRE->FStepBudget == TIDERegularExpression::AutoStepBudget
                               ? TIDERegularExpression::DefaultStepBudget(FLen - Start)
                           : FRE->FStepBudget < 0 ? INT64_MAX
                                                  : FRE->FStepBudget;
    FStepsLeft = budget;
    struct CountSteps {
        TCompiledRE& re;
        int64_t budget;
        ~CountSteps() { re.FStepsUsed = budget - std::max<int64_t>(re.FStepsLeft, 0); }
    } count{*this, budget};
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

// One try at Start: a depth-first walk of the program that keeps its open
// choices on FStack rather than on the thread's stack. The walk is the one of
// a recursive matcher that calls itself for every alternative, every length
// of a repeat and every group node, and returns at once from the first
// tnEND it reaches:
// - an alternative: the later ones are kept as a choice to come back to;
// - a simple repeat: it takes as many as it can, then gives back one at a
//   time; the shorter lengths are kept as one choice;
// - a group node sets its slot on the way forward, and the old value is kept
//   for the choice it was set under, so going back to a choice puts back
//   what the slots held there. On success each slot therefore holds the value
//   of the last group node of its kind on the path that succeeded, which is
//   what a recursive matcher that sets slots on its way back from success,
//   first set winning, leaves.
// Slots are clear when a try starts and are left clear when it fails.
bool TCompiledRE::MatchText(size_t Start) {
    const Char* const s = FSubject;
    const size_t len = FLen;
    int64_t* const starts = FRE->FStarts.data();
    int64_t* const ends = FRE->FEnds.data();
    bool dirty = false;  // a slot was set with no choice open
    size_t pos = Start;
    PCNode node = FNodes;
    FStack.clear();
    FTopChoice = NoChoice;
    int64_t& left = FStepsLeft;

    for (;;) {
        // Run forward from node until it fails.
        for (;;) {
            if (!node) REError(SErrorInvalidParameter);  // fell off the chain
            if (--left < 0) StepBudgetExceeded();
            PCNode next = NextNode(node);
            const int kind = Kind(node);
            switch (kind) {
            case tnEND:
                FStack.clear();
                if (FTopChoice != NoChoice) std::fill(std::begin(FSavedAt), std::end(FSavedAt), NoChoice);
                FTopChoice = NoChoice;
                FRE->FStarts[0] = static_cast<int64_t>(Start) * 2;
                FRE->FEnds[0] = static_cast<int64_t>(pos) * 2;
                return true;
            case tnBOL:
                if (pos != 0) goto fail;
                break;
            case tnEOL:
                if (Ch(pos) != 0) goto fail;
                break;
            case tnANY:
                if (pos > len) goto fail;  // nothing left to step over
                ++pos;
                break;
            case tnANYOF: {
                const Char c = Ch(pos);
                if (c == 0 || !InSet(node, c)) goto fail;
                ++pos;
                break;
            }
            case tnANYBUT: {
                const Char c = Ch(pos);
                if (c == 0 || InSet(node, c)) goto fail;
                ++pos;
                break;
            }
            case tnEXACTLY: {
                PCNode op = Operand(node);
                if (op[0] != Ch(pos)) goto fail;
                if (op[0] == 0) break;  // an empty operand matches a terminator
                // pos <= len here, and the subject's terminator differs from
                // every operand character, so the compare stops in time.
                size_t i = 1;
                for (; op[i] != 0; ++i)
                    if (op[i] != s[pos + i]) goto fail;
                pos += i;
                break;
            }
            case tnNOTHING:
                break;
            case tnBRANCH:
                if (!next || Kind(next) != tnBRANCH) {
                    next = Operand(node);  // no choice
                } else {
                    const Char c = Ch(pos);
                    const TFirstSet* first = FirstSetOf(node);
                    PCNode take = !first || first->Test(c) ? node : NextAlternative(node, c);
                    if (!take) goto fail;
                    if (PCNode later = NextAlternative(take, c)) {
                        FTopChoice = FStack.size();
                        FStack.push_back({fkAlternative, static_cast<uint32_t>(later - FNodes), pos, 0});
                    }
                    next = Operand(take);
                }
                break;
            case tnSTAR:
            case tnPLUS: {
                const size_t low = pos + (kind == tnPLUS ? 1 : 0);
                size_t at = MatchSimpleCount(Operand(node), pos);
                if (at < low) goto fail;
                // The longest length first, then shorter ones down to low.
                while (!RepeatMayGoOn(node, next, Ch(at))) {
                    if (at == low) goto fail;
                    --at;
                }
                if (at > low) {
                    FTopChoice = FStack.size();
                    FStack.push_back({fkRepeat, static_cast<uint32_t>(node - FNodes), at, low});
                }
                pos = at;
                break;
            }
            default:
                if (const bool open = kind >= tnOPEN1 && kind <= tnOPEN9; open || (kind >= tnCLOSE1 && kind <= tnCLOSE9)) {
                    int64_t& slot = open ? starts[kind - tnOPEN] : ends[kind - tnCLOSE];
                    if (FTopChoice == NoChoice) {
                        dirty = true;
                    } else if (FSavedAt[kind] != FTopChoice) {
                        FStack.push_back({fkSlot, static_cast<uint32_t>(kind), static_cast<size_t>(slot), FSavedAt[kind]});
                        FSavedAt[kind] = FTopChoice;
                    }
                    slot = static_cast<int64_t>(pos) * 2;
                    break;
                }
                REError(SErrorInternal);
            }
            node = next;
        }

    fail:
        // Back to the newest open choice, putting slots back on the way.
        for (;;) {
            if (FStack.empty()) {
                if (dirty)
                    for (int i = 1; i <= 9; ++i) starts[i] = ends[i] = TIDERegularExpression::NotSet;
                return false;
            }
            TFrame& f = FStack.back();
            if (f.Kind != fkSlot && --left < 0) StepBudgetExceeded();
            if (f.Kind == fkSlot) {
                const int kind = static_cast<int>(f.Node);
                (kind <= tnOPEN9 ? starts[kind - tnOPEN] : ends[kind - tnCLOSE]) = static_cast<int64_t>(f.Pos);
                FSavedAt[kind] = f.Aux;
                FStack.pop_back();
                continue;
            }
            if (f.Kind == fkAlternative) {
                PCNode take = FNodes + f.Node;
                pos = f.Pos;
                if (PCNode later = NextAlternative(take, Ch(pos)))
                    f.Node = static_cast<uint32_t>(later - FNodes);
                else
                    PopChoice();
                node = Operand(take);
                break;
            }
            // A repeat: the next shorter length that may go on.
            PCNode repeat = FNodes + f.Node;
            PCNode next = NextNode(repeat);
            const size_t low = f.Aux;
            size_t at = f.Pos;
            bool found = false;
            while (at > low) {
                --at;
                if (RepeatMayGoOn(repeat, next, Ch(at))) {
                    found = true;
                    break;
                }
            }
            if (!found) {
                PopChoice();
                continue;
            }
            if (at > low)
                f.Pos = at;
            else
                PopChoice();
            pos = at;
            node = next;
            break;
        }
    }
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

void TCompiledRE::StepBudgetExceeded() {
    FStack.clear();
    std::fill(std::begin(FSavedAt), std::end(FSavedAt), NoChoice);
    FTopChoice = NoChoice;
    FRE->ResetMatches();
    throw EREStepBudgetExceeded(SErrorStepBudget);
}

// Drops the newest choice frame; the one below it becomes the newest. Between
// two choices lie at most one saved slot per group node kind.
void TCompiledRE::PopChoice() {
    FStack.pop_back();
    size_t i = FStack.size();
    while (i > 0 && FStack[i - 1].Kind == fkSlot) --i;
    FTopChoice = i > 0 ? i - 1 : NoChoice;
}

// The alternative after Branch that may match at a character C, or null.
TCompiledRE::PCNode TCompiledRE::NextAlternative(PCNode Branch, Char C) const {
    for (PCNode b = NextNode(Branch); b && Kind(b) == tnBRANCH; b = NextNode(b)) {
        const TFirstSet* first = FirstSetOf(b);
        if (!first || first->Test(C)) return b;
    }
    return nullptr;
}

// Whether what follows a repeat may match at a character C: by the first
// characters of what follows where they are known, else by the first
// character of a literal that follows.
bool TCompiledRE::RepeatMayGoOn(PCNode Repeat, PCNode Next, Char C) const {
    if (const TFirstSet* first = FirstSetOf(Repeat)) return first->Test(C);
    if (Next && Kind(Next) == tnEXACTLY) {
        const Char want = Operand(Next)[0];
        return want == 0 || C == want;
    }
    return true;
}

// The position after as many repetitions of the simple node from Pos as there
// are.
size_t TCompiledRE::MatchSimpleCount(PCNode Node, size_t Pos) const {
    const Char* s = FSubject;
    size_t p = Pos;
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
    return p;
}

}  // namespace ide
