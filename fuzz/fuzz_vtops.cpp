// Fuzz target for the node store: every two bytes of the input are one
// operation (kind, argument) on one of two trees: structure, visibility,
// expansion, heights, selection, checks, moves within and between trees,
// copies, update blocks, sorting (with a comparison that may throw), resets,
// incremental search in every mode, start and direction. After every operation outside an
// update block, CheckTreeInvariants must find nothing.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "vtree/IDEVirtualTrees.h"

using namespace ide;

namespace {

// What a client's comparison throws.
struct TClientError {};

PVirtualNode Pick(TBaseVirtualTree& T, uint32_t K) {
    const uint32_t total = T.TotalCount();
    if (total == 0) return nullptr;
    K %= total;
    PVirtualNode n = T.GetFirstNoInit();
    while (K-- && n) n = T.GetNextNoInit(n);
    return n;
}

void Check(TBaseVirtualTree& T, size_t Step) {
    if (T.UpdateCount() > 0) return;
    const std::string fault = CheckTreeInvariants(T);
    if (!fault.empty()) {
        std::fprintf(stderr, "invariant broken at operation %zu: %s\n", Step, fault.c_str());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    TBaseVirtualTree trees[2];
    // When set, the comparison throws at that many comparisons from now.
    uint32_t throwIn = 0;
    for (auto& t : trees) {
        t.SetOptions(t.Options() | toMultiSelect);
        t.OnCompareNodes = [&throwIn](TBaseVirtualTree*, PVirtualNode a, PVirtualNode b, TColumnIndex, int& r) {
            if (throwIn > 0 && --throwIn == 0) throw TClientError();
            r = int(a->NodeHeight) - int(b->NodeHeight);
        };
        // A node matches when its height and the search text agree mod 3.
        t.OnIncrementalSearch = [](TBaseVirtualTree*, PVirtualNode n, const String& text, int& r) {
            r = n->NodeHeight % 3 == text.size() % 3 ? 0 : 1;
        };
    }
    for (size_t i = 0; i + 1 < Size && i < 2 * 400; i += 2) {
        const uint8_t op = Data[i], arg = Data[i + 1];
        TBaseVirtualTree& t = trees[op >> 7];
        TBaseVirtualTree& u = trees[1 - (op >> 7)];
        PVirtualNode n = Pick(t, arg);
        PVirtualNode m = Pick(t, arg * 7u + 3u);
        try {
            switch (op & 0x1F) {
                case 0: t.AddChild(n); break;
                case 1: t.InsertNode(n, TVTNodeAttachMode(1 + arg % 4)); break;
                case 2: t.DeleteNode(n); break;
                case 3: t.SetChildCount(n, arg % 7); break;
                case 4: t.ToggleNode(n); break;
                case 5: t.SetVisible(n, arg & 1); break;
                case 6: t.SetNodeHeight(n, arg); break;
                case 7: t.SetSelected(n, arg & 1); break;
                case 8:
                    if (n && m && !t.HasAsParent(m, n) && !(arg % 4 == 1 && !t.Visible(n)))
                        t.MoveTo(n, m, TVTNodeAttachMode(1 + arg % 4), false);
                    break;
                case 9: if (n && t.Visible(n)) t.MoveTo(n, u.RootNode(), amAddChildLast, arg & 1); break;
                case 10: if (n) t.CopyTo(n, Pick(u, arg) ? Pick(u, arg) : u.RootNode(), amAddChildLast, arg & 1); break;
                case 11: if (t.UpdateCount() < 3) t.BeginUpdate(); break;
                case 12: if (t.UpdateCount() > 0) t.EndUpdate(); break;
                case 13: t.ResetNode(n); break;
                case 14: t.Sort(n, -1, TSortDirection(arg & 1)); break;
                case 15: t.SetCheckType(n, TCheckType(arg % 5)); break;
                case 16: t.SetCheckState(n, TCheckState(arg % 6)); break;
                case 17: t.SetFullyVisible(n, true); break;
                case 18: t.FullExpand(n); break;
                case 19: t.FullCollapse(n); break;
                case 20: t.SortTree(arg % 3 == 0 ? -2 : -1, TSortDirection(arg & 1)); break;
                case 21: t.DeleteChildren(n, arg & 1); break;
                case 22: t.SetDisabled(n, arg & 1); break;
                case 23: if (arg == 0) t.Clear(); break;
                case 24: t.GetNodeAt(0, arg * 5); break;
                case 25: t.InvalidateCache(); t.ValidateCache(); t.WaitForValidation(); break;
                case 26:
                    t.SetSearchOption(TVTIncrementalSearch(arg % 4));
                    t.SetSearchStart(TVTSearchStart((arg >> 2) % 3));
                    t.SetSearchDirection(TVTSearchDirection((arg >> 4) & 1));
                    break;
                case 27: {
                    // Letters, backspace, a character above the basic plane,
                    // a lone surrogate.
                    static const uint32_t codes[] = {'a', 'b', 'a', 8, 0x1F600, 0xD83D, 0};
                    t.HandleIncrementalSearch(codes[arg % 7]);
                    break;
                }
                case 28: throwIn = arg % 24; break;
                default: t.SetRootNodeCount(arg % 9); break;
            }
        } catch (const EVirtualTreeError&) {
        } catch (const TClientError&) {
        }
        if (t.TotalCount() > 3000) t.Clear();
        Check(trees[0], i / 2);
        Check(trees[1], i / 2);
    }
    for (auto& t : trees) {
        while (t.UpdateCount() > 0) t.EndUpdate();
        Check(t, Size);
    }
    return 0;
}
