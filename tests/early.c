/* A library that reads the time while the loader relocates it, before the loader has relocated the libraries ahead of
 * it. */
#include <stdio.h>
#include <sys/time.h>
#include <time.h>

static int is_real(void)
{
    return 1;
}

static int is_odd(void)
{
    return 0;
}

static int (*resolve(void))(void)
{
    struct timespec instant = {0};
    struct timeval moment = {0};
    const int done = clock_gettime(CLOCK_REALTIME, &instant) == 0 && gettimeofday(&moment, NULL) == 0;
    return done && time(NULL) - instant.tv_sec < 2 && moment.tv_sec - instant.tv_sec < 2 ? is_real : is_odd;
}

int look(void) __attribute__((ifunc("resolve")));

__attribute__((constructor)) static void load(void)
{
    printf("%s ", look() ? "early" : "odd");
    fflush(stdout);
}
