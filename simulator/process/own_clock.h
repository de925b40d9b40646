// The clock that this process lives by.
#pragma once

#include <ctime>

#include "simulator/raw/next.h"
#include "simulator/table/clock.h"

namespace sim
{

// The rate of the clock that this process lives by at present; false when that is the real time. Makes no system
// call, takes no lock and searches nothing unless a clock has come or gone since the last time, and then only
// searches. Async-signal-safe.
bool own_clock(ClockRate &rate);

// The time that this process is to see; false when that is the real time. Async-signal-safe. The coarse one, which
// costs half, is as the kernel's: it lags a little, and time() has its seconds.
bool read_clock(timespec &time);
bool read_coarse_clock(timespec &time);

// The C library's own.
extern Next<int(clockid_t, timespec *), SYS_clock_gettime> next_clock_gettime;

// The real time by one of the system's clocks, whatever clock this process lives by.
timespec real_time(clockid_t source = CLOCK_REALTIME);

// To be called by a process that has just been made of another, in memory of its own.
void reset_after_fork();

} // namespace sim
