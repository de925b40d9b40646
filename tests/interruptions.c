/* What ends a wait before its instant, which is an hour off: it has to, though the wait follows the clock's changes.
   Usage: interruptions, on the simulator. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "contract/zynov.h"

static struct timespec far;
static int number, bad;
static const char *filter = "";

static void expect(const char *what, long seen, long expected)
{
    if (seen != expected)
        bad = printf("%s%s: %ld, not %ld\n", what, filter, seen, expected);
}

static void *sleep_long(void *answer)
{
    *(int *)answer = clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &far, NULL);
    return NULL;
}

static long wait_on_number(int wanted)
{
    return syscall(SYS_futex, &number, FUTEX_WAIT_BITSET_PRIVATE | FUTEX_CLOCK_REALTIME, wanted, &far, NULL,
                   FUTEX_BITSET_MATCH_ANY);
}

static void handle(int signal)
{
    (void)signal;
}

/* One signal may come before the wait. */
static volatile int is_interrupted;
static void *interrupt(void *thread)
{
    while (!is_interrupted) {
        usleep(20000);
        pthread_kill(*(pthread_t *)thread, SIGUSR1);
    }
    return NULL;
}

static void try_signals(void)
{
    pthread_t self = pthread_self(), other;
    sem_t semaphore;
    int slept = 0;
    sem_init(&semaphore, 0, 0);
    pthread_create(&other, NULL, interrupt, &self);
    sleep_long(&slept);
    expect("clock_nanosleep, signal", slept, EINTR);
    expect("semaphore, signal", sem_timedwait(&semaphore, &far) == -1 ? errno : 0, EINTR);
    expect("futex, signal", wait_on_number(number) == -1 ? errno : 0, EINTR);
    is_interrupted = 1;
    pthread_join(other, NULL);
    is_interrupted = 0;
}

static void *change_number(void *nothing)
{
    usleep(120000); /* in the third slice */
    __atomic_add_fetch(&number, 1, __ATOMIC_RELEASE);
    if (*filter == '\0') /* there the wait goes on in slices, and the wake may come between two of them */
        syscall(SYS_futex, &number, FUTEX_WAKE_PRIVATE, 1);
    return nothing;
}

static void try_futexes(void)
{
    struct futex_waitv two[2] = {{1, (uintptr_t) & (int){1}, FUTEX_32 | FUTEX_PRIVATE_FLAG, 0},
                                 {0, (uintptr_t)&number, FUTEX_32 | FUTEX_PRIVATE_FLAG, 0}};
    pthread_t other;
    pthread_create(&other, NULL, change_number, NULL);
    expect("futex, woken", wait_on_number(number), 0);
    pthread_join(other, NULL);
    expect("futex, another value", wait_on_number(number + 1) == -1 ? errno : 0, EAGAIN);
    two[1].val = (uint64_t)number;
    pthread_create(&other, NULL, change_number, NULL);
    const long woken = syscall(SYS_futex_waitv, two, 2, 0, &far, CLOCK_REALTIME);
    pthread_join(other, NULL);
    if (woken != -1 || (errno != ENOSYS && errno != EAGAIN))
        expect("futexes, woken", woken, 1);
}

static void try_cancellation(void)
{
    pthread_t sleeper;
    void *end = NULL;
    int slept;
    pthread_create(&sleeper, NULL, sleep_long, &slept);
    usleep(20000);
    pthread_cancel(sleeper);
    pthread_join(sleeper, &end);
    expect("clock_nanosleep, cancelled", end == PTHREAD_CANCELED, 1);
}

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
static int is_there;

/* Holds the mutex while slices end, so that nobody waits on the condition when it is signalled. */
static void *send_while_nobody_waits(void *nothing)
{
    usleep(20000);
    pthread_mutex_lock(&mutex);
    usleep(60000);
    is_there = 1;
    pthread_mutex_unlock(&mutex);
    pthread_cond_signal(&condition);
    return nothing;
}

static void try_conditions(void)
{
    pthread_t other;
    for (int i = 0; i < 5; ++i) {
        pthread_mutex_lock(&mutex);
        is_there = 0;
        pthread_create(&other, NULL, send_while_nobody_waits, NULL);
        while (!is_there)
            if (pthread_cond_timedwait(&condition, &mutex, &far) != 0)
                break;
        expect("condition, signalled", is_there, 1);
        pthread_mutex_unlock(&mutex);
        pthread_join(other, NULL);
    }
}

static void *count_wakes(void *wakes)
{
    struct rusage usage;
    int slept;
    sleep_long(&slept);
    getrusage(RUSAGE_THREAD, &usage);
    *(long *)wakes = usage.ru_nvcsw;
    return NULL;
}

/* Changes somebody else's clock for two seconds, as fast as can be. */
static void try_changes(void)
{
    const int control = open(ZYNOV_PATH, O_RDONLY);
    struct zynov_iov clock = {.version = ZYNOV_IOV_VERSION, .id = 12345, .vtime = 1924419600, .flags = ZYNOV_USER};
    struct zynov_iov deleted = clock;
    long wakes = 0, changes = 0;
    pthread_t sleeper;
    struct timespec begin, now;
    deleted.vtime = ZYNOV_USER;
    pthread_create(&sleeper, NULL, count_wakes, &wakes);
    clock_gettime(CLOCK_MONOTONIC, &begin);
    do {
        changes += ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) == 0;
        changes += ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &deleted) == 0;
        clock_gettime(CLOCK_MONOTONIC, &now);
    } while (now.tv_sec - begin.tv_sec < 3);
    while (pthread_tryjoin_np(sleeper, NULL) != 0) { /* a signal may come between two waits */
        pthread_kill(sleeper, SIGUSR1);
        usleep(20000);
    }
    expect("clock_nanosleep, many changes", changes >= 2 && wakes < 60, 1);
}

int main(void)
{
    const struct sock_filter allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    const struct sock_fprog all = {1, (struct sock_filter *)&allow};
    alarm(120); /* ends a hang */
    sigaction(SIGUSR1, &(struct sigaction){.sa_handler = handle}, NULL);
    clock_gettime(CLOCK_REALTIME, &far);
    far.tv_sec += 3600;
    try_signals();
    try_futexes();
    try_cancellation();
    try_conditions();
    try_changes();
    filter = ", under a filter"; /* as before Linux 5.16: only futex(2) */
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    expect("filter", prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &all), 0);
    try_signals();
    try_futexes();
    return bad != 0;
}
