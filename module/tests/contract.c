/* The rules of the control file, of the module and of the simulator alike, on an empty table. As root. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/clock.h"
#include "contract/zynov.h"

#define ADD ZYNOV_IOC_ADD_CLOCK
#define DELETE ZYNOV_IOC_DELETE_CLOCK
#define RESET ZYNOV_IOC_RESET_ALL
#define SLOTS 1024
#define CHRISTMAS 1924419600

static int file, wrong;

/* 0, or the error number. */
static int ask(unsigned long command, struct zynov_iov *record)
{
    record->version = ZYNOV_IOV_VERSION;
    return ioctl(file, command, record) == 0 ? 0 : errno;
}

static void is(const char *what, long line, long long seen, long long expected)
{
    if (seen != expected) {
        printf("%s (%ld): %lld and not %lld\n", what, line, seen, expected);
        wrong = 1;
    }
}
#define IS(seen, expected) is(#seen, __LINE__, seen, expected)

static long long high_mark(void)
{
    struct zynov_iov record = {0};
    return ask(ZYNOV_IOC_HIGH_MARK, &record) == 0 ? (int32_t)record.speed : -999;
}

static int change(unsigned long command, uint64_t kind, int64_t id, int64_t value, uint64_t container)
{
    struct zynov_iov record = {.id = id, .vtime = value, .flags = kind, .speed = 1, .container_id = container};
    return ask(command, &record);
}

/* Kind, id, value (to delete: the kind) and container; the answer, and the highest slot that is then in use. */
static const struct step {
    unsigned long command;
    uint64_t kind;
    int64_t id, value;
    uint64_t container;
    int error, mark;
} steps[] = {{RESET, 0, 0, 0, 0, ENOENT, -1},
             {ADD, 1, 5, 99999, 0, 0, 0},
             {ADD, 1, 5, 1, 0, EEXIST, 0},
             {ADD, 2, 5, 99999, 0, 0, 1},
             {ADD, 1, 5, ZYNOV_EARLIEST_CLOCK, 9, 0, 2},
             {ADD, 1, 6, ZYNOV_EARLIEST_CLOCK - 1, 0, EINVAL, 2},
             {ADD, 1, 6, ZYNOV_LATEST_CLOCK + 1, 0, EOVERFLOW, 2},
             {ADD, 4, 6, 99999, 0, EDOM, 2},
             {ADD, 0, 6, 99999, 0, EDOM, 2},
             {ADD, 2, 0, 99999, 0, EDOM, 2},
             {ADD, 3, 0x7fffffff, 99999, 0, ESRCH, 2},
             {ADD, 3, -1, 99999, 0, ESRCH, 2},
             {ADD, 3, 1LL << 40, 99999, 0, ESRCH, 2},
             {DELETE, 1, 5, 2, 0, 0, 2},
             {DELETE, 2, 5, 2, 0, EL2HLT, 2},
             {DELETE, 0, 5, 7, 0, EL2HLT, 2},
             {DELETE, 0, 0x7fffffff, 3, 0, EL2HLT, 2},
             {ADD, 1, 7, ZYNOV_LATEST_CLOCK, 0, 0, 2},
             {RESET, 0, 0, 0, 9, 0, 1},
             {RESET, 0, 0, 0, 9, ENOENT, 1},
             {DELETE, 0, 7, 1, 0, 0, 0},
             {ADD, 1, -2, CHRISTMAS, 0, 0, 1},
             {RESET, 0, 0, 0, 0, 0, -1}};

static void try_steps(void)
{
    for (const struct step *step = steps; step < steps + sizeof steps / sizeof *steps; ++step) {
        is("step", step - steps, change(step->command, step->kind, step->id, step->value, step->container), step->error);
        is("mark after step", step - steps, high_mark(), step->mark);
    }
}

static void try_records(void)
{
    struct zynov_iov old = {.version = 170}, past = {.slot = SLOTS};
    struct zynov_iov set = {.id = 5, .vtime = CHRISTMAS, .flags = 0x101, .origin = -7, .container_id = 9}, got = {0};
    IS(ioctl(file, RESET, &old) < 0 ? errno : 0, EILSEQ);
    IS(ioctl(file, ZYNOV_IOC_HIGH_MARK, &old) < 0 ? errno : 0, EILSEQ);
    IS(ioctl(file, ZYNOV_IOC_HIGH_MARK, NULL) < 0 ? errno : 0, EFAULT);
    IS(ask(ZYNOV_IOC_GET_SLOT, &past), EINVAL);
    got.vtime = 1;
    IS(ask(ZYNOV_IOC_GET_SLOT, &got), 0);
    IS(got.id, 0);
    IS(got.vtime, 1);

    IS(ask(ADD, &set), 0);
    IS(set.vtime, CHRISTMAS);
    IS(ask(ZYNOV_IOC_GET_SLOT, &got), 0);
    IS(got.id, 5);
    IS(got.vtime, CHRISTMAS); /* it stands still */
    IS(got.flags, 0x101);
    IS(got.speed, 0);
    IS(got.origin, -7);
    IS(got.base, CHRISTMAS + 7);
    IS(got.container_id, 9);
    IS(change(RESET, 0, 0, 0, 9), 0);
}

static void *try_thread(void *unused)
{
    IS(change(ADD, 3, gettid(), CHRISTMAS, 0), ESRCH);
    return unused;
}

/* A clock ends with its process, of which nobody is told apart by a number. */
static void try_process(void)
{
    int ends[2];
    char byte;
    pthread_t thread;
    if (pipe(ends) != 0 || pthread_create(&thread, NULL, try_thread, NULL) != 0)
        return;
    pthread_join(thread, NULL);
    const pid_t child = fork();
    if (child == 0)
        _exit(read(ends[0], &byte, 1) == 1 ? 0 : 1);
    IS(change(ADD, 3, child, CHRISTMAS, 0), 0);
    IS(change(ADD, 3, child, CHRISTMAS, 0), EEXIST);
    IS(high_mark(), 0);
    IS(change(DELETE, 0, child, 3, 0), 0);
    IS(change(ADD, 3, child, CHRISTMAS, 0), 0);
    IS(write(ends[1], "", 1), 1);
    waitpid(child, NULL, 0);
    IS(high_mark(), -1);
    IS(change(DELETE, 0, child, 3, 0), EL2HLT);
    IS(change(RESET, 0, 0, 0, 0), ENOENT);
}

/* Asks about a clock, or sets what the bits say; the answer is an error, or what it has then. */
static struct zynov_iov refine(uint64_t kind, int64_t id, uint64_t what, int64_t nanoseconds, int64_t offset, int error)
{
    struct zynov_iov record = {.id = id, .flags = kind, .spare = what, .vtime = nanoseconds, .origin = offset};
    IS(ask(ZYNOV_IOC_REFINE_CLOCK, &record), error);
    return record;
}

static int is_christmas(void)
{
    return time(NULL) >= CHRISTMAS;
}

/* A child, and a child of that; the result is for _exit. */
static int look_below(pid_t first)
{
    int status = -1;
    IS(refine(3, getpid(), 0, 0, 0, 0).base, 1);
    IS(is_christmas(), 1);
    if (fork() == 0) {
        const struct zynov_iov got = refine(3, getpid(), 0, 0, 0, 0);
        IS(got.id, first);
        IS(got.base, 2);
        IS(got.spare, 4);
        _exit(wrong || !is_christmas());
    }
    wait(&status);
    return wrong || status != 0;
}

/* Those have the clock that are made while it is passed on. */
static void try_passing_on(void)
{
    int first[2], second[2], up[2], status = -1;
    char byte = 0;
    const pid_t self = getpid();
    if (pipe(first) != 0 || pipe(second) != 0 || pipe(up) != 0)
        return;
    const pid_t before = fork();
    if (before == 0)
        _exit(read(first[0], &byte, 1) != 1 || is_christmas());
    IS(refine(3, self, 4, 0, 0, 0).spare, 4);
    const pid_t child = fork();
    if (child == 0) {
        byte = (char)look_below(self);
        _exit(write(up[1], &byte, 1) != 1 || read(second[0], &byte, 1) != 1 || is_christmas());
    }
    IS(read(up[0], &byte, 1), 1);
    IS(byte, 0);
    IS(refine(3, child, 0, 0, 0, 0).id, self);
    refine(3, child, 1, 0, 0, ENOENT);
    refine(3, before, 0, 0, 0, ENOENT);
    IS(high_mark(), 0);
    IS(write(first[1], "", 1), 1);
    IS(waitpid(before, &status, 0), before);
    IS(status, 0);
    IS(change(DELETE, 0, self, 3, 0), 0);
    refine(3, child, 0, 0, 0, ENOENT);
    IS(write(second[1], "", 1), 1);
    IS(waitpid(child, &status, 0), child);
    IS(status, 0);
}

/* One that lasts is still found by the number of its first process when that has ended. */
static void try_lasting(void)
{
    int ends[2];
    char byte;
    if (pipe(ends) != 0)
        return;
    const pid_t first = fork();
    if (first == 0) {
        setsid(); /* or its number is kept by the session of those that it leaves */
        IS(change(ADD, 3, getpid(), CHRISTMAS, 0), 0);
        refine(3, getpid(), 12, 0, 0, 0);
        if (fork() == 0) {
            setsid();
            close(ends[1]);
            _exit(read(ends[0], &byte, 1) > 0);
        }
        _exit(wrong);
    }
    close(ends[0]);
    waitpid(first, NULL, 0);
    IS(high_mark(), 0);
    IS(refine(3, first, 0, 0, 0, 0).spare, 12);
    IS(change(DELETE, 0, first, 3, 0), 0);
    IS(high_mark(), -1);
    close(ends[1]);
}

static void try_refining(void)
{
    struct zynov_iov got;
    refine(1, 5, 0, 0, 0, ENOENT);
    refine(1, 5, 1, 0, 0, ENOENT);
    IS(change(ADD, 1, 5, CHRISTMAS, 0), 0);
    refine(1, 5, 1, ZYNOV_SECOND, 0, EINVAL);
    refine(1, 5, 1, -1, 0, EINVAL);
    refine(1, 5, 2, 0, ZYNOV_DAY, EINVAL);
    refine(1, 5, 2, 0, -ZYNOV_DAY, EINVAL);
    refine(1, 5, 3, 7, ZYNOV_DAY, EINVAL); /* nothing of it is set */
    refine(1, 5, 4, 0, 0, EINVAL);
    refine(1, 5, 8, 0, 0, EINVAL);
    refine(1, 5, 16, 0, 0, EINVAL);
    got = refine(1, 5, 0, 9, 9, 0);
    IS(got.spare, 0);
    IS(got.vtime, 0);
    got = refine(1, 5, 3, 999999999, -3600, 0);
    IS(got.spare, 3);
    got = refine(1, 5, 0, 0, 0, 0);
    IS(got.spare, 3);
    IS(got.vtime, 999999999);
    IS(got.origin, -3600);
    IS(change(RESET, 0, 0, 0, 0), 0);

    IS(change(ADD, 3, getpid(), CHRISTMAS, 0), 0);
    try_passing_on();
    IS(change(ADD, 3, getpid(), CHRISTMAS, 0), 0);
    refine(3, getpid(), 8, 0, 0, EINVAL);
    IS(refine(3, getpid(), 4, 0, 0, 0).spare, 4);
    IS(refine(3, getpid(), 8, 0, 0, 0).spare, 12);
    IS(change(RESET, 0, 0, 0, 0), 0);
}

static void try_full(void)
{
    for (int64_t id = 100; id < 100 + SLOTS; ++id)
        if (change(ADD, 1, id, CHRISTMAS, 0) != 0)
            IS(id, -1);
    IS(high_mark(), SLOTS - 1);
    IS(change(ADD, 1, 99, CHRISTMAS, 0), ENOSPC);
    IS(change(DELETE, 0, 107, 1, 0), 0);
    IS(change(ADD, 2, 99, CHRISTMAS, 0), 0); /* in the slot that is free */
    IS(high_mark(), SLOTS - 1);
    IS(change(RESET, 0, 0, 0, 0), 0);
    IS(high_mark(), -1);
}

int main(void)
{
    file = open(ZYNOV_PATH, O_RDONLY);
    if (file < 0)
        return perror(ZYNOV_PATH), 1;
    try_steps();
    try_records();
    try_process();
    try_refining();
    try_lasting();
    try_full();
    return wrong;
}
