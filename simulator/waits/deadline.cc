#include "simulator/waits/deadline.h"

#include "simulator/readings/own_clock.h"

namespace sim
{

const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real)
{
    Pace pace;
    if (!shows_time(source) || instant == nullptr || !own_clock(pace))
        return instant;
    if (instant->tv_sec < 0 || instant->tv_nsec < 0 || instant->tv_nsec > 999'999'999)
        return instant;
    real = pace.when(*instant, real_time());
    if (real.tv_sec == 0 && real.tv_nsec == 0)
        real.tv_nsec = 1; // a timer would take the epoch for "never"
    return &real;
}

} // namespace sim
