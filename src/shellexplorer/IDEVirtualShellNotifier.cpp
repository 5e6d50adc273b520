#include "shellexplorer/IDEVirtualShellNotifier.h"

#include <sys/inotify.h>

#include <algorithm>
#include <cstring>

#include "shellexplorer/ShellNotifierThreads_p.h"

namespace ide {

const char* const SKernelNotifierStillRegistered = "A KernelChangeNotifier is still registered with a Control";
const char* const SShellThreadStillRegistered = "A ShellChangeThread is still registered with a Control";
const char* const SDispatchThreadStillRegistered = "ChangeDispatchThread is still registered";
const char* const SRegisterShellChangeFirst =
    "A control must be registered with the VirtualChangeNotifier using RegisterShellChangeNotify before this method may be used.";

namespace {

struct TEventInfo {
    uint32_t Code;
    const char* Text;
};

const TEventInfo EventTable[] = {
    {0x8000000, "Association Changed"}, {0x800, "Attributes"},      {2, "Item Create"},
    {4, "Item Delete"},                 {0x100, "Drive Add"},       {0x10000, "Drive Add GUI"},
    {0x80, "Drive Removed"},            {0x40000, "Free Space"},    {0x20, "Media Inserted"},
    {0x40, "Media Removed"},            {8, "Make Directory"},      {0x200, "Network Share"},
    {0x400, "Network Unshare"},         {0x20000, "Folder Rename"}, {1, "Item Rename"},
    {0x10, "Remove Directory"},         {0x4000, "Server Disconnect"}, {0x1000, "Update Directory"},
    {0x8000, "Update Image"},           {0x2000, "Update Item"},    {0, ""},
};

PItemIDList ParentCopy(PCItemIDList P) {
    if (!P) return nullptr;
    return PIDLMgr.StripLastID(PIDLMgr.CopyPIDL(P));
}

std::string IndexKey(TVirtualShellNotifyEvent Event, PCItemIDList P) {
    std::string K(1, static_cast<char>(Event));
    if (P) K.append(reinterpret_cast<const char*>(P), PIDLMgr.PIDLSize(P));
    else K += '\xFF';  // nil differs from every list
    return K;
}

std::string FreeSpaceKey(uint32_t DW1) {
    std::string K("\xFE", 1);
    K.append(reinterpret_cast<const char*>(&DW1), sizeof DW1);
    return K;
}

}  // namespace

const char* VirtualShellNotifyEventToStr(TVirtualShellNotifyEvent Event) {
    return Event <= vsneNone ? EventTable[Event].Text : "";
}

uint32_t ShellNotifyEventCode(TVirtualShellNotifyEvent Event) { return Event <= vsneNone ? EventTable[Event].Code : 0; }

TVirtualShellNotifyEvent ShellNotifyEventFromCode(uint32_t Code) {
    for (int I = 0; I < vsneNone; ++I)
        if (EventTable[I].Code == Code) return static_cast<TVirtualShellNotifyEvent>(I);
    return vsneNone;
}

uint32_t MapNotifyEvents(TVirtualKernelNotifyEvents Events) {
    static const uint32_t Flags[] = {1, 2, 4, 8, 0x10, 0x20, 0x40, 0x100};
    uint32_t R = 0;
    for (int I = 0; I < 8; ++I)
        if (Events & (1u << I)) R |= Flags[I];
    return R;
}

uint32_t InotifyMaskOfFilter(uint32_t Filter) {
    uint32_t M = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    if (Filter & (1 | 2)) M |= IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
    if (Filter & (4 | 0x100)) M |= IN_ATTRIB;
    if (Filter & (8 | 0x10)) M |= IN_MODIFY | IN_CLOSE_WRITE;
    if (Filter & 0x20) M |= IN_ACCESS;
    if (Filter & 0x40) M |= IN_CREATE;
    return M;
}

// --- events and batches ----------------------------------------------------------

TVirtualShellEvent::TVirtualShellEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2,
                                       uint32_t DoubleWord1, uint32_t DoubleWord2)
    : FShellNotifyEvent(Event), FDoubleWord1(DoubleWord1), FDoubleWord2(DoubleWord2) {
    FPIDL1 = PIDLMgr.CopyPIDL(PIDL1);
    FPIDL2 = PIDLMgr.CopyPIDL(PIDL2);
}

TVirtualShellEvent::~TVirtualShellEvent() {
    if (!FFreeContentsOnDestroy) return;
    PIDLMgr.FreePIDL(FParentPIDL1);
    PIDLMgr.FreePIDL(FParentPIDL2);
    PIDLMgr.FreePIDL(FPIDL1);
    PIDLMgr.FreePIDL(FPIDL2);
}

std::atomic<int> TVirtualShellEventList::FLive{0};

TVirtualShellEventList::~TVirtualShellEventList() {
    Clear();
    FLive.fetch_sub(1);
}

void TVirtualShellEventList::Release() noexcept {
    if (FRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1 < 1) delete this;
}

void TVirtualShellEventList::Clear() noexcept {
    for (TVirtualShellEvent* E : FEvents) delete E;
    FEvents.clear();
}

void TVirtualShellEventList::Pack() {
    FEvents.erase(std::remove(FEvents.begin(), FEvents.end(), nullptr), FEvents.end());
}

void StripDuplicates(TVirtualShellEventList& List) {
    auto& Events = List.Events();
    // Every event's first list, with the position of its first holder.
    std::unordered_set<std::string> All;
    for (TVirtualShellEvent* E : Events)
        if (E && E->FPIDL1) All.emplace(reinterpret_cast<const char*>(E->FPIDL1), PIDLMgr.PIDLSize(E->FPIDL1));
    std::unordered_set<std::string> Kept;
    for (TVirtualShellEvent*& E : Events) {
        if (!E || !E->FPIDL1) continue;
        PCItemIDList P = E->FPIDL1;
        size_t Size = PIDLMgr.PIDLSize(P);
        std::string Key(reinterpret_cast<const char*>(P), Size);
        bool Drop = !Kept.insert(Key).second;  // an equal one came first
        // Any proper prefix that is another event's list is a parent.
        for (PCItemIDList Q = P; !Drop && PIDLItemSize(Q) != 0; Q += PIDLItemSize(Q)) {
            std::string Prefix(reinterpret_cast<const char*>(P), static_cast<size_t>(Q - P));
            Prefix += std::string(2, '\0');
            if (All.count(Prefix)) Drop = true;
        }
        if (Drop) {
            delete E;
            E = nullptr;
        }
    }
    List.Pack();
}

// --- manual queue ----------------------------------------------------------------

bool TManualPostTarget::Post(std::function<void()> Message) {
    {
        std::lock_guard<std::mutex> L(FLock);
        FQueue.push_back(std::move(Message));
    }
    FCond.notify_all();
    return true;
}

int TManualPostTarget::Pump() {
    std::deque<std::function<void()>> Now;
    {
        std::lock_guard<std::mutex> L(FLock);
        Now.swap(FQueue);
    }
    for (auto& M : Now) M();
    return static_cast<int>(Now.size());
}

bool TManualPostTarget::WaitFor(std::chrono::milliseconds Timeout) {
    std::unique_lock<std::mutex> L(FLock);
    return FCond.wait_for(L, Timeout, [&] { return !FQueue.empty(); });
}

// --- the filter ------------------------------------------------------------------

TShellEventFilter::~TShellEventFilter() {
    for (TVirtualShellEvent* E : FWorking) delete E;
}

bool TShellEventFilter::IsRedundant(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, uint32_t DW1) const {
    if (FIndex.count(IndexKey(Event, PIDL1))) return true;
    return Event == vsneFreeSpace && FIndex.count(FreeSpaceKey(DW1));
}

int TShellEventFilter::Add(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2, uint32_t DW1,
                           uint32_t DW2) {
    auto* E = new TVirtualShellEvent(Event, PIDL1, PIDL2, DW1, DW2);
    FWorking.push_back(E);
    FIndex.insert(IndexKey(Event, PIDL1));
    if (Event == vsneFreeSpace) FIndex.insert(FreeSpaceKey(DW1));
    return 1;
}

bool TShellEventFilter::IsInRecycleBinFolder(PCItemIDList PIDL) const {
    for (const auto& R : FRecycleFolderPIDLs)
        if (PIDLMgr.IsParentPIDL(R.Get(), PIDL)) return true;
    return false;
}

bool TShellEventFilter::ReduceRecycleBinEvent(PCItemIDList PIDL, int& Added) {
    for (const auto& R : FRecycleFolderPIDLs) {
        if (!PIDLMgr.IsParentPIDL(R.Get(), PIDL)) continue;
        if (!IsRedundant(vsneUpdateDir, R.Get(), 0)) Added += Add(vsneUpdateDir, R.Get(), nullptr, 0, 0);
        PCItemIDList Bin = FRecycleFolderPIDLs.front().Get();
        if (!IsRedundant(vsneUpdateDir, Bin, 0)) Added += Add(vsneUpdateDir, Bin, nullptr, 0, 0);
        return true;
    }
    return false;
}

int TShellEventFilter::AddEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2,
                                uint32_t DoubleWord1, uint32_t DoubleWord2) {
    if (!FFilterEvents) return Add(Event, PIDL1, PIDL2, DoubleWord1, DoubleWord2);
    switch (Event) {
        case vsneRenameFolder:
        case vsneRenameItem: {
            TPIDLHolder P1(ParentCopy(PIDL1)), P2(ParentCopy(PIDL2));
            int N = AddEvent(vsneUpdateDir, P1.Get(), nullptr);
            if (P2 && !PIDLMgr.EqualPIDL(P1.Get(), P2.Get())) N += AddEvent(vsneUpdateDir, P2.Get(), nullptr);
            return N;
        }
        case vsneCreate:
        case vsneDelete:
        case vsneMkDir:
        case vsneRmDir: {
            TPIDLHolder P1(ParentCopy(PIDL1));
            return AddEvent(vsneUpdateDir, P1.Get(), nullptr);
        }
        default: break;
    }
    int Added = 0;
    bool Taken = false;
    if (Event == vsneUpdateDir) Taken = ReduceRecycleBinEvent(PIDL1, Added);
    else if (Event == vsneUpdateItem) Taken = IsInRecycleBinFolder(PIDL1);
    if (!Taken && !IsRedundant(Event, PIDL1, DoubleWord1)) Added += Add(Event, PIDL1, PIDL2, DoubleWord1, DoubleWord2);
    return Added;
}

void TShellEventFilter::TakeAll(std::vector<TVirtualShellEvent*>& List) {
    List.reserve(List.size() + FWorking.size());
    List.insert(List.end(), FWorking.begin(), FWorking.end());
    FWorking.clear();
    FIndex.clear();
}

// --- threads ---------------------------------------------------------------------

TVirtualThread::~TVirtualThread() {
    // A descendant stops its thread in its own destructor, while its
    // members live; this is the last line of defence.
    if (FThread.joinable()) {
        Terminate();
        FThread.join();
    }
}

void TVirtualThread::Resume() {
    if (!FThread.joinable()) FThread = std::thread([this] { Entry(); });
}

void TVirtualThread::Terminate() { FTerminated.store(true); }

void TVirtualThread::Stop() {
    Terminate();
    TriggerEvent();
    if (FThread.joinable()) FThread.join();
}

void TVirtualThread::Entry() noexcept {
    try {
        InitializeThread();
        Execute();
        FinalizeThread();
    } catch (...) {
        // Nothing leaves a thread; the thread just ends.
    }
    FFinished.store(true);
}

TVirtualChangeDispatchThread::TVirtualChangeDispatchThread(TVirtualChangeNotifier* Notifier)
    : FChangeNotifier(Notifier), FFilter(Notifier->FilterEvents()) {
    // The recycle folders: the trash as shown, then the trash folders of
    // the mounted volumes that have one.
    std::vector<TPIDLHolder> Recycle;
    TShellProvider& P = Notifier->Provider();
    Recycle.emplace_back(P.SpecialFolderLocation(TSpecialFolder::sfTrash));
    if (!Recycle.back()) Recycle.clear();
    for (const std::string& Folder : Notifier->Sources().TrashFolders) {
        if (Folder.size() < 6 || Folder.compare(Folder.size() - 6, 6, "/files") != 0) continue;
        TPIDLHolder H(P.ParseDisplayName(Folder));
        if (H && (Recycle.empty() || !PIDLMgr.EqualPIDL(H.Get(), Recycle.front().Get()))) Recycle.push_back(std::move(H));
    }
    FFilter.SetRecycleFolders(std::move(Recycle));
}

TVirtualChangeDispatchThread::~TVirtualChangeDispatchThread() { Stop(); }

void TVirtualChangeDispatchThread::TriggerEvent() {
    {
        std::lock_guard<std::mutex> L(FWorkingLock);
        FWorkerChangeEvent = true;
    }
    FWorkerCond.notify_all();
    // Also cut a quiet period short when terminating.
    {
        std::lock_guard<std::mutex> L(FAddLock);
    }
    FAddCond.notify_all();
}

void TVirtualChangeDispatchThread::SetFilterEvents(bool Value) {
    std::lock_guard<std::mutex> L(FWorkingLock);
    FFilter.SetFilterEvents(Value);
}

void TVirtualChangeDispatchThread::AddEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2,
                                            uint32_t DW1, uint32_t DW2) {
    // The time is taken before the event can wake the thread, so its quiet
    // period never starts from an older one.
    {
        std::lock_guard<std::mutex> L(FAddLock);
        FLastAdd = std::chrono::steady_clock::now();
    }
    bool Added;
    {
        std::lock_guard<std::mutex> L(FWorkingLock);
        Added = FFilter.AddEvent(Event, PIDL1, PIDL2, DW1, DW2) > 0;
        if (Added) FWorkerChangeEvent = true;
    }
    if (Added) FWorkerCond.notify_all();
    std::lock_guard<std::mutex> L(FAddLock);
    FAddingEvents = true;
    FLastAdd = std::chrono::steady_clock::now();
}

bool TVirtualChangeDispatchThread::WaitQuiet() {
    // Wait until a whole quiet period has passed with no event added. The
    // period is measured from the last event rather than slept in fixed
    // steps, so a batch goes out one quiet period after the burst ends, not
    // up to two.
    std::unique_lock<std::mutex> L(FAddLock);
    for (;;) {
        auto Deadline = FLastAdd + FChangeNotifier->QuietPeriod();
        if (FAddCond.wait_until(L, Deadline, [&] { return Terminated(); })) return false;
        if (std::chrono::steady_clock::now() >= FLastAdd + FChangeNotifier->QuietPeriod()) {
            FAddingEvents = false;
            return true;
        }
    }
}

void TVirtualChangeDispatchThread::Execute() {
    while (!Terminated()) {
        {
            std::unique_lock<std::mutex> L(FWorkingLock);
            FWorkerCond.wait(L, [&] { return FWorkerChangeEvent || Terminated(); });
        }
        if (Terminated()) break;
        if (!WaitQuiet()) break;
        auto* List = new TVirtualShellEventList();
        {
            std::lock_guard<std::mutex> L(FWorkingLock);
            FWorkerChangeEvent = false;
            FFilter.TakeAll(List->Events());
        }
        if (List->Count() == 0) {
            List->AddRef();
            List->Release();
            continue;
        }
        List->AddRef();
        FChangeNotifier->PostBatch(List);
    }
}

// --- the notifier ----------------------------------------------------------------

TShellSourcePaths TShellSourcePaths::FromRoots(const TPosixRoots& Roots) {
    TShellSourcePaths S;
    S.MountInfo = Roots.MountInfo;
    S.TrashFolders = {Roots.TrashFiles(), Roots.TrashInfo()};
    S.MimeFolders = {"/usr/share/mime", Roots.DataHome + "/mime"};
    S.MimeAppsFolders = {Roots.Home + "/.config", Roots.DataHome + "/applications", "/usr/share/applications"};
    S.IconFolders = {"/usr/share/icons", Roots.DataHome + "/icons", Roots.Home + "/.icons"};
    return S;
}

TVirtualChangeNotifier::TVirtualChangeNotifier(std::shared_ptr<TShellProvider> Provider, TShellSourcePaths Sources)
    : FProvider(std::move(Provider)), FSources(std::move(Sources)) {
    FVerbSink = std::make_shared<const TShellChangeSink>([this](uint32_t Code, PCItemIDList PIDL1, PCItemIDList PIDL2) {
        TVirtualShellNotifyEvent E = ShellNotifyEventFromCode(Code);
        if (E != vsneNone) PostShellNotifyEvent(E, PIDL1, PIDL2);
    });
    if (FProvider) FProvider->SetChangeSink(FVerbSink);
}

TVirtualChangeNotifier::~TVirtualChangeNotifier() {
    if (FProvider && FProvider->ChangeSink() == FVerbSink) FProvider->SetChangeSink(nullptr);
    UnRegisterAllNotify();
    // Whatever still runs (special-folder watches) ends here.
    std::unique_ptr<TVirtualKernelChangeThread> K;
    std::unique_ptr<TVirtualShellChangeThread> S;
    {
        std::lock_guard<std::mutex> L(FControlLock);
        K = std::move(FKernelChangeThread);
        S = std::move(FShellChangeThread);
    }
    K.reset();
    S.reset();
    delete FChangeDispatchThread.exchange(nullptr);
}

void TVirtualChangeNotifier::SetListener(std::shared_ptr<TPostTarget> Listener) {
    std::lock_guard<std::mutex> L(FListenerLock);
    FListener = std::move(Listener);
}

std::shared_ptr<TPostTarget> TVirtualChangeNotifier::Listener() {
    std::lock_guard<std::mutex> L(FListenerLock);
    return FListener;
}

void TVirtualChangeNotifier::SetFilterEvents(bool Value) {
    FFilterEvents.store(Value);
    std::lock_guard<std::mutex> L(FControlLock);
    if (auto* D = FChangeDispatchThread.load()) D->SetFilterEvents(Value);
}

TVirtualChangeControl* TVirtualChangeNotifier::FindControl(TShellChangeControl* Control) {
    for (auto& C : FControlList)
        if (C->FControl == Control) return C.get();
    return nullptr;
}

// Under FControlLock: forgets a control that is registered for neither
// source any more.
void TVirtualChangeNotifier::DropIfUnregistered(TVirtualChangeControl* C) {
    if (C->GetIsRegistered()) return;
    FControlList.erase(
        std::find_if(FControlList.begin(), FControlList.end(), [&](auto& E) { return E.get() == C; }));
}

// Under FControlLock: the dispatch thread, made on first need.
TVirtualChangeDispatchThread* TVirtualChangeNotifier::DispatchAddRef() {
    TVirtualChangeDispatchThread* D = FChangeDispatchThread.load();
    if (!D) {
        D = new TVirtualChangeDispatchThread(this);
        FChangeDispatchThread.store(D);
        D->Resume();
    }
    D->AddRef();
    return D;
}

bool TVirtualChangeNotifier::RegisterShellChangeNotify(TShellChangeControl* Control) {
    if (!Control) return false;
    std::lock_guard<std::mutex> L(FControlLock);
    TVirtualChangeControl* C = FindControl(Control);
    bool Known = C != nullptr;
    if (!C) {
        FControlList.push_back(std::make_unique<TVirtualChangeControl>());
        C = FControlList.back().get();
        C->FControl = Control;
    }
    if (C->FShellChangeRegistered) return true;
    C->FShellChangeRegistered = true;
    if (!FShellChangeThread) {
        DispatchAddRef();
        FShellChangeThread = std::make_unique<TVirtualShellChangeThread>(this);
        FShellChangeThread->Resume();
    }
    FShellChangeThread->AddRef();
    // A control newly flagged through an existing entry reports false.
    return !Known;
}

bool TVirtualChangeNotifier::RegisterKernelChangeNotify(TShellChangeControl* Control,
                                                        TVirtualKernelNotifyEvents NotifyEvents) {
    if (!Control) return false;
    bool Changed = false, Result;
    {
        std::lock_guard<std::mutex> L(FControlLock);
        TVirtualChangeControl* C = FindControl(Control);
        bool Known = C != nullptr;
        if (!C) {
            FControlList.push_back(std::make_unique<TVirtualChangeControl>());
            C = FControlList.back().get();
            C->FControl = Control;
        }
        if (C->FKernelChangeRegistered && C->FNotifyEvents == NotifyEvents) return true;
        Changed = true;
        C->FKernelChangeRegistered = true;
        C->FNotifyEvents = NotifyEvents;
        if (!FKernelChangeThread) {
            DispatchAddRef();
            FKernelChangeThread = std::make_unique<TVirtualKernelChangeThread>(this);
            FKernelChangeThread->Resume();
        }
        FKernelChangeThread->AddRef();
        Result = !Known;
    }
    if (Changed) TriggerKernel();
    return Result;
}

void TVirtualChangeNotifier::TriggerKernel() {
    std::lock_guard<std::mutex> L(FControlLock);
    if (FKernelChangeThread) FKernelChangeThread->TriggerEvent();
}

void TVirtualChangeNotifier::RegisterKernelSpecialFolderWatch(TSpecialFolder SpecialFolder) {
    {
        std::lock_guard<std::mutex> L(FSpecialFolderRegisterLock);
        TPIDLHolder Virtual(FProvider->SpecialFolderLocation(SpecialFolder));
        std::string Path;
        if (!Virtual || !FProvider->PathOf(Virtual.Get(), Path)) return;
        TPIDLHolder Physical(FProvider->ParseDisplayName(Path));
        if (!Physical) return;
        FSpecialFolderVirtualPIDLs.push_back(std::move(Virtual));
        FSpecialFolderPhysicalPIDLs.push_back(std::move(Physical));
        FSpecialFolderPhysicalPaths.push_back(Path);
    }
    {
        std::lock_guard<std::mutex> L(FControlLock);
        if (!FKernelChangeThread) {
            DispatchAddRef();
            FKernelChangeThread = std::make_unique<TVirtualKernelChangeThread>(this);
            FKernelChangeThread->Resume();
            // The special folders hold the thread for the notifier's life.
            FKernelChangeThread->AddRef();
        }
    }
    TriggerKernel();
}

void TVirtualChangeNotifier::UnRegisterShellChangeNotify(TShellChangeControl* Control) {
    {
        std::lock_guard<std::mutex> L(FControlLock);
        TVirtualChangeControl* C = FindControl(Control);
        if (!C || !C->FShellChangeRegistered) return;
        C->FShellChangeRegistered = false;
        DropIfUnregistered(C);
        if (FShellChangeThread) FShellChangeThread->Release();
    }
    CheckForAutoRelease();
}

void TVirtualChangeNotifier::UnRegisterKernelChangeNotify(TShellChangeControl* Control) {
    {
        std::lock_guard<std::mutex> L(FControlLock);
        TVirtualChangeControl* C = FindControl(Control);
        if (!C || !C->FKernelChangeRegistered) return;
        C->FKernelChangeRegistered = false;
        DropIfUnregistered(C);
        if (FKernelChangeThread) {
            FKernelChangeThread->Release();
            FKernelChangeThread->TriggerEvent();
        }
    }
    CheckForAutoRelease();
}

void TVirtualChangeNotifier::UnRegisterChangeNotify(TShellChangeControl* Control) {
    UnRegisterShellChangeNotify(Control);
    UnRegisterKernelChangeNotify(Control);
}

void TVirtualChangeNotifier::UnRegisterAllNotify() {
    std::vector<TShellChangeControl*> All;
    {
        std::lock_guard<std::mutex> L(FControlLock);
        for (auto& C : FControlList) All.push_back(C->FControl);
    }
    for (TShellChangeControl* C : All) UnRegisterChangeNotify(C);
}

bool TVirtualChangeNotifier::NotifyWatchFolder(TShellChangeControl* Control, const std::string& WatchFolder) {
    bool Changed = false;
    {
        std::lock_guard<std::mutex> L(FControlLock);
        TVirtualChangeControl* C = FindControl(Control);
        if (!C) return false;
        if (C->FWatchFolder != WatchFolder) {
            C->FWatchFolder = WatchFolder;
            Changed = true;
        }
    }
    if (Changed) TriggerKernel();
    return true;
}

void TVirtualChangeNotifier::CheckForAutoRelease() {
    std::unique_ptr<TVirtualKernelChangeThread> K;
    std::unique_ptr<TVirtualShellChangeThread> S;
    TVirtualChangeDispatchThread* D = nullptr;
    int DispatchRefsFreed = 0;
    {
        std::lock_guard<std::mutex> L(FControlLock);
        if (FKernelChangeThread && FKernelChangeThread->RefCount() <= 0) {
            K = std::move(FKernelChangeThread);
            ++DispatchRefsFreed;
        }
        if (FShellChangeThread && FShellChangeThread->RefCount() <= 0) {
            S = std::move(FShellChangeThread);
            ++DispatchRefsFreed;
        }
    }
    // Joined outside the lock: the kernel thread takes it to read its list.
    K.reset();
    S.reset();
    {
        std::lock_guard<std::mutex> L(FControlLock);
        TVirtualChangeDispatchThread* Cur = FChangeDispatchThread.load();
        if (Cur) {
            for (int I = 0; I < DispatchRefsFreed; ++I) Cur->Release();
            if (Cur->RefCount() <= 0) D = FChangeDispatchThread.exchange(nullptr);
        }
    }
    delete D;
}

bool TVirtualChangeNotifier::ThreadsRunning() {
    std::lock_guard<std::mutex> L(FControlLock);
    return FKernelChangeThread || FShellChangeThread || FChangeDispatchThread.load();
}

std::vector<std::string> TVirtualChangeNotifier::WatchedFolders() {
    std::lock_guard<std::mutex> L(FWatchedLock);
    return FWatched;
}

void TVirtualChangeNotifier::AddEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2,
                                      uint32_t DoubleWord1, uint32_t DoubleWord2) {
    // The dispatch thread outlives both producers (they hold references),
    // so a producer may call this without the control lock.
    if (auto* D = FChangeDispatchThread.load()) D->AddEvent(Event, PIDL1, PIDL2, DoubleWord1, DoubleWord2);
}

void TVirtualChangeNotifier::PostShellNotifyEvent(TVirtualShellNotifyEvent NotifyType, PCItemIDList PIDL1,
                                                  PCItemIDList PIDL2) {
    std::lock_guard<std::mutex> L(FControlLock);
    if (FShellChangeThread) FShellChangeThread->Post(NotifyType, PIDL1, PIDL2);
}

void TVirtualChangeNotifier::RawEvent(const char* Source, const std::string& What) {
    if (OnRawEvent) OnRawEvent(Source, What);
}

namespace {

// The listener's message owns the dispatch thread's reference: a queue that
// is destroyed with the message still in it releases the batch.
struct TBatchRef {
    explicit TBatchRef(TVirtualShellEventList* L) : List(L) {}
    TBatchRef(const TBatchRef&) = delete;
    TBatchRef& operator=(const TBatchRef&) = delete;
    ~TBatchRef() {
        if (List) List->Release();
    }
    TVirtualShellEventList* List;
};

}  // namespace

void TVirtualChangeNotifier::PostBatch(TVirtualShellEventList* List) {
    std::shared_ptr<TPostTarget> Target = Listener();
    auto Ref = std::make_shared<TBatchRef>(List);
    if (!Target) return;  // Ref releases
    std::weak_ptr<int> Alive = FAlive;
    Target->Post([this, Alive, Ref] {
        // A notifier that is gone has nobody to deliver to.
        if (Alive.expired() || !Ref->List) return;
        TVirtualShellEventList* L = Ref->List;
        Ref->List = nullptr;
        ListenerDeliver(L);
    });
}

void TVirtualChangeNotifier::ListenerDeliver(TVirtualShellEventList* List) {
    {
        std::lock_guard<std::mutex> L(FControlLock);
        List->FID = GetIDCounter();
        List->AddRef(static_cast<int>(FControlList.size()));
        for (auto& C : FControlList)
            if (!C->FControl || !C->FControl->PostShellNotify(List)) List->Release();
    }
    List->Release();
}

TVirtualChangeNotifier& ChangeNotifier() {
    static TVirtualChangeNotifier Instance(std::make_shared<TPosixShellProvider>(),
                                           TShellSourcePaths::FromRoots(TPosixRoots::FromEnvironment()));
    return Instance;
}

}  // namespace ide
