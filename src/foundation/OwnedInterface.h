// Reference counting for objects whose life belongs to an owner: the
// controls that the widget tree owns. They answer contracts like any
// counted object (listeners, paint sites), but the count does not decide
// when they die: an owned object outlives a count of zero, and its owner
// destroys it. Only an object without an owner frees itself when the last
// reference goes.
//
// So a view can be its own listener without a cycle that never frees, and
// the owner must see to it that no one holds a reference when it destroys
// the object (a view removes itself from its models in its destructor).
#pragma once

#include <atomic>

#include "foundation/Interface.h"

namespace ide {

// Thread: UI thread only (the count itself is atomic).
class TOwnedInterfacedObject : public TObject, public virtual IInterface {
public:
    HResult QueryInterface(const TGUID& IID, void** Obj) override;
    int32_t AddRef() override { return FRefCount.fetch_add(1, std::memory_order_relaxed) + 1; }
    int32_t Release() override;
    int32_t RefCount() const noexcept { return FRefCount.load(std::memory_order_relaxed); }

    // Owned: the count never frees the object. An object made owned and
    // later released by its owner with SetOwned(false) frees itself at once
    // if nobody holds it.
    bool IsOwned() const { return FOwned; }
    void SetOwned(bool Value);

protected:
    explicit TOwnedInterfacedObject(bool Owned = true) : FOwned(Owned) {}
    ~TOwnedInterfacedObject() override = default;

private:
    std::atomic<int32_t> FRefCount{0};
    bool FOwned;
};

}  // namespace ide
