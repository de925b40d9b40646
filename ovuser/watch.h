// The clock table, again and again.
#pragma once

#include "ovuser/identity.h"

namespace ovuser
{

// Shows the clocks of these, or all, every so many nanoseconds: on a terminal in place, elsewhere one table after
// another. Returns the exit status when something fails; otherwise a signal ends it, as it would without.
int watch(IdentityList &identities, int64_t interval);

// Looks every so many nanoseconds, and writes one line of JSON for each clock that is new, another, or gone. Returns
// the exit status when something fails, or when nobody reads any more.
int report_changes(IdentityList &identities, int64_t interval);

} // namespace ovuser
