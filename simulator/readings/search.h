// Which of the clocks in a table a process lives by.
#pragma once

#include "simulator/identity/identity.h"
#include "simulator/table/table.h"

namespace sim
{

// Walks through the table for a process's own clock, else its user's, else its group's; false when it has none.
// Calls nothing, and needs no memory but its stack.
bool search_clock(const Table &table, const Identity &who, Clock &clock);

} // namespace sim
