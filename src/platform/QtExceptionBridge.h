// The exception bridge on Qt: the handler that shows an exception's message
// to the user, and an application class whose notify is the last net for an
// exception that a control's own guard did not catch.
#pragma once

#include <QApplication>

#include "foundation/ExceptionBridge.h"

namespace ide {

// Installs the handler that shows the message in a message box. The box is
// opened from the event loop after the current event is done, so the
// control that failed has restored its focus first. With no application,
// or on the offscreen platform, the handler only sounds the beep.
void InstallMessageBoxExceptionHandler();

// An application that runs every event under CallGuarded.
// Thread: UI thread only.
class TGuardedApplication : public QApplication {
public:
    using QApplication::QApplication;
    bool notify(QObject* Receiver, QEvent* Event) override;
};

}  // namespace ide
