// The clock table of the simulated kernel module, and the module's rules over the 80-byte record. The table
// lies in memory that many processes share. Who changes it holds a lock; who reads it holds none.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <ctime>

#include "kernel/zynov.h"

namespace sim
{

enum Kind : uint64_t { no_kind = 0, user_kind = 1, group_kind = 2, process_kind = 3 };

// One virtual clock. A kind of 0 in its flags marks a free slot.
struct Clock {
    int64_t id;
    uint64_t flags; // as on the wire
    uint64_t container_id;
    int64_t speed;
    int64_t origin;
    int64_t start;        // the clock's value, in seconds since the epoch, ...
    int64_t real_seconds; // ... at this real instant
    int64_t real_nanoseconds;
    int64_t utc_offset; // of the zone in which the clock was added, seconds east: where its midnight lies
    uint64_t birth;     // of a process: tells it from a later one with the same pid

    uint64_t kind() const { return flags & ZYNOV_KIND_MASK; }
    bool rewinds() const { return flags >> ZYNOV_REWIND_SHIFT != 0; }
};

// What a clock shows at real instants, worked out as far as it can be beforehand. Async-signal-safe.
class Pace
{
  public:
    constexpr Pace() = default;
    explicit Pace(const Clock &clock);

    timespec at(const timespec &real) const;

  private:
    int64_t real_seconds_ = 0;
    int64_t real_nanoseconds_ = 0;
    int64_t start_ = 0;
    int64_t multiplier_ = 0;       // 0 when the clock stands still
    uint64_t divisor_ = 1;         // above 1 when it is slow, ...
    uint64_t divisor_inverse_ = 0; // ... with 2^64 divided by it, to save the division
    int64_t utc_offset_ = 0;
    int64_t midnight_ = 0;
    bool rewinds_ = false;
};

// When a process started, in ticks since boot, from its status line (/proc/PID/stat or /proc/self/stat); 0
// when there is no such process. Async-signal-safe.
uint64_t process_birth(const char *status_line);

// A place for one clock. There are two copies of it and a version whose lowest bit names the one that holds:
// a writer fills the other and then counts the version up, so that no reader sees half a clock, and a writer
// that is killed half-way leaves nothing to repair and nobody waiting.
class Slot
{
  public:
    Clock load() const;
    void store(const Clock &clock);

  private:
    static constexpr size_t words = sizeof(Clock) / sizeof(uint64_t);
    using Copy = std::array<std::atomic<uint64_t>, words>;

    std::atomic<uint64_t> version_;
    std::array<Copy, 2> copies_;
};

// What a table begins with, so that no other file is taken for one.
struct Header {
    uint64_t magic = 0x6d69732d766f6e79; // "ynov-sim"
    uint32_t format = 1;
    uint32_t slot_count = capacity;

    static constexpr uint32_t capacity = 1024;

    bool operator==(const Header &) const = default;
};

struct Table {
    static constexpr uint32_t capacity = Header::capacity;

    Header header;
    // Changes whenever a clock comes or goes; odd while that is under way, or when it was cut short.
    std::atomic<uint64_t> generation;
    std::array<Slot, capacity> slots;
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

// Carry out one command at a real instant: one that changes the table, under the lock, or one that only
// looks. Both return 0, or the errno with which the module refuses.
bool changes_table(unsigned long command);
int change_table(Table &table, unsigned long command, const zynov_iov &record, const timespec &real);
int query_table(const Table &table, unsigned long command, zynov_iov &record, const timespec &real);

} // namespace sim
