#include "simulator/vdso/start.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/raw/memory.h"
#include "simulator/raw/signals.h"
#include "simulator/raw/small_file.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/state.h"

#ifndef PR_GET_MDWE
constexpr int PR_GET_MDWE = 66;
#endif

namespace sim
{

// A bit for each file that was warned of, by hash. Forked children share the memory, since they do the exec.
constexpr size_t remembered_bytes = 4096;
static std::atomic<uint8_t> *remembered;

// Allocates the bits. Call once, before there are children.
static void prepare_warnings()
{
    const long page =
        system_call(SYS_mmap, nullptr, remembered_bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page > 0 || page < -4095)
        remembered = std::bit_cast<std::atomic<uint8_t> *>(page);
}

static bool is_first_warning(const char *path)
{
    struct stat file = {};
    if (remembered == nullptr || system_call(SYS_newfstatat, AT_FDCWD, path, &file, 0) != 0)
        return true;
    const uint64_t hash = (file.st_ino * 31 + file.st_dev) * 0x9e3779b97f4a7c15 >> 49; // 15 bits
    const auto bit = static_cast<uint8_t>(1u << hash % 8);
    return (remembered[hash / 8].fetch_or(bit, std::memory_order_relaxed) & bit) == 0;
}

// A program may open anything as its standard error. So warnings go only to the file that it was at the start, or to a
// terminal.
static bool reaches_user(const ErrorFile &from_start)
{
    struct stat file = {};
    char modes[64]; // the kernel's termios
    if (system_call(SYS_fstat, STDERR_FILENO, &file) != 0)
        return false;
    return (file.st_dev == from_start.device && file.st_ino == from_start.inode) ||
           (S_ISCHR(file.st_mode) && system_call(SYS_ioctl, STDERR_FILENO, TCGETS, modes) == 0);
}

// Writes what fits without waiting. Call with all signals blocked.
static void write_without_waiting(const char *line, size_t length)
{
    const SignalMask broken_pipe = SignalMask(1) << (SIGPIPE - 1);
    const timespec at_once = {};
    SignalMask pending = 0;
    system_call(SYS_rt_sigpending, &pending, sizeof pending);
    const iovec text = {const_cast<char *>(line), length};
    long written = system_call(SYS_pwritev2, STDERR_FILENO, &text, 1, -1L, -1L, RWF_NOWAIT);
    pollfd ready = {STDERR_FILENO, POLLOUT, 0};
    if (written == -EOPNOTSUPP && system_call(SYS_ppoll, &ready, 1, &at_once, nullptr, 0) == 1 &&
        (ready.revents & POLLOUT) != 0)
        written = system_call(SYS_write, STDERR_FILENO, line, length);
    if (written == -EPIPE && (pending & broken_pipe) == 0)
        system_call(SYS_rt_sigtimedwait, &broken_pipe, nullptr, &at_once, sizeof broken_pipe);
}

using Reason = std::array<const char *, 3>; // parts of a sentence; null for none

// Warns on standard error, once for each file and starting program. Neither waits nor raises SIGPIPE. Call with all
// signals blocked. `line` is a buffer.
static void warn(const char *path, const Reason &reason, const ErrorFile &from_start, char (&line)[1024])
{
    if (!reaches_user(from_start) || !is_first_warning(path))
        return;
    const char *parts[] = {"zynov-sim: warning: ", path, ": ", reason[0], reason[1], reason[2], "\n"};
    size_t length = 0;
    for (const char *part : parts)
        for (; part != nullptr && *part != '\0' && length < sizeof line; ++part) // a name must not control the terminal
            line[length++] = static_cast<unsigned char>(*part) < ' ' && *part != '\n' ? '?' : *part;
    write_without_waiting(line, length);
}

// The options at the start: a process may start others without them, as env -i does.
static struct {
    char state[2048], choices[256]; // Vvar has no room for a longer state
} initial;

void prepare_starts()
{
    const char *state = getenv(state_variable);
    const char *choices = getenv(choices_variable);
    if (state == nullptr || strlen(state) >= sizeof initial.state)
        return;
    memcpy(initial.state, state, strlen(state) + 1);
    if (choices != nullptr && strlen(choices) < sizeof initial.choices)
        memcpy(initial.choices, choices, strlen(choices) + 1);
    prepare_warnings();
}

// Buffers that would be too large for a signal stack.
struct Scratch {
    char path[PATH_MAX], status[4096], line[1024];
};

static bool is_same_file(const char *path, const char *other)
{
    struct stat file = {}, beside = {};
    return system_call(SYS_newfstatat, AT_FDCWD, path, &file, 0) == 0 &&
           system_call(SYS_newfstatat, AT_FDCWD, other, &beside, 0) == 0 && file.st_ino == beside.st_ino &&
           file.st_dev == beside.st_dev;
}

// Reads a field of a thread's status as a number; 0 if it is missing.
static uint64_t read_field(const char *status, const char *field, int base)
{
    const char *found = strstr(status, field);
    return found != nullptr ? strtoull(found + strlen(field), nullptr, base) : 0;
}

// Whether root's next program gets more capabilities than this one has: a tracer without CAP_SYS_PTRACE would deny it
// those.
static bool gains_capabilities(const char *status)
{
    const char *user = strstr(status, "\nUid:\t"); // the real one, and the effective one
    if (user == nullptr || (strtoul(user + 6, nullptr, 10) != 0 && strtoul(strchr(user + 6, '\t'), nullptr, 10) != 0))
        return false;
    const uint64_t next = read_field(status, "\nCapInh:\t", 16) | read_field(status, "\nCapBnd:\t", 16);
    return (next & ~read_field(status, "\nCapPrm:\t", 16)) != 0 &&
           (read_field(status, "\nCapEff:\t", 16) >> CAP_SYS_PTRACE & 1) == 0;
}

// Whether a tracer of ours, which stays with all that a program starts, reaches what this process starts, too.
static bool is_followed(uint64_t tracer)
{
    char path[32], name[32] = {};
    snprintf(path, sizeof path, "/proc/%llu/comm", static_cast<unsigned long long>(tracer));
    return read_small_file(path, name) && strncmp(name, tracer_name, strlen(tracer_name)) == 0;
}

static constexpr char already_traced[] = ""; // there is no need for another tracer

// Returns why a child of this process cannot trace it or inject the vDSO; null if it can.
static const char *find_obstacle(const char *state, char (&status)[4096])
{
    switch (load_small_file("/proc/thread-self/status", status)) {
    case 0:
        break;
    case EMFILE:
    case ENFILE:
        return "no descriptor is left to look at it by";
    default:
        return "there is no /proc";
    }
    if (const uint64_t tracer = read_field(status, "\nTracerPid:\t", 10))
        return is_followed(tracer) ? already_traced : "its parent is traced";
    if (read_field(status, "\nSeccomp:\t", 10) != 0)
        return "its parent is under a filter of system calls";
    if (gains_capabilities(status))
        return "it gets capabilities that its parent has not";
    if (system_call(SYS_prctl, PR_GET_MDWE, 0, 0, 0, 0) > 0)
        return "its parent may make no memory executable";
    // The tracer would be the first process of the new namespace, which ends with it.
    if (!is_same_file("/proc/thread-self/ns/pid", "/proc/thread-self/ns/pid_for_children"))
        return "its parent's children are in another pid namespace";
    const int table = open_state(state, O_CLOEXEC);
    if (table < 0)
        return table == -EMFILE ? "no descriptor is left for the clock table"
                                : "the clock table cannot be read from here";
    system_call(SYS_close, table);
    return nullptr;
}

// For such programs the loader ignores preloaded libraries, and the kernel refuses tracers.
static bool has_other_ids()
{
    return system_call(SYS_getuid) != system_call(SYS_geteuid) || system_call(SYS_getgid) != system_call(SYS_getegid);
}

// An unreadable name counts as absolute.
static bool is_relative(const char *path)
{
    char first = '/';
    read_given(first, const_cast<char *>(path));
    return first != '/';
}

const char *Start::trace(Traced what, const char *state, bool inspects, const Choices &choices, char (&status)[4096])
{
    if (const char *obstacle = find_obstacle(state, status))
        return obstacle;
    switch (tracer_.start(what, state, inspects, choices.intervals, follows_ && !inspects)) {
    case 0:
        return nullptr;
    case EACCES:
        return "its parent has given up rights in memory that others share";
    case ECHILD:
        return "its tracer was killed";
    default:
        return "it may not be traced";
    }
}

void Start::prepare(const Target &target, Traced what)
{
    const char *state = getenv(state_variable);
    const bool in_environment = state != nullptr;
    if (!in_environment)
        state = initial.state;
    if (*state == '\0' || is_filtered())
        return;
    const Choices choices = read_choices(in_environment ? getenv(choices_variable) : initial.choices);
    if (choices.descendants && what != Traced::descendants)
        return;             // the tracer of all descendants checks each program
    const SignalsHeld held; // a handler that jumps out would skip the clean-up
    const long pages =
        system_call(SYS_mmap, nullptr, sizeof(Scratch), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages < 0 && pages > -4096)
        return;
    auto &scratch = *std::bit_cast<Scratch *>(pages);
    const char *path = find_program(target, scratch.path);
    const bool unseen = target.moves && is_relative(path);
    const Reach reach = unseen ? Reach::unknown : reach_of(path);
    const bool untouched = reach == Reach::vdso && (choices.no_static || !can_trace);
    const bool traced = !choices.no_static && can_trace &&
                        (reach == Reach::vdso || unseen || what == Traced::descendants) && !has_other_ids();
    Reason reason = {"keeps the real time, since it "};
    if (reach == Reach::foreign)
        reason[1] = "is for another architecture";
    else if (reach == Reach::privileged)
        reason[1] = "gets rights of its own";
    else if (reach == Reach::unseen)
        reason = {"may keep the real time, since ", "no descriptor is left to look at it by"};
    else if (reach != Reach::unknown && has_other_ids())
        reason[1] = "has other effective ids than real ones";
    else if (untouched)
        reason[1] = "is linked statically, or by Go";
    else if (const char *obstacle = traced ? trace(what, state, unseen, choices, scratch.status) : nullptr;
             obstacle && obstacle != already_traced && !unseen)
        reason = what == Traced::descendants ? Reason{"what it starts may keep the real time, since ", obstacle}
                                             : Reason{reason[0], "is linked statically, or by Go, and ", obstacle};
    if (reason[1] != nullptr && !choices.quiet)
        warn(path, reason, choices.error_file, scratch.line);
    system_call(SYS_munmap, pages, sizeof scratch);
}
} // namespace sim
