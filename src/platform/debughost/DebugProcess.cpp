#include "platform/debughost/DebugProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/personality.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace ide {

TDebugProcess::~TDebugProcess() {
    Kill();
}

void TDebugProcess::Start(const std::string& Path, const std::vector<std::string>& Args) {
    if (FState != psNotStarted) throw EDebugHostError("The program has been started already");
    if (::access(Path.c_str(), X_OK) != 0)
        throw EDebugHostError("Cannot run " + Path + ": " + std::strerror(errno));
    std::vector<std::string> argv{Path};
    argv.insert(argv.end(), Args.begin(), Args.end());
    std::vector<char*> cargv;
    for (std::string& a : argv) cargv.push_back(a.data());
    cargv.push_back(nullptr);

    const pid_t pid = ::fork();
    if (pid < 0) throw EDebugHostError(std::string("Cannot start a process: ") + std::strerror(errno));
    if (pid == 0) {
        // The child: only async-signal-safe calls until exec.
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::personality(ADDR_NO_RANDOMIZE);
        ::execv(cargv[0], cargv.data());
        ::_exit(127);
    }
    FPid = pid;
    FPath = Path;
    int status = 0;
    if (::waitpid(pid, &status, 0) < 0 || !WIFSTOPPED(status)) {
        FState = psExited;
        FExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        FPid = -1;
        throw EDebugHostError("Cannot trace " + Path + " (tracing refused or exec failed)");
    }
    ::ptrace(PTRACE_SETOPTIONS, pid, nullptr, reinterpret_cast<void*>(PTRACE_O_EXITKILL));
    FState = psStopped;
    FMemFd = ::open(("/proc/" + std::to_string(pid) + "/mem").c_str(), O_RDWR | O_CLOEXEC);
}

std::string TDebugProcess::StatusText() const {
    switch (FState) {
    case psNotStarted: return "Not started";
    case psStopped: return "Stopped";
    case psExited: return "Process exited with code " + std::to_string(FExitCode);
    case psKilled: return "Process killed by signal " + std::to_string(FTermSignal);
    }
    return {};
}

TProcessState TDebugProcess::Wait() {
    DropCachedPages();  // the program ran: its memory may have changed
    int status = 0;
    for (;;) {
        if (::waitpid(FPid, &status, 0) < 0) {
            if (errno == EINTR) continue;
            FState = psKilled;
            break;
        }
        if (WIFEXITED(status)) {
            FState = psExited;
            FExitCode = WEXITSTATUS(status);
        } else if (WIFSIGNALED(status)) {
            FState = psKilled;
            FTermSignal = WTERMSIG(status);
        } else if (WIFSTOPPED(status)) {
            FState = psStopped;
            const int sig = WSTOPSIG(status);
            if (sig != SIGTRAP) {
                // Not ours: hand the signal on and keep waiting for a stop of
                // our own, unless it is a stop the user should see.
                if (::ptrace(PTRACE_CONT, FPid, nullptr, reinterpret_cast<void*>(static_cast<intptr_t>(sig))) == 0)
                    continue;
            }
        }
        break;
    }
    if (FState != psStopped) {
        if (FMemFd >= 0) ::close(FMemFd);
        FMemFd = -1;
        FPid = -1;
        FBreakpoints.clear();
    }
    return FState;
}

void TDebugProcess::PokeByte(uint64_t Address, uint8_t Value) {
    DropCachedPages();
    const uint64_t aligned = Address & ~uint64_t(7);
    errno = 0;
    long word = ::ptrace(PTRACE_PEEKTEXT, FPid, reinterpret_cast<void*>(aligned), nullptr);
    if (errno != 0) throw EDebugHostError("Cannot write a breakpoint at this address");
    auto* bytes = reinterpret_cast<uint8_t*>(&word);
    bytes[Address - aligned] = Value;
    if (::ptrace(PTRACE_POKETEXT, FPid, reinterpret_cast<void*>(aligned), reinterpret_cast<void*>(word)) != 0)
        throw EDebugHostError("Cannot write a breakpoint at this address");
}

void TDebugProcess::SetBreakpoint(uint64_t Address) {
    if (!Stopped() || FBreakpoints.count(Address)) return;
    uint8_t original = 0;
    if (ReadMemory(Address, &original, 1) != 1) throw EDebugHostError("Cannot write a breakpoint at this address");
    PokeByte(Address, 0xCC);
    FBreakpoints[Address] = original;
}

void TDebugProcess::RemoveBreakpoint(uint64_t Address) {
    auto it = FBreakpoints.find(Address);
    if (it == FBreakpoints.end()) return;
    if (Stopped()) PokeByte(Address, it->second);
    FBreakpoints.erase(it);
}

bool TDebugProcess::ToggleBreakpoint(uint64_t Address) {
    if (IsBreakpoint(Address)) {
        RemoveBreakpoint(Address);
        return false;
    }
    SetBreakpoint(Address);
    return IsBreakpoint(Address);
}

std::vector<uint64_t> TDebugProcess::Breakpoints() const {
    std::vector<uint64_t> out;
    for (const auto& [a, b] : FBreakpoints) out.push_back(a);
    return out;
}

bool TDebugProcess::GetRegisters(user_regs_struct& Regs) const {
    if (!Stopped()) return false;
    return ::ptrace(PTRACE_GETREGS, FPid, nullptr, &Regs) == 0;
}

uint64_t TDebugProcess::InstructionPointer() const {
    user_regs_struct regs{};
    return GetRegisters(regs) ? regs.rip : 0;
}

// With the instruction pointer on a breakpoint: put the code back, step one
// instruction, write the int3 again. False if the program ended meanwhile.
bool TDebugProcess::StepOverBreakpoint() {
    const uint64_t ip = InstructionPointer();
    auto it = FBreakpoints.find(ip);
    if (it == FBreakpoints.end()) return true;
    PokeByte(ip, it->second);
    ::ptrace(PTRACE_SINGLESTEP, FPid, nullptr, nullptr);
    if (Wait() != psStopped) return false;
    PokeByte(ip, 0xCC);
    return true;
}

TProcessState TDebugProcess::Continue() {
    if (!Stopped()) return FState;
    if (!StepOverBreakpoint()) return FState;
    ::ptrace(PTRACE_CONT, FPid, nullptr, nullptr);
    if (Wait() == psStopped) {
        user_regs_struct regs{};
        if (GetRegisters(regs) && FBreakpoints.count(regs.rip - 1)) {
            regs.rip -= 1;  // back onto the int3's own address
            ::ptrace(PTRACE_SETREGS, FPid, nullptr, &regs);
        }
    }
    return FState;
}

TProcessState TDebugProcess::Step() {
    if (!Stopped()) return FState;
    const uint64_t ip = InstructionPointer();
    if (FBreakpoints.count(ip)) {
        StepOverBreakpoint();
        return FState;
    }
    ::ptrace(PTRACE_SINGLESTEP, FPid, nullptr, nullptr);
    return Wait();
}

void TDebugProcess::Kill() {
    if (FPid <= 0 || FState != psStopped) return;
    ::kill(FPid, SIGKILL);
    Wait();
}

const TDebugProcess::TCachedPage& TDebugProcess::PageAt(uint64_t Page) const {
    if (FPages.empty()) FPages.resize(kCachedPages);
    TCachedPage& p = FPages[(Page / kPageSize) % kCachedPages];
    if (p.Page != Page) {
        // A whole page in one read: a page is mapped or not as a whole.
        const ssize_t got = ::pread(FMemFd, p.Bytes, kPageSize, static_cast<off_t>(Page));
        p.Page = Page;
        p.Valid = got > 0 ? static_cast<uint32_t>(got) : 0;
    }
    return p;
}

void TDebugProcess::DropCachedPages() {
    for (TCachedPage& p : FPages) p.Page = kNoPage;
}

size_t TDebugProcess::ReadMemory(uint64_t Address, void* Buffer, size_t Size) const {
    if (!Stopped() || FMemFd < 0 || Size == 0) return 0;
    if (Address > uint64_t(LLONG_MAX) - kPageSize) return 0;  // beyond any offset the file takes
    auto* out = static_cast<uint8_t*>(Buffer);
    size_t done = 0;
    while (done < Size) {
        // Page by page, so that a read running into an unmapped page keeps
        // the part before it.
        const uint64_t at = Address + done;
        const size_t offset = static_cast<size_t>(at % kPageSize);
        const TCachedPage& page = PageAt(at - offset);
        if (offset >= page.Valid) break;
        const size_t n = std::min(Size - done, page.Valid - offset);
        std::memcpy(out + done, page.Bytes + offset, n);
        done += n;
        if (page.Valid < kPageSize) break;
        if (at - offset > uint64_t(LLONG_MAX) - 2 * kPageSize) break;
    }
    // Show the program's own code under the breakpoints.
    for (auto it = FBreakpoints.lower_bound(Address); it != FBreakpoints.end() && it->first < Address + done; ++it)
        out[it->first - Address] = it->second;
    return done;
}

std::vector<TMemoryRegion> TDebugProcess::Maps() const {
    std::vector<TMemoryRegion> out;
    if (!Stopped()) return out;
    std::ifstream in("/proc/" + std::to_string(FPid) + "/maps");
    std::string line;
    while (std::getline(in, line)) {
        TMemoryRegion r;
        std::istringstream s(line);
        std::string range, dev, inode;
        s >> range >> r.Perms >> std::hex >> r.Offset >> dev >> inode;
        const size_t dash = range.find('-');
        if (dash == std::string::npos) continue;
        r.Start = std::strtoull(range.c_str(), nullptr, 16);
        r.End = std::strtoull(range.c_str() + dash + 1, nullptr, 16);
        std::getline(s >> std::ws, r.Path);
        out.push_back(r);
    }
    return out;
}

uint64_t TDebugProcess::LoadBase() const {
    char resolved[PATH_MAX];
    const std::string self = ::realpath(FPath.c_str(), resolved) ? resolved : FPath;
    uint64_t base = 0;
    for (const TMemoryRegion& r : Maps())
        if (r.Path == self && (base == 0 || r.Start < base)) base = r.Start;
    return base;
}

}  // namespace ide
