#include <linux/futex.h>
#include <sys/syscall.h>

#include "simulator/waits/deadline.h"

namespace sim
{

// Which argument of a system call is the instant until which it waits, and of which clock; 0 for none.
struct Instant {
    size_t place;
    clockid_t source;
};

static Instant instant_of(long number, const long *arguments)
{
    constexpr Instant none = {};
    switch (number) {
    case SYS_futex: {
        const long operation = arguments[1] & FUTEX_CMD_MASK;
        const bool by_flag =
            operation == FUTEX_WAIT_BITSET || operation == FUTEX_WAIT_REQUEUE_PI || operation == FUTEX_LOCK_PI2;
        const bool real = by_flag ? (arguments[1] & FUTEX_CLOCK_REALTIME) != 0 : operation == FUTEX_LOCK_PI;
        return real ? Instant{3, CLOCK_REALTIME} : none;
    }
    case SYS_futex_waitv:
        return {3, static_cast<clockid_t>(arguments[4])};
    case SYS_clock_nanosleep:
        return (arguments[1] & TIMER_ABSTIME) != 0 ? Instant{2, static_cast<clockid_t>(arguments[0])} : none;
    case SYS_mq_timedsend:
    case SYS_mq_timedreceive:
        return {4, CLOCK_REALTIME};
    default:
        return none;
    }
}

void wait_by_own_clock(long number, long (&arguments)[6], timespec &real)
{
    const Instant instant = instant_of(number, arguments);
    if (instant.place == 0)
        return;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a system call's arguments are words
    const auto *const given = reinterpret_cast<const timespec *>(arguments[instant.place]);
    arguments[instant.place] = reinterpret_cast<long>(real_deadline(instant.source, given, real));
}

} // namespace sim
