// A whole process as an operation.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace bench
{

inline char *no_environment[] = {nullptr};

// Drops its output. It has to succeed.
inline void run(const char *program, const char *argument, char **environment, const char *second = nullptr)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    char *const arguments[] = {const_cast<char *>(program), const_cast<char *>(argument), const_cast<char *>(second),
                               nullptr};
    pid_t child;
    int status;
    if (posix_spawn(&child, program, &actions, nullptr, arguments, environment) != 0 ||
        waitpid(child, &status, 0) != child || status != 0)
        abort();
    posix_spawn_file_actions_destroy(&actions);
}

} // namespace bench
