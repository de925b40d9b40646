// Which process a number means: it is given again after the process has ended, and another pid namespace has numbers
// of its own. All here is async-signal-safe.
#pragma once

#include <cstdint>

namespace sim
{

// What tells a process from all that have had or will have its number: the inode number of its pidfd where the kernel
// gives each one of its own, else the tick since boot in which it started, whatever time namespace asks, with the
// highest bit set. Never 0. Takes a descriptor for a moment. Returns 0, or the errno of why it cannot be found out:
// ESRCH when there is no such process in the caller's pid namespace.
int read_birth(int64_t pid, uint64_t &birth);

// The second of the two, on any kernel.
int read_start(int64_t pid, uint64_t &birth);

// Whether it is certain that a process of the caller's pid namespace has ended; what cannot be found out lives.
bool has_ended(int64_t pid, uint64_t birth);

// The inode number of the pid namespace of the caller, or of a process; 0 when that cannot be found out.
uint64_t pid_namespace();
uint64_t pid_namespace(int64_t pid);

// The container that this process runs in, as the engine reads it, but with nothing left open.
uint64_t read_container_id();

} // namespace sim
