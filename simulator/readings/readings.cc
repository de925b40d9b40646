// What stands in for the C library's calls that read the time.
#include <sys/time.h>
#include <sys/timeb.h>

#include <ctime>

#include "simulator/bare/next.h"
#include "simulator/readings/own_clock.h"

namespace sim
{

static SIM_NEXT(gettimeofday, int(timeval *, void *));
static SIM_NEXT(time, time_t(time_t *));
static SIM_NEXT(timespec_get, int(timespec *, int));

} // namespace sim

SIM_INTERPOSED int clock_gettime(clockid_t source, timespec *time) noexcept
{
    const bool virtualised = source == CLOCK_REALTIME || source == CLOCK_REALTIME_COARSE;
    return virtualised && sim::read_clock(*time) ? 0 : sim::next_clock_gettime(source, time);
}

// Under a name of its own, since the C library's prototype promises a time that is never null; old programs
// ask for the zone alone.
SIM_INTERPOSED int seen_gettimeofday(timeval *time, void *zone) __asm__("gettimeofday");

SIM_INTERPOSED int seen_gettimeofday(timeval *time, void *zone)
{
    timespec now;
    if (time == nullptr || !sim::read_clock(now))
        return sim::next_gettimeofday(time, zone);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return zone != nullptr ? sim::next_gettimeofday(nullptr, zone) : 0;
}

SIM_INTERPOSED int __gettimeofday(timeval *, void *) __attribute__((alias("gettimeofday")));

SIM_INTERPOSED time_t time(time_t *time) noexcept
{
    timespec now;
    if (!sim::read_clock(now))
        return sim::next_time(time);
    if (time != nullptr)
        *time = now.tv_sec;
    return now.tv_sec;
}

SIM_INTERPOSED int timespec_get(timespec *time, int base) noexcept
{
    return base == TIME_UTC && sim::read_clock(*time) ? base : sim::next_timespec_get(time, base);
}

SIM_INTERPOSED int ftime(timeb *time)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, static_cast<unsigned short>(now.tv_nsec / 1'000'000), 0, 0};
    return 0;
}
