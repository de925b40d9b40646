#pragma once

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <cstdint>

#include "simulator/raw/system_call.h"

namespace sim
{

// Asks valgrind by instructions that do nothing on a processor.
inline bool is_under_valgrind()
{
    const volatile uint64_t question[6] = {0x1001};
#if defined(__x86_64__)
    register uint64_t answer __asm__("rdx") = 0;
    __asm__ volatile("rol $3, %%rdi\n\trol $13, %%rdi\n\trol $61, %%rdi\n\trol $51, %%rdi\n\txchg %%rbx, %%rbx"
                     : "+r"(answer)
                     : "a"(question)
                     : "cc", "memory");
#else
    register uint64_t answer __asm__("x3") = 0;
    register const volatile uint64_t *given __asm__("x4") = question;
    __asm__ volatile("ror x12, x12, #3\n\tror x12, x12, #13\n\tror x12, x12, #51\n\tror x12, x12, #61\n\t"
                     "orr x10, x10, x10"
                     : "+r"(answer)
                     : "r"(given)
                     : "cc", "memory");
#endif
    return answer != 0;
}

// A process can also get its own pidfd as the peer of its socket.
inline int open_own_pidfd()
{
    constexpr int peer_pidfd = 77; // SO_PEERPIDFD, which older headers lack
    int pair[2] = {}, pidfd = -1;
    socklen_t size = sizeof pidfd;
    if (const long error = system_call(SYS_socketpair, AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair))
        return static_cast<int>(error);
    const long error = system_call(SYS_getsockopt, pair[0], SOL_SOCKET, peer_pidfd, &pidfd, &size);
    for (const int end : pair)
        system_call(SYS_close, end);
    return error != 0 ? static_cast<int>(error) : pidfd;
}

// Valgrind prints five lines for each unknown system call, and older versions do not know pidfd_open.
inline int open_pidfd(int64_t pid)
{
    return is_under_valgrind() && pid == system_call(SYS_getpid)
               ? open_own_pidfd()
               : static_cast<int>(system_call(SYS_pidfd_open, pid, 0));
}

// Reads the inode number of a process's pidfd, if pidfds have a file system of their own; elsewhere they share one
// inode. Opens a descriptor for a moment. Returns 0, or an errno.
inline int read_inode(int64_t pid, uint64_t &inode)
{
    constexpr auto pidfd_file_system = 0x50494446;
    const int descriptor = open_pidfd(pid);
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
