// Node access shared by the compiler and the matcher (internal).
// A node starts at a 2-byte aligned address inside the program block; its
// 4-byte fields are read and written by memcpy.
#pragma once

#include <bitset>
#include <cstdint>
#include <cstring>

#include "regexp/IDERegExpComp.h"

namespace ide::reprog {

inline constexpr int NodeUnits = 4;  // 8 bytes: Kind and Next
inline constexpr int NodeBytes = 8;

inline int Kind(const Char* Node) {
    uint32_t k;
    std::memcpy(&k, Node, 4);
    return static_cast<int>(k & 0xFF);
}

inline void SetKind(Char* Node, int Kind) {
    uint32_t k = static_cast<uint32_t>(Kind) & 0xFF;
    std::memcpy(Node, &k, 4);
}

inline int32_t NextDistance(const Char* Node) {
    int32_t d;
    std::memcpy(&d, Node + 2, 4);
    return d;
}

inline void SetNextDistance(Char* Node, int32_t Bytes) { std::memcpy(Node + 2, &Bytes, 4); }

// The next node, or null. Distances are in bytes and always even.
template <class P>
inline P NextNode(P Node) {
    int32_t d = NextDistance(Node);
    if (d == 0) return nullptr;
    return Node + d / 2;
}

template <class P>
inline P Operand(P Node) {
    return Node + NodeUnits;
}

inline size_t StrLen(const Char* S) {
    size_t n = 0;
    while (S[n] != 0) ++n;
    return n;
}

// The characters a try of the chain from N can start with: a try at a
// position whose character is not among them fails at once, without touching
// a slot. Member 0 stands for the terminator (a chain that may start with
// `$`). False when that isn't known (the chain can match empty, or starts
// with `.` or `^`), or when the walk would take more than Depth levels or
// Budget nodes. Only for programs of fewer than ten groups, whose node kinds
// are all what they say. Set gets the characters below 256; Wide is set when
// a character of 256 or above may start a match.
inline constexpr int FirstWalkBudget = 4096;
bool FirstChars(const Char* N, int Depth, int& Budget, std::bitset<256>& Set, bool& Wide);

// The engine's upper-casing table (REUpCase) as an array of 65536 units.
const Char* FoldTable() noexcept;
// The units that upper-case to Up, Up itself included when it stays as it
// is: the first Max of them in Out, and their number as the result (which
// may be more than Max).
int FoldPreimages(Char Up, Char* Out, int Max);

inline const char* KindName(int Kind) {
    static const char* const Names[] = {
        "END",    "BOL",    "EOL",    "ANY",    "ANYOF",  "ANYBUT", "BRANCH", "EXACTLY", "NOTHING", "STAR",   "PLUS",
        "OPEN",   "OPEN1",  "OPEN2",  "OPEN3",  "OPEN4",  "OPEN5",  "OPEN6",  "OPEN7",   "OPEN8",   "OPEN9",  "CLOSE",
        "CLOSE1", "CLOSE2", "CLOSE3", "CLOSE4", "CLOSE5", "CLOSE6", "CLOSE7", "CLOSE8",  "CLOSE9",
    };
    return Kind >= 0 && Kind <= tnCLOSE9 ? Names[Kind] : "?";
}

}  // namespace ide::reprog
