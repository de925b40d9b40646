// How intervals pass for this process with --intervals: CLOCK_MONOTONIC and related ids, and the length of waits.
#pragma once

#include <ctime>

#include "simulator/table/timeline.h"

namespace sim
{

// Reads one of interval_ids; returns false for any other, and if intervals are real. Makes no system call. No reading
// is before an earlier one of any thread or signal handler. Async-signal-safe.
bool read_interval_clock(clockid_t source, timespec &time);

// The rate at which intervals pass now. Nanoseconds are 0 to 999999999.
class IntervalRate
{
  public:
    IntervalRate() = default;
    explicit IntervalRate(const Timeline &timeline) : timeline_(timeline) {}

    // The real length of a wait for `length`, which is not negative: rounded up, and at least a microsecond unless it
    // is 0.
    timespec real_length(const timespec &length) const;

    // The rest of a wait by its real rest: rounded up, so that only 0 becomes 0.
    timespec shown_length(const timespec &real) const;

    // The real instant at which one of interval_ids shows `shown`: the first, or one that has passed.
    timespec real_instant(clockid_t source, const timespec &shown) const;

  private:
    Timeline timeline_ = real_timeline;
};

// The timeline of this process.
Timeline own_timeline();

// Gets the rate of this process; returns false if intervals are real. Async-signal-safe.
bool own_interval_rate(IntervalRate &interval_rate);

} // namespace sim
