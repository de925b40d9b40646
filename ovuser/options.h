// Which clock: the options that say when it starts and how it runs, in every subcommand that gives one.
#pragma once

#include <getopt.h>

#include <cstddef>
#include <cstdint>

#include "ov_helper.h"
#include "ovuser/times.h"

namespace ovuser
{

// What getopt returns for them. In the order of the options, of which those from in to offset are about a distance.
enum ClockOption : int {
    when_at = 256,
    when_date,
    when_epoch,
    when_in,
    when_years,
    when_days,
    when_hours,
    when_minutes,
    when_origin,
    when_offset,
    when_speed,
    when_rewind,
    when_no_rewind,
    when_end
};

inline constexpr option when_options[] = {
    {"at", required_argument, nullptr, when_at},         {"date", required_argument, nullptr, when_date},
    {"epoch", required_argument, nullptr, when_epoch},   {"in", required_argument, nullptr, when_in},
    {"years", required_argument, nullptr, when_years},   {"days", required_argument, nullptr, when_days},
    {"hours", required_argument, nullptr, when_hours},   {"minutes", required_argument, nullptr, when_minutes},
    {"origin", required_argument, nullptr, when_origin}, {"offset", no_argument, nullptr, when_offset},
    {"speed", required_argument, nullptr, when_speed},   {"rewind", no_argument, nullptr, when_rewind},
    {"no-rewind", no_argument, nullptr, when_no_rewind},
};

// These options and a subcommand's own, for getopt_long; the short ones are X: and o:.
template <size_t N> struct OptionsWithClock {
    option list[(when_end - when_at) + N + 1] = {};

    constexpr explicit OptionsWithClock(const option (&own)[N])
    {
        option *next = list;
        for (const option &entry : when_options)
            *next++ = entry;
        for (const option &entry : own)
            *next++ = entry;
    }
};

// What the help of a subcommand says of them.
extern const char when_help[];

// The options of one clock. A request points into it, so it stays where it is.
class ClockOptions
{
  public:
    ClockOptions();
    ClockOptions(const ClockOptions &) = delete;
    ClockOptions &operator=(const ClockOptions &) = delete;

    // Takes what getopt_long has returned, which is one of these options, or '?'. Anything but done is the exit status,
    // with the reason told.
    int take(int choice, int argc, char **argv, const option *known);

    // To be called behind the last option: completes what the engine does not know by itself. Anything but done is the
    // exit status, with the reason told.
    int complete(const char *subcommand);

    // Whether what was typed comes to a clock value that is taken; those of --offset are the kernel module's to judge.
    // Anything but done is the exit status, with the reason told.
    int check_distance() const;
    // Says that what was typed is out of range, and what the range is. Returns the exit status.
    int refuse_value() const;

    // Whether a clock that is there keeps its value: there is neither a time nor a distance.
    bool keeps_value() const { return !time_given_; }
    bool keeps_speed() const { return keeps_value() && !speed_given_; }
    bool keeps_rewind() const { return keeps_value() && !rewind_given_; }

    // An add request without identities. As it stands where it is to be checked; settled where it is to be carried out:
    // with the value that the check came to in virtime. All identities get that, but for --offset, which the engine
    // counts anew for each.
    const ov_request &request() const { return request_; }
    ov_request settled(int64_t checked) const;

  private:
    int take_option(int choice, int argc, char **argv);
    int take_time(int argc, char **argv);
    int take_date();
    int take_span();
    int take_speed();
    int take_epoch();
    int record(int choice);

    ov_request request_ = {};
    Span span_ = {};
    char date_[9] = {};
    char typed_[160] = {}; // the options of time
    bool seen_[when_end - when_at] = {};
    bool time_given_ = false, speed_given_ = false, rewind_given_ = false;
};

} // namespace ovuser
