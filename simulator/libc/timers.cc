// Stand-ins for the calls that set timers, to an instant or, with --intervals, to a length.
#include <sys/timerfd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <type_traits>

#include "simulator/libc/deadline.h"
#include "simulator/libc/lasting.h"
#include "simulator/libc/reading.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/next.h"
#include "simulator/raw/signals.h"

namespace sim
{

// The timers of this process that count processor time, which always passes at its real speed.
static constinit std::array<std::atomic<intptr_t>, 64> processor_timers = {};

// The key of a timer, where 0 is a free slot.
template <typename Timer> static intptr_t key_of(Timer timer)
{
    return (intptr_t)timer + 1; // NOLINT: a number or a pointer
}

static void note_timer(clockid_t source, timer_t timer)
{
    const bool counts_processor = source < 0 || source == CLOCK_PROCESS_CPUTIME_ID || source == CLOCK_THREAD_CPUTIME_ID;
    intptr_t former = key_of(timer); // of a deleted timer
    for (auto &place : processor_timers)
        if (place.compare_exchange_strong(former, 0, std::memory_order_relaxed))
            break;
        else
            former = key_of(timer);
    for (auto &place : processor_timers) {
        intptr_t none = 0;
        if (!counts_processor || place.compare_exchange_strong(none, key_of(timer), std::memory_order_relaxed))
            return;
    }
}

// Gets the rate of a timer's lengths; returns false for real time.
template <typename Timer> static bool find_interval_rate(Timer timer, IntervalRate &interval_rate)
{
    if (!own_interval_rate(interval_rate))
        return false;
    if constexpr (std::is_same_v<Timer, timer_t>)
        for (const auto &place : processor_timers)
            if (place.load(std::memory_order_relaxed) == key_of(timer))
                return false;
    return true;
}

template <typename Timer> using Set = int(Timer, int, const itimerspec *, itimerspec *);
template <typename Timer> using Get = int(Timer, itimerspec *);

// CLOCK_PROCESS_CPUTIME_ID stands for all that show real values.
static clockid_t source_that_shows(const timespec &shown)
{
    constexpr time_t soon = 10; // two of the first clocks are equal or differ by more
    const time_t ahead = shown.tv_sec - real_time().tv_sec;
    if (labs(ahead) < soon)
        return CLOCK_REALTIME;
    if (labs(ahead - seconds_ahead(CLOCK_TAI)) < soon)
        return CLOCK_TAI;
    const timespec monotonic = real_time(CLOCK_MONOTONIC), boot = real_time(CLOCK_BOOTTIME);
    const auto since = [&](const timespec &it) {
        return length_between(shown, it).tv_sec < soon && !is_before(it, shown);
    };
    return since(monotonic) ? CLOCK_MONOTONIC : since(boot) ? CLOCK_BOOTTIME : CLOCK_PROCESS_CPUTIME_ID;
}

static bool is_zero(const timespec &time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

// The kernel does not tell which clock a timer uses. So this sets the timer to a far instant and reads the remaining
// time, with signals blocked. That may fail although the timer is set: with EFAULT if the old setting cannot be
// written, with ECANCELED if the machine's clock was set.
template <typename Timer>
static int set_until(Next<Set<Timer>> &set, Next<Get<Timer>> &get, Timer timer, int flags, itimerspec until,
                     itimerspec *old)
{
    timespec real;
    constexpr time_t far = 8'000'000'000; // in the year 2223
    const itimerspec question = {until.it_interval, {far, 0}};
    itimerspec answer;
    const SignalsHeld held;
    const int failed = set(timer, flags, &question, old) != 0 ? errno : 0;
    if ((failed != 0 && failed != EFAULT && failed != ECANCELED) || get(timer, &answer) != 0)
        return -1;
    until.it_value =
        *real_deadline(source_that_shows(length_between(answer.it_value, question.it_value)), &until.it_value, real);
    if (set(timer, flags, &until, nullptr) != 0)
        return -1;
    return failed != 0 ? -1 : 0; // with the errno of that
}

static void show_setting(const IntervalRate &interval_rate, itimerspec &setting)
{
    make_shown(interval_rate, setting.it_value);
    make_shown(interval_rate, setting.it_interval);
}

template <typename Timer>
static int set_timer(Next<Set<Timer>> &set, Next<Get<Timer>> &get, Timer timer, int flags, const itimerspec *wanted,
                     itimerspec *old)
{
    IntervalRate interval_rate;
    timespec real;
    const bool is_instant = (flags & TIMER_ABSTIME) != 0, has_interval_rate = find_interval_rate(timer, interval_rate);
    if (!(is_instant || has_interval_rate) || wanted == nullptr || !is_readable(&wanted->it_interval) ||
        !is_readable(&wanted->it_value))
        return set(timer, flags, wanted, old);
    itimerspec until = *wanted;
    const bool stops = is_zero(until.it_value);
    if (has_interval_rate && is_length(until.it_interval) && is_length(until.it_value)) {
        make_real(interval_rate, until.it_interval);
        if (!is_instant)
            make_real(interval_rate, until.it_value);
    }
    const bool is_moved =
        is_instant && !stops && is_length(until.it_value) &&
        (has_interval_rate || real_deadline(CLOCK_REALTIME, &until.it_value, real) != &until.it_value);
    const int result = is_moved ? set_until(set, get, timer, flags, until, old) : set(timer, flags, &until, old);
    if (result == 0 && has_interval_rate && old != nullptr)
        show_setting(interval_rate, *old);
    return result;
}

template <typename Timer> static int get_timer(Next<Get<Timer>> &get, Timer timer, itimerspec *left)
{
    IntervalRate interval_rate;
    const int result = get(timer, left);
    if (result == 0 && find_interval_rate(timer, interval_rate))
        show_setting(interval_rate, *left);
    return result;
}

static SIM_NEXT_VERSION(next_timer_settime, "timer_settime", SIM_SINCE("GLIBC_2.3.3"), Set<timer_t>);
static SIM_NEXT_VERSION(next_timer_gettime, "timer_gettime", SIM_SINCE("GLIBC_2.3.3"), Get<timer_t>);
static SIM_NEXT_VERSION(next_timer_create, "timer_create", SIM_SINCE("GLIBC_2.3.3"),
                        int(clockid_t, sigevent *, timer_t *));

static int create_timer(clockid_t source, sigevent *event, timer_t *timer)
{
    const int result = next_timer_create(source, event, timer);
    if (result == 0)
        note_timer(source, *timer);
    return result;
}

} // namespace sim

SIM_STAND_IN(int, timerfd_gettime, (int timer, itimerspec *left))
{
    return sim::get_timer(next_timerfd_gettime, timer, left);
}

SIM_STAND_IN(int, timerfd_settime, (int timer, int flags, const itimerspec *wanted, itimerspec *old))
{
    return sim::set_timer(next_timerfd_settime, next_timerfd_gettime, timer, flags, wanted, old);
}

SIM_INTERPOSED int sim_timer_settime(timer_t timer, int flags, const itimerspec *wanted, itimerspec *old)
{
    return sim::set_timer(sim::next_timer_settime, sim::next_timer_gettime, timer, flags, wanted, old);
}
SIM_VERSION(sim_timer_settime, "timer_settime@@GLIBC_2.34")

SIM_INTERPOSED int sim_timer_gettime(timer_t timer, itimerspec *left)
{
    return sim::get_timer(sim::next_timer_gettime, timer, left);
}
SIM_VERSION(sim_timer_gettime, "timer_gettime@@GLIBC_2.34")

SIM_INTERPOSED int sim_timer_create(clockid_t source, sigevent *event, timer_t *timer)
{
    return sim::create_timer(source, event, timer);
}
SIM_VERSION(sim_timer_create, "timer_create@@GLIBC_2.34")

// Until 2022 these calls were in a library of their own.
SIM_INTERPOSED int sim_timer_gettime_of_2021(timer_t timer, itimerspec *left)
{
    return sim::get_timer(sim::next_timer_gettime, timer, left);
}
SIM_VERSION(sim_timer_gettime_of_2021, "timer_gettime@" SIM_SINCE("GLIBC_2.3.3"))

SIM_INTERPOSED int sim_timer_create_of_2021(clockid_t source, sigevent *event, timer_t *timer)
{
    return sim::create_timer(source, event, timer);
}
SIM_VERSION(sim_timer_create_of_2021, "timer_create@" SIM_SINCE("GLIBC_2.3.3"))

SIM_INTERPOSED int sim_timer_settime_of_2021(timer_t timer, int flags, const itimerspec *wanted, itimerspec *old)
{
    return sim::set_timer(sim::next_timer_settime, sim::next_timer_gettime, timer, flags, wanted, old);
}
SIM_VERSION(sim_timer_settime_of_2021, "timer_settime@" SIM_SINCE("GLIBC_2.3.3"))

#if defined(__x86_64__)
// Until 2004 a timer was a number.
static SIM_NEXT_VERSION(next_settime_of_2003, "timer_settime", "GLIBC_2.2.5", sim::Set<int>);
static SIM_NEXT_VERSION(next_gettime_of_2003, "timer_gettime", "GLIBC_2.2.5", sim::Get<int>);

SIM_INTERPOSED int sim_timer_settime_of_2003(int timer, int flags, const itimerspec *wanted, itimerspec *old)
{
    return sim::set_timer(next_settime_of_2003, next_gettime_of_2003, timer, flags, wanted, old);
}
SIM_VERSION(sim_timer_settime_of_2003, "timer_settime@GLIBC_2.2.5")
#endif
