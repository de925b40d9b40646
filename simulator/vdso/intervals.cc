#include "simulator/vdso/intervals.h"

#include "simulator/process/clock_ids.h"
#include "simulator/process/vvar.h"
#include "simulator/raw/signals.h"
#include "simulator/raw/system_call.h"

namespace sim
{

// Depends on the ids and the process: a forked child has its parent's course until it looks up its own.
static Generation present()
{
    const VvarCache &cache = vvar_pages.cache;
    const auto process = static_cast<uint64_t>(cache.process.load(std::memory_order_relaxed));
    return {vvar_pages.table.generation.load(std::memory_order_acquire),
            cache.ids.load(std::memory_order_acquire) ^ process * 0x9e3779b97f4a7c15};
}

static Generation find_timeline(Timeline &timeline, Instants &changed)
{
    const Table &table = vvar_pages.table;
    Generation generation;
    Wait wait(true);
    do {
        generation = present();
        while (generation.table % 2 != 0 && wait.rest())
            generation = present();
        Identity who = vdso_identity(vvar_pages.cache.process.load(std::memory_order_relaxed),
                                     vvar_pages.cache.ids.load(std::memory_order_relaxed));
        Clock clock = {};
        search_vdso_clock(who, clock);
        timeline = search_timeline(table, who, find_vdso_birth);
        for (size_t i = 0; i < changed.size(); ++i)
            changed[i] = table.changed_at[i].load(std::memory_order_acquire);
    } while (generation != present());
    return generation;
}

static timespec read_kernel(clockid_t source)
{
    timespec time = {};
    vvar_pages.vvar.clock_gettime(source, &time);
    return time;
}

static bool may_call()
{
    return true;
}

// Asks for the ids and the lender, and looks the course up if they have changed.
[[gnu::noinline]] static void move_on(uint64_t now)
{
    VvarCache &cache = vvar_pages.cache;
    int64_t none = 0;
    if (cache.process.compare_exchange_strong(none, system_call(SYS_getpid), std::memory_order_relaxed))
        vvar_pages.course.end_move();
    cache.ids.store(static_cast<uint64_t>(system_call(SYS_geteuid)) << 32 |
                        static_cast<uint64_t>(system_call(SYS_getegid)),
                    std::memory_order_release);
    const uint64_t since_asked = now - cache.asked_at_monotonic.exchange(now, std::memory_order_acq_rel);
    CourseKeeper::Look look;
    if (vvar_pages.course.look(present(), look, may_call) && !has_vdso_lender_ended(since_asked))
        return;
    const SignalsHeld held; // a handler would wait for what it interrupted
    vvar_pages.course.move_on(find_timeline, [] { return instants_by(read_kernel); });
}

int read_vdso_interval(clockid_t source, timespec &time)
{
    const Vvar &vvar = vvar_pages.vvar;
    CourseKeeper &course = vvar_pages.course;
    const size_t place = place_of(source);
    if (vvar.state[0] == '\0')
        return vvar.clock_gettime(source, &time);
    for (;;) {
        const Generation generation = present();
        const uint64_t asked_at = vvar_pages.cache.asked_at_monotonic.load(std::memory_order_acquire);
        CourseKeeper::Look look;
        const bool found = course.look(generation, look, may_call);
        timespec now;
        vvar.clock_gettime(CLOCK_MONOTONIC, &now);
        const auto nanoseconds = static_cast<uint64_t>(to_nanoseconds(now));
        if (!found || nanoseconds - asked_at >= ids_hold_for) [[unlikely]] {
            move_on(nanoseconds);
            continue;
        }
        int result = 0;
        if (!look.is_virtual)
            result = source == CLOCK_MONOTONIC ? 0 : vvar.clock_gettime(source, &now);
        else
            now = place == 0 ? look.monotonic.at(now)
                             : course.load().timeline.rate(place).at(read_kernel(interval_sources[place]));
        if (course.holds(look) && (look.is_unsure || generation == present())) [[likely]] {
            time = now;
            return result;
        }
    }
}

} // namespace sim
