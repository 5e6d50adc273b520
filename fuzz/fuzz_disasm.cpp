// Random bytes as code: every offset of the input through the x86-64 decoder
// adapter (the buffer ends mid-instruction at the last offsets), then the
// disassembler view's logic over a host that decodes the same bytes, driven
// by operations taken from the input: keys, clicks, drags, wheel, resizes,
// selections, paints and the selected text. With the first byte odd, the
// host answers from the input instead of decoding: next addresses that stand
// still or go backwards, addresses at the ends of the 64-bit range, odd
// instruction sizes, additional texts with stray line feeds, labels and
// source positions. Checks: no crash, no undefined behaviour, termination,
// and every text of the decoder (which keeps the texts it made) equal to
// Zydis's own.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include <Zydis/Zydis.h>

#include "cpuviews/DisComp.h"
#include "platform/debughost/X86Decoder.h"

using namespace ide;

namespace {

struct Input {
    const uint8_t* Data;
    size_t Size;
    size_t Pos = 0;
    uint8_t Byte() { return Pos < Size ? Data[Pos++] : 0; }
    int64_t Word() {
        uint64_t v = 0;
        for (int i = 0; i < 8; ++i) v = (v << 8) | Byte();
        return static_cast<int64_t>(v);
    }
    bool Done() const { return Pos >= Size; }
};

struct NullCanvas : TCanvas {
    void FillRect(const TRect&) override {}
    void FrameRect(const TRect&) override {}
    void Rectangle(const TRect&) override {}
    void DrawFocusRect(const TRect&) override {}
    void TextOut(int, int, const String&) override {}
    void TextRect(const TRect&, int, int, const String&) override {}
    TDimension TextExtent(const String& T) override { return {7 * static_cast<int>(T.size() % 1000), 13}; }
    int TextMetricHeight() override { return 13; }
    void Draw(int, int, const TBitmap&) override {}
    void BrushCopy(const TRect&, const TBitmap&, const TRect&, TColor) override {}

protected:
    void DoLine(int, int, int, int) override {}
};

struct NullWindow : TDisasmWindow {
    bool Focus = false;
    void Invalidate() override {}
    void InvalidateRect(const TRect&) override {}
    bool Focused() const override { return Focus; }
    int TextWidth(const String& T) override { return 7 * static_cast<int>(T.size()); }
    int TextHeight(const String&) override { return 13; }
    void ShowScrollBars(bool) override {}
    void SetHorzScroll(int, int, int) override {}
};

const TX86Decoder& Decoder() {
    static const TX86Decoder decoder;
    return decoder;
}

constexpr int64_t kBase = 0x401000;

// Zydis's own text, decoded and formatted afresh; the decoder keeps texts
// across inputs (it is static), and must give the same.
std::string FreshText(uint64_t Address, const uint8_t* Bytes, size_t Size) {
    static ZydisDecoder decoder;
    static ZydisFormatter formatter;
    static const bool ready = (ZydisDecoderInit(&decoder, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64),
                               ZydisFormatterInit(&formatter, ZYDIS_FORMATTER_STYLE_INTEL), true);
    (void)ready;
    ZydisDecodedInstruction insn;
    ZydisDecodedOperand ops[ZYDIS_MAX_OPERAND_COUNT];
    char buf[256];
    if (!ZYAN_SUCCESS(ZydisDecoderDecodeFull(&decoder, Bytes, Size, &insn, ops)) ||
        !ZYAN_SUCCESS(ZydisFormatterFormatInstruction(&formatter, &insn, ops, insn.operand_count_visible, buf,
                                                      sizeof buf, Address, nullptr)))
        return "(bad)";
    return buf;
}

void DecodeEveryOffset(const uint8_t* Data, size_t Size) {
    for (size_t i = 0; i < Size && i < 256; ++i) {
        const TDecodedInstruction d = Decoder().Decode(kBase + i, Data + i, Size - i);
        if (d.Length < 1 || d.Length > 15 || (d.Valid && static_cast<size_t>(d.Length) > Size - i)) std::abort();
        const int len = Decoder().Length(Data + i, Size - i);
        if (d.Valid != (len > 0) || (d.Valid && len != d.Length)) std::abort();
        if (d.Text != FreshText(kBase + i, Data + i, Size - i)) std::abort();
    }
}

// A host that decodes the input placed at kBase.
void AttachDecodingHost(TDisassemblerLogic& View, const uint8_t* Code, size_t Size) {
    auto decodeAt = [Code, Size](int64_t A, TDecodedInstruction& D) {
        if (A < kBase || static_cast<uint64_t>(A - kBase) >= Size) return false;
        const size_t off = static_cast<size_t>(A - kBase);
        D = Decoder().Decode(static_cast<uint64_t>(A), Code + off, Size - off);
        return true;
    };
    View.OnDisassemble = [decodeAt](TDisassemblerLogic*, int64_t& A, String& R, int32_t& InstSize) {
        TDecodedInstruction d;
        if (!decodeAt(A, d)) {
            R = u"??";
            A = static_cast<int64_t>(static_cast<uint64_t>(A) + 1);
            InstSize = 1;
            return;
        }
        R = Str(d.Text);
        InstSize = d.Length;
        A += d.Length;
    };
    View.OnGetNextAddr = [decodeAt](TDisassemblerLogic*, int64_t A, int64_t& N) {
        TDecodedInstruction d;
        N = decodeAt(A, d) ? A + d.Length : static_cast<int64_t>(static_cast<uint64_t>(A) + 1);
    };
    View.OnGetPrevAddr = [decodeAt](TDisassemblerLogic*, int64_t A, int64_t& P) {
        P = static_cast<int64_t>(static_cast<uint64_t>(A) - 1);
        if (A <= kBase) return;
        for (int64_t from = std::max(kBase, A - 32); from < A; ++from) {
            int64_t a = from, last = from;
            TDecodedInstruction d;
            while (a < A && decodeAt(a, d)) {
                last = a;
                a += d.Length;
            }
            if (a == A) {
                P = last;
                return;
            }
        }
    };
    View.OnGetLabel = [](TDisassemblerLogic*, int64_t A, String& L, bool& R) {
        if ((A & 31) == 0) {
            L = u"L" + Str(std::to_string(A & 0xFFFF));
            R = true;
        }
    };
}

// A host whose answers are taken from the input.
void AttachHostileHost(TDisassemblerLogic& View, Input& In) {
    auto pick = [&In](int64_t A) -> int64_t {
        switch (In.Byte() % 6) {
        case 0: return A;  // stands still
        case 1: return static_cast<int64_t>(static_cast<uint64_t>(A) - (In.Byte() % 16));
        case 2: return std::numeric_limits<int64_t>::max() - (In.Byte() % 4);
        case 3: return std::numeric_limits<int64_t>::min() + (In.Byte() % 4);
        case 4: return In.Word();
        default: return static_cast<int64_t>(static_cast<uint64_t>(A) + 1 + In.Byte() % 15);
        }
    };
    View.OnDisassemble = [&In, pick](TDisassemblerLogic*, int64_t& A, String& R, int32_t& Size) {
        R = In.Byte() & 1 ? u"insn" : u"";
        Size = static_cast<int8_t>(In.Byte());
        A = pick(A);
    };
    View.OnGetNextAddr = [pick](TDisassemblerLogic*, int64_t A, int64_t& N) { N = pick(A); };
    View.OnGetPrevAddr = [pick](TDisassemblerLogic*, int64_t A, int64_t& P) { P = pick(A); };
    View.OnDisassembleAdditional = [&In](TDisassemblerLogic*, int64_t, int64_t, String& R, int32_t& N) {
        const uint8_t b = In.Byte();
        if (b & 1) R = u"\n\nextra\n";
        N = b & 0x80 ? static_cast<int32_t>(In.Word()) : b % 5;
    };
    View.OnGetLabel = [&In](TDisassemblerLogic*, int64_t, String& L, bool& R) {
        const uint8_t b = In.Byte();
        R = b & 1;
        if (b & 2) L = u"label";
    };
    View.OnFindSourceLine = [&In](TDisassemblerLogic*, int64_t A, int64_t& First, int32_t& Size,
                                  TCPUSourcePos& Pos) {
        const uint8_t b = In.Byte();
        if (b & 1) return;
        Pos = MakeCPUSourcePos(b % 3, In.Byte(), 0);
        First = b & 2 ? A : A - In.Byte();
        Size = static_cast<int32_t>(static_cast<int8_t>(In.Byte()));
    };
    View.OnFindLineCode = [&In](TDisassemblerLogic*, const TCPUSourcePos&, int64_t& A, int32_t& Size, bool& R) {
        A = In.Word();
        Size = In.Byte();
        R = true;
    };
    View.OnGetFileName = [](TDisassemblerLogic*, const TCPUSourcePos&, String& R) { R = u"/x/y.c"; };
    View.OnGetSourceText = [&In](TDisassemblerLogic*, const TCPUSourcePos&, String& R) {
        if (In.Byte() & 1) R = u"src";
    };
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    if (Size < 2) return 0;
    DecodeEveryOffset(Data + 1, Size - 1);

    Input in{Data, Size, 1};
    NullWindow window;
    NullCanvas canvas;
    TDisassemblerLogic view(&window);
    if (Data[0] & 1)
        AttachHostileHost(view, in);
    else
        AttachDecodingHost(view, Data + 1, Size - 1);
    view.SetAddressSize(Data[0] & 2 ? as64 : as32);
    view.SetMixedSource(Data[0] & 4);
    view.SetDisableCaching(Data[0] & 8);
    view.Resize(300, 130);
    view.FontChanged();
    view.SetTopAddress(kBase);
    view.Paint(canvas);

    in.Pos = Size / 2;  // the second half drives the view
    for (int op = 0; op < 64 && !in.Done(); ++op) {
        const uint8_t b = in.Byte();
        const TShiftState shift = in.Byte() & (ShiftBit(ssShift) | ShiftBit(ssCtrl) | ShiftBit(ssAlt));
        switch (b % 14) {
        case 0: view.KeyDown(VK_DOWN, shift); break;
        case 1: view.KeyDown(VK_UP, shift); break;
        case 2: view.KeyDown(VK_NEXT, shift); break;
        case 3: view.KeyDown(VK_PRIOR, shift); break;
        case 4: view.KeyDown(b & 16 ? VK_LEFT : VK_RIGHT, shift); break;
        case 5: view.MouseDown(b & 16 ? mbRight : mbLeft, shift, in.Byte(), in.Byte()); break;
        case 6: view.MouseMove(shift, in.Byte(), in.Byte()); break;
        case 7: view.MouseUp(mbLeft, shift, 0, 0); break;
        case 8: view.MouseWheel(static_cast<int8_t>(in.Byte()) / 32); break;
        case 9: view.Resize(in.Byte() * 4, in.Byte()); break;
        case 10: view.SetSelectedAddress(b & 16 ? in.Word() : kBase + in.Byte()); break;
        case 11: view.SetEndSelectionAddress(b & 16 ? in.Word() : kBase + in.Byte()); break;
        case 12: (void)view.GetSelectedText(); break;
        default:
            window.Focus = b & 16;
            view.VScroll(static_cast<TScrollCode>(in.Byte() % 7));
            break;
        }
        view.Paint(canvas);
    }
    return 0;
}
