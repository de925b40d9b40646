// Whether the preloaded library gets into a program, as its file says.
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

// Follows scripts to their interpreters. Async-signal-safe; leaves errno alone.
Reach reach_of(const char *path);

// The program that a caller is about to execute, by a name that may be an invalid pointer.
struct Target {
    const char *name;
    bool by_path = false; // a name without a slash is looked for in the folders of PATH
    int folder = AT_FDCWD;
    int flags = 0;      // as execveat has them
    bool moves = false; // who executes it may go to another folder before
};

// Returns the path of the file, in `place` or the name itself. Async-signal-safe.
const char *find_program(const Target &target, char (&place)[PATH_MAX]);

} // namespace sim
