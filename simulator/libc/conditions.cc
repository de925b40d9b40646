// Stand-ins for the C library's waits on conditions. A wait goes on in slices, and a signal between two of them would
// be lost. So signals are counted, and a slice in which one came ends the wait: POSIX allows such a return, and the
// program checks its condition.
#include <pthread.h>
#include <threads.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstring>

#include "simulator/libc/slices.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/next.h"

namespace sim
{

// The signals of conditions, by address. They are counted once a thread of this process waits in slices.
struct alignas(64) Signals {
    std::atomic<uint32_t> count;
};
static std::array<Signals, 64> counts;
static std::atomic<bool> are_counted;

static std::atomic<uint32_t> &signals_of(const void *condition)
{
    const auto address = std::bit_cast<uintptr_t>(condition);
    return counts[address / sizeof(pthread_cond_t) % counts.size()].count;
}

static void count_signal(const void *condition)
{
    if (are_counted.load(std::memory_order_relaxed)) [[unlikely]]
        signals_of(condition).fetch_add(1, std::memory_order_relaxed);
}

// The C library keeps a condition's clock, and whether processes share it, in one bit each. Comparing two new
// conditions finds that bit.
template <typename Choose> static bool is_chosen(const void *condition, const Choose &choose)
{
    constexpr size_t count = sizeof(pthread_cond_t) / sizeof(unsigned);
    pthread_condattr_t attribute;
    pthread_condattr_init(&attribute);
    choose(&attribute);
    pthread_cond_t usual = {}, chosen = {};
    pthread_cond_init(&usual, nullptr);
    pthread_cond_init(&chosen, &attribute);
    unsigned without[count], with[count];
    memcpy(without, &usual, sizeof without);
    memcpy(with, &chosen, sizeof with);
    pthread_cond_destroy(&usual);
    pthread_cond_destroy(&chosen);
    pthread_condattr_destroy(&attribute);

    const auto *const words = static_cast<const unsigned *>(condition);
    unsigned differing = 0;
    for (size_t i = 0; i < count; ++i) // other threads may change the words, but not that bit
        differing |= (__atomic_load_n(&words[i], __ATOMIC_RELAXED) ^ without[i]) & (with[i] ^ without[i]);
    return differing != 0;
}

static bool goes_by_monotonic_time(const void *condition)
{
    return is_chosen(condition, [](pthread_condattr_t *it) { pthread_condattr_setclock(it, CLOCK_MONOTONIC); });
}

static bool is_shared(const void *condition)
{
    return is_chosen(condition,
                     [](pthread_condattr_t *it) { pthread_condattr_setpshared(it, PTHREAD_PROCESS_SHARED); });
}

// A wait on a condition that processes share keeps its instant, since signals of other processes are not counted.
template <typename Call>
static int wait_on(const void *condition, clockid_t source, const timespec *instant, int timed_out, const Call &call)
{
    timespec real;
    Slices slices;
    if (!slices.begin(source, instant))
        return call(instant);
    if (is_shared(condition))
        return call(real_deadline(source, instant, real));
    are_counted.store(true, std::memory_order_relaxed); // visible to threads that take the mutex later
    const std::atomic<uint32_t> &sent = signals_of(condition);
    const uint32_t before = sent.load(std::memory_order_relaxed);
    for (;;) {
        const int result = call(slices.next());
        if (result != timed_out || slices.is_over())
            return result;
        if (sent.load(std::memory_order_relaxed) != before)
            return 0;
    }
}

using WaitOnCondition = int(pthread_cond_t *, pthread_mutex_t *, const timespec *);
static SIM_NEXT_VERSION(next_cond_timedwait, "pthread_cond_timedwait", SIM_SINCE("GLIBC_2.3.2"), WaitOnCondition);

using ToCondition = int(pthread_cond_t *);
static SIM_NEXT_VERSION(next_cond_signal, "pthread_cond_signal", SIM_SINCE("GLIBC_2.3.2"), ToCondition);
static SIM_NEXT_VERSION(next_cond_broadcast, "pthread_cond_broadcast", SIM_SINCE("GLIBC_2.3.2"), ToCondition);

} // namespace sim

SIM_STAND_IN(int, cnd_timedwait, (cnd_t * condition, mtx_t *mutex, const timespec *instant))
{
    return sim::wait_on(condition, CLOCK_REALTIME, instant, thrd_timedout,
                        [=](const timespec *until) { return next_cnd_timedwait(condition, mutex, until); });
}

SIM_STAND_IN(int, pthread_cond_clockwait,
             (pthread_cond_t * condition, pthread_mutex_t *mutex, clockid_t source, const timespec *instant))
{
    return sim::wait_on(condition, source, instant, ETIMEDOUT, [=](const timespec *until) {
        return next_pthread_cond_clockwait(condition, mutex, source, until);
    });
}

// This call uses the condition's clock.
SIM_INTERPOSED int sim_pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                              const timespec *instant)
{
    if (sim::table_generation() == nullptr)
        return sim::next_cond_timedwait(condition, mutex, instant);
    const clockid_t source = sim::goes_by_monotonic_time(condition) ? CLOCK_MONOTONIC : CLOCK_REALTIME;
    return sim::wait_on(condition, source, instant, ETIMEDOUT,
                        [=](const timespec *until) { return sim::next_cond_timedwait(condition, mutex, until); });
}
SIM_VERSION(sim_pthread_cond_timedwait, "pthread_cond_timedwait@@" SIM_SINCE("GLIBC_2.3.2"))

SIM_INTERPOSED int sim_pthread_cond_signal(pthread_cond_t *condition)
{
    sim::count_signal(condition);
    return sim::next_cond_signal(condition);
}
SIM_VERSION(sim_pthread_cond_signal, "pthread_cond_signal@@" SIM_SINCE("GLIBC_2.3.2"))

SIM_INTERPOSED int sim_pthread_cond_broadcast(pthread_cond_t *condition)
{
    sim::count_signal(condition);
    return sim::next_cond_broadcast(condition);
}
SIM_VERSION(sim_pthread_cond_broadcast, "pthread_cond_broadcast@@" SIM_SINCE("GLIBC_2.3.2"))

SIM_STAND_IN(int, cnd_signal, (cnd_t * condition))
{
    sim::count_signal(condition);
    return next_cnd_signal(condition);
}

SIM_STAND_IN(int, cnd_broadcast, (cnd_t * condition))
{
    sim::count_signal(condition);
    return next_cnd_broadcast(condition);
}

#if defined(__x86_64__)
// Conditions from before 2003 have another layout and no attributes. Their waits keep their instant.
static SIM_NEXT_VERSION(next_cond_timedwait_of_2002, "pthread_cond_timedwait", "GLIBC_2.2.5", sim::WaitOnCondition);

SIM_INTERPOSED int sim_pthread_cond_timedwait_of_2002(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                                      const timespec *instant)
{
    timespec real;
    return next_cond_timedwait_of_2002(condition, mutex, sim::real_deadline(CLOCK_REALTIME, instant, real));
}
SIM_VERSION(sim_pthread_cond_timedwait_of_2002, "pthread_cond_timedwait@GLIBC_2.2.5")
#endif
