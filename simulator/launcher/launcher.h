#pragma once

namespace sim
{

// Ends the program, with a line on standard error.
[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

// A formatted text from malloc.
char *text(const char *format, ...) __attribute__((format(printf, 1, 2)));

struct Options {
    const char *state;   // null for the user's own
    bool shared;         // with all users
    const char *faults;  // null for none
    const char *choices; // for choices_variable; null for none
    char **command;
};

// Reads the command line; null for what is not given. Ends the program after --help or an error.
Options read_options(int argc, char **argv);

// Preloads the simulator's library into all programs executed from now on.
void preload_library();

// The clock table of a user who names none.
const char *default_state();

// Makes or checks the clock table in a file, for the user alone or for all users. Ends the program on an error.
void prepare_state(const char *path, bool shared);

} // namespace sim
