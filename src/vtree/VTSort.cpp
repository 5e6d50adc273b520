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

// Sorts the Count nodes of the chain at Head, and returns the first and the
// last. The merge that makes the whole chain numbers each node and links it
// to its predecessor as it appends it, while the node is at hand (a walk
// afterwards would visit the now scattered nodes once more). Compared nodes
// are always ones not yet appended: they keep their index and previous
// sibling until then. If a comparison throws, every node goes back on the
// chain at Head, in some order, and the error travels on.
PVirtualNode TBaseVirtualTree::SortChain(PVirtualNode& Head, uint32_t Count, TColumnIndex Column,
                                         TSortDirection Direction, PVirtualNode& Last) {
    struct TSorter {
        TBaseVirtualTree* Tree;
        TColumnIndex Column;
        bool Ascending;
        PVirtualNode& Head;

        // Puts a chain back in front of Head.
        void PutBack(PVirtualNode Chain) {
            if (!Chain) return;
            PVirtualNode last = Chain;
            while (last->NextSibling) last = last->NextSibling;
            last->NextSibling = Head;
            Head = Chain;
        }
        // Final: the merge that makes the whole chain; it numbers and links
        // back each node it appends, and sets *Last.
        PVirtualNode Merge(PVirtualNode A, PVirtualNode B, bool Final, PVirtualNode* Last = nullptr) {
            TVirtualNode sentinel{};
            PVirtualNode tail = &sentinel;
            uint32_t index = 0;
            try {
                while (A && B) {
                    // One of the two nodes after these is compared next: both
                    // records, with the client's data behind the header, are
                    // fetched while the client compares these.
                    Prefetch(A->NextSibling);
                    Prefetch(B->NextSibling);
                    ++Tree->FSortCompares;
                    const int cmp = Tree->DoCompare(A, B, Column);
                    PVirtualNode& from = (Ascending ? cmp > 0 : cmp < 0) ? B : A;
                    PVirtualNode node = from;
                    from = node->NextSibling;
                    tail->NextSibling = node;
                    if (Final) {
                        node->PrevSibling = tail == &sentinel ? nullptr : tail;
                        node->Index = index++;
                    }
                    tail = node;
                }
            } catch (...) {
                tail->NextSibling = nullptr;
                PutBack(B);
                PutBack(A);
                PutBack(sentinel.NextSibling);
                throw;
            }
            PVirtualNode rest = A ? A : B;
            tail->NextSibling = rest;
            if (Final) {
                for (; rest; rest = rest->NextSibling) {
                    rest->PrevSibling = tail == &sentinel ? nullptr : tail;
                    rest->Index = index++;
                    tail = rest;
                }
                *Last = tail;
            }
            return sentinel.NextSibling;
        }
        // Sorts the next N nodes of Head; on an error they are back on Head.
        PVirtualNode Run(uint32_t N) {
            if (N < 2) {
                PVirtualNode r = Head;
                if (r) {
                    Head = r->NextSibling;
                    r->NextSibling = nullptr;
                }
                return r;
            }
            PVirtualNode left = Run(N / 2);
            PVirtualNode right;
            try {
                right = Run((N + 1) / 2);
            } catch (...) {
                PutBack(left);
                throw;
            }
            return Merge(left, right, false);
        }
    } sorter{this, Column, Direction == sdAscending, Head};
    PVirtualNode left = sorter.Run(Count / 2);
    PVirtualNode right;
    try {
        right = sorter.Run((Count + 1) / 2);
    } catch (...) {
        sorter.PutBack(left);
        throw;
    }
    return sorter.Merge(left, right, true, &Last);
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
            PVirtualNode head = Node->FirstChild;
            PVirtualNode last = nullptr;
            try {
                Node->FirstChild = SortChain(head, Node->ChildCount, Column, Direction, last);
                Node->LastChild = last;
            } catch (...) {
                // The children are all on the chain at head: link them in
                // that order, as a finished sort would.
                Node->FirstChild = head;
                PVirtualNode prev = nullptr;
                uint32_t index = 0;
                for (PVirtualNode run = head; run; run = run->NextSibling) {
                    run->Index = index++;
                    run->PrevSibling = prev;
                    prev = run;
                }
                Node->LastChild = prev;
                InvalidateCache();
                throw;
            }
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
