// The tree stream: a tree of tagged, length-prefixed chunks, little-endian.
//
//   header   45 20 56 00 54 00 <version u16> 20 00 46 20, then (version 2)
//            the number of top-level node chunks, i32
//   chunk    type i32, size i32 (bytes after this header within the chunk)
//   1 node   encloses: base chunk, then user chunk, then further chunks
//   2 base   v2 body: ChildCount u32, NodeHeight u32, States u16, Align u8,
//            CheckState u8, CheckType u8, Reserved u32 (17 bytes); v0/v1:
//            ChildCount u32, NodeHeight u32, States u8, Align, CheckState,
//            CheckType (12 bytes); then the children's node chunks
//   3 caption (string tree) UTF-16 text, 4 user (OnSaveNode's bytes)
//
// Reading is iterative (an explicit stack, not recursion), and every header
// and body is checked against the room its enclosing chunk and the stream
// still have before a node is made from it. Hostile input raises 2006
// ("Unexpected data after node's end position"): a negative or overrunning
// chunk size, a base body shorter than its version's, a child count the
// chunk cannot hold (each child takes at least 33 bytes in version 2, 28 in
// the older ones), a check state or type out of range, and nesting deeper
// than MaxStreamNesting. Transient state bits are dropped on reading
// (vsChecking, vsCutOrCopy, vsDeleting, vsInitialUserData, vsClearing,
// vsHeightMeasured, vsToggling), and vsExpanded on a node without children.
// After a failure the nodes read so far stay connected and the counters of
// the subtree in hand are settled before the error travels on.
//
// Writing patches chunk sizes in place, and cuts an empty user chunk off by
// truncating the stream; SaveToFile therefore writes into memory first and
// then the file in one go.
#include <algorithm>
#include <cstring>
#include <vector>

#include "vtree/VTBaseTree.h"
#include "vtree/VTStreamBuffers.h"

namespace ide {

namespace {

constexpr int kNodeChunk = 1;
constexpr int kBaseChunk = 2;
constexpr int kUserChunk = 4;
constexpr uint16_t kMagic[6] = {0x2045, 0x0056, 0x0054, 2, 0x0020, 0x2046};
constexpr TVirtualNodeStates kUnsavedStates = 0x2216;
constexpr TVirtualNodeStates kTransientStates =
    vsChecking | vsCutOrCopy | vsDeleting | vsInitialUserData | vsClearing | vsHeightMeasured | vsToggling;
// Deeper nesting than this is not a user interface tree.
constexpr size_t MaxStreamNesting = 10000;

void PutU16(uint8_t* p, uint16_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}
void PutU32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}
uint16_t GetU16(const uint8_t* p) { return uint16_t(p[0] | (p[1] << 8)); }
uint32_t GetU32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

void WriteChunkHeader(TStream& S, int32_t Type, int32_t Size) {
    uint8_t b[8];
    PutU32(b, uint32_t(Type));
    PutU32(b + 4, uint32_t(Size));
    S.WriteBuffer(b, 8);
}

[[noreturn]] void Corrupt() { RaiseVirtualTreeError(hcTFCorruptStream2); }

}  // namespace

// ---- Writing ------------------------------------------------------------------

void TBaseVirtualTree::FinishChunkHeader(TStream& Stream, int64_t StartPos, int64_t EndPos) {
    Stream.SetPosition(StartPos + 4);
    uint8_t b[4];
    PutU32(b, uint32_t(EndPos - StartPos - 8));
    Stream.WriteBuffer(b, 4);
    Stream.SetPosition(EndPos);
}

namespace {

// Calls Handler with the stream behind Stream: a client's handler gets the
// stream itself, up to date and positioned, not the buffer in front of it,
// and the buffer takes up where the handler left the stream.
template <class TBuffer, class F>
void WithStreamItself(TStream& Stream, F&& Handler) {
    auto* buffer = dynamic_cast<TBuffer*>(&Stream);
    if (!buffer) {
        Handler(Stream);
        return;
    }
    struct TEnd {
        TBuffer* B;
        ~TEnd() { B->EndDirect(); }
    } end{buffer};
    Handler(buffer->Direct());
}

}  // namespace

void TBaseVirtualTree::DoSaveUserData(PVirtualNode Node, TStream& Stream) {
    if (!OnSaveNode) return;
    PVirtualNode node = Node == FRoot ? nullptr : Node;
    WithStreamItself<TStreamWriteBuffer>(Stream, [&](TStream& S) { OnSaveNode(this, node, S); });
}

void TBaseVirtualTree::DoLoadUserData(PVirtualNode Node, TStream& Stream) {
    if (!OnLoadNode) return;
    PVirtualNode node = Node == FRoot ? nullptr : Node;
    WithStreamItself<TStreamReadBuffer>(Stream, [&](TStream& S) { OnLoadNode(this, node, S); });
}

// The chunks of a node after its base chunk: the user chunk here, more in
// descendants (which call this first).
void TBaseVirtualTree::WriteChunks(TStream& Stream, PVirtualNode Node) {
    const int64_t start = Stream.GetPosition();
    // Without a handler the user chunk's header is written and cut again;
    // at the end of the stream that leaves no trace, so it is left out.
    // Before data, the cut still shortens the stream by 8, as it always has.
    if (!OnSaveNode && start == Stream.GetSize()) return;
    WriteChunkHeader(Stream, kUserChunk, 0);
    DoSaveUserData(Node, Stream);
    const int64_t end = Stream.GetPosition();
    if (end == start + 8) {
        Stream.SetPosition(start);
        Stream.SetSize(Stream.GetSize() - 8);
    } else {
        FinishChunkHeader(Stream, start, end);
    }
}

void TBaseVirtualTree::WriteNodes(TStream& Target, PVirtualNode Node, bool Siblings) {
    struct TFrame {
        PVirtualNode Node;
        int64_t NodeStart, BaseStart;
        PVirtualNode NextChild;
        bool PatchBase;  // children follow the base body: its size comes last
    };
    TStreamWriteBuffer Stream(Target);
    std::vector<TFrame> stack;
    auto open = [&](PVirtualNode n) {
        Stream.MaybeFlush();
        if (HasOption(toInitOnSave)) {
            if (!HasState(n, vsInitialized)) InitNode(n);
            if (HasState(n, vsHasChildren) && n->ChildCount == 0) InitChildren(n);
        }
        TFrame f{n, Stream.Position(), 0, nullptr, false};
        f.BaseStart = f.NodeStart + 8;
        // An uninitialised node writes no children, whatever it counts;
        // moves and copies carry the whole skeleton.
        f.NextChild = HasState(n, vsInitialized) || FWritingSkeleton ? n->FirstChild : nullptr;
        f.PatchBase = f.NextChild != nullptr;
        // The node chunk's header and the base chunk go out in one write;
        // without children the base chunk's size is known already.
        uint8_t b[33];
        PutU32(b, uint32_t(kNodeChunk));
        PutU32(b + 4, 0);
        PutU32(b + 8, uint32_t(kBaseChunk));
        PutU32(b + 12, f.PatchBase ? 0u : 17u);
        PutU32(b + 16, n->ChildCount);
        PutU32(b + 20, n->NodeHeight);
        PutU16(b + 24, uint16_t(NodeStates(n) & ~kUnsavedStates));
        b[26] = n->Align;
        b[27] = n->CheckState;
        b[28] = n->CheckType;
        PutU32(b + 29, 0);
        Stream.Append(b, 33);
        stack.push_back(f);
    };
    try {
        for (; Node; Node = Siblings ? Node->NextSibling : nullptr) {
            open(Node);
            while (!stack.empty()) {
                if (PVirtualNode child = stack.back().NextChild) {
                    stack.back().NextChild = child->NextSibling;
                    open(child);
                    continue;
                }
                const TFrame f = stack.back();
                stack.pop_back();
                if (f.PatchBase) Stream.PatchU32(f.BaseStart + 4, uint32_t(Stream.Position() - f.BaseStart - 8));
                WriteChunks(Stream, f.Node);
                Stream.PatchU32(f.NodeStart + 4, uint32_t(Stream.Position() - f.NodeStart - 8));
            }
        }
    } catch (...) {
        // What was written so far reaches the stream, as it would unbuffered.
        try {
            Stream.Finish();
        } catch (...) {
        }
        throw;
    }
    Stream.Finish();
}

void TBaseVirtualTree::SaveToStream(TStream& Stream, PVirtualNode Node) {
    uint8_t header[16];
    for (int i = 0; i < 6; ++i) PutU16(header + 2 * i, kMagic[i]);
    if (Node == FRoot) Node = nullptr;
    PutU32(header + 12, Node ? 1u : FRoot->ChildCount);
    Stream.WriteBuffer(header, 16);
    if (Node)
        WriteNodes(Stream, Node, false);
    else
        WriteNodes(Stream, FRoot->FirstChild, true);
}

void TBaseVirtualTree::SaveToFile(const String& FileName) {
    TMemoryStream memory;
    SaveToStream(memory);
    TFileStream file(FileName, fmCreate);
    file.WriteBuffer(memory.Memory(), memory.GetSize());
}

void TBaseVirtualTree::LoadFromFile(const String& FileName) {
    TFileStream file(FileName, fmOpenRead);
    LoadFromStream(file);
}

// ---- Reading --------------------------------------------------------------------

void TBaseVirtualTree::SkipNode(TStream& Stream) {
    uint8_t b[8];
    Stream.ReadBuffer(b, 8);
    if (int32_t(GetU32(b)) != kNodeChunk) RaiseVirtualTreeError(hcTFCorruptStream1);
    const int32_t size = int32_t(GetU32(b + 4));
    if (size < 0 || Stream.GetPosition() + size > Stream.GetSize()) Corrupt();
    Stream.Seek(size, TSeekOrigin::soCurrent);
}

bool TBaseVirtualTree::ReadChunk(TStream& Stream, int /*Version*/, PVirtualNode Node, int ChunkType, int ChunkSize) {
    if (ChunkType == kUserChunk) {
        if (ChunkSize <= 0) return true;
        const int64_t start = Stream.GetPosition();
        DoLoadUserData(Node, Stream);
        const bool used = Stream.GetPosition() != start;
        // A client that reads too little or too much can't derail the stream.
        if (Stream.GetPosition() != start + ChunkSize) Stream.SetPosition(start + ChunkSize);
        return used;
    }
    Stream.Seek(ChunkSize, TSeekOrigin::soCurrent);
    return false;
}

void TBaseVirtualTree::ReadNode(TStreamReadBuffer& Stream, int Version, PVirtualNode Node) {
    using TFrame = TReadFrame;
    const int64_t streamSize = Stream.Size();
    const int64_t minChild = Version >= 2 ? 33 : 28;
    const int bodySize = Version >= 2 ? 17 : 12;
    // Borrowed, so that a client's handler that reads a stream into this
    // tree meanwhile gets a stack of its own.
    struct TBorrow {
        std::vector<TFrame>& Home;
        std::vector<TFrame> Stack;
        explicit TBorrow(std::vector<TFrame>& H) : Home(H), Stack(std::move(H)) { Stack.clear(); }
        ~TBorrow() { Home = std::move(Stack); }
    } borrow(FReadFrames);
    std::vector<TFrame>& stack = borrow.Stack;
    auto open = [&](PVirtualNode n, int64_t limit) {
        uint8_t b[8];
        if (Stream.Position() + 8 > limit) {
            // No room for even a header: the anchor is missing.
            if (Stream.Position() + 8 > streamSize) RaiseVirtualTreeError(hcTFCorruptStream1);
            Corrupt();
        }
        Stream.Take(b, 8);
        if (int32_t(GetU32(b)) != kNodeChunk) RaiseVirtualTreeError(hcTFCorruptStream1);
        const int32_t size = int32_t(GetU32(b + 4));
        if (size < 0 || Stream.Position() + size > limit) Corrupt();
        if (stack.size() >= MaxStreamNesting) Corrupt();
        stack.push_back({n, Stream.Position() + size, 0, 0, false});
    };
    open(Node, streamSize);
    while (!stack.empty()) {
        TFrame& f = stack.back();
        if (f.InBase) {
            if (f.ChildrenLeft > 0) {
                --f.ChildrenLeft;
                const int64_t limit = f.BaseEnd;
                open(ChainNewLastChild(f.Node), limit);
                continue;
            }
            if (Stream.Position() != f.BaseEnd) Corrupt();
            f.InBase = false;
            continue;
        }
        const int64_t pos = Stream.Position();
        if (pos >= f.End) {
            if (pos != f.End) Corrupt();
            stack.pop_back();
            continue;
        }
        if (pos + 8 > f.End) Corrupt();
        uint8_t h[8];
        Stream.Take(h, 8);
        const int32_t type = int32_t(GetU32(h));
        const int32_t size = int32_t(GetU32(h + 4));
        if (size < 0 || Stream.Position() + size > f.End) Corrupt();
        if (type == kBaseChunk) {
            if (size < bodySize) Corrupt();
            uint8_t body[17];
            Stream.Take(body, bodySize);
            const uint32_t childCount = GetU32(body);
            const uint32_t height = GetU32(body + 4);
            TVirtualNodeStates states;
            uint8_t align, checkState, checkType;
            if (Version >= 2) {
                states = GetU16(body + 8);
                align = body[10];
                checkState = body[11];
                checkType = body[12];
            } else {
                const uint8_t old = body[8];
                states = TVirtualNodeStates((old & 0x7F) | vsVisible | ((old & 0x80) ? vsSelected : 0));
                align = body[9];
                checkState = body[10];
                checkType = body[11];
            }
            if (checkState > csMixedPressed || checkType > ctButton) Corrupt();
            if (int64_t(childCount) * minChild > int64_t(size) - bodySize) Corrupt();
            states &= TVirtualNodeStates(~kTransientStates & 0x7FFF);
            if (childCount == 0)
                states &= TVirtualNodeStates(~vsExpanded);
            else
                states |= vsHasChildren;
            PVirtualNode n = f.Node;
            SetStates(n, states);
            StoreNodeHeight(n, uint16_t(height));
            n->TotalHeight = uint16_t(height);
            n->Align = std::min<uint8_t>(align, 100);
            n->CheckState = checkState;
            n->CheckType = checkType;
            f.InBase = true;
            f.BaseEnd = pos + 8 + size;
            f.ChildrenLeft = childCount;
        } else {
            const int64_t start = Stream.Position();
            ReadChunk(Stream, Version, f.Node, type, size);
            if (Stream.Position() != start + size) Stream.MoveTo(start + size);
        }
    }
}

// A new node chained behind Parent's last child, as a reader makes them:
// no counter but ChildCount is touched (the fixups do that once), and that
// one as the node is chained, so that a failure leaves the count equal to
// the chain.
PVirtualNode TBaseVirtualTree::ChainNewLastChild(PVirtualNode Parent) {
    PVirtualNode child = MakeNewNode();
    LinkAsLastChild(child, Parent);
    ++Parent->ChildCount;
    return child;
}

// Nodes whose children never came (a read that failed inside them) can't
// stay expanded. A whole read leaves no childless node expanded.
void TBaseVirtualTree::CollapseChildless(PVirtualNode Node) {
    for (PVirtualNode run = Node; run;) {
        if (run->ChildCount == 0) ExcludeState(run, vsExpanded);
        if (run->FirstChild) {
            run = run->FirstChild;
            continue;
        }
        while (run != Node && !run->NextSibling) run = run->Parent;
        run = run == Node ? nullptr : run->NextSibling;
    }
}

// Selection repair after a read. The walk stops at Stop, or runs to the end
// of the tree when that is nil (kept as it is).
void TBaseVirtualTree::RepairReadSelection(PVirtualNode From, PVirtualNode Stop) {
    ClearTempCache();
    const bool multi = HasOption(toMultiSelect);
    for (PVirtualNode run = From; run && run != Stop; run = GetNextNoInit(run)) {
        if (!HasState(run, vsSelected)) continue;
        if (multi) {
            int index;
            if (!FindNodeInSelection(run, index, -1, -1)) InternalCacheNode(run);
        } else {
            ExcludeState(run, vsSelected);
        }
    }
    if (multi && FTempNodeCount > 0) AddToSelection(FTempNodeCache, FTempNodeCount, true);
    ClearTempCache();
}

void TBaseVirtualTree::InternalAddFromStream(TStreamReadBuffer& Stream, int Version, PVirtualNode Node) {
    const uint32_t oldHeight = Node->TotalHeight;
    const bool wasVisible = HasState(Node, vsVisible);
    const bool wasFullyVisible = FullyVisible(Node);
    auto settle = [&] {
        PVirtualNode parent = Node->Parent;
        FixupTotalCount(Node);
        AdjustTotalCount(parent, int64_t(Node->TotalCount) - 1, true);
        FixupTotalHeight(Node);
        const bool parentOpen = HasState(parent, vsExpanded);
        const int64_t before = parentOpen && wasVisible ? oldHeight : 0;
        const int64_t after = parentOpen && HasState(Node, vsVisible) ? Node->TotalHeight : 0;
        AdjustTotalHeight(parent, after - before, true);
        if (FullyVisible(Node)) {
            FVisibleCount += CountVisibleChildren(Node);
            if (!wasFullyVisible) ++FVisibleCount;
        } else if (wasFullyVisible) {
            --FVisibleCount;
        }
        RepairReadSelection(Node, Node->NextSibling);
    };
    try {
        ReadNode(Stream, Version, Node);
    } catch (...) {
        CollapseChildless(Node);
        settle();
        throw;
    }
    settle();
}

// The top-level nodes of a stream read into the root. Each is made,
// chained behind the root's last child and read; the counters, heights,
// visible count and selection that connecting and settling each node would
// adjust one at a time are then adjusted once for all, to the same result
// (also after a failure, which leaves the node in hand connected). A root
// child is fully visible when it is visible, and its selection walk ends at
// the end of the tree, which is the end of its own subtree.
void TBaseVirtualTree::ReadTopLevelNodes(TStreamReadBuffer& Stream, int Version, int64_t Count) {
    StopWorkerIfWalking();
    PVirtualNode first = nullptr;
    auto settle = [&] {
        if (!first) return;
        int64_t count = 0, height = 0, visible = 0;
        for (PVirtualNode n = first; n; n = n->NextSibling) {
            FixupTotalCount(n);
            FixupTotalHeight(n);
            count += n->TotalCount;
            if (HasState(n, vsVisible)) {
                height += n->TotalHeight;
                visible += 1 + CountVisibleChildren(n);
            }
        }
        IncludeState(FRoot, vsHasChildren);
        AdjustTotalCount(FRoot, count, true);
        if (HasState(FRoot, vsExpanded)) AdjustTotalHeight(FRoot, height, true);
        FVisibleCount += visible;
        RepairReadSelection(first, nullptr);
    };
    PVirtualNode node = nullptr;
    try {
        while (Stream.Position() < Stream.Size() && Count > 0) {
            --Count;
            node = ChainNewLastChild(FRoot);
            if (!first) first = node;
            ReadNode(Stream, Version, node);
        }
    } catch (...) {
        if (node) CollapseChildless(node);
        settle();
        throw;
    }
    settle();
}

void TBaseVirtualTree::ReadStreamInto(TStream& Source, PVirtualNode Target, bool Adding) {
    TStreamReadBuffer Stream(Source);
    uint8_t header[12];
    int version;
    if (Adding) {
        Stream.ReadBuffer(header, 12);
        for (int i : {0, 1, 2, 5})
            if (GetU16(header + 2 * i) != kMagic[i]) RaiseVirtualTreeError(hcTFWrongStreamVersion);
    } else {
        if (Stream.Read(header, 12) < 12) RaiseVirtualTreeError(hcTFStreamTooSmall);
        for (int i : {0, 1, 2, 5})
            if (GetU16(header + 2 * i) != kMagic[i]) RaiseVirtualTreeError(hcTFWrongStreamFormat);
    }
    version = GetU16(header + 6);
    if (version >= 3) RaiseVirtualTreeError(hcTFWrongStreamVersion);
    BeginUpdate();
    try {
        int64_t count = 0x7FFFFFFF;
        if (version >= 2) {
            uint8_t c[4];
            Stream.ReadBuffer(c, 4);
            count = int32_t(GetU32(c));
        }
        if (Target == FRoot) {
            ReadTopLevelNodes(Stream, version, count);
        } else {
            while (Stream.Position() < Stream.Size() && count > 0) {
                --count;
                PVirtualNode node = MakeNewNode();
                InternalConnectNode(node, Target, this, amAddChildLast);
                InternalAddFromStream(Stream, version, node);
            }
        }
        DoNodeCopied(Target == FRoot ? nullptr : Target);
    } catch (...) {
        EndUpdate();
        throw;
    }
    Stream.Finish();
    EndUpdate();
}

void TBaseVirtualTree::LoadFromStream(TStream& Stream) {
    if (HasOption(toReadOnly)) return;
    // The old contents go before the header is looked at.
    Clear();
    ReadStreamInto(Stream, FRoot, false);
}

void TBaseVirtualTree::AddFromStream(TStream& Stream, PVirtualNode TargetNode) {
    if (HasOption(toReadOnly)) return;
    if (!TargetNode) TargetNode = FRoot;
    if (TargetNode != FRoot && !HasState(TargetNode, vsInitialized)) InitNode(TargetNode);
    ReadStreamInto(Stream, TargetNode, true);
}

}  // namespace ide
