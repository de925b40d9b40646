#pragma once

#include <cstdint>
#include <ctime>

namespace ov
{

// A clock value counted in standard time, as it is when daylight saving time is in effect at it: always one hour
// less, whatever the zone's own shift.
int64_t correct_daylight_saving(int64_t value);

// Brings the hour of a broken-down time back to the one that was left, after a change of daylight saving time in
// between. Only a gap of one hour is closed for sure.
void align_hour(tm &t, int wanted);

} // namespace ov
