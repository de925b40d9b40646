#include "simulator/table/slot.h"

#include <bit>

namespace sim
{

Clock Slot::load() const
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

void Slot::store(const Clock &clock)
{
    const auto copy = std::bit_cast<std::array<uint64_t, words>>(clock);
    const uint64_t version = version_.load(std::memory_order_relaxed) + 1;
    for (size_t i = 0; i < words; ++i)
        copies_[version % 2][i].store(copy[i], std::memory_order_release);
    version_.store(version, std::memory_order_release);
}

} // namespace sim
