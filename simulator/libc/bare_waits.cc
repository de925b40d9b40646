#include "simulator/libc/bare_waits.h"

#include <linux/futex.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstdint>

#include "simulator/libc/futexes.h"
#include "simulator/libc/slices.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/system_call.h"

namespace sim
{

// The argument that is the deadline of a system call, by its index, and the clock of the deadline; 0 for none.
struct Instant {
    size_t index;
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
        return arguments[4] == CLOCK_REALTIME ? Instant{3, CLOCK_REALTIME} : none;
    case SYS_clock_nanosleep:
        return (arguments[1] & TIMER_ABSTIME) != 0 ? Instant{2, static_cast<clockid_t>(arguments[0])} : none;
    case SYS_mq_timedsend:
    case SYS_mq_timedreceive:
        return {4, CLOCK_REALTIME};
    default:
        return none;
    }
}

struct BareWait {
    long number;
    const long (&arguments)[6];
    Instant instant;

    // NOLINTBEGIN(performance-no-int-to-ptr): a system call's arguments are words
    const timespec *given() const { return reinterpret_cast<const timespec *>(arguments[instant.index]); }
    void *pointer(size_t index) const { return reinterpret_cast<void *>(arguments[index]); }
    // NOLINTEND(performance-no-int-to-ptr)

    long call(const timespec *until) const
    {
        long words[6];
        std::copy_n(arguments, 6, words);
        words[instant.index] = reinterpret_cast<long>(until);
        return raw_call(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    }
};

static long sleep_by_number(const BareWait &wait)
{
    Deadline deadline;
    timespec real;
    if (wait.instant.source != CLOCK_REALTIME_ALARM && deadline.begin(wait.instant.source, wait.given()) &&
        !deadline.has_passed()) {
        const long result = sleep_until(deadline, false);
        if (result == 0 || result == -EINTR)
            return result;
    }
    return wait.call(real_deadline(wait.instant.source, wait.given(), real));
}

// A futex whose value changed between two slices was woken then.
static long wait_in_slices(const BareWait &wait)
{
    bool is_first = true;
    return wait_in_slices(
        wait.instant.source, wait.given(),
        [&](const timespec *until) {
            const long result = wait.call(until);
            const bool was_woken = result == -EAGAIN && !is_first && wait.number == SYS_futex;
            is_first = false;
            return was_woken ? 0 : result;
        },
        [](long result) { return result == -ETIMEDOUT; });
}

static long wait_on_futex(const BareWait &wait)
{
    const long operation = wait.arguments[1] & FUTEX_CMD_MASK;
    timespec real;
    if (operation == FUTEX_WAIT_REQUEUE_PI) // by then it may have moved to the other futex
        return wait.call(real_deadline(CLOCK_REALTIME, wait.given(), real));
    Deadline deadline;
    const bool is_plain = operation == FUTEX_WAIT_BITSET && wait.arguments[5] == FUTEX_BITSET_MATCH_ANY;
    if (is_plain && deadline.begin(CLOCK_REALTIME, wait.given())) {
        const futex_waitv one = {static_cast<uint32_t>(wait.arguments[2]), static_cast<uint64_t>(wait.arguments[0]),
                                 FUTEX_32 | static_cast<uint32_t>(wait.arguments[1] & FUTEX_PRIVATE_FLAG), 0};
        const long result = wait_on_futexes(&one, 1, deadline);
        if (result != -ENOSYS)
            return std::min(result, 0L);
    }
    return wait_in_slices(wait);
}

static long wait_on_vector(const BareWait &wait)
{
    futex_waitv vector[most_futexes];
    Deadline deadline;
    const auto count = static_cast<uint32_t>(wait.arguments[1]);
    if (count == 0 || count > most_futexes || wait.arguments[2] != 0 ||
        copy_by_kernel(SYS_process_vm_readv, vector, wait.pointer(0), count * sizeof *vector) != 0 ||
        !deadline.begin(wait.instant.source, wait.given()))
        return wait_in_slices(wait);
    const long result = wait_on_futexes(vector, count, deadline);
    return result != -ENOSYS ? result : wait_in_slices(wait);
}

bool wait_by_number(long number, const long (&arguments)[6], long &result)
{
    const BareWait wait = {number, arguments, instant_of(number, arguments)};
    if (wait.instant.index == 0 || !waited_ids.has(wait.instant.source) || table_generation() == nullptr)
        return false;
    const long answer = number == SYS_clock_nanosleep ? sleep_by_number(wait)
                        : number == SYS_futex         ? wait_on_futex(wait)
                        : number == SYS_futex_waitv   ? wait_on_vector(wait)
                                                      : wait_in_slices(wait);
    if (answer < 0)
        errno = static_cast<int>(-answer);
    result = answer < 0 ? -1 : answer;
    return true;
}

} // namespace sim
