// Which of the clocks in a table a process lives by.
#pragma once

#include "simulator/table/table.h"

namespace sim
{

// A process as the clocks see it. User and group are the effective ones.
struct Identity {
    int64_t process, user, group;
    uint64_t pid_namespace, birth; // 0 when they are not known
    uint64_t container_id;
};

// Finds out when a process was born, and where, if that can be.
using FindBirth = void(Identity &who);

// Walks through the table for a process's own clock, else its user's, else its group's; false when it has none. Calls
// nothing but what finds its birth, when there is a clock for its number, and needs no memory but its stack.
bool search_clock(const Table &table, Identity who, Clock &clock, FindBirth *find_birth);

} // namespace sim
