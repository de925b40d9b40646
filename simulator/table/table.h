// The clock table of the simulated module. Processes share it in memory: writers hold a lock, readers none.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <span>

#include "simulator/table/slot.h"
#include "simulator/table/timeline.h"

namespace sim
{

// Marks a file as a clock table.
struct Header {
    uint64_t magic = 0x6d69732d766f6e79; // "ynov-sim"
    uint32_t format = 4;
    uint32_t slot_count = capacity;

    static constexpr uint32_t capacity = 1024;

    bool operator==(const Header &) const = default;
};

struct Table {
    static constexpr uint32_t capacity = Header::capacity;

    Header header;
    // Changes with every change of a clock; odd during a change, and after one that was interrupted. Its low half is a
    // futex, woken after each change.
    std::atomic<uint64_t> generation;
    std::atomic<uint64_t> used;  // how many slots, from the first, may hold a clock
    std::atomic<uint64_t> boot;  // the machine's boot whose processes have clocks here
    std::atomic<uint64_t> trees; // the last number given to a tree
    std::array<Slot, capacity> slots;

    // As above, for the timelines, which only those read whose intervals go by their clock.
    std::array<std::atomic<int64_t>, interval_sources.size()> changed_at; // the instants of the last change
    std::atomic<uint64_t> timelines_used, timelines_begun;
    std::array<Versioned<Timeline>, capacity> timelines;

    std::span<const Slot> used_slots() const
    {
        return {slots.data(), std::min<uint64_t>(used.load(std::memory_order_acquire), capacity)};
    }
    std::span<const Versioned<Timeline>> used_timelines() const
    {
        return {timelines.data(), std::min<uint64_t>(timelines_used.load(std::memory_order_acquire), capacity)};
    }
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

} // namespace sim
