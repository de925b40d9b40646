// Intervals by the clock, in our vDSO: see process/intervals.h.
#pragma once

#include <ctime>

#include "simulator/table/search.h"

namespace sim
{

// Reads one of interval_ids; returns what clock_gettime does.
int read_vdso_interval(clockid_t source, timespec &time);

// The program, or its child, by its process and ids.
Identity vdso_identity(int64_t process, uint64_t ids);
void find_vdso_birth(Identity &who);

} // namespace sim
