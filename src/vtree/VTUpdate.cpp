// Batching, change coalescing, tree states and timers.
#include "vtree/VTBaseTree.h"

namespace ide {

void TBaseVirtualTree::DoStateChange(TVirtualTreeStates Enter, TVirtualTreeStates Leave) {
    // Written on the owner thread only; the worker reads.
    const TVirtualTreeStates old = FStates.load(std::memory_order_relaxed);
    const TVirtualTreeStates now = (old | Enter) & ~Leave;
    FStates.store(now, std::memory_order_release);
    if (((Enter & ~old) != 0 || (Leave & old) != 0) && OnStateChange) OnStateChange(this, Enter, Leave);
}

void TBaseVirtualTree::DoUpdating(TVTUpdateState State) {
    if (OnUpdating) OnUpdating(this, State);
}

void TBaseVirtualTree::BeginUpdate() {
    if (!FDestroying) DoUpdating(FUpdateCount == 0 ? usBegin : usUpdate);
    ++FUpdateCount;
    DoStateChange(tsUpdating);
}

void TBaseVirtualTree::EndUpdate() {
    if (FUpdateCount > 0) --FUpdateCount;
    if (FDestroying) return;
    if (FUpdateCount == 0 && InState(tsUpdating)) {
        if (InState(tsUpdateHiddenChildrenNeeded)) {
            DetermineHiddenChildrenFlagAllNodes();
            DoStateChange(0, tsUpdateHiddenChildrenNeeded);
        }
        DoStateChange(0, tsUpdating);
        PackSelection();
        InvalidateCache();
        ValidateCache();
        if (HandleAllocated()) UpdateScrollBars(false);
        if (InState(tsStructureChangePending)) DoStructureChange(FLastStructureChangeNode, FLastStructureChangeReason);
        if (InState(tsChangePending)) DoChange(FLastChangedNode);
        if (HasOption(toAutoSort) && FSortColumn > -2) SortTree(FSortColumn, FSortDirection, true);
        if (HandleAllocated()) Invalidate();
    }
    DoUpdating(FUpdateCount > 0 ? usUpdate : usEnd);
}

void TBaseVirtualTree::BeginSynch() {
    if (!FDestroying) {
        if (FSynchUpdateCount == 0) {
            DoUpdating(usBeginSynch);
            for (int id = 1; id <= 7; ++id) StopTimer(id);
            FSearchBuffer.clear();
            FLastSearchNode = nullptr;
            DoStateChange(0, tsEditPending | tsScrollPending | tsScrolling | tsIncrementalSearching);
            if (InState(tsStructureChangePending)) DoStructureChange(FLastStructureChangeNode, FLastStructureChangeReason);
            if (InState(tsChangePending)) DoChange(FLastChangedNode);
        } else {
            DoUpdating(usSynch);
        }
    }
    ++FSynchUpdateCount;
    DoStateChange(tsSynchMode);
}

void TBaseVirtualTree::EndSynch() {
    if (FSynchUpdateCount > 0) --FSynchUpdateCount;
    if (FDestroying) return;
    if (FSynchUpdateCount == 0) {
        DoStateChange(0, tsSynchMode);
        DoUpdating(usEndSynch);
    } else {
        DoUpdating(usSynch);
    }
}

void TBaseVirtualTree::AdviseChangeEvent(bool Structural, PVirtualNode Node, TChangeReason Reason) {
    if (Structural) {
        if (InState(tsStructureChangePending))
            StopTimer(StructureChangeTimer);
        else
            DoStateChange(tsStructureChangePending);
        FLastStructureChangeNode = Node;
        if (FLastStructureChangeReason == crIgnore)
            FLastStructureChangeReason = Reason;
        else if (Reason != crIgnore)
            FLastStructureChangeReason = crAccumulated;
    } else {
        if (InState(tsChangePending))
            StopTimer(ChangeTimer);
        else
            DoStateChange(tsChangePending);
        FLastChangedNode = Node;
    }
}

void TBaseVirtualTree::Change(PVirtualNode Node) {
    AdviseChangeEvent(false, Node, crIgnore);
    if (FUpdateCount > 0) return;
    if (FChangeDelay > 0 && !InState(tsSynchMode))
        StartTimer(ChangeTimer, FChangeDelay);
    else
        DoChange(FLastChangedNode);
}

void TBaseVirtualTree::StructureChange(PVirtualNode Node, TChangeReason Reason) {
    AdviseChangeEvent(true, Node, Reason);
    if (FUpdateCount > 0) return;
    if (FChangeDelay > 0 && !InState(tsSynchMode))
        StartTimer(StructureChangeTimer, FChangeDelay);
    else
        DoStructureChange(FLastStructureChangeNode, FLastStructureChangeReason);
}

void TBaseVirtualTree::DoChange(PVirtualNode Node) {
    StopTimer(ChangeTimer);
    DoStateChange(0, tsChangePending);
    FLastChangedNode = nullptr;
    if (OnChange) OnChange(this, Node);
}

void TBaseVirtualTree::DoStructureChange(PVirtualNode Node, TChangeReason Reason) {
    StopTimer(StructureChangeTimer);
    DoStateChange(0, tsStructureChangePending);
    FLastStructureChangeNode = nullptr;
    FLastStructureChangeReason = crIgnore;
    if (OnStructureChange) OnStructureChange(this, Node, Reason);
}

void TBaseVirtualTree::StartTimer(int Id, uint32_t Interval) {
    if (Id >= 1 && Id <= 7) FTimerInterval[Id] = Interval == 0 ? 1 : Interval;
}

void TBaseVirtualTree::StopTimer(int Id) {
    if (Id >= 1 && Id <= 7) FTimerInterval[Id] = 0;
}

void TBaseVirtualTree::TimerFired(int Id) {
    switch (Id) {
        case ChangeTimer:
            DoChange(FLastChangedNode);
            break;
        case StructureChangeTimer:
            DoStructureChange(FLastStructureChangeNode, FLastStructureChangeReason);
            break;
        case SearchTimer:
            DoStateChange(0, tsIncrementalSearching);
            StopTimer(SearchTimer);
            FSearchBuffer.clear();
            FLastSearchNode = nullptr;
            break;
        default:
            StopTimer(Id);
            break;
    }
}

}  // namespace ide
