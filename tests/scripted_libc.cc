#include "tests/scripted_libc.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

static Script *&script = Script::in_force;

// The real function.
#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

// The beginnings of the engine's messages, after "ovuser: ".
static const char *const beginnings[] = {"uid ",
                                         "gid ",
                                         "pid ",
                                         "All Orvane users have been listed above.\n",
                                         "Requested Orvane users have been listed above.\n",
                                         "report: Virtual clock for ",
                                         "report: All Orvane users have been reset to the system clock successfully.\n",
                                         "warning: Reset Orvane completed with no entry in it.\n",
                                         "warning: Specified id does not have a virtual clock\n",
                                         "error: User root does not have a virtual clock\n",
                                         "error: incorrect/non-existent ",
                                         "error: uid '0' (root user) or ",
                                         "error: Non-root user can not ",
                                         "error: Only root can reset all the OV users.\n",
                                         "error: wrong parameters for speed: ",
                                         "error: parse virtual clock error\n",
                                         "error: parse relative clock error\n",
                                         "error: Illegal virtual clock, ",
                                         "error: Illegal time value for ",
                                         "error: Open of /proc/zynov failed; error = ",
                                         "error: an error occurred while executing this request, error = ",
                                         "error: OV kernel module reported error = "};

static bool is_known(const std::string &message)
{
    return message.rfind("ovuser: ", 0) == 0 && strchr("\n)", message.back()) != nullptr &&
           std::any_of(std::begin(beginnings), std::end(beginnings),
                       [&](const char *text) { return message.compare(8, strlen(text), text) == 0; });
}

Outcome Script::run(const Call &call, const std::string &pending, bool with_slot)
{
    const auto left = const_cast<char *>(pending.empty() ? nullptr : pending.c_str()); // must not be freed
    char *message = left, *out, *err;
    size_t size;
    FILE *const streams[] = {stdout, stderr};
    stdout = open_memstream(&out, &size);
    stderr = open_memstream(&err, &size);
    sent.clear();
    opened = closed = calls = clock_readings = errno = 0;
    const int result = call(with_slot ? &message : nullptr);
    error = errno;
    const int made = std::exchange(calls, INT_MIN); // the test's own calls do not fail
    fclose(std::exchange(stdout, streams[0]));
    fclose(std::exchange(stderr, streams[1]));
    Outcome outcome = {result, made, opened == closed, message != nullptr ? message : "", out, err, ""};
    for (const int owner : owners)
        outcome.good &= fcntl(owner, F_GETFD) == -1;
    outcome.good &= message == left || message == nullptr || is_known(outcome.message);
    for (const auto &record : sent)
        outcome.sent.append(reinterpret_cast<const char *>(&record), sizeof record);
    for (char *text : {message != left ? message : nullptr, out, err})
        free(text);
    return outcome;
}

// Counts a scripted call. True if it is the one to fail.
static bool fails()
{
    if (script == nullptr || ++script->calls != script->failing_call)
        return false;
    errno = script->failure;
    return true;
}

// Looks an entry up by name or, if that is null, by number.
template <typename Entry>
static Entry *find(const std::map<std::string, unsigned> &database, char *Entry::*name, unsigned Entry::*id,
                   const char *wanted_name, unsigned wanted_id = 0)
{
    static Entry found;
    static std::string found_name;
    for (const auto &[entry, number] : database) {
        if ((wanted_name != nullptr ? entry == wanted_name : number == wanted_id) && !fails()) {
            found_name = entry;
            found.*name = found_name.data();
            found.*id = wanted_name != nullptr ? number : ~number; // not the number that was asked for
            return &found;
        }
    }
    errno = script->no_entry != 0 ? script->no_entry : errno;
    return nullptr;
}

static int open_status(const std::string &status, int flags)
{
    errno = atoi(status.c_str());
    if (errno == EISDIR)
        return REAL(open)("/proc", flags);
    if (errno != 0)
        return -1;
    const int file = memfd_create("status", 0);
    dprintf(file, "%s", status.c_str());
    lseek(file, 0, SEEK_SET);
    return file;
}

extern "C" {

int open(const char *path, int flags, ...)
{
    int pid;
    if (script != nullptr && sscanf(path, "/proc/%d/status", &pid) == 1)
        return open_status(script->statuses[pid], flags);
    if (script == nullptr || strcmp(path, ZYNOV_PATH) != 0)
        return REAL(open)(path, flags, 0600);
    if (script->open_error != 0)
        errno = script->open_error;
    if (script->open_error != 0 || flags != O_RDONLY || fails())
        return -1;
    ++script->opened;
    return script->descriptor;
}

int close(int descriptor)
{
    if (script == nullptr || script->opened == script->closed || descriptor != script->descriptor)
        return REAL(close)(descriptor);
    ++script->closed;
    errno = EBADF; // must not be seen
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
    const size_t readable = fails() ? 0 : strlen(script->host_name);
    return script->host_names.emplace_back(fmemopen(const_cast<char *>(script->host_name), readable, mode));
}

// A sanitizer has to forget the stream, because another one will have its address.
__attribute__((weak)) int __interceptor_fclose(FILE *stream);

int fclose(FILE *stream)
{
    if (script != nullptr)
        std::erase(script->host_names, stream);
    return __interceptor_fclose != nullptr ? __interceptor_fclose(stream) : REAL(fclose)(stream);
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
    if (!fails())
        dprintf(owner, "%d\n", script->processes[pid]);
    lseek(owner, 0, SEEK_SET);
    script->owners.insert(owner);
    return fdopen(owner, mode);
}

int gettimeofday(timeval *__restrict time, void *__restrict zone) noexcept
{
    if (script == nullptr || script->now == 0)
        return REAL(gettimeofday)(time, zone);
    *time = {++script->clock_readings > 1 && script->later != 0 ? script->later : script->now, 0};
    return fails() ? -1 : 0;
}

tm *localtime(const time_t *instant) noexcept
{
    tm *const local = fails() ? nullptr : REAL(localtime)(instant);
    if (local != nullptr && script != nullptr && script->summer)
        local->tm_isdst = 1;
    return local;
}

// Calls that only return a value.
#define SCRIPTED(function, ...)                                                                                        \
    function                                                                                                           \
    {                                                                                                                  \
        return __VA_ARGS__;                                                                                            \
    }

SCRIPTED(uid_t getuid() noexcept, script != nullptr ? script->uid : REAL(getuid)())
SCRIPTED(gid_t getgid() noexcept, script != nullptr ? script->gid : REAL(getgid)())
SCRIPTED(passwd *getpwnam(const char *name), find(script->users, &passwd::pw_name, &passwd::pw_uid, name))
SCRIPTED(passwd *getpwuid(uid_t uid), find(script->users, &passwd::pw_name, &passwd::pw_uid, nullptr, uid))
SCRIPTED(group *getgrnam(const char *name), find(script->groups, &group::gr_name, &group::gr_gid, name))
SCRIPTED(group *getgrgid(gid_t gid), find(script->groups, &group::gr_name, &group::gr_gid, nullptr, gid))
SCRIPTED(char *strdup(const char *text) noexcept,
         (script != nullptr && script->no_messages) || fails() ? (errno = ENOMEM, nullptr) : REAL(strdup)(text))
SCRIPTED(char *ctime(const time_t *instant) noexcept, fails() ? nullptr : (errno = EDOM, REAL(ctime)(instant)))
SCRIPTED(tm *localtime_r(const time_t *__restrict instant, tm *__restrict local) noexcept,
         fails() ? nullptr : REAL(localtime_r)(instant, local))

// Linked in place of malloc.
void *__real_malloc(size_t);
SCRIPTED(void *__wrap_malloc(size_t size), fails() ? nullptr : __real_malloc(size))
}
