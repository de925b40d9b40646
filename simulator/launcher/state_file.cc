#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "simulator/launcher/launcher.h"
#include "simulator/raw/small_file.h"
#include "simulator/table/commands.h"
#include "simulator/table/lock.h"
#include "simulator/table/state.h"

namespace sim
{

// Whether a folder belongs to this user and nobody else may write there.
static bool is_private_folder(const char *path)
{
    struct stat folder;
    return lstat(path, &folder) == 0 && S_ISDIR(folder.st_mode) && folder.st_uid == geteuid() &&
           (folder.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

const char *default_state()
{
    const char *runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/' && is_private_folder(runtime))
        return text("%s/zynov-sim", runtime);
    const char *folder = text("/tmp/zynov-sim-%u", geteuid());
    const mode_t mask = umask(0); // the umask might lock the user out
    const bool made = mkdir(folder, 0700) == 0;
    umask(mask);
    if (!made && errno != EEXIST)
        fail("%s: %s", folder, strerror(errno));
    if (!is_private_folder(folder))
        fail("%s: not a folder of yours alone", folder);
    return text("%s/table", folder);
}

// Process ids start again at each boot. A table that this user may only read is left to others.
static void forget_earlier_boots(int descriptor)
{
    char id[64];
    if (!read_small_file("/proc/sys/kernel/random/boot_id", id))
        return;
    const uint64_t boot = strtoull(id, nullptr, 16); // up to the first dash
    Mapping mapping;
    if (mapping.map(descriptor, Mapping::reading) != 0 || mapping.table()->boot == boot)
        return;
    const TableLock lock(descriptor);
    if (lock.error() == 0)
        begin_boot(*lock.table(), boot);
}

// An overlay file system copies a file of its lower layer when the file is first opened for writing. This is done
// before programs start: later changes would go to the copy, while those programs still read the lower layer.
static void copy_up(const char *path)
{
    const int descriptor = open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor >= 0) // the file may be another user's
        close(descriptor);
}

void prepare_state(const char *path, bool shared)
{
    const mode_t mode = shared ? 0666 : 0600;
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    copy_up(path);
    int descriptor = open(path, flags);
    if (descriptor < 0 && errno == ENOENT) {
        const int error = create_state(path, mode);
        if (error != 0 && error != EEXIST)
            fail("%s: %s", path, strerror(error));
        descriptor = open(path, flags);
    }
    if (descriptor < 0)
        fail("%s: %s", path, errno == ELOOP ? "is a symbolic link" : strerror(errno));
    if (const char *flaw = flaw_in_state(descriptor))
        fail("%s: %s", path, flaw);
    struct stat file = {};
    // Another user could set this user's clock.
    if (fstat(descriptor, &file) != 0 || (!shared && file.st_uid != geteuid() && file.st_uid != 0))
        fail("%s: belongs to another user", path);
    if (shared && (file.st_mode & mode) != mode && fchmod(descriptor, mode) != 0)
        fail("%s: %s", path, strerror(errno));
    forget_earlier_boots(descriptor);
    close(descriptor);
}

} // namespace sim
