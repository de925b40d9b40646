// Stand-ins for the C library's calls that wait until an instant. Calls that wait for a duration, such as sleep and
// poll, stay in real time.
#include "simulator/libc/waiting.h"

#include <mqueue.h>
#include <pthread.h>
#include <semaphore.h>
#include <threads.h>

#include <cstring>

#include "simulator/libc/reading.h"
#include "simulator/process/clock_ids.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/next.h"

namespace sim
{

const timespec *real_deadline(clockid_t source, const timespec *instant, timespec &real)
{
    ClockRate rate;
    if (!waited_ids.has(source) || instant == nullptr || !own_clock(rate) || !is_readable(instant))
        return instant;
    // Read once, since another thread may write them meanwhile.
    const int64_t seconds = __atomic_load_n(&instant->tv_sec, __ATOMIC_RELAXED);
    const int64_t nanoseconds = __atomic_load_n(&instant->tv_nsec, __ATOMIC_RELAXED);
    if (seconds < 0 || nanoseconds < 0 || nanoseconds >= ZYNOV_SECOND)
        return instant;
    const int64_t ahead = seconds_ahead(source);
    real = rate.when({seconds - ahead, nanoseconds}, real_time());
    if (__builtin_add_overflow(real.tv_sec, ahead, &real.tv_sec))
        real.tv_sec = INT64_MAX;
    if (real.tv_sec == 0 && real.tv_nsec == 0)
        real.tv_nsec = 1; // for a timer, 0 means "never"
    return &real;
}

// The C library stores a condition's clock in one bit. A comparison of two new conditions finds that bit.
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
    for (size_t i = 0; i < count; ++i) // other threads may change the words, but not that bit
        differing |= (__atomic_load_n(&words[i], __ATOMIC_RELAXED) ^ real[i]) & (monotonic[i] ^ real[i]);
    return differing == 0;
}

} // namespace sim

// Defines the stand-in for a call that waits until an instant. In the arguments, `until` is the real instant.
#define SIM_WAIT(name, parameters, clock, instant, arguments)                                                          \
    SIM_STAND_IN(int, name, parameters)                                                                                \
    {                                                                                                                  \
        timespec real;                                                                                                 \
        const timespec *const until = sim::real_deadline(clock, instant, real);                                        \
        return next_##name arguments;                                                                                  \
    }

SIM_WAIT(clock_nanosleep, (clockid_t source, int flags, const timespec *time, timespec *left),
         (flags & TIMER_ABSTIME) != 0 ? source : CLOCK_MONOTONIC, time, (source, flags, until, left))

SIM_WAIT(pthread_mutex_timedlock, (pthread_mutex_t * mutex, const timespec *instant), CLOCK_REALTIME, instant,
         (mutex, until))
SIM_WAIT(pthread_mutex_clocklock, (pthread_mutex_t * mutex, clockid_t source, const timespec *instant), source, instant,
         (mutex, source, until))
SIM_WAIT(mtx_timedlock, (mtx_t * mutex, const timespec *instant), CLOCK_REALTIME, instant, (mutex, until))

SIM_WAIT(sem_timedwait, (sem_t * semaphore, const timespec *instant), CLOCK_REALTIME, instant, (semaphore, until))
SIM_WAIT(sem_clockwait, (sem_t * semaphore, clockid_t source, const timespec *instant), source, instant,
         (semaphore, source, until))

SIM_WAIT(pthread_rwlock_timedrdlock, (pthread_rwlock_t * lock, const timespec *instant), CLOCK_REALTIME, instant,
         (lock, until))
SIM_WAIT(pthread_rwlock_timedwrlock, (pthread_rwlock_t * lock, const timespec *instant), CLOCK_REALTIME, instant,
         (lock, until))
SIM_WAIT(pthread_rwlock_clockrdlock, (pthread_rwlock_t * lock, clockid_t source, const timespec *instant), source,
         instant, (lock, source, until))
SIM_WAIT(pthread_rwlock_clockwrlock, (pthread_rwlock_t * lock, clockid_t source, const timespec *instant), source,
         instant, (lock, source, until))

SIM_WAIT(pthread_timedjoin_np, (pthread_t thread, void **result, const timespec *instant), CLOCK_REALTIME, instant,
         (thread, result, until))
SIM_WAIT(pthread_clockjoin_np, (pthread_t thread, void **result, clockid_t source, const timespec *instant), source,
         instant, (thread, result, source, until))

SIM_WAIT(cnd_timedwait, (cnd_t * condition, mtx_t *mutex, const timespec *instant), CLOCK_REALTIME, instant,
         (condition, mutex, until))
SIM_WAIT(pthread_cond_clockwait,
         (pthread_cond_t * condition, pthread_mutex_t *mutex, clockid_t source, const timespec *instant), source,
         instant, (condition, mutex, source, until))

SIM_WAIT(mq_timedsend, (mqd_t queue, const char *message, size_t size, unsigned priority, const timespec *instant),
         CLOCK_REALTIME, instant, (queue, message, size, priority, until))
SIM_WAIT(mq_timedreceive, (mqd_t queue, char *message, size_t size, unsigned *priority, const timespec *instant),
         CLOCK_REALTIME, instant, (queue, message, size, priority, until))

// This call uses the condition's clock.
using WaitOnCondition = int(pthread_cond_t *, pthread_mutex_t *, const timespec *);
static SIM_NEXT_VERSION(next_cond_timedwait, "pthread_cond_timedwait", SIM_SINCE("GLIBC_2.3.2"), WaitOnCondition);

SIM_INTERPOSED int sim_pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                              const timespec *instant)
{
    timespec real;
    const timespec *const until = sim::real_deadline(CLOCK_REALTIME, instant, real);
    const bool as_is = until == instant || !sim::waits_by_real_time(condition);
    return next_cond_timedwait(condition, mutex, as_is ? instant : until);
}
SIM_VERSION(sim_pthread_cond_timedwait, "pthread_cond_timedwait@@" SIM_SINCE("GLIBC_2.3.2"))

#if defined(__x86_64__)
// Conditions from before 2003 have another layout and no attributes.
static SIM_NEXT_VERSION(next_cond_timedwait_of_2002, "pthread_cond_timedwait", "GLIBC_2.2.5", WaitOnCondition);

SIM_INTERPOSED int sim_pthread_cond_timedwait_of_2002(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                                      const timespec *instant)
{
    timespec real;
    return next_cond_timedwait_of_2002(condition, mutex, sim::real_deadline(CLOCK_REALTIME, instant, real));
}
SIM_VERSION(sim_pthread_cond_timedwait_of_2002, "pthread_cond_timedwait@GLIBC_2.2.5")
#endif
