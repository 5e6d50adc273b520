// Fuzz target for item lists from outside: the stored forms of one list and
// of a list of lists, read from arbitrary bytes, then the arithmetic on
// whatever loaded (counts, sizes, sub-list and parent tests, appending,
// stripping, splitting into levels, the string carrier) and the namespace
// provider's reading of foreign items.
//
// Layout of an input: byte 0 picks the reader (bit 0: a list of lists,
// else one list; bit 1: also read the rest as a raw chain with
// ValidatePIDL); the rest is the stream.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "foundation/Streams.h"
#include "shellexplorer/IDEVirtualPIDLTools.h"
#include "shellexplorer/IDEVirtualShellProvider.h"

using namespace ide;

namespace {

TPosixShellProvider& Provider() {
    static TPosixShellProvider P([] {
        TPosixRoots R;
        R.Home = "/nonexistent-home";
        R.DataHome = "/nonexistent-home/share";
        R.MountInfo = "/nonexistent-mountinfo";
        return R;
    }());
    return P;
}

void Exercise(PCItemIDList P, PCItemIDList Other) {
    if (!P) return;
    size_t Size = PIDLMgr.PIDLSize(P);
    int Count = PIDLMgr.IDCount(P);
    if (Size < 2 || Count < 0) __builtin_trap();
    TPIDLHolder Copy(PIDLMgr.CopyPIDL(P));
    if (!PIDLMgr.EqualPIDL(Copy.Get(), P)) __builtin_trap();
    if (!PIDLMgr.IsSubPIDL(P, Copy.Get())) __builtin_trap();
    TPIDLHolder Joined(PIDLMgr.AppendPIDL(P, Other));
    if (Joined && Other && PIDLMgr.IDCount(Joined.Get()) != Count + PIDLMgr.IDCount(Other)) __builtin_trap();
    if (Joined && Other && !PIDLMgr.IsDesktopFolder(Other) && !PIDLMgr.IsParentPIDL(P, Joined.Get())) __builtin_trap();
    PIDLMgr.IsSubPIDL(P, Other);
    PIDLMgr.IsParentPIDL(Other, P, true);
    TPIDLHolder Last(PIDLMgr.CopyLastID(P));
    TPIDLList Levels;
    PIDLMgr.ParsePIDL(P, Levels, true);
    if (Levels.Count() != Count) __builtin_trap();
    TPIDLList Items;
    PIDLMgr.ParsePIDL(P, Items, false);
    uint16_t Cb;
    PItemIDList LastID;
    PIDLMgr.StripLastID(Copy.Get(), Cb, LastID);
    if (Count > 0 && PIDLMgr.IDCount(Copy.Get()) != Count - 1) __builtin_trap();
    String S = PIDLMgr.PIDLToString(P);
    TPIDLHolder Back(PIDLMgr.StringToPIDL(S));
    if (!PIDLMgr.EqualPIDL(Back.Get(), P)) __builtin_trap();
    // The provider must refuse or resolve foreign items without harm.
    std::string Path;
    Provider().PathOf(P, Path);
    String Name;
    TPIDLHolder Parent(PIDLMgr.CopyPIDL(P));
    PIDLMgr.StripLastID(Parent.Get());
    Provider().GetDisplayNameOf(Parent.Get(), PIDLMgr.GetPointerToLastID(P), SHGDN_INFOLDER, Name);
    Provider().GetDisplayNameOf(Parent.Get(), PIDLMgr.GetPointerToLastID(P), SHGDN_FORPARSING, Name);
    TMemoryStream Out;
    PIDLMgr.SaveToStream(Out, P);
    Out.SetPosition(0);
    TPIDLHolder Again(PIDLMgr.LoadFromStream(&Out));
    if (!PIDLMgr.EqualPIDL(Again.Get(), P)) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    if (Size < 1) return 0;
    const uint8_t Mode = Data[0];
    TMemoryStream S;
    S.WriteBuffer(Data + 1, static_cast<int64_t>(Size - 1));
    S.SetPosition(0);
    TPIDLHolder Desk(TPIDLManager::MakeDesktop());
    try {
        if (Mode & 1) {
            TPIDLList L;
            L.LoadFromStream(S);
            for (int I = 0; I < L.Count(); ++I) Exercise(L[I], I + 1 < L.Count() ? L[I + 1] : Desk.Get());
        } else {
            TPIDLHolder P(PIDLMgr.LoadFromStream(&S));
            Exercise(P.Get(), Desk.Get());
            Exercise(P.Get(), P.Get());
        }
    } catch (const Exception&) {
        // Refused input: fine.
    }
    if (Mode & 2) {
        size_t Valid = ValidatePIDL(Data + 1, Size - 1);
        if (Valid) {
            TPIDLHolder Raw(TPIDLManager::AllocPIDL(Valid));
            std::memcpy(Raw.Get(), Data + 1, Valid);
            Exercise(Raw.Get(), nullptr);
        }
    }
    return 0;
}
