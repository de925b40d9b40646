#include <cstdlib>

#include "base/integer.h"
#include "ov_helper.h"

int parse_speed(const char *text, int *speed)
{
    if (text == nullptr)
        return -1;
    char *end;
    // Cut to 32 bits before the range is looked at, so that a number that wraps into it is taken: meant so.
    *speed = ov::low_32(strtol(text, &end, 10));
    return *end == '\0' && *speed >= -OV_SPEED_LIMIT && *speed <= OV_SPEED_LIMIT ? 0 : -1;
}
