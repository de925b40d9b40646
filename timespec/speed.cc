#include <cstdlib>

#include "base/integer.h"
#include "ov_helper.h"

int parse_speed(const char *text, int *speed)
{
    if (text == nullptr)
        return -1;
    char *end;
    // Judged as it is stored, in 32 bits: a number that wraps into the range is taken.
    *speed = ov::low_32(strtol(text, &end, 10));
    return *end == '\0' && *speed >= -OV_SPEED_LIMIT && *speed <= OV_SPEED_LIMIT ? 0 : -1;
}
