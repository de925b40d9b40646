#include "base/process_ids.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace ov
{

bool ProcessIds::gone() const
{
    return failure == ENOENT || failure == ESRCH;
}

ProcessIds process_ids(int32_t pid)
{
    char path[32], text[512]; // the ids are among the first ten lines
    snprintf(path, sizeof path, "/proc/%" PRId32 "/status", pid);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {errno, 0, 0};
    const ssize_t length = read(file, text, sizeof text - 1);
    const int failure = length < 0 ? errno : EIO;
    close(file);
    text[length < 0 ? 0 : length] = '\0';

    // The kernel escapes line ends in the program's name, so a name cannot fake these lines.
    ProcessIds ids = {0, 0, 0};
    const char *const uids = strstr(text, "\nUid:");
    const char *const gids = strstr(text, "\nGid:");
    const bool read_both = uids != nullptr && gids != nullptr && sscanf(uids, "\nUid:%*u%" SCNu32, &ids.uid) == 1 &&
                           sscanf(gids, "\nGid:%*u%" SCNu32, &ids.gid) == 1;
    return read_both ? ids : ProcessIds{failure, 0, 0};
}

} // namespace ov
