// What a process and its tracer share, and how the tracer treats stops that are not its concern.
#pragma once

#include <linux/futex.h>

#include <atomic>
#include <climits>

#include "simulator/vdso/traced.h"
#include "simulator/vdso/tracee.h"

namespace sim
{

// What a process and its tracer share; the rest of these pages is the tracer's stack. The tracer shares all memory with
// its maker, since copying the page tables of a large process takes long.
struct Shared {
    static constexpr int nothing = 0, attached = -1; // anything else is an errno

    std::atomic<int> reply;           // of the tracer
    std::atomic<SignalMask> deferred; // the maker's signals, to be sent again once the tracer is gone
    Traced what;
    bool inspects;              // the executed file, which was not known beforehand
    bool stays;                 // with the program and all that it starts
    bool begun, letting_go;     // a program has been executed; the maker is to be left alone
    std::atomic<int> *released; // in the maker's memory: it has been left alone
    int maker;                  // the thread that is to exec, or to make the child
    const Shared *self;
    std::atomic<int> *tracer, no_slot; // the tracer's id
    Vvar vvar;
};
inline bool is_group_stop(int status)
{
    const int signal = WSTOPSIG(status);
    return status >> 16 == PTRACE_EVENT_STOP &&
           (signal == SIGSTOP || signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU);
}

// Whether a signal before the exec is deferred until the tracer is gone: a handler that jumps out would stay traced.
// Faults are not, since they would only repeat.
inline bool is_deferred(const Shared &shared, int thread, int status)
{
    constexpr SignalMask urgent = SignalMask(1) << (SIGSTOP - 1) | SignalMask(1) << (SIGSEGV - 1) |
                                  SignalMask(1) << (SIGBUS - 1) | SignalMask(1) << (SIGILL - 1) |
                                  SignalMask(1) << (SIGFPE - 1) | SignalMask(1) << (SIGTRAP - 1) |
                                  SignalMask(1) << (SIGSYS - 1);
    return !shared.begun && shared.what != Traced::descendants && thread == shared.maker && status >> 16 == 0 &&
           !is_call_stop(status) && (urgent >> (WSTOPSIG(status) - 1) & 1) == 0;
}

// Continues a tracee after a stop that is not the tracer's concern.
inline void pass_on(Shared &shared, const Tracee &tracee, int status)
{
    if (is_group_stop(status)) {
        tracee.resume(PTRACE_LISTEN);
    } else if (is_deferred(shared, tracee.thread(), status)) {
        shared.deferred.fetch_or(SignalMask(1) << (WSTOPSIG(status) - 1));
        tracee.resume(PTRACE_CONT);
    } else {
        tracee.resume(PTRACE_CONT, status >> 16 != 0 || is_call_stop(status) ? 0 : WSTOPSIG(status));
    }
}

inline void send_deferred(Shared &shared, int thread)
{
    const SignalMask signals = shared.deferred.exchange(0);
    for (int signal = 1; signal <= 64; ++signal)
        if ((signals >> (signal - 1) & 1) != 0)
            system_call(SYS_tkill, thread, signal);
}

// Leaves the maker alone, once it has stopped.
inline void let_go(Shared &shared, const Tracee &maker, int status)
{
    const bool is_signal = status >> 16 == 0 && !is_call_stop(status);
    send_deferred(shared, maker.thread());
    shared.tracer->store(0);
    shared.maker = 0;
    std::atomic<int> *const released = shared.released;
    maker.resume(PTRACE_DETACH, is_signal ? WSTOPSIG(status) : 0);
    released->store(1, std::memory_order_release);
    system_call(SYS_futex, released, FUTEX_WAKE, INT_MAX);
}

} // namespace sim
