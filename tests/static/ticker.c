/* Prints the time by each call, once for each line of input, after a vforked child has read it. */
#define _GNU_SOURCE
#include <stdio.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

int main(void)
{
    char line[16];
    while (fgets(line, sizeof line, stdin) != NULL) {
        struct timespec realtime, coarse, atomic;
        struct timeval day;
        struct timex state = {0};
        if (vfork() == 0)
            _exit(time(NULL) < 0);
        wait(NULL);
        adjtimex(&state);
        clock_gettime(CLOCK_REALTIME, &realtime);
        clock_gettime(CLOCK_REALTIME_COARSE, &coarse);
        clock_gettime(CLOCK_TAI, &atomic);
        gettimeofday(&day, NULL);
        printf("%ld %ld %ld %ld %ld\n", (long)time(NULL), (long)realtime.tv_sec, (long)coarse.tv_sec, (long)day.tv_sec,
               (long)atomic.tv_sec - state.tai);
        fflush(stdout);
    }
    return 0;
}
