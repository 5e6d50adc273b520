#include "platform/debughost/X86Decoder.h"

#include <Zydis/Zydis.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace ide {

namespace {

// One instruction whose text reads the same wherever it is: no relative
// branch target, no operand relative to the instruction pointer. Its bytes
// are the key, zero-padded to 16; its text lies in the memo's text store.
struct TKnown {
    uint64_t Key[2];
    uint32_t Text;
    uint8_t Length;
    uint8_t TextLength;
    bool IsCall;
    bool IsBranch;
};
static_assert(sizeof(TKnown) == 24);

// The memo stays small enough for the processor's second-level cache: a
// walk through a whole library finds half of its instructions in the
// first 16,384 that it keeps.
constexpr size_t kMostKnown = 16384;
constexpr size_t kFirstSlots = 1024;

struct TKey {
    uint64_t Words[2] = {0, 0};
    TKey(const uint8_t* Bytes, size_t Length) { std::memcpy(Words, Bytes, Length); }
    explicit TKey(const TKnown& K) : Words{K.Key[0], K.Key[1]} {}
    size_t Hash(size_t Length) const {
        uint64_t h = (Words[0] * 0x9E3779B97F4A7C15ull) ^ (Words[1] * 0xC2B2AE3D27D4EB4Full) ^ Length;
        h ^= h >> 31;
        return static_cast<size_t>(h * 0xBF58476D1CE4E5B9ull >> 32);
    }
};

}  // namespace

struct TX86Decoder::TImpl {
    ZydisDecoder Decoder;
    ZydisFormatter Formatter;
    // Instructions whose text does not depend on their address, by their
    // bytes: most of a program's instructions repeat ("push rbp", "ret",
    // "mov rdi, rbx"), and a repeat needs only the decode of its length. An
    // instruction's bytes decode the same way whatever follows them, so
    // equal bytes are the same instruction. Slots is open addressing over
    // Known (0 free, else 1 + an index), at most half full.
    std::vector<TKnown> Known;
    std::vector<uint16_t> Slots;
    std::vector<char> Texts;

    const TKnown* FindKnown(const TKey& Key, size_t Length) const {
        if (Slots.empty()) return nullptr;
        const size_t mask = Slots.size() - 1;
        for (size_t i = Key.Hash(Length) & mask;; i = (i + 1) & mask) {
            const uint16_t slot = Slots[i];
            if (slot == 0) return nullptr;
            const TKnown& k = Known[slot - 1u];
            if (k.Length == Length && k.Key[0] == Key.Words[0] && k.Key[1] == Key.Words[1]) return &k;
        }
    }

    void AddKnown(const TKey& Key, size_t Length, const char* Text, size_t TextLength, bool IsCall, bool IsBranch) {
        if (Known.size() >= kMostKnown) return;
        if ((Known.size() + 1) * 2 > Slots.size()) {
            Slots.assign(Slots.empty() ? kFirstSlots : 2 * Slots.size(), 0);
            for (size_t e = 0; e < Known.size(); ++e) Place(Known[e], e);
        }
        TKnown k{{Key.Words[0], Key.Words[1]}, static_cast<uint32_t>(Texts.size()), static_cast<uint8_t>(Length),
                 static_cast<uint8_t>(TextLength), IsCall, IsBranch};
        Texts.insert(Texts.end(), Text, Text + TextLength);
        Known.push_back(k);
        Place(k, Known.size() - 1);
    }

    void Place(const TKnown& K, size_t Index) {
        const size_t mask = Slots.size() - 1;
        size_t i = TKey(K).Hash(K.Length) & mask;
        while (Slots[i] != 0) i = (i + 1) & mask;
        Slots[i] = static_cast<uint16_t>(Index + 1);
    }
};

TX86Decoder::TX86Decoder() : FImpl(std::make_unique<TImpl>()) {
    ZydisDecoderInit(&FImpl->Decoder, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64);
    ZydisFormatterInit(&FImpl->Formatter, ZYDIS_FORMATTER_STYLE_INTEL);
}

TX86Decoder::~TX86Decoder() = default;

int TX86Decoder::Length(const uint8_t* Bytes, size_t Size) const {
    ZydisDecodedInstruction insn;
    if (!ZYAN_SUCCESS(ZydisDecoderDecodeInstruction(&FImpl->Decoder, nullptr, Bytes, Size, &insn))) return 0;
    return insn.length;
}

size_t TX86Decoder::DecodeTo(uint64_t Address, const uint8_t* Bytes, size_t Size, TDecodedInstruction& Facts,
                             char* Text, size_t TextSize) const {
    Facts.Valid = false;
    Facts.Length = 1;
    Facts.IsCall = Facts.IsBranch = Facts.HasTarget = false;
    Facts.Target = 0;
    auto put = [&](const char* From) {
        if (!Text || TextSize == 0) return size_t(0);
        const size_t n = std::min(std::strlen(From), TextSize - 1);
        std::memcpy(Text, From, n);
        Text[n] = 0;
        return n;
    };
    // Only the operands the text shows are decoded: the hidden ones (the
    // stack pointer of a push, the flags) are neither printed nor needed.
    ZydisDecoderContext context;
    ZydisDecodedInstruction insn;
    ZydisDecodedOperand ops[ZYDIS_MAX_OPERAND_COUNT];
    if (Size == 0 || !ZYAN_SUCCESS(ZydisDecoderDecodeInstruction(&FImpl->Decoder, &context, Bytes, Size, &insn)))
        return put("(bad)");
    const TKey key(Bytes, insn.length);
    if (const TKnown* k = FImpl->FindKnown(key, insn.length)) {
        Facts.Valid = true;
        Facts.Length = insn.length;
        Facts.IsCall = k->IsCall;
        Facts.IsBranch = k->IsBranch;
        if (!Text || TextSize == 0) return 0;
        const size_t n = std::min<size_t>(k->TextLength, TextSize - 1);
        std::memcpy(Text, FImpl->Texts.data() + k->Text, n);
        Text[n] = 0;
        return n;
    }
    if (!ZYAN_SUCCESS(ZydisDecoderDecodeOperands(&FImpl->Decoder, &context, &insn, ops, insn.operand_count_visible)))
        return put("(bad)");
    Facts.Valid = true;
    Facts.Length = insn.length;
    Facts.IsCall = insn.meta.category == ZYDIS_CATEGORY_CALL;
    Facts.IsBranch = Facts.IsCall || insn.meta.category == ZYDIS_CATEGORY_COND_BR ||
                     insn.meta.category == ZYDIS_CATEGORY_UNCOND_BR;
    if (Facts.IsBranch && insn.operand_count_visible > 0 && ops[0].type == ZYDIS_OPERAND_TYPE_IMMEDIATE &&
        ops[0].imm.is_relative) {
        ZyanU64 target = 0;
        if (ZYAN_SUCCESS(ZydisCalcAbsoluteAddress(&insn, &ops[0], Address, &target))) {
            Facts.HasTarget = true;
            Facts.Target = target;
        }
    }
    if (!Text || TextSize == 0) return 0;
    if (!ZYAN_SUCCESS(ZydisFormatterFormatInstruction(&FImpl->Formatter, &insn, ops, insn.operand_count_visible,
                                                      Text, TextSize, Address, nullptr)))
        return put("(bad)");
    const size_t n = std::strlen(Text);
    // Kept for its repeats if its text cannot depend on its address (and
    // was not cut short by a small buffer).
    bool placeFree = true;
    for (int i = 0; i < insn.operand_count_visible; ++i)
        if ((ops[i].type == ZYDIS_OPERAND_TYPE_IMMEDIATE && ops[i].imm.is_relative) ||
            (ops[i].type == ZYDIS_OPERAND_TYPE_MEMORY &&
             (ops[i].mem.base == ZYDIS_REGISTER_RIP || ops[i].mem.base == ZYDIS_REGISTER_EIP)))
            placeFree = false;
    if (placeFree && n <= 255 && n + 1 < TextSize)
        FImpl->AddKnown(key, insn.length, Text, n, Facts.IsCall, Facts.IsBranch);
    return n;
}

TDecodedInstruction TX86Decoder::Decode(uint64_t Address, const uint8_t* Bytes, size_t Size, bool WantText) const {
    TDecodedInstruction out;
    char buf[256];
    const size_t n = DecodeTo(Address, Bytes, Size, out, WantText ? buf : nullptr, sizeof buf);
    if (WantText) out.Text.assign(buf, n);
    return out;
}

}  // namespace ide
