#include "shellexplorer/qt/ShellQt.h"

#include <QCoreApplication>
#include <QMimeType>

#include <sys/eventfd.h>
#include <unistd.h>

#include "foundation/ExceptionBridge.h"

namespace ide {

namespace {

// The part of a name the MIME globs look at: from the first dot on (so
// "a.tar.gz" and "b.tar.gz" share an answer), or the whole name.
std::string CacheKey(std::string_view Name, bool Folder, bool Open) {
    if (Folder) return Open ? "/open" : "/";
    auto Dot = Name.find('.', 1);
    std::string K = Dot == std::string_view::npos ? "=" + std::string(Name) : std::string(Name.substr(Dot));
    for (char& C : K) C = static_cast<char>(C >= 'A' && C <= 'Z' ? C + 32 : C);
    return K;
}

}  // namespace

TQtFileTypeSource::TInfo TQtFileTypeSource::Lookup(std::string_view Name, bool Folder, bool Open) {
    std::string Key = CacheKey(Name, Folder, Open);
    std::lock_guard<std::mutex> L(FLock);
    auto It = FByKey.find(Key);
    if (It != FByKey.end()) return It->second;
    TInfo Info;
    if (Folder) {
        QMimeType T = FMime.mimeTypeForName(QStringLiteral("inode/directory"));
        Info.Type = T.comment().toStdU16String();
        Info.Icon = IconOf(Open ? "folder-open" : "folder");
    } else {
        QMimeType T = FMime.mimeTypeForFile(QString::fromUtf8(Name.data(), static_cast<qsizetype>(Name.size())),
                                            QMimeDatabase::MatchExtension);
        // The default type means nothing is known: the caller words it.
        if (!T.isDefault()) Info.Type = T.comment().toStdU16String();
        QString Icon = T.iconName();
        Info.Icon = IconOf(Icon.isEmpty() ? T.genericIconName().toStdString() : Icon.toStdString());
    }
    FByKey.emplace(std::move(Key), Info);
    return Info;
}

int TQtFileTypeSource::IconOf(const std::string& IconName) {
    auto It = FIconIndex.find(IconName);
    if (It != FIconIndex.end()) return It->second;
    int I = static_cast<int>(FIcons.size());
    FIcons.push_back(IconName);
    FIconIndex.emplace(IconName, I);
    return I;
}

String TQtFileTypeSource::TypeName(std::string_view Name, bool Folder) { return Lookup(Name, Folder, false).Type; }

int TQtFileTypeSource::IconIndex(std::string_view Name, bool Folder, bool Open) {
    return Lookup(Name, Folder, Open).Icon;
}

std::string TQtFileTypeSource::IconName(int Index) {
    std::lock_guard<std::mutex> L(FLock);
    return Index >= 0 && Index < static_cast<int>(FIcons.size()) ? FIcons[static_cast<size_t>(Index)] : std::string();
}

TQtPostReceiver::TQueue::~TQueue() {
    if (WakeFd >= 0) close(WakeFd);
}

bool TQtPostReceiver::TQueue::Push(std::function<void()> Message) {
    std::lock_guard<std::mutex> L(Lock);
    if (!Open) return false;
    Messages.push_back(std::move(Message));
    if (!Woken) {
        Woken = true;
        uint64_t One = 1;
        // The counter cannot fill up: the reader resets it on every drain.
        [[maybe_unused]] auto N = write(WakeFd, &One, sizeof One);
    }
    return true;
}

TQtPostReceiver::TQtPostReceiver(QObject* Parent) : QObject(Parent), FQueue(std::make_shared<TQueue>()) {
    FQueue->WakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (FQueue->WakeFd < 0) {
        FQueue->Open = false;  // no way to wake this thread: every post fails
        return;
    }
    FNotifier = new QSocketNotifier(FQueue->WakeFd, QSocketNotifier::Read, this);
    connect(FNotifier, &QSocketNotifier::activated, this, &TQtPostReceiver::Drain);
}

TQtPostReceiver::~TQtPostReceiver() {
    // The notifier goes before the descriptor it watches can be closed.
    delete FNotifier;
    std::vector<std::function<void()>> Left;
    {
        std::lock_guard<std::mutex> L(FQueue->Lock);
        FQueue->Open = false;
        Left.swap(FQueue->Messages);
    }
    // Destroyed outside the lock: a message releases what it holds.
}

void TQtPostReceiver::Drain() {
    std::vector<std::function<void()>> Now;
    {
        std::lock_guard<std::mutex> L(FQueue->Lock);
        uint64_t Count;
        [[maybe_unused]] auto N = read(FQueue->WakeFd, &Count, sizeof Count);
        Now.swap(FQueue->Messages);
        FQueue->Woken = false;
    }
    for (auto& M : Now) CallGuarded(nullptr, M);
}

QEvent::Type TShellNotifyEvent::EventType() {
    static const int Type = QEvent::registerEventType();
    return static_cast<QEvent::Type>(Type);
}

TQtShellChangeControl::TQtShellChangeControl(TVirtualChangeNotifier& Notifier, QObject* Parent)
    : QObject(Parent), FNotifier(Notifier) {}

TQtShellChangeControl::~TQtShellChangeControl() { FNotifier.UnRegisterChangeNotify(this); }

bool TQtShellChangeControl::PostShellNotify(TVirtualShellEventList* List) {
    QCoreApplication::postEvent(this, new TShellNotifyEvent(List));
    return true;
}

bool TQtShellChangeControl::event(QEvent* E) {
    if (E->type() != TShellNotifyEvent::EventType()) return QObject::event(E);
    TVirtualShellEventList* List = static_cast<TShellNotifyEvent*>(E)->Take();
    // A handler's exception goes to the exception bridge, never into the
    // event loop; the batch is released either way.
    CallGuarded(nullptr, [&] {
        if (OnShellNotify) OnShellNotify(*List);
    });
    List->Release();
    return true;
}

void InstallChangeNotifierListener(TVirtualChangeNotifier& Notifier, QObject* UiObject) {
    Notifier.SetListener(std::make_shared<TQtPostTarget>(UiObject));
}

}  // namespace ide
