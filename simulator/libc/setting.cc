#include "simulator/libc/setting.h"

#include <cerrno>

#include "simulator/raw/next.h"

namespace sim
{

static SIM_NEXT(clock_settime, int(clockid_t, const timespec *));
static SIM_NEXT(settimeofday, int(const timeval *, const void *));
static SIM_NEXT(adjtime, int(const timeval *, timeval *));
static SIM_NEXT(adjtimex, int(timex *));
static SIM_NEXT(clock_adjtime, int(clockid_t, timex *));
static SIM_NEXT(ntp_gettime, int(ntptimeval *));
static SIM_NEXT(ntp_gettimex, int(ntptimeval *));

bool may_set_time()
{
    ClockRate rate;
    if (!own_clock(rate))
        return true;
    errno = EPERM;
    return false;
}

// The others cannot be set, or are not the machine's time.
bool may_set_time(clockid_t source)
{
    return source != CLOCK_REALTIME || may_set_time();
}

void make_virtual(timex &answer)
{
    timespec now;
    if (read_clock(now))
        answer.time = {now.tv_sec, (answer.status & STA_NANO) != 0 ? now.tv_nsec : now.tv_nsec / 1000};
}

// What these tell beside the time is as the kernel has it.
static int seen_ntp(ntptimeval *answer, Next<int(ntptimeval *)> &next)
{
    const int state = next(answer);
    ClockRate rate;
    timex present = {};
    if (state >= 0 && own_clock(rate) && next_adjtimex(&present) >= 0) {
        make_virtual(present);
        answer->time = present.time;
    }
    return state;
}

} // namespace sim

SIM_INTERPOSED int clock_settime(clockid_t source, const timespec *time) noexcept
{
    return sim::may_set_time(source) ? sim::next_clock_settime(source, time) : -1;
}

SIM_INTERPOSED int settimeofday(const timeval *time, const struct timezone *zone) noexcept
{
    return sim::may_set_time() ? sim::next_settimeofday(time, zone) : -1;
}

// Which old programs call.
SIM_INTERPOSED int stime(const time_t *time) noexcept
{
    const timespec whole = {*time, 0};
    return clock_settime(CLOCK_REALTIME, &whole);
}

SIM_INTERPOSED int adjtime(const timeval *change, timeval *left) noexcept
{
    return change == nullptr || sim::may_set_time() ? sim::next_adjtime(change, left) : -1;
}

SIM_INTERPOSED int adjtimex(timex *request) noexcept
{
    return sim::adjust(request, [=] { return sim::next_adjtimex(request); });
}

SIM_INTERPOSED int __adjtimex(timex *) noexcept __attribute__((alias("adjtimex"), nonnull));
SIM_INTERPOSED int ntp_adjtime(timex *) noexcept __attribute__((alias("adjtimex")));

SIM_INTERPOSED int clock_adjtime(clockid_t source, timex *request) noexcept
{
    const auto kernel = [=] { return sim::next_clock_adjtime(source, request); };
    return source == CLOCK_REALTIME ? sim::adjust(request, kernel) : kernel();
}

// Under names of their own, since the headers give the one the other's.
SIM_INTERPOSED int seen_ntp_gettime(ntptimeval *answer) __asm__("ntp_gettime");
SIM_INTERPOSED int seen_ntp_gettimex(ntptimeval *answer) __asm__("ntp_gettimex");

SIM_INTERPOSED int seen_ntp_gettime(ntptimeval *answer)
{
    return sim::seen_ntp(answer, sim::next_ntp_gettime);
}

SIM_INTERPOSED int seen_ntp_gettimex(ntptimeval *answer)
{
    return sim::seen_ntp(answer, sim::next_ntp_gettimex);
}
