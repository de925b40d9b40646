#pragma once

namespace sim
{

// The file of the clocks of a user who names none.
const char *default_state();

// Sees to it that there is a good table in a file, for the user alone or for all users of this machine; it ends the
// program otherwise.
void prepare_state(const char *path, bool shared);

} // namespace sim
