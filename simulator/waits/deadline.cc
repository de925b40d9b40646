#include "simulator/waits/deadline.h"

#include "simulator/bare/memory.h"
#include "simulator/readings/own_clock.h"
#include "simulator/readings/readings.h"

namespace sim
{

const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real)
{
    Pace pace;
    const bool shows_time = source == CLOCK_REALTIME || source == CLOCK_REALTIME_ALARM || source == CLOCK_TAI;
    if (!shows_time || instant == nullptr || !own_clock(pace) || !is_readable(instant))
        return instant;
    if (instant->tv_sec < 0 || instant->tv_nsec < 0 || instant->tv_nsec > 999'999'999)
        return instant;
    const int64_t ahead = source == CLOCK_TAI ? atomic_offset() : 0;
    real = pace.when({instant->tv_sec - ahead, instant->tv_nsec}, real_time());
    if (__builtin_add_overflow(real.tv_sec, ahead, &real.tv_sec))
        real.tv_sec = INT64_MAX;
    if (real.tv_sec == 0 && real.tv_nsec == 0)
        real.tv_nsec = 1; // a timer would take the epoch for "never"
    return &real;
}

} // namespace sim
