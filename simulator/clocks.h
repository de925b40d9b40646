#pragma once

#include <ctime>

namespace sim
{

// The real time, whatever clock this process lives by.
timespec real_time();

} // namespace sim
