// The change notifier: one process-wide service that tells registered
// controls what changed on disk and in the namespace.
//
// Three threads feed one working list and deliver batches:
// - the kernel thread watches the folders that controls asked for (and the
//   registered special folders) with inotify, woken by an eventfd trigger
//   under poll; every folder that had events in one read becomes one
//   vsneUpdateDir, and a queue overflow becomes an update of every watched
//   folder;
// - the shell thread watches what concerns the whole namespace: the mount
//   table (drives added and removed), the trash, the MIME and icon-theme
//   folders, and takes the events the library's own verbs post
//   (PostShellNotifyEvent);
// - the dispatch thread filters what they add (item events become folder
//   updates, changes deep in the trash become one update of the trash,
//   repeats are dropped), waits for a quiet period with no new event, and
//   posts the whole batch to the listener on the UI thread, which hands one
//   shared, reference-counted list to every registered control.
//
// A burst that never pauses delays delivery for as long as it lasts: that
// is what turns a thousand deletions into one refresh.
//
// Threads run only while somebody watches: the first registration that
// needs a producer makes it (and the dispatch thread), the last one that
// goes lets CheckForAutoRelease end them, kernel, shell, dispatch in that
// order. Locks: FSpecialFolderRegisterLock before FControlLock; the
// dispatch thread's add lock and working-list lock are never held together.
// No control code runs on these threads, and none runs under a lock of the
// notifier: controls only have their batch posted (TShellChangeControl).
//
// Thread: any.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "shellexplorer/IDEVirtualPIDLTools.h"
#include "shellexplorer/IDEVirtualShellProvider.h"

namespace ide {

enum TVirtualShellNotifyEvent : uint8_t {
    vsneAssoccChanged, vsneAttributes, vsneCreate, vsneDelete, vsneDriveAdd, vsneDriveAddGUI, vsneDriveRemoved,
    vsneFreeSpace, vsneMediaInserted, vsneMediaRemoved, vsneMkDir, vsneNetShare, vsneNetUnShare,
    vsneRenameFolder, vsneRenameItem, vsneRmDir, vsneServerDisconnect, vsneUpdateDir, vsneUpdateImage,
    vsneUpdateItem, vsneNone
};

// The log text of an event ("Update Directory").
const char* VirtualShellNotifyEventToStr(TVirtualShellNotifyEvent Event);
// The shell's numeric event code of an event, and back (vsneNone if none).
uint32_t ShellNotifyEventCode(TVirtualShellNotifyEvent Event);
TVirtualShellNotifyEvent ShellNotifyEventFromCode(uint32_t Code);

enum TVirtualKernelNotifyEvent : uint8_t {
    vkneFileName, vkneDirName, vkneAttributes, vkneSize, vkneLastWrite, vkneLastAccess, vkneCreation, vkneSecurity
};
using TVirtualKernelNotifyEvents = uint8_t;  // bit (1 << event)
constexpr TVirtualKernelNotifyEvents AllKernelNotifyEvents = 0xFF;
// The change-filter flags of a set (1, 2, 4, 8, 0x10, 0x20, 0x40, 0x100).
uint32_t MapNotifyEvents(TVirtualKernelNotifyEvents Events);
// The inotify mask for a set of filter flags.
uint32_t InotifyMaskOfFilter(uint32_t Filter);

// Texts for misuse, kept although no path raises them.
extern const char* const SKernelNotifierStillRegistered;
extern const char* const SShellThreadStillRegistered;
extern const char* const SDispatchThreadStillRegistered;
extern const char* const SRegisterShellChangeFirst;

// One event. Owns its lists.
// Thread: one at a time.
class TVirtualShellEvent {
public:
    TVirtualShellEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2, uint32_t DoubleWord1 = 0,
                       uint32_t DoubleWord2 = 0);
    ~TVirtualShellEvent();
    TVirtualShellEvent(const TVirtualShellEvent&) = delete;
    TVirtualShellEvent& operator=(const TVirtualShellEvent&) = delete;

    TVirtualShellNotifyEvent FShellNotifyEvent;
    PItemIDList FPIDL1 = nullptr;
    PItemIDList FPIDL2 = nullptr;
    PItemIDList FParentPIDL1 = nullptr;
    PItemIDList FParentPIDL2 = nullptr;
    uint32_t FDoubleWord1 = 0;
    uint32_t FDoubleWord2 = 0;
    bool FFreeContentsOnDestroy = true;
    bool FHandled = false;
};

// A batch: one list shared by every control that receives it. The
// creator's reference and one per control; the last Release frees the
// list and every event's lists.
// Thread: any (the count); the events are read-only once posted.
class TVirtualShellEventList {
public:
    TVirtualShellEventList() = default;
    TVirtualShellEventList(const TVirtualShellEventList&) = delete;
    TVirtualShellEventList& operator=(const TVirtualShellEventList&) = delete;

    void AddRef(int Count = 1) noexcept { FRefCount.fetch_add(Count, std::memory_order_relaxed); }
    void Release() noexcept;
    int RefCount() const noexcept { return FRefCount.load(); }
    uint32_t ID() const noexcept { return FID; }
    int Count() const noexcept { return static_cast<int>(FEvents.size()); }
    TVirtualShellEvent* operator[](int Index) const { return FEvents[static_cast<size_t>(Index)]; }
    std::vector<TVirtualShellEvent*>& Events() noexcept { return FEvents; }
    void Clear() noexcept;
    // Drops the blanked entries StripDuplicates leaves.
    void Pack();

    // Live lists, for leak checks in tests.
    static int LiveCount() noexcept { return FLive.load(); }

private:
    friend class TVirtualChangeNotifier;
    ~TVirtualShellEventList();
    std::vector<TVirtualShellEvent*> FEvents;
    std::atomic<int> FRefCount{0};
    uint32_t FID = 0;
    static std::atomic<int> FLive;
    struct TLiveCounter {
        TLiveCounter() { FLive.fetch_add(1); }
    } FLiveCounter;
};

// Frees and blanks every event whose first list equals an earlier one's or
// lies below another's, then packs the list: a refresh of a folder
// swallows the refreshes of what lies below it. The first of equal lists
// survives. For controls; linear in events times depth.
void StripDuplicates(TVirtualShellEventList& List);

// Where the UI thread's posted messages go. Post may be called from any
// thread; false when the receiver is gone (the message is dropped).
// Thread: any.
class TPostTarget {
public:
    virtual ~TPostTarget() = default;
    virtual bool Post(std::function<void()> Message) = 0;
};

// A posted-message queue that a test or a host pumps by hand.
// Thread: any.
class TManualPostTarget : public TPostTarget {
public:
    bool Post(std::function<void()> Message) override;
    // Runs what is queued now; answers how many ran.
    int Pump();
    bool WaitFor(std::chrono::milliseconds Timeout);

private:
    std::mutex FLock;
    std::condition_variable FCond;
    std::deque<std::function<void()>> FQueue;
};

// A control as the notifier sees it. PostShellNotify is called on the UI
// thread with the notifier's control lock held: it must only post the batch
// to the control's own queue (which then owns that reference and must
// Release it exactly once, also when the control is gone before the batch
// is handled). False means the post failed; the notifier releases.
// Thread: UI thread only.
class TShellChangeControl {
public:
    virtual ~TShellChangeControl() = default;
    virtual bool PostShellNotify(TVirtualShellEventList* List) = 0;
};

// The filter behind the dispatch thread: the working list, with the
// reductions and an index that makes the redundancy test constant-time.
// Thread: one at a time (the dispatch thread locks around it).
class TShellEventFilter {
public:
    explicit TShellEventFilter(bool FilterEvents = true) : FFilterEvents(FilterEvents) {}
    ~TShellEventFilter();

    bool FilterEvents() const noexcept { return FFilterEvents; }
    void SetFilterEvents(bool Value) noexcept { FFilterEvents = Value; }
    // The recycle folders: the first is the trash as the namespace shows it,
    // then the physical trash folders.
    void SetRecycleFolders(std::vector<TPIDLHolder> Folders) { FRecycleFolderPIDLs = std::move(Folders); }

    // Answers how many events reached the working list.
    int AddEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2, uint32_t DoubleWord1 = 0,
                 uint32_t DoubleWord2 = 0);
    bool Empty() const noexcept { return FWorking.empty(); }
    int Count() const noexcept { return static_cast<int>(FWorking.size()); }
    // Moves the working list into List (capacity set once) and empties it.
    void TakeAll(std::vector<TVirtualShellEvent*>& List);

private:
    int Add(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2, uint32_t DW1, uint32_t DW2);
    bool IsRedundant(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, uint32_t DW1) const;
    bool ReduceRecycleBinEvent(PCItemIDList PIDL, int& Added);
    bool IsInRecycleBinFolder(PCItemIDList PIDL) const;

    bool FFilterEvents;
    std::vector<TVirtualShellEvent*> FWorking;
    std::unordered_set<std::string> FIndex;  // kind byte + list bytes; free space by number
    std::vector<TPIDLHolder> FRecycleFolderPIDLs;
};

class TVirtualChangeNotifier;

// The library's own thread: created suspended, reference counted by the
// registrations that need it, with a trigger and a terminate flag. Execute
// catches everything; FFinished is set when it returns.
// Thread: any.
class TVirtualThread {
public:
    TVirtualThread() = default;
    virtual ~TVirtualThread();
    TVirtualThread(const TVirtualThread&) = delete;
    TVirtualThread& operator=(const TVirtualThread&) = delete;

    void Resume();
    void Terminate();
    bool Terminated() const noexcept { return FTerminated.load(); }
    bool Finished() const noexcept { return FFinished.load(); }
    int AddRef() noexcept { return ++FRefCount; }
    int Release() noexcept { return --FRefCount; }
    int RefCount() const noexcept { return FRefCount.load(); }
    virtual void TriggerEvent() = 0;
    // Terminates, wakes and joins.
    void Stop();

protected:
    virtual void Execute() = 0;
    virtual void InitializeThread() {}
    virtual void FinalizeThread() {}

private:
    void Entry() noexcept;
    std::thread FThread;
    std::atomic<bool> FTerminated{false};
    std::atomic<bool> FFinished{false};
    std::atomic<int> FRefCount{0};
};

class TVirtualChangeDispatchThread;
class TVirtualKernelChangeThread;
class TVirtualShellChangeThread;

// Where the shell thread looks. FromRoots derives them from the provider's
// roots (trash, MIME and icon folders, mimeapps.list folders).
struct TShellSourcePaths {
    std::string MountInfo = "/proc/self/mountinfo";
    std::vector<std::string> TrashFolders;
    std::vector<std::string> MimeFolders;       // vsneAssoccChanged
    std::vector<std::string> MimeAppsFolders;   // vsneAssoccChanged for mimeapps.list
    std::vector<std::string> IconFolders;       // vsneUpdateImage
    static TShellSourcePaths FromRoots(const TPosixRoots& Roots);
};

// One registered control.
struct TVirtualChangeControl {
    TShellChangeControl* FControl = nullptr;
    bool FShellChangeRegistered = false;
    bool FKernelChangeRegistered = false;
    std::string FWatchFolder;
    TVirtualKernelNotifyEvents FNotifyEvents = 0;
    bool GetIsRegistered() const noexcept { return FShellChangeRegistered || FKernelChangeRegistered; }
};

class TVirtualChangeNotifier {
public:
    // The kernel thread's slots; slot 0 is the trigger, so this many minus
    // one folders are watched and the rest aren't.
    static constexpr int MaxKernelWatchSlots = 64;

    // The notifier hears of the provider's verbs (it sets the provider's
    // change sink) and posts them as the shell thread's events.
    TVirtualChangeNotifier(std::shared_ptr<TShellProvider> Provider, TShellSourcePaths Sources);
    ~TVirtualChangeNotifier();
    TVirtualChangeNotifier(const TVirtualChangeNotifier&) = delete;
    TVirtualChangeNotifier& operator=(const TVirtualChangeNotifier&) = delete;

    // The UI thread's queue where batches arrive (none: batches are dropped).
    void SetListener(std::shared_ptr<TPostTarget> Listener);
    std::shared_ptr<TPostTarget> Listener();

    bool RegisterShellChangeNotify(TShellChangeControl* Control);
    bool RegisterKernelChangeNotify(TShellChangeControl* Control, TVirtualKernelNotifyEvents NotifyEvents);
    void RegisterKernelSpecialFolderWatch(TSpecialFolder SpecialFolder);
    void UnRegisterShellChangeNotify(TShellChangeControl* Control);
    void UnRegisterKernelChangeNotify(TShellChangeControl* Control);
    void UnRegisterChangeNotify(TShellChangeControl* Control);
    void UnRegisterAllNotify();
    bool NotifyWatchFolder(TShellChangeControl* Control, const std::string& WatchFolder);

    // Feeds the dispatch thread directly (any source may).
    void AddEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2, uint32_t DoubleWord1 = 0,
                  uint32_t DoubleWord2 = 0);
    // The library's own verbs: queued to the shell thread, if it runs.
    void PostShellNotifyEvent(TVirtualShellNotifyEvent NotifyType, PCItemIDList PIDL1, PCItemIDList PIDL2);
    void LockNotifier() { FControlLock.lock(); }
    void UnLockNotifier() { FControlLock.unlock(); }

    bool FilterEvents() const noexcept { return FFilterEvents.load(); }
    void SetFilterEvents(bool Value);
    bool MapVirtualFolders() const noexcept { return FMapVirtualFolders; }
    void SetMapVirtualFolders(bool Value) noexcept { FMapVirtualFolders = Value; }
    // The quiet period before a batch goes out (750 ms).
    std::chrono::milliseconds QuietPeriod() const noexcept { return std::chrono::milliseconds(FQuietMs.load()); }
    void SetQuietPeriod(std::chrono::milliseconds Value) noexcept { FQuietMs.store(Value.count()); }

    // Observers for logs and the gallery, called on the producing thread
    // (raw events) or the UI thread (batches); keep them quick.
    std::function<void(const std::string& Source, const std::string& What)> OnRawEvent;

    // What the kernel thread watches now (paths), for logs and tests.
    std::vector<std::string> WatchedFolders();
    bool ThreadsRunning();
    TShellProvider& Provider() const noexcept { return *FProvider; }
    const TShellSourcePaths& Sources() const noexcept { return FSources; }

private:
    friend class TVirtualChangeDispatchThread;
    friend class TVirtualKernelChangeThread;
    friend class TVirtualShellChangeThread;

    TVirtualChangeControl* FindControl(TShellChangeControl* Control);
    void DropIfUnregistered(TVirtualChangeControl* C);
    TVirtualChangeDispatchThread* DispatchAddRef();
    void CheckForAutoRelease();
    void TriggerKernel();
    uint32_t GetIDCounter() noexcept { return FIDCounter++; }
    // Runs on the UI thread: one batch to every control.
    void ListenerDeliver(TVirtualShellEventList* List);
    // From the dispatch thread.
    void PostBatch(TVirtualShellEventList* List);
    void RawEvent(const char* Source, const std::string& What);

    std::shared_ptr<TShellProvider> FProvider;
    std::shared_ptr<const TShellChangeSink> FVerbSink;  // set on FProvider
    TShellSourcePaths FSources;
    std::mutex FSpecialFolderRegisterLock;
    // Guards FControlList and the thread pointers.
    std::mutex FControlLock;
    std::vector<std::unique_ptr<TVirtualChangeControl>> FControlList;
    std::unique_ptr<TVirtualKernelChangeThread> FKernelChangeThread;
    std::unique_ptr<TVirtualShellChangeThread> FShellChangeThread;
    std::atomic<TVirtualChangeDispatchThread*> FChangeDispatchThread{nullptr};
    // FSpecialFolderRegisterLock: the special folders the kernel thread watches.
    std::vector<TPIDLHolder> FSpecialFolderVirtualPIDLs;
    std::vector<TPIDLHolder> FSpecialFolderPhysicalPIDLs;
    std::vector<std::string> FSpecialFolderPhysicalPaths;
    std::mutex FListenerLock;
    std::shared_ptr<TPostTarget> FListener;
    std::atomic<bool> FFilterEvents{true};
    bool FMapVirtualFolders = false;
    std::atomic<int64_t> FQuietMs{750};
    uint32_t FIDCounter = 0;  // UI thread
    std::mutex FWatchedLock;
    std::vector<std::string> FWatched;
    // Expires with the notifier: posted batches check it before delivery.
    std::shared_ptr<int> FAlive = std::make_shared<int>(0);
};

// The single instance (made on first use over the POSIX provider of the
// environment); the library's verbs post through it.
TVirtualChangeNotifier& ChangeNotifier();

}  // namespace ide
