#pragma once

#include <ctime>

#include "base/errno_guard.h"

namespace ov
{

// An instant in local time; all zero when it cannot be broken down.
inline tm local_time(time_t instant)
{
    tm local;
    if (localtime_r(&instant, &local) == nullptr)
        local = {};
    return local;
}

// An instant as ctime writes it, line end included, for messages. A static text; errno is kept.
inline const char *time_text(time_t instant)
{
    ErrnoGuard keep;
    const char *text = ctime(&instant);
    return text != nullptr ? text : "(null)";
}

} // namespace ov
