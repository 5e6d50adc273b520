// The notifier's three threads (internal to IDEVirtualShellNotifier).
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

#include "shellexplorer/IDEVirtualShellNotifier.h"

namespace ide {

// Filters what the producers add, waits for quiet, posts the batch.
// Thread: any (AddEvent); the rest runs on its own thread.
class TVirtualChangeDispatchThread : public TVirtualThread {
public:
    explicit TVirtualChangeDispatchThread(TVirtualChangeNotifier* Notifier);
    ~TVirtualChangeDispatchThread() override;
    void AddEvent(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2, uint32_t DW1, uint32_t DW2);
    void TriggerEvent() override;
    void SetFilterEvents(bool Value);

protected:
    void Execute() override;

private:
    bool WaitQuiet();
    TVirtualChangeNotifier* FChangeNotifier;
    // FWorkingLock: the filter and its working list; FWorkerChangeEvent.
    std::mutex FWorkingLock;
    std::condition_variable FWorkerCond;
    bool FWorkerChangeEvent = false;
    TShellEventFilter FFilter;
    // FAddLock: FAddingEvents and the time of the last event. Never held
    // with FWorkingLock.
    std::mutex FAddLock;
    std::condition_variable FAddCond;
    bool FAddingEvents = false;
    std::chrono::steady_clock::time_point FLastAdd;
};

// inotify on the watched folders, an eventfd as the trigger, under poll.
class TVirtualKernelChangeThread : public TVirtualThread {
public:
    explicit TVirtualKernelChangeThread(TVirtualChangeNotifier* Notifier);
    ~TVirtualKernelChangeThread() override;
    void TriggerEvent() override;

protected:
    void Execute() override;

private:
    TVirtualChangeNotifier* FChangeNotifier;
    int FKernelChangeEvent = -1;  // eventfd
};

// The mount table, trash, MIME and icon folders, and posted verbs.
class TVirtualShellChangeThread : public TVirtualThread {
public:
    explicit TVirtualShellChangeThread(TVirtualChangeNotifier* Notifier);
    ~TVirtualShellChangeThread() override;
    void TriggerEvent() override;
    // Queues a verb's event (the lists are copied).
    void Post(TVirtualShellNotifyEvent Event, PCItemIDList PIDL1, PCItemIDList PIDL2);

protected:
    void Execute() override;

private:
    struct TPosted {
        TVirtualShellNotifyEvent Event;
        TPIDLHolder PIDL1, PIDL2;
    };
    void HandleMounts(std::vector<TMountEntry>& Known);
    TVirtualChangeNotifier* FChangeNotifier;
    int FWake = -1;  // eventfd
    std::mutex FQueueLock;
    std::deque<TPosted> FQueue;
};

}  // namespace ide
