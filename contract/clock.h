/* SPDX-License-Identifier: GPL-2.0 */
/*
 * What a virtual clock shows at a real instant, and when it will show a given one. The library, the simulator, its vDSO
 * and the kernel module all compile this file: integers only, no library, for 64-bit machines. A clock may hold any
 * bytes: it may then show an odd time, but the result is always defined.
 */
#ifndef ZYNOV_CLOCK_H
#define ZYNOV_CLOCK_H

#ifdef __KERNEL__
#include <linux/types.h>
#else
#include <stdint.h>
#endif

/* The values a clock may be set to, in seconds since the epoch. */
#define ZYNOV_EARLIEST_CLOCK 32400
#define ZYNOV_LATEST_CLOCK 253402329599

#define ZYNOV_FASTEST 1000 /* a clock of a higher speed stands still */

#define ZYNOV_SECOND 1000000000 /* in nanoseconds */
#define ZYNOV_TICK 10000000     /* the longest that a kernel has, in nanoseconds */
#define ZYNOV_DAY 86400         /* in seconds */

#define ZYNOV_END_OF_TIME 0x7fffffffffffffff /* in seconds */
#define ZYNOV_START_OF_TIME (-ZYNOV_END_OF_TIME - 1)

__extension__ typedef unsigned __int128 zynov_wide;

/* The nanoseconds are 0 to 999999999, also in what callers of the functions below pass. */
struct zynov_instant {
    int64_t seconds;
    int64_t nanoseconds;
};

/* A clock as it was set. */
struct zynov_clock {
    struct zynov_instant start; /* what it shows ... */
    struct zynov_instant real;  /* ... at this real instant */
    int64_t speed;              /* the low 32 bits count: 0 and above 1000 stand still, -1 is as 1 */
    int64_t utc_offset;         /* where the midnight of a rewinding clock is, in seconds east of UTC */
    int rewinds;
};

/*
 * A clock, prepared for readings. Each step of a reading needs the result of the one before, so there are few: two
 * products, two sums and a division by a constant.
 *
 * The sum of (seconds, nanoseconds) and the real time times the multiplier is what the clock shows or, of a slow one,
 * the real time since it was set. The seconds may stand for a number below 0.
 */
struct zynov_rate {
    uint64_t seconds;
    uint64_t nanoseconds;
    uint64_t multiplier; /* 0 when it stands still */
    uint64_t divisor;    /* above 1 when it is slow */
    uint64_t inverse;    /* 2^(64 + shift) / divisor, rounded up: multiplying by it is faster than dividing 64 bits */
    uint64_t shift;
    struct zynov_instant start;
    struct zynov_instant real;
    int64_t midnight; /* of the day that it started on */
    int32_t utc_offset;
    int32_t rewinds;
};

/* Rounds towards minus infinity. The divisor is positive. */
static inline int64_t zynov_floor_div(int64_t value, int64_t divisor)
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

static inline int64_t zynov_floor_mod(int64_t value, int64_t divisor)
{
    return value % divisor + (value % divisor < 0 ? divisor : 0);
}

/* Sums that wrap around where signed ones would be undefined. */
static inline int64_t zynov_sum(int64_t a, int64_t b)
{
    return (int64_t)((uint64_t)a + (uint64_t)b);
}

static inline int64_t zynov_difference(int64_t a, int64_t b)
{
    return (int64_t)((uint64_t)a - (uint64_t)b);
}

/* The instant so many seconds and nanoseconds, of either sign, after another one. */
static inline struct zynov_instant zynov_later(struct zynov_instant instant, int64_t seconds, int64_t nanoseconds)
{
    nanoseconds = zynov_sum(nanoseconds, instant.nanoseconds);
    instant.seconds = zynov_sum(instant.seconds, seconds);
    instant.seconds = zynov_sum(instant.seconds, zynov_floor_div(nanoseconds, ZYNOV_SECOND));
    instant.nanoseconds = zynov_floor_mod(nanoseconds, ZYNOV_SECOND);
    return instant;
}

static inline int zynov_is_before(struct zynov_instant one, struct zynov_instant other)
{
    return one.seconds != other.seconds ? one.seconds < other.seconds : one.nanoseconds < other.nanoseconds;
}

static inline int64_t zynov_time_of_day(int64_t seconds, int64_t utc_offset)
{
    return zynov_floor_mod(zynov_sum(seconds, utc_offset), ZYNOV_DAY);
}

/*
 * 2^(64 + shift) / divisor, rounded up, in two digits of 32 bits. The divisor is above 2^shift, and at most twice that:
 * the product with any 63 bits is then so near that the bits above 64 + shift are the quotient.
 */
static inline uint64_t zynov_inverse(uint64_t divisor, uint64_t shift)
{
    const uint64_t power = (uint64_t)1 << (32 + shift);

    return (power / divisor << 32) + (power % divisor << 32) / divisor + 1;
}

static inline struct zynov_rate zynov_rate_of(const struct zynov_clock *clock)
{
    const int64_t speed = (int32_t)clock->speed;
    struct zynov_rate rate;
    int64_t nanoseconds, seconds;

    rate.multiplier = speed == 0 || speed > ZYNOV_FASTEST ? 0 : speed > 0 ? (uint64_t)speed : 1;
    rate.divisor = speed < -1 ? (uint64_t)-speed : 1;
    rate.shift = rate.divisor > 2 ? 63 - (uint64_t)__builtin_clzll(rate.divisor - 1) : 0;
    rate.inverse = zynov_inverse(rate.divisor, rate.shift);
    rate.start = clock->start;
    rate.real = clock->real;
    rate.rewinds = clock->rewinds != 0;
    rate.utc_offset = (int32_t)clock->utc_offset;
    rate.midnight = zynov_difference(clock->start.seconds, zynov_time_of_day(clock->start.seconds, rate.utc_offset));

    /* Counted from the epoch, not from the instant at which it was set, so that a reading adds nothing negative. */
    nanoseconds = (int64_t)(0 - (uint64_t)clock->real.nanoseconds * rate.multiplier);
    seconds = (int64_t)(0 - (uint64_t)clock->real.seconds * rate.multiplier);
    if (rate.divisor == 1) {
        nanoseconds = zynov_sum(nanoseconds, clock->start.nanoseconds);
        seconds = zynov_sum(seconds, clock->start.seconds);
    }
    rate.nanoseconds = (uint64_t)zynov_floor_mod(nanoseconds, ZYNOV_SECOND);
    rate.seconds = (uint64_t)zynov_sum(seconds, zynov_floor_div(nanoseconds, ZYNOV_SECOND));
    return rate;
}

/* Converts the real time since a slow clock was set into what it shows. The nanoseconds may exceed a second. */
static inline void zynov_slow_down(const struct zynov_rate *rate, uint64_t *seconds, uint64_t *nanoseconds)
{
    const uint64_t elapsed = *seconds * ZYNOV_SECOND + *nanoseconds;

    *seconds = (uint64_t)rate->start.seconds;
    if ((int64_t)elapsed >= 0) {
        *nanoseconds = (uint64_t)((zynov_wide)elapsed * rate->inverse >> 64) >> rate->shift;
    } else { /* the real time went back */
        const int64_t shown = zynov_floor_div((int64_t)elapsed, (int64_t)rate->divisor);

        *seconds += (uint64_t)zynov_floor_div(shown, ZYNOV_SECOND);
        *nanoseconds = (uint64_t)zynov_floor_mod(shown, ZYNOV_SECOND);
    }
    *nanoseconds += (uint64_t)rate->start.nanoseconds;
}

/* What the clock shows at a real instant. */
static inline struct zynov_instant zynov_shown(const struct zynov_rate *rate, struct zynov_instant real)
{
    uint64_t seconds = rate->seconds + (uint64_t)real.seconds * rate->multiplier;
    uint64_t nanoseconds = rate->nanoseconds + (uint64_t)real.nanoseconds * rate->multiplier;
    struct zynov_instant shown;

    if (rate->divisor > 1)
        zynov_slow_down(rate, &seconds, &nanoseconds);
    seconds += nanoseconds / ZYNOV_SECOND;
    shown.seconds = (int64_t)seconds;
    shown.nanoseconds = (int64_t)(nanoseconds % ZYNOV_SECOND);
    if (rate->rewinds)
        shown.seconds = zynov_sum(rate->midnight, zynov_time_of_day(shown.seconds, rate->utc_offset));
    return shown;
}

static inline int64_t zynov_saturating_sum(int64_t a, int64_t b)
{
    int64_t sum;

    return __builtin_add_overflow(a, b, &sum) ? (a < 0 ? ZYNOV_START_OF_TIME : ZYNOV_END_OF_TIME) : sum;
}

static inline int64_t zynov_saturating_difference(int64_t a, int64_t b)
{
    int64_t difference;

    return __builtin_sub_overflow(a, b, &difference) ? (a < 0 ? ZYNOV_START_OF_TIME : ZYNOV_END_OF_TIME) : difference;
}

/*
 * The real instant at which a wait ends that begins at the real instant `now` and lasts until the clock shows
 * `awaited`: the first at which it does, or one before `now`. A frozen or rewinding clock may never show it. The wait
 * then lasts for the distance from what the clock shows now, as if a frozen clock ran at the real speed and a rewinding
 * one went on into the next day. The answer is never before the epoch.
 */
static inline struct zynov_instant zynov_real_end(const struct zynov_rate *rate, struct zynov_instant awaited,
                                                  struct zynov_instant now)
{
    const struct zynov_instant present = zynov_shown(rate, now);
    const int64_t multiplier = (int64_t)rate->multiplier, divisor = (int64_t)rate->divisor;
    int64_t seconds = zynov_saturating_difference(awaited.seconds, present.seconds);
    int64_t nanoseconds = awaited.nanoseconds - present.nanoseconds;
    struct zynov_instant end = {0, 0};

    if (multiplier > 1) { /* what is left of a second counts, and is rounded up */
        nanoseconds += zynov_floor_mod(seconds, multiplier) * ZYNOV_SECOND;
        nanoseconds = -zynov_floor_div(-nanoseconds, multiplier);
        seconds = zynov_floor_div(seconds, multiplier);
    } else if (divisor > 1) { /* below 2^31 * 10^9 */
        nanoseconds *= divisor;
        if (__builtin_mul_overflow(seconds, divisor, &seconds))
            seconds = awaited.seconds < present.seconds ? ZYNOV_START_OF_TIME : ZYNOV_END_OF_TIME;
    }
    nanoseconds = zynov_sum(nanoseconds, now.nanoseconds);
    seconds = zynov_saturating_sum(seconds, now.seconds);
    seconds = zynov_saturating_sum(seconds, zynov_floor_div(nanoseconds, ZYNOV_SECOND));
    if (seconds >= 0) {
        end.seconds = seconds;
        end.nanoseconds = zynov_floor_mod(nanoseconds, ZYNOV_SECOND);
    }
    return end;
}

/*
 * Converts real file times to shown ones, and back.
 *
 * The order of files stays, and a file that has not changed since the clock was set keeps its real time. A clock that
 * was set ahead leaves a gap between those times and what it has shown since: a time set in the gap is stored as one
 * before 1970. A clock that was set back would show older files in its future: the stretch of real time before its
 * start, twice as long as it was set back, is shown at half its length. A file that changes just after the clock is set
 * may have a time from before, since the kernel uses the time of its last tick.
 */
static inline struct zynov_instant zynov_turn(const struct zynov_rate *rate)
{
    return zynov_later(rate->start, zynov_difference(rate->start.seconds, rate->real.seconds),
                       zynov_difference(rate->start.nanoseconds, rate->real.nanoseconds));
}

static inline struct zynov_instant zynov_file_shown(const struct zynov_rate *rate, struct zynov_instant real)
{
    const struct zynov_instant turn = zynov_turn(rate);
    int64_t seconds;

    if (!zynov_is_before(zynov_later(real, 0, ZYNOV_TICK), rate->real))
        return zynov_shown(rate, zynov_is_before(real, rate->real) ? rate->real : real);
    if (!zynov_is_before(rate->start, rate->real)) {
        const struct zynov_instant in_gap = zynov_later(rate->start, real.seconds, real.nanoseconds);

        return real.seconds < 0 && !zynov_is_before(in_gap, rate->real) ? in_gap : real;
    }
    if (!zynov_is_before(turn, real))
        return real;
    seconds = zynov_difference(real.seconds, turn.seconds);
    return zynov_later(
        turn, zynov_floor_div(seconds, 2),
        zynov_floor_div(zynov_floor_mod(seconds, 2) * ZYNOV_SECOND + real.nanoseconds - turn.nanoseconds, 2));
}

static inline struct zynov_instant zynov_file_kept(const struct zynov_rate *rate, struct zynov_instant shown)
{
    const struct zynov_instant turn = zynov_turn(rate);

    if (!zynov_is_before(shown, rate->start))
        return zynov_real_end(rate, shown, rate->real);
    if (!zynov_is_before(rate->start, rate->real))
        return zynov_is_before(shown, rate->real) ? shown
                                                  : zynov_later(shown, zynov_difference(0, rate->start.seconds),
                                                                zynov_difference(0, rate->start.nanoseconds));
    if (!zynov_is_before(turn, shown))
        return shown;
    return zynov_later(shown, zynov_difference(shown.seconds, turn.seconds), shown.nanoseconds - turn.nanoseconds);
}

#endif
