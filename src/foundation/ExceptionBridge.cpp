#include "foundation/ExceptionBridge.h"

#include <mutex>

namespace ide {

namespace {
std::mutex& HandlerLock() {
    static std::mutex m;
    return m;
}
TExceptionHandler& CurrentHandler() {
    static TExceptionHandler h;
    return h;
}
}  // namespace

TExceptionHandler SetExceptionHandler(TExceptionHandler Handler) {
    std::lock_guard<std::mutex> g(HandlerLock());
    TExceptionHandler old = std::move(CurrentHandler());
    CurrentHandler() = std::move(Handler);
    return old;
}

void HandleException(TObject* Sender, std::exception_ptr E) noexcept {
    if (!E) return;
    try {
        std::rethrow_exception(E);
    } catch (const EAbort&) {
        return;
    } catch (...) {
    }
    try {
        TExceptionHandler h;
        {
            std::lock_guard<std::mutex> g(HandlerLock());
            h = CurrentHandler();
        }
        // The handler runs outside the lock: it may show a window or set
        // another handler.
        if (h)
            h(Sender, E);
        else
            SystemBeep();
    } catch (...) {
    }
}

std::string ExceptionMessage(std::exception_ptr E) {
    if (!E) return {};
    try {
        std::rethrow_exception(E);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "Unknown exception";
    }
}

}  // namespace ide
