// The dispatch filter against a plain reference model of its rules, over
// random event sequences; the rules one by one; duplicate stripping; and
// the life of a batch among controls.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "NotifierTestUtil.h"

using namespace ide;
using ide::test::PathPIDL;
using ide::test::TQueueControl;

namespace {

using Bytes = std::string;
Bytes B(PCItemIDList P) { return P ? TQueueControl::Bytes(P) : Bytes("<nil>"); }

// The rules written as plainly as possible: a vector, linear searches,
// parents by string surgery on the byte form.
struct RefEvent {
    TVirtualShellNotifyEvent Kind;
    Bytes P1, P2;
    uint32_t DW1;
    bool operator==(const RefEvent&) const = default;
};

struct ReferenceFilter {
    bool Filter = true;
    std::vector<Bytes> Recycle;  // first: the bin as shown
    std::vector<RefEvent> Working;

    static bool IsParent(const Bytes& Parent, const Bytes& Child) {
        if (Parent == "<nil>" || Child == "<nil>" || Parent.size() >= Child.size()) return false;
        // Equal leading items: the parent's bytes without its terminator,
        // ending exactly at an item boundary of the child.
        Bytes Head = Parent.substr(0, Parent.size() - 2);
        if (Child.compare(0, Head.size(), Head) != 0) return false;
        size_t Pos = 0;
        while (Pos < Head.size()) Pos += uint8_t(Child[Pos]) | (uint8_t(Child[Pos + 1]) << 8);
        return Pos == Head.size();
    }
    static Bytes ParentOf(const Bytes& P) {
        if (P == "<nil>") return P;
        size_t Pos = 0, Last = 0;
        while (uint8_t(P[Pos]) | uint8_t(P[Pos + 1])) {
            Last = Pos;
            Pos += uint8_t(P[Pos]) | (uint8_t(P[Pos + 1]) << 8);
        }
        if (Pos == 0) return P;
        return P.substr(0, Last) + Bytes(2, '\0');
    }
    bool Redundant(TVirtualShellNotifyEvent K, const Bytes& P1, uint32_t DW1) {
        for (const auto& E : Working)
            if (E.Kind == K && (E.P1 == P1 || (K == vsneFreeSpace && E.DW1 == DW1))) return true;
        return false;
    }
    void Add(TVirtualShellNotifyEvent K, const Bytes& P1, const Bytes& P2, uint32_t DW1) {
        if (!Filter) {
            Working.push_back({K, P1, P2, DW1});
            return;
        }
        if (K == vsneRenameFolder || K == vsneRenameItem) {
            Bytes A = ParentOf(P1), C = ParentOf(P2);
            Add(vsneUpdateDir, A, "<nil>", 0);
            if (C != "<nil>" && C != A) Add(vsneUpdateDir, C, "<nil>", 0);
            return;
        }
        if (K == vsneCreate || K == vsneDelete || K == vsneMkDir || K == vsneRmDir) {
            Add(vsneUpdateDir, ParentOf(P1), "<nil>", 0);
            return;
        }
        if (K == vsneUpdateDir) {
            for (const auto& R : Recycle) {
                if (!IsParent(R, P1)) continue;
                if (!Redundant(vsneUpdateDir, R, 0)) Working.push_back({vsneUpdateDir, R, "<nil>", 0});
                if (!Redundant(vsneUpdateDir, Recycle[0], 0)) Working.push_back({vsneUpdateDir, Recycle[0], "<nil>", 0});
                return;
            }
        }
        if (K == vsneUpdateItem)
            for (const auto& R : Recycle)
                if (IsParent(R, P1)) return;
        if (!Redundant(K, P1, DW1)) Working.push_back({K, P1, P2, DW1});
    }
};

std::vector<RefEvent> Drain(TShellEventFilter& F) {
    std::vector<TVirtualShellEvent*> L;
    F.TakeAll(L);
    std::vector<RefEvent> Out;
    for (auto* E : L) {
        Out.push_back({E->FShellNotifyEvent, B(E->FPIDL1), B(E->FPIDL2), E->FDoubleWord1});
        delete E;
    }
    return Out;
}

std::vector<TPIDLHolder> RecycleFolders() {
    std::vector<TPIDLHolder> R;
    R.emplace_back(PathPIDL("Trash"));
    R.emplace_back(PathPIDL("mnt/usb/.Trash-0/files"));
    return R;
}

}  // namespace

TEST(NotifierFilter, MatchesTheReferenceModelOnRandomSequences) {
    const char* Paths[] = {"", "home", "home/a", "home/a/x", "home/a/y", "home/b", "home/b/z", "Trash",
                           "Trash/f1", "Trash/d/f2", "mnt/usb/.Trash-0/files/q", "mnt/usb/.Trash-0", "mnt"};
    const TVirtualShellNotifyEvent Kinds[] = {vsneCreate, vsneDelete, vsneMkDir, vsneRmDir, vsneRenameItem,
                                              vsneRenameFolder, vsneUpdateDir, vsneUpdateItem, vsneFreeSpace,
                                              vsneAttributes, vsneDriveAdd, vsneAssoccChanged};
    std::mt19937 Rng(20261123);
    for (int Round = 0; Round < 300; ++Round) {
        bool Filter = Round % 5 != 0;
        TShellEventFilter F(Filter);
        F.SetRecycleFolders(RecycleFolders());
        ReferenceFilter Ref;
        Ref.Filter = Filter;
        for (auto& R : RecycleFolders()) Ref.Recycle.push_back(B(R.Get()));
        int Steps = 1 + int(Rng() % 60);
        for (int S = 0; S < Steps; ++S) {
            auto K = Kinds[Rng() % std::size(Kinds)];
            int I1 = int(Rng() % (std::size(Paths) + 1)), I2 = int(Rng() % (std::size(Paths) + 1));
            TPIDLHolder P1(I1 < int(std::size(Paths)) ? PathPIDL(Paths[I1]) : nullptr);
            TPIDLHolder P2(I2 < int(std::size(Paths)) ? PathPIDL(Paths[I2]) : nullptr);
            uint32_t DW1 = Rng() % 3;
            F.AddEvent(K, P1.Get(), P2.Get(), DW1);
            Ref.Add(K, B(P1.Get()), B(P2.Get()), DW1);
            ASSERT_EQ(F.Count(), int(Ref.Working.size())) << "round " << Round << " step " << S;
        }
        ASSERT_EQ(Drain(F), Ref.Working) << "round " << Round;
        EXPECT_TRUE(F.Empty());
    }
}

TEST(NotifierFilter, ItemEventsBecomeOneFolderUpdate) {
    TShellEventFilter F;
    for (int I = 0; I < 1000; ++I) {
        TPIDLHolder P(PathPIDL("home/a/f" + std::to_string(I)));
        F.AddEvent(vsneDelete, P.Get(), nullptr);
    }
    TPIDLHolder A(PathPIDL("home/a")), X(PathPIDL("home/a/x")), Y(PathPIDL("home/a/y")), Z(PathPIDL("home/b/z"));
    F.AddEvent(vsneRenameItem, X.Get(), Y.Get());  // within the folder: nothing new
    auto Out = Drain(F);
    ASSERT_EQ(Out.size(), 1u);
    EXPECT_EQ(Out[0], (RefEvent{vsneUpdateDir, B(A.Get()), "<nil>", 0}));
    F.AddEvent(vsneRenameItem, X.Get(), Z.Get());  // across folders: two
    EXPECT_EQ(Drain(F).size(), 2u);
    F.SetFilterEvents(false);  // everything as it came
    F.AddEvent(vsneCreate, X.Get(), nullptr);
    F.AddEvent(vsneCreate, X.Get(), nullptr);
    Out = Drain(F);
    ASSERT_EQ(Out.size(), 2u);
    EXPECT_EQ(Out[0].Kind, vsneCreate);
}

TEST(NotifierFilter, TrashChangesBecomeUpdatesOfTheBin) {
    TShellEventFilter F;
    F.SetRecycleFolders(RecycleFolders());
    TPIDLHolder Deep(PathPIDL("mnt/usb/.Trash-0/files/d/e")), Item(PathPIDL("Trash/f1")), Bin(PathPIDL("Trash")),
        UsbBin(PathPIDL("mnt/usb/.Trash-0/files"));
    F.AddEvent(vsneUpdateDir, Deep.Get(), nullptr);
    F.AddEvent(vsneUpdateItem, Item.Get(), nullptr);  // dropped
    F.AddEvent(vsneCreate, Deep.Get(), nullptr);      // its parent is still deep in the trash
    auto Out = Drain(F);
    ASSERT_EQ(Out.size(), 2u);
    EXPECT_EQ(Out[0].P1, B(UsbBin.Get()));
    EXPECT_EQ(Out[1].P1, B(Bin.Get()));
    F.AddEvent(vsneFreeSpace, Bin.Get(), nullptr, 7);
    F.AddEvent(vsneFreeSpace, UsbBin.Get(), nullptr, 7);  // same drive number: redundant
    EXPECT_EQ(Drain(F).size(), 1u);
}

TEST(NotifierFilter, StripDuplicatesKeepsTheTopmostAndTheFirstOfEquals) {
    std::mt19937 Rng(7);
    const char* Paths[] = {"a", "a/b", "a/b/c", "a/bc", "d", "d/e", "a/b/c/d", ""};
    for (int Round = 0; Round < 200; ++Round) {
        auto* L = new TVirtualShellEventList();
        L->AddRef();
        std::vector<std::pair<Bytes, int>> Ref;  // (bytes, tag)
        int N = 1 + int(Rng() % 8);
        for (int I = 0; I < N; ++I) {
            int K = int(Rng() % (std::size(Paths) - (Round % 4 ? 1 : 0)));
            TPIDLHolder P(PathPIDL(Paths[K]));
            auto* E = new TVirtualShellEvent(vsneUpdateDir, P.Get(), nullptr, uint32_t(I));
            L->Events().push_back(E);
            Ref.push_back({B(P.Get()), I});
        }
        // Pairwise, as plainly as it can be said.
        std::vector<int> Survivors;
        for (size_t I = 0; I < Ref.size(); ++I) {
            bool Drop = false;
            for (size_t J = 0; J < Ref.size(); ++J) {
                if (I == J) continue;
                if (ReferenceFilter::IsParent(Ref[J].first, Ref[I].first)) Drop = true;
                if (J < I && Ref[J].first == Ref[I].first) Drop = true;
            }
            if (!Drop) Survivors.push_back(Ref[I].second);
        }
        StripDuplicates(*L);
        std::vector<int> Got;
        for (int I = 0; I < L->Count(); ++I) Got.push_back(int((*L)[I]->FDoubleWord1));
        ASSERT_EQ(Got, Survivors) << "round " << Round;
        L->Release();
    }
}

TEST(NotifierFilter, EventNamesCodesAndFilters) {
    EXPECT_STREQ(VirtualShellNotifyEventToStr(vsneUpdateDir), "Update Directory");
    EXPECT_STREQ(VirtualShellNotifyEventToStr(vsneAssoccChanged), "Association Changed");
    EXPECT_STREQ(VirtualShellNotifyEventToStr(vsneNetUnShare), "Network Unshare");
    EXPECT_STREQ(VirtualShellNotifyEventToStr(vsneNone), "");
    for (int I = 0; I < vsneNone; ++I) {
        auto E = static_cast<TVirtualShellNotifyEvent>(I);
        EXPECT_EQ(ShellNotifyEventFromCode(ShellNotifyEventCode(E)), E);
    }
    EXPECT_EQ(ShellNotifyEventCode(vsneRenameItem), 1u);
    EXPECT_EQ(ShellNotifyEventCode(vsneAssoccChanged), 0x8000000u);
    EXPECT_EQ(MapNotifyEvents(AllKernelNotifyEvents), 0x17Fu);
    EXPECT_EQ(MapNotifyEvents(1 << vkneSecurity | 1 << vkneFileName), 0x101u);
}

TEST(NotifierBatches, OneSharedListReleasedByTheLastControl) {
    int Before = TVirtualShellEventList::LiveCount();
    auto Listener = std::make_shared<TManualPostTarget>();
    {
        TVirtualChangeNotifier N(std::make_shared<TPosixShellProvider>(), TShellSourcePaths{"/nonexistent", {}, {}, {}, {}});
        N.SetListener(Listener);
        N.SetQuietPeriod(std::chrono::milliseconds(20));
        TQueueControl Good, Failing, Dying;
        Failing.FailPosts = true;
        auto Gone = std::make_unique<TQueueControl>();
        EXPECT_TRUE(N.RegisterShellChangeNotify(&Good));
        EXPECT_TRUE(N.RegisterShellChangeNotify(&Failing));
        EXPECT_TRUE(N.RegisterKernelChangeNotify(Gone.get(), AllKernelNotifyEvents));
        // Flagging a known control through its entry reports false; again, true.
        EXPECT_FALSE(N.RegisterShellChangeNotify(Gone.get()));
        EXPECT_TRUE(N.RegisterShellChangeNotify(Gone.get()));
        TPIDLHolder P(PathPIDL("home/a/f"));
        N.AddEvent(vsneCreate, P.Get(), nullptr);
        ASSERT_TRUE(Listener->WaitFor(std::chrono::seconds(5)));
        Listener->Pump();
        EXPECT_EQ(Good.Handle(), 1);
        ASSERT_EQ(Good.Batches.size(), 1u);
        EXPECT_EQ(Good.Batches[0].size(), 1u);
        EXPECT_EQ(TVirtualShellEventList::LiveCount(), Before + 1);  // Gone still holds it
        N.UnRegisterChangeNotify(Gone.get());
        Gone.reset();  // the window died with the batch pending
        EXPECT_EQ(TVirtualShellEventList::LiveCount(), Before);
        // A second batch gets the next number; an undelivered one dies with
        // the listener's queue.
        N.AddEvent(vsneCreate, P.Get(), nullptr);
        ASSERT_TRUE(Listener->WaitFor(std::chrono::seconds(5)));
        Listener->Pump();
        Good.Handle();
        ASSERT_EQ(Good.Ids.size(), 2u);
        EXPECT_EQ(Good.Ids[1], Good.Ids[0] + 1);
        N.AddEvent(vsneDelete, P.Get(), nullptr);
        ASSERT_TRUE(Listener->WaitFor(std::chrono::seconds(5)));
        N.UnRegisterAllNotify();
        EXPECT_FALSE(N.ThreadsRunning());
    }
    Listener->Pump();  // the notifier is gone: the batch is just released
    EXPECT_EQ(TVirtualShellEventList::LiveCount(), Before);
}
