#include <getopt.h>

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "base/local_time.h"
#include "ovuser/clocks.h"
#include "ovuser/hints.h"
#include "ovuser/identity.h"
#include "ovuser/json.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"
#include "ovuser/watch.h"

namespace ovuser
{

static constexpr char list_help[] =
    "usage: ovuser list [IDENTITY...] [--json] [--watch [SECONDS]]\n"
    "\n"
    "Lists the virtual clocks: all of them for the superuser; for others those of their user, group and processes.\n"
    "With an IDENTITY, lists only its clock.\n"
    "\n"
    "  --json             for programs\n"
    "  --watch [SECONDS]  repeat every second or every SECONDS, in place on a terminal; with --json only changes\n";

static constexpr option list_options[] = {
    {"help", no_argument, nullptr, 'h'},
    {"json", no_argument, nullptr, 'j'},
    {"watch", optional_argument, nullptr, 'w'},
    {},
};

// Prints the engine's own listing, byte for byte, unless something fails.
static void list_as_text(const Clocks &clocks, IdentityList &identities)
{
    const bool all = getuid() == 0 && identities.count() == 0;
    printf("ovuser: report: Listing %s:\n", all ? "all virtual clocks" : "requested virtual clock");
    printf("Id         Clock type                Clock date/time\n");
    for (const ov_clock &clock : clocks) {
        if (!is_among(clock, identities))
            continue;
        const time_t instant = clock.value;
        char date[26] = "";
        print_identity(stdout, clock, 10);
        if (ov::has_text(instant))
            ctime_r(&instant, date); // truncates years of five digits
        printf(" %-25s %s\n", clock_speed_string(clock.speed), date);
        if (!output_works())
            break;
    }
    printf("- End of list -\n");
    if (clocks.complete() && all_met(identities))
        printf("ovuser: %s Orvane users have been listed above.\n", all ? "All" : "Requested");
}

static void list_as_json(const Clocks &clocks, IdentityList &identities)
{
    const time_t real = real_time();
    Json json(stdout);
    json.open('[');
    for (const ov_clock &clock : clocks) {
        if (!is_among(clock, identities))
            continue;
        json.open('{');
        write_clock(json, clock, real);
        json.close('}');
        if (!output_works())
            break;
    }
    json.close(']');
    fputc('\n', stdout);
}

static bool is_number(const char *text)
{
    char *end;
    strtod(text, &end);
    return (isdigit(static_cast<unsigned char>(*text)) != 0 || *text == '.') && end != text && *end == '\0';
}

// Converts seconds to nanoseconds. Returns 0 if they are out of range.
static int64_t read_interval(const char *text)
{
    constexpr double least = 0.05, most = 86400;
    const double seconds = strtod(text, nullptr);
    return is_number(text) && seconds >= least && seconds <= most ? static_cast<int64_t>(seconds * 1e9) : 0;
}

int list_command(int argc, char **argv)
{
    bool as_json = false;
    int64_t interval = 0;
    for (int choice; (choice = getopt_long(argc, argv, "h", list_options, nullptr)) != -1;) {
        switch (choice) {
        case 'h':
            fputs(list_help, stdout);
            return done;
        case 'j':
            as_json = true;
            break;
        case 'w':
            // A number after --watch is its argument, also without an equals sign.
            if (optarg == nullptr && optind < argc && is_number(argv[optind]))
                optarg = argv[optind++];
            interval = read_interval(optarg != nullptr ? optarg : "1");
            if (interval == 0)
                return usage_error("--watch takes seconds from 0.05 to 86400, not '%s'", optarg);
            break;
        default:
            return report_bad_option(argv, list_options);
        }
    }
    IdentityList identities;
    if (const int status = read_identities(identities, argc - optind, argv + optind))
        return status;
    ov_request request = {};
    request.operation = OV_LIST;
    if (const int status = check_identities(identities, request))
        return status;
    if (interval != 0)
        return as_json ? report_changes(identities, interval) : watch(identities, interval);
    Clocks clocks;
    clocks.read();
    if (clocks.opened() && as_json)
        list_as_json(clocks, identities);
    else if (clocks.opened())
        list_as_text(clocks, identities);
    const int status = clocks.report_failure();
    return status == done ? report_unmet(identities) : status;
}

} // namespace ovuser
