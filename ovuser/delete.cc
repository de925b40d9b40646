#include "ovuser/command.h"

static constexpr char delete_help[] =
    "usage: ovuser delete [IDENTITY...]\n"
    "\n"
    "Takes the virtual clock of each IDENTITY away: it is back on the system clock.\n";

int ovuser::delete_command(int argc, char **argv)
{
    ov_request request = {};
    request.operation = OV_DELETE;
    int status;
    return read_identities_only(argc, argv, delete_help, request, status) ? perform(request) : status;
}
