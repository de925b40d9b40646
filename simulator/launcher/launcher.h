#pragma once

namespace sim
{

// As env and nohup: the simulator's own failures, and those of starting the command.
enum Exit { own_failure = 125, cannot_execute = 126, not_found = 127 };

// Ends the program, with a line on standard error.
[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

// A formatted text from malloc.
char *text(const char *format, ...) __attribute__((format(printf, 1, 2)));

struct Options {
    const char *state;   // null for the user's own
    bool shared;         // by all users
    const char *faults;  // null for none
    const char *choices; // as choices_variable has them; null for none
    char **command;
};

// Reads the command line; null where nothing was said. Ends the program after --help, and after what is no such line.
Options read_options(int argc, char **argv);

// Has the simulator's library preloaded into what is executed from now on.
void preload_library();

// The file of the clocks of a user who names none.
const char *default_state();

// Sees to it that there is a good table in a file, for the user alone or for all users of this machine; it ends the
// program otherwise.
void prepare_state(const char *path, bool shared);

} // namespace sim
