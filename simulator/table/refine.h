#pragma once

#include "simulator/table/change.h"
#include "simulator/table/search.h"

namespace sim
{

// The refine command: sets what the bits of spare say, and returns what is set. Both functions return 0, or an errno.
int refine(Table &table, zynov_iov &record, const timespec &real, Caller &caller);
int tell_refined(const Table &table, zynov_iov &record, Caller &caller);

// The same for the clock that a process has by one of its trees; also returns whose clock it is.
int tell_passed_on(const Table &table, zynov_iov &record, const Trees &trees, int descriptor);

} // namespace sim
