// A cache of this process's clock, shared by its threads and signal handlers.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <utility>

#include "simulator/table/clock.h"

namespace sim
{

// A lookup's result is valid while neither of these changes.
struct Generation {
    uint64_t table, identity;

    bool operator==(const Generation &) const = default;
};

// A sequence lock whose writers do not wait: a writer that finds another at work, perhaps one that it interrupted as a
// signal handler, drops its result. An odd sequence is a write in progress. A handler that leaves a write by siglongjmp
// makes later readings slower, not wrong.
class Cache
{
  public:
    // The result of a lookup: no clock, the rate of a clock, or of one that is watched since it may end unannounced, or
    // nothing cached.
    enum Found : uint64_t { no_clock, clock, watched_clock, nothing };

    // The result cached for a generation. The rate is set only if there is a clock.
    Found load(const Generation &wanted, ClockRate &rate) const;
    void store(const Generation &generation, Found found, const ClockRate &rate);

    // Call in a forked child: a thread of the parent may have been writing, and does not exist in the child.
    void end_write() { sequence_.store(0, std::memory_order_release); }

  private:
    static constexpr size_t rate_words = sizeof(ClockRate) / sizeof(uint64_t);
    using RateWords = std::array<uint64_t, rate_words>;

    std::atomic<uint64_t> sequence_ = 0;
    std::atomic<uint64_t> table_ = UINT64_MAX, identity_ = 0; // no generation
    std::atomic<uint64_t> found_ = no_clock;
    std::array<std::atomic<uint64_t>, rate_words> rate_ = {};
};

[[gnu::always_inline]] inline Cache::Found Cache::load(const Generation &wanted, ClockRate &rate) const
{
    const uint64_t sequence = sequence_.load(std::memory_order_acquire);
    if (table_.load(std::memory_order_acquire) != wanted.table ||
        identity_.load(std::memory_order_acquire) != wanted.identity)
        return nothing;
    const auto found = static_cast<Found>(found_.load(std::memory_order_acquire));
    if (found != no_clock) {
        // Unrolled, so that no word goes through memory.
        [&]<size_t... i>(std::index_sequence<i...>)
        {
            rate = std::bit_cast<ClockRate>(RateWords{rate_[i].load(std::memory_order_acquire)...});
        }
        (std::make_index_sequence<rate_words>());
    }
    return sequence % 2 == 0 && sequence_.load(std::memory_order_relaxed) == sequence ? found : nothing;
}

inline void Cache::store(const Generation &generation, Found found, const ClockRate &rate)
{
    uint64_t sequence = sequence_.load(std::memory_order_relaxed);
    if (sequence % 2 != 0 || !sequence_.compare_exchange_strong(sequence, sequence + 1, std::memory_order_acquire))
        return;
    table_.store(generation.table, std::memory_order_release);
    identity_.store(generation.identity, std::memory_order_release);
    found_.store(found, std::memory_order_release);
    const auto words = std::bit_cast<RateWords>(rate);
    for (size_t i = 0; i < rate_words; ++i)
        rate_[i].store(words[i], std::memory_order_release);
    sequence_.store(sequence + 2, std::memory_order_release);
}

} // namespace sim
