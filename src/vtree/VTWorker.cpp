#include "vtree/VTWorker.h"

#include <pthread.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "vtree/VTBaseTree.h"

namespace ide {

namespace {

std::mutex gWorkerLock;
TWorkerThread* gWorker = nullptr;  // gWorkerLock for writes
std::atomic<TWorkerThread*> gWorkerInstance{nullptr};
uint32_t gRefCount = 0;            // gWorkerLock

TVirtualTreeStates ToTreeStates(TChangeStates S) {
    TVirtualTreeStates r = 0;
    if (S & csStopValidation) r |= tsStopValidation;
    if (S & csUseCache) r |= tsUseCache;
    if (S & csValidating) r |= tsValidating;
    if (S & csValidationNeeded) r |= tsValidationNeeded;
    return r;
}

}  // namespace

// ---- The thread ------------------------------------------------------------

TWorkerThread::TWorkerThread() { FThread = std::thread([this] { Execute(); }); }

TWorkerThread::~TWorkerThread() {
    {
        std::lock_guard<std::mutex> lk(FEventLock);
        FTerminated = true;
        FSignaled = true;
    }
    FEvent.notify_one();
    if (FThread.joinable()) FThread.join();
}

void TWorkerThread::Acquire() {
    std::lock_guard<std::mutex> lk(gWorkerLock);
    if (gRefCount++ == 0) {
        gWorker = new TWorkerThread();
        gWorkerInstance.store(gWorker, std::memory_order_release);
    }
}

void TWorkerThread::Release(TBaseVirtualTree* Tree) {
    if (TWorkerThread* w = Instance()) w->RemoveTree(Tree);
    TWorkerThread* dying = nullptr;
    {
        std::lock_guard<std::mutex> lk(gWorkerLock);
        if (gRefCount > 0 && --gRefCount == 0) {
            dying = gWorker;
            gWorker = nullptr;
            gWorkerInstance.store(nullptr, std::memory_order_release);
        }
    }
    delete dying;
}

TWorkerThread* TWorkerThread::Instance() noexcept { return gWorkerInstance.load(std::memory_order_acquire); }

bool TWorkerThread::Running() noexcept { return Instance() != nullptr; }

void TWorkerThread::Signal() {
    {
        std::lock_guard<std::mutex> lk(FEventLock);
        FSignaled = true;
    }
    FEvent.notify_one();
}

uint64_t TWorkerThread::OwnerEvents() {
    std::lock_guard<std::mutex> lk(FOwnerLock);
    return FOwnerEvents;
}

void TWorkerThread::WaitOwnerEvent(uint64_t Seen) {
    std::unique_lock<std::mutex> lk(FOwnerLock);
    FOwnerEvent.wait(lk, [&] { return FOwnerEvents != Seen; });
}

void TWorkerThread::NotifyOwner() {
    {
        std::lock_guard<std::mutex> lk(FOwnerLock);
        ++FOwnerEvents;
    }
    FOwnerEvent.notify_all();
}

void TWorkerThread::AddTree(TBaseVirtualTree* Tree) {
    Tree->DoStateChange(0, tsStopValidation);
    std::lock_guard<std::mutex> lk(FListLock);
    if (std::find(FWaiterList.begin(), FWaiterList.end(), Tree) == FWaiterList.end()) FWaiterList.push_back(Tree);
    Tree->FInWorker.store(true, std::memory_order_release);
}

void TWorkerThread::RemoveTree(TBaseVirtualTree* Tree) {
    {
        std::lock_guard<std::mutex> lk(FListLock);
        FWaiterList.erase(std::remove(FWaiterList.begin(), FWaiterList.end(), Tree), FWaiterList.end());
    }
    // Serve the worker's hand-back while waiting for it to let go: it may be
    // blocked on exactly that.
    while (FCurrentTree.load(std::memory_order_acquire) == Tree) {
        if (!Tree->ServeWorker()) std::this_thread::yield();
    }
    std::lock_guard<std::mutex> lk(FListLock);
    if (FCurrentTree.load(std::memory_order_relaxed) != Tree &&
        std::find(FWaiterList.begin(), FWaiterList.end(), Tree) == FWaiterList.end())
        Tree->FInWorker.store(false, std::memory_order_release);
}

void TWorkerThread::Execute() {
    std::string name(ThreadName);
    name.resize(std::min<size_t>(name.size(), 15));
    pthread_setname_np(pthread_self(), name.c_str());
    for (;;) {
        {
            std::unique_lock<std::mutex> lk(FEventLock);
            FEvent.wait(lk, [this] { return FSignaled; });
            FSignaled = false;
            if (FTerminated) return;
        }
        TBaseVirtualTree* tree = nullptr;
        bool more = false;
        {
            std::lock_guard<std::mutex> lk(FListLock);
            if (!FWaiterList.empty()) {
                tree = FWaiterList.front();
                FWaiterList.pop_front();
                more = !FWaiterList.empty();
            }
            FCurrentTree.store(tree, std::memory_order_release);
        }
        if (more) Signal();
        if (!tree) continue;

        tree->ChangeStatesFromWorker(csValidating, csUseCache);
        TChangeStates enter = 0;
        if (!tree->InState(tsStopValidation) && tree->DoValidateCache()) enter = csUseCache;
        TChangeStates leave = csStopValidation | csValidating;
        if (enter & csUseCache) leave |= csValidationNeeded;
        tree->ChangeStatesFromWorker(enter, leave);

        {
            std::lock_guard<std::mutex> lk(FListLock);
            FCurrentTree.store(nullptr, std::memory_order_release);
            if (std::find(FWaiterList.begin(), FWaiterList.end(), tree) == FWaiterList.end())
                tree->FInWorker.store(false, std::memory_order_release);
        }
        NotifyOwner();
    }
}

// ---- The tree's side of the protocol -----------------------------------------------

void TBaseVirtualTree::SetOwnerWake(std::function<void()> Wake) {
    std::lock_guard<std::mutex> lk(FHandback.Lock);
    FOwnerWake = std::move(Wake);
}

// Worker thread: one blocking request to the owner thread.
void TBaseVirtualTree::HandBack(THandbackKind Kind, PVirtualNode Node, TChangeStates Enter, TChangeStates Leave) {
    std::unique_lock<std::mutex> lk(FHandback.Lock);
    FHandback.Kind = Kind;
    FHandback.Node = Node;
    FHandback.Enter = Enter;
    FHandback.Leave = Leave;
    FHandback.Served = false;
    if (FOwnerWake) FOwnerWake();
    // Only the worker hands back, so the instance is alive.
    TWorkerThread::Instance()->NotifyOwner();
    FHandback.Done.wait(lk, [this] { return FHandback.Served; });
    FHandback.Kind = hbNone;
}

void TBaseVirtualTree::ChangeStatesFromWorker(TChangeStates Enter, TChangeStates Leave) {
    HandBack(hbStates, nullptr, Enter, Leave);
}

bool TBaseVirtualTree::ServeWorker() {
    THandbackKind kind;
    PVirtualNode node;
    TChangeStates enter, leave;
    {
        std::lock_guard<std::mutex> lk(FHandback.Lock);
        if (FHandback.Kind == hbNone || FHandback.Served) return false;
        kind = FHandback.Kind;
        node = FHandback.Node;
        enter = FHandback.Enter;
        leave = FHandback.Leave;
    }
    uint32_t height = 0;
    struct TRelease {
        TBaseVirtualTree* T;
        uint32_t& H;
        ~TRelease() {
            T->FServingWorker = false;
            std::lock_guard<std::mutex> lk(T->FHandback.Lock);
            T->FHandback.Height = H;
            T->FHandback.Served = true;
            T->FHandback.Done.notify_all();
        }
    } release{this, height};
    FServingWorker = true;
    switch (kind) {
        case hbStates:
            DoStateChange(ToTreeStates(enter), ToTreeStates(leave));
            break;
        case hbMeasure:
            if (!HasState(node, vsInitialized)) InitNode(node);
            MeasureItemHeight(node);
            height = LoadNodeHeight(node);
            break;
        case hbScrollBars:
            UpdateScrollBars(true);
            break;
        case hbNone:
            break;
    }
    return true;
}

void TBaseVirtualTree::WaitForValidation() {
    TWorkerThread* w = TWorkerThread::Instance();
    if (!w) return;
    // The worker may be busy with another tree of this thread first, blocked
    // on its hand-back: serve whichever tree it holds. Between requests the
    // owner thread sleeps; the event count read before looking makes sure
    // that a request or the end of the pass after the look wakes it.
    while (FInWorker.load(std::memory_order_acquire)) {
        const uint64_t seen = w->OwnerEvents();
        bool served = ServeWorker();
        if (TBaseVirtualTree* current = w->CurrentTree(); current && current != this) served |= current->ServeWorker();
        if (!served && FInWorker.load(std::memory_order_acquire)) w->WaitOwnerEvent(seen);
    }
}

void TBaseVirtualTree::InvalidateCache() { DoStateChange(tsValidationNeeded, tsUseCache); }

void TBaseVirtualTree::InterruptValidation() {
    DoStateChange(tsStopValidation, tsUseCache);
    TWorkerThread* w = TWorkerThread::Instance();
    if (!w || !FInWorker.load(std::memory_order_acquire)) return;
    const bool wasValidating = InState(tsValidating);
    // Serving a request of the worker for this tree: waiting here would wait
    // for ourselves. The mark stops the pass after the request.
    if (!FServingWorker) w->RemoveTree(this);
    if (wasValidating) DoStateChange(tsValidationNeeded);
}

void TBaseVirtualTree::StopWorkerIfWalking() {
    // The worker walks only after the owner thread has served its
    // "validating" hand-back, so this test is exact on the owner thread.
    if (InState(tsValidating)) InterruptValidation();
}

void TBaseVirtualTree::ValidateCache() {
    InterruptValidation();
    FStartIndex = 0;
    if (InState(tsValidationNeeded)) {
        if (TWorkerThread* w = TWorkerThread::Instance()) {
            FInsertedSinceValidation = false;
            w->AddTree(this);
            w->Signal();
        }
    }
}

uint32_t TBaseVirtualTree::CalculateCacheEntryCount() const {
    if (FVisibleCount < 2) return 0;
    return static_cast<uint32_t>(std::ceil(double(FVisibleCount) / CacheThreshold));
}

// Worker thread.
uint32_t TBaseVirtualTree::WorkerNodeHeight(PVirtualNode Node) {
    if (HasOption(toVariableNodeHeight) && !HasState(Node, vsHeightMeasured)) {
        HandBack(hbMeasure, Node);
        std::lock_guard<std::mutex> lk(FHandback.Lock);
        return FHandback.Height;
    }
    return LoadNodeHeight(Node);
}

// Worker thread: one pass over the visible nodes.
bool TBaseVirtualTree::DoValidateCache() {
    uint32_t count = 0;
    bool stopped = false;
    FCacheClosed = false;
    if (InState(tsStopValidation)) return false;
    if (FStartIndex == 0) FPositionCache.clear();
    FFineCacheValid = false;
    FFineCache.clear();
    FUniformHeight = 0;
    if (FVisibleCount <= CacheThreshold) return false;
    const uint32_t entryCount = CalculateCacheEntryCount();
    FPositionCache.resize(entryCount);
    if (FStartIndex > entryCount) FStartIndex = entryCount;
    // The fine index is built only by a pass from the top. Where the cache's
    // entries run out before the last row (no closing entry), the pass walks
    // on for the fine index alone, unless that would measure more rows.
    const bool fine = FStartIndex == 0 || !FPositionCache[FStartIndex - 1].Node;
    const bool fineTail = fine && !HasOption(toVariableNodeHeight);
    if (fine) FFineCache.reserve(size_t(FVisibleCount) / FineCacheStride + 1);
    uint32_t index = 0;
    uint64_t top = 0;
    bool reachedEnd = false;
    // Whether the rows so far are uniform: one height, consecutive records.
    bool uniform = fine;
    uint32_t uniformHeight = 0;
    PVirtualNode first = nullptr, previous = nullptr;
    const size_t record = FAllocator.RecordSize();
    // Without variable heights a pass asks the owner thread nothing, so the
    // tree can only change under it through InterruptValidation, which
    // sets the mark first.
    const bool measured = HasOption(toVariableNodeHeight);
    PVirtualNode current;
    if (FStartIndex > 0 && FPositionCache[FStartIndex - 1].Node) {
        index = FStartIndex - 1;
        current = FPositionCache[index].Node;
        top = FPositionCache[index].AbsoluteTop;
    } else {
        current = GetFirstVisibleNoInit();
    }
    // A resumed pass may start on a node that is no longer fully visible;
    // the general step leads it back onto visible ones.
    bool onVisible = current && FullyVisible(current);
    if (current) {
        for (;;) {
            if (InState(tsStopValidation)) {
                stopped = true;
                break;
            }
            if (count % FineCacheStride == 0) {
                if (count % CacheThreshold == 0 && index < FPositionCache.size())
                    FPositionCache[index++] = {current, static_cast<uint32_t>(top)};
                if (fine) FFineCache.push_back({current, static_cast<uint32_t>(top)});
            }
            const uint32_t height = measured ? WorkerNodeHeight(current) : LoadNodeHeight(current);
            top += height;
            if (uniform) {
                if (!previous) {
                    first = current;
                    uniformHeight = height;
                } else if (height != uniformHeight ||
                           reinterpret_cast<uintptr_t>(current) != reinterpret_cast<uintptr_t>(previous) + record) {
                    uniform = false;
                }
                previous = current;
            }
            // A served request may have changed the tree: look at the mark
            // before reading a link again.
            if (measured && InState(tsStopValidation)) {
                stopped = true;
                break;
            }
            // On a fully visible node, a collapsed node or a leaf whose next
            // sibling is visible (the flat run of a big list) hands on to that
            // sibling without the general step.
            PVirtualNode next = current->NextSibling;
            if (!onVisible || !next || !HasState(next, vsVisible) ||
                (HasState(current, vsExpanded) && current->FirstChild)) {
                next = GetNextVisibleNoInit(current);
                onVisible = true;
            }
            reachedEnd = !next;
            if (!next || (index == FPositionCache.size() && !fineTail)) break;
            current = next;
            ++count;
        }
        if (!stopped && index < FPositionCache.size()) {
            FPositionCache.resize(index + 1);
            FPositionCache[index] = {current, static_cast<uint32_t>(top)};
            FCacheClosed = true;
        }
    }
    const bool result = count > 0 && !stopped && !InState(tsStopValidation);
    FFineCacheValid = result && fine && reachedEnd;
    if (FFineCacheValid && uniform && uniformHeight > 0 && uint64_t(count) + 1 == FVisibleCount) {
        FUniformFirst = first;
        FUniformCount = count + 1;
        FUniformHeight = uniformHeight;
    }
    if (result && HasOption(toVariableNodeHeight)) HandBack(hbScrollBars);
    return result;
}

}  // namespace ide
