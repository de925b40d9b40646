// The stand-in for the C library's syscall, for system calls that bypass the other stand-ins. The kernel answers first,
// so that it reports wild pointers; then the answer is converted to the process's clock.
#include <linux/sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdint>
#include <ctime>

#include "simulator/libc/bare_waits.h"
#include "simulator/libc/reading.h"
#include "simulator/libc/setting.h"
#include "simulator/process/clock_ids.h"
#include "simulator/process/identity.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/next.h"

#ifndef SYS_fork // newer architectures lack it and SYS_time
constexpr long SYS_fork = -1, SYS_time = -2;
#endif

namespace sim
{

// Whether this process, a new child, shares its parent's memory.
static bool shares_memory(long number, long first)
{
    const bool in_record = number == SYS_clone3;
    const auto flags = in_record ? reinterpret_cast<const clone_args *>(first)->flags : static_cast<uint64_t>(first);
    return number != SYS_fork && (flags & CLONE_VM) != 0;
}

template <typename Call> static long make_child(long number, long first, const Call &kernel)
{
    before_child();
    const long child = kernel();
    if (child == 0 && !shares_memory(number, first))
        reset_after_fork();
    return child;
}

static bool sets_filter(long number, long first)
{
    return number == SYS_seccomp || (number == SYS_prctl && first == PR_SET_SECCOMP);
}

} // namespace sim

// Passes on all six arguments that a system call can have.
SIM_STAND_IN(long, syscall, (long number, long a, long b, long c, long d, long e, long f))
{
    const auto kernel = [=] { return next_syscall(number, a, b, c, d, e, f); };
    long result;
    if (sim::sets_filter(number, a))
        sim::prepare_for_filter();
    switch (number) {
    case SYS_clock_gettime:
        result = kernel();
        if (result == 0)
            sim::read_source(static_cast<clockid_t>(a), *reinterpret_cast<timespec *>(b));
        return result;
    case SYS_gettimeofday:
        result = kernel();
        if (result == 0 && a != 0)
            sim::to_own_clock(*reinterpret_cast<timeval *>(a));
        return result;
    case SYS_time: {
        timespec now;
        result = kernel();
        if (result == -1 || !sim::read_coarse_clock(now))
            return result;
        if (a != 0)
            *reinterpret_cast<time_t *>(a) = now.tv_sec;
        return now.tv_sec;
    }
    case SYS_statx: // Node.js calls it directly
        return statx(static_cast<int>(a), reinterpret_cast<const char *>(b), static_cast<int>(c),
                     static_cast<unsigned>(d), reinterpret_cast<struct statx *>(e));
    case SYS_clock_settime:
        return sim::may_set_time(static_cast<clockid_t>(a)) ? kernel() : -1;
    case SYS_adjtimex:
        return sim::adjust(reinterpret_cast<timex *>(a), kernel);
    case SYS_clock_adjtime:
        return sim::settable_ids.has(static_cast<clockid_t>(a)) ? sim::adjust(reinterpret_cast<timex *>(b), kernel)
                                                                : kernel();
    case SYS_settimeofday:
        return sim::may_set_time() ? kernel() : -1;
    case SYS_setuid:
    case SYS_setgid:
    case SYS_setreuid:
    case SYS_setregid:
    case SYS_setresuid:
    case SYS_setresgid:
        result = kernel();
        if (result == 0)
            sim::thread_identity_changed();
        return result;
    case SYS_fork:
    case SYS_clone:
    case SYS_clone3:
        return sim::make_child(number, a, kernel);
    default:
        return sim::wait_by_number(number, {a, b, c, d, e, f}, result) ? result : kernel();
    }
}
