#include "ovuser/command.h"

static constexpr char list_help[] = "usage: ovuser list [IDENTITY...]\n"
                                    "\n"
                                    "Shows the virtual clocks: to the superuser all, to others those of their user,\n"
                                    "their group and their processes. An IDENTITY is only checked.\n";

int ovuser::list_command(int argc, char **argv)
{
    return perform_on_identities(OV_LIST, list_help, argc, argv);
}
