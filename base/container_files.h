#pragma once

#include <cstdio>

namespace ov
{

// The first file exists only in a container; the second one begins with the container's name.
constexpr char container_marker[] = "/.dockerenv", container_name[] = "/etc/hostname";

// The stream that zyn_get_container_ID left open last, or null. A caller with many requests closes it after each:
// without a free descriptor, the next call would find no name and mistake the container for the host.
inline FILE *left_open = nullptr;

inline void close_left_open()
{
    if (left_open != nullptr)
        fclose(left_open);
    left_open = nullptr;
}

} // namespace ov
