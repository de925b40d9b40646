#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "simulator/table/clock.h"

namespace sim
{

// A slot for one clock. It holds two copies, and the lowest bit of the version selects the valid one. A writer fills
// the other copy and then increments the version: readers never see half a clock, and a writer that is killed leaves
// nothing to repair.
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
        if (version == 0) // never used, as most are
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
