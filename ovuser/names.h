// Users and groups by name, for who has many of them.
#pragma once

#include <cstdint>

namespace ovuser
{

// As parse_uid, but when there is no end of questions it has the system list all users or groups once, where the C
// library would read its files anew for each. Who is not listed is asked for all the same.
int look_up(const char *name, int32_t kind, uint32_t *number);

} // namespace ovuser
