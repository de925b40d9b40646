// A traced thread. Only bare system calls are made here: the tracer shares memory with a process that may have other
// threads.
#pragma once

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "simulator/process/vvar.h"
#include "simulator/raw/signals.h"

namespace sim
{

using Registers = user_regs_struct;

// How long the tracer waits for an event.
constexpr int64_t timeout_seconds = 10;

// Waits until a traced thread, or any for -1, stops or ends. Returns its id; 0 when none is left or, unless `blocking`,
// after the timeout. Call with SIGCHLD blocked and not ignored.
inline int next_stop(int which, bool blocking, int &status)
{
    const SignalMask child_signal = SignalMask(1) << (SIGCHLD - 1);
    const timespec longest = {timeout_seconds, 0};
    for (;;) {
        const long stopped = system_call(SYS_wait4, which, &status, blocking ? __WALL : __WALL | WNOHANG, nullptr);
        if (stopped != 0 && stopped != -EINTR)
            return stopped > 0 ? static_cast<int>(stopped) : 0;
        if (!blocking &&
            system_call(SYS_rt_sigtimedwait, &child_signal, nullptr, &longest, sizeof child_signal) == -EAGAIN)
            return 0;
    }
}

// Whether a thread stopped at the entry to a system call or at its return.
inline bool is_call_stop(int status)
{
    return status >> 16 == 0 && WSTOPSIG(status) == (SIGTRAP | 0x80);
}

class Tracee
{
  public:
    explicit Tracee(int thread) : thread_(thread) {}

    int thread() const { return thread_; }
    bool ask(int request, uintptr_t address, const void *data) const
    {
        return system_call(SYS_ptrace, request, thread_, address, data) >= 0;
    }
    bool resume(int request, int signal = 0) const
    {
        return ask(request, 0, std::bit_cast<void *>(static_cast<intptr_t>(signal)));
    }

    bool read_registers(Registers &registers) const { return ask(PTRACE_GETREGS, 0, &registers); }
    bool write_registers(const Registers &registers) const { return ask(PTRACE_SETREGS, 0, &registers); }
    bool read_mask(SignalMask &mask) const { return ask(PTRACE_GETSIGMASK, sizeof mask, &mask); }
    bool write_mask(const SignalMask &mask) const { return ask(PTRACE_SETSIGMASK, sizeof mask, &mask); }

    // Writes all of it, or returns false.
    bool write(uintptr_t address, const void *buffer, size_t size) const
    {
        return transfer(SYS_process_vm_writev, address, const_cast<void *>(buffer), size) == static_cast<long>(size);
    }
    // Reads as much as is mapped.
    size_t read_some(uintptr_t address, void *buffer, size_t size) const
    {
        const long length = transfer(SYS_process_vm_readv, address, buffer, size);
        return length > 0 ? static_cast<size_t>(length) : 0;
    }

    // Runs it to the next entry to a system call or return from one. Returns false if it ends or takes too long. A stop
    // signal that arrives meanwhile is deferred until release.
    bool run_to_call_stop()
    {
        int status = 0;
        for (int stops = 0; stops < 100; ++stops) {
            if (!resume(PTRACE_SYSCALL) || next_stop(thread_, false, status) != thread_ || !WIFSTOPPED(status))
                return false;
            if (is_call_stop(status))
                return true;
            if (status >> 16 == 0)
                deferred_ = WSTOPSIG(status);
        }
        return false;
    }

    void release(int request)
    {
        if (deferred_ != 0)
            system_call(SYS_tkill, thread_, deferred_);
        resume(request);
    }

  private:
    long transfer(long call, uintptr_t address, void *buffer, size_t size) const
    {
        const iovec here = {buffer, size}, there = {std::bit_cast<void *>(address), size};
        return system_call(call, thread_, &here, 1, &there, 1, 0);
    }

    int thread_;
    int deferred_ = 0;
};

// Injects the vDSO into a program that is stopped after a successful execve. Fills in the rest of vvar. Returns false
// if the program was left alone.
bool inject_vdso(Tracee &program, Vvar &vvar);

} // namespace sim
