#pragma once

#include <fcntl.h>

#include "simulator/raw/system_call.h"

namespace sim
{

// The start of a file as a text, cut to what fits in. Returns 0, or the errno of why it cannot be read.
// Async-signal-safe, and, unlike the C library's calls, no point where a thread can be cancelled.
template <size_t size> int load_small_file(const char *path, char (&text)[size])
{
    const auto descriptor = static_cast<int>(system_call(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC));
    if (descriptor < 0)
        return -descriptor;
    const long length = system_call(SYS_read, descriptor, text, size - 1);
    system_call(SYS_close, descriptor);
    text[length > 0 ? length : 0] = '\0';
    return length < 0 ? static_cast<int>(-length) : 0;
}

template <size_t size> bool read_small_file(const char *path, char (&text)[size])
{
    return load_small_file(path, text) == 0;
}

} // namespace sim
