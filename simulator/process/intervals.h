// How intervals pass for this process where they go by its clock: CLOCK_MONOTONIC and its kin, and how long waits last.
#pragma once

#include <ctime>

#include "simulator/table/timeline.h"

namespace sim
{

// Reads one of interval_ids; false for any other, and where intervals are real. Makes no system call, and no reading is
// before an earlier one of any thread or signal handler. Async-signal-safe.
bool read_interval_clock(clockid_t source, timespec &time);

// How intervals pass now. Times have nanoseconds from 0 to 999999999.
class Pace
{
  public:
    Pace() = default;
    explicit Pace(const Timeline &timeline) : timeline_(timeline) {}

    // How long a wait lasts that is to last for `length`, which is not negative: rounded up, and a microsecond at
    // least, unless it is 0.
    timespec real_length(const timespec &length) const;

    // What is left of a wait of which so much is left in real time: rounded up, so that only nothing becomes nothing.
    timespec shown_length(const timespec &real) const;

    // The real instant at which one of interval_ids shows another: the first, or one that has passed.
    timespec real_instant(clockid_t source, const timespec &shown) const;

    timespec shown_instant(clockid_t source, const timespec &real) const;

  private:
    Timeline timeline_ = real_timeline;
};

// By which intervals pass for this process.
Timeline own_timeline();

// The pace of this process; false if all of the above is as in real time. Async-signal-safe.
bool own_pace(Pace &pace);

} // namespace sim
