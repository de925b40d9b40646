#include "ovuser/when.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/command.h"
#include "ovuser/hints.h"

namespace ovuser
{

const char when_help[] =
    "  --at TIME           a local time: 'YYYY-MM-DD hh:mm', with :ss, or MMDDhhmmYYYY; with Z or +hh:mm behind\n"
    "                      that of another zone; @SECONDS since 1970-01-01 00:00:00 UTC; now; or as it is printed\n"
    "  -X, --date DATE     a date at the present time of day: YYYY-MM-DD or MMDDYYYY\n"
    "  --epoch SECONDS     seconds since 1970-01-01 00:00:00 UTC\n"
    "  --in SPAN           a distance from now: '2d 3h', -90m, 1y (y, w, d, h, m, s; each number has its own sign)\n"
    "  --years N --days N --hours N --minutes N\n"
    "                      the same in options, in any combination\n"
    "\n"
    "and a distance may be counted differently:\n"
    "\n"
    "  -o, --origin SECONDS  from that many seconds since the epoch, in place of now\n"
    "  --offset              in plain seconds, whatever daylight saving time does in between\n"
    "\n"
    "  --speed N           N times faster, -N times slower (-1000 to 1000), 0 or 'frozen' to stand still\n"
    "  --rewind            go back to the same date at every midnight; --no-rewind does not\n";

bool read_whole_number(const char *typed, int64_t least, int64_t most, int64_t &number)
{
    char *end;
    errno = 0;
    number = strtoll(typed, &end, 10);
    return end != typed && *end == '\0' && errno == 0 && number >= least && number <= most;
}

bool read_span(const char *typed, Span &span)
{
    static constexpr char units[] = "ydhmws";
    enum { days = 1, weeks = 4, seconds = 5 };
    int64_t numbers[6] = {};
    bool seen[6] = {}, any = false;
    for (const char *text = typed; *(text += strspn(text, " ")) != '\0'; any = true) {
        char *end;
        errno = 0;
        const long number = strtol(text, &end, 10);
        const char *unit = *end != '\0' ? strchr(units, *end) : nullptr;
        if (end == text || errno != 0 || number < INT32_MIN || number > INT32_MAX || unit == nullptr ||
            seen[unit - units])
            return false;
        numbers[unit - units] = number;
        seen[unit - units] = true;
        text = end + 1;
    }
    numbers[days] += 7 * numbers[weeks];
    seen[days] |= seen[weeks];
    if (numbers[days] < INT32_MIN || numbers[days] > INT32_MAX)
        return false;
    for (int i = 0; i < weeks; ++i) {
        snprintf(span.texts[i], sizeof span.texts[i], "%" PRId64, numbers[i]);
        span.parts[i] = seen[i] ? span.texts[i] : nullptr;
    }
    span.seconds = numbers[seconds];
    return any;
}

char *refusal_of(int64_t value)
{
    char text[24], *message = nullptr;
    snprintf(text, sizeof text, "@%" PRId64, value);
    ov_read_time(text, &message);
    return message;
}

static const char *name_of(int choice)
{
    return when_options[choice - when_at].name;
}

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

// YYYY-MM-DD as MMDDYYYY. Anything else is handed on as it is: the engine judges it.
static const char *engine_date(const char *typed, char (&text)[9])
{
    if (strlen(typed) != 10 || typed[4] != '-' || typed[7] != '-')
        return typed;
    snprintf(text, sizeof text, "%.2s%.2s%.4s", typed + 5, typed + 8, typed);
    return text;
}

When::When()
{
    request_.operation = OV_ADD;
    request_.speed = 1;
}

// The options of one distance go together, everything else that is a time excludes the rest.
static bool go_together(int a, int b)
{
    const auto is_part = [](int choice) { return choice >= when_years && choice <= when_minutes; };
    const bool span_and_part = (a == when_in && is_part(b)) || (b == when_in && is_part(a));
    return a != b && a >= when_in && b >= when_in && !span_and_part;
}

// Notes an option of time down, or returns the earlier one that it cannot go with.
int When::clash_with(int choice)
{
    for (int other = when_at; other <= when_offset; ++other)
        if (seen_[other - when_at] && !go_together(choice, other))
            return other;
    seen_[choice - when_at] = time_given_ = true;
    return 0;
}

// Says what a time that was refused may be instead: the words behind it belong to it, it is a date alone, or any form.
static void hint_on_time(const char *typed, int argc, char **argv)
{
    char joined[64];
    snprintf(joined, sizeof joined, "%s", typed);
    for (int i = optind; i < argc && i < optind + 4; ++i) {
        const size_t length = strlen(joined);
        snprintf(joined + length, sizeof joined - length, " %s", argv[i]);
        if (ov_read_time(joined, nullptr) != 0)
            return hint("a time of several words is quoted: --at '%s'", joined);
    }
    snprintf(joined, sizeof joined, "%s 00:00", typed);
    if (ov_read_time(joined, nullptr) != 0)
        return hint("write --at '%s', or --date %s for the present time of day", joined, typed);
    hint("--at takes 'YYYY-MM-DD hh:mm', with :ss and with Z or +hh:mm behind, MMDDhhmmYYYY, @SECONDS, now, and times "
         "as 'ovuser list' prints them");
}

// Whether that is all that is wrong with a time: its form is one.
static bool is_out_of_range(const char *refusal)
{
    return refusal != nullptr && strstr(refusal, ", must not be ") != nullptr;
}

int When::take_time(int argc, char **argv)
{
    char *message = nullptr;
    request_.time_form = OV_ABSOLUTE_FORM;
    request_.virtime = ov_read_time(optarg, &message);
    if (request_.virtime != 0)
        return done;
    const bool of_a_form = is_out_of_range(message);
    const int status = conclude(OV_BAD_TIME, message);
    if (!of_a_form)
        hint_on_time(optarg, argc, argv);
    return status;
}

int When::take_date()
{
    char *message = nullptr;
    int code;
    request_.x_date = engine_date(optarg, date_);
    if (parse_Xtime(request_.x_date, &message, &code) != 0)
        return done;
    const bool of_a_form = is_out_of_range(message);
    const int status = conclude(OV_BAD_TIME, message);
    if (!of_a_form)
        hint("--date takes YYYY-MM-DD or MMDDYYYY");
    return status;
}

int When::take_span()
{
    if (!read_span(optarg, span_))
        return misunderstood("--in takes a span such as '2d 3h' or -90m, not '%s'", optarg);
    request_.rel_years = span_.parts[0];
    request_.rel_days = span_.parts[1];
    request_.rel_hours = span_.parts[2];
    request_.rel_minutes = span_.parts[3];
    return done;
}

int When::take_speed()
{
    static constexpr struct {
        const char *word;
        int32_t speed;
    } words[] = {{"frozen", OV_SPEED_FROZEN}, {"FROZEN", OV_SPEED_STOPPED}}; // as the listing has it
    for (const auto &known : words) {
        if (strcmp(optarg, known.word) == 0) {
            request_.speed = known.speed;
            return done;
        }
    }
    int64_t number; // not by parse_speed, which takes the empty text for 0, and numbers that wrap around
    if (read_whole_number(optarg, -OV_SPEED_LIMIT, OV_SPEED_LIMIT, number)) {
        request_.speed = static_cast<int32_t>(number);
        return done;
    }
    misunderstood("wrong parameters for speed: %s, it must be an integer and belongs to  [-1000, 1000].", optarg);
    return check_rc(OV_BAD_SPEED);
}

int When::take_option(int choice, int argc, char **argv)
{
    switch (choice) {
    case when_at:
        return take_time(argc, argv);
    case when_date:
        return take_date();
    case when_epoch:
        request_.time_form = OV_ABSOLUTE_FORM;
        return read_number(choice, INT64_MIN, INT64_MAX, request_.virtime);
    case when_in:
        return take_span();
    case when_years:
        return take_number(choice, &request_.rel_years);
    case when_days:
        return take_number(choice, &request_.rel_days);
    case when_hours:
        return take_number(choice, &request_.rel_hours);
    case when_minutes:
        return take_number(choice, &request_.rel_minutes);
    case when_origin:
        return take_number(choice, &request_.rel_origin);
    case when_offset:
        request_.rel_mode = 1;
        return done;
    case when_speed:
        speed_given_ = true;
        return take_speed();
    default:
        rewind_given_ = true;
        request_.rewind = choice == when_rewind ? 1 : 0;
        return done;
    }
}

int When::take(int choice, int argc, char **argv, const option *known)
{
    choice = choice == 'X' ? int{when_date} : choice == 'o' ? int{when_origin} : choice;
    if (choice < when_at || choice >= when_end) // getopt has said what is wrong
        return fault_in_option(argv, known);
    if (choice <= when_offset)
        if (const int other = clash_with(choice))
            return misunderstood("--%s and --%s cannot be given together", name_of(other), name_of(choice));
    return take_option(choice, argc, argv);
}

int When::complete(const char *subcommand)
{
    if (keeps_value()) {
        if (!speed_given_ && !rewind_given_)
            return misunderstood("%s needs a time; 'ovuser %s --help' lists the ways to give it", subcommand,
                                 subcommand);
        request_.time_form = OV_ABSOLUTE_FORM;
        request_.virtime = ov_read_time("now", nullptr);
    }
    if (span_.seconds != 0 && request_.rel_mode != 0) // with which the value is the engine's to count
        return misunderstood("--offset goes with no seconds in --in");
    return done;
}

ov_request When::settled(int64_t checked) const
{
    ov_request settled = request_;
    settled.virtime = checked + span_.seconds;
    if (request_.rel_mode == 0) // --offset reaches the kernel in the relative form alone
        settled.time_form = OV_ABSOLUTE_FORM;
    return settled;
}

} // namespace ovuser
