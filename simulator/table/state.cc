#include "simulator/table/state.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "base/errno_guard.h"

namespace sim
{

int create_state(const char *path, mode_t mode)
{
    char *draft;
    if (asprintf(&draft, "%s.XXXXXX", path) < 0)
        return ENOMEM;
    const Header header;
    int error = 0;
    const int descriptor = mkstemp(draft);
    if (descriptor < 0) {
        error = errno;
    } else {
        if (ftruncate(descriptor, sizeof(Table)) != 0 || write(descriptor, &header, sizeof header) != sizeof header ||
            fchmod(descriptor, mode) != 0 || link(draft, path) != 0)
            error = errno;
        close(descriptor);
        unlink(draft);
    }
    free(draft);
    return error;
}

const char *flaw_in_state(int descriptor)
{
    const Header expected;
    Header header;
    struct stat file;
    if (fstat(descriptor, &file) != 0 || !S_ISREG(file.st_mode))
        return "not a regular file";
    if (pread(descriptor, &header, sizeof header, 0) != sizeof header)
        return "truncated";
    if (header.magic != expected.magic)
        return "not a clock table";
    if (header != expected)
        return "a clock table of another version";
    if (file.st_size != sizeof(Table))
        return file.st_size < static_cast<off_t>(sizeof(Table)) ? "truncated" : "too long for a clock table";
    return nullptr;
}

static Table *map(int descriptor, int protection)
{
    void *memory = mmap(nullptr, sizeof(Table), protection, MAP_SHARED, descriptor, 0);
    return memory != MAP_FAILED ? static_cast<Table *>(memory) : nullptr;
}

const Table *map_state(int descriptor)
{
    return map(descriptor, PROT_READ);
}

// The lock belongs to an opening of the file, so each change opens the file anew: a descriptor that was
// inherited would let all its holders in at once.
Change::Change(int descriptor) : table_(nullptr)
{
    char self[32];
    snprintf(self, sizeof self, "/proc/self/fd/%d", descriptor);
    lock_ = open(self, O_RDWR | O_CLOEXEC);
    if (lock_ < 0)
        return;
    while (flock(lock_, LOCK_EX) != 0)
        if (errno != EINTR)
            return;
    table_ = map(lock_, PROT_READ | PROT_WRITE);
}

Change::~Change()
{
    ov::ErrnoGuard keep;
    if (table_ != nullptr)
        munmap(table_, sizeof(Table));
    if (lock_ >= 0) {
        flock(lock_, LOCK_UN); // a child forked meanwhile may still hold this opening
        close(lock_);
    }
}

} // namespace sim
