// The options that describe a clock, in every subcommand that gives one.
#pragma once

#include <getopt.h>

#include <cstddef>
#include <cstdint>

#include "ov_helper.h"
#include "ovuser/text.h"

namespace ovuser
{

// What getopt returns for them, in the order of the options. when_in to when_offset belong to a distance.
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

// These options and the subcommand's own, for getopt_long. The short ones are X: and o:.
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

// The text of --help about them.
extern const char when_help[];

// The options of one clock. The request points into this object, which cannot be copied.
class ClockOptions
{
  public:
    ClockOptions();
    ClockOptions(const ClockOptions &) = delete;
    ClockOptions &operator=(const ClockOptions &) = delete;

    // Takes one of these options, or '?', from getopt_long.
    int take(int choice, int argc, char **argv, const option *known);

    // To be called after the last option. Fills in what the engine does not know.
    int complete(const char *subcommand);

    // Checks that the distance leads to an allowed clock value. The kernel module checks that of --offset.
    int check_distance() const;
    // Prints that the time is out of range, and the range.
    int refuse_value() const;

    // Whether a replaced clock keeps its value: no time and no distance is given.
    bool keeps_value() const { return !time_given_; }
    bool keeps_speed() const { return keeps_value() && !speed_given_; }
    bool keeps_rewind() const { return keeps_value() && !rewind_given_; }

    // What else is set of the clock of a process, in ov_refinement bits: whether it is passed on to its descendants.
    void pass_on(uint32_t what) { passed_on_ |= what; }
    uint32_t passed_on() const { return passed_on_; }
    // Whether a clock that is there changes in that alone.
    bool only_passes_on() const { return keeps_speed() && keeps_rewind(); }

    // The add request without identities: as typed, for the check, and with the checked value in virtime, which all
    // identities get. The engine counts --offset anew for each.
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
    char typed_[160] = {}; // the time options, as typed
    bool seen_[when_end - when_at] = {};
    uint32_t passed_on_ = 0;
    bool time_given_ = false, speed_given_ = false, rewind_given_ = false;
};

} // namespace ovuser
