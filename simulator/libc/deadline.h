// The deadlines of waits.
#pragma once

#include <cstdint>
#include <ctime>

#include "simulator/table/clock.h"

namespace sim
{

// The instant so many nanoseconds, less than a second, after another one.
inline timespec later(const timespec &instant, int64_t nanoseconds)
{
    const zynov_instant sum = zynov_later({instant.tv_sec, instant.tv_nsec}, 0, nanoseconds);
    return {sum.seconds, sum.nanoseconds};
}

inline bool is_before(const timespec &one, const timespec &other)
{
    return zynov_is_before({one.tv_sec, one.tv_nsec}, {other.tv_sec, other.tv_nsec}) != 0;
}

// The time from one instant to a later one; 0 if it is earlier.
inline timespec length_between(const timespec &from, const timespec &until)
{
    const zynov_instant length =
        zynov_later({until.tv_sec, until.tv_nsec}, zynov_difference(0, from.tv_sec), zynov_difference(0, from.tv_nsec));
    return length.seconds < 0 ? timespec{} : timespec{length.seconds, length.nanoseconds};
}

// Computes the real instant at which this process's clock reaches an instant of a system clock, into `real`; returns
// the instant itself if it is real. Invalid instants (unreadable, with too many nanoseconds, before the epoch) are
// returned unchanged, and the call refuses them. Async-signal-safe, as all functions here.
const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real);

// The same for the length of a wait, with --intervals; and its rest, back.
const timespec *real_length(const timespec *length, timespec &real);
void show_left(timespec &left);

// Whether a change of clocks may move waits until instants of a system clock: of CLOCK_MONOTONIC where intervals go by
// the clock. Never without a table.
bool is_followed(clockid_t source);

// The end of a wait that goes by this process's clock, and by those that it gets meanwhile.
class Deadline
{
  public:
    // Return false if no change of clocks can move the end, or if the instant or the length is invalid. A length counts
    // from now.
    bool begin(clockid_t source, const timespec *instant);
    bool begin_length(const timespec *length);

    // The clock of the real end, which futexes know: CLOCK_REALTIME or CLOCK_MONOTONIC.
    clockid_t kernel_clock() const { return kernel_clock_; }
    timespec now() const;
    bool has_passed() const { return !is_before(now(), real_); }
    // The earlier of the end and of so many nanoseconds, less than a second, from now.
    timespec within(int64_t nanoseconds) const;
    // The end, or an earlier instant at which to look at the clock again, since it may end unannounced.
    timespec next_look() const;

    // Follows the clocks. A frozen or rewinding one is only read again when it changes: it would always be as far from
    // the instant as before.
    void renew();

    // The rest by the clock, for CLOCK_MONOTONIC.
    timespec left() const;

    // The half of the table's generation that is a futex, and its value when the end was computed.
    const uint32_t *futex() const;
    uint32_t generation() const { return static_cast<uint32_t>(generation_); }

  private:
    void compute();

    clockid_t kernel_clock_;
    timespec awaited_, real_;
    uint64_t generation_;
    bool has_clock_;
    ClockRate rate_;
};

} // namespace sim
