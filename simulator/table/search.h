// Finds the clock of a process in a table.
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

// Reads the birth and the pid namespace of a process, if possible.
using FindBirth = void(Identity &who);

// Finds the clock of a process, else of its user, else of its group; returns false if there is none. Calls only
// find_birth, if a clock has the process's id, and uses only its stack.
bool search_clock(const Table &table, Identity who, Clock &clock, FindBirth *find_birth);

// The timeline by which its intervals pass: that of its clock, else the one that its last clock left, else the real
// one.
Timeline search_timeline(const Table &table, Identity who, FindBirth *find_birth);

} // namespace sim
