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

// Blocks from this size on are mappings of their own.
constexpr int64_t kMapThreshold = int64_t(4) << 20;
constexpr int64_t kMapGranule = int64_t(2) << 20;
// How far ahead of the last byte written a mapped block is faulted in.
constexpr int64_t kPopulateAhead = int64_t(2) << 20;
constexpr int64_t kPage = 4096;

}  // namespace

TMemoryStream::~TMemoryStream() { Release(); }

void TMemoryStream::Release() noexcept {
    if (FMapped)
        munmap(FData, size_t(FCapacity));
    else
        std::free(FData);
    FData = nullptr;
    FCapacity = 0;
    FPopulated = 0;
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
    capacity = (capacity + kMapGranule - 1) & ~(kMapGranule - 1);
    if (!FMapped) {
        void* p = mmap(nullptr, size_t(capacity), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED) throw std::bad_alloc();
        if (FSize > 0) std::memcpy(p, FData, size_t(FSize));
        std::free(FData);
        FData = static_cast<uint8_t*>(p);
        FPopulated = FSize & ~(kPage - 1);
        FMapped = true;
    } else {
        // The system moves the pages if it can't grow the mapping in place.
        void* p = mremap(FData, size_t(FCapacity), size_t(capacity), MREMAP_MAYMOVE);
        if (p == MAP_FAILED) throw std::bad_alloc();
        FData = static_cast<uint8_t*>(p);
    }
    FCapacity = capacity;
}

// Faulting pages in one by one as a write reaches them costs far more on a
// virtual machine than asking for a range at once, ahead of the writes.
void TMemoryStream::Populate(int64_t End) {
    if (!FMapped || End <= FPopulated) return;
    const int64_t to = std::min(FCapacity, ((End + kPage - 1) & ~(kPage - 1)) + kPopulateAhead);
    // A refusal only means the pages come one by one.
    (void)madvise(FData + FPopulated, size_t(to - FPopulated), MADV_POPULATE_WRITE);
    FPopulated = to;
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
        PrepareWrite(end);
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
        PrepareWrite(NewSize);
        std::memset(FData + FSize, 0, static_cast<size_t>(NewSize - FSize));
    }
    FSize = NewSize;
    if (FPosition > NewSize) FPosition = NewSize;
}

uint8_t* TMemoryStream::PrepareWrite(int64_t End) {
    if (End > FSize) {
        Reserve(End);
        Populate(End);
    }
    return FData;
}

void TMemoryStream::CommitWrite(int64_t End) {
    if (End < 0 || End > FCapacity) throw EWriteError("Stream write error");
    if (End > FSize) FSize = End;
    FPosition = End;
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
