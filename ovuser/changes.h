// The changes of the clock table, as they come.
#pragma once

#include "ovuser/identities.h"

namespace ovuser
{

// Looks every so many nanoseconds, and writes one line of JSON for each clock that is new, another, or gone. Returns
// the exit status when something fails, or when nobody reads any more.
int tell_changes(Identities &identities, int64_t interval);

} // namespace ovuser
