#pragma once

#include "simulator/table/change.h"
#include "simulator/table/search.h"

namespace sim
{

// What a clock has beyond the record of the other commands: sets it, as the bits of spare say, and tells it. Both
// return 0, or an errno.
int refine(Table &table, zynov_iov &record, const timespec &real, Caller &caller);
int tell_refined(const Table &table, zynov_iov &record, Caller &caller);

// The same of the clock that a process has by one of its trees, and whose clock that is.
int tell_passed_on(const Table &table, zynov_iov &record, const Trees &trees, int descriptor);

} // namespace sim
