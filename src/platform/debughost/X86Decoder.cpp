#include "platform/debughost/X86Decoder.h"

#include <Zydis/Zydis.h>

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

TDecodedInstruction TX86Decoder::Decode(uint64_t Address, const uint8_t* Bytes, size_t Size, bool WantText) const {
    TDecodedInstruction out;
    ZydisDecodedInstruction insn;
    ZydisDecodedOperand ops[ZYDIS_MAX_OPERAND_COUNT];
    if (Size == 0 || !ZYAN_SUCCESS(ZydisDecoderDecodeFull(&FImpl->Decoder, Bytes, Size, &insn, ops))) {
        out.Length = 1;
        if (WantText) out.Text = "(bad)";
        return out;
    }
    out.Valid = true;
    out.Length = insn.length;
    out.IsCall = insn.meta.category == ZYDIS_CATEGORY_CALL;
    out.IsBranch = out.IsCall || insn.meta.category == ZYDIS_CATEGORY_COND_BR ||
                   insn.meta.category == ZYDIS_CATEGORY_UNCOND_BR;
    if (out.IsBranch && insn.operand_count_visible > 0 && ops[0].type == ZYDIS_OPERAND_TYPE_IMMEDIATE &&
        ops[0].imm.is_relative) {
        ZyanU64 target = 0;
        if (ZYAN_SUCCESS(ZydisCalcAbsoluteAddress(&insn, &ops[0], Address, &target))) {
            out.HasTarget = true;
            out.Target = target;
        }
    }
    if (WantText) {
        char buf[256];
        if (ZYAN_SUCCESS(ZydisFormatterFormatInstruction(&FImpl->Formatter, &insn, ops, insn.operand_count_visible,
                                                         buf, sizeof buf, Address, nullptr)))
            out.Text = buf;
        else
            out.Text = "(bad)";
    }
    return out;
}

}  // namespace ide
