// The notifier and namespace on the Qt side: the file type and icon of a
// name from the MIME database, the UI thread's queue for the notifier's
// listener, and a control adapter that posts batches to a QObject.
//
// A batch posted to a QObject travels in a TShellNotifyEvent that owns the
// control's reference: handling takes it over, and an event that is never
// handled (the receiver was destroyed first, which makes Qt delete its
// pending events) releases the batch in its destructor. So a control that
// goes away never leaks a batch.
#pragma once

#include <QEvent>
#include <QMimeDatabase>
#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "shellexplorer/IDEVirtualShellNotifier.h"
#include "shellexplorer/IDEVirtualShellProvider.h"

namespace ide {

// Types and icons by name only (the MIME glob patterns), never by content;
// answers are cached per extension.
// Thread: any.
class TQtFileTypeSource : public TFileTypeSource {
public:
    String TypeName(std::string_view Name, bool Folder) override;
    int IconIndex(std::string_view Name, bool Folder, bool Open) override;
    std::string IconName(int Index) override;

private:
    struct TInfo {
        String Type;
        int Icon;
    };
    TInfo Lookup(std::string_view Name, bool Folder, bool Open);
    int IconOf(const std::string& IconName);  // under FLock
    std::mutex FLock;
    QMimeDatabase FMime;
    std::unordered_map<std::string, TInfo> FByKey;
    std::unordered_map<std::string, int> FIconIndex;
    std::vector<std::string> FIcons;
};

// The queue behind TQtPostTarget. Messages wait in a queue of our own, under
// its own lock; the posting thread wakes the UI thread through an eventfd
// that a QSocketNotifier on the UI thread watches, and Drain runs them
// there. The posting thread never calls into Qt, so the hand-over is
// ordered by this lock alone, and a receiver that is destroyed (with its
// UI object) closes the queue under the same lock: a later Post answers
// false and the messages still queued are destroyed, which releases what
// they hold.
// Thread: any (Post through the shared queue); the receiver itself lives
// on the UI thread.
class TQtPostReceiver : public QObject {
    Q_OBJECT
public:
    struct TQueue {
        std::mutex Lock;
        std::vector<std::function<void()>> Messages;
        bool Open = true;
        bool Woken = false;
        int WakeFd = -1;  // eventfd, owned
        ~TQueue();
        // False once the receiver is gone.
        bool Push(std::function<void()> Message);
    };
    explicit TQtPostReceiver(QObject* Parent);
    ~TQtPostReceiver() override;
    const std::shared_ptr<TQueue>& Queue() const noexcept { return FQueue; }

public slots:
    void Drain();

private:
    std::shared_ptr<TQueue> FQueue;
    QSocketNotifier* FNotifier = nullptr;
};

// Runs posted messages on the thread of a QObject (the UI thread); the
// receiver is a child of that object and dies with it.
// Thread: any.
class TQtPostTarget : public TPostTarget {
public:
    // Call on the thread of UiObject.
    explicit TQtPostTarget(QObject* UiObject) : FQueue((new TQtPostReceiver(UiObject))->Queue()) {}
    bool Post(std::function<void()> Message) override { return FQueue->Push(std::move(Message)); }

private:
    std::shared_ptr<TQtPostReceiver::TQueue> FQueue;
};

// The posted batch.
class TShellNotifyEvent : public QEvent {
public:
    static QEvent::Type EventType();
    explicit TShellNotifyEvent(TVirtualShellEventList* List) : QEvent(EventType()), FList(List) {}
    ~TShellNotifyEvent() override {
        if (FList) FList->Release();
    }
    // Hands the reference to the handler, who must Release it once.
    TVirtualShellEventList* Take() noexcept {
        TVirtualShellEventList* L = FList;
        FList = nullptr;
        return L;
    }

private:
    TVirtualShellEventList* FList;
};

// A registered control over a QObject: batches arrive as TShellNotifyEvent
// and go to OnShellNotify on the receiver's thread. Unregisters itself.
// Thread: UI thread only.
class TQtShellChangeControl : public QObject, public TShellChangeControl {
public:
    explicit TQtShellChangeControl(TVirtualChangeNotifier& Notifier, QObject* Parent = nullptr);
    ~TQtShellChangeControl() override;
    bool PostShellNotify(TVirtualShellEventList* List) override;
    // The handler sees the batch; the reference is released after it.
    std::function<void(TVirtualShellEventList& List)> OnShellNotify;
    TVirtualChangeNotifier& Notifier() const noexcept { return FNotifier; }

protected:
    bool event(QEvent* E) override;

private:
    TVirtualChangeNotifier& FNotifier;
};

// Installs a listener on the application's UI thread for the single
// notifier (call once from the UI thread after the application exists).
void InstallChangeNotifierListener(TVirtualChangeNotifier& Notifier, QObject* UiObject);

}  // namespace ide
