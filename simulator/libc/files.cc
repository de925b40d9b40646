#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdlib>

#include "simulator/libc/control.h"
#include "simulator/process/options.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/next.h"

namespace sim
{

static bool shows_virtual_times;

__attribute__((constructor)) static void read_option()
{
    shows_virtual_times = read_choices(getenv(choices_variable)).file_times;
}

static bool file_clock(ClockRate &rate)
{
    return shows_virtual_times && own_clock(rate);
}

void show_times(struct stat &file)
{
    ClockRate rate;
    if (!file_clock(rate))
        return;
    for (timespec *time : {&file.st_atim, &file.st_mtim, &file.st_ctim})
        *time = rate.of_file(*time);
}

void show_times(struct statx &file)
{
    ClockRate rate;
    if (!file_clock(rate))
        return;
    for (statx_timestamp *time : {&file.stx_atime, &file.stx_btime, &file.stx_ctime, &file.stx_mtime}) {
        const timespec shown = rate.of_file({time->tv_sec, time->tv_nsec});
        time->tv_sec = shown.tv_sec;
        time->tv_nsec = static_cast<uint32_t>(shown.tv_nsec);
    }
}

// Times of last access and last change.
struct Times {
    timespec times[2];
};

// Copies the caller's times. Returns false for null and for invalid ones, which the kernel reports.
static bool read_times(const timespec *given, Times &times)
{
    if (given == nullptr || read_given(times, const_cast<timespec *>(given)) != 0)
        return false;
    for (const timespec &time : times.times)
        if (time.tv_nsec != UTIME_NOW && time.tv_nsec != UTIME_OMIT &&
            (time.tv_nsec < 0 || time.tv_nsec >= ZYNOV_SECOND))
            return false;
    return true;
}

static bool read_times(const timeval *given, Times &times)
{
    timeval copy[2];
    if (given == nullptr || read_given(copy, const_cast<timeval *>(given)) != 0)
        return false;
    for (size_t i = 0; i < 2; ++i) {
        if (copy[i].tv_usec < 0 || copy[i].tv_usec > 999'999)
            return false;
        times.times[i] = {copy[i].tv_sec, copy[i].tv_usec * 1000};
    }
    return true;
}

static bool read_times(const utimbuf *given, Times &times)
{
    utimbuf copy;
    if (given == nullptr || read_given(copy, const_cast<utimbuf *>(given)) != 0)
        return false;
    times = {{{copy.actime, 0}, {copy.modtime, 0}}};
    return true;
}

// Converts the caller's times to real ones. Returns false if the kernel should get the caller's own arguments.
template <typename Given> static bool to_real_times(const Given *given, Times &times)
{
    ClockRate rate;
    if (!file_clock(rate) || !read_times(given, times))
        return false;
    for (timespec &time : times.times)
        if (time.tv_nsec != UTIME_NOW && time.tv_nsec != UTIME_OMIT)
            time = rate.to_file(time);
    return true;
}

static SIM_NEXT(utimensat, int(int, const char *, const timespec *, int));
static SIM_NEXT(futimens, int(int, const timespec *));

static int set_times(int folder, const char *path, const Times &times, int flags = 0)
{
    return path != nullptr ? next_utimensat(folder, path, times.times, flags) : next_futimens(folder, times.times);
}

// Makes a call on a path, and repeats it on the state file if the path names the control file.
template <typename Call> static auto call_on(int folder, const char *path, const Call &call)
{
    const int kept = errno;
    const auto result = call(path);
    const char *state = state_file_for(folder, path, result < 0 ? errno : 0);
    if (state == nullptr)
        return result;
    errno = kept;
    return call(state);
}

} // namespace sim

#define SIM_DATES(name, parameters, arguments, ...)                                                                    \
    SIM_STAND_IN(int, name, parameters)                                                                                \
    {                                                                                                                  \
        sim::Times times;                                                                                              \
        return sim::to_real_times(given, times) ? sim::set_times(__VA_ARGS__) : next_##name arguments;                 \
    }

SIM_DATES(utimensat, (int folder, const char *path, const timespec *given, int flags), (folder, path, given, flags),
          folder, path, times, flags)
SIM_DATES(futimens, (int descriptor, const timespec *given), (descriptor, given), descriptor, nullptr, times)
SIM_DATES(utime, (const char *path, const utimbuf *given), (path, given), AT_FDCWD, path, times)
SIM_DATES(utimes, (const char *path, const timeval *given), (path, given), AT_FDCWD, path, times)
SIM_DATES(lutimes, (const char *path, const timeval *given), (path, given), AT_FDCWD, path, times, AT_SYMLINK_NOFOLLOW)
SIM_DATES(futimes, (int descriptor, const timeval *given), (descriptor, given), descriptor, nullptr, times)
SIM_DATES(futimesat, (int folder, const char *path, const timeval *given), (folder, path, given), folder, path, times)

#define SIM_LOOKS_AND(then, result, name, parameters, start, path, ...)                                                \
    SIM_STAND_IN(result, name, parameters)                                                                             \
    {                                                                                                                  \
        const result answer =                                                                                          \
            sim::call_on(start, path, [=]([[maybe_unused]] const char *target) { return next_##name(__VA_ARGS__); });  \
        if (answer >= 0)                                                                                               \
            then;                                                                                                      \
        return answer;                                                                                                 \
    }
#define SIM_LOOKS(...) SIM_LOOKS_AND((void)0, __VA_ARGS__)
#define SIM_TELLS(...) SIM_LOOKS_AND(sim::show_times(*file), int, __VA_ARGS__)

#define SIM_STATS(suffix)                                                                                              \
    SIM_TELLS(stat##suffix, (const char *path, struct stat *file), AT_FDCWD, path, target, file)                       \
    SIM_TELLS(lstat##suffix, (const char *path, struct stat *file), AT_FDCWD, path, target, file)                      \
    SIM_TELLS(fstat##suffix, (int descriptor, struct stat *file), AT_FDCWD, nullptr, descriptor, file)                 \
    SIM_TELLS(fstatat##suffix, (int folder, const char *path, struct stat *file, int flags), folder, path, folder,     \
              target, file, flags)                                                                                     \
    SIM_TELLS(__xstat##suffix, (int version, const char *path, struct stat *file), AT_FDCWD, path, version, target,    \
              file)                                                                                                    \
    SIM_TELLS(__lxstat##suffix, (int version, const char *path, struct stat *file), AT_FDCWD, path, version, target,   \
              file)                                                                                                    \
    SIM_TELLS(__fxstat##suffix, (int version, int descriptor, struct stat *file), AT_FDCWD, nullptr, version,          \
              descriptor, file)                                                                                        \
    SIM_TELLS(__fxstatat##suffix, (int version, int folder, const char *path, struct stat *file, int flags), folder,   \
              path, version, folder, target, file, flags)

SIM_STATS()
SIM_STATS(64)
SIM_TELLS(statx, (int folder, const char *path, int flags, unsigned mask, struct statx *file), folder, path, folder,
          target, flags, mask, file)
SIM_LOOKS(int, access, (const char *path, int mode), AT_FDCWD, path, target, mode)
SIM_LOOKS(int, euidaccess, (const char *path, int mode), AT_FDCWD, path, target, mode)
SIM_LOOKS(int, eaccess, (const char *path, int mode), AT_FDCWD, path, target, mode)
SIM_LOOKS(int, faccessat, (int folder, const char *path, int mode, int flags), folder, path, folder, target, mode,
          flags)
// ls -l calls these.
SIM_LOOKS(ssize_t, getxattr, (const char *path, const char *name, void *value, size_t size), AT_FDCWD, path, target,
          name, value, size)
SIM_LOOKS(ssize_t, lgetxattr, (const char *path, const char *name, void *value, size_t size), AT_FDCWD, path, target,
          name, value, size)
