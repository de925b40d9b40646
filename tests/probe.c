/* What a program sees of the time: each call's seconds. */
#define _GNU_SOURCE
#include <stdio.h>
#include <sys/time.h>
#include <time.h>

static long seconds(clockid_t clock)
{
    struct timespec now;
    clock_gettime(clock, &now);
    return now.tv_sec;
}

int main(void)
{
    struct timeval moment;
    struct timespec instant;
    time_t stored;
    time(&stored);
    gettimeofday(&moment, NULL);
    timespec_get(&instant, TIME_UTC);
    printf("%ld %ld %ld %ld %ld %d\n", (long)stored, (long)moment.tv_sec, seconds(CLOCK_REALTIME),
           seconds(CLOCK_REALTIME_COARSE), (long)instant.tv_sec,
           seconds(CLOCK_MONOTONIC) < 1700000000 && moment.tv_usec < 1000000 && timespec_get(&instant, 99) == 0);
    return 0;
}
