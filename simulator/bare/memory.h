// Memory that a caller names, and may name wrongly.
#pragma once

#include <sys/uio.h>

#include <cerrno>
#include <cstring>

#include "simulator/bare/system_call.h"

namespace sim
{

// Copies as the kernel does for a system call: 0, or EFAULT where a program has no such memory. Where a filter of
// system calls does not allow that, the copy is made all the same.
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

} // namespace sim
