#include "ovuser/command.h"

static constexpr char delete_help[] =
    "usage: ovuser delete [IDENTITY...]\n"
    "\n"
    "Takes the virtual clock of each IDENTITY away: it is back on the system clock.\n";

int ovuser::delete_command(int argc, char **argv)
{
    return perform_on_identities(OV_DELETE, delete_help, argc, argv);
}
