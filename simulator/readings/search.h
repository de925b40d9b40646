// Which of the clocks in a table a process lives by.
#pragma once

#include "simulator/identity/identity.h"
#include "simulator/table/table.h"

namespace sim
{

// Finds out when a process was born, and where, if that can be.
using FindBirth = void(Identity &who);

// Walks through the table for a process's own clock, else its user's, else its group's; false when it has none. Calls
// nothing but what finds its birth, when there is a clock for its number, and needs no memory but its stack.
bool search_clock(const Table &table, Identity who, Clock &clock, FindBirth *find_birth);

} // namespace sim
