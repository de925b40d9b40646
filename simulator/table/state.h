// The state file, which holds the clock table. A simulated control file is a descriptor of it, so dup, fork and exec
// need no stand-ins.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "simulator/table/table.h"

namespace sim
{

// Environment variables of every process under the simulator: the state file, and the faults.
constexpr char state_variable[] = "ZYNOV_SIM_STATE";
constexpr char faults_variable[] = "ZYNOV_SIM_FAULTS";

// Creates an empty table atomically. Returns 0, or an errno: EEXIST if the file exists.
int create_state(const char *path, mode_t mode);

// Says what is wrong with an open state file; null if nothing.
const char *flaw_in_state(int descriptor);

// Opens a state file for reading, with additional flags of open(2). Returns a descriptor, or a negative errno: -EBADMSG
// if the file is no state file. Never waits, and makes no system call through the C library.
int open_state(const char *path, int flags);

} // namespace sim
