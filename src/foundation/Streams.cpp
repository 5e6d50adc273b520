#include "foundation/Streams.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ide {

// ---------------------------------------------------------------- TStream

int64_t TStream::GetSize() {
    const int64_t pos = Seek(0, TSeekOrigin::soCurrent);
    const int64_t size = Seek(0, TSeekOrigin::soEnd);
    Seek(pos, TSeekOrigin::soBeginning);
    return size;
}

void TStream::ReadBuffer(void* Buffer, int64_t Count) {
    if (Count < 0) throw EReadError("Stream read error");
    auto* p = static_cast<uint8_t*>(Buffer);
    while (Count > 0) {
        const int64_t n = Read(p, Count);
        if (n <= 0) throw EReadError("Stream read error");
        p += n;
        Count -= n;
    }
}

void TStream::WriteBuffer(const void* Buffer, int64_t Count) {
    if (Count < 0) throw EWriteError("Stream write error");
    auto* p = static_cast<const uint8_t*>(Buffer);
    while (Count > 0) {
        const int64_t n = Write(p, Count);
        if (n <= 0) throw EWriteError("Stream write error");
        p += n;
        Count -= n;
    }
}

int64_t TStream::CopyFrom(TStream& Source, int64_t Count) {
    if (Count == 0) {
        Source.SetPosition(0);
        Count = Source.GetSize();
    }
    const int64_t total = Count;
    uint8_t buf[64 * 1024];
    while (Count > 0) {
        const int64_t n = std::min<int64_t>(Count, sizeof buf);
        Source.ReadBuffer(buf, n);
        WriteBuffer(buf, n);
        Count -= n;
    }
    return total;
}

// ---------------------------------------------------------- TMemoryStream

int64_t TMemoryStream::Read(void* Buffer, int64_t Count) {
    const int64_t size = static_cast<int64_t>(FData.size());
    if (Count <= 0 || FPosition >= size) return 0;
    const int64_t n = std::min(Count, size - FPosition);
    std::memcpy(Buffer, FData.data() + FPosition, static_cast<size_t>(n));
    FPosition += n;
    return n;
}

int64_t TMemoryStream::Write(const void* Buffer, int64_t Count) {
    if (Count <= 0 || FPosition < 0) return 0;
    const int64_t end = FPosition + Count;
    if (end > static_cast<int64_t>(FData.size())) FData.resize(static_cast<size_t>(end));
    std::memcpy(FData.data() + FPosition, Buffer, static_cast<size_t>(Count));
    FPosition = end;
    return Count;
}

int64_t TMemoryStream::Seek(int64_t Offset, TSeekOrigin Origin) {
    switch (Origin) {
        case TSeekOrigin::soBeginning: FPosition = Offset; break;
        case TSeekOrigin::soCurrent: FPosition += Offset; break;
        case TSeekOrigin::soEnd: FPosition = static_cast<int64_t>(FData.size()) + Offset; break;
    }
    if (FPosition < 0) FPosition = 0;
    return FPosition;
}

void TMemoryStream::SetSize(int64_t NewSize) {
    if (NewSize < 0) NewSize = 0;
    FData.resize(static_cast<size_t>(NewSize));
    if (FPosition > NewSize) FPosition = NewSize;
}

void TMemoryStream::Clear() {
    FData.clear();
    FPosition = 0;
}

// ------------------------------------------------------------ TFileStream

TFileStream::TFileStream(const String& FileName, uint16_t Mode) : FFileName(FileName) {
    const std::string path = Utf8(FileName);
    if (Mode == fmCreate) {
        FHandle = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (FHandle < 0)
            throw EFCreateError("Cannot create file \"" + path + "\". " + std::strerror(errno));
    } else {
        int flags = O_RDONLY;
        if ((Mode & 3) == fmOpenWrite) flags = O_WRONLY;
        else if ((Mode & 3) == fmOpenReadWrite) flags = O_RDWR;
        FHandle = ::open(path.c_str(), flags | O_CLOEXEC);
        if (FHandle < 0) throw EFOpenError("Cannot open file \"" + path + "\". " + std::strerror(errno));
    }
}

TFileStream::~TFileStream() {
    if (FHandle >= 0) ::close(FHandle);
}

int64_t TFileStream::Read(void* Buffer, int64_t Count) {
    if (Count <= 0) return 0;
    for (;;) {
        const ssize_t n = ::read(FHandle, Buffer, static_cast<size_t>(Count));
        if (n < 0 && errno == EINTR) continue;
        return n < 0 ? 0 : n;
    }
}

int64_t TFileStream::Write(const void* Buffer, int64_t Count) {
    if (Count <= 0) return 0;
    for (;;) {
        const ssize_t n = ::write(FHandle, Buffer, static_cast<size_t>(Count));
        if (n < 0 && errno == EINTR) continue;
        return n < 0 ? 0 : n;
    }
}

int64_t TFileStream::Seek(int64_t Offset, TSeekOrigin Origin) {
    int whence = SEEK_SET;
    if (Origin == TSeekOrigin::soCurrent) whence = SEEK_CUR;
    else if (Origin == TSeekOrigin::soEnd) whence = SEEK_END;
    const off_t r = ::lseek(FHandle, static_cast<off_t>(Offset), whence);
    return r < 0 ? -1 : static_cast<int64_t>(r);
}

int64_t TFileStream::GetSize() {
    struct stat st {};
    if (::fstat(FHandle, &st) != 0) return TStream::GetSize();
    return static_cast<int64_t>(st.st_size);
}

void TFileStream::SetSize(int64_t NewSize) {
    if (::ftruncate(FHandle, static_cast<off_t>(NewSize)) != 0)
        throw EStreamError(std::string("Stream size change failed. ") + std::strerror(errno));
}

}  // namespace ide
