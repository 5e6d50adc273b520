// The byte streams the hash tables persist through.
#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

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
