/* Every way to read the real-time clock. Usage: readings SECONDS [WIDTH]: what all of them show, or little more. */
#define _GNU_SOURCE
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <time.h>
#include <unistd.h>

static long long expected, width = 60;
static int wrong;

static void is(const char *what, long long seen)
{
    if (seen < expected || seen > expected + width) {
        printf("%s: %lld\n", what, seen);
        wrong = 1;
    }
}

static long long by(clockid_t source, int bare)
{
    struct timespec now = {0};
    if (bare ? syscall(SYS_clock_gettime, source, &now) : clock_gettime(source, &now))
        return -1;
    return now.tv_sec;
}

int main(int argc, char **argv)
{
    struct timeval now;
    struct timex timex = {0};
    if (argc < 2)
        return 2;
    expected = atoll(argv[1]);
    if (argc > 2)
        width = atoll(argv[2]);
    for (int bare = 0; bare < 2; ++bare) {
        const clockid_t sources[] = {CLOCK_REALTIME, CLOCK_REALTIME_COARSE, CLOCK_REALTIME_ALARM};
        static const char *const names[] = {"realtime", "coarse", "alarm"};
        for (int i = 0; i < 3; ++i) {
            const long long seen = by(sources[i], bare);
            if (i < 2 || seen >= 0) /* there are machines without an alarm */
                is(names[i], seen);
        }
        is("tai", by(CLOCK_TAI, bare));
        is("time", time(NULL));
#ifdef SYS_time
        is("time by call", syscall(SYS_time, NULL));
#endif
        if (bare)
            syscall(SYS_gettimeofday, &now, NULL);
        else
            gettimeofday(&now, NULL);
        is("gettimeofday", now.tv_sec);
    }
    adjtimex(&timex);
    is("adjtimex", timex.time.tv_sec);
    /* One reading is never before another. */
    for (int i = 0; i < 20000; ++i) {
        struct timespec one, other;
        clock_gettime(CLOCK_REALTIME, &one);
        syscall(SYS_clock_gettime, CLOCK_REALTIME, &other);
        if (other.tv_sec < one.tv_sec || (other.tv_sec == one.tv_sec && other.tv_nsec < one.tv_nsec)) {
            printf("went back\n");
            return 1;
        }
        clock_gettime(CLOCK_REALTIME, &one);
        if (one.tv_sec < other.tv_sec || (other.tv_sec == one.tv_sec && one.tv_nsec < other.tv_nsec)) {
            printf("went back after a system call\n");
            return 1;
        }
    }
    return wrong;
}
