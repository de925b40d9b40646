/* Waits in every way for a length, or until an instant of a clock that counts from the machine's start, each in a
   process of its own, since some are alarms. None may end before its clock has moved by that, nor before the real
   time in which it should.
   With another speed, the clock gets it meanwhile.
   Usage: lengths SPEED|none MILLISECONDS_OF_THE_CLOCK REAL_MILLISECONDS [OTHER_SPEED], on the simulator */
#define _GNU_SOURCE
#include "tests/lengths.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "contract/zynov.h"

struct timespec length;
int milliseconds, ends[2], files;
sigset_t alarms;
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;

static void ignore(int signal)
{
    (void)signal;
}

static int (*bare_clock_gettime)(clockid_t, struct timespec *);

static double milliseconds_by(int (*read)(clockid_t, struct timespec *))
{
    struct timespec time;
    read(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec * 1e3 + (double)time.tv_nsec / 1e6;
}

/* The kernel has its real end. */
static int is_kept(const char *name)
{
    static const char *const kept[] = {"timer", "alarm", "ualarm", "setitimer", "so_", "aio", "interrupted", "boot"};
    for (size_t i = 0; i < sizeof kept / sizeof *kept; ++i)
        if (strstr(name, kept[i]) != NULL)
            return 1;
    return 0;
}

static void set_clock(pid_t process, const char *speed, int is_there)
{
    struct zynov_iov clock = {.version = ZYNOV_IOV_VERSION, .id = process, .flags = ZYNOV_PROCESS};
    const int control = open(ZYNOV_PATH, O_RDONLY);
    clock.vtime = ZYNOV_PROCESS;
    if (is_there && ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &clock) != 0)
        perror("delete");
    clock.vtime = 1924419600;
    clock.speed = atoi(speed);
    if (strcmp(speed, "none") != 0 && ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) != 0)
        perror("add");
    close(control);
}

static void change_clock_soon(const char *speed)
{
    const pid_t process = getpid();
    if (fork() != 0)
        return;
    poll(NULL, 0, 200); /* a wait that begins later goes by the new clock anyway */
    set_clock(process, speed, 1);
    _exit(0);
}

static void *hold_lock(void *nothing)
{
    pthread_rwlock_wrlock(&lock);
    return nothing;
}

static int go(const struct way *way, char **arguments)
{
    const double least = arguments[3] != NULL ? 0 : atof(arguments[2]);
    pthread_t holder;
    signal(SIGALRM, ignore);
    sigemptyset(&alarms);
    sigaddset(&alarms, SIGALRM);
    sigprocmask(SIG_BLOCK, &alarms, NULL);
    socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
    files = epoll_create1(0);
    pthread_mutex_lock(&mutex);
    pthread_create(&holder, NULL, hold_lock, NULL);
    pthread_join(holder, NULL);
    set_clock(getpid(), arguments[0], 0);
    if (arguments[3] != NULL)
        change_clock_soon(arguments[3]);
    const double begin = milliseconds_by(bare_clock_gettime), shown = milliseconds_by(clock_gettime);
    const int passed = way->wait();
    const int error = errno;
    const double lasted = milliseconds_by(bare_clock_gettime) - begin;
    const double moved = milliseconds_by(clock_gettime) - shown;
    const int is_early = lasted + 1e-4 < least || moved + 1e-4 < milliseconds;
    if (!passed || is_early)
        printf("%s: %s after %.3f ms, %.3f by the clock\n", way->name, passed ? "early" : strerror(error), lasted,
               moved);
    fflush(stdout);
    _exit(!passed || is_early);
}

int main(int argc, char **argv)
{
    pid_t children[way_count];
    int bad = 0, status = 0;
    if (argc < 4)
        return 2;
    milliseconds = atoi(argv[2]);
    length = (struct timespec){milliseconds / 1000, milliseconds % 1000 * 1000000};
    bare_clock_gettime = (int (*)(clockid_t, struct timespec *))dlsym(dlopen("libc.so.6", RTLD_LAZY), "clock_gettime");
    for (size_t i = 0; i < way_count; ++i)
        if (argc > 4 && is_kept(ways[i].name))
            children[i] = -1;
        else if ((children[i] = fork()) == 0)
            go(&ways[i], argv + 1);
    const double latest = milliseconds_by(bare_clock_gettime) + atof(argv[3]) + 30000; /* on a loaded machine */
    for (size_t i = 0; i < way_count; ++i) {
        pid_t ended = children[i] < 0 ? -1 : 0;
        while (ended == 0 && (ended = waitpid(children[i], &status, WNOHANG)) == 0)
            if (milliseconds_by(bare_clock_gettime) < latest)
                poll(NULL, 0, 10);
            else
                kill(children[i], SIGKILL);
        if (ended > 0 && WIFSIGNALED(status))
            printf("%s: hangs\n", ways[i].name);
        bad |= ended > 0 && status != 0;
    }
    return bad;
}
