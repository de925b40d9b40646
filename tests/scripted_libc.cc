#include "tests/scripted_libc.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

static Script *script;

Script::Script()
{
    script = this;
}

Script::~Script()
{
    script = nullptr;
}

// Not a number that the C library would hand out, so that only the scripted close accepts it.
constexpr int control_descriptor = 100000;

// The C library's own function.
#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

// Counts a scripted call; true when it is the one to fail.
static bool fails()
{
    const bool now = ++script->calls == script->failing_call;
    if (now)
        errno = EIO;
    return now;
}

extern "C" {

int open(const char *path, int flags, ...)
{
    if (script != nullptr && strcmp(path, ZYNOV_PATH) == 0) {
        if (script->open_error != 0)
            errno = script->open_error;
        if (script->open_error != 0 || flags != O_RDONLY || fails())
            return -1;
        ++script->opened;
        return control_descriptor;
    }
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return REAL(open)(path, flags, mode);
}

int close(int descriptor)
{
    if (descriptor != control_descriptor)
        return REAL(close)(descriptor);
    ++script->closed;
    errno = EBADF; // comes too late to be seen by anybody
    return 0;
}

int ioctl(int descriptor, unsigned long request, ...)
{
    va_list rest;
    va_start(rest, request);
    void *argument = va_arg(rest, void *);
    va_end(rest);
    if (script == nullptr || descriptor != control_descriptor)
        return REAL(ioctl)(descriptor, request, argument);
    auto &record = *static_cast<zynov_iov *>(argument);
    script->sent.emplace_back(request, record);
    return fails() ? -1 : script->kernel(request, record);
}

int stat(const char *path, struct stat *status) noexcept
{
    int pid;
    if (script == nullptr)
        return REAL(stat)(path, status);
    *status = {};
    const bool there = strcmp(path, "/.dockerenv") == 0
                           ? script->host_name != nullptr
                           : sscanf(path, "/proc/%d/status", &pid) == 1 && script->processes.count(pid) == 1;
    if (!there)
        errno = ENOENT;
    return there && !fails() ? 0 : -1;
}

FILE *fopen(const char *path, const char *mode)
{
    if (script == nullptr || strcmp(path, "/etc/hostname") != 0)
        return REAL(fopen)(path, mode);
    return fails() ? nullptr : fmemopen(const_cast<char *>(script->host_name), strlen(script->host_name), mode);
}

FILE *popen(const char *command, const char *mode)
{
    int pid, length = 0;
    const int read = sscanf(command, "cat /proc/%d/status | grep Uid | awk '{ print $3 }'%n", &pid, &length);
    if (script == nullptr || read != 1 || length == 0)
        return REAL(popen)(command, mode);
    static char owner[16];
    snprintf(owner, sizeof owner, "%d\n", script->processes[pid]);
    return fails() ? nullptr : fmemopen(owner, strlen(owner), mode);
}

uid_t getuid() noexcept
{
    return script != nullptr ? script->uid : REAL(getuid)();
}

gid_t getgid() noexcept
{
    return script != nullptr ? script->gid : REAL(getgid)();
}

} // extern "C"

// The first name and number that match, left in an entry of the user or group database.
template <typename Entry, typename Matches>
static Entry *find(const std::map<std::string, unsigned> &database, char *Entry::*name, unsigned Entry::*id,
                   Matches matches)
{
    static Entry found;
    static std::string found_name;
    for (const auto &[entry, number] : database) {
        if (matches(entry, number) && !fails()) {
            found_name = entry;
            found.*name = found_name.data();
            found.*id = number;
            return &found;
        }
    }
    return nullptr;
}

extern "C" {

passwd *getpwnam(const char *name)
{
    return find(script->users, &passwd::pw_name, &passwd::pw_uid, [=](auto &user, unsigned) { return user == name; });
}

passwd *getpwuid(uid_t uid)
{
    return find(script->users, &passwd::pw_name, &passwd::pw_uid,
                [=](auto &, unsigned number) { return number == uid; });
}

group *getgrnam(const char *name)
{
    return find(script->groups, &group::gr_name, &group::gr_gid, [=](auto &entry, unsigned) { return entry == name; });
}

group *getgrgid(gid_t gid)
{
    return find(script->groups, &group::gr_name, &group::gr_gid,
                [=](auto &, unsigned number) { return number == gid; });
}

int gettimeofday(timeval *__restrict time, void *__restrict zone) noexcept
{
    if (script == nullptr || script->now == 0)
        return REAL(gettimeofday)(time, zone);
    *time = {++script->clock_readings > 1 && script->later != 0 ? script->later : script->now, 0};
    return fails() ? -1 : 0;
}

char *strdup(const char *text) noexcept
{
    if (script != nullptr && (script->no_messages || fails()))
        return errno = ENOMEM, nullptr;
    return REAL(strdup)(text);
}
}
