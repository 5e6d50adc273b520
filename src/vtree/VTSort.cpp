// Sorting and incremental search.
//
// Sorting is a stable top-down merge sort over the NextSibling links: no
// array and no allocation, each node visited once per level, ties always
// to the left node in both directions (so descending is not the reverse of
// ascending). SortTree sorts node by node with an explicit stack.
//
// Incremental search builds its text from characters and walks one of six
// traversals chosen by mode and direction; isAll initialises what it walks,
// isInitializedOnly walks without initialising (and so asks the client about
// uninitialised nodes too), isVisibleOnly walks the visible nodes.
#include <vector>

#include "vtree/VTBaseTree.h"

namespace ide {

int TBaseVirtualTree::DoCompare(PVirtualNode Node1, PVirtualNode Node2, TColumnIndex Column) {
    int result = 0;
    if (OnCompareNodes) OnCompareNodes(this, Node1, Node2, Column, result);
    return result;
}

int TBaseVirtualTree::DoIncrementalSearch(PVirtualNode Node, const String& Text) {
    int result = 0;
    if (OnIncrementalSearch) OnIncrementalSearch(this, Node, Text, result);
    return result;
}

namespace {

// A code point as UTF-16: one unit, or a surrogate pair above the basic plane.
String CodePointText(uint32_t Code) {
    if (Code < 0x10000) return String(1, Char(Code));
    Code -= 0x10000;
    return {Char(0xD800 + (Code >> 10)), Char(0xDC00 + (Code & 0x3FF))};
}

// The units of the last character of a text: a surrogate pair counts as
// one character.
size_t LastCharLength(const String& Text) {
    const size_t n = Text.size();
    if (n >= 2 && Text[n - 1] >= 0xDC00 && Text[n - 1] <= 0xDFFF && Text[n - 2] >= 0xD800 && Text[n - 2] <= 0xDBFF)
        return 2;
    return n ? 1 : 0;
}

inline void Prefetch(PVirtualNode Node) {
    if (!Node) return;
    __builtin_prefetch(Node);
    __builtin_prefetch(Node->Data());
}

}  // namespace

PVirtualNode TBaseVirtualTree::SortChain(PVirtualNode Head, uint32_t Count, TColumnIndex Column,
                                         TSortDirection Direction) {
    struct TSorter {
        TBaseVirtualTree* Tree;
        TColumnIndex Column;
        bool Ascending;
        PVirtualNode Merge(PVirtualNode A, PVirtualNode B) {
            TVirtualNode sentinel{};
            PVirtualNode tail = &sentinel;
            while (A && B) {
                // One of the two nodes after these is compared next: both
                // records, with the client's data behind the header, are
                // fetched while the client compares these.
                Prefetch(A->NextSibling);
                Prefetch(B->NextSibling);
                ++Tree->FSortCompares;
                const int cmp = Tree->DoCompare(A, B, Column);
                const bool takeB = Ascending ? cmp > 0 : cmp < 0;
                if (takeB) {
                    tail->NextSibling = B;
                    B = B->NextSibling;
                } else {
                    tail->NextSibling = A;
                    A = A->NextSibling;
                }
                tail = tail->NextSibling;
            }
            tail->NextSibling = A ? A : B;
            return sentinel.NextSibling;
        }
        PVirtualNode Run(PVirtualNode& Head, uint32_t N) {
            if (N < 2) {
                PVirtualNode r = Head;
                if (r) {
                    Head = r->NextSibling;
                    r->NextSibling = nullptr;
                }
                return r;
            }
            PVirtualNode left = Run(Head, N / 2);
            PVirtualNode right = Run(Head, (N + 1) / 2);
            return Merge(left, right);
        }
    } sorter{this, Column, Direction == sdAscending};
    return sorter.Run(Head, Count);
}

void TBaseVirtualTree::Sort(PVirtualNode Node, TColumnIndex Column, TSortDirection Direction, bool DoInit) {
    InterruptValidation();
    if (InState(tsEditPending)) {
        StopTimer(EditTimer);
        DoStateChange(0, tsEditPending);
    }
    if (InState(tsEditing) && !DoEndEdit()) return;
    if (!Node) Node = FRoot;
    if (HasState(Node, vsHasChildren)) {
        if (Node->ChildCount == 0 && DoInit) InitChildren(Node);
        if (DoInit && Node->ChildCount > 0) ValidateChildren(Node, false);
        if (Node->ChildCount > 1) {
            PVirtualNode first = SortChain(Node->FirstChild, Node->ChildCount, Column, Direction);
            Node->FirstChild = first;
            first->PrevSibling = nullptr;
            uint32_t index = 0;
            PVirtualNode prev = nullptr;
            for (PVirtualNode run = first; run; run = run->NextSibling) {
                run->Index = index++;
                run->PrevSibling = prev;
                prev = run;
            }
            Node->LastChild = prev;
            InvalidateCache();
        }
    }
    if (FUpdateCount == 0) {
        ValidateCache();
        Invalidate();
    }
}

void TBaseVirtualTree::SortTree(TColumnIndex Column, TSortDirection Direction, bool DoInit) {
    ++FUpdateCount;
    try {
        if (Column > -2) {
            std::vector<PVirtualNode> stack{FRoot};
            std::vector<PVirtualNode> children;
            while (!stack.empty()) {
                PVirtualNode node = stack.back();
                stack.pop_back();
                if (node != FRoot) {
                    if (DoInit && !HasState(node, vsInitialized)) InitNode(node);
                    if (!HasState(node, vsInitialized)) continue;
                }
                Sort(node, Column, Direction, DoInit);
                children.clear();
                for (PVirtualNode c = node->FirstChild; c; c = c->NextSibling) children.push_back(c);
                stack.insert(stack.end(), children.rbegin(), children.rend());
            }
        }
    } catch (...) {
        if (FUpdateCount > 0) --FUpdateCount;
        throw;
    }
    InvalidateCache();
    if (FUpdateCount > 0) --FUpdateCount;
    if (FUpdateCount == 0) {
        ValidateCache();
        Invalidate();
    }
}

// ---- Incremental search ------------------------------------------------------------------

void TBaseVirtualTree::SetSearchOption(TVTIncrementalSearch Value) {
    if (Value == FIncrementalSearch) return;
    FIncrementalSearch = Value;
    if (Value == isNone) {
        StopTimer(SearchTimer);
        FSearchBuffer.clear();
        FLastSearchNode = nullptr;
    }
}

void TBaseVirtualTree::HandleIncrementalSearch(uint32_t CharCode) {
    StopTimer(SearchTimer);
    if (FIncrementalSearch == isNone) return;
    // Neither a character nor a code point (a lone surrogate can't be
    // appended): nothing to search for.
    if (CharCode > 0x10FFFF || (CharCode >= 0xD800 && CharCode <= 0xDFFF)) CharCode = 0;
    if (CharCode != 0) {
        DoStateChange(tsIncrementalSearching);
        const String ch = CodePointText(CharCode);
        const bool previousSearch = CharCode == 8;
        if (!(previousSearch && LastCharLength(FSearchBuffer) >= FSearchBuffer.size())) {
            PVirtualNode run = FSearchStart == ssAlwaysStartOver ? nullptr
                               : FSearchStart == ssLastHit       ? FLastSearchNode
                                                                 : FFocusedNode;
            if (run) {
                if (FIncrementalSearch == isInitializedOnly && !HasState(run, vsInitialized)) run = nullptr;
                if (FIncrementalSearch == isVisibleOnly && run && !FullyVisible(run)) run = nullptr;
            }
            PVirtualNode stop = run;
            bool forward = FSearchDirection == sdForward;
            if (previousSearch) forward = !forward;
            bool singleLetter = !previousSearch && FSearchBuffer == ch;
            if (singleLetter && run && DoIncrementalSearch(run, FSearchBuffer + ch) == 0) singleLetter = false;

            auto step = [&](PVirtualNode n) -> PVirtualNode {
                switch (FIncrementalSearch) {
                    case isAll: return forward ? GetNext(n) : GetPrevious(n);
                    case isInitializedOnly: return forward ? GetNextNoInit(n) : GetPreviousNoInit(n);
                    default: return forward ? GetNextVisible(n) : GetPreviousVisible(n);
                }
            };
            auto end = [&]() -> PVirtualNode {
                switch (FIncrementalSearch) {
                    case isAll: return forward ? GetFirst() : GetLast();
                    case isInitializedOnly: return forward ? GetFirstNoInit() : GetLastNoInit();
                    default: return forward ? GetFirstVisible() : GetLastVisible();
                }
            };
            auto setup = [&] {
                if (FSearchBuffer.empty() || !run || singleLetter || previousSearch) {
                    if (run) {
                        run = step(run);
                        if (!run) run = end();
                    } else {
                        run = end();
                    }
                }
            };
            setup();
            bool found = false;
            // The common walk, all nodes forward, calls GetNext without the switch.
            const bool allForward = FIncrementalSearch == isAll && forward;
            String text;
            if (run) {
                if (singleLetter)
                    text = FSearchBuffer;
                else if (previousSearch)
                    text = FSearchBuffer.substr(0, FSearchBuffer.size() - LastCharLength(FSearchBuffer));
                else
                    text = FSearchBuffer + ch;
                for (;;) {
                    if (DoIncrementalSearch(run, text) == 0) {
                        found = true;
                        break;
                    }
                    run = allForward ? GetNext(run) : step(run);
                    if (!run && run != stop) run = end();  // wrap around
                    if (run == stop) break;
                }
            }
            if (found) {
                ClearSelection();
                FSearchBuffer = text;
                FLastSearchNode = run;
                SetFocusedNode(run);
                SetSelected(run, true);
            } else if (run && DoIncrementalSearch(run, text) != 0) {
                Beep();
            }
        }
    }
    StartTimer(SearchTimer, FSearchTimeout);
}

}  // namespace ide
