// The file that a program gets when it opens the control file.
#pragma once

namespace sim
{

// Returns the state file if a path names the control file; null for any other path, or without a simulator. `error` is
// the errno of the call on that path, 0 for success. The path may be an invalid pointer, so it is read only if the
// kernel has read it.
const char *state_file_for(int folder, const char *path, int error);

} // namespace sim
