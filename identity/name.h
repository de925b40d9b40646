#pragma once

#include <cstdint>

namespace ov
{

// The name that the user or group database has for a number, or null: when it has none, when that cannot be found out
// (errno says so, where it was 0 before), and for processes. A static text of the C library's.
const char *name_of(int32_t kind, uint32_t number);

} // namespace ov
