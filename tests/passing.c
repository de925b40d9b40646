/*
 * A storm over monotonic time, under zynov-sim --intervals: processes with threads, a signal handler, forked children
 * and new programs read it, while others set, change and delete the clock of their group. Whatever one has read, no
 * other may read less afterwards, and time may not stand.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/zynov.h"

enum { PROCESSES = 3, PROGRAMS = 3, ROUNDS = 60, READINGS = 3000, GROUP = 54321 };

static const clockid_t sources[] = {CLOCK_MONOTONIC, CLOCK_MONOTONIC_RAW, CLOCK_MONOTONIC_COARSE, CLOCK_BOOTTIME};
enum { SOURCES = sizeof sources / sizeof *sources };

/* In memory that all share. */
static struct shared {
    atomic_llong latest[SOURCES];
    atomic_int back, stood, changes, readers;
} *shared;

static int (*bare_clock_gettime)(clockid_t, struct timespec *);

static long long nanoseconds(struct timespec time)
{
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static long long bare(void)
{
    struct timespec time;
    bare_clock_gettime(CLOCK_MONOTONIC, &time);
    return nanoseconds(time);
}

/* Of a source, by the C library or by a system call, which may be a slow way: what others read meanwhile is not late. */
static long long read_on(int source, int by_call)
{
    struct timespec time;
    const long long before = atomic_load(&shared->latest[source]);
    if (by_call)
        syscall(SYS_clock_gettime, sources[source], &time);
    else
        clock_gettime(sources[source], &time);
    const long long now = nanoseconds(time);
    if (now < before && atomic_fetch_add(&shared->back, 1) < 5)
        dprintf(1, "source %d went back by %lld ns\n", source, before - now);
    for (long long latest = before; latest < now;)
        if (atomic_compare_exchange_weak(&shared->latest[source], &latest, now))
            break;
    return now;
}

static void handle(int number)
{
    read_on(number == SIGPROF ? 0 : 1, 0);
}

/* The slowest clock has a thousandth of the real speed. */
static void *read_all(void *unused)
{
    long long shown = read_on(0, 0), start = bare();
    for (int i = 0; i < READINGS; ++i) {
        read_on(i % SOURCES, i % 7 == 0);
        if (i % 500 == 499) {
            const long long later = bare(), then = read_on(0, 0);
            if (then - shown < (later - start) / 2000 && atomic_fetch_add(&shared->stood, 1) < 5)
                dprintf(1, "%lld ns in %lld\n", then - shown, later - start);
            shown = read_on(0, 0), start = bare();
        }
    }
    return unused;
}

static void read_in_threads_and_children(void)
{
    const struct itimerval often = {{0, 300}, {0, 300}}, never = {{0, 0}, {0, 0}};
    signal(SIGPROF, handle);
    setitimer(ITIMER_PROF, &often, NULL);
    for (int round = 0; round < ROUNDS; ++round) {
        pthread_t others[2];
        for (int i = 0; i < 2; ++i)
            pthread_create(&others[i], NULL, read_all, NULL);
        const pid_t child = fork();
        read_all(NULL);
        if (child == 0)
            _exit(0);
        waitpid(child, NULL, 0);
        for (int i = 0; i < 2; ++i)
            pthread_join(others[i], NULL);
    }
    setitimer(ITIMER_PROF, &never, NULL);
}

static void change_clocks(void)
{
    static const long speeds[] = {60, 1000, -4, 0, 1, -1000, 7, 1000, -1000000, 5000};
    const int control = open(ZYNOV_PATH, O_RDONLY);
    for (unsigned turn = 0; atomic_load(&shared->readers) > 0; ++turn) {
        struct zynov_iov clock = {.version = ZYNOV_IOV_VERSION, .id = getegid(), .vtime = ZYNOV_GROUP};
        if (turn % 3 != 2) /* set anew, or gone for a while */
            ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &clock);
        clock.vtime = 1924419600;
        clock.flags = ZYNOV_GROUP;
        clock.speed = speeds[turn / 3 % (sizeof speeds / sizeof *speeds)];
        if (turn % 3 != 1 && ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) == 0)
            atomic_fetch_add(&shared->changes, 1);
        usleep(turn % 1000);
    }
}

/* passing: the whole storm. passing FILE PROGRAMS: one of its processes, that starts itself so many times. */
int main(int argc, char **argv)
{
    bare_clock_gettime = (int (*)(clockid_t, struct timespec *))dlsym(dlopen("libc.so.6", RTLD_NOW), "clock_gettime");
    const int file = argc > 1 ? atoi(argv[1]) : memfd_create("latest", 0);
    if (argc == 1 && ((getegid() == 0 && setresgid(GROUP, GROUP, GROUP) != 0) || ftruncate(file, sizeof *shared) != 0))
        return 1;
    shared = mmap(NULL, sizeof *shared, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (argc > 1) {
        const int left = atoi(argv[2]) - 1;
        char number[16];
        read_in_threads_and_children();
        snprintf(number, sizeof number, "%d", left);
        if (left > 0)
            execl("/proc/self/exe", argv[0], argv[1], number, (char *)NULL);
        return 0;
    }
    shared->readers = PROCESSES;
    for (int i = 0; i < PROCESSES; ++i)
        if (fork() == 0) {
            char number[16], programs[16];
            snprintf(number, sizeof number, "%d", file);
            snprintf(programs, sizeof programs, "%d", PROGRAMS);
            execl("/proc/self/exe", argv[0], number, programs, (char *)NULL);
        }
    if (fork() == 0) {
        change_clocks();
        _exit(0);
    }
    while (wait(NULL) > 0)
        atomic_fetch_sub(&shared->readers, 1);
    printf("%d back, %d stood, changed: %s\n", shared->back, shared->stood, shared->changes > 9 ? "often" : "hardly");
    return shared->back + shared->stood != 0 || shared->changes < 10;
}
