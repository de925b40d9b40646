// Waits of the C library that cannot be joined with a change of clocks: they go on in slices, and each begins with a
// look at the clock.
#pragma once

#include <algorithm>
#include <cerrno>

#include "simulator/libc/deadline.h"
#include "simulator/process/clock_ids.h"
#include "simulator/process/own_clock.h"

namespace sim
{

// How calls say that the time is over.
inline bool is_etimedout(int result)
{
    return result == ETIMEDOUT;
}
inline bool has_set_etimedout(long result)
{
    return result == -1 && errno == ETIMEDOUT;
}

class Slices
{
  public:
    // Returns false if the wait is to be as it is.
    bool begin(clockid_t source, const timespec *instant) { return deadline_.begin(source, instant); }

    // The end of the next slice. Together with the time that it takes to wake up, none is longer than a second.
    const timespec *next()
    {
        constexpr int64_t longest = 900'000'000;
        end_ = later(real_time(), length_);
        if (is_before(deadline_.real(), end_))
            end_ = deadline_.real();
        length_ = std::min(2 * length_, longest);
        return &end_;
    }

    // Whether the wait is over, once the slice is.
    bool is_over() { return !deadline_.renew() && !is_before(end_, deadline_.real()); }

  private:
    Deadline deadline_;
    timespec end_;
    int64_t length_ = 50'000'000;
};

// Calls `call` with the end of each slice, until it returns anything but that its time is over.
template <typename Call, typename TimedOut>
auto wait_in_slices(clockid_t source, const timespec *instant, const Call &call, const TimedOut &timed_out)
{
    Slices slices;
    if (!slices.begin(source, instant))
        return call(instant);
    const int kept = errno;
    for (;;) {
        const auto result = call(slices.next());
        if (!timed_out(result) || slices.is_over())
            return result;
        errno = kept;
    }
}

// The same for a lock or a semaphore, which is mostly free: a wait until what has passed asks for no more than that.
template <typename Call, typename TimedOut>
auto take_in_slices(clockid_t source, const timespec *instant, const Call &call, const TimedOut &timed_out)
{
    constexpr timespec past = {};
    if (!waited_ids.has(source) || table_generation() == nullptr)
        return call(instant);
    const int kept = errno;
    const auto result = call(&past);
    if (!timed_out(result))
        return result;
    errno = kept;
    return wait_in_slices(source, instant, call, timed_out);
}

} // namespace sim
