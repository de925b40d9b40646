// Stand-ins for the C library's sleeps. With --intervals their length goes by the clock.
#include <threads.h>
#include <unistd.h>

#include <cerrno>

#include "simulator/libc/futexes.h"
#include "simulator/raw/next.h"

namespace sim
{

// Sleeps, and returns the rest of the time after a signal. Returns false if the kernel should get the call.
static bool sleep_by_clock(Deadline &deadline, timespec *left, int &error)
{
    const long result = deadline.has_passed() ? 0 : sleep_until(deadline, true);
    if (result != 0 && result != -EINTR)
        return false;
    error = static_cast<int>(-result);
    if (error != 0 && left != nullptr)
        *left = deadline.left();
    return true;
}

static bool sleeps_by_monotonic_time(clockid_t source)
{
    return source == CLOCK_MONOTONIC || source == CLOCK_REALTIME || source == CLOCK_TAI;
}

} // namespace sim

SIM_STAND_IN(int, clock_nanosleep, (clockid_t source, int flags, const timespec *time, timespec *left))
{
    const bool is_instant = (flags & TIMER_ABSTIME) != 0;
    sim::Deadline deadline;
    timespec real;
    int error;
    if (is_instant && source != CLOCK_REALTIME_ALARM && deadline.begin(source, time) && !deadline.has_passed() &&
        sim::sleep_by_clock(deadline, nullptr, error))
        return error;
    if (is_instant)
        return next_clock_nanosleep(source, flags, sim::real_deadline(source, time, real), left);
    if (sim::sleeps_by_monotonic_time(source) && deadline.begin_length(time) &&
        sim::sleep_by_clock(deadline, left, error))
        return error;
    if (source != CLOCK_BOOTTIME)
        return next_clock_nanosleep(source, flags, time, left);
    error = next_clock_nanosleep(source, flags, sim::real_length(time, real), left);
    if (error == EINTR && left != nullptr)
        sim::show_left(*left);
    return error;
}

SIM_STAND_IN(int, nanosleep, (const timespec *length, timespec *left))
{
    sim::Deadline deadline;
    int error;
    if (!deadline.begin_length(length) || !sim::sleep_by_clock(deadline, left, error))
        return next_nanosleep(length, left);
    if (error != 0)
        errno = error;
    return error != 0 ? -1 : 0;
}
SIM_ALIAS(__nanosleep, nanosleep)

SIM_STAND_IN(int, thrd_sleep, (const timespec *length, timespec *left))
{
    sim::Deadline deadline;
    int error;
    if (!deadline.begin_length(length) || !sim::sleep_by_clock(deadline, left, error))
        return next_thrd_sleep(length, left);
    return error != 0 ? -1 : 0;
}

SIM_STAND_IN(unsigned, sleep, (unsigned seconds))
{
    const timespec length = {seconds, 0};
    sim::Deadline deadline;
    timespec left = {};
    int error;
    if (!deadline.begin_length(&length) || !sim::sleep_by_clock(deadline, &left, error))
        return next_sleep(seconds);
    if (error != 0)
        errno = error;
    return static_cast<unsigned>(left.tv_sec);
}

SIM_STAND_IN(int, usleep, (useconds_t microseconds))
{
    const timespec length = {microseconds / 1'000'000, microseconds % 1'000'000 * 1000};
    sim::Deadline deadline;
    int error;
    if (!deadline.begin_length(&length) || !sim::sleep_by_clock(deadline, nullptr, error))
        return next_usleep(microseconds);
    if (error != 0)
        errno = error;
    return error != 0 ? -1 : 0;
}
