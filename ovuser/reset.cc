#include "ovuser/command.h"

static constexpr char reset_help[] = "usage: ovuser reset\n"
                                     "\n"
                                     "Takes all virtual clocks away; for the superuser only.\n";

int ovuser::reset_command(int argc, char **argv)
{
    ov_request request = {};
    request.operation = OV_RESET;
    int status;
    if (!read_identities_only(argc, argv, reset_help, request, status))
        return status;
    // Whoever names somebody does not mean everybody.
    return request.id_count == 0 ? perform(request) : misunderstood("reset takes no identities");
}
