// The validation worker: one thread per process builds the position caches
// of all virtual trees, one tree at a time.
//
// Trees wait in FWaiterList; an auto-reset event wakes the thread. The
// worker walks a tree's skeleton with the NoInit traversal and reads node
// heights, without locks: every change of structure, height or visibility on
// the owner thread first pulls the tree off the worker (InterruptValidation
// -> RemoveTree), and the walk stops at the next node.
//
// State changes go back to the owner thread by a blocking hand-back: the
// worker fills the tree's hand-back slot, wakes the owner (the platform
// posts an event; the headless host pumps), and waits until the owner has
// served it. RemoveTree, which waits for the worker to let go of a tree,
// serves that slot while it spins, so the two never wait on each other.
// WaitForValidation, which may wait for a whole pass, sleeps on the owner
// event instead of spinning, and serves the slot whenever the event says
// that a request came.
//
// Client code never runs on the worker. Under toVariableNodeHeight the pass
// asks the owner thread to initialise and measure a node through the same
// hand-back, and the final scroll bar update goes there too. While the owner
// serves such a request, an InterruptValidation of that tree only marks
// tsStopValidation (waiting would wait for itself); the worker looks at that
// mark after every served request, before it touches a link again.
//
// The thread is reference-counted by the trees: the first tree starts it,
// the last one ends it. Its name is the tree's worker name cut to the 15
// bytes a thread name may have here.
//
// Thread: any.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>

namespace ide {

class TBaseVirtualTree;

class TWorkerThread {
public:
    // Takes a reference; the first creates the thread.
    static void Acquire();
    // Lets go of Tree, drops a reference; the last ends the thread.
    static void Release(TBaseVirtualTree* Tree);
    // The instance while any tree lives, else nil.
    static TWorkerThread* Instance() noexcept;
    // Is the thread running now (tests of the thread's life)?
    static bool Running() noexcept;

    void AddTree(TBaseVirtualTree* Tree);
    void RemoveTree(TBaseVirtualTree* Tree);
    void Signal();
    // The owner threads' side: every request the worker hands back and every
    // tree it lets go of counts one event. A waiter reads the count, looks
    // for work, and sleeps until the count moves on from what it read.
    uint64_t OwnerEvents();
    void WaitOwnerEvent(uint64_t Seen);
    void NotifyOwner();
    TBaseVirtualTree* CurrentTree() const noexcept { return FCurrentTree.load(std::memory_order_acquire); }

    static constexpr const char* ThreadName = "Fleskos Worker Thread";

private:
    TWorkerThread();
    ~TWorkerThread();
    void Execute();

    std::thread FThread;
    std::mutex FEventLock;
    std::condition_variable FEvent;
    bool FSignaled = false;     // FEventLock
    bool FTerminated = false;   // FEventLock
    std::mutex FListLock;
    std::deque<TBaseVirtualTree*> FWaiterList;  // FListLock
    std::atomic<TBaseVirtualTree*> FCurrentTree{nullptr};  // written under FListLock
    std::mutex FOwnerLock;
    std::condition_variable FOwnerEvent;
    uint64_t FOwnerEvents = 0;  // FOwnerLock
};

}  // namespace ide
