// What stands in for the calls that look at a file: what they say of the control file agrees with what opening it
// gives, and the times of all are the clock's where that is asked for.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "simulator/bare/next.h"
#include "simulator/control/control_file.h"
#include "simulator/files/times.h"

namespace sim
{

// Makes a call on a path, and once more on the state file when the path is the control file's.
template <typename Call> static auto look_at(int folder, const char *path, const Call &call)
{
    const int kept = errno;
    const auto result = call(path);
    const char *state = in_place_of(folder, path, result < 0 ? errno : 0);
    if (state == nullptr)
        return result;
    errno = kept;
    return call(state);
}

} // namespace sim

// Under names of their own, since the C library's prototypes promise paths that are never null.
#define SIM_LOOKS_AND(then, result, name, parameters, start, path, ...)                                                \
    SIM_INTERPOSED result seen_##name parameters __asm__(#name);                                                       \
    SIM_INTERPOSED result seen_##name parameters                                                                       \
    {                                                                                                                  \
        static SIM_NEXT(name, result parameters);                                                                      \
        const result answer =                                                                                          \
            sim::look_at(start, path, [=]([[maybe_unused]] const char *place) { return next_##name(__VA_ARGS__); });   \
        if (answer >= 0)                                                                                               \
            then;                                                                                                      \
        return answer;                                                                                                 \
    }
#define SIM_LOOKS(...) SIM_LOOKS_AND((void)0, __VA_ARGS__)
#define SIM_TELLS(...) SIM_LOOKS_AND(sim::show_times(*file), int, __VA_ARGS__)

#define SIM_STATS(suffix)                                                                                              \
    SIM_TELLS(stat##suffix, (const char *path, struct stat *file), AT_FDCWD, path, place, file)                        \
    SIM_TELLS(lstat##suffix, (const char *path, struct stat *file), AT_FDCWD, path, place, file)                       \
    SIM_TELLS(fstat##suffix, (int descriptor, struct stat *file), AT_FDCWD, nullptr, descriptor, file)                 \
    SIM_TELLS(fstatat##suffix, (int folder, const char *path, struct stat *file, int flags), folder, path, folder,     \
              place, file, flags)                                                                                      \
    SIM_TELLS(__xstat##suffix, (int version, const char *path, struct stat *file), AT_FDCWD, path, version, place,     \
              file)                                                                                                    \
    SIM_TELLS(__lxstat##suffix, (int version, const char *path, struct stat *file), AT_FDCWD, path, version, place,    \
              file)                                                                                                    \
    SIM_TELLS(__fxstat##suffix, (int version, int descriptor, struct stat *file), AT_FDCWD, nullptr, version,          \
              descriptor, file)                                                                                        \
    SIM_TELLS(__fxstatat##suffix, (int version, int folder, const char *path, struct stat *file, int flags), folder,   \
              path, version, folder, place, file, flags)

SIM_STATS()
SIM_STATS(64)
SIM_TELLS(statx, (int folder, const char *path, int flags, unsigned mask, struct statx *file), folder, path, folder,
          place, flags, mask, file)
SIM_LOOKS(int, access, (const char *path, int mode), AT_FDCWD, path, place, mode)
SIM_LOOKS(int, euidaccess, (const char *path, int mode), AT_FDCWD, path, place, mode)
SIM_LOOKS(int, eaccess, (const char *path, int mode), AT_FDCWD, path, place, mode)
SIM_LOOKS(int, faccessat, (int folder, const char *path, int mode, int flags), folder, path, folder, place, mode, flags)
// Which ls asks with -l.
SIM_LOOKS(ssize_t, getxattr, (const char *path, const char *name, void *value, size_t size), AT_FDCWD, path, place,
          name, value, size)
SIM_LOOKS(ssize_t, lgetxattr, (const char *path, const char *name, void *value, size_t size), AT_FDCWD, path, place,
          name, value, size)
