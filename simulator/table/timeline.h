// The time that passes for who lives by a clock: what CLOCK_MONOTONIC and its kin show where intervals go by the clock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "simulator/table/clock.h"

namespace sim
{

struct Table;

// What the kernel counts from the machine's start. They differ by more than a constant, so each has its own instants.
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

// Past the stand-ins.
Instants read_instants();

// One timeline: an instant that it shows at a real one, and a speed since. It outlives its clock, at the real speed, so
// that whoever lived by the clock goes on from what he saw, and the next clock of the same identity as well.
struct Timeline {
    int64_t id; // whose it is, as in Clock
    uint64_t flags, container_id, pid_namespace, birth;
    uint64_t tree;     // of its clock
    uint64_t number;   // no other of the table has it; 0 for none
    uint64_t is_live;  // its clock is there
    int64_t speed = 1; // as a clock's, but never 0
    Instants real, shown;

    bool is_of(const Clock &clock) const;
    ClockRate rate(size_t source) const;
    int64_t at(size_t source, int64_t instant) const;
};
constexpr Timeline real_timeline = {};

// At which speed intervals pass under a clock of a speed. One that stands still stops none: they pass at the real one.
int64_t interval_speed(int64_t clock_speed);

// For who puts a clock into the slot of another, with the generation of the table odd and the instants read since; one
// of no kind is none. A new timeline goes on from the last one of its process, if that is ahead of real time.
void change_timelines(Table &table, const Clock &before, const Clock &after, const Timeline &last, const Instants &now);

// The kernel counts anew: begins all again.
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

inline int64_t Timeline::at(size_t source, int64_t instant) const
{
    return to_nanoseconds(
        rate(source).at({zynov_floor_div(instant, ZYNOV_SECOND), zynov_floor_mod(instant, ZYNOV_SECOND)}));
}

} // namespace sim
