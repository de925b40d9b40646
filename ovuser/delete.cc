#include <getopt.h>

#include <algorithm>
#include <cstdio>

#include "ovuser/change.h"
#include "ovuser/command.h"
#include "ovuser/hints.h"
#include "ovuser/identities.h"

namespace ovuser
{

static constexpr char delete_help[] =
    "usage: ovuser delete [IDENTITY...]\n"
    "\n"
    "Takes the virtual clock of each IDENTITY away: it is back on the system clock.\n";

int delete_command(int argc, char **argv)
{
    static constexpr option options[] = {{"help", no_argument, nullptr, 'h'}, {}};
    const int choice = getopt_long(argc, argv, "h", options, nullptr);
    if (choice == 'h') {
        fputs(delete_help, stdout);
        return done;
    }
    if (choice != -1)
        return fault_in_option(argv, options);
    Identities identities;
    if (const int status = identities.read_or_caller("delete", argc - optind, argv + optind))
        return status;
    ov_request request = {};
    request.operation = OV_DELETE;
    if (const int status = identities.check(request))
        return status;
    int worst = done;
    for (const Identity &who : identities)
        worst = std::max(worst, delete_clock(who, identities.several()));
    return worst;
}

} // namespace ovuser
