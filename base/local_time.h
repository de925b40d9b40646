#pragma once

#include <cstdint>
#include <ctime>

#include "base/errno_guard.h"

namespace ov
{

// An instant in local time; all zero if localtime_r fails.
inline tm local_time(time_t instant)
{
    tm local;
    if (localtime_r(&instant, &local) == nullptr)
        local = {};
    return local;
}

// Whether ctime and ctime_r can write an instant. musl's crash at years of five characters, glibc's do not.
inline bool has_text([[maybe_unused]] time_t instant)
{
#ifdef __GLIBC__
    return true;
#else
    const int64_t year = local_time(instant).tm_year + int64_t{1900};
    return year >= -999 && year <= 9999;
#endif
}

// An instant as ctime writes it, with its line end, in a static buffer. Keeps errno.
inline const char *time_text(time_t instant)
{
    ErrnoGuard keep;
    const char *text = has_text(instant) ? ctime(&instant) : nullptr; // GCOVR_EXCL_BR_LINE: glibc writes all
    return text != nullptr ? text : "(null)";
}

} // namespace ov
