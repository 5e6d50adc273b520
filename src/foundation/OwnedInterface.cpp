#include "foundation/OwnedInterface.h"

namespace ide {

HResult TOwnedInterfacedObject::QueryInterface(const TGUID& IID, void** Obj) {
    *Obj = nullptr;
    InterfaceCaster cast = FindInterfaceCaster(IID);
    if (!cast) return E_NOINTERFACE;
    void* p = cast(static_cast<IInterface*>(this));
    if (!p) return E_NOINTERFACE;
    AddRef();
    *Obj = p;
    return S_OK;
}

int32_t TOwnedInterfacedObject::Release() {
    int32_t n = FRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (n == 0 && !FOwned) delete this;
    return n;
}

void TOwnedInterfacedObject::SetOwned(bool Value) {
    FOwned = Value;
    if (!FOwned && RefCount() == 0) delete this;
}

}  // namespace ide
