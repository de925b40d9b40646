// Who this process is: what decides which clock it lives by.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "simulator/table/search.h"

namespace sim
{

// What this process knows of itself from its start, its parent, or its last change of identity. None of it is asked
// again at a reading of the time, since a filter of system calls may end who asks. A thread that changed its ids alone,
// as the kernel lets it, has its own. Async-signal-safe, as all here.
Identity own_identity();

// Another number after each change of it. Who reads it before and after own_identity, and finds it the same, has a
// whole one.
uint64_t identity_version();

// Finds it out as the process starts.
void refresh_container();
void refresh_identity();

// For a child, which has its parent's ids.
void inherit_identity();

// When a child was born takes longer to find out than the fork did. It asks when there is a clock for its number, or
// before it puts itself under a filter.
void find_own_birth(Identity &who);
void prepare_for_filter();

// To be called after a change of user or group: of the process, or of a thread alone.
void identity_changed();
void thread_identity_changed();

} // namespace sim
