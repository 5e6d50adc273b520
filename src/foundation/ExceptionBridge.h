// The exception bridge: where an exception ends that must not travel on.
//
// The toolkit's event loop must never see an exception. Every entry from the
// toolkit into the library (a paint, an input event, a slot, a posted
// message) runs its body through CallGuarded; what the body throws goes to
// the one replaceable handler, and the toolkit call returns normally. EAbort,
// the silent abort, ends there without reaching the handler.
//
// The handler that is in place when nothing was set sounds the system beep;
// the platform layer installs one that shows the message, and tests install
// a recorder.
#pragma once

#include <exception>
#include <functional>
#include <string>

#include "foundation/Runtime.h"

namespace ide {

// Sender is the object whose handler threw (may be nil).
using TExceptionHandler = std::function<void(TObject* Sender, std::exception_ptr E)>;

// Installs Handler (an empty one restores the default) and answers the one
// it replaces.
// Thread: any.
TExceptionHandler SetExceptionHandler(TExceptionHandler Handler);

// Hands E to the handler; an EAbort is dropped. Whatever the handler throws
// is dropped too: the bridge never throws.
// Thread: any.
void HandleException(TObject* Sender, std::exception_ptr E) noexcept;

// The message of an exception: what() of a standard exception, "Unknown
// exception" otherwise.
std::string ExceptionMessage(std::exception_ptr E);

// Runs Body; an exception of it goes to HandleException. Answers whether
// Body finished normally.
template <class F>
bool CallGuarded(TObject* Sender, F&& Body) noexcept {
    try {
        Body();
        return true;
    } catch (...) {
        HandleException(Sender, std::current_exception());
        return false;
    }
}

}  // namespace ide
