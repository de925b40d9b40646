#pragma once

#include <cstdint>
#include <ctime>

namespace sim
{

// By how many seconds CLOCK_TAI is ahead of CLOCK_REALTIME, as the kernel has it. Clocks are read for it, by a function
// that tells a real time, since a filter of system calls may end who asks; within one second, so that what goes by
// between them does not count.
template <typename Read> int64_t atomic_offset(const Read &read)
{
    timespec before, atomic, after;
    do {
        before = read(CLOCK_REALTIME);
        atomic = read(CLOCK_TAI);
        after = read(CLOCK_REALTIME);
    } while (after.tv_sec != before.tv_sec);
    return atomic.tv_sec - after.tv_sec + (atomic.tv_nsec > after.tv_nsec ? 1 : 0);
}

} // namespace sim
