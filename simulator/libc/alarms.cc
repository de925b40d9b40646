// Stand-ins for the calls that set alarms and the timeouts of sockets, which go by the clock with --intervals.
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "simulator/libc/lasting.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/next.h"

namespace sim
{

static bool is_limit(int level, int option)
{
    constexpr int receive = 66, send = 67; // with a timeval of 64 bits, on all machines
    return level == SOL_SOCKET &&
           (option == SO_RCVTIMEO || option == SO_SNDTIMEO || option == receive || option == send);
}

static void show_setting(const IntervalRate &interval_rate, itimerval &setting)
{
    make_shown(interval_rate, setting.it_value);
    make_shown(interval_rate, setting.it_interval);
}

} // namespace sim

SIM_STAND_IN(int, getitimer, (__itimer_which_t timer, itimerval *left))
{
    sim::IntervalRate interval_rate;
    const int result = next_getitimer(timer, left);
    if (result == 0 && timer == ITIMER_REAL && sim::own_interval_rate(interval_rate))
        sim::show_setting(interval_rate, *left);
    return result;
}

SIM_STAND_IN(int, setitimer, (__itimer_which_t timer, const itimerval *wanted, itimerval *old))
{
    sim::IntervalRate interval_rate;
    itimerval real = {};
    if (timer != ITIMER_REAL || wanted == nullptr || !sim::own_interval_rate(interval_rate) ||
        sim::read_given(real, const_cast<itimerval *>(wanted)) != 0)
        return next_setitimer(timer, wanted, old);
    sim::make_real(interval_rate, real.it_value);
    sim::make_real(interval_rate, real.it_interval);
    const int result = next_setitimer(timer, &real, old);
    if (result == 0 && old != nullptr)
        sim::show_setting(interval_rate, *old);
    return result;
}

SIM_STAND_IN(unsigned, alarm, (unsigned seconds))
{
    sim::IntervalRate interval_rate;
    if (!sim::own_interval_rate(interval_rate))
        return next_alarm(seconds);
    const itimerval wanted = {{0, 0}, {seconds, 0}};
    itimerval old = {};
    setitimer(ITIMER_REAL, &wanted, &old);
    const bool is_up = old.it_value.tv_usec >= 500'000 || (old.it_value.tv_sec == 0 && old.it_value.tv_usec > 0);
    return static_cast<unsigned>(old.it_value.tv_sec + (is_up ? 1 : 0)); // as the kernel rounds it
}

SIM_STAND_IN(useconds_t, ualarm, (useconds_t first, useconds_t interval))
{
    sim::IntervalRate interval_rate;
    if (!sim::own_interval_rate(interval_rate))
        return next_ualarm(first, interval);
    const itimerval wanted = {{0, interval}, {0, first}};
    itimerval old = {};
    return setitimer(ITIMER_REAL, &wanted, &old) != 0
               ? static_cast<useconds_t>(-1)
               : static_cast<useconds_t>(old.it_value.tv_sec * 1'000'000 + old.it_value.tv_usec);
}

SIM_STAND_IN(int, setsockopt, (int socket, int level, int option, const void *value, socklen_t size))
{
    sim::IntervalRate interval_rate;
    timeval limit = {};
    if (!sim::is_limit(level, option) || size < sizeof limit || !sim::own_interval_rate(interval_rate) ||
        sim::read_given(limit, const_cast<void *>(value)) != 0)
        return next_setsockopt(socket, level, option, value, size);
    sim::make_real(interval_rate, limit);
    return next_setsockopt(socket, level, option, &limit, socklen_t{sizeof limit});
}

SIM_STAND_IN(int, getsockopt, (int socket, int level, int option, void *value, socklen_t *size))
{
    sim::IntervalRate interval_rate;
    const int result = next_getsockopt(socket, level, option, value, size);
    if (result == 0 && sim::is_limit(level, option) && *size == sizeof(timeval) &&
        sim::own_interval_rate(interval_rate))
        sim::make_shown(interval_rate, *static_cast<timeval *>(value));
    return result;
}
