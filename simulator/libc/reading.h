// Reads the system's clocks as this process sees them.
#pragma once

#include <sys/time.h>
#include <sys/timex.h>

#include <cstdint>
#include <ctime>

namespace sim
{

// Reads a system clock; returns false if this process sees its real value. Async-signal-safe, as all functions here.
bool read_source(clockid_t source, timespec &time);

// By how many seconds a system clock is ahead of CLOCK_REALTIME in real time.
int64_t seconds_ahead(clockid_t source);

// Convert the kernel's answer to this process's clock. They change nothing if it has real time.
void to_own_clock(timeval &time);
void to_own_clock(timex &answer);

} // namespace sim
