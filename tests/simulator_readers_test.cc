// Readers of the table and of the cache, while others write.
#include <gtest/gtest.h>

#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <csignal>
#include <functional>
#include <thread>

#include "simulator/process/cache.h"
#include "simulator/table/slot.h"

using namespace sim;

// A writer without a pause, and a reader of all words.
TEST(Simulator, ShowsReadersNoHalfOfAClock)
{
    Slot slot = {};
    std::atomic<bool> writing = true;
    std::thread writer([&] {
        for (int64_t n = 0; n < 1000000; ++n) {
            std::array<int64_t, sizeof(Clock) / 8> words;
            words.fill(n);
            slot.store(std::bit_cast<Clock>(words));
        }
        writing = false;
    });
    int torn = 0;
    while (writing) {
        const auto words = std::bit_cast<std::array<int64_t, sizeof(Clock) / 8>>(slot.load());
        torn += std::adjacent_find(words.begin(), words.end(), std::not_equal_to()) != words.end();
    }
    writer.join();
    EXPECT_EQ(torn, 0);
}

// Threads and a signal handler read while others write: each result is whole and of the reader's generation.
static Cache cache;
static std::atomic<uint64_t> generation;
static std::atomic<int> odd, found;

static void read_as_of_now()
{
    const uint64_t now = generation.load();
    ClockRate rate;
    const Cache::Found in_cache = cache.load({now, 7}, rate);
    const int64_t start_of_now = static_cast<int64_t>(now) * 86400;
    const auto is_whole = [&] {
        const timespec shown = rate.at({start_of_now, 0});
        return shown.tv_sec == start_of_now && shown.tv_nsec == 0;
    };
    if (in_cache == Cache::clock) {
        ++found;
        odd += now % 3 == 0 || !is_whole();
    } else if (in_cache == Cache::no_clock) {
        odd += now % 3 != 0;
    } else {
        const Clock clock = {.flags = 0x10, .speed = 60, .start = start_of_now, .real_seconds = start_of_now};
        cache.store({now, 7}, now % 3 == 0 ? Cache::no_clock : Cache::clock, ClockRate(clock));
    }
}

TEST(Simulator, CachesOneClockForThreadsAndSignalHandlers)
{
    ClockRate rate;
    EXPECT_EQ(cache.load({0, 0}, rate), Cache::nothing);
    signal(SIGPROF, [](int) {
        for (int turn = 0; turn < 5; ++turn)
            ++generation, read_as_of_now();
    });
    const itimerval often = {{0, 50}, {0, 50}}, never = {};
    setitimer(ITIMER_PROF, &often, nullptr);
    const auto read_on = [] {
        for (int turn = 0; turn < 2000000; ++turn)
            generation += turn % 16 == 0, read_as_of_now();
    };
    std::thread other(read_on);
    read_on();
    other.join();
    setitimer(ITIMER_PROF, &never, nullptr);
    EXPECT_EQ(odd, 0);
    EXPECT_GT(found, 0);
    read_as_of_now();
    read_as_of_now();
    EXPECT_NE(cache.load({generation.load(), 7}, rate), Cache::nothing); // no writer has left it locked
    EXPECT_EQ(cache.load({generation.load(), 8}, rate), Cache::nothing);
}
