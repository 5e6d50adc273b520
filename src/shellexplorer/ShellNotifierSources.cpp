// The notifier's producers: the kernel thread (inotify on watched folders)
// and the shell thread (mount table, trash, MIME and icon folders, posted
// verbs). Both only call AddEvent; neither touches a control.
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <unordered_map>

#include "shellexplorer/ShellNotifierThreads_p.h"

namespace ide {

namespace {

void Wake(int Fd) {
    uint64_t One = 1;
    // A full counter still wakes the reader; nothing else can fail here.
    [[maybe_unused]] auto N = write(Fd, &One, sizeof One);
}

void Drain(int Fd) {
    uint64_t V;
    while (read(Fd, &V, sizeof V) > 0) {
    }
}

int PollRetry(pollfd* Fds, nfds_t N) {
    for (;;) {
        int R = poll(Fds, N, -1);
        if (R >= 0 || errno != EINTR) return R;
    }
}

// Reads every queued inotify event; calls Each(event) for each.
template <class F>
bool ReadInotify(int Fd, F&& Each) {
    alignas(struct inotify_event) char Buf[64 * 1024];
    bool Any = false;
    for (;;) {
        ssize_t N = read(Fd, Buf, sizeof Buf);
        if (N <= 0) break;
        Any = true;
        for (char* P = Buf; P < Buf + N;) {
            auto* E = reinterpret_cast<struct inotify_event*>(P);
            Each(*E);
            P += sizeof(struct inotify_event) + E->len;
        }
    }
    return Any;
}

std::string ReadAll(int Fd) {
    std::string Text;
    char Buf[8192];
    lseek(Fd, 0, SEEK_SET);
    for (;;) {
        ssize_t N = read(Fd, Buf, sizeof Buf);
        if (N <= 0) break;
        Text.append(Buf, static_cast<size_t>(N));
    }
    return Text;
}

const uint32_t FolderChangeMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB;

}  // namespace

// --- kernel thread ---------------------------------------------------------------

TVirtualKernelChangeThread::TVirtualKernelChangeThread(TVirtualChangeNotifier* Notifier)
    : FChangeNotifier(Notifier), FKernelChangeEvent(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

TVirtualKernelChangeThread::~TVirtualKernelChangeThread() {
    Stop();
    if (FKernelChangeEvent >= 0) close(FKernelChangeEvent);
}

void TVirtualKernelChangeThread::TriggerEvent() { Wake(FKernelChangeEvent); }

void TVirtualKernelChangeThread::Execute() {
    TVirtualChangeNotifier& N = *FChangeNotifier;
    struct TWatch {
        std::string Path;
        uint32_t Mask;
        TPIDLHolder PIDL;
        int Special = -1;  // index into the special folders
    };
    int In = -1;                // the inotify descriptor
    std::vector<int> Live;      // its watches
    while (!Terminated()) {
        // 1. Reset the trigger and read the watch list.
        Drain(FKernelChangeEvent);
        std::vector<TWatch> Watches;
        std::vector<std::pair<TPIDLHolder, TPIDLHolder>> Specials;  // physical, virtual
        {
            std::lock_guard<std::mutex> S(N.FSpecialFolderRegisterLock);
            std::lock_guard<std::mutex> C(N.FControlLock);
            for (size_t I = 0; I < N.FSpecialFolderPhysicalPaths.size(); ++I) {
                TWatch W{N.FSpecialFolderPhysicalPaths[I], InotifyMaskOfFilter(MapNotifyEvents(AllKernelNotifyEvents)),
                         TPIDLHolder(PIDLMgr.CopyPIDL(N.FSpecialFolderPhysicalPIDLs[I].Get())), static_cast<int>(I)};
                Watches.push_back(std::move(W));
                Specials.emplace_back(TPIDLHolder(PIDLMgr.CopyPIDL(N.FSpecialFolderPhysicalPIDLs[I].Get())),
                                      TPIDLHolder(PIDLMgr.CopyPIDL(N.FSpecialFolderVirtualPIDLs[I].Get())));
            }
            for (auto& Ctl : N.FControlList) {
                if (!Ctl->FKernelChangeRegistered || Ctl->FWatchFolder.empty()) continue;
                auto Same = [&](const TWatch& W) { return W.Path == Ctl->FWatchFolder; };
                auto It = std::find_if(Watches.begin(), Watches.end(), Same);
                if (It != Watches.end()) {
                    It->Mask |= InotifyMaskOfFilter(MapNotifyEvents(Ctl->FNotifyEvents));
                    continue;
                }
                Watches.push_back({Ctl->FWatchFolder, InotifyMaskOfFilter(MapNotifyEvents(Ctl->FNotifyEvents)), {}, -1});
            }
        }
        // The descriptor lives across rebuilds: adding a watch that exists
        // sets its mask and keeps its wd, and only the watches no longer
        // wanted are removed. So what is queued for a folder that stays
        // watched survives a rebuild, instead of being lost with the
        // descriptor.
        if (In < 0) In = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        std::unordered_map<int, size_t> ByWd;
        std::vector<std::string> Watched;
        // The slots go to the first folders that can be watched, special
        // folders first: a folder that is missing takes none.
        const size_t Slots = TVirtualChangeNotifier::MaxKernelWatchSlots - 1;
        for (size_t I = 0; I < Watches.size() && Watched.size() < Slots; ++I) {
            TWatch& W = Watches[I];
            // The provider is asked outside the locks.
            if (!W.PIDL) W.PIDL.Reset(N.FProvider->ParseDisplayName(W.Path));
            if (In < 0 || !W.PIDL) continue;
            int Wd = inotify_add_watch(In, W.Path.c_str(), W.Mask);
            if (Wd < 0) {
                // Gone, not a folder, or the watch limit: that folder stays unwatched.
                N.RawEvent("kernel", "cannot watch " + W.Path + ": " + std::strerror(errno));
                continue;
            }
            ByWd[Wd] = I;
            Watched.push_back(W.Path);
        }
        for (int Wd : Live)
            if (!ByWd.count(Wd)) inotify_rm_watch(In, Wd);
        Live.clear();
        for (auto& [Wd, I] : ByWd) Live.push_back(Wd);
        {
            std::lock_guard<std::mutex> L(N.FWatchedLock);
            N.FWatched = Watched;
        }
        // 2. Nothing to watch: wait for the trigger.
        if (ByWd.empty()) {
            pollfd T{FKernelChangeEvent, POLLIN, 0};
            if (!Terminated()) PollRetry(&T, 1);
            continue;
        }
        // 3. Wait for changes until the trigger says the list changed.
        auto Update = [&](size_t I) {
            PCItemIDList P = Watches[I].PIDL.Get();
            N.AddEvent(vsneUpdateDir, P, nullptr);
            // A change in a special folder's physical place is also one in
            // its place in the namespace.
            for (auto& Sp : Specials) {
                if (PIDLMgr.EqualPIDL(Sp.first.Get(), Sp.second.Get())) continue;
                if (PIDLMgr.EqualPIDL(Sp.first.Get(), P) || PIDLMgr.IsParentPIDL(Sp.first.Get(), P)) {
                    size_t Head = PIDLMgr.PIDLSize(Sp.first.Get()) - 2;
                    TPIDLHolder Mapped(PIDLMgr.AppendPIDL(Sp.second.Get(), P + Head));
                    N.AddEvent(vsneUpdateDir, Mapped.Get(), nullptr);
                }
            }
        };
        for (;;) {
            pollfd Fds[2] = {{FKernelChangeEvent, POLLIN, 0}, {In, POLLIN, 0}};
            if (PollRetry(Fds, 2) < 0 || Terminated() || (Fds[0].revents & POLLIN)) break;
            if (!(Fds[1].revents & POLLIN)) continue;
            std::vector<size_t> Changed;
            std::vector<size_t> Gone;
            bool Overflow = false;
            size_t Raw = 0;
            ReadInotify(In, [&](const struct inotify_event& E) {
                ++Raw;
                if (E.mask & IN_Q_OVERFLOW) {
                    Overflow = true;
                    return;
                }
                auto It = ByWd.find(E.wd);
                if (It == ByWd.end()) return;
                if (E.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) {
                    if (std::find(Gone.begin(), Gone.end(), It->second) == Gone.end()) Gone.push_back(It->second);
                    return;
                }
                if (std::find(Changed.begin(), Changed.end(), It->second) == Changed.end()) Changed.push_back(It->second);
            });
            if (N.OnRawEvent)
                N.RawEvent("kernel", std::to_string(Raw) + " raw event(s)" + (Overflow ? ", queue overflow" : ""));
            if (Overflow) {
                // Lost events: every watched folder may have changed.
                Changed.clear();
                for (auto& [Wd, I] : ByWd) Changed.push_back(I);
                std::sort(Changed.begin(), Changed.end());
            }
            for (size_t I : Changed) Update(I);
            for (size_t I : Gone) {
                // The folder itself went away: its parent changed.
                TPIDLHolder Parent(PIDLMgr.StripLastID(PIDLMgr.CopyPIDL(Watches[I].PIDL.Get())));
                N.AddEvent(vsneUpdateDir, Parent.Get(), nullptr);
                for (auto It = ByWd.begin(); It != ByWd.end();)
                    It = It->second == I ? ByWd.erase(It) : std::next(It);
            }
        }
        // 4. The next round rebuilds the watch list.
    }
    if (In >= 0) close(In);
}

// --- shell thread ----------------------------------------------------------------

TVirtualShellChangeThread::TVirtualShellChangeThread(TVirtualChangeNotifier* Notifier)
    : FChangeNotifier(Notifier), FWake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

TVirtualShellChangeThread::~TVirtualShellChangeThread() {
    Stop();
    if (FWake >= 0) close(FWake);
}

void TVirtualShellChangeThread::TriggerEvent() { Wake(FWake); }

void TVirtualShellChangeThread::Post(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2) {
    {
        std::lock_guard<std::mutex> L(FQueueLock);
        FQueue.push_back({Event, TPIDLHolder(PIDLMgr.CopyPIDL(PIDL1)), TPIDLHolder(PIDLMgr.CopyPIDL(PIDL2))});
    }
    Wake(FWake);
}

void TVirtualShellChangeThread::HandleMounts(std::vector<TMountEntry>& Known) {
    TVirtualChangeNotifier& N = *FChangeNotifier;
    int Fd = open(N.Sources().MountInfo.c_str(), O_RDONLY | O_CLOEXEC);
    if (Fd < 0) return;
    std::vector<TMountEntry> Now = ParseMountInfo(ReadAll(Fd));
    close(Fd);
    TPIDLHolder Computer(N.Provider().SpecialFolderLocation(TSpecialFolder::sfComputer));
    auto Has = [](const std::vector<TMountEntry>& L, const TMountEntry& E) {
        return std::any_of(L.begin(), L.end(), [&](const TMountEntry& O) { return O.MountPoint == E.MountPoint; });
    };
    bool Any = false;
    auto Report = [&](TVirtualShellNotifyEvent Ev, const TMountEntry& E) {
        TPIDLHolder Vol(TPosixShellProvider::MakeVolumeItem(E.MountPoint));
        TPIDLHolder Abs(PIDLMgr.AppendPIDL(Computer.Get(), Vol.Get()));
        N.RawEvent("shell", std::string(VirtualShellNotifyEventToStr(Ev)) + " " + E.MountPoint);
        N.AddEvent(Ev, Abs.Get(), nullptr);
        Any = true;
    };
    for (const auto& E : Now)
        if (!Has(Known, E)) Report(vsneDriveAdd, E);
    for (const auto& E : Known)
        if (!Has(Now, E)) Report(vsneDriveRemoved, E);
    if (Any && Computer) N.AddEvent(vsneUpdateDir, Computer.Get(), nullptr);
    Known = std::move(Now);
}

void TVirtualShellChangeThread::Execute() {
    TVirtualChangeNotifier& N = *FChangeNotifier;
    const TShellSourcePaths& Src = N.Sources();
    int Mounts = open(Src.MountInfo.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<TMountEntry> Known;
    if (Mounts >= 0) Known = ParseMountInfo(ReadAll(Mounts));
    int In = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    enum TKind { kTrash, kMime, kMimeApps, kIcons };
    std::map<int, TKind> Kinds;
    auto WatchAll = [&](const std::vector<std::string>& Folders, TKind K) {
        for (const auto& F : Folders) {
            int Wd = In >= 0 ? inotify_add_watch(In, F.c_str(), FolderChangeMask | IN_ONLYDIR) : -1;
            if (Wd >= 0) Kinds[Wd] = K;
        }
    };
    WatchAll(Src.TrashFolders, kTrash);
    WatchAll(Src.MimeFolders, kMime);
    WatchAll(Src.MimeAppsFolders, kMimeApps);
    WatchAll(Src.IconFolders, kIcons);
    TPIDLHolder Trash(N.Provider().SpecialFolderLocation(TSpecialFolder::sfTrash));
    while (!Terminated()) {
        pollfd Fds[3] = {{FWake, POLLIN, 0}, {Mounts, POLLPRI, 0}, {In, POLLIN, 0}};
        if (PollRetry(Fds, 3) < 0 || Terminated()) break;
        if (Fds[0].revents & POLLIN) {
            Drain(FWake);
            std::deque<TPosted> Now;
            {
                std::lock_guard<std::mutex> L(FQueueLock);
                Now.swap(FQueue);
            }
            for (auto& P : Now) {
                N.RawEvent("verb", VirtualShellNotifyEventToStr(P.Event));
                N.AddEvent(P.Event, P.PIDL1.Get(), P.PIDL2.Get());
            }
        }
        if (Fds[1].revents & (POLLPRI | POLLERR)) HandleMounts(Known);
        if (Fds[2].revents & POLLIN) {
            bool TrashChanged = false, Assoc = false, Images = false;
            ReadInotify(In, [&](const struct inotify_event& E) {
                auto It = Kinds.find(E.wd);
                if (It == Kinds.end()) return;
                std::string Name = E.len ? std::string(E.name) : std::string();
                switch (It->second) {
                    case kTrash: TrashChanged = true; break;
                    case kMime: Assoc = true; break;
                    case kMimeApps:
                        if (Name.find("mimeapps.list") != std::string::npos ||
                            (Name.size() > 8 && Name.compare(Name.size() - 8, 8, ".desktop") == 0))
                            Assoc = true;
                        break;
                    case kIcons: Images = true; break;
                }
            });
            if (TrashChanged && Trash) {
                N.RawEvent("shell", "trash changed");
                N.AddEvent(vsneUpdateDir, Trash.Get(), nullptr);
            }
            if (Assoc) {
                N.RawEvent("shell", "associations changed");
                N.AddEvent(vsneAssoccChanged, nullptr, nullptr);
            }
            if (Images) {
                N.RawEvent("shell", "icon theme changed");
                N.AddEvent(vsneUpdateImage, nullptr, nullptr);
            }
        }
    }
    if (In >= 0) close(In);
    if (Mounts >= 0) close(Mounts);
}

}  // namespace ide
