#include "platform/QtExceptionBridge.h"

#include <QGuiApplication>
#include <QMessageBox>
#include <QMetaObject>
#include <QPointer>

namespace ide {

void InstallMessageBoxExceptionHandler() {
    SetExceptionHandler([](TObject*, std::exception_ptr E) {
        QString text = QString::fromStdString(ExceptionMessage(E));
        auto* app = QCoreApplication::instance();
        if (!qobject_cast<QApplication*>(app) || QGuiApplication::platformName() == QLatin1String("offscreen")) {
            SystemBeep();
            return;
        }
        QMetaObject::invokeMethod(
            app,
            [text] {
                QMessageBox box(QMessageBox::Critical, QGuiApplication::applicationDisplayName(), text, QMessageBox::Ok);
                box.exec();
            },
            Qt::QueuedConnection);
    });
}

bool TGuardedApplication::notify(QObject* Receiver, QEvent* Event) {
    bool result = false;
    CallGuarded(nullptr, [&] { result = QApplication::notify(Receiver, Event); });
    return result;
}

}  // namespace ide
