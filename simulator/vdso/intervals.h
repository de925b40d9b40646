// Intervals by the clock, in our vDSO.
#pragma once

#include <ctime>

#include "simulator/table/search.h"

namespace sim
{

// Reads one of interval_ids; returns what clock_gettime does.
int read_vdso_interval(clockid_t source, timespec &time);

void find_vdso_birth(Identity &who);

} // namespace sim
