// The byte streams the hash tables persist through.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <unistd.h>
#include <string>
#include <vector>

#include "foundation/Streams.h"

using namespace ide;

TEST(MemoryStream, ReadsWritesSeeksAndRefusesShortReads) {
    TMemoryStream s;
    s.WriteBuffer("abcdef", 6);
    EXPECT_EQ(s.GetSize(), 6);
    EXPECT_EQ(s.GetPosition(), 6);
    s.SetPosition(2);
    s.WriteBuffer("XY", 2);  // overwrite in place
    EXPECT_EQ(s.GetSize(), 6);
    EXPECT_EQ(s.Seek(-1, TSeekOrigin::soEnd), 5);
    char buf[8] = {};
    EXPECT_EQ(s.Read(buf, 8), 1);  // a plain read takes what is there
    EXPECT_EQ(buf[0], 'f');
    EXPECT_EQ(s.Read(buf, 8), 0);
    s.SetPosition(0);
    s.ReadBuffer(buf, 6);
    EXPECT_EQ(std::string(buf, 6), "abXYef");
    s.SetPosition(4);
    try {
        s.ReadBuffer(buf, 3);
        ADD_FAILURE();
    } catch (const EReadError& e) {
        EXPECT_STREQ(e.what(), "Stream read error");
    }
    s.SetSize(3);
    EXPECT_EQ(s.GetPosition(), 3);
    EXPECT_EQ(s.GetSize(), 3);
}

TEST(MemoryStream, GrowsKeepingItsBytesAndZeroFillsWhatNoWriteCovered) {
    TMemoryStream s;
    std::vector<uint8_t> want;
    // Many small writes across several growths of the block.
    for (int i = 0; i < 100000; ++i) {
        const uint8_t b[3] = {uint8_t(i), uint8_t(i >> 8), uint8_t(i * 7)};
        s.WriteBuffer(b, 3);
        want.insert(want.end(), b, b + 3);
    }
    EXPECT_EQ(s.GetSize(), int64_t(want.size()));
    EXPECT_EQ(s.Bytes(), want);
    // A write past the end leaves zeros in the gap.
    s.Seek(5, TSeekOrigin::soEnd);
    s.WriteBuffer("z", 1);
    want.insert(want.end(), {0, 0, 0, 0, 0, 'z'});
    EXPECT_EQ(s.Bytes(), want);
    // Shrinking and growing again: the regrown bytes are zero, not the old ones.
    s.SetSize(10);
    s.SetSize(14);
    want.resize(10);
    want.resize(14, 0);
    EXPECT_EQ(s.Bytes(), want);
    // A copy is its own.
    TMemoryStream copy(s);
    copy.SetPosition(0);
    copy.WriteBuffer("Q", 1);
    EXPECT_EQ(s.Bytes(), want);
    EXPECT_EQ(copy.Bytes()[0], 'Q');
    EXPECT_EQ(copy.GetSize(), 14);
    s.Clear();
    EXPECT_EQ(s.GetSize(), 0);
    EXPECT_TRUE(s.Bytes().empty());
    s.WriteBuffer("ab", 2);
    EXPECT_EQ(s.Bytes(), (std::vector<uint8_t>{'a', 'b'}));
}

TEST(MemoryStream, WritesInPlaceBecomeContentOnlyWhenCommitted) {
    TMemoryStream s;
    s.WriteBuffer("abcd", 4);
    // Room across the switch from a heap block to a mapping (4 MiB): the
    // content moves along, the prepared bytes are not content yet.
    const int64_t end = int64_t(6) << 20;
    uint8_t* p = s.PrepareWrite(end);
    EXPECT_EQ(s.GetSize(), 4);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(p), 4), "abcd");
    std::fill(p + 4, p + end, uint8_t('x'));
    p[2] = 'C';  // over content: it is content at once
    s.CommitWrite(1000);
    EXPECT_EQ(s.GetSize(), 1000);
    EXPECT_EQ(s.GetPosition(), 1000);
    EXPECT_EQ(s.Bytes()[2], 'C');
    EXPECT_EQ(s.Bytes()[999], 'x');
    s.CommitWrite(10);  // in the middle: the size stays, the position moves
    EXPECT_EQ(s.GetSize(), 1000);
    EXPECT_EQ(s.GetPosition(), 10);
    s.CommitWrite(end);
    EXPECT_EQ(s.GetSize(), end);
    EXPECT_EQ(s.Bytes()[size_t(end - 1)], 'x');
    // Nothing can be made content beyond the room.
    EXPECT_THROW(s.CommitWrite(int64_t(1) << 40), EWriteError);
    EXPECT_EQ(s.GetSize(), end);
}

// Blocks of megabytes live in mappings of their own that grow in place or
// move: every growth, copy and cut must keep the bytes a plain vector would.
TEST(MemoryStream, BlocksOfMegabytesKeepTheirBytesAcrossGrowthCopiesAndCuts) {
    TMemoryStream s;
    std::vector<uint8_t> want;
    std::vector<uint8_t> piece(4099);
    for (int i = 0; want.size() < (size_t(9) << 20); ++i) {
        for (size_t k = 0; k < piece.size(); ++k) piece[k] = uint8_t(i * 31 + k * 7);
        s.WriteBuffer(piece.data(), int64_t(piece.size()));
        want.insert(want.end(), piece.begin(), piece.end());
    }
    ASSERT_EQ(s.GetSize(), int64_t(want.size()));
    EXPECT_TRUE(s.Bytes() == want);

    // Another mapping elsewhere, so that the next growth may have to move.
    TMemoryStream other;
    other.SetSize(int64_t(6) << 20);
    EXPECT_EQ(other.Memory()[(6 << 20) - 1], 0);

    // A jump far past the end: the gap reads as zeros, the old bytes stay.
    const int64_t gapEnd = int64_t(want.size()) + (int64_t(5) << 20);
    s.SetPosition(gapEnd);
    s.WriteBuffer("end", 3);
    want.resize(size_t(gapEnd), 0);
    want.insert(want.end(), {'e', 'n', 'd'});
    EXPECT_TRUE(s.Bytes() == want);

    // Copies of a mapped stream, and a small one assigned over it.
    TMemoryStream copy(s);
    EXPECT_EQ(copy.GetPosition(), s.GetPosition());
    copy.SetPosition(100);
    copy.WriteBuffer("X", 1);
    EXPECT_EQ(s.Memory()[100], want[100]);
    TMemoryStream small;
    small.WriteBuffer("ab", 2);
    copy = small;
    EXPECT_EQ(copy.Bytes(), (std::vector<uint8_t>{'a', 'b'}));
    small = s;
    EXPECT_TRUE(small.Bytes() == want);

    // A cut and a regrowth: the regrown bytes are zero, not the old ones.
    s.SetSize(1000);
    s.SetSize(int64_t(12) << 20);
    EXPECT_TRUE(std::equal(want.begin(), want.begin() + 1000, s.Memory()));
    EXPECT_TRUE(std::all_of(s.Memory() + 1000, s.Memory() + s.GetSize(), [](uint8_t b) { return b == 0; }));
    s.Clear();
    EXPECT_EQ(s.GetSize(), 0);
    s.WriteBuffer("c", 1);
    EXPECT_EQ(s.Bytes(), (std::vector<uint8_t>{'c'}));
}

TEST(FileStream, CreatesReadsAndReportsMissingFiles) {
    const auto path = std::filesystem::temp_directory_path() / ("ide_stream_" + std::to_string(::getpid()) + ".bin");
    const String name = Str(path.string());
    {
        TFileStream out(name, fmCreate);
        out.WriteBuffer("0123456789", 10);
        EXPECT_EQ(out.GetSize(), 10);
    }
    {
        TFileStream in(name, fmOpenRead);
        EXPECT_EQ(in.GetSize(), 10);
        in.SetPosition(7);
        char buf[4] = {};
        EXPECT_THROW(in.ReadBuffer(buf, 4), EReadError);
        in.SetPosition(7);
        in.ReadBuffer(buf, 3);
        EXPECT_EQ(std::string(buf, 3), "789");
        EXPECT_EQ(in.Write("x", 1), 0);  // read-only
        EXPECT_THROW(in.WriteBuffer("x", 1), EWriteError);
    }
    std::filesystem::remove(path);
    try {
        TFileStream missing(name, fmOpenRead);
        ADD_FAILURE();
    } catch (const EFOpenError& e) {
        EXPECT_EQ(std::string(e.what()).rfind("Cannot open file \"" + path.string() + "\". ", 0), 0u) << e.what();
    }
    EXPECT_THROW(TFileStream(Str("/nonexistent-dir/x/y.bin"), fmCreate), EFCreateError);
}
