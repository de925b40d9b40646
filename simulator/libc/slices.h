// Waits of the C library that no change of clocks can wake: they go on in slices, and each begins with a reading of the
// clock.
#pragma once

#include <algorithm>
#include <cerrno>

#include "simulator/libc/deadline.h"

namespace sim
{

// How calls report a timeout.
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
    // Return false if the wait needs no slices.
    bool begin(clockid_t source, const timespec *instant) { return deadline_.begin(source, instant); }
    bool begin_length(const timespec *length) { return deadline_.begin_length(length); }

    // The end of the next slice. No slice is longer than a second, waking up included.
    const timespec *next()
    {
        constexpr int64_t longest = 900'000'000;
        end_ = deadline_.within(length_);
        length_ = std::min(2 * length_, longest);
        return &end_;
    }
    timespec next_length()
    {
        const timespec now = deadline_.now();
        return length_between(now, *next());
    }

    // Whether the wait is over, once a slice is.
    bool is_over()
    {
        deadline_.renew();
        return deadline_.has_passed();
    }

    const Deadline &deadline() const { return deadline_; }

  private:
    Deadline deadline_;
    timespec end_;
    int64_t length_ = 50'000'000;
};

// Calls `call` with the end of each slice until it returns anything but a timeout.
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

// The same for a lock or a semaphore, which is mostly free: a wait until a past instant tries that first.
template <typename Call, typename TimedOut>
auto take_in_slices(clockid_t source, const timespec *instant, const Call &call, const TimedOut &timed_out)
{
    constexpr timespec past = {};
    if (!is_followed(source))
        return call(instant);
    const int kept = errno;
    const auto result = call(&past);
    if (!timed_out(result))
        return result;
    errno = kept;
    return wait_in_slices(source, instant, call, timed_out);
}

} // namespace sim
