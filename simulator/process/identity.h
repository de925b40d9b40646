// The identity of this process: it decides which clock the process has.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "simulator/table/search.h"

namespace sim
{

// The identity since the start, the fork or the last change. Reading the time never asks the kernel for it, since a
// filter of system calls may end the program. A thread that changes only its own ids has its own identity.
// Async-signal-safe, as all functions here.
Identity own_identity();

// The same if the birth is known, and the fork, if there was one, has been noticed; else nobody's.
Identity certain_identity();

// Changes with the identity. If it is the same before and after own_identity, the identity is consistent.
uint64_t identity_version();

// Read the identity from the kernel when the process starts.
void refresh_container();
void refresh_identity();

// The id of the container that this process is in, if the engine sends 0 for it; else 0.
uint64_t unnumbered_container();

// Takes over the parent's ids in a forked child.
void inherit_identity();

// Reading the birth of a child takes longer than the fork did. It is read when a clock has the child's id, or before
// the child gets a filter.
void find_own_birth(Identity &who);
void prepare_for_filter();

// Call after a change of user or group: of the process, or of this thread alone.
void identity_changed();
void thread_identity_changed();

} // namespace sim
