#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "ovuser/change.h"
#include "ovuser/clocks.h"
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

static constexpr char reset_help[] = "usage: ovuser reset\n"
                                     "\n"
                                     "Deletes all virtual clocks. Only the superuser may do this.\n";

// The engine takes any error of the module for an empty table, so this reads the table again.
static int reset()
{
    Lock lock;
    if (const int status = lock.take())
        return status;
    ov_request request = {};
    request.operation = OV_RESET;
    char *message = nullptr;
    const int32_t result = ov_process_request(&request, &message);
    const int error = errno;
    if (result != OV_OK) {
        audit(request, result, message);
        return print_result(result, message, nullptr, error);
    }
    Clocks left;
    left.read();
    const auto count = static_cast<int>(left.end() - left.begin());
    const bool gone = count == 0 && left.complete();
    audit(request, gone ? result : -1, gone ? message : "clocks may be left");
    if (gone)
        return print_result(result, message);
    free(message);
    if (count > 0)
        failed("clocks that the reset has left: %d", count);
    else
        failed("whether the reset has left clocks cannot be told");
    hint_on_errno(error);
    left.report_failure();
    return failure;
}

int reset_command(int argc, char **argv)
{
    int status;
    if (handle_help(argc, argv, reset_help, status))
        return status;
    if (optind != argc) // naming someone does not mean everyone
        return usage_error("reset takes no identities");
    return reset();
}

} // namespace ovuser
