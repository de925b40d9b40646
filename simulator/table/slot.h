#pragma once

#include <array>
#include <atomic>
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

} // namespace sim
