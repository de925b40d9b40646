#include "simulator/raw/process.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/container_files.h"
#include "base/errno_guard.h"
#include "simulator/raw/pidfd.h"
#include "simulator/raw/small_file.h"

namespace sim
{

constexpr uint64_t is_a_tick = 1ULL << 63;
constexpr int64_t ticks_per_second = 100, nanoseconds_per_tick = 10'000'000; // USER_HZ

static uint64_t inode_of(const char *path)
{
    struct stat file = {};
    system_call(SYS_newfstatat, AT_FDCWD, path, &file, 0);
    return file.st_ino;
}

uint64_t pid_namespace()
{
    return inode_of("/proc/self/ns/pid");
}

uint64_t pid_namespace(int64_t pid)
{
    char path[48];
    snprintf(path, sizeof path, "/proc/%lld/ns/pid", static_cast<long long>(pid));
    return inode_of(path);
}

static bool is_there(int64_t pid)
{
    return pid > 0 && pid <= INT_MAX && system_call(SYS_kill, pid, 0) != -ESRCH;
}

// Reads by how many ticks the caller's time namespace shifts times; false if that is unknown.
static bool read_shift(int64_t &ticks)
{
    char text[256];
    const int error = load_small_file("/proc/self/timens_offsets", text);
    char *offset = error == 0 ? strstr(text, "boottime ") : nullptr;
    if (offset == nullptr) {
        ticks = 0;
        return error == ENOENT; // the kernel has no time namespaces
    }
    const long seconds = strtol(offset + strlen("boottime "), &offset, 10);
    ticks = seconds * ticks_per_second + strtol(offset, nullptr, 10) / nanoseconds_per_tick;
    // The file is about the namespace of future children.
    return ticks == 0 || inode_of("/proc/self/ns/time") == inode_of("/proc/self/ns/time_for_children");
}

// Whether /proc shows the caller's own pid namespace.
static bool own_processes_in_proc()
{
    char self[16] = {};
    return system_call(SYS_readlinkat, AT_FDCWD, "/proc/self", self, sizeof self - 1) > 0 &&
           atol(self) == system_call(SYS_getpid);
}

int read_start(int64_t pid, uint64_t &birth)
{
    ov::ErrnoGuard keep;
    char path[48], text[1024];
    snprintf(path, sizeof path, "/proc/%lld/stat", static_cast<long long>(pid));
    const int error = load_small_file(path, text);
    if (!is_there(pid))
        return ESRCH;
    int64_t shift = 0;
    if (error != 0)
        return error == ENOENT ? EACCES : error; // it exists, but /proc hides it
    if (!own_processes_in_proc() || !read_shift(shift))
        return EACCES;
    // The program's name, in parentheses, may contain anything. The fields from 3 on follow it.
    const char *field = strrchr(text, ')');
    constexpr int start_time = 22;
    for (int number = 2; field != nullptr && number < start_time; ++number)
        field = strchr(field + 1, ' ');
    if (field == nullptr)
        return EIO;
    birth = (strtoull(field, nullptr, 10) - static_cast<uint64_t>(shift)) | is_a_tick;
    return 0;
}

int read_birth(int64_t pid, uint64_t &birth)
{
    if (!is_there(pid))
        return ESRCH;
    const int error = read_inode(pid, birth);
    if (error == EINVAL || error == ENOENT)
        return ESRCH; // the id of a thread, which /proc also has
    return error == 0 ? 0 : read_start(pid, birth);
}

bool has_ended(int64_t pid, uint64_t birth)
{
    if (!is_there(pid))
        return true;
    uint64_t present = 0;
    if ((birth & is_a_tick) == 0)
        return read_inode(pid, present) == 0 && present != birth;
    // If a time namespace shifts by a fraction of a tick, the last tick is uncertain.
    return read_start(pid, present) == 0 && present + 1 - birth > 2;
}

Container read_container()
{
    char line[256] = "";
    struct stat marker; // filters allow stat
    if (system_call(SYS_newfstatat, AT_FDCWD, ov::container_marker, &marker, 0) != 0)
        return {};
    read_small_file(ov::container_name, line);
    line[strcspn(line, "\n")] = '\0';
    const uint64_t number = strtoull(line, nullptr, 16);
    uint64_t made = 0xcbf29ce484222325; // FNV-1a
    for (const char *next = line; *next != '\0'; ++next)
        made = (made ^ static_cast<unsigned char>(*next)) * 0x100000001b3;
    return {number != 0 ? number : made | uint64_t{1} << 63, number};
}

} // namespace sim
