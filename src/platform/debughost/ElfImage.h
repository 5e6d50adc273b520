// What the debugger knows of a program file without running it: the code of
// its .text section, its function symbols, and its source lines from the
// DWARF line tables. Addresses here are the file's own (link-time) addresses;
// a running program adds its load bias.
//
// A file that is not an ELF file, is cut short or is not x86-64 raises
// EDebugHostError with a clear message at Open. A file without debug
// information opens and says so in DebugInfoMessage; it has no source lines.
// Thread: one at a time.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/debughost/DebugProcess.h"

namespace ide {

struct TElfSymbol {
    uint64_t Address = 0;
    uint64_t Size = 0;
    std::string Name;
};

// One run of consecutive code bytes that belong to one source line.
struct TLineRange {
    uint64_t Start = 0, End = 0;  // [Start, End)
    uint32_t FileIndex = 0;       // 1-based into Files()
    uint32_t Line = 0;
};

class TElfImage {
public:
    // Raises EDebugHostError for a file that cannot be used.
    static std::shared_ptr<TElfImage> Open(const std::string& Path);

    const std::string& Path() const { return FPath; }
    // The .text section: its address and its bytes.
    uint64_t TextAddress() const { return FTextAddress; }
    const std::vector<uint8_t>& Text() const { return FText; }
    uint64_t TextEnd() const { return FTextAddress + FText.size(); }
    // The lowest loaded address, to compute a running program's load bias.
    uint64_t LowestLoadAddress() const { return FLowestLoad; }
    bool PositionIndependent() const { return FPositionIndependent; }
    uint64_t EntryPoint() const { return FEntry; }

    // Reads from the file's loaded sections (code and read-only data).
    size_t ReadMemory(uint64_t Address, void* Buffer, size_t Size) const;

    // Function symbols by address.
    const std::vector<TElfSymbol>& Symbols() const { return FSymbols; }
    const TElfSymbol* SymbolAt(uint64_t Address) const;          // starting exactly there
    const TElfSymbol* SymbolContaining(uint64_t Address) const;  // start <= Address < end
    const TElfSymbol* FindSymbol(const std::string& Name) const;

    // Source lines.
    bool HasDebugInfo() const { return FHasDebugInfo; }
    const std::string& DebugInfoMessage() const { return FDebugInfoMessage; }
    const TLineRange* LineAt(uint64_t Address) const;
    // The lowest code of a source line.
    const TLineRange* LineCode(uint32_t FileIndex, uint32_t Line) const;
    const std::vector<std::string>& Files() const { return FFiles; }
    std::string FileName(uint32_t FileIndex) const;
    uint32_t FileIndexOf(const std::string& NameEnd) const;  // matches the path's tail; 0 if none
    // The text of a source line; empty when the file cannot be read.
    std::string SourceText(uint32_t FileIndex, uint32_t Line) const;

private:
    TElfImage() = default;
    void ReadDwarf(int Fd);

    struct TSegment {
        uint64_t Address;
        std::vector<uint8_t> Bytes;
    };

    std::string FPath;
    uint64_t FTextAddress = 0;
    std::vector<uint8_t> FText;
    std::vector<TSegment> FSegments;  // loaded sections with file contents
    mutable size_t FLastSegment = 0;  // of the last read, tried first by the next
    uint64_t FLowestLoad = 0;
    uint64_t FEntry = 0;
    bool FPositionIndependent = false;
    std::vector<TElfSymbol> FSymbols;
    std::unordered_map<uint64_t, size_t> FSymbolStarts;
    bool FHasDebugInfo = false;
    std::string FDebugInfoMessage;
    std::vector<TLineRange> FLines;  // sorted by Start, not overlapping
    std::vector<std::string> FFiles;
    std::map<std::pair<uint32_t, uint32_t>, size_t> FLineCode;
    mutable std::unordered_map<uint32_t, std::vector<std::string>> FSourceFiles;
};

}  // namespace ide
