#pragma once

#include <algorithm>
#include <cstdint>

#include "base/integer.h"
#include "contract/clock.h"
#include "contract/zynov.h"
#include "ov_helper.h"

namespace ov
{

// What a listed clock shows. A rewinding clock's date is in base and origin, its time of day in vtime.
inline int64_t shown_time(const zynov_iov &entry)
{
    if ((entry.flags & ZYNOV_DATE_HELD_MASK) == 0)
        return entry.vtime;
    const int64_t date = wrapping_add(entry.base, entry.origin);
    return adjust_virtime_for_rewind(std::min<int64_t>(date, ZYNOV_LATEST_CLOCK), entry.vtime);
}

} // namespace ov
