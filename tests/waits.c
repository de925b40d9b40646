/* Waits in every way until an instant of a clock, each in a thread of its own. The instant is as far ahead as the
   program's clock should move in the given real time.
   With a COMMAND, it runs that once all are about to wait. Then each has to end when its clock shows its instant, but
   for the timers, which the kernel has; with all, those too, as the kernel module has it.
   Usage: waits MILLISECONDS_OF_THE_CLOCK REAL_MILLISECONDS [-v | COMMAND [all]] */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <mqueue.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <threads.h>
#include <time.h>
#include <unistd.h>

#include "tests/condition.h"

#if defined(__x86_64__)
int cond_timedwait_of_2002(void *, pthread_mutex_t *, const struct timespec *);
__asm__(".symver cond_timedwait_of_2002, pthread_cond_timedwait@GLIBC_2.2.5");
int timer_settime_of_2003(int, int, const struct itimerspec *, struct itimerspec *);
__asm__(".symver timer_settime_of_2003, timer_settime@GLIBC_2.2.5");
int timer_create_of_2003(clockid_t, struct sigevent *, int *);
__asm__(".symver timer_create_of_2003, timer_create@GLIBC_2.2.5");
#endif

int try_odd_instants(void);

/* Held by the main thread. */
static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER, inheriting;
static mtx_t standard;
static pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
static int number, held;
static pthread_t sleepers[2];

static void *pause_for_good(void *nothing)
{
    for (;;)
        pause();
    return nothing;
}

static int status(int result)
{
    return result == 0 ? 0 : errno;
}

static int wait_for_message(int flags, const struct timespec *until)
{
    struct mq_attr attributes = {.mq_maxmsg = 1, .mq_msgsize = 1};
    char message = 0, name[32]; // the name of a queue that no other process fills
    snprintf(name, sizeof name, "/waits.%d.%d", (int)getpid(), flags);
    mqd_t queue = mq_open(name, O_CREAT | flags, 0600, &attributes);
    mq_unlink(name);
    if (queue < 0)
        return errno == ENOSYS ? ETIMEDOUT : errno;
    if (flags == O_RDONLY)
        return status((int)mq_timedreceive(queue, &message, 1, NULL, until));
    mq_send(queue, &message, 1, 0);
    return status(mq_timedsend(queue, &message, 1, 0, until));
}

static int wait_for_descriptor(clockid_t source, int flags, const struct timespec *until)
{
    uint64_t count = 0;
    int timer = timerfd_create(source, 0);
    if (timerfd_settime(timer, TFD_TIMER_ABSTIME | flags, &(struct itimerspec){.it_value = *until}, NULL) != 0)
        return errno;
    if (read(timer, &count, sizeof count) < 0)
        return errno;
    return count == 1 ? 0 : EIO;
}

static int wait_for_signal(int number)
{
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, number);
    return sigwaitinfo(&one, NULL) == number ? 0 : errno;
}

static int wait_for_timer(clockid_t source, int number, const struct timespec *until)
{
    timer_t timer;
    timer_create(source, &(struct sigevent){.sigev_notify = SIGEV_SIGNAL, .sigev_signo = number}, &timer);
    if (timer_settime(timer, TIMER_ABSTIME, &(struct itimerspec){.it_value = *until}, NULL) != 0)
        return errno;
    return wait_for_signal(number);
}

static int wait_for_number(int operation, int *number, const struct timespec *until)
{
    return status((int)syscall(SYS_futex, number, operation, *number, until, NULL, FUTEX_BITSET_MATCH_ANY));
}

static int wait_on_semaphore(clockid_t source, const struct timespec *until)
{
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    return status(source == -1 ? sem_timedwait(&semaphore, until) : sem_clockwait(&semaphore, source, until));
}

static int wait_on_standard_condition(const struct timespec *until)
{
    cnd_t condition;
    mtx_t own;
    cnd_init(&condition);
    mtx_init(&own, mtx_plain);
    mtx_lock(&own);
    return cnd_timedwait(&condition, &own, until) == thrd_timedout ? ETIMEDOUT : EIO;
}

static int wait_on_vector(const struct timespec *until)
{
    struct {
        uint64_t value, address;
        uint32_t flags, reserved;
    } waiter = {(uint32_t)number, (uintptr_t)&number, 2, 0};
    const int result = status((int)syscall(449, &waiter, 1, 0, until, CLOCK_REALTIME));
    return result == ENOSYS ? ETIMEDOUT : result;
}

#if defined(__x86_64__)
static int wait_on_older_condition(const struct timespec *until)
{
    pthread_mutex_t own = PTHREAD_MUTEX_INITIALIZER;
    void *condition = NULL;
    pthread_mutex_lock(&own);
    return cond_timedwait_of_2002(&condition, &own, until);
}

static int wait_for_older_timer(int number, const struct timespec *until)
{
    int timer;
    timer_create_of_2003(CLOCK_REALTIME, &(struct sigevent){.sigev_signo = number}, &timer);
    timer_settime_of_2003(timer, TIMER_ABSTIME, &(struct itimerspec){.it_value = *until}, NULL);
    return wait_for_signal(number);
}
#define OLDER_WAYS                                                                                                     \
    WAY(pthread_cond_timedwait_2_2_5, CLOCK_REALTIME, wait_on_older_condition(until))                                  \
    WAY(timer_settime_2_2_5, CLOCK_REALTIME, wait_for_older_timer(SIGRTMIN + 2, until))
#else
#define OLDER_WAYS
#endif

#define WAYS                                                                                                           \
    WAY(clock_nanosleep, CLOCK_REALTIME, clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, until, NULL))                  \
    WAY(clock_nanosleep_monotonic, CLOCK_MONOTONIC, clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, until, NULL))      \
    WAY(clock_nanosleep_atomic, CLOCK_TAI, clock_nanosleep(CLOCK_TAI, TIMER_ABSTIME, until, NULL))                     \
    WAY(pthread_cond_timedwait, CLOCK_REALTIME, wait_on_condition(CLOCK_REALTIME, CLOCK_REALTIME, until))              \
    WAY(pthread_cond_timedwait_monotonic, CLOCK_MONOTONIC, wait_on_condition(CLOCK_MONOTONIC, CLOCK_MONOTONIC, until)) \
    WAY(pthread_cond_clockwait, CLOCK_REALTIME, wait_on_condition(CLOCK_MONOTONIC, CLOCK_REALTIME, until))             \
    WAY(pthread_cond_clockwait_monotonic, CLOCK_MONOTONIC, wait_on_condition(CLOCK_REALTIME, CLOCK_MONOTONIC, until))  \
    WAY(cnd_timedwait, CLOCK_REALTIME, wait_on_standard_condition(until))                                              \
    WAY(pthread_mutex_timedlock, CLOCK_REALTIME, pthread_mutex_timedlock(&mutex, until))                               \
    WAY(pthread_mutex_timedlock_inheriting, CLOCK_REALTIME, pthread_mutex_timedlock(&inheriting, until))               \
    WAY(pthread_mutex_clocklock, CLOCK_REALTIME, pthread_mutex_clocklock(&mutex, CLOCK_REALTIME, until))               \
    WAY(pthread_mutex_clocklock_monotonic, CLOCK_MONOTONIC, pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, until))   \
    WAY(mtx_timedlock, CLOCK_REALTIME, mtx_timedlock(&standard, until) == thrd_timedout ? ETIMEDOUT : EIO)             \
    WAY(sem_timedwait, CLOCK_REALTIME, wait_on_semaphore(-1, until))                                                   \
    WAY(sem_clockwait, CLOCK_REALTIME, wait_on_semaphore(CLOCK_REALTIME, until))                                       \
    WAY(sem_clockwait_monotonic, CLOCK_MONOTONIC, wait_on_semaphore(CLOCK_MONOTONIC, until))                           \
    WAY(pthread_rwlock_timedrdlock, CLOCK_REALTIME, pthread_rwlock_timedrdlock(&lock, until))                          \
    WAY(pthread_rwlock_timedwrlock, CLOCK_REALTIME, pthread_rwlock_timedwrlock(&lock, until))                          \
    WAY(pthread_rwlock_clockrdlock, CLOCK_REALTIME, pthread_rwlock_clockrdlock(&lock, CLOCK_REALTIME, until))          \
    WAY(pthread_rwlock_clockwrlock, CLOCK_REALTIME, pthread_rwlock_clockwrlock(&lock, CLOCK_REALTIME, until))          \
    WAY(pthread_timedjoin_np, CLOCK_REALTIME, pthread_timedjoin_np(sleepers[0], NULL, until))                          \
    WAY(pthread_clockjoin_np, CLOCK_REALTIME, pthread_clockjoin_np(sleepers[1], NULL, CLOCK_REALTIME, until))          \
    WAY(mq_timedreceive, CLOCK_REALTIME, wait_for_message(O_RDONLY, until))                                            \
    WAY(mq_timedsend, CLOCK_REALTIME, wait_for_message(O_WRONLY, until))                                               \
    WAY(timerfd_settime, CLOCK_REALTIME, wait_for_descriptor(CLOCK_REALTIME, 0, until))                                \
    WAY(timerfd_settime_cancel_on_set, CLOCK_REALTIME,                                                                 \
        wait_for_descriptor(CLOCK_REALTIME, TFD_TIMER_CANCEL_ON_SET, until))                                           \
    WAY(timerfd_settime_monotonic, CLOCK_MONOTONIC, wait_for_descriptor(CLOCK_MONOTONIC, 0, until))                    \
    WAY(timer_settime, CLOCK_REALTIME, wait_for_timer(CLOCK_REALTIME, SIGRTMIN, until))                                \
    WAY(timer_settime_monotonic, CLOCK_MONOTONIC, wait_for_timer(CLOCK_MONOTONIC, SIGRTMIN + 1, until))                \
    WAY(futex_wait_bitset, CLOCK_REALTIME,                                                                             \
        wait_for_number(FUTEX_WAIT_BITSET_PRIVATE | FUTEX_CLOCK_REALTIME, &number, until))                             \
    WAY(futex_wait_bitset_monotonic, CLOCK_MONOTONIC, wait_for_number(FUTEX_WAIT_BITSET_PRIVATE, &number, until))      \
    WAY(futex_lock_pi, CLOCK_REALTIME, wait_for_number(FUTEX_LOCK_PI_PRIVATE, &held, until))                           \
    WAY(futex_waitv, CLOCK_REALTIME, wait_on_vector(until))                                                            \
    WAY(clock_nanosleep_by_number, CLOCK_REALTIME,                                                                     \
        status((int)syscall(SYS_clock_nanosleep, CLOCK_REALTIME, TIMER_ABSTIME, until, NULL)))                         \
    OLDER_WAYS

#define WAY(name, source, wait)                                                                                        \
    static int by_##name(const struct timespec *until)                                                                 \
    {                                                                                                                  \
        return wait;                                                                                                   \
    }
WAYS
#undef WAY

    static struct way {
    const char *name;
    clockid_t source;
    int (*wait)(const struct timespec *until);
    int result, begun, ended, early;
    long milliseconds;
} ways[] = {
#define WAY(way, clock, function) {.name = #way, .source = clock, .wait = by_##way},
    WAYS
#undef WAY
};

static long virtual_distance, real_distance;

static void *go_one_way(void *argument)
{
    struct way *way = argument;
    struct timespec until, begin, end, shown;
    const long distance = way->source == CLOCK_MONOTONIC ? real_distance : virtual_distance;
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &begin); /* nobody starts earlier */
    clock_gettime(way->source, &until);
    until.tv_sec += distance / 1000;
    until.tv_nsec += distance % 1000 * 1000000;
    if (until.tv_nsec >= 1000000000) {
        until.tv_nsec -= 1000000000;
        ++until.tv_sec;
    }
    __atomic_store_n(&way->begun, 1, __ATOMIC_RELEASE);
    way->result = way->wait(&until);
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &end);
    clock_gettime(way->source, &shown);
    way->early = shown.tv_sec < until.tv_sec || (shown.tv_sec == until.tv_sec && shown.tv_nsec < until.tv_nsec);
    way->milliseconds = (end.tv_sec - begin.tv_sec) * 1000 + (end.tv_nsec - begin.tv_nsec) / 1000000;
    __atomic_store_n(&way->ended, 1, __ATOMIC_RELEASE);
    return NULL;
}

static const size_t count = sizeof ways / sizeof *ways;

static int change_clock(const char *command)
{
    for (struct way *way = ways; way < ways + count; ++way)
        while (!__atomic_load_n(&way->begun, __ATOMIC_ACQUIRE))
            usleep(1000);
    usleep(100000); /* one that begins later goes by the new clock anyway */
    return system(command);
}

/* Conditions of 2002 keep their instant, too. */
static int is_moved(const struct way *way)
{
    return way->source != CLOCK_MONOTONIC && strncmp(way->name, "timer", 5) != 0 && strstr(way->name, "_2_2_5") == NULL;
}

int main(int argc, char **argv)
{
    pthread_mutexattr_t attributes;
    sigset_t signals;
    pthread_t thread;
    long waited = 0;
    if (argc < 3)
        return 2;
    virtual_distance = atol(argv[1]);
    real_distance = atol(argv[2]);
    int bad = real_distance == 0 ? try_odd_instants() : 0;

    sigfillset(&signals);
    pthread_sigmask(SIG_BLOCK, &signals, NULL);
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
    pthread_mutex_init(&inheriting, &attributes);
    mtx_init(&standard, mtx_timed);
    pthread_mutex_lock(&mutex);
    pthread_mutex_lock(&inheriting);
    mtx_lock(&standard);
    pthread_rwlock_wrlock(&lock);
    held = (int)gettid();
    for (size_t i = 0; i < 2; ++i)
        pthread_create(&sleepers[i], NULL, pause_for_good, NULL);

    for (struct way *way = ways; way < ways + count; ++way)
        pthread_create(&thread, NULL, go_one_way, way);
    const char *command = argc > 3 && *argv[3] != '-' ? argv[3] : NULL;
    if (command != NULL)
        bad |= change_clock(command) != 0;
    /* A loaded machine may make a wait late, but nothing makes it early. */
    const long latest = real_distance + 60000;
    for (struct way *way = ways; way < ways + count; ++way) {
        if (command != NULL && argc == 4 && !is_moved(way))
            continue;
        for (; !__atomic_load_n(&way->ended, __ATOMIC_ACQUIRE) && waited < latest; waited += 10)
            usleep(10000);
        if (!way->ended)
            printf("%s: hangs\n", way->name);
        else if (way->milliseconds < real_distance || (way->result != 0 && way->result != ETIMEDOUT))
            printf("%s: %s after %ld ms\n", way->name, strerror(way->result), way->milliseconds);
        else if (command != NULL && way->early)
            printf("%s: ends early\n", way->name);
        else {
            if (argc > 3 && command == NULL)
                printf("%s: waits\n", way->name);
            continue;
        }
        bad = 1;
    }
    return bad;
}
