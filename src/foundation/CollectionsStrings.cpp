#include "foundation/CollectionsStrings.h"

#include <cstring>
#include <mutex>
#include <random>

namespace ide {

namespace {

inline uint32_t Rotl(uint32_t X, int N) noexcept { return (X << N) | (X >> (32 - N)); }

// The process's random generator: the run-time's linear congruential one,
// seeded randomly when its seed is still 0.
uint32_t gRandSeed = 0;

void Randomize() {
    std::random_device rd;
    do gRandSeed = rd();
    while (gRandSeed == 0);
}

// Random(Range): 0 <= result < Range.
uint32_t Random(uint32_t Range) {
    gRandSeed = gRandSeed * 0x08088405u + 1u;
    return static_cast<uint32_t>((static_cast<uint64_t>(gRandSeed) * Range) >> 32);
}

uint16_t gIHashTable[256];
std::once_flag gIHashOnce;

void FillIHashTable() {
    if (gRandSeed == 0) Randomize();
    std::memset(gIHashTable, 0, sizeof gIHashTable);
    gIHashTable[0] = 1;
    for (int i = 1; i <= 127; ++i) gIHashTable[i] = static_cast<uint16_t>(Random(65535) + 1);
    for (int c = 'a'; c <= 'z'; ++c) gIHashTable[c] = gIHashTable[c - 'a' + 'A'];
}

}  // namespace

uint32_t StrHash(std::u16string_view S) noexcept {
    if (S.empty()) return 0;
    // The first Length bytes of the storage: half of the characters.
    const auto* bytes = reinterpret_cast<const uint8_t*>(S.data());
    const size_t n = S.size();
    uint32_t h = 0;
    size_t i = 0;
    // Eight steps at once: rotation distributes over xor, so
    // h' = rotl(h, 40) ^ rotl(b0, 35) ^ rotl(b1, 30) ^ ... ^ b7, which
    // shortens the dependency chain without changing the result.
    for (; i + 8 <= n; i += 8) {
        const uint8_t* b = bytes + i;
        const uint32_t x = Rotl(b[0], 3) ^ Rotl(b[1], 30) ^ Rotl(b[2], 25) ^ Rotl(b[3], 20) ^ Rotl(b[4], 15) ^
                           Rotl(b[5], 10) ^ Rotl(b[6], 5) ^ b[7];
        h = Rotl(h, 8) ^ x;
    }
    for (; i < n; ++i) h = Rotl(h, 5) ^ bytes[i];
    return h;
}

const uint16_t* StrIHashTable() noexcept {
    std::call_once(gIHashOnce, FillIHashTable);
    return gIHashTable;
}

uint32_t StrIHash(std::u16string_view S) noexcept {
    const uint16_t* table = StrIHashTable();
    // Limits per position in a group of four: the second one is lower.
    static constexpr Char kLimit[4] = {0x20AC, 0x00FF, 0x20AC, 0x20AC};
    uint32_t h = 0;
    const size_t n = S.size();
    size_t i = 0;
    for (;;) {
        // A group ends the hash at the first character 0 (or the end of the
        // key); a group cut short is not rotated.
        for (int k = 0; k < 4; ++k, ++i) {
            const Char c = i < n ? S[i] : Char(0);
            if (c == 0) return h;
            if (c < kLimit[k]) h += table[c & 0xFF];
        }
        h = Rotl(h, 6);
    }
}

uint32_t ELFHash(std::u16string_view S) noexcept {
    uint32_t h = 0;
    for (Char c : S) {
        h = (h << 4) + c;
        const uint32_t g = h & 0xF0000000u;
        if (g != 0) {
            h ^= g >> 24;
            h &= ~g;
        }
    }
    return h;
}

uint32_t WideStrIHash(std::u16string_view S) noexcept {
    // ELFHash(WideLowerCase(S)) without building the lower-case copy.
    uint32_t h = 0;
    for (Char c : S) {
        h = (h << 4) + WideLowerChar(c);
        const uint32_t g = h & 0xF0000000u;
        if (g != 0) {
            h ^= g >> 24;
            h &= ~g;
        }
    }
    return h;
}

Char WideLowerChar(Char C) noexcept {
    const unsigned c = C;
    if (c < 0x80) return (c >= 'A' && c <= 'Z') ? Char(c + 32) : C;
    if (c < 0x100) return (c >= 0xC0 && c <= 0xDE && c != 0xD7) ? Char(c + 32) : C;
    if (c < 0x180) {
        if (c == 0x130) return Char('i');
        if (c <= 0x137) return (c & 1) == 0 ? Char(c + 1) : C;
        if (c >= 0x139 && c <= 0x148) return (c & 1) ? Char(c + 1) : C;
        if (c >= 0x14A && c <= 0x177) return (c & 1) == 0 ? Char(c + 1) : C;
        if (c == 0x178) return Char(0xFF);
        if (c >= 0x179 && c <= 0x17E) return (c & 1) ? Char(c + 1) : C;
        return C;
    }
    if (c >= 0x386 && c <= 0x3AB) {
        if (c >= 0x391 && c != 0x3A2) return Char(c + 32);
        if (c == 0x386) return Char(0x3AC);
        if (c >= 0x388 && c <= 0x38A) return Char(c + 37);
        if (c == 0x38C) return Char(0x3CC);
        if (c == 0x38E || c == 0x38F) return Char(c + 63);
        return C;
    }
    if (c >= 0x400 && c <= 0x4BF) {
        if (c <= 0x40F) return Char(c + 80);
        if (c <= 0x42F) return Char(c + 32);
        if ((c >= 0x460 && c <= 0x481) || (c >= 0x48A)) return (c & 1) == 0 ? Char(c + 1) : C;
        return C;
    }
    if (c >= 0x531 && c <= 0x556) return Char(c + 48);
    if ((c >= 0x1E00 && c <= 0x1E95) || (c >= 0x1EA0 && c <= 0x1EFF)) return (c & 1) == 0 ? Char(c + 1) : C;
    if (c >= 0x2160 && c <= 0x216F) return Char(c + 16);
    if (c >= 0x24B6 && c <= 0x24CF) return Char(c + 26);
    if (c >= 0xFF21 && c <= 0xFF3A) return Char(c + 32);
    return C;
}

Char WideUpperChar(Char C) noexcept {
    const unsigned c = C;
    if (c < 0x80) return (c >= 'a' && c <= 'z') ? Char(c - 32) : C;
    if (c < 0x100) {
        if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return Char(c - 32);
        if (c == 0xFF) return Char(0x178);
        return C;
    }
    if (c < 0x180) {
        if (c == 0x131) return Char('I');
        if (c <= 0x137) return (c & 1) ? Char(c - 1) : C;
        if (c >= 0x13A && c <= 0x148) return (c & 1) == 0 ? Char(c - 1) : C;
        if (c >= 0x14B && c <= 0x177) return (c & 1) ? Char(c - 1) : C;
        if (c >= 0x17A && c <= 0x17E) return (c & 1) == 0 ? Char(c - 1) : C;
        return C;
    }
    if (c >= 0x3AC && c <= 0x3CE) {
        if (c == 0x3C2) return Char(0x3A3);
        if (c >= 0x3B1 && c <= 0x3CB) return Char(c - 32);
        if (c == 0x3AC) return Char(0x386);
        if (c <= 0x3AF) return Char(c - 37);
        if (c == 0x3CC) return Char(0x38C);
        if (c == 0x3CD || c == 0x3CE) return Char(c - 63);
        return C;
    }
    if (c >= 0x430 && c <= 0x4BF) {
        if (c <= 0x44F) return Char(c - 32);
        if (c <= 0x45F) return Char(c - 80);
        if ((c >= 0x461 && c <= 0x481) || (c >= 0x48B)) return (c & 1) ? Char(c - 1) : C;
        return C;
    }
    if (c >= 0x561 && c <= 0x586) return Char(c - 48);
    if ((c >= 0x1E01 && c <= 0x1E95) || (c >= 0x1EA1 && c <= 0x1EFF)) return (c & 1) ? Char(c - 1) : C;
    if (c >= 0x2170 && c <= 0x217F) return Char(c - 16);
    if (c >= 0x24D0 && c <= 0x24E9) return Char(c - 26);
    if (c >= 0xFF41 && c <= 0xFF5A) return Char(c - 32);
    return C;
}

String WideLowerCase(std::u16string_view S) {
    String r(S);
    for (Char& c : r) c = WideLowerChar(c);
    return r;
}

String WideUpperCase(std::u16string_view S) {
    String r(S);
    for (Char& c : r) c = WideUpperChar(c);
    return r;
}

bool AnsiSameStr(std::u16string_view A, std::u16string_view B) noexcept { return A == B; }

bool AnsiSameText(std::u16string_view A, std::u16string_view B) noexcept {
    if (A.size() != B.size()) return false;
    for (size_t i = 0; i < A.size(); ++i)
        if (A[i] != B[i] && WideLowerChar(A[i]) != WideLowerChar(B[i])) return false;
    return true;
}

bool WideSameStr(std::u16string_view A, std::u16string_view B) noexcept { return A == B; }

bool WideSameText(std::u16string_view A, std::u16string_view B) noexcept { return AnsiSameText(A, B); }

}  // namespace ide
