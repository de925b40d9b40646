#include <getopt.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/exit_status.h"
#include "simulator/launcher/launcher.h"
#include "simulator/table/faults.h"

namespace sim
{

static constexpr char help[] =
    "usage: zynov-sim [OPTIONS] COMMAND [ARGS...]\n"
    "\n"
    "Runs COMMAND, and all that it starts, on a simulated Orvane kernel module.\n"
    "\n"
    "  --state FILE    keep the clock table in FILE (default: one for each user)\n"
    "  --shared        let all users of this machine read and write FILE\n"
    "  --fault SCRIPT  answer the n-th command of a process with a result, an errno and an edit\n"
    "                  of the record: N:RESULT:ERRNO[:FIELD=VALUE], more of them after commas\n"
    "  --no-static     do not reach programs that no library can be preloaded into\n"
    "  --descendants   trace all descendants, to reach those that such programs start\n"
    "  --file-times    show file times by the clock of the process that asks\n"
    "  --intervals     let waits and monotonic time pass at the speed of the clock\n"
    "  --quiet         do not warn of programs that keep the real time\n"
    "  --help          print this text\n"
    "\n"
    "Programs with more rights than their parent and programs for another architecture keep the real time. So do\n"
    "statically linked ones that cannot be traced; all statically linked programs wait by the real time.\n";

static constexpr option known_options[] = {
    {"state", required_argument, nullptr, 's'}, {"shared", no_argument, nullptr, 'S'},
    {"fault", required_argument, nullptr, 'f'}, {"no-static", no_argument, nullptr, 'c'},
    {"descendants", no_argument, nullptr, 'c'}, {"file-times", no_argument, nullptr, 'c'},
    {"intervals", no_argument, nullptr, 'c'},   {"quiet", no_argument, nullptr, 'c'},
    {"help", no_argument, nullptr, 'h'},        {}};

[[noreturn]] static void show_help()
{
    if (fputs(help, stdout) == EOF || fflush(stdout) != 0)
        fail("standard output: %s", strerror(errno));
    exit(0);
}

[[noreturn]] static void refuse()
{
    fputs(help, stderr);
    exit(ov::own_failure);
}

Options read_options(int argc, char **argv)
{
    Options options = {};
    int index;
    for (int choice; (choice = getopt_long(argc, argv, "+", known_options, &index)) != -1;) {
        switch (choice) {
        case 's':
            options.state = optarg;
            break;
        case 'S':
            options.shared = true;
            break;
        case 'f':
            options.faults = optarg;
            break;
        case 'c': // passed on by its name
            options.choices = options.choices != nullptr ? text("%s,%s", options.choices, known_options[index].name)
                                                         : known_options[index].name;
            break;
        case 'h':
            show_help();
        default:
            refuse();
        }
    }
    if (optind == argc || (options.shared && options.state == nullptr))
        refuse();
    if (!Faults().read(options.faults))
        fail("%s: not a fault script", options.faults);
    options.command = argv + optind;
    return options;
}

} // namespace sim
