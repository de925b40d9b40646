#pragma once

#include "simulator/table/search.h"

namespace sim
{

// Reads which trees another process lives in from its memory: from its copy of this library, or from its vDSO. Returns
// false if it has neither, or the kernel does not let the caller look.
bool read_trees_of(int64_t pid, Trees &trees);

} // namespace sim
