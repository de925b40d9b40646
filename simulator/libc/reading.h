// What the system's clocks show to a process with a virtual clock.
#pragma once

#include <sys/time.h>
#include <sys/timex.h>

#include <cstdint>
#include <ctime>

namespace sim
{

// Reads a system clock as the process sees it; returns false if that is its real value. Async-signal-safe, as all
// functions here.
bool read_source(clockid_t source, timespec &time);

// By how many seconds one of them is ahead of CLOCK_REALTIME in the real time.
int64_t seconds_ahead(clockid_t source);

// Make a kernel's answer virtual; they leave it alone in real time.
void make_virtual(timeval &time);
void make_virtual(timex &answer);

} // namespace sim
