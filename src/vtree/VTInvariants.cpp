// The invariant check of a tree, used by the tests and the fuzz targets
// after every operation sequence. It recounts everything from the links and
// compares it with what the tree keeps.
#include <algorithm>
#include <sstream>
#include <vector>

#include "vtree/VTBaseTree.h"

namespace ide {

namespace {

std::string Fault(const char* What, PVirtualNode Node, uint64_t Kept, uint64_t Counted) {
    std::ostringstream s;
    s << What << " (node " << static_cast<const void*>(Node) << ": kept " << Kept << ", counted " << Counted << ")";
    return s.str();
}

}  // namespace

std::string CheckTreeInvariants(TBaseVirtualTree& Tree) {
    PVirtualNode root = Tree.FRoot;
    if (root->NextSibling != root || root->PrevSibling != root) return "root is not its own sibling";
    if (TBaseVirtualTree::TreeFromNode(root) != &Tree) return "root does not lead to its tree";
    constexpr TVirtualNodeStates transient = vsChecking | vsDeleting | vsClearing | vsToggling;

    // Pre-order over all nodes, checking the links of each family as we go,
    // then the counters in post-order.
    std::vector<PVirtualNode> order;
    std::vector<PVirtualNode> stack{root};
    uint64_t selected = 0;
    while (!stack.empty()) {
        PVirtualNode n = stack.back();
        stack.pop_back();
        order.push_back(n);
        if (n != root) {
            if (NodeStates(n) & transient) return Fault("transient state left on a node", n, NodeStates(n), 0);
            if (HasState(n, vsSelected)) ++selected;
            if (HasState(n, vsExpanded) && n->ChildCount == 0)
                return Fault("expanded node without children", n, n->ChildCount, 0);
            if (n->ChildCount > 0 && !HasState(n, vsHasChildren))
                return Fault("children without vsHasChildren", n, n->ChildCount, 0);
            if (n->Align > 100) return Fault("alignment above 100", n, n->Align, 100);
        }
        uint32_t count = 0;
        PVirtualNode prev = nullptr;
        std::vector<PVirtualNode> kids;
        for (PVirtualNode c = n->FirstChild; c; c = c->NextSibling) {
            if (c->Parent != n) return Fault("child with a wrong parent", c, 0, 0);
            if (c->PrevSibling != prev) return Fault("broken PrevSibling link", c, 0, 0);
            if (c->Index != count) return Fault("index out of order", c, c->Index, count);
            prev = c;
            ++count;
            kids.push_back(c);
            if (count > Tree.FRoot->TotalCount) return "sibling chain longer than the tree";
        }
        if (n->LastChild != prev) return Fault("wrong LastChild", n, 0, 0);
        if (n->ChildCount != count) return Fault("ChildCount differs from the chain", n, n->ChildCount, count);
        for (auto it = kids.rbegin(); it != kids.rend(); ++it) stack.push_back(*it);
    }
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        PVirtualNode n = *it;
        uint64_t total = 1, height = n->NodeHeight;
        for (PVirtualNode c = n->FirstChild; c; c = c->NextSibling) {
            total += c->TotalCount;
            if (HasState(n, vsExpanded) && HasState(c, vsVisible)) height += c->TotalHeight;
        }
        if (n->TotalCount != total) return Fault("TotalCount", n, n->TotalCount, total);
        if (n->TotalHeight != height && !(n == root && n->FirstChild == nullptr && n->TotalHeight >= n->NodeHeight))
            return Fault("TotalHeight", n, n->TotalHeight, height);
    }
    uint64_t visible = 0;
    for (PVirtualNode n = Tree.GetFirstVisibleNoInit(); n; n = Tree.GetNextVisibleNoInit(n)) ++visible;
    uint64_t fully = 0;
    for (PVirtualNode n : order)
        if (n != root && Tree.FullyVisible(n)) ++fully;
    if (fully != visible) return Fault("visible walk and full visibility disagree", root, visible, fully);
    if (Tree.FVisibleCount != visible) return Fault("FVisibleCount", root, Tree.FVisibleCount, visible);

    if (Tree.FUpdateCount == 0) {
        if (uint64_t(Tree.FSelectionCount) != selected)
            return Fault("selection count", root, uint64_t(Tree.FSelectionCount), selected);
        for (int i = 0; i < Tree.FSelectionCount; ++i) {
            PVirtualNode s = Tree.FSelection[i];
            if (reinterpret_cast<uintptr_t>(s) & 1) return "marked entry left in the selection";
            if (!HasState(s, vsSelected)) return Fault("selection entry without vsSelected", s, 0, 0);
            if (i > 0 && !(reinterpret_cast<uintptr_t>(Tree.FSelection[i - 1]) < reinterpret_cast<uintptr_t>(s)))
                return "selection not sorted by address";
        }
    }

    if (Tree.InState(tsUseCache) && !Tree.FInsertedSinceValidation) {
        const auto& cache = Tree.FPositionCache;
        uint64_t top = 0, index = 0;
        size_t entry = 0;
        PVirtualNode last = nullptr;
        for (PVirtualNode n = Tree.GetFirstVisibleNoInit(); n && entry < cache.size(); n = Tree.GetNextVisibleNoInit(n)) {
            if (index % CacheThreshold == 0 && !(Tree.FCacheClosed && entry + 1 == cache.size())) {
                if (cache[entry].Node != n) return Fault("cache entry node", n, entry, index);
                if (cache[entry].AbsoluteTop != top) return Fault("cache entry top", n, cache[entry].AbsoluteTop, top);
                ++entry;
            }
            top += n->NodeHeight;
            last = n;
            ++index;
        }
        if (Tree.FCacheClosed) {
            if (entry + 1 != cache.size()) return "cache has entries beyond the visible nodes";
            if (cache.back().Node != last || cache.back().AbsoluteTop != top) return "closing cache entry";
        }
        if (Tree.FFineCacheValid) {
            const auto& fine = Tree.FFineCache;
            top = index = entry = 0;
            for (PVirtualNode n = Tree.GetFirstVisibleNoInit(); n; n = Tree.GetNextVisibleNoInit(n)) {
                if (index % FineCacheStride == 0) {
                    if (entry >= fine.size()) return Fault("fine index ends early", n, entry, index);
                    if (fine[entry].Node != n) return Fault("fine index node", n, entry, index);
                    if (fine[entry].AbsoluteTop != top) return Fault("fine index top", n, fine[entry].AbsoluteTop, top);
                    ++entry;
                }
                top += n->NodeHeight;
                ++index;
            }
            if (entry != fine.size()) return "fine index has entries beyond the visible nodes";
        }
        if (Tree.FUniformHeight != 0) {
            if (!Tree.FFineCacheValid) return "uniform rows without a complete pass";
            const size_t record = Tree.FAllocator.RecordSize();
            auto* expected = reinterpret_cast<uint8_t*>(Tree.FUniformFirst);
            index = 0;
            for (PVirtualNode n = Tree.GetFirstVisibleNoInit(); n; n = Tree.GetNextVisibleNoInit(n), ++index) {
                if (reinterpret_cast<uint8_t*>(n) != expected) return Fault("uniform row out of place", n, index, 0);
                if (n->NodeHeight != Tree.FUniformHeight)
                    return Fault("uniform row height", n, n->NodeHeight, Tree.FUniformHeight);
                expected += record;
            }
            if (index != Tree.FUniformCount) return Fault("uniform row count", root, Tree.FUniformCount, index);
        }
    }
    return {};
}

}  // namespace ide
