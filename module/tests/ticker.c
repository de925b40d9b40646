/* Shows the time by the vDSO, line by line. Usage: ticker MILLISECONDS */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

int main(int argc, char **argv)
{
    const struct timespec rest = {0, atol(argc > 1 ? argv[1] : "200") * 1000000};
    for (;;) {
        struct timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        printf("%lld\n", (long long)now.tv_sec);
        fflush(stdout);
        nanosleep(&rest, NULL);
    }
}
