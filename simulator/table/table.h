// The clock table of the simulated module, and the module's rules over the 80-byte record. Processes share the table in
// memory: writers hold a lock, readers none.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <span>

#include "simulator/table/slot.h"

namespace sim
{

// Marks a file as a clock table.
struct Header {
    uint64_t magic = 0x6d69732d766f6e79; // "ynov-sim"
    uint32_t format = 2;
    uint32_t slot_count = capacity;

    static constexpr uint32_t capacity = 1024;

    bool operator==(const Header &) const = default;
};

struct Table {
    static constexpr uint32_t capacity = Header::capacity;

    Header header;
    // Changes with every change of a clock; odd during a change, and after one that was interrupted.
    std::atomic<uint64_t> generation;
    std::atomic<uint64_t> used; // how many slots, from the first, may hold a clock
    std::atomic<uint64_t> boot; // the machine's boot whose processes have clocks here
    std::array<Slot, capacity> slots;

    std::span<const Slot> used_slots() const
    {
        return {slots.data(), std::min<uint64_t>(used.load(std::memory_order_acquire), capacity)};
    }
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

// What adding a clock needs beyond its record. Finding it may take descriptors, locks and memory, so it comes before
// the table is locked.
struct AddContext {
    int64_t utc_offset;
    uint64_t pid_namespace, birth; // of a process
    int error;                     // of finding them
};
AddContext find_add_context(unsigned long command, const zynov_iov &record);

// Deletes the clocks of all processes after a reboot. Call with the lock held.
void begin_boot(Table &table, uint64_t boot);

// Run one command at a real instant: change_table with the lock held, query_table without. Both return 0, or the
// module's errno.
bool changes_table(unsigned long command);
int change_table(Table &table, unsigned long command, const zynov_iov &record, const timespec &real,
                 const AddContext &context);
int query_table(const Table &table, unsigned long command, zynov_iov &record, const timespec &real);

} // namespace sim
