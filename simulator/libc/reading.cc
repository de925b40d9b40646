// Stand-ins for the C library's calls that read the time.
#include "simulator/libc/reading.h"

#include <sys/timeb.h>

#include "base/integer.h"
#include "simulator/process/clock_ids.h"
#include "simulator/process/intervals.h"
#include "simulator/process/own_clock.h"
#include "simulator/process/own_course.h"
#include "simulator/raw/next.h"

namespace sim
{

#ifndef SYS_time // newer architectures lack it
constexpr long SYS_time = 0;
#endif

static SIM_NEXT_EARLY(gettimeofday, SYS_gettimeofday, int(timeval *, void *));
static SIM_NEXT_EARLY(time, SYS_time, time_t(time_t *));

int64_t seconds_ahead(clockid_t source)
{
    return seconds_ahead(source, real_time);
}

[[gnu::cold]] static bool read_rare_source(clockid_t source, timespec &time)
{
    if (!virtual_ids.has(source) || (optional_ids.has(source) && next_clock_gettime(source, &time) != 0))
        return false;
    if (source == CLOCK_REALTIME_COARSE)
        return read_coarse_clock(time);
    if (!read_clock(time))
        return false;
    time.tv_sec = ov::wrapping_add(time.tv_sec, seconds_ahead(source));
    return true;
}

bool read_source(clockid_t source, timespec &time)
{
    if (source == CLOCK_REALTIME) [[likely]]
        return read_clock(time);
    if (intervals_by_clock.load(std::memory_order_relaxed) && read_interval_clock(source, time))
        return true;
    return read_rare_source(source, time);
}

void to_own_clock(timeval &time)
{
    timespec now;
    if (read_clock(now))
        time = {now.tv_sec, now.tv_nsec / 1000};
}

} // namespace sim

SIM_REPLACE(int, clock_gettime, (clockid_t source, timespec *time))
{
    return sim::read_source(source, *time) ? 0 : sim::next_clock_gettime(source, time);
}

// Old programs pass no time to get only the zone.
SIM_REPLACE(int, gettimeofday, (timeval * time, void *zone))
{
    timespec now;
    if (time == nullptr || !sim::read_clock(now))
        return sim::next_gettimeofday(time, zone);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return zone != nullptr ? sim::next_gettimeofday(nullptr, zone) : 0;
}

SIM_ALIAS(__gettimeofday, gettimeofday)

SIM_REPLACE(time_t, time, (time_t * time))
{
    timespec now;
    if (!sim::read_coarse_clock(now))
        return sim::next_time(time);
    if (time != nullptr)
        *time = now.tv_sec;
    return now.tv_sec;
}

SIM_STAND_IN(int, timespec_get, (timespec * time, int base))
{
    return base == TIME_UTC && sim::read_clock(*time) ? base : next_timespec_get(time, base);
}

SIM_REPLACE(int, ftime, (timeb * time))
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, static_cast<unsigned short>(now.tv_nsec / 1'000'000), 0, 0};
    return 0;
}
