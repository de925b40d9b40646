// Which of the system's clocks show a process its virtual time.
#pragma once

#include <cstdint>
#include <ctime>
#include <initializer_list>

namespace sim
{

class ClockIds
{
  public:
    constexpr ClockIds(std::initializer_list<clockid_t> ids)
    {
        for (const clockid_t id : ids)
            bits_ |= 1u << id;
    }
    constexpr bool has(clockid_t id) const { return id >= 0 && id < 32 && (bits_ >> id & 1) != 0; }

  private:
    uint32_t bits_ = 0;
};

// All other ids count from the start of the machine or of the process.
constexpr ClockIds virtual_ids = {CLOCK_REALTIME, CLOCK_REALTIME_COARSE, CLOCK_REALTIME_ALARM, CLOCK_TAI};
constexpr ClockIds waited_ids = {CLOCK_REALTIME, CLOCK_REALTIME_ALARM, CLOCK_TAI}; // the kernel refuses the coarse one
constexpr ClockIds settable_ids = {CLOCK_REALTIME};
constexpr ClockIds interval_ids = {CLOCK_MONOTONIC, CLOCK_MONOTONIC_COARSE, CLOCK_MONOTONIC_RAW, CLOCK_BOOTTIME,
                                   CLOCK_BOOTTIME_ALARM};
constexpr ClockIds optional_ids = {CLOCK_REALTIME_ALARM}; // missing on a machine without a hardware clock

// By how many seconds a system clock is ahead of CLOCK_REALTIME: only CLOCK_TAI is. Compares readings by the function
// `read` within one second, since a filter may end a program that calls adjtimex.
template <typename Read> int64_t seconds_ahead(clockid_t source, const Read &read)
{
    if (source != CLOCK_TAI)
        return 0;
    timespec before, atomic, after;
    do {
        before = read(CLOCK_REALTIME);
        atomic = read(CLOCK_TAI);
        after = read(CLOCK_REALTIME);
    } while (after.tv_sec != before.tv_sec);
    return atomic.tv_sec - after.tv_sec + (atomic.tv_nsec > after.tv_nsec ? 1 : 0);
}

} // namespace sim
