// Converts the lengths of time in calls, with --intervals.
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

// Rounds up.
inline timeval rounded_up(const timespec &time)
{
    const long microseconds = (time.tv_nsec + 999) / 1000;
    return {time.tv_sec + microseconds / 1'000'000, microseconds % 1'000'000};
}

inline void make_real(const IntervalRate &interval_rate, timespec &length)
{
    if (is_length(length))
        length = interval_rate.real_length(length);
}
inline void make_real(const IntervalRate &interval_rate, timeval &length)
{
    if (is_length(length))
        length = rounded_up(interval_rate.real_length({length.tv_sec, length.tv_usec * 1000}));
}
inline void make_shown(const IntervalRate &interval_rate, timespec &length)
{
    length = interval_rate.shown_length(length);
}
inline void make_shown(const IntervalRate &interval_rate, timeval &length)
{
    length = rounded_up(interval_rate.shown_length({length.tv_sec, length.tv_usec * 1000}));
}

} // namespace sim
