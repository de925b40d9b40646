#pragma once

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

// An instant as ctime writes it, with its line end, in a static buffer. Keeps errno.
inline const char *time_text(time_t instant)
{
    ErrnoGuard keep;
    const char *text = ctime(&instant);
    return text != nullptr ? text : "(null)";
}

} // namespace ov
