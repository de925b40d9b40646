// Processes with a virtual clock never set the machine's time.
#pragma once

#include <sys/timex.h>

#include <ctime>

#include "simulator/libc/reading.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/memory.h"

namespace sim
{

// Whether the call may go to the kernel; if not, errno is what an unprivileged user gets. Async-signal-safe.
bool may_set_time();
bool may_set_time(clockid_t source);

// Lets the kernel read or adjust the machine's clock, and makes its answer virtual.
template <typename Call> int adjust(timex *request, const Call &kernel)
{
    ClockRate rate;
    unsigned modes = 0;
    if (own_clock(rate) && read_given(modes, &request->modes) == 0 && modes != 0 && modes != ADJ_OFFSET_SS_READ &&
        !may_set_time())
        return -1;
    const auto state = static_cast<int>(kernel());
    if (state >= 0)
        make_virtual(*request);
    return state;
}

} // namespace sim
