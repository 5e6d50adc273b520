#include "platform/debughost/ElfImage.h"

#include <elfutils/libdw.h>
#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace ide {

namespace {

struct FdGuard {
    int Fd;
    ~FdGuard() {
        if (Fd >= 0) ::close(Fd);
    }
};

struct ElfGuard {
    Elf* E;
    ~ElfGuard() {
        if (E) elf_end(E);
    }
};

}  // namespace

std::shared_ptr<TElfImage> TElfImage::Open(const std::string& Path) {
    elf_version(EV_CURRENT);
    FdGuard fd{::open(Path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (fd.Fd < 0) throw EDebugHostError("Cannot open " + Path + ": " + std::strerror(errno));
    ElfGuard elf{elf_begin(fd.Fd, ELF_C_READ, nullptr)};
    if (!elf.E || elf_kind(elf.E) != ELF_K_ELF) throw EDebugHostError(Path + " is not an ELF file");
    GElf_Ehdr ehdr;
    if (!gelf_getehdr(elf.E, &ehdr)) throw EDebugHostError(Path + " is a damaged ELF file (no header)");
    if (ehdr.e_ident[EI_CLASS] != ELFCLASS64 || ehdr.e_machine != EM_X86_64)
        throw EDebugHostError(Path + " is not an x86-64 program");

    std::unique_ptr<TElfImage> img(new TElfImage);
    img->FPath = Path;
    img->FEntry = ehdr.e_entry;
    img->FPositionIndependent = ehdr.e_type == ET_DYN;

    size_t phnum = 0;
    if (elf_getphdrnum(elf.E, &phnum) != 0) throw EDebugHostError(Path + " is a damaged ELF file (program headers)");
    bool anyLoad = false;
    for (size_t i = 0; i < phnum; ++i) {
        GElf_Phdr ph;
        if (gelf_getphdr(elf.E, static_cast<int>(i), &ph) && ph.p_type == PT_LOAD) {
            const uint64_t page = ph.p_vaddr & ~uint64_t(0xFFF);
            if (!anyLoad || page < img->FLowestLoad) img->FLowestLoad = page;
            anyLoad = true;
        }
    }

    size_t shstrndx = 0;
    if (elf_getshdrstrndx(elf.E, &shstrndx) != 0) throw EDebugHostError(Path + " is a damaged ELF file (section names)");
    Elf_Scn* symtab = nullptr;
    Elf_Scn* dynsym = nullptr;
    bool haveText = false;
    for (Elf_Scn* scn = elf_nextscn(elf.E, nullptr); scn; scn = elf_nextscn(elf.E, scn)) {
        GElf_Shdr sh;
        if (!gelf_getshdr(scn, &sh)) throw EDebugHostError(Path + " is a damaged ELF file (section header)");
        const char* name = elf_strptr(elf.E, shstrndx, sh.sh_name);
        if (sh.sh_type == SHT_SYMTAB) symtab = scn;
        if (sh.sh_type == SHT_DYNSYM) dynsym = scn;
        if (!(sh.sh_flags & SHF_ALLOC) || sh.sh_type != SHT_PROGBITS || sh.sh_size == 0) continue;
        Elf_Data* data = elf_getdata(scn, nullptr);
        if (!data || data->d_size != sh.sh_size || !data->d_buf)
            throw EDebugHostError(Path + " is a damaged ELF file (a section runs past the end)");
        const auto* bytes = static_cast<const uint8_t*>(data->d_buf);
        img->FSegments.push_back({sh.sh_addr, std::vector<uint8_t>(bytes, bytes + data->d_size)});
        if (name && std::strcmp(name, ".text") == 0) {
            img->FTextAddress = sh.sh_addr;
            img->FText.assign(bytes, bytes + data->d_size);
            haveText = true;
        }
    }
    if (!haveText) throw EDebugHostError(Path + " has no .text section");
    std::sort(img->FSegments.begin(), img->FSegments.end(),
              [](const TSegment& a, const TSegment& b) { return a.Address < b.Address; });

    // Function symbols: the full table if there is one, else the dynamic one.
    if (Elf_Scn* scn = symtab ? symtab : dynsym) {
        GElf_Shdr sh;
        Elf_Data* data = elf_getdata(scn, nullptr);
        if (gelf_getshdr(scn, &sh) && data && sh.sh_entsize) {
            const size_t n = sh.sh_size / sh.sh_entsize;
            for (size_t i = 0; i < n; ++i) {
                GElf_Sym sym;
                if (!gelf_getsym(data, static_cast<int>(i), &sym)) break;
                if (GELF_ST_TYPE(sym.st_info) != STT_FUNC || sym.st_value == 0 || sym.st_shndx == SHN_UNDEF) continue;
                const char* name = elf_strptr(elf.E, sh.sh_link, sym.st_name);
                if (!name || !*name) continue;
                img->FSymbols.push_back({sym.st_value, sym.st_size, name});
            }
        }
    }
    std::sort(img->FSymbols.begin(), img->FSymbols.end(), [](const TElfSymbol& a, const TElfSymbol& b) {
        return a.Address != b.Address ? a.Address < b.Address : a.Name.size() < b.Name.size();
    });
    // One name per address: the shortest (the plain name before its aliases).
    img->FSymbols.erase(std::unique(img->FSymbols.begin(), img->FSymbols.end(),
                                    [](const TElfSymbol& a, const TElfSymbol& b) { return a.Address == b.Address; }),
                        img->FSymbols.end());
    for (size_t i = 0; i < img->FSymbols.size(); ++i) img->FSymbolStarts[img->FSymbols[i].Address] = i;

    img->ReadDwarf(fd.Fd);
    return img;
}

void TElfImage::ReadDwarf(int Fd) {
    Dwarf* dw = dwarf_begin(Fd, DWARF_C_READ);
    if (!dw) {
        FDebugInfoMessage = "No debug information in " + FPath;
        return;
    }
    struct Row {
        uint64_t Addr;
        uint32_t File, Line;
        bool End;
    };
    std::vector<Row> rows;
    std::unordered_map<std::string, uint32_t> fileIds;
    Dwarf_Off off = 0, next = 0;
    size_t headerSize = 0;
    while (dwarf_nextcu(dw, off, &next, &headerSize, nullptr, nullptr, nullptr) == 0) {
        Dwarf_Die cu;
        Dwarf_Lines* lines = nullptr;
        size_t count = 0;
        if (dwarf_offdie(dw, off + headerSize, &cu) && dwarf_getsrclines(&cu, &lines, &count) == 0) {
            for (size_t i = 0; i < count; ++i) {
                Dwarf_Line* l = dwarf_onesrcline(lines, i);
                Dwarf_Addr addr = 0;
                int lineNo = 0;
                bool end = false;
                if (!l || dwarf_lineaddr(l, &addr) != 0 || dwarf_lineno(l, &lineNo) != 0) continue;
                dwarf_lineendsequence(l, &end);
                const char* src = dwarf_linesrc(l, nullptr, nullptr);
                const std::string file = src ? src : "";
                auto [it, added] = fileIds.try_emplace(file, static_cast<uint32_t>(FFiles.size() + 1));
                if (added) FFiles.push_back(file);
                rows.push_back({addr, it->second, static_cast<uint32_t>(lineNo), end});
            }
        }
        off = next;
    }
    dwarf_end(dw);
    if (rows.empty()) {
        FDebugInfoMessage = "No line information in " + FPath;
        return;
    }
    FHasDebugInfo = true;
    // Each row runs to the next row of its sequence; runs of one line merge.
    for (size_t i = 0; i + 1 < rows.size(); ++i) {
        const Row& r = rows[i];
        if (r.End || rows[i + 1].Addr <= r.Addr || r.Line == 0) continue;
        if (!FLines.empty() && FLines.back().End == r.Addr && FLines.back().FileIndex == r.File &&
            FLines.back().Line == r.Line) {
            FLines.back().End = rows[i + 1].Addr;
            continue;
        }
        FLines.push_back({r.Addr, rows[i + 1].Addr, r.File, r.Line});
    }
    std::sort(FLines.begin(), FLines.end(), [](const TLineRange& a, const TLineRange& b) { return a.Start < b.Start; });
    // Overlaps (from several sequences) are cut so that a look-up is one answer.
    for (size_t i = 0; i + 1 < FLines.size(); ++i)
        if (FLines[i].End > FLines[i + 1].Start) FLines[i].End = FLines[i + 1].Start;
    std::erase_if(FLines, [](const TLineRange& r) { return r.End <= r.Start; });
    for (size_t i = 0; i < FLines.size(); ++i) FLineCode.try_emplace({FLines[i].FileIndex, FLines[i].Line}, i);
}

size_t TElfImage::ReadMemory(uint64_t Address, void* Buffer, size_t Size) const {
    // The segment of the last read answers again while the address is in it
    // and before the next one's start: reads come one instruction after the
    // other.
    auto it = FSegments.begin() + static_cast<std::ptrdiff_t>(FLastSegment);
    const bool same = FLastSegment < FSegments.size() && it->Address <= Address &&
                      Address - it->Address < it->Bytes.size() &&
                      (FLastSegment + 1 == FSegments.size() || Address < it[1].Address);
    if (!same) {
        it = std::upper_bound(FSegments.begin(), FSegments.end(), Address,
                              [](uint64_t a, const TSegment& s) { return a < s.Address; });
        if (it == FSegments.begin()) return 0;
        --it;
        FLastSegment = static_cast<size_t>(it - FSegments.begin());
    }
    const uint64_t offset = Address - it->Address;
    if (offset >= it->Bytes.size()) return 0;
    const size_t n = std::min<uint64_t>(Size, it->Bytes.size() - offset);
    std::memcpy(Buffer, it->Bytes.data() + offset, n);
    return n;
}

const TElfSymbol* TElfImage::SymbolAt(uint64_t Address) const {
    auto it = FSymbolStarts.find(Address);
    return it == FSymbolStarts.end() ? nullptr : &FSymbols[it->second];
}

const TElfSymbol* TElfImage::SymbolContaining(uint64_t Address) const {
    auto it = std::upper_bound(FSymbols.begin(), FSymbols.end(), Address,
                               [](uint64_t a, const TElfSymbol& s) { return a < s.Address; });
    if (it == FSymbols.begin()) return nullptr;
    --it;
    const uint64_t end = it->Address + std::max<uint64_t>(it->Size, 1);
    return Address < end ? &*it : nullptr;
}

const TElfSymbol* TElfImage::FindSymbol(const std::string& Name) const {
    for (const TElfSymbol& s : FSymbols)
        if (s.Name == Name) return &s;
    return nullptr;
}

const TLineRange* TElfImage::LineAt(uint64_t Address) const {
    auto it = std::upper_bound(FLines.begin(), FLines.end(), Address,
                               [](uint64_t a, const TLineRange& r) { return a < r.Start; });
    if (it == FLines.begin()) return nullptr;
    --it;
    return Address < it->End ? &*it : nullptr;
}

const TLineRange* TElfImage::LineCode(uint32_t FileIndex, uint32_t Line) const {
    auto it = FLineCode.find({FileIndex, Line});
    return it == FLineCode.end() ? nullptr : &FLines[it->second];
}

std::string TElfImage::FileName(uint32_t FileIndex) const {
    return FileIndex >= 1 && FileIndex <= FFiles.size() ? FFiles[FileIndex - 1] : std::string();
}

uint32_t TElfImage::FileIndexOf(const std::string& NameEnd) const {
    for (size_t i = 0; i < FFiles.size(); ++i) {
        const std::string& f = FFiles[i];
        if (f.size() >= NameEnd.size() && f.compare(f.size() - NameEnd.size(), NameEnd.size(), NameEnd) == 0)
            return static_cast<uint32_t>(i + 1);
    }
    return 0;
}

std::string TElfImage::SourceText(uint32_t FileIndex, uint32_t Line) const {
    auto it = FSourceFiles.find(FileIndex);
    if (it == FSourceFiles.end()) {
        std::vector<std::string> lines;
        std::ifstream in(FileName(FileIndex));
        std::string l;
        while (in && std::getline(in, l)) lines.push_back(l);
        it = FSourceFiles.emplace(FileIndex, std::move(lines)).first;
    }
    if (Line == 0 || Line > it->second.size()) return {};
    std::string text = it->second[Line - 1];
    std::replace(text.begin(), text.end(), '\t', ' ');
    return text;
}

}  // namespace ide
