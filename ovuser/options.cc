#include "ovuser/options.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ovuser/message.h"

namespace ovuser
{

const char when_help[] =
    "  --at TIME           a local time: 'YYYY-MM-DD hh:mm', with :ss, or MMDDhhmmYYYY; in another zone with Z or\n"
    "                      +hh:mm; @SECONDS since 1970-01-01 00:00:00 UTC; now; or as ovuser prints it\n"
    "  -X, --date DATE     a date at the present time of day: YYYY-MM-DD or MMDDYYYY\n"
    "  --epoch SECONDS     seconds since 1970-01-01 00:00:00 UTC\n"
    "  --in SPAN           a distance from now: '2d 3h', -90m, 1y (y, w, d, h, m, s; each number has its own sign)\n"
    "  --years N --days N --hours N --minutes N\n"
    "                      the same in options, in any combination\n"
    "\n"
    "These options change how a distance is counted:\n"
    "\n"
    "  -o, --origin SECONDS  from this many seconds since the epoch, instead of now\n"
    "  --offset              in plain seconds, regardless of daylight saving time\n"
    "\n"
    "These change how the clock runs:\n"
    "\n"
    "  --speed N           N times faster, or -N times slower (-1000 to 1000); 0 or 'frozen' stops it\n"
    "  --rewind            go back to the same date at every midnight; --no-rewind does not\n";

static const char *name_of(int choice)
{
    return when_options[choice - when_at].name;
}

static int read_number(int choice, int64_t least, int64_t most, int64_t &number)
{
    if (read_whole_number(optarg, least, most, number))
        return done;
    usage_error("--%s takes a whole number from %" PRId64 " to %" PRId64 ", not '%s'", name_of(choice), least, most,
                optarg);
    return check_rc(OV_BAD_TIME);
}

// Checks a number before the engine reads it, which looks at the digits only.
static int take_number(int choice, const char **field)
{
    int64_t number;
    *field = optarg;
    return read_number(choice, INT32_MIN, INT32_MAX, number);
}

// Converts YYYY-MM-DD to MMDDYYYY. The engine judges anything else.
static const char *engine_date(const char *typed, char (&text)[9])
{
    if (strlen(typed) != 10 || typed[4] != '-' || typed[7] != '-')
        return typed;
    snprintf(text, sizeof text, "%.2s%.2s%.4s", typed + 5, typed + 8, typed);
    return text;
}

ClockOptions::ClockOptions()
{
    request_.operation = OV_ADD;
    request_.speed = 1;
}

// The options of a distance go together. Any other time excludes the rest. --rewind excludes --no-rewind.
static bool go_together(int a, int b)
{
    const auto is_part = [](int choice) { return choice >= when_years && choice <= when_minutes; };
    const auto is_time = [](int choice) { return choice <= when_offset; };
    if (!is_time(a) || !is_time(b))
        return a != b && (a < when_rewind || b < when_rewind);
    const bool span_and_part = (a == when_in && is_part(b)) || (b == when_in && is_part(a));
    return a != b && a >= when_in && b >= when_in && !span_and_part;
}

// Records an option unless it conflicts with an earlier one.
int ClockOptions::record(int choice)
{
    for (int other = when_at; other < when_end; ++other) {
        if (!seen_[other - when_at] || go_together(choice, other))
            continue;
        return other == choice ? usage_error("--%s is given twice", name_of(choice))
                               : usage_error("--%s and --%s cannot be given together", name_of(other), name_of(choice));
    }
    seen_[choice - when_at] = true;
    if (choice > when_offset)
        return done;
    time_given_ = true;
    const size_t length = strlen(typed_);
    if (choice != when_offset)
        snprintf(typed_ + length, sizeof typed_ - length, "%s--%s '%s'", length > 0 ? " " : "", name_of(choice),
                 optarg);
    return done;
}

int ClockOptions::refuse_value() const
{
    // In UTC and in local time.
    char texts[2][2][64] = {};
    for (int i = 0; i < 2; ++i) {
        const time_t instant = i == 0 ? earliest_value : latest_value;
        tm time = {};
        if (gmtime_r(&instant, &time) == nullptr ||
            strftime(texts[0][i], sizeof texts[0][i], "%F %T UTC", &time) == 0 ||
            localtime_r(&instant, &time) == nullptr ||
            strftime(texts[1][i], sizeof texts[1][i], "%F %T %Z", &time) == 0)
            texts[1][i][0] = '\0';
    }
    const bool both = texts[1][0][0] != '\0' && texts[1][1][0] != '\0' && strcmp(texts[0][0], texts[1][0]) != 0;
    usage_error("%s is out of range: it must be from %s%s%s%s to %s%s%s%s", typed_, texts[0][0], both ? " (" : "",
                both ? texts[1][0] : "", both ? ")" : "", texts[0][1], both ? " (" : "", both ? texts[1][1] : "",
                both ? ")" : "");
    return check_rc(OV_BAD_TIME);
}

int ClockOptions::check_distance() const
{
    if (request_.time_form == OV_ABSOLUTE_FORM || request_.x_date != nullptr || request_.rel_mode != 0)
        return done;
    char *message = nullptr;
    const int64_t value = parse_reltime(request_.rel_years, request_.rel_days, request_.rel_hours, request_.rel_minutes,
                                        request_.rel_origin, &message, 0);
    if (message != nullptr && strstr(message, " -o option") != nullptr)
        return print_result(OV_BAD_RELATIVE_TIME, message);
    free(message);
    return value != 0 && is_in_range(value + span_.seconds) ? int{done} : refuse_value();
}

// Whether the form of a refused time is right.
static bool is_out_of_range(const char *refusal)
{
    return refusal != nullptr &&
           (strstr(refusal, ", must not be ") != nullptr || strstr(refusal, ", invalid year[") != nullptr);
}

int ClockOptions::take_time(int argc, char **argv)
{
    char *message = nullptr;
    request_.time_form = OV_ABSOLUTE_FORM;
    request_.virtime = ov_read_time(optarg, &message);
    if (request_.virtime != 0)
        return done;
    if (is_out_of_range(message)) {
        free(message);
        return refuse_value();
    }
    const int status = print_result(OV_BAD_TIME, message);
    hint_on_time(optarg, argc - optind, argv + optind);
    return status;
}

int ClockOptions::take_date()
{
    char *message = nullptr;
    int code;
    request_.x_date = engine_date(optarg, date_);
    if (parse_Xtime(request_.x_date, &message, &code) != 0)
        return done;
    if (is_out_of_range(message)) {
        free(message);
        return refuse_value();
    }
    const int status = print_result(OV_BAD_TIME, message);
    hint("--date takes YYYY-MM-DD or MMDDYYYY");
    return status;
}

int ClockOptions::take_epoch()
{
    int64_t number;
    const bool is_number = *optarg != '\0' && optarg[strspn(optarg, "+-0123456789")] == '\0';
    if (is_number && !read_whole_number(optarg, earliest_value, latest_value, number))
        return refuse_value();
    request_.time_form = OV_ABSOLUTE_FORM;
    return read_number(when_epoch, earliest_value, latest_value, request_.virtime);
}

int ClockOptions::take_span()
{
    if (!read_span(optarg, span_)) {
        usage_error("--in takes a span such as '2d 3h' or -90m, in y, w, d, h, m or s, not '%s'", optarg);
        return check_rc(OV_BAD_TIME);
    }
    request_.rel_years = span_.parts[0];
    request_.rel_days = span_.parts[1];
    request_.rel_hours = span_.parts[2];
    request_.rel_minutes = span_.parts[3];
    return done;
}

int ClockOptions::take_speed()
{
    static constexpr struct {
        const char *word;
        int32_t speed;
    } words[] = {{"frozen", OV_SPEED_FROZEN}, {"Frozen", OV_SPEED_FROZEN}, {"FROZEN", OV_SPEED_STOPPED}};
    for (const auto &known : words) {
        if (strcmp(optarg, known.word) == 0) {
            request_.speed = known.speed;
            return done;
        }
    }
    int64_t number; // parse_speed would take "" for 0 and wrap large numbers
    if (read_whole_number(optarg, -OV_SPEED_LIMIT, OV_SPEED_LIMIT, number)) {
        request_.speed = static_cast<int32_t>(number);
        return done;
    }
    usage_error("wrong parameters for speed: %s, it must be an integer and belongs to  [-1000, 1000].", optarg);
    if (optarg[strspn(optarg, "+-0123456789")] != '\0')
        hint("--speed 60 is 60 times faster, --speed -60 is 60 times slower");
    return check_rc(OV_BAD_SPEED);
}

int ClockOptions::take_option(int choice, int argc, char **argv)
{
    switch (choice) {
    case when_at:
        return take_time(argc, argv);
    case when_date:
        return take_date();
    case when_epoch:
        return take_epoch();
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

int ClockOptions::take(int choice, int argc, char **argv, const option *known)
{
    choice = choice == 'X' ? int{when_date} : choice == 'o' ? int{when_origin} : choice;
    if (choice < when_at || choice >= when_end) // getopt has refused it
        return report_bad_option(argv, known);
    if (const int status = record(choice))
        return status;
    return take_option(choice, argc, argv);
}

int ClockOptions::complete(const char *subcommand)
{
    if (keeps_value()) {
        if (!speed_given_ && !rewind_given_ && passed_on_ == 0)
            return usage_error("%s needs a time; 'ovuser %s --help' lists the ways to give it", subcommand, subcommand);
        request_.time_form = OV_ABSOLUTE_FORM;
        request_.virtime = ov_read_time("now", nullptr);
    }
    if (span_.seconds != 0 && request_.rel_mode != 0) // the engine counts the value itself then
        return usage_error("--offset goes with no seconds in --in");
    return done;
}

ov_request ClockOptions::settled(int64_t checked) const
{
    ov_request settled = request_;
    settled.virtime = checked + span_.seconds;
    if (request_.rel_mode == 0) // only the relative form keeps --offset
        settled.time_form = OV_ABSOLUTE_FORM;
    return settled;
}

} // namespace ovuser
