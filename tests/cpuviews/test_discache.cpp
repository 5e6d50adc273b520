// The disassembly memo and the view's read-through operations: what counts as
// a hit, what is remembered of an empty answer, what clears.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <vector>

#include "ScriptedHost.h"

using namespace ide;
using namespace distest;

namespace {

TEST(DisassemblyCache, NextAddressIsKnownOnlyOnceTheInstructionIsCached) {
    TDisassemblyCache c;
    int64_t next = -7;
    String text = u"stale";
    c.DepositNextAddr(0x100, 0x104);
    EXPECT_FALSE(c.FetchNextAddr(0x100, next));
    EXPECT_FALSE(c.FetchAsmCode(0x100, text, next));
    EXPECT_TRUE(text.empty());  // string out-arguments are cleared on a miss
    EXPECT_EQ(next, -7);        // the others are not written

    c.DepositAsmCode(0x200, u"nop", 0x201);
    ASSERT_TRUE(c.FetchNextAddr(0x200, next));
    EXPECT_EQ(next, 0x201);

    // A next address deposited alone is kept and read back with the code.
    c.DepositNextAddr(0x300, 0x305);
    c.DepositPrevAddr(0x300, 0x2FF);
    TDisassemblyCache::TCacheEntry e;
    ASSERT_TRUE(c.FetchCacheEntry(0x300, e));
    EXPECT_EQ(e.NextAddr, 0x305);
    EXPECT_EQ(e.CachedValues, (1u << TDisassemblyCache::cvNextAddr) | (1u << TDisassemblyCache::cvPrevAddr));
    int64_t prev = 0;
    EXPECT_TRUE(c.FetchPrevAddr(0x300, prev));  // no twist for the previous address
    EXPECT_EQ(prev, 0x2FF);
    EXPECT_FALSE(c.FetchCacheEntry(0x999, e));
    EXPECT_EQ(e.CachedValues, 0);
}

TEST(DisassemblyCache, AnswersAccumulateAndEmptyAnswersAreHits) {
    TDisassemblyCache c;
    c.DepositAddlAsmCode(0x10, u"", 0);
    c.DepositLabelCode(0x10, u"main");
    c.DepositSourcePos(0x10, MakeCPUSourcePos(2, 40, 7), 0x0C, 9);
    String addl = u"x";
    int32_t count = 5;
    ASSERT_TRUE(c.FetchAddlAsmCode(0x10, addl, count));
    EXPECT_EQ(addl, u"");
    EXPECT_EQ(count, 0);
    String label;
    ASSERT_TRUE(c.FetchLabelCode(0x10, label));
    EXPECT_EQ(label, u"main");
    TCPUSourcePos pos;
    int64_t first = 0;
    int32_t size = 0;
    ASSERT_TRUE(c.FetchSourcePos(0x10, pos, first, size));
    EXPECT_EQ(pos, MakeCPUSourcePos(2, 40, 7));
    EXPECT_EQ(first, 0x0C);
    EXPECT_EQ(size, 9);
    EXPECT_EQ(c.AddressCount(), 1u);
}

TEST(DisassemblyCache, SourceKeysDifferInAnyWordIncludingParam) {
    TDisassemblyCache c;
    c.DepositFileName(MakeCPUSourcePos(1, 10, 0), u"a.c");
    c.DepositFileName(MakeCPUSourcePos(1, 10, 1), u"b.c");
    c.DepositAddress(MakeCPUSourcePos(1, 10, 1), 0x500, 3);
    String name;
    ASSERT_TRUE(c.FetchFileName(MakeCPUSourcePos(1, 10, 0), name));
    EXPECT_EQ(name, u"a.c");
    ASSERT_TRUE(c.FetchFileName(MakeCPUSourcePos(1, 10, 1), name));
    EXPECT_EQ(name, u"b.c");
    int64_t a = 0;
    int32_t size = 0;
    EXPECT_FALSE(c.FetchAddress(MakeCPUSourcePos(1, 10, 0), a, size));
    ASSERT_TRUE(c.FetchAddress(MakeCPUSourcePos(1, 10, 1), a, size));
    EXPECT_EQ(a, 0x500);
    EXPECT_FALSE(c.FetchFileName(MakeCPUSourcePos(1, 11, 1), name));
    c.Clear();
    EXPECT_EQ(c.SourcePosCount(), 0u);
}

TEST(DisassemblyCache, DisablingStopsDepositsAndTheViewClearsOnlyWhenItTurnsOn) {
    TDisassemblerLogic v;
    v.Cache().DepositAsmCode(1, u"a", 2);
    v.SetDisableCaching(false);  // False clears nothing
    EXPECT_EQ(v.Cache().AddressCount(), 1u);
    v.SetDisableCaching(true);
    EXPECT_EQ(v.Cache().AddressCount(), 0u);
    v.Cache().DepositAsmCode(1, u"a", 2);
    String t;
    int64_t n = 0;
    EXPECT_FALSE(v.Cache().FetchAsmCode(1, t, n));
    v.SetDisableCaching(false);  // caching resumes
    v.Cache().DepositAsmCode(1, u"a", 2);
    EXPECT_TRUE(v.Cache().FetchAsmCode(1, t, n));
}

TEST(DisassemblyCache, ManyAddressesAgreeWithAPlainMapThroughGrowthAndClear) {
    TDisassemblyCache c;
    std::map<int64_t, int64_t> reference;
    uint64_t seed = 12345;
    auto next = [&] {
        seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
        return seed;
    };
    for (int round = 0; round < 2; ++round) {
        for (int step = 0; step < 20000; ++step) {
            // Clustered addresses, as code is, plus the extremes of the range.
            int64_t a = static_cast<int64_t>(0x400000 + next() % 30000);
            if (step % 997 == 0) a = step % 2 ? INT64_MIN : INT64_MAX;
            const int64_t n = static_cast<int64_t>(next());
            c.DepositAsmCode(a, u"x", n);
            reference[a] = n;
            const int64_t probe = static_cast<int64_t>(0x400000 + next() % 30000);
            int64_t got = 0;
            String text;
            const bool hit = c.FetchAsmCode(probe, text, got);
            ASSERT_EQ(hit, reference.count(probe) == 1) << "step " << step;
            if (hit) {
                ASSERT_EQ(got, reference[probe]) << "step " << step;
            }
        }
        EXPECT_EQ(c.AddressCount(), reference.size());
        c.Clear();
        reference.clear();
        int64_t got = 0;
        EXPECT_FALSE(c.FetchNextAddr(INT64_MAX, got));
    }
}

TEST(DisassemblyCache, TextsRoundTripWhateverTheirCharactersAndLengths) {
    TDisassemblyCache c;
    const String latin = u"mov eax, 1 ; caf\u00e9";            // fits a byte a character
    const String wide = u"call \u51fd\u6570 \U0001F600";      // does not, surrogates included
    const String huge(200000, u'x');                           // larger than a shared block
    c.DepositAsmCode(1, latin, 2);
    c.DepositAsmCode(2, wide, 3);
    c.DepositAsmCode(3, huge, 4);
    c.DepositLabelCode(4, wide);
    c.DepositAddlAsmCode(5, u"a\nb", 2);
    String t;
    int64_t n = 0;
    ASSERT_TRUE(c.FetchAsmCode(1, t, n));
    EXPECT_EQ(t, latin);
    ASSERT_TRUE(c.FetchAsmCode(2, t, n));
    EXPECT_EQ(t, wide);
    ASSERT_TRUE(c.FetchAsmCode(3, t, n));
    EXPECT_EQ(t, huge);
    EXPECT_EQ(n, 4);
    ASSERT_TRUE(c.FetchLabelCode(4, t));
    EXPECT_EQ(t, wide);

    // A new answer replaces the old one, shorter (in its room) or longer.
    c.DepositAsmCode(1, u"nop", 5);
    ASSERT_TRUE(c.FetchAsmCode(1, t, n));
    EXPECT_EQ(t, u"nop");
    EXPECT_EQ(n, 5);
    c.DepositAsmCode(1, latin + latin, 6);
    ASSERT_TRUE(c.FetchAsmCode(1, t, n));
    EXPECT_EQ(t, latin + latin);
    c.DepositAsmCode(2, u"", 3);
    ASSERT_TRUE(c.FetchAsmCode(2, t, n));
    EXPECT_TRUE(t.empty());
    // Neighbours are untouched by the rewrites.
    ASSERT_TRUE(c.FetchAsmCode(3, t, n));
    EXPECT_EQ(t, huge);
    int32_t count = 0;
    ASSERT_TRUE(c.FetchAddlAsmCode(5, t, count));
    EXPECT_EQ(t, u"a\nb");
    EXPECT_EQ(count, 2);
}

TEST(DisassemblyCache, AnEmptyAnswerAfterOneWithContentReadsBackEmpty) {
    TDisassemblyCache c;
    c.DepositLabelCode(0x10, u"main");
    c.DepositAddlAsmCode(0x10, u"; call f", 1);
    c.DepositSourcePos(0x10, MakeCPUSourcePos(3, 7, 0), 0x0E, 4);
    c.DepositLabelCode(0x10, u"");
    c.DepositAddlAsmCode(0x10, u"", 0);
    c.DepositSourcePos(0x10, TCPUSourcePos{}, 0, 0);
    String text = u"x";
    int32_t count = 9;
    ASSERT_TRUE(c.FetchLabelCode(0x10, text));
    EXPECT_TRUE(text.empty());
    String addl(1, u'x');  // the out-argument is cleared on a hit
    ASSERT_TRUE(c.FetchAddlAsmCode(0x10, addl, count));
    EXPECT_TRUE(addl.empty());
    EXPECT_EQ(count, 0);
    TCPUSourcePos pos = MakeCPUSourcePos(9, 9, 9);
    int64_t first = 9;
    int32_t size = 9;
    ASSERT_TRUE(c.FetchSourcePos(0x10, pos, first, size));
    EXPECT_EQ(pos, TCPUSourcePos{});
    EXPECT_EQ(first, 0);
    EXPECT_EQ(size, 0);
    // And content again after the empty answer.
    c.DepositLabelCode(0x10, u"start");
    ASSERT_TRUE(c.FetchLabelCode(0x10, text));
    EXPECT_EQ(text, u"start");
    // An additional-lines count without text is content too.
    c.DepositAddlAsmCode(0x20, u"", 3);
    ASSERT_TRUE(c.FetchAddlAsmCode(0x20, text, count));
    EXPECT_EQ(count, 3);

    TDisassemblyCache::TCacheEntry e;
    ASSERT_TRUE(c.FetchCacheEntry(0x10, e));
    EXPECT_EQ(e.LabelCode, u"start");
    EXPECT_EQ(e.AddlAsmCode, u"");
    EXPECT_EQ(e.SourcePos, TCPUSourcePos{});
    EXPECT_EQ(e.CachedValues, (1u << TDisassemblyCache::cvLabel) | (1u << TDisassemblyCache::cvAddlAsm) |
                                  (1u << TDisassemblyCache::cvSourcePos));
}

TEST(DisassemblyCache, RepeatedQuestionsAboutOneAddressSeeItsLatestDeposits) {
    // The last address asked about is remembered; deposits at it and at its
    // neighbours, and a clear, must not leave that memory stale.
    TDisassemblyCache c;
    String t;
    int64_t n = 0;
    EXPECT_FALSE(c.FetchAsmCode(0x40, t, n));
    c.DepositAsmCode(0x40, u"a", 0x41);
    ASSERT_TRUE(c.FetchAsmCode(0x40, t, n));
    c.DepositAsmCode(0x41, u"b", 0x42);  // another record in the same page
    ASSERT_TRUE(c.FetchAsmCode(0x40, t, n));
    EXPECT_EQ(t, u"a");
    c.DepositAsmCode(0x40, u"c", 0x43);
    ASSERT_TRUE(c.FetchAsmCode(0x40, t, n));
    EXPECT_EQ(t, u"c");
    EXPECT_EQ(n, 0x43);
    c.Clear();
    EXPECT_FALSE(c.FetchAsmCode(0x40, t, n));
    c.DepositNextAddr(0x40, 1);
    EXPECT_FALSE(c.FetchAsmCode(0x40, t, n));
    // Pages far apart and negative addresses keep their own records.
    c.DepositAsmCode(-1, u"neg", 0);
    c.DepositAsmCode(0x7FFFFFFFFFFFFF00, u"high", 0);
    ASSERT_TRUE(c.FetchAsmCode(-1, t, n));
    EXPECT_EQ(t, u"neg");
    ASSERT_TRUE(c.FetchAsmCode(0x7FFFFFFFFFFFFF00, t, n));
    EXPECT_EQ(t, u"high");
    EXPECT_FALSE(c.FetchAsmCode(0xFF, t, n));
}

TEST(DisassemblyCache, ARewrittenTextKeepsItsCharactersWhicheverWidthEitherNeeds) {
    // A new answer goes into the old one's room when it fits there, narrow
    // or wide, and elsewhere when it does not; a neighbour written after the
    // first answer must never be overwritten.
    TDisassemblyCache c;
    const String narrowLong(40, u'n');
    const String wideShort = u"\u4e2d\u6587";            // 2 characters, 4 bytes
    const String wideLong = String(30, u'w') + u"\u4e2d";  // 31 characters, 62 bytes
    const String neighbour = u"neighbour text";
    String t;
    int64_t n = 0;
    for (const String& second : {wideShort, wideLong, narrowLong, String(u"x"), String(u"\u00ff\u00fe")}) {
        for (const String& first : {narrowLong, wideShort, wideLong}) {
            c.Clear();
            c.DepositAsmCode(0x10, first, 1);
            c.DepositAsmCode(0x11, neighbour, 2);
            c.DepositAsmCode(0x10, second, 3);
            ASSERT_TRUE(c.FetchAsmCode(0x10, t, n));
            EXPECT_EQ(t, second);
            ASSERT_TRUE(c.FetchAsmCode(0x11, t, n));
            EXPECT_EQ(t, neighbour);
        }
    }
}

TEST(ZeroedRegion, BlocksAreZeroedAlignedDisjointAndSurviveUntilClear) {
    TZeroedRegion region;
    struct Block {
        uint8_t* At;
        size_t Size;
        uint8_t Mark;
    };
    std::vector<Block> blocks;
    // Small blocks, blocks near the chunk sizes, and one larger than any
    // chunk: some 70 MiB in all, so the chunks for huge pages are used too.
    const size_t sizes[] = {1, 24, 64, 4096, 100000, 256 * 1024, 1 << 20, 3 << 20, 40 << 20};
    uint8_t mark = 1;
    for (int round = 0; round < 3; ++round) {
        for (size_t size : sizes) {
            if (size == (40u << 20) && round > 0) continue;
            auto* p = static_cast<uint8_t*>(region.Take(size));
            ASSERT_NE(p, nullptr);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u) << size;
            // Zeroed at both ends and in the middle; then written through.
            EXPECT_EQ(p[0], 0);
            EXPECT_EQ(p[size / 2], 0);
            EXPECT_EQ(p[size - 1], 0);
            std::memset(p, mark, size);
            blocks.push_back({p, size, mark});
            mark = static_cast<uint8_t>(mark % 250 + 1);
        }
    }
    // No block overlaps another: every one still holds its own mark.
    for (const Block& b : blocks) {
        EXPECT_EQ(b.At[0], b.Mark);
        EXPECT_EQ(b.At[b.Size - 1], b.Mark);
    }
    size_t total = 0;
    for (const Block& b : blocks) total += b.Size;
    EXPECT_GE(region.Reserved(), total);
    region.Clear();
    EXPECT_EQ(region.Reserved(), 0u);
    auto* again = static_cast<uint8_t*>(region.Take(4096));
    EXPECT_EQ(again[0], 0);
    EXPECT_EQ(again[4095], 0);
}

struct ReadThrough : ::testing::Test {
    ScriptedHost host;
    TDisassemblerLogic view;
    void SetUp() override {
        host.Lay(0x1000, {1, 3, 2, 5});
        host.Attach(view);
    }
};

TEST_F(ReadThrough, ACachedInstructionCostsNoCallAndSizeZeroCachesNothing) {
    int64_t a = 0x1001;
    String text;
    view.DisassembleAt(a, text);
    EXPECT_EQ(a, 0x1004);
    EXPECT_EQ(text, u"insn_1");
    a = 0x1001;
    view.DisassembleAt(a, text);
    EXPECT_EQ(host.Disassemble, 1);
    EXPECT_EQ(a, 0x1004);
    EXPECT_EQ(view.GetNextAddr(0x1001), 0x1004);
    EXPECT_EQ(host.Next, 0);  // the instruction is cached, so its next address is known

    host.CacheableAnswers = false;
    a = 0x1004;
    view.DisassembleAt(a, text);
    a = 0x1004;
    view.DisassembleAt(a, text);
    EXPECT_EQ(host.Disassemble, 3);  // asked again each time, the answer still used
    EXPECT_EQ(a, 0x1006);
    EXPECT_EQ(text, u"insn_2");
}

TEST_F(ReadThrough, NextAddressesAskedAloneGoToTheHostEveryTime) {
    EXPECT_EQ(view.GetNextAddr(0x1004), 0x1006);
    EXPECT_EQ(view.GetNextAddr(0x1004), 0x1006);
    EXPECT_EQ(host.Next, 2);
    EXPECT_EQ(view.GetPrevAddr(0x1006), 0x1004);
    EXPECT_EQ(view.GetPrevAddr(0x1006), 0x1004);
    EXPECT_EQ(host.Prev, 1);
}

TEST_F(ReadThrough, NoSourceAndNoAdditionalLinesAreAskedOnce) {
    int64_t first = 5;
    int32_t size = 5;
    EXPECT_EQ(view.FindSourceLine(0x1000, first, size).FileIndex, 0u);
    EXPECT_EQ(first, 0);
    view.FindSourceLine(0x1000, first, size);
    EXPECT_EQ(host.Source, 1);

    EXPECT_EQ(view.DisassembleAdditionalAt(0x1000), 0);
    EXPECT_EQ(view.DisassembleAdditionalAt(0x1000), 0);
    EXPECT_EQ(host.AdditionalAsks, 1);
    EXPECT_EQ(host.Prev, 1);  // the previous address is asked before the handler

    TDisassemblerLogic bare;  // no handler: nothing asked, nothing deposited
    EXPECT_EQ(bare.DisassembleAdditionalAt(0x1000), 0);
    EXPECT_EQ(bare.Cache().AddressCount(), 0u);
}

TEST_F(ReadThrough, ALabelAnsweredTrueButEmptyIsFalseFromTheSecondTimeOn) {
    view.OnGetLabel = [](TDisassemblerLogic*, int64_t, String& R, bool& Result) {
        R.clear();
        Result = true;
    };
    EXPECT_TRUE(view.GetLabel(0x1000));
    EXPECT_FALSE(view.GetLabel(0x1000));
    host.Labels[0x1004] = "loop";
    host.Attach(view);
    String label;
    EXPECT_TRUE(view.GetLabel(0x1004, label));
    EXPECT_TRUE(view.GetLabel(0x1004, label));
    EXPECT_EQ(label, u"loop");
    EXPECT_EQ(host.LabelAsks, 1);
    // Asked without a text, the cached answers are the same and the host is
    // not asked again; a label asked first without text is cached too.
    EXPECT_TRUE(view.GetLabel(0x1004));
    EXPECT_FALSE(view.GetLabel(0x1000));
    EXPECT_FALSE(view.GetLabel(0x1001));
    EXPECT_EQ(host.LabelAsks, 2);
    host.Labels[0x1006] = "end";
    EXPECT_TRUE(view.GetLabel(0x1006));
    EXPECT_TRUE(view.GetLabel(0x1006, label));
    EXPECT_EQ(label, u"end");
    EXPECT_EQ(host.LabelAsks, 3);
}

TEST_F(ReadThrough, AdditionalLinesCountedWithoutTheirTextAreCachedAlike) {
    host.Additional[0x1001] = "; one\n; two";
    EXPECT_EQ(view.DisassembleAdditionalAt(0x1001), 2);
    EXPECT_EQ(view.DisassembleAdditionalAt(0x1000), 0);
    EXPECT_EQ(host.AdditionalAsks, 2);
    String text;
    EXPECT_EQ(view.DisassembleAdditionalAt(0x1001, text), 2);
    EXPECT_EQ(text, u"; one\n; two");
    EXPECT_EQ(view.DisassembleAdditionalAt(0x1001), 2);
    EXPECT_EQ(view.DisassembleAdditionalAt(0x1000), 0);
    EXPECT_EQ(host.AdditionalAsks, 2);
    // The memo's reads behind them: a miss, an empty answer, content.
    TDisassemblyCache c;
    bool notEmpty = true;
    int32_t count = 9;
    EXPECT_FALSE(c.FetchLabelCode(0x10, notEmpty));
    EXPECT_FALSE(c.FetchAddlAsmCount(0x10, count));
    EXPECT_TRUE(notEmpty);
    EXPECT_EQ(count, 9);
    c.DepositLabelCode(0x10, u"");
    c.DepositAddlAsmCode(0x10, u"", 0);
    ASSERT_TRUE(c.FetchLabelCode(0x10, notEmpty));
    EXPECT_FALSE(notEmpty);
    ASSERT_TRUE(c.FetchAddlAsmCount(0x10, count));
    EXPECT_EQ(count, 0);
    c.DepositLabelCode(0x10, u"f");
    c.DepositAddlAsmCode(0x10, u"", 3);
    ASSERT_TRUE(c.FetchLabelCode(0x10, notEmpty));
    EXPECT_TRUE(notEmpty);
    ASSERT_TRUE(c.FetchAddlAsmCount(0x10, count));
    EXPECT_EQ(count, 3);
}

TEST_F(ReadThrough, SourceTextAndBreakpointsAreNeverCached) {
    host.Lines.push_back({0x1000, 0x1004, 12, "x = 1;"});
    const TCPUSourcePos pos = MakeCPUSourcePos(1, 12, 0);
    EXPECT_EQ(view.GetSourceText(pos), u"x = 1;");
    EXPECT_EQ(view.GetSourceText(pos), u"x = 1;");
    EXPECT_EQ(host.Texts, 2);
    EXPECT_EQ(view.GetFileName(pos), u"/src/prog/main.c");
    EXPECT_EQ(view.GetFileName(pos), u"/src/prog/main.c");
    EXPECT_EQ(host.FileNames, 1);
    int64_t a = 0;
    int32_t size = 0;
    view.FindLineCode(pos, a, size);
    view.FindLineCode(pos, a, size);
    EXPECT_EQ(a, 0x1000);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(host.LineCode, 1);
}

TEST(ReadThroughWithoutHost, UnansweredLinesShowTheAddressAndStepOneByte) {
    TDisassemblerLogic v;
    int64_t a = 0x1000;
    String text;
    v.DisassembleAt(a, text);
    EXPECT_EQ(text, u"00001000 ????");
    EXPECT_EQ(a, 0x1001);
    a = 0x123456789A;
    v.DisassembleAt(a, text);
    EXPECT_EQ(text, u"3456789a ????");  // the low 32 bits
    v.SetAddressSize(as64);
    a = -1;
    v.DisassembleAt(a, text);
    EXPECT_EQ(text, u"ffffffffffffffff ????");
    EXPECT_EQ(a, 0);  // wraps instead of overflowing
    EXPECT_EQ(v.GetNextAddr(0x50), 0x51);
    EXPECT_EQ(v.GetPrevAddr(0x50), 0x4F);
    EXPECT_FALSE(v.GetLabel(0x50));
    EXPECT_EQ(v.GetSourceText({}), u"");
    EXPECT_FALSE(v.IsBreakpoint(0x50));
}

}  // namespace
