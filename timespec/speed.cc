#include <cstdlib>

#include "base/integer.h"
#include "ov_helper.h"

int parse_speed(const char *text, int *speed)
{
    if (text == nullptr)
        return -1;
    char *end;
    // The stored 32 bits are checked on purpose: a number that wraps into the range is accepted.
    *speed = ov::low_32(strtol(text, &end, 10));
    return *end == '\0' && *speed >= -OV_SPEED_LIMIT && *speed <= OV_SPEED_LIMIT ? 0 : -1;
}
