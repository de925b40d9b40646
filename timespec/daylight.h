#pragma once

#include <cstdint>
#include <ctime>

namespace ov
{

// Corrects a clock value that was counted in standard time: one hour less if daylight saving time is in effect then,
// whatever the zone's own shift.
int64_t correct_daylight_saving(int64_t value);

// Moves the hour of a broken-down time to the wanted one, after a change of daylight saving time. Only a gap of one
// hour is sure to be closed.
void align_hour(tm &t, int wanted);

} // namespace ov
