#include "simulator/libc/futexes.h"

#include <linux/futex.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "simulator/process/options.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/system_call.h"

namespace sim
{

// A wait pauses after a change, since clocks are often changed in two steps. It pauses longer the more changes follow
// each other, so that waits are few however often clocks change.
class Rest
{
  public:
    // The end of a pause that begins now, or of the wait.
    timespec end(const Deadline &deadline)
    {
        constexpr int64_t shortest = 4'000'000, longest = 500'000'000;
        const timespec now = deadline.now();
        const bool is_first = !is_before(now, later(last_, 2 * longest - 1)) || is_before(now, last_);
        length_ = is_first ? shortest : std::min(2 * length_, longest);
        last_ = now;
        return deadline.within(length_);
    }

  private:
    timespec last_ = {};
    int64_t length_ = 0;
};

static long wait_for_futex(const uint32_t *word, uint32_t value, clockid_t clock, const timespec &until,
                           bool is_cancelled)
{
    const int operation = FUTEX_WAIT_BITSET | (clock == CLOCK_REALTIME ? FUTEX_CLOCK_REALTIME : 0);
    int kept = 0;
    if (is_cancelled)
        pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &kept);
    const long result = system_call(SYS_futex, word, operation, value, &until, nullptr, FUTEX_BITSET_MATCH_ANY);
    if (is_cancelled)
        pthread_setcanceltype(kept, &kept);
    return result;
}

long sleep_until(Deadline &deadline, bool is_cancelled)
{
    constexpr uint32_t nobody_wakes = 0;
    const clockid_t clock = deadline.kernel_clock();
    Rest rest;
    for (;;) {
        long result =
            wait_for_futex(deadline.futex(), deadline.generation(), clock, deadline.next_look(), is_cancelled);
        const bool is_changed = result == 0 || result == -EAGAIN;
        if (is_changed)
            result = wait_for_futex(&nobody_wakes, 0, clock, rest.end(deadline), is_cancelled);
        if (result != -ETIMEDOUT)
            return result;
        deadline.renew();
        if (deadline.has_passed())
            return 0;
    }
}

// The index of a futex whose value has changed since the wait began: it was woken between two waits. The kernel has
// read these words.
static long changed_one(const futex_waitv *given, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        if (__atomic_load_n(reinterpret_cast<const uint32_t *>(given[i].uaddr), __ATOMIC_ACQUIRE) != given[i].val)
            return static_cast<long>(i);
    return -EAGAIN;
}

long wait_on_futexes(const futex_waitv *given, size_t count, Deadline &deadline)
{
    if (is_filtered()) // the filter may allow only futex
        return -ENOSYS;
    futex_waitv joined[most_futexes + 1]; // the change first: of several that were woken, the kernel names the last
    memcpy(joined + 1, given, count * sizeof *given);
    const clockid_t clock = deadline.kernel_clock();
    Rest rest;
    for (bool is_first = true;; is_first = false) {
        joined[0] = {deadline.generation(), reinterpret_cast<uintptr_t>(deadline.futex()), FUTEX_32, 0};
        const timespec next_look = deadline.next_look();
        long result = system_call(SYS_futex_waitv, joined, count + 1, 0, &next_look, clock);
        if (result == -EFAULT || result == -EINVAL) // the caller's, or the table was truncated
            return -ENOSYS;
        const bool is_stale = __atomic_load_n(deadline.futex(), __ATOMIC_RELAXED) != deadline.generation();
        const bool is_changed = result == 0 || (result == -EAGAIN && is_stale);
        if (is_changed) {
            const timespec end = rest.end(deadline);
            result = system_call(SYS_futex_waitv, joined + 1, count, 0, &end, clock);
        } else if (result > 0) {
            --result;
        }
        if (result == -EAGAIN && !is_first)
            return changed_one(given, count);
        if (result != -ETIMEDOUT)
            return result;
        deadline.renew();
        if (deadline.has_passed())
            return result;
    }
}

} // namespace sim
