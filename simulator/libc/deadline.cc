#include "simulator/libc/deadline.h"

#include "simulator/libc/reading.h"
#include "simulator/process/clock_ids.h"
#include "simulator/process/intervals.h"
#include "simulator/process/own_clock.h"
#include "simulator/process/own_course.h"
#include "simulator/raw/memory.h"

namespace sim
{

// Copies a valid instant, since another thread may write it meanwhile.
static bool read_instant(const timespec *given, timespec &instant)
{
    if (given == nullptr || !is_readable(given))
        return false;
    instant = {__atomic_load_n(&given->tv_sec, __ATOMIC_RELAXED), __atomic_load_n(&given->tv_nsec, __ATOMIC_RELAXED)};
    return instant.tv_sec >= 0 && instant.tv_nsec >= 0 && instant.tv_nsec < ZYNOV_SECOND;
}

const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real)
{
    ClockRate rate;
    IntervalRate interval_rate;
    timespec awaited;
    const bool is_interval = interval_ids.has(source);
    if (is_interval ? !own_interval_rate(interval_rate) : !waited_ids.has(source) || !own_clock(rate))
        return instant;
    if (!read_instant(instant, awaited))
        return instant;
    const int64_t ahead = seconds_ahead(source);
    real = is_interval ? interval_rate.real_instant(source, awaited)
                       : rate.when({awaited.tv_sec - ahead, awaited.tv_nsec}, real_time());
    if (__builtin_add_overflow(real.tv_sec, ahead, &real.tv_sec))
        real.tv_sec = INT64_MAX;
    if (real.tv_sec == 0 && real.tv_nsec == 0)
        real.tv_nsec = 1; // a timer would take the epoch for "never"
    return &real;
}

const timespec *real_length(const timespec *length, timespec &real)
{
    IntervalRate interval_rate;
    timespec given;
    if (!own_interval_rate(interval_rate) || !read_instant(length, given))
        return length;
    real = interval_rate.real_length(given);
    return &real;
}

void show_left(timespec &left)
{
    IntervalRate interval_rate;
    if (own_interval_rate(interval_rate))
        left = interval_rate.shown_length(left);
}

static bool are_intervals_followed()
{
    return table_generation() != nullptr && intervals_by_clock.load(std::memory_order_relaxed);
}

bool is_followed(clockid_t source)
{
    return source == CLOCK_MONOTONIC ? are_intervals_followed()
                                     : waited_ids.has(source) && table_generation() != nullptr;
}

bool Deadline::begin(clockid_t source, const timespec *instant)
{
    if (!is_followed(source) || !read_instant(instant, awaited_))
        return false;
    kernel_clock_ = source == CLOCK_MONOTONIC ? CLOCK_MONOTONIC : CLOCK_REALTIME;
    awaited_.tv_sec -= seconds_ahead(source);
    generation_ = table_generation()->load(std::memory_order_acquire);
    has_clock_ = own_clock(rate_);
    compute();
    return true;
}

static timespec interval_now()
{
    timespec now;
    return read_interval_clock(CLOCK_MONOTONIC, now) ? now : real_time(CLOCK_MONOTONIC);
}

bool Deadline::begin_length(const timespec *length)
{
    timespec given;
    if (!are_intervals_followed() || !read_instant(length, given))
        return false;
    timespec end = later(interval_now(), given.tv_nsec);
    if (__builtin_add_overflow(end.tv_sec, given.tv_sec, &end.tv_sec))
        end.tv_sec = INT64_MAX;
    return begin(CLOCK_MONOTONIC, &end);
}

void Deadline::compute()
{
    IntervalRate interval_rate;
    if (kernel_clock_ == CLOCK_MONOTONIC)
        real_ = own_interval_rate(interval_rate) ? interval_rate.real_instant(CLOCK_MONOTONIC, awaited_) : awaited_;
    else
        real_ = has_clock_ ? rate_.when(awaited_, real_time()) : awaited_;
    if (real_.tv_sec < 0) // CLOCK_TAI's first seconds
        real_ = {};
}

timespec Deadline::now() const
{
    return real_time(kernel_clock_);
}

timespec Deadline::within(int64_t nanoseconds) const
{
    const timespec instant = later(now(), nanoseconds);
    return is_before(real_, instant) ? real_ : instant;
}

timespec Deadline::next_look() const
{
    constexpr int64_t seldom = 900'000'000;
    return has_clock_ && may_end_unannounced() ? within(seldom) : real_;
}

void Deadline::renew()
{
    ClockRate rate;
    generation_ = table_generation()->load(std::memory_order_acquire);
    const bool has_clock = own_clock(rate);
    if (kernel_clock_ == CLOCK_REALTIME && has_clock == has_clock_ && (!has_clock || rate == rate_))
        return;
    has_clock_ = has_clock;
    rate_ = rate;
    compute();
}

timespec Deadline::left() const
{
    return length_between(interval_now(), awaited_);
}

const uint32_t *Deadline::futex() const
{
    return reinterpret_cast<const uint32_t *>(table_generation()); // little-endian, as all that this runs on
}

} // namespace sim
