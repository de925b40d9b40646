#pragma once

#include <cstdint>

namespace ov
{

// The clock values that the messages below name, at a fixed eight hours behind UTC.
constexpr int64_t earliest_clock = 32400;
constexpr int64_t latest_clock = 253402329599;

} // namespace ov

#define OV_ILLEGAL_CLOCK "ovuser: error: Illegal virtual clock, "
#define OV_CLOCK_TOO_EARLY OV_ILLEGAL_CLOCK "must not be before Thu Jan 1 01:00:00 1970\nyou specified "
#define OV_CLOCK_TOO_LATE OV_ILLEGAL_CLOCK "must not be after Fri Dec 31 23:59:59 9999\nyou specified "
