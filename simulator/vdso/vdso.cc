// Our vDSO: shows the program its clock. Nothing tells it when the program's ids change, so it asks for them again, but
// not at each reading.
#include <fcntl.h>

#include <cstddef>

#include "base/integer.h"
#include "simulator/process/clock_ids.h"
#include "simulator/process/vvar.h"
#include "simulator/raw/pidfd.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/search.h"
#include "simulator/vdso/intervals.h"

namespace sim
{

// Since the epoch; wraps around for absurd times.
static uint64_t nanoseconds(const timespec &real)
{
    return static_cast<uint64_t>(real.tv_sec) * ZYNOV_SECOND + static_cast<uint64_t>(real.tv_nsec);
}

static uint64_t ask_ids(const timespec &real)
{
    VvarCache &cache = vvar_pages.cache;
    const uint64_t ids =
        static_cast<uint64_t>(system_call(SYS_geteuid)) << 32 | static_cast<uint64_t>(system_call(SYS_getegid));
    cache.ids.store(ids, std::memory_order_relaxed);
    cache.asked_at.store(nanoseconds(real), std::memory_order_release);
    return ids;
}

void find_vdso_birth(Identity &who)
{
    const Vvar &vvar = vvar_pages.vvar;
    if (who.process == vvar.process)
        who.birth = vvar.birth;
    else // a child that the program forked
        read_inode(who.process, who.birth);
}

// Whether an ancestor has ended, by its id in the pid namespace where the clock was set. `fully` also compares its
// birth, which takes a descriptor.
static bool has_ended(int64_t pid, uint64_t birth, bool fully)
{
    uint64_t present = birth;
    const bool gone =
        system_call(SYS_kill, pid, 0) == -ESRCH || (fully && read_inode(pid, present) == 0 && present != birth);
    struct stat file = {};
    return gone && system_call(SYS_newfstatat, AT_FDCWD, "/proc/self/ns/pid", &file, 0) == 0 &&
           file.st_ino == vvar_pages.vvar.pid_namespace;
}

Identity vdso_identity(int64_t process, uint64_t ids)
{
    const Vvar &vvar = vvar_pages.vvar;
    Identity who = {
        process,   static_cast<int32_t>(ids >> 32), static_cast<int32_t>(ids), vvar.pid_namespace, 0, vvar.container_id,
        vvar.trees};
    if (process == vvar.process)
        return who;
    // What the program forks lives in the tree that the program began itself, too.
    Identity program = who;
    program.process = vvar.process;
    for (Tree &tree : who.trees)
        if (tree.number == 0) {
            tree = Tree::of(own_tree(vvar_pages.table, program, find_vdso_birth), 1);
            break;
        }
    return who;
}

Cache::Found search_vdso_clock(Identity &who, Clock &clock)
{
    vvar_pages.cache.lender.store(0, std::memory_order_relaxed);
    for (;;) {
        const Owner owner = search_clock(vvar_pages.table, who, clock, find_vdso_birth);
        if (owner == Owner::nobody)
            return Cache::no_clock;
        if (owner != Owner::ancestor || clock.lasts() || clock.pid_namespace != vvar_pages.vvar.pid_namespace)
            return Cache::clock;
        if (!has_ended(clock.id, clock.birth, true)) {
            vvar_pages.cache.lender.store(clock.id, std::memory_order_relaxed);
            vvar_pages.cache.lender_birth.store(clock.birth, std::memory_order_relaxed);
            return Cache::watched_clock;
        }
        for (Tree &tree : who.trees)
            if (tree.number == clock.tree)
                tree = {};
    }
}

bool has_vdso_lender_ended(uint64_t since_asked)
{
    constexpr uint64_t id_holds_for = 100'000'000; // nanoseconds
    const VvarCache &cache = vvar_pages.cache;
    return has_ended(cache.lender.load(std::memory_order_relaxed), cache.lender_birth.load(std::memory_order_relaxed),
                     since_asked >= id_holds_for);
}

__attribute__((noinline)) static Cache::Found look_up(uint64_t ids, ClockRate &rate)
{
    const Table &table = vvar_pages.table;
    VvarCache &cache = vvar_pages.cache;
    const int64_t process = system_call(SYS_getpid);
    if (cache.process.load(std::memory_order_relaxed) == 0)
        cache.process.store(process, std::memory_order_relaxed);
    Identity who = vdso_identity(process, ids);
    Clock clock = {};
    Generation generation;
    Cache::Found found;
    do {
        generation = {table.generation.load(std::memory_order_acquire), ids};
        found = search_vdso_clock(who, clock);
    } while (generation.table != table.generation.load(std::memory_order_acquire));
    rate = ClockRate(clock);
    // A vforked child must leave its parent's memory alone.
    if (process == cache.process.load(std::memory_order_relaxed))
        cache.clock.store(generation, found, rate);
    return found;
}

static uint64_t present_generation()
{
    return vvar_pages.table.generation.load(std::memory_order_acquire);
}

__attribute__((noinline)) static Cache::Found find_anew(const timespec &real, ClockRate &rate)
{
    const uint64_t since_asked = nanoseconds(real) - vvar_pages.cache.asked_at.load(std::memory_order_relaxed);
    const uint64_t ids = ask_ids(real);
    const uint64_t generation = present_generation();
    // An interrupted change has no generation: the result then holds no longer than the ids.
    const Cache::Found found =
        generation % 2 == 0 ? vvar_pages.cache.clock.load({generation, ids}, rate) : Cache::nothing;
    return found == Cache::nothing || (found == Cache::watched_clock && has_vdso_lender_ended(since_asked))
               ? look_up(ids, rate)
               : found;
}

// Finishes a reading of a clock that is rarely used and that the machine may lack.
__attribute__((noinline, cold)) static int make_rare(clockid_t source, timespec &time)
{
    timespec real;
    const auto read = [&real](clockid_t of) {
        vvar_pages.vvar.clock_gettime(of, &real);
        return real;
    };
    time.tv_sec = ov::wrapping_add(time.tv_sec, seconds_ahead(source, read));
    return vvar_pages.vvar.clock_gettime(source, &real);
}

// Everything possible is loaded before the call of the kernel's function, which waits for earlier loads anyway. Coarse
// ids show the precise time: a coarse one would lag by more the faster the clock runs.
int read_vdso_clock(clockid_t source, timespec &time)
{
    const VvarCache &cache = vvar_pages.cache;
    const Vvar &vvar = vvar_pages.vvar;
    ClockRate rate;
    const uint64_t asked_at = cache.asked_at.load(std::memory_order_acquire);
    const uint64_t ids = cache.ids.load(std::memory_order_relaxed);
    Cache::Found found = cache.clock.load({present_generation(), ids}, rate);
    vvar.clock_gettime(CLOCK_REALTIME, &time);
    if (vvar.state[0] == '\0')
        found = Cache::no_clock;
    else if (nanoseconds(time) - asked_at >= ids_hold_for || found == Cache::nothing) [[unlikely]]
        found = find_anew(time, rate);
    if (found == Cache::no_clock)
        return source == CLOCK_REALTIME ? 0 : vvar.clock_gettime(source, &time);
    time = rate.at(time);
    const bool is_rare = source != CLOCK_REALTIME && source != CLOCK_REALTIME_COARSE;
    return is_rare ? make_rare(source, time) : 0;
}

} // namespace sim

#define SIM_VDSO extern "C" __attribute__((visibility("default")))

using sim::vvar_pages;

SIM_VDSO int __vdso_clock_gettime(clockid_t source, timespec *time)
{
    if (vvar_pages.vvar.intervals != 0 && sim::interval_ids.has(source))
        return sim::read_vdso_interval(source, *time);
    return sim::virtual_ids.has(source) ? sim::read_vdso_clock(source, *time)
                                        : vvar_pages.vvar.clock_gettime(source, time);
}

SIM_VDSO int __vdso_gettimeofday(timeval *time, void *zone)
{
    timespec now;
    if (time != nullptr) {
        if (const int error = sim::read_vdso_clock(CLOCK_REALTIME, now))
            return error;
        *time = {now.tv_sec, now.tv_nsec / 1000};
    }
    return zone != nullptr ? vvar_pages.vvar.gettimeofday(nullptr, zone) : 0;
}

SIM_VDSO time_t __vdso_time(time_t *time)
{
    timespec now;
    sim::read_vdso_clock(CLOCK_REALTIME_COARSE, now);
    if (time != nullptr)
        *time = now.tv_sec;
    return now.tv_sec;
}

SIM_VDSO int __vdso_clock_getres(clockid_t source, timespec *resolution)
{
    return vvar_pages.vvar.clock_getres(source, resolution);
}

SIM_VDSO long __vdso_getcpu(unsigned *cpu, unsigned *node, void *unused)
{
    return vvar_pages.vvar.getcpu(cpu, node, unused);
}

// The kernel's vDSO has these names as well.
SIM_VDSO int clock_gettime(clockid_t, timespec *) noexcept __attribute__((alias("__vdso_clock_gettime")));
SIM_VDSO int vdso_gettimeofday(timeval *, void *) __asm__("gettimeofday") __attribute__((alias("__vdso_gettimeofday")));
SIM_VDSO time_t time(time_t *) noexcept __attribute__((alias("__vdso_time")));
SIM_VDSO int clock_getres(clockid_t, timespec *) noexcept __attribute__((alias("__vdso_clock_getres")));
SIM_VDSO long vdso_getcpu(unsigned *, unsigned *, void *) __asm__("getcpu") __attribute__((alias("__vdso_getcpu")));

// Compilers emit calls of these; elsewhere they are the C library's.
extern "C" void *memset(void *memory, int byte, size_t size)
{
    void *end = memory;
    __asm__ volatile("rep stosb" : "+D"(end), "+c"(size) : "a"(byte) : "memory");
    return memory;
}

extern "C" void *memcpy(void *memory, const void *from, size_t size)
{
    void *end = memory;
    __asm__ volatile("rep movsb" : "+D"(end), "+S"(from), "+c"(size) : : "memory");
    return memory;
}
