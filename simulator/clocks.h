#pragma once

#include <ctime>

namespace sim
{

// The real time of a clock, whatever clock this process lives by.
int read_real_clock(clockid_t clock, timespec *time);

} // namespace sim
