#include "simulator/table/clock.h"

#include "base/integer.h"

namespace sim
{

__extension__ typedef unsigned __int128 Wide;

constexpr int64_t nanoseconds_per_second = 1'000'000'000;
constexpr int64_t seconds_per_day = 86400;

static int64_t time_of_day(int64_t instant, int64_t utc_offset)
{
    return ov::floor_mod(ov::wrapping_add(instant, utc_offset), seconds_per_day);
}

// A table that somebody scribbled in may hold anything, so no sum in here may be undefined.
Pace::Pace(const Clock &clock)
    : utc_offset_(clock.utc_offset),
      midnight_(ov::wrapping_sub(clock.start, time_of_day(clock.start, clock.utc_offset))), rewinds_(clock.rewinds()),
      start_(clock.start), real_seconds_(clock.real_seconds), real_nanoseconds_(clock.real_nanoseconds)
{
    const int64_t speed = ov::low_32(clock.speed);
    multiplier_ = speed == 0 || speed > ZYNOV_FASTEST ? 0 : speed > 0 ? speed : 1;
    divisor_ = speed < -1 ? static_cast<uint64_t>(-speed) : 1;
    divisor_inverse_ = UINT64_MAX / divisor_;
    // Back from the instant at which it was set, so that what is added at a reading is never negative.
    const int64_t nanoseconds = ov::wrapping_sub(0, ov::wrapping_mul(real_nanoseconds_, multiplier_));
    nanoseconds_ = static_cast<uint64_t>(ov::floor_mod(nanoseconds, nanoseconds_per_second));
    const int64_t seconds = ov::wrapping_sub(ov::floor_div(nanoseconds, nanoseconds_per_second),
                                             ov::wrapping_mul(real_seconds_, multiplier_));
    seconds_ = static_cast<uint64_t>(divisor_ > 1 ? seconds : ov::wrapping_add(start_, seconds));
}

// From what has really passed since the clock was set to what it shows.
[[gnu::always_inline]] inline void Pace::slow_down(uint64_t &seconds, uint64_t &nanoseconds) const
{
    const uint64_t elapsed = seconds * nanoseconds_per_second + nanoseconds;
    seconds = static_cast<uint64_t>(start_);
    if (static_cast<int64_t>(elapsed) >= 0) { // the product with the inverse falls short by one at the most
        const auto quotient = static_cast<uint64_t>(static_cast<Wide>(elapsed) * divisor_inverse_ >> 64);
        nanoseconds = quotient + (elapsed - quotient * divisor_ >= divisor_ ? 1 : 0);
    } else { // the real time went back
        const int64_t shown = ov::floor_div(static_cast<int64_t>(elapsed), static_cast<int64_t>(divisor_));
        seconds += static_cast<uint64_t>(ov::floor_div(shown, nanoseconds_per_second));
        nanoseconds = static_cast<uint64_t>(ov::floor_mod(shown, nanoseconds_per_second));
    }
}

timespec Pace::at(const timespec &real) const
{
    uint64_t seconds = seconds_ + static_cast<uint64_t>(ov::wrapping_mul(real.tv_sec, multiplier_));
    uint64_t nanoseconds = nanoseconds_ + static_cast<uint64_t>(ov::wrapping_mul(real.tv_nsec, multiplier_));
    if (divisor_ > 1)
        slow_down(seconds, nanoseconds);
    seconds += nanoseconds / nanoseconds_per_second;
    auto shown = static_cast<int64_t>(seconds);
    if (rewinds_)
        shown = ov::wrapping_add(midnight_, time_of_day(shown, utc_offset_));
    return {shown, static_cast<int64_t>(nanoseconds % nanoseconds_per_second)};
}

static int64_t saturating_sub(int64_t a, int64_t b)
{
    int64_t difference;
    return __builtin_sub_overflow(a, b, &difference) ? (a < 0 ? INT64_MIN : INT64_MAX) : difference;
}

static int64_t saturating_add(int64_t a, int64_t b)
{
    int64_t sum;
    return __builtin_add_overflow(a, b, &sum) ? (a < 0 ? INT64_MIN : INT64_MAX) : sum;
}

timespec Pace::when(const timespec &shown, const timespec &now) const
{
    const timespec present = at(now);
    int64_t seconds = saturating_sub(shown.tv_sec, present.tv_sec);
    int64_t nanoseconds = shown.tv_nsec - present.tv_nsec;
    if (multiplier_ > 1) { // what is left of a second counts, and is rounded up
        nanoseconds += ov::floor_mod(seconds, multiplier_) * nanoseconds_per_second;
        nanoseconds = -ov::floor_div(-nanoseconds, multiplier_);
        seconds = ov::floor_div(seconds, multiplier_);
    } else if (divisor_ > 1) { // below 2^31 * 10^9
        const auto divisor = static_cast<int64_t>(divisor_);
        nanoseconds *= divisor;
        if (__builtin_mul_overflow(seconds, divisor, &seconds))
            seconds = shown.tv_sec < present.tv_sec ? INT64_MIN : INT64_MAX;
    }
    nanoseconds = ov::wrapping_add(nanoseconds, now.tv_nsec);
    seconds = saturating_add(seconds, now.tv_sec);
    seconds = saturating_add(seconds, ov::floor_div(nanoseconds, nanoseconds_per_second));
    return seconds < 0 ? timespec{0, 0} : timespec{seconds, ov::floor_mod(nanoseconds, nanoseconds_per_second)};
}

static timespec move(const timespec &instant, int64_t seconds, int64_t nanoseconds)
{
    nanoseconds = ov::wrapping_add(nanoseconds, instant.tv_nsec);
    seconds =
        ov::wrapping_add(ov::wrapping_add(instant.tv_sec, seconds), ov::floor_div(nanoseconds, nanoseconds_per_second));
    return {seconds, ov::floor_mod(nanoseconds, nanoseconds_per_second)};
}

timespec Pace::of_file(const timespec &real) const
{
    const bool before = real.tv_sec != real_seconds_ ? real.tv_sec < real_seconds_ : real.tv_nsec < real_nanoseconds_;
    return before ? move(real, ov::wrapping_sub(start_, real_seconds_), ov::wrapping_sub(0, real_nanoseconds_))
                  : at(real);
}

timespec Pace::to_file(const timespec &shown) const
{
    return shown.tv_sec < start_ ? move(shown, ov::wrapping_sub(real_seconds_, start_), real_nanoseconds_)
                                 : when(shown, {real_seconds_, real_nanoseconds_});
}

} // namespace sim
