// The debugger side of the disassembler view: answers the view's events from
// a stopped program (live mode) or from a program file alone (static mode,
// used where tracing is refused), with the x86-64 decoder and the file's
// symbols and source lines. The view never sees ptrace.
//
// The texts it gives:
//   full width   "0000555555555139  55                        push rbp"
//   small display "0000555555555139  push rbp"
//   no code       "0000000000000010  ??                        <unreadable>"  (one byte on)
//   garbage       "...  06                        (bad)"                        (one byte on)
// A branch with a known target names it: "call 0x...1139 <add>". A direct
// call may also get one additional line above it, "; call add", and the
// first instruction of a function whose source line is shown above it gets
// the function's name as an additional line, "add:".
//
// The previous instruction is found by decoding forward again from the start
// of the enclosing function, or, outside any function, from a little before
// the address until a decode lands on it: the expensive answer the view's
// memo exists for.
//
// When the program has exited or was killed, memory answers come from the
// file, so the view stays usable; StatusText says what happened.
// Thread: UI thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cpuviews/DisComp.h"
#include "platform/debughost/DebugProcess.h"
#include "platform/debughost/ElfImage.h"
#include "platform/debughost/X86Decoder.h"

namespace ide {

class TDisasmBackEnd {
public:
    // Static mode over a file.
    explicit TDisasmBackEnd(std::shared_ptr<TElfImage> Image);
    // Live mode over a started program; Image is the program's own file.
    TDisasmBackEnd(TDebugProcess& Process, std::shared_ptr<TElfImage> Image);

    // Assigns every event of the view (but OnGutterClicked, OnAddressChanged
    // and the paint hooks, which belong to the page) and sets the address size.
    void Attach(TDisassemblerLogic& View);
    // Unassigns what Attach assigned; call it before the back end goes.
    static void Detach(TDisassemblerLogic& View);

    bool CallTargetLines = true;  // an additional line above direct calls

    // Where the file's addresses are in the program: the load bias.
    uint64_t Bias() const { return FBias; }
    uint64_t ToProgram(uint64_t FileAddress) const { return FileAddress + FBias; }
    const TElfImage& Image() const { return *FImage; }
    TDebugProcess* Process() const { return FProcess; }
    std::string StatusText() const;

    // The pieces of the answers, usable without a view.
    size_t Read(uint64_t Address, uint8_t* Buffer, size_t Size) const;
    // Text and next address of one instruction; the size is the cacheable one.
    String InstructionText(uint64_t& Address, bool Small) const;
    // The same into Text, whose capacity is kept: no allocation per line.
    void InstructionText(uint64_t& Address, bool Small, String& Text) const;
    uint64_t NextAddress(uint64_t Address) const;
    uint64_t PreviousAddress(uint64_t Address) const;
    std::string LabelAt(uint64_t Address) const;

private:
    std::string SymbolName(uint64_t Address) const;  // "name" or "name+0x12"
    template <class Buffer>
    bool AddSymbolName(uint64_t Address, Buffer& Line) const;

    TDebugProcess* FProcess = nullptr;
    std::shared_ptr<TElfImage> FImage;
    TX86Decoder FDecoder;
    uint64_t FBias = 0;
};

}  // namespace ide
