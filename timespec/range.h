#pragma once

#include <cstdint>

#include "contract/clock.h"

#define OV_ILLEGAL_CLOCK "ovuser: error: Illegal virtual clock, "

namespace ov
{

// The beginnings of the messages that refuse a clock value. Their dates are eight hours behind UTC.
inline constexpr char clock_too_early[] = OV_ILLEGAL_CLOCK "must not be before Thu Jan 1 01:00:00 1970\nyou specified ";
inline constexpr char clock_too_late[] = OV_ILLEGAL_CLOCK "must not be after Fri Dec 31 23:59:59 9999\nyou specified ";

// The beginning for a clock value, or null if it is legal.
constexpr const char *range_flaw(int64_t value)
{
    return value < ZYNOV_EARLIEST_CLOCK ? clock_too_early : value > ZYNOV_LATEST_CLOCK ? clock_too_late : nullptr;
}

} // namespace ov
