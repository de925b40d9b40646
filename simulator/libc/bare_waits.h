// Waits by system calls without the C library's functions for them.
#pragma once

namespace sim
{

// Carries out a system call if it is one whose wait goes by this process's clock. Sets the result, and
// errno if that is -1.
bool wait_by_number(long number, const long (&arguments)[6], long &result);

} // namespace sim
