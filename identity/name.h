#pragma once

#include <cstdint>

namespace ov
{

// The name of a user or group, in a static buffer of the C library. Null if there is none, for a process, or if the
// database fails, which errno tells if it was 0 before.
const char *name_of(int32_t kind, uint32_t number);

} // namespace ov
