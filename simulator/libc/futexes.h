// Waits that the kernel also wakes when clocks change.
#pragma once

#include <cstddef>

#include "simulator/libc/deadline.h"

struct futex_waitv;

namespace sim
{

// Sleeps until the deadline, as a point of cancellation or not. Returns 0, -EINTR after a signal, or another negative
// errno where it cannot be done.
long sleep_until(Deadline &deadline, bool is_cancelled);

// Waits on futexes until the deadline, as futex_waitv(2) does: returns the index of one that was woken, or a negative
// errno, which is -ENOSYS where it cannot be done.
constexpr size_t most_futexes = 127;
long wait_on_futexes(const futex_waitv *given, size_t count, Deadline &deadline);

} // namespace sim
