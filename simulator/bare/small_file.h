#pragma once

#include <fcntl.h>

#include "simulator/bare/system_call.h"

namespace sim
{

// The start of a file as a text, cut to what it fits in; false when it cannot be opened. Async-signal-safe, and,
// unlike the C library's calls, no point where a thread can be cancelled.
template <size_t size> bool read_small_file(const char *path, char (&text)[size])
{
    const auto descriptor = static_cast<int>(system_call(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC));
    if (descriptor < 0)
        return false;
    const long length = system_call(SYS_read, descriptor, text, size - 1);
    system_call(SYS_close, descriptor);
    text[length > 0 ? length : 0] = '\0';
    return true;
}

} // namespace sim
