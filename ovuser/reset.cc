#include "ovuser/command.h"

static constexpr char reset_help[] = "usage: ovuser reset\n"
                                     "\n"
                                     "Takes all virtual clocks away; for the superuser only.\n";

int ovuser::reset_command(int argc, char **argv)
{
    return perform_on_identities(OV_RESET, reset_help, argc, argv);
}
