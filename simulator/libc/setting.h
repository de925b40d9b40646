// Who sets the time under a clock of its own: never that of the machine.
#pragma once

#include <sys/timex.h>

#include <ctime>

#include "simulator/libc/reading.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/memory.h"

namespace sim
{

// Whether the kernel is to hear of it; if not, errno says what an ordinary user hears. Async-signal-safe.
bool may_set_time();
bool may_set_time(clockid_t source);

// Has the kernel read or adjust the machine's clock, and what it answers fit the process's own.
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
