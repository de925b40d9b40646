// One virtual clock, and what it shows at any real instant.
#pragma once

#include <cstdint>
#include <ctime>

#include "contract/zynov.h"

namespace sim
{

// One virtual clock. A kind of 0 in its flags marks a free slot.
struct Clock {
    int64_t id;
    uint64_t flags; // as on the wire
    uint64_t container_id;
    int64_t speed;
    int64_t origin;
    int64_t start;        // the clock's value, in seconds since the epoch, ...
    int64_t real_seconds; // ... at this real instant
    int64_t real_nanoseconds;
    int64_t utc_offset;     // of a clock that rewinds: where its midnight lies, in seconds east
    uint64_t pid_namespace; // of a process: where its id means it, ...
    uint64_t birth;         // ... and what tells it from a later one with the same id

    uint64_t kind() const { return flags & ZYNOV_KIND_MASK; }
    bool rewinds() const { return flags >> ZYNOV_REWIND_SHIFT != 0; }
};

// What a clock shows at real instants, worked out as far as it can be beforehand. Async-signal-safe.
class Pace
{
  public:
    // cppcheck-suppress uninitMemberVar // shows nothing of use, and costs nothing
    Pace() = default;
    explicit Pace(const Clock &clock);

    timespec at(const timespec &real) const;

    // The real instant at which a wait is over that began at the real instant now and is to last until the clock
    // shows an instant: the first at which it does, or earlier than now. A clock that stands still, or goes back at
    // midnight, may never get there, so the distance from what it shows now counts: as if it ran at the real speed,
    // or on into the next day. Both instants are normalised; the answer is, and is kept between the epoch and the
    // last of all seconds.
    timespec when(const timespec &shown, const timespec &now) const;

    // What a file shows that has a real time, and the real time of one that is to show another. Before the clock was
    // set, both run at the real speed.
    timespec of_file(const timespec &real) const;
    timespec to_file(const timespec &shown) const;

  private:
    // A reading waits for each step of its arithmetic, so that there are as few as can be: two products, two sums and a
    // division by a constant. Of a slow clock they are the real time that has passed since it was set.
    uint64_t seconds_, nanoseconds_; // at the real epoch; the latter are below a second
    int64_t multiplier_;             // 0 when the clock stands still
    uint64_t divisor_;               // above 1 when it is slow, ...
    uint64_t divisor_inverse_; // ... with 2^64 divided by it: a division of 64 bits takes longer than all the rest
    int64_t utc_offset_;
    int64_t midnight_;
    int64_t rewinds_;
    int64_t start_; // as the clock has them
    int64_t real_seconds_;
    int64_t real_nanoseconds_;

    void slow_down(uint64_t &seconds, uint64_t &nanoseconds) const;
};

} // namespace sim
