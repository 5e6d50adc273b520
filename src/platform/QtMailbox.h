// The mailbox over Qt's event loop: Post is QCoreApplication::postEvent to
// a receiver of the mailbox's own, Drain is removePostedEvents of the
// message's event type. Each message id gets its own registered event type,
// so draining one id leaves the others queued. The pending counts are the
// mailbox's (Qt can't be asked what is queued). A message's handler runs
// under CallGuarded: an exception goes to the exception bridge, never into
// the event loop.
#pragma once

#include <memory>

#include "foundation/Mailbox.h"

class QObject;

namespace ide {

// Thread: UI thread only.
class TQtMailbox : public TMailbox {
public:
    explicit TQtMailbox(TMessageHandler Handler = {}, TObject* Sender = nullptr);
    ~TQtMailbox() override;

protected:
    void Enqueue(const TMessage& M) override;
    void Unqueue(int Msg) override;

private:
    class Receiver;
    friend class Receiver;
    std::unique_ptr<Receiver> FReceiver;
    TObject* FSender;
};

}  // namespace ide
