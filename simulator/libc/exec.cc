// Stand-ins for the calls that execute a program.
#include <alloca.h>
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "simulator/libc/environment.h"
#include "simulator/process/identity.h"
#include "simulator/process/own_clock.h"
#include "simulator/process/trees.h"
#include "simulator/raw/next.h"
#include "simulator/vdso/start.h"

namespace sim
{

__attribute__((constructor)) static void begin()
{
    prepare_starts();
}

// For the programs that the C library starts by itself, with the process's own environment.
static void prepare_environment()
{
    before_child();
    refresh_tree_text(own_identity().process);
}

} // namespace sim

SIM_STAND_IN(int, execve, (const char *path, char *const *arguments, char *const *environment))
{
    SIM_ENVIRONMENT(passed, environment);
    sim::Start start(sim::has_trees());
    start.prepare({path}, sim::Traced::own_exec);
    return next_execve(path, arguments, passed);
}

SIM_REPLACE(int, execv, (const char *path, char *const *arguments))
{
    return execve(path, arguments, environ);
}

SIM_STAND_IN(int, execvpe, (const char *name, char *const *arguments, char *const *environment))
{
    SIM_ENVIRONMENT(passed, environment);
    sim::Start start(sim::has_trees());
    start.prepare({name, true}, sim::Traced::own_exec);
    return next_execvpe(name, arguments, passed);
}

SIM_REPLACE(int, execvp, (const char *name, char *const *arguments))
{
    return execvpe(name, arguments, environ);
}

SIM_STAND_IN(int, fexecve, (int descriptor, char *const *arguments, char *const *environment))
{
    SIM_ENVIRONMENT(passed, environment);
    sim::Start start(sim::has_trees());
    start.prepare({"", false, descriptor, AT_EMPTY_PATH}, sim::Traced::own_exec);
    return next_fexecve(descriptor, arguments, passed);
}

SIM_STAND_IN(int, execveat, (int folder, const char *name, char *const *arguments, char *const *environment, int flags))
{
    SIM_ENVIRONMENT(passed, environment);
    sim::Start start(sim::has_trees());
    start.prepare({name, false, folder, flags}, sim::Traced::own_exec);
    return next_execveat(folder, name, arguments, passed, flags);
}

// Copies the variable arguments up to the null into an array on the stack. Arguments after the null stay unread.
#define SIM_LISTED(first, list, array)                                                                                 \
    va_list list;                                                                                                      \
    size_t array##_count = 1;                                                                                          \
    va_start(list, first);                                                                                             \
    while (va_arg(list, char *) != nullptr)                                                                            \
        ++array##_count;                                                                                               \
    va_end(list);                                                                                                      \
    auto *const array = static_cast<char **>(alloca((array##_count + 1) * sizeof(char *)));                            \
    (array)[0] = const_cast<char *>(first);                                                                            \
    va_start(list, first);                                                                                             \
    for (size_t i = 1; i <= array##_count; ++i)                                                                        \
    (array)[i] = va_arg(list, char *)

SIM_REPLACE(int, execl, (const char *path, const char *first, ...))
{
    // cppcheck-suppress allocaCalled // a vforked child must not use the heap
    SIM_LISTED(first, rest, arguments);
    va_end(rest);
    return execve(path, arguments, environ);
}

SIM_REPLACE(int, execlp, (const char *name, const char *first, ...))
{
    // cppcheck-suppress allocaCalled // a vforked child must not use the heap
    SIM_LISTED(first, rest, arguments);
    va_end(rest);
    return execvpe(name, arguments, environ);
}

SIM_REPLACE(int, execle, (const char *path, const char *first, ...))
{
    // cppcheck-suppress allocaCalled // a vforked child must not use the heap
    SIM_LISTED(first, rest, arguments);
    char *const *const environment = va_arg(rest, char **);
    va_end(rest);
    return execve(path, arguments, environment);
}

// The C library makes this child without the stand-ins above.
SIM_STAND_IN(int, posix_spawn,
             (pid_t * child, const char *path, const posix_spawn_file_actions_t *actions,
              const posix_spawnattr_t *attributes, char *const *arguments, char *const *environment))
{
    SIM_ENVIRONMENT(passed, environment);
    sim::Start start(sim::has_trees());
    start.prepare({path, false, AT_FDCWD, 0, actions != nullptr}, sim::Traced::child);
    return start.outcome(next_posix_spawn(child, path, actions, attributes, arguments, passed));
}

SIM_STAND_IN(int, posix_spawnp,
             (pid_t * child, const char *name, const posix_spawn_file_actions_t *actions,
              const posix_spawnattr_t *attributes, char *const *arguments, char *const *environment))
{
    SIM_ENVIRONMENT(passed, environment);
    sim::Start start(sim::has_trees());
    start.prepare({name, true, AT_FDCWD, 0, actions != nullptr}, sim::Traced::child);
    return start.outcome(next_posix_spawnp(child, name, actions, attributes, arguments, passed));
}

SIM_STAND_IN(int, system, (const char *command))
{
    sim::prepare_environment();
    return next_system(command);
}

SIM_STAND_IN(FILE *, popen, (const char *command, const char *mode))
{
    sim::prepare_environment();
    return next_popen(command, mode);
}
