#include <cerrno>
#include <cstdio>

#include "base/container_files.h"
#include "base/errno_guard.h"
#include "base/integer.h"
#include "base/process_ids.h"
#include "control/control.h"
#include "control/shown_time.h"
#include "control/visibility.h"
#include "identity/name.h"
#include "ov_helper.h"

namespace ov
{

// Asks /proc who owns a process, and keeps the answer for the row.
struct ProcessFile {
    ProcessIds ids = {};

    Answer is_alive(int32_t pid)
    {
        ids = process_ids(pid);
        return ids.gone() ? Answer::no : ids.known() ? Answer::yes : Answer::unknown;
    }
    Answer belongs_to(int32_t, int uid) const
    {
        if (ids.known())
            return answer(low_32(ids.uid) == uid);
        // /proc may be mounted so that it hides other users' processes.
        return ids.failure == EACCES || ids.failure == EPERM ? Answer::no : Answer::unknown;
    }
};

// The errnos by which the user and group databases say that a number is unknown.
static bool says_that_there_is_none(int error)
{
    return error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
}

static bool begin(int fd, ov_clock &clock)
{
    clear_record();
    if (send_command(fd, ZYNOV_IOC_HIGH_MARK) != 0)
        return false;
    clock.high_mark = low_32(theiov.speed);
    clock.container = zyn_get_container_ID();
    close_left_open();
    clock.next_slot = 0;
    clock.undecided = 0;
    clock.begun = 1;
    return true;
}

static void describe(const zynov_iov &entry, const ProcessIds &owner, ov_clock &clock)
{
    clock.kind = kind_of(entry);
    clock.id = static_cast<uint32_t>(entry.id);
    clock.slot = static_cast<uint32_t>(clock.next_slot - 1);
    clock.value = shown_time(entry);
    clock.origin = entry.origin;
    clock.speed = low_32(entry.speed);
    clock.mode = static_cast<int32_t>(entry.flags >> ZYNOV_MODE_SHIFT & ZYNOV_MODE_MASK);
    clock.rewind = entry.flags >> ZYNOV_REWIND_SHIFT != 0 ? 1 : 0;
    const bool owned = clock.kind == OV_PROCESS && owner.known();
    clock.owner = owned ? int64_t{owner.uid} : -1;
    clock.owner_group = owned ? int64_t{owner.gid} : -1;

    errno = 0;
    const char *name = name_of(clock.kind, clock.id);
    clock.named = name != nullptr ? 1 : says_that_there_is_none(errno) ? 0 : -1;
    if (name != nullptr)
        snprintf(clock.name, sizeof clock.name, "%s", name);
    else
        snprintf(clock.name, sizeof clock.name, "%u", clock.id);
}

} // namespace ov

int ov_next_clock(int fd, int uid, ov_clock *clock)
{
    if (clock->begun == 0 && !ov::begin(fd, *clock))
        return -1;
    while (clock->next_slot <= clock->high_mark) {
        ov::clear_record();
        ov::theiov.slot = static_cast<uint32_t>(clock->next_slot++);
        if (ov::send_command(fd, ZYNOV_IOC_GET_SLOT) != 0)
            return -1;
        ov::ErrnoGuard keep;
        ov::ProcessFile process;
        const ov::Answer visible = ov::is_visible(ov::theiov, clock->container, uid, process);
        if (visible == ov::Answer::yes) {
            ov::describe(ov::theiov, process.ids, *clock);
            return 1;
        }
        clock->undecided += visible == ov::Answer::unknown ? 1 : 0;
    }
    return 0;
}
