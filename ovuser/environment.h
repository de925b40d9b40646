// The environment of a command that is run as another user.
#pragma once

#include <pwd.h>

namespace ovuser
{

// Makes this process's environment that of a user. Of what was there stays what says how to show things, and what
// preserved names: the variables between its commas, or all where it is empty; none where it is null. Returns whether
// there was memory for it.
bool live_in_environment_of(const passwd &user, const char *preserved);

} // namespace ovuser
