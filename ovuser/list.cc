#include "ovuser/command.h"

static constexpr char list_help[] = "usage: ovuser list [IDENTITY...]\n"
                                    "\n"
                                    "Shows the virtual clocks: to the superuser all, to others those of their user,\n"
                                    "their group and their processes. An IDENTITY is only checked.\n";

int ovuser::list_command(int argc, char **argv)
{
    ov_request request = {};
    request.operation = OV_LIST;
    int status;
    return read_identities_only(argc, argv, list_help, request, status) ? perform(request) : status;
}
