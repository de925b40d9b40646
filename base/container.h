#pragma once

#include <cstdio>

namespace ov
{

// There where a process runs in a container, and the file that begins with the container's name.
constexpr char container_marker[] = "/.dockerenv", container_name[] = "/etc/hostname";

// What zyn_get_container_ID has left open last, or null. Where there are many calls it is closed behind each: without
// descriptors the next one would find no name, and take this for the host.
inline FILE *left_open = nullptr;

inline void close_left_open()
{
    if (left_open != nullptr)
        fclose(left_open);
    left_open = nullptr;
}

} // namespace ov
