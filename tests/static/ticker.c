/* Prints what each call says of the time, once for each line that it is sent. */
#include <stdio.h>
#include <sys/time.h>
#include <time.h>

int main(void)
{
    char line[16];
    while (fgets(line, sizeof line, stdin) != NULL) {
        struct timespec realtime, coarse;
        struct timeval day;
        clock_gettime(CLOCK_REALTIME, &realtime);
        clock_gettime(CLOCK_REALTIME_COARSE, &coarse);
        gettimeofday(&day, NULL);
        printf("%ld %ld %ld %ld\n", (long)time(NULL), (long)realtime.tv_sec, (long)coarse.tv_sec, (long)day.tv_sec);
        fflush(stdout);
    }
    return 0;
}
