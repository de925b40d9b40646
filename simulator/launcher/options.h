#pragma once

namespace sim
{

struct Options {
    const char *state;   // null for the user's own
    bool shared;         // by all users
    const char *faults;  // null for none
    const char *choices; // as choices_variable has them; null for none
    char **command;
};

// Reads the command line; null where nothing was said. Ends the program after --help, and after what is no such line.
Options read_options(int argc, char **argv);

} // namespace sim
