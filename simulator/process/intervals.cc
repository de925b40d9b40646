#include "simulator/process/intervals.h"

#include "simulator/process/clock_ids.h"
#include "simulator/process/identity.h"
#include "simulator/process/options.h"
#include "simulator/process/own_clock.h"
#include "simulator/process/own_course.h"
#include "simulator/process/sigbus.h"
#include "simulator/raw/signals.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/search.h"

namespace sim
{

// Read when the table is attached, since is_filtered may ask the kernel.
static bool may_call()
{
    return filtered.load(std::memory_order_relaxed) == Filtered::no;
}

static Generation find_timeline(const Table &clocks, Timeline &timeline, Instants &changed)
{
    Generation generation;
    Wait wait(may_call());
    do {
        generation = present_generation(clocks);
        while (generation.table % 2 != 0 && wait.rest())
            generation = present_generation(clocks);
        timeline = search_timeline(clocks, own_identity(), find_own_birth);
        for (size_t i = 0; i < changed.size(); ++i)
            changed[i] = clocks.changed_at[i].load(std::memory_order_acquire);
    } while (generation != present_generation(clocks));
    return generation;
}

// Signals are blocked: a handler of this thread would wait for what it interrupted.
[[gnu::noinline]] static void move_on(const Table &clocks)
{
    const bool may_hold = may_call();
    const SignalMask kept = may_hold ? hold_signals(sigbus_mask()) : 0;
    own_course.move_on([&](Timeline &timeline, Instants &changed) { return find_timeline(clocks, timeline, changed); },
                       [] { return instants_by(real_time); });
    if (may_hold)
        let_signals_through(kept);
}

// Finds out whether the ancestor whose clock this is has ended, which does not change the table.
[[gnu::noinline, gnu::cold]] static void ask_for_lender()
{
    const Timeline present = own_course.load().timeline;
    ClockRate rate;
    if (present.tree == 0)
        return;
    own_clock(rate); // leaves the tree of an ancestor that has ended
    if (search_timeline(*find_table(), own_identity(), find_own_birth).number != present.number)
        own_course.forget();
}

static std::atomic<int64_t> lender_checked_at;

[[gnu::always_inline]] static inline void check_lender(const timespec &real)
{
    constexpr int64_t interval = 10'000'000;
    const int64_t now = real.tv_sec * ZYNOV_SECOND + real.tv_nsec;
    if (now - lender_checked_at.load(std::memory_order_relaxed) < interval) [[likely]]
        return;
    lender_checked_at.store(now, std::memory_order_relaxed);
    ask_for_lender();
}

// Calls `read` with the course until that does not change meanwhile; returns false if intervals are real.
template <typename Read> [[gnu::always_inline]] static inline bool by_course(const Read &read)
{
    const Table *clocks = find_table();
    if (clocks == nullptr || !intervals_by_clock.load(std::memory_order_relaxed))
        return false;
    for (;;) {
        const Generation generation = present_generation(*clocks);
        CourseKeeper::Look look;
        if (!own_course.look(generation, look, may_call)) [[unlikely]] {
            move_on(*clocks);
            continue;
        }
        read(look);
        if (own_course.holds(look) && (look.is_unsure || generation == present_generation(*clocks))) [[likely]]
            return true;
    }
}

// A coarse id would lag by more the faster the clock runs, so it shows the precise time.
[[gnu::noinline]] static bool read_kin(clockid_t source, timespec &time)
{
    return by_course([&](const CourseKeeper::Look &look) {
        const size_t place = place_of(source);
        if (!look.is_virtual)
            next_clock_gettime(source, &time);
        else if (place == 0)
            time = look.monotonic.at(real_time(CLOCK_MONOTONIC));
        else
            time = own_course.load().timeline.rate(place).at(real_time(interval_sources[place]));
    });
}

bool read_interval_clock(clockid_t source, timespec &time)
{
    if (source != CLOCK_MONOTONIC)
        return interval_ids.has(source) && read_kin(source, time);
    return by_course([&](const CourseKeeper::Look &look) {
        next_clock_gettime(CLOCK_MONOTONIC, &time);
        if (!look.is_virtual)
            return;
        check_lender(time);
        time = look.monotonic.at(time);
    });
}

Timeline own_timeline()
{
    Timeline timeline = real_timeline;
    timespec unused = {};
    read_interval_clock(CLOCK_MONOTONIC, unused); // leaves the course of an ancestor that has ended
    by_course([&](const CourseKeeper::Look &look) {
        timeline = look.is_virtual ? own_course.load().timeline : real_timeline;
    });
    return timeline;
}

bool own_interval_rate(IntervalRate &interval_rate)
{
    const Timeline timeline = own_timeline();
    interval_rate = IntervalRate(timeline);
    return timeline.speed != 1 || timeline.shown != timeline.real;
}

// A clock that starts at the epoch shows how long the length lasts.
static ClockRate rate_of_lengths(const Timeline &timeline)
{
    return ClockRate(zynov_clock{{0, 0}, {0, 0}, timeline.speed, 0, 0});
}

timespec IntervalRate::real_length(const timespec &length) const
{
    constexpr long shortest = 1000;
    timespec real = rate_of_lengths(timeline_).when(length, {});
    if (real.tv_sec == 0 && real.tv_nsec < shortest && (length.tv_sec != 0 || length.tv_nsec != 0))
        real.tv_nsec = shortest;
    return real;
}

timespec IntervalRate::shown_length(const timespec &real) const
{
    const ClockRate rate = rate_of_lengths(timeline_);
    timespec shown = rate.at(real);
    const timespec back = rate.when(shown, {});
    const bool is_short = back.tv_sec != real.tv_sec ? back.tv_sec < real.tv_sec : back.tv_nsec < real.tv_nsec;
    if (is_short && ++shown.tv_nsec == ZYNOV_SECOND)
        shown = {shown.tv_sec + 1, 0};
    return shown;
}

timespec IntervalRate::real_instant(clockid_t source, const timespec &shown) const
{
    const size_t place = place_of(source);
    return timeline_.rate(place).when(shown, real_time(interval_sources[place]));
}

} // namespace sim
