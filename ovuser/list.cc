#include <getopt.h>

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include "base/local_time.h"
#include "ovuser/clocks.h"
#include "ovuser/identity.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"
#include "ovuser/text.h"

namespace ovuser
{

static constexpr char list_help[] =
    "usage: ovuser list [IDENTITY...] [--kind KIND] [--json] [--watch [SECONDS]]\n"
    "\n"
    "Lists the virtual clocks: all of them for the superuser; for others those of their user, group and processes.\n"
    "With an IDENTITY, lists only its clock.\n"
    "\n"
    "  --json             for programs\n"
    "  --kind KIND        only clocks of a user, group or process\n"
    "  --watch [SECONDS]  repeat every second or every SECONDS, in place on a terminal; with --json only changes\n";

static constexpr option list_options[] = {
    {"help", no_argument, nullptr, 'h'},
    {"json", no_argument, nullptr, 'j'},
    {"kind", required_argument, nullptr, 'k'},
    {"watch", optional_argument, nullptr, 'w'},
    {},
};

// Prints the engine's own listing, byte for byte, unless something fails.
static void list_as_text(const Clocks &clocks, ClockFilter &filter)
{
    const bool all = getuid() == 0 && filter.identities.count() == 0 && filter.kind == 0;
    printf("ovuser: report: Listing %s:\n", all ? "all virtual clocks" : "requested virtual clock");
    printf("Id         Clock type                Clock date/time\n");
    for (const ov_clock &clock : clocks) {
        if (!filter.matches(clock))
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
    if (clocks.complete() && all_met(filter.identities))
        printf("ovuser: %s Orvane users have been listed above.\n", all ? "All" : "Requested");
}

static void list_as_json(const Clocks &clocks, ClockFilter &filter)
{
    const time_t real = real_time();
    Json json(stdout);
    json.open('[');
    for (const ov_clock &clock : clocks) {
        if (!filter.matches(clock))
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

// Returns 0 for a word that is no kind.
static int32_t read_kind(const char *word)
{
    for (const int32_t kind : {OV_USER, OV_GROUP, OV_PROCESS})
        if (strcmp(word, kind_word(kind)) == 0)
            return kind;
    return 0;
}

int list_command(int argc, char **argv)
{
    ClockFilter filter;
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
        case 'k':
            filter.kind = read_kind(optarg);
            if (filter.kind == 0)
                return usage_error("--kind is user, group or process, not '%s'", optarg);
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
    if (const int status = read_identities(filter.identities, argc - optind, argv + optind))
        return status;
    if (filter.kind != 0 && filter.identities.count() != 0)
        return usage_error("--kind is for a list without identities");
    ov_request request = {};
    request.operation = OV_LIST;
    if (const int status = check_identities(filter.identities, request))
        return status;
    if (interval != 0)
        return as_json ? report_changes(filter, interval) : watch(filter, interval);
    Clocks clocks;
    clocks.read();
    if (clocks.opened() && as_json)
        list_as_json(clocks, filter);
    else if (clocks.opened())
        list_as_text(clocks, filter);
    const int status = clocks.report_failure();
    return status == done ? report_unmet(filter.identities) : status;
}

} // namespace ovuser
