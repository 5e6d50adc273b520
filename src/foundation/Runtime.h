// The run-time basics every subsystem stands on: the plain-object root, the
// exception root, and the library's text type.
#pragma once

#include <cassert>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace ide {

// Text carried by models, events, tables and the regular expression engine.
// Characters are UTF-16 code units so that anything that depends on a
// character being two bytes (hashes, stream formats, match positions) comes
// out exactly.
using String = std::u16string;
using Char = char16_t;

// UTF-8 <-> UTF-16 conversion. Invalid UTF-8 becomes U+FFFD; lone surrogates
// are encoded as-is in UTF-8 (WTF-8), so a round trip keeps every code unit.
String Str(std::string_view utf8);
std::string Utf8(std::u16string_view text);

// The root of the plain (not reference-counted) objects.
class TObject {
public:
    virtual ~TObject() = default;
    // Identity hash, as the run-time gives it: derived from the address.
    virtual int32_t GetHashCode();
    // Identity equality unless a class redefines it.
    virtual bool Equals(TObject* Obj);
    // The class's name, unmangled where the platform can do so.
    std::string ClassName() const;
};

// The root of all exceptions of the library. A message and a help context;
// later layers keep error codes in the help context.
class Exception : public std::exception {
public:
    explicit Exception(std::string Msg, int HelpContext = 0)
        : FMessage(std::move(Msg)), FHelpContext(HelpContext) {}
    ~Exception() override = default;
    const std::string& Message() const noexcept { return FMessage; }
    void SetMessage(std::string Msg) { FMessage = std::move(Msg); }
    int HelpContext() const noexcept { return FHelpContext; }
    void SetHelpContext(int Value) noexcept { FHelpContext = Value; }
    const char* what() const noexcept override { return FMessage.c_str(); }

private:
    std::string FMessage;
    int FHelpContext;
};

// Debug builds stop where a call from another thread would corrupt state that
// only the user-interface thread may touch (a listener list).
#define IDE_ASSERT_UI_THREAD() assert(::ide::IsUIThread() && "called from a thread other than the UI thread")

#define IDE_DECLARE_EXCEPTION(Name, Base)  \
    class Name : public Base {             \
    public:                                \
        using Base::Base;                  \
    };

// Run-time exceptions shared by all subsystems.
IDE_DECLARE_EXCEPTION(EAbort, Exception)          // the silent abort
IDE_DECLARE_EXCEPTION(EConvertError, Exception)
IDE_DECLARE_EXCEPTION(EListError, Exception)
IDE_DECLARE_EXCEPTION(EIntfCastError, Exception)
IDE_DECLARE_EXCEPTION(EStreamError, Exception)

// Raises EAbort with the run-time's text "Operation aborted".
[[noreturn]] void Abort();

// The standard assign error: "Cannot assign a X to a Y".
[[noreturn]] void RaiseAssignError(const TObject* Source, const TObject* Dest);
std::string AssignErrorText(const char* SourceName, const char* DestName);

// The system beep. The platform layer installs the toolkit's beep; until then
// a bell goes to the terminal when there is one.
using BeepProc = void (*)();
void SystemBeep();
BeepProc SetBeepProc(BeepProc Proc);

// A point in time: the whole days since midnight of 30 December 1899, plus
// the time of day as a fraction of a day (0.5 is noon). Negative values count
// back from that day.
using TDateTime = double;
TDateTime Now();

// The thread of the user interface. Everything of the library that keeps
// listener lists runs on it, except where a class says otherwise. It is the
// thread that started the program, unless SetUIThread named another (a host
// that runs its user interface on another thread calls it from there once,
// before using the library).
bool IsUIThread() noexcept;
void SetUIThread() noexcept;

}  // namespace ide
