// The preloaded side of the clocks: what a process that has one is told when it asks for the time. A reading
// makes no system call, takes no lock and searches nothing unless a clock has come or gone since the last.
#include "simulator/clocks.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/timeb.h>
#include <unistd.h>

#include <cstdlib>

#include "base/errno_guard.h"
#include "simulator/next.h"
#include "simulator/small_file.h"
#include "simulator/state.h"

namespace sim
{

static constinit Next<int(clockid_t, timespec *)> next_clock_gettime("clock_gettime");
static constinit Next<int(timeval *, void *)> next_gettimeofday("gettimeofday");
static constinit Next<time_t(time_t *)> next_time("time");
static constinit Next<int(timespec *, int)> next_timespec_get("timespec_get");

// Set up once, before main: the table, or null for real time only, and the container of this process.
static std::atomic<const Table *> attached;
static uint64_t container_id;

// Counts the changes of this process's identity: by fork and the set*id calls.
static std::atomic<uint64_t> identity_version;

// What a thread knows of the clock that its process lives by, and when it found out.
struct Knowledge {
    uint64_t generation, identity;
    bool lives_by_clock;
    Pace pace;

    bool holds(uint64_t present_generation) const
    {
        return generation == present_generation && identity == identity_version.load(std::memory_order_acquire);
    }
};

// In the thread's own memory, where a reading needs no protection from others. No generation is ever UINT64_MAX.
static thread_local constinit Knowledge known __attribute__((tls_model("initial-exec"))) = {UINT64_MAX, 0, false, {}};
static thread_local constinit bool learning __attribute__((tls_model("initial-exec"))) = false;
static thread_local constinit uint64_t lessons __attribute__((tls_model("initial-exec"))) = 0;

// Walks through the table for the clock of this process: its own, else its user's, else its group's.
static bool search_clock(const Table &clocks, Clock &clock)
{
    const int64_t owners[] = {getpid(), geteuid(), getegid()};
    constexpr uint64_t kinds[] = {process_kind, user_kind, group_kind};
    size_t rank = 3;
    for (const Slot &slot : clocks.slots) {
        const Clock candidate = slot.load();
        for (size_t better = 0; better < rank; ++better) {
            if (candidate.kind() != kinds[better] || candidate.id != owners[better] ||
                candidate.container_id != container_id)
                continue;
            if (better == 0 && candidate.birth != process_birth("/proc/self/stat"))
                continue; // left by an earlier process of the same number
            rank = better;
            clock = candidate;
        }
    }
    return rank < 3;
}

// Finds out anew. A change that is under way, or was cut short by the end of who made it, is not remembered.
static Knowledge learn(const Table &clocks)
{
    Knowledge fresh;
    do {
        Clock clock = {};
        fresh.generation = clocks.generation.load(std::memory_order_acquire);
        fresh.identity = identity_version.load(std::memory_order_acquire);
        fresh.lives_by_clock = search_clock(clocks, clock);
        if (fresh.lives_by_clock)
            fresh.pace = Pace(clock);
    } while (!fresh.holds(clocks.generation.load(std::memory_order_relaxed)));
    // A signal handler that comes in between asks for itself, and remembers nothing.
    if (fresh.generation % 2 == 0 && !learning) {
        learning = true;
        known.generation = UINT64_MAX;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        known.identity = fresh.identity;
        known.lives_by_clock = fresh.lives_by_clock;
        known.pace = fresh.pace;
        ++lessons;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        known.generation = fresh.generation;
        learning = false;
    }
    return fresh;
}

static inline bool tell(const Knowledge &knowledge, clockid_t source, timespec &time)
{
    if (!knowledge.lives_by_clock)
        return false;
    timespec real;
    next_clock_gettime(source, &real);
    time = knowledge.pace.at(real);
    return true;
}

// The time that this process is to see, from a source of real time; false when that is the real time itself.
static inline bool read_clock(clockid_t source, timespec &time)
{
    const Table *clocks = attached.load(std::memory_order_acquire);
    if (clocks == nullptr)
        return false;
    const uint64_t lesson = lessons;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (known.holds(clocks->generation.load(std::memory_order_acquire))) [[likely]] {
        const bool told = tell(known, source, time);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (lessons == lesson) [[likely]] // no signal handler has learned something else meanwhile
            return told;
    }
    return tell(learn(*clocks), source, time);
}

int read_real_clock(clockid_t clock, timespec *time)
{
    return next_clock_gettime(clock, time);
}

// As the engine reads it, but with nothing left open.
static uint64_t read_container_id()
{
    struct stat marker;
    char line[256];
    if (stat("/.dockerenv", &marker) != 0 || !read_small_file("/etc/hostname", line))
        return 0;
    return strtoull(line, nullptr, 16);
}

static void identity_changed()
{
    identity_version.fetch_add(1, std::memory_order_release);
}

__attribute__((constructor)) static void attach()
{
    ov::ErrnoGuard keep;
    const char *state = getenv(state_variable);
    const int descriptor = state != nullptr ? open(state, O_RDONLY | O_NOFOLLOW | O_CLOEXEC) : -1;
    if (descriptor < 0)
        return;
    container_id = read_container_id();
    next_clock_gettime.get(); // now, since looking for it later may take a lock
    next_gettimeofday.get();
    next_time.get();
    next_timespec_get.get();
    if (flaw_in_state(descriptor) == nullptr && pthread_atfork(nullptr, nullptr, identity_changed) == 0)
        attached.store(map_state(descriptor), std::memory_order_release);
    close(descriptor);
}

} // namespace sim

SIM_INTERPOSED int clock_gettime(clockid_t source, timespec *time) noexcept
{
    const bool virtualised = source == CLOCK_REALTIME || source == CLOCK_REALTIME_COARSE;
    return virtualised && sim::read_clock(source, *time) ? 0 : sim::next_clock_gettime(source, time);
}

// Under a name of its own, since the C library's prototype promises a time that is never null; old programs
// ask for the zone alone.
SIM_INTERPOSED int seen_gettimeofday(timeval *time, void *zone) __asm__("gettimeofday");

SIM_INTERPOSED int seen_gettimeofday(timeval *time, void *zone)
{
    timespec now;
    if (time == nullptr || !sim::read_clock(CLOCK_REALTIME, now))
        return sim::next_gettimeofday(time, zone);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return zone != nullptr ? sim::next_gettimeofday(nullptr, zone) : 0;
}

SIM_INTERPOSED time_t time(time_t *time) noexcept
{
    timespec now;
    if (!sim::read_clock(CLOCK_REALTIME, now))
        return sim::next_time(time);
    if (time != nullptr)
        *time = now.tv_sec;
    return now.tv_sec;
}

SIM_INTERPOSED int timespec_get(timespec *time, int base) noexcept
{
    return base == TIME_UTC && sim::read_clock(CLOCK_REALTIME, *time) ? base : sim::next_timespec_get(time, base);
}

SIM_INTERPOSED int ftime(timeb *time)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, static_cast<unsigned short>(now.tv_nsec / 1'000'000), 0, 0};
    return 0;
}

// The calls after which a process may live by another clock.
#define SIM_CHANGES_IDENTITY(name, parameters, arguments)                                                              \
    SIM_INTERPOSED int name parameters noexcept                                                                        \
    {                                                                                                                  \
        static constinit sim::Next<int parameters> next(#name);                                                        \
        const int result = next arguments;                                                                             \
        sim::identity_changed();                                                                                       \
        return result;                                                                                                 \
    }

SIM_CHANGES_IDENTITY(setuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(seteuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(setreuid, (uid_t real, uid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresuid, (uid_t real, uid_t effective, uid_t saved), (real, effective, saved))
SIM_CHANGES_IDENTITY(setgid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setegid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setregid, (gid_t real, gid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresgid, (gid_t real, gid_t effective, gid_t saved), (real, effective, saved))
