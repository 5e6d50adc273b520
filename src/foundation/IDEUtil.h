// Event object bases, the exception chain, the foundation's exceptions and the
// small value types shared by views and layouts.
#pragma once

#include <cstdint>
#include <memory>

#include "foundation/IDEEvent.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EVetoException, Exception)
IDE_DECLARE_EXCEPTION(EIllegalArgumentException, Exception)
IDE_DECLARE_EXCEPTION(EClassCastException, Exception)
IDE_DECLARE_EXCEPTION(EInvalidFormatException, Exception)
IDE_DECLARE_EXCEPTION(ENullPointerException, Exception)
IDE_DECLARE_EXCEPTION(ENoSuchElementException, Exception)
IDE_DECLARE_EXCEPTION(EIllegalStateException, Exception)

// A singly linked chain of exceptions collected during a dispatch. The head
// holds the first exception; later ones are put right behind the head, so the
// chain reads head, newest, next newest, ... second appended.
class TExceptionChain {
public:
    TExceptionChain() = default;
    TExceptionChain(std::unique_ptr<TExceptionChain> Next, std::shared_ptr<Exception> E);
    void Append(std::shared_ptr<Exception> E);
    // Walks the chain deepest node first and sounds the system beep once per
    // exception. The stream is not written to.
    template <class Stream>
    void PrintStackTrace(Stream& /*unused*/) { BeepAll(); }
    void PrintStackTrace() { BeepAll(); }
    bool HasExceptions() const { return FE != nullptr; }
    TExceptionChain* GetNext() const { return FNext.get(); }
    const std::shared_ptr<Exception>& GetException() const { return FE; }

private:
    void BeepAll();
    std::unique_ptr<TExceptionChain> FNext;
    std::shared_ptr<Exception> FE;
};

// The base event: it holds the object that raised it.
class TEventObject : public TInterfacedObject, public virtual IEventObject {
public:
    explicit TEventObject(IntfRef<IInterface> Source) : FSource(std::move(Source)) {}
    // Raises EIllegalArgumentException "Null source" when there is none.
    IntfRef<IInterface> GetSource() override;

protected:
    IntfRef<IInterface> FSource;
};

// An event that knows which listener method to call; concrete events
// override Dispatch.
class TDispatchableEvent : public TEventObject, public virtual IDispatchableEvent {
public:
    using TEventObject::TEventObject;
    void AppendException(std::shared_ptr<Exception> E);
    TExceptionChain* GetExceptionChain() const { return FChain.get(); }

private:
    std::unique_ptr<TExceptionChain> FChain;  // created on the first AppendException
};

// Value types of layouts.
struct TDimension {
    int Width = 0;
    int Height = 0;
    friend bool operator==(const TDimension&, const TDimension&) = default;
};

struct TRectangle {
    int Left = 0;
    int Top = 0;
    int Width = 0;
    int Height = 0;
    friend bool operator==(const TRectangle&, const TRectangle&) = default;
};

struct TPoint {
    int X = 0;
    int Y = 0;
    friend bool operator==(const TPoint&, const TPoint&) = default;
};

inline TRectangle Rectangle(int Left, int Top, int Width, int Height) { return {Left, Top, Width, Height}; }
inline TDimension Dimension(int Width, int Height) { return {Width, Height}; }

enum TAlignments : uint8_t { aLeft, aCenter, aRight, aHorzStretch, aTop, aMiddle, aBottom, aVertStretch };

// A one-byte set of TAlignments.
class TAlignment {
public:
    constexpr TAlignment() = default;
    constexpr TAlignment(std::initializer_list<TAlignments> Items) {
        for (auto a : Items) FBits = static_cast<uint8_t>(FBits | (1u << a));
    }
    constexpr bool Contains(TAlignments a) const { return (FBits >> a) & 1u; }
    constexpr TAlignment& Include(TAlignments a) {
        FBits = static_cast<uint8_t>(FBits | (1u << a));
        return *this;
    }
    constexpr TAlignment& Exclude(TAlignments a) {
        FBits = static_cast<uint8_t>(FBits & ~(1u << a));
        return *this;
    }
    constexpr uint8_t Bits() const { return FBits; }
    friend constexpr bool operator==(TAlignment, TAlignment) = default;

private:
    uint8_t FBits = 0;
};

enum TOrientation { oHorizontal, oVertical };

// Four margins; assignment copies the four.
class TInsets : public TObject {
public:
    TInsets(int Left = 0, int Top = 0, int Right = 0, int Bottom = 0)
        : Left(Left), Top(Top), Right(Right), Bottom(Bottom) {}
    void Assign(const TInsets& Source) { *this = Source; }
    int Left, Top, Right, Bottom;
};

}  // namespace ide
