// The ends of waits until an instant.
#pragma once

#include <cstdint>
#include <ctime>

#include "simulator/table/clock.h"

namespace sim
{

// Computes the real instant at which this process's clock reaches an instant of a system clock, into `real`; returns
// the instant itself if it is real. Invalid instants (unreadable, with too many nanoseconds, before the epoch) are
// returned as they are, for the call to refuse. Async-signal-safe, as all here.
const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real);

// The end of a wait that goes by this process's clock, and by those that it gets meanwhile.
class Deadline
{
  public:
    // Returns false if no change of clocks can move the end, or the call has to refuse the instant.
    bool begin(clockid_t source, const timespec *instant);

    // The real instant, by CLOCK_REALTIME whatever the source.
    const timespec &real() const { return real_; }
    bool has_passed() const;

    // Follows the clocks; returns whether the end moved. A clock that stands still, or goes back at midnight, is only
    // asked again once it changes: each time it would be as far from the instant as before.
    bool renew();

    // The half of the table's generation that is a futex, and its value when the end was computed.
    const uint32_t *futex() const;
    uint32_t generation() const { return static_cast<uint32_t>(generation_); }

  private:
    void compute();

    clockid_t source_;
    timespec awaited_, real_;
    uint64_t generation_;
    bool has_clock_;
    ClockRate rate_;
};

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

} // namespace sim
