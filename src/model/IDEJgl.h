// Enumeration and iterator contracts.
#pragma once

#include "foundation/Interface.h"

namespace ide {

struct IEnumeration : virtual IInterface {
    IDE_INTERFACE(IEnumeration, "3F1D2A64-8C0B-4E55-9B7A-61C2E0D4F813")
    virtual IntfRef<IInterface> NextElement() = 0;
    virtual bool HasMoreElements() = 0;
};

struct IInputIterator : virtual IEnumeration {
    IDE_INTERFACE(IInputIterator, "10778B81-086A-11D1-AE97-0020AF32BB01")
    virtual bool AtFirst() = 0;
    virtual bool AtLast() = 0;
    virtual IntfRef<IInterface> Get() = 0;
    virtual void Advance() = 0;
    virtual void Advance2(int Offset) = 0;
    // A copy at the same position; the result also answers the caller's
    // narrower iterator contract.
    virtual IntfRef<IInputIterator> Clone() = 0;
};

struct IOutputIterator : virtual IInputIterator {
    IDE_INTERFACE(IOutputIterator, "10778B83-086A-11D1-AE97-0020AF32BB01")
    virtual void Put(const IntfRef<IInterface>& Data) = 0;
};

struct IForwardIterator : virtual IOutputIterator {
    IDE_INTERFACE(IForwardIterator, "10778B82-086A-11D1-AE97-0020AF32BB01")
    // Steps from That's position to this one; -1 when this one isn't reached.
    virtual int Distance(const IntfRef<IForwardIterator>& That) = 0;
    virtual IntfRef<IInterface> GetContainer() = 0;
};

}  // namespace ide
