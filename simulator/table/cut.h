#pragma once

#include "simulator/bare/signals.h"

namespace sim
{

// From now on this process outlives it that the file of the table that it is attached to, or of one that a command of
// its own uses, is cut short: it goes on with an empty table. That takes a handler of SIGBUS, which programs do not
// see, and which is there only while they have none of their own.
void outlive_cuts();

// The signal that is not to be held off while a table is used.
SignalMask signal_of_cuts();

} // namespace sim
