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

// The argument that is the end of a wait, by its index; 0 for none. It is an instant of a clock, or a length.
struct End {
    size_t index;
    clockid_t source = CLOCK_MONOTONIC;
    bool is_length = false;
};

static End end_of_futex(long operation, bool is_real)
{
    const clockid_t by_flag = is_real ? CLOCK_REALTIME : CLOCK_MONOTONIC;
    switch (operation) {
    case FUTEX_WAIT:
        return {3, CLOCK_MONOTONIC, true};
    case FUTEX_WAIT_BITSET:
    case FUTEX_WAIT_REQUEUE_PI:
    case FUTEX_LOCK_PI2:
        return {3, by_flag};
    case FUTEX_LOCK_PI:
        return {3, CLOCK_REALTIME};
    default:
        return {0};
    }
}

static End end_of_sleep(clockid_t source, long flags)
{
    const bool is_instant = (flags & TIMER_ABSTIME) != 0;
    const bool by_monotonic = source == CLOCK_MONOTONIC || source == CLOCK_REALTIME || source == CLOCK_TAI;
    if (is_instant)
        return {2, source};
    return by_monotonic ? End{2, CLOCK_MONOTONIC, true} : End{0};
}

static End end_of(long number, const long *arguments)
{
    switch (number) {
    case SYS_futex:
        return end_of_futex(arguments[1] & FUTEX_CMD_MASK, (arguments[1] & FUTEX_CLOCK_REALTIME) != 0);
    case SYS_futex_waitv:
        return {arguments[4] == CLOCK_REALTIME || arguments[4] == CLOCK_MONOTONIC ? 3ul : 0,
                static_cast<clockid_t>(arguments[4])};
    case SYS_nanosleep:
        return {0, CLOCK_MONOTONIC, true};
    case SYS_clock_nanosleep:
        return end_of_sleep(static_cast<clockid_t>(arguments[0]), arguments[1]);
    case SYS_mq_timedsend:
    case SYS_mq_timedreceive:
        return {4, CLOCK_REALTIME};
    default:
        return {0};
    }
}

struct BareWait {
    long number;
    const long (&arguments)[6];
    End end;

    // NOLINTBEGIN(performance-no-int-to-ptr): a system call's arguments are words
    const timespec *given() const { return reinterpret_cast<const timespec *>(arguments[end.index]); }
    void *pointer(size_t index) const { return reinterpret_cast<void *>(arguments[index]); }
    // NOLINTEND(performance-no-int-to-ptr)

    template <typename Followed> bool begin(Followed &followed) const
    {
        return end.is_length ? followed.begin_length(given()) : followed.begin(end.source, given());
    }

    long call(const timespec *until) const
    {
        long words[6];
        std::copy_n(arguments, 6, words);
        words[end.index] = reinterpret_cast<long>(until);
        return raw_call(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    }

    long call_as_it_is() const
    {
        timespec real;
        return call(end.is_length ? given() : real_deadline(end.source, given(), real));
    }
};

static long sleep_by_number(const BareWait &wait)
{
    Deadline deadline;
    if (wait.end.source == CLOCK_REALTIME_ALARM || !wait.begin(deadline) || deadline.has_passed())
        return wait.call_as_it_is();
    const long result = sleep_until(deadline, false);
    if (result != 0 && result != -EINTR)
        return wait.call_as_it_is();
    void *const left = wait.pointer(wait.number == SYS_nanosleep ? 1 : 3);
    timespec rest = deadline.left();
    return result != 0 && wait.end.is_length && left != nullptr && write_given(left, rest) != 0 ? -EFAULT : result;
}

// A futex whose value has changed between two slices was woken.
static long wait_in_slices(const BareWait &wait)
{
    Slices slices;
    if (!wait.begin(slices))
        return wait.call(wait.given());
    for (bool is_first = true;; is_first = false) {
        const timespec slice = wait.end.is_length ? slices.next_length() : *slices.next();
        const long result = wait.call(&slice);
        if (result == -EAGAIN && !is_first && wait.number == SYS_futex)
            return 0;
        if (result != -ETIMEDOUT || slices.is_over())
            return result;
    }
}

static long wait_on_futex(const BareWait &wait)
{
    const long operation = wait.arguments[1] & FUTEX_CMD_MASK;
    if (operation == FUTEX_WAIT_REQUEUE_PI) // it may have been moved to the other futex
        return wait.call_as_it_is();
    Deadline deadline;
    const bool is_plain =
        operation == FUTEX_WAIT || (operation == FUTEX_WAIT_BITSET && wait.arguments[5] == FUTEX_BITSET_MATCH_ANY);
    if (is_plain && wait.begin(deadline)) {
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
    futex_waitv vector[most_futexes] = {};
    Deadline deadline;
    const auto count = static_cast<uint32_t>(wait.arguments[1]);
    if (count == 0 || count > most_futexes || wait.arguments[2] != 0 ||
        copy_by_kernel(SYS_process_vm_readv, vector, wait.pointer(0), count * sizeof *vector) != 0 ||
        !wait.begin(deadline))
        return wait_in_slices(wait);
    const long result = wait_on_futexes(vector, count, deadline);
    return result != -ENOSYS ? result : wait_in_slices(wait);
}

bool wait_by_number(long number, const long (&arguments)[6], long &result)
{
    const BareWait wait = {number, arguments, end_of(number, arguments)};
    if ((wait.end.index == 0 && number != SYS_nanosleep) || wait.given() == nullptr || !is_followed(wait.end.source))
        return false;
    const long answer = number == SYS_clock_nanosleep || number == SYS_nanosleep ? sleep_by_number(wait)
                        : number == SYS_futex                                    ? wait_on_futex(wait)
                        : number == SYS_futex_waitv                              ? wait_on_vector(wait)
                                                                                 : wait_in_slices(wait);
    if (answer < 0)
        errno = static_cast<int>(-answer);
    result = answer < 0 ? -1 : answer;
    return true;
}

} // namespace sim
