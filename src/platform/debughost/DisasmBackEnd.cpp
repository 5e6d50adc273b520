#include "platform/debughost/DisasmBackEnd.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace ide {

namespace {

constexpr size_t kMaxInsn = 15;
constexpr uint64_t kBackSearch = 4096;  // longest run decoded again from a function start

void Append(String& Out, const char* Text) {
    for (; *Text; ++Text) Out.push_back(static_cast<Char>(static_cast<unsigned char>(*Text)));
}

void AppendHex(String& Out, uint64_t Value, int Digits) {
    static const char hex[] = "0123456789abcdef";
    for (int i = Digits - 1; i >= 0; --i) Out.push_back(static_cast<Char>(hex[(Value >> (4 * i)) & 15]));
}

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
    if (Address < FBias) return {};
    const TElfSymbol* s = FImage->SymbolContaining(Address - FBias);
    if (!s) return {};
    const uint64_t off = Address - FBias - s->Address;
    if (off == 0) return s->Name;
    char buf[24];
    std::snprintf(buf, sizeof buf, "+0x%" PRIx64, off);
    return s->Name + buf;
}

String TDisasmBackEnd::InstructionText(uint64_t& Address, bool Small) const {
    uint8_t bytes[kMaxInsn];
    const size_t got = Read(Address, bytes, kMaxInsn);
    String out;
    out.reserve(80);
    AppendHex(out, Address, 16);
    Append(out, "  ");
    if (got == 0) {
        Append(out, Small ? "<unreadable>" : "??                        <unreadable>");
        Address += 1;
        return out;
    }
    const TDecodedInstruction d = FDecoder.Decode(Address, bytes, got);
    if (!Small) {
        const int shown = std::min(d.Length, 8);
        for (int i = 0; i < shown; ++i) {
            AppendHex(out, bytes[i], 2);
            out.push_back(u' ');
        }
        Append(out, d.Length > shown ? ".." : "  ");
        for (int i = shown * 3 + 2; i < 26; ++i) out.push_back(u' ');
    }
    Append(out, d.Text.c_str());
    if (d.HasTarget) {
        const std::string name = SymbolName(d.Target);
        if (!name.empty()) {
            Append(out, " <");
            Append(out, name.c_str());
            out.push_back(u'>');
        }
    }
    Address += static_cast<uint64_t>(d.Length);
    return out;
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

void TDisasmBackEnd::Attach(TDisassemblerLogic& View) {
    View.SetAddressSize(as64);
    View.OnDisassemble = [this](TDisassemblerLogic* Sender, int64_t& A, String& Result, int32_t& Size) {
        uint64_t a = static_cast<uint64_t>(A);
        Result = InstructionText(a, Sender->SmallDisplay());
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
        if (!CallTargetLines) return;
        uint8_t bytes[kMaxInsn];
        const size_t got = Read(static_cast<uint64_t>(A), bytes, kMaxInsn);
        if (!got) return;
        const TDecodedInstruction d = FDecoder.Decode(static_cast<uint64_t>(A), bytes, got, false);
        if (!d.IsCall || !d.HasTarget) return;
        const std::string name = SymbolName(d.Target);
        if (name.empty()) return;
        Text = Str("; call " + name);
        Count = 1;
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
