#include "simulator/readings/own_clock.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "base/errno_guard.h"
#include "base/integer.h"
#include "simulator/bare/next.h"
#include "simulator/identity/identity.h"
#include "simulator/identity/process.h"
#include "simulator/table/state.h"

namespace sim
{

constinit Next<int(clockid_t, timespec *)> next_clock_gettime("clock_gettime");

// The table, once it was looked for; no_table() where there is none, and only real time.
static std::atomic<const Table *> attached = nullptr;
alignas(Table) static constinit const char nothing = 0;
static const Table *no_table()
{
    return reinterpret_cast<const Table *>(&nothing);
}

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
                candidate.container_id != self.container_id)
                continue;
            if (better == 0 && candidate.birth != (pid == self.pid ? self.birth : process_birth("/proc/self/stat")))
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
    if (fresh.generation % 2 == 0 && pid == self.pid) {
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

// Usually before main; earlier when a library of the program asks for the time as it is loaded.
__attribute__((constructor)) static void attach()
{
    if (attached.load(std::memory_order_acquire) != nullptr)
        return;
    ov::ErrnoGuard keep;
    next_clock_gettime.get(); // now, since looking for it later may take a lock
    const Table *table = nullptr;
    const char *state = getenv(state_variable);
    const int descriptor = state != nullptr ? open(state, O_RDONLY | O_NOFOLLOW | O_CLOEXEC) : -1;
    if (descriptor >= 0) {
        know_container();
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

// The real time, and so nothing, where there is no table.
static const Table *find_table()
{
    const Table *clocks = attached.load(std::memory_order_acquire);
    if (clocks == nullptr) [[unlikely]] {
        attach();
        clocks = attached.load(std::memory_order_acquire);
    }
    return clocks != no_table() ? clocks : nullptr;
}

bool own_clock(Pace &pace)
{
    const Table *clocks = find_table();
    if (clocks == nullptr)
        return false;
    const Knowledge knowledge = learn(*clocks);
    pace = knowledge.pace;
    return knowledge.lives_by_clock;
}

bool read_clock(timespec &time)
{
    const Table *clocks = find_table();
    if (clocks == nullptr)
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
