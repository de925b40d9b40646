// ovuser: virtual clocks for users, groups and processes, from the command line.
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "ovuser/command.h"
#include "ovuser/hints.h"
#include "ovuser/output.h"

namespace ovuser
{

static constexpr Subcommand subcommands[] = {
    {"add", add_command, "give identities a virtual clock"},
    {"set", set_command, "the same, in place of any that they have"},
    {"run", run_command, "run a command with a virtual clock of its own"},
    {"delete", delete_command, "take their virtual clocks away"},
    {"list", list_command, "show the virtual clocks that concern you"},
    {"show", show_command, "show which clock somebody lives by"},
    {"save", save_command, "print them as a file"},
    {"apply", apply_command, "give the clocks of such a file"},
    {"reset", reset_command, "take all virtual clocks away"},
};

static void print_usage(FILE *stream)
{
    fputs("usage: ovuser SUBCOMMAND [ARGUMENTS...]\n\n", stream);
    for (const Subcommand &subcommand : subcommands)
        fprintf(stream, "  %-10s %s\n", subcommand.word, subcommand.help);
    fputs("\n"
          "  help [SUBCOMMAND]  print this text, or more about a subcommand; so does --help\n"
          "  -V, --version      print the version\n"
          "\n"
          "An identity is u:USER, g:GROUP or p:PID, by name or by number; without a prefix it is a user,\n"
          "and none at all means you.\n"
          "\n"
          "Exit status: 0 done, 2 bad request, 3 bad speed, 4 bad time or no such clock, 5 refused or "
          "failed.\n",
          stream);
}

static bool asks_for_help(const char *word)
{
    return strcmp(word, "help") == 0 || strcmp(word, "--help") == 0 || strcmp(word, "-h") == 0;
}

static int run(int argc, char **argv)
{
    const char *word = argc > 1 ? argv[1] : "";
    if (strcmp(word, "--version") == 0 || strcmp(word, "-V") == 0) {
        print_header(argv[0]);
        return done;
    }
    const bool help = asks_for_help(word);
    if (help && (argc == 2 || asks_for_help(argv[2]))) {
        print_usage(stdout);
        return done;
    }
    if (help) { // as the subcommand's --help
        word = argv[2];
        argv[2] = const_cast<char *>("--help");
    }
    for (const Subcommand &subcommand : subcommands) {
        if (strcmp(word, subcommand.word) == 0) {
            if (subcommand.run != run_command) // whose command is to find its environment as it is
                unsetenv("POSIXLY_CORRECT");   // options come behind the identities
            opterr = 0;                        // the subcommands say what is wrong
            return subcommand.run(argc - 1, argv + 1);
        }
    }
    if (argc < 2) {
        print_usage(stderr);
        return not_understood;
    }
    Nearest nearest(word);
    for (const Subcommand &subcommand : subcommands)
        nearest.consider(subcommand.word);
    for (const char *other : {"help", "--help", "--version"})
        nearest.consider(other);
    misunderstood("%s is not a subcommand; 'ovuser --help' lists them", word);
    if (nearest.found() != nullptr)
        hint("did you mean %s?", nearest.found());
    return not_understood;
}

} // namespace ovuser

int main(int argc, char **argv)
{
    return ovuser::finish_output(ovuser::run(argc, argv));
}
