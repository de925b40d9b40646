#include <getopt.h>

#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ovuser/command.h"
#include "ovuser/when.h"

namespace ovuser
{

static constexpr char add_help[] =
    "usage: ovuser add [IDENTITY...] WHEN [--speed N] [--rewind] [--dry-run]\n"
    "\n"
    "Gives each IDENTITY a virtual clock that starts at WHEN, which is one of\n"
    "\n"
    "  --at TIME           a local time: 'YYYY-MM-DD hh:mm' or MMDDhhmmYYYY\n"
    "  -X, --date DATE     a date at the present time of day: YYYY-MM-DD or MMDDYYYY\n"
    "  --epoch SECONDS     seconds since 1970-01-01 00:00:00 UTC\n"
    "  --in SPAN           a distance from now: '2d 3h', -90m, 1y (y, d, h, m; each number has its own sign)\n"
    "  --years N --days N --hours N --minutes N\n"
    "                      the same in options, in any combination\n"
    "\n"
    "and a distance may be counted differently:\n"
    "\n"
    "  -o, --origin SECONDS  from that many seconds since the epoch, in place of now\n"
    "  --offset              in plain seconds, whatever daylight saving time does in between\n"
    "\n"
    "  --speed N           N times faster, -N times slower (-1000 to 1000), 0 or 'frozen' to stand still\n"
    "  --rewind            go back to the same date at every midnight\n"
    "  --dry-run           only print the clock value that would be set\n";

// Those from in to offset are about a distance.
enum Choice { at = 1, date, epoch, in, years, days, hours, minutes, origin, offset, speed, rewind, dry_run, help };

static constexpr option options[] = {
    {"at", required_argument, nullptr, at},
    {"date", required_argument, nullptr, date},
    {"epoch", required_argument, nullptr, epoch},
    {"in", required_argument, nullptr, in},
    {"years", required_argument, nullptr, years},
    {"days", required_argument, nullptr, days},
    {"hours", required_argument, nullptr, hours},
    {"minutes", required_argument, nullptr, minutes},
    {"origin", required_argument, nullptr, origin},
    {"offset", no_argument, nullptr, offset},
    {"speed", required_argument, nullptr, speed},
    {"rewind", no_argument, nullptr, rewind},
    {"dry-run", no_argument, nullptr, dry_run},
    {"help", no_argument, nullptr, help},
    {},
};

static const char *name_of(int choice)
{
    for (const option &entry : options)
        if (entry.val == choice)
            return entry.name;
    return "";
}

// The options of WHEN seen so far. Those of one distance go together, everything else excludes the rest.
class When
{
  public:
    // Returns the earlier option that this one cannot go with, or 0.
    int clash(int choice)
    {
        for (int other = at; other <= offset; ++other)
            if (seen_[other] && !go_together(choice, other))
                return other;
        seen_[choice] = any_ = true;
        return 0;
    }

    bool given() const { return any_; }

  private:
    static bool is_part(int choice) { return choice >= years && choice <= minutes; }
    static bool go_together(int a, int b)
    {
        const bool span_and_part = (a == in && is_part(b)) || (b == in && is_part(a));
        return a != b && a >= in && b >= in && !span_and_part;
    }

    bool seen_[offset + 1] = {};
    bool any_ = false;
};

struct Command {
    ov_request request = {};
    WhenTexts texts = {};
    bool dry = false;
};

static int read_number(int choice, int64_t least, int64_t most, int64_t &number)
{
    return read_whole_number(optarg, least, most, number)
               ? done
               : misunderstood("--%s takes a whole number from %" PRId64 " to %" PRId64 ", not '%s'", name_of(choice),
                               least, most, optarg);
}

// A number as a text that the engine, which looks at no more than the digits, can be trusted with.
static int take_number(int choice, const char **field)
{
    int64_t number;
    *field = optarg;
    return read_number(choice, INT32_MIN, INT32_MAX, number);
}

// One option into the request; anything but done is the exit status.
static int take_option(int choice, Command &command)
{
    ov_request &request = command.request;
    switch (choice) {
    case at:
        request.time_form = OV_ABSOLUTE_FORM;
        request.abs_time = engine_time(optarg, command.texts);
        return done;
    case date:
        request.x_date = engine_date(optarg, command.texts);
        return done;
    case epoch:
        request.time_form = OV_ABSOLUTE_FORM;
        return read_number(choice, INT64_MIN, INT64_MAX, request.virtime);
    case in:
        return read_span(optarg, request, command.texts)
                   ? done
                   : misunderstood("--in takes a span such as '2d 3h' or -90m, not '%s'", optarg);
    case years:
        return take_number(choice, &request.rel_years);
    case days:
        return take_number(choice, &request.rel_days);
    case hours:
        return take_number(choice, &request.rel_hours);
    case minutes:
        return take_number(choice, &request.rel_minutes);
    case origin:
        return take_number(choice, &request.rel_origin);
    case offset:
        request.rel_mode = 1;
        return done;
    case speed:
        if (strcmp(optarg, "frozen") == 0) {
            request.speed = OV_SPEED_FROZEN;
        } else if (parse_speed(optarg, &request.speed) != 0) {
            misunderstood("wrong parameters for speed: %s, it must be an integer and belongs to  [-1000, 1000].",
                          optarg);
            return check_rc(OV_BAD_SPEED);
        }
        return done;
    case rewind:
        request.rewind = 1;
        return done;
    case dry_run:
        command.dry = true;
        return done;
    default: // getopt has said what is wrong
        return not_understood;
    }
}

static bool is_relative(const ov_request &request)
{
    return request.time_form != OV_ABSOLUTE_FORM && request.x_date == nullptr;
}

// The clock value of a request, by the engine's own parsers; 0 with its message when there is none.
static int64_t clock_value(const ov_request &request, char **message)
{
    if (is_relative(request))
        return parse_reltime(request.rel_years, request.rel_days, request.rel_hours, request.rel_minutes,
                             request.rel_origin, message, request.rel_mode);
    int code;
    if (request.x_date != nullptr)
        return parse_Xtime(request.x_date, message, &code);
    return request.abs_time != nullptr ? zyn_parse_time(request.abs_time, message) : request.virtime;
}

// Says what a request would do, and does nothing of it.
static int rehearse(const ov_request &request)
{
    // The engine looks at the identities and at what the caller may do, then at the speed, and only then at
    // the time and the control file: a speed that it refuses tells that all before is in order.
    ov_request trial = request;
    trial.speed = OV_SPEED_STOPPED + 1;
    char *message = nullptr;
    const int32_t result = ov_process_request(&trial, &message);
    if (result != OV_BAD_SPEED)
        return conclude(result, message);
    free(message);

    message = nullptr;
    const time_t value = clock_value(request, &message);
    if (value == 0) {
        const bool relative = is_relative(request);
        const int32_t refusal = relative ? OV_BAD_RELATIVE_TIME : OV_BAD_TIME;
        if (message != nullptr)
            return conclude(refusal, message);
        fprintf(stderr, "ovuser: error: parse %s clock error\n", relative ? "relative" : "virtual");
        return check_rc(refusal);
    }
    const char *text = ctime(&value);
    const int length = text != nullptr ? static_cast<int>(strcspn(text, "\n")) : INT_MAX;
    printf("ovuser: report: The virtual clock would be set to %.*s (%" PRId64 " seconds since the epoch)\n", length,
           text != nullptr ? text : "(null)", static_cast<int64_t>(value));
    return done;
}

int add_command(int argc, char **argv)
{
    Command command;
    command.request.operation = OV_ADD;
    command.request.speed = 1;
    When when;
    for (int choice; (choice = getopt_long(argc, argv, "X:o:h", options, nullptr)) != -1;) {
        choice = choice == 'X' ? date : choice == 'o' ? origin : choice;
        if (choice == help || choice == 'h') {
            fputs(add_help, stdout);
            return done;
        }
        if (choice <= offset)
            if (const int other = when.clash(choice))
                return misunderstood("--%s and --%s cannot be given together", name_of(other), name_of(choice));
        if (const int status = take_option(choice, command))
            return status;
    }
    if (!when.given())
        return misunderstood("add needs a time; 'ovuser add --help' lists the ways to give it");
    read_identities(argc - optind, argv + optind, command.request);
    return command.dry ? rehearse(command.request) : perform(command.request);
}

} // namespace ovuser
