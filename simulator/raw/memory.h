// Access to memory at an address that a caller passed, which may be invalid.
#pragma once

#include <linux/futex.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "simulator/raw/system_call.h"

namespace sim
{

// Copies as the kernel does for a system call: returns 0, or EFAULT for an invalid address. If a filter of system calls
// forbids that, it copies directly.
inline int copy_by_kernel(long call, void *own, void *given, size_t size)
{
    if (given == nullptr)
        return EFAULT;
    const iovec here = {own, size}, there = {given, size};
    const long copied = system_call(call, system_call(SYS_getpid), &here, 1, &there, 1, 0);
    if (copied >= 0 || copied == -EFAULT)
        return copied == static_cast<long>(size) ? 0 : EFAULT;
    const bool reads = call == SYS_process_vm_readv;
    memcpy(reads ? own : given, reads ? given : own, size);
    return 0;
}

template <typename Record> int read_given(Record &own, void *given)
{
    return copy_by_kernel(SYS_process_vm_readv, &own, given, sizeof own);
}

template <typename Record> int write_given(void *given, Record &own)
{
    return copy_by_kernel(SYS_process_vm_writev, &own, given, sizeof own);
}

// Whether a timespec can be read at an address. The kernel reads the timeout of a futex wait first, and a wait for no
// bit returns at once: that is faster than a copy, and filters that let a program wait allow it.
inline bool is_readable(const timespec *instant)
{
    const uint32_t word = 0;
    return system_call(SYS_futex, &word, FUTEX_WAIT_BITSET, 0, instant, nullptr, 0) != -EFAULT;
}

} // namespace sim
