#pragma once

#include <cstdint>

#include "kernel/zynov.h"

namespace ov
{

// Which rows of the clock table a caller sees: the name that an entry is shown under to a user of a container (uid 0
// for all users), or null when it is not shown. A static text, as get_username returns it.
const char *visible_name(const zynov_iov &entry, uint64_t container, int uid);

} // namespace ov
