// The buffers between the tree stream's writer and reader and the stream
// they work on.
//
// The tree stream is millions of small pieces: a node chunk header, a base
// chunk, a caption, and size fields patched after the fact. Sent one by one
// to a TStream, every piece costs virtual calls and a growth check of the
// stream; the buffers collect them and meet the stream in blocks.
//
// Both are TStream themselves, in the stream's coordinates (positions and
// sizes are those the stream would have), so that the chunk writers and
// readers of descendants work on them unchanged. Client handlers
// (OnSaveNode, OnLoadNode) get the stream itself: Direct() brings the stream
// up to date and positions it, EndDirect() takes up where the client left it.
//
// TStreamWriteBuffer keeps the bytes written since the last flush. A write
// (or a size patch) before that point goes straight to the stream; a size
// cut below the kept bytes cuts the stream. Flush() happens at block size
// when the writer asks (MaybeFlush, between nodes), before Direct(), and at
// the end (Finish); the stream is then at the writer's position. On a
// TMemoryStream the kept bytes are written where they belong, in the
// stream's own memory, and a flush only makes them content: nothing is
// copied twice.
//
// TStreamReadBuffer reads ahead in blocks, or reads a TMemoryStream's bytes
// where they lie. Finish() (or the destructor, after a failure) leaves the
// stream at the position the reader reached.
//
// Thread: one at a time.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "foundation/Streams.h"

namespace ide {

class TStreamWriteBuffer final : public TStream {
public:
    explicit TStreamWriteBuffer(TStream& Target);
    ~TStreamWriteBuffer() override = default;
    TStreamWriteBuffer(const TStreamWriteBuffer&) = delete;
    TStreamWriteBuffer& operator=(const TStreamWriteBuffer&) = delete;

    int64_t Read(void* Buffer, int64_t Count) override;
    int64_t Write(const void* Buffer, int64_t Count) override;
    int64_t Seek(int64_t Offset, TSeekOrigin Origin) override;
    int64_t GetSize() override { return FSize; }
    void SetSize(int64_t NewSize) override;

    // Write() without the virtual call, for the writer's own pieces.
    void Append(const void* Buffer, int64_t Count) {
        if (FPosition == FBase + FLength && FLength + Count <= FRoom) {
            std::memcpy(FBuf + FLength, Buffer, size_t(Count));
            FLength += Count;
            FPosition += Count;
            if (FPosition > FSize) FSize = FPosition;
        } else {
            WriteBuffer(Buffer, Count);
        }
    }
    int64_t Position() const noexcept { return FPosition; }
    // Writes a little-endian size field at Position, leaving the position.
    void PatchU32(int64_t Position, uint32_t Value);
    // Flushes once the kept bytes reach the block size.
    void MaybeFlush() {
        if (FLength >= kBlock) Flush();
    }
    // Writes the kept bytes out and leaves the stream at the position.
    void Finish();
    TStream& Direct();
    void EndDirect();

    static constexpr int64_t kBlock = int64_t(1) << 18;

private:
    void Flush();
    // Room for Bytes kept bytes from FBase on (no kept bytes on a memory
    // stream, whose memory may move).
    void MakeRoom(int64_t Bytes);
    // After the stream was used directly: the kept room is found again.
    void Detach() noexcept;

    TStream& FTarget;
    TMemoryStream* FMemory;      // the stream, when it is written in place
    std::vector<uint8_t> FOwn;   // the kept bytes otherwise
    uint8_t* FBuf = nullptr;     // the bytes from FBase on
    int64_t FRoom = 0;           // how many of them there is room for
    int64_t FLength = 0;         // how many are kept (not yet flushed)
    int64_t FBase;               // the stream position of FBuf[0]
    int64_t FPosition;           // in the stream's coordinates
    int64_t FSize;               // the size the stream has once flushed
};

class TStreamReadBuffer final : public TStream {
public:
    explicit TStreamReadBuffer(TStream& Target);
    ~TStreamReadBuffer() override;
    TStreamReadBuffer(const TStreamReadBuffer&) = delete;
    TStreamReadBuffer& operator=(const TStreamReadBuffer&) = delete;

    int64_t Read(void* Buffer, int64_t Count) override;
    int64_t Write(const void* Buffer, int64_t Count) override;
    int64_t Seek(int64_t Offset, TSeekOrigin Origin) override;
    int64_t GetSize() override { return FSize; }
    void SetSize(int64_t NewSize) override;

    // Read(), GetPosition() and friends without the virtual calls, for the
    // tree reader's own pieces. Take is ReadBuffer: all bytes or EReadError.
    int64_t Position() const noexcept { return FPosition; }
    int64_t Size() const noexcept { return FSize; }
    void Take(void* Buffer, int64_t Count) {
        if (FPosition >= FBase && Count >= 0 && FPosition + Count <= FBase + FLength) {
            std::memcpy(Buffer, FData + (FPosition - FBase), size_t(Count));
            FPosition += Count;
        } else {
            ReadBuffer(Buffer, Count);
        }
    }
    void MoveTo(int64_t Position) noexcept { FPosition = Position < 0 ? 0 : Position; }

    // Leaves the stream at the position reached.
    void Finish();
    TStream& Direct();
    void EndDirect();

    static constexpr int64_t kBlock = int64_t(1) << 16;

private:
    void Attach();

    TStream& FTarget;
    TMemoryStream* FMemory;       // the stream, when its bytes can be read in place
    std::vector<uint8_t> FOwn;    // read-ahead block otherwise
    const uint8_t* FData = nullptr;
    int64_t FBase = 0;            // the stream position of FData[0]
    int64_t FLength = 0;          // bytes valid at FData
    int64_t FPosition;
    int64_t FSize;
    bool FFinished = false;
};

}  // namespace ide
