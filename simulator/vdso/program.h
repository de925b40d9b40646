// What a file is, to those who are about to execute it: whether the preloaded library will get into it.
#pragma once

#include <fcntl.h>

#include <climits>

namespace sim
{

enum class Reach {
    preload,    // the loader of the C library puts the preloaded library in
    vdso,       // nothing loads libraries, or the program asks the kernel past them: static programs, and Go's
    foreign,    // of another architecture, or of 32 bits
    privileged, // set-user-ID, set-group-ID or with capabilities of its own, beyond what the caller has
    unseen,     // there is no descriptor to look by
    unknown     // cannot be read, or is no program: whoever executes it will be told
};

// Follows scripts to their interpreters. Async-signal-safe, and leaves errno alone.
Reach reach_of(const char *path);

// What a caller says that it will execute, by a name that may be wild.
struct Target {
    const char *name;
    bool by_path = false; // a name without a slash is looked for in the folders of PATH
    int folder = AT_FDCWD;
    int flags = 0;      // as execveat has them
    bool moves = false; // who executes it may go to another folder before
};

// The path by which its file is reached; the name itself when there is none, or nothing has to be put before it.
// Async-signal-safe.
const char *find_program(const Target &target, char (&place)[PATH_MAX]);

} // namespace sim
