// Byte streams: the small stream abstraction the library's persisted formats
// are read from and written to (the string stream of the hash tables, and
// later the tree and header streams).
//
// TStream is abstract over Read, Write, Seek and Size. ReadBuffer and
// WriteBuffer are the all-or-nothing forms: a short read raises EReadError
// ("Stream read error"), a short write EWriteError ("Stream write error").
// TMemoryStream keeps its bytes in memory; TFileStream works on a file
// through POSIX descriptors and raises EFCreateError / EFOpenError with the
// file name and the system's reason when the file can't be created or opened.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EFilerError, EStreamError)
IDE_DECLARE_EXCEPTION(EReadError, EFilerError)
IDE_DECLARE_EXCEPTION(EWriteError, EFilerError)
IDE_DECLARE_EXCEPTION(EFCreateError, EStreamError)
IDE_DECLARE_EXCEPTION(EFOpenError, EStreamError)

enum class TSeekOrigin { soBeginning, soCurrent, soEnd };

class TStream : public TObject {
public:
    ~TStream() override = default;

    // Reads at most Count bytes; answers how many were read (0 at the end).
    virtual int64_t Read(void* Buffer, int64_t Count) = 0;
    // Writes at most Count bytes; answers how many were written.
    virtual int64_t Write(const void* Buffer, int64_t Count) = 0;
    // Moves the position and answers the new one.
    virtual int64_t Seek(int64_t Offset, TSeekOrigin Origin) = 0;

    // The size in bytes. The default seeks to the end and back.
    virtual int64_t GetSize();
    virtual void SetSize(int64_t NewSize) = 0;

    int64_t GetPosition() { return Seek(0, TSeekOrigin::soCurrent); }
    void SetPosition(int64_t Pos) { Seek(Pos, TSeekOrigin::soBeginning); }

    // Exactly Count bytes or EReadError / EWriteError.
    void ReadBuffer(void* Buffer, int64_t Count);
    void WriteBuffer(const void* Buffer, int64_t Count);

    // Copies Count bytes (all of Source from its start when Count is 0).
    int64_t CopyFrom(TStream& Source, int64_t Count);
};

// TMemoryStream grows its block by at least doubling it. A small block is
// reallocated; a block of megabytes is a mapping of its own, which grows in
// place or has its pages moved, never its bytes copied, and whose pages are
// faulted in a range at a time just ahead of the writes. Bytes that a write
// does not cover (a seek past the end, SetSize) read as zero.
class TMemoryStream : public TStream {
public:
    TMemoryStream() = default;
    ~TMemoryStream() override;
    TMemoryStream(const TMemoryStream& Other);
    TMemoryStream& operator=(const TMemoryStream& Other);

    int64_t Read(void* Buffer, int64_t Count) override;
    int64_t Write(const void* Buffer, int64_t Count) override;
    int64_t Seek(int64_t Offset, TSeekOrigin Origin) override;
    int64_t GetSize() override { return FSize; }
    void SetSize(int64_t NewSize) override;

    void Clear();
    const uint8_t* Memory() const noexcept { return FData; }
    uint8_t* Memory() noexcept { return FData; }
    // A copy of the whole content (tests and clipboard code).
    std::vector<uint8_t> Bytes() const { return std::vector<uint8_t>(FData, FData + FSize); }

    // Writing in place, for a writer that fills the stream itself instead
    // of handing it copies. PrepareWrite makes room up to End and answers
    // the bytes (valid until the stream changes again); from the size on
    // they are undefined and not content. CommitWrite(End) makes the bytes
    // written up to End content: the size grows to End if it was smaller,
    // and the position moves to End.
    uint8_t* PrepareWrite(int64_t End);
    void CommitWrite(int64_t End);

private:
    // Makes room for NewSize bytes; the bytes beyond FSize are undefined.
    void Reserve(int64_t NewSize);
    void Populate(int64_t End);
    void Release() noexcept;

    uint8_t* FData = nullptr;
    int64_t FSize = 0;
    int64_t FCapacity = 0;
    int64_t FPosition = 0;
    int64_t FPopulated = 0;  // of a mapping: the bytes faulted in already
    bool FMapped = false;    // FData is a mapping, not a heap block
};

// File open modes, as the run-time names them. fmCreate makes a new file
// (or truncates an existing one) opened for reading and writing.
enum : uint16_t {
    fmOpenRead = 0x0000,
    fmOpenWrite = 0x0001,
    fmOpenReadWrite = 0x0002,
    fmCreate = 0xFF00,
};

class TFileStream : public TStream {
public:
    // The file name is the library's text; it reaches the system as UTF-8.
    TFileStream(const String& FileName, uint16_t Mode);
    ~TFileStream() override;
    TFileStream(const TFileStream&) = delete;
    TFileStream& operator=(const TFileStream&) = delete;

    int64_t Read(void* Buffer, int64_t Count) override;
    int64_t Write(const void* Buffer, int64_t Count) override;
    int64_t Seek(int64_t Offset, TSeekOrigin Origin) override;
    int64_t GetSize() override;
    void SetSize(int64_t NewSize) override;

    const String& FileName() const noexcept { return FFileName; }

private:
    String FFileName;
    int FHandle = -1;
};

}  // namespace ide
