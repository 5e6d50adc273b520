// Helpers for the notifier tests: a control that queues its batches as a
// window's message queue would, and item lists from paths.
#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "shellexplorer/IDEVirtualShellNotifier.h"

namespace ide::test {

// Keeps the posted batches until the test handles them; a control that dies
// with batches pending releases them, as a window's queue does.
class TQueueControl : public TShellChangeControl {
public:
    bool FailPosts = false;
    ~TQueueControl() override {
        for (auto* L : FPending) L->Release();
    }
    bool PostShellNotify(TVirtualShellEventList* List) override {
        if (FailPosts) return false;
        FPending.push_back(List);
        return true;
    }
    // Handles every pending batch: records it and releases it.
    int Handle() {
        int N = 0;
        while (!FPending.empty()) {
            TVirtualShellEventList* L = FPending.front();
            FPending.pop_front();
            std::vector<std::string> Events;
            for (int I = 0; I < L->Count(); ++I) Events.push_back(Describe(*(*L)[I]));
            Batches.push_back(Events);
            Ids.push_back(L->ID());
            L->Release();
            ++N;
        }
        return N;
    }
    static std::string Describe(const TVirtualShellEvent& E) {
        std::string S = VirtualShellNotifyEventToStr(E.FShellNotifyEvent);
        if (E.FPIDL1) S += " " + Bytes(E.FPIDL1);
        return S;
    }
    static std::string Bytes(PCItemIDList P) {
        return std::string(reinterpret_cast<const char*>(P), PIDLMgr.PIDLSize(P));
    }
    std::vector<std::vector<std::string>> Batches;
    std::vector<uint32_t> Ids;

private:
    std::deque<TVirtualShellEventList*> FPending;
};

// An absolute list of one-byte-kind items named by the parts of Path
// ("a/b/c"); "" is the desktop.
inline PItemIDList PathPIDL(const std::string& Path) {
    PItemIDList Abs = TPIDLManager::MakeDesktop();
    size_t P = 0;
    while (P < Path.size()) {
        size_t Q = Path.find('/', P);
        if (Q == std::string::npos) Q = Path.size();
        std::string Payload = "\x01" + Path.substr(P, Q - P);
        TPIDLHolder One(TPIDLManager::MakeItem(Payload.data(), Payload.size()));
        PItemIDList Next = PIDLMgr.AppendPIDL(Abs, One.Get());
        PIDLMgr.FreePIDL(Abs);
        Abs = Next;
        P = Q + 1;
    }
    return Abs;
}

}  // namespace ide::test
