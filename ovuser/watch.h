// The clock table, read periodically.
#pragma once

#include "ovuser/clocks.h"

namespace ovuser
{

// Prints the clocks every so many nanoseconds: in place on a terminal, otherwise one table after the other. Returns
// only on failure.
int watch(ClockFilter &filter, int64_t interval);

// Reads the table every so many nanoseconds, and prints each change as a line of JSON. Returns on failure, or when
// standard output is closed.
int report_changes(ClockFilter &filter, int64_t interval);

} // namespace ovuser
