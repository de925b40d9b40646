// ovuser: virtual clocks for users, groups and processes, from the command line.
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "base/version.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"

namespace ovuser
{

static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

struct Subcommand {
    const char *word;
    int (*run)(int argc, char **argv);
    const char *help;
    bool changes; // clocks
};

static constexpr Subcommand subcommands[] = {
    {"add", add_command, "add virtual clocks", true},
    {"set", set_command, "add or replace virtual clocks", true},
    {"run", run_command, "run a command with a virtual clock of its own", false},
    {"delete", delete_command, "delete virtual clocks", true},
    {"list", list_command, "list virtual clocks", false},
    {"show", show_command, "show which clock applies to an identity", false},
    {"save", save_command, "write all clocks to a file", false},
    {"apply", apply_command, "add the clocks in a file", true},
    {"reset", reset_command, "delete all virtual clocks", true},
};

static void print_usage(FILE *stream)
{
    fputs("usage: ovuser SUBCOMMAND [ARGUMENTS...]\n\n", stream);
    for (const Subcommand &subcommand : subcommands)
        fprintf(stream, "  %-10s %s\n", subcommand.word, subcommand.help);
    fputs("\n"
          "  help [SUBCOMMAND]  print this text or that of a subcommand, as --help does\n"
          "  -V, --version      print the version\n"
          "\n"
          "An identity is u:USER, g:GROUP or p:PID, by name or by number. Without a prefix it is a user;\n"
          "without an identity it is you.\n"
          "\n"
          "Exit status: 0 done, 2 bad request, 3 bad speed, 4 bad time or no such clock, 5 refused or failed.\n",
          stream);
}

// Whether a time zone is a file or spelt out, such as CET-1CEST. For any other the C library uses UTC without a
// warning.
static bool is_time_zone(const char *zone)
{
    zone += *zone == ':' ? 1 : 0;
    const char *folder = getenv("TZDIR");
    char *path = nullptr;
    if (*zone == '\0' || strcmp(zone, "UTC") == 0 || strcmp(zone, "GMT") == 0)
        return true;
    if (asprintf(&path, "%s/%s", *zone == '/' ? "" : folder != nullptr ? folder : "/usr/share/zoneinfo", zone) < 0)
        return true;
    const bool is_file = access(path, R_OK) == 0;
    free(path);
    const size_t name = *zone == '<' ? strcspn(zone, ">") + 1 : strspn(zone, letters);
    const char *offset = zone + std::min(name, strlen(zone));
    offset += *offset == '-' || *offset == '+' ? 1 : 0;
    return is_file || (name >= 3 && *offset >= '0' && *offset <= '9');
}

static bool asks_for_help(const char *word)
{
    return strcmp(word, "help") == 0 || strcmp(word, "--help") == 0 || strcmp(word, "-h") == 0;
}

// Makes a change go on when nobody reads the output or a file is too large. Line buffering keeps what was printed if
// the process is killed later.
static void ignore_output_signals()
{
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

static int run(int argc, char **argv)
{
    const char *word = argc > 1 ? argv[1] : "";
    if (strcmp(word, "--version") == 0 || strcmp(word, "-V") == 0) {
        // print_header would print the year of the last use.
        fputs("Copyright (c) 1997-2026 Orvane. All rights reserved.\n"
              "Orvane ovuser utility version " OV_VERSION "R" OV_RELEASE " for Linux Kernel 2.6 or up\n",
              stdout);
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
            if (subcommand.run != run_command) // its command gets the environment unchanged
                unsetenv("POSIXLY_CORRECT");   // options may follow identities
            opterr = 0;                        // the subcommands print the errors
            if (const char *zone = getenv("TZ"); zone != nullptr && !is_time_zone(zone))
                warn("TZ=%.64s is no time zone: UTC stands for it", zone);
            if (subcommand.changes)
                ignore_output_signals();
            return subcommand.run(argc - 1, argv + 1);
        }
    }
    if (argc < 2) {
        print_usage(stderr);
        return bad_usage;
    }
    Nearest nearest(word);
    for (const Subcommand &subcommand : subcommands)
        nearest.consider(subcommand.word);
    for (const char *other : {"help", "--help", "--version"})
        nearest.consider(other);
    usage_error("%s is not a subcommand; 'ovuser --help' lists them", word);
    hint_on_subcommand(word, nearest);
    return bad_usage;
}

} // namespace ovuser

int main(int argc, char **argv)
{
    static char line[BUFSIZ]; // keeps the lines of two processes on one terminal apart
    setvbuf(stderr, line, _IOLBF, sizeof line);
    ovuser::reserve_closed_streams();
    return ovuser::finish_output(ovuser::run(argc, argv));
}
