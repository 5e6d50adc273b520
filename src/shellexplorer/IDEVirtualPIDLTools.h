// Item lists (PIDLs) as raw bytes, and the toolkit that works on them.
//
// An item list is a chain of items in one malloc'd block. Each item starts
// with a 16-bit little-endian size `cb` that counts those two bytes too,
// followed by cb - 2 opaque bytes; a cb of 0 ends the list. The desktop (the
// root of the namespace) is the list with just the terminator; an absolute
// list starts at the desktop, a relative one is one item plus terminator.
//
// The items the POSIX provider makes (IDEVirtualShellProvider.h) are
// `cb` · kind byte · d_type byte · the name's raw bytes, so names that are not
// valid UTF-8 survive unchanged, and two lists are equal when their bytes are.
//
// Lists built here are trusted; a list that comes from outside (a stream, a
// file, a string slot) is checked by ValidatePIDL against its buffer before
// anything walks its chain, and a reader raises EInvalidPIDLStream rather
// than walk past the end.
//
// Oddities kept on purpose:
// - StripLastID writes the terminator into the caller's list, in place; its
//   second form hands back what was there so the caller can restore it.
// - PIDLToString / StringToPIDL carry the bytes in a string of as many
//   characters as the list has bytes, so half of the string's storage is
//   unused. They are for carrying a list in a string-typed slot, as a pair.
// - IsSubPIDL compares the leading items without writing into the caller's
//   list (the same answer as terminating it early for the comparison).
//
// Thread: any (the manager has no state; one list belongs to one thread).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

class TStream;

IDE_DECLARE_EXCEPTION(EInvalidPIDLStream, EStreamError)

using PItemIDList = uint8_t*;
using PCItemIDList = const uint8_t*;

// The size field of an item.
inline uint16_t PIDLItemSize(PCItemIDList Item) noexcept {
    return static_cast<uint16_t>(Item[0] | (Item[1] << 8));
}

// The size in bytes of the list at Data (terminator included) when it is a
// well-formed chain inside Length bytes; 0 when it isn't (missing
// terminator, an item of size 1, an item that runs past the buffer).
size_t ValidatePIDL(const uint8_t* Data, size_t Length) noexcept;

class TPIDLManager {
public:
    // Allocation: every list comes from the C heap, on every thread.
    static PItemIDList AllocPIDL(size_t Size);
    // A list of one item with Payload, plus the terminator.
    static PItemIDList MakeItem(const void* Payload, size_t PayloadSize);
    // The desktop: just the terminator.
    static PItemIDList MakeDesktop();

    PItemIDList AppendPIDL(PCItemIDList DestPIDL, PCItemIDList SrcPIDL) const;
    PItemIDList CopyPIDL(PCItemIDList APIDL) const;
    bool EqualPIDL(PCItemIDList PIDL1, PCItemIDList PIDL2) const noexcept;
    void FreeAndNilPIDL(PItemIDList& APIDL) const noexcept;
    void FreePIDL(PItemIDList APIDL) const noexcept;
    PItemIDList CopyLastID(PCItemIDList IDList) const;
    PItemIDList GetPointerToLastID(PItemIDList IDList) const noexcept;
    PCItemIDList GetPointerToLastID(PCItemIDList IDList) const noexcept;
    int IDCount(PCItemIDList APIDL) const noexcept;
    bool IsDesktopFolder(PCItemIDList APIDL) const noexcept;
    bool IsSubPIDL(PCItemIDList FullPIDL, PCItemIDList SubPIDL) const noexcept;
    // True when Parent lies above Child (any depth; Immediate: one level).
    bool IsParentPIDL(PCItemIDList Parent, PCItemIDList Child, bool Immediate = false) const noexcept;
    PItemIDList NextID(PItemIDList APIDL) const noexcept;
    PCItemIDList NextID(PCItemIDList APIDL) const noexcept;
    size_t PIDLSize(PCItemIDList APIDL) const noexcept;
    String PIDLToString(PCItemIDList APIDL) const;
    PItemIDList StringToPIDL(const String& PIDLStr) const;
    // Each level of AbsolutePIDL, as single items or as all absolute prefixes.
    void ParsePIDL(PCItemIDList AbsolutePIDL, class TPIDLList& PIDLList, bool AllAbsolutePIDLs) const;
    PItemIDList StripLastID(PItemIDList IDList) const noexcept;
    PItemIDList StripLastID(PItemIDList IDList, uint16_t& Last_CB, PItemIDList& LastID) const noexcept;

    // Stored form: a 4-byte size equal to PIDLSize, then the bytes. A size
    // below 1 loads as nil with nothing more read.
    void SaveToStream(TStream& Stream, PCItemIDList APIDL) const;
    PItemIDList LoadFromStream(TStream* Stream) const;
    void SaveToFile(const std::string& FileName, uint16_t FileMode, PCItemIDList APIDL) const;
    PItemIDList LoadFromFile(const std::string& FileName) const;
};

// The library-wide manager.
extern TPIDLManager PIDLMgr;

// A list of item lists. Owns what it holds unless SharePIDLs is set.
// Thread: one at a time.
class TPIDLList {
public:
    explicit TPIDLList(bool SharePIDLs = false) : FSharePIDLs(SharePIDLs) {}
    TPIDLList(const TPIDLList&) = delete;
    TPIDLList& operator=(const TPIDLList&) = delete;
    ~TPIDLList();

    int Add(PItemIDList APIDL) { FItems.push_back(APIDL); return static_cast<int>(FItems.size()) - 1; }
    int CopyAdd(PCItemIDList APIDL) { return Add(PIDLMgr.CopyPIDL(APIDL)); }
    int Count() const noexcept { return static_cast<int>(FItems.size()); }
    PItemIDList operator[](int Index) const;
    int FindPIDL(PCItemIDList APIDL) const noexcept;
    void Delete(int Index);
    void Clear() noexcept;
    bool GetSharePIDLs() const noexcept { return FSharePIDLs; }
    void SetSharePIDLs(bool Value) noexcept { FSharePIDLs = Value; }

    // Stored form: a 4-byte count, then each list in the stored form above.
    void SaveToStream(TStream& Stream) const;
    void LoadFromStream(TStream& Stream);

private:
    std::vector<PItemIDList> FItems;
    bool FSharePIDLs;
};

// An owning handle for one list (library code and tests).
class TPIDLHolder {
public:
    TPIDLHolder() = default;
    explicit TPIDLHolder(PItemIDList P) noexcept : FPIDL(P) {}
    TPIDLHolder(const TPIDLHolder&) = delete;
    TPIDLHolder& operator=(const TPIDLHolder&) = delete;
    TPIDLHolder(TPIDLHolder&& O) noexcept : FPIDL(O.Release()) {}
    TPIDLHolder& operator=(TPIDLHolder&& O) noexcept { Reset(O.Release()); return *this; }
    ~TPIDLHolder() { PIDLMgr.FreePIDL(FPIDL); }
    PItemIDList Get() const noexcept { return FPIDL; }
    PItemIDList Release() noexcept { PItemIDList P = FPIDL; FPIDL = nullptr; return P; }
    void Reset(PItemIDList P = nullptr) noexcept { PIDLMgr.FreePIDL(FPIDL); FPIDL = P; }
    explicit operator bool() const noexcept { return FPIDL != nullptr; }

private:
    PItemIDList FPIDL = nullptr;
};

}  // namespace ide
