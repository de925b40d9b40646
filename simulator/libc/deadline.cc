#include "simulator/libc/deadline.h"

#include "simulator/libc/reading.h"
#include "simulator/process/clock_ids.h"
#include "simulator/process/own_clock.h"
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
    timespec awaited;
    if (!waited_ids.has(source) || !own_clock(rate) || !read_instant(instant, awaited))
        return instant;
    const int64_t ahead = seconds_ahead(source);
    real = rate.when({awaited.tv_sec - ahead, awaited.tv_nsec}, real_time());
    if (__builtin_add_overflow(real.tv_sec, ahead, &real.tv_sec))
        real.tv_sec = INT64_MAX;
    if (real.tv_sec == 0 && real.tv_nsec == 0)
        real.tv_nsec = 1; // a timer would take the epoch for "never"
    return &real;
}

bool Deadline::begin(clockid_t source, const timespec *instant)
{
    if (!waited_ids.has(source) || table_generation() == nullptr || !read_instant(instant, awaited_))
        return false;
    awaited_.tv_sec -= seconds_ahead(source);
    generation_ = table_generation()->load(std::memory_order_acquire);
    has_clock_ = own_clock(rate_);
    compute();
    return true;
}

void Deadline::compute()
{
    real_ = has_clock_ ? rate_.when(awaited_, real_time()) : awaited_;
    if (real_.tv_sec < 0) // TAI's first seconds
        real_ = {};
}

bool Deadline::has_passed() const
{
    return !is_before(real_time(), real_);
}

bool Deadline::renew()
{
    ClockRate rate;
    const uint64_t generation = table_generation()->load(std::memory_order_acquire);
    if (generation == generation_ && generation % 2 == 0)
        return false;
    generation_ = generation;
    const bool has_clock = own_clock(rate);
    if (has_clock == has_clock_ && (!has_clock || rate == rate_))
        return false;
    has_clock_ = has_clock;
    rate_ = rate;
    compute();
    return true;
}

const uint32_t *Deadline::futex() const
{
    return reinterpret_cast<const uint32_t *>(table_generation()); // little-endian, as all that this runs on
}

} // namespace sim
