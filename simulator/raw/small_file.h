#pragma once

#include <fcntl.h>

#include "simulator/raw/system_call.h"

namespace sim
{

// Reads as much of a file as fits, as text. Returns 0, or an errno. Async-signal-safe, and no cancellation
// point.
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
