// Intervals by the clock, in our vDSO: see process/intervals.h.
#pragma once

#include <ctime>

#include "simulator/process/cache.h"
#include "simulator/table/search.h"

namespace sim
{

// Reads one of interval_ids; returns what clock_gettime does.
int read_vdso_interval(clockid_t source, timespec &time);

// The program, or its child, by its process and ids.
Identity vdso_identity(int64_t process, uint64_t ids);
void find_vdso_birth(Identity &who);

// Finds the program's clock; `who` leaves the trees whose first process has ended. Then this tells whether the ancestor
// whose clock it is has ended since, by the nanoseconds since it was last asked about.
Cache::Found search_vdso_clock(Identity &who, Clock &clock);
bool has_vdso_lender_ended(uint64_t since_asked);

} // namespace sim
