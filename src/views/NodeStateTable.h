// The tree view's states by location: an open-addressing table keyed by the
// location's hash code, so finding a row's state during a layout is one
// probe into one flat array rather than a walk through buckets of nodes.
//
// A key is the location's IHashObject. Lookup takes the same object first,
// then an equal one (the same text, or the same index), so a location that
// a model hands out anew still finds its state. Storing under a key that
// is already there (or equal) replaces that state and hands the old one
// back.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/IDEObjects.h"

namespace ide {

class TNodeState;

// Thread: UI thread only.
class TNodeStateTable {
public:
    TNodeStateTable() = default;
    TNodeStateTable(const TNodeStateTable&) = delete;
    TNodeStateTable& operator=(const TNodeStateTable&) = delete;

    TNodeState* Find(IHashObject* Key) const;
    // Stores State under Key; answers the state it replaced, or nil.
    IntfRef<TNodeState> Put(IHashObject* Key, IntfRef<TNodeState> State);
    size_t Count() const { return FCount; }

    template <class F>
    void ForEach(F&& Fn) const {
        for (const Slot& s : FSlots)
            if (s.State) Fn(s.State.get());
    }
    // Takes out every state for which Drop answers true, appending it to
    // Dropped; answers whether any went.
    template <class P>
    bool RemoveIf(P&& Drop, std::vector<IntfRef<TNodeState>>& Dropped) {
        bool any = false;
        for (const Slot& s : FSlots)
            if (s.State && Drop(s.State.get())) {
                any = true;
                break;
            }
        if (!any) return false;
        std::vector<Slot> kept;
        kept.reserve(FCount);
        for (Slot& s : FSlots)
            if (s.State) {
                if (Drop(s.State.get()))
                    Dropped.push_back(std::move(s.State));
                else
                    kept.push_back(std::move(s));
            }
        Rebuild(std::move(kept));
        return true;
    }
    // Empties the table, appending every state to Into.
    void Clear(std::vector<IntfRef<TNodeState>>& Into);

private:
    struct Slot {
        IHashObject* Key = nullptr;
        int32_t Hash = 0;
        IntfRef<TNodeState> State;  // nil: the slot is free
    };
    size_t Home(int32_t Hash) const;
    void Insert(Slot S);
    void Rebuild(std::vector<Slot> Entries);
    std::vector<Slot> FSlots;  // a power of two long, at most half full
    size_t FCount = 0;
};

}  // namespace ide
