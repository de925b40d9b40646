// What CLOCK_MONOTONIC and related ids show to processes with a clock, with --intervals.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "simulator/table/clock.h"

namespace sim
{

struct Table;

// The ids that count from the machine's start. They differ by more than a constant, so each has its own instants.
constexpr std::array<clockid_t, 3> interval_sources = {CLOCK_MONOTONIC, CLOCK_MONOTONIC_RAW, CLOCK_BOOTTIME};
using Instants = std::array<int64_t, interval_sources.size()>; // in nanoseconds

inline size_t place_of(clockid_t source)
{
    switch (source) {
    case CLOCK_MONOTONIC_RAW:
        return 1;
    case CLOCK_BOOTTIME:
    case CLOCK_BOOTTIME_ALARM:
        return 2;
    default:
        return 0;
    }
}

// Not by the stand-ins.
Instants read_instants();

// A timeline: the instant that it shows at a real one, and the speed since. It outlives its clock, at the real speed:
// processes that had the clock continue from what they saw, and so does the next clock of the same identity.
struct Timeline {
    int64_t id; // whose it is, as in Clock
    uint64_t flags, container_id, pid_namespace, birth;
    uint64_t tree;     // of its clock
    uint64_t number;   // unique in the table; 0 for none
    uint64_t is_live;  // its clock is there
    int64_t speed = 1; // as a clock's, but never 0
    Instants real, shown;

    bool is_of(const Clock &clock) const;
    ClockRate rate(size_t source) const;
    int64_t at(size_t source, int64_t instant) const;
};
constexpr Timeline real_timeline = {};

// The speed of intervals under a clock. A frozen clock does not stop them: they pass at the real speed.
int64_t interval_speed(int64_t clock_speed);

// Call when a clock replaces another in its slot, with the table's generation odd and the instants read after that; a
// clock of no kind is none. A new timeline continues from the last one of its process if that is ahead of real time.
void change_timelines(Table &table, const Clock &before, const Clock &after, const Timeline &last, const Instants &now);

// Call after a reboot, when the kernel counts from 0 again.
void restart_timelines(Table &table, const Instants &now);

inline bool Timeline::is_of(const Clock &clock) const
{
    return number != 0 && id == clock.id && flags == clock.kind() && container_id == clock.container_id &&
           pid_namespace == clock.pid_namespace && birth == clock.birth;
}

inline ClockRate Timeline::rate(size_t source) const
{
    const auto instant = [](int64_t nanoseconds) {
        return zynov_instant{zynov_floor_div(nanoseconds, ZYNOV_SECOND), zynov_floor_mod(nanoseconds, ZYNOV_SECOND)};
    };
    return ClockRate(zynov_clock{instant(shown[source]), instant(real[source]), speed, 0, 0});
}

// Three centuries at most, which is what programs can hold.
inline int64_t to_nanoseconds(const timespec &time)
{
    int64_t sum;
    return __builtin_mul_overflow(time.tv_sec, int64_t{ZYNOV_SECOND}, &sum) ||
                   __builtin_add_overflow(sum, time.tv_nsec, &sum)
               ? (time.tv_sec < 0 ? INT64_MIN : INT64_MAX)
               : sum;
}

// The present instants, as a function reads the clocks.
template <typename Read> Instants instants_by(const Read &read)
{
    Instants instants;
    for (size_t i = 0; i < instants.size(); ++i)
        instants[i] = to_nanoseconds(read(interval_sources[i]));
    return instants;
}

inline int64_t Timeline::at(size_t source, int64_t instant) const
{
    return to_nanoseconds(
        rate(source).at({zynov_floor_div(instant, ZYNOV_SECOND), zynov_floor_mod(instant, ZYNOV_SECOND)}));
}

} // namespace sim
