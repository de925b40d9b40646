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

// Stands in for a call that waits until an instant of a clock: SIM_WAIT(name, parameters, clock, instant, arguments),
// whose arguments call the real instant `until`. It has a name of its own, as the C library's prototypes promise more
// than their callers keep, such as that an instant is never null.
#define SIM_WAIT(name, parameters, clock, instant, arguments)                                                          \
    SIM_INTERPOSED int wait_##name parameters __asm__(#name);                                                          \
    static SIM_NEXT(name, decltype(wait_##name));                                                                      \
    SIM_INTERPOSED int wait_##name parameters                                                                          \
    {                                                                                                                  \
        timespec real;                                                                                                 \
        const timespec *const until = sim::real_deadline(clock, instant, real);                                        \
        return next_##name arguments;                                                                                  \
    }
