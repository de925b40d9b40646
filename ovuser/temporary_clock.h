#pragma once

#include <ctime>

#include "ov_helper.h"
#include "ovuser/change.h"

namespace ovuser
{

// A clock that is there only while a command runs.
struct TemporaryClock {
    ov_clock given;
    time_t since;         // real time
    bool known = false;   // whether given and since are set
    bool lasting = false; // whether it ends with the last descendant of its process, by itself
};

// Add a clock to an identity without one, and delete it again unless it has been replaced meanwhile. Both print
// failures only. A new process that has a clock already has its predecessor's: that one is deleted.
int give_temporary_clock(const Identity &who, const ClockOptions &when, int64_t checked, TemporaryClock &temporary);
int remove_temporary_clock(const Identity &who, const TemporaryClock &temporary);

} // namespace ovuser
