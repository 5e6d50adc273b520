// The debug host over a real program: a -g -O0 debuggee built with the tests
// is run to a breakpoint; the disassembly, the source line and stepping are
// checked through the same events the disassembler view uses; the program's
// end, a kill, unreadable memory, garbage code and damaged files must leave
// defined answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <Zydis/Zydis.h>

#include "platform/debughost/DisasmBackEnd.h"

using namespace ide;

namespace {

const std::string kDebuggee = IDE_TEST_DEBUGGEE;

struct StoppedAtAdd : ::testing::Test {
    std::shared_ptr<TElfImage> image = TElfImage::Open(kDebuggee);
    TDebugProcess process;
    std::unique_ptr<TDisasmBackEnd> backEnd;
    TDisassemblerLogic view;
    uint64_t addLine = 0;  // first code of "int c = a + b;"

    void SetUp() override {
        process.Start(kDebuggee);
        backEnd = std::make_unique<TDisasmBackEnd>(process, image);
        backEnd->Attach(view);
        const uint32_t file = image->FileIndexOf("debuggee.c");
        ASSERT_GT(file, 0u);
        const TLineRange* line = image->LineCode(file, 6);
        ASSERT_NE(line, nullptr);
        addLine = backEnd->ToProgram(line->Start);
        process.SetBreakpoint(addLine);
        ASSERT_EQ(process.Continue(), psStopped);
        ASSERT_EQ(process.InstructionPointer(), addLine);
    }
};

TEST_F(StoppedAtAdd, TheViewShowsTheSourceLineLabelAndCodeAtTheBreakpoint) {
    int64_t first = 0;
    int32_t size = 0;
    const TCPUSourcePos pos = view.FindSourceLine(static_cast<int64_t>(addLine), first, size);
    EXPECT_EQ(pos.LineNum, 6u);
    EXPECT_EQ(first, static_cast<int64_t>(addLine));
    EXPECT_GT(size, 0);
    EXPECT_EQ(view.GetSourceText(pos), u"    int c = a + b;");
    EXPECT_TRUE(view.GetFileName(pos).ends_with(u"debuggee.c"));

    // The function's label, and its first instruction (the int3 is hidden).
    const uint64_t add = backEnd->ToProgram(image->FindSymbol("add")->Address);
    String label;
    EXPECT_TRUE(view.GetLabel(static_cast<int64_t>(add), label));
    EXPECT_EQ(label, u"add");
    String addl;  // the source header hides the label: it comes as an additional line
    EXPECT_EQ(view.DisassembleAdditionalAt(static_cast<int64_t>(add), addl), 1);
    EXPECT_EQ(addl, u"add:");
    int64_t a = static_cast<int64_t>(add);
    String text;
    view.DisassembleAt(a, text);
    EXPECT_TRUE(text.ends_with(u"push rbp")) << Utf8(text);
    EXPECT_EQ(a, static_cast<int64_t>(add + 1));
    EXPECT_EQ(view.GetPrevAddr(a), static_cast<int64_t>(add));

    a = static_cast<int64_t>(addLine);
    view.DisassembleAt(a, text);
    EXPECT_EQ(text.find(u"cc "), String::npos) << Utf8(text);  // the original byte, not the int3
    EXPECT_TRUE(view.IsBreakpoint(static_cast<int64_t>(addLine)));

    // main's call names its target, in the line and in an additional line.
    const TElfSymbol* main = image->FindSymbol("main");
    int64_t m = static_cast<int64_t>(backEnd->ToProgram(main->Address));
    bool sawCall = false;
    for (int i = 0; i < 40 && !sawCall; ++i) {
        String addl;
        const int64_t here = m;
        view.DisassembleAt(m, text);
        if (text.find(u"call") != String::npos) {
            sawCall = true;
            EXPECT_TRUE(text.ends_with(u"<add>")) << Utf8(text);
            EXPECT_EQ(view.DisassembleAdditionalAt(here, addl), 1);
            EXPECT_EQ(addl, u"; call add");
        }
    }
    EXPECT_TRUE(sawCall);
}

TEST_F(StoppedAtAdd, SteppingFollowsTheDecodedStreamAndTheLoopHitsTheBreakpointAgain) {
    const int64_t next = view.GetNextAddr(static_cast<int64_t>(addLine));
    ASSERT_EQ(process.Step(), psStopped);  // off the breakpoint, transparently
    EXPECT_EQ(process.InstructionPointer(), static_cast<uint64_t>(next));
    ASSERT_EQ(process.Step(), psStopped);
    EXPECT_EQ(process.InstructionPointer(), static_cast<uint64_t>(view.GetNextAddr(next)));

    user_regs_struct regs{};
    ASSERT_TRUE(process.GetRegisters(regs));
    EXPECT_EQ(regs.rip, process.InstructionPointer());
    EXPECT_NE(regs.rsp, 0u);

    ASSERT_EQ(process.Continue(), psStopped);  // the second round of the loop
    EXPECT_EQ(process.InstructionPointer(), addLine);
    EXPECT_FALSE(process.ToggleBreakpoint(addLine));
    EXPECT_EQ(process.Continue(), psExited);
    EXPECT_EQ(process.ExitCode(), 7);
    EXPECT_EQ(process.StatusText(), "Process exited with code 7");

    // The view stays usable: the code now comes from the file.
    int64_t a = static_cast<int64_t>(addLine);
    String text;
    view.ClearCache();
    view.DisassembleAt(a, text);
    EXPECT_NE(text.find(u"mov"), String::npos) << Utf8(text);
    EXPECT_FALSE(view.IsBreakpoint(static_cast<int64_t>(addLine)));
    EXPECT_EQ(process.Step(), psExited);
    EXPECT_EQ(process.InstructionPointer(), 0u);
}

TEST_F(StoppedAtAdd, MemoryReadsSeeWhatTheProgramAndTheBreakpointsWroteSince) {
    // add(0, 1): "int c = a + b;" stores 1 into c. Pages read before a step
    // must not answer after it.
    user_regs_struct regs{};
    ASSERT_TRUE(process.GetRegisters(regs));
    const uint64_t c = regs.rbp - 4;  // -O0 keeps c in the frame, the first local
    int32_t before = 0;
    ASSERT_EQ(process.ReadMemory(c, &before, sizeof before), sizeof before);
    const TLineRange* line = image->LineAt(addLine - backEnd->Bias());
    ASSERT_NE(line, nullptr);
    for (int i = 0; i < 20 && process.InstructionPointer() < line->End + backEnd->Bias(); ++i)
        ASSERT_EQ(process.Step(), psStopped);
    int32_t after = 0;
    ASSERT_EQ(process.ReadMemory(c, &after, sizeof after), sizeof after);
    EXPECT_EQ(after, 1) << "before the line: " << before;

    // A removed breakpoint shows the code byte that was put back, not the
    // int3 of a page read while it was set.
    uint8_t first = 0;
    const uint64_t add = backEnd->ToProgram(image->FindSymbol("add")->Address);
    process.SetBreakpoint(add);
    ASSERT_EQ(process.Step(), psStopped);  // the page is read again with the int3 in it
    ASSERT_EQ(process.ReadMemory(add, &first, 1), 1u);
    EXPECT_EQ(first, 0x55);  // push rbp, under the int3
    process.RemoveBreakpoint(add);
    ASSERT_EQ(process.ReadMemory(add, &first, 1), 1u);
    EXPECT_EQ(first, 0x55);
    // A read across a page boundary of the stack comes back whole, and as
    // the two halves read apart.
    uint64_t stackEnd = 0;
    for (const TMemoryRegion& r : process.Maps())
        if (r.Start <= regs.rsp && regs.rsp < r.End) stackEnd = r.End;
    const uint64_t boundary = (regs.rsp | 4095) + 1;
    if (boundary + 32 <= stackEnd) {
        uint8_t whole[64], low[32], high[32];
        EXPECT_EQ(process.ReadMemory(boundary - 32, whole, sizeof whole), sizeof whole);
        ASSERT_EQ(process.ReadMemory(boundary - 32, low, sizeof low), sizeof low);
        ASSERT_EQ(process.ReadMemory(boundary, high, sizeof high), sizeof high);
        EXPECT_EQ(std::memcmp(whole, low, 32), 0);
        EXPECT_EQ(std::memcmp(whole + 32, high, 32), 0);
    }
}

TEST_F(StoppedAtAdd, UnreadableMemoryAndAKilledProgramGiveDefinedLines) {
    uint8_t byte = 0;
    EXPECT_EQ(process.ReadMemory(0x10, &byte, 1), 0u);
    int64_t a = 0x10;
    String text;
    view.DisassembleAt(a, text);
    EXPECT_EQ(text, u"0000000000000010  ??                        <unreadable>");
    EXPECT_EQ(a, 0x11);

    // A read running off the end of a mapping keeps the part before it.
    uint64_t end = 0;
    for (const TMemoryRegion& r : process.Maps())
        if (r.Readable() && r.Path.ends_with("debuggee")) end = std::max(end, r.End);
    ASSERT_NE(end, 0u);
    uint8_t buf[32];
    const size_t got = process.ReadMemory(end - 8, buf, sizeof buf);
    EXPECT_LE(got, 8u);

    process.Kill();
    EXPECT_EQ(process.State(), psKilled);
    EXPECT_EQ(process.StatusText(), "Process killed by signal 9");
    EXPECT_EQ(backEnd->StatusText(), "Process killed by signal 9");
    user_regs_struct regs{};
    EXPECT_FALSE(process.GetRegisters(regs));
}

TEST(StaticImage, DisassemblesAFilesTextAndSaysWhatIsMissing) {
    auto image = TElfImage::Open(kDebuggee);
    EXPECT_TRUE(image->HasDebugInfo());
    TDisasmBackEnd backEnd(image);
    TDisassemblerLogic view;
    backEnd.Attach(view);
    // Decoding the whole .text in steps lands exactly on its end.
    uint64_t a = image->TextAddress();
    int guard = 0;
    while (a < image->TextEnd() && ++guard < 100000) a = backEnd.NextAddress(a);
    EXPECT_EQ(a, image->TextEnd());
    // Past the end of the file's code: one defined line, then the next byte.
    int64_t past = static_cast<int64_t>(image->TextEnd() + 0x100000);
    String text;
    view.DisassembleAt(past, text);
    EXPECT_TRUE(text.ends_with(u"<unreadable>"));
    EXPECT_EQ(past, static_cast<int64_t>(image->TextEnd() + 0x100001));

    // A system program without debug information still disassembles.
    if (std::filesystem::exists("/usr/bin/ls")) {
        auto ls = TElfImage::Open("/usr/bin/ls");
        EXPECT_FALSE(ls->HasDebugInfo());
        EXPECT_EQ(ls->DebugInfoMessage(), "No debug information in /usr/bin/ls");
        TDisasmBackEnd lsEnd(ls);
        uint64_t at = ls->TextAddress();
        const String line = lsEnd.InstructionText(at, false);
        EXPECT_GT(at, ls->TextAddress());
        EXPECT_EQ(line.find(u"(bad)"), String::npos);
    }
}

TEST(StaticImage, LinesKeepTheirColumnsAndTheDecoderFitsAnyBuffer) {
    auto image = TElfImage::Open(kDebuggee);
    TDisasmBackEnd backEnd(image);
    const uint64_t add = image->FindSymbol("add")->Address;
    char address[20];
    std::snprintf(address, sizeof address, "%016llx  ", static_cast<unsigned long long>(add));
    uint64_t a = add;
    String line = u"a longer line that was here before and must not show through";
    backEnd.InstructionText(a, false, line);  // into a string that already holds text
    EXPECT_EQ(Utf8(line), std::string(address) + "55                        push rbp");
    EXPECT_EQ(a, add + 1);
    a = add;
    EXPECT_EQ(backEnd.InstructionText(a, true), Str(std::string(address) + "push rbp"));

    // A call in main names its target; an address inside a function is
    // named by the function and the offset in hexadecimal.
    const TElfSymbol* main = image->FindSymbol("main");
    bool sawCall = false;
    for (uint64_t m = main->Address; m < main->Address + main->Size && !sawCall;) {
        const String text = backEnd.InstructionText(m, false);
        if (text.find(u"call ") != String::npos) {
            sawCall = true;
            EXPECT_TRUE(text.ends_with(u" <add>")) << Utf8(text);
        }
    }
    EXPECT_TRUE(sawCall);
    // Every "<name+0xoffset>" in the file's code is the branch target.
    int named = 0;
    for (uint64_t m = image->TextAddress(); m < image->TextEnd();) {
        const std::string text = Utf8(backEnd.InstructionText(m, false));
        const size_t open = text.find(" <");
        const size_t plus = text.find("+0x", open);
        if (open == std::string::npos || plus == std::string::npos) continue;
        const uint64_t target = std::stoull(text.substr(text.rfind(' ', open - 1) + 1), nullptr, 16);
        const TElfSymbol* s = image->FindSymbol(text.substr(open + 2, plus - open - 2));
        ASSERT_NE(s, nullptr) << text;
        EXPECT_EQ(text.substr(plus + 3, text.size() - plus - 4).find_first_not_of("0123456789abcdef"), std::string::npos)
            << text;
        EXPECT_EQ(s->Address + std::stoull(text.substr(plus + 3), nullptr, 16), target) << text;
        ++named;
    }
    EXPECT_GT(named, 0);

    TX86Decoder decoder;
    const uint8_t jmpBack[] = {0xEB, 0xFE};  // jmp to itself
    a = add + 4;
    TDecodedInstruction facts;
    char text[64];
    ASSERT_GT(decoder.DecodeTo(a, jmpBack, sizeof jmpBack, facts, text, sizeof text), 0u);
    EXPECT_TRUE(facts.HasTarget);
    EXPECT_EQ(facts.Target, add + 4);
    EXPECT_EQ(decoder.Decode(a, jmpBack, sizeof jmpBack).Text, std::string(text));
    // Too small a buffer still gets a NUL-ended text, and no more than fits.
    const uint8_t mov[] = {0x48, 0x89, 0xE5};
    char tiny[4] = {'#', '#', '#', '#'};
    const size_t n = decoder.DecodeTo(0x1000, mov, sizeof mov, facts, tiny, sizeof tiny);
    EXPECT_LT(n, sizeof tiny);
    EXPECT_EQ(tiny[n], 0);
    EXPECT_TRUE(facts.Valid);
    EXPECT_EQ(facts.Length, 3);
    EXPECT_EQ(decoder.Decode(0x1000, mov, sizeof mov).Text, "mov rbp, rsp");
    // Without a buffer only the facts are found.
    EXPECT_EQ(decoder.DecodeTo(0x1000, mov, sizeof mov, facts, nullptr, 0), 0u);
    EXPECT_EQ(facts.Length, 3);
}

// An instruction's text straight from Zydis, decoded and formatted afresh:
// the reference for the decoder, which keeps texts it has made.
struct TPlainZydis {
    ZydisDecoder Decoder;
    ZydisFormatter Formatter;
    TPlainZydis() {
        ZydisDecoderInit(&Decoder, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64);
        ZydisFormatterInit(&Formatter, ZYDIS_FORMATTER_STYLE_INTEL);
    }
    // The text, "(bad)" for no instruction; Length and Target as the decoder
    // reports them.
    std::string Text(uint64_t Address, const uint8_t* Bytes, size_t Size, int& Length, bool& HasTarget,
                     uint64_t& Target) const {
        ZydisDecodedInstruction insn;
        ZydisDecodedOperand ops[ZYDIS_MAX_OPERAND_COUNT];
        Length = 1;
        HasTarget = false;
        if (!ZYAN_SUCCESS(ZydisDecoderDecodeFull(&Decoder, Bytes, Size, &insn, ops))) return "(bad)";
        Length = insn.length;
        const bool branch = insn.meta.category == ZYDIS_CATEGORY_CALL || insn.meta.category == ZYDIS_CATEGORY_COND_BR ||
                            insn.meta.category == ZYDIS_CATEGORY_UNCOND_BR;
        if (branch && insn.operand_count_visible > 0 && ops[0].type == ZYDIS_OPERAND_TYPE_IMMEDIATE &&
            ops[0].imm.is_relative)
            HasTarget = ZYAN_SUCCESS(ZydisCalcAbsoluteAddress(&insn, &ops[0], Address, &Target));
        char buf[256];
        if (!ZYAN_SUCCESS(ZydisFormatterFormatInstruction(&Formatter, &insn, ops, insn.operand_count_visible, buf,
                                                          sizeof buf, Address, nullptr)))
            return "(bad)";
        return buf;
    }
};

// The line of one instruction composed the plain way, from Zydis and the
// symbol table alone: what every faster path must still print.
std::string ComposedLine(const TElfImage& Image, const TPlainZydis& Zydis, uint64_t Address, uint64_t& Next) {
    uint8_t bytes[15];
    const size_t got = Image.ReadMemory(Address, bytes, sizeof bytes);
    char head[24];
    std::snprintf(head, sizeof head, "%016llx  ", static_cast<unsigned long long>(Address));
    if (got == 0) {
        Next = Address + 1;
        return std::string(head) + "??                        <unreadable>";
    }
    int length = 1;
    bool hasTarget = false;
    uint64_t target = 0;
    const std::string text = Zydis.Text(Address, bytes, got, length, hasTarget, target);
    std::string column;
    for (int i = 0; i < std::min(length, 8); ++i) {
        char b[4];
        std::snprintf(b, sizeof b, "%02x ", bytes[i]);
        column += b;
    }
    if (length > 8) column += "..";
    column.resize(26, ' ');
    std::string line = head + column + text;
    if (hasTarget) {
        if (const TElfSymbol* s = Image.SymbolContaining(target)) {
            line += " <" + s->Name;
            if (target != s->Address) {
                char off[24];
                std::snprintf(off, sizeof off, "+0x%llx", static_cast<unsigned long long>(target - s->Address));
                line += off;
            }
            line += ">";
        }
    }
    Next = Address + static_cast<uint64_t>(length);
    return line;
}

std::string LibCPath() {
    std::error_code ec;
    for (const char* p : {"/lib/x86_64-linux-gnu/libc.so.6", "/usr/lib/x86_64-linux-gnu/libc.so.6"})
        if (std::filesystem::exists(p, ec)) return p;
    return {};
}

TEST(StaticImage, TheViewPrintsWhatTheDecoderAndSymbolsComposeColdAndWarm) {
    // The whole debuggee, a stretch of the C library with its many kinds of
    // instruction, and addresses outside any code; through a new view (every
    // answer from the back end), through the same view again (every answer
    // from the memo), and from the back end directly.
    std::vector<std::pair<std::shared_ptr<TElfImage>, size_t>> files{{TElfImage::Open(kDebuggee), SIZE_MAX}};
    if (const std::string libc = LibCPath(); !libc.empty()) files.emplace_back(TElfImage::Open(libc), 40000);
    const TPlainZydis zydis;
    for (const auto& [image, limit] : files) {
        TDisasmBackEnd backEnd(image);
        TDisassemblerLogic view;
        backEnd.Attach(view);
        view.SetSmallDisplay(false);
        std::vector<std::string> expected;
        std::vector<uint64_t> starts;
        uint64_t a = image->TextAddress();
        while (a < image->TextEnd() && expected.size() < limit) {
            starts.push_back(a);
            expected.push_back(ComposedLine(*image, zydis, a, a));
        }
        const uint64_t end = a;
        // Unreadable addresses, at the top of the address space too.
        for (uint64_t far : {uint64_t(0x10), uint64_t(0xFFFFFFFFFFFFFFF0), uint64_t(0x0123456789ABCDEF)}) {
            uint64_t n = 0;
            starts.push_back(far);
            expected.push_back(ComposedLine(*image, zydis, far, n));
        }
        for (int pass = 0; pass < 2; ++pass) {
            String text;
            for (size_t i = 0; i < starts.size(); ++i) {
                int64_t at = static_cast<int64_t>(starts[i]);
                view.DisassembleAt(at, text);
                ASSERT_EQ(Utf8(text), expected[i]) << image->Path() << " pass " << pass;
                if (i + 1 < starts.size() && starts[i + 1] > starts[i] && starts[i + 1] <= end) {
                    ASSERT_EQ(static_cast<uint64_t>(at), starts[i + 1]);
                }
            }
        }
        uint64_t direct = starts.front();
        String line;
        backEnd.InstructionText(direct, false, line);
        EXPECT_EQ(Utf8(line), expected.front());
    }
}

TEST(StaticImage, ReadsInAnyOrderGetTheFilesBytesAndStopAtTheEndOfASection) {
    // Reads one after the other, jumps back and forth, reads that run past
    // the end of .text and reads outside every section: the bytes are the
    // file's own, whatever the previous read was.
    auto image = TElfImage::Open(kDebuggee);
    const std::vector<uint8_t>& text = image->Text();
    const uint64_t start = image->TextAddress();
    ASSERT_GT(text.size(), 64u);
    uint64_t seed = 99;
    auto next = [&] {
        seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
        return seed;
    };
    for (int i = 0; i < 3000; ++i) {
        uint64_t offset = next() % text.size();
        if (i % 3 == 0) offset = static_cast<uint64_t>(i / 3) % text.size();  // one after the other
        uint8_t buf[15] = {};
        const size_t got = image->ReadMemory(start + offset, buf, sizeof buf);
        // .text may be followed directly by another section: at least the
        // rest of .text comes back, and what comes from .text is its own.
        const size_t inText = std::min<size_t>(sizeof buf, text.size() - offset);
        ASSERT_GE(got, inText) << offset;
        ASSERT_EQ(std::vector<uint8_t>(buf, buf + inText),
                  std::vector<uint8_t>(text.begin() + static_cast<std::ptrdiff_t>(offset),
                                       text.begin() + static_cast<std::ptrdiff_t>(offset + inText)))
            << offset;
        if (i % 100 == 0) {
            EXPECT_EQ(image->ReadMemory(0x10, buf, sizeof buf), 0u);  // below every section
            EXPECT_EQ(image->ReadMemory(0xFFFFFFFFFFFFFF00, buf, sizeof buf), 0u);
        }
    }
}

TEST(Decoder, KeptTextsAreTheSameAsFreshOnesAndNeverThoseThatDependOnTheAddress) {
    TX86Decoder decoder;
    const TPlainZydis zydis;
    auto check = [&](uint64_t Address, std::vector<uint8_t> Bytes) {
        TDecodedInstruction d;
        char text[256];
        const size_t n = decoder.DecodeTo(Address, Bytes.data(), Bytes.size(), d, text, sizeof text);
        int length = 0;
        bool hasTarget = false;
        uint64_t target = 0;
        const std::string expected = zydis.Text(Address, Bytes.data(), Bytes.size(), length, hasTarget, target);
        EXPECT_EQ(std::string(text, n), expected) << std::hex << Address;
        EXPECT_EQ(d.Length, length);
        EXPECT_EQ(d.HasTarget, hasTarget);
        if (hasTarget) {
            EXPECT_EQ(d.Target, target);
        }
        return d;
    };
    for (uint64_t at : {0x1000ull, 0x2000ull, 0x7FFF00001234ull}) {
        check(at, {0x55});                                      // push rbp: the same everywhere
        check(at, {0x48, 0x8D, 0x05, 0x10, 0x00, 0x00, 0x00});  // lea rax, [rip+0x10]: not
        check(at, {0xE8, 0x00, 0x01, 0x00, 0x00});              // call rel32: not
        check(at, {0xEB, 0xFE});                                // jmp to itself: not
        check(at, {0xFF, 0x24, 0xC5, 0x00, 0x10, 0x00, 0x00});  // jmp [rax*8+0x1000]: the same
        const TDecodedInstruction call = check(at, {0xFF, 0xD0});  // call rax, from the memo the second time
        EXPECT_TRUE(call.IsCall);
        EXPECT_TRUE(call.IsBranch);
        EXPECT_FALSE(call.HasTarget);
        check(at, {0x06});  // no instruction
    }
    // A text cut short by a small buffer is not kept: asked again with room
    // enough, the whole text comes back.
    const uint8_t movabs[] = {0x48, 0xB8, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11};
    TDecodedInstruction d;
    char tiny[8];
    EXPECT_LT(decoder.DecodeTo(0x1000, movabs, sizeof movabs, d, tiny, sizeof tiny), sizeof tiny);
    EXPECT_EQ(decoder.Decode(0x1000, movabs, sizeof movabs).Text, "mov rax, 0x1122334455667788");
    // More distinct instructions than are kept, and each of them again.
    for (int round = 0; round < 2; ++round)
        for (uint32_t v = 0; v < 20000; ++v) {
            std::vector<uint8_t> mov = {0xB8, uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), 0x00};
            check(0x400000 + v, mov);
            if (HasFailure()) return;
        }
}

TEST(StaticImage, GarbageCodeAndDamagedFilesGiveClearAnswers) {
    TX86Decoder decoder;
    const uint8_t bad[] = {0x06};  // no such instruction in 64-bit mode
    TDecodedInstruction d = decoder.Decode(0x1000, bad, sizeof bad);
    EXPECT_FALSE(d.Valid);
    EXPECT_EQ(d.Length, 1);
    EXPECT_EQ(d.Text, "(bad)");
    const uint8_t cut[] = {0x48, 0x8b};  // mov, cut short
    EXPECT_FALSE(decoder.Decode(0x1000, cut, sizeof cut).Valid);
    const uint8_t call[] = {0xE8, 0x10, 0x00, 0x00, 0x00};
    d = decoder.Decode(0x1000, call, sizeof call);
    EXPECT_TRUE(d.IsCall);
    EXPECT_EQ(d.Target, 0x1015u);

    const std::filesystem::path dir = std::filesystem::temp_directory_path();
    const std::string junk = (dir / "ide_debughost_junk.bin").string();
    std::ofstream(junk) << "this is not a program";
    try {
        TElfImage::Open(junk);
        ADD_FAILURE() << "a text file opened as a program";
    } catch (const EDebugHostError& e) {
        EXPECT_EQ(std::string(e.what()), junk + " is not an ELF file");
    }
    // A real header whose sections lie past the end of the file.
    std::ifstream in(kDebuggee, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::string cutFile = (dir / "ide_debughost_cut.bin").string();
    std::ofstream(cutFile, std::ios::binary) << bytes.substr(0, 2000);
    EXPECT_THROW(TElfImage::Open(cutFile), EDebugHostError);
    EXPECT_THROW(TElfImage::Open(dir / "no_such_program"), EDebugHostError);
    TDebugProcess p;
    EXPECT_THROW(p.Start(junk), EDebugHostError);  // not executable
    std::filesystem::remove(junk);
    std::filesystem::remove(cutFile);
}

}  // namespace
