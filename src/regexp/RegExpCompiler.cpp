// The compiler: a recursive-descent scan of the pattern that runs twice. The
// first pass only counts the program's size; the block is then allocated once
// and the second pass writes the nodes into it.
#include <algorithm>
#include <climits>
#include <iterator>
#include <cstdio>
#include <new>

#include "regexp/IDERegExpComp.h"
#include "regexp/RegExpProgram.h"

namespace ide {

using namespace reprog;

namespace {

bool IsRepeat(Char C) { return C == '*' || C == '+' || C == '?'; }

bool IsMeta(Char C) {
    switch (C) {
    case '$': case '(': case ')': case '*': case '+': case '.':
    case '?': case '[': case '\\': case '^': case '|':
        return true;
    default:
        return false;
    }
}

}  // namespace

TCompiledRE::TCompiledRE(TIDERegularExpression* ARE) : FRE(ARE) {
    std::fill(std::begin(FSavedAt), std::end(FSavedAt), NoChoice);
    const bool fold = FRE->FOptions.Contains(reCaseInsensitive);
    FCIPattern = fold ? REUpperCase(FRE->FPattern) : FRE->FPattern;
    if (fold) FFold = FoldTable();
    int flags = 0;
    PNode top = nullptr;

    // Pass one: count.
    FScan = FCIPattern.c_str();
    FRE->FMatchCount = 1;
    FEmit = reinterpret_cast<Char*>(&FEmit);
    FCodeSize = 0;
    ScanRE(false, flags, top);
    if (FCodeSize > INT_MAX / 2) throw std::bad_alloc();  // distances are 32-bit

    // One allocation of the exact size, then pass two: emit.
    FBlock.reset(new Char[static_cast<size_t>(FCodeSize) / 2]());
    FNodes = FBlock.get();
    FScan = FCIPattern.c_str();
    FRE->FMatchCount = 1;
    FEmit = FNodes;
    ScanRE(false, flags, top);
    FScan = nullptr;
    // Both passes read the same pattern: they must agree to the byte.
    if (FEmit != FNodes + FCodeSize / 2) REError(SErrorInternal);

    Analyse(flags);
    BuildSetIndex();
    BuildFirstSets();
    BuildRequired();
    BuildLead();
    // A try starts at the program, or at the operand of its only alternative.
    FStart = NextNode(FNodes) && Kind(NextNode(FNodes)) == tnBRANCH ? FNodes : Operand(FNodes);
}

TCompiledRE::~TCompiledRE() = default;

std::u16string_view TCompiledRE::OptMatch() const {
    if (!FOptMatch) return {};
    return std::u16string_view(FOptMatch, static_cast<size_t>(FOptMatchLen));
}

// ---------------------------------------------------------------------------
// Emitting. While FEmit points at itself (pass one) only FCodeSize grows and
// no fix-up does anything; node pointers are then null.

TCompiledRE::PNode TCompiledRE::EmitNode(int Kind) {
    if (Sizing()) {
        FCodeSize += NodeBytes;
        return nullptr;
    }
    PNode node = FEmit;
    SetKind(node, Kind);
    SetNextDistance(node, 0);
    FEmit += NodeUnits;
    return node;
}

void TCompiledRE::EmitChar(Char C) {
    if (Sizing()) {
        FCodeSize += 2;
        return;
    }
    *FEmit++ = C;
}

// Puts a node in front of Opnd, moving Opnd and everything after it 8 bytes up.
void TCompiledRE::EmitInsert(int Kind, PNode Opnd) {
    if (Sizing()) {
        FCodeSize += NodeBytes;
        return;
    }
    std::memmove(Opnd + NodeUnits, Opnd, static_cast<size_t>(FEmit - Opnd) * sizeof(Char));
    FEmit += NodeUnits;
    SetKind(Opnd, Kind);
    SetNextDistance(Opnd, 0);
    const size_t at = static_cast<size_t>(Opnd - FNodes);
    for (auto it = FSetNodes.rbegin(); it != FSetNodes.rend() && *it >= at; ++it) *it += NodeUnits;
}

// Links the last node of the chain starting at P to Val.
void TCompiledRE::EmitTail(PNode P, PNode Val) {
    if (Sizing() || !P) return;
    PNode scan = P;
    for (PNode t = NextNode(scan); t; t = NextNode(scan)) scan = t;
    SetNextDistance(scan, static_cast<int32_t>((Val - scan) * static_cast<int32_t>(sizeof(Char))));
}

// EmitTail on the operand of a branch; nothing for other nodes.
void TCompiledRE::EmitOpndTailFixup(PNode P, PNode Val) {
    if (Sizing() || !P || Kind(P) != tnBRANCH) return;
    EmitTail(Operand(P), Val);
}

// ---------------------------------------------------------------------------
// Scanning.

// A whole expression, or a group's body when Paren: branches separated by |.
void TCompiledRE::ScanRE(bool Paren, int& Flags, PNode& Result) {
    Flags = nfHasWidth;
    PNode ret = nullptr;
    int group = 0;
    if (Paren) {
        if (FRE->FMatchCount > MaxSubExpressions) REError(SErrorTooManySubExps);
        group = FRE->FMatchCount++;
        ret = EmitNode((group + tnOPEN) & 0xFF);
    }
    int branchFlags = 0;
    PNode branch = ScanBranch(branchFlags);
    const PNode first = branch;
    if (Paren)
        EmitTail(ret, branch);
    else
        ret = branch;
    if (!(branchFlags & nfHasWidth)) Flags &= ~nfHasWidth;
    Flags |= branchFlags & nfSPStart;
    while (*FScan == '|') {
        ++FScan;
        branch = ScanBranch(branchFlags);
        EmitTail(ret, branch);
        if (!(branchFlags & nfHasWidth)) Flags &= ~nfHasWidth;
        Flags |= branchFlags & nfSPStart;
    }

    PNode ender = EmitNode(Paren ? ((group + tnCLOSE) & 0xFF) : tnEND);
    EmitTail(ret, ender);
    // The end of every alternative's operand leads to the end node.
    if (!Sizing())
        for (PNode b = first; b && b != ender; b = NextNode(b)) EmitOpndTailFixup(b, ender);

    if (Paren) {
        if (*FScan != ')') REError(SErrorUnmatchedParens);
        ++FScan;
    } else if (*FScan != 0) {
        if (*FScan == ')') REError(SErrorUnmatchedParens);
        REError(SErrorInternal);
    }
    Result = ret;
}

// One alternative: a tnBRANCH whose operand is the chain of its pieces.
TCompiledRE::PNode TCompiledRE::ScanBranch(int& Flags) {
    Flags = 0;
    PNode ret = EmitNode(tnBRANCH);
    PNode chain = nullptr;
    bool first = true;
    while (*FScan != 0 && *FScan != '|' && *FScan != ')') {
        int pieceFlags = 0;
        PNode latest = ScanPiece(pieceFlags);
        Flags |= pieceFlags & nfHasWidth;
        if (first)
            Flags |= pieceFlags & nfSPStart;
        else
            EmitTail(chain, latest);
        chain = latest;
        first = false;
    }
    if (first) EmitNode(tnNOTHING);
    return ret;
}

// An atom and the repeat that may follow it.
TCompiledRE::PNode TCompiledRE::ScanPiece(int& Flags) {
    int atomFlags = 0;
    PNode ret = ScanAtom(atomFlags);
    const Char op = *FScan;
    if (!IsRepeat(op)) {
        Flags = atomFlags;
        return ret;
    }
    if (!(atomFlags & nfHasWidth) && op != '?') REError(SErrorInvalidRepeat);
    Flags = op != '+' ? nfSPStart : nfHasWidth;

    if (op == '*' && (atomFlags & nfSimple)) {
        EmitInsert(tnSTAR, ret);
    } else if (op == '*') {
        // x* as (x&|): & loops back to the branch.
        EmitInsert(tnBRANCH, ret);
        EmitOpndTailFixup(ret, EmitNode(tnNOTHING));
        EmitOpndTailFixup(ret, ret);
        EmitTail(ret, EmitNode(tnBRANCH));
        EmitTail(ret, EmitNode(tnNOTHING));
    } else if (op == '+' && (atomFlags & nfSimple)) {
        EmitInsert(tnPLUS, ret);
    } else if (op == '+') {
        // x+ as x(&|): & loops back to x.
        PNode next = EmitNode(tnBRANCH);
        EmitTail(ret, next);
        EmitTail(EmitNode(tnNOTHING), ret);
        EmitTail(next, EmitNode(tnBRANCH));
        EmitTail(ret, EmitNode(tnNOTHING));
    } else {
        // x? as (x|).
        EmitInsert(tnBRANCH, ret);
        EmitTail(ret, EmitNode(tnBRANCH));
        PNode next = EmitNode(tnNOTHING);
        EmitTail(ret, next);
        EmitOpndTailFixup(ret, next);
    }
    ++FScan;
    if (IsRepeat(*FScan)) REError(SErrorNestedRepeat);
    return ret;
}

TCompiledRE::PNode TCompiledRE::ScanAtom(int& Flags) {
    Flags = 0;
    PNode ret = nullptr;
    const Char c = *FScan;
    switch (c) {
    case '^':
        ++FScan;
        return EmitNode(tnBOL);
    case '$':
        ++FScan;
        return EmitNode(tnEOL);
    case '.':
        ++FScan;
        Flags = nfHasWidth | nfSimple;
        return EmitNode(tnANY);
    case '[': {
        ++FScan;
        ret = FEmit;
        ScanBracket();
        Flags = nfHasWidth | nfSimple;
        return Sizing() ? nullptr : ret;
    }
    case '(': {
        ++FScan;
        int groupFlags = 0;
        ScanRE(true, groupFlags, ret);
        Flags = groupFlags & (nfHasWidth | nfSPStart);
        return ret;
    }
    case 0:
    case '|':
    case ')':
        REError(SErrorInternal);  // the callers never let these through
    case '?':
    case '*':
    case '+':
        REError(SErrorInvalidRepeat);
    case '\\': {
        ++FScan;
        const Char e = *FScan;
        if (e == 0) REError(SErrorTrailingBackslash);
        ++FScan;
        Flags = nfHasWidth | nfSimple;
        ret = FEmit;
        if (e == '_') {
            ScanSetNode(0);
        } else if (e == 'w' || e == 'W') {
            ScanSetNode(1);
        } else {
            EmitNode(tnEXACTLY);
            EmitChar(e);
            EmitChar(0);
        }
        return Sizing() ? nullptr : ret;
    }
    default: {
        // A run of literal characters up to the next meta character. When a
        // repeat follows a run of two or more, the last one is left out for
        // it.
        size_t len = 0;
        while (FScan[len] != 0 && !IsMeta(FScan[len])) ++len;
        if (len > 1 && IsRepeat(FScan[len])) --len;
        Flags = nfHasWidth;
        if (len == 1) Flags |= nfSimple;
        ret = EmitNode(tnEXACTLY);
        for (size_t i = 0; i < len; ++i) EmitChar(*FScan++);
        EmitChar(0);
        return ret;
    }
    }
}

// [...] or [^...], FScan just past the `[`.
void TCompiledRE::ScanBracket() {
    PNode node;
    if (*FScan == '^') {
        node = EmitNode(tnANYBUT);
        ++FScan;
    } else {
        node = EmitNode(tnANYOF);
    }
    if (node) FSetNodes.push_back(static_cast<size_t>(node - FNodes));
    if (*FScan == ']' || *FScan == '-') EmitChar(*FScan++);
    while (*FScan != 0 && *FScan != ']') {
        if (*FScan == '-') {
            ++FScan;
            if (*FScan == ']' || *FScan == 0) {
                EmitChar('-');
            } else {
                // From the character before the `-` (already copied) to this one.
                unsigned from = static_cast<unsigned>(FScan[-2]) + 1;
                const unsigned to = *FScan;
                if (from > to + 1) REError(SErrorInvalidRange);
                for (; from <= to; ++from) EmitChar(static_cast<Char>(from));
                ++FScan;
            }
        } else {
            EmitChar(*FScan++);
        }
    }
    EmitChar(0);
    if (*FScan != ']') REError(SErrorUnmatchedBracket);
    ++FScan;
}

// \_ (set 0) or \w, \W (set 1).
void TCompiledRE::ScanSetNode(int Index) {
    const TRECharSet& set = FRE->FCharSets[Index];
    const int count = FRE->FCharCounts[Index];
    PNode node;
    if (count == 0) {
        node = EmitNode(Index == 0 ? tnANYOF : tnANYBUT);
        EmitChar('\n');
        EmitChar('\r');
        EmitChar(' ');
    } else if (count < 128) {
        node = EmitNode(tnANYOF);
        for (unsigned c = 1; c <= 255; ++c)
            if (set.test(c)) EmitChar(static_cast<Char>(c));
    } else {
        node = EmitNode(tnANYBUT);
        for (unsigned c = 1; c <= 255; ++c)
            if (!set.test(c)) EmitChar(static_cast<Char>(c));
    }
    EmitChar(0);
    if (node) {
        // The node was emitted before its members; record it for the index.
        FSetNodes.push_back(static_cast<size_t>(node - FNodes));
    }
}

// ---------------------------------------------------------------------------
// After pass two: the search shortcuts.

void TCompiledRE::Analyse(int Flags) {
    PNode scan = FNodes;  // the first tnBRANCH
    PNode next = NextNode(scan);
    if (next && Kind(next) == tnEND) {
        PNode p = Operand(scan);
        if (Kind(p) == tnEXACTLY)
            FBegin = Operand(p)[0];
        else if (Kind(p) == tnBOL)
            FAnchor = true;
        if (Flags & nfSPStart) {
            PCNode longest = nullptr;
            size_t len = 0;
            for (PNode s = p; s; s = NextNode(s))
                if (Kind(s) == tnEXACTLY && StrLen(Operand(s)) >= len) {
                    longest = Operand(s);
                    len = StrLen(longest);
                }
            FOptMatch = longest;
            FOptMatchLen = static_cast<int>(len);
        }
    }

    // Beyond the classic shortcuts: when no first character is known, the set
    // of characters a match can start with lets the search skip positions
    // where a try would fail at once.
    if (!FAnchor && FBegin == 0 && Analysable()) {
        int budget = FirstWalkBudget;
        std::bitset<256> set;
        bool wide = false;
        // The search never tries a terminator by its first characters.
        if (FirstChars(FNodes, 0, budget, set, wide) && !set[0]) {
            FHasFirstSet = true;
            FFirstSet = set;
            FFirstWide = wide;
            FFirstStop[0] = 1;
            for (unsigned c = 1; c < 256; ++c) FFirstStop[c] = set[c] ? 1 : 0;
            if (!wide && set.count() <= 3)
                for (unsigned c = 1; c < 256; ++c)
                    if (set[c]) FFirstFew[FFirstFewCount++] = static_cast<Char>(c);
            if (FFold && FFirstFewCount > 0) {
                // The scan reads the text as it is: look for every unit that
                // upper-cases to a first character, if they are few.
                Char units[3];
                int count = 0;
                for (int k = 0; k < FFirstFewCount && count <= 3; ++k) {
                    Char more[4];
                    const int n = FoldPreimages(FFirstFew[k], more, 4);
                    for (int m = 0; m < n && m < 4; ++m) {
                        if (count < 3) units[count] = more[m];
                        ++count;
                    }
                }
                if (count == 0) {
                    units[0] = 0;  // no unit of the text reads as one: only the terminator stops the scan
                    count = 1;
                }
                FFirstFewCount = count <= 3 ? count : 0;
                std::copy(units, units + std::min(count, 3), FFirstFew);
            }
        }
    }

    // The units of the text that read as the first character.
    if (FBegin != 0) {
        if (!FFold) {
            FBeginUnits[0] = FBegin;
            FBeginUnitCount = 1;
        } else {
            const int n = FoldPreimages(FBegin, FBeginUnits, 3);
            if (n == 0) {
                FBeginUnits[0] = 0;  // no unit reads as it: nothing can match
                FBeginUnitCount = 1;
            } else {
                FBeginUnitCount = n <= 3 ? n : 0;
            }
            const Char lower = static_cast<Char>(FBegin | 0x20);
            if (FBeginUnitCount == 2 && lower >= 'a' && lower <= 'z' &&
                ((FBeginUnits[0] | 0x20) == lower) && ((FBeginUnits[1] | 0x20) == lower) &&
                FBeginUnits[0] != FBeginUnits[1])
                FBeginCasePair = lower;
        }
    }
}

// Bitmaps for the set nodes, so that a membership test doesn't search the
// operand string; the operand stays as the compiler wrote it.
void TCompiledRE::BuildSetIndex() {
    if (FSetNodes.empty()) return;
    FSetIndex.assign(static_cast<size_t>(FCodeSize) / 2, -1);
    FSetMaps.reserve(FSetNodes.size());
    for (size_t at : FSetNodes) {
        TSetMap map;
        size_t len = 0;
        for (PCNode s = Operand(FNodes + at); *s; ++s, ++len) {
            if (*s < 256)
                map.Low.set(*s);
            else
                map.Wide = true;
        }
        if (map.Wide && len > 32) {
            map.All = std::make_shared<std::bitset<65536>>();
            for (PCNode s = Operand(FNodes + at); *s; ++s) map.All->set(*s);
        }
        FSetIndex[at] = static_cast<int32_t>(FSetMaps.size());
        FSetMaps.push_back(std::move(map));
    }
    FSetNodes.clear();
    FSetNodes.shrink_to_fit();
}

// ---------------------------------------------------------------------------

std::string TCompiledRE::Dump() const {
    std::string out;
    char buf[64];
    const size_t units = static_cast<size_t>(FCodeSize) / 2;
    size_t at = 0;
    while (at + NodeUnits <= units) {
        PCNode n = FNodes + at;
        const int k = Kind(n);
        std::snprintf(buf, sizeof buf, "%zu: %s", at * 2, KindName(k));
        out += buf;
        size_t size = NodeUnits;
        if (k == tnANYOF || k == tnANYBUT || k == tnEXACTLY) {
            PCNode s = Operand(n);
            size_t len = 0;
            while (at + NodeUnits + len < units && s[len] != 0) ++len;
            std::string text;
            for (size_t i = 0; i < len; ++i) {
                const Char c = s[i];
                if (c >= 0x20 && c < 0x7F && c != '"' && c != '\\') {
                    text += static_cast<char>(c);
                } else {
                    std::snprintf(buf, sizeof buf, "\\u%04X", static_cast<unsigned>(c));
                    text += buf;
                }
            }
            out += " \"" + text + "\"";
            size += len + 1;
        }
        const int32_t d = NextDistance(n);
        if (d != 0) {
            std::snprintf(buf, sizeof buf, " -> %lld", static_cast<long long>(at * 2) + d);
            out += buf;
        }
        out += '\n';
        at += size;
    }
    return out;
}

}  // namespace ide
