/* Random commands, right and wrong, while programs fork, execute others, take other ids and namespaces, read clocks,
   wait, and move or remove what the vDSO reads. As root; the module may come and go. Usage: storm COMMANDS SEED */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/clock.h"
#include "contract/zynov.h"

static uint64_t state;

static uint64_t any(uint64_t below)
{
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state % below;
}

static int64_t any_of(const int64_t *values, size_t count)
{
    return any(8) ? values[any(count)] : (int64_t)(any(2) ? any(1 << 16) : any(~0ULL));
}
#define ANY_OF(...) any_of((int64_t[]){__VA_ARGS__}, sizeof((int64_t[]){__VA_ARGS__}) / sizeof(int64_t))

static void command(int file, pid_t first)
{
    static const unsigned long numbers[] = {ZYNOV_IOC_ADD_CLOCK,  ZYNOV_IOC_ADD_CLOCK, ZYNOV_IOC_DELETE_CLOCK,
                                            ZYNOV_IOC_GET_SLOT,   ZYNOV_IOC_RESET_ALL, ZYNOV_IOC_HIGH_MARK,
                                            ZYNOV_IOC_REFINE_CLOCK};
    const uint64_t kind = any(16) ? 1 + any(3) : any(~0ULL);
    const int64_t id = kind == ZYNOV_PROCESS ? first + (int64_t)any(64) : ANY_OF(1000, 1001, 1002, 65534, -1, 0);
    struct zynov_iov record = {.version = any(32) ? ZYNOV_IOV_VERSION : any(~0ULL),
                               .slot = (uint32_t)any_of((int64_t[]){0, 1, 1023, 1024}, 4),
                               .id = id,
                               .flags = kind | (any(4) ? 0 : any(1 << 12)),
                               .speed = ANY_OF(1, -1, 0, 60, 1000, 1001, -60, INT32_MIN),
                               .origin = ANY_OF(0, 3600, -ZYNOV_DAY, INT64_MIN),
                               .spare = any(16),
                               .container_id = any(4) ? 0 : any(4)};
    unsigned long number = numbers[any(7)];
    if (number == ZYNOV_IOC_RESET_ALL && any(64))
        number = any(2) ? ZYNOV_IOC_REFINE_CLOCK : any(~0ULL);
    record.vtime = number == ZYNOV_IOC_DELETE_CLOCK ? (int64_t)kind
                                                    : ANY_OF(ZYNOV_EARLIEST_CLOCK, 1924419600, time(NULL),
                                                             ZYNOV_LATEST_CLOCK, ZYNOV_LATEST_CLOCK + 1, -1);
    ioctl(file, number, any(32) ? &record : (void *)any(~0ULL));
}

static void *read_clocks(void *nothing)
{
    struct timespec now;
    struct timeval day;
    for (int i = 0; i < 200; ++i) {
        clock_gettime((clockid_t)any(12), &now);
        syscall(SYS_clock_gettime, (clockid_t)any(12), &now);
        gettimeofday(&day, NULL);
        time(NULL);
    }
    return nothing;
}

static void *wait_a_little(void *nothing)
{
    struct itimerspec soon = {.it_interval.tv_nsec = 1000000};
    const clockid_t source = any(2) ? CLOCK_REALTIME : CLOCK_TAI;
    timer_t timer;
    clock_gettime(source, &soon.it_value);
    soon.it_value.tv_nsec = (long)any(1000000000);
    const int descriptor = timerfd_create(source, TFD_NONBLOCK);
    timerfd_settime(descriptor, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &soon, NULL);
    if (timer_create(source, &(struct sigevent){.sigev_notify = any(2) ? SIGEV_SIGNAL : SIGEV_NONE,
                                                .sigev_signo = SIGWINCH}, &timer) == 0)
        timer_settime(timer, TIMER_ABSTIME, &soon, NULL);
    syscall(SYS_futex, &soon.it_interval, 9 | 256, 0, &soon.it_value, NULL, -1); /* FUTEX_WAIT_BITSET of real time */
    clock_nanosleep(source, TIMER_ABSTIME, &soon.it_value, NULL);
    ssize_t got = read(descriptor, &soon, 8);
    (void)got;
    return nothing;
}

/* Until a reading faults, or no longer finds the vDSO. */
static void *move_pages(void *nothing)
{
    char line[256];
    unsigned long begin, end, page = 0;
    FILE *const maps = fopen("/proc/self/maps", "r");
    while (fgets(line, sizeof line, maps) != NULL)
        if (strstr(line, "[vvar]") && sscanf(line, "%lx-%lx", &begin, &end) == 2)
            page = begin + any((end - begin) >> 12) * 4096;
    fclose(maps);
    char *const other = mmap(NULL, 4 * 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    switch (page ? any(5) : 5) {
    case 0:
        munmap((void *)page, 4096);
        break;
    case 1:
        mprotect((void *)page, 4096, (int)any(8));
        break;
    case 2:
        mremap((void *)begin, end - begin, end - begin, MREMAP_MAYMOVE | MREMAP_FIXED, other);
        break;
    case 3:
        mremap((void *)page, 4096, 8192, MREMAP_MAYMOVE);
        break;
    case 4:
        madvise((void *)page, 4096, (int)any(25));
    }
    return read_clocks(nothing);
}

static void take_other_ids(void)
{
    const int namespaces[] = {CLONE_NEWUTS, CLONE_NEWUSER, 0x80, CLONE_NEWPID, CLONE_NEWUSER | CLONE_NEWUTS};
    if (any(4) == 0 && unshare(namespaces[any(5)]) == 0 && any(2))
        sethostname("cafe", any(5));
    if (any(3) == 0)
        syscall(SYS_setresgid, -1, 1000 + any(3), -1);
    if (any(3) == 0)
        syscall(SYS_setresuid, any(2) ? -1 : (long)(1000 + any(3)), 1000 + any(3), -1);
}

static void live(char **argv, int depth)
{
    void *(*const ways[])(void *) = {read_clocks, read_clocks, wait_a_little, move_pages};
    pthread_t thread;
    volatile int threads = 0;
    signal(SIGWINCH, SIG_IGN);
    alarm(3);
    take_other_ids();
    if (any(4) == 0)
        threads = pthread_create(&thread, NULL, ways[any(4)], NULL) == 0;
    ways[any(4)](NULL);
    if (depth < 2 && any(2)) {
        const pid_t child = any(3) ? fork() : vfork();
        if (child == 0 && any(2))
            execl("/proc/self/exe", argv[0], "0", "1", NULL);
        if (child == 0)
            _exit(0);
        if (child > 0 && any(3))
            waitpid(child, NULL, 0);
    }
    if (threads && any(2))
        pthread_join(thread, NULL);
    _exit(0);
}

static void keep_living(char **argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
        const uint64_t seed = any(~0ULL) | 1;
        const pid_t child = fork();
        if (child == 0) {
            state = seed;
            live(argv, 0);
        }
        if (any(3))
            waitpid(child, NULL, 0);
        while (waitpid(-1, NULL, WNOHANG) > 0)
            ;
    }
}

int main(int argc, char **argv)
{
    struct zynov_iov record = {.version = ZYNOV_IOV_VERSION};
    pid_t lives[3], first = getpid();
    int file = -1;
    if (argc < 3)
        return 2;
    state = (strtoull(argv[2], NULL, 0) + (uint64_t)getpid()) * 0x9e3779b97f4a7c15 | 1;
    long left = atol(argv[1]);
    if (left == 0)
        live(argv, 2);
    for (int i = 0; i < 3; ++i) {
        any(1);
        lives[i] = fork();
        if (lives[i] == 0)
            keep_living(argv);
    }
    for (; left > 0; --left) {
        if (left % 256 == 0 || file < 0) { /* there are new processes, and a new module perhaps */
            const pid_t child = fork();
            if (child == 0)
                _exit(0);
            waitpid(child, NULL, 0);
            first = child - 32;
            close(file);
            file = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
        }
        command(file, first);
    }
    for (int i = 0; i < 3; ++i) {
        kill(lives[i], SIGKILL);
        waitpid(lives[i], NULL, 0);
    }
    for (; record.container_id < 4; ++record.container_id)
        ioctl(file, ZYNOV_IOC_RESET_ALL, &record);
    return 0;
}
