/* A library between the preloaded one and the C library, which protects the machine: calls that set the time return
 * ERANGE. CLOCK_TAI is ahead by 37 seconds, and geteuid answers as fakeroot's does. While it is loaded, a thread makes
 * calls that the preloaded library replaces, and the loader waits for the thread. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/timex.h>
#include <time.h>
#include <unistd.h>

static long (*kernel)(long, ...);

static int refuse(void)
{
    errno = ERANGE;
    return -1;
}

int clock_settime(clockid_t source, const struct timespec *time)
{
    return source == CLOCK_REALTIME && time != NULL ? refuse() : 0;
}

int settimeofday(const struct timeval *time, const struct timezone *zone)
{
    return time != NULL || zone != NULL ? refuse() : 0;
}

int adjtime(const struct timeval *change, struct timeval *left)
{
    return change != NULL || left == NULL ? refuse() : 0;
}

int clock_adjtime(clockid_t source, struct timex *state)
{
    if (source != CLOCK_REALTIME || (state->modes & ADJ_FREQUENCY) != 0)
        return refuse();
    kernel(SYS_gettimeofday, &state->time, NULL);
    state->tai = 37;
    return 0;
}

int adjtimex(struct timex *state)
{
    return clock_adjtime(CLOCK_REALTIME, state);
}

int clock_gettime(clockid_t source, struct timespec *time)
{
    const long result = kernel(SYS_clock_gettime, source, time);
    if (result == 0 && source == CLOCK_TAI)
        time->tv_sec += 37;
    return (int)result;
}

long host_syscall(long number, long a, long b, long c, long d, long e, long f) __asm__("syscall");

long host_syscall(long number, long a, long b, long c, long d, long e, long f)
{
    switch (number) {
    case SYS_clock_gettime:
        return clock_gettime((clockid_t)a, (struct timespec *)b);
    case SYS_clock_settime:
        return clock_settime((clockid_t)a, (struct timespec *)b);
    case SYS_settimeofday:
        return settimeofday((struct timeval *)a, (struct timezone *)b);
    case SYS_adjtimex:
        return (size_t)a < 4096 ? kernel(number, a) : adjtimex((struct timex *)a);
    case SYS_clock_adjtime:
        return clock_adjtime((clockid_t)a, (struct timex *)b);
    default:
        return kernel(number, a, b, c, d, e, f);
    }
}

/* Acts as if the machine's time had been set before each call, so that timers with cancel-on-set fail. */
int timerfd_settime(int timer, int flags, const struct itimerspec *wanted, struct itimerspec *old)
{
    static int is_to_be_told;
    const int was_to_be_told = is_to_be_told, result = (int)kernel(SYS_timerfd_settime, timer, flags, wanted, old);
    is_to_be_told = flags & TFD_TIMER_CANCEL_ON_SET;
    if (!was_to_be_told || !is_to_be_told)
        return result;
    errno = ECANCELED;
    return -1;
}

uid_t geteuid(void)
{
    return 0;
}

/* Acts as an unreliable name service: FORGETS has the first and the last look-up that fail. */
static int is_forgotten(void)
{
    static int count;
    int first = 0, last = 0;
    const char *range = getenv("FORGETS");
    return range != NULL && sscanf(range, "%d %d", &first, &last) == 2 && ++count >= first && count <= last;
}

struct passwd *getpwnam(const char *name)
{
    struct passwd *(*next)(const char *) = (struct passwd * (*)(const char *)) dlsym(RTLD_NEXT, "getpwnam");
    return is_forgotten() ? NULL : next(name);
}

struct passwd *getpwuid(uid_t uid)
{
    struct passwd *(*next)(uid_t) = (struct passwd * (*)(uid_t)) dlsym(RTLD_NEXT, "getpwuid");
    return is_forgotten() ? NULL : next(uid);
}

static void *use_all(void *unused)
{
    const int control = open("/proc/zynov", O_RDONLY);
    if (time(NULL) < 0 || ioctl(control, 0, NULL) == 0 || seteuid((uid_t)kernel(SYS_geteuid)) != 0)
        dprintf(2, "odd\n");
    return unused;
}

__attribute__((constructor)) static void load(void)
{
    pthread_t thread;
    kernel = (long (*)(long, ...))dlsym(RTLD_NEXT, "syscall");
    errno = ERANGE;
    time(NULL);
    if (errno != ERANGE)
        dprintf(2, "a reading changes errno\n");
    if (pthread_create(&thread, NULL, use_all, NULL) == 0)
        pthread_join(thread, NULL);
}
