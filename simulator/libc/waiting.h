// The deadlines of waits.
#pragma once

#include <ctime>

#include "simulator/raw/next.h"

namespace sim
{

// Computes the real instant at which this process's clock reaches an instant of a system clock, into `real`; returns
// the instant itself if it is real already. It is computed once, before the wait: a later change of the clock does not
// move it. Invalid instants (unreadable, with too many nanoseconds, before the epoch) are returned unchanged, and the
// call refuses them. Async-signal-safe.
const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real);

} // namespace sim
