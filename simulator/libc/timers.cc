// Stand-ins for the calls that set a timer to an instant. The interval between expiries is real time.
#include <sys/timerfd.h>

#include <cerrno>
#include <cstdlib>

#include "simulator/libc/deadline.h"
#include "simulator/libc/reading.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/next.h"
#include "simulator/raw/signals.h"

namespace sim
{

template <typename Timer> using Set = int(Timer, int, const itimerspec *, itimerspec *);
template <typename Timer> using Get = int(Timer, itimerspec *);

static clockid_t source_that_shows(time_t shown)
{
    constexpr time_t soon = 10; // two clocks are equal or differ by more
    const time_t ahead = shown - real_time().tv_sec;
    return labs(ahead) < soon                              ? CLOCK_REALTIME
           : labs(ahead - seconds_ahead(CLOCK_TAI)) < soon ? CLOCK_TAI
                                                           : CLOCK_MONOTONIC;
}

// The kernel does not tell which clock a timer uses. So this sets the timer to a far instant and reads the remaining
// time, with signals blocked. That may fail although the timer is set: with EFAULT if the old setting cannot be
// written, with ECANCELED if the machine's clock was set.
template <typename Timer>
static int set_until(Next<Set<Timer>> &set, Next<Get<Timer>> &get, Timer timer, int flags, const itimerspec *wanted,
                     itimerspec *old)
{
    timespec real;
    const bool is_instant = (flags & TIMER_ABSTIME) != 0 && wanted != nullptr && is_readable(&wanted->it_interval);
    if (!is_instant || real_deadline(CLOCK_REALTIME, &wanted->it_value, real) == &wanted->it_value ||
        (wanted->it_value.tv_sec == 0 && wanted->it_value.tv_nsec == 0)) // stops the timer
        return set(timer, flags, wanted, old);

    constexpr time_t far = 8'000'000'000; // in the year 2223
    itimerspec until = *wanted, answer;
    const itimerspec question = {until.it_interval, {far, 0}};
    const SignalsHeld held;
    const int failed = set(timer, flags, &question, old) != 0 ? errno : 0;
    if ((failed != 0 && failed != EFAULT && failed != ECANCELED) || get(timer, &answer) != 0)
        return -1;
    until.it_value = *real_deadline(source_that_shows(far - answer.it_value.tv_sec), &until.it_value, real);
    if (set(timer, flags, &until, nullptr) != 0)
        return -1;
    if (failed != 0)
        errno = failed;
    return failed != 0 ? -1 : 0;
}

static SIM_NEXT(timerfd_gettime, Get<int>);
static SIM_NEXT_VERSION(next_timer_settime, "timer_settime", SIM_SINCE("GLIBC_2.3.3"), Set<timer_t>);
static SIM_NEXT_VERSION(next_timer_gettime, "timer_gettime", SIM_SINCE("GLIBC_2.3.3"), Get<timer_t>);

} // namespace sim

SIM_STAND_IN(int, timerfd_settime, (int timer, int flags, const itimerspec *wanted, itimerspec *old))
{
    return sim::set_until(next_timerfd_settime, sim::next_timerfd_gettime, timer, flags, wanted, old);
}

SIM_INTERPOSED int sim_timer_settime(timer_t timer, int flags, const itimerspec *wanted, itimerspec *old)
{
    return sim::set_until(sim::next_timer_settime, sim::next_timer_gettime, timer, flags, wanted, old);
}
SIM_VERSION(sim_timer_settime, "timer_settime@@GLIBC_2.34")

// Until 2022 these calls were in a library of their own.
SIM_INTERPOSED int sim_timer_settime_of_2021(timer_t timer, int flags, const itimerspec *wanted, itimerspec *old)
{
    return sim::set_until(sim::next_timer_settime, sim::next_timer_gettime, timer, flags, wanted, old);
}
SIM_VERSION(sim_timer_settime_of_2021, "timer_settime@" SIM_SINCE("GLIBC_2.3.3"))

#if defined(__x86_64__)
// Until 2004 a timer was a number.
static SIM_NEXT_VERSION(next_settime_of_2003, "timer_settime", "GLIBC_2.2.5", sim::Set<int>);
static SIM_NEXT_VERSION(next_gettime_of_2003, "timer_gettime", "GLIBC_2.2.5", sim::Get<int>);

SIM_INTERPOSED int sim_timer_settime_of_2003(int timer, int flags, const itimerspec *wanted, itimerspec *old)
{
    return sim::set_until(next_settime_of_2003, next_gettime_of_2003, timer, flags, wanted, old);
}
SIM_VERSION(sim_timer_settime_of_2003, "timer_settime@GLIBC_2.2.5")
#endif
