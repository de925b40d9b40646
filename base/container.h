#pragma once

namespace ov
{

// There where a process runs in a container, and the file that begins with the container's name.
constexpr char container_marker[] = "/.dockerenv", container_name[] = "/etc/hostname";

} // namespace ov
