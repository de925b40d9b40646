#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace sim
{

// The start of a file as a text, cut to what it fits in; false when it cannot be opened. Async-signal-safe.
template <size_t size> bool read_small_file(const char *path, char (&text)[size])
{
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const ssize_t length = read(descriptor, text, size - 1);
    close(descriptor);
    text[length > 0 ? length : 0] = '\0';
    return true;
}

} // namespace sim
