// Waits by syscall, without the C library's functions.
#pragma once

namespace sim
{

// Makes a system call if its wait goes by this process's clock. Sets the result, and errno if that is -1.
bool wait_by_number(long number, const long (&arguments)[6], long &result);

} // namespace sim
