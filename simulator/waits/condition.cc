// pthread_cond_timedwait, whose clock is the condition's.
#include <pthread.h>

#include <cstring>

#include "simulator/bare/next.h"
#include "simulator/bare/versions.h"
#include "simulator/waits/deadline.h"

namespace sim
{

// The C library shows in one bit of a condition by which clock it waits. Which one is seen on two new ones.
static bool waits_by_real_time(const pthread_cond_t *condition)
{
    constexpr size_t count = sizeof(pthread_cond_t) / sizeof(unsigned);
    pthread_condattr_t attribute;
    pthread_condattr_init(&attribute);
    pthread_condattr_setclock(&attribute, CLOCK_MONOTONIC);
    pthread_cond_t by_real_time = {}, by_monotonic = {};
    pthread_cond_init(&by_real_time, nullptr);
    pthread_cond_init(&by_monotonic, &attribute);
    unsigned real[count], monotonic[count];
    memcpy(real, &by_real_time, sizeof real);
    memcpy(monotonic, &by_monotonic, sizeof monotonic);
    pthread_cond_destroy(&by_real_time);
    pthread_cond_destroy(&by_monotonic);
    pthread_condattr_destroy(&attribute);

    const auto *const words = reinterpret_cast<const unsigned *>(condition);
    unsigned differing = 0;
    for (size_t i = 0; i < count; ++i) // other threads may change the words meanwhile, but not that bit
        differing |= (__atomic_load_n(&words[i], __ATOMIC_RELAXED) ^ real[i]) & (monotonic[i] ^ real[i]);
    return differing == 0;
}

} // namespace sim

using WaitOnCondition = int(pthread_cond_t *, pthread_mutex_t *, const timespec *);
static SIM_NEXT_VERSION(next_wait, "pthread_cond_timedwait", SIM_SINCE("GLIBC_2.3.2"), WaitOnCondition);

SIM_INTERPOSED int wait_on_condition(pthread_cond_t *condition, pthread_mutex_t *mutex, const timespec *instant)
{
    timespec real;
    const timespec *const until = sim::real_deadline(CLOCK_REALTIME, instant, real);
    const bool as_is = until == instant || !sim::waits_by_real_time(condition);
    return next_wait(condition, mutex, as_is ? instant : until);
}
SIM_VERSION(wait_on_condition, "pthread_cond_timedwait@@" SIM_SINCE("GLIBC_2.3.2"))

#if defined(__x86_64__)
// Conditions of before 2003 are of another form, and have no attributes.
static SIM_NEXT_VERSION(next_older_wait, "pthread_cond_timedwait", "GLIBC_2.2.5", WaitOnCondition);

SIM_INTERPOSED int wait_on_condition_of_2002(pthread_cond_t *condition, pthread_mutex_t *mutex, const timespec *instant)
{
    timespec real;
    return next_older_wait(condition, mutex, sim::real_deadline(CLOCK_REALTIME, instant, real));
}
SIM_VERSION(wait_on_condition_of_2002, "pthread_cond_timedwait@GLIBC_2.2.5")
#endif
