#include "platform/debughost/X86Decoder.h"

#include <Zydis/Zydis.h>

#include <algorithm>
#include <cstring>

namespace ide {

struct TX86Decoder::TImpl {
    ZydisDecoder Decoder;
    ZydisFormatter Formatter;
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
    if (Size == 0 || !ZYAN_SUCCESS(ZydisDecoderDecodeInstruction(&FImpl->Decoder, &context, Bytes, Size, &insn)) ||
        !ZYAN_SUCCESS(ZydisDecoderDecodeOperands(&FImpl->Decoder, &context, &insn, ops, insn.operand_count_visible)))
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
    return std::strlen(Text);
}

TDecodedInstruction TX86Decoder::Decode(uint64_t Address, const uint8_t* Bytes, size_t Size, bool WantText) const {
    TDecodedInstruction out;
    char buf[256];
    const size_t n = DecodeTo(Address, Bytes, Size, out, WantText ? buf : nullptr, sizeof buf);
    if (WantText) out.Text.assign(buf, n);
    return out;
}

}  // namespace ide
