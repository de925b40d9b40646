#pragma once

#include "simulator/image/layout.h"

namespace sim
{

extern ImageData image_data __asm__("image_data") __attribute__((visibility("hidden")));

// The time that this program is to see by one of the system's clocks that tell one, which is the real one where it has
// no clock. 0, or a negative errno.
int read_image_clock(clockid_t source, timespec &time);

} // namespace sim
