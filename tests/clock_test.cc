// What a clock shows, against plain arithmetic in 128 bits.
#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "contract/clock.h"

static constexpr int64_t real_start = 1800000000, start = 1924419600;

static __int128 whole(const zynov_instant &instant)
{
    return __int128{instant.seconds} * ZYNOV_SECOND + instant.nanoseconds;
}

static zynov_instant instant_of(__int128 nanoseconds)
{
    return {static_cast<int64_t>(nanoseconds / ZYNOV_SECOND), static_cast<int64_t>(nanoseconds % ZYNOV_SECOND)};
}

class ClockTest : public testing::Test
{
  protected:
    zynov_clock clock = {};
    zynov_rate rate = {};
    zynov_instant real = {};
    bool still = false;

    int64_t any(int64_t range) { return static_cast<int64_t>(random_() % static_cast<uint64_t>(range)); }

    // Runs a check on a clock of each speed, set at any nanosecond, at any real instant before and after that.
    template <typename Check> void sweep(const Check &check)
    {
        static const int speeds[] = {1, -1, 0, 1001, 2, 60, 1000, -2, -60, -1000, -999, INT_MAX, INT_MIN};
        for (int round = 0; round < 200000 && !HasFatalFailure(); ++round) {
            clock = {.start = {start, round % 2 == 0 ? any(ZYNOV_SECOND) : 0},
                     .real = {real_start, any(ZYNOV_SECOND)},
                     .speed = speeds[any(13)],
                     .utc_offset = 3600 * (any(27) - 12),
                     .rewinds = 0};
            rate = zynov_rate_of(&clock);
            real = {real_start + (round % 8 == 0 ? 0 : any(3000000) - 1000), any(ZYNOV_SECOND)};
            still = clock.speed == 0 || clock.speed > ZYNOV_FASTEST;
            check();
        }
    }

  private:
    std::mt19937_64 random_{1};
};

TEST_F(ClockTest, RunsAtItsSpeed)
{
    sweep([&] {
        real.seconds += any(2) * any(9000000000); // nearly all that 63 bits of nanoseconds hold
        const __int128 elapsed = whole(real) - whole(clock.real);
        const int64_t slowness = clock.speed < 0 ? -clock.speed : 1;
        __int128 moved = still ? 0 : clock.speed > 0 ? elapsed * clock.speed : elapsed / slowness;
        moved -= elapsed < 0 && elapsed % slowness != 0 ? 1 : 0;
        const zynov_instant shown = zynov_shown(&rate, real);
        ASSERT_TRUE(whole(shown) - whole(clock.start) == moved) << clock.speed;
        ASSERT_GE(shown.nanoseconds, 0);
        ASSERT_LT(shown.nanoseconds, ZYNOV_SECOND);
    });
}

TEST_F(ClockTest, KeepsItsDateWhenItRewinds)
{
    sweep([&] {
        const int64_t onward = zynov_shown(&rate, real).seconds;
        clock.rewinds = 1;
        rate = zynov_rate_of(&clock);
        const int64_t rewound = zynov_shown(&rate, real).seconds;
        ASSERT_EQ((rewound - onward) % ZYNOV_DAY, 0);
        ASSERT_EQ((rewound + clock.utc_offset) / ZYNOV_DAY, (start + clock.utc_offset) / ZYNOV_DAY);
    });
}

// When the clock shows the instant; for a frozen clock, after the distance.
TEST_F(ClockTest, EndsWaits)
{
    sweep([&] {
        const zynov_instant shown = zynov_shown(&rate, real);
        const int64_t ahead = clock.speed < -1000 ? any(2) : any(3000) - 1000;
        const zynov_instant awaited = {shown.seconds + ahead, any(ZYNOV_SECOND)};
        const auto is_over = [&](__int128 when) {
            const zynov_instant then = instant_of(when);
            return still ? when - whole(real) >= whole(awaited) - whole(shown)
                         : whole(zynov_shown(&rate, then)) >= whole(awaited);
        };
        const __int128 end = whole(zynov_real_end(&rate, awaited, real));
        const __int128 step = clock.speed < -1 ? -__int128{clock.speed} : 1;
        ASSERT_TRUE(is_over(end)) << clock.speed;
        ASSERT_TRUE(end < step || !is_over(end - step)) << clock.speed;
        ASSERT_EQ(zynov_real_end(&rate, {INT64_MIN, 0}, real).seconds, 0);
        const zynov_instant early = {0, real.nanoseconds};
        ASSERT_TRUE(whole(zynov_real_end(&rate, zynov_shown(&rate, early), early)) == whole(early));
        ASSERT_GE(zynov_real_end(&rate, {INT64_MAX, 999999999}, real).seconds, INT64_MAX / 1000);
    });
}

// The order of files stays, a time that was set is shown, and files older than the clock keep their times: by a clock
// that was set ahead, and by one that was set back an hour.
TEST_F(ClockTest, ShowsFilesInOrder)
{
    sweep([&] {
        for (const int64_t set : {clock.real.seconds, start + 3600}) {
            clock.real.seconds = set;
            rate = zynov_rate_of(&clock);
            const zynov_instant older = {set - 20000 + any(40000), any(ZYNOV_SECOND)};
            const zynov_instant newer = instant_of(whole(older) + any(100) * ZYNOV_SECOND + any(100));
            const zynov_instant shown = zynov_file_shown(&rate, older);
            ASSERT_GE(whole(zynov_file_shown(&rate, newer)), whole(shown)) << clock.speed;
            ASSERT_TRUE(whole(zynov_file_shown(&rate, zynov_file_kept(&rate, shown))) == whole(shown)) << clock.speed;
            const zynov_instant ticked = instant_of(whole(clock.real) - any(ZYNOV_TICK + 1));
            ASSERT_TRUE(whole(zynov_file_shown(&rate, ticked)) == whole(clock.start));
            const zynov_instant before = {start - 1 - any(20000), older.nanoseconds};
            const zynov_instant kept = zynov_file_kept(&rate, before);
            ASSERT_TRUE(whole(zynov_file_shown(&rate, kept)) == whole(before)) << clock.speed;
            ASSERT_TRUE(older.seconds >= std::min(set, start - 3601) || whole(shown) == whole(older));
        }
    });
}
