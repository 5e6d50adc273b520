// The tree stream: golden bytes, round trips, the old versions, every error
// with the tree's state after it, and hostile input.
//
// VT_WRITE_SEEDS=<dir> makes GoldenStreams write its streams there as the
// fuzz target's seeds.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <vector>

#include "VTTestUtil.h"
#include "vtree/VTStreamBuffers.h"

using namespace ide;
using namespace vttest;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Save(TBaseVirtualTree& T, PVirtualNode Node = nullptr) {
    TMemoryStream s;
    T.SaveToStream(s, Node);
    return s.Bytes();
}

void Load(TBaseVirtualTree& T, const Bytes& B) {
    TMemoryStream s;
    if (!B.empty()) s.WriteBuffer(B.data(), int64_t(B.size()));
    s.SetPosition(0);
    T.LoadFromStream(s);
}

int LoadError(TBaseVirtualTree& T, const Bytes& B) {
    try {
        Load(T, B);
    } catch (const EVirtualTreeError& e) {
        return e.HelpContext();
    }
    return 0;
}

// A small writer of streams, for hand-made and hostile input.
struct TWriter {
    Bytes B;
    void U8(uint8_t v) { B.push_back(v); }
    void U16(uint16_t v) { U8(uint8_t(v)), U8(uint8_t(v >> 8)); }
    void U32(uint32_t v) { U16(uint16_t(v)), U16(uint16_t(v >> 16)); }
    void Header(uint16_t Version = 2, int32_t Count = 1) {
        for (uint16_t u : {0x2045, 0x0056, 0x0054}) U16(u);
        U16(Version);
        U16(0x20);
        U16(0x2046);
        if (Version >= 2) U32(uint32_t(Count));
    }
    // A leaf node chunk (version 2) with the given states.
    void Leaf(uint16_t States = vsVisible | vsInitialized, uint32_t Children = 0, int32_t NodeSize = 25,
              int32_t BaseSize = 17) {
        U32(1), U32(uint32_t(NodeSize));
        U32(2), U32(uint32_t(BaseSize));
        U32(Children), U32(18), U16(States), U8(50), U8(0), U8(0), U32(0);
    }
};

std::string Hex(const Bytes& B) {
    static const char* d = "0123456789abcdef";
    std::string s;
    for (uint8_t b : B) {
        if (!s.empty()) s += ' ';
        s += d[b >> 4];
        s += d[b & 15];
    }
    return s;
}

}  // namespace

TEST(VTStream, GoldenStreams) {
    TTextTree t;
    const Bytes empty = Save(t);
    EXPECT_EQ(Hex(empty), "45 20 56 00 54 00 02 00 20 00 46 20 00 00 00 00");

    t.SetRootNodeCount(1);
    const Bytes leaf = Save(t);
    ASSERT_EQ(leaf.size(), 16u + 33u);
    EXPECT_EQ(Hex(Bytes(leaf.begin() + 12, leaf.end())),
              "01 00 00 00 01 00 00 00 19 00 00 00 02 00 00 00 11 00 00 00 00 00 00 00 12 00 00 00 80 00 32 00 00 00 "
              "00 00 00");

    t.SetOptions(t.Options() | toSaveCaptions);
    PVirtualNode n = t.GetFirst();
    t.Name(n, "Hi");
    t.SetCheckType(n, ctCheckBox);
    t.SetCheckState(n, csCheckedNormal);
    t.SetChildCount(n, 1);
    t.Name(t.GetFirstChild(n), "x");
    t.ToggleNode(n);
    const Bytes captioned = Save(t);
    // Node: base (with one child inside it), then the caption "Hi".
    EXPECT_EQ(Hex(Bytes(captioned.begin() + 12, captioned.begin() + 45)),
              "01 00 00 00 01 00 00 00 50 00 00 00 02 00 00 00 3c 00 00 00 01 00 00 00 12 00 00 00 e1 00 32 02 02");
    EXPECT_EQ(Hex(Bytes(captioned.end() - 12, captioned.end())), "03 00 00 00 04 00 00 00 48 00 69 00");

    if (const char* dir = std::getenv("VT_WRITE_SEEDS")) {
        int i = 0;
        for (const Bytes* b : {&empty, &leaf, &captioned}) {
            std::ofstream out(std::string(dir) + "/golden" + std::to_string(i++) + ".vt", std::ios::binary);
            out.write(reinterpret_cast<const char*>(b->data()), std::streamsize(b->size()));
        }
    }
}

TEST(VTStream, RandomTreesRoundTripByteForByte) {
    std::mt19937 rng(7);
    for (int round = 0; round < 20; ++round) {
        TTextTree a;
        a.SetOptions(a.Options() | toSaveCaptions | toMultiSelect);
        a.OnSaveNode = [&](TBaseVirtualTree*, PVirtualNode n, TStream& s) {
            if (n->Index % 3 == 0) s.WriteBuffer(&n->Index, 4);
        };
        a.SetRootNodeCount(1 + rng() % 5);
        for (int i = 0; i < 40; ++i) {
            PVirtualNode n = a.GetFirst();
            for (uint32_t k = rng() % (a.TotalCount() + 1); n && k; --k) n = a.GetNext(n);
            if (!n) continue;
            switch (rng() % 6) {
                case 0: a.SetChildCount(n, 1 + rng() % 3); break;
                case 1: a.ToggleNode(n); break;
                case 2: a.SetVisible(n, false); break;
                case 3: a.Name(n, rng() % 2 ? "alpha" : "\xce\xb2"); break;
                case 4: a.SetSelected(n, true); break;
                case 5: a.SetCheckType(n, ctTriStateCheckBox); break;
            }
        }
        a.ValidateNode(nullptr, true);
        const Bytes first = Save(a);
        TTextTree b;
        b.SetOptions(a.Options());
        b.OnSaveNode = a.OnSaveNode;
        uint32_t userBytes = 0;
        b.OnLoadNode = [&](TBaseVirtualTree*, PVirtualNode, TStream& s) {
            uint32_t v;
            s.ReadBuffer(&v, 4);
            ++userBytes;
        };
        Load(b, first);
        ASSERT_TRUE(Consistent(b));
        EXPECT_EQ(b.TotalCount(), a.TotalCount());
        EXPECT_EQ(b.VisibleCount(), a.VisibleCount());
        EXPECT_EQ(b.SelectedCount(), a.SelectedCount());
        EXPECT_EQ(Save(b), first) << "round " << round;
        EXPECT_GT(userBytes, 0u);
    }
}

TEST(VTStream, OldVersionsLoadByTheOldLayoutUntilTheEnd) {
    TWriter w;
    w.Header(1);
    for (uint8_t states : {uint8_t(0x01), uint8_t(0x81)}) {  // initialised; initialised and selected
        w.U32(1), w.U32(20);
        w.U32(2), w.U32(12);
        w.U32(0), w.U32(24), w.U8(states), w.U8(50), w.U8(0), w.U8(0);
    }
    TTextTree t;
    t.SetOptions(t.Options() | toMultiSelect);
    Load(t, w.B);
    ASSERT_EQ(t.RootNodeCount(), 2u);
    PVirtualNode a = t.GetFirstNoInit();
    EXPECT_TRUE(t.Visible(a));  // always visible in the old layout
    EXPECT_EQ(a->NodeHeight, 24);
    EXPECT_TRUE(t.Selected(a->NextSibling));
    EXPECT_EQ(t.SelectedCount(), 1u);
    EXPECT_TRUE(Consistent(t));
}

TEST(VTStream, ReaderErrorsAndWhatTheyLeave) {
    TTextTree t;
    t.SetRootNodeCount(4);
    EXPECT_EQ(LoadError(t, Bytes(11, 0x45)), 2004);
    EXPECT_EQ(t.TotalCount(), 0u);  // cleared before the header was looked at

    TWriter bad;
    bad.Header();
    bad.B[2] = 0x57;
    EXPECT_EQ(LoadError(t, bad.B), 2002);
    {
        TMemoryStream s;
        s.WriteBuffer(bad.B.data(), int64_t(bad.B.size()));
        s.SetPosition(0);
        try {
            t.AddFromStream(s, nullptr);
            ADD_FAILURE();
        } catch (const EVirtualTreeError& e) {
            EXPECT_EQ(e.HelpContext(), 2003);  // the version message, not the format one
        }
        TMemoryStream shortStream;
        shortStream.WriteBuffer(bad.B.data(), 5);
        shortStream.SetPosition(0);
        EXPECT_THROW(t.AddFromStream(shortStream, nullptr), EReadError);  // no 2004 here
    }
    TWriter v3;
    v3.Header(3);
    EXPECT_EQ(LoadError(t, v3.B), 2003);
    TWriter blank;
    blank.Header();
    blank.B[8] = 0x09;  // another blank is not tested
    blank.Leaf();
    EXPECT_EQ(LoadError(t, blank.B), 0);

    TWriter anchor;
    anchor.Header();
    anchor.U32(2), anchor.U32(17);
    EXPECT_EQ(LoadError(t, anchor.B), 2005);

    TWriter three;
    three.Header(2, 3);
    for (int i = 0; i < 5; ++i) three.Leaf();
    EXPECT_EQ(LoadError(t, three.B), 0);
    EXPECT_EQ(t.RootNodeCount(), 3u);

    TWriter unknown;
    unknown.Header();
    unknown.Leaf(vsVisible | vsInitialized, 0, 25 + 12);
    unknown.U32(77), unknown.U32(4), unknown.U32(0xDEADBEEF);
    int reads = 0;
    t.OnLoadNode = [&](TBaseVirtualTree*, PVirtualNode, TStream&) { ++reads; };
    EXPECT_EQ(LoadError(t, unknown.B), 0);
    EXPECT_EQ(t.RootNodeCount(), 1u);

    // A client that reads nothing, or too much, doesn't derail the stream.
    TWriter user;
    user.Header(2, 2);
    for (int i = 0; i < 2; ++i) {
        user.Leaf(vsVisible | vsInitialized, 0, 25 + 8 + 6);
        user.U32(4), user.U32(6), user.U32(1), user.U16(2);
    }
    EXPECT_EQ(LoadError(t, user.B), 0);
    EXPECT_EQ(reads, 2);
    t.OnLoadNode = [&](TBaseVirtualTree*, PVirtualNode n, TStream& s) {
        uint8_t big[9];
        if (n->Index == 0) s.ReadBuffer(big, 9);  // into the next node's bytes
    };
    EXPECT_EQ(LoadError(t, user.B), 0);
    EXPECT_EQ(t.RootNodeCount(), 2u);
    t.OnLoadNode = nullptr;
    EXPECT_TRUE(Consistent(t));

    // Children declared by an uninitialised node aren't written, and the
    // reader then fails.
    TTextTree u;
    u.SetRootNodeCount(1);
    u.SetChildCount(u.GetFirstNoInit(), 2);
    const int code = LoadError(t, Save(u));
    EXPECT_TRUE(code == 2005 || code == 2006) << code;
    EXPECT_TRUE(Consistent(t));
}

TEST(VTStream, HostileInputIsRejectedBeforeNodesAreMadeFromIt) {
    auto expect2006 = [](const Bytes& b, uint32_t maxNodes) {
        TTextTree t;
        EXPECT_EQ(LoadError(t, b), 2006);
        EXPECT_LE(t.TotalCount(), maxNodes);
        EXPECT_TRUE(Consistent(t));
        t.AddChild(nullptr);  // still usable
        EXPECT_TRUE(Consistent(t));
    };
    {  // negative node size
        TWriter w;
        w.Header();
        w.Leaf(vsVisible, 0, -8);
        expect2006(w.B, 1);
    }
    {  // a node chunk that runs past the stream
        TWriter w;
        w.Header();
        w.Leaf(vsVisible, 0, 1000);
        expect2006(w.B, 1);
    }
    {  // negative size of an unknown chunk would seek backwards for ever
        TWriter w;
        w.Header();
        w.Leaf(vsVisible, 0, 25 + 8);
        w.U32(9), w.U32(uint32_t(-33));
        expect2006(w.B, 1);
    }
    {  // a child count the base chunk can't hold: no child is made
        TWriter w;
        w.Header();
        w.Leaf(vsVisible | vsInitialized | vsExpanded | vsHasChildren, 1000000, 25 + 33, 17 + 33);
        w.Leaf();
        expect2006(w.B, 1);
    }
    {  // absurd nesting: a chain 20000 deep
        TWriter w;
        w.Header();
        const int depth = 20000;
        for (int i = 0; i < depth; ++i) {
            const int32_t inner = (depth - 1 - i) * 33;
            w.Leaf(vsVisible | vsInitialized | vsHasChildren, i + 1 < depth ? 1 : 0, 25 + inner, 17 + inner);
        }
        expect2006(w.B, 10001);
    }
    {  // an odd caption size: whole code units, the last byte skipped
        TWriter w;
        w.Header();
        w.Leaf(vsVisible | vsInitialized, 0, 25 + 8 + 5);
        w.U32(3), w.U32(5), w.U16('O'), w.U16('K'), w.U8('!');
        TTextTree t;
        EXPECT_EQ(LoadError(t, w.B), 0);
        EXPECT_EQ(t.TextOf(t.GetFirstNoInit()), "OK");
    }
    {  // transient state bits are dropped, and expansion without children
        TWriter w;
        w.Header();
        w.Leaf(vsVisible | vsInitialized | vsDeleting | vsChecking | vsClearing | vsToggling | vsExpanded);
        TTextTree t;
        EXPECT_EQ(LoadError(t, w.B), 0);
        EXPECT_EQ(NodeStates(t.GetFirstNoInit()), vsVisible | vsInitialized);
        t.DeleteNode(t.GetFirstNoInit());  // a vsDeleting node would skip its counters here
        EXPECT_TRUE(Consistent(t));
    }
    {  // a broken child in the middle: the nodes read stay, counted
        TWriter w;
        w.Header();
        w.Leaf(vsVisible | vsInitialized | vsExpanded | vsHasChildren, 2, 25 + 66, 17 + 66);
        w.Leaf();
        w.U32(5), w.U32(25);  // not a node chunk
        for (int i = 0; i < 25; ++i) w.U8(0);
        TTextTree t;
        EXPECT_EQ(LoadError(t, w.B), 2005);
        EXPECT_EQ(t.TotalCount(), 3u);
        EXPECT_TRUE(Consistent(t));
        t.Sort(t.GetFirstNoInit(), -1, sdAscending);  // ChildCount matches the chain
        EXPECT_TRUE(Consistent(t));
    }
}

TEST(VTStream, LoadedStatesApplyWithoutClientEvents) {
    TTextTree a;
    a.SetRootNodeCount(2);
    PVirtualNode n = a.GetFirst();
    a.SetChildCount(n, 3);
    a.ToggleNode(n);
    a.SetSelected(n->FirstChild, true);
    const Bytes bytes = Save(a);
    TTextTree b;
    int expanding = 0, inits = 0;
    b.OnExpanding = [&](TBaseVirtualTree*, PVirtualNode, bool&) { ++expanding; };
    b.OnInitNode = [&](TBaseVirtualTree*, PVirtualNode, PVirtualNode, TVirtualNodeInitStates&) { ++inits; };
    Load(b, bytes);
    EXPECT_EQ(expanding, 0);
    EXPECT_TRUE(b.Expanded(b.GetFirstNoInit()));
    EXPECT_EQ(b.VisibleCount(), 5u);
    EXPECT_EQ(b.SelectedCount(), 0u);  // no toMultiSelect: dropped
    b.GetFirst();
    EXPECT_EQ(inits, 0);  // initialised by the stream
    EXPECT_TRUE(Consistent(b));

    // AddFromStream below a node; the selection walk of a node without a next
    // sibling runs on to the end of the tree (kept): it clears vsSelected on
    // later nodes, which FSelection still holds until the next change.
    TTextTree c;
    c.SetRootNodeCount(3);
    PVirtualNode later = c.GetFirstNoInit()->NextSibling;
    c.SetSelected(later, true);
    TMemoryStream s;
    s.WriteBuffer(bytes.data(), int64_t(bytes.size()));
    s.SetPosition(0);
    c.AddFromStream(s, c.GetFirstNoInit());
    EXPECT_EQ(c.TotalCount(), 3u + 5u);
    EXPECT_FALSE(c.Selected(later));
    EXPECT_EQ(c.SelectedCount(), 1u);
    EXPECT_FALSE(Consistent(c));
    c.ClearSelection();  // the next change of the selection settles it
    EXPECT_TRUE(Consistent(c));
}

// The stream of a root with many captioned children and client bytes on
// every third child, encoded here field by field: far larger than the
// blocks in which the tree writes and reads, so that size fields are patched
// after their bytes have gone out, and reads cross block ends.
namespace {

Bytes BigTreeStream(uint32_t Children) {
    TWriter w;
    w.Header(2, 2);
    auto caption = [&](const std::string& Text) {
        w.U32(3), w.U32(uint32_t(2 * Text.size()));
        for (char c : Text) w.U16(uint16_t(c));
    };
    auto base = [&](uint32_t ChildCount, uint16_t States, uint32_t Size) {
        w.U32(2), w.U32(Size);
        w.U32(ChildCount), w.U32(18), w.U16(States), w.U8(50), w.U8(0), w.U8(0), w.U32(0);
    };
    auto childSize = [](uint32_t i) -> uint32_t {
        const uint32_t user = i % 3 == 0 ? 8 + 4 : 0;
        return 25 + user + 8 + 2 * uint32_t(("c" + std::to_string(i)).size());
    };
    // The first root: a leaf captioned "first".
    w.U32(1), w.U32(25 + 8 + 10);
    base(0, vsInitialized | vsVisible, 17);
    caption("first");
    // The second root: open, with the children inside its base chunk.
    uint32_t inner = 0;
    for (uint32_t i = 0; i < Children; ++i) inner += 8 + childSize(i);
    w.U32(1), w.U32(8 + 17 + inner + 8 + 2 * 6);
    base(Children, vsInitialized | vsVisible | vsExpanded | vsHasChildren, 17 + inner);
    for (uint32_t i = 0; i < Children; ++i) {
        w.U32(1), w.U32(childSize(i));
        base(0, vsInitialized | vsVisible, 17);
        if (i % 3 == 0) w.U32(4), w.U32(4), w.U32(i * 2654435761u);
        caption("c" + std::to_string(i));
    }
    caption("second");
    return w.B;
}

void FillBigTree(TTextTree& T, uint32_t Children) {
    T.SetOptions(T.Options() | toSaveCaptions);
    T.SetRootNodeCount(2);
    PVirtualNode first = T.GetFirst(), second = T.GetNext(first);
    T.Name(first, "first");
    T.Name(second, "second");
    T.SetChildCount(second, Children);
    T.SetExpanded(second, true);
    T.ValidateChildren(second, false);
    for (PVirtualNode c = T.GetFirstChild(second); c; c = c->NextSibling)
        T.Name(c, ("c" + std::to_string(c->Index)).c_str());
}

}  // namespace

TEST(VTStream, BigStreamsCrossTheWriteAndReadBlocksUnchanged) {
    constexpr uint32_t kChildren = 40000;  // about 1.4 MB
    const Bytes want = BigTreeStream(kChildren);
    ASSERT_GT(want.size(), 1000000u);
    TTextTree a;
    FillBigTree(a, kChildren);
    // The client's handler works on the stream itself, positioned where its
    // bytes go, with everything before them written already.
    TMemoryStream out;
    out.WriteBuffer("prefix", 6);
    int calls = 0;
    a.OnSaveNode = [&](TBaseVirtualTree*, PVirtualNode n, TStream& s) {
        if (!n || a.GetNodeLevel(n) == 0 || n->Index % 3 != 0) return;
        ++calls;
        EXPECT_EQ(&s, static_cast<TStream*>(&out));
        EXPECT_EQ(s.GetPosition(), s.GetSize());
        const uint32_t v = n->Index * 2654435761u;
        s.WriteBuffer(&v, 4);
    };
    a.SaveToStream(out);
    EXPECT_EQ(calls, int(kChildren + 2) / 3);
    // Saving appends at the stream's position and ends there.
    EXPECT_EQ(out.GetPosition(), out.GetSize());
    Bytes got = out.Bytes();
    ASSERT_EQ(Hex(Bytes(got.begin(), got.begin() + 6)), Hex(Bytes{'p', 'r', 'e', 'f', 'i', 'x'}));
    got.erase(got.begin(), got.begin() + 6);
    ASSERT_EQ(got.size(), want.size());
    EXPECT_TRUE(got == want) << "first difference at byte "
                             << std::mismatch(got.begin(), got.end(), want.begin()).first - got.begin();

    // Read back from a file, block by block, and from memory in place; the
    // client's handler reads its bytes from the stream itself.
    const std::string path = ::testing::TempDir() + "/vt_big_stream.vt";
    {
        TFileStream f(Str(path), fmCreate);
        f.WriteBuffer(want.data(), int64_t(want.size()));
        f.WriteBuffer("tail", 4);
    }
    for (bool file : {true, false}) {
        TTextTree b;
        b.SetOptions(b.Options() | toSaveCaptions);
        TFileStream f(Str(path), fmOpenRead);
        TMemoryStream m;
        m.WriteBuffer(want.data(), int64_t(want.size()));
        m.WriteBuffer("tail", 4);
        m.SetPosition(0);
        TStream& in = file ? static_cast<TStream&>(f) : m;
        uint32_t mismatches = 0, reads = 0;
        b.OnLoadNode = [&](TBaseVirtualTree*, PVirtualNode n, TStream& s) {
            EXPECT_EQ(&s, &in);
            uint32_t v = 0;
            s.ReadBuffer(&v, 4);
            ++reads;
            if (v != n->Index * 2654435761u) ++mismatches;
        };
        b.LoadFromStream(in);
        EXPECT_EQ(reads, (kChildren + 2) / 3) << "file " << file;
        EXPECT_EQ(mismatches, 0u);
        // The stream stops right behind the tree.
        EXPECT_EQ(in.GetPosition(), int64_t(want.size())) << "file " << file;
        ASSERT_TRUE(Consistent(b));
        EXPECT_EQ(b.TotalCount(), kChildren + 2);
        PVirtualNode second = b.GetFirst()->NextSibling;
        EXPECT_EQ(b.TextOf(second), "second");
        EXPECT_EQ(b.TextOf(b.GetLastChild(second)), "c" + std::to_string(kChildren - 1));
        b.OnSaveNode = [&](TBaseVirtualTree*, PVirtualNode n, TStream& s) {
            if (n && b.GetNodeLevel(n) == 1 && n->Index % 3 == 0) {
                const uint32_t v = n->Index * 2654435761u;
                s.WriteBuffer(&v, 4);
            }
        };
        EXPECT_TRUE(Save(b) == want) << "file " << file;
    }
    std::remove(path.c_str());
}

// Without OnSaveNode no user chunk reaches the stream. Saved in front of
// other data, each node's empty user chunk still costs the stream 8 bytes
// from its end and leaves its header where the next node goes.
TEST(VTStream, EmptyUserChunksLeaveNoTraceAtTheEndButCutDataBehind) {
    TTextTree t;
    t.SetRootNodeCount(2);
    t.ValidateNode(nullptr, true);
    const Bytes alone = Save(t);
    ASSERT_EQ(alone.size(), 16u + 2 * 33u);

    TMemoryStream s;
    const Bytes filler(100, 'x');
    s.WriteBuffer(filler.data(), int64_t(filler.size()));
    s.SetPosition(0);
    t.SaveToStream(s);
    EXPECT_EQ(s.GetPosition(), int64_t(alone.size()));
    EXPECT_EQ(s.GetSize(), 100 - 2 * 8);
    const Bytes got = s.Bytes();
    EXPECT_EQ(Hex(Bytes(got.begin(), got.begin() + 82)), Hex(alone));
    EXPECT_EQ(Hex(Bytes(got.begin() + 82, got.end())), "04 00");  // the last user chunk header, cut
}

// Nodes added to the root settle beside the ones there: counters, visible
// count, heights and selection come out as if each had been added alone.
TEST(VTStream, NodesAddedToTheRootSettleBesideTheOldOnes) {
    TTextTree a;
    a.SetOptions(a.Options() | toMultiSelect);
    a.SetRootNodeCount(4);
    PVirtualNode n = a.GetFirst();
    a.SetChildCount(n, 3);
    a.ToggleNode(n);                              // open, 3 children shown
    a.SetSelected(n->FirstChild, true);
    a.SetVisible(n->NextSibling, false);          // a hidden root
    a.SetChildCount(a.GetLast(), 2);              // closed, 2 children
    a.SetSelected(a.GetLastChild(nullptr), true);
    a.ValidateNode(nullptr, true);
    const Bytes bytes = Save(a);

    for (bool toRoot : {true, false}) {
        TTextTree b;
        b.SetOptions(b.Options() | toMultiSelect);
        b.SetRootNodeCount(2);
        b.SetSelected(b.GetFirst(), true);
        const uint32_t visibleBefore = b.VisibleCount();
        const uint32_t heightBefore = b.RootNode()->TotalHeight;
        TMemoryStream s;
        s.WriteBuffer(bytes.data(), int64_t(bytes.size()));
        s.SetPosition(0);
        PVirtualNode target = toRoot ? b.RootNode() : b.GetLast();
        if (!toRoot) b.ToggleNode(target);  // empty: stays closed until children come
        b.AddFromStream(s, target);
        ASSERT_TRUE(Consistent(b)) << "to root " << toRoot;
        EXPECT_EQ(b.TotalCount(), 2u + a.TotalCount());
        EXPECT_EQ(b.SelectedCount(), 1u + a.SelectedCount());
        if (toRoot) {
            EXPECT_EQ(b.RootNodeCount(), 6u);
            EXPECT_EQ(b.GetLastChild(nullptr)->Index, 5u);
            EXPECT_EQ(b.VisibleCount(), visibleBefore + a.VisibleCount());
            EXPECT_EQ(b.RootNode()->TotalHeight, heightBefore + a.RootNode()->TotalHeight - a.RootNode()->NodeHeight);
        }
    }
}

TEST(VTStream, FilesAreWrittenInOneGo) {
    TTextTree a;
    a.SetOptions(a.Options() | toSaveCaptions);
    a.SetRootNodeCount(50);
    for (PVirtualNode n = a.GetFirst(); n; n = a.GetNext(n)) a.Name(n, "row");
    const std::string path = ::testing::TempDir() + "/vt_stream_file.vt";
    a.SaveToFile(Str(path));
    TTextTree b;
    b.LoadFromFile(Str(path));
    EXPECT_EQ(b.RootNodeCount(), 50u);
    EXPECT_EQ(b.TextOf(b.GetLastNoInit()), "row");
    std::remove(path.c_str());
}

namespace {

// A stream the write buffer can't write in place: it keeps its own bytes.
class TPlainStream final : public TStream {
public:
    TMemoryStream Inner;
    int64_t Read(void* Buffer, int64_t Count) override { return Inner.Read(Buffer, Count); }
    int64_t Write(const void* Buffer, int64_t Count) override { return Inner.Write(Buffer, Count); }
    int64_t Seek(int64_t Offset, TSeekOrigin Origin) override { return Inner.Seek(Offset, Origin); }
    int64_t GetSize() override { return Inner.GetSize(); }
    void SetSize(int64_t NewSize) override { Inner.SetSize(NewSize); }
};

// Random writes, jumps, patches, cuts, reads, flushes and direct use of the
// stream through a write buffer, against the same done to a memory stream
// directly.
void WriteBufferMatchesTheStream(TStream& Target, TMemoryStream& Content, uint32_t Seed) {
    std::mt19937 rng(Seed);
    TMemoryStream ref;
    Bytes start(size_t(rng() % 5000));
    for (auto& b : start) b = uint8_t(rng());
    for (TStream* s : {static_cast<TStream*>(&Target), static_cast<TStream*>(&ref)}) {
        if (!start.empty()) s->WriteBuffer(start.data(), int64_t(start.size()));
        s->SetPosition(int64_t(rng() % (start.size() + 1)));
    }
    ref.SetPosition(Target.GetPosition());
    TStreamWriteBuffer buffer(Target);
    for (int step = 0; step < 400; ++step) {
        const int64_t size = ref.GetSize();
        switch (rng() % 9) {
            case 0: case 1: case 2: {  // a write, now and then longer than a block
                Bytes b(size_t(rng() % 8 == 0 ? 300000 + rng() % 300000 : rng() % 60));
                for (auto& x : b) x = uint8_t(rng());
                if (b.empty()) break;
                buffer.Append(b.data(), int64_t(b.size()));
                ref.WriteBuffer(b.data(), int64_t(b.size()));
                break;
            }
            case 3: {  // a jump, past the end too
                const int64_t to = int64_t(rng() % uint32_t(size + 3000));
                buffer.SetPosition(to);
                ref.SetPosition(to);
                break;
            }
            case 4: {  // a size field patched behind or ahead of the kept bytes
                if (size < 4) break;
                const int64_t at = int64_t(rng() % uint32_t(size - 3));
                const uint32_t v = rng();
                buffer.PatchU32(at, v);
                const int64_t back = ref.GetPosition();
                uint8_t b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
                ref.SetPosition(at);
                ref.WriteBuffer(b, 4);
                ref.SetPosition(back);
                break;
            }
            case 5: {  // a cut or a growth
                const int64_t to = int64_t(rng() % uint32_t(size + 2000));
                const int64_t at = std::min(buffer.GetPosition(), to);
                buffer.SetSize(to);
                ref.SetSize(to);
                // Whether a cut moves the position is the stream's own
                // choice (a memory stream's does, a file's doesn't).
                buffer.SetPosition(at);
                ref.SetPosition(at);
                break;
            }
            case 6: buffer.MaybeFlush(); break;
            case 7: {  // the stream itself, as a client handler gets it
                TStream& direct = buffer.Direct();
                Bytes b(size_t(1 + rng() % 3000));
                for (auto& x : b) x = uint8_t(rng());
                direct.WriteBuffer(b.data(), int64_t(b.size()));
                buffer.EndDirect();
                ref.WriteBuffer(b.data(), int64_t(b.size()));
                break;
            }
            case 8: {  // a read through the buffer
                uint8_t got[16] = {}, want[16] = {};
                const int64_t n = buffer.Read(got, 16);
                ASSERT_EQ(n, ref.Read(want, 16)) << "step " << step;
                ASSERT_EQ(0, std::memcmp(got, want, size_t(n))) << "step " << step;
                break;
            }
        }
        ASSERT_EQ(buffer.GetSize(), ref.GetSize()) << "step " << step;
        ASSERT_EQ(buffer.GetPosition(), ref.GetPosition()) << "step " << step;
    }
    buffer.Finish();
    EXPECT_EQ(Target.GetPosition(), ref.GetPosition());
    ASSERT_EQ(Content.GetSize(), ref.GetSize());
    const Bytes got = Content.Bytes(), want = ref.Bytes();
    const auto diff = std::mismatch(got.begin(), got.end(), want.begin());
    EXPECT_TRUE(diff.first == got.end()) << "first difference at " << (diff.first - got.begin()) << " of " << got.size();
}

}  // namespace

TEST(VTStream, TheWriteBufferWritesWhatTheStreamWouldInPlaceOrNot) {
    for (uint32_t seed = 1; seed <= 16; ++seed) {
        SCOPED_TRACE(seed);
        TMemoryStream memory;  // written in place
        WriteBufferMatchesTheStream(memory, memory, seed);
        TPlainStream plain;    // through the buffer's own bytes
        SCOPED_TRACE("plain");
        WriteBufferMatchesTheStream(plain, plain.Inner, seed);
        if (HasFatalFailure()) return;
    }
}
