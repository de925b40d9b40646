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
#include "simulator/process/course.h"
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

// Threads read the time of one process, which comes from a fast timeline to slow ones. Every fourth turn is that of a
// table whose writer was interrupted: what is read by it counts, however long before that the change is said to be.
static constinit CourseKeeper course = {};
static std::atomic<uint64_t> turn;
static Instants born;
static std::atomic<int64_t> latest, interrupted_at;

static Generation present()
{
    const uint64_t now = turn.load();
    return {now % 4 == 3 ? 7u : 6u, now};
}

static Generation find_timeline(Timeline &timeline, Instants &changed)
{
    constexpr int64_t speeds[] = {60, -4, 1, 1000};
    Generation found;
    do {
        found = present();
        timeline.number = found.identity % 4 + 1;
        timeline.speed = speeds[found.identity % 4];
        timeline.real = timeline.shown = born;
        changed = read_instants();
        if (found.identity % 4 == 0)
            changed[0] = interrupted_at;
    } while (found != present());
    return found;
}

static int64_t read_by_course()
{
    for (;;) {
        const Generation generation = present();
        CourseKeeper::Look look;
        if (!course.look(generation, look, [] { return true; })) {
            course.move_on(find_timeline, read_instants);
            continue;
        }
        timespec time = {};
        clock_gettime(CLOCK_MONOTONIC, &time);
        if (look.is_virtual)
            time = look.monotonic.at(time);
        if (course.holds(look) && (look.is_unsure || generation == present()))
            return to_nanoseconds(time);
    }
}

TEST(Simulator, NeverShowsMonotonicTimeGoBack)
{
    born = read_instants();
    std::atomic<int> back = 0;
    const auto read_on = [&](bool changes) {
        for (int reading = 0; reading < 200000; ++reading) {
            const int64_t before = latest.load(), now = read_by_course();
            back += now < before;
            for (int64_t known = before; known < now && !latest.compare_exchange_weak(known, now);)
                ;
            if (changes && reading % 16 == 0 && ++turn % 4 == 3)
                interrupted_at = read_instants()[0];
        }
    };
    std::thread one(read_on, false), other(read_on, false);
    read_on(true);
    one.join();
    other.join();
    EXPECT_EQ(back, 0);
    // Who comes to a timeline that is ahead is no more ahead of that.
    const Timeline before = {.number = 1, .shown = {9}}, ahead = {.number = 2, .shown = {20}};
    EXPECT_EQ(next_course({{8, 0}, 1, {}, before, {9}}, ahead, {8, 0}, {}, false).ahead[0], 0);
}
