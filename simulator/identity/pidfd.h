#pragma once

#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <cstdint>

#include "simulator/bare/system_call.h"

namespace sim
{

// The inode number of a process's pidfd, where pidfds have a file system of their own: elsewhere they share one. Takes
// a descriptor for a moment. Returns 0, or an errno.
inline int read_inode(int64_t pid, uint64_t &inode)
{
    constexpr auto pidfd_file_system = 0x50494446;
    const auto descriptor = static_cast<int>(system_call(SYS_pidfd_open, pid, 0));
    if (descriptor < 0)
        return -descriptor;
    struct stat file = {};
    struct statfs system = {};
    const bool told = system_call(SYS_fstat, descriptor, &file) == 0 &&
                      system_call(SYS_fstatfs, descriptor, &system) == 0 && system.f_type == pidfd_file_system;
    system_call(SYS_close, descriptor);
    if (told)
        inode = file.st_ino;
    return told ? 0 : ENOTSUP;
}

} // namespace sim
