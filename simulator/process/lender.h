// The ancestor whose clock this process has. Its end, perhaps by SIGKILL, changes nothing in the table, so it is looked
// for now and then. Async-signal-safe.
#pragma once

#include <ctime>

#include "simulator/table/clock.h"

namespace sim
{

// How it stands with an ancestor's clock that was found just now.
enum class Lender {
    lasting, // nothing is to be watched: it ends with the tree, or cannot be asked for from here
    alive,   // it is watched from now on
    ended
};
Lender watch_lender(const Clock &clock);

// Whether it is time to ask for the watched one again, at a real instant.
bool is_lender_due(const timespec &real);
bool has_lender_ended(const timespec &real);

} // namespace sim
