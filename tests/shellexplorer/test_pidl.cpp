// Item-list arithmetic, the string carrier and the stored forms, including
// lists from outside that lie about their sizes.
#include <gtest/gtest.h>

#include <cstring>

#include "foundation/Streams.h"
#include "shellexplorer/IDEVirtualPIDLTools.h"

using namespace ide;

namespace {

PItemIDList Item(const std::string& Payload) { return TPIDLManager::MakeItem(Payload.data(), Payload.size()); }

PItemIDList Chain(std::initializer_list<const char*> Names) {
    PItemIDList Abs = TPIDLManager::MakeDesktop();
    for (const char* N : Names) {
        TPIDLHolder One(Item(N));
        PItemIDList Next = PIDLMgr.AppendPIDL(Abs, One.Get());
        PIDLMgr.FreePIDL(Abs);
        Abs = Next;
    }
    return Abs;
}

TMemoryStream Bytes(std::initializer_list<uint8_t> B) {
    TMemoryStream S;
    std::vector<uint8_t> V(B);
    S.WriteBuffer(V.data(), static_cast<int64_t>(V.size()));
    S.SetPosition(0);
    return S;
}

}  // namespace

TEST(PIDLArithmetic, SizesCountsAndDesktop) {
    TPIDLHolder Desk(TPIDLManager::MakeDesktop());
    TPIDLHolder Abc(Chain({"a", "bb", "ccc"}));
    EXPECT_EQ(PIDLMgr.PIDLSize(nullptr), 0u);
    EXPECT_EQ(PIDLMgr.PIDLSize(Desk.Get()), 2u);
    EXPECT_EQ(PIDLMgr.PIDLSize(Abc.Get()), 2u + 3 + 4 + 5);
    EXPECT_EQ(PIDLMgr.IDCount(nullptr), 0);
    EXPECT_EQ(PIDLMgr.IDCount(Desk.Get()), 0);
    EXPECT_EQ(PIDLMgr.IDCount(Abc.Get()), 3);
    EXPECT_TRUE(PIDLMgr.IsDesktopFolder(Desk.Get()));
    EXPECT_FALSE(PIDLMgr.IsDesktopFolder(nullptr));
    EXPECT_FALSE(PIDLMgr.IsDesktopFolder(Abc.Get()));
    // The last item; with fewer than two items, the list itself.
    EXPECT_EQ(PIDLMgr.GetPointerToLastID(Abc.Get()), Abc.Get() + 3 + 4);
    EXPECT_EQ(PIDLMgr.GetPointerToLastID(Desk.Get()), Desk.Get());
    TPIDLHolder Last(PIDLMgr.CopyLastID(Abc.Get()));
    TPIDLHolder Ccc(Chain({"ccc"}));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Last.Get(), Ccc.Get()));
    EXPECT_EQ(PIDLMgr.NextID(Abc.Get()), Abc.Get() + 3);
}

TEST(PIDLArithmetic, AppendTakesNilAndDesktopAsEmptyAndKeepsInputs) {
    TPIDLHolder A(Chain({"a"})), B(Chain({"b", "c"})), Desk(TPIDLManager::MakeDesktop());
    TPIDLHolder Ab(PIDLMgr.AppendPIDL(A.Get(), B.Get()));
    TPIDLHolder Expected(Chain({"a", "b", "c"}));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Ab.Get(), Expected.Get()));
    TPIDLHolder NilB(PIDLMgr.AppendPIDL(nullptr, B.Get()));
    TPIDLHolder BNil(PIDLMgr.AppendPIDL(B.Get(), nullptr));
    TPIDLHolder DeskB(PIDLMgr.AppendPIDL(Desk.Get(), B.Get()));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(NilB.Get(), B.Get()));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(BNil.Get(), B.Get()));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(DeskB.Get(), B.Get()));
    EXPECT_NE(NilB.Get(), B.Get());  // a copy, not the input
    EXPECT_EQ(PIDLMgr.AppendPIDL(nullptr, nullptr), nullptr);
    TPIDLHolder DeskDesk(PIDLMgr.AppendPIDL(Desk.Get(), Desk.Get()));
    EXPECT_TRUE(PIDLMgr.IsDesktopFolder(DeskDesk.Get()));
    EXPECT_EQ(PIDLMgr.IDCount(A.Get()), 1);
}

TEST(PIDLArithmetic, StripLastIdWritesInPlaceAndCanBeRestored) {
    TPIDLHolder P(Chain({"a", "b"}));
    uint16_t Cb;
    PItemIDList LastID;
    PIDLMgr.StripLastID(P.Get(), Cb, LastID);
    EXPECT_EQ(PIDLMgr.IDCount(P.Get()), 1);
    EXPECT_EQ(Cb, 3);
    LastID[0] = uint8_t(Cb);  // the caller's restore
    EXPECT_EQ(PIDLMgr.IDCount(P.Get()), 2);
    TPIDLHolder Desk(TPIDLManager::MakeDesktop());
    EXPECT_EQ(PIDLMgr.StripLastID(Desk.Get()), Desk.Get());
    EXPECT_TRUE(PIDLMgr.IsDesktopFolder(Desk.Get()));
}

TEST(PIDLArithmetic, SubAndParentCompareLeadingItemsWithoutWriting) {
    TPIDLHolder Full(Chain({"a", "b", "c"})), Ab(Chain({"a", "b"})), Ax(Chain({"a", "x"})),
        Abcd(Chain({"a", "b", "c", "d"})), Desk(TPIDLManager::MakeDesktop()), Abb(Chain({"a", "bb"}));
    std::vector<uint8_t> Before(Full.Get(), Full.Get() + PIDLMgr.PIDLSize(Full.Get()));
    EXPECT_TRUE(PIDLMgr.IsSubPIDL(Full.Get(), Ab.Get()));
    EXPECT_TRUE(PIDLMgr.IsSubPIDL(Full.Get(), Full.Get()));
    EXPECT_TRUE(PIDLMgr.IsSubPIDL(Full.Get(), Desk.Get()));
    EXPECT_FALSE(PIDLMgr.IsSubPIDL(Full.Get(), Ax.Get()));
    EXPECT_FALSE(PIDLMgr.IsSubPIDL(Full.Get(), Abb.Get()));  // "b" is no prefix of "bb"
    EXPECT_FALSE(PIDLMgr.IsSubPIDL(Full.Get(), Abcd.Get()));
    EXPECT_FALSE(PIDLMgr.IsSubPIDL(nullptr, Ab.Get()));
    EXPECT_FALSE(PIDLMgr.IsSubPIDL(Full.Get(), nullptr));
    EXPECT_EQ(std::vector<uint8_t>(Full.Get(), Full.Get() + Before.size()), Before);
    EXPECT_TRUE(PIDLMgr.IsParentPIDL(Ab.Get(), Full.Get(), true));
    EXPECT_TRUE(PIDLMgr.IsParentPIDL(Ab.Get(), Abcd.Get(), false));
    EXPECT_FALSE(PIDLMgr.IsParentPIDL(Ab.Get(), Abcd.Get(), true));
    EXPECT_FALSE(PIDLMgr.IsParentPIDL(Full.Get(), Full.Get(), false));  // not its own parent
    EXPECT_TRUE(PIDLMgr.IsParentPIDL(Desk.Get(), Full.Get(), false));
}

TEST(PIDLArithmetic, ParseGivesItemsOrAbsolutePrefixes) {
    TPIDLHolder Full(Chain({"a", "b", "c"}));
    TPIDLList Items, Prefixes;
    PIDLMgr.ParsePIDL(Full.Get(), Items, false);
    PIDLMgr.ParsePIDL(Full.Get(), Prefixes, true);
    ASSERT_EQ(Items.Count(), 3);
    ASSERT_EQ(Prefixes.Count(), 3);
    TPIDLHolder B(Chain({"b"})), Ab(Chain({"a", "b"}));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Items[1], B.Get()));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Prefixes[1], Ab.Get()));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Prefixes[2], Full.Get()));
    EXPECT_EQ(Items.FindPIDL(B.Get()), 1);
    EXPECT_THROW(Items[3], EListError);
}

TEST(PIDLArithmetic, StringCarrierIsAPairAndChecksWhatItCarries) {
    TPIDLHolder P(Chain({"\xff\xfe", "name\n"}));
    String S = PIDLMgr.PIDLToString(P.Get());
    EXPECT_EQ(S.size(), PIDLMgr.PIDLSize(P.Get()));  // one character per byte: half unused
    TPIDLHolder Back(PIDLMgr.StringToPIDL(S));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Back.Get(), P.Get()));
    EXPECT_EQ(PIDLMgr.StringToPIDL(String()), nullptr);
    String Bad(3, u'\x0101');  // bytes 01 01 01 01 ...: cb 257 past the end
    EXPECT_THROW(PIDLMgr.StringToPIDL(Bad), EInvalidPIDLStream);
}

TEST(PIDLValidation, RejectsChainsThatLeaveTheirBuffer) {
    struct Case {
        std::vector<uint8_t> Bytes;
        size_t Expected;
    } const Cases[] = {
        {{0, 0}, 2},
        {{3, 0, 'a', 0, 0}, 5},
        {{3, 0, 'a', 0, 0, 9, 9}, 5},  // trailing bytes after the end are not walked
        {{3, 0, 'a'}, 0},              // no terminator
        {{1, 0, 0, 0}, 0},             // cb 1 would read its own size again
        {{9, 0, 'a', 0, 0}, 0},        // item longer than the buffer
        {{0}, 0},
        {{}, 0},
    };
    for (const auto& C : Cases) EXPECT_EQ(ValidatePIDL(C.Bytes.data(), C.Bytes.size()), C.Expected);
    EXPECT_EQ(ValidatePIDL(nullptr, 10), 0u);
}

TEST(PIDLStreams, RoundTripAndStoredLayout) {
    TPIDLHolder P(Chain({"a\xff", "b"}));
    TMemoryStream S;
    PIDLMgr.SaveToStream(S, P.Get());
    const auto& B = S.Bytes();
    ASSERT_EQ(B.size(), 4 + PIDLMgr.PIDLSize(P.Get()));
    EXPECT_EQ(B[0], PIDLMgr.PIDLSize(P.Get()));
    EXPECT_EQ(B[1] | B[2] | B[3], 0);
    S.SetPosition(0);
    TPIDLHolder Back(PIDLMgr.LoadFromStream(&S));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Back.Get(), P.Get()));
    EXPECT_EQ(PIDLMgr.LoadFromStream(nullptr), nullptr);

    TPIDLList L;
    L.CopyAdd(P.Get());
    L.Add(nullptr);
    L.Add(TPIDLManager::MakeDesktop());
    TMemoryStream LS;
    L.SaveToStream(LS);
    LS.SetPosition(0);
    TPIDLList Loaded;
    Loaded.LoadFromStream(LS);
    ASSERT_EQ(Loaded.Count(), 3);
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Loaded[0], P.Get()));
    EXPECT_EQ(Loaded[1], nullptr);
    EXPECT_TRUE(PIDLMgr.IsDesktopFolder(Loaded[2]));
}

TEST(PIDLStreams, SizeBelowOneIsNilAndReadsNothingMore) {
    auto S = Bytes({0, 0, 0, 0, 0xAA});
    EXPECT_EQ(PIDLMgr.LoadFromStream(&S), nullptr);
    EXPECT_EQ(S.GetPosition(), 4);
    auto Neg = Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xAA});
    EXPECT_EQ(PIDLMgr.LoadFromStream(&Neg), nullptr);
    EXPECT_EQ(Neg.GetPosition(), 4);
}

TEST(PIDLStreams, HostileStreamsRaiseBeforeUse) {
    auto Short = Bytes({1, 0});
    EXPECT_THROW(PIDLMgr.LoadFromStream(&Short), EReadError);
    auto Huge = Bytes({0xFF, 0xFF, 0xFF, 0x7F, 0, 0});
    EXPECT_THROW(PIDLMgr.LoadFromStream(&Huge), EInvalidPIDLStream);
    auto NoTerminator = Bytes({3, 0, 0, 0, 3, 0, 'a'});
    EXPECT_THROW(PIDLMgr.LoadFromStream(&NoTerminator), EInvalidPIDLStream);
    auto CbOne = Bytes({4, 0, 0, 0, 1, 0, 0, 0});
    EXPECT_THROW(PIDLMgr.LoadFromStream(&CbOne), EInvalidPIDLStream);
    // A terminator before the stored size ends: the size says otherwise.
    auto Early = Bytes({4, 0, 0, 0, 0, 0, 3, 0});
    EXPECT_THROW(PIDLMgr.LoadFromStream(&Early), EInvalidPIDLStream);

    TPIDLList L;
    auto Count = Bytes({0, 0, 0, 0x80, 0, 0, 0, 0});  // 2^31 entries
    EXPECT_THROW(L.LoadFromStream(Count), EInvalidPIDLStream);
    auto ManyForFew = Bytes({3, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_THROW(L.LoadFromStream(ManyForFew), EInvalidPIDLStream);
    EXPECT_EQ(L.Count(), 0);
}

TEST(PIDLList, SharedListsDoNotFreeWhatTheyHold) {
    TPIDLHolder P(Chain({"a"}));
    {
        TPIDLList Shared(true);
        Shared.Add(P.Get());
        Shared.Delete(0);
        Shared.Add(P.Get());
    }
    EXPECT_EQ(PIDLMgr.IDCount(P.Get()), 1);  // still alive (ASan would report a double free)
}
