// The posted-message mailbox: deferred work of a control, coalesced by
// asking whether a message of the same id is already waiting.
//
//   box.Post(Msg)       queue a message for later; it reaches the handler
//                       when the event loop (or the fake queue) delivers it
//   box.IsPending(Msg)  is one of that id waiting?
//   box.Drain(Msg)      take every waiting one of that id off the queue
//                       (answers how many), the handler never sees them
//   box.Send(Msg)       call the handler now
//
// The pending counts are the mailbox's own, so no toolkit queue has to be
// searched. TQueuedMailbox keeps its own queue and is pumped by hand (tests,
// headless code); the platform's mailbox posts to the toolkit's event loop.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>

#include "foundation/Runtime.h"

namespace ide {

struct TMessage {
    int Msg = 0;
    intptr_t WParam = 0;
    intptr_t LParam = 0;
    intptr_t Result = 0;
};

using TMessageHandler = std::function<void(TMessage&)>;

// Thread: UI thread only.
class TMailbox : public TObject {
public:
    explicit TMailbox(TMessageHandler Handler = {}) : FHandler(std::move(Handler)) {}
    TMailbox(const TMailbox&) = delete;
    TMailbox& operator=(const TMailbox&) = delete;

    void SetHandler(TMessageHandler Handler) { FHandler = std::move(Handler); }

    void Post(int Msg, intptr_t WParam = 0, intptr_t LParam = 0);
    bool IsPending(int Msg) const { return PendingCount(Msg) > 0; }
    int PendingCount(int Msg) const;
    int Drain(int Msg);
    intptr_t Send(int Msg, intptr_t WParam = 0, intptr_t LParam = 0);

protected:
    // The queue behind the mailbox.
    virtual void Enqueue(const TMessage& M) = 0;
    virtual void Unqueue(int Msg) = 0;
    // The queue hands a due message over here: it stops being pending and
    // goes to the handler. Exceptions of the handler pass to the caller.
    void Deliver(TMessage& M);

private:
    TMessageHandler FHandler;
    std::map<int, int> FPending;
};

// A mailbox over its own queue, delivered by ProcessMessages.
// Thread: UI thread only.
class TQueuedMailbox : public TMailbox {
public:
    using TMailbox::TMailbox;
    // Delivers the waiting messages in order, and those they post, until the
    // queue is empty or Limit messages were delivered; answers the number.
    int ProcessMessages(int Limit = 1 << 20);
    int QueueLength() const { return static_cast<int>(FQueue.size()); }

protected:
    void Enqueue(const TMessage& M) override { FQueue.push_back(M); }
    void Unqueue(int Msg) override;

private:
    std::deque<TMessage> FQueue;
};

}  // namespace ide
