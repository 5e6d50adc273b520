#include "foundation/Streams.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <fcntl.h>
#include <sys/mman.h>
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

namespace {

constexpr int64_t kHugePage = int64_t(2) << 20;
// Blocks from this size on are mapped: with huge pages, faulting in a
// stream of hundreds of megabytes costs a fault per 2 MB instead of per 4 KB.
constexpr int64_t kMapThreshold = int64_t(4) << 20;

// A fresh zero-filled mapping of Bytes (a multiple of kHugePage) that starts
// on a huge-page boundary.
uint8_t* MapBlock(int64_t Bytes) {
    const size_t span = size_t(Bytes + kHugePage);
    void* p = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    const auto raw = reinterpret_cast<uintptr_t>(p);
    const uintptr_t aligned = (raw + uintptr_t(kHugePage) - 1) & ~uintptr_t(kHugePage - 1);
    if (aligned > raw) munmap(p, aligned - raw);
    const uintptr_t end = raw + span;
    const uintptr_t blockEnd = aligned + uintptr_t(Bytes);
    if (end > blockEnd) munmap(reinterpret_cast<void*>(blockEnd), end - blockEnd);
    madvise(reinterpret_cast<void*>(aligned), size_t(Bytes), MADV_HUGEPAGE);
    return reinterpret_cast<uint8_t*>(aligned);
}

}  // namespace

TMemoryStream::~TMemoryStream() { Release(); }

void TMemoryStream::Release() noexcept {
    if (FMapped)
        munmap(FData, size_t(FCapacity));
    else
        std::free(FData);
    FData = nullptr;
    FCapacity = 0;
    FMapped = false;
}

TMemoryStream::TMemoryStream(const TMemoryStream& Other) : TStream(Other) { *this = Other; }

TMemoryStream& TMemoryStream::operator=(const TMemoryStream& Other) {
    if (this == &Other) return *this;
    Reserve(Other.FSize);
    if (Other.FSize > 0) std::memcpy(FData, Other.FData, static_cast<size_t>(Other.FSize));
    FSize = Other.FSize;
    FPosition = Other.FPosition;
    return *this;
}

void TMemoryStream::Reserve(int64_t NewSize) {
    if (NewSize <= FCapacity) return;
    int64_t capacity = std::max<int64_t>({NewSize, FCapacity * 2, 64});
    if (capacity < kMapThreshold) {
        auto* p = static_cast<uint8_t*>(std::realloc(FData, static_cast<size_t>(capacity)));
        if (!p) throw std::bad_alloc();
        FData = p;
        FCapacity = capacity;
        return;
    }
    capacity = (capacity + kHugePage - 1) & ~(kHugePage - 1);
    if (!FMapped) {
        uint8_t* fresh = MapBlock(capacity);
        if (FSize > 0) std::memcpy(fresh, FData, size_t(FSize));
        std::free(FData);
        FData = fresh;
        FCapacity = capacity;
        FMapped = true;
        return;
    }
    // Grow in place when the addresses behind are free, else move the pages
    // (not their bytes) to a fresh aligned range.
    void* grown = mremap(FData, size_t(FCapacity), size_t(capacity), 0);
    if (grown == MAP_FAILED) {
        uint8_t* fresh = MapBlock(capacity);
        grown = mremap(FData, size_t(FCapacity), size_t(capacity), MREMAP_MAYMOVE | MREMAP_FIXED, fresh);
        if (grown == MAP_FAILED) {
            std::memcpy(fresh, FData, size_t(FSize));
            munmap(FData, size_t(FCapacity));
            grown = fresh;
        }
    }
    FData = static_cast<uint8_t*>(grown);
    FCapacity = capacity;
    madvise(FData, size_t(FCapacity), MADV_HUGEPAGE);
}

int64_t TMemoryStream::Read(void* Buffer, int64_t Count) {
    if (Count <= 0 || FPosition >= FSize) return 0;
    const int64_t n = std::min(Count, FSize - FPosition);
    std::memcpy(Buffer, FData + FPosition, static_cast<size_t>(n));
    FPosition += n;
    return n;
}

int64_t TMemoryStream::Write(const void* Buffer, int64_t Count) {
    if (Count <= 0 || FPosition < 0) return 0;
    const int64_t end = FPosition + Count;
    if (end > FSize) {
        Reserve(end);
        if (FPosition > FSize) std::memset(FData + FSize, 0, static_cast<size_t>(FPosition - FSize));
        FSize = end;
    }
    std::memcpy(FData + FPosition, Buffer, static_cast<size_t>(Count));
    FPosition = end;
    return Count;
}

int64_t TMemoryStream::Seek(int64_t Offset, TSeekOrigin Origin) {
    switch (Origin) {
        case TSeekOrigin::soBeginning: FPosition = Offset; break;
        case TSeekOrigin::soCurrent: FPosition += Offset; break;
        case TSeekOrigin::soEnd: FPosition = FSize + Offset; break;
    }
    if (FPosition < 0) FPosition = 0;
    return FPosition;
}

void TMemoryStream::SetSize(int64_t NewSize) {
    if (NewSize < 0) NewSize = 0;
    if (NewSize > FSize) {
        Reserve(NewSize);
        std::memset(FData + FSize, 0, static_cast<size_t>(NewSize - FSize));
    }
    FSize = NewSize;
    if (FPosition > NewSize) FPosition = NewSize;
}

void TMemoryStream::Clear() {
    Release();
    FSize = 0;
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
