// Stand-ins for the C library's calls that wait until an instant, but for conditions and sleeps.
#include <mqueue.h>
#include <pthread.h>
#include <semaphore.h>
#include <threads.h>

#include "simulator/libc/slices.h"
#include "simulator/raw/next.h"

namespace sim
{

static bool is_thrd_timedout(int result)
{
    return result == thrd_timedout;
}

} // namespace sim

// Defines the stand-in for a call that waits until an instant: SIM_WAIT(result, name, parameters, way, clock, instant,
// arguments, how the call says that the time is over). The arguments call the real instant `until`.
#define SIM_WAIT(result, name, parameters, way, clock, instant, arguments, timed_out)                                  \
    SIM_STAND_IN(result, name, parameters)                                                                             \
    {                                                                                                                  \
        return sim::way(                                                                                               \
            clock, instant, [&](const timespec *until) { return next_##name arguments; }, sim::timed_out);             \
    }

SIM_WAIT(int, pthread_mutex_timedlock, (pthread_mutex_t * mutex, const timespec *instant), take_in_slices,
         CLOCK_REALTIME, instant, (mutex, until), is_etimedout)
SIM_WAIT(int, pthread_mutex_clocklock, (pthread_mutex_t * mutex, clockid_t source, const timespec *instant),
         take_in_slices, source, instant, (mutex, source, until), is_etimedout)
SIM_WAIT(int, mtx_timedlock, (mtx_t * mutex, const timespec *instant), take_in_slices, CLOCK_REALTIME, instant,
         (mutex, until), is_thrd_timedout)

SIM_WAIT(int, sem_timedwait, (sem_t * semaphore, const timespec *instant), take_in_slices, CLOCK_REALTIME, instant,
         (semaphore, until), has_set_etimedout)
SIM_WAIT(int, sem_clockwait, (sem_t * semaphore, clockid_t source, const timespec *instant), take_in_slices, source,
         instant, (semaphore, source, until), has_set_etimedout)

SIM_WAIT(int, pthread_rwlock_timedrdlock, (pthread_rwlock_t * lock, const timespec *instant), take_in_slices,
         CLOCK_REALTIME, instant, (lock, until), is_etimedout)
SIM_WAIT(int, pthread_rwlock_timedwrlock, (pthread_rwlock_t * lock, const timespec *instant), take_in_slices,
         CLOCK_REALTIME, instant, (lock, until), is_etimedout)
SIM_WAIT(int, pthread_rwlock_clockrdlock, (pthread_rwlock_t * lock, clockid_t source, const timespec *instant),
         take_in_slices, source, instant, (lock, source, until), is_etimedout)
SIM_WAIT(int, pthread_rwlock_clockwrlock, (pthread_rwlock_t * lock, clockid_t source, const timespec *instant),
         take_in_slices, source, instant, (lock, source, until), is_etimedout)

SIM_WAIT(int, pthread_timedjoin_np, (pthread_t thread, void **result, const timespec *instant), wait_in_slices,
         CLOCK_REALTIME, instant, (thread, result, until), is_etimedout)
SIM_WAIT(int, pthread_clockjoin_np, (pthread_t thread, void **result, clockid_t source, const timespec *instant),
         wait_in_slices, source, instant, (thread, result, source, until), is_etimedout)

SIM_WAIT(int, mq_timedsend, (mqd_t queue, const char *message, size_t size, unsigned priority, const timespec *instant),
         wait_in_slices, CLOCK_REALTIME, instant, (queue, message, size, priority, until), has_set_etimedout)
SIM_WAIT(ssize_t, mq_timedreceive,
         (mqd_t queue, char *message, size_t size, unsigned *priority, const timespec *instant), wait_in_slices,
         CLOCK_REALTIME, instant, (queue, message, size, priority, until), has_set_etimedout)
