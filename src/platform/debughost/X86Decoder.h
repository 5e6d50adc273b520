// The x86-64 instruction decoder of the debug host, over Zydis: the length of
// an instruction, its text in Intel syntax, and the target of a direct branch.
// The decoder and the formatter are set up once and reused.
// The text of an instruction that reads the same wherever it is (no branch
// target, no operand relative to the instruction pointer) is kept by its
// bytes, at most 16,384 of them: a repeat costs the decode of its length
// and no formatting.
// Thread: one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace ide {

struct TDecodedInstruction {
    bool Valid = false;        // False: the bytes are no instruction
    int Length = 0;            // bytes; 1 for an invalid byte
    std::string Text;          // "mov rbp, rsp"; "(bad)" when invalid
    bool IsCall = false;
    bool IsBranch = false;     // a jump or a call
    bool HasTarget = false;    // a direct branch with a computed target
    uint64_t Target = 0;
};

class TX86Decoder {
public:
    TX86Decoder();
    ~TX86Decoder();
    TX86Decoder(const TX86Decoder&) = delete;
    TX86Decoder& operator=(const TX86Decoder&) = delete;

    // Decodes the instruction at Bytes (Size available, at most 15 used),
    // which sits at Address in the program. With WantText False only the
    // length and the branch facts are filled.
    TDecodedInstruction Decode(uint64_t Address, const uint8_t* Bytes, size_t Size, bool WantText = true) const;
    // The same without a string: the facts go to Facts (its Text untouched)
    // and, when Text is given, the text into Text (TextSize bytes, NUL
    // ended, "(bad)" when invalid). Answers the text's length.
    size_t DecodeTo(uint64_t Address, const uint8_t* Bytes, size_t Size, TDecodedInstruction& Facts, char* Text,
                    size_t TextSize) const;
    // Only the length; 0 if the bytes are no instruction.
    int Length(const uint8_t* Bytes, size_t Size) const;

private:
    struct TImpl;
    std::unique_ptr<TImpl> FImpl;
};

}  // namespace ide
