/*
 * What readings cost, in nanoseconds of the monotonic clock. Usage:
 *   cost readings             clock_gettime, gettimeofday, time, clock_gettime by system call: one line of four numbers
 *   cost work                 how much a process gets done in a second that shows no clock to anybody
 *   cost change               adds a user's clock, and deletes it: microseconds of one of the two
 *   cost crowd NUMBER COMMAND...  runs a command beside so many processes that have read the time
 */
#define _GNU_SOURCE
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/zynov.h"

enum { ROUNDS = 31, CALLS = 2000 };

static long long monotonic(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

static void read_by(int way)
{
    struct timespec now;
    struct timeval then;
    if (way == 0)
        clock_gettime(CLOCK_REALTIME, &now);
    else if (way == 1)
        gettimeofday(&then, NULL);
    else if (way == 2)
        time(NULL);
    else
        syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
}

static int compare(const void *one, const void *other)
{
    const double *a = one, *b = other;
    return (*a > *b) - (*a < *b);
}

static double middle(double *took)
{
    qsort(took, ROUNDS, sizeof *took, compare);
    return took[ROUNDS / 2];
}

static double reading(int way)
{
    double took[ROUNDS];
    for (int round = -1; round < ROUNDS; ++round) {
        const long long begin = monotonic();
        for (int i = 0; i < CALLS; ++i)
            read_by(way);
        if (round >= 0)
            took[round] = (double)(monotonic() - begin) / CALLS;
    }
    return middle(took);
}

static int change(void)
{
    double took[ROUNDS];
    const int file = open(ZYNOV_PATH, O_RDONLY);
    for (int round = 0; round < ROUNDS; ++round) {
        struct zynov_iov add = {
            .version = ZYNOV_IOV_VERSION, .id = 1000, .flags = ZYNOV_USER, .vtime = 1924419600, .speed = 1};
        struct zynov_iov delete = {.version = ZYNOV_IOV_VERSION, .id = 1000, .vtime = ZYNOV_USER};
        const long long begin = monotonic();
        if (ioctl(file, ZYNOV_IOC_ADD_CLOCK, &add) || ioctl(file, ZYNOV_IOC_DELETE_CLOCK, &delete))
            return perror(ZYNOV_PATH), 1;
        took[round] = (double)(monotonic() - begin) / 2000;
    }
    printf("%.0f\n", middle(took));
    return 0;
}

static int work(void)
{
    const long long end = monotonic() + 1000000000;
    long long done = 0;
    for (; monotonic() < end; ++done)
        for (volatile int i = 0; i < 1000; ++i) {
        }
    printf("%lld\n", done);
    return 0;
}

static int crowd(int number, char **command)
{
    int ready[2];
    char token = 0;
    if (pipe(ready))
        return 1;
    for (int i = 0; i < number; ++i) {
        const pid_t child = fork();
        if (child < 0)
            return perror("fork"), 1;
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            time(NULL);
            if (write(ready[1], "", 1) == 1)
                pause();
            _exit(0);
        }
    }
    for (int i = 0; i < number; ++i)
        if (read(ready[0], &token, 1) != 1)
            return 1;
    const pid_t child = fork();
    if (child == 0) {
        execvp(command[0], command);
        _exit(127);
    }
    int status;
    waitpid(child, &status, 0);
    signal(SIGTERM, SIG_IGN);
    kill(0, SIGTERM);
    while (wait(NULL) > 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int main(int argc, char **argv)
{
    if (argc > 3 && strcmp(argv[1], "crowd") == 0)
        return setpgid(0, 0), crowd(atoi(argv[2]), argv + 3);
    if (argc > 1 && strcmp(argv[1], "work") == 0)
        return work();
    if (argc > 1 && strcmp(argv[1], "change") == 0)
        return change();
    for (int way = 0; way < 4; ++way)
        printf("%.1f%c", reading(way), way < 3 ? ' ' : '\n');
    return 0;
}
