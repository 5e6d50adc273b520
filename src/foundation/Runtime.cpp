#include "foundation/Runtime.h"
#include "foundation/Utf8.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cxxabi.h>
#include <memory>
#include <thread>
#include <typeinfo>
#include <unistd.h>

namespace ide {

String Str(std::string_view s) {
    String out;
    out.reserve(s.size());
    size_t i = 0;
    const size_t n = s.size();
    auto cont = [&](size_t k) { return k < n && (static_cast<unsigned char>(s[k]) & 0xC0) == 0x80; };
    while (i < n) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        uint32_t cp;
        size_t len;
        if (c < 0x80) { cp = c; len = 1; }
        else if ((c & 0xE0) == 0xC0 && cont(i + 1)) { cp = ((c & 0x1Fu) << 6) | (s[i + 1] & 0x3F); len = 2; }
        else if ((c & 0xF0) == 0xE0 && cont(i + 1) && cont(i + 2)) {
            cp = ((c & 0x0Fu) << 12) | ((s[i + 1] & 0x3Fu) << 6) | (s[i + 2] & 0x3F); len = 3;
        } else if ((c & 0xF8) == 0xF0 && cont(i + 1) && cont(i + 2) && cont(i + 3)) {
            cp = ((c & 0x07u) << 18) | ((s[i + 1] & 0x3Fu) << 12) | ((s[i + 2] & 0x3Fu) << 6) | (s[i + 3] & 0x3F);
            len = 4;
        } else { cp = 0xFFFD; len = 1; }
        if (cp >= 0x10000 && cp <= 0x10FFFF) {
            cp -= 0x10000;
            out.push_back(static_cast<Char>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<Char>(0xDC00 + (cp & 0x3FF)));
        } else if (cp > 0x10FFFF) {
            out.push_back(0xFFFD);
        } else {
            out.push_back(static_cast<Char>(cp));
        }
        i += len;
    }
    return out;
}

std::string Utf8(std::u16string_view t) {
    std::string out;
    out.reserve(t.size());
    for (size_t i = 0; i < t.size(); ++i) {
        uint32_t cp = t[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < t.size() && t[i + 1] >= 0xDC00 && t[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (t[i + 1] - 0xDC00);
            ++i;
        }
        AppendUtf8(out, cp);
    }
    return out;
}

int32_t TObject::GetHashCode() {
    return static_cast<int32_t>(reinterpret_cast<uintptr_t>(this));
}

bool TObject::Equals(TObject* Obj) { return Obj == this; }

std::string TObject::ClassName() const {
    const char* mangled = typeid(*this).name();
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(mangled, nullptr, nullptr, &status), std::free);
    std::string full = status == 0 && name ? name.get() : mangled;
    auto pos = full.rfind("::");
    return pos == std::string::npos ? full : full.substr(pos + 2);
}

void Abort() { throw EAbort("Operation aborted"); }

std::string AssignErrorText(const char* SourceName, const char* DestName) {
    return std::string("Cannot assign a ") + SourceName + " to a " + DestName;
}

void RaiseAssignError(const TObject* Source, const TObject* Dest) {
    std::string src = Source ? Source->ClassName() : "nil";
    std::string dst = Dest ? Dest->ClassName() : "nil";
    throw EConvertError(AssignErrorText(src.c_str(), dst.c_str()));
}

namespace {
void TerminalBeep() {
    if (isatty(STDERR_FILENO)) {
        std::fputc('\a', stderr);
        std::fflush(stderr);
    }
}
BeepProc gBeep = &TerminalBeep;
}  // namespace

void SystemBeep() { gBeep(); }

BeepProc SetBeepProc(BeepProc Proc) {
    BeepProc old = gBeep;
    gBeep = Proc ? Proc : &TerminalBeep;
    return old;
}

TDateTime Now() {
    using namespace std::chrono;
    auto ms = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    // 25569 days between 1899-12-30 and 1970-01-01.
    return 25569.0 + static_cast<double>(ms) / 86400000.0;
}

namespace {
// Set while static objects are initialised, which happens on the thread that
// starts the program.
std::atomic<std::thread::id> gUIThread{std::this_thread::get_id()};
}  // namespace

bool IsUIThread() noexcept { return gUIThread.load(std::memory_order_relaxed) == std::this_thread::get_id(); }

void SetUIThread() noexcept { gUIThread.store(std::this_thread::get_id(), std::memory_order_relaxed); }

}  // namespace ide
