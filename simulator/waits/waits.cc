// What stands in for the C library's calls that wait until an instant. How long a sleep or a poll lasts is real time,
// and none of these.
#include <mqueue.h>
#include <pthread.h>
#include <semaphore.h>
#include <threads.h>

#include "simulator/bare/next.h"
#include "simulator/waits/deadline.h"

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
