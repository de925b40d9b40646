// The preloaded side of the control file: open, and the commands. The C library handles everything else about a
// descriptor, close included. ioctl also keeps virtual time out of the machine's hardware clock.
#include "simulator/libc/control.h"

#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "contract/zynov.h"
#include "simulator/libc/setting.h"
#include "simulator/process/identity.h"
#include "simulator/process/intervals.h"
#include "simulator/process/own_clock.h"
#include "simulator/process/sigbus.h"
#include "simulator/process/trees.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/next.h"
#include "simulator/raw/signals.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/commands.h"
#include "simulator/table/faults.h"
#include "simulator/table/lock.h"
#include "simulator/table/mapping.h"
#include "simulator/table/refine.h"
#include "simulator/table/state.h"

namespace sim
{

// Whether a path names the control file in an unusual way, by another path of its folder.
static bool leads_to_control_file(int folder, const char *path)
{
    static constexpr char usual[] = ZYNOV_PATH;
    constexpr size_t up_to_name = std::string_view(usual).rfind('/') + 1;
    const char *slash = strrchr(path, '/');
    const size_t length = slash == nullptr ? 0 : static_cast<size_t>(slash + 1 - path);
    char its_folder[256] = ".", usual_folder[sizeof usual] = {};
    if (strcmp(path + length, usual + up_to_name) != 0 || length >= sizeof its_folder)
        return false;
    if (length > 0) {
        memcpy(its_folder, path, length);
        its_folder[length] = '\0';
    }
    memcpy(usual_folder, usual, up_to_name);
    struct stat its = {}, of_usual = {};
    return system_call(SYS_newfstatat, folder, its_folder, &its, 0) == 0 &&
           system_call(SYS_newfstatat, AT_FDCWD, usual_folder, &of_usual, 0) == 0 && its.st_dev == of_usual.st_dev &&
           its.st_ino == of_usual.st_ino;
}

const char *state_file_for(int folder, const char *path, int error)
{
    const bool read = error == 0 || error == ENOENT || error == EACCES || error == EROFS;
    if (!read || path == nullptr) // without a path the descriptor is the file
        return nullptr;
    const bool is_control_file = strcmp(path, ZYNOV_PATH) == 0 || leads_to_control_file(folder, path);
    return is_control_file ? getenv(state_variable) : nullptr;
}

static std::atomic<uint64_t> commands_sent;

// Returns the result of an open that the C library has tried. Success leaves errno unchanged.
static int open_simulated(int opened, int folder, const char *path, int flags, int kept)
{
    const char *state = state_file_for(folder, path, opened < 0 ? errno : 0);
    if (state == nullptr)
        return opened;
    if (opened >= 0) // a real module is there
        system_call(SYS_close, opened);
    const int descriptor = open_state(state, flags & (O_CLOEXEC | O_NONBLOCK));
    errno = descriptor < 0 ? -descriptor : kept;
    return descriptor < 0 ? -1 : descriptor;
}

// Whether an open can create a file, and so has a mode argument.
static bool has_mode(int flags)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

static bool is_command(unsigned long request)
{
    switch (request) {
    case ZYNOV_IOC_ADD_CLOCK:
    case ZYNOV_IOC_DELETE_CLOCK:
    case ZYNOV_IOC_GET_SLOT:
    case ZYNOV_IOC_RESET_ALL:
    case ZYNOV_IOC_HIGH_MARK:
    case ZYNOV_IOC_REFINE_CLOCK:
        return true;
    default:
        return false;
    }
}

static int run_command(int descriptor, unsigned long command, zynov_iov &record)
{
    const SignalsHeld held(sigbus_mask());
    const Identity caller = certain_identity();
    if (changes_table(command, record)) {
        AddContext found = find_add_context(command, record, caller);
        found.descriptor = descriptor;
        found.timeline = own_timeline();
        const TableLock lock(descriptor);
        if (lock.error() != 0)
            return lock.error();
        const int error = change_table(*lock.table(), command, record, real_time(), found); // the time once locked
        return lock.mapping().was_cut() ? EBADMSG : error;
    }
    Mapping mapping;
    if (const int error = mapping.map(descriptor, Mapping::reading))
        return error;
    int error = query_table(*mapping.table(), command, record, real_time(), descriptor, caller);
    Trees trees;
    if (command == ZYNOV_IOC_REFINE_CLOCK && error == ENOENT && (record.flags & ZYNOV_KIND_MASK) == ZYNOV_PROCESS &&
        read_trees_of(record.id, trees))
        error = tell_passed_on(*mapping.table(), record, trees, descriptor);
    return mapping.was_cut() ? EBADMSG : error;
}

// In a container without a number, 0 stands for it and not for the host, whose clocks are not to be had there.
static int run_for_container(int descriptor, unsigned long command, zynov_iov &record)
{
    const uint64_t own = unnumbered_container();
    if (record.container_id == 0)
        record.container_id = own;
    const int error = run_command(descriptor, command, record);
    if (command == ZYNOV_IOC_GET_SLOT && own != 0 && record.container_id == 0)
        record.id = 0;
    if (record.container_id == own)
        record.container_id = 0;
    return error;
}

// Leaves errno alone unless it fails.
static int answer_command(int descriptor, unsigned long command, void *given)
{
    const int kept = errno;
    zynov_iov record;
    int result = -1, error = read_given(record, given);
    if (error == 0) {
        const zynov_iov sent = record;
        Faults faults;
        faults.read(getenv(faults_variable));
        if (!faults.play(++commands_sent, record, result, error)) {
            error = run_for_container(descriptor, command, record);
            result = error != 0 ? -1 : 0;
        }
        if (memcmp(&record, &sent, sizeof record) != 0 && write_given(given, record) != 0) {
            error = EFAULT;
            result = -1;
        }
    }
    errno = error != 0 ? error : kept;
    return result;
}

} // namespace sim

SIM_STAND_IN(int, open, (const char *path, int flags, ...))
{
    const int kept = errno;
    va_list rest;
    va_start(rest, flags);
    const int descriptor = next_open(path, flags, sim::has_mode(flags) ? va_arg(rest, mode_t) : 0);
    va_end(rest);
    return sim::open_simulated(descriptor, AT_FDCWD, path, flags, kept);
}

SIM_STAND_IN(int, openat, (int directory, const char *path, int flags, ...))
{
    const int kept = errno;
    va_list rest;
    va_start(rest, flags);
    const int descriptor = next_openat(directory, path, flags, sim::has_mode(flags) ? va_arg(rest, mode_t) : 0);
    va_end(rest);
    return sim::open_simulated(descriptor, directory, path, flags, kept);
}

// These open files inside the C library, not through the calls above.
SIM_STAND_IN(FILE *, fopen, (const char *path, const char *mode))
{
    const int kept = errno;
    FILE *const file = next_fopen(path, mode);
    const char *state = sim::state_file_for(AT_FDCWD, path, file == nullptr ? errno : 0);
    if (state == nullptr)
        return file;
    if (file != nullptr)
        fclose(file);
    const int descriptor = sim::open_state(state, strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0);
    errno = descriptor < 0 ? -descriptor : kept;
    return descriptor < 0 ? nullptr : fdopen(descriptor, "r");
}
SIM_ALIAS(fopen64, fopen)

SIM_STAND_IN(int, ioctl, (int descriptor, unsigned long request, ...))
{
    va_list rest;
    va_start(rest, request);
    void *argument = va_arg(rest, void *);
    va_end(rest);
    const unsigned long command = static_cast<unsigned>(request); // the kernel ignores the upper bits
    if (sim::is_command(command) && sim::flaw_in_state(descriptor) == nullptr)
        return sim::answer_command(descriptor, command, argument);
    if (command == RTC_SET_TIME && !sim::may_set_time()) // the machine would boot with that time
        return -1;
    return next_ioctl(descriptor, request, argument);
}

// The same calls under the other names that compiled programs use.
SIM_ALIAS(__open, open)
SIM_ALIAS(__open64, open)
SIM_ALIAS(open64, open)
SIM_ALIAS(openat64, openat)
SIM_REPLACE(int, __open_2, (const char *path, int flags))
{
    return open(path, flags);
}
SIM_REPLACE(int, __openat_2, (int directory, const char *path, int flags))
{
    return openat(directory, path, flags);
}
SIM_ALIAS(__open64_2, __open_2)
SIM_ALIAS(__openat64_2, __openat_2)
