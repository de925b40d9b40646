/* Instants that calls refuse or that have a special meaning; a part of tests/waits.c. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <mqueue.h>
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

int try_odd_instants(void);

static int tell(const char *what, int right)
{
    if (!right)
        printf("%s\n", what);
    return !right;
}

static sigjmp_buf out;

static void jump(int signal)
{
    siglongjmp(out, signal);
}

/* Handlers leave calls that set a timer, at any moment: the timer is never set to an instant that nobody asked for. */
static int interrupt_timers(void)
{
    const struct itimerval often = {{0, 200}, {0, 200}}, never = {{0, 0}, {0, 0}};
    const int timer = timerfd_create(CLOCK_REALTIME, 0);
    struct itimerspec wanted = {.it_value = {0, 0}}, left;
    volatile int wrong = 0, jumps = 0;
    clock_gettime(CLOCK_REALTIME, &wanted.it_value);
    wanted.it_value.tv_sec += 1000;
    signal(SIGALRM, jump);
    setitimer(ITIMER_REAL, &often, NULL);
    if (sigsetjmp(out, 1) != 0) {
        timerfd_gettime(timer, &left);
        wrong |= left.it_value.tv_sec > 1000000;
        ++jumps;
    }
    while (jumps < 500)
        timerfd_settime(timer, TFD_TIMER_ABSTIME, &wanted, NULL);
    setitimer(ITIMER_REAL, &never, NULL);
    return wrong;
}

/* An instant at an unmapped address: the kernel refuses it, and so must the stand-ins. */
static int wait_for_no_memory(void)
{
    const struct timespec *const wild = (void *)8;
    const struct itimerspec soon = {.it_value = {time(NULL) + 1000, 0}};
    int word = 0;
    struct itimerspec left;
    struct mq_attr attributes = {.mq_maxmsg = 1, .mq_msgsize = 1};
    char message = 0, name[32];
    snprintf(name, sizeof name, "/waits.%d", (int)getpid());
    const mqd_t queue = mq_open(name, O_CREAT | O_RDWR, 0600, &attributes);
    timer_t timer;
    timer_create(CLOCK_REALTIME, &(struct sigevent){.sigev_notify = SIGEV_NONE}, &timer);
    const int descriptor = timerfd_create(CLOCK_REALTIME, 0);
    mq_unlink(name);
#define REFUSES(call) ((call) == -1 && errno == EFAULT)
    const int right =
        clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, wild, NULL) == EFAULT &&
        REFUSES(timerfd_settime(descriptor, TFD_TIMER_ABSTIME, (const struct itimerspec *)wild, NULL)) &&
        REFUSES(timer_settime(timer, TIMER_ABSTIME, (const struct itimerspec *)wild, NULL)) &&
        REFUSES(syscall(SYS_clock_nanosleep, CLOCK_REALTIME, TIMER_ABSTIME, wild, NULL)) &&
        REFUSES(syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_CLOCK_REALTIME, word, wild, NULL, 1)) &&
        (queue < 0 || REFUSES(mq_timedreceive(queue, &message, 1, NULL, wild))) &&
        REFUSES(timerfd_settime(descriptor, TFD_TIMER_ABSTIME, &soon, (struct itimerspec *)wild)) &&
        timerfd_gettime(descriptor, &left) == 0 && left.it_value.tv_sec > 0 && left.it_value.tv_sec <= 100000;
    close(descriptor);
    return right;
}

/* Instants that are refused or have a special meaning, so that nothing waits. */
int try_odd_instants(void)
{
    const struct timespec too_many = {1, 1000000000}, before = {-1, 0};
    const int timer = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK);
    struct itimerspec left;
    uint64_t count = 0;
    int wrong = tell("takes a second of too many nanoseconds",
                     clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &too_many, NULL) == EINVAL);
    wrong |= tell("takes an instant before the epoch",
                  clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &before, NULL) == EINVAL);
    timerfd_settime(timer, TFD_TIMER_ABSTIME, &(struct itimerspec){.it_value = {1, 0}}, NULL);
    usleep(10000);
    wrong |= tell("never comes to a distant past", read(timer, &count, sizeof count) == sizeof count);
    timerfd_settime(timer, TFD_TIMER_ABSTIME, &(struct itimerspec){.it_value = {0, 0}}, NULL);
    usleep(10000);
    wrong |= tell("takes a stopped timer for one of the epoch", read(timer, &count, sizeof count) < 0);
    timerfd_settime(timer, 0, &(struct itimerspec){.it_value = {1000, 0}}, NULL);
    timerfd_settime(timer, TFD_TIMER_ABSTIME, &(struct itimerspec){too_many, {1, 0}}, NULL);
    timerfd_gettime(timer, &left);
    wrong |= tell("sets a timer that it refuses", left.it_value.tv_sec <= 1000);
    wrong |= tell("looks where no memory is", wait_for_no_memory());
    return wrong | tell("strands a timer", !interrupt_timers());
}
