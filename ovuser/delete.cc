#include <getopt.h>

#include <algorithm>
#include <cstdio>

#include "ovuser/change.h"
#include "ovuser/hints.h"
#include "ovuser/identity.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"

namespace ovuser
{

static constexpr char delete_help[] =
    "usage: ovuser delete [IDENTITY...]\n"
    "\n"
    "Deletes the virtual clock of each IDENTITY, which is then back on the system clock.\n";

int delete_command(int argc, char **argv)
{
    int status;
    if (handle_help(argc, argv, delete_help, status))
        return status;
    IdentityList identities;
    status = read_identities_or_caller(identities, "delete", argc - optind, argv + optind);
    ov_request request = {};
    request.operation = OV_DELETE;
    if (status == done)
        status = check_identities(identities, request);
    if (status != done)
        return status;
    Lock lock;
    int worst = lock.take();
    if (worst != done)
        return worst;
    for (const Identity &who : identities)
        worst = std::max(worst, delete_clock(who, identities.count() > 1));
    return worst;
}

} // namespace ovuser
