#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "simulator/table/clock.h"

namespace sim
{

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

inline Clock Slot::load() const
{
    std::array<uint64_t, words> copy;
    uint64_t version;
    do {
        version = version_.load(std::memory_order_acquire);
        if (version == 0) // never used, as are most
            return {};
        for (size_t i = 0; i < words; ++i)
            copy[i] = copies_[version % 2][i].load(std::memory_order_acquire);
    } while (version_.load(std::memory_order_relaxed) != version);
    return std::bit_cast<Clock>(copy);
}

inline void Slot::store(const Clock &clock)
{
    const auto copy = std::bit_cast<std::array<uint64_t, words>>(clock);
    const uint64_t version = version_.load(std::memory_order_relaxed) + 1;
    for (size_t i = 0; i < words; ++i)
        copies_[version % 2][i].store(copy[i], std::memory_order_release);
    version_.store(version, std::memory_order_release);
}

} // namespace sim
