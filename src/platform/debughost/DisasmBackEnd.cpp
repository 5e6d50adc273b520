#include "platform/debughost/DisasmBackEnd.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <bit>
#include <cstring>

namespace ide {

namespace {

constexpr size_t kMaxInsn = 15;
constexpr uint64_t kBackSearch = 4096;  // longest run decoded again from a function start

// Lines are built as bytes and widened once: the texts are ASCII.
struct LineBuffer {
    char Data[320];
    size_t Size = 0;
    void Add(const char* Text) {
        while (*Text && Size < sizeof Data) Data[Size++] = *Text++;
    }
    void Add(const std::string& Text) {
        const size_t n = std::min(Text.size(), sizeof Data - Size);
        std::memcpy(Data + Size, Text.data(), n);
        Size += n;
    }
    void Add(char C) {
        if (Size < sizeof Data) Data[Size++] = C;
    }
    void Hex(uint64_t Value, int Digits) {
        static const char hex[] = "0123456789abcdef";
        if (Digits < 0 || Size + size_t(Digits) > sizeof Data) {
            for (int i = Digits - 1; i >= 0; --i) Add(hex[(Value >> (4 * i)) & 15]);
            return;
        }
        for (int i = Digits - 1; i >= 0; --i, Value >>= 4) Data[Size + size_t(i)] = hex[Value & 15];
        Size += size_t(Digits);
    }
    // An address as 16 digits, eight at a time: every nibble spread into a
    // byte of its own, turned into its digit with no branch, the eight
    // bytes put most significant first.
    void Hex16(uint64_t Value) {
        static_assert(std::endian::native == std::endian::little, "the digits are stored as one word");
        if (Size + 16 > sizeof Data) return Hex(Value, 16);
        for (int half = 0; half < 2; ++half) {
            uint64_t x = half == 0 ? Value >> 32 : Value & 0xFFFFFFFFu;
            x = (x | (x << 16)) & 0x0000FFFF0000FFFFull;
            x = (x | (x << 8)) & 0x00FF00FF00FF00FFull;
            x = (x | (x << 4)) & 0x0F0F0F0F0F0F0F0Full;  // nibble i in byte i
            const uint64_t letters = ((x + 0x0606060606060606ull) >> 4) & 0x0101010101010101ull;
            x = __builtin_bswap64(x + 0x3030303030303030ull + letters * ('a' - '0' - 10));
            std::memcpy(Data + Size, &x, 8);
            Size += 8;
        }
    }
    // A byte as two digits and a space; the caller has made room.
    void HexByteAndSpace(uint8_t Value) {
        static const char hex[] = "0123456789abcdef";
        Data[Size] = hex[Value >> 4];
        Data[Size + 1] = hex[Value & 15];
        Data[Size + 2] = ' ';
        Size += 3;
    }
    void PadTo(size_t Column) {
        const size_t end = std::min(Column, sizeof Data);
        if (Size < end) std::memset(Data + Size, ' ', end - Size);
        Size = std::max(Size, end);
    }
    // Into a string whose capacity is kept: widened on the stack and copied
    // in, so the string is not filled with zeros first.
    void WidenTo(String& Text) const {
        char16_t wide[sizeof Data];
        Widen(reinterpret_cast<const unsigned char*>(Data), wide, Size);
        Text.assign(wide, Size);
    }
    // Blocks of 16, the last one overlapping the one before it: the fixed
    // inner loop becomes vector instructions and no character is left for a
    // loop of single steps.
    static void Widen(const unsigned char* __restrict From, char16_t* __restrict To, size_t N) {
        if (N < 16) {
            for (size_t i = 0; i < N; ++i) To[i] = From[i];
            return;
        }
        for (size_t i = 0;; i += 16) {
            if (i + 16 > N) i = N - 16;
            for (size_t j = 0; j < 16; ++j) To[i + j] = From[i + j];
            if (i + 16 == N) return;
        }
    }
};

}  // namespace

TDisasmBackEnd::TDisasmBackEnd(std::shared_ptr<TElfImage> Image) : FImage(std::move(Image)) {}

TDisasmBackEnd::TDisasmBackEnd(TDebugProcess& Process, std::shared_ptr<TElfImage> Image)
    : FProcess(&Process), FImage(std::move(Image)) {
    if (FImage->PositionIndependent() && Process.Stopped()) {
        const uint64_t base = Process.LoadBase();
        if (base) FBias = base - FImage->LowestLoadAddress();
    }
}

std::string TDisasmBackEnd::StatusText() const {
    if (!FProcess) return "Static disassembly of " + FImage->Path();
    return FProcess->StatusText();
}

size_t TDisasmBackEnd::Read(uint64_t Address, uint8_t* Buffer, size_t Size) const {
    if (FProcess && FProcess->Stopped()) return FProcess->ReadMemory(Address, Buffer, Size);
    // Static mode, or a program that is gone: the file's own bytes.
    if (Address < FBias) return 0;
    return FImage->ReadMemory(Address - FBias, Buffer, Size);
}

std::string TDisasmBackEnd::SymbolName(uint64_t Address) const {
    LineBuffer line;
    AddSymbolName(Address, line);
    return std::string(line.Data, line.Size);
}

template <class Buffer>
bool TDisasmBackEnd::AddSymbolName(uint64_t Address, Buffer& Line) const {
    if (Address < FBias) return false;
    const TElfSymbol* s = FImage->SymbolContaining(Address - FBias);
    if (!s) return false;
    Line.Add(s->Name);
    const uint64_t off = Address - FBias - s->Address;
    if (off != 0) {
        Line.Add("+0x");
        int digits = 1;
        while (digits < 16 && (off >> (4 * digits)) != 0) ++digits;
        Line.Hex(off, digits);
    }
    return true;
}

String TDisasmBackEnd::InstructionText(uint64_t& Address, bool Small) const {
    String text;
    InstructionText(Address, Small, text);
    return text;
}

void TDisasmBackEnd::InstructionText(uint64_t& Address, bool Small, String& Text) const {
    uint8_t bytes[kMaxInsn];
    const size_t got = Read(Address, bytes, kMaxInsn);
    LineBuffer line;
    line.Hex16(Address);
    line.Add("  ");
    if (got == 0) {
        line.Add(Small ? "<unreadable>" : "??                        <unreadable>");
        Address += 1;
        line.WidenTo(Text);
        return;
    }
    // The bytes column is written after the decode, which gives the length;
    // the instruction's text goes straight behind where that column ends.
    const size_t bytesAt = line.Size;
    const size_t textAt = Small ? bytesAt : bytesAt + 26;
    TDecodedInstruction d;
    const size_t n = FDecoder.DecodeTo(Address, bytes, got, d, line.Data + textAt, sizeof line.Data - textAt);
    if (!Small) {
        line.Size = bytesAt;
        const int shown = std::min(d.Length, 8);  // 24 columns of the 26 at most
        for (int i = 0; i < shown; ++i) line.HexByteAndSpace(bytes[i]);
        if (d.Length > shown) line.Add("..");
        line.PadTo(textAt);
    }
    line.Size = textAt + n;
    if (d.HasTarget) {
        const size_t before = line.Size;
        line.Add(" <");
        if (AddSymbolName(d.Target, line))
            line.Add('>');
        else
            line.Size = before;
    }
    Address += static_cast<uint64_t>(d.Length);
    line.WidenTo(Text);
}

uint64_t TDisasmBackEnd::NextAddress(uint64_t Address) const {
    uint8_t bytes[kMaxInsn];
    const size_t got = Read(Address, bytes, kMaxInsn);
    const int len = got ? FDecoder.Length(bytes, got) : 0;
    return Address + static_cast<uint64_t>(len > 0 ? len : 1);
}

uint64_t TDisasmBackEnd::PreviousAddress(uint64_t Address) const {
    if (Address == 0) return 0;
    // Decodes forward from From; the start of the instruction that reaches
    // Address, and whether the walk landed on Address exactly.
    auto walk = [&](uint64_t From, bool& Landed) {
        uint64_t a = From, last = From;
        while (a < Address) {
            last = a;
            a = NextAddress(a);
        }
        Landed = a == Address;
        return last;
    };
    if (Address > FBias) {
        const TElfSymbol* s = FImage->SymbolContaining(Address - 1 - FBias);
        if (s && Address - (s->Address + FBias) <= kBackSearch) {
            bool landed = false;
            const uint64_t prev = walk(s->Address + FBias, landed);
            if (landed) return prev;
        }
    }
    // No function start to trust: the earliest start within reach that falls
    // into step with Address.
    for (uint64_t back = 48; back >= 1; --back) {
        if (back > Address) continue;
        bool landed = false;
        const uint64_t prev = walk(Address - back, landed);
        if (landed) return prev;
    }
    return Address - 1;
}

std::string TDisasmBackEnd::LabelAt(uint64_t Address) const {
    if (Address < FBias) return {};
    const TElfSymbol* s = FImage->SymbolAt(Address - FBias);
    return s ? s->Name : std::string();
}

void TDisasmBackEnd::Detach(TDisassemblerLogic& View) {
    View.OnDisassemble = nullptr;
    View.OnGetNextAddr = nullptr;
    View.OnGetPrevAddr = nullptr;
    View.OnGetLabel = nullptr;
    View.OnDisassembleAdditional = nullptr;
    View.OnFindSourceLine = nullptr;
    View.OnFindLineCode = nullptr;
    View.OnGetFileName = nullptr;
    View.OnGetSourceText = nullptr;
    View.OnIsBreakpoint = nullptr;
}

void TDisasmBackEnd::Attach(TDisassemblerLogic& View) {
    View.SetAddressSize(as64);
    View.OnDisassemble = [this](TDisassemblerLogic* Sender, int64_t& A, String& Result, int32_t& Size) {
        uint64_t a = static_cast<uint64_t>(A);
        InstructionText(a, Sender->SmallDisplay(), Result);
        Size = static_cast<int32_t>(a - static_cast<uint64_t>(A));
        A = static_cast<int64_t>(a);
    };
    View.OnGetNextAddr = [this](TDisassemblerLogic*, int64_t A, int64_t& N) {
        N = static_cast<int64_t>(NextAddress(static_cast<uint64_t>(A)));
    };
    View.OnGetPrevAddr = [this](TDisassemblerLogic*, int64_t A, int64_t& P) {
        P = static_cast<int64_t>(PreviousAddress(static_cast<uint64_t>(A)));
    };
    View.OnGetLabel = [this](TDisassemblerLogic*, int64_t A, String& Label, bool& Result) {
        const std::string name = LabelAt(static_cast<uint64_t>(A));
        Label = Str(name);
        Result = !name.empty();
    };
    View.OnDisassembleAdditional = [this](TDisassemblerLogic*, int64_t A, int64_t, String& Text, int32_t& Count) {
        // A function whose first instruction starts a source line would show
        // the line, not its name: the name comes as an additional line.
        std::string lines;
        const std::string label = LabelAt(static_cast<uint64_t>(A));
        if (!label.empty() && static_cast<uint64_t>(A) >= FBias) {
            const TLineRange* r = FImage->LineAt(static_cast<uint64_t>(A) - FBias);
            if (r && r->Start + FBias == static_cast<uint64_t>(A)) {
                lines = label + ":";
                Count = 1;
            }
        }
        Text = Str(lines);
        if (!CallTargetLines) return;
        uint8_t bytes[kMaxInsn];
        const size_t got = Read(static_cast<uint64_t>(A), bytes, kMaxInsn);
        if (!got) return;
        const TDecodedInstruction d = FDecoder.Decode(static_cast<uint64_t>(A), bytes, got, false);
        if (!d.IsCall || !d.HasTarget) return;
        const std::string name = SymbolName(d.Target);
        if (name.empty()) return;
        Text = Str(lines.empty() ? "; call " + name : lines + "\n; call " + name);
        Count += 1;
    };
    View.OnFindSourceLine = [this](TDisassemblerLogic*, int64_t A, int64_t& FirstStat, int32_t& LineSize,
                                   TCPUSourcePos& Pos) {
        const uint64_t a = static_cast<uint64_t>(A);
        if (a < FBias) return;
        const TLineRange* r = FImage->LineAt(a - FBias);
        if (!r) return;
        FirstStat = static_cast<int64_t>(r->Start + FBias);
        LineSize = static_cast<int32_t>(r->End - r->Start);
        Pos = MakeCPUSourcePos(r->FileIndex, r->Line, 0);
    };
    View.OnFindLineCode = [this](TDisassemblerLogic*, const TCPUSourcePos& Pos, int64_t& A, int32_t& LineSize,
                                 bool& Result) {
        const TLineRange* r = FImage->LineCode(Pos.FileIndex, Pos.LineNum);
        if (!r) return;
        A = static_cast<int64_t>(r->Start + FBias);
        LineSize = static_cast<int32_t>(r->End - r->Start);
        Result = true;
    };
    View.OnGetFileName = [this](TDisassemblerLogic*, const TCPUSourcePos& Pos, String& Name) {
        Name = Str(FImage->FileName(Pos.FileIndex));
    };
    View.OnGetSourceText = [this](TDisassemblerLogic*, const TCPUSourcePos& Pos, String& Text) {
        Text = Str(FImage->SourceText(Pos.FileIndex, Pos.LineNum));
    };
    View.OnIsBreakpoint = [this](TDisassemblerLogic*, int64_t A, bool& Result) {
        Result = FProcess && FProcess->IsBreakpoint(static_cast<uint64_t>(A));
    };
}

}  // namespace ide
