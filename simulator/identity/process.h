#pragma once

#include <cstdint>

namespace sim
{

// When a process started, in ticks since boot, from its status line (/proc/PID/stat or /proc/self/stat); 0
// when there is no such process. Async-signal-safe.
uint64_t process_birth(const char *status_line);
uint64_t process_birth(int64_t pid);

} // namespace sim
