// A program run under the debugger: started by fork and exec with the child
// asking to be traced, stopped at its first instruction, then driven by int3
// breakpoints, continue and single step. Memory is read through
// /proc/PID/mem, so a range that the program has not mapped comes back short
// instead of failing the whole read; breakpoint bytes are shown as the
// original code.
//
// Address-space randomisation is turned off for the child, so that the same
// program stops at the same addresses on every run.
//
// A program that exits or is killed leaves the session in a final state
// with a status text; every later operation answers "nothing" (no registers,
// no memory) instead of raising.
// Thread: one at a time (ptrace answers only the thread that traced).
#pragma once

#include <sys/types.h>
#include <sys/user.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EDebugHostError, Exception)

enum TProcessState : uint8_t { psNotStarted, psStopped, psExited, psKilled };

// One line of /proc/PID/maps.
struct TMemoryRegion {
    uint64_t Start = 0, End = 0;
    std::string Perms;  // "r-xp"
    uint64_t Offset = 0;
    std::string Path;
    bool Readable() const { return !Perms.empty() && Perms[0] == 'r'; }
    bool Executable() const { return Perms.size() > 2 && Perms[2] == 'x'; }
};

class TDebugProcess {
public:
    TDebugProcess() = default;
    TDebugProcess(const TDebugProcess&) = delete;
    TDebugProcess& operator=(const TDebugProcess&) = delete;
    ~TDebugProcess();

    // Starts Path with Args (argv[1..]); stops before the first instruction.
    // Raises EDebugHostError when the program cannot be started or traced.
    void Start(const std::string& Path, const std::vector<std::string>& Args = {});

    TProcessState State() const { return FState; }
    bool Stopped() const { return FState == psStopped; }
    pid_t Pid() const { return FPid; }
    // "Stopped", "Process exited with code 3", "Process killed by signal 9".
    std::string StatusText() const;
    int ExitCode() const { return FExitCode; }

    // Breakpoints: an int3 byte written over the code while the program runs.
    void SetBreakpoint(uint64_t Address);
    void RemoveBreakpoint(uint64_t Address);
    bool ToggleBreakpoint(uint64_t Address);  // True if now set
    bool IsBreakpoint(uint64_t Address) const { return FBreakpoints.count(Address) != 0; }
    std::vector<uint64_t> Breakpoints() const;

    // Runs until a breakpoint, a signal or the end. On a breakpoint the
    // instruction pointer is rewound onto it. Answers the new state.
    TProcessState Continue();
    // One instruction; a breakpoint under the instruction pointer is stepped
    // over transparently.
    TProcessState Step();
    void Kill();

    bool GetRegisters(user_regs_struct& Regs) const;
    uint64_t InstructionPointer() const;

    // Reads up to Size bytes; the answer is the count read before the first
    // unreadable byte (0 if Address itself is unreadable).
    size_t ReadMemory(uint64_t Address, void* Buffer, size_t Size) const;
    std::vector<TMemoryRegion> Maps() const;
    // The lowest mapping of the program's own file, i.e. its load address.
    uint64_t LoadBase() const;
    const std::string& Path() const { return FPath; }

private:
    static constexpr size_t kPageSize = 4096;
    static constexpr size_t kCachedPages = 16;
    static constexpr uint64_t kNoPage = ~uint64_t(0);
    struct TCachedPage {
        uint64_t Page = kNoPage;
        uint32_t Valid = 0;  // bytes readable from the page's start
        uint8_t Bytes[kPageSize];
    };
    const TCachedPage& PageAt(uint64_t Page) const;
    void DropCachedPages();

    TProcessState Wait();
    void PokeByte(uint64_t Address, uint8_t Value);
    bool StepOverBreakpoint();

    pid_t FPid = -1;
    int FMemFd = -1;
    TProcessState FState = psNotStarted;
    int FExitCode = 0;
    int FTermSignal = 0;
    std::string FPath;
    std::map<uint64_t, uint8_t> FBreakpoints;  // address -> original byte
    mutable std::vector<TCachedPage> FPages;   // by page number, modulo their count
};

}  // namespace ide
