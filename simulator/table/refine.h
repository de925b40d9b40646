#pragma once

#include "simulator/table/change.h"

namespace sim
{

// What a clock has beyond the record of the other commands: sets it, as the bits of spare say, and tells it. Both
// return 0, or an errno.
int refine(Table &table, zynov_iov &record, const timespec &real, Caller &caller);
int tell_refined(const Table &table, zynov_iov &record, Caller &caller);

} // namespace sim
