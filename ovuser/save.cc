#include <getopt.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/clocks.h"
#include "ovuser/command.h"
#include "ovuser/hints.h"
#include "ovuser/output.h"
#include "ovuser/owner.h"
#include "ovuser/text.h"
#include "ovuser/when.h"

namespace ovuser
{

static constexpr char save_help[] = "usage: ovuser save\n"
                                    "\n"
                                    "Prints the virtual clocks, as they are now, as a file that 'ovuser apply' takes.\n"
                                    "Those of processes, which no boot outlives, are comments in it.\n";

static void print_speed(int32_t speed)
{
    if (speed == OV_SPEED_FROZEN || speed > OV_SPEED_LIMIT)
        printf(" --speed %s", speed == OV_SPEED_FROZEN ? "frozen" : "FROZEN");
    else if (speed != 1)
        printf(" --speed %" PRId32, speed);
}

static void save(const ov_clock &clock)
{
    const Owner owner(clock);
    if (!owner.exists || clock.kind == OV_PROCESS || !is_in_range(clock.value))
        fputs("# ", stdout);
    printf("%.2s%s", owner.text, Quoted(owner.text + 2).text);
    printf(" --epoch %" PRId64, clock.value);
    print_speed(clock.speed);
    printf("%s # %s\n", clock.rewind != 0 ? " --rewind" : "", Timestamp(clock.value).text);
}

int save_command(int argc, char **argv)
{
    int status;
    if (only_help(argc, argv, save_help, status))
        return status;
    if (optind < argc)
        return misunderstood("save takes no arguments");
    const Clocks table;
    printf("# Virtual clocks as of %s, for 'ovuser apply'\n", Timestamp(real_time()).text);
    for (const ov_clock &clock : table)
        save(clock);
    return table.conclude();
}

} // namespace ovuser
