// The matcher: walks the program with a backtrack stack on the heap, one try
// per start position.
//
// Positions are indexes into the text; the text's terminator sits at index
// FLen. With reCaseInsensitive every unit is read through the upper-casing
// table (the Fold forms of the loops), unit for unit, so positions are the
// same either way. A `.` on the terminator succeeds and moves one past it;
// that position reads as a terminator for the node that follows, and a `.`
// there has nothing left to step over and fails. No position ever goes
// further, so every loop in a program ends.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "regexp/IDERegExpComp.h"
#include "regexp/RegExpProgram.h"
#include "regexp/RegExpScan.h"

namespace ide {

using namespace reprog;

using rescan::FindUnitOrEnd;

bool TCompiledRE::Match(size_t Start) {
    const String& text = FRE->FText;
    FSubject = text.c_str();
    FLen = text.size();
    return FFold ? MatchFrom<true>(Start) : MatchFrom<false>(Start);
}

template <bool Fold>
bool TCompiledRE::MatchFrom(size_t Start) {
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
        const size_t len = static_cast<size_t>(FOptMatchLen);
        if constexpr (Fold) {
            Char first[3];
            const int n = FoldPreimages(FOptMatch[0], first, 3);
            size_t at = Start;
            for (;; ++at) {
                if (n >= 1 && n <= 3) {
                    at = rescan::FindOneOfOrEnd(s, FLen, at, first, n);
                    if (s[at] == 0) return false;
                } else if (s[at] == 0) {
                    return false;
                }
                if (at + len <= FLen && rescan::FoldedEqual(s + at, FOptMatch, len, FFold)) break;
            }
        } else {
            const Char first = FOptMatch[0];
            size_t at = Start;
            for (;;) {
                at = FindUnitOrEnd(s, FLen, at, first);
                if (s[at] == 0) return false;
                if (at + len <= FLen && std::memcmp(s + at, FOptMatch, len * sizeof(Char)) == 0) break;
                ++at;
            }
        }
    }

    if (FAnchor) return Start == 0 && MatchText<Fold>(0);
    if (Analysable()) return Search<Fold>(Start);

    if (FBegin != 0) {
        for (size_t at = Start;; ++at) {
            at = FindBegin<Fold>(at);
            if (s[at] == 0) return false;
            if (MatchText<Fold>(at)) return true;
        }
    }

    // Every position in order, the terminator included.
    size_t at = Start;
    do {
        if (MatchText<Fold>(at)) return true;
    } while (s[at++] != 0);
    return false;
}

// The first position at or after From where a unit that reads as FBegin or
// the terminator stands.
template <bool Fold>
size_t TCompiledRE::FindBegin(size_t From) const {
    if (!Fold) return FindUnitOrEnd(FSubject, FLen, From, FBegin);
    if (FBeginCasePair != 0) return rescan::FindCasePairOrEnd(FSubject, FLen, From, FBeginCasePair);
    if (FBeginUnitCount > 0) return rescan::FindOneOfOrEnd(FSubject, FLen, From, FBeginUnits, FBeginUnitCount);
    const Char* s = FSubject;
    while (s[From] != 0 && FFold[s[From]] != FBegin) ++From;
    return From;
}

// The first occurrence of the required literal at or after From, or
// rescan::NotFound.
template <bool Fold>
size_t TCompiledRE::FindRequired(size_t From) const {
    if (!Fold)
        return rescan::FindLiteral(FSubject, FLen, From, FRequired, FRequiredLen, FRequiredP1, FRequiredP2);
    if (!FRequiredFolds)
        return rescan::FindFoldedLiteral(FSubject, FLen, From, FRequired, FRequiredLen, FRequiredP1, FRequiredP2,
                                         FRequiredUnits1, FRequiredUnits2, FFold);
    const Char* s = FSubject;
    for (size_t i = From; i + FRequiredLen <= FLen; ++i)
        if (rescan::FoldedEqual(s + i, FRequired, FRequiredLen, FFold)) return i;
    return rescan::NotFound;
}

// The search of a program of fewer than ten groups: tries in the same order
// as one at every position, but only where a match can start:
// - where the first character (FBegin) or one of the first characters stands;
// - within the distances of the required literal before one of its
//   occurrences, and nowhere once none is left;
// - not inside the run of a lead repeat after a try that failed, as every try
//   that starts inside the run makes the same repeat end where that try's did
//   and then tries a subset of the same positions for what follows.
template <bool Fold>
bool TCompiledRE::Search(size_t Start) {
    const Char* const s = FSubject;
    size_t at = Start;
    size_t literal = 0;  // the next occurrence of the required literal
    bool haveLiteral = false;
    // A literal with no bound on its distance can't move the start: it is
    // looked for after the scan for a first character, once per start.
    const bool literalFirst = FRequiredMax != SIZE_MAX || FLeadThenRequired;
    for (;;) {
        if (FRequired && literalFirst) {
            if (!haveLiteral || literal < at + FRequiredMin) {
                literal = at + FRequiredMin <= FLen ? FindRequired<Fold>(at + FRequiredMin) : rescan::NotFound;
                if (literal == rescan::NotFound) return false;
                haveLiteral = true;
            }
            if (FRequiredMax != SIZE_MAX && literal - at > FRequiredMax) {
                // No start before literal - max can match. A search never
                // starts past a terminator, so if one stands in between, no
                // start is left.
                if (rescan::HasUnit(s, at, literal - FRequiredMax, 0)) return false;
                at = literal - FRequiredMax;
            }
        }
        if (FLeadThenRequired && literal > at) {
            // Only a start from which the lead repeat's run reaches the
            // occurrence can use it, and a try at an earlier start inside
            // the run reaches it too: the run's beginning is the start.
            size_t from = literal;
            while (from > at && LeadTakes(Ch<Fold>(from - 1))) --from;
            if (from == literal && (FLeadGroup ? FLeadGroupPlus : Kind(FLead) == tnPLUS)) {
                // Nothing before the occurrence to repeat: no start up to it.
                if (rescan::HasUnit(s, at, literal, 0)) return false;
                at = literal;
                continue;
            }
            if (from > at) {
                if (rescan::HasUnit(s, at, from, 0)) return false;
                at = from;
            }
        }
        if (FBegin != 0) {
            at = FindBegin<Fold>(at);
            if (s[at] == 0) return false;
        } else if (FHasFirstSet) {
            at = ScanFirst<Fold>(at);
            if (s[at] == 0) return false;
        }
        if (FRequired && (!haveLiteral || literal < at + FRequiredMin)) {
            if (literalFirst) continue;  // that occurrence is behind: the next one
            literal = at + FRequiredMin <= FLen ? FindRequired<Fold>(at + FRequiredMin) : rescan::NotFound;
            if (literal == rescan::NotFound) return false;
            haveLiteral = true;
        }
        FLeadRun = SIZE_MAX;
        if (MatchText<Fold>(at)) return true;
        if (FLeadGroup) {
            while (LeadTakes(Ch<Fold>(at))) ++at;  // the group's run, as the failed try took it
        } else if (FLeadRun != SIZE_MAX) {
            at += FLeadRun;  // the run holds no terminator
        }
        if (s[at] == 0) return false;  // the terminator was the last start
        ++at;
    }
}

// Whether a simple node takes one character C (not the terminator).
bool TCompiledRE::SimpleTakes(PCNode Node, Char C) const {
    if (C == 0) return false;
    switch (Kind(Node)) {
    case tnANY:
        return true;
    case tnEXACTLY:
        return C == Operand(Node)[0];
    case tnANYOF:
        return InSet(Node, C);
    case tnANYBUT:
        return !InSet(Node, C);
    default:
        return false;
    }
}

inline bool TCompiledRE::LeadTakes(Char C) const {
    if (!FLeadGroup) return SimpleTakes(Operand(FLead), C);
    if (C < 256) return FLeadLow[C];
    for (PCNode n : FLeadTakers)
        if (SimpleTakes(n, C)) return true;
    return false;
}

// The first position at or after At where a first character of a match or
// the terminator stands.
template <bool Fold>
size_t TCompiledRE::ScanFirst(size_t At) const {
    if (FFirstFewCount > 0) return rescan::FindOneOfOrEnd(FSubject, FLen, At, FFirstFew, FFirstFewCount);
    const Char* s = FSubject;
    for (;; ++At) {
        const Char c = Fold ? FFold[s[At]] : s[At];
        if (c < 256 ? FFirstStop[c] != 0 : FFirstWide) return At;
    }
}

inline TCompiledRE::TFollow TCompiledRE::FollowOf(PCNode Repeat, PCNode Next) const {
    if (const TFirstSet* first = FirstSetOf(Repeat)) return {first, 0};
    return {nullptr, Next && Kind(Next) == tnEXACTLY ? Operand(Next)[0] : Char(0)};
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
template <bool Fold>
bool TCompiledRE::MatchText(size_t Start) {
    const Char* const s = FSubject;
    const size_t len = FLen;
    int64_t* const starts = FRE->FStarts.data();
    int64_t* const ends = FRE->FEnds.data();
    uint32_t dirty = 0;  // slots set with no choice open: bit k for start k, bit 16 + k for end k
    size_t pos = Start;
    PCNode node = FStart;
    FStack.clear();
    FTopChoice = NoChoice;
    int64_t left = FStepsLeft;

    for (;;) {
        // Run forward from node until it fails.
        for (;;) {
            if (!node) REError(SErrorInvalidParameter);  // fell off the chain
            if (--left < 0) StepBudgetExceeded();
            PCNode next = NextNode(node);
            const int kind = Kind(node);
            switch (kind) {
            case tnEND:
                FStepsLeft = left;
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
                if (Ch<Fold>(pos) != 0) goto fail;
                break;
            case tnANY:
                if (pos > len) goto fail;  // nothing left to step over
                ++pos;
                break;
            case tnANYOF: {
                const Char c = Ch<Fold>(pos);
                if (c == 0 || !InSet(node, c)) goto fail;
                ++pos;
                break;
            }
            case tnANYBUT: {
                const Char c = Ch<Fold>(pos);
                if (c == 0 || InSet(node, c)) goto fail;
                ++pos;
                break;
            }
            case tnEXACTLY: {
                PCNode op = Operand(node);
                if (op[0] != Ch<Fold>(pos)) goto fail;
                if (op[0] == 0) break;  // an empty operand matches a terminator
                // pos <= len here, and the subject's terminator differs from
                // every operand character, so the compare stops in time.
                size_t i = 1;
                for (; op[i] != 0; ++i)
                    if (op[i] != (Fold ? FFold[s[pos + i]] : s[pos + i])) goto fail;
                pos += i;
                break;
            }
            case tnNOTHING:
                break;
            case tnBRANCH:
                if (!next || Kind(next) != tnBRANCH) {
                    next = Operand(node);  // no choice
                } else {
                    const Char c = Ch<Fold>(pos);
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
                size_t at = MatchSimpleCount<Fold>(Operand(node), pos);
                if (node == FLead && FLeadRun == SIZE_MAX) FLeadRun = at - pos;
                if (at < low) goto fail;
                // The longest length first, then shorter ones down to low.
                const TFollow follow = FollowOf(node, next);
                while (!follow.Test(Ch<Fold>(at))) {
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
                        dirty |= open ? 1u << (kind - tnOPEN) : 1u << (16 + kind - tnCLOSE);
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
                FStepsLeft = left;
                for (; dirty != 0; dirty &= dirty - 1) {
                    const int bit = __builtin_ctz(dirty);
                    (bit < 16 ? starts[bit] : ends[bit - 16]) = TIDERegularExpression::NotSet;
                }
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
                if (PCNode later = NextAlternative(take, Ch<Fold>(pos)))
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
            const TFollow follow = FollowOf(repeat, next);
            while (at > low) {
                --at;
                if (follow.Test(Ch<Fold>(at))) {
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
    FStepsLeft = 0;
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


// The position after as many repetitions of the simple node from Pos as there
// are.
template <bool Fold>
size_t TCompiledRE::MatchSimpleCount(PCNode Node, size_t Pos) const {
    const Char* s = FSubject;
    auto unit = [&](size_t p) { return Fold ? FFold[s[p]] : s[p]; };
    size_t p = Pos;
    switch (Kind(Node)) {
    case tnANY:
        if (p <= FLen) p = FindUnitOrEnd(s, FLen, p, 0);
        break;
    case tnEXACTLY: {
        const Char c = Operand(Node)[0];
        while (p <= FLen && unit(p) == c) ++p;
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
                for (Char c; (c = unit(p)) != 0 && c < 256 && low[c]; ++p) {}
            } else {
                for (Char c; (c = unit(p)) != 0 && (c >= 256 || !low[c]); ++p) {}
            }
        } else {
            for (Char c; (c = unit(p)) != 0 && InSet(Node, c) == want; ++p) {}
        }
        break;
    }
    default:
        REError(SErrorInternal);
    }
    return p;
}

}  // namespace ide
