/* Threads that take on the user 1000, who has a clock, while others stay root. As root. */
#define _GNU_SOURCE
#include <pthread.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static pthread_barrier_t meeting;
static int wrong;

static void look(int clocked, int line)
{
    for (int bare = 0; bare < 2; ++bare) {
        struct timespec now;
        if (bare)
            syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
        else
            clock_gettime(CLOCK_REALTIME, &now);
        if ((now.tv_sec > 1900000000) != clocked) {
            printf("%d: %s shows %lld\n", line, bare ? "the call" : "the vDSO", (long long)now.tv_sec);
            __atomic_store_n(&wrong, 1, __ATOMIC_RELAXED);
        }
    }
}

static void *change(void *nothing)
{
    look(0, __LINE__);
    pthread_barrier_wait(&meeting);
    for (int i = 0; i < 50; ++i) {
        syscall(SYS_setresuid, -1, 1000, -1);
        look(1, __LINE__);
        syscall(SYS_setresuid, -1, 0, -1);
        look(0, __LINE__);
    }
    syscall(SYS_setresuid, -1, 1000, -1);
    pthread_barrier_wait(&meeting);
    look(1, __LINE__);
    pthread_barrier_wait(&meeting);
    return nothing;
}

int main(void)
{
    pthread_t other;
    pthread_barrier_init(&meeting, NULL, 2);
    look(0, __LINE__);
    pthread_create(&other, NULL, change, NULL);
    pthread_barrier_wait(&meeting);
    for (int i = 0; i < 1000; ++i)
        look(0, __LINE__);
    pthread_barrier_wait(&meeting);
    look(0, __LINE__);
    pthread_barrier_wait(&meeting);
    pthread_join(other, NULL);
    usleep(200000);
    look(0, __LINE__);
    /* All of them, as the C library does it. */
    if (seteuid(1000) == 0)
        look(1, __LINE__);
    return wrong;
}
