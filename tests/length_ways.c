/* Each way to wait for `length`, or until an instant that is as far ahead. */
#define _GNU_SOURCE
#include <aio.h>
#include <errno.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdint.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <threads.h>
#include <time.h>
#include <unistd.h>

#include "tests/condition.h"
#include "tests/lengths.h"

static int number;

static struct timespec after(clockid_t source)
{
    struct timespec now;
    clock_gettime(source, &now);
    now.tv_sec += length.tv_sec + (now.tv_nsec + length.tv_nsec) / 1000000000;
    now.tv_nsec = (now.tv_nsec + length.tv_nsec) % 1000000000;
    return now;
}
#define UNTIL(source) &(struct timespec[]){after(source)}[0]

static struct timeval microseconds(void)
{
    return (struct timeval){length.tv_sec, length.tv_nsec / 1000};
}

static int is(int result, int error)
{
    return error == 0 ? result == 0 : result == -1 && errno == error;
}

static int wait_for_alarm(void)
{
    int found;
    return sigwait(&alarms, &found) == 0;
}

static int has_timed_out(int result)
{
    return result == ETIMEDOUT;
}

static int wait_on_semaphore(void)
{
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    return is(sem_clockwait(&semaphore, CLOCK_MONOTONIC, UNTIL(CLOCK_MONOTONIC)), ETIMEDOUT);
}

static int wait_on_semaphores(void)
{
    const int set = semget(IPC_PRIVATE, 1, 0600);
    const int passed = is(semtimedop(set, &(struct sembuf){0, -1, 0}, 1, &length), EAGAIN);
    semctl(set, 0, IPC_RMID);
    return passed;
}

/* Waits for twice the interval: the second time is one interval after the first. */
static int wait_for_descriptor(clockid_t source, int flags, int has_interval)
{
    const int timer = timerfd_create(source, 0);
    struct itimerspec set = {.it_value = flags != 0 ? after(source) : length}, left;
    uint64_t count;
    if (has_interval)
        set = (struct itimerspec){.it_interval = length, .it_value.tv_nsec = 1};
    if (timerfd_settime(timer, flags, &set, NULL) != 0 || (has_interval && read(timer, &count, 8) != 8) ||
        timerfd_gettime(timer, &left) != 0 || left.it_value.tv_sec > length.tv_sec ||
        (has_interval && left.it_interval.tv_sec > length.tv_sec + 1))
        return 0;
    return read(timer, &count, 8) == 8;
}

static int wait_for_timer(clockid_t source, int flags)
{
    timer_t timer;
    struct itimerspec left, old, set = {length, flags != 0 ? after(source) : length};
    timer_create(source, NULL, &timer);
    return timer_settime(timer, flags, &set, NULL) == 0 && timer_gettime(timer, &left) == 0 &&
           left.it_value.tv_sec <= length.tv_sec && left.it_interval.tv_sec == length.tv_sec &&
           timer_settime(timer, flags, &set, &old) == 0 && old.it_interval.tv_sec == length.tv_sec && wait_for_alarm();
}

/* One that counts the processor's time has the length as it is, by its number in the kernel. */
static int sleep_beside_timer(void)
{
    const clockid_t sources[] = {CLOCK_PROCESS_CPUTIME_ID, CLOCK_THREAD_CPUTIME_ID, -6 /* the process's, by its id */};
    for (size_t i = 0; i < sizeof sources / sizeof *sources; ++i) {
        timer_t timer;
        struct itimerspec left = {{0}}, set = {length, {1000, 0}};
        timer_create(sources[i], &(struct sigevent){.sigev_notify = SIGEV_NONE}, &timer);
        if (timer_settime(timer, 0, &set, NULL) != 0 || syscall(SYS_timer_gettime, timer, &left) != 0 ||
            left.it_interval.tv_sec != length.tv_sec || timer_gettime(timer, &left) != 0 ||
            left.it_interval.tv_sec != length.tv_sec)
            return 0;
    }
    return nanosleep(&length, NULL) == 0;
}

static int wait_for_interval(int has_interval)
{
    const struct timeval given = microseconds(), soon = {0, 1};
    const struct itimerval set = {has_interval ? given : (struct timeval){0}, has_interval ? soon : given};
    struct itimerval left;
    return setitimer(ITIMER_REAL, &set, NULL) == 0 && (!has_interval || wait_for_alarm()) &&
           getitimer(ITIMER_REAL, &left) == 0 && left.it_value.tv_sec <= length.tv_sec &&
           (!has_interval || left.it_interval.tv_sec == length.tv_sec) && wait_for_alarm();
}

/* alarm rounds what is left; a slow machine may have less left. */
static int rounds(long milliseconds_left, unsigned seconds)
{
    struct timespec begin, end;
    clock_gettime(CLOCK_MONOTONIC, &begin);
    setitimer(ITIMER_REAL, &(struct itimerval){{0, 0}, {milliseconds_left / 1000, milliseconds_left % 1000 * 1000}},
              NULL);
    const unsigned left = alarm(0);
    clock_gettime(CLOCK_MONOTONIC, &end);
    const long passed = (end.tv_sec - begin.tv_sec) * 1000 + (end.tv_nsec - begin.tv_nsec) / 1000000;
    return left == seconds || passed > 100;
}

static int wait_for_seconds(void)
{
    if (!rounds(1000000700, 1000001) || !rounds(1000000300, 1000000))
        return 0;
    alarm((unsigned)(milliseconds + 999) / 1000);
    return wait_for_alarm();
}

static int wait_for_alarms(void)
{
    int passed = ualarm(500000, 500000) == 0;
    for (int waited = 0; waited < milliseconds; waited += 500)
        passed = wait_for_alarm() && passed;
    return passed;
}

static int select_nothing(void)
{
    struct timeval given = microseconds();
    fd_set set, other;
    FD_ZERO(&set);
    FD_SET(ends[0], &set);
    other = set;
    return select(ends[0] + 1, &set, NULL, &other, &given) == 0 && given.tv_sec == 0 && given.tv_usec == 0 &&
           !FD_ISSET(ends[0], &set);
}

static int receive_with_limit(int option)
{
    const struct timeval limit = microseconds();
    struct timeval told = {0};
    socklen_t size = sizeof told;
    char much[4096] = "";
    setsockopt(ends[0], SOL_SOCKET, option, &limit, sizeof limit);
    if (setsockopt(ends[0], SOL_SOCKET, option, &limit, 1) == 0 ||
        getsockopt(ends[0], SOL_SOCKET, option, &told, &size) != 0 || told.tv_sec < limit.tv_sec)
        return 0;
    if (option == SO_RCVTIMEO)
        return is((int)read(ends[0], much, 1), EAGAIN);
    for (;;) /* until the peer's buffer is full; what takes long is the last */
        if (write(ends[0], much, sizeof much) < 0)
            return errno == EAGAIN;
}

static int suspend(void)
{
    struct aiocb request = {.aio_fildes = ends[0], .aio_buf = &number, .aio_nbytes = 1};
    const struct aiocb *const list[] = {&request};
    aio_read(&request);
    return is(aio_suspend(list, 1, &length), EAGAIN);
}

static int wait_on_number(int operation, const struct timespec *until)
{
    return is((int)syscall(SYS_futex, &number, operation, number, until, NULL, FUTEX_BITSET_MATCH_ANY), ETIMEDOUT);
}

static int wait_on_vector(void)
{
    struct futex_waitv one = {(uint64_t)number, (uintptr_t)&number, FUTEX_32, 0};
    return syscall(SYS_futex_waitv, &one, 1, 0, UNTIL(CLOCK_MONOTONIC), CLOCK_MONOTONIC) == -1 &&
           (errno == ETIMEDOUT || (errno == ENOSYS && nanosleep(&length, NULL) == 0));
}

static void *pause_for_good(void *nothing)
{
    for (;;)
        pause();
    return nothing;
}

static int join(void)
{
    pthread_t other;
    pthread_create(&other, NULL, pause_for_good, NULL);
    return has_timed_out(pthread_clockjoin_np(other, NULL, CLOCK_MONOTONIC, UNTIL(CLOCK_MONOTONIC)));
}

static int is_interrupted(int way)
{
    struct timespec left = {0}, much = {length.tv_sec + 1000000, length.tv_nsec};
    const struct timeval given = microseconds();
    sigprocmask(SIG_UNBLOCK, &alarms, NULL);
    setitimer(ITIMER_REAL, &(struct itimerval){given, given}, NULL); /* the first may come before the sleep */
    const int result = way == 0   ? nanosleep(&much, &left)
                       : way == 1 ? (int)syscall(SYS_nanosleep, &much, &left)
                                  : -((errno = clock_nanosleep(CLOCK_BOOTTIME, 0, &much, &left)) != 0);
    return is(result, EINTR) && left.tv_sec <= 1000000 && left.tv_sec > 900000; /* a hundred seconds late at most */
}

#define WAYS                                                                                                           \
    WAY(sleep, sleep((unsigned)(milliseconds + 999) / 1000) == 0)                                                      \
    WAY(usleep, usleep((useconds_t)milliseconds * 1000) == 0)                                                          \
    WAY(nanosleep, nanosleep(&length, NULL) == 0)                                                                      \
    WAY(nanosleep_interrupted, is_interrupted(0))                                                                      \
    WAY(thrd_sleep, thrd_sleep(&length, NULL) == 0)                                                                    \
    WAY(clock_nanosleep, clock_nanosleep(CLOCK_MONOTONIC, 0, &length, NULL) == 0)                                      \
    WAY(clock_nanosleep_real, clock_nanosleep(CLOCK_REALTIME, 0, &length, NULL) == 0)                                  \
    WAY(clock_nanosleep_boot, clock_nanosleep(CLOCK_BOOTTIME, 0, &length, NULL) == 0)                                  \
    WAY(clock_nanosleep_boot_interrupted, is_interrupted(2))                                                           \
    WAY(clock_nanosleep_until, clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, UNTIL(CLOCK_MONOTONIC), NULL) == 0)     \
    WAY(clock_nanosleep_until_boot, clock_nanosleep(CLOCK_BOOTTIME, TIMER_ABSTIME, UNTIL(CLOCK_BOOTTIME), NULL) == 0)  \
    WAY(poll, poll(&(struct pollfd){ends[0], POLLIN, 0}, 1, milliseconds) == 0)                                        \
    WAY(ppoll, ppoll(&(struct pollfd){ends[0], POLLIN, 0}, 1, &length, NULL) == 0)                                     \
    WAY(select, select_nothing())                                                                                      \
    WAY(pselect, pselect(0, NULL, NULL, NULL, &length, NULL) == 0)                                                     \
    WAY(epoll_wait, epoll_wait(files, &(struct epoll_event){0}, 1, milliseconds) == 0)                                 \
    WAY(epoll_pwait, epoll_pwait(files, &(struct epoll_event){0}, 1, milliseconds, &alarms) == 0)                      \
    WAY(epoll_pwait2, epoll_pwait2(files, &(struct epoll_event){0}, 1, &length, NULL) == 0)                            \
    WAY(sigtimedwait, is(sigtimedwait(&alarms, NULL, &length), EAGAIN))                                                \
    WAY(semtimedop, wait_on_semaphores())                                                                              \
    WAY(sem_clockwait, wait_on_semaphore())                                                                            \
    WAY(pthread_cond_timedwait,                                                                                        \
        has_timed_out(wait_on_condition(CLOCK_MONOTONIC, CLOCK_MONOTONIC, UNTIL(CLOCK_MONOTONIC))))                    \
    WAY(pthread_cond_clockwait,                                                                                        \
        has_timed_out(wait_on_condition(CLOCK_REALTIME, CLOCK_MONOTONIC, UNTIL(CLOCK_MONOTONIC))))                     \
    WAY(pthread_mutex_clocklock,                                                                                       \
        has_timed_out(pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, UNTIL(CLOCK_MONOTONIC))))                       \
    WAY(pthread_rwlock_clockrdlock,                                                                                    \
        has_timed_out(pthread_rwlock_clockrdlock(&lock, CLOCK_MONOTONIC, UNTIL(CLOCK_MONOTONIC))))                     \
    WAY(pthread_rwlock_clockwrlock,                                                                                    \
        has_timed_out(pthread_rwlock_clockwrlock(&lock, CLOCK_MONOTONIC, UNTIL(CLOCK_MONOTONIC))))                     \
    WAY(pthread_clockjoin_np, join())                                                                                  \
    WAY(alarm, wait_for_seconds())                                                                                     \
    WAY(ualarm, wait_for_alarms())                                                                                     \
    WAY(setitimer, wait_for_interval(0))                                                                               \
    WAY(setitimer_interval, wait_for_interval(1))                                                                      \
    WAY(processor_timers, sleep_beside_timer())                                                                        \
    WAY(timer_settime, wait_for_timer(CLOCK_MONOTONIC, 0))                                                             \
    WAY(timer_settime_real, wait_for_timer(CLOCK_REALTIME, 0))                                                         \
    WAY(timer_settime_boot, wait_for_timer(CLOCK_BOOTTIME, 0))                                                         \
    WAY(timer_settime_until, wait_for_timer(CLOCK_MONOTONIC, TIMER_ABSTIME))                                           \
    WAY(timer_settime_until_boot, wait_for_timer(CLOCK_BOOTTIME, TIMER_ABSTIME))                                       \
    WAY(timer_settime_until_real, wait_for_timer(CLOCK_REALTIME, TIMER_ABSTIME))                                       \
    WAY(timerfd_settime, wait_for_descriptor(CLOCK_MONOTONIC, 0, 0))                                                   \
    WAY(timerfd_settime_real, wait_for_descriptor(CLOCK_REALTIME, 0, 0))                                               \
    WAY(timerfd_settime_boot, wait_for_descriptor(CLOCK_BOOTTIME, 0, 0))                                               \
    WAY(timerfd_settime_interval, wait_for_descriptor(CLOCK_MONOTONIC, 0, 1))                                          \
    WAY(timerfd_settime_until, wait_for_descriptor(CLOCK_MONOTONIC, TFD_TIMER_ABSTIME, 0))                             \
    WAY(timerfd_settime_until_boot, wait_for_descriptor(CLOCK_BOOTTIME, TFD_TIMER_ABSTIME, 0))                         \
    WAY(timerfd_settime_until_real, wait_for_descriptor(CLOCK_REALTIME, TFD_TIMER_ABSTIME, 0))                         \
    WAY(so_rcvtimeo, receive_with_limit(SO_RCVTIMEO))                                                                  \
    WAY(so_sndtimeo, receive_with_limit(SO_SNDTIMEO))                                                                  \
    WAY(aio_suspend, suspend())                                                                                        \
    WAY(futex_wait, wait_on_number(FUTEX_WAIT_PRIVATE, &length))                                                       \
    WAY(futex_wait_bitset, wait_on_number(FUTEX_WAIT_BITSET_PRIVATE, UNTIL(CLOCK_MONOTONIC)))                          \
    WAY(futex_waitv, wait_on_vector())                                                                                 \
    WAY(number_nanosleep, syscall(SYS_nanosleep, &length, NULL) == 0)                                                  \
    WAY(number_nanosleep_interrupted, is_interrupted(1))                                                               \
    WAY(number_clock_nanosleep, syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &length, NULL) == 0)

#define WAY(name, wait)                                                                                                \
    static int by_##name(void)                                                                                         \
    {                                                                                                                  \
        return wait;                                                                                                   \
    }
WAYS
#undef WAY

    const struct way ways[] = {
#define WAY(way, function) {#way, by_##way},
        WAYS
#undef WAY
};

const size_t way_count = sizeof ways / sizeof *ways;
