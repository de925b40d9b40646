// The preloaded side of the clocks: what a process that has one is told when it asks for the time. A reading
// makes no system call, takes no lock and searches nothing unless a clock has come or gone since the last.
#include "simulator/clocks.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/timeb.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "base/errno_guard.h"
#include "base/integer.h"
#include "simulator/next.h"
#include "simulator/small_file.h"
#include "simulator/state.h"

namespace sim
{

static constinit Next<int(clockid_t, timespec *)> next_clock_gettime("clock_gettime");
static constinit Next<int(timeval *, void *)> next_gettimeofday("gettimeofday");
static constinit Next<time_t(time_t *)> next_time("time");
static constinit Next<int(timespec *, int)> next_timespec_get("timespec_get");

// The table, once it was looked for; no_table() where there is none, and only real time.
static std::atomic<const Table *> attached = nullptr;
alignas(Table) static constinit const char nothing = 0;
static const Table *no_table()
{
    return reinterpret_cast<const Table *>(&nothing);
}

// What a process knows of itself from its start, or from the fork that made it. What has to be read from a file is
// read then, since later it may not be there.
static uint64_t container_id;
static pid_t own_pid;
static uint64_t own_birth;

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

// In the thread's own memory, where a reading needs no protection from other threads, but some from signal handlers
// that read the time in between: each lesson is written to a place of its own, which stays as it is for some more.
struct Memory {
    static constexpr uint64_t places = 4;

    uint64_t lessons_begun, last_lesson;
    std::array<Knowledge, places> lessons;

    bool remembers(uint64_t lesson) const
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        return lessons_begun - lesson < places;
    }
};
static thread_local constinit Memory memory
    __attribute__((tls_model("initial-exec"))) = {0, 0, {{{UINT64_MAX, 0, false, {}}}}}; // a generation that never is

// Walks through the table for the clock of this process: its own, else its user's, else its group's.
static bool search_clock(const Table &clocks, pid_t pid, Clock &clock)
{
    const int64_t owners[] = {pid, ov::low_32(geteuid()), ov::low_32(getegid())};
    constexpr uint64_t kinds[] = {process_kind, user_kind, group_kind};
    size_t rank = 3;
    for (const Slot &slot : clocks.slots) {
        const Clock candidate = slot.load();
        for (size_t better = 0; better < rank; ++better) {
            if (candidate.kind() != kinds[better] || candidate.id != owners[better] ||
                candidate.container_id != container_id)
                continue;
            if (better == 0 && candidate.birth != (pid == own_pid ? own_birth : process_birth("/proc/self/stat")))
                continue; // left by an earlier process of the same number
            rank = better;
            clock = candidate;
        }
    }
    return rank < 3;
}

// Finds out anew. Nothing is remembered of a change that is under way, or was cut short by the end of who made it
// (until the next change, each reading then walks the table), nor by a child that runs in its parent's memory.
static Knowledge learn(const Table &clocks)
{
    const pid_t pid = getpid();
    Knowledge fresh;
    do {
        Clock clock = {};
        fresh.generation = clocks.generation.load(std::memory_order_acquire);
        fresh.identity = identity_version.load(std::memory_order_acquire);
        fresh.lives_by_clock = search_clock(clocks, pid, clock);
        if (fresh.lives_by_clock)
            fresh.pace = Pace(clock);
    } while (!fresh.holds(clocks.generation.load(std::memory_order_relaxed)));
    if (fresh.generation % 2 == 0 && pid == own_pid) {
        const uint64_t lesson = ++memory.lessons_begun;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        memory.lessons[lesson % Memory::places] = fresh;
        if (memory.remembers(lesson))
            memory.last_lesson = lesson;
    }
    return fresh;
}

timespec real_time()
{
    timespec real;
    next_clock_gettime(CLOCK_REALTIME, &real);
    return real;
}

static void identity_changed()
{
    identity_version.fetch_add(1, std::memory_order_release);
}

static void know_oneself()
{
    own_pid = getpid();
    own_birth = process_birth("/proc/self/stat");
    identity_changed();
}

// As the engine reads it, but with nothing left open.
static uint64_t read_container_id()
{
    struct stat marker;
    char line[256];
    if (stat("/.dockerenv", &marker) != 0 || !read_small_file("/etc/hostname", line))
        return 0;
    line[strcspn(line, "\n")] = '\0';
    return strtoull(line, nullptr, 16);
}

// Usually before main; earlier when a library of the program asks for the time as it is loaded.
__attribute__((constructor)) static void attach()
{
    if (attached.load(std::memory_order_acquire) != nullptr)
        return;
    ov::ErrnoGuard keep;
    next_clock_gettime.get(); // now, since looking for it later may take a lock
    next_gettimeofday.get();
    next_time.get();
    next_timespec_get.get();
    const Table *table = nullptr;
    const char *state = getenv(state_variable);
    const int descriptor = state != nullptr ? open(state, O_RDONLY | O_NOFOLLOW | O_CLOEXEC) : -1;
    if (descriptor >= 0) {
        container_id = read_container_id();
        know_oneself();
        if (flaw_in_state(descriptor) == nullptr && pthread_atfork(nullptr, nullptr, know_oneself) == 0)
            table = map_state(descriptor);
        close(descriptor);
    }
    attached.store(table != nullptr ? table : no_table(), std::memory_order_release);
}

static inline bool tell(const Knowledge &knowledge, timespec &time)
{
    if (knowledge.lives_by_clock)
        time = knowledge.pace.at(real_time());
    return knowledge.lives_by_clock;
}

// The time that this process is to see; false when that is the real time.
static inline bool read_clock(timespec &time)
{
    const Table *clocks = attached.load(std::memory_order_acquire);
    if (clocks == nullptr) [[unlikely]] {
        attach();
        clocks = attached.load(std::memory_order_acquire);
    }
    if (clocks == no_table())
        return false;
    const uint64_t lesson = memory.last_lesson;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const Knowledge &known = memory.lessons[lesson % Memory::places];
    if (known.holds(clocks->generation.load(std::memory_order_acquire))) [[likely]] {
        const bool told = tell(known, time);
        if (memory.remembers(lesson)) [[likely]]
            return told;
    }
    return tell(learn(*clocks), time);
}

} // namespace sim

SIM_INTERPOSED int clock_gettime(clockid_t source, timespec *time) noexcept
{
    const bool virtualised = source == CLOCK_REALTIME || source == CLOCK_REALTIME_COARSE;
    return virtualised && sim::read_clock(*time) ? 0 : sim::next_clock_gettime(source, time);
}

// Under a name of its own, since the C library's prototype promises a time that is never null; old programs
// ask for the zone alone.
SIM_INTERPOSED int seen_gettimeofday(timeval *time, void *zone) __asm__("gettimeofday");

SIM_INTERPOSED int seen_gettimeofday(timeval *time, void *zone)
{
    timespec now;
    if (time == nullptr || !sim::read_clock(now))
        return sim::next_gettimeofday(time, zone);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return zone != nullptr ? sim::next_gettimeofday(nullptr, zone) : 0;
}

SIM_INTERPOSED int __gettimeofday(timeval *, void *) __attribute__((alias("gettimeofday")));

SIM_INTERPOSED time_t time(time_t *time) noexcept
{
    timespec now;
    if (!sim::read_clock(now))
        return sim::next_time(time);
    if (time != nullptr)
        *time = now.tv_sec;
    return now.tv_sec;
}

SIM_INTERPOSED int timespec_get(timespec *time, int base) noexcept
{
    return base == TIME_UTC && sim::read_clock(*time) ? base : sim::next_timespec_get(time, base);
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
