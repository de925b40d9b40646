// Until when to wait: what the stand-ins for waits have in common.
#pragma once

#include <ctime>

#include "simulator/raw/next.h"

namespace sim
{

// The real instant at which the clock that this process has now gets to an instant of one of the system's, which is put
// in `real`, or the instant itself where that is the real one. It is worked out once, before the wait, and not looked
// at again: no clock that comes or goes strands who waits. What is no instant (no memory, a second of too many
// nanoseconds, one before the epoch) stays as it is, for the call to refuse. Async-signal-safe.
const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real);

} // namespace sim
