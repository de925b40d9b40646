// A SIGBUS handler: a mapped table that is truncated is replaced by an empty one. Programs do not see the handler, and
// it is installed only while they have none of their own.
#pragma once

#include <csignal>

#include "simulator/raw/next.h"
#include "simulator/raw/signals.h"

namespace sim
{

extern Next<int(int, const struct sigaction *, struct sigaction *)> next_sigaction;

// Installs the handler, for the process's own table and for those that its commands map.
void handle_sigbus();

// Installs the handler again, if it is needed and the program has none.
void restore_sigbus_handler();

bool is_sigbus_handler(sighandler_t handler);

// SIGBUS, which must not be blocked while a table is used.
SignalMask sigbus_mask();

} // namespace sim
