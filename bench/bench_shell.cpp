// The shell namespace and change notifier against Qt's directory classes.
//
// - Enumerate100k: a folder of 100,000 files read into item lists and
//   namespace objects, against QDir::entryList (unsorted) and `ls -f`.
// - Details100k: the five default detail columns of those 100,000 items,
//   the first time (every namespace fresh, so every answer is asked) and
//   cached (the second look), against QDir::entryInfoList plus each size.
//   Both sides describe the same files; our type column comes from the MIME
//   database by name, as the library's Qt type source gives it.
// - Notify1000Deletes: 1,000 files deleted in a watched folder; the time
//   from the last deletion to the one batch on the UI side, which must hold
//   exactly one folder update (the run fails otherwise). The quiet period is
//   the real 750 ms.
// - RawEvents100k: 100,000 raw item events (creates and deletes in 100
//   folders) through the notifier's AddEvent, in CPU time.
// - WatcherSignals: QFileSystemWatcher's directoryChanged signals for the
//   same 1,000 creates and deletes, for the record (no ratio).
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileSystemWatcher>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "shellexplorer/IDEVirtualNamespace.h"
#include "shellexplorer/IDEVirtualShellNotifier.h"
#include "shellexplorer/qt/ShellQt.h"

using namespace ide;

namespace {

constexpr int kFiles = 100000;

QCoreApplication& App() {
    static int Argc = 1;
    static char Name[] = "bench_shell";
    static char* Argv[] = {Name, nullptr};
    static QCoreApplication A(Argc, Argv);
    return A;
}

struct TFixture {
    std::string Root;  // plays home
    std::string Big;   // 100k files
    TFixture() {
        char Tmpl[] = "/tmp/ide_bench_shell_XXXXXX";
        if (!mkdtemp(Tmpl)) std::abort();
        Root = Tmpl;
        Big = Root + "/big";
        mkdir(Big.c_str(), 0755);
        const char* Ext[] = {".txt", ".cpp", ".png", ".md", ".json"};
        for (int I = 0; I < kFiles; ++I) {
            char Name[64];
            std::snprintf(Name, sizeof Name, "/file_%06d%s", I, Ext[I % 5]);
            int Fd = open((Big + Name).c_str(), O_CREAT | O_WRONLY, 0644);
            if (Fd >= 0) {
                if (I % 7 == 0) [[maybe_unused]] auto N = write(Fd, "some content", 12);
                close(Fd);
            }
        }
    }
    ~TFixture() {
        std::string Cmd = "rm -rf '" + Root + "'";
        [[maybe_unused]] int R = std::system(Cmd.c_str());
    }
    std::shared_ptr<TPosixShellProvider> Provider() const {
        TPosixRoots R;
        R.Home = Root;
        R.DataHome = Root + "/share";
        return std::make_shared<TPosixShellProvider>(R, std::make_shared<TQtFileTypeSource>());
    }
};

TFixture& Fixture() {
    static TFixture F;
    return F;
}

using TItems = std::vector<std::unique_ptr<TNamespace>>;

void EnumerateInto(TNamespace& Folder, TItems& Items) {
    Items.reserve(kFiles);
    Folder.EnumerateFolder(true, true, true, [&](PItemIDList P, TNamespace* Parent, void*, bool&) {
        Items.push_back(std::make_unique<TNamespace>(Parent->ProviderRef(), P, Parent));
        return true;
    }, nullptr);
}

void EnumerateIde(benchmark::State& State) {
    auto& F = Fixture();
    auto P = F.Provider();
    for (auto _ : State) {
        auto Folder = TNamespace::CreateFromFileName(P, F.Big);
        TItems Items;
        EnumerateInto(*Folder, Items);
        if (Items.size() != kFiles) State.SkipWithError("wrong item count");
        benchmark::DoNotOptimize(Items.data());
    }
}

void EnumerateQDir(benchmark::State& State) {
    auto& F = Fixture();
    for (auto _ : State) {
        QStringList L = QDir(QString::fromStdString(F.Big)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                                                                      QDir::Unsorted);
        if (L.size() != kFiles) State.SkipWithError("wrong entry count");
    }
}

void EnumerateLs(benchmark::State& State) {
    auto& F = Fixture();
    std::string Cmd = "ls -f '" + F.Big + "' > /dev/null";
    for (auto _ : State) {
        if (std::system(Cmd.c_str()) != 0) State.SkipWithError("ls failed");
    }
}

size_t DetailsOfAll(TItems& Items) {
    size_t Chars = 0;
    for (auto& NS : Items)
        for (int C = 0; C < 5; ++C) Chars += NS->DetailsOf(C).size();
    return Chars;
}

void DetailsFirst(benchmark::State& State) {
    auto& F = Fixture();
    for (auto _ : State) {
        State.PauseTiming();
        auto P = F.Provider();
        auto Folder = TNamespace::CreateFromFileName(P, F.Big);
        TItems Items;
        EnumerateInto(*Folder, Items);
        State.ResumeTiming();
        benchmark::DoNotOptimize(DetailsOfAll(Items));
        State.PauseTiming();
        Items.clear();
        State.ResumeTiming();
    }
}

void DetailsCached(benchmark::State& State) {
    auto& F = Fixture();
    auto P = F.Provider();
    auto Folder = TNamespace::CreateFromFileName(P, F.Big);
    TItems Items;
    EnumerateInto(*Folder, Items);
    DetailsOfAll(Items);
    P->ResetCallCount();
    for (auto _ : State) benchmark::DoNotOptimize(DetailsOfAll(Items));
    if (P->CallCount() != 0) State.SkipWithError("the cached look asked the provider");
}

void DetailsQDir(benchmark::State& State) {
    auto& F = Fixture();
    for (auto _ : State) {
        QFileInfoList L = QDir(QString::fromStdString(F.Big)).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                                                                            QDir::Unsorted);
        qint64 Sum = 0;
        for (const QFileInfo& I : L) Sum += I.size();
        benchmark::DoNotOptimize(Sum);
        if (L.size() != kFiles) State.SkipWithError("wrong entry count");
    }
}

class TBatchControl : public TShellChangeControl {
public:
    bool PostShellNotify(TVirtualShellEventList* List) override {
        Lists.push_back(List);
        return true;
    }
    std::vector<TVirtualShellEventList*> Lists;
};

void NotifyDeletes(benchmark::State& State) {
    auto& F = Fixture();
    std::string Dir = F.Root + "/watched";
    mkdir(Dir.c_str(), 0755);
    auto Listener = std::make_shared<TManualPostTarget>();
    TVirtualChangeNotifier N(F.Provider(), TShellSourcePaths{"/nonexistent", {}, {}, {}, {}});
    N.SetListener(Listener);
    TBatchControl C;
    N.RegisterKernelChangeNotify(&C, AllKernelNotifyEvents);
    N.NotifyWatchFolder(&C, Dir);
    while (N.WatchedFolders().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    for (auto _ : State) {
        for (int I = 0; I < 1000; ++I) close(open((Dir + "/f" + std::to_string(I)).c_str(), O_CREAT | O_WRONLY, 0644));
        // Let the creations' batch go out first.
        auto Quiet = std::chrono::steady_clock::now() + std::chrono::milliseconds(2000);
        while (std::chrono::steady_clock::now() < Quiet) {
            Listener->WaitFor(std::chrono::milliseconds(50));
            Listener->Pump();
        }
        for (auto* L : C.Lists) L->Release();
        C.Lists.clear();
        for (int I = 0; I < 1000; ++I) unlink((Dir + "/f" + std::to_string(I)).c_str());
        auto Deleted = std::chrono::steady_clock::now();
        while (C.Lists.empty() && std::chrono::steady_clock::now() - Deleted < std::chrono::seconds(5)) {
            Listener->WaitFor(std::chrono::milliseconds(1));
            Listener->Pump();
        }
        auto Delivered = std::chrono::steady_clock::now();
        State.SetIterationTime(std::chrono::duration<double>(Delivered - Deleted).count());
        // Anything else arriving shortly after would be a second batch.
        auto Tail = std::chrono::steady_clock::now() + std::chrono::milliseconds(1000);
        while (std::chrono::steady_clock::now() < Tail) {
            Listener->WaitFor(std::chrono::milliseconds(50));
            Listener->Pump();
        }
        if (C.Lists.size() != 1 || C.Lists[0]->Count() != 1 || (*C.Lists[0])[0]->FShellNotifyEvent != vsneUpdateDir)
            State.SkipWithError("the deletions did not arrive as one batch with one folder update");
        State.counters["batches"] = static_cast<double>(C.Lists.size());
        for (auto* L : C.Lists) L->Release();
        C.Lists.clear();
    }
    N.UnRegisterAllNotify();
}

void WatcherSignals(benchmark::State& State) {
    auto& F = Fixture();
    App();
    std::string Dir = F.Root + "/qwatched";
    mkdir(Dir.c_str(), 0755);
    QFileSystemWatcher W;
    W.addPath(QString::fromStdString(Dir));
    int Signals = 0;
    QObject::connect(&W, &QFileSystemWatcher::directoryChanged, [&] { ++Signals; });
    for (auto _ : State) {
        Signals = 0;
        for (int I = 0; I < 1000; ++I) {
            close(open((Dir + "/f" + std::to_string(I)).c_str(), O_CREAT | O_WRONLY, 0644));
            QCoreApplication::processEvents();
        }
        for (int I = 0; I < 1000; ++I) {
            unlink((Dir + "/f" + std::to_string(I)).c_str());
            QCoreApplication::processEvents();
        }
        QElapsedTimer T;
        T.start();
        while (T.elapsed() < 300) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        State.counters["signals"] = Signals;
    }
}

void RawEvents(benchmark::State& State) {
    auto& F = Fixture();
    TVirtualChangeNotifier N(F.Provider(), TShellSourcePaths{"/nonexistent", {}, {}, {}, {}});
    N.SetQuietPeriod(std::chrono::milliseconds(60000));  // nothing goes out during the run
    TBatchControl C;
    N.RegisterShellChangeNotify(&C);
    std::vector<TPIDLHolder> Items;
    for (int I = 0; I < 100000; ++I) {
        std::string Path = F.Root + "/folder" + std::to_string(I % 100) + "/file" + std::to_string(I);
        TPIDLHolder Folder(TPosixShellProvider::MakeSpecialItem(TSpecialFolder::sfHome));
        TPIDLHolder Sub(TPosixShellProvider::MakeFileItem("folder" + std::to_string(I % 100), 4));
        TPIDLHolder File(TPosixShellProvider::MakeFileItem("file" + std::to_string(I) + ".txt", 8));
        TPIDLHolder A(PIDLMgr.AppendPIDL(Folder.Get(), Sub.Get()));
        Items.emplace_back(PIDLMgr.AppendPIDL(A.Get(), File.Get()));
    }
    for (auto _ : State) {
        for (int I = 0; I < 100000; ++I) N.AddEvent(I % 2 ? vsneDelete : vsneCreate, Items[static_cast<size_t>(I)].Get(), nullptr);
    }
    N.UnRegisterAllNotify();
}

}  // namespace

BENCHMARK(EnumerateIde)->Name("Enumerate100k/ideNamespace")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(EnumerateQDir)->Name("Enumerate100k/QDirEntryList")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(EnumerateLs)->Name("Enumerate100k/lsF")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(DetailsFirst)->Name("Details100k/ideFirstLook")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(DetailsCached)->Name("Details100k/ideCached")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(DetailsQDir)->Name("Details100k/QDirEntryInfoListSize")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(NotifyDeletes)->Name("Notify1000Deletes/ideChangeNotifier")->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2);
BENCHMARK(WatcherSignals)->Name("WatcherSignals/QFileSystemWatcher")->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(RawEvents)->Name("RawEvents100k/ideChangeNotifier")->Unit(benchmark::kMillisecond)->Iterations(5);
