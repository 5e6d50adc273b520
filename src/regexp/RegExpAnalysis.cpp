// What the compiler works out about a program after emitting it, for the
// matcher's shortcuts. None of it changes what matches: it only lets the
// matcher skip tries, alternatives and repeat lengths that would fail at once.
#include "regexp/IDERegExpComp.h"
#include "regexp/RegExpProgram.h"

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

}  // namespace ide
