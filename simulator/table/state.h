// The file that the clock table lies in. A descriptor that is open on it is what a simulated process holds as
// its control file, so that dup, fork and exec need no help: the file itself tells what the descriptor is.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "simulator/table/table.h"

namespace sim
{

// In the environment of every process under the simulator: the file, and the faults to play.
constexpr char state_variable[] = "ZYNOV_SIM_STATE";
constexpr char faults_variable[] = "ZYNOV_SIM_FAULTS";

// Makes an empty table in a file that must not be there yet, whole at once: nobody sees half of it. Returns
// 0, or an errno; EEXIST when there is one.
int create_state(const char *path, mode_t mode);

// What is wrong with an open file that should be a clock table, in words; null when it is a good one.
const char *flaw_in_state(int descriptor);

// Opens a state file for reading, with more flags of open(2): a descriptor, or a negative errno, -EBADMSG for a file
// that is no good one. Never waits, and makes no system call through the C library.
int open_state(const char *path, int flags);

} // namespace sim
