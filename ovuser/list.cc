#include <getopt.h>

#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "ovuser/clocks.h"
#include "ovuser/command.h"
#include "ovuser/hints.h"
#include "ovuser/identities.h"
#include "ovuser/json.h"
#include "ovuser/output.h"

namespace ovuser
{

static constexpr char list_help[] = "usage: ovuser list [IDENTITY...] [--json]\n"
                                    "\n"
                                    "Shows the virtual clocks: to the superuser all, to others those of their user,\n"
                                    "their group and their processes; with an IDENTITY only its clock.\n"
                                    "\n"
                                    "  --json  for programs\n";

static constexpr option list_options[] = {
    {"help", no_argument, nullptr, 'h'},
    {"json", no_argument, nullptr, 'j'},
    {},
};

// The engine's own listing, byte for byte, where nothing fails.
static void list_as_text(Clocks &clocks, Identities &identities)
{
    const bool all = getuid() == 0 && identities.none();
    printf("ovuser: report: Listing %s:\n", all ? "all virtual clocks" : "requested virtual clock");
    printf("Id         Clock type                Clock date/time\n");
    while (const ov_clock *clock = output_works() ? clocks.next() : nullptr) {
        if (!identities.include(*clock))
            continue;
        const time_t instant = clock->value;
        char date[26] = "";
        printf("%c:", letter_of(*clock));
        print_visible(stdout, clock->name, 8);
        ctime_r(&instant, date); // leaves what there is room for of a year of five digits
        printf(" %-25s %s\n", clock_speed_string(clock->speed), date);
    }
    printf("- End of list -\n");
    if (clocks.complete() && identities.all_met())
        printf("ovuser: %s Orvane users have been listed above.\n", all ? "All" : "Requested");
}

static void list_as_json(Clocks &clocks, Identities &identities)
{
    const time_t real = real_time();
    Json json(stdout);
    json.open('[');
    while (const ov_clock *clock = output_works() ? clocks.next() : nullptr) {
        if (!identities.include(*clock))
            continue;
        json.open('{');
        write_clock(json, *clock, real);
        json.close('}');
    }
    json.close(']');
    fputc('\n', stdout);
}

int list_command(int argc, char **argv)
{
    bool as_json = false;
    for (int choice; (choice = getopt_long(argc, argv, "h", list_options, nullptr)) != -1;) {
        if (choice == 'h') {
            fputs(list_help, stdout);
            return done;
        }
        if (choice != 'j')
            return hint_on_option(argv, list_options);
        as_json = true;
    }
    Identities identities;
    if (const int status = identities.read(argc - optind, argv + optind))
        return status;
    ov_request request = {};
    request.operation = OV_LIST;
    if (const int status = identities.check(request))
        return status;
    Clocks clocks;
    if (clocks.are_open())
        as_json ? list_as_json(clocks, identities) : list_as_text(clocks, identities);
    const int status = clocks.conclude();
    return status == done ? identities.conclude() : status;
}

} // namespace ovuser
