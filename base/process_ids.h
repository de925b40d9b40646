#pragma once

#include <cstdint>

namespace ov
{

// The effective ids of a process. failure is 0 if they are known, ENOENT or ESRCH if there is no such process, and
// another errno if they cannot be read.
struct ProcessIds {
    int failure;
    uint32_t uid, gid;

    bool known() const { return failure == 0; }
    bool gone() const;
};

// Reads them from /proc. Changes errno. Reentrant.
ProcessIds process_ids(int32_t pid);

} // namespace ov
