// What the compiler works out about a program after emitting it, for the
// matcher's shortcuts. None of it changes what matches: it only lets the
// matcher skip tries, alternatives and repeat lengths that would fail at once.
#include <algorithm>
#include <climits>
#include <vector>

#include "regexp/IDERegExpComp.h"
#include "regexp/RegExpProgram.h"
#include "regexp/RegExpScan.h"

namespace ide {

using namespace reprog;

bool reprog::FirstChars(const Char* N, int Depth, int& Budget, std::bitset<256>& Set, bool& Wide) {
    if (!N || Depth > 64 || --Budget < 0) return false;
    switch (Kind(N)) {
    case tnEXACTLY: {
        const Char c = Operand(N)[0];
        if (c == 0) return false;
        if (c < 256) Set.set(c); else Wide = true;
        return true;
    }
    case tnANYOF:
        for (const Char* s = Operand(N); *s; ++s)
            if (*s < 256) Set.set(*s); else Wide = true;
        return true;
    case tnANYBUT: {
        std::bitset<256> members;
        for (const Char* s = Operand(N); *s; ++s)
            if (*s < 256) members.set(*s);
        members.set(0);  // never at the terminator
        Set |= ~members;
        Wide = true;
        return true;
    }
    case tnPLUS:
        return FirstChars(Operand(N), Depth + 1, Budget, Set, Wide);
    case tnSTAR:
        return FirstChars(Operand(N), Depth + 1, Budget, Set, Wide) &&
               FirstChars(NextNode(N), Depth + 1, Budget, Set, Wide);
    case tnBRANCH: {
        const Char* next = NextNode(N);
        if (!next || Kind(next) != tnBRANCH) return FirstChars(Operand(N), Depth + 1, Budget, Set, Wide);
        for (const Char* b = N; b && Kind(b) == tnBRANCH; b = NextNode(b))
            if (!FirstChars(Operand(b), Depth + 1, Budget, Set, Wide)) return false;
        return true;
    }
    case tnNOTHING:
        return FirstChars(NextNode(N), Depth + 1, Budget, Set, Wide);
    case tnEOL:
        Set.set(0);  // only where the character reads as the terminator
        return true;
    default: {
        const int k = Kind(N);
        if ((k >= tnOPEN1 && k <= tnOPEN9) || (k >= tnCLOSE1 && k <= tnCLOSE9))
            return FirstChars(NextNode(N), Depth + 1, Budget, Set, Wide);
        return false;  // ., ^, the end: a try may succeed anywhere
    }
    }
}

// First characters per alternative of every choice between alternatives, and
// of what follows every simple repeat, so that the matcher neither keeps
// alternatives that can't match at the current character nor tries repeat
// lengths after which the rest can't. Walks the program in memory order.
void TCompiledRE::BuildFirstSets() {
    if (!Analysable()) return;
    const size_t units = static_cast<size_t>(FCodeSize) / 2;
    int total = 1 << 20;  // bounds the work on huge patterns
    size_t at = 0;
    while (at + NodeUnits <= units && total > 0) {
        PCNode n = FNodes + at;
        const int k = Kind(n);
        size_t size = NodeUnits;
        if (k == tnANYOF || k == tnANYBUT || k == tnEXACTLY) size += StrLen(Operand(n)) + 1;
        PCNode chain = nullptr;
        if (k == tnBRANCH)
            chain = Operand(n);
        else if (k == tnSTAR || k == tnPLUS)
            chain = NextNode(n);
        if (chain) {
            int budget = FirstWalkBudget;
            std::bitset<256> set;
            bool wide = false;
            const bool known = FirstChars(chain, 0, budget, set, wide);
            total -= FirstWalkBudget - budget;
            if (known) {
                if (FFirstIndex.empty()) FFirstIndex.assign(units, -1);
                FFirstIndex[at] = static_cast<int32_t>(FFirstSets.size());
                FFirstSets.push_back({set, wide});
            }
        }
        at += size;
    }
}

namespace {

constexpr size_t Unbounded = SIZE_MAX;

size_t AddWidth(size_t A, size_t B) { return A == Unbounded || B == Unbounded ? Unbounded : A + B; }

// The distances from a match's start to each literal on the path that every
// match takes: the top chain and the bodies of groups without alternatives.
struct TWidthWalk {
    struct TLiteral {
        const Char* Text;
        size_t Len;
        size_t Min;
        size_t Max;
    };
    std::vector<TLiteral> Literals;
    int Budget = 1 << 16;

    enum TEnd { weReached, weLoops, weUnknown };

    // Walks from N to Until, adding the widths of the nodes to [Min, Max].
    // weLoops: the chain leads back to an earlier node (the body of a
    // repeat) instead of reaching Until.
    TEnd Walk(const Char* N, const Char* Until, size_t& Min, size_t& Max, bool OnPath, int Depth) {
        while (N != Until) {
            if (!N || --Budget < 0 || Depth > 32) return weUnknown;
            const int k = Kind(N);
            switch (k) {
            case tnEXACTLY: {
                const size_t len = StrLen(Operand(N));
                if (OnPath && len > 0) Literals.push_back({Operand(N), len, Min, Max});
                Min += len;
                Max = AddWidth(Max, len);
                break;
            }
            case tnANY:
            case tnANYOF:
            case tnANYBUT:
                Min += 1;
                Max = AddWidth(Max, 1);
                break;
            case tnBOL:
            case tnEOL:
            case tnNOTHING:
                break;
            case tnSTAR:
                Max = Unbounded;
                break;
            case tnPLUS:
                Min += 1;
                Max = Unbounded;
                break;
            case tnBRANCH: {
                // A group of alternatives; they all lead to the node after
                // the last one.
                const Char* last = N;
                int count = 1;
                while (NextNode(last) && Kind(NextNode(last)) == tnBRANCH) {
                    last = NextNode(last);
                    ++count;
                }
                const Char* end = NextNode(last);
                if (count == 1) {
                    if (Walk(Operand(N), end, Min, Max, OnPath, Depth + 1) != weReached) return weUnknown;
                } else {
                    size_t groupMin = Unbounded, groupMax = 0;
                    bool loops = false;
                    for (const Char* b = N;; b = NextNode(b)) {
                        size_t min = 0, max = 0;
                        const TEnd e = Walk(Operand(b), end, min, max, false, Depth + 1);
                        if (e == weUnknown) return weUnknown;
                        if (e == weLoops) {
                            loops = true;
                        } else {
                            groupMin = std::min(groupMin, min);
                            groupMax = std::max(groupMax, max);
                        }
                        if (b == last) break;
                    }
                    if (groupMin == Unbounded) return weUnknown;
                    Min += groupMin;
                    Max = loops ? Unbounded : AddWidth(Max, groupMax);
                }
                N = end;
                continue;
            }
            default:
                if ((k >= tnOPEN1 && k <= tnOPEN9) || (k >= tnCLOSE1 && k <= tnCLOSE9)) break;
                return weUnknown;  // tnEND before Until
            }
            if (NextDistance(N) < 0) return weLoops;
            N = NextNode(N);
        }
        return weReached;
    }
};

}  // namespace

// The required literal: of the literals every match passes, one with a
// bounded distance from the match's start if there is one (it tells where a
// match can start), else the longest; then the rarest among equals.
void TCompiledRE::BuildRequired() {
    if (!Analysable()) return;
    PCNode top = FNodes;
    PCNode end = NextNode(top);
    if (!end || Kind(end) != tnEND) return;  // alternatives at the top
    TWidthWalk walk;
    size_t min = 0, max = 0;
    if (walk.Walk(Operand(top), end, min, max, true, 0) != TWidthWalk::weReached) return;
    // Read through the upper-casing, a unit of the literal stands for every
    // unit of the text that upper-cases to it: as common as the commonest.
    auto common = [this](Char c) {
        if (!FFold) return rescan::Commonness(c);
        Char units[4];
        const int n = FoldPreimages(c, units, 4);
        int most = 0;
        for (int k = 0; k < n && k < 4; ++k) most = std::max(most, rescan::Commonness(units[k]));
        return most;
    };
    auto rarity = [&common](const TWidthWalk::TLiteral& l) {
        int best = 1000;
        for (size_t i = 0; i < l.Len; ++i) best = std::min(best, common(l.Text[i]));
        return best;
    };
    const TWidthWalk::TLiteral* pick = nullptr;
    for (const auto& l : walk.Literals) {
        if (l.Len == 1 && l.Max == 0 && FBegin != 0) continue;  // the first character says as much
        if (!pick) {
            pick = &l;
            continue;
        }
        const bool lb = l.Max != Unbounded, pb = pick->Max != Unbounded;
        if (lb != pb) {
            if (lb) pick = &l;
            continue;
        }
        const size_t ll = std::min<size_t>(l.Len, 4), pl = std::min<size_t>(pick->Len, 4);
        if (ll != pl) {
            if (ll > pl) pick = &l;
            continue;
        }
        if (rarity(l) < rarity(*pick)) pick = &l;
    }
    if (!pick) return;
    FRequired = pick->Text;
    FRequiredLen = pick->Len;
    FRequiredMin = pick->Min;
    FRequiredMax = pick->Max;
    // The two rarest units, the first by position on a tie.
    size_t p1 = 0;
    for (size_t i = 1; i < pick->Len; ++i)
        if (common(pick->Text[i]) < common(pick->Text[p1])) p1 = i;
    size_t p2 = p1;
    for (size_t i = 0; i < pick->Len; ++i)
        if (i != p1 && (p2 == p1 || common(pick->Text[i]) < common(pick->Text[p2]))) p2 = i;
    FRequiredP1 = p1;
    FRequiredP2 = p2;
    if (FFold) {
        auto units = [](Char c, Char* out) {
            const int n = FoldPreimages(c, out, 3);
            if (n == 0) out[0] = 0;  // no unit reads as it; a 0 never passes the whole check
            for (int k = std::max(n, 1); k < 3; ++k) out[k] = out[0];
            return n <= 3;
        };
        const bool few1 = units(pick->Text[p1], FRequiredUnits1);
        const bool few2 = units(pick->Text[p2], FRequiredUnits2);
        FRequiredFolds = !few1 || !few2;
    }
}

// The lead repeat: the program's only alternative starts, after group
// starts, with a simple repeat, or starts with a repeated group of one
// character an iteration.
void TCompiledRE::BuildLead() {
    if (!Analysable()) return;
    PCNode top = FNodes;
    PCNode end = NextNode(top);
    if (!end || Kind(end) != tnEND) return;
    PCNode n = Operand(top);
    if (BuildLeadGroup(n)) return;
    while (n && Kind(n) >= tnOPEN1 && Kind(n) <= tnOPEN9) n = NextNode(n);
    if (!n || (Kind(n) != tnSTAR && Kind(n) != tnPLUS)) return;
    FLead = n;
    PCNode after = NextNode(n);
    while (after && ((Kind(after) >= tnOPEN1 && Kind(after) <= tnOPEN9) ||
                     (Kind(after) >= tnCLOSE1 && Kind(after) <= tnCLOSE9)))
        after = NextNode(after);
    FLeadThenRequired = after && Kind(after) == tnEXACTLY && FRequired == Operand(after);
}

namespace {

// A node that takes exactly one character that is not the terminator.
bool TakesOneChar(const Char* N) {
    switch (Kind(N)) {
    case tnEXACTLY: {
        const Char* op = Operand(N);
        return op[0] != 0 && op[1] == 0;
    }
    case tnANYOF:
    case tnANYBUT:
        return true;
    default:
        return false;
    }
}

// The body of a group from Body up to its close node of kind CloseKind:
// one such node, or alternatives that are one such node each. Adds the nodes
// to Takers and gives the close node.
bool OneCharBody(const Char* Body, int CloseKind, std::vector<const Char*>& Takers, const Char*& Close) {
    Close = nullptr;
    if (!Body) return false;
    if (Kind(Body) != tnBRANCH) {
        if (!TakesOneChar(Body)) return false;
        Close = NextNode(Body);
        Takers.push_back(Body);
        return Close && Kind(Close) == CloseKind;
    }
    const Char* b = Body;
    for (; b && Kind(b) == tnBRANCH; b = NextNode(b)) {
        const Char* op = Operand(b);
        const Char* after = TakesOneChar(op) ? NextNode(op) : nullptr;
        if (!after || Kind(after) != CloseKind || (Close && after != Close)) return false;
        Close = after;
        Takers.push_back(op);
    }
    return Close && b == Close;
}

// A tnBRANCH whose operand is a lone tnNOTHING; gives what follows that.
const Char* EmptyAlternative(const Char* B, const Char*& Then) {
    if (!B || Kind(B) != tnBRANCH) return nullptr;
    const Char* op = Operand(B);
    if (Kind(op) != tnNOTHING) return nullptr;
    Then = NextNode(op);
    return op;
}

}  // namespace

// The compiler writes a repeated group in one of two forms:
//   "(x)+": OPENk x CLOSEk, BRANCH(NOTHING back to OPENk), BRANCH(NOTHING) rest
//   "(x)*": BRANCH(OPENk x CLOSEk NOTHING back to this BRANCH), BRANCH(NOTHING) rest
bool TCompiledRE::BuildLeadGroup(PCNode First) {
    if (!First) return false;
    const bool plus = Kind(First) >= tnOPEN1 && Kind(First) <= tnOPEN9;
    PCNode open = plus ? First : (Kind(First) == tnBRANCH ? Operand(First) : nullptr);
    if (!open || Kind(open) < tnOPEN1 || Kind(open) > tnOPEN9) return false;
    std::vector<PCNode> takers;
    PCNode close = nullptr;
    if (!OneCharBody(NextNode(open), Kind(open) - tnOPEN + tnCLOSE, takers, close)) return false;
    PCNode exit = nullptr;  // the BRANCH that leaves the loop
    PCNode back = nullptr;
    if (plus) {
        PCNode loop = NextNode(close);
        if (!EmptyAlternative(loop, back) || back != First) return false;
        exit = NextNode(loop);
    } else {
        PCNode nothing = NextNode(close);
        if (!nothing || Kind(nothing) != tnNOTHING || NextNode(nothing) != First) return false;
        exit = NextNode(First);
    }
    PCNode after = nullptr;
    if (!EmptyAlternative(exit, after)) return false;
    FLeadGroup = true;
    FLeadGroupPlus = plus;
    FLeadTakers = takers;
    for (unsigned c = 1; c < 256; ++c)
        for (PCNode n : takers)
            if (SimpleTakes(n, static_cast<Char>(c))) {
                FLeadLow.set(c);
                break;
            }
    while (after && ((Kind(after) >= tnOPEN1 && Kind(after) <= tnOPEN9) ||
                     (Kind(after) >= tnCLOSE1 && Kind(after) <= tnCLOSE9)))
        after = NextNode(after);
    FLeadThenRequired = after && Kind(after) == tnEXACTLY && FRequired == Operand(after);
    return true;
}

}  // namespace ide
