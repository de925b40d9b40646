#include "simulator/identity/process.h"

#include <cstdio>
#include <cstring>

#include "base/errno_guard.h"
#include "simulator/bare/small_file.h"

namespace sim
{

uint64_t process_birth(const char *status_line)
{
    ov::ErrnoGuard keep;
    char text[1024];
    if (!read_small_file(status_line, text))
        return 0;
    // The name of the program, in parentheses, may hold anything. Behind it come the fields from 3 on.
    const char *field = strrchr(text, ')');
    constexpr int start_time = 22;
    for (int number = 2; field != nullptr && number < start_time; ++number)
        field = strchr(field + 1, ' ');
    uint64_t ticks = 0;
    while (field != nullptr && *++field >= '0' && *field <= '9')
        ticks = 10 * ticks + static_cast<uint64_t>(*field - '0');
    return ticks;
}

uint64_t process_birth(int64_t pid)
{
    char path[48];
    snprintf(path, sizeof path, "/proc/%lld/stat", static_cast<long long>(pid));
    return process_birth(path);
}

} // namespace sim
