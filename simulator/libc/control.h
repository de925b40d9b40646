// Which file a program gets that names the control file.
#pragma once

namespace sim
{

// The state file, when a call on a path from a folder that ended with an errno (0 for success) was one on the control
// file; null for any other path, and when the simulator is not set up. The path is looked at only where the kernel has
// read it: what it refused beforehand may be no valid pointer.
const char *state_file_for(int folder, const char *path, int error);

} // namespace sim
