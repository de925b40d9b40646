/* Prints the time that each call returns, and tries the other calls that concern a clock. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/rtc.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timeb.h>
#include <sys/timerfd.h>
#include <sys/timex.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <utime.h>

#include "contract/zynov.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations" /* ftime's */
#define COUNT(array) (sizeof(array) / sizeof *(array))

extern int old_ntp_gettime(struct ntptimeval *) __asm__("ntp_gettime");

static void *volatile wild = (void *)8;

static long seconds(clockid_t clock)
{
    struct timespec now;
    return clock_gettime(clock, &now) == 0 && now.tv_nsec < 1000000000 ? now.tv_sec : -1;
}

/* Prints the time, and the calls that return a different one. */
static void read_all(void)
{
    time_t stored, bare;
    struct timespec instant, atomic;
    struct timeval moment;
    struct timex state = {0}, asked = {0}, by_number = {0};
    struct ntptimeval ntp, old_ntp;
    struct timeb old;
    const time_t now = time(&stored);
    adjtimex(&state);
    clock_adjtime(CLOCK_REALTIME, &asked);
    syscall(SYS_adjtimex, &by_number);
    ntp_gettime(&ntp);
    old_ntp_gettime(&old_ntp);
    ftime(&old);
    syscall(SYS_clock_gettime, CLOCK_TAI, &atomic);
    timespec_get(&instant, TIME_UTC);
    gettimeofday(&moment, NULL);
    const struct {
        const char *name;
        long seconds;
    } readings[] = {
        {"stored", stored},
        {"gettimeofday", moment.tv_usec < 1000000 ? moment.tv_sec : -1},
        {"syscall gettimeofday", syscall(SYS_gettimeofday, &moment, NULL) == 0 ? moment.tv_sec : -1},
        {"realtime", seconds(CLOCK_REALTIME)},
        {"coarse", seconds(CLOCK_REALTIME_COARSE)},
        {"syscall realtime", syscall(SYS_clock_gettime, CLOCK_REALTIME, &instant) == 0 ? instant.tv_sec : -1},
        {"TAI", seconds(CLOCK_TAI) - state.tai},
        {"syscall TAI", atomic.tv_sec - state.tai},
        {"alarm", seconds(CLOCK_REALTIME_ALARM) == -1 ? now : seconds(CLOCK_REALTIME_ALARM)},
        {"timespec_get", instant.tv_sec},
        {"ftime", old.time},
        {"adjtimex", state.time.tv_sec},
        {"clock_adjtime", asked.time.tv_sec},
        {"syscall adjtimex", by_number.time.tv_sec},
        {"ntp_gettimex", ntp.time.tv_sec},
        {"ntp_gettime", old_ntp.time.tv_sec},
#ifdef SYS_time
        {"syscall time", syscall(SYS_time, &bare)},
        {"syscall stored", bare},
#endif
        {"others", seconds(CLOCK_MONOTONIC) < 1700000000 && timespec_get(&instant, 99) == 0 &&
                           syscall(SYS_clock_gettime, CLOCK_REALTIME, wild) == -1 && errno == EFAULT &&
                           syscall(SYS_adjtimex, wild) == -1 && errno == EFAULT
                       ? now
                       : -1},
    };
    printf("%ld", (long)now);
    for (size_t i = 0; i < COUNT(readings); ++i)
        if (labs(readings[i].seconds - now) > 1)
            printf(" %s %ld", readings[i].name, readings[i].seconds);
}

#ifdef __x86_64__
__asm__(".symver old_stime, stime@GLIBC_2.2.5");
#else
__asm__(".symver old_stime, stime@GLIBC_2.17");
#endif
extern int old_stime(const time_t *);

/* Prints the errors of calls that set the time, and of those that only query it. */
static void set_all(void)
{
    if (setresuid(65534, 65534, 65534) != 0) /* so that a call that reaches the kernel does no harm */
        return;
    struct timespec instant = {1800000000, 0};
    struct timeval moment = {1800000000, 0}, left;
    struct timex change = {.modes = ADJ_FREQUENCY}, asked = {.modes = ADJ_OFFSET_SS_READ};
#define ANSWER(call) (errno = 0, (call) < 0 ? errno : 0)
    const int answers[] = {ANSWER(clock_settime(CLOCK_REALTIME, &instant)),
                           ANSWER(settimeofday(&moment, NULL)),
                           ANSWER(old_stime(&instant.tv_sec)),
                           ANSWER(adjtime(&moment, NULL)),
                           ANSWER(adjtimex(&change)),
                           ANSWER(ntp_adjtime(&change)),
                           ANSWER(clock_adjtime(CLOCK_REALTIME, &change)),
                           ANSWER(syscall(SYS_clock_settime, CLOCK_REALTIME, &instant)),
                           ANSWER(syscall(SYS_settimeofday, &moment, NULL)),
                           ANSWER(syscall(SYS_adjtimex, &change)),
                           ANSWER(syscall(SYS_clock_adjtime, CLOCK_REALTIME, &change)),
                           ANSWER(ioctl(0, RTC_SET_TIME, wild)),
                           ANSWER(adjtime(NULL, &left)),
                           ANSWER(adjtimex(&asked)),
                           ANSWER(clock_settime(CLOCK_MONOTONIC, &instant))};
    for (size_t i = 0; i < COUNT(answers); ++i)
        printf("%d ", answers[i]);
    struct itimerspec soon = {.it_value = {time(NULL) + 1000, 0}};
    const int timer = timerfd_create(CLOCK_REALTIME, 0), told = TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET;
    printf("%d ", ANSWER(timerfd_settime(timer, told, &soon, NULL)));
    timerfd_gettime(timer, &soon);
    printf("%d", soon.it_value.tv_sec <= 1000);
}

static void *read_as_nobody(void *unused)
{
    syscall(SYS_setresuid, -1, 65534, -1);
    printf("%ld ", (long)time(NULL));
    return unused;
}

/* Sets the ids of one thread, of a vforked child, and of all threads. */
static void change_ids(void)
{
    pthread_t thread;
    printf("%ld ", (long)time(NULL));
    pthread_create(&thread, NULL, read_as_nobody, NULL);
    pthread_join(thread, NULL);
    printf("%ld ", (long)time(NULL));
    if (vfork() == 0)
        _exit(seteuid(65534));
    printf("%ld ", (long)time(NULL));
    if (vfork() == 0)
        _exit((int)syscall(SYS_setresuid, -1, 65534, -1));
    printf("%ld ", (long)time(NULL));
    if (seteuid(65534) == 0)
        printf("%ld ", (long)time(NULL));
}

static int read_as_child(void *unused)
{
    dprintf(1, "%ld ", (long)time(unused));
    _exit(0);
}

/* Makes children in each way: none inherits its parent's own clock. */
static void make_children(void)
{
    static char stack[65536] __attribute__((aligned(16)));
    printf("%ld ", (long)time(NULL));
    fflush(stdout);
    for (int way = 0; way < 4; ++way) {
        const pid_t child = way == 0   ? fork()
                            : way == 1 ? _Fork()
                            : way == 2 ? clone(read_as_child, stack + sizeof stack, SIGCHLD, NULL)
                                       : syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0);
        if (child == 0)
            read_as_child(NULL);
        waitpid(child, NULL, 0);
    }
    printf("%ld ", (long)time(NULL));
}

/* Gets a clock under a filter that only lets the process read, write, exit and read the clock. */
static void live_in_filter(void)
{
    const struct sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_read, 4, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_write, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clock_gettime, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const struct sock_fprog filter = {COUNT(rules), (struct sock_filter *)rules};
    int go[2], answer[2], status;
    char command[64];
    long now;
    if (pipe(go) + pipe(answer) != 0)
        return;
    const pid_t child = fork();
    if (child == 0) {
        close(go[1]);
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
        do
            now = seconds(CLOCK_TAI), now = time(NULL);
        while (write(answer[1], &now, sizeof now) > 0 && read(go[0], &now, 1) > 0);
        _exit(0);
    }
    close(go[0]), close(answer[1]);
    for (int round = 0; round < 2 && read(answer[0], &now, sizeof now) > 0; ++round) {
        printf("%ld ", now);
        snprintf(command, sizeof command, "./ovuser add p:%d $FREEZE >/dev/null", (int)child);
        if (system(command) >= 0 && write(go[1], "", 1) != 1)
            break;
    }
    close(go[1]);
    waitpid(child, &status, 0);
    printf("%d", status);
}

/* Counts where time() and the coarse clock differ from the exact clock by more than in the kernel: they may lag by at
   most a second, and never show a time before that which the clock was set to. */
static void read_seconds(void)
{
    enum { christmas = 1924419600, process = 3 };
    const int control = open(ZYNOV_PATH, O_RDONLY);
    int odd = 0;
    for (int turn = 0; turn < 300; ++turn) {
        static const int speeds[] = {1, 100, 1000};
        struct zynov_iov clock = {.version = ZYNOV_IOV_VERSION, .id = getpid(), .vtime = christmas, .flags = process};
        clock.speed = speeds[turn % 3];
        odd += ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) != 0;
        odd += time(NULL) < christmas;
        usleep(1000);
        const long before = seconds(CLOCK_REALTIME), whole = time(NULL), coarse = seconds(CLOCK_REALTIME_COARSE);
        odd += whole < before - 1 || coarse < whole || seconds(CLOCK_REALTIME) < coarse;
        clock.vtime = process;
        odd += ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &clock) != 0;
    }
    printf("%d", odd);
}

#ifdef __x86_64__
#define STAT_VERSION 1
#else
#define STAT_VERSION 0
#endif
extern int __xstat(int, const char *, struct stat *), __lxstat(int, const char *, struct stat *);
extern int __fxstat(int, int, struct stat *), __fxstatat(int, int, const char *, struct stat *, int);

/* Sets a file's times to an hour ago, reads them in each way, and counts wrong answers. */
static void date_file(const char *path)
{
    const int file = open(path, O_CREAT | O_RDWR, 0600), version = STAT_VERSION;
    const time_t then = time(NULL) - 3600;
    const struct timespec exact[2] = {{then, 0}, {then, 0}};
    const struct timeval fine[2] = {{then, 0}, {then, 0}};
    const struct utimbuf whole = {then, then};
    int odd = 0;
    for (int way = 0; way < 7; ++way) {
        struct stat seen[8];
        struct statx known;
        utimensat(AT_FDCWD, path, NULL, 0);
        stat(path, seen);
        odd += labs(seen->st_mtime - time(NULL)) > 60;
        odd += (way == 0   ? utimensat(AT_FDCWD, path, exact, 0)
                : way == 1 ? futimens(file, exact)
                : way == 2 ? utime(path, &whole)
                : way == 3 ? utimes(path, fine)
                : way == 4 ? lutimes(path, fine)
                : way == 5 ? futimes(file, fine)
                           : futimesat(AT_FDCWD, path, fine)) != 0;
        odd += stat(path, seen) != 0 || lstat(path, seen + 1) != 0 || fstat(file, seen + 2) != 0 ||
               fstatat(AT_FDCWD, path, seen + 3, 0) != 0 || __xstat(version, path, seen + 4) != 0 ||
               __lxstat(version, path, seen + 5) != 0 || __fxstat(version, file, seen + 6) != 0 ||
               __fxstatat(version, AT_FDCWD, path, seen + 7, 0) != 0;
        for (int by_number = 0; by_number < 2; ++by_number)
            odd += (by_number ? syscall(SYS_statx, AT_FDCWD, path, 0, STATX_BASIC_STATS, &known)
                              : statx(AT_FDCWD, path, 0, STATX_BASIC_STATS, &known)) != 0 ||
                   known.stx_mtime.tv_sec != then;
        for (int i = 0; i < 8; ++i)
            odd += seen[i].st_mtime != then || seen[i].st_atime != then || labs(seen[i].st_ctime - then - 3600) > 60;
    }
    odd += utimes(path, (const struct timeval[2]){{then, 0}, {then, 1000000}}) != -1 || errno != EINVAL;
    odd += futimens(file, wild) != -1 || errno != EFAULT;
    printf("%d", odd);
}

int main(int argc, char **argv)
{
    const char *part = argc > 1 ? argv[1] : "";
    setvbuf(stdout, NULL, _IOFBF, 4096);
    if (*part == '\0')
        read_all();
    else if (strcmp(part, "set") == 0)
        set_all();
    else if (strcmp(part, "ids") == 0)
        change_ids();
    else if (strcmp(part, "children") == 0)
        make_children();
    else if (strcmp(part, "filter") == 0)
        live_in_filter();
    else if (strcmp(part, "seconds") == 0)
        read_seconds();
    else if (strcmp(part, "files") == 0)
        date_file("dated by probe");
    else
        printf("%d", dlopen(part, RTLD_NOW) != NULL);
    putchar('\n');
    return 0;
}
