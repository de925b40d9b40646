// What stands in for the C library's syscall: the system calls that the other stand-ins would not see. The kernel
// answers first, so that wild pointers are its own matter; then the answer is made to fit the process's clock.
#include <linux/sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdint>
#include <ctime>

#include "simulator/bare/next.h"
#include "simulator/identity/identity.h"
#include "simulator/readings/own_clock.h"
#include "simulator/readings/readings.h"
#include "simulator/readings/setting.h"
#include "simulator/waits/deadline.h"

#ifndef SYS_fork // as on newer architectures, which have no SYS_time either
constexpr long SYS_fork = -1, SYS_time = -2;
#endif

namespace sim
{

static SIM_NEXT(syscall, long(long, long, long, long, long, long, long));

// Whether a child that has just been made, and is this process, has its parent's memory.
static bool shares_memory(long number, long first)
{
    const bool in_record = number == SYS_clone3;
    const auto flags = in_record ? reinterpret_cast<const clone_args *>(first)->flags : static_cast<uint64_t>(first);
    return number != SYS_fork && (flags & CLONE_VM) != 0;
}

static bool sets_filter(long number, long first)
{
    return number == SYS_seccomp || (number == SYS_prctl && first == PR_SET_SECCOMP);
}

} // namespace sim

// Under a name of its own, and with all the words that a system call can have.
SIM_INTERPOSED long seen_syscall(long number, long a, long b, long c, long d, long e, long f) __asm__("syscall");

SIM_INTERPOSED long seen_syscall(long number, long a, long b, long c, long d, long e, long f)
{
    const auto kernel = [=] { return sim::next_syscall(number, a, b, c, d, e, f); };
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
            sim::make_virtual(*reinterpret_cast<timeval *>(a));
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
    case SYS_statx: // as JavaScript's runtime asks
        return statx(static_cast<int>(a), reinterpret_cast<const char *>(b), static_cast<int>(c),
                     static_cast<unsigned>(d), reinterpret_cast<struct statx *>(e));
    case SYS_clock_settime:
        return sim::may_set_time(static_cast<clockid_t>(a)) ? kernel() : -1;
    case SYS_adjtimex:
        return sim::adjust(reinterpret_cast<timex *>(a), kernel);
    case SYS_clock_adjtime:
        return a == CLOCK_REALTIME ? sim::adjust(reinterpret_cast<timex *>(b), kernel) : kernel();
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
        result = kernel();
        if (result == 0 && !sim::shares_memory(number, a))
            sim::begin_as_child();
        return result;
    default: {
        long words[] = {a, b, c, d, e, f};
        timespec real;
        sim::wait_by_own_clock(number, words, real);
        return sim::next_syscall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    }
    }
}
