#include "ovuser/add.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"

static constexpr char set_usage[] =
    "usage: ovuser set [IDENTITY...] [WHEN] [--speed N] [--rewind] [--dry-run [--json]]\n"
    "\n"
    "Gives each IDENTITY a virtual clock in place of any that it has: 'ovuser add --replace' in a word.\n";

int ovuser::set_command(int argc, char **argv)
{
    return give_clocks("set", set_usage, true, argc, argv);
}
