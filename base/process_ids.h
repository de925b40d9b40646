#pragma once

#include <cstdint>

namespace ov
{

// Whose a process is: its effective ids. failure is 0 when they are known, ENOENT or ESRCH when there is no such
// process, and another errno when it cannot be told.
struct ProcessIds {
    int failure;
    uint32_t uid, gid;

    bool known() const { return failure == 0; }
    bool gone() const;
};

// Reads them from /proc, without a shell. Changes errno. Reentrant.
ProcessIds process_ids(int32_t pid);

} // namespace ov
