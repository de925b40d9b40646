// Tells processes apart although process ids are reused and each pid namespace has its own. All functions are
// async-signal-safe.
#pragma once

#include <cstdint>

namespace sim
{

// Reads what tells a process from all others that have had or will have its id: the inode number of its pidfd, or, if
// the kernel has no inode for each, its start in ticks since boot (in the initial time namespace) with the highest bit
// set. Never 0. Opens a descriptor for a moment. Returns 0, or an errno: ESRCH if the caller's pid namespace has no
// such process.
int read_birth(int64_t pid, uint64_t &birth);

// The start time, on any kernel.
int read_start(int64_t pid, uint64_t &birth);

// Whether a process of the caller's pid namespace has certainly ended.
bool has_ended(int64_t pid, uint64_t birth);

// The inode number of the pid namespace of the caller, or of a process; 0 if unknown.
uint64_t pid_namespace();
uint64_t pid_namespace(int64_t pid);

// The container of this process; 0 is the host. The engine sends 0 for a container, too, whose name is no hexadecimal
// number: its id is made of the name, as the module does it.
struct Container {
    uint64_t id, sent;
};
Container read_container();

} // namespace sim
