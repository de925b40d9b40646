// How the simulator can reach a program, judged by its file.
#pragma once

#include <fcntl.h>

#include <climits>

namespace sim
{

enum class Reach {
    preload,    // the C library's loader loads the preloaded library
    vdso,       // static programs, and Go's, which make system calls without the C library
    foreign,    // of another architecture, or of 32 bits
    privileged, // set-user-ID, set-group-ID or with capabilities of its own, beyond what the caller has
    unseen,     // no descriptor is free to open it
    unknown     // unreadable, or no program: exec reports that
};

// Follows scripts to their interpreters. Async-signal-safe; leaves errno alone.
Reach reach_of(const char *path);

// A program to execute. Its name may be an invalid pointer.
struct Target {
    const char *name;
    bool by_path = false; // search PATH for a name without a slash
    int folder = AT_FDCWD;
    int flags = 0;      // of execveat
    bool moves = false; // the current folder may change before the exec
};

// Returns the path of the file: in `buffer`, or the name itself. Async-signal-safe.
const char *find_program(const Target &target, char (&buffer)[PATH_MAX]);

} // namespace sim
