/* Timers that are armed follow the clock of their process: what is left of them after a change says it. As root. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/zynov.h"

#define CHRISTMAS 1924419600
#define HOUR 3600
#define FROZEN 0

static int file, wrong;

static void is(int line, const char *what, long long seen, long long expected, long long tolerance)
{
    if (seen < expected - tolerance || seen > expected + tolerance) {
        printf("%d: %s: %lld and not %lld\n", line, what, seen, expected);
        wrong = 1;
    }
}

/* A clock of the process's own in place of the one that it has; 0 is none. */
static void set_clock(pid_t process, int64_t value, int64_t speed)
{
    struct zynov_iov record = {.version = ZYNOV_IOV_VERSION, .id = process, .vtime = ZYNOV_PROCESS};
    ioctl(file, ZYNOV_IOC_DELETE_CLOCK, &record);
    record = (struct zynov_iov){ZYNOV_IOV_VERSION, 0, 0, process, value, ZYNOV_PROCESS, speed, 0, 0, 0, 0};
    if (value != 0 && ioctl(file, ZYNOV_IOC_ADD_CLOCK, &record) != 0)
        wrong = 1;
}

/* The clocks before and after, what the timer is armed for, and what is left of it in the end. A value of up to a day
   is counted from the real time, or from the clock before for what it is armed for. */
static const struct row {
    int64_t before, speed_before, armed, after, speed_after, left;
} rows[] = {{0, 1, 2 * HOUR, HOUR, 1, HOUR},
            {0, 1, 2 * HOUR, 3 * HOUR, 1, 0},
            {CHRISTMAS, 1, 2 * HOUR, CHRISTMAS + HOUR, 1, HOUR},
            {CHRISTMAS, 1, 2 * HOUR, CHRISTMAS + 3 * HOUR, 1, 0},
            {CHRISTMAS, FROZEN, 2 * HOUR, CHRISTMAS, -2, 4 * HOUR},
            {CHRISTMAS, 1000, 1000 * HOUR, CHRISTMAS + HOUR, 1, 999 * HOUR},
            {CHRISTMAS, 1, 2 * HOUR, 0, 1, CHRISTMAS + 2 * HOUR},
            {CHRISTMAS / 2, 1, 2 * HOUR, 0, 1, 0}};

static const struct kind {
    const char *name;
    clockid_t clock;
    int descriptor, notify;
} kinds[] = {{"timerfd", CLOCK_REALTIME, 1, 0},
             {"timerfd of TAI", CLOCK_TAI, 1, 0},
             {"timerfd of alarms", CLOCK_REALTIME_ALARM, 1, 0},
             {"timer", CLOCK_REALTIME, 0, SIGEV_SIGNAL},
             {"timer that is silent", CLOCK_REALTIME, 0, SIGEV_NONE}};

static int64_t from_now(int64_t value)
{
    return value > 0 && value <= 24 * HOUR ? time(NULL) + value : value;
}

static void try_row(const struct row *row, const struct kind *kind, int flags)
{
    struct itimerspec setting = {.it_interval.tv_nsec = row == rows ? 1 : 0}, left = {0};
    timer_t timer = 0;
    const int descriptor = kind->descriptor ? timerfd_create(kind->clock, TFD_NONBLOCK) : -1;
    if (kind->descriptor ? descriptor < 0
                         : timer_create(kind->clock, &(struct sigevent){.sigev_notify = kind->notify}, &timer) != 0)
        return;
    set_clock(getpid(), row->before, row->speed_before);
    if (clock_gettime(kind->clock, &setting.it_value) != 0)
        return; /* a machine without an alarm clock */
    setting.it_value.tv_sec = flags ? setting.it_value.tv_sec + row->armed : row->armed;
    if (kind->descriptor)
        timerfd_settime(descriptor, flags, &setting, NULL);
    else
        timer_settime(timer, flags, &setting, NULL);
    set_clock(getpid(), 0, 1);
    const time_t now = time(NULL);
    set_clock(getpid(), from_now(row->after), row->speed_after);
    if (kind->descriptor)
        timerfd_gettime(descriptor, &left);
    else
        timer_gettime(timer, &left);
    int64_t expected = flags ? row->left : row->armed;
    if (expected > CHRISTMAS)
        expected -= now;
    /* A busy machine may take its time between two steps, in which a fast clock goes far. */
    is((int)(row - rows), kind->name, left.it_value.tv_sec, expected, row->speed_before > 1 ? 100 * row->speed_before : 100);
    kind->descriptor ? close(descriptor) : timer_delete(timer);
    set_clock(getpid(), 0, 1);
}

/* What a read of a timerfd says that awaits such news: 0, or the error number. */
static int news(int descriptor)
{
    uint64_t count;
    return read(descriptor, &count, sizeof count) < 0 ? errno : 0;
}

static void cancel_on_set(int descriptor)
{
    const struct itimerspec never = {.it_value.tv_sec = 1LL << 33};
    timerfd_settime(descriptor, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, NULL);
}

/* Of one's own, of a child's, and of one that the child has from its parent. */
static void try_cancelling(void)
{
    const int own = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK), childs = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK);
    int ends[2];
    char byte;
    cancel_on_set(own);
    is(1, "before", news(own), EAGAIN, 0);
    set_clock(getpid(), CHRISTMAS, 1);
    is(2, "set", news(own), ECANCELED, 0);
    is(3, "set, read again", news(own), EAGAIN, 0);
    if (pipe(ends) != 0)
        return;
    const pid_t child = fork();
    if (child == 0) {
        cancel_on_set(childs);
        _exit(write(ends[1], "", 1) == 1 ? pause() : 1);
    }
    is(4, "child", read(ends[0], &byte, 1), 1, 0);
    set_clock(getpid(), CHRISTMAS, 60);
    is(5, "own clock set, child's timer", news(childs), EAGAIN, 0);
    is(6, "own clock set", news(own), ECANCELED, 0);
    set_clock(child, CHRISTMAS, 1);
    is(7, "child's clock set", news(childs), ECANCELED, 0);
    is(8, "child's clock set, own timer", news(own), EAGAIN, 0);
    set_clock(child, 0, 1);
    is(9, "child's clock deleted", news(childs), ECANCELED, 0);
    kill(child, SIGKILL);
    waitpid(child, NULL, 0);
    set_clock(getpid(), 0, 1);
    is(10, "deleted", news(own), ECANCELED, 0);
}

/* A wait of the newer kernels; -1 while it lasts. */
static void try_futex_wait(void)
{
    int number = 0, status = -1;
    const pid_t child = fork();
    if (child == 0) {
        struct timespec until = {CHRISTMAS + HOUR, 0};
        const long result = syscall(455, &number, 0UL, 0xffffffffUL, 2, &until, CLOCK_REALTIME);
        _exit(result < 0 && (errno == ETIMEDOUT || errno == ENOSYS) ? 0 : 1);
    }
    set_clock(child, CHRISTMAS, 1);
    usleep(200000); /* one that begins later goes by the new clock anyway */
    set_clock(child, CHRISTMAS + 2 * HOUR, 1);
    for (int tries = 0; waitpid(child, &status, WNOHANG) == 0 && tries < 6000; ++tries)
        usleep(10000);
    is(11, "futex_wait", status, 0, 0);
    kill(child, SIGKILL);
}

/* What a process has armed follows when it takes another user, by itself or by a program that it executes. */
static void try_other_user(void)
{
    struct zynov_iov add = {.version = ZYNOV_IOV_VERSION, .id = 1000, .flags = ZYNOV_USER, .vtime = CHRISTMAS, .speed = 1};
    struct zynov_iov gone = {.version = ZYNOV_IOV_VERSION, .id = 1000, .vtime = ZYNOV_USER};
    const struct itimerspec setting = {.it_value.tv_sec = CHRISTMAS + 2 * HOUR};
    struct itimerspec left = {0};
    const int own = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK);
    is(12, "user's clock", ioctl(file, ZYNOV_IOC_ADD_CLOCK, &add), 0, 0);
    is(13, "user", seteuid(1000), 0, 0);
    timerfd_settime(own, TFD_TIMER_ABSTIME, &setting, NULL);
    timerfd_gettime(own, &left);
    is(14, "as the user", left.it_value.tv_sec, 2 * HOUR, 100);
    is(15, "root", seteuid(0), 0, 0);
    timerfd_gettime(own, &left);
    is(16, "as root", left.it_value.tv_sec, CHRISTMAS + 2 * HOUR - time(NULL), 100);
    ioctl(file, ZYNOV_IOC_DELETE_CLOCK, &gone);
}

static int idle(void *nothing)
{
    return nothing == NULL ? pause() : 0;
}

/* Who shares memory with the first who has a clock reads the real one, also before the next tick. */
static void try_shared_memory(void)
{
    static char stack[1 << 16];
    const pid_t other = clone(idle, stack + sizeof stack, CLONE_VM | SIGCHLD, NULL);
    for (int i = 0; i < 10; ++i) {
        struct timespec before, after;
        syscall(SYS_clock_gettime, CLOCK_REALTIME_COARSE, &before);
        set_clock(other, CHRISTMAS, 1);
        clock_gettime(CLOCK_REALTIME_COARSE, &after);
        set_clock(other, 0, 1);
        const int64_t forward = (after.tv_sec - before.tv_sec) * 1000000000 + after.tv_nsec - before.tv_nsec;
        is(i, "shared memory", forward < 0, 0, 0);
        usleep(20000);
    }
    kill(other, SIGKILL);
    waitpid(other, NULL, 0);
}

int main(void)
{
    file = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
    signal(SIGALRM, SIG_IGN);
    for (const struct row *row = rows; row < rows + sizeof rows / sizeof *rows; ++row)
        for (const struct kind *kind = kinds; kind < kinds + sizeof kinds / sizeof *kinds; ++kind)
            for (int flags = 0; flags <= TFD_TIMER_ABSTIME; ++flags)
                try_row(row, kind, flags);
    try_cancelling();
    try_futex_wait();
    try_other_user();
    try_shared_memory();
    return wrong;
}
