// The event contracts: event objects, listeners, and the ways an event reaches
// a listener.
#pragma once

#include "foundation/Interface.h"

namespace ide {

struct IEventObject : virtual IInterface {
    IDE_INTERFACE(IEventObject, "7861BFA1-1F26-11D1-AEB4-0020AF32BB01")
    virtual IntfRef<IInterface> GetSource() = 0;
};

// The marker that every listener contract extends.
struct IEventListener : virtual IInterface {
    IDE_INTERFACE(IEventListener, "AB3EB0CB-F8AA-11D0-9AD2-0000C0091B45")
};

// An event that knows which listener method to call.
struct IDispatchableEvent : virtual IEventObject {
    IDE_INTERFACE(IDispatchableEvent, "7861BFA2-1F26-11D1-AEB4-0020AF32BB01")
    virtual void Dispatch(const IntfRef<IEventListener>& Listener) = 0;
};

// An event whose listeners may refuse it by raising EVetoException.
struct IVetoableDispatch : virtual IInterface {
    IDE_INTERFACE(IVetoableDispatch, "AB3EB0CA-F8AA-11D0-9AD2-0000C0091B45")
    virtual void VetoableDispatch(const IntfRef<IEventListener>& Listener) = 0;
};

// An event that reports an exception to a listener's exception method.
struct IExceptionDispatch : virtual IInterface {
    IDE_INTERFACE(IExceptionDispatch, "AB3EB0C9-F8AA-11D0-9AD2-0000C0091B45")
    virtual void ExceptionDispatch(const IntfRef<IEventListener>& Listener) = 0;
};

}  // namespace ide
