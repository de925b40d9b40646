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
}

static const Table *open_table(const char *state)
{
    refresh_container(); // first, since it takes a descriptor
    refresh_identity();
    const int descriptor = open_state(state, O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    const Table *found = pthread_atfork(nullptr, nullptr, reset_after_fork) == 0 ? attach_state(descriptor) : nullptr;
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
        found = search_clock(clocks, own_identity(), clock, find_own_birth) ? Cache::clock : Cache::no_clock;
    } while (generation != present_generation(clocks));
    rate = ClockRate(clock);
    (generation.table % 2 == 0 ? cache : unsure).store(generation, found, rate);
    if (under_way)
        unsure_at.store(now, std::memory_order_release);
    return found;
}

[[gnu::always_inline]] static inline bool find_rate(ClockRate &rate)
{
    const Table *clocks = find_table();
    if (clocks == nullptr)
        return false;
    Cache::Found found = cache.load(present_generation(*clocks), rate);
    if (found == Cache::nothing)
        found = look_up(*clocks, rate);
    return found == Cache::clock;
}

bool own_clock(ClockRate &rate)
{
    return find_rate(rate);
}

const std::atomic<uint64_t> *table_generation()
{
    const Table *clocks = find_table();
    return clocks != nullptr ? &clocks->generation : nullptr;
}

bool read_clock(timespec &time)
{
    ClockRate rate;
    const bool has_clock = find_rate(rate);
    if (has_clock)
        time = rate.at(real_time());
    return has_clock;
}

bool read_coarse_clock(timespec &time)
{
    ClockRate rate;
    const bool has_clock = find_rate(rate);
    if (has_clock) {
        timespec real = real_time(rate.may_be_coarse() ? CLOCK_REALTIME_COARSE : CLOCK_REALTIME);
        if (rate.began_after(real)) [[unlikely]]
            real = real_time();
        time = rate.at(real);
    }
    return has_clock;
}

} // namespace sim
