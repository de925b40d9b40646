#include "ovuser/lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ovuser/message.h"
#include "ovuser/text.h"

namespace ovuser
{

// Names a lock file that only this user can lock, so that nobody else can block it. Under the simulator that is the
// table, which already has the right owner and mode. Returns whether the file may be created.
static bool name_file(char (&path)[4096])
{
    if (const char *table = getenv("ZYNOV_SIM_STATE")) {
        snprintf(path, sizeof path, "%s", table);
        return false;
    }
    const char *own = getenv("XDG_RUNTIME_DIR");
    if (getuid() == 0)
        snprintf(path, sizeof path, "/run/ovuser.lock");
    else if (own != nullptr && own[0] == '/')
        snprintf(path, sizeof path, "%s/ovuser.lock", own);
    else
        snprintf(path, sizeof path, "/run/user/%u/ovuser.lock", static_cast<unsigned>(getuid()));
    return true;
}

// Opens the lock file. Without a folder for it there is no lock.
static int open_file(const char *path, bool make, int &descriptor)
{
    constexpr mode_t own = 0600;
    struct stat file;
    descriptor = open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | (make ? O_CREAT : 0), own);
    if (descriptor < 0 && (!make || errno == ENOENT || errno == EACCES || errno == EROFS))
        return done;
    if (descriptor < 0)
        return failed("%s: %s", path, strerror(errno));
    return fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) ? int{done} : failed("%s: not a regular file", path);
}

int Lock::take(const char *refusal)
{
    constexpr int64_t second = 1'000'000'000;
    constexpr timespec moment = {0, 10'000000};
    char path[4096];
    const bool make = name_file(path);
    const int status = open_file(path, make, descriptor_);
    if (status != done || descriptor_ < 0)
        return status;
    struct flock first = {}; // an OFD lock, which no other close() of the file releases
    first.l_type = F_WRLCK;
    first.l_len = 1; // the bytes behind it stand for the members of lasting trees, in the simulator's table
    const int64_t begun = monotonic_time();
    for (bool told = false; fcntl(descriptor_, F_OFD_SETLK, &first) != 0; nanosleep(&moment, nullptr)) {
        if (errno != EAGAIN && errno != EACCES && errno != EINTR)
            return failed("%s: cannot be locked: %s", path, strerror(errno));
        const int64_t waited = monotonic_time() - begun;
        if (waited > 10 * second)
            return failed("another ovuser has kept %s locked for 10 seconds: %s", path, refusal);
        if (waited > second && !told) {
            warn("waiting for another ovuser, which is changing clocks");
            told = true;
        }
    }
    return done;
}

void Lock::release()
{
    if (descriptor_ >= 0)
        close(descriptor_);
    descriptor_ = -1;
}

} // namespace ovuser
