#include <cstdio>
#include <cstring>

#include "ov_helper.h"

namespace ov
{

// The result of clock_speed_string.
static char speed_text[1024];

} // namespace ov

char *clock_speed_string(int speed)
{
    if (speed == OV_SPEED_FROZEN)
        strcpy(ov::speed_text, "Frozen");
    else if (speed > OV_SPEED_LIMIT)
        strcpy(ov::speed_text, "FROZEN"); // the capitals tell a stopped clock from a frozen one
    else if (speed == 1 || speed == -1)
        strcpy(ov::speed_text, "Running");
    else if (speed > 0)
        snprintf(ov::speed_text, sizeof ov::speed_text, "%d times faster", speed);
    else // unsigned, because the smallest int has no negation
        snprintf(ov::speed_text, sizeof ov::speed_text, "%d times slower",
                 static_cast<int>(0u - static_cast<unsigned>(speed)));
    return ov::speed_text;
}
