// File times by the clock of who looks at them, for commands that are started with them.
#pragma once

#include <sys/stat.h>

namespace sim
{

// Puts what the process is to see in place of the times that the kernel told. Async-signal-safe.
void show_times(struct stat &file);
void show_times(struct statx &file);

} // namespace sim
