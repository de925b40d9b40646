// The record of changes in the system's log: who asked for which clock for whom, and with what result.
#pragma once

#include "ov_helper.h"

namespace ovuser
{

// Logs a request, for one identity or none, with the clock value in virtime, or 0, and the engine's result and message,
// which may be null. Without the number of its identity, it is looked up. If the log is missing or blocks for a second,
// nothing is logged. Keeps errno.
void audit(const ov_request &request, int32_t result, const char *message, const uint32_t *number = nullptr);

} // namespace ovuser
