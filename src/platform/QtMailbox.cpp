#include "platform/QtMailbox.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <map>
#include <mutex>

#include "foundation/ExceptionBridge.h"

namespace ide {

namespace {
QEvent::Type EventTypeFor(int Msg) {
    static std::mutex lock;
    static std::map<int, QEvent::Type> types;
    std::lock_guard<std::mutex> g(lock);
    auto it = types.find(Msg);
    if (it != types.end()) return it->second;
    auto t = static_cast<QEvent::Type>(QEvent::registerEventType());
    types.emplace(Msg, t);
    return t;
}

class MailboxEvent : public QEvent {
public:
    MailboxEvent(const TMessage& M) : QEvent(EventTypeFor(M.Msg)), Message(M) {}
    TMessage Message;
};
}  // namespace

class TQtMailbox::Receiver : public QObject {
public:
    explicit Receiver(TQtMailbox* Box) : FBox(Box) {}
    bool event(QEvent* E) override {
        if (auto* m = dynamic_cast<MailboxEvent*>(E)) {
            TMessage msg = m->Message;
            CallGuarded(FBox->FSender, [&] { FBox->Deliver(msg); });
            return true;
        }
        return QObject::event(E);
    }

private:
    TQtMailbox* FBox;
};

TQtMailbox::TQtMailbox(TMessageHandler Handler, TObject* Sender)
    : TMailbox(std::move(Handler)), FReceiver(std::make_unique<Receiver>(this)), FSender(Sender) {}

// Destroying the receiver takes its posted events off the queue.
TQtMailbox::~TQtMailbox() = default;

void TQtMailbox::Enqueue(const TMessage& M) { QCoreApplication::postEvent(FReceiver.get(), new MailboxEvent(M)); }

void TQtMailbox::Unqueue(int Msg) { QCoreApplication::removePostedEvents(FReceiver.get(), EventTypeFor(Msg)); }

}  // namespace ide
