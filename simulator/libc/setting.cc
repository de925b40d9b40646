#include "simulator/libc/setting.h"

#include <cerrno>

#include "simulator/process/clock_ids.h"
#include "simulator/raw/next.h"

namespace sim
{

static SIM_NEXT(adjtimex, int(timex *));

bool may_set_time()
{
    ClockRate rate;
    if (!own_clock(rate))
        return true;
    errno = EPERM;
    return false;
}

// The other ids cannot be set, or do not set the machine's time.
bool may_set_time(clockid_t source)
{
    return !settable_ids.has(source) || may_set_time();
}

void to_own_clock(timex &answer)
{
    timespec now;
    if (read_clock(now))
        answer.time = {now.tv_sec, (answer.status & STA_NANO) != 0 ? now.tv_nsec : now.tv_nsec / 1000};
}

// Only the time is converted; the other fields are the kernel's.
static int get_ntp_time(ntptimeval *answer, Next<int(ntptimeval *)> &next)
{
    const int state = next(answer);
    ClockRate rate;
    timex present = {};
    if (state >= 0 && own_clock(rate) && next_adjtimex(&present) >= 0) {
        to_own_clock(present);
        answer->time = present.time;
    }
    return state;
}

} // namespace sim

SIM_STAND_IN(int, clock_settime, (clockid_t source, const timespec *time))
{
    return sim::may_set_time(source) ? next_clock_settime(source, time) : -1;
}

SIM_STAND_IN(int, settimeofday, (const timeval *time, const struct timezone *zone))
{
    return sim::may_set_time() ? next_settimeofday(time, zone) : -1;
}

// Old programs call these.
SIM_REPLACE(int, stime, (const time_t *time))
{
    const timespec whole = {*time, 0};
    return clock_settime(CLOCK_REALTIME, &whole);
}

SIM_STAND_IN(int, adjtime, (const timeval *change, timeval *left))
{
    return change == nullptr || sim::may_set_time() ? next_adjtime(change, left) : -1;
}

SIM_REPLACE(int, adjtimex, (timex * request))
{
    return sim::adjust(request, [=] { return sim::next_adjtimex(request); });
}

SIM_ALIAS(__adjtimex, adjtimex)
SIM_ALIAS(ntp_adjtime, adjtimex)

SIM_STAND_IN(int, clock_adjtime, (clockid_t source, timex *request))
{
    const auto kernel = [=] { return next_clock_adjtime(source, request); };
    return sim::settable_ids.has(source) ? sim::adjust(request, kernel) : kernel();
}

SIM_STAND_IN(int, ntp_gettime, (ntptimeval * answer))
{
    return sim::get_ntp_time(answer, next_ntp_gettime);
}

SIM_STAND_IN(int, ntp_gettimex, (ntptimeval * answer))
{
    return sim::get_ntp_time(answer, next_ntp_gettimex);
}
