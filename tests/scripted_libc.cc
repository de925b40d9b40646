#include "tests/scripted_libc.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

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
    for (FILE *stream : host_names)
        fclose(stream);
}

// The C library's own function.
#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

// Counts a scripted call; true when it is the one to fail.
static bool fails()
{
    const bool now = ++script->calls == script->failing_call;
    if (now)
        errno = script->failure;
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
        return script->descriptor;
    }
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return REAL(open)(path, flags, mode);
}

int close(int descriptor)
{
    if (script == nullptr || script->opened == script->closed || descriptor != script->descriptor)
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
    if (script == nullptr || script->opened == script->closed || descriptor != script->descriptor)
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
    if (fails())
        return nullptr;
    return script->host_names.emplace_back(
        fmemopen(const_cast<char *>(script->host_name), strlen(script->host_name), mode));
}

FILE *popen(const char *command, const char *mode)
{
    int pid, length = 0;
    const int read = sscanf(command, "cat /proc/%d/status | grep Uid | awk '{ print $3 }'%n", &pid, &length);
    if (script == nullptr || read != 1 || length == 0)
        return REAL(popen)(command, mode);
    if (fails())
        return nullptr;
    const int owner = memfd_create("owner", 0);
    dprintf(owner, "%d\n", script->processes[pid]);
    lseek(owner, 0, SEEK_SET);
    script->owners.insert(owner);
    return fdopen(owner, mode);
}

char *fgets(char *line, int size, FILE *stream)
{
    return script != nullptr && fails() ? nullptr : REAL(fgets)(line, size, stream);
}

int fscanf(FILE *stream, const char *format, ...)
{
    if (script != nullptr && fails())
        return EOF;
    va_list rest;
    va_start(rest, format);
    const int read = vfscanf(stream, format, rest);
    va_end(rest);
    return read;
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

tm *localtime_r(const time_t *__restrict instant, tm *__restrict local) noexcept
{
    return script != nullptr && fails() ? nullptr : REAL(localtime_r)(instant, local);
}

char *ctime(const time_t *instant) noexcept
{
    return script != nullptr && fails() ? nullptr : REAL(ctime)(instant);
}

// Linked in place of the calls to malloc, which the C library's own do not go through.
void *__real_malloc(size_t);
void *__wrap_malloc(size_t size)
{
    return script != nullptr && fails() ? nullptr : __real_malloc(size);
}
}
