#include "foundation/Mailbox.h"

#include <algorithm>

namespace ide {

void TMailbox::Post(int Msg, intptr_t WParam, intptr_t LParam) {
    Enqueue(TMessage{Msg, WParam, LParam, 0});
    ++FPending[Msg];
}

int TMailbox::PendingCount(int Msg) const {
    auto it = FPending.find(Msg);
    return it == FPending.end() ? 0 : it->second;
}

int TMailbox::Drain(int Msg) {
    auto it = FPending.find(Msg);
    if (it == FPending.end()) return 0;
    int n = it->second;
    FPending.erase(it);
    Unqueue(Msg);
    return n;
}

intptr_t TMailbox::Send(int Msg, intptr_t WParam, intptr_t LParam) {
    TMessage m{Msg, WParam, LParam, 0};
    if (FHandler) FHandler(m);
    return m.Result;
}

void TMailbox::Deliver(TMessage& M) {
    auto it = FPending.find(M.Msg);
    if (it != FPending.end() && --it->second <= 0) FPending.erase(it);
    if (FHandler) FHandler(M);
}

int TQueuedMailbox::ProcessMessages(int Limit) {
    int n = 0;
    while (!FQueue.empty() && n < Limit) {
        TMessage m = FQueue.front();
        FQueue.pop_front();
        ++n;
        Deliver(m);
    }
    return n;
}

void TQueuedMailbox::Unqueue(int Msg) {
    FQueue.erase(std::remove_if(FQueue.begin(), FQueue.end(), [Msg](const TMessage& m) { return m.Msg == Msg; }),
                 FQueue.end());
}

}  // namespace ide
