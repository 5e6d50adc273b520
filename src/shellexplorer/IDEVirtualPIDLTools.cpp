#include "shellexplorer/IDEVirtualPIDLTools.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "foundation/Streams.h"

namespace ide {

TPIDLManager PIDLMgr;

namespace {

const char* const SInvalidPIDLStream = "Invalid item list in stream";

// The stored size is a little-endian 32-bit integer, whatever the host.
void WriteU32(TStream& S, uint32_t V) {
    uint8_t B[4] = {uint8_t(V), uint8_t(V >> 8), uint8_t(V >> 16), uint8_t(V >> 24)};
    S.WriteBuffer(B, 4);
}

int32_t ReadI32(TStream& S) {
    uint8_t B[4];
    S.ReadBuffer(B, 4);
    return static_cast<int32_t>(uint32_t(B[0]) | uint32_t(B[1]) << 8 | uint32_t(B[2]) << 16 | uint32_t(B[3]) << 24);
}

}  // namespace

size_t ValidatePIDL(const uint8_t* Data, size_t Length) noexcept {
    if (!Data) return 0;
    size_t Pos = 0;
    for (;;) {
        if (Length - Pos < 2) return 0;  // no room for a size field
        uint16_t Cb = PIDLItemSize(Data + Pos);
        if (Cb == 0) return Pos + 2;
        if (Cb < 2 || Cb > Length - Pos) return 0;  // cb 1 never advances past its own field
        Pos += Cb;
    }
}

PItemIDList TPIDLManager::AllocPIDL(size_t Size) {
    auto* P = static_cast<PItemIDList>(std::malloc(Size < 2 ? 2 : Size));
    if (!P) throw std::bad_alloc();
    return P;
}

PItemIDList TPIDLManager::MakeItem(const void* Payload, size_t PayloadSize) {
    if (PayloadSize > 0xFFFF - 2) throw EInvalidPIDLStream("Item too large for an item list");
    PItemIDList P = AllocPIDL(PayloadSize + 4);
    uint16_t Cb = static_cast<uint16_t>(PayloadSize + 2);
    P[0] = uint8_t(Cb);
    P[1] = uint8_t(Cb >> 8);
    if (PayloadSize) std::memcpy(P + 2, Payload, PayloadSize);
    P[PayloadSize + 2] = 0;
    P[PayloadSize + 3] = 0;
    return P;
}

PItemIDList TPIDLManager::MakeDesktop() {
    PItemIDList P = AllocPIDL(2);
    P[0] = P[1] = 0;
    return P;
}

size_t TPIDLManager::PIDLSize(PCItemIDList APIDL) const noexcept {
    if (!APIDL) return 0;
    size_t Size = 2;
    for (PCItemIDList P = APIDL; PIDLItemSize(P) != 0; P += PIDLItemSize(P)) Size += PIDLItemSize(P);
    return Size;
}

int TPIDLManager::IDCount(PCItemIDList APIDL) const noexcept {
    if (!APIDL) return 0;
    int Count = 0;
    for (PCItemIDList P = APIDL; PIDLItemSize(P) != 0; P += PIDLItemSize(P)) ++Count;
    return Count;
}

bool TPIDLManager::IsDesktopFolder(PCItemIDList APIDL) const noexcept {
    return APIDL && PIDLItemSize(APIDL) == 0;
}

PItemIDList TPIDLManager::NextID(PItemIDList APIDL) const noexcept {
    return APIDL ? APIDL + PIDLItemSize(APIDL) : nullptr;
}

PCItemIDList TPIDLManager::NextID(PCItemIDList APIDL) const noexcept {
    return APIDL ? APIDL + PIDLItemSize(APIDL) : nullptr;
}

PCItemIDList TPIDLManager::GetPointerToLastID(PCItemIDList IDList) const noexcept {
    if (!IDList) return nullptr;
    int Count = IDCount(IDList);
    PCItemIDList P = IDList;
    for (int I = 0; I < Count - 1; ++I) P += PIDLItemSize(P);
    return P;
}

PItemIDList TPIDLManager::GetPointerToLastID(PItemIDList IDList) const noexcept {
    return const_cast<PItemIDList>(GetPointerToLastID(static_cast<PCItemIDList>(IDList)));
}

PItemIDList TPIDLManager::CopyPIDL(PCItemIDList APIDL) const {
    if (!APIDL) return nullptr;
    size_t Size = PIDLSize(APIDL);
    PItemIDList P = AllocPIDL(Size);
    std::memcpy(P, APIDL, Size);
    return P;
}

PItemIDList TPIDLManager::CopyLastID(PCItemIDList IDList) const {
    if (!IDList) return nullptr;
    PCItemIDList Last = GetPointerToLastID(IDList);
    uint16_t Cb = PIDLItemSize(Last);
    PItemIDList P = AllocPIDL(size_t(Cb) + 2);
    std::memcpy(P, Last, Cb);
    P[Cb] = P[Cb + 1] = 0;
    return P;
}

PItemIDList TPIDLManager::AppendPIDL(PCItemIDList DestPIDL, PCItemIDList SrcPIDL) const {
    size_t DestSize = PIDLSize(DestPIDL);
    size_t SrcSize = PIDLSize(SrcPIDL);
    // The first list's terminator goes unless it is nil or the desktop
    // (whose whole content is that terminator).
    if (DestSize >= 2) DestSize -= 2;
    if (DestSize + SrcSize == 0) return nullptr;
    PItemIDList P = AllocPIDL(DestSize + (SrcSize ? SrcSize : 2));
    if (DestSize) std::memcpy(P, DestPIDL, DestSize);
    if (SrcSize)
        std::memcpy(P + DestSize, SrcPIDL, SrcSize);
    else
        P[DestSize] = P[DestSize + 1] = 0;
    return P;
}

bool TPIDLManager::EqualPIDL(PCItemIDList PIDL1, PCItemIDList PIDL2) const noexcept {
    if (!PIDL1 || !PIDL2) return PIDL1 == PIDL2;
    size_t S1 = PIDLSize(PIDL1);
    return S1 == PIDLSize(PIDL2) && std::memcmp(PIDL1, PIDL2, S1) == 0;
}

void TPIDLManager::FreePIDL(PItemIDList APIDL) const noexcept { std::free(APIDL); }

void TPIDLManager::FreeAndNilPIDL(PItemIDList& APIDL) const noexcept {
    PItemIDList P = APIDL;
    APIDL = nullptr;
    std::free(P);
}

bool TPIDLManager::IsSubPIDL(PCItemIDList FullPIDL, PCItemIDList SubPIDL) const noexcept {
    if (!FullPIDL || !SubPIDL) return false;
    int SubCount = IDCount(SubPIDL);
    if (IDCount(FullPIDL) < SubCount) return false;
    // The first SubCount items of FullPIDL against all of SubPIDL.
    PCItemIDList P = FullPIDL;
    for (int I = 0; I < SubCount; ++I) P += PIDLItemSize(P);
    size_t Prefix = static_cast<size_t>(P - FullPIDL);
    return Prefix + 2 == PIDLSize(SubPIDL) && std::memcmp(FullPIDL, SubPIDL, Prefix) == 0;
}

bool TPIDLManager::IsParentPIDL(PCItemIDList Parent, PCItemIDList Child, bool Immediate) const noexcept {
    if (!Parent || !Child) return false;
    int PC = IDCount(Parent), CC = IDCount(Child);
    if (CC <= PC || (Immediate && CC != PC + 1)) return false;
    return IsSubPIDL(Child, Parent);
}

String TPIDLManager::PIDLToString(PCItemIDList APIDL) const {
    size_t Size = PIDLSize(APIDL);
    String S(Size, u'\0');
    if (Size) std::memcpy(S.data(), APIDL, Size);
    return S;
}

PItemIDList TPIDLManager::StringToPIDL(const String& PIDLStr) const {
    if (PIDLStr.empty()) return nullptr;
    size_t Size = PIDLStr.size();
    // The bytes come from a string slot, which anyone may have filled:
    // check the chain before handing it out.
    if (ValidatePIDL(reinterpret_cast<const uint8_t*>(PIDLStr.data()), Size) == 0)
        throw EInvalidPIDLStream(SInvalidPIDLStream);
    PItemIDList P = AllocPIDL(Size);
    std::memcpy(P, PIDLStr.data(), Size);
    return P;
}

void TPIDLManager::ParsePIDL(PCItemIDList AbsolutePIDL, TPIDLList& PIDLList, bool AllAbsolutePIDLs) const {
    if (!AbsolutePIDL) return;
    for (PCItemIDList P = AbsolutePIDL; PIDLItemSize(P) != 0; P += PIDLItemSize(P)) {
        if (AllAbsolutePIDLs) {
            size_t Prefix = static_cast<size_t>(P - AbsolutePIDL) + PIDLItemSize(P);
            PItemIDList Abs = AllocPIDL(Prefix + 2);
            std::memcpy(Abs, AbsolutePIDL, Prefix);
            Abs[Prefix] = Abs[Prefix + 1] = 0;
            PIDLList.Add(Abs);
        } else {
            PItemIDList One = AllocPIDL(size_t(PIDLItemSize(P)) + 2);
            std::memcpy(One, P, PIDLItemSize(P));
            One[PIDLItemSize(P)] = One[PIDLItemSize(P) + 1] = 0;
            PIDLList.Add(One);
        }
    }
}

PItemIDList TPIDLManager::StripLastID(PItemIDList IDList) const noexcept {
    uint16_t Cb;
    PItemIDList Last;
    return StripLastID(IDList, Cb, Last);
}

PItemIDList TPIDLManager::StripLastID(PItemIDList IDList, uint16_t& Last_CB, PItemIDList& LastID) const noexcept {
    Last_CB = 0;
    LastID = nullptr;
    if (!IDList || IsDesktopFolder(IDList)) return IDList;
    LastID = GetPointerToLastID(IDList);
    Last_CB = PIDLItemSize(LastID);
    LastID[0] = LastID[1] = 0;
    return IDList;
}

void TPIDLManager::SaveToStream(TStream& Stream, PCItemIDList APIDL) const {
    size_t Size = PIDLSize(APIDL);
    WriteU32(Stream, static_cast<uint32_t>(Size));
    if (Size) Stream.WriteBuffer(APIDL, static_cast<int64_t>(Size));
}

PItemIDList TPIDLManager::LoadFromStream(TStream* Stream) const {
    if (!Stream) return nullptr;
    int32_t Size = ReadI32(*Stream);
    if (Size < 1) return nullptr;
    // Never trust the size for an allocation: the stream must hold it.
    int64_t Left = Stream->GetSize() - Stream->GetPosition();
    if (Size > Left) throw EInvalidPIDLStream(SInvalidPIDLStream);
    TPIDLHolder P(AllocPIDL(static_cast<size_t>(Size)));
    Stream->ReadBuffer(P.Get(), Size);
    if (ValidatePIDL(P.Get(), static_cast<size_t>(Size)) != static_cast<size_t>(Size))
        throw EInvalidPIDLStream(SInvalidPIDLStream);
    return P.Release();
}

void TPIDLManager::SaveToFile(const std::string& FileName, uint16_t FileMode, PCItemIDList APIDL) const {
    TFileStream S(Str(FileName), FileMode);
    SaveToStream(S, APIDL);
}

PItemIDList TPIDLManager::LoadFromFile(const std::string& FileName) const {
    TFileStream S(Str(FileName), fmOpenRead);
    return LoadFromStream(&S);
}

// --- TPIDLList ---------------------------------------------------------------

TPIDLList::~TPIDLList() { Clear(); }

PItemIDList TPIDLList::operator[](int Index) const {
    if (Index < 0 || Index >= Count()) throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
    return FItems[static_cast<size_t>(Index)];
}

int TPIDLList::FindPIDL(PCItemIDList APIDL) const noexcept {
    for (size_t I = 0; I < FItems.size(); ++I)
        if (PIDLMgr.EqualPIDL(FItems[I], APIDL)) return static_cast<int>(I);
    return -1;
}

void TPIDLList::Delete(int Index) {
    PItemIDList P = (*this)[Index];
    FItems.erase(FItems.begin() + Index);
    if (!FSharePIDLs) PIDLMgr.FreePIDL(P);
}

void TPIDLList::Clear() noexcept {
    if (!FSharePIDLs)
        for (PItemIDList P : FItems) PIDLMgr.FreePIDL(P);
    FItems.clear();
}

void TPIDLList::SaveToStream(TStream& Stream) const {
    WriteU32(Stream, static_cast<uint32_t>(FItems.size()));
    for (PItemIDList P : FItems) PIDLMgr.SaveToStream(Stream, P);
}

void TPIDLList::LoadFromStream(TStream& Stream) {
    int32_t Count = ReadI32(Stream);
    // Each entry takes at least its 4-byte size: a count the stream can't
    // hold is refused before anything is read or reserved.
    int64_t Left = Stream.GetSize() - Stream.GetPosition();
    if (Count < 0 || int64_t(Count) * 4 > Left) throw EInvalidPIDLStream(SInvalidPIDLStream);
    for (int32_t I = 0; I < Count; ++I) Add(PIDLMgr.LoadFromStream(&Stream));
}

}  // namespace ide
