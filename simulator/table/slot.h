#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "simulator/table/clock.h"

namespace sim
{

// A slot for one record. It holds two copies, and the lowest bit of the version selects the valid one. A writer fills
// the other copy and then increments the version: readers never see half a record, and a writer that is killed leaves
// nothing to repair.
template <typename Record> class Versioned
{
  public:
    Record load() const;
    void store(const Record &record);

    // Whether the record's first word is this one: for searches by the writer, who need not load whole records.
    bool begins_with(uint64_t word) const
    {
        const uint64_t version = version_.load(std::memory_order_relaxed);
        return version != 0 && copies_[version % 2][0].load(std::memory_order_relaxed) == word;
    }

  private:
    static constexpr size_t words = sizeof(Record) / sizeof(uint64_t);
    using Copy = std::array<std::atomic<uint64_t>, words>;

    std::atomic<uint64_t> version_;
    std::array<Copy, 2> copies_;
};

template <typename Record> Record Versioned<Record>::load() const
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
    return std::bit_cast<Record>(copy);
}

template <typename Record> void Versioned<Record>::store(const Record &record)
{
    const auto copy = std::bit_cast<std::array<uint64_t, words>>(record);
    const uint64_t version = version_.load(std::memory_order_relaxed) + 1;
    for (size_t i = 0; i < words; ++i)
        copies_[version % 2][i].store(copy[i], std::memory_order_release);
    version_.store(version, std::memory_order_release);
}

using Slot = Versioned<Clock>;

} // namespace sim
