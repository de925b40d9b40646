// What the system's log is told, as useradd and sudo tell it: who asked for what clock for whom, and what came of it.
#pragma once

#include "ov_helper.h"

namespace ovuser
{

// One line for a request that changed a clock or was to, for one identity or none, with its clock value in virtime
// whatever its time form is, and with the engine's result and message (which may be null). Where nobody listens nothing
// happens; where nobody reads, no more than a second passes, once. Keeps errno.
void audit(const ov_request &request, int32_t result, const char *message);

} // namespace ovuser
