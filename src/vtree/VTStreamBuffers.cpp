#include "vtree/VTStreamBuffers.h"

#include <algorithm>
#include <cstring>

namespace ide {

namespace {

int64_t SeekTo(int64_t Position, int64_t Size, int64_t Offset, TSeekOrigin Origin) {
    switch (Origin) {
        case TSeekOrigin::soBeginning: return Offset;
        case TSeekOrigin::soCurrent: return Position + Offset;
        case TSeekOrigin::soEnd: return Size + Offset;
    }
    return Position;
}

}  // namespace

// ---- Writing -----------------------------------------------------------------

TStreamWriteBuffer::TStreamWriteBuffer(TStream& Target)
    : FTarget(Target),
      FMemory(dynamic_cast<TMemoryStream*>(&Target)),
      FBase(Target.GetPosition()),
      FPosition(FBase),
      FSize(Target.GetSize()) {
    // A memory stream positioned past its end fills the gap itself.
    if (FMemory && FBase > FSize) FMemory = nullptr;
    if (!FMemory) MakeRoom(4096);  // grows with the writes, up to about two blocks
}

void TStreamWriteBuffer::MakeRoom(int64_t Bytes) {
    if (Bytes <= FRoom) return;
    if (FMemory) {
        // Growth may move the stream's memory, which only keeps its
        // content: nothing may be kept beyond it then.
        Flush();
        // Kept bytes past the end: the gap reads as zeros, as the stream
        // fills it when written there.
        if (FBase > FMemory->GetSize()) FMemory->SetSize(FBase);
        const int64_t room = std::max(Bytes, 2 * kBlock);
        FBuf = FMemory->PrepareWrite(FBase + room) + FBase;
        FRoom = room;
    } else {
        FOwn.resize(size_t(std::max(Bytes, int64_t(FOwn.size()) * 2)));
        FBuf = FOwn.data();
        FRoom = int64_t(FOwn.size());
    }
}

void TStreamWriteBuffer::Detach() noexcept {
    if (!FMemory) return;
    FBuf = nullptr;
    FRoom = 0;
}

int64_t TStreamWriteBuffer::Write(const void* Buffer, int64_t Count) {
    if (Count <= 0 || FPosition < 0) return 0;
    if (FPosition == FBase + FLength && FLength + Count <= FRoom) {
        Append(Buffer, Count);  // at the end of the kept bytes, with room
        return Count;
    }
    const auto* p = static_cast<const uint8_t*>(Buffer);
    int64_t left = Count;
    if (FPosition < FBase) {
        // A patch of bytes already flushed.
        const int64_t direct = std::min(left, FBase - FPosition);
        if (FMemory && FPosition + direct <= FMemory->GetSize()) {
            std::memcpy(FMemory->Memory() + FPosition, p, size_t(direct));
        } else {
            // Past the stream's end (the kept bytes start past it after a
            // read or a client's seek there): the stream grows as it would.
            FTarget.SetPosition(FPosition);
            FTarget.WriteBuffer(p, direct);
            Detach();
        }
        FPosition += direct;
        FSize = std::max(FSize, FPosition);
        p += direct;
        left -= direct;
        if (left == 0) return Count;
    }
    if (FPosition > FBase + FLength) {
        // A jump past the kept bytes: the stream fills the gap as it would.
        Flush();
        if (FMemory) {
            if (FPosition > FMemory->GetSize()) FMemory->SetSize(FPosition);
            Detach();
        }
        FBase = FPosition;
    }
    MakeRoom(FPosition - FBase + left);
    const int64_t offset = FPosition - FBase;
    const int64_t end = offset + left;
    std::memcpy(FBuf + offset, p, size_t(left));
    FLength = std::max(FLength, end);
    FPosition += left;
    FSize = std::max(FSize, FPosition);
    return Count;
}

void TStreamWriteBuffer::PatchU32(int64_t Position, uint32_t Value) {
    uint8_t b[4];
    for (int i = 0; i < 4; ++i) b[i] = uint8_t(Value >> (8 * i));
    if (Position >= FBase && Position + 4 <= FBase + FLength) {
        std::memcpy(FBuf + (Position - FBase), b, 4);
        return;
    }
    const int64_t back = FPosition;
    FPosition = Position;
    WriteBuffer(b, 4);
    FPosition = back;
}

int64_t TStreamWriteBuffer::Read(void* Buffer, int64_t Count) {
    Flush();
    FTarget.SetPosition(FPosition);
    const int64_t n = FTarget.Read(Buffer, Count);
    FPosition = FTarget.GetPosition();
    FBase = FPosition;
    Detach();
    return n;
}

int64_t TStreamWriteBuffer::Seek(int64_t Offset, TSeekOrigin Origin) {
    FPosition = SeekTo(FPosition, FSize, Offset, Origin);
    return FPosition;
}

void TStreamWriteBuffer::SetSize(int64_t NewSize) {
    if (NewSize < 0) NewSize = 0;
    if (NewSize < FBase) {
        Flush();
        FTarget.SetSize(NewSize);
        FBase = NewSize;
        Detach();
    } else if (NewSize - FBase < FLength) {
        FLength = NewSize - FBase;
    } else if (NewSize > FSize) {
        // Growth: the stream fills with zeros.
        Flush();
        FTarget.SetSize(NewSize);
        Detach();
    }
    FSize = NewSize;
}

void TStreamWriteBuffer::Flush() {
    if (FLength > 0) {
        if (FMemory) {
            FMemory->CommitWrite(FBase + FLength);
            FBuf += FLength;
            FRoom -= FLength;
        } else {
            FTarget.SetPosition(FBase);
            FTarget.WriteBuffer(FBuf, FLength);
        }
        FBase += FLength;
        FLength = 0;
    }
    // A cut made while the bytes were kept here.
    if (FTarget.GetSize() > FSize) FTarget.SetSize(FSize);
}

void TStreamWriteBuffer::Finish() {
    Flush();
    FTarget.SetPosition(FPosition);
    FBase = FPosition;
    Detach();
}

TStream& TStreamWriteBuffer::Direct() {
    Finish();
    return FTarget;
}

void TStreamWriteBuffer::EndDirect() {
    FPosition = FTarget.GetPosition();
    FSize = FTarget.GetSize();
    FBase = FPosition;
    Detach();
}

// ---- Reading -------------------------------------------------------------------

TStreamReadBuffer::TStreamReadBuffer(TStream& Target)
    : FTarget(Target),
      FMemory(dynamic_cast<TMemoryStream*>(&Target)),
      FPosition(Target.GetPosition()),
      FSize(Target.GetSize()) {
    if (!FMemory) FOwn.resize(size_t(kBlock));
    Attach();
}

TStreamReadBuffer::~TStreamReadBuffer() {
    if (FFinished) return;
    try {
        FTarget.SetPosition(FPosition);
    } catch (...) {
        // Unwinding from a failed read already: the stream stays where it is.
    }
}

void TStreamReadBuffer::Attach() {
    if (FMemory) {
        FData = FMemory->Memory();
        FBase = 0;
        FLength = FMemory->GetSize();
    } else {
        FData = FOwn.data();
        FBase = FPosition;
        FLength = 0;
    }
}

int64_t TStreamReadBuffer::Read(void* Buffer, int64_t Count) {
    if (Count <= 0 || FPosition < 0) return 0;
    auto* p = static_cast<uint8_t*>(Buffer);
    int64_t done = 0;
    while (Count > 0) {
        if (FPosition >= FBase && FPosition < FBase + FLength) {
            const int64_t n = std::min(Count, FBase + FLength - FPosition);
            std::memcpy(p, FData + (FPosition - FBase), size_t(n));
            p += n;
            done += n;
            Count -= n;
            FPosition += n;
            continue;
        }
        if (FMemory) break;  // past the end of the bytes
        FTarget.SetPosition(FPosition);
        if (Count >= kBlock) {
            const int64_t n = FTarget.Read(p, Count);
            if (n <= 0) break;
            done += n;
            FPosition += n;
            break;
        }
        FBase = FPosition;
        FLength = FTarget.Read(FOwn.data(), kBlock);
        if (FLength <= 0) {
            FLength = 0;
            break;
        }
    }
    return done;
}

int64_t TStreamReadBuffer::Seek(int64_t Offset, TSeekOrigin Origin) {
    FPosition = SeekTo(FPosition, FSize, Offset, Origin);
    return FPosition;
}

int64_t TStreamReadBuffer::Write(const void* Buffer, int64_t Count) {
    TStream& s = Direct();
    const int64_t n = s.Write(Buffer, Count);
    EndDirect();
    return n;
}

void TStreamReadBuffer::SetSize(int64_t NewSize) {
    Direct().SetSize(NewSize);
    EndDirect();
}

void TStreamReadBuffer::Finish() {
    FTarget.SetPosition(FPosition);
    FFinished = true;
}

TStream& TStreamReadBuffer::Direct() {
    FTarget.SetPosition(FPosition);
    return FTarget;
}

void TStreamReadBuffer::EndDirect() {
    FPosition = FTarget.GetPosition();
    FSize = FTarget.GetSize();
    Attach();
}

}  // namespace ide
