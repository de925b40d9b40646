// Lengths of time as the records of calls have them, where intervals go by the clock.
#pragma once

#include <sys/time.h>

#include <ctime>

#include "simulator/process/intervals.h"
#include "simulator/table/clock.h"

namespace sim
{

inline bool is_length(const timespec &time)
{
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < ZYNOV_SECOND;
}
inline bool is_length(const timeval &time)
{
    return time.tv_sec >= 0 && time.tv_usec >= 0 && time.tv_usec < 1'000'000;
}

// Rounded up. Converted are valid lengths alone: for the others the call fails.
inline timeval rounded_up(const timespec &time)
{
    const long microseconds = (time.tv_nsec + 999) / 1000;
    return {time.tv_sec + microseconds / 1'000'000, microseconds % 1'000'000};
}

inline void make_real(const Pace &pace, timespec &length)
{
    if (is_length(length))
        length = pace.real_length(length);
}
inline void make_real(const Pace &pace, timeval &length)
{
    if (is_length(length))
        length = rounded_up(pace.real_length({length.tv_sec, length.tv_usec * 1000}));
}
inline void make_shown(const Pace &pace, timespec &length)
{
    length = pace.shown_length(length);
}
inline void make_shown(const Pace &pace, timeval &length)
{
    length = rounded_up(pace.shown_length({length.tv_sec, length.tv_usec * 1000}));
}

} // namespace sim
