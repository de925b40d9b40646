#include "simulator/table/state.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "simulator/raw/system_call.h"

namespace sim
{

// Writes a whole table: touching a hole in a file raises SIGBUS when the file system is full.
static int fill_state(int descriptor, mode_t mode)
{
    const Header header;
    if (const int error = posix_fallocate(descriptor, 0, sizeof(Table)))
        return error;
    const bool filled = write(descriptor, &header, sizeof header) == sizeof header && fchmod(descriptor, mode) == 0;
    return filled ? 0 : errno;
}

int create_state(const char *path, mode_t mode)
{
    char *draft;
    if (asprintf(&draft, "%s.XXXXXX", path) < 0)
        return ENOMEM;
    const sighandler_t kept =
        signal(SIGXFSZ, SIG_IGN); // at a limit of file sizes, writing fails and the draft is removed
    const int descriptor = mkstemp(draft);
    int error = descriptor < 0 ? errno : fill_state(descriptor, mode);
    if (error == 0 && link(draft, path) != 0)
        error = errno;
    if (descriptor >= 0) {
        close(descriptor);
        unlink(draft);
    }
    signal(SIGXFSZ, kept);
    free(draft);
    return error;
}

const char *flaw_in_state(int descriptor)
{
    const Header expected;
    Header header = {};
    struct stat file = {};
    if (system_call(SYS_fstat, descriptor, &file) != 0 || !S_ISREG(file.st_mode))
        return "not a regular file";
    if (system_call(SYS_pread64, descriptor, &header, sizeof header, 0) != sizeof header)
        return "truncated";
    if (header.magic != expected.magic)
        return "not a clock table";
    if (header != expected)
        return "a clock table of another version: remove it, once nothing runs with it";
    if (file.st_size != sizeof(Table))
        return file.st_size < static_cast<off_t>(sizeof(Table)) ? "truncated" : "too long for a clock table";
    return nullptr;
}

int open_state(const char *path, int flags)
{
    const long descriptor =
        system_call(SYS_openat, AT_FDCWD, path, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | flags);
    if (descriptor < 0)
        return static_cast<int>(descriptor);
    if (flaw_in_state(static_cast<int>(descriptor)) != nullptr) {
        system_call(SYS_close, descriptor);
        return -EBADMSG;
    }
    system_call(SYS_fcntl, descriptor, F_SETFL, flags & O_NONBLOCK);
    return static_cast<int>(descriptor);
}

} // namespace sim
