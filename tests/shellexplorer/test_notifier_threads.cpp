// The notifier's threads on real folders: the kernel source turns bursts
// into one folder update, a move across folders into two; the shell source
// takes posted verbs and trash changes; watch slots are limited; threads end
// with the last registration; and a stress run from several threads for
// the thread sanitizer.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <random>
#include <thread>

#include "NotifierTestUtil.h"
#include "shellexplorer/IDEVirtualNamespace.h"

using namespace ide;
using ide::test::TQueueControl;
using namespace std::chrono_literals;

namespace {

class NotifierThreads : public ::testing::Test {
protected:
    void SetUp() override {
        // A memory file system when there is one: the bursts below make
        // thousands of files, which a journalled disk makes slow.
        std::string Tmpl = access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm/ide_notify_XXXXXX" : "/tmp/ide_notify_XXXXXX";
        ASSERT_NE(mkdtemp(Tmpl.data()), nullptr);
        Home = Tmpl;
        for (const char* D : {"/a", "/b", "/.local", "/.local/share", "/.local/share/Trash", "/.local/share/Trash/files",
                              "/.local/share/Trash/info"})
            mkdir((Home + D).c_str(), 0755);
        TPosixRoots R;
        R.Home = Home;
        R.DataHome = Home + "/.local/share";
        Provider = std::make_shared<TPosixShellProvider>(R);
        TShellSourcePaths S;
        S.MountInfo = "/proc/self/mountinfo";
        S.TrashFolders = {R.TrashFiles(), R.TrashInfo()};
        N = std::make_unique<TVirtualChangeNotifier>(Provider, S);
        N->SetListener(Listener);
        N->SetQuietPeriod(150ms);
    }
    void TearDown() override {
        N.reset();
        std::string Cmd = "rm -rf '" + Home + "'";
        ASSERT_EQ(std::system(Cmd.c_str()), 0);
    }
    // The kernel thread rebuilds its watches once per change of the list;
    // seventy registrations in a row can take it seconds on a busy machine.
    void WaitWatched(size_t Count) {
        for (int I = 0; I < 4000 && N->WatchedFolders().size() != Count; ++I) std::this_thread::sleep_for(5ms);
        ASSERT_EQ(N->WatchedFolders().size(), Count);
    }
    // Waits until the kernel thread watches exactly Want, in any order.
    void WaitWatchedExactly(std::vector<std::string> Want) {
        std::sort(Want.begin(), Want.end());
        auto Now = [&] {
            auto Got = N->WatchedFolders();
            std::sort(Got.begin(), Got.end());
            return Got;
        };
        for (int I = 0; I < 4000 && Now() != Want; ++I) std::this_thread::sleep_for(5ms);
        ASSERT_EQ(Now(), Want);
    }
    // Pumps the UI queue until Control has Batches batches or time is up.
    void PumpUntil(TQueueControl& Control, size_t Batches, std::chrono::milliseconds Max = 5s) {
        auto End = std::chrono::steady_clock::now() + Max;
        while (Control.Batches.size() < Batches && std::chrono::steady_clock::now() < End) {
            Listener->WaitFor(20ms);
            Listener->Pump();
            Control.Handle();
        }
    }
    std::string Expect(const std::string& Path) {
        TPIDLHolder P(Provider->ParseDisplayName(Path));
        return std::string("Update Directory ") + TQueueControl::Bytes(P.Get());
    }

    std::string Home;
    std::shared_ptr<TPosixShellProvider> Provider;
    std::shared_ptr<TManualPostTarget> Listener = std::make_shared<TManualPostTarget>();
    std::unique_ptr<TVirtualChangeNotifier> N;
};

}  // namespace

TEST_F(NotifierThreads, ThousandCreatesAndDeletesGiveOneFolderUpdate) {
    TQueueControl C;
    N->RegisterKernelChangeNotify(&C, AllKernelNotifyEvents);
    N->NotifyWatchFolder(&C, Home + "/a");
    WaitWatched(1);
    for (int I = 0; I < 1000; ++I) std::ofstream(Home + "/a/f" + std::to_string(I)) << "x";
    for (int I = 0; I < 1000; ++I) std::remove((Home + "/a/f" + std::to_string(I)).c_str());
    PumpUntil(C, 1);
    ASSERT_EQ(C.Batches.size(), 1u);
    EXPECT_EQ(C.Batches[0], std::vector<std::string>{Expect(Home + "/a")});
    // Nothing else follows the quiet period.
    PumpUntil(C, 2, 400ms);
    EXPECT_EQ(C.Batches.size(), 1u);
}

TEST_F(NotifierThreads, MoveAcrossFoldersGivesTwoUpdates) {
    TQueueControl A, B;
    std::ofstream(Home + "/a/moving") << "x";
    N->RegisterKernelChangeNotify(&A, 1 << vkneFileName);
    N->RegisterKernelChangeNotify(&B, 1 << vkneFileName);
    N->NotifyWatchFolder(&A, Home + "/a");
    N->NotifyWatchFolder(&B, Home + "/b");
    WaitWatched(2);
    ASSERT_EQ(std::rename((Home + "/a/moving").c_str(), (Home + "/b/moving").c_str()), 0);
    PumpUntil(A, 1);
    B.Handle();
    ASSERT_EQ(A.Batches.size(), 1u);
    std::vector<std::string> Got = A.Batches[0];
    std::sort(Got.begin(), Got.end());
    std::vector<std::string> Want = {Expect(Home + "/a"), Expect(Home + "/b")};
    std::sort(Want.begin(), Want.end());
    EXPECT_EQ(Got, Want);
    EXPECT_EQ(B.Batches, A.Batches);  // the same list went to both
    EXPECT_EQ(B.Ids, A.Ids);
}

TEST_F(NotifierThreads, ChangingTheWatchFolderRebuildsAndSurplusIsUnwatched) {
    std::vector<std::unique_ptr<TQueueControl>> Controls;
    for (int I = 0; I < 70; ++I) {
        std::string D = Home + "/a/d" + std::to_string(I);
        mkdir(D.c_str(), 0755);
        Controls.push_back(std::make_unique<TQueueControl>());
        N->RegisterKernelChangeNotify(Controls.back().get(), AllKernelNotifyEvents);
        N->NotifyWatchFolder(Controls.back().get(), D);
    }
    const size_t Slots = TVirtualChangeNotifier::MaxKernelWatchSlots - 1;
    auto Folders = [&](std::initializer_list<int> Skip) {
        std::vector<std::string> Want;
        for (int I = 0; Want.size() < Slots; ++I)
            if (std::find(Skip.begin(), Skip.end(), I) == Skip.end()) Want.push_back(Home + "/a/d" + std::to_string(I));
        return Want;
    };
    WaitWatchedExactly(Folders({}));
    // A folder watched twice takes one slot; a missing one takes none: the
    // two freed slots go to the next folders in line.
    N->NotifyWatchFolder(Controls[1].get(), Home + "/a/d0");
    N->NotifyWatchFolder(Controls[2].get(), Home + "/nowhere");
    WaitWatchedExactly(Folders({1, 2}));
    for (auto& C : Controls) N->UnRegisterChangeNotify(C.get());
    EXPECT_FALSE(N->ThreadsRunning());
    EXPECT_FALSE(N->NotifyWatchFolder(Controls[0].get(), Home));  // not known any more
}

TEST_F(NotifierThreads, KernelQueueOverflowUpdatesEveryWatchedFolder) {
    // The kernel's own queue overflows: the reader is held inside its raw
    // event report (which runs on the kernel thread, outside every lock)
    // while more events are made than the queue holds. A change in the
    // other folder after the overflow has no event of its own; only the
    // overflow rule can report it.
    std::ifstream Limit("/proc/sys/fs/inotify/max_queued_events");
    long MaxQueued = 0;
    Limit >> MaxQueued;
    if (MaxQueued <= 0 || MaxQueued > 100000) GTEST_SKIP() << "inotify queue limit unknown or too large: " << MaxQueued;
    std::mutex HoldLock;
    std::condition_variable HoldCond;
    bool Held = false, Release = false, SawOverflow = false;
    N->OnRawEvent = [&](const std::string& Source, const std::string& What) {
        if (Source != "kernel") return;
        std::unique_lock<std::mutex> L(HoldLock);
        if (What.find("queue overflow") != std::string::npos) SawOverflow = true;
        if (!Held) {
            Held = true;
            HoldCond.notify_all();
            HoldCond.wait(L, [&] { return Release; });
        }
    };
    TQueueControl A, B;
    N->RegisterKernelChangeNotify(&A, AllKernelNotifyEvents);
    N->RegisterKernelChangeNotify(&B, AllKernelNotifyEvents);
    N->NotifyWatchFolder(&A, Home + "/a");
    N->NotifyWatchFolder(&B, Home + "/b");
    WaitWatched(2);
    // A watch list rebuilt late (by a trigger still pending) would miss a
    // single event; write until the reader reports one and is held.
    for (int I = 0; I < 50; ++I) {
        std::ofstream(Home + "/a/first" + std::to_string(I)) << "x";
        std::unique_lock<std::mutex> L(HoldLock);
        if (HoldCond.wait_for(L, 100ms, [&] { return Held; })) break;
    }
    {
        std::lock_guard<std::mutex> L(HoldLock);
        ASSERT_TRUE(Held);
    }
    // Each new file queues a creation and a close after writing: two events.
    for (long I = 0; I < MaxQueued / 2 + 100; ++I) close(open((Home + "/a/n" + std::to_string(I)).c_str(), O_CREAT | O_WRONLY, 0644));
    std::ofstream(Home + "/b/after-the-overflow") << "x";
    {
        std::lock_guard<std::mutex> L(HoldLock);
        Release = true;
        HoldCond.notify_all();
    }
    PumpUntil(A, 1);
    B.Handle();
    ASSERT_FALSE(A.Batches.empty());
    {
        std::lock_guard<std::mutex> L(HoldLock);
        EXPECT_TRUE(SawOverflow) << "the kernel queue did not overflow";
    }
    std::vector<std::string> Got;
    for (auto& Batch : A.Batches) Got.insert(Got.end(), Batch.begin(), Batch.end());
    EXPECT_NE(std::find(Got.begin(), Got.end(), Expect(Home + "/a")), Got.end());
    EXPECT_NE(std::find(Got.begin(), Got.end(), Expect(Home + "/b")), Got.end());
    EXPECT_EQ(B.Batches, A.Batches);
    N->UnRegisterChangeNotify(&A);
    N->UnRegisterChangeNotify(&B);
    N->OnRawEvent = nullptr;
}

TEST_F(NotifierThreads, RebuildKeepsWhatIsQueuedForFoldersThatStay) {
    // The reader is held (after a change in b) while a change in a is
    // queued and a third folder joins the watch list; the rebuild comes
    // before the change in a is read, and must not lose it.
    std::mutex HoldLock;
    std::condition_variable HoldCond;
    bool Held = false, Release = false;
    N->OnRawEvent = [&](const std::string& Source, const std::string&) {
        if (Source != "kernel") return;
        std::unique_lock<std::mutex> L(HoldLock);
        if (!Held) {
            Held = true;
            HoldCond.notify_all();
            HoldCond.wait(L, [&] { return Release; });
        }
    };
    mkdir((Home + "/d").c_str(), 0755);
    TQueueControl A, B, D;
    N->RegisterKernelChangeNotify(&A, AllKernelNotifyEvents);
    N->RegisterKernelChangeNotify(&B, AllKernelNotifyEvents);
    N->NotifyWatchFolder(&A, Home + "/a");
    N->NotifyWatchFolder(&B, Home + "/b");
    WaitWatched(2);
    for (int I = 0; I < 50; ++I) {
        std::ofstream(Home + "/b/first" + std::to_string(I)) << "x";
        std::unique_lock<std::mutex> L(HoldLock);
        if (HoldCond.wait_for(L, 100ms, [&] { return Held; })) break;
    }
    {
        std::lock_guard<std::mutex> L(HoldLock);
        ASSERT_TRUE(Held);
    }
    std::ofstream(Home + "/a/queued") << "x";
    N->RegisterKernelChangeNotify(&D, AllKernelNotifyEvents);
    N->NotifyWatchFolder(&D, Home + "/d");
    {
        std::lock_guard<std::mutex> L(HoldLock);
        Release = true;
        HoldCond.notify_all();
    }
    WaitWatched(3);
    PumpUntil(A, 1);
    ASSERT_EQ(A.Batches.size(), 1u);
    std::vector<std::string> Got = A.Batches[0];
    std::sort(Got.begin(), Got.end());
    std::vector<std::string> Want = {Expect(Home + "/a"), Expect(Home + "/b")};
    std::sort(Want.begin(), Want.end());
    EXPECT_EQ(Got, Want);
    for (auto* C : {&A, &B, &D}) N->UnRegisterChangeNotify(C);
    N->OnRawEvent = nullptr;
}

TEST_F(NotifierThreads, WatchedFolderDeletedUpdatesItsParent) {
    TQueueControl C;
    mkdir((Home + "/a/gone").c_str(), 0755);
    N->RegisterKernelChangeNotify(&C, AllKernelNotifyEvents);
    N->NotifyWatchFolder(&C, Home + "/a/gone");
    WaitWatched(1);
    ASSERT_EQ(rmdir((Home + "/a/gone").c_str()), 0);
    PumpUntil(C, 1);
    ASSERT_EQ(C.Batches.size(), 1u);
    EXPECT_NE(std::find(C.Batches[0].begin(), C.Batches[0].end(), Expect(Home + "/a")), C.Batches[0].end());
}

TEST_F(NotifierThreads, ShellThreadTakesVerbsAndTrashChanges) {
    TQueueControl C;
    N->PostShellNotifyEvent(vsneDelete, nullptr, nullptr);  // no shell thread yet: nothing
    N->RegisterShellChangeNotify(&C);
    std::ofstream(Home + "/b/doc") << "x";
    TPIDLHolder Doc(Provider->ParseDisplayName(Home + "/b/doc"));
    N->PostShellNotifyEvent(vsneDelete, Doc.Get(), nullptr);
    PumpUntil(C, 1);
    ASSERT_EQ(C.Batches.size(), 1u);
    EXPECT_EQ(C.Batches[0], std::vector<std::string>{Expect(Home + "/b")});
    // Something lands in the trash: one update of the trash.
    std::this_thread::sleep_for(50ms);
    std::ofstream(Home + "/.local/share/Trash/files/doc") << "x";
    std::ofstream(Home + "/.local/share/Trash/info/doc.trashinfo") << "[Trash Info]\n";
    PumpUntil(C, 2);
    ASSERT_EQ(C.Batches.size(), 2u);
    TPIDLHolder Bin(Provider->SpecialFolderLocation(TSpecialFolder::sfTrash));
    EXPECT_EQ(C.Batches[1], std::vector<std::string>{"Update Directory " + TQueueControl::Bytes(Bin.Get())});
    N->UnRegisterShellChangeNotify(&C);
    EXPECT_FALSE(N->ThreadsRunning());
}

TEST_F(NotifierThreads, BurstThatNeverPausesDelaysDelivery) {
    TQueueControl C;
    N->RegisterShellChangeNotify(&C);
    TPIDLHolder P(ide::test::PathPIDL("x/y"));
    auto Start = std::chrono::steady_clock::now();
    for (int I = 0; I < 12; ++I) {
        N->AddEvent(vsneUpdateItem, P.Get(), nullptr);
        std::this_thread::sleep_for(50ms);
        Listener->Pump();
        C.Handle();
        EXPECT_TRUE(C.Batches.empty()) << "delivered during the burst at step " << I;
    }
    PumpUntil(C, 1);
    EXPECT_EQ(C.Batches.size(), 1u);
    EXPECT_GE(std::chrono::steady_clock::now() - Start, 600ms);
}

TEST_F(NotifierThreads, StressFromManyThreads) {
    // Registrations, watch folders, events and verbs from four threads while
    // this one delivers; run under the thread sanitizer in make test-tsan.
    N->SetQuietPeriod(5ms);
    std::atomic<bool> Stop{false};
    std::atomic<int> Finished{0};
    std::vector<std::thread> Workers;
    std::vector<std::unique_ptr<TQueueControl>> Controls(8);
    for (auto& C : Controls) C = std::make_unique<TQueueControl>();
    TQueueControl Main;
    N->RegisterShellChangeNotify(&Main);
    std::mutex ControlsLock;  // the queue controls are UI-side objects
    for (int T = 0; T < 4; ++T) {
        Workers.emplace_back([&, T] {
            std::mt19937 Rng(T);
            int Step = 0;
            while (!Stop && Step++ < 400) {
                TQueueControl* C = Controls[(T * 2 + Rng() % 2)].get();
                switch (Rng() % 6) {
                    case 0: N->RegisterKernelChangeNotify(C, AllKernelNotifyEvents); break;
                    case 1: N->NotifyWatchFolder(C, Home + (Rng() % 2 ? "/a" : "/b")); break;
                    case 2: N->UnRegisterChangeNotify(C); break;
                    case 3: N->RegisterShellChangeNotify(C); break;
                    case 4: {
                        TPIDLHolder P(ide::test::PathPIDL("s/" + std::to_string(Rng() % 5)));
                        N->AddEvent(vsneCreate, P.Get(), nullptr);
                        N->PostShellNotifyEvent(vsneUpdateDir, P.Get(), nullptr);
                        break;
                    }
                    default: std::ofstream(Home + "/a/t" + std::to_string(T)) << Step; break;
                }
            }
            ++Finished;
        });
    }
    auto End = std::chrono::steady_clock::now() + 2s;
    while (Finished < 4 && std::chrono::steady_clock::now() < End) {
        Listener->WaitFor(5ms);
        // Delivery takes the control lock and posts into the controls'
        // queues; the workers never touch those queues.
        Listener->Pump();
        Main.Handle();
    }
    Stop = true;
    for (auto& W : Workers) W.join();
    // The last events still make a batch for the control that stayed.
    PumpUntil(Main, 1);
    for (auto& C : Controls) N->UnRegisterChangeNotify(C.get());
    N->UnRegisterChangeNotify(&Main);
    EXPECT_FALSE(N->ThreadsRunning());
    Listener->Pump();
    for (auto& C : Controls) C->Handle();
    Main.Handle();
    EXPECT_FALSE(Main.Batches.empty());
}
