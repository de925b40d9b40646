// What the clocks of the system show where a process lives by a clock of its own.
#pragma once

#include <sys/time.h>
#include <sys/timex.h>

#include <cstdint>
#include <ctime>

namespace sim
{

// The time of day that a process is to see by one of the system's clocks; false where that is the real one, or the
// clock tells none. Async-signal-safe, as all here.
bool read_source(clockid_t source, timespec &time);

// By how many seconds one of them is ahead of CLOCK_REALTIME in the real time.
int64_t seconds_ahead(clockid_t source);

// The parts of answers that the kernel has given: left as they are in the real time.
void make_virtual(timeval &time);
void make_virtual(timex &answer);

} // namespace sim
