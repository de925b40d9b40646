// One virtual clock, and what it shows at any real instant.
#pragma once

#include <cstdint>
#include <cstring>
#include <ctime>

#include "contract/clock.h"
#include "contract/zynov.h"

namespace sim
{

// One virtual clock. A kind of 0 in its flags marks a free slot, which may still tell whose former_tree is there.
struct Clock {
    int64_t id;
    uint64_t flags; // as on the wire
    uint64_t container_id;
    int64_t speed;
    int64_t origin;
    int64_t start; // the clock's value, in seconds since the epoch, at real_seconds
    int64_t real_seconds;
    int64_t real_nanoseconds;
    int64_t utc_offset;     // of a rewinding clock: seconds east of UTC, which decide its midnight
    uint64_t pid_namespace; // of a process: the namespace of its id
    uint64_t birth;         // of a process: see raw/process.h
    int64_t nanoseconds;    // added to start
    uint64_t refined;       // ZYNOV_REFINE_ bits
    uint64_t tree;          // of a clock that is passed on: the number by which descendants know it, from 1
    uint64_t former_tree;   // of a process: the tree of its last clock that was passed on
    int64_t empty_since;    // of a lasting tree: when it was first seen without members, in seconds since boot

    uint64_t kind() const { return flags & ZYNOV_KIND_MASK; }
    bool rewinds() const { return flags >> ZYNOV_REWIND_SHIFT != 0; }
    static constexpr uint64_t last_tree = (uint64_t{1} << 48) - 1;

    bool lasts() const { return (refined & ZYNOV_REFINE_LASTING) != 0; }
};

// What a clock shows at real instants: contract/clock.h with the C library's types. Async-signal-safe.
class ClockRate
{
  public:
    // cppcheck-suppress uninitMemberVar // to be assigned later
    ClockRate() = default;
    explicit ClockRate(const Clock &clock)
    {
        const zynov_clock set = {.start = {clock.start, zynov_floor_mod(clock.nanoseconds, ZYNOV_SECOND)},
                                 .real = {clock.real_seconds, clock.real_nanoseconds},
                                 .speed = clock.speed,
                                 .utc_offset = clock.utc_offset,
                                 .rewinds = clock.rewinds()};
        rate_ = zynov_rate_of(&set);
    }
    explicit ClockRate(const zynov_clock &set) : rate_(zynov_rate_of(&set)) {}

    bool operator==(const ClockRate &other) const { return memcmp(&rate_, &other.rate_, sizeof rate_) == 0; }

    timespec at(const timespec &real) const { return to_timespec(zynov_shown(&rate_, to_instant(real))); }

    // Whether the coarse real time is good enough: it lags by at most a hundredth of a second, and the clock may lag by
    // at most a second, but never show a time before its start.
    bool may_be_coarse() const { return rate_.multiplier <= 100; }
    bool began_after(const timespec &real) const { return zynov_is_before(to_instant(real), rate_.real) != 0; }

    // The real instant at which a wait for `shown` ends, if it begins at the real instant `now`.
    timespec when(const timespec &shown, const timespec &now) const
    {
        return to_timespec(zynov_real_end(&rate_, to_instant(shown), to_instant(now)));
    }

    // The file time to show for a real one, and the real one to store for a shown one.
    timespec of_file(const timespec &real) const { return to_timespec(zynov_file_shown(&rate_, to_instant(real))); }
    timespec to_file(const timespec &shown) const { return to_timespec(zynov_file_kept(&rate_, to_instant(shown))); }

  private:
    zynov_rate rate_;

    static zynov_instant to_instant(const timespec &time) { return {time.tv_sec, time.tv_nsec}; }
    static timespec to_timespec(const zynov_instant &instant) { return {instant.seconds, instant.nanoseconds}; }
};

} // namespace sim
