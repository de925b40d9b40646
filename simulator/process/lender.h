// The ancestor whose clock this process has. Its end, perhaps by SIGKILL, does not change the table, so the ancestor is
// checked now and then. Async-signal-safe.
#pragma once

#include <ctime>

#include "simulator/table/clock.h"

namespace sim
{

// The state of an ancestor whose clock was just found.
enum class Lender {
    lasting, // not watched: the clock ends with the tree, or the ancestor cannot be checked from here
    alive,   // watched from now on
    ended
};
Lender watch_lender(const Clock &clock);

// Whether it is time to check the watched ancestor again, at a real instant.
bool is_lender_due(const timespec &real);
bool has_lender_ended(const timespec &real);

} // namespace sim
