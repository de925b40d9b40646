// Processes with a virtual clock never set the machine's time.
#pragma once

#include <sys/timex.h>

#include "simulator/libc/reading.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/memory.h"

namespace sim
{

// Whether the kernel gets the call. If not, errno is set as for an unprivileged user. Async-signal-safe.
bool may_set_time();
bool may_set_time(clockid_t source);

// Reads or adjusts the machine's clock, and converts the answer to this process's clock.
template <typename Call> int adjust(timex *request, const Call &kernel)
{
    ClockRate rate;
    unsigned modes = 0;
    if (own_clock(rate) && read_given(modes, &request->modes) == 0 && modes != 0 && modes != ADJ_OFFSET_SS_READ &&
        !may_set_time())
        return -1;
    const auto state = static_cast<int>(kernel());
    if (state >= 0)
        to_own_clock(*request);
    return state;
}

} // namespace sim
