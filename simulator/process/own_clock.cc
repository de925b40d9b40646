#include "simulator/process/own_clock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/auxv.h>

#include <cstdlib>

#include "base/errno_guard.h"
#include "simulator/process/cache.h"
#include "simulator/process/identity.h"
#include "simulator/process/options.h"
#include "simulator/process/own_course.h"
#include "simulator/process/sigbus.h"
#include "simulator/process/trees.h"
#include "simulator/process/vvar.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/mapping.h"
#include "simulator/table/search.h"
#include "simulator/table/state.h"

namespace sim
{

SIM_NEXT_EARLY(clock_gettime, SYS_clock_gettime, int(clockid_t, timespec *));

// Null if there is no table, or before attach.
static std::atomic<const Table *> attached_table;
static std::atomic<bool> attached;

static Cache cache;

// The result of a lookup during a change of the table, and its time.
static Cache unsure;
static std::atomic<int64_t> unsure_at = -1;

// Set if this program's vDSO is ours, as in Go programs: the C library's own functions then show virtual time, too.
static std::atomic<const Vvar *> own_vvar;

timespec real_time(clockid_t source)
{
    timespec real = {}; // if the call fails, the epoch
    if (const Vvar *in_front = own_vvar.load(std::memory_order_relaxed)) [[unlikely]]
        in_front->clock_gettime(source, &real);
    else
        next_clock_gettime(source, &real);
    return real;
}

void reset_after_fork()
{
    cache.end_write();
    unsure.end_write();
    own_course.end_move();
    inherit_identity();
    descend();
}

// The table's generation for which this process's own tree is known.
static std::atomic<uint64_t> tree_known_at = UINT64_MAX;

void before_child()
{
    const Table *table = attached_table.load(std::memory_order_acquire);
    if (table == nullptr)
        return;
    const uint64_t generation = table->generation.load(std::memory_order_acquire);
    if (generation == tree_known_at.load(std::memory_order_relaxed))
        return;
    if (const uint64_t own = own_tree(*table, own_identity(), find_own_birth))
        enter_tree(own);
    refresh_membership(*table);
    if (generation % 2 == 0)
        tree_known_at.store(generation, std::memory_order_relaxed);
}

static const Table *open_table(const char *state)
{
    refresh_container(); // first, since it takes a descriptor
    refresh_identity();
    const int descriptor = open_state(state, O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    begin_trees();
    const Table *found =
        pthread_atfork(before_child, nullptr, reset_after_fork) == 0 ? attach_state(descriptor) : nullptr;
    if (found != nullptr)
        begin_membership(*found, descriptor);
    system_call(SYS_close, descriptor);
    if (found != nullptr)
        handle_sigbus();
    return found;
}

// Runs before main, or earlier if a library asks for the time while it is loaded.
__attribute__((constructor, cold)) static void attach()
{
    if (attached.load(std::memory_order_acquire) || !is_relocated())
        return;
    ov::ErrnoGuard keep;
    own_vvar.store(find_vvar(getauxval(AT_SYSINFO_EHDR)), std::memory_order_relaxed);
    const char *state = getenv(state_variable);
    if (state != nullptr)
        attached_table.store(open_table(state), std::memory_order_release);
    intervals_by_clock.store(attached_table.load(std::memory_order_relaxed) != nullptr &&
                                 read_choices(getenv(choices_variable)).intervals,
                             std::memory_order_relaxed);
    attached.store(true, std::memory_order_release);
}

const Table *find_table()
{
    const Table *found = attached_table.load(std::memory_order_acquire);
    if (found == nullptr && !attached.load(std::memory_order_acquire)) [[unlikely]] {
        attach();
        found = attached_table.load(std::memory_order_acquire);
    }
    return found;
}

Generation present_generation(const Table &clocks)
{
    return {clocks.generation.load(std::memory_order_acquire), identity_version()};
}

static int64_t coarse_instant()
{
    const timespec now = real_time(CLOCK_MONOTONIC_COARSE);
    return now.tv_sec * ZYNOV_SECOND + now.tv_nsec;
}

static Cache::Found search(const Table &clocks, Clock &clock)
{
    for (;;) {
        const Owner owner = search_clock(clocks, own_identity(), clock, find_own_birth);
        const Lender lender = owner == Owner::ancestor ? watch_lender(clock) : Lender::lasting;
        if (lender == Lender::ended)
            leave_tree(clock.tree);
        else
            return owner == Owner::nobody    ? Cache::no_clock
                   : lender == Lender::alive ? Cache::watched_clock
                                             : Cache::clock;
    }
}

// Searches the table. A change in progress, or an interrupted one, has no generation to cache under: the result then
// holds until the coarse clock advances, since searching a full table takes as long as a hundred readings.
__attribute__((noinline)) static Cache::Found look_up(const Table &clocks, ClockRate &rate)
{
    Generation generation = present_generation(clocks);
    const bool under_way = generation.table % 2 != 0;
    const int64_t now = under_way ? coarse_instant() : 0;
    Cache::Found found =
        under_way && unsure_at.load(std::memory_order_acquire) == now ? unsure.load(generation, rate) : Cache::nothing;
    if (found != Cache::nothing)
        return found;
    Clock clock = {};
    do {
        generation = present_generation(clocks);
        found = search(clocks, clock);
    } while (generation != present_generation(clocks));
    rate = ClockRate(clock);
    (generation.table % 2 == 0 ? cache : unsure).store(generation, found, rate);
    if (under_way)
        unsure_at.store(now, std::memory_order_release);
    return found;
}

[[gnu::always_inline]] static inline Cache::Found find_rate(ClockRate &rate)
{
    const Table *clocks = find_table();
    if (clocks == nullptr)
        return Cache::no_clock;
    const Cache::Found found = cache.load(present_generation(*clocks), rate);
    return found == Cache::nothing ? look_up(*clocks, rate) : found;
}

// Looks for another clock if the ancestor has ended.
__attribute__((noinline, cold)) static Cache::Found ask_for_lender(const timespec &real, ClockRate &rate)
{
    return has_lender_ended(real) ? look_up(*attached_table.load(std::memory_order_acquire), rate)
                                  : Cache::watched_clock;
}

[[gnu::always_inline]] static inline bool still_holds(Cache::Found found, const timespec &real, ClockRate &rate)
{
    if (found == Cache::watched_clock && is_lender_due(real)) [[unlikely]]
        found = ask_for_lender(real, rate);
    return found != Cache::no_clock;
}

bool own_clock(ClockRate &rate)
{
    const Cache::Found found = find_rate(rate);
    return found == Cache::watched_clock ? still_holds(found, real_time(), rate) : found == Cache::clock;
}

bool may_end_unannounced()
{
    ClockRate rate;
    return find_rate(rate) == Cache::watched_clock;
}

const std::atomic<uint64_t> *table_generation()
{
    const Table *clocks = find_table();
    return clocks != nullptr ? &clocks->generation : nullptr;
}

bool read_clock(timespec &time)
{
    ClockRate rate;
    const Cache::Found found = find_rate(rate);
    if (found == Cache::no_clock)
        return false;
    const timespec real = real_time();
    if (!still_holds(found, real, rate))
        return false;
    time = rate.at(real);
    return true;
}

bool read_coarse_clock(timespec &time)
{
    ClockRate rate;
    const Cache::Found found = find_rate(rate);
    if (found == Cache::no_clock)
        return false;
    timespec real = real_time(rate.may_be_coarse() ? CLOCK_REALTIME_COARSE : CLOCK_REALTIME);
    if (!still_holds(found, real, rate))
        return false;
    if (rate.began_after(real)) [[unlikely]]
        real = real_time();
    time = rate.at(real);
    return true;
}

} // namespace sim
